#include "desktop/partner/SyncRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "host/control/Calls.h"
#include "tests/desktop/SyncDesk.h"

namespace wkt::test {
namespace {

using Jobs = SyncDesk::Jobs;

class SyncRunTest : public ::testing::Test {
 protected:
  SyncDesk desk;
};

TEST_F(SyncRunTest, FirstRunCarriesBothWays) {
  desk.AddOnDevice("from device");
  desk.AddOnDevice("Garden", "", FolderId::Types);
  desk.AddOnDesktop(1, "from desktop");
  const Json report = desk.Sync(1);
  EXPECT_TRUE(report["firstRun"].get<bool>());
  EXPECT_EQ(report["exitCode"], 0);
  EXPECT_EQ(Count(report, "toDesktop"), 1);
  EXPECT_EQ(Count(report, "toDevice"), 1);
  EXPECT_EQ(Count(report, "toDesktop", "types"), 1);
  EXPECT_EQ(report["verify"]["compared"], 3);
  const Jobs both{{"from device", ""}, {"from desktop", ""}};
  EXPECT_EQ(desk.OnDevice(), both);
  EXPECT_EQ(desk.OnDesktop(1), both);
}

TEST_F(SyncRunTest, SecondRunHasNothingToDo) {
  desk.AddOnDevice("one");
  desk.AddOnDevice("Garden", "", FolderId::Types);
  desk.Sync(1);
  const Json report = desk.Sync(1);
  EXPECT_FALSE(report["firstRun"].get<bool>());
  for (const char* folder : {"jobs", "types"}) {
    EXPECT_EQ(Count(report, "toDesktop", folder), 0);
    EXPECT_EQ(Count(report, "toDevice", folder), 0);
  }
  EXPECT_EQ(report["verify"]["compared"], 0);
}

TEST_F(SyncRunTest, EditsAndDeletesTravelBothWays) {
  for (const char* title : {"a", "b", "c", "d"}) {
    desk.AddOnDevice(title);
  }
  desk.Sync(1);
  desk.ChangeOnDevice("a", "device");
  desk.ChangeOnDesktop(1, "b", "desktop");
  desk.DeleteOnDevice("c");
  desk.DeleteOnDesktop(1, "d");
  const Json report = desk.Sync(1);
  EXPECT_EQ(report["exitCode"], 0);
  EXPECT_EQ(Count(report, "deletedOnDesktop"), 1);
  EXPECT_EQ(Count(report, "deletedOnDevice"), 1);
  const Jobs expected{{"a", "device"}, {"b", "desktop"}};
  EXPECT_EQ(desk.OnDevice(), expected);
  EXPECT_EQ(desk.OnDesktop(1), expected);
}

TEST_F(SyncRunTest, SecondPartnerSeesWhatTheFirstChanged) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.Sync(2);
  desk.ChangeOnDesktop(1, "a", "one");
  desk.AddOnDesktop(1, "new");
  desk.Sync(1);
  desk.Sync(2);
  const Jobs expected{{"a", "one"}, {"new", ""}};
  EXPECT_EQ(desk.OnDesktop(2), expected);
  desk.DeleteOnDesktop(2, "a");
  desk.Sync(2);
  desk.Sync(1);
  EXPECT_EQ(desk.OnDesktop(1), (Jobs{{"new", ""}}));
}

TEST_F(SyncRunTest, ConflictsAreListedAndSettledAsTold) {
  const struct {
    ConflictPolicy policy;
    Jobs expected;
  } cases[] = {
      {ConflictPolicy::Device, {{"a", "device"}}},
      {ConflictPolicy::Desktop, {{"a", "desktop"}}},
      {ConflictPolicy::Newer, {{"a", "desktop"}}},  // edited last
      {ConflictPolicy::Both, {{"a", "device"}, {"a", "desktop"}}},
  };
  for (const auto& row : cases) {
    SyncDesk fresh;
    fresh.AddOnDevice("a");
    fresh.Sync(1);
    fresh.ChangeOnDevice("a", "device");
    fresh.ChangeOnDesktop(1, "a", "desktop");
    const Json report = fresh.Sync(1, row.policy);
    EXPECT_EQ(report["exitCode"], 1) << ConflictPolicyName(row.policy);
    ASSERT_EQ(report["conflicts"].size(), 1u);
    EXPECT_EQ(report["conflicts"][0]["title"], "a");
    EXPECT_EQ(report["conflicts"][0]["day"], "2026-03-02");
    EXPECT_EQ(fresh.OnDevice(), row.expected);
    EXPECT_EQ(fresh.OnDesktop(1), row.expected);
  }
}

TEST_F(SyncRunTest, EditBeatsDeleteUnlessToldOtherwise) {
  const struct {
    ConflictPolicy policy;
    Jobs expected;
    const char* result[2];  // of the job deleted on the desktop, of that deleted on the device
  } cases[] = {
      {ConflictPolicy::Newer, {{"a", "edited"}, {"b", "edited"}}, {"device kept", "desktop kept"}},
      {ConflictPolicy::Both, {{"a", "edited"}, {"b", "edited"}}, {"device kept", "desktop kept"}},
      {ConflictPolicy::Device, {{"a", "edited"}}, {"device kept", "deleted"}},
      {ConflictPolicy::Desktop, {{"b", "edited"}}, {"deleted", "desktop kept"}},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(ConflictPolicyName(row.policy));
    SyncDesk fresh;
    for (const char* title : {"a", "b"}) {
      fresh.AddOnDevice(title);
    }
    fresh.Sync(1);
    fresh.ChangeOnDevice("a", "edited");
    fresh.DeleteOnDesktop(1, "a");
    fresh.ChangeOnDesktop(1, "b", "edited");
    fresh.DeleteOnDevice("b");
    const Json report = fresh.Sync(1, row.policy);
    EXPECT_EQ(report["exitCode"], 1);
    std::map<std::string, Json> conflicts;
    for (const Json& conflict : report["conflicts"]) {
      conflicts[conflict["title"]] = conflict;
    }
    ASSERT_EQ(conflicts.size(), 2u) << report.dump(1);
    EXPECT_EQ(conflicts["a"]["desktop"], "deleted");
    EXPECT_EQ(conflicts["a"]["result"], row.result[0]);
    EXPECT_EQ(conflicts["b"]["device"], "deleted");
    EXPECT_EQ(conflicts["b"]["result"], row.result[1]);
    EXPECT_EQ(fresh.OnDevice(), row.expected);
    EXPECT_EQ(fresh.OnDesktop(1), row.expected);
    EXPECT_EQ(fresh.Sync(1, row.policy)["exitCode"], 0) << "settled";
  }
}

TEST_F(SyncRunTest, GuardLooksAtTheDeviceToo) {
  for (int i = 0; i < 12; ++i) {
    desk.AddOnDevice("job " + std::to_string(i));
  }
  desk.Sync(1);
  for (int i = 0; i < 11; ++i) {
    desk.DeleteOnDesktop(1, "job " + std::to_string(i));
  }
  try {
    desk.Sync(1);
    FAIL() << "the guard let it pass";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code, ExitCode::Refused);
    EXPECT_TRUE(std::string(failure.what())
                    .starts_with("this would delete 11 of 12 jobs on the device. Nothing was"));
  }
  EXPECT_EQ(desk.OnDevice().size(), 12u);
  desk.Sync(1, ConflictPolicy::Newer, true);
  EXPECT_EQ(desk.OnDevice().size(), 1u);
}

TEST_F(SyncRunTest, GuardRefusesAndChangesNothing) {
  for (int i = 0; i < 12; ++i) {
    desk.AddOnDevice("job " + std::to_string(i));
  }
  desk.Sync(1);
  for (int i = 0; i < 11; ++i) {
    desk.DeleteOnDevice("job " + std::to_string(i));
  }
  desk.AddOnDesktop(1, "not sent");
  try {
    desk.Sync(1);
    FAIL() << "the guard let it pass";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code, ExitCode::Refused);
    EXPECT_STREQ(failure.what(),
                 "this would delete 11 of 13 jobs on the desktop. Nothing was changed. If that is "
                 "right, run again with "
                 "--allow-delete.");
  }
  EXPECT_EQ(desk.OnDesktop(1).size(), 13u);
  EXPECT_EQ(desk.OnDevice().size(), 1u);
  desk.Sync(1, ConflictPolicy::Newer, true);
  EXPECT_EQ(desk.OnDesktop(1).size(), 2u);
}

TEST_F(SyncRunTest, ResetDeviceGetsEverythingBack) {
  for (int i = 0; i < 12; ++i) {
    desk.AddOnDevice("job " + std::to_string(i));
  }
  desk.Sync(1);
  desk.ResetDevice();
  const Json report = desk.Sync(1);
  EXPECT_TRUE(report["firstRun"].get<bool>());
  ASSERT_EQ(report["notices"].size(), 1u);
  EXPECT_TRUE(report["notices"][0].get<std::string>().starts_with(
      "The device in this place was reset or exchanged"));
  EXPECT_EQ(Count(report, "toDevice"), 12);
  EXPECT_EQ(desk.OnDesktop(1).size(), 12u);
}

TEST_F(SyncRunTest, RestoredDeviceDeletesNothing) {
  desk.AddOnDevice("old");
  desk.Sync(1);
  const Partnership before = ReadPartnership(1);
  desk.AddOnDevice("young");
  desk.Sync(1);
  // As a backup made between the two runs would leave the device.
  desk.DeleteOnDevice("young");
  ASSERT_TRUE(WritePartnership(1, before));
  const Json report = desk.Sync(1);
  ASSERT_EQ(report["notices"].size(), 1u);
  EXPECT_TRUE(report["notices"][0].get<std::string>().starts_with(
      "This device is not as the last synchronisation left it"));
  EXPECT_EQ(Count(report, "deletedOnDesktop"), 0);
  EXPECT_EQ(desk.OnDevice(), (Jobs{{"old", ""}, {"young", ""}}));
  EXPECT_EQ(desk.OnDesktop(1), (Jobs{{"old", ""}, {"young", ""}}));
}

TEST_F(SyncRunTest, LostLinksAreFoundAgainByIdentifier) {
  desk.AddOnDevice("a");
  desk.AddOnDesktop(1, "b");
  desk.Sync(1);
  Store& store = desk.Partner(1);
  store.DropLinks(store.Devices().at(0).id);  // as a run killed before it could note them
  const Json report = desk.Sync(1);
  EXPECT_EQ(report["exitCode"], 0);
  EXPECT_EQ(desk.OnDevice().size(), 2u);
  EXPECT_EQ(desk.OnDesktop(1).size(), 2u);
}

TEST_F(SyncRunTest, UnconfirmedTransferIsRepeatedWithoutDoubling) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  // Unchanged for the desktop, changed by its mark: the confirmation was lost.
  desk.ChangeOnDevice("a", "");
  const Json report = desk.Sync(1);
  EXPECT_EQ(report["conflicts"].size(), 0u);
  EXPECT_EQ(desk.OnDesktop(1).size(), 1u);
  EXPECT_EQ(Count(desk.Sync(1), "toDesktop"), 0);
}

TEST_F(SyncRunTest, EditsWhileItRunsAreCarriedOrWait) {
  for (const char* title : {"a", "b", "c"}) {
    desk.AddOnDevice(title);
  }
  desk.Sync(1);
  desk.ChangeOnDevice("b", "before");
  bool edited = false;
  desk.options.progress = [&](const FolderDescription& folder, size_t, size_t) {
    if (folder.id == FolderId::Jobs && !edited) {
      edited = true;
      desk.ChangeOnDevice("a", "meanwhile", DuringSync::Yes);
      desk.AddOnDevice("d");
      desk.DeleteOnDevice("c");
    }
  };
  desk.Sync(1);
  EXPECT_TRUE(edited);
  const Jobs expected{{"a", "meanwhile"}, {"b", "before"}, {"d", ""}};
  EXPECT_EQ(desk.OnDevice(), expected);
  EXPECT_EQ(desk.OnDesktop(1), expected);
}

TEST_F(SyncRunTest, VerifyAllReadsEverything) {
  desk.AddOnDevice("a");
  desk.AddOnDevice("b");
  desk.Sync(1);
  desk.options.verifyAll = true;
  EXPECT_EQ(desk.Sync(1)["verify"]["compared"], 2);
}

TEST_F(SyncRunTest, NothingToDoOpensNothingPerRecord) {
  const auto opens = [this] {
    control::CallRecording recording;
    desk.Sync(1);
    const auto names = control::CallNames(recording.Take());
    return std::count(names.begin(), names.end(), "CeOpenDatabaseEx2");
  };
  desk.AddOnDevice("one");
  desk.Sync(1);
  const auto withOne = opens();
  EXPECT_GT(withOne, 0);
  for (int i = 0; i < 20; ++i) {
    desk.AddOnDevice("job " + std::to_string(i));
  }
  desk.Sync(1);
  EXPECT_EQ(opens(), withOne);
}

// The other partner's edit beats the device's deletion, so the job comes back as another object. It
// is still the job that this partner has, changed on one side only.
TEST_F(SyncRunTest, AJobMadeAgainForAnotherPartnerIsNoConflict) {
  desk.AddOnDesktop(1, "job", "first");
  desk.Sync(1);
  desk.Sync(2);
  desk.ChangeOnDesktop(1, "job", "of one");
  desk.ChangeOnDesktop(2, "job", "of two");
  desk.Sync(2);
  desk.DeleteOnDevice("job");
  desk.Sync(1);
  const Jobs agreed{{"job", "of one"}};
  EXPECT_EQ(desk.OnDevice(), agreed);
  const Json report = desk.Sync(2, ConflictPolicy::Desktop);
  EXPECT_EQ(report["exitCode"], 0);
  EXPECT_EQ(desk.OnDevice(), agreed);
  EXPECT_EQ(desk.OnDesktop(2), agreed);
  EXPECT_EQ(Count(desk.Sync(2), "toDesktop"), 0);
}

TEST_F(SyncRunTest, OneServiceManagerAtATime) {
  SyncSession other(nullptr);
  // A mutex's owner is a thread: the other manager lives in another one, as it would in another
  // process.
  EXPECT_EQ(other.Open(1), "");
  std::string problem;
  auto outcome = ManagerMutex::Outcome::Held;
  std::thread([&] {
    outcome = ManagerMutex().Take(0);
    SyncSession session(nullptr);
    problem = session.Open(1);
  }).join();
  EXPECT_EQ(outcome, ManagerMutex::Outcome::Busy);
  EXPECT_EQ(problem, "another synchronisation of this device is running; wait for its end");
}

}  // namespace
}  // namespace wkt::test
