#include "desktop/partner/Merge.h"

#include <gtest/gtest.h>

#include <vector>

namespace wkt {
namespace {

MergeInput Input(Bond bond, DeviceState device, DesktopState desktop) {
  MergeInput input;
  input.bond = bond;
  input.device = device;
  input.desktop = desktop;
  return input;
}

struct Case {
  DeviceState device;
  DesktopState desktop;
  MergeAction action;
  bool conflict;
};

TEST(Merge, LinkedRecordsFollowTheSideThatChanged) {
  const Case cases[] = {
      {DeviceState::Unchanged, DesktopState::Unchanged, MergeAction::Nothing, false},
      {DeviceState::Changed, DesktopState::Unchanged, MergeAction::TakeFromDevice, false},
      {DeviceState::Unchanged, DesktopState::Changed, MergeAction::SendChange, false},
      {DeviceState::Missing, DesktopState::Unchanged, MergeAction::DeleteOnDesktop, false},
      {DeviceState::Unchanged, DesktopState::Deleted, MergeAction::DeleteOnDevice, false},
      {DeviceState::Missing, DesktopState::Deleted, MergeAction::Forget, false},
      // An edit beats a delete.
      {DeviceState::Missing, DesktopState::Changed, MergeAction::SendNew, true},
      {DeviceState::Changed, DesktopState::Deleted, MergeAction::TakeFromDevice, true},
      {DeviceState::Changed, DesktopState::Changed, MergeAction::TakeFromDevice, true},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(Merge(Input(Bond::Linked, row.device, row.desktop)),
              (MergeResult{row.action, row.conflict}))
        << int(row.device) << " " << int(row.desktop);
  }
}

TEST(Merge, UnknownRecordsTravelToTheSideWithoutThem) {
  EXPECT_EQ(Merge(Input(Bond::None, DeviceState::Changed, DesktopState::Missing)).action,
            MergeAction::TakeFromDevice);
  EXPECT_EQ(Merge(Input(Bond::None, DeviceState::Missing, DesktopState::Changed)).action,
            MergeAction::SendNew);
}

TEST(Merge, BothChangedFollowsThePolicy) {
  MergeInput input = Input(Bond::Linked, DeviceState::Changed, DesktopState::Changed);
  const auto with = [&input](ConflictPolicy policy, bool desktopNewer) {
    input.policy = policy;
    input.desktopNewer = desktopNewer;
    return Merge(input).action;
  };
  EXPECT_EQ(with(ConflictPolicy::Newer, true), MergeAction::SendChange);
  EXPECT_EQ(with(ConflictPolicy::Newer, false), MergeAction::TakeFromDevice);
  EXPECT_EQ(with(ConflictPolicy::Device, true), MergeAction::TakeFromDevice);
  EXPECT_EQ(with(ConflictPolicy::Desktop, false), MergeAction::SendChange);
  EXPECT_EQ(with(ConflictPolicy::Both, true), MergeAction::TakeAndKeepCopy);
}

TEST(Merge, PolicyLetsTheNamedSidesDeleteWin) {
  MergeInput input = Input(Bond::Linked, DeviceState::Changed, DesktopState::Deleted);
  input.policy = ConflictPolicy::Desktop;
  EXPECT_EQ(Merge(input), (MergeResult{MergeAction::DeleteOnDevice, true}));
  input = Input(Bond::Linked, DeviceState::Missing, DesktopState::Changed);
  input.policy = ConflictPolicy::Device;
  EXPECT_EQ(Merge(input), (MergeResult{MergeAction::DeleteOnDesktop, true}));
}

TEST(Merge, EqualContentIsNoConflict) {
  for (const Bond bond : {Bond::Linked, Bond::Matched}) {
    MergeInput input = Input(bond, DeviceState::Changed, DesktopState::Changed);
    input.sameContent = true;
    EXPECT_EQ(Merge(input), (MergeResult{MergeAction::Link, false}));
  }
}

std::vector<MergeInput> AllInputs(Listing listing) {
  std::vector<MergeInput> inputs;
  for (const Bond bond : {Bond::None, Bond::Linked, Bond::Matched}) {
    for (const DeviceState device :
         {DeviceState::Missing, DeviceState::Unchanged, DeviceState::Changed}) {
      for (const DesktopState desktop : {DesktopState::Missing, DesktopState::Unchanged,
                                         DesktopState::Changed, DesktopState::Deleted}) {
        for (const ConflictPolicy policy : {ConflictPolicy::Newer, ConflictPolicy::Device,
                                            ConflictPolicy::Desktop, ConflictPolicy::Both}) {
          for (const bool newer : {false, true}) {
            MergeInput input = Input(bond, device, desktop);
            input.listing = listing;
            input.policy = policy;
            input.desktopNewer = newer;
            inputs.push_back(input);
          }
        }
      }
    }
  }
  return inputs;
}

TEST(Merge, FirstRunAndIncompleteListDeleteNothing) {
  for (const Listing listing : {Listing::FirstRun, Listing::Incomplete}) {
    for (const MergeInput& input : AllInputs(listing)) {
      const MergeAction action = Merge(input).action;
      EXPECT_NE(action, MergeAction::DeleteOnDesktop);
      EXPECT_NE(action, MergeAction::DeleteOnDevice);
    }
  }
}

TEST(Merge, IncompleteListSendsNothingThatItMayHide) {
  for (const MergeInput& input : AllInputs(Listing::Incomplete)) {
    if (input.device == DeviceState::Missing) {
      EXPECT_EQ(Merge(input).action, MergeAction::Nothing);
    }
  }
}

TEST(Merge, NoEditIsLostUnlessThePolicyNamesTheOtherSide) {
  for (const MergeInput& input : AllInputs(Listing::Complete)) {
    const MergeAction action = Merge(input).action;
    if (input.desktop == DesktopState::Changed && input.policy == ConflictPolicy::Both &&
        input.bond != Bond::None) {
      EXPECT_NE(action, MergeAction::TakeFromDevice);
      EXPECT_NE(action, MergeAction::DeleteOnDesktop);
    }
    if (input.device == DeviceState::Changed && input.policy == ConflictPolicy::Both) {
      EXPECT_NE(action, MergeAction::SendChange);
      EXPECT_NE(action, MergeAction::DeleteOnDevice);
    }
  }
}

TEST(Guard, RefusesMoreThanAQuarterAndMoreThanTen) {
  EXPECT_FALSE(GuardRefuses(10, 10));
  EXPECT_TRUE(GuardRefuses(11, 11));
  EXPECT_TRUE(GuardRefuses(11, 43));
  EXPECT_FALSE(GuardRefuses(11, 44));
  EXPECT_FALSE(GuardRefuses(25, 100));
  EXPECT_TRUE(GuardRefuses(26, 100));
  EXPECT_FALSE(GuardRefuses(0, 0));
}

TEST(ConflictPolicyNames, AreReadAndWritten) {
  for (const char* name : {"newer", "device", "desktop", "both"}) {
    ASSERT_TRUE(ConflictPolicyFromName(name));
    EXPECT_STREQ(ConflictPolicyName(*ConflictPolicyFromName(name)), name);
  }
  EXPECT_FALSE(ConflictPolicyFromName("Newer"));
  EXPECT_FALSE(ConflictPolicyFromName(""));
}

}  // namespace
}  // namespace wkt
