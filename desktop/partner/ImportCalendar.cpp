// iCalendar: every event, and every occurrence of a repeated one, becomes a job.
#include <fmt/format.h>
#include <libical/ical.h>

#include <map>
#include <memory>

#include "desktop/partner/Failure.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/ImportTypes.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/RecordJson.h"

namespace wkt {

namespace {

// A rule without an end stops here: two years of days, or what a person records in a life.
constexpr int kMaxOccurrences = 750;

struct ComponentDeleter {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};
using Component = std::unique_ptr<icalcomponent, ComponentDeleter>;

std::string Text(icalcomponent* event, icalproperty_kind kind) {
  icalproperty* property = icalcomponent_get_first_property(event, kind);
  const icalvalue* value = property ? icalproperty_get_value(property) : nullptr;
  const char* text = nullptr;
  if (value && (kind == ICAL_UID_PROPERTY || kind == ICAL_SUMMARY_PROPERTY ||
                kind == ICAL_DESCRIPTION_PROPERTY || kind == ICAL_LOCATION_PROPERTY)) {
    text = icalvalue_get_text(value);
  }
  return text ? text : "";
}

// Lines of the file that begin an event.
std::vector<int> EventLines(std::string_view content) {
  std::vector<int> lines;
  int line = 1;
  for (size_t begin = 0; begin < content.size(); ++line) {
    const size_t end = std::min(content.find('\n', begin), content.size());
    if (content.substr(begin, 12) == "BEGIN:VEVENT") {
      lines.push_back(line);
    }
    begin = end + 1;
  }
  return lines;
}

// Reads one calendar; lives for one call.
class Reader {
 public:
  explicit Reader(const ImportOptions& options) : options_(options) {}

  ImportedRecords Read(std::string_view content) {
    content = CheckUtf8(options_, content);
    const std::vector<int> lines = EventLines(content);
    const Component calendar(icalparser_parse_string(std::string(content).c_str()));
    if (!calendar) {
      ImportProblem(options_, 1, "not iCalendar, expected BEGIN:VCALENDAR");
    }
    Visit(calendar.get(), lines);
    if (next_ != lines.size()) {
      ImportProblem(options_, next_ < lines.size() ? lines[next_] : 1,
                    "the event is not closed, or lies where none is expected");
    }
    return std::move(jobs_);
  }

 private:
  void Visit(icalcomponent* component, const std::vector<int>& lines) {
    for (icalcomponent* child = icalcomponent_get_first_component(component, ICAL_ANY_COMPONENT);
         child; child = icalcomponent_get_next_component(component, ICAL_ANY_COMPONENT)) {
      if (icalcomponent_isa(child) == ICAL_VCALENDAR_COMPONENT) {
        Visit(child, lines);
      } else if (icalcomponent_isa(child) == ICAL_VEVENT_COMPONENT) {
        ReadEvent(child, next_ < lines.size() ? lines[next_] : 1);
        ++next_;
      }
    }
  }

  // As the event's own zone has it: UTC, a TZID known to the system, one that the file defines, or
  // the zone of the import.
  uint64_t ToTicks(icaltimetype time, int line) {
    ClockTime clock;
    clock.year = time.year;
    clock.month = static_cast<unsigned>(time.month);
    clock.day = static_cast<unsigned>(time.day);
    clock.hour = time.is_date ? 0 : static_cast<unsigned>(time.hour);
    clock.minute = time.is_date ? 0 : static_cast<unsigned>(time.minute);
    clock.second = time.is_date ? 0 : static_cast<unsigned>(std::min(time.second, 59));
    const auto ticks = JoinTicks(clock);
    if (!ticks) {
      ImportProblem(options_, line, fmt::format("'{}' is no date", icaltime_as_ical_string(time)));
    }
    if (icaltime_is_utc(time)) {
      return *ticks;
    }
    if (!time.zone) {
      return options_.zone->ToUtc(*ticks);
    }
    // The first look loads a zone and frees the texts it had, so each is copied at once.
    for (auto* const textOf : {&icaltimezone_get_location, &icaltimezone_get_tzid}) {
      const char* name = textOf(const_cast<icaltimezone*>(time.zone));
      if (const Zone* zone = name ? ZoneOf(name) : nullptr) {
        return zone->ToUtc(*ticks);
      }
    }
    int isDaylight = 0;
    const int offset =
        icaltimezone_get_utc_offset(const_cast<icaltimezone*>(time.zone), &time, &isDaylight);
    return static_cast<uint64_t>(static_cast<int64_t>(*ticks) -
                                 offset * static_cast<int64_t>(kTicksPerSecond));
  }

  const Zone* ZoneOf(const std::string& name) {
    const auto found = zones_.find(name);
    if (found != zones_.end()) {
      return found->second.get();
    }
    auto& zone = zones_[name];
    try {
      zone = std::make_unique<Zone>(name);
    } catch (const Failure&) {
      zone = nullptr;  // not a name of the zone database: the file's own rules count
    }
    return zone.get();
  }

  // With the TZID that the property carries, also when the file does not define it.
  uint64_t PropertyTicks(icalproperty* property, icaltimetype time, int line) {
    icalparameter* parameter = icalproperty_get_first_parameter(property, ICAL_TZID_PARAMETER);
    const char* id = parameter ? icalparameter_get_tzid(parameter) : nullptr;
    if (id && !time.zone) {
      const Zone* zone = ZoneOf(id);
      if (!zone) {
        ImportProblem(
            options_, line,
            fmt::format("the time zone '{}' is neither known nor defined in the file", id));
      }
      ClockTime clock{time.year,
                      static_cast<unsigned>(time.month),
                      static_cast<unsigned>(time.day),
                      static_cast<unsigned>(time.hour),
                      static_cast<unsigned>(time.minute),
                      static_cast<unsigned>(std::min(time.second, 59)),
                      0};
      const auto ticks = JoinTicks(clock);
      if (!ticks) {
        ImportProblem(options_, line, "DTSTART is no date");
      }
      return zone->ToUtc(*ticks);
    }
    return ToTicks(time, line);
  }

  void ReadEvent(icalcomponent* event, int line) {
    icalproperty* startProperty = icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY);
    if (!startProperty) {
      ImportProblem(options_, line, "the event has no DTSTART");
    }
    const icaltimetype startTime = icalcomponent_get_dtstart(event);
    if (icaltime_is_null_time(startTime)) {
      ImportProblem(options_, line,
                    "DTSTART cannot be read, expected a time such as 20260302T080000Z");
    }
    const uint64_t start = PropertyTicks(startProperty, startTime, line);
    icalproperty* endProperty = icalcomponent_get_first_property(event, ICAL_DTEND_PROPERTY);
    uint64_t length = startTime.is_date ? kTicksPerDay : 0;
    if (endProperty) {
      const uint64_t end = PropertyTicks(endProperty, icalcomponent_get_dtend(event), line);
      if (end < start) {
        ImportProblem(options_, line, "the event ends before it starts");
      }
      length = end - start;
    } else if (icalcomponent_get_first_property(event, ICAL_DURATION_PROPERTY)) {
      const int seconds = icaldurationtype_as_int(icalcomponent_get_duration(event));
      length = seconds > 0 ? static_cast<uint64_t>(seconds) * kTicksPerSecond : 0;
    }
    AddJob(event, start, length, line);
    AddOccurrences(event, startTime, start, length, line);
  }

  void AddJob(icalcomponent* event, uint64_t start, uint64_t length, int line) {
    Record job = NewImportedJob(options_);
    job.SetTicks(Field::Start, start);
    job.SetTicks(Field::End, start + length);
    const std::string title = Text(event, ICAL_SUMMARY_PROPERTY);
    const std::string uid = Text(event, ICAL_UID_PROPERTY);
    const std::string key = (uid.empty() ? title : uid) + "\n" + std::to_string(start);
    job.SetText(Field::Id, DerivedIdentifier("calendar", key, ++seen_[key]));
    job.SetText(Field::Title, FromUtf8(title));
    std::string comment = Text(event, ICAL_DESCRIPTION_PROPERTY);
    if (const std::string place = Text(event, ICAL_LOCATION_PROPERTY); !place.empty()) {
      comment = place + (comment.empty() ? "" : "\n" + comment);
    }
    job.SetText(Field::Comment, FromUtf8(comment));
    SetDayAndStamp(options_, &job);
    jobs_.push_back({std::move(job), line});
  }

  // Occurrences keep the wall clock of the first: each is converted by the rules of its own date.
  void AddOccurrences(icalcomponent* event, icaltimetype startTime, uint64_t start, uint64_t length,
                      int line) {
    icalproperty* property = icalcomponent_get_first_property(event, ICAL_RRULE_PROPERTY);
    if (!property) {
      return;
    }
    icalrecur_iterator* iterator =
        icalrecur_iterator_new(icalproperty_get_rrule(property), startTime);
    const std::unique_ptr<icalrecur_iterator, void (*)(icalrecur_iterator*)> owner(
        iterator, icalrecur_iterator_free);
    for (int count = 0; iterator && count < kMaxOccurrences; ++count) {
      icaltimetype next = icalrecur_iterator_next(iterator);
      if (icaltime_is_null_time(next)) {
        return;
      }
      next.zone = startTime.zone;
      const uint64_t ticks =
          PropertyTicks(icalcomponent_get_first_property(event, ICAL_DTSTART_PROPERTY), next, line);
      if (ticks != start && !IsExcluded(event, ticks, line)) {
        AddJob(event, ticks, length, line);
      }
    }
  }

  bool IsExcluded(icalcomponent* event, uint64_t ticks, int line) {
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_EXDATE_PROPERTY);
         property; property = icalcomponent_get_next_property(event, ICAL_EXDATE_PROPERTY)) {
      icaltimetype time = icalproperty_get_exdate(property);
      if (!icaltime_is_null_time(time) && PropertyTicks(property, time, line) == ticks) {
        return true;
      }
    }
    return false;
  }

  const ImportOptions& options_;
  ImportedRecords jobs_;
  std::map<std::string, int> seen_;
  std::map<std::string, std::unique_ptr<Zone>> zones_;
  size_t next_ = 0;
};

}  // namespace

ImportedRecords ReadCalendarRecords(const ImportOptions& options, std::string_view content) {
  return Reader(options).Read(content);
}

}  // namespace wkt
