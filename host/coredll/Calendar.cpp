#include "host/coredll/Calendar.h"

#include <cstddef>
#include <cstring>

namespace wkt::host {

namespace {

// Years are counted from March, so that the leap day is the last of its year: months then start at
// 0, 31, 61, 92, ... days, which (153 * month + 2) / 5 yields, and a leap day changes nothing.
constexpr int64_t kDaysPer400Years = 400 * 365 + 97;
// From 1 March of year 0 to 1 January 1601: four cycles of 400 years to 1 March 1600, and the 306
// days that are left of that year.
constexpr int64_t kDaysToFirstDay = 4 * kDaysPer400Years + 306;

bool IsLeapYear(int year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// A day and the first half of a SYSTEMTIME that is it: year, month, weekday, day.
struct CalendarDay {
  uint32_t number;
  uint64_t date;
};
constexpr uint64_t Date(uint32_t year, uint32_t month, uint32_t weekday, uint32_t day) {
  return year | uint64_t{month} << 16 | uint64_t{weekday} << 32 | uint64_t{day} << 48;
}

// The thread's last one: stamps are of today, over and over. It begins with the first day of all, a
// Monday.
thread_local CalendarDay lastDay{0, Date(kFirstYear, 1, 1, 1)};

uint64_t DateOf(const SYSTEMTIME& time) {
  uint64_t date = 0;
  static_assert(offsetof(SYSTEMTIME, wHour) == sizeof date);
  std::memcpy(&date, &time, sizeof date);
  return date;
}

uint64_t DateOfDay(uint32_t dayNumber) {
  const uint32_t days = dayNumber + uint32_t{kDaysToFirstDay};
  const uint32_t cycle = days / uint32_t{kDaysPer400Years};
  const uint32_t dayOfCycle = days % uint32_t{kDaysPer400Years};
  // The last day of a 4, 100 and 400 year stretch belongs to the year before the quotient says.
  const uint32_t yearOfCycle =
      (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / 146096) / 365;
  const uint32_t dayOfYear = dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
  const uint32_t marchMonth = (5 * dayOfYear + 2) / 153;
  const uint32_t month = marchMonth < 10 ? marchMonth + 3 : marchMonth - 9;
  const uint32_t year = cycle * 400 + yearOfCycle + (month <= 2 ? 1 : 0);
  const uint32_t day = dayOfYear - (153 * marchMonth + 2) / 5 + 1;
  return Date(year, month, static_cast<uint32_t>(WeekdayOfDay(dayNumber)), day);
}

}  // namespace

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12)
    return 0;
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

bool IsCalendarDay(const SYSTEMTIME& time) {
  return time.wYear >= kFirstYear && time.wYear <= kLastYear && time.wDay >= 1 &&
         time.wDay <= DaysInMonth(time.wYear, time.wMonth);
}

int64_t DayNumber(int year, int month, int day) {
  const int64_t marchYear = month <= 2 ? year - 1 : year;
  const int64_t marchMonth = month <= 2 ? month + 9 : month - 3;
  const int64_t dayOfYear = (153 * marchMonth + 2) / 5 + day - 1;
  return marchYear * 365 + marchYear / 4 - marchYear / 100 + marchYear / 400 + dayOfYear -
         kDaysToFirstDay;
}

int WeekdayOfDay(int64_t dayNumber) {
  // 1 January 1601 was a Monday.
  return static_cast<int>((dayNumber % 7 + 8) % 7);
}

std::optional<uint64_t> TicksFromCalendar(const SYSTEMTIME& time) {
  if (time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999)
    return std::nullopt;
  uint64_t dayNumber = lastDay.number;
  if (DateOf(time) != lastDay.date) {
    if (!IsCalendarDay(time))
      return std::nullopt;
    dayNumber = static_cast<uint64_t>(DayNumber(time.wYear, time.wMonth, time.wDay));
  }
  const uint32_t ofDay =
      ((time.wHour * 60u + time.wMinute) * 60 + time.wSecond) * 1000 + time.wMilliseconds;
  return dayNumber * kTicksPerDay + ofDay * kTicksPerMillisecond;
}

SYSTEMTIME CalendarFromTicks(uint64_t ticks) {
  // All but the first two divisions have 32 bits: this runs for every stamp on a record.
  constexpr uint32_t kMillisecondsPerDay = kTicksPerDay / kTicksPerMillisecond;
  const uint64_t milliseconds = ticks / kTicksPerMillisecond;
  const auto dayNumber = static_cast<uint32_t>(milliseconds / kMillisecondsPerDay);
  const auto ofDay =
      static_cast<uint32_t>(milliseconds - uint64_t{dayNumber} * kMillisecondsPerDay);
  if (dayNumber != lastDay.number)
    lastDay = {dayNumber, DateOfDay(dayNumber)};
  SYSTEMTIME time;
  std::memcpy(&time, &lastDay.date, sizeof lastDay.date);
  time.wHour = static_cast<WORD>(ofDay / 3'600'000);
  time.wMinute = static_cast<WORD>(ofDay / 60'000 % 60);
  time.wSecond = static_cast<WORD>(ofDay / 1000 % 60);
  time.wMilliseconds = static_cast<WORD>(ofDay % 1000);
  return time;
}

}  // namespace wkt::host
