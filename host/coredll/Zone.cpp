#include "host/coredll/Zone.h"

#include <algorithm>

#include "host/coredll/Calendar.h"

namespace wkt::host {

namespace {

struct Transition {
  int64_t ticks;  // UTC; may lie before tick 0
  bool toDaylight;
};

// Three years of two transitions each.
constexpr int kMaxTransitions = 6;

bool IsUsableRule(const SYSTEMTIME& rule) {
  if (rule.wMonth < 1 || rule.wMonth > 12 || rule.wHour > 23 || rule.wMinute > 59 ||
      rule.wSecond > 59 || rule.wMilliseconds > 999)
    return false;
  if (rule.wYear != 0)
    return IsCalendarDay(rule);
  return rule.wDayOfWeek <= 6 && rule.wDay >= 1 && rule.wDay <= 5;
}

// Local ticks of a rule in a year: its wDay-th weekday, 5 = the last one, or its own date.
int64_t LocalTicks(const SYSTEMTIME& rule, int year) {
  int day = rule.wDay;
  if (rule.wYear == 0) {
    const int firstWeekday = WeekdayOfDay(DayNumber(year, rule.wMonth, 1));
    day = (rule.wDayOfWeek - firstWeekday + 7) % 7 + 1 + (rule.wDay - 1) * 7;
    if (day > DaysInMonth(year, rule.wMonth))
      day -= 7;
  }
  return DayNumber(year, rule.wMonth, day) * static_cast<int64_t>(kTicksPerDay) +
         static_cast<int64_t>(rule.wHour * kTicksPerHour + rule.wMinute * kTicksPerMinute +
                              rule.wSecond * kTicksPerSecond +
                              rule.wMilliseconds * kTicksPerMillisecond);
}

int64_t BiasTicks(LONG minutes) {
  return int64_t{minutes} * static_cast<int64_t>(kTicksPerMinute);
}

// The transitions of the years around `year`, in order of time.
int CollectTransitions(const TIME_ZONE_INFORMATION& zone, int year, Transition* transitions) {
  int count = 0;
  for (int around = year - 1; around <= year + 1; ++around) {
    // Each rule's time of day is on the clock that it ends.
    if (zone.StandardDate.wYear == 0 || around == year) {
      const int of = zone.StandardDate.wYear == 0 ? around : zone.StandardDate.wYear;
      transitions[count++] = {
          LocalTicks(zone.StandardDate, of) + BiasTicks(zone.Bias) + BiasTicks(zone.DaylightBias),
          false};
    }
    if (zone.DaylightDate.wYear == 0 || around == year) {
      const int of = zone.DaylightDate.wYear == 0 ? around : zone.DaylightDate.wYear;
      transitions[count++] = {
          LocalTicks(zone.DaylightDate, of) + BiasTicks(zone.Bias) + BiasTicks(zone.StandardBias),
          true};
    }
  }
  std::sort(transitions, transitions + count,
            [](const Transition& a, const Transition& b) { return a.ticks < b.ticks; });
  return count;
}

}  // namespace

bool HasDaylightRules(const TIME_ZONE_INFORMATION& zone) {
  return IsUsableRule(zone.StandardDate) && IsUsableRule(zone.DaylightDate);
}

BiasPeriod BiasAt(const TIME_ZONE_INFORMATION& zone, uint64_t ticks) {
  if (!HasDaylightRules(zone))
    return {.biasMinutes = zone.Bias};
  // The rules are looked at in the years before and after, too, and those must still have ticks.
  static const auto lastTicks =
      static_cast<uint64_t>(DayNumber(kLastYear, 1, 1)) * kTicksPerDay - 1;
  const uint64_t present = std::min(ticks, lastTicks);
  Transition transitions[kMaxTransitions];
  const int count = CollectTransitions(zone, CalendarFromTicks(present).wYear, transitions);
  BiasPeriod period;
  // Before the first transition of all, the state is the one that it ends.
  bool daylight = !transitions[0].toDaylight;
  for (int i = 0; i < count; ++i) {
    const int64_t at = std::max<int64_t>(transitions[i].ticks, 0);
    if (static_cast<uint64_t>(at) > present) {
      period.until = static_cast<uint64_t>(at);
      break;
    }
    period.from = static_cast<uint64_t>(at);
    daylight = transitions[i].toDaylight;
  }
  period.biasMinutes = zone.Bias + (daylight ? zone.DaylightBias : zone.StandardBias);
  period.kind = daylight ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
  return period;
}

}  // namespace wkt::host
