#include <gtest/gtest.h>

#include "host/control/Calls.h"
#include "tests/WktCommon/TimesTest.h"

// Times and their texts while the platform fails.
namespace {

class TimesFault : public wkt::test::DeskDeviceTest {};

TEST_F(TimesFault, WhatThePlatformCannotConvertIsEmpty) {
  const FILETIME noon = At(2026, 3, 2, 12);
  wkt::control::FailCall("FileTimeToLocalFileTime", 1, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(DateOf(noon, FALSE, 0), "");
  wkt::control::FailCall("FileTimeToLocalFileTime", 1, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(TimeOf(noon, FALSE, FALSE, wkt::kHoursMinutes), "");
  EXPECT_FALSE(wkt::control::ClearFailures());
}

TEST_F(TimesFault, WithoutAClockThatCanBeConvertedThereIsNoTimeAndNoAdjustment) {
  FILETIME time = {1, 2};
  wkt::control::FailCall("SystemTimeToFileTime", 1, ERROR_INVALID_PARAMETER);
  GetCurrentFileTime(time, FALSE, FALSE);
  EXPECT_EQ(Ticks(time), 0u);
  SYSTEMTIME summer = {2026, 7, 0, 15, 12, 0, 0, 0};
  wkt::control::FailCall("SystemTimeToFileTime", 2, ERROR_INVALID_PARAMETER);
  AdjustLocalTimeForDaylight(summer, TRUE);
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_EQ(summer.wHour, 12);
  AdjustLocalTimeForDaylight(summer, TRUE);
  EXPECT_EQ(summer.wHour, 13);
}

TEST_F(TimesFault, WhatThePlatformCannotFormatIsEmpty) {
  const FILETIME noon = At(2026, 3, 2, 12);
  wkt::control::FailCall("GetDateFormatW", 1, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(DateOf(noon, TRUE, 0), "");
  wkt::control::FailCall("GetTimeFormatW", 1, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(TimeOf(noon, TRUE, FALSE, wkt::kHoursMinutes), "");
  EXPECT_FALSE(wkt::control::ClearFailures());
}

TEST_F(TimesFault, ASeparatorThatCannotBeFetchedIsEmptyAndAskedForAgain) {
  if (::testing::UnitTest::GetInstance()->test_to_run_count() != 1)
    GTEST_SKIP() << "other tests of this process may have fetched them";
  const FILETIME evening = At(2026, 3, 2, 21, 5, 7);
  for (int i = 0; i < 2; ++i) {
    wkt::control::FailCall("GetLocaleInfoW", 1, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(DateOf(evening, TRUE, 2), "0203");
    EXPECT_FALSE(wkt::control::ClearFailures());
  }
  EXPECT_EQ(DateOf(evening, TRUE, 2), "02/03");
  wkt::control::FailCall("GetLocaleInfoW", 1, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(TimeOf(evening, TRUE, FALSE, wkt::kHoursMinutes), "2105");
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_EQ(TimeOf(evening, TRUE, FALSE, wkt::kHoursMinutes), "21:05");
}

}  // namespace
