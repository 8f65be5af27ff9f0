// A device with the real provider installed, and desktop partners, for whole synchronisations
// within one process.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "desktop/device/DeviceRecords.h"
#include "desktop/partner/SyncRun.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {

class SyncDesk {
 public:
  SyncDesk();
  ~SyncDesk();

  // A new device in the old one's stead, as after a reset.
  void ResetDevice();
  DeskDevice& Device() { return *device_; }
  Store& Partner(int number);
  // The partner's folder is opened anew, as by a new process.
  void ReopenPartner(int number);
  // Moves on by a minute with each call.
  uint64_t Now();

  // Jobs by their titles.
  Record NewJob(const std::string& title);
  void AddOnDevice(const std::string& title, const std::string& comment = "",
                   FolderId folder = FolderId::Jobs);
  void ChangeOnDevice(const std::string& title, const std::string& comment,
                      DuringSync during = DuringSync::No);
  void DeleteOnDevice(const std::string& title);
  void AddOnDesktop(int partner, const std::string& title, const std::string& comment = "");
  void ChangeOnDesktop(int partner, const std::string& title, const std::string& comment);
  void DeleteOnDesktop(int partner, const std::string& title);

  using Jobs = std::multimap<std::string, std::string>;  // title, comment
  Jobs OnDevice();
  Jobs OnDesktop(int partner);

  Json Sync(int partner, ConflictPolicy policy = ConflictPolicy::Newer, bool allowDelete = false);
  SyncOptions options;  // of the runs to come
  Trace* trace = nullptr;

  // A whole run, of which the desktop remembers only that it began: as if it had been killed after
  // the device had got everything and before anything of that was noted.
  void SyncUnnoted(int partner);
  // Work in a process of its own that is killed after so many microseconds; true when it was over
  // before.
  bool RunKilled(const std::function<void()>& work, unsigned microseconds);
  bool SyncKilled(int partner, ConflictPolicy policy, unsigned microseconds);

 private:
  void Prepare(int partner, ConflictPolicy policy, bool allowDelete);
  Json Run(int partner);
  std::string PartnerFolder(int number) const { return partners_ + "/" + std::to_string(number); }
  DeviceRecord FindOnDevice(const std::string& title, Record* record);
  StoredRecord FindOnDesktop(int partner, const std::string& title, Record* record);

  std::unique_ptr<DeskDevice> device_;
  std::string partners_;
  std::unique_ptr<Store> stores_[3];
  int minutes_ = 0;
};

// A number of the report's row for a folder.
int64_t Count(const Json& report, const char* column, const char* folder = "jobs");

}  // namespace wkt::test
