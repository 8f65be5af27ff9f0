// The answers of another implementation to 100,000 random questions, recorded by
// scripts/record_foreign_answers.sh, against those of the device on the desk.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/platform/foreign/Answer.h"
#include "tests/platform/foreign/Questions.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {

namespace {

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

std::vector<std::string> Words(const std::string& question) {
  std::istringstream stream(question);
  std::vector<std::string> words;
  for (std::string word; stream >> word;)
    words.push_back(word);
  return words;
}

// Year, month and day of a question about one; zeros for others.
struct Day {
  int year = 0, month = 0, day = 0;
};
Day DayOf(const std::vector<std::string>& words) {
  const size_t first = words[0] == "ticks" ? 1 : words[0] == "date" ? 3 : 0;
  return first == 0 ? Day{}
                    : Day{std::stoi(words[first]), std::stoi(words[first + 1]),
                          std::stoi(words[first + 2])};
}

// In the picture of a question about a date: what stands behind six words.
bool HasSingleYear(const std::string& question) {
  size_t start = 0;
  for (int word = 0; word < 6; ++word)
    start = question.find(' ', start) + 1;
  const std::string picture = question.substr(start);
  for (size_t place = 0; place < picture.size(); ++place) {
    const size_t end = picture.find_first_not_of('y', place);
    const size_t count = (end == std::string::npos ? picture.size() : end) - place;
    if (count == 1)
      return true;
    place += count;
  }
  return false;
}

// Steps of a registry question that systems take differently.
bool HasStep(const std::vector<std::string>& words, const std::string& step,
             bool (*matches)(const std::vector<std::string>& words, size_t place)) {
  for (size_t place = 1; words[0] == "registry" && place < words.size(); ++place) {
    if (words[place] == step && matches(words, place))
      return true;
  }
  return false;
}

bool EndsWithoutTerminator(const std::vector<std::string>& words, size_t place) {
  const std::string& type = words[place + 3];
  const std::string& hex = words[place + 4];
  return (type == "1" || type == "2" || type == "7") && hex != "-" && !hex.ends_with("0000");
}

// Why the device answers otherwise, and for how many of the questions. The first that fits counts.
struct Decision {
  const char* why;
  size_t count;
  bool (*fits)(const std::string& question, const std::vector<std::string>& words);
};
const Decision kDecisions[] = {
    {"a 29 February that does not exist is no date", 111,
     [](const std::string&, const std::vector<std::string>& words) {
       const Day day = DayOf(words);
       const bool isLeap = day.year % 4 == 0 && (day.year % 100 != 0 || day.year % 400 == 0);
       return day.month == 2 && day.day == 29 && !isLeap;
     }},
    {"30827 is the last whole year", 241,
     [](const std::string&, const std::vector<std::string>& words) {
       return DayOf(words).year > 30827;
     }},
    {"one y is the year without a leading zero", 235,
     [](const std::string& question, const std::vector<std::string>& words) {
       return words[0] == "date" && DayOf(words).year % 100 < 10 && HasSingleYear(question);
     }},
    {"integers with a precision are not filled up with zeros", 26,
     [](const std::string& question, const std::vector<std::string>& words) {
       const size_t start = question.find('%');
       const size_t flags = question.find_first_not_of("-+ #", start + 1);
       return words[0] == "print" && words[2].starts_with("int") && question[flags] == '0' &&
              question.find('.', flags) != std::string::npos;
     }},
    {"digits are those of ASCII", 511,
     [](const std::string& question, const std::vector<std::string>& words) {
       return words[0] == "wtol" && question.ends_with("\\0660");
     }},
    {"numbers beyond 32 bits wrap", 107,
     [](const std::string&, const std::vector<std::string>& words) {
       return words[0] == "wtol" && words.back().find_first_of("0123456789") != std::string::npos;
     }},
    {"creating the key itself opens it", 80,
     [](const std::string&, const std::vector<std::string>& words) {
       return HasStep(words, "create",
                      [](const auto& all, size_t place) { return all[place + 1] == "."; });
     }},
    {"a key is deleted with all below it, but never by the empty path", 33,
     [](const std::string&, const std::vector<std::string>& words) {
       return HasStep(words, "delete", [](const auto& all, size_t place) {
         return all[place + 1] != "none" && !Contains(all[place + 1], "deep");
       });
     }},
    {"values keep the bytes that were given, without a terminator of the system's", 11,
     [](const std::string&, const std::vector<std::string>& words) {
       return HasStep(words, "set", EndsWithoutTerminator);
     }},
};

struct Recorded {
  std::vector<uint64_t> blocks;
  std::map<uint32_t, std::string> differences;
};

Recorded ReadRecorded() {
  Recorded recorded;
  std::ifstream file(WKT_SOURCE_DIR "/tests/data/foreign/random.txt");
  bool isBehindBlocks = false;
  for (std::string line; std::getline(file, line);) {
    if (line.empty()) {
      isBehindBlocks = true;
    } else if (isBehindBlocks) {
      recorded.differences[static_cast<uint32_t>(std::stoul(line))] =
          line.substr(line.find(' ') + 1);
    } else if (line[0] != '#') {
      recorded.blocks.push_back(std::stoull(line, nullptr, 16));
    }
  }
  return recorded;
}

using Foreign = DeskDeviceTest;

TEST_F(Foreign, RandomAnswersAgree) {
  const Recorded recorded = ReadRecorded();
  ASSERT_EQ(recorded.blocks.size(), foreign::kQuestionCount / foreign::kBlockQuestions);
  std::vector<size_t> counts(std::size(kDecisions));
  uint64_t hash = foreign::kHashStart;
  std::string block;
  for (uint32_t number = 0; number < foreign::kQuestionCount; ++number) {
    const std::string question = foreign::Question(number);
    const std::string ours = foreign::Answer(question);
    const auto known = recorded.differences.find(number);
    const std::string& theirs = known != recorded.differences.end() ? known->second : ours;
    hash = foreign::AddToHash(hash, theirs);
    block += std::to_string(number) + ": " + question + " -> " + ours + "\n";
    if (known != recorded.differences.end()) {
      EXPECT_NE(ours, theirs) << "no difference any more: " << question;
      size_t decision = 0;
      while (decision < counts.size() && !kDecisions[decision].fits(question, Words(question)))
        ++decision;
      if (decision < counts.size()) {
        ++counts[decision];
      } else {
        ADD_FAILURE() << "not decided: " << question << " -> " << ours << ", theirs " << theirs;
      }
    }
    if (number % foreign::kBlockQuestions == foreign::kBlockQuestions - 1) {
      EXPECT_EQ(hash, recorded.blocks[number / foreign::kBlockQuestions])
          << "one of these was answered otherwise when it was recorded:\n"
          << block;
      hash = foreign::kHashStart;
      block.clear();
    }
  }
  for (size_t decision = 0; decision < counts.size(); ++decision)
    EXPECT_EQ(counts[decision], kDecisions[decision].count) << kDecisions[decision].why;
}

}  // namespace

}  // namespace wkt::test
