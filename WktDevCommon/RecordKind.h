#pragma once

#include <memory>

#include "WktCommon/Log.h"
#include "WktCommon/WktTypeKinds.h"
#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/JobProperties.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "WktDevCommon/WktTypeProperties.h"

// Everything in which jobs and types differ in their databases: one member per difference, the same
// name on both sides.
namespace wkt {

struct JobKind {
  using Database = CJobDatabase;
  using Record = CJobLean;
  using Owned = std::unique_ptr<CJobLean>;
  static constexpr WORD kPropertyCount = kJobPropertyCount;

  static PropertyRows<Record> Properties() { return JobProperties(); }
  static Record* Create(Database& database, const PropertyValues&, BOOL makeNew) {
    return database.CreateRecord(makeNew);
  }
  static void Load(Record* job, const PropertyValues& values) {
    CJobDatabase::FillJobBase(job, values);
  }
  static BOOL Modify(Database& database, CEOID oid, Record* job) {
    return database.ModifyJob(oid, job, TRUE);
  }

  // The line with which a record is announced before it is stored.
  static void LogStoredRecord(const LogScope& log, const Record* job);
  // The same words wherever a record is met while synchronising.
  static void LogRecord(const LogScope& log, const Record& job, const WCHAR* format);
  static constexpr const WCHAR* kRecordLine = u"Job id = '%s'; Title = '%s'";

  static void LogBeforeCreate(const LogScope&, const PropertyValues&) {}
  static constexpr const WCHAR* kSynchronizedLine = u"Job is synchronized";
  static constexpr const WCHAR* kNotSynchronizedLine = u"Job is not synchronized";

  // Where the flag text says what; the partners' characters start at the first place.
  static constexpr CEPROPID kFlagsId = kJobFlagsId;
  static constexpr size_t kFlagsAt = kJobFlagsAt;
  static constexpr int kSynchronizedPosition = 4;
  static constexpr int kChangedDuringSyncPosition = 6;
  static bool HasClass(const PropertyValues&) { return true; }

  // Neither setter touches the modification time.
  static bool IsSynchronized(const Record& job, DWORD partner) {
    return job.GetPartnerFlag(static_cast<int>(partner));
  }
  static void SetSynchronized(Record& job, DWORD partner) {
    job.SetPartnerFlag(static_cast<int>(partner), TRUE);
  }
  static bool IsChangedDuringSync(const Record& job) { return job.GetFlag6(); }
  static void ClearChangedDuringSync(Record& job) { job.SetFlag6(FALSE); }
};

struct TypeKind {
  using Database = CWktTypeDatabase;
  using Record = CWktTypeLean;
  using Owned = TypePtr;
  static constexpr WORD kPropertyCount = kTypePropertyCount;

  static PropertyRows<Record> Properties() { return TypeProperties(); }
  // Null for a stored kind that has no class.
  static Record* Create(Database& database, const PropertyValues& values, BOOL makeNew) {
    return database.CreateRecord(StoredKind(values), makeNew);
  }
  static void Load(Record* type, const PropertyValues& values) {
    CWktTypeDatabase::FillWktTypeBase(type, values);
  }
  static BOOL Modify(Database& database, CEOID oid, Record* type) {
    return database.ModifyWktType(oid, type, TRUE);
  }

  static void LogStoredRecord(const LogScope& log, const Record* type);
  static void LogRecord(const LogScope& log, const Record& type, const WCHAR* format);
  static constexpr const WCHAR* kRecordLine = u"Type id = '%s'; Name = '%s'";

  static void LogBeforeCreate(const LogScope& log, const PropertyValues& values) {
    log.Write(kLogProgress, u"Type of type = %d", StoredKind(values));
  }
  static constexpr const WCHAR* kSynchronizedLine = u"Type is synchronized";
  static constexpr const WCHAR* kNotSynchronizedLine = u"Type is not synchronized";

  static constexpr CEPROPID kFlagsId = kTypeFlagsId;
  static constexpr size_t kFlagsAt = kTypeFlagsAt;
  static constexpr int kSynchronizedPosition = 0;
  static constexpr int kChangedDuringSyncPosition = 2;
  static bool HasClass(const PropertyValues& values) {
    const int kind = StoredKind(values);
    return kind >= kFirstTypeKind && kind <= kLastTypeKind;
  }

  // Kept: both setters stamp the record like any other change.
  static bool IsSynchronized(const Record& type, DWORD partner) {
    return type.IsFlag01Set(static_cast<int>(partner));
  }
  static void SetSynchronized(Record& type, DWORD partner) {
    type.SetFlag01(static_cast<int>(partner), TRUE);
  }
  static bool IsChangedDuringSync(const Record& type) { return type.IsFlag2Set(); }
  static void ClearChangedDuringSync(Record& type) { type.SetFlag2(FALSE); }
};

}  // namespace wkt
