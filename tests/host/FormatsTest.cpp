// Bytes from outside: registry texts and library files that are spoilt at random or on purpose.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "host/coredll/RegistryTree.h"
#include "host/coredll/Text.h"
#include "host/coredll/VersionBlock.h"
#include "tests/support/DeskDevice.h"

namespace {

using wkt::host::VersionBlockOf;
using FileBytes = std::vector<uint8_t>;

FileBytes ProbeFile() {
  wkt::test::DeskDevice device;
  device.CopyFile(device.BuiltLibrary("ProbeSecond"), u"\\p");
  const std::string content = device.ReadFile(u"\\p");
  return {content.begin(), content.end()};
}

void Put16(FileBytes& file, size_t at, uint16_t value) {
  file[at] = static_cast<uint8_t>(value);
  file[at + 1] = static_cast<uint8_t>(value >> 8);
}

void Put32(FileBytes& file, size_t at, uint32_t value) {
  Put16(file, at, static_cast<uint16_t>(value));
  Put16(file, at + 2, static_cast<uint16_t>(value >> 16));
}

// The root node with its fixed part, 92 bytes, at `at`.
void PutVersion(FileBytes& file, size_t at) {
  Put16(file, at, 92);
  Put16(file, at + 2, 52);
  constexpr char16_t kName[] = u"VS_VERSION_INFO";
  for (size_t i = 0; i < std::size(kName); ++i)
    Put16(file, at + 6 + 2 * i, kName[i]);
  Put32(file, at + 40, 0xFEEF04BD);
  Put32(file, at + 48, 0x00040002);
}

// The smallest file of the other format: one section, loaded at 0x1000, that holds the resource
// folders (type, name, language), the leaf and the version behind them.
FileBytes PeFile() {
  FileBytes file(0x400);
  Put16(file, 0, 0x5A4D);
  Put32(file, 0x3C, 0x40);
  Put32(file, 0x40, 0x00004550);
  Put16(file, 0x46, 1);
  Put16(file, 0x54, 0xE0);
  Put16(file, 0x58, 0x010B);
  Put32(file, 0x58 + 96 + 16, 0x1000);
  const size_t section = 0x58 + 0xE0;
  Put32(file, section + 12, 0x1000);
  Put32(file, section + 16, 0x200);
  Put32(file, section + 20, 0x200);
  const auto folder = [&](size_t at, uint32_t id, uint32_t to) {
    Put16(file, at + 14, 1);
    Put32(file, at + 16, id);
    Put32(file, at + 20, to);
  };
  folder(0x200, 16, 0x80000018);
  folder(0x218, 1, 0x80000030);
  folder(0x230, 0x409, 0x48);
  Put32(file, 0x248, 0x1080);
  Put32(file, 0x24C, 92);
  PutVersion(file, 0x280);
  return file;
}

uint32_t MajorMinor(const FileBytes& block) {
  uint32_t version = 0;
  memcpy(&version, block.data() + 48, sizeof(version));
  return version;
}

TEST(VersionFiles, AreFoundInBothFormats) {
  const auto fromPe = VersionBlockOf(PeFile());
  ASSERT_TRUE(fromPe);
  EXPECT_EQ(fromPe->size(), 92u);
  EXPECT_EQ(MajorMinor(*fromPe), 0x00040002u);
  const auto fromElf = VersionBlockOf(ProbeFile());
  ASSERT_TRUE(fromElf);
  EXPECT_EQ(MajorMinor(*fromElf) >> 16, 4u);
}

TEST(VersionFiles, OtherFilesHaveNone) {
  EXPECT_FALSE(VersionBlockOf({}));
  EXPECT_FALSE(VersionBlockOf(FileBytes(1, 0x7F)));
  EXPECT_FALSE(VersionBlockOf(FileBytes(4096, 0)));
  EXPECT_FALSE(VersionBlockOf(FileBytes(4096, 0xFF)));
}

// Whatever is found in a spoilt file is a whole root; nothing is read outside (the sanitizers
// look).
void ExpectWholeOrNothing(const FileBytes& file) {
  if (const auto block = VersionBlockOf(file)) {
    ASSERT_GE(block->size(), 92u);
    EXPECT_EQ(block->at(0) | block->at(1) << 8, static_cast<int>(block->size()));
  }
}

TEST(VersionFiles, CutAndSpoiltOnesAreNotFollowed) {
  const FileBytes whole = PeFile();
  for (size_t count = 0; count < whole.size(); ++count)
    ExpectWholeOrNothing(FileBytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(count)));
  for (size_t at = 0; at < whole.size(); ++at) {
    for (const uint8_t extreme : {uint8_t{0}, uint8_t{1}, uint8_t{0x7F}, uint8_t{0xFF}}) {
      FileBytes spoilt = whole;
      spoilt[at] = extreme;
      ExpectWholeOrNothing(spoilt);
    }
  }
}

TEST(VersionFiles, SpoiltLibrariesAreNotFollowed) {
  const FileBytes whole = ProbeFile();
  std::mt19937 random(20260302);
  // Mostly the header at the start and the section table at the end, where the walk goes.
  for (int round = 0; round < 2000; ++round) {
    FileBytes spoilt = whole;
    for (int i = 0; i < 3; ++i) {
      const size_t near = random() % 2 == 0 ? random() % 64 : spoilt.size() - 1 - random() % 2400;
      spoilt[near] = static_cast<uint8_t>(random());
    }
    ExpectWholeOrNothing(spoilt);
  }
}

constexpr char kRegistryText[] =
    "worktally-registry 1\n"
    "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Worktally]\n"
    "\"InstallPath\"=\"\\\\Program Files\\\\Worktally\"\n"
    "\"DatabaseVersion\"=dword:0000004a\n"
    "@=hex(7):61,00,00,00\n"
    "\"b\"=hex:\n"
    "[HKEY_CURRENT_USER\\\u00C4]\n"
    "\"line\\u000abreak\"=\"\\\"\"\n"
    "; end\n";

TEST(RegistryText, IsWrittenAsItWasRead) {
  std::string error;
  const auto root = wkt::host::ParseRegistry(kRegistryText, error);
  ASSERT_TRUE(root) << error;
  std::string expected = kRegistryText;
  // Keys on the way to others are written too.
  const auto insert = [&](const std::string& before, const std::string& text) {
    expected.insert(expected.find(before), text);
  };
  insert("[HKEY_LOCAL_MACHINE\\SOFTWARE\\W",
         "[HKEY_LOCAL_MACHINE]\n[HKEY_LOCAL_MACHINE\\SOFTWARE]\n");
  insert("[HKEY_CURRENT_USER\\", "[HKEY_CURRENT_USER]\n");
  EXPECT_EQ(wkt::host::FormatRegistry(*root), expected);
}

TEST(RegistryText, SpoiltTextsAreRefusedOrReadOneWay) {
  const std::string whole = kRegistryText;
  std::mt19937 random(20260302);
  constexpr char kUnits[] = "\\\"[]@=:;,()\n\r 0afux\x01\x7F\xC3\xFF";
  int read = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string spoilt = whole;
    for (uint32_t i = 0; i <= random() % 3; ++i) {
      const size_t at = random() % spoilt.size();
      const char unit = kUnits[random() % (sizeof(kUnits) - 1)];
      if (random() % 3 == 0) {
        spoilt.erase(at, 1 + random() % 4);
      } else if (random() % 2 == 0) {
        spoilt.insert(at, 1, unit);
      } else {
        spoilt[at] = unit;
      }
    }
    std::string error;
    const auto root = wkt::host::ParseRegistry(spoilt, error);
    if (!root) {
      EXPECT_FALSE(error.empty());
      continue;
    }
    ++read;
    const std::string text = wkt::host::FormatRegistry(*root);
    const auto again = wkt::host::ParseRegistry(text, error);
    ASSERT_TRUE(again) << error << '\n' << spoilt;
    EXPECT_EQ(wkt::host::FormatRegistry(*again), text) << spoilt;
  }
  // Enough of both kinds for the test to mean something.
  EXPECT_GT(read, 1000);
  EXPECT_LT(read, 19'000);
}

TEST(DeviceText, TravelsThroughUtf8) {
  for (const std::u16string& text :
       {std::u16string(u""), std::u16string(u"a\u00E4\u20AC\U0001F600"), std::u16string(u"\xD800"),
        std::u16string(u"\xDC00\xD800"), std::u16string(u"x\xDBFF"),
        std::u16string(u"\uFFFF\u0001")})
    EXPECT_EQ(wkt::host::FromUtf8(wkt::host::ToUtf8(text)), text);
  for (const char* bad :
       {"\x80", "\xC0\x80", "\xC3", "\xE2\x82", "\xE0\x80\x80", "\xF0\x80\x80\x80",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "a\xC3("})
    EXPECT_FALSE(wkt::host::FromUtf8(bad)) << bad;
}

TEST(DeviceText, CaseIsThatOfReversiblePairs) {
  using wkt::host::UpperCase;
  struct Pair {
    char16_t lower, upper;
  };
  for (const Pair& pair : {Pair{u'a', u'A'},
                           {u'z', u'Z'},
                           {u'\u00E4', u'\u00C4'},
                           {u'\u00FF', u'\u0178'},
                           {u'\u0101', u'\u0100'},
                           {u'\u03C9', u'\u03A9'},
                           {u'\u044F', u'\u042F'},
                           {u'\u0561', u'\u0531'},
                           {u'\u1E01', u'\u1E00'},
                           {u'\uFF41', u'\uFF21'}})
    EXPECT_EQ(UpperCase(pair.lower), pair.upper);
  for (const char16_t same : {u'A', u'1', u'`', u'{', u'\u00DF', u'\u00F7', u'\u0131', u'\u017F',
                              u'\u00B5', u'\u0130', u'\u0102', u'\xD800', u'\xFFFF'})
    EXPECT_EQ(UpperCase(same), same);
  EXPECT_TRUE(wkt::host::EqualIgnoringCase(u"\u00E4Bc", u"\u00C4bC"));
  EXPECT_FALSE(wkt::host::EqualIgnoringCase(u"abc", u"abcd"));
}

}  // namespace
