// What the libraries do on every machine alike: as shared objects of Linux and, loaded by the
// runners, as true device libraries.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/Errors.h"
#include "platform/Kernel.h"
#include "platform/SyncProvider.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/LogCapture.h"

namespace wkt::test {
namespace {

constexpr char16_t kProvider[] = u"\\Program Files\\Worktally\\WktDevSync.dll";

template <class Function>
Function Entry(HMODULE library, const char16_t* name) {
  return reinterpret_cast<Function>(GetProcAddressW(library, name));
}

class Library : public DeskDeviceTest {
 protected:
  void SetUp() override { device.MakeInstallation(); }
};

TEST_F(Library, ExportsItsSixEntryPoints) {
  device.InstallLibraries({"WktDevSync"});
  HMODULE const library = LoadLibraryW(kProvider);
  ASSERT_NE(library, nullptr);
  for (const char16_t* name : {u"InitObjType", u"ObjectNotify", u"GetObjTypeInfo", u"ReportStatus",
                               u"FindObjects", u"SyncData"})
    EXPECT_NE(GetProcAddressW(library, name), nullptr) << std::string(name, name + 6);
  EXPECT_EQ(GetProcAddressW(library, u"InitObjTyp"), nullptr);
}

TEST_F(Library, LogsItsVersionWhenAttached) {
  LogCapture capture(device);
  device.InstallLibraries({"WktDevSync"});
  ASSERT_NE(LoadLibraryW(kProvider), nullptr);
  const LogLines lines = capture.Take();
  EXPECT_NE(
      std::find(lines.begin(), lines.end(), "1024 WktDevSync.dll version 4.2 build 1 started."),
      lines.end());
  EXPECT_EQ(capture.InitCalls(),
            LogLines{"WktDevSync \\Program Files\\Worktally\\Logging\\WktDevSync.log.txt"});
}

TEST_F(Library, AnswersTheVolumeNameAndAnUnknownFolder) {
  device.SetText(u"Software\\Microsoft\\Stock Portfolio", u"DBVol", u"");
  device.InstallLibraries({"WktDevSync"});
  HMODULE const library = LoadLibraryW(kProvider);
  ASSERT_NE(library, nullptr);
  SDREQUEST request = {};
  request.uCode = 1;
  request.cbData = 0xDEADBEEF;
  EXPECT_EQ(Entry<SyncDataFunction>(library, u"SyncData")(&request), 1);
  EXPECT_EQ(request.cbData, 2u);
  OBJTYPEINFO information = {};
  information.cbStruct = sizeof(information);
  information.szObjType[0] = u'?';
  EXPECT_EQ(Entry<GetObjTypeInfoFunction>(library, u"GetObjTypeInfo")(&information), FALSE);
}

TEST_F(Library, TheLoggingLibraryWritesItsFile) {
  device.InstallLibraries();
  HMODULE const library = LoadLibraryW(kProvider);
  ASSERT_NE(library, nullptr);
  WCHAR folder[] = u"WktTypes";
  IReplObjHandler* handler = nullptr;
  ASSERT_EQ(Entry<InitObjTypeFunction>(library, u"InitObjType")(folder, &handler, 2), TRUE);
  ASSERT_NE(handler, nullptr);
  EXPECT_EQ(handler->Release(), 0u);
  const std::string file =
      device.ReadFile(u"\\Program Files\\Worktally\\Logging\\WktDevSync.log.txt");
  EXPECT_NE(file.find("WktDevSync.dll version 4.2 build 1 started."), std::string::npos) << file;
  EXPECT_NE(file.find("Folder type = 'WktTypes'; Partner PC # = 2"), std::string::npos) << file;
}

}  // namespace
}  // namespace wkt::test
