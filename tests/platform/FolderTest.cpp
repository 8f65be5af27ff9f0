// Folders, searches, moving and deleting.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/Files.h"
#include "platform/Kernel.h"
#include "tests/support/DeskDevice.h"

namespace {

class Folders : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override { SetLastError(0xDEADBEEF); }

  static void ExpectFails(BOOL result, DWORD error) {
    EXPECT_FALSE(result);
    EXPECT_EQ(GetLastError(), error);
    SetLastError(0xDEADBEEF);
  }
  static std::vector<std::u16string> Find(const char16_t* pattern) {
    std::vector<std::u16string> names;
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW(pattern, &found);
    if (search == INVALID_HANDLE_VALUE)
      return names;
    do {
      names.emplace_back(found.cFileName);
    } while (FindNextFileW(search, &found));
    EXPECT_EQ(GetLastError(), 18u);
    EXPECT_TRUE(FindClose(search));
    return names;
  }
};

using Names = std::vector<std::u16string>;

TEST_F(Folders, AreMadeOneLevelAtATime) {
  ExpectFails(CreateDirectoryW(u"\\a\\b", nullptr), 3);
  EXPECT_TRUE(CreateDirectoryW(u"\\a", nullptr));
  EXPECT_TRUE(CreateDirectoryW(u"\\a\\b\\", nullptr));
  EXPECT_EQ(GetLastError(), 0xDEADBEEF);
  ExpectFails(CreateDirectoryW(u"\\A", nullptr), 183);
  ExpectFails(CreateDirectoryW(u"\\a\\B", nullptr), 183);
  ExpectFails(CreateDirectoryW(u"\\", nullptr), 183);
  ExpectFails(CreateDirectoryW(u"\\a\\..", nullptr), 123);
  ExpectFails(CreateDirectoryW(u"", nullptr), 3);
  ExpectFails(CreateDirectoryW(nullptr, nullptr), 3);
  device.WriteFile(u"\\file", "");
  ExpectFails(CreateDirectoryW(u"\\FILE", nullptr), 183);
  ExpectFails(CreateDirectoryW(u"\\file\\a", nullptr), 3);
}

TEST_F(Folders, KeepTheCaseTheyWereMadeWith) {
  CreateDirectoryW(u"\\MixedCase", nullptr);
  CreateDirectoryW(u"\\mixedcase\\\u00C4pfel", nullptr);
  EXPECT_EQ(Find(u"\\MIXEDCASE"), Names{u"MixedCase"});
  EXPECT_EQ(Find(u"\\mixedCASE\\\u00E4PFEL"), Names{u"\u00C4pfel"});
}

TEST_F(Folders, AreRemovedWhenEmpty) {
  CreateDirectoryW(u"\\a", nullptr);
  CreateDirectoryW(u"\\a\\b", nullptr);
  device.WriteFile(u"\\file", "");
  ExpectFails(RemoveDirectoryW(u"\\a"), 145);
  ExpectFails(RemoveDirectoryW(u"\\c"), 2);
  ExpectFails(RemoveDirectoryW(u"\\c\\d"), 3);
  ExpectFails(RemoveDirectoryW(u"\\file"), 267);
  ExpectFails(RemoveDirectoryW(u"\\"), 5);
  EXPECT_TRUE(RemoveDirectoryW(u"\\A\\B"));
  EXPECT_TRUE(RemoveDirectoryW(u"\\a"));
  EXPECT_FALSE(device.FileExists(u"\\a"));
}

TEST_F(Folders, EmptyOnesHaveNoEntriesNotEvenDots) {
  CreateDirectoryW(u"\\empty", nullptr);
  WIN32_FIND_DATAW found;
  memset(&found, 0xAA, sizeof(found));
  EXPECT_EQ(FindFirstFileW(u"\\empty\\*", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 18u);
  EXPECT_EQ(FindFirstFileW(u"\\none\\*", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 3u);
  EXPECT_EQ(FindFirstFileW(u"\\empty\\", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 18u);
  EXPECT_EQ(FindFirstFileW(u"\\", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(FindFirstFileW(u"\\em*\\x", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 123u);
  EXPECT_EQ(found.dwOID, 0xAAAAAAAA);
}

TEST_F(Folders, SearchesMatchWithoutCase) {
  for (const char16_t* name : {u"\\Readme.txt", u"\\README", u"\\data.TXT", u"\\x.tx"})
    device.WriteFile(name, "");
  EXPECT_EQ(Find(u"\\*.txt"), (Names{u"Readme.txt", u"data.TXT"}));
  EXPECT_EQ(Find(u"\\R*"), (Names{u"README", u"Readme.txt"}));
  EXPECT_EQ(Find(u"\\?eadme"), (Names{u"README"}));
  EXPECT_EQ(Find(u"\\*a*t*"), (Names{u"Readme.txt", u"data.TXT"}));
  EXPECT_EQ(Find(u"\\*.*").size(), 4u);
  EXPECT_EQ(Find(u"\\*").size(), 4u);
  EXPECT_EQ(Find(u"\\x.tx?"), Names());
  EXPECT_EQ(Find(u"\\README"), (Names{u"README"}));
}

TEST_F(Folders, SearchesTellSizeKindAndTime) {
  HANDLE file = CreateFileW(u"\\f", GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  DWORD count = 0;
  WriteFile(file, "abc", 3, &count, nullptr);
  CloseHandle(file);
  WIN32_FIND_DATAW found;
  memset(&found, 0xAA, sizeof(found));
  HANDLE search = FindFirstFileW(u"\\f", &found);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  EXPECT_EQ(found.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(found.nFileSizeLow, 3u);
  EXPECT_EQ(found.nFileSizeHigh, 0u);
  EXPECT_EQ(found.dwOID, 0u);
  // The device's clock stands at 2026-03-02T08:00:00Z.
  EXPECT_EQ(
      (uint64_t{found.ftLastWriteTime.dwHighDateTime} << 32) | found.ftLastWriteTime.dwLowDateTime,
      134'169'120'000'000'000u);
  EXPECT_FALSE(FindNextFileW(search, &found));
  FindClose(search);
  CreateDirectoryW(u"\\d", nullptr);
  search = FindFirstFileW(u"\\d", &found);
  EXPECT_EQ(found.dwFileAttributes, FILE_ATTRIBUTE_DIRECTORY);
  FindClose(search);
}

TEST_F(Folders, SearchesPassOverWhatVanished) {
  for (const char16_t* name : {u"\\a", u"\\b", u"\\c"})
    device.WriteFile(name, "");
  WIN32_FIND_DATAW found;
  HANDLE search = FindFirstFileW(u"\\*", &found);
  DeleteFileW(u"\\b");
  EXPECT_TRUE(FindNextFileW(search, &found));
  EXPECT_EQ(std::u16string(found.cFileName), u"c");
  EXPECT_FALSE(FindNextFileW(search, &found));
  EXPECT_EQ(std::u16string(found.cFileName), u"c");
  FindClose(search);
}

TEST_F(Folders, SearchHandlesAreChecked) {
  WIN32_FIND_DATAW found;
  ExpectFails(FindClose(INVALID_HANDLE_VALUE), 6);
  ExpectFails(FindNextFileW(nullptr, &found), 6);
  device.WriteFile(u"\\a", "");
  HANDLE search = FindFirstFileW(u"\\a", &found);
  ExpectFails(CloseHandle(search), 6);
  EXPECT_TRUE(FindClose(search));
  ExpectFails(FindClose(search), 6);
  EXPECT_EQ(FindFirstFileW(u"\\a", nullptr), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 87u);
}

TEST_F(Folders, FilesAreDeleted) {
  device.WriteFile(u"\\File", "");
  CreateDirectoryW(u"\\d", nullptr);
  ExpectFails(DeleteFileW(u"\\none"), 2);
  ExpectFails(DeleteFileW(u"\\none\\file"), 3);
  ExpectFails(DeleteFileW(u"\\d"), 5);
  EXPECT_TRUE(DeleteFileW(u"\\FILE"));
  EXPECT_FALSE(device.FileExists(u"\\File"));
}

TEST_F(Folders, FilesAndFoldersMove) {
  device.WriteFile(u"\\a", "content");
  device.WriteFile(u"\\b", "other");
  CreateDirectoryW(u"\\d", nullptr);
  ExpectFails(MoveFileW(u"\\none", u"\\x"), 2);
  ExpectFails(MoveFileW(u"\\a", u"\\none\\x"), 3);
  ExpectFails(MoveFileW(u"\\a", u"\\B"), 183);
  ExpectFails(MoveFileW(u"\\a", u"\\d"), 183);
  ExpectFails(MoveFileW(u"\\", u"\\x"), 5);
  EXPECT_TRUE(MoveFileW(u"\\A", u"\\d\\Moved"));
  EXPECT_EQ(device.ReadFile(u"\\d\\moved"), "content");
  EXPECT_TRUE(MoveFileW(u"\\d", u"\\e"));
  EXPECT_EQ(device.ReadFile(u"\\e\\moved"), "content");
  EXPECT_TRUE(MoveFileW(u"\\b", u"\\B"));
  EXPECT_EQ(Find(u"\\b"), Names{u"B"});
  ExpectFails(MoveFileW(u"\\e", u"\\e\\inside"), 87);
}

TEST_F(Folders, AttributesOfWhatIsMissing) {
  EXPECT_EQ(GetFileAttributesW(u"\\none"), 0xFFFFFFFF);
  EXPECT_EQ(GetLastError(), 2u);
  EXPECT_EQ(GetFileAttributesW(u"\\none\\x"), 0xFFFFFFFF);
  EXPECT_EQ(GetLastError(), 3u);
  EXPECT_EQ(GetFileAttributesW(u"\\"), FILE_ATTRIBUTE_DIRECTORY);
}

// What only the machine below can make is not there for the device.
TEST_F(Folders, LinksAndForeignNamesAreNotThere) {
  const std::filesystem::path root = device.Folder() + "/files";
  std::filesystem::create_symlink("/etc", root / "link");
  std::filesystem::create_symlink("/etc/passwd", root / "passwd");
  std::filesystem::create_symlink("..", root / "up");
  for (const char* const name : {"back\\slash", "col:on", "\xFF\xFE"}) {
    const std::ofstream made(root / name);
    ASSERT_TRUE(made.is_open()) << name;
  }
  EXPECT_EQ(Find(u"\\*"), Names());
  WIN32_FIND_DATAW found;
  EXPECT_EQ(FindFirstFileW(u"\\link\\*", &found), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 3u);
  EXPECT_EQ(GetFileAttributesW(u"\\up\\registry"), 0xFFFFFFFF);
  EXPECT_EQ(CreateFileW(u"\\passwd", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 2u);
  EXPECT_EQ(CreateFileW(u"\\passwd", GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr),
            INVALID_HANDLE_VALUE);
  ExpectFails(DeleteFileW(u"\\passwd"), 2);
  EXPECT_TRUE(std::filesystem::is_symlink(root / "passwd"));
}

}  // namespace
