// Loading libraries, finding their functions, and their version information.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/Files.h"
#include "platform/Kernel.h"
#include "tests/support/DeskDevice.h"

namespace {

class Modules : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override {
    for (const char* name : {"ProbeFirst", "ProbeSecond", "ProbeThird", "ProbeBroken"})
      Install(name, u"\\lib\\" + std::u16string(name, name + strlen(name)) + u".dll");
    SetLastError(0xDEADBEEF);
  }
  void Install(const char* name, const std::u16string& path) {
    device.CopyFile(device.BuiltLibrary(name), path);
  }

  static int Count(HMODULE module) {
    const auto count = reinterpret_cast<int (*)()>(GetProcAddressW(module, u"ProbeCount"));
    return count != nullptr ? count() : -1;
  }
  static void ExpectLoadFails(const char16_t* path, DWORD error) {
    SetLastError(0xDEADBEEF);
    EXPECT_EQ(LoadLibraryW(path), nullptr);
    EXPECT_EQ(GetLastError(), error);
  }
};

TEST_F(Modules, AttachRunsOnceAndDetachAtTheLastRelease) {
  HMODULE first = LoadLibraryW(u"\\lib\\ProbeSecond.dll");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(GetLastError(), 0xDEADBEEF);
  EXPECT_TRUE(RemoveDirectoryW(u"\\attached-Second"));
  EXPECT_EQ(LoadLibraryW(u"\\LIB\\probesecond.DLL"), first);
  EXPECT_FALSE(device.FileExists(u"\\attached-Second"));
  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_FALSE(device.FileExists(u"\\detached-Second"));
  EXPECT_EQ(Count(first), 1);
  EXPECT_TRUE(FreeLibrary(first));
  EXPECT_TRUE(device.FileExists(u"\\detached-Second"));
  EXPECT_FALSE(FreeLibrary(first));
  EXPECT_EQ(GetLastError(), 6u);
}

TEST_F(Modules, InstanceIsTheHandle) {
  HMODULE module = LoadLibraryW(u"\\lib\\ProbeSecond.dll");
  const auto instance = reinterpret_cast<HANDLE (*)()>(GetProcAddressW(module, u"ProbeInstance"));
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(instance(), reinterpret_cast<HANDLE>(module));
  FreeLibrary(module);
}

TEST_F(Modules, AttachMayLoadOthers) {
  HMODULE first = LoadLibraryW(u"\\lib\\ProbeFirst.dll");
  ASSERT_NE(first, nullptr);
  EXPECT_TRUE(device.FileExists(u"\\attached-First"));
  EXPECT_TRUE(device.FileExists(u"\\attached-Second"));
  EXPECT_FALSE(device.FileExists(u"\\nested-load-failed"));
  FreeLibrary(first);
  // The one loaded inside stays, as its loader never freed it.
  EXPECT_TRUE(device.FileExists(u"\\detached-First"));
  EXPECT_FALSE(device.FileExists(u"\\detached-Second"));
  HMODULE second = LoadLibraryW(u"\\lib\\ProbeSecond.dll");
  EXPECT_TRUE(FreeLibrary(second));
  EXPECT_TRUE(FreeLibrary(second));
  EXPECT_TRUE(device.FileExists(u"\\detached-Second"));
}

TEST_F(Modules, EachCopyHasItsOwnState) {
  Install("ProbeSecond", u"\\other\\ProbeSecond.dll");
  HMODULE one = LoadLibraryW(u"\\lib\\ProbeSecond.dll");
  HMODULE other = LoadLibraryW(u"\\other\\ProbeSecond.dll");
  ASSERT_NE(one, other);
  EXPECT_EQ(Count(one), 1);
  EXPECT_EQ(Count(one), 2);
  EXPECT_EQ(Count(other), 1);
  FreeLibrary(one);
  FreeLibrary(other);
  one = LoadLibraryW(u"\\lib\\ProbeSecond.dll");
  EXPECT_EQ(Count(one), 1);
  FreeLibrary(one);
}

TEST_F(Modules, RefusedAttachUnloads) {
  ExpectLoadFails(u"\\lib\\ProbeThird.dll", 1114);
  EXPECT_TRUE(device.FileExists(u"\\attached-Third"));
}

TEST_F(Modules, BareNamesAreLookedForInTheSystemFolders) {
  ExpectLoadFails(u"ProbeSecond.dll", 126);
  Install("ProbeSecond", u"\\Windows\\ProbeSecond.dll");
  HMODULE module = LoadLibraryW(u"probesecond");
  EXPECT_NE(module, nullptr);
  EXPECT_EQ(LoadLibraryW(u"\\Windows\\ProbeSecond.dll"), module);
  FreeLibrary(module);
  FreeLibrary(module);
}

TEST_F(Modules, WhatIsNoLibraryIsRefused) {
  ExpectLoadFails(nullptr, 126);
  ExpectLoadFails(u"", 126);
  ExpectLoadFails(u"\\lib\\none.dll", 126);
  ExpectLoadFails(u"\\lib", 126);
  ExpectLoadFails(u"\\lib\\..\\lib\\ProbeSecond.dll", 126);
  device.WriteFile(u"\\lib\\text.dll", "no library at all");
  ExpectLoadFails(u"\\lib\\text.dll", 193);
  device.WriteFile(u"\\lib\\empty.dll", "");
  ExpectLoadFails(u"\\lib\\empty.dll", 193);
  testing::internal::CaptureStderr();
  ExpectLoadFails(u"\\lib\\ProbeBroken.dll", 126);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("FunctionThatNobodyHas"),
            std::string::npos);
}

TEST_F(Modules, CutOffLibrariesAreRefused) {
  const std::string whole = device.ReadFile(u"\\lib\\ProbeSecond.dll");
  // Cut inside the header, the segment table, and the segments.
  for (const size_t count : {size_t{1}, size_t{16}, size_t{63}, size_t{64}, size_t{200},
                             size_t{1000}, whole.size() / 4}) {
    device.WriteFile(u"\\lib\\cut.dll", whole.substr(0, count));
    ExpectLoadFails(u"\\lib\\cut.dll", 193);
  }
}

TEST_F(Modules, FunctionsAreFoundByExactName) {
  HMODULE module = LoadLibraryW(u"\\lib\\ProbeSecond.dll");
  for (const char16_t* missing : {u"probecount", u"ProbeCoun", u"ProbeCountX", u"", u"\u00C4"}) {
    SetLastError(0xDEADBEEF);
    EXPECT_EQ(GetProcAddressW(module, missing), nullptr);
    EXPECT_EQ(GetLastError(), 127u);
  }
  // Neither what it calls itself nor an ordinal.
  EXPECT_EQ(GetProcAddressW(module, u"CreateDirectoryW"), nullptr);
  EXPECT_EQ(GetProcAddressW(module, reinterpret_cast<LPCWSTR>(uintptr_t{1})), nullptr);
  EXPECT_EQ(GetLastError(), 127u);
  EXPECT_EQ(GetProcAddressW(nullptr, u"ProbeCount"), nullptr);
  EXPECT_EQ(GetLastError(), 6u);
  FreeLibrary(module);
}

TEST_F(Modules, VersionIsReadFromTheFile) {
  char16_t path[] = u"\\lib\\ProbeSecond.dll";
  DWORD handle = 77;
  const DWORD size = GetFileVersionInfoSizeW(path, &handle);
  ASSERT_GE(size, 92u);
  EXPECT_EQ(handle, 0u);
  EXPECT_EQ(GetFileVersionInfoSizeW(path, nullptr), size);
  std::vector<DWORD> block(size / 4 + 2, 0xAAAAAAAA);
  EXPECT_FALSE(GetFileVersionInfoW(path, 0, size - 1, block.data()));
  EXPECT_EQ(GetLastError(), 122u);
  EXPECT_EQ(block[0], 0xAAAAAAAA);
  ASSERT_TRUE(GetFileVersionInfoW(path, 0, size, block.data()));
  EXPECT_EQ(block[(size + 3) / 4], 0xAAAAAAAA);
  void* value = nullptr;
  UINT count = 0;
  char16_t root[] = u"\\";
  ASSERT_TRUE(VerQueryValueW(block.data(), root, &value, &count));
  EXPECT_EQ(count, 52u);
  const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(value);
  EXPECT_EQ(static_cast<void*>(block.data() + 10), value);
  EXPECT_EQ(fixed->dwSignature, VS_FFI_SIGNATURE);
  EXPECT_EQ(fixed->dwFileVersionMS >> 16, 4u);
  EXPECT_EQ(fixed->dwFileVersionMS, fixed->dwProductVersionMS);
}

TEST_F(Modules, FilesWithoutVersionAreTold) {
  char16_t missing[] = u"\\lib\\none.dll";
  char16_t noFolder[] = u"\\none\\none.dll";
  char16_t folder[] = u"\\lib";
  char16_t broken[] = u"\\lib\\ProbeBroken.dll";
  char16_t text[] = u"\\lib\\text.dll";
  device.WriteFile(u"\\lib\\text.dll", "MZ is how some start");
  struct Case {
    char16_t* path;
    DWORD error;
  };
  for (const Case& each :
       {Case{missing, 2}, {noFolder, 3}, {folder, 2}, {broken, 1812}, {text, 1812}}) {
    DWORD handle = 77;
    SetLastError(0xDEADBEEF);
    EXPECT_EQ(GetFileVersionInfoSizeW(each.path, &handle), 0u);
    EXPECT_EQ(GetLastError(), each.error);
    BYTE block[8] = {0xAA};
    EXPECT_FALSE(GetFileVersionInfoW(each.path, 0, 8, block));
    EXPECT_EQ(GetLastError(), each.error);
    EXPECT_EQ(block[0], 0xAA);
  }
}

// A whole tree, as resource compilers make it: a translation and one table with one text.
std::vector<char16_t> VersionTree() {
  std::vector<char16_t> block;
  const auto open = [&](std::u16string_view name, uint16_t valueUnits, uint16_t isText) {
    while (block.size() % 2 != 0)
      block.push_back(0);
    const size_t start = block.size();
    block.insert(block.end(),
                 {0, static_cast<char16_t>(valueUnits), static_cast<char16_t>(isText)});
    block.insert(block.end(), name.begin(), name.end());
    block.push_back(0);
    while (block.size() % 2 != 0)
      block.push_back(0);
    return start;
  };
  const auto close = [&](size_t start) {
    block[start] = static_cast<char16_t>((block.size() - start) * 2);
  };
  const size_t root = open(u"VS_VERSION_INFO", 52, 0);
  block.insert(block.end(), {0x04BD, 0xFEEF});
  block.insert(block.end(), 24, 0);
  const size_t texts = open(u"StringFileInfo", 0, 1);
  const size_t table = open(u"040904b0", 0, 1);
  const size_t text = open(u"FileVersion", 4, 1);
  block.insert(block.end(), {u'4', u'.', u'2', 0});
  close(text);
  close(table);
  close(texts);
  const size_t variables = open(u"VarFileInfo", 0, 1);
  const size_t translation = open(u"Translation", 4, 0);
  block.insert(block.end(), {0x0409, 0x04B0});
  close(translation);
  close(variables);
  close(root);
  return block;
}

TEST(VersionTree, ValuesAreFoundByPath) {
  const std::vector<char16_t> block = VersionTree();
  void* value = nullptr;
  UINT count = 0;
  char16_t text[] = u"\\StringFileInfo\\040904B0\\fileversion";
  ASSERT_TRUE(VerQueryValueW(block.data(), text, &value, &count));
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(memcmp(value, u"4.2", 8), 0);
  char16_t translation[] = u"\\VarFileInfo\\Translation";
  ASSERT_TRUE(VerQueryValueW(block.data(), translation, &value, &count));
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(memcmp(value, u"\u0409\u04B0", 4), 0);
  char16_t missing[] = u"\\StringFileInfo\\040904b0\\Comments";
  value = nullptr;
  EXPECT_FALSE(VerQueryValueW(block.data(), missing, &value, &count));
  EXPECT_EQ(GetLastError(), 1812u);
  EXPECT_EQ(value, nullptr);
}

TEST(VersionTree, DamagedBlocksAreNotFollowed) {
  const std::vector<char16_t> whole = VersionTree();
  char16_t text[] = u"\\StringFileInfo\\040904b0\\FileVersion";
  void* value = nullptr;
  UINT count = 0;
  // Every length the block may claim, in memory that ends there; then every unit set to extremes.
  for (size_t units = 1; units < whole.size(); ++units) {
    std::vector<char16_t> cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(units));
    cut[0] = static_cast<char16_t>(units * 2);
    const bool found = VerQueryValueW(cut.data(), text, &value, &count) != FALSE;
    EXPECT_TRUE(!found || static_cast<char16_t*>(value) + count <= cut.data() + units);
  }
  for (size_t unit = 1; unit < whole.size(); ++unit) {
    for (const char16_t extreme : {u'\0', u'\x1', u'\x7FFF', u'\xFFFF'}) {
      std::vector<char16_t> spoilt = whole;
      spoilt[unit] = extreme;
      const bool found = VerQueryValueW(spoilt.data(), text, &value, &count) != FALSE;
      EXPECT_TRUE(!found || static_cast<char16_t*>(value) + count <= spoilt.data() + spoilt.size());
    }
  }
}

TEST(VersionTree, ArgumentsAreChecked) {
  const std::vector<char16_t> block = VersionTree();
  void* value = nullptr;
  UINT count = 0;
  char16_t root[] = u"\\";
  for (const BOOL result : {VerQueryValueW(nullptr, root, &value, &count),
                            VerQueryValueW(block.data(), nullptr, &value, &count),
                            VerQueryValueW(block.data(), root, nullptr, &count),
                            VerQueryValueW(block.data(), root, &value, nullptr)})
    EXPECT_FALSE(result);
  EXPECT_EQ(GetLastError(), 87u);
}

}  // namespace
