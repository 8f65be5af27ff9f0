#include "tools/wkt/Home.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>

#include "WktCommon/WktUtilLean.h"
#include "desktop/device/DeviceRecords.h"
#include "desktop/manager/ManagerMutex.h"
#include "desktop/manager/RegistryText.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/RecordJson.h"
#include "host/control/Desk.h"

namespace wkt::tool {

namespace {

constexpr char kZoneSetting[] = "zone";
constexpr char kDefaultZone[] = "UTC";

class DeviceHome : public Home {
 public:
  explicit DeviceHome(const std::string& folder) {
    UseDevice(folder);
    const auto zone = ReadRegistryText(u"Time", u"Zone");
    zone_ = std::make_unique<Zone>(zone ? ToUtf8(*zone) : kDefaultZone);
  }

  const char* Kind() const override { return "device"; }
  const Zone& LocalZone() const override { return *zone_; }
  uint64_t Now() const override { return control::DeviceTime(); }

  std::u16string NewIdentifier() override {
    const WideString made = CWktUtilLean::CreateGUID();
    // A device whose tick counter stands still would make the same identifier again: every process
    // starts to count anew.
    const control::Settings settings = control::CurrentSettings();
    std::string error;
    if (settings.tickMode == control::TickMode::Fixed &&
        !control::FixTickCount(settings.tickValue + 1, error)) {
      throw Failure(error);
    }
    return made.c_str();
  }

  std::vector<HomeRecord> List(FolderId folder) override {
    std::vector<HomeRecord> records;
    for (const DeviceRecord& found : Records(folder).List()) {
      if (auto record = DecodePacket(folder, found.packet)) {
        records.push_back({found.oid, std::move(*record)});
      }
    }
    return records;
  }

  int64_t Add(Record record) override {
    if (record.Id().empty()) {
      record.SetText(Field::Id, NewIdentifier());
    }
    const Turn turn;
    const DeviceObjectId oid = Records(record.Folder()).Add(EncodePacket(record), turn.During());
    if (oid == 0) {
      throw Failure("the device refused the record");
    }
    return oid;
  }

  void Change(const HomeRecord& record) override {
    const Turn turn;
    if (!Records(record.record.Folder())
             .Change(static_cast<DeviceObjectId>(record.number), EncodePacket(record.record),
                     turn.During())) {
      throw Failure("the device refused the change");
    }
  }

  void Delete(FolderId folder, int64_t number) override {
    const Turn turn;
    if (!Records(folder).Delete(static_cast<DeviceObjectId>(number))) {
      throw Failure("the device could not delete the record");
    }
  }

  // A device writes each record for itself; what was added before a failure is taken back by the
  // caller.
  void Begin() override {}
  void Commit() override {}

 private:
  DeviceRecords& Records(FolderId folder) {
    auto& records = records_[static_cast<size_t>(folder)];
    if (!records) {
      records =
          std::make_unique<DeviceRecords>(folder == FolderId::Types       ? DeviceFolder::Types
                                          : folder == FolderId::Favorites ? DeviceFolder::Favorites
                                                                          : DeviceFolder::Jobs);
      if (!records->IsOpen()) {
        throw Failure(
            "the device's database cannot be opened; 'wkt device fsck' says what is wrong");
      }
    }
    return *records;
  }

  // Around one write: no synchronisation begins in the middle of it, and while one runs the record
  // is marked.
  class Turn {
   public:
    DuringSync During() const {
      return outcome_ == ManagerMutex::Outcome::Busy ? DuringSync::Yes : DuringSync::No;
    }

   private:
    ManagerMutex mutex_;
    const ManagerMutex::Outcome outcome_ = mutex_.Take(0);
  };

  std::unique_ptr<Zone> zone_;
  std::unique_ptr<DeviceRecords> records_[4];
};

class PartnerHome : public Home {
 public:
  PartnerHome(const std::string& folder, Access access)
      : store_(folder, access == Access::Read ? Store::Mode::Read : Store::Mode::OpenExisting),
        zone_(store_.Setting(kZoneSetting, kDefaultZone)) {}

  const char* Kind() const override { return "partner"; }
  const Zone& LocalZone() const override { return zone_; }
  uint64_t Now() const override { return DesktopNow(); }
  std::u16string NewIdentifier() override { return store_.NewIdentifier(Now()); }

  std::vector<HomeRecord> List(FolderId folder) override {
    std::vector<HomeRecord> records;
    for (const StoredRecord& stored : store_.List(static_cast<int>(folder))) {
      if (auto record = DecodePacket(folder, stored.packet)) {
        records.push_back({stored.id, std::move(*record)});
      }
    }
    return records;
  }

  int64_t Add(Record record) override {
    if (record.Id().empty()) {
      record.SetText(Field::Id, NewIdentifier());
    }
    return store_.Insert(static_cast<int>(record.Folder()), record.Id(), EncodePacket(record));
  }

  void Change(const HomeRecord& record) override {
    store_.Update(record.number, record.record.Id(), EncodePacket(record.record));
  }

  void Delete(FolderId, int64_t number) override { store_.Delete(number); }

  void Begin() override { transaction_ = std::make_unique<Store::Transaction>(store_); }
  void Commit() override {
    transaction_->Commit();
    transaction_.reset();
  }

 private:
  Store store_;
  Zone zone_;
  std::unique_ptr<Store::Transaction> transaction_;
};

}  // namespace

bool IsDevice(const std::string& folder) {
  struct stat info {};
  return stat((folder + "/device").c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

void UseDevice(const std::string& folder) {
  if (!IsDevice(folder)) {
    throw Failure(folder + " is not a device; make one with: wkt device new " + folder,
                  ExitCode::Usage);
  }
  std::string error;
  if (!control::UseDevice(std::filesystem::absolute(folder).string(), error)) {
    throw Failure(error);
  }
}

std::unique_ptr<Home> OpenHome(const std::string& folder, Access access) {
  if (IsDevice(folder)) {
    return std::make_unique<DeviceHome>(folder);
  }
  if (Store::IsPartner(folder)) {
    return std::make_unique<PartnerHome>(folder, access);
  }
  FailForNoHome(folder);
}

void FailForNoHome(const std::string& folder) {
  std::error_code ignored;
  throw Failure(std::filesystem::exists(folder, ignored)
                    ? folder + " is neither a device nor a partner's folder"
                    : "there is no " + folder + "; 'wkt device new' makes a device, 'wkt sync' a " +
                          "partner's folder",
                ExitCode::Usage);
}

namespace {

// Of these folders' records; `noun` is the word for them.
HomeRecord Select(Home& home, std::initializer_list<FolderId> folders, const char* noun,
                  const std::string& selector) {
  const std::u16string wanted = FromUtf8(selector);
  std::vector<HomeRecord> found;
  for (const FolderId folder : folders) {
    for (HomeRecord& candidate : home.List(folder)) {
      if ("#" + std::to_string(candidate.number) == selector || candidate.record.Id() == wanted) {
        return std::move(candidate);
      }
      if (candidate.record.DisplayName() == wanted) {
        found.push_back(std::move(candidate));
      }
    }
  }
  if (found.empty()) {
    throw Failure(std::string("there is no ") + noun + " '" + selector +
                      "'; name it by title, identifier or #number",
                  ExitCode::Usage);
  }
  if (found.size() > 1) {
    std::string numbers;
    constexpr size_t kShown = 5;
    for (size_t i = 0; i < std::min(kShown, found.size()); ++i) {
      numbers += (i == 0 ? "#" : ", #") + std::to_string(found[i].number);
    }
    throw Failure("'" + selector + "' names " + std::to_string(found.size()) +
                      " records: " + numbers + (found.size() > kShown ? ", ..." : "") +
                      "; name one by its #number",
                  ExitCode::Usage);
  }
  return std::move(found.front());
}

}  // namespace

HomeRecord SelectRecord(Home& home, FolderId folder, const std::string& selector) {
  return Select(home, {folder}, DescribeFolder(folder).noun, selector);
}

HomeRecord SelectAnyRecord(Home& home, const std::string& selector) {
  return Select(home, {FolderId::Jobs, FolderId::Favorites, FolderId::Types}, "record", selector);
}

}  // namespace wkt::tool
