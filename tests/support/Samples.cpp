#include "tests/support/Samples.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Text.h"

namespace wkt::test {

namespace {

constexpr uint64_t kTicksPerSecond = 10'000'000;
constexpr uint64_t kTicksPerDay = 86'400 * kTicksPerSecond;
// 2026-02-28T00:00:00.
constexpr uint64_t kSampleDay = 134'167'104'000'000'000;

std::u16string Numbered(const char16_t* text, int number) {
  return std::u16string(text) + Wide(std::to_string(number));
}

FILETIME SampleTime(int number, uint64_t seconds) {
  return TicksToTime(kSampleDay + static_cast<uint64_t>(number) * kTicksPerDay +
                     seconds * kTicksPerSecond);
}

// Nineteen flags that show the bits of the number.
std::u16string SampleFlags(int number) {
  std::u16string flags(19, u'0');
  for (size_t i = 0; i < flags.size(); ++i) {
    if ((static_cast<unsigned>(number) * 2654435761u >> i) & 1u)
      flags[i] = u'1';
  }
  return flags;
}

#define WKT_EXPECT_TEXT(getter) \
  EXPECT_EQ(Narrow(value.getter().c_str()), Narrow(expected.getter().c_str())) << #getter
#define WKT_EXPECT_TIME(getter) \
  EXPECT_EQ(Ticks(value.getter()), Ticks(expected.getter())) << #getter
#define WKT_EXPECT_NUMBER(getter) EXPECT_EQ(value.getter(), expected.getter()) << #getter

}  // namespace

FILETIME TicksToTime(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

uint64_t Ticks(const FILETIME& time) {
  return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::unique_ptr<CJobLean> MakeSampleJob(int number) {
  auto job = std::make_unique<CJobLean>(FALSE);
  job->SetJobId(Numbered(u"CE-1cb8a2f-5e3d1c80-0-", number).c_str());
  job->SetVersionNumber(23);
  job->SetTitle(Numbered(u"Quarterly report ", number).c_str());
  job->SetComment(Numbered(u"First draft\nSecond line ", number).c_str());
  job->SetWorkTypeId(Numbered(u"CE-1-1-1-", number).c_str());
  job->SetProjectId(Numbered(u"CE-2-2-2-", number).c_str());
  job->SetTeamworkId(Numbered(u"CE-3-3-3-", number).c_str());
  job->SetStartTime(SampleTime(number, 8ull * 3600));
  job->SetEndTime(SampleTime(number, 9 * 3600 + 1800));
  job->SetPersonIds(Numbered(u"CE-4-4-4-4; CE-5-5-5-", number).c_str());
  job->SetFlags(SampleFlags(number).c_str());
  job->SetUnused2(-1000 - number);
  job->SetUnused3(Numbered(u"head tail ", number).c_str());
  job->SetLocalDayAsFileTime(SampleTime(number, 0));
  job->SetModificationTime(SampleTime(number, 10ull * 3600), FALSE);
  job->SetModified(FALSE);
  return job;
}

void ExpectEqualJobs(const CJobLean& value, const CJobLean& expected) {
  WKT_EXPECT_TEXT(GetJobId);
  WKT_EXPECT_NUMBER(GetVersionNumber);
  WKT_EXPECT_TIME(GetModificationTime);
  WKT_EXPECT_TEXT(GetTitle);
  WKT_EXPECT_TEXT(GetComment);
  WKT_EXPECT_TEXT(GetWorkTypeId);
  WKT_EXPECT_TEXT(GetProjectId);
  WKT_EXPECT_TEXT(GetTeamworkId);
  WKT_EXPECT_TIME(GetStartTime);
  WKT_EXPECT_TIME(GetEndTime);
  WKT_EXPECT_TEXT(GetPersonIds);
  EXPECT_EQ(Narrow(value.GetFlags()), Narrow(expected.GetFlags())) << "GetFlags";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(value.GetUserFlag(i), expected.GetUserFlag(i)) << i;
    EXPECT_EQ(value.GetPartnerFlag(i), expected.GetPartnerFlag(i)) << i;
  }
  WKT_EXPECT_NUMBER(GetFlag3);
  WKT_EXPECT_NUMBER(GetFlag6);
  WKT_EXPECT_NUMBER(GetUnused2);
  WKT_EXPECT_TEXT(GetUnused3);
  WKT_EXPECT_TIME(GetLocalDayAsFileTime);
}

void ExpectSampleJob(const CJobLean& job, int number) {
  ExpectEqualJobs(job, *MakeSampleJob(number));
}

TypePtr MakeSampleType(int kind, int number) {
  TypePtr type(MakeType(kind, FALSE));
  if (!type) {
    ADD_FAILURE() << "no records of kind " << kind;
    return type;
  }
  type->SetId(Numbered(u"CE-1cb8a2f-5e3d1c80-1-", number).c_str());
  type->SetVersionNumber(32);
  type->SetCreationTime(SampleTime(number, 7ull * 3600));
  type->SetUseCount(100 + number);
  type->SetName1(Numbered(u"Name ", number).c_str());
  type->SetName2(Numbered(u"Second name ", number).c_str());
  type->SetComment(Numbered(u"First line\nSecond line ", number).c_str());
  type->SetFlags(SampleFlags(number).c_str());
  type->SetUnused1(Numbered(u"CE-6-6-6-", number).c_str());
  type->SetUnused2(Numbered(u"spare ", number).c_str());
  type->SetUnused3(-2000 - number);
  type->SetUnused4(3000 + number);
  type->SetUnused5(SampleTime(number, 11ull * 3600));
  type->SetModificationTime(SampleTime(number, 10ull * 3600), FALSE);
  type->SetChanged(FALSE);
  return type;
}

void ExpectEqualTypes(const CWktTypeLean& value, const CWktTypeLean& expected) {
  WKT_EXPECT_NUMBER(GetTypeOfType);
  WKT_EXPECT_TEXT(GetId);
  WKT_EXPECT_NUMBER(GetVersionNumber);
  WKT_EXPECT_TIME(GetModificationTime);
  WKT_EXPECT_TIME(GetCreationTime);
  WKT_EXPECT_NUMBER(GetUseCount);
  WKT_EXPECT_TEXT(GetName1);
  WKT_EXPECT_TEXT(GetName2);
  EXPECT_EQ(Narrow(value.GetComment(FALSE, FALSE).c_str()),
            Narrow(expected.GetComment(FALSE, FALSE).c_str()));
  EXPECT_EQ(Narrow(value.GetFlags()), Narrow(expected.GetFlags())) << "GetFlags";
  WKT_EXPECT_TEXT(GetUnused1);
  WKT_EXPECT_TEXT(GetUnused2);
  WKT_EXPECT_NUMBER(GetUnused3);
  WKT_EXPECT_NUMBER(GetUnused4);
  WKT_EXPECT_TIME(GetUnused5);
}

void ExpectSampleType(const CWktTypeLean& type, int kind, int number) {
  const TypePtr expected = MakeSampleType(kind, number);
  ASSERT_TRUE(expected);
  ExpectEqualTypes(type, *expected);
}

void FillFromJob(CJobPacket& packet, const CJobLean& job) {
  packet.SetJobId(job.GetJobId().c_str());
  packet.SetVersionNumber(job.GetVersionNumber());
  packet.SetModificationTime(job.GetModificationTime());
  packet.SetTitle(job.GetTitle().c_str());
  packet.SetComment(job.GetComment().c_str());
  packet.SetWorkTypeId(job.GetWorkTypeId().c_str());
  packet.SetProjectId(job.GetProjectId().c_str());
  packet.SetTeamworkId(job.GetTeamworkId().c_str());
  packet.SetStartTime(job.GetStartTime());
  packet.SetEndTime(job.GetEndTime());
  packet.SetPersonIds(job.GetPersonIds().c_str());
  packet.SetFlags(job.GetFlags());
  packet.SetUnused2(job.GetUnused2());
  packet.SetUnused3(job.GetUnused3().c_str());
  packet.SetLocalDayAsFileTime(job.GetLocalDayAsFileTime());
}

void FillFromType(CWktTypePacket& packet, const CWktTypeLean& type) {
  packet.SetTypeOfType(type.GetTypeOfType());
  packet.SetId(type.GetId().c_str());
  packet.SetVersionNumber(static_cast<int>(type.GetVersionNumber()));
  packet.SetModificationTime(type.GetModificationTime());
  packet.SetCreationTime(type.GetCreationTime());
  packet.SetUseCount(type.GetUseCount());
  packet.SetName1(type.GetName1().c_str());
  packet.SetName2(type.GetName2().c_str());
  packet.SetComment(type.GetComment(FALSE, FALSE).c_str());
  packet.SetFlags(type.GetFlags());
  packet.SetUnused1(type.GetUnused1().c_str());
  packet.SetUnused2(type.GetUnused2().c_str());
  packet.SetUnused3(type.GetUnused3());
  packet.SetUnused4(type.GetUnused4());
  packet.SetUnused5(type.GetUnused5());
}

}  // namespace wkt::test
