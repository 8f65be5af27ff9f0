#include "desktop/partner/Merge.h"

#include <array>
#include <utility>

namespace wkt {

namespace {

constexpr std::array<std::pair<std::string_view, ConflictPolicy>, 4> kPolicies = {{
    {"newer", ConflictPolicy::Newer},
    {"device", ConflictPolicy::Device},
    {"desktop", ConflictPolicy::Desktop},
    {"both", ConflictPolicy::Both},
}};

// Both sides have the record, both states differ from what was common, and from each other.
MergeResult MergeBothChanged(const MergeInput& input) {
  switch (input.policy) {
    case ConflictPolicy::Device:
      return {MergeAction::TakeFromDevice, true};
    case ConflictPolicy::Desktop:
      return {MergeAction::SendChange, true};
    case ConflictPolicy::Both:
      return {MergeAction::TakeAndKeepCopy, true};
    case ConflictPolicy::Newer:
      break;
  }
  // The same instant on both sides: the device's, which somebody holds in the hand.
  return {input.desktopNewer ? MergeAction::SendChange : MergeAction::TakeFromDevice, true};
}

MergeResult MergeMissingOnDevice(const MergeInput& input) {
  if (input.listing == Listing::Incomplete) {
    return {};  // sending it anew could double it
  }
  if (input.bond == Bond::None) {
    return {input.desktop == DesktopState::Deleted ? MergeAction::Nothing : MergeAction::SendNew,
            false};
  }
  switch (input.desktop) {
    case DesktopState::Unchanged:
      return {
          input.listing == Listing::FirstRun ? MergeAction::SendNew : MergeAction::DeleteOnDesktop,
          false};
    case DesktopState::Changed:
      if (input.listing == Listing::FirstRun) {
        return {MergeAction::SendNew, false};
      }
      return {input.policy == ConflictPolicy::Device ? MergeAction::DeleteOnDesktop
                                                     : MergeAction::SendNew,
              true};
    case DesktopState::Deleted:
    case DesktopState::Missing:
      break;
  }
  return {MergeAction::Forget, false};
}

MergeResult MergeDeletedOnDesktop(const MergeInput& input) {
  if (input.listing == Listing::FirstRun || input.bond != Bond::Linked) {
    return {MergeAction::TakeFromDevice, false};
  }
  if (input.listing == Listing::Incomplete) {
    return {};  // waits for a run that sees everything
  }
  if (input.device == DeviceState::Unchanged) {
    return {MergeAction::DeleteOnDevice, false};
  }
  return {input.policy == ConflictPolicy::Desktop ? MergeAction::DeleteOnDevice
                                                  : MergeAction::TakeFromDevice,
          true};
}

}  // namespace

std::optional<ConflictPolicy> ConflictPolicyFromName(std::string_view name) {
  for (const auto& [known, policy] : kPolicies) {
    if (known == name) {
      return policy;
    }
  }
  return std::nullopt;
}

const char* ConflictPolicyName(ConflictPolicy policy) {
  for (const auto& [known, value] : kPolicies) {
    if (value == policy) {
      return known.data();
    }
  }
  return "";
}

MergeResult Merge(const MergeInput& input) {
  if (input.device == DeviceState::Missing) {
    return MergeMissingOnDevice(input);
  }
  if (input.desktop == DesktopState::Missing) {
    return {MergeAction::TakeFromDevice, false};
  }
  if (input.desktop == DesktopState::Deleted) {
    return MergeDeletedOnDesktop(input);
  }
  if (input.bond == Bond::Linked && input.device == DeviceState::Unchanged) {
    return {input.desktop == DesktopState::Changed ? MergeAction::SendChange : MergeAction::Nothing,
            false};
  }
  if (input.sameContent) {
    return {MergeAction::Link, false};
  }
  if (input.bond == Bond::Linked && input.desktop == DesktopState::Unchanged) {
    return {MergeAction::TakeFromDevice, false};
  }
  return MergeBothChanged(input);
}

const char* MergeActionText(MergeAction action) {
  switch (action) {
    case MergeAction::TakeFromDevice:
      return "device kept";
    case MergeAction::SendNew:
    case MergeAction::SendChange:
      return "desktop kept";
    case MergeAction::DeleteOnDevice:
    case MergeAction::DeleteOnDesktop:
      return "deleted";
    case MergeAction::TakeAndKeepCopy:
      return "both kept";
    case MergeAction::Nothing:
    case MergeAction::Link:
    case MergeAction::Forget:
      break;
  }
  return "";
}

bool GuardRefuses(int64_t deletions, int64_t recordCount) {
  return deletions > kGuardRecords && deletions * 100 > recordCount * kGuardPercent;
}

}  // namespace wkt
