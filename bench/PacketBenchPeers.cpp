#include "bench/PacketBenchPeers.h"

#include <libical/ical.h>

#include "job.pb.h"

namespace wkt::bench {

namespace {

constexpr uint64_t kTicksPerSecond = 10'000'000;
// Seconds from 1601 to 1970: 369 years, 89 of them leap years.
constexpr uint64_t kSecondsToUnixEpoch = (369ull * 365 + 89) * 24 * 3600;

icaltimetype CalendarTime(uint64_t ticks) {
  return icaltime_from_timet_with_zone(
      static_cast<time_t>(ticks / kTicksPerSecond - kSecondsToUnixEpoch), 0,
      icaltimezone_get_utc_timezone());
}

uint64_t Ticks(const icaltimetype& time) {
  return (static_cast<uint64_t>(icaltime_as_timet(time)) + kSecondsToUnixEpoch) * kTicksPerSecond;
}

void AddExtension(icalcomponent* event, const char* name, const std::string& value) {
  icalproperty* const property = icalproperty_new_x(value.c_str());
  icalproperty_set_x_name(property, name);
  icalcomponent_add_property(event, property);
}

std::string* ExtensionField(PlainJob& job, const std::string& name) {
  if (name == "X-WORKTYPE")
    return &job.workTypeId;
  if (name == "X-PROJECT")
    return &job.projectId;
  if (name == "X-TEAMWORK")
    return &job.teamworkId;
  if (name == "X-FLAGS")
    return &job.flags;
  return name == "X-UNUSED3" ? &job.unused3 : nullptr;
}

void ReadExtension(icalproperty* property, PlainJob& job) {
  const std::string name = icalproperty_get_x_name(property);
  const char* const value = icalproperty_get_x(property);
  if (std::string* const text = ExtensionField(job, name)) {
    *text = value ? value : "";
  } else if (name == "X-VERSION") {
    job.versionNumber = std::stoi(value);
  } else if (name == "X-UNUSED2") {
    job.unused2 = std::stoi(value);
  } else if (name == "X-LOCALDAY") {
    job.localDay = std::stoull(value);
  }
}

}  // namespace

std::string EncodeProtobuf(const PlainJob& job) {
  Job message;
  message.set_job_id(job.jobId);
  message.set_version_number(job.versionNumber);
  message.set_modification_time(job.modificationTime);
  message.set_title(job.title);
  message.set_comment(job.comment);
  message.set_work_type_id(job.workTypeId);
  message.set_project_id(job.projectId);
  message.set_teamwork_id(job.teamworkId);
  message.set_start_time(job.startTime);
  message.set_end_time(job.endTime);
  for (const std::string& person : job.personIds)
    message.add_person_ids(person);
  message.set_flags(job.flags);
  message.set_unused2(job.unused2);
  message.set_unused3(job.unused3);
  message.set_local_day(job.localDay);
  std::string bytes;
  message.SerializeToString(&bytes);
  return bytes;
}

void DecodeProtobuf(const std::string& bytes, PlainJob& job) {
  Job message;
  message.ParseFromString(bytes);
  job.jobId = message.job_id();
  job.versionNumber = message.version_number();
  job.modificationTime = message.modification_time();
  job.title = message.title();
  job.comment = message.comment();
  job.workTypeId = message.work_type_id();
  job.projectId = message.project_id();
  job.teamworkId = message.teamwork_id();
  job.startTime = message.start_time();
  job.endTime = message.end_time();
  job.personIds.assign(message.person_ids().begin(), message.person_ids().end());
  job.flags = message.flags();
  job.unused2 = message.unused2();
  job.unused3 = message.unused3();
  job.localDay = message.local_day();
}

std::string EncodeCalendar(const PlainJob& job) {
  icalcomponent* const event = icalcomponent_new_vevent();
  icalcomponent_add_property(event, icalproperty_new_uid(job.jobId.c_str()));
  icalcomponent_add_property(event,
                             icalproperty_new_lastmodified(CalendarTime(job.modificationTime)));
  icalcomponent_add_property(event, icalproperty_new_summary(job.title.c_str()));
  icalcomponent_add_property(event, icalproperty_new_description(job.comment.c_str()));
  icalcomponent_add_property(event, icalproperty_new_dtstart(CalendarTime(job.startTime)));
  icalcomponent_add_property(event, icalproperty_new_dtend(CalendarTime(job.endTime)));
  for (const std::string& person : job.personIds)
    icalcomponent_add_property(event, icalproperty_new_attendee(person.c_str()));
  AddExtension(event, "X-VERSION", std::to_string(job.versionNumber));
  AddExtension(event, "X-WORKTYPE", job.workTypeId);
  AddExtension(event, "X-PROJECT", job.projectId);
  AddExtension(event, "X-TEAMWORK", job.teamworkId);
  AddExtension(event, "X-FLAGS", job.flags);
  AddExtension(event, "X-UNUSED2", std::to_string(job.unused2));
  AddExtension(event, "X-UNUSED3", job.unused3);
  AddExtension(event, "X-LOCALDAY", std::to_string(job.localDay));
  char* const text = icalcomponent_as_ical_string_r(event);
  std::string result(text);
  icalmemory_free_buffer(text);
  icalcomponent_free(event);
  return result;
}

void DecodeCalendar(const std::string& text, PlainJob& job) {
  icalcomponent* const event = icalcomponent_new_from_string(text.c_str());
  job.personIds.clear();
  for (icalproperty* property = icalcomponent_get_first_property(event, ICAL_ANY_PROPERTY);
       property; property = icalcomponent_get_next_property(event, ICAL_ANY_PROPERTY)) {
    switch (icalproperty_isa(property)) {
      case ICAL_UID_PROPERTY:
        job.jobId = icalproperty_get_uid(property);
        break;
      case ICAL_LASTMODIFIED_PROPERTY:
        job.modificationTime = Ticks(icalproperty_get_lastmodified(property));
        break;
      case ICAL_SUMMARY_PROPERTY:
        job.title = icalproperty_get_summary(property);
        break;
      case ICAL_DESCRIPTION_PROPERTY:
        job.comment = icalproperty_get_description(property);
        break;
      case ICAL_DTSTART_PROPERTY:
        job.startTime = Ticks(icalproperty_get_dtstart(property));
        break;
      case ICAL_DTEND_PROPERTY:
        job.endTime = Ticks(icalproperty_get_dtend(property));
        break;
      case ICAL_ATTENDEE_PROPERTY:
        job.personIds.emplace_back(icalproperty_get_attendee(property));
        break;
      case ICAL_X_PROPERTY:
        ReadExtension(property, job);
        break;
      default:
        break;
    }
  }
  icalcomponent_free(event);
}

}  // namespace wkt::bench
