#include "WktCommon/CreationMoment.h"

#include <gtest/gtest.h>

#include <memory>

#include "WktCommon/JobLean.h"
#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypeKinds.h"
#include "host/control/Calls.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/RecordPeek.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

// 2026-03-03T00:00:00 as the day on the clock of the device in Vienna.
constexpr uint64_t kNextDayTicks = 155'289ull * 24 * 3600 * 10'000'000;
constexpr uint64_t kLateTicks = kStartTicks + (15ull * 3600 + 1800 + 15) * 10'000'000;

class CreationMoment : public DeskDeviceTest {
 protected:
  CreationMoment() { device.FreezeClock("2026-03-02T23:30:15.250Z"); }
  // Two days later, and other ticks.
  void MoveOn() {
    device.FreezeClock("2026-03-04T23:30:15.750Z");
    device.FixTickCount(9999);
  }
};

TEST_F(CreationMoment, DefaultsOfAJobAreThoseOfItsMakingWhenTheyAreRead) {
  const CJobLean job(TRUE);
  MoveOn();
  EXPECT_EQ(Ticks(job.GetModificationTime()), kLateTicks);
  EXPECT_EQ(Ticks(job.GetStartTime()), kLateTicks);
  EXPECT_EQ(Ticks(job.GetEndTime()), kLateTicks);
  EXPECT_EQ(Ticks(job.GetLocalDayAsFileTime()), kNextDayTicks);
  // Milliseconds count in identifiers; 1000 ticks.
  EXPECT_EQ(Narrow(job.GetJobId().c_str()).substr(0, 20), "CE-1dcaa9c-85e88320-");
  EXPECT_EQ(Narrow(job.GetJobId().c_str()).substr(Narrow(job.GetJobId().c_str()).rfind('-')),
            "-3e8");
}

TEST_F(CreationMoment, DefaultsOfATypeAreThoseOfItsMakingWhenTheyAreRead) {
  const TypePtr type(MakeType(1, TRUE));
  MoveOn();
  EXPECT_EQ(Ticks(type->GetModificationTime()), kLateTicks);
  EXPECT_EQ(Ticks(type->GetCreationTime()), kLateTicks);
  EXPECT_EQ(Narrow(type->GetId().c_str()).substr(0, 20), "CE-1dcaa9c-85e88320-");
}

TEST_F(CreationMoment, TimesOfAPacketAreThoseOfItsMakingWhenItIsEncoded) {
  const CJobPacket packet(1);
  const std::vector<uint8_t> atOnce = Encode(packet);
  const CJobPacket other(1);
  MoveOn();
  EXPECT_EQ(Encode(other), atOnce);
  EXPECT_EQ(Ticks(other.GetEndTime()), kLateTicks + 2'500'000);
}

TEST_F(CreationMoment, ATimeThatIsSetLeavesTheOthersAsTheyWereMade) {
  CJobPacket packet(1);
  CJobLean job(FALSE);
  MoveOn();
  packet.SetStartTime(TicksToTime(5));
  job.SetStartTime(TicksToTime(5));
  EXPECT_EQ(Ticks(packet.GetStartTime()), 5u);
  EXPECT_EQ(Ticks(job.GetStartTime()), 5u);
  EXPECT_EQ(Ticks(packet.GetEndTime()), kLateTicks + 2'500'000);
  EXPECT_EQ(Ticks(job.GetEndTime()), kLateTicks);
}

// What is set equals what was there: no change, whether anybody looked before or not.
TEST_F(CreationMoment, SettingTheDefaultItselfIsNoChange) {
  CJobLean job(TRUE);
  CJobLean twin(TRUE);
  MoveOn();
  job.SetEndTime(TicksToTime(kLateTicks));
  job.SetLocalDayAsFileTime(TicksToTime(kNextDayTicks));
  EXPECT_EQ(Ticks(job.GetModificationTime()), kLateTicks);
  job.SetJobId(job.GetJobId().c_str());
  EXPECT_EQ(Ticks(job.GetModificationTime()), kLateTicks);
  twin.SetEndTime(TicksToTime(kLateTicks + 1));
  EXPECT_EQ(Ticks(twin.GetModificationTime()), kLateTicks + 2 * 86'400ull * 10'000'000);
}

TEST_F(CreationMoment, AFilledRecordKeepsWhatTheFillLeftOut) {
  CJobLean job(TRUE);
  {
    const FillScope<CJobLean> filling(job);
    job.SetStartTime(TicksToTime(7));
    job.SetModificationTime(TicksToTime(9), FALSE);
  }
  MoveOn();
  EXPECT_EQ(Ticks(job.GetStartTime()), 7u);
  EXPECT_EQ(Ticks(job.GetModificationTime()), 9u);
  EXPECT_EQ(Ticks(job.GetEndTime()), kLateTicks);
  EXPECT_EQ(Narrow(job.GetJobId().c_str()).substr(0, 20), "CE-1dcaa9c-85e88320-");
}

// A drawn identifier differs from any text, the empty one included.
TEST_F(CreationMoment, AFillThatEmptiesADrawnIdentifierIsAChange) {
  CJobLean job(TRUE);
  CWktTypeLean type(TRUE);
  {
    const FillScope<CJobLean> filling(job);
    job.SetJobId(u"");
  }
  {
    const FillScope<CWktTypeLean> filling(type);
    type.SetId(u"");
  }
  EXPECT_EQ(Narrow(job.GetJobId().c_str()), "");
  EXPECT_TRUE(RecordPeek::IsModified(job));
  EXPECT_EQ(Narrow(type.GetId().c_str()), "");
  EXPECT_TRUE(type.IsChanged());
}

TEST_F(CreationMoment, ATimeThatCannotBeMadeIsZero) {
  for (const char* const call : {"FileTimeToLocalFileTime", "FileTimeToSystemTime"}) {
    const CJobLean job(FALSE);
    wkt::control::FailCall(call, 1, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Ticks(job.GetLocalDayAsFileTime()), 0u);
    EXPECT_FALSE(wkt::control::ClearFailures()) << call;
    EXPECT_EQ(Ticks(job.GetStartTime()), kLateTicks);
  }
  const CJobLean job(FALSE);
  wkt::control::FailCall("SystemTimeToFileTime", 1, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Ticks(job.GetStartTime()), 0u);
}

// One look at the clock, and one at the ticks for an identifier.
TEST_F(CreationMoment, MakingARecordReadsTheClockOnce) {
  using Names = std::vector<std::string>;
  const auto calls = [](BOOL makeNew) {
    wkt::control::CallRecording recording;
    const CJobLean job(makeNew);
    return wkt::control::CallNames(recording.Take());
  };
  EXPECT_EQ(calls(FALSE), Names{"GetSystemTime"});
  EXPECT_EQ(calls(TRUE), (Names{"GetTickCount", "GetSystemTime"}));
}

}  // namespace
}  // namespace wkt::test
