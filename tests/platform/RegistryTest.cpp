// The registry: keys, values, sizes, case, enumeration and deletion.
#include "platform/Registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/Kernel.h"
#include "tests/support/DeskDevice.h"

namespace {

class Registry : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Test", 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              ERROR_SUCCESS);
    SetLastError(0xDEADBEEF);
  }
  // No function of the registry touches the last error.
  void TearDown() override {
    EXPECT_EQ(GetLastError(), 0xDEADBEEF);
    RegCloseKey(key);
  }

  LONG Set(const char16_t* name, DWORD type, const std::vector<BYTE>& data) const {
    return RegSetValueExW(key, name, 0, type, data.data(), static_cast<DWORD>(data.size()));
  }
  LONG SetText(const char16_t* name, const std::u16string& text) const {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * 2));
  }

  HKEY key = nullptr;
};

const auto kUnset = reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x5555));

TEST_F(Registry, MissingKeyIsNotFound) {
  HKEY open = kUnset;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\None", 0, KEY_READ, &open),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"SOFTWARE\\Test", 0, KEY_READ, &open),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(open, kUnset);
}

TEST_F(Registry, KeysOpenInAnyCase) {
  HKEY open = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"software\\TEST", 0, KEY_READ, &open),
            ERROR_SUCCESS);
  EXPECT_NE(open, key);
  EXPECT_EQ(RegCloseKey(open), ERROR_SUCCESS);
  ASSERT_EQ(RegCreateKeyExW(key, u"\u00C4rger", 0, nullptr, 0, KEY_READ, nullptr, &open, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(open);
  EXPECT_EQ(RegOpenKeyExW(key, u"\u00E4RGER", 0, KEY_READ, &open), ERROR_SUCCESS);
  RegCloseKey(open);
}

TEST_F(Registry, SubKeyPathsAreChecked) {
  HKEY open = kUnset;
  for (const char16_t* bad : {u"\\Test", u"a\\\\b", u"\\", u"a\\b\\\\", u"a\u0001"})
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, bad, 0, KEY_READ, &open), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(open, kUnset);
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Test\\", 0, KEY_READ, &open),
            ERROR_SUCCESS);
  RegCloseKey(open);
}

TEST_F(Registry, NoSubKeyOpensTheKeyAgain) {
  SetText(u"v", u"x");
  for (const char16_t* none : {static_cast<const char16_t*>(nullptr), u""}) {
    HKEY again = nullptr;
    ASSERT_EQ(RegOpenKeyExW(key, none, 0, KEY_READ, &again), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(again, u"v", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(again), ERROR_SUCCESS);
  }
}

TEST_F(Registry, CreatingTellsNewFromExisting) {
  HKEY open = nullptr;
  DWORD disposition = 0;
  ASSERT_EQ(RegCreateKeyExW(key, u"a\\b\\c", 0, nullptr, 0, 0, nullptr, &open, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  RegCloseKey(open);
  ASSERT_EQ(RegCreateKeyExW(key, u"A\\B\\C", 0, nullptr, 0, 0, nullptr, &open, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  RegCloseKey(open);
  EXPECT_EQ(RegOpenKeyExW(key, u"a\\b", 0, KEY_READ, &open), ERROR_SUCCESS);
  RegCloseKey(open);
}

TEST_F(Registry, HandlesAreChecked) {
  HKEY open = kUnset;
  DWORD count = 4;
  BYTE data[4] = {};
  for (HKEY bad :
       {HKEY{nullptr}, kUnset, reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000004u))}) {
    EXPECT_EQ(RegOpenKeyExW(bad, u"a", 0, KEY_READ, &open), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCreateKeyExW(bad, u"a", 0, nullptr, 0, 0, nullptr, &open, nullptr),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegQueryValueExW(bad, u"a", nullptr, nullptr, data, &count), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegSetValueExW(bad, u"a", 0, REG_BINARY, data, 4), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegDeleteValueW(bad, u"a"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegDeleteKeyW(bad, u"a"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(bad), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(open, kUnset);
  EXPECT_EQ(count, 4u);
}

TEST_F(Registry, ClosedKeyIsNoHandleAndRootsStayOpen) {
  HKEY open = nullptr;
  ASSERT_EQ(RegOpenKeyExW(key, nullptr, 0, KEY_READ, &open), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(open), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(open), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
}

TEST_F(Registry, KeyIsNoObjectHandle) {
  EXPECT_FALSE(CloseHandle(reinterpret_cast<HANDLE>(key)));
  EXPECT_EQ(GetLastError(), 6u);
  SetLastError(0xDEADBEEF);
}

TEST_F(Registry, ValuesComeBackByteForByte) {
  ASSERT_EQ(Set(u"bytes", REG_BINARY, {1, 0, 255, 7}), ERROR_SUCCESS);
  BYTE data[6] = {0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
  DWORD type = 0, count = sizeof(data);
  EXPECT_EQ(RegQueryValueExW(key, u"BYTES", nullptr, &type, data, &count), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(memcmp(data, "\x01\x00\xFF\x07\xAA\xAA", 6), 0);
}

TEST_F(Registry, SizesCountBytesWithTheTerminator) {
  SetText(u"t", u"four");
  DWORD count = 0xDEAD, type = 0xDEAD;
  EXPECT_EQ(RegQueryValueExW(key, u"t", nullptr, &type, nullptr, &count), ERROR_SUCCESS);
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(type, REG_SZ);
}

TEST_F(Registry, TooSmallBufferIsToldAndLeftAlone) {
  SetText(u"t", u"four");
  BYTE data[12];
  memset(data, 0xAA, sizeof(data));
  DWORD count = 9, type = 0;
  EXPECT_EQ(RegQueryValueExW(key, u"t", nullptr, &type, data, &count), ERROR_MORE_DATA);
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(type, REG_SZ);
  for (const BYTE byte : data)
    EXPECT_EQ(byte, 0xAA);
  count = 10;
  EXPECT_EQ(RegQueryValueExW(key, u"t", nullptr, nullptr, data, &count), ERROR_SUCCESS);
  EXPECT_EQ(data[10], 0xAA);
}

TEST_F(Registry, DataWithoutASizeIsRefused) {
  SetText(u"t", u"x");
  BYTE data[8] = {};
  EXPECT_EQ(RegQueryValueExW(key, u"t", nullptr, nullptr, data, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegSetValueExW(key, u"t", 0, REG_SZ, nullptr, 2), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, MissingValueTouchesNothing) {
  BYTE data[4] = {0xAA, 0xAA, 0xAA, 0xAA};
  DWORD count = 4, type = 77;
  EXPECT_EQ(RegQueryValueExW(key, u"none", nullptr, &type, data, &count), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, &type, data, &count), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(type, 77u);
  EXPECT_EQ(data[0], 0xAA);
}

TEST_F(Registry, DefaultValueHasNoName) {
  Set(nullptr, REG_DWORD, {1, 2, 3, 4});
  DWORD count = 0;
  EXPECT_EQ(RegQueryValueExW(key, u"", nullptr, nullptr, nullptr, &count), ERROR_SUCCESS);
  EXPECT_EQ(count, 4u);
}

TEST_F(Registry, SettingReplacesValueAndType) {
  SetText(u"v", u"text");
  Set(u"V", REG_DWORD, {1, 0, 0, 0});
  DWORD type = 0, count = 0;
  EXPECT_EQ(RegQueryValueExW(key, u"v", nullptr, &type, nullptr, &count), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_DWORD);
  EXPECT_EQ(count, 4u);
}

// Texts need no terminator, bytes need no even count, types need no meaning; all survive the file.
TEST_F(Registry, OddContentsOutliveTheProcess) {
  struct Case {
    const char16_t* name;
    DWORD type;
    std::vector<BYTE> data;
  };
  const std::vector<Case> cases = {
      {u"unterminated", REG_SZ, {'a', 0, 'b', 0}},
      {u"odd", REG_SZ, {'a', 0, 'b'}},
      {u"empty", REG_SZ, {}},
      {u"only the end", REG_SZ, {0, 0}},
      {u"two ends", REG_SZ, {'a', 0, 0, 0, 0, 0}},
      {u"inner end", REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0}},
      {u"half a pair", REG_SZ, {0x00, 0xD8, 0, 0}},
      {u"halves the wrong way round", REG_SZ, {0x00, 0xDC, 0x00, 0xD8, 0, 0}},
      {u"control", REG_SZ, {'\n', 0, 1, 0, 0x7F, 0, '"', 0, '\\', 0, 0, 0}},
      {u"short number", REG_DWORD, {1, 2, 3}},
      {u"number", REG_DWORD, {0x78, 0x56, 0x34, 0x12}},
      {u"own type", 0xFFFFFFFF, {9}},
      {u"no bytes", REG_BINARY, {}},
      {u"quote\" and \\ and\nline", REG_MULTI_SZ, {'a', 0, 0, 0, 0, 0}},
      {u"\xD800lone", REG_NONE, {1}},
      {u"@", REG_BINARY, {2}},
  };
  for (const Case& each : cases)
    EXPECT_EQ(Set(each.name, each.type, each.data), ERROR_SUCCESS);
  device.Reopen();
  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Test", 0, KEY_READ, &key), ERROR_SUCCESS);
  for (const Case& each : cases) {
    std::vector<BYTE> data(32, 0xAA);
    DWORD count = 32, type = 0;
    ASSERT_EQ(RegQueryValueExW(key, each.name, nullptr, &type, data.data(), &count), ERROR_SUCCESS);
    data.resize(count);
    EXPECT_EQ(type, each.type);
    EXPECT_EQ(data, each.data);
  }
}

TEST_F(Registry, LimitsOfNamesDataAndDepth) {
  EXPECT_EQ(SetText(std::u16string(255, u'n').c_str(), u"x"), ERROR_SUCCESS);
  EXPECT_EQ(SetText(std::u16string(256, u'n').c_str(), u"x"), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(Set(u"big", REG_BINARY, std::vector<BYTE>(4096, 1)), ERROR_SUCCESS);
  EXPECT_EQ(Set(u"bigger", REG_BINARY, std::vector<BYTE>(4097, 1)), ERROR_INVALID_PARAMETER);
  HKEY open = nullptr;
  EXPECT_EQ(RegCreateKeyExW(key, std::u16string(256, u'k').c_str(), 0, nullptr, 0, 0, nullptr,
                            &open, nullptr),
            ERROR_INVALID_PARAMETER);
  // The root, SOFTWARE and Test are three of sixteen levels.
  EXPECT_EQ(RegCreateKeyExW(key, u"4\\5\\6\\7\\8\\9\\10\\11\\12\\13\\14\\15\\16", 0, nullptr, 0, 0,
                            nullptr, &open, nullptr),
            ERROR_SUCCESS);
  HKEY deeper = kUnset;
  EXPECT_EQ(RegCreateKeyExW(open, u"17", 0, nullptr, 0, 0, nullptr, &deeper, nullptr),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(deeper, kUnset);
  RegCloseKey(open);
}

TEST_F(Registry, EnumeratesKeysInTheOrderTheyWereMade) {
  HKEY open = nullptr;
  for (const char16_t* name : {u"Zebra", u"apple"}) {
    RegCreateKeyExW(key, name, 0, nullptr, 0, 0, nullptr, &open, nullptr);
    RegCloseKey(open);
  }
  char16_t name[8] = u"???????";
  DWORD size = 8;
  FILETIME written = {7, 7};
  EXPECT_EQ(RegEnumKeyExW(key, 0, name, &size, nullptr, nullptr, nullptr, &written), ERROR_SUCCESS);
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(memcmp(name, u"Zebra\0?", 14), 0);
  EXPECT_EQ(written.dwLowDateTime, 0u);
  size = 5;
  memset(name, 0xAA, sizeof(name));
  EXPECT_EQ(RegEnumKeyExW(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_MORE_DATA);
  EXPECT_EQ(name[0], 0xAAAA);
  size = 6;
  EXPECT_EQ(RegEnumKeyExW(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(std::u16string(name), u"apple");
  EXPECT_EQ(RegEnumKeyExW(key, 2, name, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(RegEnumKeyExW(key, 0, nullptr, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, EnumeratesValuesWithTypeAndData) {
  Set(u"First", REG_BINARY, {1, 2, 3});
  Set(u"", REG_DWORD, {4, 0, 0, 0});
  char16_t name[8] = {};
  BYTE data[4] = {0xAA, 0xAA, 0xAA, 0xAA};
  DWORD size = 8, type = 0, count = 2;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &size, nullptr, &type, data, &count), ERROR_MORE_DATA);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(data[0], 0xAA);
  count = 4;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &size, nullptr, &type, data, &count), ERROR_SUCCESS);
  EXPECT_EQ(std::u16string(name), u"First");
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(memcmp(data, "\x01\x02\x03\xAA", 4), 0);
  size = 1;
  EXPECT_EQ(RegEnumValueW(key, 1, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(RegEnumValueW(key, 2, name, &size, nullptr, nullptr, nullptr, nullptr),
            ERROR_NO_MORE_ITEMS);
}

TEST_F(Registry, DeletesValues) {
  SetText(u"Gone", u"x");
  EXPECT_EQ(RegDeleteValueW(key, u"gone"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(key, u"gone"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteValueW(key, nullptr), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, DeletesKeysWithAllBelowThem) {
  HKEY inner = nullptr;
  ASSERT_EQ(RegCreateKeyExW(key, u"a\\b", 0, nullptr, 0, 0, nullptr, &inner, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(key, u"A"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(key, u"A"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(key, u""), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegDeleteKeyW(key, nullptr), ERROR_INVALID_PARAMETER);
  HKEY open = kUnset;
  EXPECT_EQ(RegOpenKeyExW(key, u"a\\b", 0, KEY_READ, &open), ERROR_FILE_NOT_FOUND);
  // A handle outlives its key and tells so.
  const BYTE byte = 1;
  EXPECT_EQ(RegSetValueExW(inner, u"v", 0, REG_BINARY, &byte, 1), ERROR_KEY_DELETED);
  EXPECT_EQ(RegQueryValueExW(inner, u"v", nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
  EXPECT_EQ(RegOpenKeyExW(inner, u"c", 0, KEY_READ, &open), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCreateKeyExW(inner, u"c", 0, nullptr, 0, 0, nullptr, &open, nullptr),
            ERROR_KEY_DELETED);
  EXPECT_EQ(RegDeleteValueW(inner, u"v"), ERROR_KEY_DELETED);
  EXPECT_EQ(RegDeleteKeyW(inner, u"c"), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(inner), ERROR_SUCCESS);
}

// Handles hold the key's path, so one made again under the same name is the same key to them.
TEST_F(Registry, KeyMadeAgainServesItsOldHandles) {
  HKEY old = nullptr, again = nullptr;
  ASSERT_EQ(RegCreateKeyExW(key, u"k", 0, nullptr, 0, 0, nullptr, &old, nullptr), ERROR_SUCCESS);
  ASSERT_EQ(RegDeleteKeyW(key, u"k"), ERROR_SUCCESS);
  ASSERT_EQ(RegCreateKeyExW(key, u"K", 0, nullptr, 0, 0, nullptr, &again, nullptr), ERROR_SUCCESS);
  const BYTE byte = 1;
  EXPECT_EQ(RegSetValueExW(old, u"v", 0, REG_BINARY, &byte, 1), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(again, u"v"), ERROR_SUCCESS);
  RegCloseKey(old);
  RegCloseKey(again);
}

TEST_F(Registry, RootsHoldValuesToo) {
  const BYTE byte = 1;
  DWORD count = 0;
  EXPECT_EQ(RegQueryValueExW(HKEY_USERS, u"v", nullptr, nullptr, nullptr, &count),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegSetValueExW(HKEY_USERS, u"v", 0, REG_BINARY, &byte, 1), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(HKEY_USERS, u"v", nullptr, nullptr, nullptr, &count), ERROR_SUCCESS);
  EXPECT_EQ(count, 1u);
}

TEST_F(Registry, NoPlaceForTheKeyIsRefused) {
  EXPECT_EQ(RegOpenKeyExW(key, u"", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegCreateKeyExW(key, u"x", 0, nullptr, 0, 0, nullptr, nullptr, nullptr),
            ERROR_INVALID_PARAMETER);
}

}  // namespace
