#include "desktop/manager/SyncSession.h"

#include <gtest/gtest.h>

#include "platform/Kernel.h"
#include "tests/desktop/fake/FakeProvider.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {
namespace {

constexpr char16_t kFolder[] = u"Anything";
constexpr char16_t kLibrary[] = u"\\Windows\\FakeProvider.dll";

class SyncSessionTest : public DeskDeviceTest {
 protected:
  SyncSessionTest() {
    device.CopyFile(WKT_FAKE_PROVIDER, kLibrary);
    device.SetText(u"Windows CE Services\\Synchronization\\Objects\\Anything", u"Store", kLibrary);
    module_ = LoadLibraryW(kLibrary);
    fake = reinterpret_cast<FakeSettingsFunction>(GetProcAddressW(module_, u"FakeSettingsOf"))();
    *fake = {};
    fake->objects = {{11, false, {1}}, {12, true, {2, 2}}, {13, true, {3}}};
  }
  ~SyncSessionTest() override { FreeLibrary(module_); }

  FakeSettings* fake = nullptr;

 private:
  HMODULE module_ = nullptr;
};

TEST_F(SyncSessionTest, DrivesAnyProvider) {
  {
    SyncSession session(nullptr);
    ASSERT_EQ(session.Open(1), "");
    session.BeginSync();
    const Enumeration list = session.Enumerate(kFolder);
    EXPECT_EQ(list.problem, "");
    EXPECT_EQ(list.unchanged, std::vector<CEOID>{11});
    EXPECT_EQ(list.changed, (std::vector<CEOID>{13, 12}));
    EXPECT_EQ(session.Read(kFolder, 12).packets, (std::vector<std::vector<uint8_t>>{{2, 2}}));
    EXPECT_FALSE(session.Confirm(kFolder, 12));
    EXPECT_FALSE(fake->objects[1].changed);
    const std::vector<uint8_t> packet{9, 9};
    const WriteResult added = session.Write(kFolder, 0, packet);
    EXPECT_EQ(added.result, S_OK);
    EXPECT_EQ(session.Read(kFolder, added.oid).packets.at(0), packet);
    EXPECT_EQ(session.Write(kFolder, 11, packet).oid, 11u);
    EXPECT_EQ(session.Delete(kFolder, 13), S_OK);
    EXPECT_EQ(session.Delete(kFolder, 13), S_FALSE) << "gone already";
    EXPECT_EQ(session.NotifyDeleted(kFolder, 13).deleted, std::vector<CEOID>{13});
    EXPECT_EQ(session.NotifyChanged(kFolder, 12).changed, std::vector<CEOID>{12});
  }
  EXPECT_EQ(fake->reports, (std::vector<UINT>{RSC_BEGIN_SYNC, RSC_END_SYNC}));
  EXPECT_EQ(fake->handlers, 0);
  EXPECT_EQ(fake->lists, 0);
  EXPECT_TRUE(fake->inputsWereClear);
}

// Under the address sanitizer a read past the array ends this test.
TEST_F(SyncSessionTest, CountsBeyondTheArrayFailTheList) {
  fake->extraCount = 1;
  SyncSession session(nullptr);
  ASSERT_EQ(session.Open(1), "");
  const Enumeration list = session.Enumerate(kFolder);
  EXPECT_EQ(list.problem, "the provider counts 4 objects and lists 3");
  EXPECT_TRUE(list.unchanged.empty() && list.changed.empty());
  EXPECT_TRUE(session.NotifyChanged(kFolder, 12).changed.empty()) << "one identifier, two counted";
  EXPECT_EQ(fake->lists, 0) << "the list was given back";
}

TEST_F(SyncSessionTest, IdentifierZeroIsSkippedAndTheListIsShort) {
  fake->zeroInList = true;
  SyncSession session(nullptr);
  ASSERT_EQ(session.Open(1), "");
  const Enumeration list = session.Enumerate(kFolder);
  EXPECT_TRUE(list.unchanged.empty());
  EXPECT_EQ(list.changed.size(), 2u);
  EXPECT_EQ(list.problem, "the provider lists 2 of 3 objects");
}

TEST_F(SyncSessionTest, ShortListsAndFailuresAreTold) {
  SyncSession session(nullptr);
  ASSERT_EQ(session.Open(1), "");
  fake->hideObjects = 1;
  EXPECT_EQ(session.Enumerate(kFolder).problem, "the provider lists 2 of 3 objects");
  fake->hideObjects = 0;
  fake->findResult = E_UNEXPECTED;
  EXPECT_EQ(session.Enumerate(kFolder).problem,
            "the provider cannot list its objects: E_UNEXPECTED");
  EXPECT_EQ(session.Enumerate(u"Other").problem, "no provider is registered for this folder");
}

TEST_F(SyncSessionTest, ObjectsOfSeveralPacketsAndWithoutEnd) {
  SyncSession session(nullptr);
  ASSERT_EQ(session.Open(1), "");
  fake->packetsPerObject = 3;
  EXPECT_EQ(session.Read(kFolder, 12).packets.size(), 3u);
  fake->packetsPerObject = 0;
  EXPECT_TRUE(session.Read(kFolder, 12).packets.empty()) << "a provider that never ends";
  fake->getResult = RERR_BAD_OBJECT;
  EXPECT_EQ(session.Read(kFolder, 12).result, RERR_BAD_OBJECT);
  EXPECT_TRUE(session.Read(kFolder, 12).packets.empty());
}

TEST_F(SyncSessionTest, SuccessWithoutAnIdentifierIsAFailure) {
  SyncSession session(nullptr);
  ASSERT_EQ(session.Open(1), "");
  const std::vector<uint8_t> packet{9};
  fake->forgetNewIdentifier = true;
  EXPECT_EQ(session.Write(kFolder, 0, packet).result, E_FAIL);
  fake->setResult = E_UNEXPECTED;
  EXPECT_EQ(session.Write(kFolder, 11, packet).result, E_UNEXPECTED);
}

TEST_F(SyncSessionTest, AsksForTheVolumeOnceWithoutAndOnceWithABuffer) {
  fake->volume = u"\\Storage Card\\jobs.vol";
  SyncSession session(nullptr);
  ASSERT_EQ(session.Open(1), "");
  EXPECT_EQ(session.Volume(kFolder), u"") << "asked when the synchronisation begins";
  session.BeginSync();
  EXPECT_EQ(session.Volume(kFolder), u"\\Storage Card\\jobs.vol");
  EXPECT_EQ(fake->syncDataBytes, (std::vector<UINT>{0, 520}));
}

TEST_F(SyncSessionTest, MissingLibraryAndRegistrationAreTold) {
  device.SetText(u"Windows CE Services\\Synchronization\\Objects\\Anything", u"Store",
                 u"\\Windows\\None.dll");
  SyncSession session(nullptr);
  EXPECT_EQ(session.Open(1),
            "the device cannot load \\Windows\\None.dll (error 126); install the libraries again");
  device.DeleteValue(u"Windows CE Services\\Synchronization\\Objects\\Anything", u"Store");
  SyncSession other(nullptr);
  EXPECT_EQ(other.Open(1),
            "no synchronisation provider is registered on this device; install the libraries");
}

}  // namespace
}  // namespace wkt::test
