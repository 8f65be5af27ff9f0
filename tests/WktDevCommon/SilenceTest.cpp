#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <functional>
#include <memory>

#include "WktCommon/Log.h"
#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "host/control/Calls.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Samples.h"

// Dates are put together for the log only, so where nobody listens nobody asks the platform for
// them.
namespace {

void CEAPI Ignore(DWORD, const WCHAR*, va_list) {}

class Silence : public wkt::test::DeskDeviceTest {
 protected:
  Silence() : jobs(u"WktDevJobs"), types(u"WktDevTypes") {
    wkt::logState = {};
    EXPECT_TRUE(jobs.Open(TRUE));
    EXPECT_TRUE(types.Open(TRUE));
    jobOid = jobs.AddJob(job.get(), TRUE);
    typeOid = types.AddWktType(type.get(), TRUE);
  }
  ~Silence() override { wkt::logState = {}; }

  // How many calls there are only for the sake of a date or time text.
  static int CountTextCalls(const std::function<void()>& body) {
    wkt::control::CallRecording recording;
    body();
    const std::vector<std::string> names = wkt::control::CallNames(recording.Take());
    return static_cast<int>(std::count_if(names.begin(), names.end(), [](const std::string& name) {
      return name == "GetDateFormatW" || name == "GetTimeFormatW" || name == "GetLocaleInfoW" ||
             name == "FileTimeToLocalFileTime" || name == "FileTimeToSystemTime" ||
             name == "GetTimeZoneInformation";
    }));
  }

  std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
  wkt::TypePtr type = wkt::test::MakeSampleType(3);
  CJobDatabase jobs;
  CWktTypeDatabase types;
  CEOID jobOid = 0;
  CEOID typeOid = 0;
};

TEST_F(Silence, NoDateIsMadeWhereNobodyListens) {
  CJobPacket jobPacket(1);
  wkt::test::FillFromJob(jobPacket, *job);
  CWktTypePacket typePacket;
  wkt::test::FillFromType(typePacket, *type);
  const std::vector<uint8_t> jobBytes = wkt::test::Encode(jobPacket);
  const std::vector<uint8_t> typeBytes = wkt::test::Encode(typePacket);
  const auto byteCount = [](const auto& bytes) { return static_cast<DWORD>(bytes.size()); };
  uint64_t day = 0;
  struct Case {
    const char* name;
    std::function<void()> body;
  };
  const Case cases[] = {
      {"AddJob", [&] { EXPECT_NE(jobs.AddJob(job.get(), TRUE), 0u); }},
      {"ModifyJob", [&] { EXPECT_TRUE(jobs.ModifyJob(jobOid, job.get(), TRUE)); }},
      {"FindJob",
       [&] {
         CJobLean* found = nullptr;
         EXPECT_EQ(jobs.FindJob(jobOid, &found, TRUE), jobOid);
         delete found;
       }},
      {"ModifyWktType", [&] { EXPECT_TRUE(types.ModifyWktType(typeOid, type.get(), TRUE)); }},
      {"SetLocalDay", [&] { job->SetLocalDayAsFileTime(wkt::test::TicksToTime(++day)); }},
      {"CJobPacket", [] { const CJobPacket fresh(1); }},
      {"CJobPacket from bytes",
       [&] { const CJobPacket read(jobBytes.data(), byteCount(jobBytes)); }},
      {"CJobPacket::ToBytes", [&] { (void)wkt::test::Encode(jobPacket); }},
      {"CWktTypePacket from bytes",
       [&] { const CWktTypePacket read(typeBytes.data(), byteCount(typeBytes)); }},
      {"CWktTypePacket::ToBytes", [&] { (void)wkt::test::Encode(typePacket); }},
  };
  for (const Case& c : cases) {
    wkt::logState.write = nullptr;
    EXPECT_EQ(CountTextCalls(c.body), 0) << c.name;
    wkt::logState.write = Ignore;
    EXPECT_GT(CountTextCalls(c.body), 0) << c.name;
  }
}

}  // namespace
