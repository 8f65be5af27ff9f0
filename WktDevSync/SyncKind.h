#pragma once

#include "WktCommon/JobPacket.h"
#include "WktCommon/PacketCheck.h"
#include "WktCommon/WktTypeKinds.h"
#include "WktCommon/WktTypePacket.h"
#include "WktDevCommon/RecordKind.h"
#include "WktDevCommon/RecordOperations.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"

// Everything in which jobs and types differ for the service manager: one member per difference, the
// same name on both sides. What is not here is alike, wording included.
namespace wkt {

struct JobSync : JobKind {
  using SyncDatabase = CSyncJobDatabase;
  using Packet = CJobPacket;

  static CEOID Find(SyncDatabase& database, CEOID oid, Record** found) {
    return database.FindJob(oid, found, TRUE);
  }
  static CEOID Add(SyncDatabase& database, Record* job) { return database.AddJob(job, TRUE); }
  static BOOL Delete(SyncDatabase& database, CEOID oid) { return database.DeleteJob(oid, TRUE); }

  // Kept by the handler until the next packet, never freed when the handler goes.
  [[gnu::noinline]] static Packet* NewPacket(int packetKind) {
    return NewObject<CJobPacket>(packetKind);
  }
  static void FillPacket(Packet& packet, const Record& job) {
    CSyncJobDatabase::FillJobPacket(&packet, &job);
  }
  static bool CheckPacket(const BYTE* bytes, DWORD byteCount) {
    return CheckJobPacket(bytes, byteCount);
  }
  static Record* NewRecord(const Packet&) { return NewObject<CJobLean>(TRUE); }
  static void FillRecord(Record& job, const Packet& packet) {
    CSyncJobDatabase::FillJobLean(&job, &packet);
  }

  static constexpr const WCHAR* kNotInDatabase = u"Failed to find job in database; ceOid = %d";
  static constexpr const WCHAR* kModifyFailed = u"Failed to modify job in database";
  static constexpr const WCHAR* kInvalidPacket = u"Invalid packet received";
  static constexpr const WCHAR* kOpenToWriteFailed = u"Failed to open database '%s'";
  static constexpr const WCHAR* kReceivedLine = u"Job id = '%s'; Title = '%s'";
  static constexpr const WCHAR* kModifying = u"Modifying existing job in database";
  static constexpr const WCHAR* kDeleting = u"Deleting job; Job id = '%s'; Title = '%s'";
  static constexpr const WCHAR* kNotFoundToDelete = u"Failed to find job";
  static constexpr const WCHAR* kDeleteFailed = u"Failed to delete job";
};

struct TypeSync : TypeKind {
  using SyncDatabase = CSyncWktTypeDatabase;
  using Packet = CWktTypePacket;

  static CEOID Find(SyncDatabase& database, CEOID oid, Record** found) {
    return database.FindWktType(oid, found, TRUE);
  }
  static CEOID Add(SyncDatabase& database, Record* type) { return database.AddWktType(type, TRUE); }
  static BOOL Delete(SyncDatabase& database, CEOID oid) {
    return DeleteRecord(database, oid, TRUE);
  }

  // Kept: the next one takes its place without freeing it.
  [[gnu::noinline]] static Packet* NewPacket(int) { return NewObject<CWktTypePacket>(); }
  static void FillPacket(Packet& packet, const Record& type) {
    CSyncWktTypeDatabase::FillWktTypePacket(&packet, &type);
  }
  static bool CheckPacket(const BYTE* bytes, DWORD byteCount) {
    return CheckTypePacket(bytes, byteCount);
  }
  // The packet says of which kind.
  static Record* NewRecord(const Packet& packet) { return MakeType(packet.GetTypeOfType(), TRUE); }
  static void FillRecord(Record& type, const Packet& packet) {
    CSyncWktTypeDatabase::FillWktTypeLean(&type, &packet);
  }

  static constexpr const WCHAR* kNotInDatabase = u"Failed to find type in database; ceOid = %d";
  static constexpr const WCHAR* kModifyFailed = u"Failed to modify type in database";
  static constexpr const WCHAR* kInvalidPacket = u"Invalid type packet received";
  // Kept: "types database" here only, "Title" instead of "Name" below.
  static constexpr const WCHAR* kOpenToWriteFailed = u"Failed to open types database '%s'";
  static constexpr const WCHAR* kReceivedLine = u"Type id = '%s'; Title = '%s'";
  static constexpr const WCHAR* kModifying = u"Modifying existing type in database";
  static constexpr const WCHAR* kDeleting = u"Deleting type; Type id = '%s'; Name = '%s'";
  static constexpr const WCHAR* kNotFoundToDelete = u"Failed to find type";
  static constexpr const WCHAR* kDeleteFailed = u"Failed to delete type";
};

}  // namespace wkt
