#include <gtest/gtest.h>

#include "host/control/Calls.h"
#include "host/control/DeskWindow.h"
#include "tests/WktDevSync/TransferTest.h"

// What the application is told at the end of a synchronisation.
namespace {

using wkt::control::CallRecording;
using wkt::control::DescribeCalls;
using wkt::control::DeskWindow;
using wkt::control::FailCall;
using wkt::test::ExpectLog;
using wkt::test::LogLines;

class ReportStatusTest : public TransferTest {
 protected:
  void RaiseAllFlags() {
    for (const char16_t* const folder : {kJobs, kFavorites, kTypes})
      EXPECT_EQ(Put(folder, 0, SampleBytes(folder)), S_OK);
    log.Take();
  }
  static std::vector<UINT> Posted(DeskWindow& window) {
    std::vector<UINT> messages;
    for (const wkt::control::Message& message : window.TakeAll()) {
      EXPECT_EQ(message.wParam, 0u);
      EXPECT_EQ(message.lParam, 0);
      messages.push_back(message.message);
    }
    return messages;
  }
};

TEST_F(ReportStatusTest, LogsBitsNotCodes) {
  struct Case {
    UINT code;
    const char* line;
  };
  constexpr Case kCases[] = {{1, "256 Flag = RSC_BEGIN_SYNC"},
                             {3, "256 Flag = RSC_BEGIN_SYNC"},
                             {6, "256 Flag = RSC_END_SYNC"},
                             {10, "256 Flag = RSC_END_SYNC"},
                             {4, "256 Flag = 4"},
                             {0, "256 Flag = 0"},
                             {0x80000000, "256 Flag = -2147483648"}};
  RaiseAllFlags();
  DeskWindow window;
  for (const Case& c : kCases) {
    EXPECT_TRUE(provider.reportStatus(nullptr, c.code, 0));
    ExpectLog(log, {">ReportStatus", c.line, "<ReportStatus"});
  }
  EXPECT_EQ(Posted(window), std::vector<UINT>{});
  EXPECT_TRUE(provider.reportStatus(nullptr, 2, 0));
  EXPECT_EQ(Posted(window), (std::vector<UINT>{1125, 1126, 1127})) << "the flags stayed";
}

TEST_F(ReportStatusTest, EndOfSynchronisationTellsTheApplicationOnce) {
  RaiseAllFlags();
  DeskWindow window;
  ASSERT_TRUE(window.IsOpen());
  std::u16string folder = u"WktTypes";
  CallRecording recording;
  EXPECT_TRUE(provider.reportStatus(folder.data(), 2, 5));
  EXPECT_EQ(DescribeCalls(recording.Take()),
            (LogLines{"FindWindowW(\"WCE_WktDev\", NULL) = #1", "PostMessageW(#1, 1125, 0, 0) = 1",
                      "PostMessageW(#1, 1126, 0, 0) = 1", "PostMessageW(#1, 1127, 0, 0) = 1"}));
  ExpectLog(log, {">ReportStatus", "256 Flag = RSC_END_SYNC",
                  "256 Nofifying application window: Favorite jobs changed",
                  "256 Nofifying application window: Daily jobs changed",
                  "256 Nofifying application window: Types changed", "<ReportStatus"});
  EXPECT_EQ(Posted(window), (std::vector<UINT>{1125, 1126, 1127}));
  EXPECT_TRUE(provider.reportStatus(nullptr, 2, 0));
  ExpectLog(log, {">ReportStatus", "256 Flag = RSC_END_SYNC", "<ReportStatus"});
  EXPECT_EQ(Posted(window), std::vector<UINT>{});
}

TEST_F(ReportStatusTest, AMessageThatCannotBePostedClearsItsFlagToo) {
  RaiseAllFlags();
  DeskWindow window;
  FailCall("PostMessageW", 2, ERROR_INVALID_WINDOW_HANDLE);
  EXPECT_TRUE(provider.reportStatus(nullptr, 2, 0));
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_TRUE(provider.reportStatus(nullptr, 2, 0));
  EXPECT_EQ(Posted(window), (std::vector<UINT>{1125, 1127}));
}

TEST_F(ReportStatusTest, WithoutAWindowTheFlagsStayForTheNextTime) {
  RaiseAllFlags();
  EXPECT_TRUE(provider.reportStatus(nullptr, 2, 0));
  ExpectLog(log, {">ReportStatus", "256 Flag = RSC_END_SYNC", "256 No application window to notify",
                  "<ReportStatus"});
  DeskWindow window;
  EXPECT_TRUE(provider.reportStatus(nullptr, 2, 0));
  EXPECT_EQ(Posted(window), (std::vector<UINT>{1125, 1126, 1127}));
}

// A library loaded anew has no flags raised; this one has.
TEST_F(ReportStatusTest, TellsNothingFromBeforeAnotherAttach) {
  RaiseAllFlags();
  const auto dllMain =
      reinterpret_cast<DllMainFunction>(GetProcAddressW(provider.library, u"DllMain"));
  ASSERT_NE(dllMain, nullptr);
  EXPECT_EQ(dllMain(provider.library, DLL_PROCESS_ATTACH, nullptr), TRUE);
  DeskWindow window;
  EXPECT_TRUE(provider.reportStatus(nullptr, 2, 0));
  EXPECT_EQ(Posted(window), std::vector<UINT>{});
}

}  // namespace
