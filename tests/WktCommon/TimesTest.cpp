#include "WktCommon/Times.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <utility>

#include "WktCommon/RegistryKey.h"
#include "host/control/Calls.h"
#include "tests/WktCommon/TimesTest.h"
#include "tests/support/AllocationCounter.h"

namespace {

class TimesTest : public wkt::test::DeskDeviceTest {
 protected:
  // Rules that no zone of the world has.
  static void SetRules(const TIME_ZONE_INFORMATION& zone) {
    CRegistryKey key(HKEY_LOCAL_MACHINE, u"Time", TRUE, FALSE);
    ASSERT_TRUE(key.WriteValue(u"TimeZoneInformation", REG_BINARY, &zone, sizeof(zone)));
  }
};

TEST_F(TimesTest, TheCurrentTimeIsUtcInWholeSeconds) {
  device.FreezeClock("2026-03-02T08:00:07.987Z");
  FILETIME time = {1, 2};
  EXPECT_EQ(&GetCurrentFileTime(time, FALSE, FALSE), &time);
  EXPECT_EQ(Ticks(time), wkt::test::kStartTicks + 7 * 10'000'000ull);
}

TEST_F(TimesTest, ThePlatformCallsOfEachOperation) {
  using Names = std::vector<std::string>;
  FILETIME time;
  const auto calls = [](const auto& body) {
    wkt::control::CallRecording recording;
    body();
    return wkt::control::CallNames(recording.Take());
  };
  EXPECT_EQ(calls([&] { GetCurrentFileTime(time, FALSE, FALSE); }),
            (Names{"GetSystemTime", "SystemTimeToFileTime"}));
  EXPECT_EQ(calls([&] { GetCurrentFileTime(time, TRUE, TRUE); }),
            (Names{"GetLocalTime", "SystemTimeToFileTime"}));
  WideString text;
  EXPECT_EQ(calls([&] { FormatDateText(text, time, FALSE, 0); }),
            (Names{"FileTimeToLocalFileTime", "FileTimeToSystemTime", "GetDateFormatW"}));
  EXPECT_EQ(calls([&] { FormatDateText(text, time, TRUE, 1); }),
            (Names{"FileTimeToSystemTime", "GetDateFormatW"}));
  EXPECT_EQ(calls([&] { FormatTimeText(text, time, TRUE, FALSE, 1); }),
            (Names{"FileTimeToSystemTime", "GetTimeFormatW"}));
}

TEST_F(TimesTest, TheLocalTimeIsConvertedAsItStands) {
  FILETIME time;
  GetCurrentFileTime(time, TRUE, FALSE);
  EXPECT_EQ(Ticks(time), wkt::test::kStartTicks + 3600 * 10'000'000ull);
}

TEST_F(TimesTest, TheLocalDayAtOneSecondToMidnightIsThatDay) {
  device.FreezeClock("2026-03-02T22:59:59.999Z");
  FILETIME time;
  GetCurrentFileTime(time, TRUE, TRUE);
  EXPECT_EQ(Ticks(time), Ticks(At(2026, 3, 2)));
  device.FreezeClock("2026-03-02T23:00:00Z");
  GetCurrentFileTime(time, TRUE, TRUE);
  EXPECT_EQ(Ticks(time), Ticks(At(2026, 3, 3)));
  GetCurrentFileTime(time, FALSE, TRUE);
  EXPECT_EQ(Ticks(time), Ticks(At(2026, 3, 2)));
}

// The device's clock stands in March; a date with the other bias is off until it is adjusted. Lord
// Howe's half hour would have to be borrowed from the hour, which is not done.
TEST_F(TimesTest, TextsInEachZone) {
  struct Case {
    const char* zone;
    const char* winter;          // 2026-01-15 12:00 UTC, as the log shows it
    const char* summerAsIs;      // 2026-07-15 12:00 UTC, by the bias of today
    const char* summerAdjusted;  // the same by the bias of its date
  };
  constexpr Case kCases[] = {{"Europe/Vienna", "13:00", "13:00", "14:00"},
                             {"America/New_York", "07:00", "07:00", "08:00"},
                             {"Australia/Sydney", "23:00", "23:00", "22:00"},
                             {"Asia/Kolkata", "17:30", "17:30", "17:30"},
                             {"Asia/Tokyo", "21:00", "21:00", "21:00"},
                             {"UTC", "12:00", "12:00", "12:00"},
                             {"Australia/Lord_Howe", "23:00", "23:00", "23:00"}};
  for (const Case& c : kCases) {
    device.SetZone(c.zone, 2026);
    EXPECT_EQ(TimeOf(At(2026, 1, 15, 12), FALSE, TRUE, wkt::kHoursMinutes), c.winter) << c.zone;
    EXPECT_EQ(TimeOf(At(2026, 7, 15, 12), FALSE, FALSE, wkt::kHoursMinutes), c.summerAsIs)
        << c.zone;
    EXPECT_EQ(TimeOf(At(2026, 7, 15, 12), FALSE, TRUE, wkt::kHoursMinutes), c.summerAdjusted)
        << c.zone;
  }
}

TEST_F(TimesTest, AWinterTimeShownInSummerMovesOneHourBack) {
  device.FreezeClock("2026-07-01T10:00:00Z");
  EXPECT_EQ(TimeOf(At(2026, 1, 15, 12), FALSE, FALSE, wkt::kHoursMinutes), "14:00");
  EXPECT_EQ(TimeOf(At(2026, 1, 15, 12), FALSE, TRUE, wkt::kHoursMinutes), "13:00");
}

TEST_F(TimesTest, DaylightBiasFollowsTheRulesOfTheYear) {
  // Vienna 2026: 29 March 02:00 to 25 October 03:00, compared as the time stands.
  const auto bias = [](const FILETIME& time) { return GetDaylightBiasAt(time); };
  EXPECT_EQ(bias(At(2026, 3, 29, 1, 59, 59)), 0);
  EXPECT_EQ(bias(At(2026, 3, 29, 2)), -60);
  EXPECT_EQ(bias(At(2026, 10, 25, 2, 59, 59)), -60);
  EXPECT_EQ(bias(At(2026, 10, 25, 3)), 0);
  device.SetZone("Australia/Sydney", 2026);
  // 5 April 03:00 back, 4 October 02:00 forward: summer spans the turn of the year.
  EXPECT_EQ(bias(At(2026, 1, 1)), -60);
  EXPECT_EQ(bias(At(2026, 4, 5, 2, 59, 59)), -60);
  EXPECT_EQ(bias(At(2026, 4, 5, 3)), 0);
  EXPECT_EQ(bias(At(2026, 10, 4, 1, 59, 59)), 0);
  EXPECT_EQ(bias(At(2026, 10, 4, 2)), -60);
  device.SetZone("Asia/Kolkata", 2026);
  EXPECT_EQ(bias(At(2026, 7, 1)), 0);
  EXPECT_EQ(bias(Ticks(0x8000000000000000)), 0);
}

TEST_F(TimesTest, OutsideOfSummerTheStandardBiasCounts) {
  TIME_ZONE_INFORMATION zone = {};
  zone.StandardBias = 15;
  zone.DaylightBias = -60;
  zone.StandardDate = {0, 10, 0, 5, 3, 0, 0, 0};
  zone.DaylightDate = {0, 3, 0, 5, 2, 0, 0, 0};
  SetRules(zone);
  EXPECT_EQ(GetDaylightBiasAt(At(2026, 1, 15)), 15);
  EXPECT_EQ(GetDaylightBiasAt(At(2026, 7, 15)), -60);
}

TEST_F(TimesTest, OneMissingTransitionIsAZoneWithoutSummer) {
  TIME_ZONE_INFORMATION zone = {};
  zone.StandardBias = 15;
  zone.DaylightBias = -60;
  zone.StandardDate = {0, 10, 0, 5, 3, 0, 0, 0};
  SetRules(zone);
  EXPECT_EQ(GetDaylightBiasAt(At(2026, 1, 15)), 0);
  EXPECT_EQ(GetDaylightBiasAt(At(2026, 7, 15)), 0);
  std::swap(zone.StandardDate, zone.DaylightDate);
  SetRules(zone);
  EXPECT_EQ(GetDaylightBiasAt(At(2026, 1, 15)), 0);
  EXPECT_EQ(GetDaylightBiasAt(At(2026, 12, 15)), 0);
}

// Half an hour past midnight in Vienna, where today is not the date in UTC.
TEST_F(TimesTest, TodayIsTheDateInUtc) {
  device.FreezeClock("2026-03-29T22:30:00Z");
  SYSTEMTIME time = {2026, 3, 0, 29, 1, 30, 0, 0};  // winter time, the clock shows summer
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 1) << "yesterday here, today in UTC";
  device.FreezeClock("2026-03-28T23:30:00Z");
  time = {2026, 3, 0, 29, 12, 0, 0, 0};  // summer time, the clock shows winter
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 13) << "today here, tomorrow in UTC";
}

TEST_F(TimesTest, ATimeOnTodaysUtcDateIsNeverAdjusted) {
  // The day on which Vienna's summer begins: 01:30 is winter time, the clock shows summer.
  device.FreezeClock("2026-03-29T12:00:00Z");
  SYSTEMTIME time = {2026, 3, 0, 29, 1, 30, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 1);
  // The day before has the other bias and is moved.
  time = {2026, 3, 0, 28, 1, 30, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 0);
  // So are the same day of another month and of another year.
  time = {2026, 1, 0, 29, 12, 0, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 11);
  time = {2024, 3, 0, 29, 12, 0, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 11);
}

TEST_F(TimesTest, ACorrectionThatWouldLeaveTheDayIsDropped) {
  SYSTEMTIME time = {2026, 7, 0, 15, 23, 30, 5, 7};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 23);
  EXPECT_EQ(time.wMinute, 30);
  EXPECT_EQ(time.wDay, 15);
  time = {2026, 7, 0, 15, 0, 30, 0, 0};
  AdjustLocalTimeForDaylight(time, FALSE);
  EXPECT_EQ(time.wHour, 0);
  time = {2026, 7, 0, 15, 22, 30, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 23);
  AdjustLocalTimeForDaylight(time, FALSE);
  EXPECT_EQ(time.wHour, 22);
  // Printed: 22:30 UTC is 23:30 by the bias of today and stays so.
  EXPECT_EQ(TimeOf(At(2026, 7, 15, 22, 30), FALSE, TRUE, wkt::kHoursMinutes), "23:30");
  // In summer: 22:30 UTC of a winter day is 00:30 and would become 23:30 of the day before.
  device.FreezeClock("2026-07-01T10:00:00Z");
  EXPECT_EQ(TimeOf(At(2026, 1, 15, 22, 30), FALSE, TRUE, wkt::kHoursMinutes), "00:30");
}

TEST_F(TimesTest, AHalfHourBiasMovesMinutesAndNothingIsCarried) {
  device.SetZone("Australia/Lord_Howe", 2026);
  SYSTEMTIME time = {2026, 7, 0, 15, 12, 40, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);  // summer now: half an hour back
  EXPECT_EQ(time.wHour, 12);
  EXPECT_EQ(time.wMinute, 10);
  time = {2026, 7, 0, 15, 12, 20, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 12);
  EXPECT_EQ(time.wMinute, 20);
  time = {2026, 7, 0, 15, 12, 40, 0, 0};
  AdjustLocalTimeForDaylight(time, FALSE);
  EXPECT_EQ(time.wHour, 12);
  EXPECT_EQ(time.wMinute, 40);
}

TEST_F(TimesTest, AnImpossibleCalendarTimeStaysAsItIs) {
  SYSTEMTIME time = {2026, 13, 0, 40, 12, 0, 0, 0};
  AdjustLocalTimeForDaylight(time, TRUE);
  EXPECT_EQ(time.wHour, 12);
  EXPECT_EQ(time.wMonth, 13);
}

TEST_F(TimesTest, TransitionDatesAreTheNthWeekdayOfTheMonth) {
  struct Case {
    WORD month, dayOfWeek, week, year, day;
  };
  constexpr Case kCases[] = {
      {3, 0, 5, 2026, 29},   // last Sunday of March
      {10, 0, 5, 2026, 25},  // and of October
      {3, 0, 2, 2026, 8},    // second Sunday of March
      {11, 0, 1, 2026, 1},   // a first Sunday on the 1st
      {2, 0, 5, 2024, 25},   // February of a leap year: first Sunday on the 4th, fifth week back
      {4, 0, 5, 2022, 31},   // a 30-day month whose first Sunday is the 3rd
      {2, 4, 5, 2024, 29},  {1, 1, 1, 2000, 3},
      {12, 6, 4, 2026, 26}, {2, 0, 5, 2026, 29},  // February with Sundays on 1, 8, 15, 22
  };
  for (const Case& c : kCases) {
    const SYSTEMTIME rule = {0, c.month, c.dayOfWeek, c.week, 2, 30, 15, 4};
    SYSTEMTIME out = {};
    EXPECT_EQ(&ComputeTransitionDate(out, rule, c.year), &out);
    EXPECT_EQ(out.wDay, c.day) << c.year << "-" << c.month;
    EXPECT_EQ(out.wYear, c.year);
    EXPECT_EQ(out.wMonth, c.month);
    EXPECT_EQ(out.wDayOfWeek, c.dayOfWeek);
    EXPECT_EQ(out.wHour, 2);
    EXPECT_EQ(out.wMinute, 30);
    EXPECT_EQ(out.wSecond, 15);
    EXPECT_EQ(out.wMilliseconds, 4);
  }
}

// Summer from the fifth Sunday of April, a 30-day month whose first Sunday is the 3rd in 2022:
// there is no April 31st, so that summer counts as begun at the beginning of time.
TEST_F(TimesTest, ATransitionOnADayThatDoesNotExistIsTheBeginningOfTime) {
  TIME_ZONE_INFORMATION zone = {};
  zone.Bias = -60;
  zone.DaylightBias = -60;
  zone.StandardDate = {0, 10, 0, 5, 3, 0, 0, 0};
  zone.DaylightDate = {0, 4, 0, 5, 2, 0, 0, 0};
  SetRules(zone);
  EXPECT_EQ(GetDaylightBiasAt(At(2022, 1, 15)), -60);
  EXPECT_EQ(GetDaylightBiasAt(At(2022, 7, 15)), -60);
  EXPECT_EQ(GetDaylightBiasAt(At(2022, 10, 30, 3)), 0);
  // In 2023 the first Sunday is the 2nd and the fifth the 30th.
  EXPECT_EQ(GetDaylightBiasAt(At(2023, 1, 15)), 0);
  EXPECT_EQ(GetDaylightBiasAt(At(2023, 4, 30, 2)), -60);
}

TEST_F(TimesTest, AMonthThatDoesNotExistCountsAsJanuary) {
  for (const WORD month : {WORD{0}, WORD{13}, WORD{65535}}) {
    const SYSTEMTIME rule = {0, month, 4, 1, 0, 0, 0, 0};
    SYSTEMTIME out = {};
    ComputeTransitionDate(out, rule, 2026);
    EXPECT_EQ(out.wDay, 1) << "January 1st, 2026 is a Thursday";
    EXPECT_EQ(out.wMonth, month);
  }
}

// A zone has both transitions or none.
TEST_F(TimesTest, WithoutOneOfTheTransitionsThereIsNoBias) {
  TIME_ZONE_INFORMATION zone = {};
  zone.DaylightBias = -60;
  CRegistryKey key(HKEY_LOCAL_MACHINE, u"Time", TRUE, FALSE);
  const SYSTEMTIME october = {0, 10, 0, 5, 3, 0, 0, 0};
  const SYSTEMTIME march = {0, 3, 0, 5, 2, 0, 0, 0};
  for (const auto& [standard, daylight, bias] :
       {std::tuple{october, march, -60}, {october, SYSTEMTIME{}, 0}, {SYSTEMTIME{}, march, 0}}) {
    zone.StandardDate = standard;
    zone.DaylightDate = daylight;
    ASSERT_TRUE(key.WriteValue(u"TimeZoneInformation", REG_BINARY, &zone, sizeof(zone)));
    EXPECT_EQ(GetDaylightBiasAt(At(2026, 7, 15)), bias);
  }
}

TEST_F(TimesTest, TheFlagsChooseTheTimesParts) {
  const FILETIME morning = At(2026, 3, 2, 9, 5, 7);
  const FILETIME evening = At(2026, 3, 2, 21, 5, 7);
  struct Case {
    int flags;
    const char* morning;
    const char* evening;
  };
  constexpr Case kCases[] = {{74, "09:05", "21:05"},
                             {76, "09:05:07", "21:05:07"},
                             {0x08, "9:05", "21:05"},
                             {0x00, "9:05", "9:05"},
                             {0x40, "09:05", "09:05"},
                             {0x24, "9:05:07 AM", "9:05:07 PM"},
                             {0x12, "9:05", "9:05"},
                             {0x01, "9:05:07 AM", "9:05:07 PM"},
                             {0x4D, "9:05:07 AM", "9:05:07 PM"}};
  for (const Case& c : kCases) {
    EXPECT_EQ(TimeOf(morning, TRUE, FALSE, c.flags), c.morning) << c.flags;
    EXPECT_EQ(TimeOf(evening, TRUE, FALSE, c.flags), c.evening) << c.flags;
  }
}

TEST_F(TimesTest, DatesInEachStyle) {
  const FILETIME noon = At(2026, 3, 2, 12);
  EXPECT_EQ(DateOf(noon, TRUE, 0), "3/2/26");
  EXPECT_EQ(DateOf(noon, TRUE, -1), "3/2/26");
  EXPECT_EQ(DateOf(noon, TRUE, 1), "Monday, March 02, 2026");
  EXPECT_EQ(DateOf(noon, TRUE, 2), "02/03");
  EXPECT_EQ(DateOf(noon, TRUE, 3), "03/02");
  EXPECT_EQ(DateOf(noon, TRUE, 4), "");
}

TEST_F(TimesTest, AUtcDateBecomesLocalFirst) {
  const FILETIME late = At(2026, 3, 2, 23, 30);
  EXPECT_EQ(DateOf(late, FALSE, 0), "3/3/26");
  EXPECT_EQ(DateOf(late, TRUE, 0), "3/2/26");
}

TEST_F(TimesTest, WhatCannotBeFormedIsEmpty) {
  const FILETIME tooLarge = Ticks(0xC000000000000000);
  for (const BOOL isLocal : {FALSE, TRUE}) {
    EXPECT_EQ(DateOf(tooLarge, isLocal, 0), "");
    EXPECT_EQ(TimeOf(tooLarge, isLocal, TRUE, wkt::kHoursMinutes), "");
  }
  // One hour before 1601 began.
  device.SetZone("America/New_York", 2026);
  EXPECT_EQ(DateOf(Ticks(0), FALSE, 0), "");
  EXPECT_EQ(TimeOf(Ticks(0), FALSE, TRUE, wkt::kHoursMinutes), "");
}

TEST_F(TimesTest, WithoutMemoryTheTextsAreEmpty) {
  const FILETIME time = At(2026, 3, 2, 12);
  for (size_t nth = 1; nth <= 2; ++nth) {
    WideString text;
    const wkt::test::AllocationFailure failure(nth);
    EXPECT_TRUE(FormatDateText(text, time, TRUE, 0).IsEmpty());
    EXPECT_TRUE(failure.Happened());
  }
  WideString text;
  const wkt::test::AllocationFailure failure(1);
  EXPECT_TRUE(FormatTimeText(text, time, TRUE, FALSE, 74).IsEmpty());
}

// Separators are fetched once in a process, so each locale needs a process: one test each.
class TimesLocaleTest : public wkt::test::DeskDeviceTest {
 protected:
  void Expect(const char* tag, const char* shortDate, const char* dayMonth, const char* monthDay,
              const char* time) {
    device.SetLocale(tag);
    const FILETIME evening = At(2026, 3, 2, 21, 5, 7);
    EXPECT_EQ(DateOf(evening, TRUE, 0), shortDate);
    if (!FirstInProcess())
      GTEST_SKIP() << "the separators of this process are those of another locale";
    EXPECT_EQ(DateOf(evening, TRUE, 2), dayMonth);
    EXPECT_EQ(DateOf(evening, TRUE, 3), monthDay);
    EXPECT_EQ(TimeOf(evening, TRUE, FALSE, wkt::kHoursMinutesSeconds), time);
  }

 private:
  static bool FirstInProcess() {
    static int uses = 0;
    return uses++ == 0 && ::testing::UnitTest::GetInstance()->test_to_run_count() == 1;
  }
};

TEST_F(TimesLocaleTest, AmericanEnglish) {
  Expect("en-US", "3/2/26", "02/03", "03/02", "21:05:07");
}
TEST_F(TimesLocaleTest, German) {
  Expect("de-DE", "02.03.26", "02.03", "03.02", "21:05:07");
}
TEST_F(TimesLocaleTest, Japanese) {
  Expect("ja-JP", "2026/03/02", "02/03", "03/02", "21:05:07");
}
TEST_F(TimesLocaleTest, FinnishWithDotsInDatesAndTimes) {
  Expect("fi-FI", "2.3.2026", "02.03", "03.02", "21.05.07");
}

// A buffer shows as the text that it holds: none yet.
std::vector<std::string> LocaleCalls(const std::function<void()>& body) {
  wkt::control::CallRecording recording;
  body();
  std::vector<std::string> calls = wkt::control::DescribeCalls(recording.Take());
  std::erase_if(calls, [](const std::string& call) { return call.starts_with("FileTime"); });
  return calls;
}

TEST_F(TimesLocaleTest, EachSeparatorIsFetchedWithItsFirstUseOnly) {
  if (::testing::UnitTest::GetInstance()->test_to_run_count() != 1)
    GTEST_SKIP() << "other tests of this process may have fetched them";
  using Calls = std::vector<std::string>;
  const FILETIME evening = At(2026, 3, 2, 21, 5, 7);
  WideString text;
  const auto dayMonth = [&] { FormatDateText(text, evening, TRUE, 2); };
  const auto monthDay = [&] { FormatDateText(text, evening, TRUE, 3); };
  const auto minutes = [&] { FormatTimeText(text, evening, TRUE, FALSE, 74); };
  const auto seconds = [&] { FormatTimeText(text, evening, TRUE, FALSE, 76); };
  const std::string date = "GetDateFormatW(1024, 0, ptr, ";
  const std::string time = "GetTimeFormatW(1024, 0, ptr, ";
  EXPECT_EQ(LocaleCalls(dayMonth),
            (Calls{"GetLocaleInfoW(1024, 29, \"\", 5) = 2", date + "\"dd/MM\", \"\", 255) = 6"}));
  EXPECT_EQ(LocaleCalls(monthDay), (Calls{date + "\"MM/dd\", \"\", 255) = 6"}));
  EXPECT_EQ(LocaleCalls(minutes),
            (Calls{"GetLocaleInfoW(1024, 30, \"\", 5) = 2", time + "\"HH':'mm\", \"\", 255) = 6"}));
  EXPECT_EQ(LocaleCalls(seconds), (Calls{time + "\"HH':'mm':'ss\", \"\", 255) = 9"}));
}

TEST_F(TimesTest, TheUsersOwnFormatsAreAskedForWithoutAPicture) {
  using Calls = std::vector<std::string>;
  const FILETIME evening = At(2026, 3, 2, 21, 5, 7);
  WideString text;
  EXPECT_EQ(LocaleCalls([&] { FormatDateText(text, evening, TRUE, 0); }),
            (Calls{"GetDateFormatW(1024, 1, ptr, NULL, \"\", 255) = 7"}));
  EXPECT_EQ(LocaleCalls([&] { FormatDateText(text, evening, TRUE, 1); }),
            (Calls{"GetDateFormatW(1024, 2, ptr, NULL, \"\", 255) = 23"}));
  EXPECT_EQ(LocaleCalls([&] { FormatTimeText(text, evening, TRUE, FALSE, 1); }),
            (Calls{"GetTimeFormatW(1024, 0, ptr, NULL, \"\", 255) = 11"}));
}

TEST_F(TimesTest, SeparatorsStayAsTheyWereFirstFetched) {
  EXPECT_EQ(DateOf(At(2026, 3, 2), TRUE, 2), "02/03");
  EXPECT_EQ(TimeOf(At(2026, 3, 2, 9, 5), TRUE, FALSE, wkt::kHoursMinutes), "09:05");
  device.SetLocale("fi-FI");
  EXPECT_EQ(DateOf(At(2026, 3, 2), TRUE, 2), "02/03");
  EXPECT_EQ(TimeOf(At(2026, 3, 2, 9, 5), TRUE, FALSE, wkt::kHoursMinutes), "09:05");
  EXPECT_EQ(DateOf(At(2026, 3, 2), TRUE, 0), "2.3.2026") << "the rest follows the settings";
}

}  // namespace
