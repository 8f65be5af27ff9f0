#include "WktDevCommon/JobProperties.h"

#include <iterator>

#include "WktCommon/Log.h"
#include "WktCommon/Times.h"

namespace wkt {
namespace {

void LogTitle(const WCHAR* format, const CJobLean& job) {
  if (IsLogging())
    LogWrite(LogPosition{}, kLogProgress, format, job.GetTitle().c_str());
}

void LogLocalDay(const FILETIME& day) {
  if (!IsLogging())
    return;
  WideString date;
  WideString time;
  FormatDateText(date, day, TRUE, 0);
  FormatTimeText(time, day, TRUE, FALSE, kHoursMinutes);
  LogWrite(LogPosition{}, kLogProgress, u"Local day = %s %s", date.c_str(), time.c_str());
}

void StoreTitle(CJobLean& job, CEPROPVAL& value) {
  LogTitle(u"Title = %s", job);
  StoreText(value, job.GetTitle().c_str());
}

void LoadTitle(CJobLean& job, const CEPROPVAL& value) {
  job.SetTitle(value.val.lpwstr);
  LogTitle(u"Title = '%s'", job);
}

void StoreLocalDay(CJobLean& job, CEPROPVAL& value) {
  value.val.filetime = job.GetLocalDayAsFileTime();
  LogLocalDay(value.val.filetime);
}

void LoadLocalDay(CJobLean& job, const CEPROPVAL& value) {
  // Kept: the record tells of a day that changes it, too, so one that is not today is told twice.
  LogLocalDay(value.val.filetime);
  job.SetLocalDayAsFileTime(value.val.filetime);
}

void StoreFlags(CJobLean& job, CEPROPVAL& value) {
  StoreText(value, job.GetFlags());
}
void LoadFlags(CJobLean& job, const CEPROPVAL& value) {
  job.SetFlags(value.val.lpwstr);
}

template <int index>
constexpr PropertyField<CJobLean> UserFlagProperty(CEPROPID identifier) {
  return {
      identifier,
      [](CJobLean& job, CEPROPVAL& value) { value.val.boolVal = job.GetUserFlag(index) ? 1 : 0; },
      [](CJobLean& job, const CEPROPVAL& value) { job.SetUserFlag(index, value.val.boolVal); }};
}

void StoreFlag3(CJobLean& job, CEPROPVAL& value) {
  value.val.boolVal = job.GetFlag3() ? 1 : 0;
}
void LoadFlag3(CJobLean& job, const CEPROPVAL& value) {
  job.SetFlag3(value.val.boolVal != 0 ? TRUE : FALSE);
}

// Kept: the order settles ties. The flag text comes before the three flags that have a property of
// their own, so these win over characters 0, 1 and 3 of a stored text; characters 4 to 6, the state
// of the synchronisation, come from the text alone.
constexpr PropertyField<CJobLean> kJobProperties[] = {
    TextProperty<&CJobLean::GetJobId, &CJobLean::SetJobId>(0x4000001F),
    NumberProperty<&CJobLean::GetVersionNumber, &CJobLean::SetVersionNumber>(0x40010003),
    ModificationTimeProperty<&CJobLean::GetModificationTime>(0x40020040),
    {0x4003001F, StoreTitle, LoadTitle},
    TextProperty<&CJobLean::GetComment, &CJobLean::SetComment>(0x4004001F),
    // Work type, project and teamwork as numbers in the older layout; -2: see the texts below.
    ConstantProperty<CJobLean, -2>(0x40050003),
    ConstantProperty<CJobLean, -2>(0x40060003),
    ConstantProperty<CJobLean, -2>(0x40070003),
    TimeProperty<&CJobLean::GetStartTime, &CJobLean::SetStartTime>(kJobStartTimeId),
    TimeProperty<&CJobLean::GetEndTime, &CJobLean::SetEndTime>(0x40090040),
    TextProperty<&CJobLean::GetPersonIds, &CJobLean::SetPersonIds>(0x400A001F),
    {kJobFlagsId, StoreFlags, LoadFlags},
    UserFlagProperty<0>(0x400C000B),
    UserFlagProperty<1>(0x400D000B),
    ConstantProperty<CJobLean, FALSE>(0x400E000B),
    {0x400F000B, StoreFlag3, LoadFlag3},
    NumberProperty<&CJobLean::GetUnused2, &CJobLean::SetUnused2>(0x40100003),
    TextProperty<&CJobLean::GetUnused3, &CJobLean::SetUnused3>(0x4011001F),
    {kJobLocalDayId, StoreLocalDay, LoadLocalDay},
    TextProperty<&CJobLean::GetWorkTypeId, &CJobLean::SetWorkTypeId>(0x4013001F),
    TextProperty<&CJobLean::GetProjectId, &CJobLean::SetProjectId>(0x4014001F),
    TextProperty<&CJobLean::GetTeamworkId, &CJobLean::SetTeamworkId>(0x4015001F),
};
static_assert(std::size(kJobProperties) == kJobPropertyCount);
static_assert(kJobProperties[kJobModificationTimeAt].identifier == 0x40020040);
static_assert(kJobProperties[kJobNumberedIdsAt].identifier == 0x40050003);
static_assert(kJobProperties[kJobFlagsAt].identifier == kJobFlagsId);
static_assert(kJobProperties[kJobIdTextsAt].identifier == 0x4013001F);

}  // namespace

PropertyRows<CJobLean> JobProperties() {
  return kJobProperties;
}

void StoreJob(CJobLean& job, CEPROPVAL* values, int count) {
  PropertyWalk<kJobProperties>::Store(job, values, count);
}

void LoadJob(CJobLean& job, const PropertyValues& values) {
  PropertyWalk<kJobProperties>::Load<kJobModificationTimeAt>(job, values);
}

}  // namespace wkt
