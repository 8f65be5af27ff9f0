// Whole runs with a provider whose lists, reads and writes fail on demand: what is not seen is not
// deleted, and every failure is told.
#include <gtest/gtest.h>

#include <filesystem>

#include "desktop/manager/Trace.h"
#include "desktop/partner/SyncRun.h"
#include "platform/Kernel.h"
#include "tests/desktop/fake/FakeProvider.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {
namespace {

constexpr char16_t kLibrary[] = u"\\Windows\\FakeProvider.dll";
constexpr char16_t kKey[] = u"Windows CE Services\\Synchronization\\Objects\\";
constexpr int kJobsFolder = static_cast<int>(FolderId::Jobs);
constexpr size_t kJobs = 12;

class SyncListTest : public DeskDeviceTest {
 protected:
  SyncListTest() : store(device.Folder() + "-partner", Store::Mode::OpenOrCreate) {
    device.CopyFile(WKT_FAKE_PROVIDER, kLibrary);
    for (const FolderDescription& folder : kFolders) {
      device.SetText(std::u16string(kKey) + folder.objectType, u"Store", kLibrary);
    }
    module_ = LoadLibraryW(kLibrary);
    fake = reinterpret_cast<FakeSettingsFunction>(GetProcAddressW(module_, u"FakeSettingsOf"))();
    *fake = {};
    fake->folder = u"WktActivities";
    for (uint32_t oid = 1; oid <= kJobs; ++oid) {
      fake->objects.push_back({oid, true, EncodePacket(Job(oid))});
    }
  }
  ~SyncListTest() override { FreeLibrary(module_); }

  static Record Job(uint32_t number) {
    Record job = MakeRecord(FolderId::Jobs, kStartTicks, 0);
    const std::string text = std::to_string(number);
    job.SetText(Field::Title, u"job " + std::u16string(text.begin(), text.end()));
    job.SetText(Field::Id, job.Text(Field::Title));
    return job;
  }

  Json Run() {
    SyncOptions options;
    options.now = kStartTicks;
    SyncSession session(nullptr);
    return SyncRun(session, store, options).Run();
  }

  static const Json& Jobs(const Json& report) { return report["folders"][2]; }
  static std::string Problem(const Json& report) { return Jobs(report)["problem"]; }

  // One job more and one less on the desktop.
  void EditOnDesktop() {
    const Record added = Job(100);
    store.Insert(kJobsFolder, added.Id(), EncodePacket(added));
    store.Delete(store.List(kJobsFolder).front().id);
  }

  void ExpectNothingDeletedOrSent(const Json& report) {
    for (const char* column : {"deletedOnDesktop", "deletedOnDevice", "toDevice"}) {
      EXPECT_EQ(Jobs(report)[column], 0) << column;
    }
    EXPECT_EQ(report["exitCode"], 3);
    EXPECT_EQ(fake->objects.size(), kJobs);
    EXPECT_EQ(store.Count(kJobsFolder), static_cast<int64_t>(kJobs)) << "one more, one less";
  }

  FakeSettings* fake = nullptr;
  Store store;

 private:
  HMODULE module_ = nullptr;
};

TEST_F(SyncListTest, ShortListDeletesNothingAndSaysSo) {
  EXPECT_EQ(Run()["exitCode"], 0);
  EditOnDesktop();
  fake->hideObjects = 3;
  const Json report = Run();
  EXPECT_EQ(Problem(report), "the provider lists 9 of 12 objects");
  ExpectNothingDeletedOrSent(report);
  fake->hideObjects = 0;
  EXPECT_EQ(Run()["exitCode"], 0);
  EXPECT_EQ(fake->objects.size(), kJobs) << "one more, one less, on the device too";
  EXPECT_EQ(store.Count(kJobsFolder), static_cast<int64_t>(kJobs));
}

TEST_F(SyncListTest, FailedListDeletesNothingAndSaysSo) {
  EXPECT_EQ(Run()["exitCode"], 0);
  EditOnDesktop();
  fake->findResult = E_UNEXPECTED;
  const Json report = Run();
  EXPECT_EQ(Problem(report), "the provider cannot list its objects: E_UNEXPECTED");
  ExpectNothingDeletedOrSent(report);
  EXPECT_EQ(report["folders"][0]["problem"], "") << "other folders are not concerned";
}

TEST_F(SyncListTest, CountsBeyondTheArrayDeleteNothing) {
  EXPECT_EQ(Run()["exitCode"], 0);
  EditOnDesktop();
  fake->extraCount = 1;
  const Json report = Run();
  EXPECT_EQ(Problem(report), "the provider counts 13 objects and lists 12");
  ExpectNothingDeletedOrSent(report);
}

TEST_F(SyncListTest, FirstRunWithAShortListIsStillTheFirst) {
  fake->hideObjects = 3;
  EXPECT_EQ(Run()["exitCode"], 3);
  EXPECT_EQ(store.Count(kJobsFolder), 9);
  fake->hideObjects = 0;
  const Json report = Run();
  EXPECT_TRUE(report["firstRun"].get<bool>());
  EXPECT_EQ(store.Count(kJobsFolder), static_cast<int64_t>(kJobs));
}

TEST_F(SyncListTest, FolderWithoutAProviderIsTold) {
  EXPECT_EQ(Run()["exitCode"], 0);
  EditOnDesktop();
  device.DeleteValue(std::u16string(kKey) + u"WktActivities", u"Store");
  const Json report = Run();
  EXPECT_EQ(Problem(report), "no provider is registered for this folder");
  ExpectNothingDeletedOrSent(report);
}

TEST_F(SyncListTest, ProviderWithoutFindObjectsIsTold) {
  EXPECT_EQ(Run()["exitCode"], 0);
  EditOnDesktop();
  constexpr char16_t kWithoutList[] = u"\\Windows\\NoList.dll";
  device.CopyFile(WKT_FAKE_WITHOUT_LIST, kWithoutList);
  device.SetText(std::u16string(kKey) + u"WktActivities", u"Store", kWithoutList);
  const Json report = Run();
  EXPECT_EQ(Problem(report), "the provider cannot list its objects (no FindObjects)");
  ExpectNothingDeletedOrSent(report);
}

TEST_F(SyncListTest, ObjectThatCannotBeReadFailsAlone) {
  fake->unreadable = 5;
  const Json report = Run();
  EXPECT_EQ(report["exitCode"], 3);
  EXPECT_EQ(Jobs(report)["failed"], 1);
  EXPECT_EQ(Jobs(report)["toDesktop"], 11);
  ASSERT_EQ(report["failures"].size(), 1u);
  EXPECT_EQ(report["failures"][0]["oid"], 5);
  EXPECT_EQ(report["failures"][0]["problem"], "the device cannot read it: RERR_BAD_OBJECT");
}

TEST_F(SyncListTest, PacketThatIsNoneFailsAlone) {
  fake->objects[4].packet = {1, 2, 3};
  const Json report = Run();
  EXPECT_EQ(report["exitCode"], 3);
  EXPECT_EQ(Jobs(report)["toDesktop"], 11);
  EXPECT_EQ(report["failures"][0]["problem"], "the device sent a packet that is not valid");
}

TEST_F(SyncListTest, RecordThatTheDeviceRefusesFailsAndIsTriedAgain) {
  EXPECT_EQ(Run()["exitCode"], 0);
  EditOnDesktop();
  fake->setResult = E_UNEXPECTED;
  const Json report = Run();
  EXPECT_EQ(report["exitCode"], 3);
  EXPECT_EQ(Jobs(report)["failed"], 1);
  EXPECT_EQ(Jobs(report)["deletedOnDevice"], 1) << "the others are done";
  EXPECT_EQ(report["failures"][0]["title"], "job 100");
  EXPECT_EQ(report["failures"][0]["problem"], "the device cannot store it: E_UNEXPECTED");
  fake->setResult = 0;
  EXPECT_EQ(Jobs(Run())["toDevice"], 1);
}

// An object that a killed run wrote may be the one that cannot be read now.
TEST_F(SyncListTest, NothingIsSentTwiceWhileAnObjectCannotBeRead) {
  EXPECT_EQ(Run()["exitCode"], 0);
  const Record added = Job(100);
  const int64_t record = store.Insert(kJobsFolder, added.Id(), EncodePacket(added));
  store.SetSending(store.Devices().at(0).id, kJobsFolder, record);
  fake->objects.push_back({77, false, EncodePacket(added)});
  fake->unreadable = 77;
  EXPECT_EQ(Run()["exitCode"], 3);
  EXPECT_EQ(fake->objects.size(), kJobs + 1);
  fake->unreadable = 0;
  EXPECT_EQ(Run()["exitCode"], 0);
  EXPECT_EQ(fake->objects.size(), kJobs + 1);
  EXPECT_EQ(store.Links(store.Devices().at(0).id, kJobsFolder).size(), kJobs + 1);
}

}  // namespace
}  // namespace wkt::test
