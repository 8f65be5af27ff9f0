// Answers questions on a Windows, real or not: each line "question -> ..." of the standard input
// comes back with that system's answer. With the argument "random" the answers to all questions of
// Questions.h, one a line, without the questions.
#include <cstdio>
#include <string>

#include "tests/platform/foreign/Answer.h"
#include "tests/platform/foreign/Questions.h"

int main(int count, char**) {
  if (count > 1) {
    for (uint32_t number = 0; number < wkt::foreign::kQuestionCount; ++number)
      printf("%s\n", wkt::foreign::Answer(wkt::foreign::Question(number)).c_str());
    return 0;
  }
  std::string line;
  for (int unit = getchar();; unit = getchar()) {
    if (unit != '\n' && unit != EOF) {
      line += static_cast<char>(unit);
      continue;
    }
    const bool isQuestion = !line.empty() && line[0] != '#';
    const std::string question = line.substr(0, line.find(" -> "));
    if (isQuestion) {
      printf("%s -> %s\n", question.c_str(), wkt::foreign::Answer(question).c_str());
    } else if (!line.empty() || unit != EOF) {
      printf("%s\n", line.c_str());
    }
    line.clear();
    if (unit == EOF)
      return 0;
  }
}
