// File times on the desktop: 100 ns ticks since 1 January 1601, as texts and back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace wkt {

constexpr uint64_t kTicksPerSecond = 10'000'000;
constexpr uint64_t kTicksPerMinute = 60 * kTicksPerSecond;
constexpr uint64_t kTicksPerDay = uint64_t{24} * 60 * kTicksPerMinute;
// 1601 to 1970 is 369 years, 89 of them leap years.
constexpr uint64_t kTicksToUnixEpoch = (369ull * 365 + 89) * kTicksPerDay;
// Behind 9999-12-31T23:59:59.9999999: texts have four digits for the year.
constexpr uint64_t kEndOfTextTime = (8399ull * 365 + 2036) * kTicksPerDay;

// A wall clock time; `ticks` count from 1601 in whatever zone it is.
struct ClockTime {
  int year = 1601;
  unsigned month = 1;
  unsigned day = 1;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  unsigned fraction = 0;  // ticks within the second
};

ClockTime SplitTicks(uint64_t ticks);
// Nothing for a date or time that does not exist, or lies before 1601 or beyond 9999.
std::optional<uint64_t> JoinTicks(const ClockTime& time);

// "2026-03-02T08:00:00", with as many digits of a second as there are; up to kEndOfTextTime.
std::string ClockText(uint64_t ticks);
// "2026-03-02"
std::string DateText(uint64_t ticks);
// "08:00"
std::string MinuteText(uint64_t ticks);

// A time as people write it: date, or date and time ("T" or a blank between), seconds optional,
// then nothing (a wall clock time), "Z" or an offset.
struct ParsedTime {
  uint64_t ticks = 0;  // UTC when hasOffset, else wall clock
  bool hasOffset = false;
  bool hasTime = false;
};
std::optional<ParsedTime> ParseTime(std::string_view text);

// The machine's clock, or the time that WKT_CLOCK names (so that scripts give the same result each
// day).
uint64_t DesktopNow();

}  // namespace wkt
