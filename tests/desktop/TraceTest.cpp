#include "desktop/manager/Trace.h"

#include <gtest/gtest.h>

namespace wkt {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(TraceTest, HexTextIsReadInEitherCase) {
  EXPECT_EQ(FromHex("09afAF10"), (Bytes{0x09, 0xAF, 0xAF, 0x10}));
  EXPECT_EQ(FromHex(""), Bytes());
}

TEST(TraceTest, NothingIsReadFromTextThatIsNotPairsOfDigits) {
  for (const char* text : {"0", "123", "0g", "G0", "0x", " 0", "1 ", "-1", "/0", "0:", "@0", "`0"})
    EXPECT_FALSE(FromHex(text)) << text;
}

}  // namespace
}  // namespace wkt
