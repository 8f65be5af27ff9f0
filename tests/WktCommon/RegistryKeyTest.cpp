#include "WktCommon/RegistryKey.h"

#include <gtest/gtest.h>

#include <string>

#include "WktCommon/Allocation.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
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
  device.SetNumber(kKey, u"DatabaseVersion", 0xFFFFFFFF);
  EXPECT_EQ(key.ReadDword(u"DatabaseVersion", 5), -1);
  const BYTE eight[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  SetBytes(u"Long", REG_DWORD, eight, sizeof(eight));
  EXPECT_EQ(key.ReadDword(u"Long", 5), 5);
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
