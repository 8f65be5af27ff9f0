// wkt import: what people bring, and what nobody should.
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

using nlohmann::json;

class Import : public CommandTest {
 protected:
  void SetUp() override { MakeDevice("pocket"); }

  std::string Write(const std::string& name, const std::string& content) {
    std::ofstream(Path(name), std::ios::binary) << content;
    return name;
  }
  CommandResult ImportText(const std::string& content, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"import", "pocket", Write("x", content)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  std::string Problem(const std::string& content, const std::vector<std::string>& more = {}) {
    const CommandResult result = ImportText(content, more);
    EXPECT_EQ(result.exitCode, 2) << result.out;
    return result.err;
  }
  json Jobs() { return json::parse(Run({"export", "pocket"}).out)["jobs"]; }
  std::vector<std::string> Times() {
    std::vector<std::string> times;
    for (const json& job : Jobs()) {
      times.push_back(job["start"].get<std::string>() + " " + job["end"].get<std::string>());
    }
    return times;
  }
  const std::vector<std::string> clock{"--in", "I", "--out", "O"};
};
using Lines = std::vector<std::string>;

// The night of 29 March has no 2:30, the one of 25 October has two.
TEST_F(Import, BothDaysOnWhichClocksChangeAreRight) {
  ASSERT_EQ(ImportText("I,O\n"
                       "2026-03-29 01:30,2026-03-29 03:30\n"
                       "2026-03-29 02:30,2026-03-29 04:00\n"
                       "2026-10-25 01:30,2026-10-25 03:30\n"
                       "2026-10-25 02:30,2026-10-25 02:45\n"
                       "2026-10-25T02:30+01:00,2026-10-25T02:45+01:00\n",
                       clock)
                .exitCode,
            0);
  EXPECT_EQ(Times(), (Lines{"2026-03-29T00:30:00Z 2026-03-29T01:30:00Z",
                            "2026-03-29T01:30:00Z 2026-03-29T02:00:00Z",
                            "2026-10-24T23:30:00Z 2026-10-25T02:30:00Z",
                            "2026-10-25T00:30:00Z 2026-10-25T00:45:00Z",
                            "2026-10-25T01:30:00Z 2026-10-25T01:45:00Z"}));
}

TEST_F(Import, ZoneOfTheFileIsNamed) {
  ASSERT_EQ(ImportText("I,O\n2026-07-01 09:00,2026-07-01 10:00\n",
                       {"--in", "I", "--out", "O", "--zone", "America/New_York"})
                .exitCode,
            0);
  EXPECT_EQ(Times(), Lines{"2026-07-01T13:00:00Z 2026-07-01T14:00:00Z"});
  EXPECT_NE(Problem("I,O\n", {"--in", "I", "--out", "O", "--zone", "Mars/Base"})
                .find("there is no time zone 'Mars/Base'"),
            std::string::npos);
}

TEST_F(Import, DaysAndTimesInColumnsOfTheirOwn) {
  ASSERT_EQ(ImportText("Day;From;To;Who;What;Where;Kind;With;Say\n"
                       "2026-03-02;08:00;12:00;Sam; Kim;House / Roof;Beam;Carpentry;Crew;\n",
                       {"--in", "From", "--out", "To", "--separator", ";"})
                .exitCode,
            2)
      << "ten columns under nine headings";
  ASSERT_EQ(ImportText("Day;From;To;Who;Where;Kind;With;Title;Say\n"
                       "2026-03-02;08:00;12:00;\"Sam; Kim\";House / Roof;Carpentry;Crew;Beam;new\n"
                       "2026-03-28;23:00;03:30;;;;;Night;\n",
                       {"--in",
                        "From",
                        "--out",
                        "To",
                        "--separator",
                        ";",
                        "--date-column",
                        "Day",
                        "--person-column",
                        "Who",
                        "--project-column",
                        "Where",
                        "--work-type-column",
                        "Kind",
                        "--teamwork-column",
                        "With",
                        "--title-column",
                        "Title",
                        "--comment-column",
                        "Say"})
                .exitCode,
            0);
  EXPECT_EQ(Times(), (Lines{"2026-03-02T07:00:00Z 2026-03-02T11:00:00Z",
                            "2026-03-28T22:00:00Z 2026-03-29T01:30:00Z"}));
  const json resolved = Jobs()[0]["resolved"];
  EXPECT_EQ(resolved["persons"], "Sam; Kim");
  EXPECT_EQ(resolved["project"], "House / Roof");
  EXPECT_EQ(resolved["workType"], "Carpentry");
  EXPECT_EQ(resolved["teamwork"], "Crew");
  EXPECT_EQ(Jobs()[0]["title"], "Beam");
  EXPECT_EQ(Jobs()[0]["comment"], "new");
  std::map<int, int> kinds;
  const json all = json::parse(Run({"export", "pocket"}).out);
  for (const json& type : all["types"]) {
    ++kinds[type["kind"].get<int>()];
  }
  EXPECT_EQ(kinds, (std::map<int, int>{{1, 1}, {2, 2}, {3, 2}, {4, 1}}));
}

TEST_F(Import, SecondImportAddsNothingAndSaysSo) {
  const std::string text =
      "I,O\n2026-03-02 08:00,2026-03-02 09:00\n2026-03-02 08:00,2026-03-02 09:00\n";
  EXPECT_EQ(ImportText(text, clock).exitCode, 0);
  EXPECT_EQ(Jobs().size(), 2u) << "equal rows are two entries";
  const CommandResult again = ImportText(text, clock);
  EXPECT_EQ(again.exitCode, 0);
  EXPECT_NE(again.out.find("Nothing is new: all of it is there already."), std::string::npos);
  EXPECT_EQ(Jobs().size(), 2u);
}

TEST_F(Import, DryRunAddsNothing) {
  const CommandResult dry = ImportText("I,O\n2026-03-02 08:00,2026-03-02 09:00\n",
                                       {"--in", "I", "--out", "O", "--dry-run"});
  EXPECT_EQ(dry.exitCode, 0);
  EXPECT_TRUE(dry.out.starts_with("Dry run; nothing is added.\n")) << dry.out;
  EXPECT_EQ(Jobs().size(), 0u);
}

TEST_F(Import, OverlapsAreReported) {
  const std::string text =
      "I,O,T\n2026-03-02 08:00,2026-03-02 12:00,long\n2026-03-02 09:00,2026-03-02 10:00,inside\n"
      "2026-03-02 11:00,2026-03-02 13:00,across\n2026-03-02 13:00,2026-03-02 14:00,behind\n";
  const CommandResult result =
      ImportText(text, {"--in", "I", "--out", "O", "--title-column", "T", "--dry-run", "--json"});
  EXPECT_EQ(json::parse(result.out)["overlaps"],
            json::parse(R"([{"day": "2026-03-02", "first": "long", "second": "inside"},
                            {"day": "2026-03-02", "first": "long", "second": "across"}])"));
  EXPECT_NE(ImportText(text, {"--in", "I", "--out", "O", "--title-column", "T"})
                .out.find("2 jobs overlap another:\n  2026-03-02  long / inside\n"),
            std::string::npos);
}

TEST_F(Import, SkipBadTakesTheOthers) {
  const std::string text =
      "I,O\n2026-03-02 08:00,2026-03-02 09:00\nsoon,late\n2026-03-03 09:00,2026-03-03 "
      "08:00\n2026-03-04 08:00,2026-03-04 09:00\n";
  EXPECT_EQ(ImportText(text, clock).exitCode, 2);
  EXPECT_EQ(Jobs().size(), 0u) << "all or nothing";
  const CommandResult result = ImportText(text, {"--in", "I", "--out", "O", "--skip-bad"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(Jobs().size(), 2u);
  EXPECT_NE(result.out.find("Left out:\n"
                            "  x:3: 'soon' is no time, expected one such as 2026-03-02 09:00:00\n"
                            "  x:4: the entry ends before it starts\n"),
            std::string::npos)
      << result.out;
}

TEST_F(Import, HugeAndDeepFilesEndWithAnError) {
  EXPECT_EQ(Problem("{\"jobs\": [{\"title\":" + std::string(1'000'000, '[')),
            "wkt: x:1: JSON nested deeper than 64 levels; no record needs more than a few\n");
  EXPECT_EQ(Problem(std::string(1'000'000, '[')),
            "wkt: x:1: JSON nested deeper than 64 levels; no record needs more than a few\n");
  EXPECT_NE(Problem("I,O\n" + std::string(8'000'000, 'x') + "\n", clock)
                .find("x:2: a cell is longer than any"),
            std::string::npos);
  EXPECT_NE(Problem("I,O\n" + std::string(1'000'000, ',') + "\n", clock)
                .find("x:2: 1000001 columns, expected 2"),
            std::string::npos);
  EXPECT_EQ(Jobs().size(), 0u);
}

TEST_F(Import, EncodingsAreNamed) {
  const std::string wide("\0I\0,\0O\0\n", 8);
  EXPECT_EQ(Problem("\xFF\xFE" + wide),
            "wkt: x:1: the file is UTF-16; convert it to UTF-8 first\n");
  EXPECT_EQ(Problem("\xFE\xFF" + wide, clock),
            "wkt: x:1: the file is UTF-16; convert it to UTF-8 first\n");
  EXPECT_EQ(Problem(wide, clock), "wkt: x:1: the file is UTF-16; convert it to UTF-8 first\n");
  EXPECT_EQ(Problem(wide.substr(1) + '\0', clock),
            "wkt: x:1: the file is UTF-16; convert it to UTF-8 first\n");
  EXPECT_EQ(Problem("I,O\nf\xFCr,x\n", clock),
            "wkt: x:2: not UTF-8, probably Latin-1; convert the file to UTF-8 first\n");
  EXPECT_EQ(Problem(std::string("I,O\n2026\0,x\n", 12), clock),
            "wkt: x:2: a zero byte; the file is no text\n");
  EXPECT_EQ(ImportText("\xEF\xBB\xBFI,O\r\n2026-03-02 08:00,2026-03-02 09:00\r\n", clock).exitCode,
            0);
}

TEST_F(Import, LinesEndAsTheyLike) {
  EXPECT_EQ(ImportText("I,O,T\r\n"
                       "2026-03-02 08:00,2026-03-02 09:00,\"two\r\nlines\"\r\n"
                       "\r\n"
                       "2026-03-03 08:00,2026-03-03 09:00,x",
                       {"--in", "I", "--out", "O", "--title-column", "T"})
                .exitCode,
            0);
  EXPECT_EQ(Jobs().size(), 2u);
  EXPECT_EQ(Jobs()[0]["title"], "two\r\nlines");
  EXPECT_EQ(Problem("I,O\r\n\r\n\r\nsoon,late\r\n", clock),
            "wkt: x:4: 'soon' is no time, expected one such as 2026-03-02 09:00:00\n");
  EXPECT_EQ(Problem("I,O\n2026-03-02 08:00,\"a\nb\nc\"\nsoon,late", clock),
            "wkt: x:2: 'a\nb\nc' is no time, expected one such as 2026-03-02 09:00:00\n");
}

TEST_F(Import, JsonOfAnyShapeIsRefusedWithItsLine) {
  for (const auto& [text, expected] : std::vector<std::pair<std::string, std::string>>{
           {"{\"jobs\": 1}",
            "x:1: 'jobs' is unexpected; expected lists named types, favorites and jobs"},
           {"{\"job\": []}",
            "x:1: 'job' is unexpected; expected lists named types, favorites and jobs"},
           {"{\"jobs\": [\n{},\n{\"name1\": \"x\"}]}", "x:3: there is no field 'name1' in a job"},
           {"{\"types\": [\n{\"kind\": 6}]}", "x:2: kind is 6, expected 1 to 5"},
           {"{\"jobs\": [{\"title\": \"a\\u0000b\"}]}", "x:1: title holds a zero character"},
           {"{\"jobs\": [{\"start\": \"soon\"}]}",
            "x:1: start is \"soon\", expected a time such as 2026-03-02T08:00:00Z"},
           {"{\"jobs\": [{\"version\": 1e400}]}", "x:1: not JSON:"},
           {"{\"jobs\": [{}],\n\"jobs\": [{}]}", "x:1: a list stands twice in the file"},
           {"{\"jobs\": [5]}", "x:1: a record is number, expected an object of named fields"}}) {
    const std::string problem = Problem(text);
    EXPECT_TRUE(problem.starts_with("wkt: " + expected)) << problem;
  }
  EXPECT_EQ(Jobs().size(), 0u);
}

// Favourites and all kinds of types, with what hardly anybody uses.
TEST_F(Import, JsonKeepsEverythingOfEveryKind) {
  json file;
  for (int kind = 1; kind <= 5; ++kind) {
    file["types"].push_back({{"id", "T" + std::to_string(kind)},
                             {"kind", kind},
                             {"version", 30 + kind},
                             {"created", "1999-12-31T23:59:59.1234567Z"},
                             {"useCount", -7},
                             {"name1", "one \xF0\x9F\x98\x80"},
                             {"name2", "two\r\nlines"},
                             {"comment", {{"utf16le", "00d86100"}}},
                             {"unused2", "u"},
                             {"unused3", -2147483648},
                             {"unused4", 2147483647},
                             {"unused5", 18446744073709551615ull}});
  }
  file["favorites"].push_back({{"id", "F"}, {"title", "Lunch"}, {"unused3", "x"}, {"unused2", 9}});
  file["jobs"].push_back({{"id", "J"},
                          {"title", ""},
                          {"start", "9999-12-31T23:59:59Z"},
                          {"end", 9223372036854775807},
                          {"day", "1601-01-01"},
                          {"persons", "T3; nobody"},
                          {"flags", "1010000101010101010"}});
  const CommandResult result = ImportText(file.dump());
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const std::string first = Run({"export", "pocket"}).out;
  MakeDevice("second");
  ASSERT_EQ(Run({"import", "second", Write("all.json", first)}).exitCode, 0);
  EXPECT_EQ(Run({"export", "second"}).out, first);
  const json all = json::parse(first);
  for (const auto& [list, records] : file.items()) {
    ASSERT_EQ(all[list].size(), records.size());
    for (size_t i = 0; i < records.size(); ++i) {
      for (const auto& [name, value] : records[i].items()) {
        EXPECT_EQ(all[list][i][name], value) << list << " " << name;
      }
    }
  }
}

TEST_F(Import, WrongUseSaysWhatToDo) {
  const auto said = [this](const std::vector<std::string>& arguments) {
    const CommandResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 2) << result.out;
    EXPECT_EQ(result.out, "");
    return result.err;
  };
  Write("x.csv", "I,O\n");
  EXPECT_EQ(said({"import", "pocket", "none.csv"}), "wkt: cannot read none.csv\n");
  EXPECT_EQ(said({"import", "pocket", "pocket"}), "wkt: pocket is a folder, expected a file\n");
  EXPECT_NE(said({"import", "pocket", "x.csv", "--in", "I"}).find("--in requires --out"),
            std::string::npos);
  EXPECT_NE(said({"import", "pocket", "x.csv", "--title-column", "T"}).find("requires --in"),
            std::string::npos);
  EXPECT_EQ(
      said({"import", "pocket", "x.csv"}),
      "wkt: x.csv:1: neither our JSON, iCalendar nor Toggl's CSV; name a time clock's columns "
      "with --in and --out\n");
  EXPECT_EQ(said({"import", "nowhere", "x.csv"}),
            "wkt: there is no nowhere; 'wkt device new' makes a device, 'wkt sync' a partner's "
            "folder\n");
  EXPECT_EQ(said({"export", "pocket", "--csv", "--from", "2026-03-02", "--to", "2026-03-01"}),
            "wkt: --from 2026-03-02 lies behind --to 2026-03-01\n");
  EXPECT_EQ(said({"export", "pocket", "--from", "Monday"}),
            "wkt: 'Monday' is no day; expected a date such as 2026-03-02\n");
  EXPECT_NE(said({"export", "pocket", "--csv", "--ics"}).find("excludes"), std::string::npos);
  EXPECT_NE(said({"export", "pocket", "--folder", "types"}).find("requires --csv"),
            std::string::npos);
}

}  // namespace
}  // namespace wkt::test
