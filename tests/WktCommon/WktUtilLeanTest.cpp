#include "WktCommon/WktUtilLean.h"

#include <gtest/gtest.h>

#include <string>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "host/control/Calls.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Text.h"

namespace {

using wkt::test::Narrow;

class WktUtilLeanTest : public wkt::test::DeskDeviceTest {
 protected:
  void TearDown() override { wkt::logState = {}; }
};

std::string Own(const WCHAR* prefix) {
  WCHAR* const text = CWktUtilLean::CreateOwnGUID(prefix);
  std::string shown = Narrow(text);
  WideString::FreeText(text);
  return shown;
}

unsigned long CounterOf(const std::string& identifier) {
  size_t part = identifier.find('-');
  part = identifier.find('-', part + 1);
  part = identifier.find('-', part + 1);
  return std::stoul(identifier.substr(part + 1), nullptr, 16);
}

TEST_F(WktUtilLeanTest, TheFirstIdentifierCountsFromZero) {
  if (::testing::UnitTest::GetInstance()->test_to_run_count() != 1)
    GTEST_SKIP() << "other tests of this process may have made identifiers";
  // 2026-03-02T08:00:00Z and 1000 ticks, as the desk device stands.
  EXPECT_EQ(Narrow(CWktUtilLean::CreateGUID().c_str()), "CE-1dcaa1a-916d4000-0-3e8");
  EXPECT_EQ(Narrow(CWktUtilLean::CreateGUID().c_str()), "CE-1dcaa1a-916d4000-1-3e8");
}

TEST_F(WktUtilLeanTest, TwoOfOneInstantDifferInTheirCounter) {
  const std::string first = Own(u"CE");
  const std::string second = Own(u"CE");
  EXPECT_EQ(CounterOf(second), CounterOf(first) + 1);
  EXPECT_EQ(first.substr(0, 20), "CE-1dcaa1a-916d4000-");
}

TEST_F(WktUtilLeanTest, WithoutPrefixThereIsNoneAndTheCounterStays) {
  const std::string before = Own(u"CE");
  EXPECT_EQ(CWktUtilLean::CreateOwnGUID(nullptr), nullptr);
  EXPECT_EQ(CounterOf(Own(u"CE")), CounterOf(before) + 1);
}

TEST_F(WktUtilLeanTest, AsksThePlatformInThisOrderAndNotWithoutPrefix) {
  using Names = std::vector<std::string>;
  wkt::control::CallRecording recording;
  EXPECT_FALSE(CWktUtilLean::CreateGUID().IsEmpty());
  EXPECT_EQ(wkt::control::CallNames(recording.Take()),
            (Names{"GetTickCount", "GetSystemTime", "SystemTimeToFileTime"}));
  wkt::control::CallRecording without;
  EXPECT_EQ(CWktUtilLean::CreateOwnGUID(nullptr), nullptr);
  EXPECT_EQ(wkt::control::CallNames(without.Take()), Names{});
}

TEST_F(WktUtilLeanTest, ALongPrefixFits) {
  const std::u16string prefix(300, u'x');
  const std::string made = Own(prefix.c_str());
  EXPECT_EQ(made.substr(0, 301), std::string(300, 'x') + "-");
  EXPECT_EQ(Own(u"").substr(0, 9), "-1dcaa1a-");
}

TEST_F(WktUtilLeanTest, NumbersAreHexadecimalWithoutPadding) {
  device.FixTickCount(0);
  EXPECT_EQ(Own(u"CE").substr(Own(u"CE").rfind('-')), "-0");
  device.FixTickCount(0xFFFFFFFF);
  const std::string made = Own(u"CE");
  EXPECT_EQ(made.substr(made.rfind('-')), "-ffffffff");
  EXPECT_LE(made.size(), 38u);
}

TEST_F(WktUtilLeanTest, MillisecondsCountInIdentifiers) {
  device.FreezeClock(wkt::test::kStartTicks + 1230000);
  EXPECT_EQ(Own(u"CE").substr(0, 20), "CE-1dcaa1a-918004b0-");
}

TEST_F(WktUtilLeanTest, LogsWhatItMade) {
  device.MakeInstallation();
  wkt::test::LogCapture capture(device);
  StartLogging(u"test", u"\\log.txt");
  (void)CWktUtilLean::CreateGUID();
  ExpectLog(capture, {">CWktUtilLean::CreateGUID", ">CWktUtilLean::CreateOwnGUID",
                      "<CWktUtilLean::CreateOwnGUID", "8 Guid = G1", "<CWktUtilLean::CreateGUID"});
}

TEST_F(WktUtilLeanTest, WithoutMemoryTheIdentifierIsEmptyAndLoggedAsNull) {
  device.MakeInstallation();
  wkt::test::LogCapture capture(device);
  StartLogging(u"test", u"\\log.txt");
  {
    const wkt::test::AllocationFailure failure(1);
    EXPECT_TRUE(CWktUtilLean::CreateGUID().IsEmpty());
  }
  EXPECT_TRUE(wkt::AllocationFailed());
  wkt::ClearAllocationFailure();
  ExpectLog(capture,
            {">CWktUtilLean::CreateGUID", ">CWktUtilLean::CreateOwnGUID",
             "<CWktUtilLean::CreateOwnGUID", "8 Guid = NULL", "<CWktUtilLean::CreateGUID"});
}

}  // namespace
