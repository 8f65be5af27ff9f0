#include "WktCommon/FlagText.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Text.h"

namespace {

using wkt::test::Narrow;

// The row between two units that nothing may touch.
struct Guarded {
  WCHAR before = 0xDEAD;
  wkt::FlagText flags = {u"0100000000000000001"};
  WCHAR after = 0xBEEF;
};

TEST(FlagText, PositionsOutsideTheRowAreOffAndLeftAlone) {
  Guarded row;
  for (const int outside : {-2147483647 - 1, -1, 19, 20, 2147483647}) {
    EXPECT_FALSE(wkt::IsFlagOn(row.flags, outside)) << outside;
    wkt::WriteFlag(row.flags, outside, true);
    EXPECT_EQ(Narrow(row.flags), "0100000000000000001") << outside;
  }
  EXPECT_EQ(row.before, 0xDEAD);
  EXPECT_EQ(row.after, 0xBEEF);
}

TEST(FlagText, TheFirstAndTheLastPositionAreOfTheRow) {
  Guarded row;
  wkt::WriteFlag(row.flags, 0, true);
  wkt::WriteFlag(row.flags, 18, false);
  EXPECT_EQ(Narrow(row.flags), "1100000000000000000");
}

// What reads the same is no change: whole texts, short ones and the empty one.
TEST(FlagText, CopyingTellsWhetherTheTextIsAnotherOne) {
  wkt::FlagText flags = {u"0010000000000000000"};
  EXPECT_FALSE(wkt::CopyFlags(flags, u"0010000000000000000"));
  EXPECT_FALSE(wkt::CopyFlags(flags, u"0010000000000000000 and more"));
  EXPECT_TRUE(wkt::CopyFlags(flags, u"001"));
  EXPECT_EQ(Narrow(flags), "001");
  EXPECT_FALSE(wkt::CopyFlags(flags, u"001"));
  EXPECT_TRUE(wkt::CopyFlags(flags, u"0010"));
  EXPECT_TRUE(wkt::CopyFlags(flags, u""));
  EXPECT_FALSE(wkt::CopyFlags(flags, u""));
}

}  // namespace
