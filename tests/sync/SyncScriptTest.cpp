#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "tests/support/DeskDevice.h"
#include "tests/support/LogCapture.h"
#include "tests/sync/Player.h"
#include "tests/sync/Script.h"

// Runs every script of this folder on a device of its own. With WKT_RECORD set in the environment
// the scripts are written anew with what happened: to be read line by line before it is kept.
namespace {

using wkt::test::LogLines;
using wkt::test::Script;
using wkt::test::Step;

std::vector<std::string> ScriptNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(WKT_SCRIPT_DIR)) {
    if (entry.path().extension() == ".txt" && entry.path().stem() != "CMakeLists")
      names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// A script is a text of lines and outlives versions of the library.
std::string AsOneLine(const std::string& text) {
  static const std::regex version("version [0-9]+\\.[0-9]+ build [0-9]+");
  std::string line;
  for (const char character : text)
    line += character == '\n' ? "\\n" : std::string(1, character);
  return std::regex_replace(line, version, "version V build B");
}

class SyncScript : public ::testing::TestWithParam<std::string> {
 protected:
  // Names for what differs from run to run run through the whole script, so the log is filtered as
  // a whole and then cut into steps again.
  static void TakeApart(Script& script, const LogLines& filtered,
                        const std::vector<size_t>& lineCounts,
                        const std::vector<std::vector<std::string>>& answers) {
    auto line = filtered.begin();
    for (size_t i = 0; i < script.steps.size(); ++i) {
      script.steps[i].output.clear();
      for (const std::string& answer : answers[i])
        script.steps[i].output.push_back(AsOneLine(answer));
      for (size_t j = 0; j < lineCounts[i]; ++j)
        script.steps[i].output.push_back("  " + AsOneLine(*line++));
    }
  }

  static Script Run(Script script, wkt::test::LogCapture& capture) {
    wkt::test::Player player;
    LogLines log;
    std::vector<size_t> lineCounts;
    std::vector<std::vector<std::string>> answers;
    for (const Step& step : script.steps) {
      answers.push_back(player.Play(wkt::test::ParseCommand(step.command)));
      const LogLines lines = wkt::test::WithoutAddresses(capture.Take());
      lineCounts.push_back(lines.size());
      log.insert(log.end(), lines.begin(), lines.end());
    }
    TakeApart(script, wkt::test::FilterLog(log), lineCounts, answers);
    return script;
  }
  static std::string Path() { return std::string(WKT_SCRIPT_DIR) + "/" + GetParam() + ".txt"; }
};

void ExpectStep(const Step& step, const std::vector<std::string>& expected) {
  const auto [got, wanted] =
      std::mismatch(step.output.begin(), step.output.end(), expected.begin(), expected.end());
  if (got == step.output.end() && wanted == expected.end())
    return;
  std::string whole;
  for (const std::string& line : step.output)
    whole += line + "\n";
  ADD_FAILURE() << "line " << step.line << ": $ " << step.command << "\nsays\n"
                << (got == step.output.end() ? "(nothing)" : *got) << "\nexpected\n"
                << (wanted == expected.end() ? "(nothing)" : *wanted) << "\nall of it:\n"
                << whole;
}

TEST_P(SyncScript, BringsAboutWhatItSays) {
  wkt::test::DeskDevice device;
  wkt::test::LogCapture capture(device);
  device.MakeInstallation();
  device.InstallLibraries({"WktDevSync"});
  const Script expected = wkt::test::ReadScript(Path());
  ASSERT_FALSE(expected.steps.empty());
  const Script played = Run(expected, capture);
  if (std::getenv("WKT_RECORD"))
    return wkt::test::WriteScript(Path(), played);
  for (size_t i = 0; i < played.steps.size(); ++i)
    ExpectStep(played.steps[i], expected.steps[i].output);
}

// A logging library that lacks functions misses what they would have been told, and nothing else.
class PartlyHeardScript : public SyncScript {
 protected:
  static bool IsMark(const std::string& line) {
    return line.starts_with("  >") || line.starts_with("  <");
  }
  static bool IsLine(const std::string& line) { return line.starts_with("  ") && !IsMark(line); }

  static void Expect(wkt::test::LogCapture::Exports exports,
                     bool (*isMissing)(const std::string&)) {
    const Script expected = wkt::test::ReadScript(Path());
    wkt::test::DeskDevice device;
    wkt::test::LogCapture capture(device, exports);
    device.MakeInstallation();
    device.InstallLibraries({"WktDevSync"});
    const Script played = Run(expected, capture);
    for (size_t i = 0; i < played.steps.size(); ++i) {
      std::vector<std::string> told = expected.steps[i].output;
      std::erase_if(told, isMissing);
      ExpectStep(played.steps[i], told);
    }
  }
};

TEST_P(PartlyHeardScript, WritesItsLinesAlone) {
  Expect(wkt::test::LogCapture::Exports::WriteOnly, IsMark);
}

TEST_P(PartlyHeardScript, WritesEnterAndLeaveAlone) {
  Expect(wkt::test::LogCapture::Exports::EnterAndLeaveOnly, IsLine);
}

// Where no logging library is installed.
class SilentSyncScript : public ::testing::TestWithParam<std::string> {
 protected:
  static bool IsLogLine(const std::string& line) { return line.starts_with("  "); }
  wkt::test::DeskDevice device;
};

TEST_P(SilentSyncScript, AnswersTheSame) {
  device.MakeInstallation();
  device.InstallLibraries({"WktDevSync"});
  const Script expected =
      wkt::test::ReadScript(std::string(WKT_SCRIPT_DIR) + "/" + GetParam() + ".txt");
  ASSERT_FALSE(expected.steps.empty());
  wkt::test::Player player;
  for (const Step& step : expected.steps) {
    Step answers = step;
    std::erase_if(answers.output, IsLogLine);
    Step played = step;
    played.output.clear();
    for (const std::string& answer : player.Play(wkt::test::ParseCommand(step.command)))
      played.output.push_back(AsOneLine(answer));
    ExpectStep(played, answers.output);
  }
  EXPECT_FALSE(device.FileExists(u"\\Program Files\\Worktally\\Logging\\WktDevSync.log.txt"));
}

std::string NameOfScript(const ::testing::TestParamInfo<std::string>& script) {
  std::string name = script.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Scripts, SyncScript, ::testing::ValuesIn(ScriptNames()), NameOfScript);
INSTANTIATE_TEST_SUITE_P(Scripts, PartlyHeardScript, ::testing::ValuesIn(ScriptNames()),
                         NameOfScript);
INSTANTIATE_TEST_SUITE_P(Scripts, SilentSyncScript, ::testing::ValuesIn(ScriptNames()),
                         NameOfScript);

}  // namespace
