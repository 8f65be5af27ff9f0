// Makes tests/data/foreign/random.txt of another implementation's answers to all questions of
// Questions.h (a file, one a line): a hash for each block of them, and each answer that differs
// from the device's.
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <string>

#include "tests/platform/foreign/Answer.h"
#include "tests/platform/foreign/Questions.h"
#include "tests/support/DeskDevice.h"

namespace wkt::foreign {

void SetDeviceClock(uint64_t ticks) {
  std::string error;
  if (!control::FreezeClock(ticks, error))
    fprintf(stderr, "%s\n", error.c_str());
}

}  // namespace wkt::foreign

int main(int count, char** arguments) {
  using namespace wkt::foreign;
  if (count != 2)
    return 2;
  const wkt::test::DeskDevice device;
  std::ifstream file(arguments[1]);
  std::string blocks;
  std::string differences;
  uint64_t hash = kHashStart;
  for (uint32_t number = 0; number < kQuestionCount; ++number) {
    std::string theirs;
    if (!std::getline(file, theirs)) {
      fprintf(stderr, "%s has %u answers only\n", arguments[1], number);
      return 1;
    }
    hash = AddToHash(hash, theirs);
    if (theirs != Answer(Question(number)))
      differences += std::to_string(number) + " " + theirs + "\n";
    if (number % kBlockQuestions == kBlockQuestions - 1) {
      char line[32];
      snprintf(line, sizeof line, "%016" PRIX64 "\n", hash);
      blocks += line;
      hash = kHashStart;
    }
  }
  printf(
      "# Another implementation's answers to the questions of "
      "tests/platform/foreign/Questions.cpp:\n"
      "# a hash for each hundred, then the numbers of the questions that it answers otherwise "
      "than\n"
      "# the device on the desk, with its answers. Made by "
      "scripts/record_foreign_answers.sh.\n%s\n%s",
      blocks.c_str(), differences.c_str());
  return 0;
}
