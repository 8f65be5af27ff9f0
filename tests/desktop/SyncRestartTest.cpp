// Runs that ended half way, and what the next one makes of it.
#include <gtest/gtest.h>

#include <fstream>

#include "host/control/Calls.h"
#include "platform/Errors.h"
#include "tests/desktop/SyncDesk.h"

namespace wkt::test {
namespace {

using Jobs = SyncDesk::Jobs;

class SyncRestartTest : public ::testing::Test {
 protected:
  void ExpectBoth(const Jobs& expected) {
    EXPECT_EQ(desk.OnDevice(), expected);
    EXPECT_EQ(desk.OnDesktop(1), expected);
  }
  // Neither a conflict nor any other thing to look at, and nothing left for another run.
  void SyncCleanly(ConflictPolicy policy = ConflictPolicy::Newer) {
    const Json report = desk.Sync(1, policy);
    EXPECT_EQ(report["exitCode"], 0) << report.dump(1);
    EXPECT_EQ(report["notices"].size(), 0u) << report.dump(1);
    const Json again = desk.Sync(1, policy);
    for (const char* column : {"toDesktop", "toDevice", "deletedOnDesktop", "deletedOnDevice"}) {
      EXPECT_EQ(Count(again, column), 0) << column;
    }
  }

  SyncDesk desk;
};

TEST_F(SyncRestartTest, ChangeThatWasSentUnnotedIsNotStuck) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.ChangeOnDesktop(1, "a", "second");
  desk.SyncUnnoted(1);
  SyncCleanly();
  ExpectBoth({{"a", "second"}});
}

TEST_F(SyncRestartTest, EditAfterAChangeThatWasSentUnnotedFollows) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.ChangeOnDesktop(1, "a", "second");
  desk.SyncUnnoted(1);
  desk.ChangeOnDesktop(1, "a", "third");
  SyncCleanly(ConflictPolicy::Device);
  ExpectBoth({{"a", "third"}});
}

TEST_F(SyncRestartTest, DeleteAfterAChangeThatWasSentUnnotedFollows) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.ChangeOnDesktop(1, "a", "second");
  desk.SyncUnnoted(1);
  desk.DeleteOnDesktop(1, "a");
  SyncCleanly(ConflictPolicy::Device);
  ExpectBoth({});
}

TEST_F(SyncRestartTest, NewRecordThatWasSentUnnotedIsNotDoubled) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.AddOnDesktop(1, "b");
  desk.SyncUnnoted(1);
  SyncCleanly();
  ExpectBoth({{"a", ""}, {"b", ""}});
}

TEST_F(SyncRestartTest, EditOfANewRecordThatWasSentUnnotedIsNoConflict) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.AddOnDesktop(1, "b");
  desk.AddOnDesktop(1, "c");
  desk.SyncUnnoted(1);
  desk.ChangeOnDevice("b", "device");
  desk.ChangeOnDesktop(1, "c", "desktop");
  SyncCleanly(ConflictPolicy::Desktop);
  ExpectBoth({{"a", ""}, {"b", "device"}, {"c", "desktop"}});
}

TEST_F(SyncRestartTest, NewRecordThatWasSentUnnotedCanBeDeleted) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.AddOnDesktop(1, "b");
  desk.SyncUnnoted(1);
  desk.DeleteOnDesktop(1, "b");
  SyncCleanly();
  ExpectBoth({{"a", ""}});
}

TEST_F(SyncRestartTest, NewRecordThatNeverArrivedIsSentOnce) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.AddOnDesktop(1, "b");
  desk.AddOnDesktop(1, "c");
  Store& store = desk.Partner(1);
  const int64_t device = store.Devices().at(0).id;
  for (const int64_t record : store.Unlinked(device, static_cast<int>(FolderId::Jobs))) {
    store.SetSending(device, static_cast<int>(FolderId::Jobs), record);
  }
  desk.DeleteOnDesktop(1, "c");
  SyncCleanly();
  ExpectBoth({{"a", ""}, {"b", ""}});
  EXPECT_TRUE(store.Sending(device, static_cast<int>(FolderId::Jobs)).empty());
}

// A second run that ends between noting its token and leaving it must not make the first one's look
// like that of an older device.
TEST_F(SyncRestartTest, TwoRunsThatEndedHalfWayAreNoRestoredDevice) {
  for (const char* title : {"a", "b"}) {
    desk.AddOnDevice(title);
  }
  desk.Sync(1);
  desk.ChangeOnDesktop(1, "a", "second");
  desk.SyncUnnoted(1);
  control::FailCall("RegSetValueExW", 3, ERROR_ACCESS_DENIED);  // identifiers first, the token last
  try {
    desk.Sync(1);
    ADD_FAILURE() << "the token was left";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code, ExitCode::Failed) << "nothing was changed";
  }
  EXPECT_FALSE(control::ClearFailures());
  desk.DeleteOnDevice("b");
  SyncCleanly();
  ExpectBoth({{"a", "second"}});
}

TEST_F(SyncRestartTest, FirstRunThatEndedBeforeTheDeviceKnewIsForgotten) {
  desk.AddOnDevice("a");
  control::FailCall("RegSetValueExW", 1, ERROR_ACCESS_DENIED);
  EXPECT_THROW(desk.Sync(1), Failure);
  EXPECT_FALSE(control::ClearFailures());
  SyncCleanly();
  EXPECT_EQ(desk.Partner(1).Devices().size(), 1u);
  ExpectBoth({{"a", ""}});
}

TEST_F(SyncRestartTest, FailureHalfWaySaysSo) {
  desk.AddOnDevice("Garden", "", FolderId::Types);
  desk.AddOnDevice("a");
  desk.options.progress = [](const FolderDescription& folder, size_t, size_t) {
    if (folder.id == FolderId::Jobs) {
      throw Failure("the disk is full");
    }
  };
  try {
    desk.Sync(1);
    ADD_FAILURE() << "the failure was lost";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code, ExitCode::RecordsFailed);
    EXPECT_STREQ(failure.what(),
                 "the disk is full; a part of the run is done, run again when the cause is gone");
  }
  desk.options.progress = nullptr;
  SyncCleanly();
  ExpectBoth({{"a", ""}});
}

TEST_F(SyncRestartTest, EditsThatGoOnWaitForTheNextRun) {
  desk.AddOnDevice("a");
  desk.Sync(1);
  desk.ChangeOnDevice("a", "edit 0");
  int edits = 0;
  desk.options.progress = [&](const FolderDescription& folder, size_t, size_t) {
    if (folder.id == FolderId::Jobs) {
      desk.ChangeOnDevice("a", "edit " + std::to_string(++edits), DuringSync::Yes);
    }
  };
  const Json report = desk.Sync(1);
  EXPECT_EQ(edits, 3) << "rounds of a run";
  EXPECT_EQ(Count(report, "left"), 1);
  EXPECT_EQ(report["verify"]["different"].size(), 0u) << "edited meanwhile is not wrong";
  EXPECT_EQ(report["exitCode"], 1);
  desk.options.progress = nullptr;
  SyncCleanly();
  ExpectBoth({{"a", "edit 3"}});
}

TEST_F(SyncRestartTest, GuardCountsTheDeletionsOfAllRounds) {
  for (int i = 0; i < 40; ++i) {
    desk.AddOnDevice("job " + std::to_string(100 + i));
  }
  desk.Sync(1);
  int next = 0;
  const auto deleteTen = [&] {
    for (int i = 0; i < 10; ++i) {
      desk.DeleteOnDevice("job " + std::to_string(100 + next++));
    }
  };
  deleteTen();
  desk.options.progress = [&](const FolderDescription& folder, size_t, size_t) {
    if (folder.id == FolderId::Jobs && next == 10) {
      deleteTen();
    }
  };
  const Json report = desk.Sync(1);
  EXPECT_EQ(Count(report, "deletedOnDesktop"), 10);
  EXPECT_EQ(Count(report, "left"), 10);
  EXPECT_EQ(report["exitCode"], 1);
  EXPECT_EQ(desk.OnDesktop(1).size(), 30u);
}

// The provider takes the mark of a change meanwhile away when it is told of the change, so it has
// to be told before the object is read.
TEST_F(SyncRestartTest, ProviderIsToldOfAChangeBeforeItIsReadAgain) {
  const std::string file = ::testing::TempDir() + "wkt-restart-trace.jsonl";
  desk.AddOnDevice("a");
  desk.AddOnDevice("b");
  desk.Sync(1);
  desk.ChangeOnDevice("a", "before");
  bool edited = false;
  desk.options.progress = [&](const FolderDescription& folder, size_t, size_t) {
    if (folder.id == FolderId::Jobs && !edited) {
      edited = true;
      desk.ChangeOnDevice("a", "meanwhile", DuringSync::Yes);
      desk.DeleteOnDevice("b");
    }
  };
  {
    Trace trace;
    ASSERT_TRUE(trace.Open(file));
    desk.trace = &trace;
    EXPECT_EQ(desk.Sync(1)["exitCode"], 0);
    desk.trace = nullptr;
  }
  std::ifstream lines(file);
  std::vector<std::string> calls;
  for (std::string line; std::getline(lines, line);) {
    const Json call = Json::parse(line);
    if (call["call"] == "ObjectNotify") {
      calls.push_back(call["uFlags"]);
    } else if (call["call"] == "IReplObjHandler::GetPacket") {
      calls.push_back("read");
    }
  }
  std::filesystem::remove(file);
  EXPECT_EQ(calls, (std::vector<std::string>{"read", "ONF_CLEAR_CHANGE", "ONF_RECORD|ONF_CHANGED",
                                             "ONF_RECORD|ONF_DELETED", "read", "ONF_CLEAR_CHANGE",
                                             "read"}));
  ExpectBoth({{"a", "meanwhile"}});
}

TEST_F(SyncRestartTest, DeviceWithoutRecordsIsKnownAgain) {
  EXPECT_TRUE(desk.Sync(1)["firstRun"].get<bool>());
  const Json again = desk.Sync(1);
  EXPECT_FALSE(again["firstRun"].get<bool>());
  EXPECT_EQ(again["notices"].size(), 0u) << again["notices"].dump();
  EXPECT_EQ(desk.Partner(1).Devices().size(), 1u);
}

}  // namespace
}  // namespace wkt::test
