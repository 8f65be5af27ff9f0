// Answers questions from standard input on a Windows, real or not: each line "question -> ..."
// comes back with that system's answer.
#include <cstdio>
#include <string>

#include "tests/platform/foreign/Answer.h"

int main() {
  std::string line;
  for (int unit = getchar();; unit = getchar()) {
    if (unit != '\n' && unit != EOF) {
      line += static_cast<char>(unit);
      continue;
    }
    const bool isQuestion = !line.empty() && line[0] != '#';
    const std::string question = line.substr(0, line.find(" -> "));
    if (isQuestion)
      printf("%s -> %s\n", question.c_str(), wkt::foreign::Answer(question).c_str());
    else if (!line.empty() || unit != EOF)
      printf("%s\n", line.c_str());
    line.clear();
    if (unit == EOF)
      return 0;
  }
}
