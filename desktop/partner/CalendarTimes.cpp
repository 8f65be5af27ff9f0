#include "desktop/partner/CalendarTimes.h"

#include <fmt/format.h>

#include <algorithm>

#include "desktop/partner/Failure.h"
#include "desktop/partner/Instant.h"

namespace wkt {

namespace {

constexpr int kMaxSecond = 59;  // 60 is a leap second, which file times do not have

// Wall clock ticks; nothing for a day that does not exist.
std::optional<uint64_t> WallClock(icaltimetype time) {
  ClockTime clock;
  clock.year = time.year;
  clock.month = static_cast<unsigned>(time.month);
  clock.day = static_cast<unsigned>(time.day);
  if (!time.is_date) {
    clock.hour = static_cast<unsigned>(time.hour);
    clock.minute = static_cast<unsigned>(time.minute);
    clock.second = static_cast<unsigned>(std::min(time.second, kMaxSecond));
  }
  return JoinTicks(clock);
}

// Zones change twice a year; a rule by hours or seconds would be followed until 2037.
bool IsZoneRule(const icalrecurrencetype& rule) {
  return rule.freq == ICAL_YEARLY_RECURRENCE && rule.by_hour[0] == ICAL_RECURRENCE_ARRAY_MAX &&
         rule.by_minute[0] == ICAL_RECURRENCE_ARRAY_MAX &&
         rule.by_second[0] == ICAL_RECURRENCE_ARRAY_MAX;
}

}  // namespace

void CalendarTimes::UseCalendar(icalcomponent* calendar) {
  calendar_ = calendar;
  for (icalcomponent* zone = icalcomponent_get_first_component(calendar, ICAL_VTIMEZONE_COMPONENT);
       zone; zone = icalcomponent_get_next_component(calendar, ICAL_VTIMEZONE_COMPONENT)) {
    for (icalcomponent* part = icalcomponent_get_first_component(zone, ICAL_ANY_COMPONENT); part;
         part = icalcomponent_get_next_component(zone, ICAL_ANY_COMPONENT)) {
      for (icalproperty* rule = icalcomponent_get_first_property(part, ICAL_RRULE_PROPERTY); rule;
           rule = icalcomponent_get_next_property(part, ICAL_RRULE_PROPERTY)) {
        if (!IsZoneRule(icalproperty_get_rrule(rule))) {
          ImportProblem(options_, 1,
                        "a VTIMEZONE changes by a rule that is not FREQ=YEARLY with days alone");
        }
      }
    }
  }
}

const Zone* CalendarTimes::ZoneOf(const std::string& name) {
  const auto [found, isNew] = zones_.try_emplace(name);
  if (isNew && Zone::IsKnown(name)) {
    found->second = std::make_unique<Zone>(name);
  }
  return found->second.get();
}

// The zone database knows more than most files say, so a name that it knows counts first; then what
// the file defines, then what Windows calls its zones.
uint64_t CalendarTimes::InZone(const std::string& name, uint64_t wallClock, icaltimetype time,
                               int line) {
  if (const Zone* zone = ZoneOf(name)) {
    return zone->ToUtc(wallClock);
  }
  // "/example.org/20260101/Europe/Vienna": makers put names of their own in front.
  for (size_t slash = name.find('/'); name.starts_with('/') && slash != std::string::npos;
       slash = name.find('/', slash + 1)) {
    if (const Zone* zone = ZoneOf(name.substr(slash + 1))) {
      return zone->ToUtc(wallClock);
    }
  }
  if (icaltimezone* own = icalcomponent_get_timezone(calendar_, name.c_str())) {
    // The first look loads the zone and frees the texts it had, so this one is copied at once.
    const char* location = icaltimezone_get_location(own);
    if (const Zone* zone = location ? ZoneOf(location) : nullptr) {
      return zone->ToUtc(wallClock);
    }
    int isDaylight = 0;
    const int offset = icaltimezone_get_utc_offset(own, &time, &isDaylight);
    const int64_t shift = offset * static_cast<int64_t>(kTicksPerSecond);
    return shift > static_cast<int64_t>(wallClock) ? 0 : wallClock - static_cast<uint64_t>(shift);
  }
  const std::string known = Zone::NameFromWindows(name);
  if (const Zone* zone = known.empty() ? nullptr : ZoneOf(known)) {
    return zone->ToUtc(wallClock);
  }
  ImportProblem(options_, line,
                fmt::format("the time zone '{}' is neither known nor defined in the file; expected "
                            "a name such as Europe/Vienna",
                            name));
}

uint64_t CalendarTimes::ToTicks(icalproperty* property, icaltimetype time, int line) {
  const auto wallClock = WallClock(time);
  if (!wallClock) {
    const char* text = icaltime_as_ical_string(time);
    ImportProblem(options_, line,
                  fmt::format("'{}' is no day between 1601 and 9999", text ? text : ""));
  }
  if (icaltime_is_utc(time)) {
    return *wallClock;
  }
  icalparameter* parameter = icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
  const char* id = parameter ? icalparameter_get_tzid(parameter) : nullptr;
  return id ? InZone(id, *wallClock, time, line) : options_.zone->ToUtc(*wallClock);
}

}  // namespace wkt
