// Random times to the calendar and back, and the calendar held against the C++ library's.
// WKT_ROUND_TRIPS sets how many (1,000).
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <random>

#include "platform/Kernel.h"
#include "platform/Time.h"

namespace {

constexpr uint64_t kTicksPerMillisecond = 10'000;
constexpr uint64_t kTicksPerDay = 864'000'000'000;
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;
// From 1 January 1601 to 31 December 30827: 29,227 years, 7,087 of them leap years.
constexpr uint64_t kDays = 29'227 * 365 + 7'087;

uint32_t RoundTrips() {
  const char* wanted = getenv("WKT_ROUND_TRIPS");
  return wanted != nullptr ? static_cast<uint32_t>(atoi(wanted)) : 1000;
}

uint64_t TicksOf(const FILETIME& time) {
  return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}
FILETIME FileTimeOf(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

TEST(TimeRoundTrips, FromTicksToTheCalendarAndBack) {
  std::mt19937_64 random(20260302);
  for (uint32_t trip = 0; trip < RoundTrips(); ++trip) {
    const uint64_t day = random() % kDays;
    const uint64_t ticks = day * kTicksPerDay + random() % kTicksPerDay;
    const FILETIME given = FileTimeOf(ticks);
    SYSTEMTIME time{};
    ASSERT_TRUE(FileTimeToSystemTime(&given, &time)) << ticks;
    // The C++ library counts from 1970, which is 134,774 days later.
    const std::chrono::sys_days date{std::chrono::days{static_cast<int64_t>(day) - 134'774}};
    const std::chrono::year_month_day calendar{date};
    ASSERT_EQ(int{time.wYear}, int{calendar.year()}) << ticks;
    ASSERT_EQ(unsigned{time.wMonth}, unsigned{calendar.month()}) << ticks;
    ASSERT_EQ(unsigned{time.wDay}, unsigned{calendar.day()}) << ticks;
    ASSERT_EQ(unsigned{time.wDayOfWeek}, std::chrono::weekday{date}.c_encoding()) << ticks;
    const uint64_t milliseconds = ticks % kTicksPerDay / kTicksPerMillisecond;
    ASSERT_EQ(((time.wHour * 60u + time.wMinute) * 60u + time.wSecond) * 1000u + time.wMilliseconds,
              milliseconds)
        << ticks;
    FILETIME back{};
    ASSERT_TRUE(SystemTimeToFileTime(&time, &back)) << ticks;
    ASSERT_EQ(TicksOf(back), ticks - ticks % kTicksPerMillisecond);
  }
}

TEST(TimeRoundTrips, FromTheCalendarToTicksAndBack) {
  std::mt19937_64 random(815);
  const auto below = [&random](unsigned limit) { return static_cast<WORD>(random() % limit); };
  for (uint32_t trip = 0; trip < RoundTrips(); ++trip) {
    const SYSTEMTIME given{static_cast<WORD>(kFirstYear + below(kLastYear - kFirstYear + 1)),
                           static_cast<WORD>(1 + below(12)),
                           below(7),  // not looked at
                           static_cast<WORD>(1 + below(31)),
                           below(24),
                           below(60),
                           below(60),
                           below(1000)};
    const std::chrono::year_month_day date{std::chrono::year{given.wYear},
                                           std::chrono::month{given.wMonth},
                                           std::chrono::day{given.wDay}};
    FILETIME ticks{0xDEADBEEF, 0xDEADBEEF};
    ASSERT_EQ(SystemTimeToFileTime(&given, &ticks) != FALSE, date.ok())
        << given.wYear << '-' << given.wMonth << '-' << given.wDay;
    if (!date.ok()) {
      ASSERT_EQ(TicksOf(ticks), 0xDEADBEEFDEADBEEF);
      continue;
    }
    SYSTEMTIME back{};
    ASSERT_TRUE(FileTimeToSystemTime(&ticks, &back));
    ASSERT_EQ(unsigned{back.wDayOfWeek},
              std::chrono::weekday{std::chrono::sys_days{date}}.c_encoding());
    back.wDayOfWeek = given.wDayOfWeek;
    ASSERT_EQ(memcmp(&back, &given, sizeof given), 0)
        << given.wYear << '-' << given.wMonth << '-' << given.wDay;
  }
}

}  // namespace
