// The answers of another implementation of the same functions, recorded by
// scripts/record_foreign_answers.sh, against those of the device on the desk.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>

#include "tests/platform/foreign/Answer.h"
#include "tests/support/DeskDevice.h"

namespace wkt::foreign {

void SetDeviceClock(uint64_t ticks) {
  std::string error;
  EXPECT_TRUE(control::FreezeClock(ticks, error)) << error;
}

}  // namespace wkt::foreign

namespace wkt::test {

namespace {

using Foreign = DeskDeviceTest;

// Where the device differs, why, and its answer.
const std::map<std::string, std::string>& Differences() {
  static const std::map<std::string, std::string> differences = {
      // The other accepts a 29 February of years that have none, and a year too many.
      {"ticks 1700 2 29 19 26 52 44", "error 87"},
      {"ticks 30828 1 1 7 28 27 727", "error 87"},
      {"date 0 200 2026 2 29 dd", "error 87"},
      // One y is the year without a leading zero.
      {"date 0 200 1601 1 1 y", "2 1"},
      // The marker takes what separates it on both sides along.
      {"time 4 200 21 45 7 tt h:mm", "5 9:45"},
      {"time 12 200 21 45 7 tt h:mm", "6 21:45"},
      {"time 14 200 21 45 7 tt h:mm", "6 21:45"},
      // Unknown flags are refused.
      {"time 16 200 9 5 7 h:mm", "error 1004"},
      // Seventeen digits are exact, zeros follow.
      {"print 290 double 1e100 %f", "108 1" + std::string(100, '0') + ".000000"},
      {"print 290 double 1e100 %.2f", "104 1" + std::string(100, '0') + ".00"},
      {"print 290 double 1e100 %.0f", "101 1" + std::string(100, '0')},
      {"print 290 double 1e100 %10.2f|", "105 1" + std::string(100, '0') + ".00|"},
      {"print 290 double 1e100 %+.1f", "104 +1" + std::string(100, '0') + ".0"},
  };
  return differences;
}

TEST_F(Foreign, AnswersAgree) {
  std::ifstream file(WKT_SOURCE_DIR "/tests/data/foreign/answers.txt");
  ASSERT_TRUE(file) << "no recorded answers";
  size_t asked = 0;
  size_t differences = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#')
      continue;
    const size_t arrow = line.find(" -> ");
    ASSERT_NE(arrow, std::string::npos) << line;
    const std::string question = line.substr(0, arrow);
    const std::string theirs = line.substr(arrow + 4);
    const std::string ours = foreign::Answer(question);
    ++asked;
    const auto known = Differences().find(question);
    if (known == Differences().end()) {
      EXPECT_EQ(ours, theirs) << question;
      continue;
    }
    ++differences;
    EXPECT_EQ(ours, known->second) << question;
    EXPECT_NE(theirs, known->second) << "no difference any more: " << question;
  }
  EXPECT_GT(asked, 700u);
  EXPECT_EQ(differences, Differences().size());
}

}  // namespace

}  // namespace wkt::test
