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
  EXPECT_EQ(Run({"device", "new", "deep/er/pocket", "--zone", "Mars/Base"}).exitCode, 2);
  EXPECT_FALSE(std::filesystem::exists(Path("deep/er/pocket")));
  EXPECT_EQ(Run({"device", "new", "deep/er/pocket"}).exitCode, 0);
  std::ofstream(Path("file")).close();
  EXPECT_EQ(Run({"device", "new", "file"}).exitCode, 4);
  EXPECT_TRUE(std::filesystem::is_regular_file(Path("file"))) << "somebody's file";
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

// Each code by a situation of its own.
TEST_F(Command, ExitCodesAreThoseWrittenDown) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"job", "add", "pocket", "--title", "a"}).exitCode, 0);
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0) << "done";
  Run({"job", "change", "pocket", "a", "--comment", "device"});
  Run({"job", "change", "desk", "a", "--comment", "desktop"});
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 1) << "done with a conflict";
  EXPECT_EQ(Run({"sync", "pocket", "desk", "--conflict", "nobody"}).exitCode, 2) << "usage";
  for (int i = 0; i < 11; ++i) {
    Run({"job", "add", "desk", "--title", "many " + std::to_string(i)});
  }
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  for (int i = 0; i < 11; ++i) {
    Run({"job", "delete", "desk", "many " + std::to_string(i)});
  }
  const CommandResult refused = Run({"sync", "pocket", "desk"});
  EXPECT_EQ(refused.exitCode, 5) << "the guard";
  EXPECT_NE(refused.err.find("--allow-delete"), std::string::npos);
  EXPECT_EQ(json::parse(Run({"job", "list", "pocket", "--json"}).out).size(), 12u);
  EXPECT_EQ(Run({"sync", "pocket", "desk", "--allow-delete"}).exitCode, 0);

  // A folder whose provider cannot list fails alone.
  std::filesystem::create_directories(Path("pocket/files/Windows"));
  std::filesystem::copy(WKT_FAKE_WITHOUT_LIST, Path("pocket/files/Windows/NoList.dll"));
  std::ofstream(Path("key.txt"))
      << "worktally-registry 1\n[HKEY_LOCAL_MACHINE\\Windows CE Services\\Synchronization\\Objects"
         "\\WktFavorites]\n\"Store\"=\"\\\\Windows\\\\NoList.dll\"\n; end\n";
  ASSERT_EQ(Run({"device", "registry", "import", "pocket", "key.txt"}).exitCode, 0);
  Run({"job", "add", "pocket", "--title", "b"});
  const CommandResult some = Run({"sync", "pocket", "desk"});
  EXPECT_EQ(some.exitCode, 3) << "some failed";
  EXPECT_NE(some.out.find("favorites: the provider cannot list its objects (no FindObjects). "
                          "Nothing is deleted in this folder."),
            std::string::npos)
      << some.out;
  EXPECT_EQ(json::parse(Run({"job", "list", "desk", "--json"}).out).size(), 2u)
      << "the others are done";

  std::filesystem::remove(Path("pocket/files/Program Files/Worktally/WktDevSync.dll"));
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 4) << "nothing was changed";
  EXPECT_EQ(Run({"sync", "pocket", "fresh"}).exitCode, 4);
  EXPECT_FALSE(std::filesystem::exists(Path("fresh")));
}

TEST_F(Command, FoldersOfAnotherKindAreNotTaken) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  std::filesystem::create_directory(Path("letters"));
  std::ofstream(Path("letters/dear")) << "sir";
  std::ofstream(Path("file")) << "x";
  const struct {
    std::vector<std::string> arguments;
    const char* problem;
  } cases[] = {
      {{"sync", "pocket", "letters"},
       "letters is no partner's folder, and not empty; name another or a new one"},
      {{"sync", "pocket", "file"}, "file is a file; name the partner's folder, or a new one"},
      {{"sync", "pocket", "pocket"}, "pocket is a device; the second folder is the partner's"},
      {{"sync", "desk", "pocket"}, "desk is not a device; make one with: wkt device new desk"},
      {{"job", "list", "letters"}, "letters is neither a device nor a partner's folder"},
      {{"status", "none"},
       "there is no none; 'wkt device new' makes a device, 'wkt sync' a partner's folder"},
      {{"backup", "none", "b"},
       "there is no none; 'wkt device new' makes a device, 'wkt sync' a partner's folder"},
      {{"restore", "pocket", "none"}, "there is no file none"},
      {{"import", "pocket", "letters"}, "letters is a folder, expected a file"},
      {{"why", "desk", "a"}, "desk is no device; a partner's records carry no flags of their own"},
      {{"nonsense"}, "'nonsense' is no command here; --help lists them"},
      {{"job", "nonsense", "pocket"}, "'nonsense' is no command here; --help lists them"},
  };
  for (const auto& row : cases) {
    const CommandResult result = Run(row.arguments);
    EXPECT_EQ(result.exitCode, 2) << row.problem;
    EXPECT_EQ(result.err, std::string("wkt: ") + row.problem + "\n");
  }
  EXPECT_EQ(ReadFile(Path("letters/dear")), "sir");
  EXPECT_FALSE(std::filesystem::exists(Path("letters/partner.wkt")));
}

TEST_F(Command, DamagedStoresAreNamedSavedAndReplaced) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"job", "add", "pocket", "--title", "a"}).exitCode, 0);
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  for (const char* home : {"pocket", "desk"}) {
    SCOPED_TRACE(home);
    const std::string sound = std::string(home) + ".sound";
    const std::string store = Path(home) + (home[0] == 'p' ? "/store.vol" : "/partner.wkt");
    ASSERT_EQ(Run({"backup", home, sound}).exitCode, 0);
    std::ofstream(store, std::ios::binary) << std::string(9000, 'x');
    const CommandResult list = Run({"job", "list", home});
    EXPECT_EQ(list.exitCode, 4);
    EXPECT_NE(list.err.find("damaged"), std::string::npos) << list.err;
    const CommandResult saved = Run({"backup", home, std::string(home) + ".damaged"});
    EXPECT_EQ(saved.exitCode, 1);
    EXPECT_NE(saved.out.find("Saved as it is, but damaged: "), std::string::npos) << saved.out;
    const CommandResult restored = Run({"restore", home, sound, "--replace"});
    EXPECT_EQ(restored.exitCode, 0);
    EXPECT_NE(restored.err.find("its records, which cannot be read"), std::string::npos);
    EXPECT_EQ(json::parse(Run({"job", "list", home, "--json"}).out).size(), 1u);
  }
  std::ofstream(Path("desk/partner.wkt"), std::ios::binary) << std::string(9000, 'x');
  EXPECT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 4);
  EXPECT_EQ(ReadFile(Path("desk/partner.wkt")), std::string(9000, 'x')) << "left as it was";
}

TEST_F(Command, VolumeIsMadeNamedAndSynchronised) {
  ASSERT_EQ(Run({"device", "new", "pocket", "--volume", "jobs.vol"}).exitCode, 0);
  EXPECT_TRUE(std::filesystem::exists(Path("pocket/files/jobs.vol")));
  EXPECT_EQ(json::parse(Run({"device", "show", "pocket", "--json"}).out)["volume"], "\\jobs.vol");
  ASSERT_EQ(Run({"job", "add", "pocket", "--title", "a"}).exitCode, 0);
  const CommandResult result = Run({"sync", "pocket", "desk", "--trace", "run.jsonl"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("Database volume of the device: \\jobs.vol\n"), std::string::npos)
      << result.out;
  EXPECT_EQ(json::parse(Run({"job", "list", "desk", "--json"}).out).size(), 1u);
  std::ifstream trace(Path("run.jsonl"));
  std::vector<std::string> answers;
  for (std::string line; std::getline(trace, line);) {
    const json call = json::parse(line);
    if (call["call"] == "SyncData" && call["folder"] == "WktTypes") {
      EXPECT_EQ(call["uCode"], 1);
      EXPECT_EQ(call["cbData"], 20) << "nine letters and the end";
      answers.push_back(call["lpbData"]);
    }
  }
  EXPECT_EQ(answers, (std::vector<std::string>{"NULL", "\\jobs.vol"}));
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
        "IReplObjHandler::GetPacket", "IReplObjHandler::Reset", "ObjectNotify", "SyncData",
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
