#include "WktCommon/JobPacket.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <string>

#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

class JobPacket : public DeskDeviceTest {};

std::string UnitsAt(const std::vector<uint8_t>& bytes, size_t at, size_t unitCount) {
  std::string text;
  for (size_t i = 0; i < unitCount; ++i)
    text += static_cast<char>(bytes[at + 2 * i]);
  return text;
}

TEST_F(JobPacket, FreshPacketHasItsDefaults) {
  device.FreezeClock("2026-03-02T08:00:00Z");
  device.StepClockMilliseconds(123);
  const CJobPacket packet(1);
  EXPECT_TRUE(packet.IsValid());
  EXPECT_EQ(Narrow(packet.GetJobId()), "");
  EXPECT_EQ(packet.GetVersionNumber(), 22);
  EXPECT_EQ(Narrow(packet.GetTitle()), "");
  EXPECT_EQ(Narrow(packet.GetComment()), "");
  EXPECT_EQ(Narrow(packet.GetWorkTypeId()), "");
  EXPECT_EQ(Narrow(packet.GetProjectId()), "");
  EXPECT_EQ(Narrow(packet.GetTeamworkId()), "");
  EXPECT_EQ(Narrow(packet.GetPersonIds()), "");
  EXPECT_EQ(Narrow(packet.GetFlags()), "0000000000000000000");
  EXPECT_EQ(packet.GetUnused2(), -1);
  EXPECT_EQ(Narrow(packet.GetUnused3()), "");
  // Milliseconds are kept, and all four are the same instant.
  const uint64_t now = kStartTicks + 1'230'000;
  EXPECT_EQ(Ticks(packet.GetModificationTime()), now);
  EXPECT_EQ(Ticks(packet.GetStartTime()), now);
  EXPECT_EQ(Ticks(packet.GetEndTime()), now);
  EXPECT_EQ(Ticks(packet.GetLocalDayAsFileTime()), now);
}

// The four default times are written together, and none of them over one that was set.
TEST_F(JobPacket, EachTimeThatWasSetIsKeptBesideTheDefaults) {
  using Times = std::vector<uint64_t>;
  void (CJobPacket::*const setters[])(FILETIME) = {
      &CJobPacket::SetModificationTime, &CJobPacket::SetStartTime, &CJobPacket::SetEndTime,
      &CJobPacket::SetLocalDayAsFileTime};
  for (size_t i = 0; i < std::size(setters); ++i) {
    CJobPacket packet(1);
    (packet.*setters[i])(TicksToTime(5));
    Times expected(4, kStartTicks);
    expected[i] = 5;
    EXPECT_EQ((Times{Ticks(packet.GetModificationTime()), Ticks(packet.GetStartTime()),
                     Ticks(packet.GetEndTime()), Ticks(packet.GetLocalDayAsFileTime())}),
              expected);
  }
}

TEST_F(JobPacket, DefaultVersionEndsInABlank) {
  const std::vector<uint8_t> bytes = Encode(CJobPacket(1));
  EXPECT_EQ(UnitsAt(bytes, 30, 4), std::string("22 \0", 4));
}

TEST_F(JobPacket, EmptyPacketIs686Bytes) {
  EXPECT_EQ(Encode(CJobPacket(1)).size(), 686u);
}

TEST_F(JobPacket, EachCharacterOfAVariableTextIsTwoBytes) {
  void (CJobPacket::*const setters[])(const WCHAR*) = {
      &CJobPacket::SetJobId, &CJobPacket::SetTitle, &CJobPacket::SetComment,
      &CJobPacket::SetPersonIds, &CJobPacket::SetUnused3};
  for (const auto set : setters) {
    for (const size_t length : {1u, 2u, 30'000u}) {
      CJobPacket packet(1);
      (packet.*set)(std::u16string(length, u'x').c_str());
      EXPECT_EQ(Encode(packet).size(), 686 + 2 * length);
    }
  }
}

TEST_F(JobPacket, ActivityTypeChoosesTheTypeText) {
  EXPECT_EQ(UnitsAt(Encode(CJobPacket(1)), 20, 4), std::string("act\0", 4));
  EXPECT_EQ(UnitsAt(Encode(CJobPacket(2)), 20, 4), std::string("fac\0", 4));
  for (const int other : {0, 3, -1, 257})
    EXPECT_EQ(UnitsAt(Encode(CJobPacket(other)), 20, 4), std::string(4, '\0')) << other;
}

TEST_F(JobPacket, NumbersAndTimesStandAtTheirPlaces) {
  CJobPacket packet(1);
  packet.SetModificationTime(TicksToTime(0x0000000180000000));
  packet.SetUnused2(-7);
  packet.SetLocalDayAsFileTime(TicksToTime(0xFFFFFFFF00000002));
  const std::vector<uint8_t> bytes = Encode(packet);
  EXPECT_EQ(UnitsAt(bytes, 38, 2), std::string("1\0", 2));
  EXPECT_EQ(UnitsAt(bytes, 78, 12), std::string("-2147483648\0", 12));
  EXPECT_EQ(UnitsAt(bytes, 564, 3), std::string("-7\0", 3));
  EXPECT_EQ(UnitsAt(bytes, 606, 3), std::string("-1\0", 3));
  EXPECT_EQ(UnitsAt(bytes, 646, 2), std::string("2\0", 2));
}

TEST_F(JobPacket, HeaderInAnotherCaseIsRefused) {
  for (const size_t at : {0u, 2u, 16u}) {
    std::vector<uint8_t> bytes = Encode(CJobPacket(1));
    bytes[at] ^= 0x20;
    EXPECT_FALSE(CJobPacket(bytes.data(), 686).IsValid()) << at;
  }
  std::vector<uint8_t> unterminated = Encode(CJobPacket(1));
  unterminated[18] = 'y';
  EXPECT_FALSE(CJobPacket(unterminated.data(), 686).IsValid());
}

TEST_F(JobPacket, TypeTextInMixedCaseIsRefused) {
  for (const char* text : {"Act", "aCt", "ACt", "acT", "Fac", "fax", "ac", "actx", "", "act "}) {
    std::vector<uint8_t> bytes = Encode(CJobPacket(1));
    std::fill_n(bytes.begin() + 20, 8, uint8_t{0});
    for (size_t i = 0; text[i]; ++i)
      bytes[20 + 2 * i] = static_cast<uint8_t>(text[i]);
    EXPECT_FALSE(CJobPacket(bytes.data(), 686).IsValid()) << text;
  }
}

TEST_F(JobPacket, RefusedPacketCanBeDestroyedAndIsEmpty) {
  std::vector<uint8_t> bytes(20, 0xFF);
  const CJobPacket packet(bytes.data(), 20);
  EXPECT_FALSE(packet.IsValid());
  EXPECT_EQ(Narrow(packet.GetTitle()), "");
}

TEST_F(JobPacket, RecordTravelsWhole) {
  CJobPacket packet(1);
  FillFromJob(packet, *MakeSampleJob(3));
  const std::vector<uint8_t> bytes = Encode(packet);
  const CJobPacket read(bytes.data(), static_cast<DWORD>(bytes.size()));
  EXPECT_EQ(Encode(read), bytes);
  EXPECT_EQ(Narrow(read.GetTitle()), "Quarterly report 3");
  EXPECT_EQ(Ticks(read.GetEndTime()), Ticks(MakeSampleJob(3)->GetEndTime()));
}

TEST_F(JobPacket, TextsThatDoNotFitAreCutAndTouchNothingElse) {
  const std::u16string long39(39, u'x');
  for (const size_t length : {40u, 41u, 100u, 30'000u}) {
    const std::u16string text(length, u'x');
    CJobPacket packet(1);
    packet.SetWorkTypeId(text.c_str());
    packet.SetTeamworkId(text.c_str());
    packet.SetFlags(text.c_str());
    EXPECT_EQ(packet.GetWorkTypeId(), long39);
    EXPECT_EQ(Narrow(packet.GetProjectId()), "");
    EXPECT_EQ(packet.GetTeamworkId(), long39);
    EXPECT_EQ(packet.GetFlags(), std::u16string(19, u'x'));
    EXPECT_EQ(packet.GetUnused2(), -1);
    EXPECT_EQ(Ticks(packet.GetModificationTime()), kStartTicks);
    EXPECT_EQ(Encode(packet).size(), 686u);
  }
}

TEST_F(JobPacket, NullTextsAreEmptyAndNullFlagsAreIgnored) {
  CJobPacket packet(1);
  FillFromJob(packet, *MakeSampleJob());
  packet.SetTitle(nullptr);
  packet.SetWorkTypeId(nullptr);
  packet.SetFlags(nullptr);
  EXPECT_EQ(Narrow(packet.GetTitle()), "");
  EXPECT_EQ(Narrow(packet.GetWorkTypeId()), "");
  EXPECT_EQ(Narrow(packet.GetFlags()), Narrow(MakeSampleJob()->GetFlags()));
}

TEST_F(JobPacket, TextMaySetItself) {
  CJobPacket packet(1);
  packet.SetTitle(u"abc");
  packet.SetTitle(packet.GetTitle() + 1);
  EXPECT_EQ(Narrow(packet.GetTitle()), "bc");
}

TEST_F(JobPacket, CountOfTheBytesIsNotLookedAt) {
  const std::vector<uint8_t> bytes = Encode(CJobPacket(1));
  for (const DWORD byteCount : {0u, 27u, 685u, 0xFFFFFFFFu})
    EXPECT_TRUE(CJobPacket(bytes.data(), byteCount).IsValid()) << byteCount;
}

TEST_F(JobPacket, IdentifierWidthBeyondTheFieldIsLimitedToIt) {
  std::vector<uint8_t> bytes = Encode(CJobPacket(1));
  CJobPacket packet(1);
  EXPECT_TRUE(packet.Init(bytes.data() + 28, 4000));
  EXPECT_EQ(packet.GetUnused2(), -1);
}

TEST_F(JobPacket, WithoutMemoryThereAreNoBytes) {
  CJobPacket packet(1);
  packet.SetTitle(u"abc");
  DWORD byteCount = 0xDEADBEEF;
  BYTE* bytes = nullptr;
  {
    const AllocationFailure failure(1);
    bytes = packet.ToBytes(&byteCount);
    EXPECT_TRUE(failure.Happened());
  }
  EXPECT_EQ(bytes, nullptr);
  EXPECT_EQ(byteCount, 0u);
}

TEST_F(JobPacket, WithoutMemoryATextBecomesEmpty) {
  CJobPacket packet(1);
  packet.SetTitle(u"abc");
  {
    const AllocationFailure failure(1);
    packet.SetTitle(u"def");
  }
  EXPECT_EQ(Narrow(packet.GetTitle()), "");
}

TEST_F(JobPacket, EncodingIsOneAllocation) {
  CJobPacket packet(1);
  FillFromJob(packet, *MakeSampleJob());
  const AllocationCounter counter;
  (void)Encode(packet).size();
  // The bytes, and the vector of this test.
  EXPECT_EQ(counter.Count(), 2u);
}

TEST_F(JobPacket, RandomPacketsEncodeDecodeAndEncodeAgain) {
  const auto text = rc::gen::container<std::u16string>(rc::gen::nonZero<char16_t>());
  EXPECT_TRUE(rc::check("same bytes", [&text] {
    CJobPacket packet(*rc::gen::inRange(1, 3));
    packet.SetJobId((*text).c_str());
    packet.SetVersionNumber(*rc::gen::arbitrary<int>());
    packet.SetModificationTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
    packet.SetTitle((*text).c_str());
    packet.SetComment((*text).c_str());
    packet.SetWorkTypeId((*text).c_str());
    packet.SetProjectId((*text).c_str());
    packet.SetTeamworkId((*text).c_str());
    packet.SetStartTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
    packet.SetEndTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
    packet.SetPersonIds((*text).c_str());
    packet.SetFlags((*text).c_str());
    packet.SetUnused2(*rc::gen::arbitrary<int>());
    packet.SetUnused3((*text).c_str());
    packet.SetLocalDayAsFileTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
    const std::vector<uint8_t> bytes = Encode(packet);
    const CJobPacket read(bytes.data(), static_cast<DWORD>(bytes.size()));
    RC_ASSERT(read.IsValid());
    RC_ASSERT(std::u16string(read.GetComment()) == std::u16string(packet.GetComment()));
    RC_ASSERT(Ticks(read.GetEndTime()) == Ticks(packet.GetEndTime()));
    RC_ASSERT(Encode(read) == bytes);
  }));
}

}  // namespace
}  // namespace wkt::test
