// What one folder's run is going to do: everything read, nothing changed yet.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "desktop/manager/SyncSession.h"
#include "desktop/partner/Merge.h"
#include "desktop/partner/RecordPacket.h"
#include "desktop/partner/Store.h"

namespace wkt {

// One record that something is to be done with.
struct SyncItem {
  CEOID oid = 0;       // on the device, 0: not there
  int64_t record = 0;  // in the store, 0: not there
  bool listedChanged = false;
  bool confirm = false;  // the device must be told that the desktop has it
  Bytes packet;          // as read from the device, when it was read
  MergeInput input;
  MergeResult result;
};

struct SyncFailure {
  CEOID oid = 0;
  int64_t record = 0;
  std::string title;
  std::string problem;
};

struct SyncPlan {
  const FolderDescription* folder = nullptr;
  Enumeration list;
  Listing listing = Listing::Complete;
  std::vector<SyncItem> items;
  std::vector<SyncItem> copies;  // new records made while conflicts were settled
  std::vector<SyncFailure> failures;
  int64_t deletionsOnDevice = 0;
  int64_t deletionsOnDesktop = 0;
  int64_t recordsOnDevice = 0;
  int64_t recordsOnDesktop = 0;
};

// Objects and records that failed earlier in the same run and are not tried again.
struct SyncSkips {
  std::set<CEOID> oids;
  std::set<int64_t> records;
};

struct PlanRequest {
  SyncSession& session;
  Store& store;
  int64_t device = 0;
  ConflictPolicy policy = ConflictPolicy::Newer;
  bool firstRun = false;
  const SyncSkips& skips;
};

SyncPlan MakePlan(const PlanRequest& request, const FolderDescription& folder, Enumeration list);

}  // namespace wkt
