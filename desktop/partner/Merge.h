// Decides what becomes of one record of which a device and the desktop each have a state. Pure:
// no store, no device, no clock; the whole table of decisions is here.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace wkt {

enum class DeviceState : uint8_t {
  Missing,    // the device does not list it
  Unchanged,  // listed, as at the last common state
  Changed,    // listed and different from the last common state
};

enum class DesktopState : uint8_t {
  Missing,    // the desktop never had it
  Unchanged,  // as at the last common state
  Changed,    // edited since, or never sent to this device
  Deleted,    // deleted since
};

// What both sides know of each other's record.
enum class Bond : uint8_t {
  None,     // only one side has the record
  Linked,   // the store knows that the object is the record, and their last common state
  Matched,  // found by the record identifier alone: no common state is known
};

enum class ConflictPolicy : uint8_t { Newer, Device, Desktop, Both };

std::optional<ConflictPolicy> ConflictPolicyFromName(std::string_view name);
const char* ConflictPolicyName(ConflictPolicy policy);

// How far the device's list may be believed where a record is missing from it.
enum class Listing : uint8_t {
  Complete,    // what is missing was deleted
  FirstRun,    // complete, but no run with this device was finished before: nothing is deleted
  Incomplete,  // the list failed or is short: what is missing is merely not seen
};

struct MergeInput {
  DeviceState device = DeviceState::Missing;
  DesktopState desktop = DesktopState::Missing;
  Bond bond = Bond::None;
  bool sameContent = false;   // both sides have it and it is equal
  bool desktopNewer = false;  // the desktop's modification time is later
  Listing listing = Listing::Complete;
  ConflictPolicy policy = ConflictPolicy::Newer;
};

enum class MergeAction : uint8_t {
  Nothing,
  Link,            // equal on both sides: remember that they belong together
  TakeFromDevice,  // store the device's record, confirm it
  SendNew,         // add the desktop's record on the device
  SendChange,      // replace the device's record
  DeleteOnDevice,
  DeleteOnDesktop,
  TakeAndKeepCopy,  // store the device's record; the desktop's stays as a new one and is sent
  Forget,           // gone on both sides: drop what was remembered
};

struct MergeResult {
  MergeAction action = MergeAction::Nothing;
  bool conflict = false;  // both sides changed it, or one changed and the other deleted it

  bool operator==(const MergeResult&) const = default;
};

MergeResult Merge(const MergeInput& input);

// What conflicts are listed with.
const char* MergeActionText(MergeAction action);

// Deleting more than a quarter of a folder, and more than ten records, looks like a mistake.
constexpr int64_t kGuardRecords = 10;
constexpr int64_t kGuardPercent = 25;
bool GuardRefuses(int64_t deletions, int64_t recordCount);

}  // namespace wkt
