#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktCommon/WktUtilLean.h"
#include "host/control/Calls.h"
#include "platform/Database.h"
#include "platform/Files.h"
#include "platform/Registry.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Provider.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace {

using wkt::control::CallRecording;
using wkt::control::DescribeCalls;
using wkt::test::ExpectLog;
using wkt::test::LogCapture;
using wkt::test::LogLines;
using wkt::test::Narrow;
using wkt::test::Provider;

constexpr char16_t kVolumeKey[] = u"Software\\Microsoft\\Stock Portfolio";

class EntryPointsTest : public wkt::test::DeskDeviceTest {
 protected:
  EntryPointsTest() : capture(Installed(device)), provider(device) { capture.Take(); }

  static wkt::test::DeskDevice& Installed(wkt::test::DeskDevice& device) {
    device.MakeInstallation();
    return device;
  }
  static void MakeVolume() {
    CEGUID guid = {};
    std::u16string name = u"\\Volume.cdb";
    EXPECT_TRUE(CeMountDBVol(&guid, name.data(), CREATE_NEW));
    EXPECT_TRUE(CeUnmountDBVol(&guid));
  }
  std::string VolumeName() {
    std::array<WCHAR, 260> name;
    name.fill(u'?');
    SDREQUEST request = {};
    request.uCode = 1;
    request.lpbData = reinterpret_cast<BYTE*>(name.data());
    request.cbData = sizeof(name);
    EXPECT_EQ(provider.syncData(&request), 1);
    EXPECT_EQ(name.at(request.cbData / 2 - 1), 0);
    return Narrow(name.data());
  }
  // The partner's index as an enumeration tells it.
  std::string PartnerIndex() {
    FINDOBJINFO info = {};
    std::copy_n(u"WktTypes", 9, info.szObjType);
    capture.Take();
    EXPECT_EQ(provider.findObjects(&info), S_OK);
    for (const std::string& line : capture.Take()) {
      if (const size_t at = line.find("pcNumber = "); at != std::string::npos)
        return line.substr(at);
    }
    return "";
  }
  // A valid packet arrives.
  template <class Packet>
  void Receive(IReplObjHandler* handler, const std::u16string& folder, const Packet& packet) {
    REPLSETUP setup = {};
    setup.dwFlags = RSF_NEW_OBJECT;
    std::copy_n(folder.c_str(), folder.size() + 1, setup.szObjType);
    DWORD byteCount = 0;
    BYTE* const bytes = packet.ToBytes(&byteCount);
    EXPECT_EQ(handler->Setup(&setup), S_OK);
    EXPECT_EQ(handler->SetPacket(bytes, byteCount), S_OK);
    delete[] bytes;
  }

  LogCapture capture;
  Provider provider;
};

TEST_F(EntryPointsTest, InitObjTypeMakesAHandlerWithOneReference) {
  IReplObjHandler* const handler = provider.Init(u"WktActivities", 2);
  ASSERT_NE(handler, nullptr);
  ExpectLog(capture,
            {">InitObjType", "4 Folder type = 'WktActivities'; Partner PC # = 2", "<InitObjType"});
  EXPECT_EQ(handler->AddRef(), 2u);
  EXPECT_EQ(handler->Release(), 1u);
  void* other = handler;
  EXPECT_EQ(handler->QueryInterface(IID{}, &other), E_NOINTERFACE);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(handler->Reset(nullptr), S_OK);
  EXPECT_EQ(handler->Release(), 0u);
  EXPECT_EQ(capture.Take(), LogLines{});
}

TEST_F(EntryPointsTest, InitObjTypeTakesAnyFolderName) {
  IReplObjHandler* const handler = provider.Init(u"Anything", 7);
  ASSERT_NE(handler, nullptr);
  handler->Release();
}

TEST_F(EntryPointsTest, WithoutAVolumeNameNothingIsMounted) {
  CallRecording recording;
  IReplObjHandler* const handler = provider.Init(u"WktTypes", 1);
  EXPECT_EQ(DescribeCalls(recording.Take()),
            (LogLines{"RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\Microsoft\\Stock Portfolio\", "
                      "0, 0x20019) = 2"}));
  handler->Release();
  EXPECT_EQ(VolumeName(), "");
}

TEST_F(EntryPointsTest, TheNamedVolumeIsMountedEachTime) {
  device.SetText(kVolumeKey, u"DBVol", u"\\Volume.cdb");
  MakeVolume();
  CallRecording recording;
  IReplObjHandler* const handler = provider.Init(u"WktTypes", 1);
  const LogLines calls = DescribeCalls(recording.Take());
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[0],
            "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\Microsoft\\Stock Portfolio\", 0, "
            "0x20019) = 0");
  EXPECT_EQ(calls[1], "RegQueryValueExW(#1, \"DBVol\", NULL, 520) = 0");
  EXPECT_EQ(calls[2], "RegCloseKey(#1) = 0");
  EXPECT_EQ(calls[3], "CeMountDBVol(ptr, \"\\Volume.cdb\", 3) = 1");
  handler->Release();
  EXPECT_EQ(VolumeName(), "\\Volume.cdb");
  CallRecording again;
  provider.Init(u"WktActivities", 1)->Release();
  EXPECT_EQ(DescribeCalls(again.Take()), calls);
}

TEST_F(EntryPointsTest, WithoutItsValueOrKeyTheVolumeNameIsGone) {
  for (const bool withKey : {true, false}) {
    device.SetText(kVolumeKey, u"DBVol", u"\\Volume.cdb");
    provider.Init(u"WktTypes", 1)->Release();
    EXPECT_EQ(VolumeName(), "\\Volume.cdb");
    if (withKey) {
      device.DeleteValue(kVolumeKey, u"DBVol");
    } else {
      EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, kVolumeKey), ERROR_SUCCESS);
    }
    provider.Init(u"WktTypes", 1)->Release();
    EXPECT_EQ(VolumeName(), "");
  }
}

// Reading the name and mounting leave no trace in the log, whatever comes of it.
TEST_F(EntryPointsTest, InitObjTypeLogsTheSameWithAndWithoutAVolume) {
  const LogLines expected = {">InitObjType", "4 Folder type = 'WktTypes'; Partner PC # = 1",
                             "<InitObjType"};
  device.SetText(kVolumeKey, u"DBVol", u"\\Volume.cdb");
  for (const bool exists : {false, true}) {
    if (exists)
      MakeVolume();
    CallRecording recording;
    provider.Init(u"WktTypes", 1)->Release();
    const LogLines calls = DescribeCalls(recording.Take());
    EXPECT_EQ(calls.back(), exists ? "CeMountDBVol(ptr, \"\\Volume.cdb\", 3) = 1"
                                   : "CeMountDBVol(ptr, \"\\Volume.cdb\", 3) = 0, error 2");
    ExpectLog(capture, expected);
  }
}

TEST_F(EntryPointsTest, AVolumeNameOf520BytesWithoutTerminatorIsCut) {
  const std::u16string name(260, u'v');
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_LOCAL_MACHINE, kVolumeKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                  nullptr);
  const auto store = [key](const void* bytes, DWORD byteCount, DWORD type) {
    EXPECT_EQ(RegSetValueExW(key, u"DBVol", 0, type, static_cast<const BYTE*>(bytes), byteCount),
              ERROR_SUCCESS);
  };
  store(name.data(), 520, REG_SZ);
  provider.Init(u"WktTypes", 1)->Release();
  EXPECT_EQ(VolumeName(), std::string(259, 'v'));
  // Unterminated and short, behind a longer one.
  store(u"ab", 4, REG_SZ);
  provider.Init(u"WktTypes", 1)->Release();
  EXPECT_EQ(VolumeName(), "ab");
  // Half a character at the end does not count; the type is not looked at.
  store(u"abc", 5, REG_BINARY);
  provider.Init(u"WktTypes", 1)->Release();
  EXPECT_EQ(VolumeName(), "ab");
  // One byte too long for the buffer reads as none.
  store(name.data(), 519, REG_SZ);
  provider.Init(u"WktTypes", 1)->Release();
  EXPECT_EQ(VolumeName(), std::string(259, 'v'));
  const std::u16string longer(261, u'v');
  store(longer.data(), 522, REG_SZ);
  provider.Init(u"WktTypes", 1)->Release();
  EXPECT_EQ(VolumeName(), "");
  RegCloseKey(key);
}

TEST_F(EntryPointsTest, AFailedMountIsNotLookedAt) {
  device.SetText(kVolumeKey, u"DBVol", u"\\Missing.cdb");
  IReplObjHandler* const handler = provider.Init(u"WktTypes", 1);
  ASSERT_NE(handler, nullptr);
  handler->Release();
  EXPECT_EQ(VolumeName(), "\\Missing.cdb");
  capture.Take();
  // The identifier stayed as it was, all zero: the clean-up call tries the object store.
  CallRecording recording;
  EXPECT_TRUE(provider.initObjType(nullptr, nullptr, 1));
  EXPECT_EQ(wkt::control::CallNames(recording.Take()), LogLines{"CeUnmountDBVol"});
}

TEST_F(EntryPointsTest, CleaningUpLeavesAMountedVolumeMounted) {
  MakeVolume();
  device.SetText(kVolumeKey, u"DBVol", u"\\Volume.cdb");
  CallRecording mounting;
  provider.Init(u"WktTypes", 1)->Release();
  EXPECT_EQ(DescribeCalls(mounting.Take()).back(), "CeMountDBVol(ptr, \"\\Volume.cdb\", 3) = 1");
  capture.Take();
  CallRecording recording;
  EXPECT_TRUE(provider.initObjType(nullptr, nullptr, 2));
  EXPECT_TRUE(recording.Take().empty());
  ExpectLog(capture, {">InitObjType", "4 Folder type = 'NULL'; Partner PC # = 2", "<InitObjType"});
}

TEST_F(EntryPointsTest, CleaningUpWithTheObjectStoreAsksToUnmountIt) {
  CallRecording recording;
  EXPECT_TRUE(provider.initObjType(nullptr, nullptr, 1));
  const LogLines calls = wkt::control::CallNames(recording.Take());
  EXPECT_EQ(calls, LogLines{"CeUnmountDBVol"});
  ExpectLog(capture, {">InitObjType", "4 Folder type = 'NULL'; Partner PC # = 1", "<InitObjType"});
}

TEST_F(EntryPointsTest, WithoutMemoryThereIsNoHandler) {
  const wkt::test::AllocationFailure failure(1);
  EXPECT_EQ(provider.Init(u"WktTypes", 2), nullptr);
  EXPECT_TRUE(failure.Happened());
  ExpectLog(capture,
            {">InitObjType", "4 Folder type = 'WktTypes'; Partner PC # = 2", "<InitObjType"});
  EXPECT_EQ(PartnerIndex(), "pcNumber = 1") << "the partner is kept all the same";
}

TEST_F(EntryPointsTest, CleaningUpLeavesThePartner) {
  provider.Init(u"WktTypes", 2)->Release();
  EXPECT_TRUE(provider.initObjType(nullptr, nullptr, 1));
  EXPECT_EQ(PartnerIndex(), "pcNumber = 1");
  provider.Init(u"WktTypes", 1)->Release();
  EXPECT_EQ(PartnerIndex(), "pcNumber = 0");
}

TEST_F(EntryPointsTest, InitObjTypeWithoutAPlaceForTheHandlerDoesNotCrash) {
  std::u16string folder = u"WktTypes";
  EXPECT_TRUE(provider.initObjType(folder.data(), nullptr, 1));
  ExpectLog(capture,
            {">InitObjType", "4 Folder type = 'WktTypes'; Partner PC # = 1", "<InitObjType"});
}

TEST_F(EntryPointsTest, SyncDataAnswersTheVolumeNameOnly) {
  device.SetText(kVolumeKey, u"DBVol", u"\\V.cdb");
  provider.Init(u"WktTypes", 1)->Release();
  capture.Take();
  SDREQUEST request = {};
  request.uCode = 1;
  EXPECT_EQ(provider.syncData(&request), 1);
  EXPECT_EQ(request.cbData, 14u);
  const LogLines whole = {">SyncData", "8 Result (HRESULT) = 1", "<SyncData"};
  ExpectLog(capture, whole);
  for (const UINT code : {0u, 2u, 7u}) {
    request.uCode = code;
    request.cbData = 0xDEADBEEF;
    EXPECT_EQ(provider.syncData(&request), 1);
    EXPECT_EQ(request.cbData, 0xDEADBEEFu);
    ExpectLog(capture, whole);
  }
  request.uCode = 1;
  request.fSet = TRUE;
  EXPECT_EQ(provider.syncData(&request), 1);
  EXPECT_EQ(request.cbData, 0xDEADBEEFu);
  ExpectLog(capture, whole);
  EXPECT_EQ(provider.syncData(nullptr), 1);
  ExpectLog(capture, whole);
}

// The size that the caller names is an answer only.
TEST_F(EntryPointsTest, SyncDataWritesTheWholeNameWhateverSizeItIsTold) {
  device.SetText(kVolumeKey, u"DBVol", u"\\V.cdb");
  provider.Init(u"WktTypes", 1)->Release();
  for (const UINT byteCount : {0u, 1u, 13u, 520u}) {
    std::array<WCHAR, 260> name;
    name.fill(u'?');
    SDREQUEST request = {};
    request.uCode = 1;
    request.lpbData = reinterpret_cast<BYTE*>(name.data());
    request.cbData = byteCount;
    EXPECT_EQ(provider.syncData(&request), 1);
    EXPECT_EQ(request.cbData, 14u);
    EXPECT_EQ(Narrow(name.data()), "\\V.cdb");
    EXPECT_EQ(name[7], u'?');
  }
}

TEST_F(EntryPointsTest, SyncDataWithAnEmptyNameWritesOneZero) {
  WCHAR data[2] = {u'?', u'?'};
  SDREQUEST request = {};
  request.uCode = 1;
  request.lpbData = reinterpret_cast<BYTE*>(data);
  EXPECT_EQ(provider.syncData(&request), 1);
  EXPECT_EQ(request.cbData, 2u);
  EXPECT_EQ(data[0], 0);
  EXPECT_EQ(data[1], u'?');
}

// This program has the same classes; what it does with them leaves the library alone.
TEST_F(EntryPointsTest, TheLibrarySharesNoStateWithTheProgram) {
  EXPECT_FALSE(wkt::IsLogging());
  for (int i = 0; i < 3; ++i)
    (void)CWktUtilLean::CreateGUID();
  wkt::NoteAllocationFailure();
  EXPECT_EQ(capture.Take(), LogLines{});
  IReplObjHandler* const handler = provider.Init(u"WktActivities", 1);
  CJobPacket job(1);
  wkt::test::FillFromJob(job, *wkt::test::MakeSampleJob());
  Receive(handler, u"WktActivities", job);
  handler->Release();
  const LogLines lines = capture.Take();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "8 Guid = CE-1dcaa1a-916d4000-0-3e8"),
            lines.end());
  EXPECT_TRUE(wkt::AllocationFailed());
  wkt::ClearAllocationFailure();
}

}  // namespace
