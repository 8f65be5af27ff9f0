#include "WktCommon/WktTypePacket.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <string>

#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

class WktTypePacket : public DeskDeviceTest {};

TEST_F(WktTypePacket, FreshPacketHasItsDefaults) {
  const CWktTypePacket packet;
  EXPECT_TRUE(packet.IsValid());
  EXPECT_EQ(packet.GetTypeOfType(), 0);
  EXPECT_EQ(Narrow(packet.GetId()), "");
  EXPECT_EQ(packet.GetVersionNumber(), 32);
  EXPECT_EQ(Ticks(packet.GetModificationTime()), kStartTicks);
  EXPECT_EQ(Ticks(packet.GetCreationTime()), kStartTicks);
  EXPECT_EQ(packet.GetUseCount(), 0);
  EXPECT_EQ(Narrow(packet.GetName1()), "");
  EXPECT_EQ(Narrow(packet.GetName2()), "");
  EXPECT_EQ(Narrow(packet.GetComment()), "");
  EXPECT_EQ(Narrow(packet.GetFlags()), "0000000000000000000");
  EXPECT_EQ(Narrow(packet.GetUnused1()), "");
  EXPECT_EQ(Narrow(packet.GetUnused2()), "");
  EXPECT_EQ(packet.GetUnused3(), -1);
  EXPECT_EQ(packet.GetUnused4(), -1);
  EXPECT_EQ(Ticks(packet.GetUnused5()), 0u);
}

TEST_F(WktTypePacket, EmptyPacketIs480Bytes) {
  EXPECT_EQ(Encode(CWktTypePacket()).size(), 480u);
}

TEST_F(WktTypePacket, IdentifierOf38CharactersAdds78BytesToTheFixedOnes) {
  CWktTypePacket packet;
  packet.SetId(std::u16string(38, u'x').c_str());
  EXPECT_EQ(Encode(packet).size(), 468u + 78 + 5 * 2);
}

TEST_F(WktTypePacket, EachCharacterOfAVariableTextIsTwoBytes) {
  void (CWktTypePacket::*const setters[])(const WCHAR*) = {
      &CWktTypePacket::SetId,      &CWktTypePacket::SetName1,   &CWktTypePacket::SetName2,
      &CWktTypePacket::SetComment, &CWktTypePacket::SetUnused1, &CWktTypePacket::SetUnused2};
  for (const auto set : setters) {
    for (const size_t length : {1u, 2u, 30'000u}) {
      CWktTypePacket packet;
      (packet.*set)(std::u16string(length, u'x').c_str());
      EXPECT_EQ(Encode(packet).size(), 480 + 2 * length);
    }
  }
}

TEST_F(WktTypePacket, TimesTravelAsSignedHalves) {
  CWktTypePacket packet;
  packet.SetModificationTime({1, 0x80000000});
  const std::vector<uint8_t> bytes = Encode(packet);
  // Header, kind, empty identifier and version come before.
  const size_t high = 20 + 40 + 2 + 8;
  EXPECT_EQ(bytes[high], '-');
  EXPECT_EQ(bytes[high + 2], '2');
  EXPECT_EQ(bytes[high + 40], '1');
  const CWktTypePacket read(bytes.data(), static_cast<DWORD>(bytes.size()));
  EXPECT_EQ(Ticks(read.GetModificationTime()), 0x8000000000000001u);
}

TEST_F(WktTypePacket, VersionKeepsItsFirstThreeDigits) {
  CWktTypePacket packet;
  packet.SetVersionNumber(1234);
  EXPECT_EQ(packet.GetVersionNumber(), 123);
}

TEST_F(WktTypePacket, AnyOtherHeaderIsRefusedAndNothingIsRead) {
  for (size_t at = 0; at < 20; ++at) {
    std::vector<uint8_t> bytes = Encode(CWktTypePacket());
    bytes[at] ^= 0x01;
    const CWktTypePacket packet(bytes.data(), static_cast<DWORD>(bytes.size()));
    EXPECT_FALSE(packet.IsValid()) << at;
    EXPECT_EQ(packet.GetVersionNumber(), 0) << at;
    EXPECT_EQ(Narrow(packet.GetName1()), "");
  }
}

TEST_F(WktTypePacket, CountOfTheBytesAndWidthAreNotLookedAt) {
  CWktTypePacket from;
  FillFromType(from, *MakeSampleType(2));
  const std::vector<uint8_t> bytes = Encode(from);
  for (const DWORD byteCount : {0u, 20u, 0xFFFFFFFFu})
    EXPECT_TRUE(CWktTypePacket(bytes.data(), byteCount).IsValid()) << byteCount;
  CWktTypePacket read;
  EXPECT_TRUE(read.Init(bytes.data() + 20, 4000));
  EXPECT_EQ(Encode(read), bytes);
}

TEST_F(WktTypePacket, TextsThatDoNotFitAreCutAndTouchNothingElse) {
  CWktTypePacket packet;
  packet.SetFlags(std::u16string(500, u'1').c_str());
  EXPECT_EQ(packet.GetFlags(), std::u16string(19, u'1'));
  EXPECT_EQ(packet.GetUnused3(), -1);
  packet.SetFlags(nullptr);
  EXPECT_EQ(packet.GetFlags(), std::u16string(19, u'1'));
  packet.SetName1(nullptr);
  EXPECT_EQ(Narrow(packet.GetName1()), "");
}

TEST_F(WktTypePacket, RecordTravelsWhole) {
  for (int kind = 1; kind <= 5; ++kind) {
    CWktTypePacket packet;
    FillFromType(packet, *MakeSampleType(kind, kind));
    const std::vector<uint8_t> bytes = Encode(packet);
    const CWktTypePacket read(bytes.data(), static_cast<DWORD>(bytes.size()));
    EXPECT_EQ(read.GetTypeOfType(), kind);
    EXPECT_EQ(Ticks(read.GetUnused5()), Ticks(MakeSampleType(kind, kind)->GetUnused5()));
    EXPECT_EQ(Encode(read), bytes);
  }
}

TEST_F(WktTypePacket, WithoutMemoryThereAreNoBytes) {
  const CWktTypePacket packet;
  DWORD byteCount = 0xDEADBEEF;
  BYTE* bytes = nullptr;
  {
    const AllocationFailure failure(1);
    bytes = packet.ToBytes(&byteCount);
  }
  EXPECT_EQ(bytes, nullptr);
  EXPECT_EQ(byteCount, 0u);
}

TEST_F(WktTypePacket, RandomPacketsEncodeDecodeAndEncodeAgain) {
  const auto text = rc::gen::container<std::u16string>(rc::gen::nonZero<char16_t>());
  EXPECT_TRUE(rc::check("same bytes", [&text] {
    CWktTypePacket packet;
    packet.SetTypeOfType(*rc::gen::arbitrary<int>());
    packet.SetId((*text).c_str());
    packet.SetVersionNumber(*rc::gen::arbitrary<int>());
    packet.SetModificationTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
    packet.SetCreationTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
    packet.SetUseCount(*rc::gen::arbitrary<int>());
    packet.SetName1((*text).c_str());
    packet.SetName2((*text).c_str());
    packet.SetComment((*text).c_str());
    packet.SetFlags((*text).c_str());
    packet.SetUnused1((*text).c_str());
    packet.SetUnused2((*text).c_str());
    packet.SetUnused3(*rc::gen::arbitrary<int>());
    packet.SetUnused4(*rc::gen::arbitrary<int>());
    packet.SetUnused5(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
    const std::vector<uint8_t> bytes = Encode(packet);
    const CWktTypePacket read(bytes.data(), static_cast<DWORD>(bytes.size()));
    RC_ASSERT(read.IsValid());
    RC_ASSERT(std::u16string(read.GetUnused1()) == std::u16string(packet.GetUnused1()));
    RC_ASSERT(Ticks(read.GetUnused5()) == Ticks(packet.GetUnused5()));
    RC_ASSERT(Encode(read) == bytes);
  }));
}

}  // namespace
}  // namespace wkt::test
