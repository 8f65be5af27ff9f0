#pragma once

#include <cstdint>
#include <memory>

#include "WktCommon/JobLean.h"
#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypeKinds.h"
#include "WktCommon/WktTypePacket.h"

// Records with a different value in every field, and what to expect of them after a journey.
namespace wkt::test {

[[nodiscard]] FILETIME TicksToTime(uint64_t ticks);
[[nodiscard]] uint64_t Ticks(const FILETIME& time);

// Two samples with the same number are equal, two with different numbers differ in every field
// except the version number.
[[nodiscard]] std::unique_ptr<CJobLean> MakeSampleJob(int number = 1);
// Every field, the modification time included.
void ExpectSampleJob(const CJobLean& job, int number = 1);
void ExpectEqualJobs(const CJobLean& job, const CJobLean& expected);

[[nodiscard]] TypePtr MakeSampleType(int kind, int number = 1);
void ExpectSampleType(const CWktTypeLean& type, int kind, int number = 1);
void ExpectEqualTypes(const CWktTypeLean& type, const CWktTypeLean& expected);

// A packet with the fields of a record, in the order in which the databases copy them.
void FillFromJob(CJobPacket& packet, const CJobLean& job);
void FillFromType(CWktTypePacket& packet, const CWktTypeLean& type);

}  // namespace wkt::test
