#include "desktop/partner/Export.h"

#include <csv.h>
#include <libical/ical.h>

#include <memory>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"

namespace wkt {

namespace {

struct CsvColumn {
  const char* heading;
  const char* name;
  bool resolved;
};

constexpr CsvColumn kJobColumns[] = {
    {"id", "id", false},
    {"day", "day", false},
    {"start", "start", true},
    {"end", "end", true},
    {"title", "title", false},
    {"comment", "comment", false},
    {"work type", "workType", true},
    {"project", "project", true},
    {"teamwork", "teamwork", true},
    {"persons", "persons", true},
    {"modified", "modified", true},
};
constexpr CsvColumn kTypeColumns[] = {
    {"id", "id", false},           {"kind", "kind", true},       {"name", "name", true},
    {"comment", "comment", false}, {"created", "created", true}, {"modified", "modified", true},
};

std::string Quoted(const std::string& text) {
  std::string quoted(text.size() * 2 + 2, '\0');
  quoted.resize(csv_write(quoted.data(), quoted.size(), text.data(), text.size()));
  return quoted;
}

std::string CellText(const Json& value) {
  return value.is_string() ? value.get<std::string>()
                           : value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

struct ComponentDeleter {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
};

icaltimetype UtcTime(uint64_t ticks) {
  const ClockTime clock = SplitTicks(ticks);
  icaltimetype time = icaltime_null_time();
  time.year = clock.year;
  time.month = static_cast<int>(clock.month);
  time.day = static_cast<int>(clock.day);
  time.hour = static_cast<int>(clock.hour);
  time.minute = static_cast<int>(clock.minute);
  time.second = static_cast<int>(clock.second);
  time.zone = icaltimezone_get_utc_timezone();
  return time;
}

}  // namespace

std::string ExportCsv(FolderId folder, const Json& records) {
  std::string text;
  const auto columns = folder == FolderId::Types ? std::span<const CsvColumn>(kTypeColumns)
                                                 : std::span<const CsvColumn>(kJobColumns);
  const auto line = [&](const auto& cellOf) {
    bool first = true;
    for (const CsvColumn& column : columns) {
      text += (first ? "" : ",") + Quoted(cellOf(column));
      first = false;
    }
    text += "\r\n";
  };
  line([](const CsvColumn& column) { return std::string(column.heading); });
  for (const Json& record : records) {
    line([&record](const CsvColumn& column) {
      return CellText(column.resolved ? record["resolved"][column.name] : record[column.name]);
    });
  }
  return text;
}

std::string ExportCalendar(const std::vector<Record>& jobs, const Json& records, uint64_t now) {
  const std::unique_ptr<icalcomponent, ComponentDeleter> calendar(
      icalcomponent_new(ICAL_VCALENDAR_COMPONENT));
  icalcomponent_add_property(calendar.get(), icalproperty_new_version("2.0"));
  icalcomponent_add_property(calendar.get(), icalproperty_new_prodid("-//Worktally//wkt//EN"));
  for (size_t i = 0; i < jobs.size(); ++i) {
    const Record& job = jobs[i];
    if (job.Ticks(Field::Start) >= kEndOfTextTime || job.Ticks(Field::End) >= kEndOfTextTime) {
      continue;  // a calendar has no year of five digits
    }
    icalcomponent* event = icalcomponent_new(ICAL_VEVENT_COMPONENT);
    icalcomponent_add_property(event, icalproperty_new_uid(ToUtf8(job.Id()).c_str()));
    icalcomponent_add_property(event, icalproperty_new_dtstamp(UtcTime(now)));
    icalcomponent_add_property(event, icalproperty_new_dtstart(UtcTime(job.Ticks(Field::Start))));
    icalcomponent_add_property(event, icalproperty_new_dtend(UtcTime(job.Ticks(Field::End))));
    icalcomponent_add_property(event,
                               icalproperty_new_summary(ToUtf8(job.Text(Field::Title)).c_str()));
    if (!job.Text(Field::Comment).empty()) {
      icalcomponent_add_property(
          event, icalproperty_new_description(ToUtf8(job.Text(Field::Comment)).c_str()));
    }
    if (const std::string project = CellText(records[i]["resolved"]["project"]); !project.empty()) {
      icalcomponent_add_property(event, icalproperty_new_categories(project.c_str()));
    }
    icalcomponent_add_component(calendar.get(), event);
  }
  const std::unique_ptr<char, void (*)(void*)> text(
      icalcomponent_as_ical_string_r(calendar.get()),
      [](void* memory) { icalmemory_free_buffer(memory); });
  return text ? text.get() : "";
}

}  // namespace wkt
