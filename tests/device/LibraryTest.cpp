// What the libraries do on every machine alike: as shared objects of Linux and, loaded by the
// runners, as true device libraries.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "platform/Errors.h"
#include "platform/Kernel.h"
#include "platform/SyncProvider.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/LogCapture.h"

namespace wkt::test {
namespace {

constexpr char16_t kProvider[] = u"\\Program Files\\Worktally\\WktDevSync.dll";

// The device's clock stands at 08:00 UTC, in Vienna.
constexpr char kLogTime[] = "2026-03-02 09:00:00.000 ";
// Level and text of each line behind the time.
constexpr char kWholeLog[] =
    R"( 1024 WktDevSync.dll version 4.2 build 1 started.
    1 > CJobDatabase::UpgradeJobDatabases
    1   > CDatabaseAid::CDatabaseAid
    2   < CDatabaseAid::CDatabaseAid
    1   > CJobDatabase::CJobDatabase
    2   < CJobDatabase::CJobDatabase
    1   > CDatabaseAid::CDatabaseAid
    2   < CDatabaseAid::CDatabaseAid
    1   > CJobDatabase::CJobDatabase
    2   < CJobDatabase::CJobDatabase
    1   > CDatabaseAid::FindDatabase
    4     pDBName = 'WktDevFavJobs'
    8     Result (CEOID) = 0
    2   < CDatabaseAid::FindDatabase
    1   > CJobDatabase::~CJobDatabase
    2   < CJobDatabase::~CJobDatabase
    1   > CDatabaseAid::~CDatabaseAid
    1     > CDatabaseAid::CloseDatabase
    2     < CDatabaseAid::CloseDatabase
    2   < CDatabaseAid::~CDatabaseAid
    1   > CJobDatabase::~CJobDatabase
    2   < CJobDatabase::~CJobDatabase
    1   > CDatabaseAid::~CDatabaseAid
    1     > CDatabaseAid::CloseDatabase
    2     < CDatabaseAid::CloseDatabase
    2   < CDatabaseAid::~CDatabaseAid
    2 < CJobDatabase::UpgradeJobDatabases
    2 < DllMain
    1 > InitObjType
    4   Folder type = 'WktTypes'; Partner PC # = 2
    2 < InitObjType
    1 > CDataHandler::Setup
  256   Folder type = 'WktTypes'
  256   Read request
    2 < CDataHandler::Setup
    1 > CDataHandler::GetPacket
  256   Folder type = 'WktTypes'
    1   > CDatabaseAid::CDatabaseAid
    2   < CDatabaseAid::CDatabaseAid
    1   > CWktTypeDatabase::CWktTypeDatabase
    2   < CWktTypeDatabase::CWktTypeDatabase
    1   > CDatabaseAid::Open
    1     > CDatabaseAid::OpenDatabase
    1       > CDatabaseAid::CloseDatabase
    2       < CDatabaseAid::CloseDatabase
    1       > CDatabaseAid::FindDatabase
    4         pDBName = 'WktDevTypes'
    8         Result (CEOID) = 0
    2       < CDatabaseAid::FindDatabase
    1       > CDatabaseAid::CreateDatabase
    8         Result (CEOID) = O1
    2       < CDatabaseAid::CreateDatabase
  256       Created new database; CEOID = O1
  256       Opened handle = H1
    2     < CDatabaseAid::OpenDatabase
    8     Result (BOOL) = 1
    2   < CDatabaseAid::Open
  128   Failed to find type in database; ceOid = O2
    1   > CWktTypeDatabase::~CWktTypeDatabase
    2   < CWktTypeDatabase::~CWktTypeDatabase
    1   > CDatabaseAid::~CDatabaseAid
    1     > CDatabaseAid::CloseDatabase
  256       Closing handle = H1
    2     < CDatabaseAid::CloseDatabase
    2   < CDatabaseAid::~CDatabaseAid
    8   Result (HRESULT) = -2146172671
    2 < CDataHandler::GetPacket
    1 > DllMain
 1024   Module unloaded
    2 < DllMain
)";

// Without what every line begins with.
LogLines LinesOf(const std::string& text, const std::string& start) {
  LogLines lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    EXPECT_TRUE(line.starts_with(start)) << line;
    lines.push_back(line.substr(std::min(start.size(), line.size())));
  }
  return lines;
}

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

// Provider and logging library together: what stands in the file, from its first line to its last.
TEST_F(Library, TheLoggingLibraryWritesItsFile) {
  device.InstallLibraries();
  HMODULE const library = LoadLibraryW(kProvider);
  ASSERT_NE(library, nullptr);
  WCHAR folder[] = u"WktTypes";
  IReplObjHandler* handler = nullptr;
  ASSERT_EQ(Entry<InitObjTypeFunction>(library, u"InitObjType")(folder, &handler, 2), TRUE);
  ASSERT_NE(handler, nullptr);
  REPLSETUP setup = {};
  setup.cbStruct = sizeof(setup);
  setup.fRead = TRUE;
  setup.oid = 4711;
  std::copy(std::begin(folder), std::end(folder), setup.szObjType);
  EXPECT_EQ(handler->Setup(&setup), S_OK);
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  EXPECT_EQ(handler->GetPacket(&bytes, &byteCount, 8192), static_cast<HRESULT>(0x80140101));
  EXPECT_EQ(handler->Release(), 0u);
  EXPECT_TRUE(FreeLibrary(library));
  const std::string file =
      device.ReadFile(u"\\Program Files\\Worktally\\Logging\\WktDevSync.log.txt");
  ExpectLog(LinesOf(file, kLogTime), LinesOf(kWholeLog, ""));
}

}  // namespace
}  // namespace wkt::test
