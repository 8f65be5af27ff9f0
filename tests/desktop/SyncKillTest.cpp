// Synchronisations and edits killed at random instants, with two partners and edits on all sides
// between the kills. Each job belongs to one side, which alone edits it, so that nothing is a
// conflict and it is known what every side must have in the end. WKT_KILLS sets the number of
// kills; from 100 on there are 300 jobs to begin with.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <random>

#include "tests/desktop/SyncDesk.h"

namespace wkt::test {
namespace {

using Values = std::map<std::string, std::string>;  // title, comment

constexpr int kSides = 3;  // the device and two partners
constexpr const char* kOwners[kSides] = {"device", "one", "two"};
constexpr int kKillsPerCheck = 10;

Values ToValues(const SyncDesk::Jobs& jobs) {
  Values values(jobs.begin(), jobs.end());
  EXPECT_EQ(values.size(), jobs.size()) << "something is doubled";
  return values;
}

class SyncKill : public ::testing::Test {
 protected:
  SyncKill() {
    const char* asked = std::getenv("WKT_KILLS");
    kills = asked ? std::atoi(asked) : 20;
    const char* seed = std::getenv("WKT_SEED");
    const unsigned value = seed ? static_cast<unsigned>(std::atoi(seed)) : std::random_device()();
    random.seed(value);
    RecordProperty("seed", std::to_string(value));
    message = "WKT_SEED=" + std::to_string(value);
  }

  int Pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random); }

  void Add(int side) {
    const std::string title = std::string(kOwners[side]) + " " + std::to_string(++made);
    owned[side][title] = "new";
    side == 0 ? desk.AddOnDevice(title, "new") : desk.AddOnDesktop(side, title, "new");
  }

  void Edit(int side, bool mayDelete) {
    Values& values = owned[side];
    const int action = Pick(10);
    if (action < 3 || values.empty()) {
      Add(side);
      return;
    }
    const auto chosen = std::next(values.begin(), Pick(static_cast<int>(values.size())));
    const std::string title = chosen->first;
    if (action < 8 || !mayDelete) {
      const std::string text = "edit " + std::to_string(++made);
      chosen->second = text;
      side == 0 ? desk.ChangeOnDevice(title, text) : desk.ChangeOnDesktop(side, title, text);
    } else {
      values.erase(chosen);
      side == 0 ? desk.DeleteOnDevice(title) : desk.DeleteOnDesktop(side, title);
    }
  }

  // The application is killed while it edits its own jobs: each has its old or its new text.
  void KillApplication() {
    Values before = owned[0];
    const std::string text = "killed " + std::to_string(++made);
    desk.RunKilled(
        [&] {
          for (const auto& [title, comment] : before) {
            desk.ChangeOnDevice(title, text);
          }
        },
        static_cast<unsigned>(Pick(20'000)));
    const Values now = ToValues(desk.OnDevice());
    for (auto& [title, comment] : owned[0]) {
      ASSERT_TRUE(now.contains(title)) << title;
      EXPECT_TRUE(now.at(title) == comment || now.at(title) == text) << title;
      comment = now.at(title);
    }
  }

  void SyncCleanly(int partner) {
    const auto policy = static_cast<ConflictPolicy>(Pick(4));
    const Json report = desk.Sync(partner, policy, true);
    EXPECT_EQ(report["conflicts"].size(), 0u) << report.dump(1);
    EXPECT_EQ(report["failures"].size(), 0u) << report.dump(1);
    EXPECT_EQ(report["notices"].size(), 0u) << report.dump(1);
    EXPECT_EQ(report["verify"]["different"].size(), 0u) << report.dump(1);
    EXPECT_EQ(report["exitCode"], 0);
  }

  void ExpectAllEqual() {
    Values expected;
    for (const Values& values : owned) {
      expected.insert(values.begin(), values.end());
    }
    for (const int partner : {1, 2, 1}) {
      SyncCleanly(partner);
    }
    EXPECT_EQ(ToValues(desk.OnDevice()), expected);
    EXPECT_EQ(ToValues(desk.OnDesktop(1)), expected);
    EXPECT_EQ(ToValues(desk.OnDesktop(2)), expected);
  }

  // So many kills between instants that are checked. A first synchronisation deletes nothing, so
  // there is nothing deleted before it is finished.
  void KillAndCheck(int count, bool mayDelete) {
    for (int i = 0; i < count && !HasFailure(); ++i) {
      for (int edits = Pick(6); edits > 0; --edits) {
        Edit(Pick(kSides), mayDelete);
      }
      if (Pick(5) == 0) {
        KillApplication();
        continue;
      }
      const int partner = 1 + Pick(2);
      killed += !desk.SyncKilled(partner, static_cast<ConflictPolicy>(Pick(4)),
                                 static_cast<unsigned>(Pick(wholeRunMicroseconds)));
    }
    const auto begin = std::chrono::steady_clock::now();
    SyncCleanly(1);
    const auto took = std::chrono::steady_clock::now() - begin;
    wholeRunMicroseconds = static_cast<int>(
        5'000 + std::chrono::duration_cast<std::chrono::microseconds>(took).count());
    ExpectAllEqual();
  }

  int kills = 0;
  int killed = 0;
  int wholeRunMicroseconds = 20'000;
  int made = 0;
  Values owned[kSides];
  std::string message;
  std::mt19937 random;
  SyncDesk desk;
};

TEST_F(SyncKill, KilledRunsWithEditsBetweenEndEqual) {
  SCOPED_TRACE(message);
  const int records = kills >= 100 ? 300 : 60;
  for (int i = 0; i < records; ++i) {
    Add(i % kSides);
  }
  int left = kills;
  for (bool mayDelete = false; left > 0 && !HasFailure(); mayDelete = true) {
    const int count = std::min(left, kKillsPerCheck);
    KillAndCheck(count, mayDelete);
    left -= count;
  }
  EXPECT_GT(killed, kills / 10) << "most runs were over before they were killed";
}

}  // namespace
}  // namespace wkt::test
