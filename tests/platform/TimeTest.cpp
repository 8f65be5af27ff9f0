#include <gtest/gtest.h>

#include "platform/Kernel.h"
#include "platform/Time.h"

namespace {

constexpr DWORD kUntouched = 0xDEADBEEF;

struct Moment {
  SYSTEMTIME calendar;  // with the weekday
  uint64_t ticks;
};

uint64_t Ticks(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

FILETIME File(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// Ticks worked out with a calendar of another maker (Python's datetime, and for the years that it
// does not know by adding whole cycles of 400 years, which have 146097 days).
const Moment kMoments[] = {
    {{1601, 1, 1, 1, 0, 0, 0, 0}, 0},
    {{1601, 1, 1, 1, 0, 0, 0, 1}, 10'000},
    {{1601, 12, 1, 31, 23, 59, 59, 999}, 315359999990000},
    {{1700, 2, 0, 28, 12, 0, 0, 0}, 31291920000000000},
    {{1700, 3, 1, 1, 0, 0, 0, 0}, 31292352000000000},
    {{1970, 1, 4, 1, 0, 0, 0, 0}, 116444736000000000},
    {{2000, 2, 2, 29, 6, 7, 8, 9}, 125962780280090000},
    {{2004, 12, 5, 31, 23, 59, 59, 0}, 127490111990000000},
    {{2026, 3, 1, 2, 8, 0, 0, 0}, 134169120000000000},
    {{2100, 2, 0, 28, 0, 0, 0, 0}, 157519296000000000},
    {{9999, 12, 5, 31, 23, 59, 59, 999}, 2650467743999990000},
    {{30827, 12, 5, 31, 23, 59, 59, 999}, 9223149887999990000},
};

bool SameDate(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  return a.wYear == b.wYear && a.wMonth == b.wMonth && a.wDay == b.wDay &&
         a.wDayOfWeek == b.wDayOfWeek;
}

bool SameTime(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  return a.wHour == b.wHour && a.wMinute == b.wMinute && a.wSecond == b.wSecond &&
         a.wMilliseconds == b.wMilliseconds;
}

TEST(Time, CalendarToTicks) {
  for (const Moment& moment : kMoments) {
    FILETIME time = {};
    SetLastError(kUntouched);
    EXPECT_EQ(SystemTimeToFileTime(&moment.calendar, &time), TRUE) << moment.calendar.wYear;
    EXPECT_EQ(Ticks(time), moment.ticks) << moment.calendar.wYear;
    EXPECT_EQ(GetLastError(), kUntouched);
  }
}

TEST(Time, TicksToCalendarWithWeekday) {
  for (const Moment& moment : kMoments) {
    const FILETIME time = File(moment.ticks);
    SYSTEMTIME calendar = {};
    SetLastError(kUntouched);
    EXPECT_EQ(FileTimeToSystemTime(&time, &calendar), TRUE);
    EXPECT_TRUE(SameDate(calendar, moment.calendar)) << moment.calendar.wYear;
    EXPECT_TRUE(SameTime(calendar, moment.calendar)) << moment.calendar.wYear;
    EXPECT_EQ(GetLastError(), kUntouched);
  }
}

TEST(Time, TheWeekdayGivenIsNotLookedAt) {
  SYSTEMTIME calendar = {2026, 3, 77, 2, 8, 0, 0, 0};
  FILETIME time = {};
  EXPECT_EQ(SystemTimeToFileTime(&calendar, &time), TRUE);
  EXPECT_EQ(Ticks(time), 134169120000000000u);
}

TEST(Time, EveryDayFollowsTheOneBefore) {
  // 1601 to 2401: two whole cycles of 400 years.
  constexpr uint64_t kTicksPerDay = 864'000'000'000;
  SYSTEMTIME before = {1600, 12, 0, 31, 0, 0, 0, 0};
  int leapDays = 0;
  for (uint64_t day = 0; day < 2ull * 146'097; ++day) {
    const FILETIME time = File(day * kTicksPerDay);
    SYSTEMTIME today = {};
    ASSERT_EQ(FileTimeToSystemTime(&time, &today), TRUE);
    ASSERT_EQ(today.wDayOfWeek, (before.wDayOfWeek + 1) % 7);
    const bool nextDay = today.wMonth == before.wMonth && today.wDay == before.wDay + 1;
    const bool nextMonth = today.wMonth == before.wMonth + 1 && today.wDay == 1;
    const bool nextYear = today.wYear == before.wYear + 1 && today.wMonth == 1 &&
                          before.wMonth == 12 && before.wDay == 31 && today.wDay == 1;
    ASSERT_TRUE(nextDay || nextMonth || nextYear) << day;
    FILETIME back = {};
    ASSERT_EQ(SystemTimeToFileTime(&today, &back), TRUE) << day;
    ASSERT_EQ(Ticks(back), day * kTicksPerDay);
    leapDays += today.wMonth == 2 && today.wDay == 29 ? 1 : 0;
    before = today;
  }
  EXPECT_EQ(before.wYear, 2400);
  EXPECT_EQ(leapDays, 2 * 97);
}

TEST(Time, DatesThatDoNotExistAreRefused) {
  const SYSTEMTIME bad[] = {
      {1600, 12, 0, 31, 0, 0, 0, 0},  {30828, 1, 0, 1, 0, 0, 0, 0}, {0, 1, 0, 1, 0, 0, 0, 0},
      {2026, 0, 0, 1, 0, 0, 0, 0},    {2026, 13, 0, 1, 0, 0, 0, 0}, {2026, 1, 0, 0, 0, 0, 0, 0},
      {2026, 1, 0, 32, 0, 0, 0, 0},   {2026, 4, 0, 31, 0, 0, 0, 0}, {2026, 2, 0, 29, 0, 0, 0, 0},
      {1900, 2, 0, 29, 0, 0, 0, 0},   {2000, 2, 0, 30, 0, 0, 0, 0}, {2026, 1, 0, 1, 24, 0, 0, 0},
      {2026, 1, 0, 1, 0, 60, 0, 0},   {2026, 1, 0, 1, 0, 0, 60, 0}, {2026, 1, 0, 1, 0, 0, 0, 1000},
      {2026, 1, 0, 1, 65535, 0, 0, 0}};
  for (const SYSTEMTIME& calendar : bad) {
    FILETIME time = {kUntouched, kUntouched};
    SetLastError(kUntouched);
    EXPECT_EQ(SystemTimeToFileTime(&calendar, &time), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(time.dwLowDateTime, kUntouched);
    EXPECT_EQ(time.dwHighDateTime, kUntouched);
  }
}

TEST(Time, TicksFromTwoToThe63AreRefused) {
  for (const uint64_t ticks : {uint64_t{1} << 63, ~uint64_t{0}}) {
    const FILETIME time = File(ticks);
    SYSTEMTIME calendar = {7777, 7, 7, 7, 7, 7, 7, 7};
    SetLastError(kUntouched);
    EXPECT_EQ(FileTimeToSystemTime(&time, &calendar), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(calendar.wYear, 7777);
    EXPECT_EQ(calendar.wMilliseconds, 7);
  }
  const FILETIME last = File((uint64_t{1} << 63) - 1);
  SYSTEMTIME calendar = {};
  EXPECT_EQ(FileTimeToSystemTime(&last, &calendar), TRUE);
  EXPECT_TRUE(SameDate(calendar, {30828, 9, 4, 14, 0, 0, 0, 0}));
  EXPECT_TRUE(SameTime(calendar, {0, 0, 0, 0, 2, 48, 5, 477}));
}

TEST(Time, NothingIsNoTime) {
  SYSTEMTIME calendar = {2026, 1, 0, 1, 0, 0, 0, 0};
  FILETIME time = {};
  SetLastError(0);
  EXPECT_EQ(SystemTimeToFileTime(nullptr, &time), FALSE);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(SystemTimeToFileTime(&calendar, nullptr), FALSE);
  EXPECT_EQ(FileTimeToSystemTime(nullptr, &calendar), FALSE);
  EXPECT_EQ(FileTimeToSystemTime(&time, nullptr), FALSE);
  EXPECT_EQ(FileTimeToLocalFileTime(nullptr, &time), FALSE);
  EXPECT_EQ(LocalFileTimeToFileTime(&time, nullptr), FALSE);
  EXPECT_EQ(GetTimeZoneInformation(nullptr), TIME_ZONE_ID_INVALID);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(Time, ComparesUnsignedHighHalfFirst) {
  const FILETIME low = {0xFFFFFFFF, 0};
  const FILETIME high = {0, 1};
  const FILETIME highest = {0, 0x80000000};
  EXPECT_EQ(CompareFileTime(&low, &high), -1);
  EXPECT_EQ(CompareFileTime(&high, &low), 1);
  EXPECT_EQ(CompareFileTime(&high, &high), 0);
  EXPECT_EQ(CompareFileTime(&highest, &high), 1);
}

}  // namespace
