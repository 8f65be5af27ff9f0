// Golden packets against the code, both ways.
#include "tests/support/GoldenPacket.h"

#include <gtest/gtest.h>

#include "WktCommon/PacketCheck.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {
namespace {

class GoldenPackets : public DeskDeviceTest {};

// At an odd address in a block of its own, so that nothing can be read beyond the ends unnoticed.
class ExactBytes {
 public:
  ExactBytes(const std::vector<uint8_t>& bytes, size_t byteCount)
      : block(new BYTE[byteCount + 1]), count(static_cast<DWORD>(byteCount)) {
    std::copy_n(bytes.begin(), byteCount, block.get() + 1);
  }
  [[nodiscard]] const BYTE* Data() const { return block.get() + 1; }
  [[nodiscard]] DWORD Count() const { return count; }

 private:
  std::unique_ptr<BYTE[]> block;
  DWORD count;
};

TEST_F(GoldenPackets, DecodeToTheirFields) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    const ExactBytes bytes(golden.bytes, golden.bytes.size());
    if (golden.IsJob()) {
      ExpectFields(CJobPacket(bytes.Data(), bytes.Count()), golden);
    } else {
      ExpectFields(CWktTypePacket(bytes.Data(), bytes.Count()), golden);
    }
  }
}

TEST_F(GoldenPackets, EncodeFromTheirFields) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (golden.hasJunk || golden.IsOlderLayout())
      continue;  // only ever received
    const std::vector<uint8_t> bytes =
        golden.IsJob() ? Encode(*MakeJobPacket(golden)) : Encode(*MakeTypePacket(golden));
    EXPECT_EQ(bytes, golden.bytes) << golden.name;
  }
}

TEST_F(GoldenPackets, EncodeAgainToTheSameBytesJunkIncluded) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (golden.IsOlderLayout())
      continue;
    const ExactBytes bytes(golden.bytes, golden.bytes.size());
    EXPECT_EQ(golden.IsJob() ? Encode(CJobPacket(bytes.Data(), bytes.Count()))
                             : Encode(CWktTypePacket(bytes.Data(), bytes.Count())),
              golden.bytes)
        << golden.name;
  }
}

TEST_F(GoldenPackets, OlderLayoutEncodesWithItsTypeTextAndPresentWidths) {
  int seen = 0;
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (!golden.IsOlderLayout())
      continue;
    ++seen;
    const ExactBytes bytes(golden.bytes, golden.bytes.size());
    std::vector<uint8_t> expected = Encode(*MakeJobPacket(golden));
    EXPECT_EQ(expected.size(), golden.bytes.size() + 120);
    for (size_t i = 0; i < 3; ++i)  // "act" to "ACT"
      expected[20 + 2 * i] = static_cast<uint8_t>(expected[20 + 2 * i] - 0x20);
    EXPECT_EQ(Encode(CJobPacket(bytes.Data(), bytes.Count())), expected) << golden.name;
  }
  EXPECT_EQ(seen, 2);
}

bool Check(const GoldenPacket& golden, const ExactBytes& bytes) {
  return golden.IsJob() ? CheckJobPacket(bytes.Data(), bytes.Count())
                        : CheckTypePacket(bytes.Data(), bytes.Count());
}

TEST_F(GoldenPackets, CheckAcceptsThemAndLongerOnes) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    EXPECT_TRUE(Check(golden, ExactBytes(golden.bytes, golden.bytes.size()))) << golden.name;
    for (const size_t more : {1u, 2u, 1000u}) {
      std::vector<uint8_t> longer = golden.bytes;
      longer.resize(longer.size() + more, 0xFF);
      EXPECT_TRUE(Check(golden, ExactBytes(longer, longer.size()))) << golden.name << more;
    }
  }
}

TEST_F(GoldenPackets, CheckRefusesEveryTruncation) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    const size_t size = golden.bytes.size();
    for (size_t byteCount = 0; byteCount < size; ++byteCount)
      EXPECT_FALSE(Check(golden, ExactBytes(golden.bytes, byteCount))) << golden.name << byteCount;
  }
}

// Whatever a single wrong byte does, what the check lets through is read inside its bytes, and the
// packet is valid or says why not.
TEST_F(GoldenPackets, WrongBytesNeverLeadOutside) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (golden.bytes.size() > 2000)
      continue;
    for (size_t at = 0; at < golden.bytes.size(); ++at) {
      std::vector<uint8_t> damaged = golden.bytes;
      damaged[at] ^= 0x41;
      const ExactBytes bytes(damaged, damaged.size());
      if (!Check(golden, bytes))
        continue;
      const bool isValid = golden.IsJob() ? CJobPacket(bytes.Data(), bytes.Count()).IsValid()
                                          : CWktTypePacket(bytes.Data(), bytes.Count()).IsValid();
      EXPECT_EQ(isValid, at >= (golden.IsJob() ? 28u : 20u)) << golden.name << " " << at;
    }
  }
}

}  // namespace
}  // namespace wkt::test
