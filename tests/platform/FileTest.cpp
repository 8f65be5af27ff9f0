// Open files: modes, sharing, reading, writing and positions.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/Files.h"
#include "platform/Kernel.h"
#include "tests/support/DeskDevice.h"

namespace {

constexpr DWORD kBoth = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

HANDLE Open(const char16_t* path, DWORD access, DWORD mode, DWORD share = kShareAll) {
  return CreateFileW(path, access, share, nullptr, mode, FILE_ATTRIBUTE_NORMAL, nullptr);
}

class Files : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override {
    device.WriteFile(u"\\There.txt", "0123456789");
    device.MakeFolder(u"\\Folder");
    SetLastError(0xDEADBEEF);
  }
  static void ExpectOpenFails(const char16_t* path, DWORD access, DWORD mode, DWORD error) {
    SetLastError(0xDEADBEEF);
    EXPECT_EQ(Open(path, access, mode), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), error);
  }
};

TEST_F(Files, ModesOfOpening) {
  ExpectOpenFails(u"\\none", GENERIC_READ, OPEN_EXISTING, 2);
  ExpectOpenFails(u"\\none", GENERIC_WRITE, TRUNCATE_EXISTING, 2);
  ExpectOpenFails(u"\\none\\file", kBoth, CREATE_ALWAYS, 3);
  ExpectOpenFails(u"\\There.txt\\file", kBoth, CREATE_ALWAYS, 3);
  ExpectOpenFails(u"\\there.TXT", kBoth, CREATE_NEW, 80);
  ExpectOpenFails(u"\\Folder", GENERIC_READ, OPEN_EXISTING, 5);
  ExpectOpenFails(u"\\", GENERIC_READ, OPEN_EXISTING, 5);
  ExpectOpenFails(u"\\There.txt", GENERIC_READ, TRUNCATE_EXISTING, 87);
  ExpectOpenFails(u"\\There.txt", GENERIC_READ, 0, 87);
  ExpectOpenFails(u"\\There.txt", GENERIC_READ, 6, 87);
  ExpectOpenFails(u"\\new\\", kBoth, CREATE_NEW, 123);
  ExpectOpenFails(nullptr, GENERIC_READ, OPEN_EXISTING, 3);
  ExpectOpenFails(u"", GENERIC_READ, OPEN_EXISTING, 3);
  EXPECT_EQ(device.ReadFile(u"\\There.txt"), "0123456789");
}

TEST_F(Files, MakingTellsWhetherTheFileWasThere) {
  HANDLE file = Open(u"\\Made.txt", kBoth, CREATE_ALWAYS);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 0u);
  EXPECT_TRUE(CloseHandle(file));
  file = Open(u"\\MADE.TXT", kBoth, OPEN_ALWAYS);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 183u);
  CloseHandle(file);
  SetLastError(0xDEADBEEF);
  file = Open(u"\\There.txt", kBoth, OPEN_EXISTING);
  EXPECT_EQ(GetLastError(), 0xDEADBEEF);
  CloseHandle(file);
  EXPECT_EQ(GetFileAttributesW(u"\\made.txt"), FILE_ATTRIBUTE_ARCHIVE);
}

TEST_F(Files, EmptyingModesEmptyAndOthersKeep) {
  CloseHandle(Open(u"\\There.txt", kBoth, OPEN_ALWAYS));
  EXPECT_EQ(device.ReadFile(u"\\There.txt").size(), 10u);
  CloseHandle(Open(u"\\There.txt", GENERIC_WRITE, TRUNCATE_EXISTING));
  EXPECT_EQ(device.ReadFile(u"\\There.txt"), "");
  device.WriteFile(u"\\There.txt", "again");
  CloseHandle(Open(u"\\There.txt", GENERIC_WRITE, CREATE_ALWAYS));
  EXPECT_EQ(device.ReadFile(u"\\There.txt"), "");
}

TEST_F(Files, BadNamesAreRefused) {
  for (const char16_t* bad :
       {u"\\a/b", u"/etc/passwd", u"\\..\\registry", u"\\Folder\\..\\There.txt", u"\\.", u"\\a:b",
        u"\\a*", u"\\a?", u"\\a|b", u"\\a<", u"\\a>", u"\\a\"", u"\\a\n"})
    ExpectOpenFails(bad, kBoth, OPEN_ALWAYS, 123);
  ExpectOpenFails((u"\\" + std::u16string(259, u'n')).c_str(), kBoth, CREATE_NEW, 206);
  // 254 letters are a path of 255, but more than the 255 bytes that the machine's names may have.
  ExpectOpenFails((u"\\" + std::u16string(254, u'\u00E4')).c_str(), kBoth, CREATE_NEW, 206);
  ExpectOpenFails(u"\\\\server\\share", GENERIC_READ, OPEN_EXISTING, 3);
}

TEST_F(Files, PathsNeedNoLeadingAndMayRepeatSeparators) {
  HANDLE file = Open(u"There.txt", GENERIC_READ, OPEN_EXISTING);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  CloseHandle(file);
  EXPECT_TRUE(CreateDirectoryW(u"\\Folder\\\\Inner", nullptr));
  EXPECT_TRUE(device.FileExists(u"\\folder\\inner"));
}

TEST_F(Files, ReadsUpToTheEnd) {
  HANDLE file = Open(u"\\There.txt", GENERIC_READ, OPEN_EXISTING);
  char buffer[8];
  memset(buffer, '?', sizeof(buffer));
  DWORD count = 99;
  EXPECT_TRUE(ReadFile(file, buffer, 4, &count, nullptr));
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(memcmp(buffer, "0123????", 8), 0);
  EXPECT_TRUE(ReadFile(file, buffer, 8, &count, nullptr));
  EXPECT_EQ(count, 6u);
  EXPECT_EQ(memcmp(buffer, "456789??", 8), 0);
  EXPECT_TRUE(ReadFile(file, buffer, 8, &count, nullptr));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(GetLastError(), 0xDEADBEEF);
  EXPECT_FALSE(ReadFile(file, buffer, 1, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), 87u);
  count = 99;
  EXPECT_FALSE(WriteFile(file, "x", 1, &count, nullptr));
  EXPECT_EQ(GetLastError(), 5u);
  EXPECT_EQ(count, 99u);
  CloseHandle(file);
}

TEST_F(Files, WritesAtThePosition) {
  HANDLE file = Open(u"\\There.txt", GENERIC_WRITE, OPEN_EXISTING);
  DWORD count = 0;
  EXPECT_EQ(SetFilePointer(file, 8, nullptr, FILE_BEGIN), 8u);
  EXPECT_TRUE(WriteFile(file, "abcd", 4, &count, nullptr));
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), 12u);
  EXPECT_EQ(GetFileSize(file, nullptr), 12u);
  EXPECT_TRUE(FlushFileBuffers(file));
  char byte = 0;
  EXPECT_FALSE(ReadFile(file, &byte, 1, &count, nullptr));
  EXPECT_EQ(GetLastError(), 5u);
  CloseHandle(file);
  EXPECT_EQ(device.ReadFile(u"\\There.txt"), "01234567abcd");
}

TEST_F(Files, PositionsMoveBothWaysButNotBelowTheStart) {
  HANDLE file = Open(u"\\There.txt", kBoth, OPEN_EXISTING);
  EXPECT_EQ(SetFilePointer(file, -3, nullptr, FILE_END), 7u);
  EXPECT_EQ(SetFilePointer(file, -2, nullptr, FILE_CURRENT), 5u);
  EXPECT_EQ(SetFilePointer(file, -6, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 131u);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), 5u);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, 3), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 87u);
  CloseHandle(file);
}

TEST_F(Files, PositionsBeyondFourGigabytesHaveTwoHalves) {
  HANDLE file = Open(u"\\There.txt", kBoth, OPEN_EXISTING);
  LONG high = 1;
  EXPECT_EQ(SetFilePointer(file, 16, &high, FILE_BEGIN), 16u);
  EXPECT_EQ(high, 1);
  SetLastError(0xDEADBEEF);
  EXPECT_EQ(SetFilePointer(file, 1, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 87u);
  high = 0;
  EXPECT_EQ(SetFilePointer(file, 0, &high, FILE_CURRENT), 16u);
  EXPECT_EQ(high, 1);
  // The low half that looks like a failure is told from one by the last error.
  high = 1;
  EXPECT_EQ(SetFilePointer(file, -1, &high, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), 0u);
  EXPECT_EQ(high, 1);
  CloseHandle(file);
}

TEST_F(Files, ShareModesHoldBetweenHandles) {
  HANDLE reader = Open(u"\\There.txt", GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ);
  EXPECT_EQ(Open(u"\\There.txt", GENERIC_WRITE, OPEN_EXISTING), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 32u);
  EXPECT_EQ(Open(u"\\There.txt", GENERIC_READ, OPEN_EXISTING, 0), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 32u);
  HANDLE second = Open(u"\\There.txt", GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ);
  EXPECT_NE(second, INVALID_HANDLE_VALUE);
  EXPECT_FALSE(DeleteFileW(u"\\There.txt"));
  EXPECT_EQ(GetLastError(), 32u);
  EXPECT_FALSE(MoveFileW(u"\\There.txt", u"\\Elsewhere.txt"));
  EXPECT_EQ(GetLastError(), 32u);
  CloseHandle(reader);
  CloseHandle(second);
  HANDLE writer = Open(u"\\There.txt", GENERIC_WRITE, OPEN_EXISTING, 0);
  EXPECT_NE(writer, INVALID_HANDLE_VALUE);
  // A refused emptying leaves the content.
  EXPECT_EQ(Open(u"\\There.txt", GENERIC_WRITE, CREATE_ALWAYS), INVALID_HANDLE_VALUE);
  CloseHandle(writer);
  EXPECT_EQ(device.ReadFile(u"\\There.txt").size(), 10u);
  EXPECT_TRUE(DeleteFileW(u"\\There.txt"));
}

TEST_F(Files, ReadOnlyFilesAreNeitherWrittenNorDeleted) {
  CloseHandle(
      CreateFileW(u"\\Fixed", kBoth, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_READONLY, nullptr));
  EXPECT_EQ(GetFileAttributesW(u"\\Fixed"), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
  ExpectOpenFails(u"\\Fixed", GENERIC_WRITE, OPEN_EXISTING, 5);
  ExpectOpenFails(u"\\Fixed", GENERIC_READ, CREATE_ALWAYS, 5);
  EXPECT_FALSE(DeleteFileW(u"\\Fixed"));
  EXPECT_EQ(GetLastError(), 5u);
}

TEST_F(Files, HandlesOfOtherKindsAreRefused) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  char byte = 0;
  DWORD count = 0;
  for (HANDLE bad : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, mutex}) {
    SetLastError(0);
    EXPECT_FALSE(ReadFile(bad, &byte, 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_FALSE(WriteFile(bad, &byte, 1, &count, nullptr));
    EXPECT_EQ(SetFilePointer(bad, 0, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(GetFileSize(bad, nullptr), INVALID_FILE_SIZE);
    EXPECT_FALSE(FlushFileBuffers(bad));
    EXPECT_EQ(GetLastError(), 6u);
  }
  CloseHandle(mutex);
}

}  // namespace
