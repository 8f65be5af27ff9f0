// Devices and partners that were reset, restored or exchanged: never taken for "all was deleted".
#include <nlohmann/json.hpp>
#include <set>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

using nlohmann::json;
using Titles = std::multiset<std::string>;

constexpr int kJobs = 12;

class Identity : public CommandTest {
 protected:
  // A device with twelve jobs, synchronised.
  void SetUp() override {
    MakeDevice("pocket");
    for (int i = 1; i <= kJobs; ++i) {
      Add("pocket", "job " + std::to_string(100 + i));
    }
    ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  }

  // Clocks stand still here, so that two devices would make the same identifiers.
  void SetSeed(const std::string& device, const char* seed) {
    ASSERT_EQ(Run({"device", "set", device, "--seed", seed}).exitCode, 0);
  }
  void Add(const std::string& home, const std::string& title) {
    ASSERT_EQ(Run({"job", "add", home, "--title", title}).exitCode, 0);
  }
  void Delete(const std::string& home, const std::string& title) {
    ASSERT_EQ(Run({"job", "delete", home, title}).exitCode, 0);
  }
  Titles TitlesOf(const std::string& home) {
    Titles titles;
    for (const json& job : json::parse(Run({"job", "list", home, "--json"}).out)) {
      titles.insert(job["title"].get<std::string>());
    }
    return titles;
  }
  // The twelve and more.
  static Titles Twelve(const Titles& more = {}) {
    Titles titles = more;
    for (int i = 1; i <= kJobs; ++i) {
      titles.insert("job " + std::to_string(100 + i));
    }
    return titles;
  }
  void Move(const std::string& from, const std::string& to) {
    std::filesystem::remove_all(Path(to));
    std::filesystem::rename(Path(from), Path(to));
  }

  // One run that deletes nothing and says why, one that has nothing to do; all equal in the end.
  void ExpectNoticed(const std::string& beginning, const Titles& expected) {
    const CommandResult result = Run({"sync", "pocket", "desk", "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err << result.out;
    const json report = json::parse(result.out);
    ASSERT_EQ(report["notices"].size(), 1u) << report["notices"].dump(1);
    EXPECT_TRUE(report["notices"][0].get<std::string>().starts_with(beginning))
        << report["notices"][0];
    EXPECT_TRUE(report["firstRun"].get<bool>());
    EXPECT_EQ(report["folders"][2]["deletedOnDevice"], 0);
    EXPECT_EQ(report["folders"][2]["deletedOnDesktop"], 0);
    EXPECT_EQ(TitlesOf("pocket"), expected);
    EXPECT_EQ(TitlesOf("desk"), expected);
    const json again = json::parse(Run({"sync", "pocket", "desk", "--verify", "--json"}).out);
    EXPECT_EQ(again["notices"].size(), 0u);
    EXPECT_EQ(again["folders"][2]["toDevice"], 0);
    EXPECT_EQ(again["folders"][2]["toDesktop"], 0);
    EXPECT_EQ(again["verify"]["different"].size(), 0u);
  }

  static constexpr char kExchanged[] = "The device in this place was reset or exchanged";
  static constexpr char kRestored[] = "This device is not as the last synchronisation left it";
  static constexpr char kOtherDesktop[] = "Partner 1 of this device was another desktop until now";
};

TEST_F(Identity, ResetDevice) {
  std::filesystem::remove_all(Path("pocket"));
  MakeDevice("pocket");
  ExpectNoticed(kExchanged, Twelve());
}

TEST_F(Identity, DeviceWhoseDatabasesAreGone) {
  ASSERT_EQ(Run({"type", "add", "pocket", "--kind", "2", "--name", "Garden"}).exitCode, 0);
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  std::filesystem::remove(Path("pocket/store.vol"));
  ExpectNoticed("This device lists nothing at all any more", Twelve());
  EXPECT_EQ(json::parse(Run({"type", "list", "pocket", "--json"}).out).size(), 1u);
}

TEST_F(Identity, EverythingDeletedOnPurpose) {
  ASSERT_EQ(Run({"type", "add", "pocket", "--kind", "2", "--name", "Garden"}).exitCode, 0);
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  ASSERT_EQ(Run({"type", "delete", "pocket", "Garden"}).exitCode, 0);
  for (const std::string& title : Twelve()) {
    Delete("pocket", title);
  }
  ASSERT_EQ(Run({"sync", "pocket", "desk", "--allow-delete"}).exitCode, 0);
  EXPECT_EQ(TitlesOf("desk"), Titles());
}

TEST_F(Identity, AnotherDeviceInTheSamePlace) {
  MakeDevice("other");
  SetSeed("other", "5000");
  Add("other", "other's own");
  Move("other", "pocket");
  ExpectNoticed(kExchanged, Twelve({"other's own"}));
}

TEST_F(Identity, RestoredDevice) {
  ASSERT_EQ(Run({"backup", "pocket", "b"}).exitCode, 0);
  Add("pocket", "after the backup");
  Delete("desk", "job 103");
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  ASSERT_EQ(Run({"restore", "pocket", "b", "--replace"}).exitCode, 0);
  SetSeed("pocket", "5000");
  Add("pocket", "after the restore");
  ExpectNoticed(kRestored, Twelve({"after the backup", "after the restore"}));
}

TEST_F(Identity, CopyOfADevice) {
  std::filesystem::copy(Path("pocket"), Path("copy"), std::filesystem::copy_options::recursive);
  Add("pocket", "on the first");
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  Move("copy", "pocket");
  SetSeed("pocket", "5000");
  Add("pocket", "on the copy");
  ExpectNoticed(kRestored, Twelve({"on the first", "on the copy"}));
}

TEST_F(Identity, PartnerFolderThatIsGone) {
  std::filesystem::remove_all(Path("desk"));
  ExpectNoticed(kOtherDesktop, Twelve());
}

TEST_F(Identity, AnotherPartnerInTheSamePlace) {
  MakeDevice("second");
  SetSeed("second", "5000");
  Add("second", "second's own");
  ASSERT_EQ(Run({"sync", "second", "office"}).exitCode, 0);
  Move("office", "desk");
  ExpectNoticed(kOtherDesktop, Twelve({"second's own"}));
}

TEST_F(Identity, RestoredPartner) {
  ASSERT_EQ(Run({"backup", "desk", "b"}).exitCode, 0);
  Add("pocket", "after the backup");
  Delete("pocket", "job 103");
  ASSERT_EQ(Run({"sync", "pocket", "desk"}).exitCode, 0);
  ASSERT_EQ(Run({"restore", "desk", "b", "--replace"}).exitCode, 0);
  ExpectNoticed(kRestored, Twelve({"after the backup"}));
}

TEST_F(Identity, TwoPartnersAreToldApart) {
  ASSERT_EQ(Run({"sync", "pocket", "office", "--partner", "2"}).exitCode, 0);
  // The same desktop in the other partner's stead, then back.
  const json report = json::parse(Run({"sync", "pocket", "desk", "--partner", "2", "--json"}).out);
  ASSERT_EQ(report["notices"].size(), 1u);
  EXPECT_TRUE(report["notices"][0].get<std::string>().starts_with(
      "Partner 2 of this device was another desktop until now"));
  EXPECT_EQ(TitlesOf("pocket"), Twelve());
  EXPECT_EQ(TitlesOf("desk"), Twelve());
}

}  // namespace
}  // namespace wkt::test
