// Imports, exports, backups, packets and traces through the command.
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

using nlohmann::json;

class Exchange : public CommandTest {
 protected:
  std::string Write(const std::string& name, const std::string& content) {
    std::ofstream(Path(name), std::ios::binary) << content;
    return name;
  }
  std::string ImportProblem(const std::string& content, std::vector<std::string> more = {}) {
    Write("x", content);
    std::vector<std::string> arguments{"import", "pocket", "x"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const CommandResult result = Run(arguments);
    EXPECT_EQ(result.exitCode, 2) << result.out;
    return result.err;
  }
  json Jobs(const std::string& home) { return json::parse(Run({"export", home}).out)["jobs"]; }
  int64_t Added(const std::string& home, const std::string& file) {
    const CommandResult result = Run({"import", home, file, "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return json::parse(result.out)["folders"][2]["added"].get<int64_t>();
  }
  const std::string sample = std::string(WKT_SOURCE) + "/data/sample/sample.json";
};

TEST_F(Exchange, JsonLosesNothing) {
  MakeDevice("pocket");
  MakeDevice("second");
  ASSERT_EQ(Run({"import", "pocket", sample}).exitCode, 0);
  Run({"sync", "pocket", "desk"});
  const std::string first = Run({"export", "pocket"}).out;
  ASSERT_EQ(Run({"import", "second", Write("all.json", first)}).exitCode, 0);
  EXPECT_EQ(Run({"export", "second"}).out, first);
  EXPECT_EQ(json::parse(first)["jobs"].size(), 120u);
}

TEST_F(Exchange, TogglEntriesBecomeJobsAndProjects) {
  MakeDevice("pocket");
  Write("t.csv",
        "User,Email,Client,Project,Task,Description,Billable,Start date,Start time,End date,End "
        "time,Duration,Tags,Amount ()\n"
        "Somebody,,House,Roof,,\"Saw, and "
        "saw\",No,2026-03-02,23:00:00,2026-03-03,01:00:00,02:00:00,wood,\n"
        "Somebody,,,,,Rest,No,2026-03-29,02:30:00,2026-03-29,03:45:00,00:15:00,,\n");
  EXPECT_EQ(Added("pocket", "t.csv"), 2);
  EXPECT_EQ(Added("pocket", "t.csv"), 0);
  const json jobs = Jobs("pocket");
  EXPECT_EQ(jobs[0]["title"], "Saw, and saw");
  EXPECT_EQ(jobs[0]["comment"], "Tags: wood");
  EXPECT_EQ(jobs[0]["resolved"]["project"], "House / Roof");
  EXPECT_EQ(jobs[0]["start"], "2026-03-02T22:00:00Z");
  EXPECT_EQ(jobs[0]["end"], "2026-03-03T00:00:00Z");
  EXPECT_EQ(jobs[0]["day"], "2026-03-02");
  EXPECT_EQ(jobs[1]["start"], "2026-03-29T01:30:00Z") << "an hour that the night skips";
  EXPECT_EQ(Run({"export", "pocket"}).out.find("Somebody"), std::string::npos);
}

TEST_F(Exchange, ClockColumnsAreNamed) {
  MakeDevice("pocket");
  Write("c.csv", "Name,Came,Left\nSam,2026-10-25 02:30,2026-10-25 04:00\n");
  ASSERT_EQ(
      Run({"import", "pocket", "c.csv", "--in", "Came", "--out", "Left", "--person-column", "Name"})
          .exitCode,
      0);
  const json jobs = Jobs("pocket");
  EXPECT_EQ(jobs[0]["start"], "2026-10-25T00:30:00Z") << "the first of two";
  EXPECT_EQ(jobs[0]["resolved"]["persons"], "Sam");
}

TEST_F(Exchange, CalendarZonesAndRepetition) {
  MakeDevice("pocket");
  Write("c.ics",
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n"
        "BEGIN:VEVENT\r\nUID:a\r\nDTSTART;TZID=America/"
        "New_York:20260302T090000\r\nDTEND;TZID=America/New_York:20260302T100000\r\nSUMMARY:Far\\, "
        "away\r\nEND:VEVENT\r\n"
        "BEGIN:VEVENT\r\nUID:b\r\nDTSTART;TZID=Europe/"
        "Vienna:20260328T090000\r\nDURATION:PT1H\r\nSUMMARY:Daily\r\nRRULE:FREQ=DAILY;COUNT="
        "3\r\nEND:VEVENT\r\n"
        "BEGIN:VEVENT\r\nUID:c\r\nDTSTART:20260101T000000Z\r\nSUMMARY:Endless\r\nRRULE:FREQ="
        "DAILY\r\nEND:VEVENT\r\n"
        "END:VCALENDAR\r\n");
  EXPECT_EQ(Added("pocket", "c.ics"), 1 + 3 + 750);
  EXPECT_EQ(Added("pocket", "c.ics"), 0);
  std::vector<std::string> daily;
  for (const json& job : Jobs("pocket")) {
    if (job["title"] == "Far, away") {
      EXPECT_EQ(job["start"], "2026-03-02T14:00:00Z");
    }
    if (job["title"] == "Daily") {
      daily.push_back(job["start"]);
    }
  }
  EXPECT_EQ(daily, (std::vector<std::string>{"2026-03-28T08:00:00Z", "2026-03-29T07:00:00Z",
                                             "2026-03-30T07:00:00Z"}));
}

TEST_F(Exchange, BrokenFilesAreNamedWithTheirLine) {
  MakeDevice("pocket");
  const std::vector<std::string> clock{"--in", "A", "--out", "B"};
  EXPECT_EQ(ImportProblem("A,B\n2026-03-02 08:00,\"never closed\n", clock),
            "wkt: x:2: a quote is not closed\n");
  EXPECT_EQ(ImportProblem("A,B\n2026-03-02 08:00\n", clock),
            "wkt: x:2: 1 columns, expected 2 as in the heading\n");
  EXPECT_EQ(ImportProblem("A,B\nsoon,late\n", clock),
            "wkt: x:2: 'soon' is no time, expected one such as 2026-03-02 09:00:00\n");
  EXPECT_EQ(ImportProblem("A,C\n", clock),
            "wkt: x:1: there is no column 'B'; there are: 'A', 'C'\n");
  EXPECT_NE(ImportProblem(std::string("A,B\n\0,x\n", 8), clock).find("x:2: a zero byte"),
            std::string::npos);
  EXPECT_NE(
      ImportProblem("A,B\n\"" + std::string(8'000'000, 'x'), clock).find("a quote is not closed"),
      std::string::npos);
  EXPECT_NE(ImportProblem("A,B\nk\xF6nnte,x\n", clock).find("x:2: not UTF-8, probably Latin-1"),
            std::string::npos);
  EXPECT_NE(ImportProblem("BEGIN:VCALENDAR\nBEGIN:VEVENT\nSUMMARY:x\nEND:VEVENT\nEND:VCALENDAR\n")
                .find("x:2: the event has no DTSTART"),
            std::string::npos);
  EXPECT_NE(ImportProblem("hello").find("neither our JSON"), std::string::npos);
  EXPECT_EQ(Jobs("pocket").size(), 0u);
}

TEST_F(Exchange, BackupIsCheckedAndReplacesOnlyWhenTold) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"import", "pocket", sample}).exitCode, 0);
  const std::string before = Run({"export", "pocket"}).out;
  ASSERT_EQ(Run({"backup", "pocket", "b"}).exitCode, 0);
  EXPECT_EQ(Run({"backup", "pocket", "b"}).exitCode, 2) << "an older backup is not overwritten";
  Run({"job", "delete", "pocket", "Day off"});
  const CommandResult refused = Run({"restore", "pocket", "b"});
  EXPECT_EQ(refused.exitCode, 5);
  EXPECT_NE(refused.err.find("21 types, 6 favorites, 119 jobs"), std::string::npos) << refused.err;
  ASSERT_EQ(Run({"restore", "pocket", "b", "--replace"}).exitCode, 0);
  EXPECT_EQ(Run({"export", "pocket"}).out, before);
  EXPECT_EQ(json::parse(Run({"device", "show", "pocket", "--json"}).out)["databaseVersion"], 74)
      << "the registry is in it";

  std::string damaged = ReadFile(Path("b"));
  const size_t at = damaged.find("worktally-registry");
  ASSERT_NE(at, std::string::npos);
  damaged[at] ^= 1;
  Write("damaged", damaged);
  EXPECT_EQ(Run({"restore", "pocket", "damaged", "--replace"}).exitCode, 4);
  EXPECT_EQ(Run({"export", "pocket"}).out, before);
  EXPECT_EQ(Run({"restore", "pocket", Write("foreign", "no backup at all"), "--replace"}).exitCode,
            2);
}

TEST_F(Exchange, PacketsAreDecodedAndEncodedByteForByte) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"import", "pocket", sample}).exitCode, 0);
  const std::string packet = Run({"packet", "get", "pocket", "Day off"}).out;
  ASSERT_GT(packet.size(), 686u);
  std::string tail = packet;
  tail[26 + 2] = packet[28];
  const size_t flags = packet.size() - 200;
  tail[flags] = static_cast<char>(0x41);  // somewhere inside a fixed field
  for (const std::string& bytes :
       {packet, packet + "behind", packet.substr(0, 101), std::string("x"), std::string(), tail}) {
    Write("p", bytes);
    Write("p.json", Run({"packet", "decode", "p", "--json"}).out);
    EXPECT_EQ(Run({"packet", "encode", "p.json"}).out, bytes) << bytes.size();
  }
  Write("p", packet);
  EXPECT_EQ(Run({"packet", "explain", "p"}).out, "A sound job packet.\nThe provider: accepted.\n");
  Write("p", packet.substr(0, 101));
  EXPECT_EQ(json::parse(Run({"packet", "explain", "p", "--json"}).out)["provider"],
            "'Invalid packet received', E_UNEXPECTED");
  EXPECT_EQ(Run({"packet", "explain", "p"}).exitCode, 1);
  EXPECT_EQ(Run({"packet", "encode", Write("bad", "[]")}).err,
            "wkt: there are no fields; expected what 'wkt packet decode --json' writes\n");
  EXPECT_TRUE(Run({"packet", "encode", Write("bad", "{\n\"fields\": [")})
                  .err.starts_with("wkt: bad:2: not JSON: "));
}

TEST_F(Exchange, PacketsAreMadeOfTheRecordThatIsNamed) {
  MakeDevice("pocket");
  Run({"job", "add", "pocket", "--title", "twice"});
  Run({"job", "add", "pocket", "--title", "twice"});
  const CommandResult result = Run({"packet", "get", "pocket", "twice"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("'twice' names 2 records: #"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("; name one by its #number\n"), std::string::npos);
  const std::string number =
      result.err.substr(result.err.find('#'), result.err.find(',') - result.err.find('#'));
  EXPECT_GT(Run({"packet", "get", "pocket", number}).out.size(), 686u);
  EXPECT_EQ(Run({"packet", "get", "pocket", "none"}).err,
            "wkt: there is no record 'none'; name it by title, identifier or #number\n");
  Run({"sync", "pocket", "desk"});
  EXPECT_EQ(Run({"packet", "get", "desk", "twice"}).exitCode, 2) << "a partner has no provider";
}

TEST_F(Exchange, TracesAreShownAndCompared) {
  MakeDevice("pocket");
  Run({"sync", "pocket", "desk"});
  Run({"sync", "pocket", "desk", "--trace", "a"});
  Run({"sync", "pocket", "desk", "--trace", "b"});
  EXPECT_EQ(Run({"trace", "diff", "a", "b"}).exitCode, 0);
  Run({"job", "add", "pocket", "--title", "x"});
  Run({"sync", "pocket", "desk", "--trace", "c"});
  const CommandResult diff = Run({"trace", "diff", "a", "c"});
  EXPECT_EQ(diff.exitCode, 1);
  EXPECT_NE(diff.out.find("First difference at call"), std::string::npos);
  EXPECT_NE(
      Run({"trace", "show", "c"}).out.find("IReplObjHandler::GetPacket WktActivities: packet of"),
      std::string::npos);
  Run({"job", "change", "pocket", "x", "--title", "y"});
  Run({"sync", "pocket", "desk", "--trace", "d"});
  const auto packetCall = [this](const std::string& title) {
    std::string hex;
    for (const char byte : Run({"packet", "get", "pocket", title}).out) {
      hex += "0123456789abcdef"[static_cast<uint8_t>(byte) >> 4];
      hex += "0123456789abcdef"[byte & 15];
    }
    return json{{"call", "GetPacket"}, {"packet", hex}}.dump() + "\n";
  };
  Write("g", packetCall("y"));
  Run({"job", "change", "pocket", "y", "--title", "z", "--set", "modified=2026-03-02T08:00:00Z"});
  Write("h", packetCall("z"));
  const CommandResult packets = Run({"trace", "diff", "g", "h"});
  EXPECT_NE(packets.out.find("\n  packet field title: \"y\" / \"z\"\n"), std::string::npos)
      << packets.out;
  Write("e", R"({"call":"GetPacket","packet":"57006f000000","result":"S_OK"})"
             "\n");
  Write("f", R"({"call":"GetPacket","packet":"57006f000000","result":"S_FALSE"})"
             "\n");
  EXPECT_EQ(Run({"trace", "diff", "e", "f"}).out,
            "First difference at call 1:\n"
            "  e: GetPacket: packet of 6 bytes = S_OK\n"
            "  f: GetPacket: packet of 6 bytes = S_FALSE\n"
            "  result: \"S_OK\" / \"S_FALSE\"\n");
  EXPECT_EQ(Run({"trace", "show", Write("none", "{\"call\":\"a\"}\nhello\n")}).exitCode, 2);
  EXPECT_TRUE(
      Run({"trace", "show", "none"}).err.starts_with("wkt: none:2: no call of a run: not JSON"));
  EXPECT_EQ(Run({"trace", "show", Write("deep", std::string(1'000'000, '['))}).exitCode, 2);
}

}  // namespace
}  // namespace wkt::test
