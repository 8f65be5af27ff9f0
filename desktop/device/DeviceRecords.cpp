#include "desktop/device/DeviceRecords.h"

#include "WktCommon/JobLean.h"
#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypeKinds.h"
#include "WktCommon/WktTypeLean.h"
#include "WktCommon/WktTypePacket.h"
#include "WktDevCommon/DatabaseNames.h"
#include "WktDevCommon/RecordOperations.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"

namespace wkt {

namespace {

// Flag characters of a type: synchronised with partner 1, with partner 2, changed during sync. The
// last one is written by its position: the setter made for it is gated by another flag.
constexpr int kTypePartnerFlags[] = {0, 1};
constexpr int kTypeChangedDuringSync = 2;

template <typename Packet>
std::vector<uint8_t> PacketBytes(const Packet& packet) {
  DWORD byteCount = 0;
  const std::unique_ptr<BYTE[]> bytes(packet.ToBytes(&byteCount));
  return bytes ? std::vector<uint8_t>(bytes.get(), bytes.get() + byteCount)
               : std::vector<uint8_t>();
}

DWORD Size(std::span<const uint8_t> packet) {
  return static_cast<DWORD>(packet.size());
}

}  // namespace

// What jobs and types do differently.
class DeviceRecords::Database {
 public:
  virtual ~Database() = default;
  virtual CDatabaseAid& Aid() = 0;
  virtual std::vector<uint8_t> Read(DeviceObjectId oid) = 0;
  virtual DeviceObjectId Add(std::span<const uint8_t> packet, DuringSync during) = 0;
  virtual bool Change(DeviceObjectId oid, std::span<const uint8_t> packet, DuringSync during) = 0;
  virtual bool Delete(DeviceObjectId oid) = 0;

  class Jobs;
  class Types;
};

class DeviceRecords::Database::Jobs : public DeviceRecords::Database {
 public:
  explicit Jobs(bool favorites)
      : activityType_(favorites ? 2 : 1),
        database_(favorites ? kFavoriteJobsName : kDailyJobsName) {}

  CDatabaseAid& Aid() override { return database_; }

  std::vector<uint8_t> Read(DeviceObjectId oid) override {
    CJobLean* found = nullptr;
    database_.FindJob(oid, &found, TRUE);
    const std::unique_ptr<CJobLean> job(found);
    if (!job) {
      return {};
    }
    CJobPacket packet(activityType_);
    CSyncJobDatabase::FillJobPacket(&packet, job.get());
    return PacketBytes(packet);
  }

  DeviceObjectId Add(std::span<const uint8_t> packet, DuringSync during) override {
    CJobLean job(FALSE);
    Fill(&job, packet, during);
    return database_.AddJob(&job, TRUE);
  }

  bool Change(DeviceObjectId oid, std::span<const uint8_t> packet, DuringSync during) override {
    CJobLean job(FALSE);
    Fill(&job, packet, during);
    return database_.ModifyJob(oid, &job, TRUE) != FALSE;
  }

  bool Delete(DeviceObjectId oid) override { return database_.DeleteJob(oid, TRUE) != FALSE; }

 private:
  static void Fill(CJobLean* job, std::span<const uint8_t> bytes, DuringSync during) {
    const CJobPacket packet(bytes.data(), Size(bytes));
    CSyncJobDatabase::FillJobLean(job, &packet);
    job->SetPartnerFlag(0, FALSE);
    job->SetPartnerFlag(1, FALSE);
    job->SetFlag6(during == DuringSync::Yes);
  }

  const int activityType_;
  CSyncJobDatabase database_;
};

class DeviceRecords::Database::Types : public DeviceRecords::Database {
 public:
  Types() : database_(kTypesName) {}

  CDatabaseAid& Aid() override { return database_; }

  std::vector<uint8_t> Read(DeviceObjectId oid) override {
    CWktTypeLean* found = nullptr;
    database_.FindWktType(oid, &found, TRUE);
    const TypePtr type(found);
    if (!type) {
      return {};
    }
    CWktTypePacket packet;
    CSyncWktTypeDatabase::FillWktTypePacket(&packet, type.get());
    return PacketBytes(packet);
  }

  DeviceObjectId Add(std::span<const uint8_t> packet, DuringSync during) override {
    const TypePtr type = Make(packet, during);
    return type ? database_.AddWktType(type.get(), TRUE) : 0;
  }

  bool Change(DeviceObjectId oid, std::span<const uint8_t> packet, DuringSync during) override {
    const TypePtr type = Make(packet, during);
    return type && database_.ModifyWktType(oid, type.get(), TRUE) != FALSE;
  }

  bool Delete(DeviceObjectId oid) override { return DeleteRecord(database_, oid, TRUE) != FALSE; }

 private:
  TypePtr Make(std::span<const uint8_t> bytes, DuringSync during) {
    const CWktTypePacket packet(bytes.data(), Size(bytes));
    TypePtr type(database_.CreateRecord(packet.GetTypeOfType(), FALSE));
    if (type) {
      CSyncWktTypeDatabase::FillWktTypeLean(type.get(), &packet);
      for (const int flag : kTypePartnerFlags) {
        type->SetFlag(flag, FALSE);
      }
      type->SetFlag(kTypeChangedDuringSync, during == DuringSync::Yes);
      type->SetModificationTime(packet.GetModificationTime(), FALSE);
    }
    return type;
  }

  CSyncWktTypeDatabase database_;
};

DeviceRecords::DeviceRecords(DeviceFolder folder) {
  if (folder == DeviceFolder::Types) {
    database_ = std::make_unique<Database::Types>();
  } else {
    database_ = std::make_unique<Database::Jobs>(folder == DeviceFolder::Favorites);
  }
  database_->Aid().Open(TRUE);
}

DeviceRecords::~DeviceRecords() = default;

bool DeviceRecords::IsOpen() const {
  return database_->Aid().IsOpen() != FALSE;
}

std::vector<DeviceRecord> DeviceRecords::List() {
  // Identifiers first: reading a record by its identifier moves the position.
  std::vector<DeviceRecord> records;
  if (!database_->Aid().SeekFirstRecord()) {
    return records;
  }
  RecordBuffer buffer;
  while (const CEOID oid = database_->Aid().ReadRecord(buffer)) {
    records.push_back({oid, {}});
  }
  for (DeviceRecord& record : records) {
    record.packet = database_->Read(record.oid);
  }
  std::erase_if(records, [](const DeviceRecord& record) { return record.packet.empty(); });
  return records;
}

std::optional<DeviceRecord> DeviceRecords::Find(DeviceObjectId oid) {
  DeviceRecord record{oid, database_->Read(oid)};
  return record.packet.empty() ? std::nullopt : std::optional(std::move(record));
}

DeviceObjectId DeviceRecords::Add(std::span<const uint8_t> packet, DuringSync during) {
  return database_->Add(packet, during);
}

bool DeviceRecords::Change(DeviceObjectId oid, std::span<const uint8_t> packet, DuringSync during) {
  return database_->Change(oid, packet, during);
}

bool DeviceRecords::Delete(DeviceObjectId oid) {
  return database_->Delete(oid);
}

}  // namespace wkt
