// One synchronisation of a device with this partner: lists, plans, guards, applies, looks again,
// verifies. It may be killed at any instant: what the desktop has stored is committed before the
// device is told, and what the device has stored is found again by its record identifier.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "desktop/manager/Partnership.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/RecordJson.h"
#include "desktop/partner/SyncPlan.h"

namespace wkt {

struct SyncOptions {
  int partner = 1;
  ConflictPolicy conflict = ConflictPolicy::Newer;
  bool allowDelete = false;
  bool verifyAll = false;
  std::string place;  // of the device, for people
  uint64_t now = 0;
  // Called while records travel: folder, how many are done, of how many.
  std::function<void(const FolderDescription&, size_t done, size_t total)> progress;
};

// The report is the one source of what is printed, as JSON or as text:
//   partner, firstRun, volume, notices[], folders[{folder, toDesktop, toDevice, deletedOnDesktop,
//   deletedOnDevice, conflicts, failed, left, onDevice, onDesktop, problem}], conflicts[{folder,
//   title, day, device, desktop, result}], failures[{folder, title, problem}], verify{compared,
//   different[]}, exitCode
class SyncRun {
 public:
  SyncRun(SyncSession& session, Store& store, const SyncOptions& options);

  // Opens and ends the session. Throws Failure when nothing could be done.
  Json Run();

 private:
  struct FolderState {
    const FolderDescription* folder = nullptr;
    SyncPlan plan;
    SyncSkips skips;
    std::vector<std::pair<CEOID, int64_t>> travelled;  // object, record
    int64_t toDesktop = 0;
    int64_t toDevice = 0;
    int64_t deletedOnDesktop = 0;
    int64_t deletedOnDevice = 0;
    int64_t conflicts = 0;
    int64_t failed = 0;
    std::vector<SyncFailure> unread;  // listed, and could not be read
    std::vector<CEOID> deleted;       // on the device, by this run
    int64_t left = 0;      // edited while they travelled, and not carried by a later round
    bool touched = false;  // something was done in this run
  };

  void ApplyAll();
  void Identify();
  void IdentifyKnown();
  void IdentifyNew();
  bool HasLinks(const StoredDevice& device);
  bool ListsNothingAnyMore();
  void ForgetLinks();
  void PlanAll();
  void Guard();
  void LeaveToken();
  void Apply(FolderState& state);
  void StoreOnDesktop(FolderState& state);
  void StoreItem(FolderState& state, SyncItem& item);
  void ConfirmItems(FolderState& state, size_t begin, size_t end);
  void SendToDevice(FolderState& state);
  static std::vector<SyncItem*> ItemsToSend(FolderState& state);
  void NoteNewItems(int folder, std::span<SyncItem* const> items);
  bool IsAsListed(const FolderState& state, const SyncItem& item);
  bool SendItem(FolderState& state, SyncItem& item, CEOID* oid);
  void DeleteFromDevice(FolderState& state);
  void Fail(FolderState& state, const SyncItem& item, const std::string& problem);
  void NoteConflict(FolderState& state, const SyncItem& item);
  // Plans again what appeared, changed or vanished meanwhile; false when nothing did.
  bool LookAgain(FolderState& state);
  void TellProvider(const FolderState& state, const Enumeration& now);
  bool WouldDeleteTooMany(const FolderState& state, const SyncPlan& plan) const;
  void ReportUnread(FolderState& state);
  void Verify();
  void VerifyFolder(FolderState& state);
  // True when both sides are equal.
  bool VerifyObject(const FolderState& state, CEOID oid, int64_t record);
  Json FinishReport();
  PlanRequest Request(FolderState& state);
  void Progress(const FolderState& state, size_t done, size_t total);

  SyncSession& session_;
  Store& store_;
  const SyncOptions options_;
  Partnership partnership_;
  StoredDevice device_;
  bool firstRun_ = false;
  bool isKnownOnDevice_ = false;  // the device names this desktop as the partner
  bool tokenLeft_ = false;
  std::vector<FolderState> folders_;
  Json notices_ = Json::array();
  Json conflicts_ = Json::array();
  Json failures_ = Json::array();
  Json differences_ = Json::array();
  int64_t compared_ = 0;
};

}  // namespace wkt
