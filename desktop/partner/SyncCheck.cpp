// The end of a run: what happened meanwhile, whether what travelled arrived, and the report.
#include <algorithm>
#include <set>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/SyncRun.h"

namespace wkt {

// What changed or vanished since the last list. Telling takes the mark of a change during the
// synchronisation away: it comes before the object is read, so that no later edit goes unmarked.
void SyncRun::TellProvider(const FolderState& state, const Enumeration& now) {
  const std::u16string name = state.folder->objectType;
  for (const CEOID oid : now.changed) {
    if (!state.skips.oids.contains(oid)) {
      (void)session_.NotifyChanged(name, oid);
    }
  }
  if (!now.problem.empty()) {
    return;  // what is missing from this list may be there
  }
  std::vector<CEOID> known = now.unchanged;
  known.insert(known.end(), now.changed.begin(), now.changed.end());
  known.insert(known.end(), state.deleted.begin(), state.deleted.end());
  std::sort(known.begin(), known.end());
  for (const auto* before : {&state.plan.list.unchanged, &state.plan.list.changed}) {
    for (const CEOID oid : *before) {
      if (!std::binary_search(known.begin(), known.end(), oid)) {
        (void)session_.NotifyDeleted(name, oid);
      }
    }
  }
}

// Those of earlier rounds count, too.
bool SyncRun::WouldDeleteTooMany(const FolderState& state, const SyncPlan& plan) const {
  const auto refuses = [](int64_t done, int64_t more, int64_t present) {
    return more > 0 && GuardRefuses(done + more, done + present);
  };
  return !options_.allowDelete &&
         (refuses(state.deletedOnDevice, plan.deletionsOnDevice, plan.recordsOnDevice) ||
          refuses(state.deletedOnDesktop, plan.deletionsOnDesktop, plan.recordsOnDesktop));
}

bool SyncRun::LookAgain(FolderState& state) {
  const std::u16string name = state.folder->objectType;
  if (!state.plan.list.problem.empty()) {
    return false;
  }
  if (!state.touched && session_.Info(name) == state.plan.list.info) {
    return false;
  }
  Enumeration list = session_.Enumerate(name);
  TellProvider(state, list);
  SyncPlan next = MakePlan(Request(state), *state.folder, std::move(list));
  state.left = 0;
  if (WouldDeleteTooMany(state, next)) {
    // The next run asks the guard before it does anything.
    state.left = static_cast<int64_t>(next.items.size());
    return false;
  }
  const bool again = !next.items.empty() || !next.failures.empty();
  if (again) {
    state.plan = std::move(next);
  }
  return again;
}

// What was deleted between the list and the reading is no failure.
void SyncRun::ReportUnread(FolderState& state) {
  if (state.unread.empty()) {
    return;
  }
  const Enumeration list = session_.Enumerate(state.folder->objectType);
  std::set<CEOID> present(list.unchanged.begin(), list.unchanged.end());
  present.insert(list.changed.begin(), list.changed.end());
  for (const SyncFailure& failure : state.unread) {
    if (list.problem.empty() && !present.contains(failure.oid)) {
      continue;
    }
    ++state.failed;
    failures_.push_back({{"folder", state.folder->name},
                         {"oid", failure.oid},
                         {"title", failure.title},
                         {"problem", failure.problem}});
  }
}

bool SyncRun::VerifyObject(const FolderState& state, CEOID oid, int64_t record) {
  const auto stored = store_.Find(record);
  if (!stored || stored->deleted) {
    return true;  // gone again in a later round
  }
  ++compared_;
  const ReadResult read = session_.Read(state.folder->objectType, oid);
  const auto own = DecodePacket(state.folder->id, stored->packet);
  const auto device = read.packets.size() == 1
                          ? DecodePacket(state.folder->id, read.packets.front())
                          : std::nullopt;
  return own && device && SameContent(*own, *device);
}

void SyncRun::VerifyFolder(FolderState& state) {
  std::set<std::pair<CEOID, int64_t>> objects(state.travelled.begin(), state.travelled.end());
  if (options_.verifyAll) {
    for (const Link& link : store_.Links(device_.id, static_cast<int>(state.folder->id))) {
      if (!link.deleted && link.recordChange == link.change) {
        objects.emplace(link.oid, link.record);
      }
    }
  }
  std::erase_if(objects, [&](const auto& object) {
    return VerifyObject(state, object.first, object.second);
  });
  if (objects.empty()) {
    return;
  }
  // Edited or deleted since the last look: not wrong, but the next run's.
  const Enumeration list = session_.Enumerate(state.folder->objectType);
  const std::set<CEOID> unchanged(list.unchanged.begin(), list.unchanged.end());
  for (const auto& [oid, record] : objects) {
    if (list.problem.empty() && !unchanged.contains(oid)) {
      ++state.left;
      continue;
    }
    const auto stored = store_.Find(record);
    const auto own = DecodePacket(state.folder->id, stored->packet);
    differences_.push_back(
        {{"folder", state.folder->name}, {"title", own ? ToUtf8(own->DisplayName()) : ""}});
  }
}

void SyncRun::Verify() {
  for (FolderState& state : folders_) {
    VerifyFolder(state);
  }
}

Json SyncRun::FinishReport() {
  Json report;
  report["partner"] = options_.partner;
  report["firstRun"] = firstRun_;
  report["volume"] = ToUtf8(session_.Volume(kFolders.front().objectType));
  report["notices"] = notices_;
  Json folders = Json::array();
  int64_t failed = 0;
  int64_t left = 0;
  bool incomplete = false;
  for (const FolderState& state : folders_) {
    const FolderInfo info = session_.Info(state.folder->objectType);
    folders.push_back({{"folder", state.folder->name},
                       {"toDesktop", state.toDesktop},
                       {"toDevice", state.toDevice},
                       {"deletedOnDesktop", state.deletedOnDesktop},
                       {"deletedOnDevice", state.deletedOnDevice},
                       {"conflicts", state.conflicts},
                       {"failed", state.failed},
                       {"left", state.left},
                       {"onDevice", info.objectCount},
                       {"onDesktop", store_.Count(static_cast<int>(state.folder->id))},
                       {"problem", state.plan.list.problem}});
    failed += state.failed;
    left += state.left;
    incomplete |= !state.plan.list.problem.empty();
  }
  report["folders"] = std::move(folders);
  report["conflicts"] = conflicts_;
  report["failures"] = failures_;
  report["verify"] = {{"compared", compared_}, {"different", differences_}};
  const bool wrong = failed > 0 || incomplete || !differences_.empty();
  const ExitCode code = wrong                             ? ExitCode::RecordsFailed
                        : !conflicts_.empty() || left > 0 ? ExitCode::Left
                                                          : ExitCode::Done;
  report["exitCode"] = static_cast<int>(code);
  Store::Transaction transaction(store_);
  device_.pending.clear();
  if (!incomplete) {
    device_.lastRun = options_.now;
  }
  device_.report = report.dump();
  store_.UpdateDevice(device_);
  transaction.Commit();
  return report;
}

}  // namespace wkt
