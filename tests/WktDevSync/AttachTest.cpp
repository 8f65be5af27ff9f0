#include <gtest/gtest.h>

#include <algorithm>

#include "host/control/Calls.h"
#include "platform/Registry.h"
#include "tests/support/LogPieces.h"
#include "tests/support/Provider.h"

namespace {

using wkt::control::CallRecording;
using wkt::control::FailCall;
using wkt::test::ExpectLog;
using wkt::test::LogCapture;
using wkt::test::LogLines;
using wkt::test::Provider;

const LogLines kAttach = wkt::test::Joined({{"1024 WktDevSync.dll version 4.2 build 1 started."},
                                            wkt::test::kUpgradeBegins,
                                            {
                                                ">CDatabaseAid::FindDatabase",
                                                "4 pDBName = 'WktDevFavJobs'",
                                                "8 Result (CEOID) = 0",
                                                "<CDatabaseAid::FindDatabase",
                                            },
                                            wkt::test::kUpgradeEnds,
                                            {"<DllMain"}});

class AttachTest : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override { device.MakeInstallation(); }
};

// The library's enter line falls into the time before anybody listens.
TEST_F(AttachTest, TheWholeLogOfAttachAndDetach) {
  LogCapture capture(device);
  Provider provider(device);
  ExpectLog(capture, kAttach);
  EXPECT_EQ(capture.InitCalls(),
            (LogLines{"WktDevSync \\Program Files\\Worktally\\Logging\\WktDevSync.log.txt"}));
  provider.Unload();
  ExpectLog(capture, {">DllMain", "1024 Module unloaded", "<DllMain"});
}

TEST_F(AttachTest, ThePlatformCallsOfAttachInTheirOrder) {
  LogCapture capture(device);
  device.InstallLibraries({"WktDevSync"});
  CallRecording recording;
  const HMODULE library = LoadLibraryW(u"\\Program Files\\Worktally\\WktDevSync.dll");
  std::vector<std::string> calls = wkt::control::DescribeCalls(recording.Take());
  const auto check = std::find(calls.begin(), calls.end(), "CreateMutexW(NULL, 0, NULL) = #7");
  calls.erase(check, calls.end());
  EXPECT_EQ(
      calls,
      (LogLines{
          "LoadLibraryW(\"\\Program Files\\Worktally\\WktDevSync.dll\") = #1",
          "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Worktally\", 0, 0x20019) = 0",
          "RegQueryValueExW(#2, \"InstallPath\", NULL, 256) = 0",
          "RegCloseKey(#2) = 0",
          "FindFirstFileW(\"\\Program Files\\*\") = #3",
          "FindClose(#3) = 1",
          "FindFirstFileW(\"\\Program Files\\Worktally\\*\") = #4",
          "FindClose(#4) = 1",
          R"(FindFirstFileW("\Program Files\Worktally\Logging\*") = INVALID_HANDLE_VALUE, error 3)",
          "CreateDirectoryW(\"\\Program Files\\Worktally\\Logging\", NULL) = 1",
          "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Worktally\", 0, 0x20019) = 0",
          "RegQueryValueExW(#5, \"InstallPath\", NULL, 256) = 0",
          "RegCloseKey(#5) = 0",
          "LoadLibraryW(\"\\Program Files\\Worktally\\WktDevLog.dll\") = #6",
          "GetProcAddressW(#6, \"WktLogInit\") = ptr",
          "GetProcAddressW(#6, \"WktLogExit\") = ptr",
          "GetProcAddressW(#6, \"WktLogWrite\") = ptr",
          "GetProcAddressW(#6, \"WktLogWriteEnter\") = ptr",
          "GetProcAddressW(#6, \"WktLogWriteLeave\") = ptr",
          "GetProcAddressW(#6, \"WktLogSetWriteToFile\") = ptr",
          "GetProcAddressW(#6, \"WktLogGetWriteToFile\") = ptr",
          "GetFileVersionInfoSizeW(\"\\Program Files\\Worktally\\WktDevSync.dll\") = 92",
          "GetFileVersionInfoW(\"\\Program Files\\Worktally\\WktDevSync.dll\", 0, 92) = 1",
          "VerQueryValueW(\"\\\") = 1",
      }));
  EXPECT_TRUE(FreeLibrary(library));
}

TEST_F(AttachTest, DetachGivesNothingBack) {
  LogCapture capture(device);
  Provider provider(device);
  CallRecording recording;
  provider.Unload();
  EXPECT_EQ(wkt::control::CallNames(recording.Take()), (LogLines{"FreeLibrary"}));
}

TEST_F(AttachTest, ThreadsThatComeAndGoDoNothing) {
  LogCapture capture(device);
  Provider provider(device);
  capture.Take();
  const auto dllMain =
      reinterpret_cast<DllMainFunction>(GetProcAddressW(provider.library, u"DllMain"));
  ASSERT_NE(dllMain, nullptr);
  CallRecording recording;
  for (const DWORD reason : {DLL_THREAD_ATTACH, DLL_THREAD_DETACH, DWORD{4}, DWORD{0xFFFFFFFF}})
    EXPECT_EQ(dllMain(provider.library, reason, nullptr), TRUE);
  EXPECT_TRUE(recording.Take().empty());
  EXPECT_EQ(capture.Take(), LogLines{});
}

TEST_F(AttachTest, WithoutALoggingLibraryEverythingWorks) {
  Provider provider(device);
  EXPECT_TRUE(device.FileExists(u"\\Program Files\\Worktally\\Logging"));
  IReplObjHandler* const handler = provider.Init(u"WktTypes", 1);
  ASSERT_NE(handler, nullptr);
  OBJTYPEINFO info = {};
  info.cbStruct = 384;
  std::copy_n(u"WktTypes", 9, info.szObjType);
  EXPECT_TRUE(provider.getObjTypeInfo(&info));
  EXPECT_EQ(handler->Release(), 0u);
  EXPECT_FALSE(device.FileExists(u"\\Program Files\\Worktally\\Logging\\WktDevSync.log.txt"));
}

TEST_F(AttachTest, ALoggingLibraryWithWktLogWriteOnlyGetsFormattedLinesOnly) {
  LogCapture capture(device, LogCapture::Exports::WriteOnly);
  Provider provider(device);
  ExpectLog(capture, {"1024 WktDevSync.dll version 4.2 build 1 started.",
                      "4 pDBName = 'WktDevFavJobs'", "8 Result (CEOID) = 0"});
  EXPECT_EQ(capture.InitCalls(), LogLines{});
}

// The banner of an attach to a device of its own while this platform call fails.
std::string BannerWithout(const std::string& call) {
  wkt::test::DeskDevice device;
  device.MakeInstallation();
  LogCapture capture(device);
  FailCall(call, 1, ERROR_INVALID_PARAMETER);
  Provider provider(device);
  EXPECT_FALSE(wkt::control::ClearFailures()) << call << " was not called";
  const LogLines lines = capture.Take();
  return lines.empty() ? "" : lines.front();
}

TEST(Attach, AVersionThatCannotBeReadIsZero) {
  const char kZero[] = "1024 WktDevSync.dll version 0.0 build 0 started.";
  EXPECT_EQ(BannerWithout("GetFileVersionInfoSizeW"), kZero);
  EXPECT_EQ(BannerWithout("GetFileVersionInfoW"), kZero);
  EXPECT_EQ(BannerWithout("VerQueryValueW"), kZero);
}

// The version block says how long its fixed part is: 52 bytes in a whole one.
TEST_F(AttachTest, AVersionBlockThatIsTooShortReadsAsZero) {
  constexpr char16_t kFile[] = u"\\Program Files\\Worktally\\WktDevSync.dll";
  LogCapture capture(device);
  device.InstallLibraries({"WktDevSync"});
  const std::string whole = device.ReadFile(kFile);
  constexpr char16_t kName[] = u"VS_VERSION_INFO";
  const size_t name = whole.find(std::string(reinterpret_cast<const char*>(kName), sizeof(kName)));
  ASSERT_NE(name, std::string::npos);
  ASSERT_EQ(whole.substr(name - 6, 4), std::string("\x5c\0\x34\0", 4)) << "92 bytes, 52 of them";
  for (const char byteCount : {char{51}, char{52}}) {
    std::string changed = whole;
    changed[name - 4] = byteCount;
    device.WriteFile(kFile, changed);
    const HMODULE library = LoadLibraryW(kFile);
    ASSERT_NE(library, nullptr);
    const LogLines lines = capture.Take();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), byteCount == 51 ? "1024 WktDevSync.dll version 0.0 build 0 started."
                                             : "1024 WktDevSync.dll version 4.2 build 1 started.");
    EXPECT_TRUE(FreeLibrary(library));
    capture.Take();
  }
}

TEST_F(AttachTest, AnInstallPathOfOneSeparatorPutsTheLogFolderIntoTheRoot) {
  device.SetText(u"SOFTWARE\\Worktally", u"InstallPath", u"\\");
  Provider provider(device);
  EXPECT_TRUE(device.FileExists(u"\\Logging"));
}

TEST_F(AttachTest, WithoutInstallPathTheLogFolderIsInTheRoot) {
  device.DeleteValue(u"SOFTWARE\\Worktally", u"InstallPath");
  Provider provider(device);
  EXPECT_TRUE(device.FileExists(u"\\Logging"));
}

TEST_F(AttachTest, WithoutTheProgramsKeyNoFolderIsMadeAndTheLibraryLoads) {
  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Worktally"), ERROR_SUCCESS);
  Provider provider(device);
  EXPECT_NE(provider.library, nullptr);
  EXPECT_FALSE(device.FileExists(u"\\Logging"));
}

TEST_F(AttachTest, AFolderThatCannotBeMadeIsTolerated) {
  LogCapture capture(device);
  FailCall("CreateDirectoryW", 3, ERROR_DISK_FULL);  // the first two prepare the device
  Provider provider(device);
  wkt::control::ClearFailures();
  ExpectLog(capture, kAttach);
}

// A second device's library is another module: its state is its own.
TEST_F(AttachTest, TheLibraryAnswersFromItsOwnState) {
  Provider provider(device);
  device.SetText(u"Software\\Microsoft\\Stock Portfolio", u"DBVol", u"\\first.cdb");
  provider.Init(u"WktTypes", 1)->Release();
  SDREQUEST request = {};
  request.uCode = 1;
  EXPECT_EQ(provider.syncData(&request), 1);
  EXPECT_EQ(request.cbData, 22u);
  provider.Unload();
  Provider again(device);
  EXPECT_EQ(again.syncData(&request), 1);
  EXPECT_EQ(request.cbData, 2u);
}

}  // namespace
