// The end of a run: what happened meanwhile, whether what travelled arrived, and the report.
#include <algorithm>
#include <set>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/SyncRun.h"

namespace wkt {

bool SyncRun::LookAgain(FolderState& state) {
  const std::u16string name = state.folder->objectType;
  if (!state.plan.list.problem.empty()) {
    return false;
  }
  if (!state.touched && session_.Info(name) == state.plan.list.info) {
    return false;
  }
  Enumeration list = session_.Enumerate(name);
  SyncPlan next = MakePlan(Request(state), *state.folder, list);
  const bool again = !next.items.empty();
  for (const SyncItem& item : next.items) {
    const bool vanished =
        item.input.device == DeviceState::Missing && item.input.bond == Bond::Linked;
    if (vanished) {
      (void)session_.NotifyDeleted(name, item.oid);
    } else if (item.listedChanged) {
      (void)session_.NotifyChanged(name, item.oid);
    }
  }
  const bool tooMany =
      !options_.allowDelete && (GuardRefuses(next.deletionsOnDevice, next.recordsOnDevice) ||
                                GuardRefuses(next.deletionsOnDesktop, next.recordsOnDesktop));
  if (!again || tooMany) {
    return false;  // what is left goes with the next run, which asks the guard first
  }
  state.plan = std::move(next);
  state.unconfirmed = false;
  return true;
}

void SyncRun::VerifyObject(const FolderState& state, CEOID oid, int64_t record) {
  const auto stored = store_.Find(record);
  if (!stored || stored->deleted) {
    return;  // gone again in a later round
  }
  ++compared_;
  const ReadResult read = session_.Read(state.folder->objectType, oid);
  const auto own = DecodePacket(state.folder->id, stored->packet);
  const auto device = read.packets.size() == 1
                          ? DecodePacket(state.folder->id, read.packets.front())
                          : std::nullopt;
  if (!own || !device || !SameContent(*own, *device)) {
    differences_.push_back(
        {{"folder", state.folder->name}, {"title", own ? ToUtf8(own->DisplayName()) : ""}});
  }
}

void SyncRun::Verify() {
  for (FolderState& state : folders_) {
    std::set<std::pair<CEOID, int64_t>> objects(state.travelled.begin(), state.travelled.end());
    if (options_.verifyAll) {
      for (const Link& link : store_.Links(device_.id, static_cast<int>(state.folder->id))) {
        if (!link.deleted && link.recordChange == link.change) {
          objects.emplace(link.oid, link.record);
        }
      }
    }
    for (const auto& [oid, record] : objects) {
      VerifyObject(state, oid, record);
    }
  }
}

Json SyncRun::FinishReport() {
  Json report;
  report["partner"] = options_.partner;
  report["firstRun"] = firstRun_;
  report["notices"] = notices_;
  Json folders = Json::array();
  int64_t failed = 0;
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
                       {"onDevice", info.objectCount},
                       {"onDesktop", store_.Count(static_cast<int>(state.folder->id))},
                       {"problem", state.plan.list.problem}});
    failed += state.failed;
    incomplete |= !state.plan.list.problem.empty();
  }
  report["folders"] = std::move(folders);
  report["conflicts"] = conflicts_;
  report["failures"] = failures_;
  report["verify"] = {{"compared", compared_}, {"different", differences_}};
  const bool wrong = failed > 0 || incomplete || !differences_.empty();
  const ExitCode code = wrong                ? ExitCode::RecordsFailed
                        : conflicts_.empty() ? ExitCode::Done
                                             : ExitCode::Left;
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
