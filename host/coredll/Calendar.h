// Calendar arithmetic in the proleptic Gregorian calendar on 100 ns ticks since 1 January 1601.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/Time.h"

namespace wkt::host {

constexpr uint64_t kTicksPerMillisecond = 10'000;
constexpr uint64_t kTicksPerSecond = 1000 * kTicksPerMillisecond;
constexpr uint64_t kTicksPerMinute = 60 * kTicksPerSecond;
constexpr uint64_t kTicksPerHour = 60 * kTicksPerMinute;
constexpr uint64_t kTicksPerDay = 24 * kTicksPerHour;

// The first year has a 1 January that is tick 0, the last one is the last that ends below 2^63.
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;

inline uint64_t TicksOf(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}
inline FILETIME FileTimeOf(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// Days of a month; 0 for a month that is not 1..12.
int DaysInMonth(int year, int month);
// Whether year, month and day name a day of the calendar above.
bool IsCalendarDay(const SYSTEMTIME& time);
// Days from 1 January 1601 to a day that exists.
int64_t DayNumber(int year, int month, int day);
// 0 = Sunday.
int WeekdayOfDay(int64_t dayNumber);

// nullopt for a date or time that does not exist. The weekday is not looked at.
std::optional<uint64_t> TicksFromCalendar(const SYSTEMTIME& time);
// For ticks below 2^63.
SYSTEMTIME CalendarFromTicks(uint64_t ticks);

}  // namespace wkt::host
