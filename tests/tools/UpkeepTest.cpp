// wkt device fsck, and the registry as text.
#include <fstream>

#include "tests/tools/RunCommand.h"

namespace wkt::test {
namespace {

class Upkeep : public CommandTest {
 protected:
  void SetUp() override { MakeDevice("pocket"); }
};

TEST_F(Upkeep, GoodDeviceHasNoFindings) {
  const CommandResult result = Run({"device", "fsck", Path("pocket")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "Nothing is wrong.\n");
}

TEST_F(Upkeep, FindingsNameTheFile) {
  const std::string file = Path("pocket") + "/files/a:b";
  std::ofstream(file).close();
  std::ofstream(Path("pocket") + "/registry") << "worktally-registry 1\n";
  const CommandResult result = Run({"device", "fsck", Path("pocket")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.out.find("/pocket/registry: the end is missing\n"), std::string::npos);
  EXPECT_NE(result.out.find("/files/a:b: has a name that no device can make"), std::string::npos);
  const CommandResult json = Run({"device", "fsck", Path("pocket"), "--json"});
  EXPECT_NE(json.out.find("\"findings\""), std::string::npos);
}

TEST_F(Upkeep, MissingFolderIsAFailure) {
  const CommandResult result = Run({"device", "fsck", Path("none")});
  EXPECT_EQ(result.exitCode, 4);
  EXPECT_NE(result.err.find("none: no such folder"), std::string::npos);
}

TEST_F(Upkeep, RegistryTravelsToAnotherDevice) {
  MakeDevice("other");
  const std::string text = Path("software.txt");
  std::ofstream(text) << "worktally-registry "
                         "1\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Mine]\n\"v\"=dword:00000007\n; end\n";
  EXPECT_EQ(Run({"device", "registry", "import", Path("pocket"), text}).exitCode, 0);
  const CommandResult out =
      Run({"device", "registry", "export", Path("pocket"), "HKEY_LOCAL_MACHINE\\software\\mine"});
  EXPECT_EQ(out.exitCode, 0) << out.err;
  EXPECT_NE(out.out.find("\"v\"=dword:00000007\n; end\n"), std::string::npos) << out.out;
  const CommandResult other =
      Run({"device", "registry", "export", Path("other"), "HKEY_LOCAL_MACHINE\\SOFTWARE\\Mine"});
  EXPECT_EQ(other.exitCode, 4);
  EXPECT_NE(other.err.find("no such key: HKEY_LOCAL_MACHINE\\SOFTWARE\\Mine"), std::string::npos);
}

TEST_F(Upkeep, DamagedTextIsNotImported) {
  const std::string text = Path("bad.txt");
  std::ofstream(text) << "worktally-registry 1\n[HKEY_USERS\\a]\nnonsense\n; end\n";
  const CommandResult result = Run({"device", "registry", "import", Path("pocket"), text});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_NE(result.err.find("bad.txt: line 3 is damaged"), std::string::npos) << result.err;
  EXPECT_EQ(Run({"device", "registry", "import", Path("pocket"), Path("none.txt")}).exitCode, 2);
}

}  // namespace
}  // namespace wkt::test
