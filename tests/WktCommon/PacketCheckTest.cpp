#include "WktCommon/PacketCheck.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/DeskDevice.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Samples.h"

namespace wkt::test {
namespace {

class PacketCheck : public DeskDeviceTest {
 protected:
  PacketCheck() {
    CJobPacket jobPacket(1);
    FillFromJob(jobPacket, *MakeSampleJob());
    job = Encode(jobPacket);
    CWktTypePacket typePacket;
    FillFromType(typePacket, *MakeSampleType(1));
    type = Encode(typePacket);
  }
  static bool CheckJob(const std::vector<uint8_t>& bytes) { return Check(CheckJobPacket, bytes); }
  static bool CheckType(const std::vector<uint8_t>& bytes) { return Check(CheckTypePacket, bytes); }
  static bool Check(bool (*check)(const BYTE*, DWORD), const std::vector<uint8_t>& bytes) {
    const std::unique_ptr<BYTE[]> exact(new BYTE[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    return check(exact.get(), static_cast<DWORD>(bytes.size()));
  }
  // Puts a character at the place of every unit of a field.
  static void Overwrite(std::vector<uint8_t>& bytes, size_t at, size_t unitCount) {
    for (size_t i = 0; i < unitCount; ++i) {
      bytes[at + 2 * i] = 'x';
      bytes[at + 2 * i + 1] = 0;
    }
  }
  static size_t Find(const std::vector<uint8_t>& bytes, const std::u16string& text) {
    const auto* const raw = reinterpret_cast<const uint8_t*>(text.data());
    const auto found =
        std::search(bytes.begin(), bytes.end(), raw, raw + text.size() * sizeof(char16_t));
    EXPECT_NE(found, bytes.end());
    return static_cast<size_t>(found - bytes.begin());
  }
  std::vector<uint8_t> job;
  std::vector<uint8_t> type;
};

TEST_F(PacketCheck, AcceptsWhatThePacketsWrite) {
  EXPECT_TRUE(CheckJob(job));
  EXPECT_TRUE(CheckType(type));
}

TEST_F(PacketCheck, RefusesNothingAtAll) {
  EXPECT_FALSE(CheckJobPacket(nullptr, 0));
  EXPECT_FALSE(CheckJobPacket(nullptr, 1000));
  EXPECT_FALSE(CheckTypePacket(nullptr, 1000));
  EXPECT_FALSE(CheckJobPacket(job.data(), 0));
}

TEST_F(PacketCheck, WrongHeaderIsLeftToThePacketOnceItIsLongEnough) {
  job[0] = 'w';
  type[0] = 'w';
  for (const DWORD byteCount : {0u, 1u, 19u, 20u, 21u, 27u, 28u}) {
    EXPECT_EQ(CheckJobPacket(job.data(), byteCount), byteCount >= 20) << byteCount;
    EXPECT_EQ(CheckTypePacket(type.data(), byteCount), byteCount >= 20) << byteCount;
  }
}

TEST_F(PacketCheck, WrongTypeTextIsLeftToThePacketOnceItIsLongEnough) {
  job[20] = 'A';
  for (const DWORD byteCount : {20u, 27u, 28u, 29u})
    EXPECT_EQ(CheckJobPacket(job.data(), byteCount), byteCount >= 28) << byteCount;
}

TEST_F(PacketCheck, RefusesAFixedFieldWithoutTerminator) {
  const std::u16string flags = MakeSampleJob()->GetFlags();
  for (size_t unitCount = 19; unitCount <= 20; ++unitCount) {
    std::vector<uint8_t> bytes = job;
    Overwrite(bytes, Find(job, flags), unitCount);
    EXPECT_EQ(CheckJob(bytes), unitCount == 19) << unitCount;
  }
  for (size_t unitCount = 39; unitCount <= 40; ++unitCount) {
    std::vector<uint8_t> bytes = job;
    Overwrite(bytes, Find(job, u"CE-3-3-3-1"), unitCount);
    EXPECT_EQ(CheckJob(bytes), unitCount == 39) << unitCount;
  }
  std::vector<uint8_t> lastNumber = job;
  Overwrite(lastNumber, job.size() - 40, 20);
  EXPECT_FALSE(CheckJob(lastNumber));
}

TEST_F(PacketCheck, RefusesAVariableTextWithoutTerminator) {
  // From the person identifiers to the end nothing but characters.
  std::vector<uint8_t> bytes = job;
  const size_t persons = Find(job, u"CE-4-4-4-4");
  Overwrite(bytes, persons, (job.size() - persons) / 2);
  EXPECT_FALSE(CheckJob(bytes));
}

TEST_F(PacketCheck, RefusesATerminatorCutInHalf) {
  std::vector<uint8_t> bytes(job.begin(), job.begin() + 29);
  bytes[28] = 0;  // one byte of the empty identifier's terminator
  EXPECT_FALSE(CheckJob(bytes));
}

TEST_F(PacketCheck, ToleratesAShortFlagText) {
  std::vector<uint8_t> bytes = job;
  const size_t flags = Find(job, MakeSampleJob()->GetFlags());
  for (const size_t length : {18u, 1u, 0u}) {
    bytes[flags + 2 * length] = 0;
    EXPECT_TRUE(CheckJob(bytes)) << length;
  }
}

TEST_F(PacketCheck, ReadsTheOlderLayoutNarrower) {
  std::vector<uint8_t> bytes = job;
  bytes[20] = 'A';
  bytes[22] = 'C';
  bytes[24] = 'T';
  // Read in 20 units, the first identifier's second half is the second identifier, and so on: all
  // fields still end, but in other places.
  const bool isAccepted = CheckJob(bytes);
  if (isAccepted) {
    EXPECT_TRUE(CJobPacket(bytes.data(), static_cast<DWORD>(bytes.size())).IsValid());
  }
  // An identifier of 20 characters fits the present width only.
  Overwrite(bytes, Find(job, u"CE-1-1-1-1"), 20);
  EXPECT_FALSE(CheckJob(bytes));
  bytes[20] = 'a';
  bytes[22] = 'c';
  bytes[24] = 't';
  EXPECT_TRUE(CheckJob(bytes));
}

TEST_F(PacketCheck, KindIsReadAsANumberIsRead) {
  struct Case {
    const char16_t* text;
    bool isKnown;
  };
  const Case cases[] = {{u"1", true},   {u"5", true},   {u"0", false},          {u"6", false},
                        {u"-1", false}, {u"", false},   {u"x", false},          {u"3x", true},
                        {u" 3", true},  {u"+3", true},  {u"- 3", false},        {u"003", true},
                        {u"13", false}, {u"1 3", true}, {u"4294967297", true},  {u"3.9", true},
                        {u"\t2", true}, {u"x3", false}, {u"2147483648", false}, {u"--3", false}};
  for (const Case& given : cases) {
    std::vector<uint8_t> bytes = type;
    std::fill_n(bytes.begin() + 20, 40, uint8_t{0});
    std::memcpy(bytes.data() + 20, given.text,
                std::char_traits<char16_t>::length(given.text) * sizeof(char16_t));
    EXPECT_EQ(CheckType(bytes), given.isKnown) << std::string(given.text, given.text + 1);
  }
}

TEST_F(PacketCheck, PacketsOfTheOtherKindAreRefusedOrSaySoThemselves) {
  // "1" stands where a job has its type text.
  EXPECT_TRUE(CheckJob(type));
  EXPECT_FALSE(CJobPacket(type.data(), static_cast<DWORD>(type.size())).IsValid());
  EXPECT_FALSE(CheckType(job)) << "\"act\" is no kind";
}

}  // namespace
}  // namespace wkt::test
