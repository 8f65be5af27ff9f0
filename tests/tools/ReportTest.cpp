// What the command prints: help, text and JSON of the same report, colours; and that a dry run
// leaves every byte where it is.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

using nlohmann::json;
using Words = std::set<std::string>;

class Report : public CommandTest {
 protected:
  std::string Write(const std::string& name, const std::string& content) {
    std::ofstream(Path(name), std::ios::binary) << content;
    return name;
  }

  // Names of the sub-commands that a help text lists.
  static std::vector<std::string> Subcommands(const std::string& help) {
    std::istringstream stream(help);
    std::vector<std::string> names;
    bool inList = false;
    for (std::string line; std::getline(stream, line);) {
      if (line == "Subcommands:" || line == "SUBCOMMANDS:") {
        inList = true;
      } else if (inList && line.starts_with("  ") && line[2] != ' ') {
        names.push_back(line.substr(2, line.find(' ', 2) - 2));
      } else if (inList && !line.starts_with("  ")) {
        inList = false;
      }
    }
    return names;
  }

  void ExpectHelp(const std::vector<std::string>& command, int* leaves) {
    std::vector<std::string> arguments = command;
    arguments.push_back("--help");
    const CommandResult help = Run(arguments);
    EXPECT_EQ(help.exitCode, 0);
    const std::vector<std::string> below = Subcommands(help.out);
    for (const std::string& name : below) {
      std::vector<std::string> longer = command;
      longer.push_back(name);
      ExpectHelp(longer, leaves);
    }
    if (below.empty()) {
      std::string words = "wkt";
      for (const std::string& word : command) {
        words += " " + word;
      }
      ++*leaves;
      EXPECT_NE(help.out.find("Examples:\n  " + words), std::string::npos) << words << help.out;
    }
  }

  static Words Numbers(const std::string& text) {
    Words numbers;
    std::string digits;
    for (const char c : text + " ") {
      if (c >= '0' && c <= '9') {
        digits += c;
      } else if (!digits.empty()) {
        numbers.insert(digits);
        digits.clear();
      }
    }
    return numbers;
  }

  static void ExpectShown(const std::string& text, const Words& numbers, const json& value,
                          const std::string& name, const Words& leftOut) {
    if (leftOut.contains(name)) {
      return;
    }
    if (value.is_structured()) {
      for (const auto& [key, item] : value.items()) {
        ExpectShown(text, numbers, item, value.is_object() ? key : name, leftOut);
      }
    } else if (value.is_string()) {
      EXPECT_NE(text.find(value.get<std::string>()), std::string::npos) << name << ": " << value;
    } else if (value.is_number()) {
      const std::string digits = value.dump();
      EXPECT_TRUE(numbers.contains(digits[0] == '-' ? digits.substr(1) : digits))
          << name << ": " << value;
    }
  }

  // Everything that the JSON says stands in the text, but for what is named, and every number of
  // the text stands in the JSON, unless it is derived ("*": any may be).
  void ExpectAgreement(const std::vector<std::string>& arguments, const Words& leftOut = {},
                       const Words& derived = {}) {
    std::string title;
    for (const std::string& argument : arguments) {
      title += argument + " ";
    }
    SCOPED_TRACE(title);
    const CommandResult plain = Run(arguments);
    std::vector<std::string> withJson = arguments;
    withJson.push_back("--json");
    const CommandResult structured = Run(withJson);
    EXPECT_EQ(plain.exitCode, structured.exitCode) << plain.err << structured.err;
    EXPECT_LE(plain.exitCode, 1) << plain.err;
    const json report = json::parse(structured.out, nullptr, false);
    ASSERT_FALSE(report.is_discarded()) << structured.out;
    ExpectShown(plain.out, Numbers(plain.out), report, "", leftOut);
    const Words known = Numbers(report.dump());
    for (const std::string& number : Numbers(plain.out)) {
      EXPECT_TRUE(known.contains(number) || derived.contains(number) || derived.contains("*"))
          << number << "\n"
          << plain.out;
    }
  }

  std::map<std::string, std::string> Bytes(const std::string& home) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Path(home))) {
      const std::string name = entry.path().filename().string();
      // Memory that processes share, made anew whenever it is missing.
      if (entry.is_regular_file() && name != "shared" && !name.ends_with("-shm")) {
        files[entry.path().string()] = ReadFile(entry.path().string());
      }
    }
    return files;
  }
};

using Files = std::map<std::string, std::string>;

// Names of the files that only one has, or that differ.
Words Different(const Files& before, const Files& after) {
  Words names;
  for (const auto* files : {&before, &after}) {
    for (const auto& [name, content] : *files) {
      if (!before.contains(name) || !after.contains(name) || before.at(name) != after.at(name)) {
        names.insert(name + " " + std::to_string(before.contains(name)) +
                     std::to_string(after.contains(name)));
      }
    }
  }
  return names;
}

TEST_F(Report, EveryCommandHasHelpWithExamples) {
  int leaves = 0;
  ExpectHelp({}, &leaves);
  EXPECT_EQ(leaves, 36);
}

TEST_F(Report, TextAndJsonAgree) {
  MakeDevice("pocket");
  Run({"type", "add", "pocket", "--kind", "2", "--name", "Garden"});
  Run({"type", "add", "pocket", "--kind", "2", "--name", "Pond", "--parent", "Garden"});
  Run({"favorite", "add", "pocket", "--title", "Lunch"});
  Run({"job", "add", "pocket", "--title", "Lilies", "--start", "2026-03-02 09:15", "--end",
       "2026-03-02 10:45", "--project", "Pond"});
  Run({"job", "add", "pocket", "--title", "Dig", "--comment", "deep"});
  ExpectAgreement({"sync", "pocket", "desk", "--dry-run"}, {"device", "desktop", "partner"});
  Run({"sync", "pocket", "desk"});
  Run({"job", "change", "pocket", "Dig", "--comment", "device"});
  Run({"job", "change", "desk", "Dig", "--comment", "desktop"});
  Run({"job", "delete", "desk", "Lilies"});
  Run({"job", "add", "desk", "--title", "Weeds"});

  ExpectAgreement({"sync", "pocket", "desk", "--dry-run"}, {"device", "desktop", "partner"});
  ExpectAgreement({"device", "show", "pocket"});
  ExpectAgreement({"status", "pocket"}, {"desktop"});
  ExpectAgreement({"status", "desk"}, {"report", "device"});
  ExpectAgreement({"why", "pocket", "Dig"}, {"position"});
  const Words columnsLeftOut{"id",      "version",  "modified", "created",  "useCount", "flags",
                             "unused1", "unused2",  "unused3",  "unused4",  "unused5",  "start",
                             "end",     "workType", "teamwork", "persons",  "name1",    "name2",
                             "parent",  "fields",   "favorite", "calendar", "kindName", "comment"};
  Words listed = columnsLeftOut;
  listed.insert("kind");
  // The project's identifier, of which the list shows the name.
  listed.insert("project");
  ExpectAgreement({"job", "list", "pocket"}, listed);
  ExpectAgreement({"favorite", "list", "pocket"}, listed);
  ExpectAgreement({"type", "list", "pocket"}, listed);
  ExpectAgreement({"job", "show", "pocket", "Dig"}, {"number"});
  ExpectAgreement({"type", "show", "desk", "Pond"}, {"number", "name"});
  ExpectAgreement({"device", "fsck", "pocket"}, {"folder"});
  std::ofstream(Path("pocket/files/a:b")).close();
  ExpectAgreement({"device", "fsck", "pocket"}, {"folder"});
  std::filesystem::remove(Path("pocket/files/a:b"));
  Write("more.json", R"({"jobs": [{"id": "m", "title": "Mow", "start": "2026-03-02T09:00"}]})");
  ExpectAgreement({"import", "pocket", "more.json", "--dry-run"}, {"file"});
  Write("p", Run({"packet", "get", "pocket", "Dig"}).out);
  ExpectAgreement({"packet", "explain", "p"}, {"fields"});
  const Words hex{"*"};
  ExpectAgreement({"packet", "decode", "p"}, {"packet", "provider", "raw"}, hex);
  Run({"sync", "pocket", "desk"});
  Run({"sync", "pocket", "desk", "--trace", "a"});
  Run({"sync", "pocket", "desk", "--trace", "b"});
  ExpectAgreement({"trace", "diff", "a", "b"}, {"calls"});
}

// Reports of what cannot be done twice.
TEST_F(Report, BackupsSayTheSameInTextAndJson) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"job", "add", "pocket", "--title", "a"}).exitCode, 0);
  const json saved = json::parse(Run({"backup", "pocket", "b", "--json"}).out);
  const std::string savedText = Run({"backup", "pocket", "c"}).out;
  ExpectShown(savedText, Numbers(savedText), saved, "", {"file", "folder"});
  const json restored = json::parse(Run({"restore", "pocket", "b", "--replace", "--json"}).out);
  EXPECT_EQ(restored["replaced"]["jobs"], 1);
  const CommandResult text = Run({"restore", "pocket", "b", "--replace"});
  ExpectShown(text.out, Numbers(text.out), restored, "", {"file", "folder", "replaced"});
  EXPECT_NE(text.err.find("with its 0 types, 0 favorites, 1 jobs by"), std::string::npos);
  const json deleted = json::parse(Run({"job", "delete", "pocket", "a", "--json"}).out);
  EXPECT_EQ(deleted["title"], "a");
}

TEST_F(Report, DryRunLeavesEveryByte) {
  MakeDevice("pocket");
  ASSERT_EQ(
      Run({"import", "pocket", std::string(WKT_SOURCE) + "/data/sample/sample.json"}).exitCode, 0);
  const auto device = Bytes("pocket");
  ASSERT_EQ(Run({"sync", "pocket", "desk", "--dry-run"}).exitCode, 0);
  EXPECT_FALSE(std::filesystem::exists(Path("desk")));
  EXPECT_EQ(Different(device, Bytes("pocket")), Words());

  // What a killed run left behind stays, too.
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  Run({"job", "change", "desk", "Day off", "--comment", "x"});
  for (unsigned milliseconds = 10; milliseconds < 60; milliseconds += 10) {
    Run({"job", "change", "pocket", "Phone rings", "--comment", std::to_string(milliseconds)});
    RunKilled({"sync", "pocket", "desk"}, milliseconds * 1000);
    const auto before = Bytes("pocket");
    const auto desk = Bytes("desk");
    EXPECT_LE(Run({"sync", "pocket", "desk", "--dry-run", "--allow-delete"}).exitCode, 1);
    EXPECT_EQ(Different(before, Bytes("pocket")), Words()) << milliseconds;
    EXPECT_EQ(Different(desk, Bytes("desk")), Words()) << milliseconds;
  }
}

// A terminal on stderr gets progress, in colours unless NO_COLOR says otherwise.
TEST_F(Report, ProgressIsPlainWithNoColor) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"job", "add", "pocket", "--title", "a"}).exitCode, 0);
  const auto onTerminal = [this](const char* noColor) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_EQ(grantpt(terminal), 0);
    EXPECT_EQ(unlockpt(terminal), 0);
    const pid_t child = fork();
    if (child == 0) {
      noColor ? setenv("NO_COLOR", noColor, 1) : unsetenv("NO_COLOR");
      dup2(open(ptsname(terminal), O_RDWR | O_NOCTTY), STDERR_FILENO);
      dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
      _exit(chdir(folder.c_str()) == 0 &&
                    execl(WKT_COMMAND, "wkt", "sync", "pocket", "desk", "--dry-run", nullptr) == 0
                ? 0
                : 127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    char buffer[4096];
    const ssize_t count = read(terminal, buffer, sizeof buffer);
    close(terminal);
    return count > 0 ? std::string(buffer, static_cast<size_t>(count)) : std::string();
  };
  const std::string plain = onTerminal("1");
  EXPECT_NE(plain.find("jobs: 1 of 1"), std::string::npos) << plain;
  EXPECT_EQ(plain.find('\033'), std::string::npos) << plain;
  const std::string coloured = onTerminal(nullptr);
  EXPECT_NE(coloured.find("\033[2mjobs: 1 of 1\033[0m"), std::string::npos) << coloured;
}

}  // namespace
}  // namespace wkt::test
