// What is said of each command is complete, and its examples do what they say.
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

class Manual : public CommandTest {
 protected:
  struct Described {
    std::vector<std::string> words;  // "device", "new"
    std::string help;
  };

  // All commands without commands below them, as --help tells them.
  std::vector<Described> Commands() {
    std::vector<Described> found;
    Visit({}, &found);
    return found;
  }
  static std::vector<std::string> ExamplesOf(const std::string& help) {
    std::vector<std::string> examples;
    const size_t start = help.find("\nExamples:\n");
    std::istringstream lines(start == std::string::npos ? "" : help.substr(start + 11));
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("  wkt ")) {
        examples.push_back(line.substr(2));
      }
    }
    return examples;
  }
  static std::string Join(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
      text += (text.empty() ? "" : " ") + word;
    }
    return text;
  }
  int Shell(const std::string& line, const std::string& where) {
    const std::string bin = std::filesystem::path(WKT_COMMAND).parent_path().string();
    return WEXITSTATUS(std::system(("cd '" + where + "' && PATH='" + bin + "':$PATH && { " + line +
                                    "\n} >>'" + Path("said") + "' 2>&1")
                                       .c_str()));
  }
  // A folder with everything that examples speak of.
  void MakeWorld() {
    std::filesystem::create_directory(Path("world"));
    const std::string script =
        "wkt device new pocket --zone Europe/Vienna --clock 2026-03-02T08:00Z --durability off &&"
        "wkt type add pocket --kind 2 --name Garden &&"
        "wkt job add pocket --title 'Weekly meeting' --start '2026-03-02 09:00' &&"
        "wkt favorite add pocket --title Lunch &&"
        "wkt sync pocket desk --trace run.jsonl && cp run.jsonl monday.jsonl &&"
        "wkt sync pocket desk --trace tuesday.jsonl &&"
        "wkt sync pocket office --partner 2 &&"
        "wkt packet get pocket 'Weekly meeting' >job.packet &&"
        "wkt packet decode job.packet --json >job.json &&"
        "wkt backup pocket pocket.wktb &&"
        "wkt device registry export pocket 'HKEY_LOCAL_MACHINE\\SOFTWARE' >software.txt &&"
        "wkt export pocket --ics >calendar.ics &&"
        "cp '" WKT_SOURCE
        "/data/sample/sample.json' . &&"
        "printf 'Name,Came,Left\\nSam,2026-03-02 08:00,2026-03-02 12:00\\n' >clock.csv &&"
        "printf 'Day;From;To\\n2026-03-02;08:00;12:00\\n2026-03-02;22:00;06:00\\n' >days.csv &&"
        "printf 'Client,Project,Description,Start date,Start time,End date,End time\\n"
        ",House,Roof,2026-03-02,08:00:00,2026-03-02,09:00:00\\n' >toggl.csv";
    ASSERT_EQ(Shell(script, Path("world")), 0) << ReadFile(Path("said"));
  }

 private:
  void Visit(const std::vector<std::string>& words, std::vector<Described>* found) {
    std::vector<std::string> arguments = words;
    arguments.push_back("--help");
    const CommandResult result = Run(arguments);
    ASSERT_EQ(result.exitCode, 0) << Join(words);
    const size_t start = result.out.find("\nSubcommands:\n");
    if (start == std::string::npos) {
      found->push_back({words, result.out});
      return;
    }
    std::istringstream lines(result.out.substr(start + 14));
    for (std::string line; std::getline(lines, line) && line.starts_with("  ");) {
      std::vector<std::string> below = words;
      below.push_back(line.substr(2, line.find(' ', 2) - 2));
      Visit(below, found);
    }
  }
};

TEST_F(Manual, PageHasEveryCommandAndOption) {
  const std::string page = Run({"man"}).out;
  const std::vector<Described> commands = Commands();
  EXPECT_GE(commands.size(), 36u);
  const std::regex option("\n  ((?:-[a-z],)?--[a-z0-9-]+|[A-Z][A-Z0-9]*)[ ,\n]");
  for (const Described& command : commands) {
    std::string heading =
        "\n.SS wkt " + std::regex_replace(Join(command.words), std::regex("-"), "\\-");
    const size_t start = page.find(heading);
    ASSERT_NE(start, std::string::npos) << heading;
    const std::string section = page.substr(start, page.find("\n.S", start + 1) - start);
    size_t options = 0;
    for (std::sregex_iterator match(command.help.begin(), command.help.end(), option), end;
         match != end; ++match) {
      std::string name = (*match)[1].str();
      if (name == "-h,--help" || name == "--json") {
        continue;
      }
      name = std::regex_replace(name, std::regex("-"), "\\-");
      EXPECT_NE(section.find("\n.B " + name), std::string::npos) << heading << ": " << name;
      ++options;
    }
    EXPECT_GE(options, command.words.back() == "man" ? 0u : 1u) << heading;
    for (const std::string& example : ExamplesOf(command.help)) {
      std::string line = std::regex_replace(example, std::regex("\\\\"), "\\e");
      line = std::regex_replace(line, std::regex("-"), "\\-");
      EXPECT_NE(section.find("\n" + line + "\n"), std::string::npos) << line;
    }
  }
}

TEST_F(Manual, PageIsRenderedWithoutWarnings) {
  if (std::system("command -v groff >/dev/null") != 0) {
    GTEST_SKIP() << "there is no groff here";
  }
  std::ofstream(Path("wkt.1")) << Run({"man"}).out;
  const std::string command =
      "cd " + folder.string() +
      " && groff -man -Tascii -P-cbou -ww -rLL=100n wkt.1 >page.txt 2>warnings.txt";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadFile(Path("warnings.txt")), "");
  const std::string text = ReadFile(Path("page.txt"));
  for (const char* expected :
       {"wkt import HOME FILE", "--person-column", "EXIT STATUS", "HKEY_LOCAL_MACHINE\\SOFTWARE"}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected;
  }
}

TEST_F(Manual, ExamplesDoWhatTheySay) {
  MakeWorld();
  size_t run = 0;
  for (const Described& command : Commands()) {
    const std::string name = Join(command.words);
    const std::vector<std::string> examples = ExamplesOf(command.help);
    EXPECT_FALSE(examples.empty()) << name;
    const std::string place = Path("place");
    for (size_t i = 0; i < examples.size(); ++i) {
      // Examples that make the same thing anew begin anew.
      if (i == 0 || name == "device new") {
        std::filesystem::remove_all(place);
        if (name == "device new") {
          std::filesystem::create_directory(place);
        } else {
          std::filesystem::copy(Path("world"), place, std::filesystem::copy_options::recursive);
        }
        if (name == "backup") {
          std::filesystem::remove(place + "/pocket.wktb");
        }
      }
      if (name == "type add" && i == 0) {
        ASSERT_EQ(Shell("wkt type delete pocket Garden", place), 0);
      }
      std::filesystem::remove(Path("said"));
      // Two runs that differ are reported by the exit code.
      const int expected = name == "trace diff" ? 1 : 0;
      EXPECT_EQ(Shell(examples[i], place), expected) << examples[i] << "\n"
                                                     << ReadFile(Path("said"));
      ++run;
    }
  }
  EXPECT_GE(run, 50u);
}

}  // namespace
}  // namespace wkt::test
