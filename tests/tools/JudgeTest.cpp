// Exports read by programs that are not ours: Python's csv and python3-icalendar.
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

class Judge : public CommandTest {
 protected:
  std::string Write(const std::string& name, const std::string& content) {
    std::ofstream(Path(name), std::ios::binary) << content;
    return name;
  }
  // What the judge prints.
  std::string Ask(const std::string& arguments) {
    // The system's own interpreter has the system's packages.
    const std::string command = "cd " + folder.string() +
                                " && /usr/bin/python3 " WKT_SOURCE "/tests/tools/judge.py " +
                                arguments + " >answer 2>&1";
    const int result = std::system(command.c_str());
    return (result == 0 ? "" : "failed: ") + ReadFile(Path("answer"));
  }
  void ExpectAgreement(const std::string& home) {
    Write("all.json", Run({"export", home}).out);
    for (const std::string name : {"jobs", "favorites", "types"}) {
      Write("x.csv", Run({"export", home, "--csv", "--folder", name}).out);
      EXPECT_EQ(Ask("csv x.csv all.json " + name), "agreed\n");
    }
    Write("x.ics", Run({"export", home, "--ics"}).out);
    EXPECT_EQ(Ask("ics x.ics all.json"), "agreed\n");
  }
};

TEST_F(Judge, SampleIsReadByOthersAsItIs) {
  MakeDevice("pocket");
  ASSERT_EQ(
      Run({"import", "pocket", std::string(WKT_SOURCE) + "/data/sample/sample.json"}).exitCode, 0);
  ExpectAgreement("pocket");
}

TEST_F(Judge, HardTextsAreReadByOthersAsTheyAre) {
  MakeDevice("pocket");
  nlohmann::json file;
  int number = 0;
  const std::vector<std::string> texts = {
      "plain",
      "\"quoted\", and 'more'",
      "two\nlines",
      "three\r\nlines\r\nhere",
      "semi;colon, comma",
      "back\\slash",
      " blank at both ends ",
      "Gr\u00FC\u00DFe \U0001F600 \u65E5\u672C",
      "=1+1",
      "BEGIN:VEVENT",
      "tab\there",
      "\"",
      "a \"b\" c\n\"d\"",
  };
  std::string longText;
  for (int i = 0; i < 90; ++i) {
    longText += "\xC3\xA4\xF0\x9F\x98\x80x";  // folds fall into the middle of letters
  }
  for (const std::string& text : texts) {
    file["jobs"].push_back({{"id", "J" + std::to_string(number)},
                            {"title", text},
                            {"comment", longText + text},
                            {"project", "P" + std::to_string(number)},
                            {"start", "2026-03-29T01:30"},
                            {"end", "2026-03-29T03:30"}});
    file["favorites"].push_back({{"id", "F" + std::to_string(number)}, {"title", text}});
    file["types"].push_back({{"id", "P" + std::to_string(number)},
                             {"kind", 2},
                             {"name1", text},
                             {"unused1", number == 0 ? "" : "P0"}});
    ++number;
  }
  const CommandResult result = Run({"import", "pocket", Write("hard.json", file.dump())});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  ExpectAgreement("pocket");
}

}  // namespace
}  // namespace wkt::test
