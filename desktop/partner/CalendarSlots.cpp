#include "desktop/partner/CalendarSlots.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <memory>

#include "desktop/partner/Instant.h"

namespace wkt {

namespace {

// A rule without an end stops here: two years of days, or what a person records in a life.
constexpr int kMaxOccurrences = 750;
// Rules that come true on no day are searched for centuries, some milliseconds each; a file of
// nothing else ends here.
constexpr double kMaxSearchSeconds = 10;

bool IsGiven(const short* values) {
  return values[0] != ICAL_RECURRENCE_ARRAY_MAX;
}

// By seconds or minutes under conditions: a search through all seconds of centuries.
bool IsTooFine(const icalrecurrencetype& rule) {
  const bool conditions =
      IsGiven(rule.by_hour) || IsGiven(rule.by_minute) || IsGiven(rule.by_second) ||
      IsGiven(rule.by_day) || IsGiven(rule.by_month_day) || IsGiven(rule.by_year_day) ||
      IsGiven(rule.by_week_no) || IsGiven(rule.by_month) || IsGiven(rule.by_set_pos);
  return conditions &&
         (rule.freq == ICAL_SECONDLY_RECURRENCE || rule.freq == ICAL_MINUTELY_RECURRENCE ||
          rule.freq == ICAL_HOURLY_RECURRENCE);
}

// The last second of a day; a time stays what it is.
icaltimetype EndOfDay(icaltimetype time) {
  if (time.is_date) {
    time.is_date = 0;
    time.hour = 23;
    time.minute = 59;
    time.second = 59;
  }
  return time;
}

icaltimetype PlusDays(icaltimetype time, int days) {
  icaltime_adjust(&time, days, 0, 0, 0);
  return time;
}

}  // namespace

// What all occurrences share.
struct CalendarSlotReader::Start {
  icalproperty* property = nullptr;
  icaltimetype time{};
  size_t eventNumber = 0;
  int line = 1;
  uint64_t length = 0;  // of events with a time
  int days = 1;         // of events of whole days, whose length in hours differs
};

CalendarSlotReader::Start CalendarSlotReader::ReadStart(icalcomponent* event, size_t eventNumber) {
  Start start;
  start.eventNumber = eventNumber;
  start.property = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
  if (!start.property) {
    ImportProblem(options_, text_.EventLine(eventNumber),
                  "the event has no DTSTART; expected one such as DTSTART:20260302T080000Z");
  }
  start.line = text_.PropertyLine(eventNumber, "DTSTART");
  start.time = icalproperty_get_dtstart(start.property);
  const uint64_t from = times_.ToTicks(start.property, start.time, start.line);
  if (icalproperty* property = icalcomponent_get_first_property(event, ICAL_DTEND_PROPERTY)) {
    const icaltimetype time = icalproperty_get_dtend(property);
    const int line = text_.PropertyLine(eventNumber, "DTEND");
    const uint64_t to = times_.ToTicks(property, time, line);
    if (to < from) {
      ImportProblem(options_, line, "the event ends before it starts");
    }
    start.length = to - from;
    if (start.time.is_date) {
      // Half a day more, so that a night with a change of clocks counts as one.
      start.days = static_cast<int>((start.length + kTicksPerDay / 2) / kTicksPerDay);
    }
  } else if (icalcomponent_get_first_property(event, ICAL_DURATION_PROPERTY)) {
    const icaldurationtype duration = icalcomponent_get_duration(event);
    const int64_t seconds = icaldurationtype_as_int(duration);
    start.length = seconds > 0 ? static_cast<uint64_t>(seconds) * kTicksPerSecond : 0;
    start.days = static_cast<int>(start.length / kTicksPerDay);
  }
  return start;
}

void CalendarSlotReader::AddSlot(const Start& start, icaltimetype time, CalendarSlots* slots) {
  const uint64_t from = times_.ToTicks(start.property, time, start.line);
  const uint64_t to = start.time.is_date
                          ? times_.ToTicks(start.property, PlusDays(time, start.days), start.line)
                          : from + start.length;
  slots->try_emplace(from, to);
}

void CalendarSlotReader::AddRule(const Start& start, icalproperty* property, CalendarSlots* slots) {
  icalrecurrencetype rule = icalproperty_get_rrule(property);
  const int line = text_.PropertyLine(start.eventNumber, "RRULE");
  if (IsTooFine(rule)) {
    ImportProblem(options_, line,
                  "an event that repeats by hours, minutes or seconds under conditions is not "
                  "understood; expected FREQ=DAILY or a longer step");
  }
  // Compared as instants here: the library would take a wall clock time for UTC.
  const icaltimetype until = rule.until;
  rule.until = icaltime_null_time();
  const bool ends = !icaltime_is_null_time(until);
  const uint64_t last = !ends ? UINT64_MAX : times_.ToTicks(start.property, EndOfDay(until), line);
  icaltimetype from = start.time;
  from.zone = nullptr;
  // Making it searches for the first occurrence.
  std::clock_t before = std::clock();
  const std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> iterator(
      icalrecur_iterator_new(rule, from), icalrecur_iterator_free);
  CountSearch(before, line);
  if (!iterator) {
    ImportProblem(options_, line,
                  "the rule never comes true or cannot be followed; expected one such as "
                  "FREQ=WEEKLY");
  }
  for (int count = 0; count < kMaxOccurrences; ++count) {
    before = std::clock();
    icaltimetype time = icalrecur_iterator_next(iterator.get());
    CountSearch(before, line);
    if (icaltime_is_null_time(time)) {
      return;
    }
    time.zone = start.time.zone;
    if (ends && times_.ToTicks(start.property, time, line) > last) {
      return;
    }
    AddSlot(start, time, slots);
  }
}

void CalendarSlotReader::CountSearch(std::clock_t before, int line) {
  searchSeconds_ += static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
  if (searchSeconds_ > kMaxSearchSeconds) {
    ImportProblem(options_, line, "too many rules that hardly ever come true, up to this one");
  }
}

void CalendarSlotReader::AddDates(const Start& start, icalcomponent* event, CalendarSlots* slots) {
  const int line = text_.PropertyLine(start.eventNumber, "RDATE");
  for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_RDATE_PROPERTY);
       property; property = icalcomponent_get_next_property(event, ICAL_RDATE_PROPERTY)) {
    const icaldatetimeperiodtype date = icalproperty_get_rdate(property);
    if (!icaltime_is_null_time(date.time)) {
      const uint64_t from = times_.ToTicks(property, date.time, line);
      slots->try_emplace(from, from + start.length);
    } else if (!icaltime_is_null_time(date.period.start)) {
      const uint64_t from = times_.ToTicks(property, date.period.start, line);
      const int64_t seconds = icaldurationtype_as_int(date.period.duration);
      const uint64_t to =
          icaltime_is_null_time(date.period.end)
              ? from + (seconds > 0 ? static_cast<uint64_t>(seconds) : 0) * kTicksPerSecond
              : times_.ToTicks(property, date.period.end, line);
      slots->try_emplace(from, std::max(from, to));
    }
  }
}

void CalendarSlotReader::DropExcluded(const Start& start, icalcomponent* event,
                                      CalendarSlots* slots) {
  const int line = text_.PropertyLine(start.eventNumber, "EXDATE");
  for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY);
       property; property = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY)) {
    const icaltimetype time = icalproperty_get_exdate(property);
    if (icaltime_is_null_time(time)) {
      continue;
    }
    if (time.is_date && !start.time.is_date) {
      // A day in the list of an event with a time: all of that day.
      const uint64_t from = times_.ToTicks(start.property, time, line);
      const uint64_t to = times_.ToTicks(start.property, EndOfDay(time), line);
      slots->erase(slots->lower_bound(from), slots->upper_bound(to));
    } else {
      slots->erase(times_.ToTicks(property, time, line));
    }
  }
}

CalendarSlots CalendarSlotReader::Read(icalcomponent* event, size_t eventNumber) {
  const Start start = ReadStart(event, eventNumber);
  if (icalcomponent_get_first_property(event, ICAL_EXRULE_PROPERTY)) {
    ImportProblem(options_, text_.PropertyLine(eventNumber, "EXRULE"),
                  "EXRULE is not understood; expected EXDATE");
  }
  CalendarSlots slots;
  AddSlot(start, start.time, &slots);
  for (icalproperty* rule = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY); rule;
       rule = icalcomponent_get_next_property(event, ICAL_RRULE_PROPERTY)) {
    AddRule(start, rule, &slots);
  }
  AddDates(start, event, &slots);
  DropExcluded(start, event, &slots);
  return slots;
}

std::optional<uint64_t> CalendarSlotReader::ReplacedSlot(icalcomponent* event, size_t eventNumber) {
  icalproperty* property = icalcomponent_get_first_property(event, ICAL_RECURRENCEID_PROPERTY);
  if (!property) {
    return std::nullopt;
  }
  const int line = text_.PropertyLine(eventNumber, "RECURRENCE-ID");
  if (icalproperty_get_first_parameter(property, ICAL_RANGE_PARAMETER)) {
    ImportProblem(options_, line,
                  "RECURRENCE-ID with RANGE is not understood; expected one for each occurrence");
  }
  return times_.ToTicks(property, icalproperty_get_recurrenceid(property), line);
}

}  // namespace wkt
