#include "WktCommon/RegistryKey.h"

#include <gtest/gtest.h>

#include <string>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "host/control/Calls.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Text.h"

namespace {

using wkt::test::Narrow;

constexpr WCHAR kKey[] = u"SOFTWARE\\Worktally";

std::string Shown(const WideString& text) {
  return Narrow(text.c_str());
}

class RegistryKeyTest : public wkt::test::DeskDeviceTest {
 protected:
  // Exactly these bytes, with no terminator added.
  void SetBytes(const WCHAR* name, DWORD type, const void* bytes, DWORD byteCount) {
    CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, TRUE, FALSE);
    EXPECT_TRUE(key.WriteValue(name, type, bytes, byteCount));
  }
  static std::string Read(const WCHAR* name) {
    return Shown(CRegistryKey(HKEY_LOCAL_MACHINE, kKey, FALSE, TRUE).ReadString(name));
  }
};

TEST_F(RegistryKeyTest, AMissingKeyIsNotOpenAndReadsAsNothing) {
  const CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, FALSE, TRUE);
  EXPECT_FALSE(key.IsOpen());
  EXPECT_EQ(Shown(key.ReadString(u"InstallPath")), "");
  EXPECT_EQ(key.ReadDword(u"DatabaseVersion", -7), -7);
}

TEST_F(RegistryKeyTest, CreatingMakesTheKey) {
  EXPECT_TRUE(CRegistryKey(HKEY_LOCAL_MACHINE, kKey, TRUE, TRUE).IsOpen());
  EXPECT_TRUE(CRegistryKey(HKEY_LOCAL_MACHINE, kKey, FALSE, TRUE).IsOpen());
}

TEST_F(RegistryKeyTest, WritingToAKeyThatIsNotOpenCreatesIt) {
  {
    CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, FALSE, FALSE);
    EXPECT_FALSE(key.IsOpen());
    EXPECT_TRUE(key.WriteDword(u"DatabaseVersion", 74));
    EXPECT_TRUE(key.IsOpen());
  }
  const CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, FALSE, TRUE);
  EXPECT_EQ(key.ReadDword(u"DatabaseVersion", 0), 74);
}

TEST_F(RegistryKeyTest, OpensAndCreatesWithTheseCalls) {
  using Calls = std::vector<std::string>;
  const auto callsOf = [](BOOL create, BOOL readOnly) {
    wkt::control::CallRecording recording;
    CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, create, readOnly);
    if (!key.IsOpen()) {
      EXPECT_TRUE(key.WriteDword(u"Number", 5));
    }
    return wkt::control::DescribeCalls(recording.Take());
  };
  const std::string opened = "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Worktally\", 0, ";
  const std::string created =
      "RegCreateKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Worktally\", 0, NULL, 0, ";
  const std::string stored = "RegSetValueExW(#1, \"Number\", 0, 4, 4) = 0";
  const std::string readOnlyCreation = created + "0x20019, NULL, NULL) = 0";
  const std::string creation = created + "0xF003F, NULL, NULL) = 0";
  // Missing: opened in vain, and created with the same rights once a value is written.
  EXPECT_EQ(callsOf(FALSE, TRUE), (Calls{opened + "0x20019) = 2", readOnlyCreation, stored}));
  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey), ERROR_SUCCESS);
  EXPECT_EQ(callsOf(FALSE, FALSE), (Calls{opened + "0xF003F) = 2", creation, stored}));
  EXPECT_EQ(callsOf(FALSE, FALSE), (Calls{opened + "0xF003F) = 0"}));
  EXPECT_EQ(callsOf(FALSE, TRUE), (Calls{opened + "0x20019) = 0"}));
  // Whoever creates may write, whatever else was said.
  EXPECT_EQ(callsOf(TRUE, TRUE), (Calls{creation}));
  EXPECT_EQ(callsOf(TRUE, FALSE), (Calls{creation}));
}

TEST_F(RegistryKeyTest, ReadsWithThisBufferAndClosesTheKey) {
  device.SetText(kKey, u"InstallPath", std::u16string(200, u'x'));
  wkt::control::CallRecording recording;
  EXPECT_EQ(Read(u"InstallPath"), "");
  EXPECT_EQ(wkt::control::DescribeCalls(recording.Take()),
            (std::vector<std::string>{
                "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"SOFTWARE\\Worktally\", 0, 0x20019) = 0",
                "RegQueryValueExW(#1, \"InstallPath\", NULL, 256) = 234", "RegCloseKey(#1) = 0"}));
}

// This class lies below the log, which finds its library through it, so it writes no lines.
TEST_F(RegistryKeyTest, WritesNothingIntoTheLog) {
  device.MakeInstallation();
  wkt::test::LogCapture capture(device);
  StartLogging(u"test", u"\\log.txt");
  EXPECT_EQ(Shown(GetInstallPath()), "\\Program Files\\Worktally\\");
  CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, TRUE, FALSE);
  EXPECT_TRUE(key.WriteDword(u"Number", 5));
  EXPECT_EQ(key.ReadDword(u"Number", 0), 5);
  EXPECT_EQ(capture.Take(), wkt::test::LogLines{});
  wkt::logState = {};
}

TEST_F(RegistryKeyTest, WritingFailsOnlyWhenTheKeyCannotBeCreated) {
  CRegistryKey nowhere(nullptr, kKey, TRUE, FALSE);
  EXPECT_FALSE(nowhere.IsOpen());
  EXPECT_FALSE(nowhere.WriteDword(u"DatabaseVersion", 74));
  // A value that the registry refuses is not reported.
  CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, TRUE, FALSE);
  EXPECT_TRUE(key.WriteValue(u"Data", REG_SZ, nullptr, 12));
}

TEST_F(RegistryKeyTest, NumbersOfAnotherTypeReadAsTheDefault) {
  device.SetText(kKey, u"DatabaseVersion", u"74");
  const CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, FALSE, TRUE);
  EXPECT_EQ(key.ReadDword(u"DatabaseVersion", 5), 5);
  EXPECT_EQ(key.ReadDword(u"Missing", -1), -1);
  // Those that fit into four bytes, too.
  device.SetText(kKey, u"DatabaseVersion", u"7");
  EXPECT_EQ(key.ReadDword(u"DatabaseVersion", 5), 5);
  SetBytes(u"Bytes", REG_BINARY, "\x07\0\0", 4);
  EXPECT_EQ(key.ReadDword(u"Bytes", 5), 5);
  device.SetNumber(kKey, u"DatabaseVersion", 0xFFFFFFFF);
  EXPECT_EQ(key.ReadDword(u"DatabaseVersion", 5), -1);
  const BYTE eight[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  SetBytes(u"Long", REG_DWORD, eight, sizeof(eight));
  EXPECT_EQ(key.ReadDword(u"Long", 5), 5);
  SetBytes(u"Bytes", REG_BINARY, eight, 4);
  EXPECT_EQ(key.ReadDword(u"Bytes", 5), 5);
}

TEST_F(RegistryKeyTest, TextsOfAnotherTypeReadAsEmpty) {
  device.SetNumber(kKey, u"InstallPath", 0x00410041);
  EXPECT_EQ(Read(u"InstallPath"), "");
  SetBytes(u"Expand", REG_EXPAND_SZ, u"abc", 8);
  EXPECT_EQ(Read(u"Expand"), "");
}

TEST_F(RegistryKeyTest, ATextOf127CharactersFitsAndALongerOneReadsAsEmpty) {
  const std::u16string fits(127, u'x');
  device.SetText(kKey, u"InstallPath", fits);
  EXPECT_EQ(Read(u"InstallPath"), std::string(127, 'x'));
  device.SetText(kKey, u"InstallPath", fits + u'x');
  EXPECT_EQ(Read(u"InstallPath"), "");
}

TEST_F(RegistryKeyTest, ATextWithoutTerminatorEndsWithItsBytes) {
  const std::u16string text(128, u'y');
  SetBytes(u"InstallPath", REG_SZ, text.data(), 256);
  EXPECT_EQ(Read(u"InstallPath"), std::string(128, 'y'));
  SetBytes(u"InstallPath", REG_SZ, u"abc", 6);
  EXPECT_EQ(Read(u"InstallPath"), "abc");
  SetBytes(u"InstallPath", REG_SZ, u"abc", 0);
  EXPECT_EQ(Read(u"InstallPath"), "");
}

TEST_F(RegistryKeyTest, InstallPathEndsInASeparator) {
  struct Case {
    std::u16string stored;
    std::string read;
  };
  const Case cases[] = {{u"\\Program Files\\Worktally", "\\Program Files\\Worktally\\"},
                        {u"\\Program Files\\Worktally\\", "\\Program Files\\Worktally\\"},
                        {u"\\", "\\"},
                        {u"", "\\"},
                        {u"a", "a\\"},
                        {std::u16string(200, u'x'), "\\"}};
  for (const Case& c : cases) {
    device.SetText(kKey, u"InstallPath", c.stored);
    EXPECT_EQ(Shown(GetInstallPath()), c.read);
  }
}

TEST_F(RegistryKeyTest, InstallPathIsASeparatorWithoutValueAndEmptyWithoutKey) {
  EXPECT_EQ(Shown(GetInstallPath()), "");
  device.SetNumber(kKey, u"DatabaseVersion", 74);
  EXPECT_EQ(Shown(GetInstallPath()), "\\");
}

TEST_F(RegistryKeyTest, WithoutMemoryATextReadsAsEmpty) {
  device.SetText(kKey, u"InstallPath", u"\\Program Files");
  const CRegistryKey key(HKEY_LOCAL_MACHINE, kKey, FALSE, TRUE);
  for (size_t nth = 1; nth <= 2; ++nth) {
    wkt::ClearAllocationFailure();
    const wkt::test::AllocationFailure failure(nth);
    EXPECT_TRUE(key.ReadString(u"InstallPath").IsEmpty());
    EXPECT_TRUE(failure.Happened());
  }
  EXPECT_TRUE(wkt::AllocationFailed());
  wkt::ClearAllocationFailure();
}

}  // namespace
