#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

using nlohmann::json;

class Command : public CommandTest {};

TEST_F(Command, WrongArgumentsAreUsageErrors) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"nothing"},
                                                    {"sync"},
                                                    {"sync", "a", "b", "--partner", "3"},
                                                    {"job", "list", "nowhere"},
                                                    {"sync", "nowhere", "desk"},
                                                    {"import", "nowhere", "x.json"},
                                                    {"device", "show", "nowhere"}}) {
    const CommandResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 2) << (arguments.empty() ? "" : arguments[0]);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
}

TEST_F(Command, HelpHasExamples) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"sync", "--help"},
                                                    {"job", "add", "--help"},
                                                    {"device", "new", "--help"},
                                                    {"import", "--help"}}) {
    const CommandResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.out.find("Examples:\n  wkt "), std::string::npos) << result.out;
  }
}

TEST_F(Command, DeviceIsInstalledAsAnInstallerWould) {
  MakeDevice("pocket");
  const json report = json::parse(Run({"device", "show", "pocket", "--json"}).out);
  EXPECT_EQ(report["installPath"], "\\Program Files\\Worktally\\");
  EXPECT_EQ(report["databaseVersion"], 74);
  EXPECT_EQ(report["zone"], "Europe/Vienna");
  EXPECT_EQ(report["time"], "2026-03-02T08:00:00Z");
  EXPECT_EQ(Run({"device", "new", "pocket"}).exitCode, 4) << "what is there is not made anew";
}

TEST_F(Command, FailedNewDeviceLeavesNothingBehind) {
  EXPECT_EQ(Run({"device", "new", "deep/er/pocket", "--zone", "Mars/Base"}).exitCode, 4);
  EXPECT_EQ(Run({"device", "new", "deep/er/pocket"}).exitCode, 0);
}

TEST_F(Command, RecordsWithoutANameAreRefused) {
  MakeDevice("pocket");
  const CommandResult job = Run({"job", "add", "pocket"});
  EXPECT_EQ(job.exitCode, 2);
  EXPECT_NE(job.err.find("a job needs a --title"), std::string::npos) << job.err;
  EXPECT_EQ(Run({"favorite", "add", "pocket"}).exitCode, 2);
  EXPECT_EQ(Run({"type", "add", "pocket", "--kind", "2"}).exitCode, 2);
  EXPECT_EQ(json::parse(Run({"job", "list", "pocket", "--json"}).out).size(), 0u);
}

// Numbers and titles of a table are those of the JSON report.
TEST_F(Command, TextAndJsonAgree) {
  MakeDevice("pocket");
  ASSERT_EQ(
      Run({"import", "pocket", std::string(WKT_SOURCE) + "/data/sample/sample.json"}).exitCode, 0);
  const json jobs = json::parse(Run({"job", "list", "pocket", "--json"}).out);
  const std::string table = Run({"job", "list", "pocket"}).out;
  EXPECT_EQ(static_cast<size_t>(std::count(table.begin(), table.end(), '\n')), jobs.size() + 1);
  for (const json& job : jobs) {
    EXPECT_NE(
        table.find("#" + job["resolved"]["number"].dump() + "  " + job["day"].get<std::string>()),
        std::string::npos);
  }
  const std::string text = Run({"sync", "pocket", "desk", "--dry-run"}).out;
  const json report = json::parse(Run({"sync", "pocket", "desk", "--dry-run", "--json"}).out);
  for (const json& row : report["folders"]) {
    std::string line = row["folder"].get<std::string>();
    for (const char* column : {"toDesktop", "toDevice", "deletedOnDesktop", "deletedOnDevice",
                               "conflicts", "failed", "onDevice", "onDesktop"}) {
      line += " +" + row[column].dump();
    }
    EXPECT_TRUE(std::regex_search(text, std::regex(line))) << line << "\n" << text;
  }
}

TEST_F(Command, DryRunChangesNothing) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"job", "add", "pocket", "--title", "a"}).exitCode, 0);
  ASSERT_EQ(Run({"sync", "pocket", "desk", "--dry-run"}).exitCode, 0);
  EXPECT_FALSE(std::filesystem::exists(Path("desk")));
  EXPECT_EQ(
      json::parse(Run({"status", "pocket", "--json"}).out)["folders"][2]["changedForPartner1"], 1);
}

TEST_F(Command, ExitCodesAreThoseWrittenDown) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"job", "add", "pocket", "--title", "a"}).exitCode, 0);
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  Run({"job", "change", "pocket", "a", "--comment", "device"});
  Run({"job", "change", "desk", "a", "--comment", "desktop"});
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 1);
  for (int i = 0; i < 11; ++i) {
    Run({"job", "add", "desk", "--title", "many " + std::to_string(i)});
  }
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  for (int i = 0; i < 11; ++i) {
    Run({"job", "delete", "desk", "many " + std::to_string(i)});
  }
  const CommandResult refused = Run({"sync", "pocket", "desk"});
  EXPECT_EQ(refused.exitCode, 5);
  EXPECT_NE(refused.err.find("--allow-delete"), std::string::npos);
  EXPECT_EQ(Run({"sync", "pocket", "desk", "--allow-delete"}).exitCode, 0);
  std::filesystem::remove(Path("pocket/files/Program Files/Worktally/WktDevSync.dll"));
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 4);
}

TEST_F(Command, EditsOnADeviceClearBothPartnersMarks) {
  MakeDevice("pocket");
  Run({"job", "add", "pocket", "--title", "a"});
  Run({"sync", "pocket", "desk"});
  Run({"sync", "pocket", "office", "--partner", "2"});
  EXPECT_EQ(json::parse(Run({"why", "pocket", "a", "--json"}).out)["flags"], "0010110000000000000");
  Run({"job", "change", "pocket", "a", "--comment", "x"});
  EXPECT_EQ(json::parse(Run({"why", "pocket", "a", "--json"}).out)["flags"], "0010000000000000000");
}

TEST_F(Command, TraceHoldsEveryCallByName) {
  MakeDevice("pocket");
  Run({"job", "add", "pocket", "--title", "a"});
  ASSERT_EQ(Run({"sync", "pocket", "desk", "--trace", Path("run.jsonl")}).exitCode, 0);
  std::ifstream file(Path("run.jsonl"));
  std::string line;
  std::vector<std::string> calls;
  while (std::getline(file, line)) {
    const json call = json::parse(line);
    calls.push_back(call["call"]);
    if (calls.back() == "IReplObjHandler::GetPacket") {
      EXPECT_EQ(call["result"], "RWRN_LAST_PACKET");
      EXPECT_EQ(call["packet"].get<std::string>().substr(0, 8), "57006f00");  // "Wo"
    }
  }
  EXPECT_EQ(calls.front(), "InitObjType");
  EXPECT_EQ(calls.back(), "InitObjType");
  for (const char* expected :
       {"ReportStatus", "FindObjects", "GetObjTypeInfo", "IReplObjHandler::Setup",
        "IReplObjHandler::GetPacket", "IReplObjHandler::Reset", "ObjectNotify",
        "IReplObjHandler::Release"}) {
    EXPECT_NE(std::find(calls.begin(), calls.end(), expected), calls.end()) << expected;
  }
}

TEST_F(Command, SecondImportAddsNothing) {
  MakeDevice("pocket");
  const std::string sample = std::string(WKT_SOURCE) + "/data/sample/sample.json";
  EXPECT_EQ(json::parse(Run({"import", "pocket", sample, "--json"}).out)["folders"][2]["added"],
            120);
  const json again = json::parse(Run({"import", "pocket", sample, "--json"}).out);
  EXPECT_EQ(again["folders"][2]["added"], 0);
  EXPECT_EQ(again["folders"][2]["alreadyThere"], 120);
}

TEST_F(Command, ImportErrorsNameFileLineAndExpectation) {
  MakeDevice("pocket");
  const auto problem = [this](const std::string& content) {
    std::ofstream(Path("x.json"), std::ios::binary) << content;
    const CommandResult result = Run({"import", "pocket", "x.json"});
    EXPECT_EQ(result.exitCode, 2);
    return result.err;
  };
  EXPECT_EQ(problem("{\"jobs\": [\n{\"title\": \"fine\"},\n{\"title\": 7}]}"),
            "wkt: x.json:3: title is 7, expected a text\n");
  EXPECT_NE(problem("{\n\"jobs\": [").find("wkt: x.json:2: not JSON"), std::string::npos);
  EXPECT_EQ(problem("[]"), "wkt: x.json:1: expected an object with types, favorites and jobs\n");
  EXPECT_NE(problem("\xFF\xFE{").find("UTF-16"), std::string::npos);
  EXPECT_EQ(problem("{\n\"jobs\": \"\xE4\"}"),
            "wkt: x.json:2: not UTF-8, probably Latin-1; convert the file to UTF-8 first\n");
  EXPECT_EQ(json::parse(Run({"job", "list", "pocket", "--json"}).out).size(), 0u)
      << "all or nothing";
}

}  // namespace
}  // namespace wkt::test
