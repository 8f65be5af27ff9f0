#include "WktCommon/Log.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "WktCommon/JobLean.h"
#include "WktCommon/WideString.h"
#include "platform/Errors.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogCapture.h"

namespace {

using wkt::test::LogCapture;
using wkt::test::LogLines;

class LogTest : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override {
    wkt::logState = {};
    device.MakeInstallation();
  }
  void TearDown() override { wkt::logState = {}; }
};

TEST_F(LogTest, WithoutTheLibraryEveryCallDoesNothing) {
  StartLogging(u"test", u"\\log.txt");
  EXPECT_EQ(wkt::logState.logLibrary, nullptr);
  EXPECT_FALSE(wkt::IsLogging());
  const wkt::test::AllocationCounter counter;
  for (int i = 0; i < 100; ++i) {
    const wkt::LogScope log("Function");
    log.Write(wkt::kLogProgress, u"Folder type = '%s'; %d", u"x", i);
    log.Result(S_OK);
  }
  EXPECT_EQ(counter.Count(), 0u);
}

TEST_F(LogTest, WithoutTheProgramsKeyTheLibraryIsNotFoundEither) {
  LogCapture capture(device);
  device.DeleteValue(u"SOFTWARE\\Worktally", u"InstallPath");
  StartLogging(u"test", u"\\log.txt");
  EXPECT_FALSE(wkt::IsLogging());
}

TEST_F(LogTest, StartingHandsModuleAndFileToTheLibraryOnce) {
  LogCapture capture(device);
  StartLogging(u"WktDevSync", u"\\Program Files\\Worktally\\Logging\\WktDevSync.log.txt");
  EXPECT_EQ(capture.InitCalls(),
            (LogLines{"WktDevSync \\Program Files\\Worktally\\Logging\\WktDevSync.log.txt"}));
  EXPECT_EQ(capture.Take(), LogLines{});
  EXPECT_TRUE(wkt::IsLogging());
  const wkt::LogState& state = wkt::logState;
  EXPECT_TRUE(state.init && state.exit && state.write && state.writeEnter && state.writeLeave &&
              state.setWriteToFile && state.getWriteToFile);
}

TEST_F(LogTest, ALibraryWithWktLogWriteOnlyGetsFormattedLinesOnly) {
  LogCapture capture(device, LogCapture::Exports::WriteOnly);
  StartLogging(u"test", u"\\log.txt");
  {
    const wkt::LogScope log("Function");
    log.Write(wkt::kLogWarning, u"Unsupported folder type");
  }
  EXPECT_EQ(capture.InitCalls(), LogLines{});
  EXPECT_EQ(capture.Take(), (LogLines{"128 Unsupported folder type"}));
}

TEST_F(LogTest, PositionsKeepFunctionAndLevelAndForgetTheLibrary) {
  LogCapture capture(device);
  StartLogging(u"test", u"\\log.txt");
  EXPECT_NE(wkt::logState.logLibrary, nullptr);
  LogPosition position;
  MakeLogPosition(position, "File.cpp", "CDataHandler::GetPacket", 12, 512);
  EXPECT_STREQ(position.functionName, "CDataHandler::GetPacket");
  EXPECT_EQ(position.level, 512u);
  EXPECT_EQ(wkt::logState.logLibrary, nullptr);
  LogWriteAtPosition(position, u"this = %ld", wkt::LogValue(&position));
  LogWrite(position, 32, u"Failed to open database '%s'", u"WktDevJobs");
  ExpectLog(capture, {"512 this = A1", "32 Failed to open database 'WktDevJobs'"});
}

TEST_F(LogTest, AScopeWritesEnterLeaveAndItsResultByType) {
  LogCapture capture(device);
  StartLogging(u"test", u"\\log.txt");
  {
    const wkt::LogScope log("Outer");
    EXPECT_EQ(log.Result(E_UNEXPECTED), E_UNEXPECTED);
    {
      const wkt::LogScope inner("Inner");
      EXPECT_EQ(inner.ResultBOOL(TRUE), TRUE);
    }
    EXPECT_EQ(log.ResultBool(FALSE), FALSE);
    EXPECT_EQ(log.ResultCeoid(0xFFFFFFFF), 0xFFFFFFFFu);
  }
  EXPECT_EQ(capture.Take(),
            (LogLines{">Outer", "8 Result (HRESULT) = -2147418113", ">Inner", "8 Result (BOOL) = 1",
                      "<Inner", "8 Result (bool) = 0", "8 Result (CEOID) = -1", "<Outer"}));
}

// Each of the three is enough, so that what is made for a listener only is made for it.
TEST_F(LogTest, ALibraryWithAnyOneOfTheThreeNamesHears) {
  EXPECT_FALSE(wkt::IsHeard());
  const CJobLean unheard(TRUE);
  wkt::logState.writeEnter = [](const char*) {};
  EXPECT_TRUE(wkt::IsHeard());
  wkt::logState = {};
  wkt::logState.write = [](DWORD, const WCHAR*, va_list) {};
  EXPECT_TRUE(wkt::IsHeard());
  wkt::logState = {};
  static std::string left;
  left.clear();
  wkt::logState.writeLeave = [](const char* functionName) {
    left += std::string(functionName) + ";";
  };
  { const CJobLean job(TRUE); }
  EXPECT_EQ(left,
            "CWktUtilLean::CreateOwnGUID;CWktUtilLean::CreateGUID;CJobLean::CJobLean;CJobLean::~"
            "CJobLean;");
}

TEST_F(LogTest, AMissingTextIsLoggedAsNull) {
  EXPECT_STREQ(reinterpret_cast<const char*>(wkt::TextOrNull(nullptr)),
               reinterpret_cast<const char*>(u"NULL"));
  const WCHAR text[] = u"x";
  EXPECT_EQ(wkt::TextOrNull(text), text);
}

TEST(LogFilter, NamesWhatDiffersInTheOrderOfItsAppearance) {
  EXPECT_EQ(
      wkt::test::FilterLog({"512 this = 1234", "512 this = -99", "4 Bytes = 1234; Bytes count = 7",
                            "256 Opened handle = 5", "256 Closing handle = 5",
                            "8 Result (CEOID) = 0", "256 Created new database; CEOID = 300",
                            "256 OID = 300", "16 wrong database; Got 300; Expected 301",
                            "16 Wrong structure size. Got 383, expected 384.",
                            "512 Job id = 'CE-1-2f-0-3e8'; Title = 'CE-1'"}),
      (LogLines{"512 this = A1", "512 this = A2", "4 Bytes = A1; Bytes count = 7",
                "256 Opened handle = H1", "256 Closing handle = H1", "8 Result (CEOID) = 0",
                "256 Created new database; CEOID = O1", "256 OID = O1",
                "16 wrong database; Got O1; Expected O2",
                "16 Wrong structure size. Got 383, expected 384.",
                "512 Job id = 'G1'; Title = 'CE-1'"}));
}

}  // namespace
