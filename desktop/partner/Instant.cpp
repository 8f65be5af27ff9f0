#include "desktop/partner/Instant.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>

#include "desktop/partner/Failure.h"

namespace wkt {

namespace {

using Days = std::chrono::sys_days;
constexpr Days kStart{std::chrono::year{1601} / 1 / 1};

// Reads exactly `digits` digits at `*position`.
std::optional<unsigned> ReadDigits(std::string_view text, size_t* position, size_t digits) {
  unsigned value = 0;
  for (size_t i = 0; i < digits; ++i, ++*position) {
    if (*position >= text.size() || text[*position] < '0' || text[*position] > '9') {
      return std::nullopt;
    }
    value = value * 10 + static_cast<unsigned>(text[*position] - '0');
  }
  return value;
}

bool Skip(std::string_view text, size_t* position, char expected) {
  if (*position < text.size() && text[*position] == expected) {
    ++*position;
    return true;
  }
  return false;
}

// Digits behind the decimal point, as ticks; more than seven are cut.
std::optional<unsigned> ReadFraction(std::string_view text, size_t* position) {
  unsigned ticks = 0;
  unsigned scale = kTicksPerSecond / 10;
  const size_t start = *position;
  while (*position < text.size() && text[*position] >= '0' && text[*position] <= '9') {
    ticks += static_cast<unsigned>(text[*position] - '0') * scale;
    scale /= 10;
    ++*position;
  }
  return *position == start ? std::nullopt : std::optional(ticks);
}

bool ReadTimeOfDay(std::string_view text, size_t* position, ClockTime* time) {
  const auto hour = ReadDigits(text, position, 2);
  if (!hour || !Skip(text, position, ':')) {
    return false;
  }
  const auto minute = ReadDigits(text, position, 2);
  if (!minute) {
    return false;
  }
  time->hour = *hour;
  time->minute = *minute;
  if (Skip(text, position, ':')) {
    const auto second = ReadDigits(text, position, 2);
    if (!second) {
      return false;
    }
    time->second = *second;
    if (Skip(text, position, '.')) {
      const auto fraction = ReadFraction(text, position);
      if (!fraction) {
        return false;
      }
      time->fraction = *fraction;
    }
  }
  return true;
}

// "Z" or "+hh:mm" or "-hh:mm" at the end; minutes east of UTC.
std::optional<int> ReadOffset(std::string_view text, size_t* position) {
  if (Skip(text, position, 'Z')) {
    return 0;
  }
  const bool west = Skip(text, position, '-');
  if (!west && !Skip(text, position, '+')) {
    return std::nullopt;
  }
  const auto hours = ReadDigits(text, position, 2);
  Skip(text, position, ':');
  const auto minutes = ReadDigits(text, position, 2);
  if (!hours || !minutes || *hours > 23 || *minutes > 59) {
    return std::nullopt;
  }
  const int total = static_cast<int>(*hours * 60 + *minutes);
  return west ? -total : total;
}

}  // namespace

ClockTime SplitTicks(uint64_t ticks) {
  const auto dayCount = static_cast<int>(ticks / kTicksPerDay);
  const std::chrono::year_month_day date{kStart + std::chrono::days{dayCount}};
  const uint64_t inDay = ticks % kTicksPerDay;
  ClockTime time;
  time.year = static_cast<int>(date.year());
  time.month = static_cast<unsigned>(date.month());
  time.day = static_cast<unsigned>(date.day());
  time.hour = static_cast<unsigned>(inDay / (60 * kTicksPerMinute));
  time.minute = static_cast<unsigned>(inDay / kTicksPerMinute % 60);
  time.second = static_cast<unsigned>(inDay / kTicksPerSecond % 60);
  time.fraction = static_cast<unsigned>(inDay % kTicksPerSecond);
  return time;
}

std::optional<uint64_t> JoinTicks(const ClockTime& time) {
  const std::chrono::year_month_day date{
      std::chrono::year{time.year}, std::chrono::month{time.month}, std::chrono::day{time.day}};
  if (!date.ok() || time.year < 1601 || time.year > 9999 || time.hour > 23 || time.minute > 59 ||
      time.second > 59 || time.fraction >= kTicksPerSecond) {
    return std::nullopt;
  }
  const auto dayCount = static_cast<uint64_t>((Days{date} - kStart).count());
  return dayCount * kTicksPerDay + (time.hour * 60 + time.minute) * kTicksPerMinute +
         time.second * kTicksPerSecond + time.fraction;
}

std::string ClockText(uint64_t ticks) {
  const ClockTime time = SplitTicks(ticks);
  std::string text = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", time.year, time.month,
                                 time.day, time.hour, time.minute, time.second);
  if (time.fraction != 0) {
    text += fmt::format(".{:07}", time.fraction);
    text.resize(text.find_last_not_of('0') + 1);
  }
  return text;
}

std::string DateText(uint64_t ticks) {
  return ClockText(ticks).substr(0, 10);
}

std::string MinuteText(uint64_t ticks) {
  return ClockText(ticks).substr(11, 5);
}

std::optional<ParsedTime> ParseTime(std::string_view text) {
  size_t position = 0;
  ClockTime time;
  const auto year = ReadDigits(text, &position, 4);
  if (!year || !Skip(text, &position, '-')) {
    return std::nullopt;
  }
  const auto month = ReadDigits(text, &position, 2);
  if (!month || !Skip(text, &position, '-')) {
    return std::nullopt;
  }
  const auto day = ReadDigits(text, &position, 2);
  if (!day) {
    return std::nullopt;
  }
  time.year = static_cast<int>(*year);
  time.month = *month;
  time.day = *day;
  ParsedTime parsed;
  if (Skip(text, &position, 'T') || Skip(text, &position, ' ')) {
    if (!ReadTimeOfDay(text, &position, &time)) {
      return std::nullopt;
    }
    parsed.hasTime = true;
  }
  const auto ticks = JoinTicks(time);
  if (!ticks) {
    return std::nullopt;
  }
  parsed.ticks = *ticks;
  if (parsed.hasTime && position < text.size()) {
    const auto offset = ReadOffset(text, &position);
    if (!offset) {
      return std::nullopt;
    }
    const int64_t utc =
        static_cast<int64_t>(*ticks) - *offset * static_cast<int64_t>(kTicksPerMinute);
    if (utc < 0) {
      return std::nullopt;
    }
    parsed.ticks = static_cast<uint64_t>(utc);
    parsed.hasOffset = true;
  }
  return position == text.size() ? std::optional(parsed) : std::nullopt;
}

uint64_t DesktopNow() {
  if (const char* fixed = std::getenv("WKT_CLOCK"); fixed && *fixed) {
    const auto time = ParseTime(fixed);
    if (!time || !time->hasOffset) {
      throw Failure(std::string("WKT_CLOCK is '") + fixed +
                        "'; expected an instant such as 2026-03-02T08:00:00Z",
                    ExitCode::Usage);
    }
    return time->ticks;
  }
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
  return kTicksToUnixEpoch + static_cast<uint64_t>(seconds) * kTicksPerSecond;
}

}  // namespace wkt
