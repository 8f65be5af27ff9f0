#include "tests/desktop/SyncDesk.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "desktop/device/Installation.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/FolderCopy.h"
#include "tests/support/KillChild.h"

namespace wkt::test {

namespace {

constexpr int kJobsFolder = static_cast<int>(FolderId::Jobs);
constexpr uint64_t kTicksPerMinuteOfTest = 60ull * 10'000'000;

}  // namespace

SyncDesk::SyncDesk() {
  std::string name = (std::filesystem::temp_directory_path() / "wkt-partners-XXXXXX").string();
  partners_ = mkdtemp(name.data());
  ResetDevice();
}

SyncDesk::~SyncDesk() {
  for (auto& store : stores_) {
    store.reset();
  }
  std::filesystem::remove_all(partners_);
}

void SyncDesk::ResetDevice() {
  device_.reset();
  device_ = std::make_unique<DeskDevice>();
  Installation installation;
  installation.providerPath = DeskDevice::BuiltLibrary("WktDevSync");
  EXPECT_EQ(Install(installation), "");
}

Store& SyncDesk::Partner(int number) {
  if (!stores_[number]) {
    stores_[number] = std::make_unique<Store>(PartnerFolder(number), Store::Mode::OpenOrCreate);
  }
  return *stores_[number];
}

void SyncDesk::ReopenPartner(int number) {
  stores_[number].reset();
}

uint64_t SyncDesk::Now() {
  const uint64_t now = kStartTicks + static_cast<uint64_t>(++minutes_) * kTicksPerMinuteOfTest;
  device_->FreezeClock(now);
  return now;
}

Record SyncDesk::NewJob(const std::string& title) {
  Record record = MakeRecord(FolderId::Jobs, Now(),
                             kStartTicks - kStartTicks % (24ull * 60 * kTicksPerMinuteOfTest));
  record.SetText(Field::Title, FromUtf8(title));
  record.SetText(Field::Id, u"T-" + FromUtf8(title) + u"-" + FromUtf8(std::to_string(minutes_)));
  return record;
}

void SyncDesk::AddOnDevice(const std::string& title, const std::string& comment, FolderId folder) {
  if (folder == FolderId::Types) {
    Record type = MakeRecord(folder, Now(), 0);
    type.SetText(Field::Name1, FromUtf8(title));
    type.SetText(Field::Id, FromUtf8(title));
    EXPECT_NE(DeviceRecords(DeviceFolder::Types).Add(EncodePacket(type), DuringSync::No), 0u);
    return;
  }
  Record record = NewJob(title);
  record.SetText(Field::Comment, FromUtf8(comment));
  EXPECT_NE(DeviceRecords(DeviceFolder::Jobs).Add(EncodePacket(record), DuringSync::No), 0u);
}

DeviceRecord SyncDesk::FindOnDevice(const std::string& title, Record* record) {
  for (DeviceRecord& found : DeviceRecords(DeviceFolder::Jobs).List()) {
    const auto decoded = DecodePacket(FolderId::Jobs, found.packet);
    if (decoded && ToUtf8(decoded->DisplayName()) == title) {
      *record = *decoded;
      return std::move(found);
    }
  }
  ADD_FAILURE() << "not on the device: " << title;
  return {};
}

void SyncDesk::ChangeOnDevice(const std::string& title, const std::string& comment,
                              DuringSync during) {
  Record record(FolderId::Jobs);
  const DeviceRecord found = FindOnDevice(title, &record);
  record.SetText(Field::Comment, FromUtf8(comment));
  record.SetTicks(Field::Modified, Now());
  EXPECT_TRUE(DeviceRecords(DeviceFolder::Jobs).Change(found.oid, EncodePacket(record), during));
}

void SyncDesk::DeleteOnDevice(const std::string& title) {
  Record record(FolderId::Jobs);
  EXPECT_TRUE(DeviceRecords(DeviceFolder::Jobs).Delete(FindOnDevice(title, &record).oid));
}

void SyncDesk::AddOnDesktop(int partner, const std::string& title, const std::string& comment) {
  Record record = NewJob(title);
  record.SetText(Field::Comment, FromUtf8(comment));
  Partner(partner).Insert(kJobsFolder, record.Id(), EncodePacket(record));
}

StoredRecord SyncDesk::FindOnDesktop(int partner, const std::string& title, Record* record) {
  for (StoredRecord& found : Partner(partner).List(kJobsFolder)) {
    const auto decoded = DecodePacket(FolderId::Jobs, found.packet);
    if (decoded && ToUtf8(decoded->DisplayName()) == title) {
      *record = *decoded;
      return std::move(found);
    }
  }
  ADD_FAILURE() << "not on the desktop: " << title;
  return {};
}

void SyncDesk::ChangeOnDesktop(int partner, const std::string& title, const std::string& comment) {
  Record record(FolderId::Jobs);
  const StoredRecord found = FindOnDesktop(partner, title, &record);
  record.SetText(Field::Comment, FromUtf8(comment));
  record.SetTicks(Field::Modified, Now());
  Partner(partner).Update(found.id, found.recordId, EncodePacket(record));
}

void SyncDesk::DeleteOnDesktop(int partner, const std::string& title) {
  Record record(FolderId::Jobs);
  Partner(partner).Delete(FindOnDesktop(partner, title, &record).id);
}

SyncDesk::Jobs SyncDesk::OnDevice() {
  Jobs jobs;
  for (const DeviceRecord& found : DeviceRecords(DeviceFolder::Jobs).List()) {
    const auto record = DecodePacket(FolderId::Jobs, found.packet);
    jobs.emplace(ToUtf8(record->DisplayName()), ToUtf8(record->Text(Field::Comment)));
  }
  return jobs;
}

SyncDesk::Jobs SyncDesk::OnDesktop(int partner) {
  Jobs jobs;
  for (const StoredRecord& found : Partner(partner).List(kJobsFolder)) {
    const auto record = DecodePacket(FolderId::Jobs, found.packet);
    jobs.emplace(ToUtf8(record->DisplayName()), ToUtf8(record->Text(Field::Comment)));
  }
  return jobs;
}

void SyncDesk::Prepare(int partner, ConflictPolicy policy, bool allowDelete) {
  options.partner = partner;
  options.conflict = policy;
  options.allowDelete = allowDelete;
  options.now = Now();
  // Every device stands in the same place.
  options.place = "/desk/pocket";
}

Json SyncDesk::Run(int partner) {
  SyncSession session(trace);
  return SyncRun(session, Partner(partner), options).Run();
}

Json SyncDesk::Sync(int partner, ConflictPolicy policy, bool allowDelete) {
  Prepare(partner, policy, allowDelete);
  return Run(partner);
}

void SyncDesk::SyncUnnoted(int partner) {
  const std::string before = partners_ + "/before";
  ReopenPartner(partner);
  CopyFolder(PartnerFolder(partner), before);
  Sync(partner);
  std::vector<int64_t> sent;
  const StoredDevice device = Partner(partner).Devices().at(0);
  for (const Link& link : Partner(partner).Links(device.id, kJobsFolder)) {
    sent.push_back(link.record);
  }
  ReopenPartner(partner);
  std::filesystem::remove_all(PartnerFolder(partner));
  std::filesystem::rename(before, PartnerFolder(partner));
  Store& store = Partner(partner);
  for (const int64_t record : store.Unlinked(device.id, kJobsFolder)) {
    if (std::find(sent.begin(), sent.end(), record) != sent.end()) {
      store.SetSending(device.id, kJobsFolder, record);
    }
  }
  StoredDevice known = store.Devices().at(0);
  known.pending = ToUtf8(ReadPartnership(static_cast<UINT>(partner)).token);
  store.UpdateDevice(known);
}

bool SyncDesk::RunKilled(const std::function<void()>& work, unsigned microseconds) {
  // No database may be open on both sides of a fork.
  control::LeaveDevice();
  for (auto& store : stores_) {
    store.reset();
  }
  const pid_t child = fork();
  if (child == 0) {
    device_->Reopen();
    work();
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  usleep(microseconds);
  KillChild(child);
  int status = 0;
  waitpid(child, &status, 0);
  device_->Reopen();
  EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
  return WIFEXITED(status);
}

bool SyncDesk::SyncKilled(int partner, ConflictPolicy policy, unsigned microseconds) {
  Prepare(partner, policy, true);
  return RunKilled([this, partner] { Run(partner); }, microseconds);
}

int64_t Count(const Json& report, const char* column, const char* folder) {
  for (const Json& row : report["folders"]) {
    if (row["folder"] == folder) {
      return row[column].get<int64_t>();
    }
  }
  ADD_FAILURE() << "no folder " << folder;
  return -1;
}

}  // namespace wkt::test
