// What needs no device works without one: calendar, clock, texts. Each test is a process of its
// own.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "platform/Platform.h"

namespace {

class NoDevice : public ::testing::Test {
 protected:
  void SetUp() override { unsetenv("WKT_DEVICE"); }
};

TEST_F(NoDevice, TheClockIsTheMachinesInUtc) {
  // 1601 to 1970 is 11644473600 seconds.
  const time_t before = time(nullptr);
  SYSTEMTIME utc = {};
  SYSTEMTIME local = {};
  FILETIME now = {};
  GetSystemTime(&utc);
  ASSERT_EQ(SystemTimeToFileTime(&utc, &now), TRUE);
  const time_t after = time(nullptr);
  const auto seconds = static_cast<time_t>(
      ((uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime) / 10'000'000 - 11'644'473'600);
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, after);
  FILETIME same = {};
  EXPECT_EQ(FileTimeToLocalFileTime(&now, &same), TRUE);
  EXPECT_EQ(CompareFileTime(&now, &same), 0);
  GetLocalTime(&local);
  FILETIME localNow = {};
  ASSERT_EQ(SystemTimeToFileTime(&local, &localNow), TRUE);
  EXPECT_GE(CompareFileTime(&localNow, &now), 0);
  const uint64_t gap = ((uint64_t{localNow.dwHighDateTime} << 32) | localNow.dwLowDateTime) -
                       ((uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime);
  EXPECT_LT(gap, 60u * 10'000'000);
}

TEST_F(NoDevice, TheMachinesZoneDoesNotCount) {
  setenv("TZ", "America/New_York", 1);
  tzset();
  TIME_ZONE_INFORMATION zone;
  memset(&zone, 0x55, sizeof(zone));
  EXPECT_EQ(GetTimeZoneInformation(&zone), TIME_ZONE_ID_UNKNOWN);
  const TIME_ZONE_INFORMATION utc = {};
  EXPECT_EQ(memcmp(&zone, &utc, sizeof(zone)), 0);
}

TEST_F(NoDevice, TheLocaleIsEnglishWhateverTheMachinesIs) {
  setenv("LC_ALL", "de_AT.UTF-8", 1);
  setlocale(LC_ALL, "");
  const SYSTEMTIME day = {2026, 3, 0, 2, 21, 5, 0, 0};
  WCHAR buffer[64];
  EXPECT_GT(GetDateFormatW(LOCALE_USER_DEFAULT, DATE_LONGDATE, &day, nullptr, buffer, 64), 0);
  EXPECT_EQ(std::u16string(buffer), u"Monday, March 02, 2026");
  EXPECT_GT(GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &day, nullptr, buffer, 64), 0);
  EXPECT_EQ(std::u16string(buffer), u"9:05:00 PM");
  EXPECT_EQ(_snwprintf(buffer, 64, u"%.2f", 1.5), 4);
  EXPECT_EQ(std::u16string(buffer), u"1.50");
  EXPECT_EQ(wcstod(u"1.5", nullptr), 1.5);
}

TEST_F(NoDevice, TickCountsRun) {
  const DWORD first = GetTickCount();
  EXPECT_LT(GetTickCount() - first, 60'000u);
}

}  // namespace
