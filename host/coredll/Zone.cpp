#include "host/coredll/Zone.h"

#include <algorithm>
#include <vector>

#include "host/coredll/Calendar.h"

namespace wkt::host {

namespace {

enum class Enters : bool { Standard, Daylight };

struct Transition {
  int64_t ticks;  // UTC; may lie before tick 0
  Enters enters;
};

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
std::vector<Transition> CollectTransitions(const TIME_ZONE_INFORMATION& zone, int year) {
  std::vector<Transition> transitions;
  transitions.reserve(6);  // three years of two each
  for (int around = year - 1; around <= year + 1; ++around) {
    // Each rule's time of day is on the clock that it ends.
    const SYSTEMTIME& standard = zone.StandardDate;
    if (standard.wYear == 0 || around == year) {
      const int64_t local = LocalTicks(standard, standard.wYear == 0 ? around : standard.wYear);
      transitions.push_back(
          {local + BiasTicks(zone.Bias) + BiasTicks(zone.DaylightBias), Enters::Standard});
    }
    const SYSTEMTIME& daylight = zone.DaylightDate;
    if (daylight.wYear == 0 || around == year) {
      const int64_t local = LocalTicks(daylight, daylight.wYear == 0 ? around : daylight.wYear);
      transitions.push_back(
          {local + BiasTicks(zone.Bias) + BiasTicks(zone.StandardBias), Enters::Daylight});
    }
  }
  std::sort(transitions.begin(), transitions.end(),
            [](const Transition& a, const Transition& b) { return a.ticks < b.ticks; });
  return transitions;
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
  const std::vector<Transition> transitions =
      CollectTransitions(zone, CalendarFromTicks(present).wYear);
  BiasPeriod period;
  // Before the first transition of all, the state is the one that it ends.
  bool daylight = transitions.front().enters == Enters::Standard;
  for (const Transition& transition : transitions) {
    const auto at = static_cast<uint64_t>(std::max<int64_t>(transition.ticks, 0));
    if (at > present) {
      period.until = at;
      break;
    }
    period.from = at;
    daylight = transition.enters == Enters::Daylight;
  }
  period.biasMinutes = zone.Bias + (daylight ? zone.DaylightBias : zone.StandardBias);
  period.kind = daylight ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
  return period;
}

}  // namespace wkt::host
