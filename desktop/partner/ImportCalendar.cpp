// iCalendar: every event, and every occurrence of a repeated one, becomes a job.
#include <fmt/format.h>
#include <libical/ical.h>

#include <map>
#include <memory>
#include <set>

#include "desktop/partner/CalendarSlots.h"
#include "desktop/partner/CalendarText.h"
#include "desktop/partner/CalendarTimes.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/ImportTypes.h"
#include "desktop/partner/RecordJson.h"

namespace wkt {

namespace {

// More than a person's calendar of a life; a file that repeats itself without end stops here.
constexpr size_t kMaxJobs = 100'000;

struct ComponentDeleter {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};
using Component = std::unique_ptr<icalcomponent, ComponentDeleter>;

// Properties that say when an event is: what the parser could not read of them may not be passed
// over.
constexpr const char* kTimeProperties[] = {"DTSTART", "DTEND",  "DURATION",     "RRULE",
                                           "RDATE",   "EXDATE", "RECURRENCE-ID"};

std::string Text(icalcomponent* event, icalproperty_kind kind) {
  icalproperty* property = icalcomponent_get_first_property(event, kind);
  const icalvalue* value = property ? icalproperty_get_value(property) : nullptr;
  const char* text =
      value && icalvalue_isa(value) == ICAL_TEXT_VALUE ? icalvalue_get_text(value) : nullptr;
  return text ? text : "";
}

bool IsCancelled(icalcomponent* event) {
  icalproperty* property = icalcomponent_get_first_property(event, ICAL_STATUS_PROPERTY);
  return property && icalproperty_get_status(property) == ICAL_STATUS_CANCELLED;
}

// "CN=Sam" of the attendee, or the address without "mailto:".
std::string AttendeeName(icalproperty* property) {
  if (icalparameter* parameter = icalproperty_get_first_parameter(property, ICAL_CN_PARAMETER)) {
    if (const char* name = icalparameter_get_cn(parameter)) {
      return name;
    }
  }
  const char* address = icalproperty_get_attendee(property);
  std::string name = address ? address : "";
  if (const size_t colon = name.find(':'); colon != std::string::npos) {
    name.erase(0, colon + 1);
  }
  return name;
}

// Reads one calendar; lives for one call.
class Reader {
 public:
  Reader(const ImportOptions& options, std::string_view content)
      : options_(options),
        text_(options, content),
        times_(options),
        slots_(options, text_, times_),
        types_("calendar", options) {}

  ImportedRecords Read() {
    const Component calendar(icalparser_parse_string(text_.Joined().c_str()));
    if (!calendar) {
      ImportProblem(options_, 1, "not iCalendar, expected BEGIN:VCALENDAR");
    }
    Visit(calendar.get());
    if (events_.size() != text_.EventCount()) {
      ImportProblem(options_, text_.EventLine(events_.size()),
                    "the event lies where none is expected, such as in a task");
    }
    FindReplaced();
    for (const Event& event : events_) {
      Attempt(options_, [&] { ReadEvent(event); });
    }
    return types_.Join(std::move(jobs_));
  }

 private:
  struct Event {
    icalcomponent* component;
    icalcomponent* calendar;
    size_t number;
  };

  void Visit(icalcomponent* component) {
    for (icalcomponent* child = icalcomponent_get_first_component(component, ICAL_ANY_COMPONENT);
         child; child = icalcomponent_get_next_component(component, ICAL_ANY_COMPONENT)) {
      if (icalcomponent_isa(child) == ICAL_VCALENDAR_COMPONENT) {
        Visit(child);
      } else if (icalcomponent_isa(child) == ICAL_VEVENT_COMPONENT) {
        events_.push_back({child, component, events_.size()});
      }
    }
  }

  // Occurrences that an event of their own describes.
  void FindReplaced() {
    for (const Event& event : events_) {
      try {
        UseCalendarOf(event);
        if (const auto slot = slots_.ReplacedSlot(event.component, event.number)) {
          replaced_[Text(event.component, ICAL_UID_PROPERTY)].insert(*slot);
        }
      } catch (const Failure&) {
        // Said when the event itself is read.
      }
    }
  }

  void UseCalendarOf(const Event& event) {
    if (event.calendar != calendar_) {
      times_.UseCalendar(event.calendar);
      calendar_ = event.calendar;
    }
  }

  // The parser leaves a note in place of what it could not read.
  void CheckErrors(const Event& event) {
    for (icalproperty* property =
             icalcomponent_get_first_property(event.component, ICAL_XLICERROR_PROPERTY);
         property;
         property = icalcomponent_get_next_property(event.component, ICAL_XLICERROR_PROPERTY)) {
      const char* note = icalproperty_get_xlicerror(property);
      const std::string text = note ? note : "";
      for (const char* name : kTimeProperties) {
        if (text.find(std::string(name) + " property") != std::string::npos) {
          ImportProblem(options_, text_.PropertyLine(event.number, name),
                        fmt::format("{} cannot be read, expected {}", name, Expected(name)));
        }
      }
    }
  }

  static const char* Expected(std::string_view name) {
    return name == "DURATION" ? "a length such as PT1H30M"
           : name == "RRULE"  ? "a rule such as FREQ=WEEKLY;COUNT=10"
                              : "a time such as 20260302T080000Z";
  }

  void ReadEvent(const Event& event) {
    UseCalendarOf(event);
    CheckErrors(event);
    const std::string uid = Text(event.component, ICAL_UID_PROPERTY);
    const auto replaced = slots_.ReplacedSlot(event.component, event.number);
    CalendarSlots slots = slots_.Read(event.component, event.number);
    if (IsCancelled(event.component)) {
      return;
    }
    if (!replaced && !uid.empty()) {
      if (const auto found = replaced_.find(uid); found != replaced_.end()) {
        for (const uint64_t slot : found->second) {
          slots.erase(slot);
        }
      }
    }
    if (jobs_.size() + slots.size() > kMaxJobs) {
      ImportProblem(options_, text_.EventLine(event.number),
                    fmt::format("more than {} occurrences, up to this event", kMaxJobs));
    }
    const std::u16string project =
        types_.ProjectPath(Text(event.component, ICAL_CATEGORIES_PROPERTY));
    const std::u16string persons = Persons(event.component);
    if (slots.empty()) {
      return;
    }
    Series series = ReadSeries(event, uid);
    series.job.SetText(Field::Project, project);
    series.job.SetText(Field::Persons, persons);
    for (const auto& [start, end] : slots) {
      AddJob(series, replaced.value_or(start), start, end);
    }
  }

  // What the occurrences of one event have in common.
  struct Series {
    Record job;
    std::string key;
    int line;
  };

  Series ReadSeries(const Event& event, const std::string& uid) const {
    Series series{NewImportedJob(options_), uid, text_.EventLine(event.number)};
    const std::string title = Text(event.component, ICAL_SUMMARY_PROPERTY);
    if (uid.empty()) {
      series.key = title;
    }
    series.job.SetText(Field::Title, FromUtf8(title));
    std::string comment = Text(event.component, ICAL_DESCRIPTION_PROPERTY);
    if (const std::string place = Text(event.component, ICAL_LOCATION_PROPERTY); !place.empty()) {
      comment = place + (comment.empty() ? "" : "\n" + comment);
    }
    series.job.SetText(Field::Comment, FromUtf8(comment));
    return series;
  }

  std::u16string Persons(icalcomponent* event) {
    std::vector<std::string> names;
    for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_ATTENDEE_PROPERTY);
         property; property = icalcomponent_get_next_property(event, ICAL_ATTENDEE_PROPERTY)) {
      names.push_back(AttendeeName(property));
    }
    return types_.Persons(names);
  }

  // An occurrence keeps its identifier when it is moved: its slot in the series makes it.
  void AddJob(const Series& series, uint64_t slot, uint64_t start, uint64_t end) {
    Record job = series.job;
    job.SetTicks(Field::Start, start);
    job.SetTicks(Field::End, end);
    const std::string key = series.key + "\n" + std::to_string(slot);
    job.SetText(Field::Id, DerivedIdentifier("calendar", key, ++seen_[key]));
    SetDayAndStamp(options_, &job);
    jobs_.push_back({std::move(job), series.line});
  }

  const ImportOptions& options_;
  const CalendarText text_;
  CalendarTimes times_;
  CalendarSlotReader slots_;
  ImportedTypes types_;
  std::vector<Event> events_;
  icalcomponent* calendar_ = nullptr;
  std::map<std::string, std::set<uint64_t>> replaced_;  // by UID
  ImportedRecords jobs_;
  std::map<std::string, int> seen_;
};

}  // namespace

ImportedRecords ReadCalendarRecords(const ImportOptions& options, std::string_view content) {
  return Reader(options, content).Read();
}

}  // namespace wkt
