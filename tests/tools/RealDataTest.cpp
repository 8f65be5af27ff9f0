// Time that others recorded or published, on its way through everything: imported, synchronised to
// two partners, exported, imported into a second device, synchronised again. WKT_SAMPLES names the
// folder.
#include <sys/resource.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

using Json = nlohmann::json;

constexpr char kZone[] = "Europe/Vienna";

// Sessions become jobs, speakers persons, kinds of session work types, rooms teamwork, tags lists.
Json ConvertProgramme(const Json& programme) {
  Json file;
  const auto addTypes = [&](const char* list, const char* prefix, int kind) {
    for (const Json& entry : programme[list]) {
      Json type{{"id", prefix + entry["id"].get<std::string>()},
                {"kind", kind},
                {"name1", entry["zh"]["name"]}};
      if (entry["zh"].contains("bio")) {
        type["comment"] = entry["zh"]["bio"];
      }
      file["types"].push_back(std::move(type));
    }
  };
  addTypes("session_types", "W-", 1);
  addTypes("speakers", "P-", 3);
  addTypes("rooms", "R-", 4);
  addTypes("tags", "T-", 5);
  for (const Json& session : programme["sessions"]) {
    std::string persons;
    for (const Json& speaker : session["speakers"]) {
      persons += (persons.empty() ? "P-" : "; P-") + speaker.get<std::string>();
    }
    file["jobs"].push_back({{"id", "S-" + session["id"].get<std::string>()},
                            {"title", session["zh"]["title"]},
                            {"comment", session["zh"]["description"]},
                            {"start", session["start"]},
                            {"end", session["end"]},
                            {"workType", "W-" + session["type"].get<std::string>()},
                            {"teamwork", "R-" + session["room"].get<std::string>()},
                            {"persons", persons}});
  }
  return file;
}

class RealData : public CommandTest {
 protected:
  void SetUp() override {
    const char* samples = std::getenv("WKT_SAMPLES");
    if (!samples || !*samples) {
      GTEST_SKIP() << "WKT_SAMPLES names no folder with real data";
    }
    samples_ = std::string(samples) + "/";
  }
  std::string Sample(const std::string& name) const { return samples_ + name; }
  std::string Write(const std::string& name, const std::string& content) {
    std::ofstream(Path(name), std::ios::binary) << content;
    return name;
  }
  // All of a home. Confirming a type stamps it, so its modification time is the device's own.
  Json Records(const std::string& home) {
    Json all = Json::parse(Run({"export", home}).out);
    for (Json& type : all["types"]) {
      type.erase("modified");
      type["resolved"].erase("modified");
    }
    return all;
  }
  void ExpectCounts(const Json& all, size_t types, size_t jobs) {
    EXPECT_EQ(all["types"].size(), types);
    EXPECT_EQ(all["jobs"].size(), jobs);
    EXPECT_EQ(all["favorites"].size(), 0u);
  }
  // Added to a device, and again, which adds nothing.
  void ImportTwice(const std::string& file, size_t types, size_t jobs) {
    for (const bool first : {true, false}) {
      const CommandResult result = Run({"import", "pocket", file, "--json"});
      ASSERT_EQ(result.exitCode, 0) << result.err;
      const Json report = Json::parse(result.out);
      EXPECT_EQ(report["added"], first ? types + jobs : 0u);
      EXPECT_EQ(report["alreadyThere"], first ? 0u : types + jobs);
    }
    EXPECT_NE(
        Run({"import", "pocket", file}).out.find("Nothing is new: all of it is there already"),
        std::string::npos);
  }
  void Sync(const std::string& device, const std::string& partner, const char* number) {
    const CommandResult result =
        Run({"sync", device, partner, "--partner", number, "--verify", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(Json::parse(result.out)["verify"]["different"], Json::array());
  }
  // From the device "pocket" to two partners, and through a file to another device with two.
  void TravelEverywhere() {
    Sync("pocket", "desk", "1");
    Sync("pocket", "office", "2");
    const Json all = Records("pocket");
    EXPECT_TRUE(Records("desk") == all);
    EXPECT_TRUE(Records("office") == all);
    Write("all.json", Run({"export", "desk"}).out);
    MakeDevice("second");
    ASSERT_EQ(Run({"import", "second", "all.json"}).exitCode, 0);
    EXPECT_TRUE(Records("second") == all);
    Sync("second", "desk", "1");
    Sync("second", "home", "2");
    EXPECT_TRUE(Records("second") == all);
    EXPECT_TRUE(Records("home") == all);
    Sync("pocket", "desk", "1");
    EXPECT_TRUE(Records("pocket") == all) << "what both devices have is not doubled";
  }
  std::string Ask(const std::string& arguments) {
    Write("all.json", Run({"export", "pocket"}).out);
    // The system's own interpreter has the system's packages.
    const std::string command = "cd " + folder.string() +
                                " && /usr/bin/python3 " WKT_SOURCE "/tests/tools/judge.py " +
                                arguments + " >answer 2>&1";
    const int result = std::system(command.c_str());
    return (result == 0 ? "" : "failed: ") + ReadFile(Path("answer"));
  }

 private:
  std::string samples_;
};

TEST_F(RealData, AYearOfOnePersonTravels) {
  MakeDevice("pocket");
  ImportTwice(Sample("toggl-kussmaul.csv"), 10, 1358);
  ExpectCounts(Records("pocket"), 10, 1358);
  EXPECT_EQ(Ask("source-toggl " + Sample("toggl-kussmaul.csv") + " all.json " + kZone), "agreed\n");
  EXPECT_EQ(ReadFile(Path("all.json")).find("Kussmaul"), std::string::npos)
      << "who recorded it is dropped";
  TravelEverywhere();
}

TEST_F(RealData, CalendarInUtcTravels) {
  MakeDevice("pocket");
  ImportTwice(Sample("pyconuk-2015.ics"), 0, 162);
  EXPECT_EQ(Ask("source-ics " + Sample("pyconuk-2015.ics") + " all.json"), "agreed\n");
  TravelEverywhere();
}

TEST_F(RealData, CalendarOfAZoneThatItDoesNotDefineTravels) {
  MakeDevice("pocket");
  ImportTwice(Sample("cloudnative-linz.ics"), 0, 47);
  EXPECT_EQ(Ask("source-ics " + Sample("cloudnative-linz.ics") + " all.json"), "agreed\n");
  TravelEverywhere();
}

TEST_F(RealData, ConferenceProgrammeTravels) {
  const Json programme = Json::parse(ReadFile(Sample("coscup-2024-sessions.json")));
  MakeDevice("pocket");
  constexpr size_t kTypes = 440 + 38 + 29 + 9;
  ImportTwice(Write("programme.json", ConvertProgramme(programme).dump()), kTypes, 331);
  TravelEverywhere();
  const Json all = Records("office");
  ExpectCounts(all, kTypes, 331);
  std::map<std::string, Json> jobs;
  for (const Json& job : all["jobs"]) {
    jobs[job["id"]] = job;
  }
  for (const Json& session : programme["sessions"]) {
    const Json& job = jobs.at("S-" + session["id"].get<std::string>());
    EXPECT_EQ(job["title"], session["zh"]["title"]);
    EXPECT_EQ(job["comment"], session["zh"]["description"]);
    // 14:10 in Taipei is 06:10 UTC, the same day.
    EXPECT_EQ(job["start"].get<std::string>().substr(13),
              session["start"].get<std::string>().substr(13, 6) + "Z");
  }
}

TEST_F(RealData, AYearIsImportedWithinASecondOfProcessorTime) {
  MakeDevice("pocket");
  ASSERT_EQ(Run({"device", "set", "pocket", "--durability", "relaxed"}).exitCode, 0);
  const auto seconds = [] {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto of = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
  };
  const double before = seconds();
  ASSERT_EQ(Run({"import", "pocket", Sample("toggl-kussmaul.csv")}).exitCode, 0);
  const double used = seconds() - before;
  RecordProperty("seconds", std::to_string(used));
  std::printf("%.2f s of processor time\n", used);
  if (!WKT_SANITIZED) {
    EXPECT_LT(used, 1.0);
  }
}

}  // namespace
}  // namespace wkt::test
