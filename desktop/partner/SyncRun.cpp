#include "desktop/partner/SyncRun.h"

#include <algorithm>

#include "desktop/manager/Trace.h"

namespace wkt {

namespace {

// Rounds over a folder that somebody keeps editing; what is left goes with the next run.
constexpr int kRounds = 3;

std::string Narrow(const std::u16string& text) {
  return ToUtf8(text);
}
std::u16string Widen(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

}  // namespace

SyncRun::SyncRun(SyncSession& session, Store& store, const SyncOptions& options)
    : session_(session), store_(store), options_(options) {}

Json SyncRun::Run() {
  if (const std::string problem = session_.Open(static_cast<UINT>(options_.partner));
      !problem.empty()) {
    throw Failure(problem);
  }
  for (const FolderDescription& folder : kFolders) {
    FolderState state;
    state.folder = &folder;
    folders_.push_back(std::move(state));
  }
  Identify();
  session_.BeginSync();
  PlanAll();
  if (!options_.allowDelete && ListsNothingAnyMore()) {
    notices_.push_back(
        "This device lists nothing at all any more: its databases were lost. Records are matched "
        "by their identifiers and nothing is deleted. (--allow-delete lets a device that was "
        "emptied on purpose empty the desktop.)");
    ForgetLinks();
    PlanAll();
  }
  Guard();
  try {
    ApplyAll();
    Verify();
    session_.EndSync();
    return FinishReport();
  } catch (const Failure& failure) {
    if (!tokenLeft_) {
      throw;
    }
    throw Failure(std::string(failure.what()) +
                      "; a part of the run is done, run again when the cause is gone",
                  ExitCode::RecordsFailed);
  }
}

void SyncRun::ApplyAll() {
  if (!isKnownOnDevice_) {
    LeaveToken();
  }
  for (FolderState& state : folders_) {
    Apply(state);
    for (int round = 1; round < kRounds && LookAgain(state); ++round) {
      Apply(state);
    }
    ReportUnread(state);
  }
}

// Finds out which device this is, and whether what the store remembers of it can still be true.
void SyncRun::Identify() {
  partnership_ = ReadPartnership(static_cast<UINT>(options_.partner));
  Store::Transaction transaction(store_);
  std::string partnerId = store_.Setting("partnerId");
  if (partnerId.empty()) {
    partnerId = Narrow(store_.NewIdentifier(options_.now));
    store_.SetSetting("partnerId", partnerId);
  }
  isKnownOnDevice_ = Narrow(partnership_.partnerId) == partnerId;
  const std::string deviceId = Narrow(partnership_.deviceId);
  const auto known =
      deviceId.empty() ? std::nullopt : store_.FindDevice(deviceId, options_.partner);
  if (known) {
    device_ = *known;
    IdentifyKnown();
  } else {
    IdentifyNew();
  }
  partnership_.partnerId = Widen(partnerId);
  firstRun_ = device_.lastRun == 0;
  device_.place = options_.place;
  store_.UpdateDevice(device_);
  transaction.Commit();
}

void SyncRun::IdentifyKnown() {
  const std::string token = Narrow(partnership_.token);
  // A killed run may have left its token or not; from now on it is known which.
  if (!device_.pending.empty() && token == device_.pending) {
    device_.token = device_.pending;
  }
  device_.pending.clear();
  if (isKnownOnDevice_ && token == device_.token) {
    return;
  }
  if (device_.lastRun != 0) {
    notices_.push_back(
        "This device is not as the last synchronisation left it: it was restored from a backup, or "
        "another desktop took this partner's place. Records are matched by their identifiers and "
        "nothing is deleted.");
  }
  // Its identifiers may mean other records now.
  store_.DropLinks(device_.id);
  device_.lastRun = 0;
}

// The registry, where the token is, can outlive the databases. One folder that its user emptied is
// the guard's affair; all of them at once were not emptied by hand.
bool SyncRun::ListsNothingAnyMore() {
  int emptied = 0;
  for (const FolderState& state : folders_) {
    const Enumeration& list = state.plan.list;
    if (!list.problem.empty() || !list.unchanged.empty() || !list.changed.empty()) {
      return false;
    }
    emptied += !store_.Links(device_.id, static_cast<int>(state.folder->id)).empty();
  }
  return emptied > 1;
}

void SyncRun::ForgetLinks() {
  Store::Transaction transaction(store_);
  store_.DropLinks(device_.id);
  device_.lastRun = 0;
  firstRun_ = true;
  store_.UpdateDevice(device_);
  transaction.Commit();
}

bool SyncRun::HasLinks(const StoredDevice& device) {
  return std::any_of(kFolders.begin(), kFolders.end(), [&](const FolderDescription& folder) {
    const int number = static_cast<int>(folder.id);
    return !store_.Links(device.id, number).empty() || !store_.Sending(device.id, number).empty();
  });
}

void SyncRun::IdentifyNew() {
  bool wasOther = false;
  for (const StoredDevice& other : store_.Devices()) {
    if (options_.place.empty() || other.place != options_.place ||
        other.partner != options_.partner) {
      continue;
    }
    if (other.lastRun == 0 && !HasLinks(other)) {
      store_.RemoveDevice(other.id);  // a first run that ended before the device knew of it
    } else {
      wasOther = true;
    }
  }
  if (wasOther) {
    notices_.push_back(
        "The device in this place was reset or exchanged since the last synchronisation. Records "
        "are matched by their identifiers and nothing is deleted.");
  }
  if (!partnership_.partnerId.empty() && !isKnownOnDevice_) {
    notices_.push_back(
        "Partner " + std::to_string(options_.partner) +
        " of this device was another desktop until now; that one will match its records again.");
  }
  if (partnership_.deviceId.empty()) {
    partnership_.deviceId = store_.NewIdentifier(options_.now);
  }
  device_.deviceId = Narrow(partnership_.deviceId);
  device_.partner = options_.partner;
  device_.id = store_.AddDevice(device_.deviceId, options_.partner);
}

PlanRequest SyncRun::Request(FolderState& state) {
  return {session_, store_, device_.id, options_.conflict, firstRun_, state.skips};
}

void SyncRun::PlanAll() {
  for (FolderState& state : folders_) {
    const std::u16string name = state.folder->objectType;
    state.plan = MakePlan(Request(state), *state.folder, session_.Enumerate(name));
  }
}

void SyncRun::Guard() {
  if (options_.allowDelete) {
    return;
  }
  for (const FolderState& state : folders_) {
    const SyncPlan& plan = state.plan;
    const bool onDevice = GuardRefuses(plan.deletionsOnDevice, plan.recordsOnDevice);
    const bool onDesktop = GuardRefuses(plan.deletionsOnDesktop, plan.recordsOnDesktop);
    if (onDevice || onDesktop) {
      throw Failure(
          "this would delete " +
              std::to_string(onDevice ? plan.deletionsOnDevice : plan.deletionsOnDesktop) + " of " +
              std::to_string(onDevice ? plan.recordsOnDevice : plan.recordsOnDesktop) + " " +
              state.folder->name + (onDevice ? " on the device" : " on the desktop") +
              ". Nothing was changed. If that is right, run again with --allow-delete.",
          ExitCode::Refused);
    }
  }
}

// Before the first change of a run the device is given a new token: a backup of the device made
// earlier will be known by its old one.
void SyncRun::LeaveToken() {
  if (tokenLeft_) {
    return;
  }
  {
    Store::Transaction transaction(store_);
    device_.pending = Narrow(store_.NewIdentifier(options_.now));
    store_.UpdateDevice(device_);
    transaction.Commit();
  }
  partnership_.token = Widen(device_.pending);
  if (!WritePartnership(static_cast<UINT>(options_.partner), partnership_)) {
    throw Failure("the device's registry cannot be written");
  }
  device_.token = device_.pending;
  tokenLeft_ = true;
}

}  // namespace wkt
