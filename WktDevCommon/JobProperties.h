#pragma once

#include "WktCommon/JobLean.h"
#include "WktDevCommon/PropertyTable.h"

// The properties of a job record in stored order.
namespace wkt {

constexpr size_t kJobPropertyCount = 22;
// The older layout ends before the texts of work type, project and teamwork.
constexpr size_t kOldJobPropertyCount = 19;

// Places in the table.
constexpr size_t kJobModificationTimeAt = 2;
constexpr size_t kJobNumberedIdsAt = 5;  // three: work type, project, teamwork
constexpr size_t kJobFlagsAt = 11;
constexpr size_t kJobIdTextsAt = 19;  // the same three as texts

constexpr CEPROPID kJobFlagsId = 0x400B001F;
constexpr CEPROPID kJobStartTimeId = 0x40080040;
constexpr CEPROPID kJobLocalDayId = 0x40120040;

[[nodiscard]] PropertyRows<CJobLean> JobProperties();

// Each value gets the field that its identifier names; -1 stands for all properties.
void StoreJob(CJobLean& job, CEPROPVAL* values, int count);
void LoadJob(CJobLean& job, const PropertyValues& values);

}  // namespace wkt
