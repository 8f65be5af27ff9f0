// A run killed at any instant and started again ends with both sides equal, nothing lost, nothing
// doubled. WKT_KILLS sets how many runs are killed.
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

class Kill : public CommandTest {
 protected:
  std::multiset<std::string> Titles(const std::string& home) {
    std::multiset<std::string> titles;
    for (const auto& job : nlohmann::json::parse(Run({"job", "list", home, "--json"}).out)) {
      titles.insert(job["title"].get<std::string>());
    }
    return titles;
  }

  // An import's file of so many jobs.
  std::string WriteJobs(const std::string& name, int count) {
    nlohmann::json file;
    for (int i = 0; i < count; ++i) {
      file["jobs"].push_back({{"id", name + std::to_string(i)},
                              {"title", name + " " + std::to_string(i)},
                              {"start", "2026-03-01T09:00"},
                              {"end", "2026-03-01T10:00"}});
    }
    std::string path = Path(name + ".json");
    std::ofstream(path) << file.dump();
    return path;
  }
};

TEST_F(Kill, KilledRunsEndEqual) {
  MakeDevice("pocket");
  MakeDevice("scratch");
  const char* asked = std::getenv("WKT_KILLS");
  const int kills = asked ? std::atoi(asked) : 12;
  constexpr int kJobs = 150;
  ASSERT_EQ(Run({"sync", "scratch", "desk"}).exitCode, 0);  // makes the partner's folder
  ASSERT_EQ(Run({"import", "pocket", WriteJobs("device", kJobs)}).exitCode, 0);
  ASSERT_EQ(Run({"import", "desk", WriteJobs("desktop", kJobs)}).exitCode, 0);
  int killed = 0;
  for (int i = 0; i < kills; ++i) {
    // From before the first call to the end of the run, more and more of it done already.
    killed +=
        RunKilled({"sync", "pocket", "desk"}, 3000u + static_cast<unsigned>(i) * 4000u).exitCode ==
        128 + 9;
  }
  EXPECT_GT(killed, 0);
  const CommandResult last = Run({"sync", "pocket", "desk", "--verify", "--json"});
  ASSERT_EQ(last.exitCode, 0) << last.err << last.out;
  const auto device = Titles("pocket");
  EXPECT_EQ(device, Titles("desk"));
  EXPECT_EQ(device.size(), 2u * kJobs);
  EXPECT_EQ(std::set<std::string>(device.begin(), device.end()).size(), 2u * kJobs)
      << "something is doubled";
  const auto report = nlohmann::json::parse(Run({"sync", "pocket", "desk", "--json"}).out);
  for (const auto& row : report["folders"]) {
    EXPECT_EQ(row["toDesktop"], 0);
    EXPECT_EQ(row["toDevice"], 0);
  }
}

}  // namespace
}  // namespace wkt::test
