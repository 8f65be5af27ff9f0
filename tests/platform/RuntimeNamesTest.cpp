// The platform's wide functions beside those of the C library that have the same names.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace {

// The file that holds a symbol as the whole program sees it, empty when there is none.
std::string FileOf(const char* symbol) {
  void* const address = dlsym(RTLD_DEFAULT, symbol);
  Dl_info info = {};
  if (address == nullptr || dladdr(address, &info) == 0)
    return {};
  return info.dli_fname;
}

bool IsOurs(const std::string& file) {
  return file.find("libcoredll") != std::string::npos;
}

const std::vector<std::string> kSharedNames = {"wcschr",  "wcspbrk", "wcsstr",
                                               "wcsncpy", "wcstod",  "iswctype"};

TEST(RuntimeNames, TheCLibraryKeepsItsSymbols) {
  for (const std::string& name : kSharedNames) {
    EXPECT_NE(FileOf(name.c_str()), "") << name;
    EXPECT_FALSE(IsOurs(FileOf(name.c_str()))) << name;
  }
}

TEST(RuntimeNames, OursHaveSymbolsOfTheirOwn) {
  for (const std::string& name : kSharedNames)
    EXPECT_TRUE(IsOurs(FileOf(("ce_" + name).c_str()))) << name;
  for (const char* name : {"ce__itow", "ce__ltow", "ce__wtol", "ce__snwprintf", "ce__vsnwprintf"})
    EXPECT_TRUE(IsOurs(FileOf(name))) << name;
}

TEST(RuntimeNames, BothFindCharacters) {
  const wchar_t* const theirs = L"one two";
  const WCHAR* const ours = u"one two";
  EXPECT_EQ(std::wcschr(theirs, L't'), theirs + 4);
  EXPECT_EQ(::wcschr(theirs, L't'), theirs + 4);
  EXPECT_EQ(wcschr(ours, u't'), ours + 4);
  EXPECT_EQ(std::wcspbrk(theirs, L"wt"), theirs + 4);
  EXPECT_EQ(wcspbrk(ours, u"wt"), ours + 4);
  EXPECT_EQ(std::wcsstr(theirs, L"two"), theirs + 4);
  EXPECT_EQ(wcsstr(ours, u"two"), ours + 4);
}

TEST(RuntimeNames, BothCopyInTheirOwnUnits) {
  wchar_t theirs[4] = {L'x', L'x', L'x', L'x'};
  WCHAR ours[4] = {u'x', u'x', u'x', u'x'};
  EXPECT_EQ(std::wcsncpy(theirs, L"a", 3), theirs);
  EXPECT_EQ(wcsncpy(ours, u"a", 3), ours);
  EXPECT_EQ(std::wstring(theirs, 4), std::wstring(L"a\0\0x", 4));
  EXPECT_EQ(std::u16string(ours, 4), std::u16string(u"a\0\0x", 4));
}

TEST(RuntimeNames, BothReadNumbersByTheirOwnRules) {
  wchar_t* theirEnd = nullptr;
  WCHAR* ourEnd = nullptr;
  const wchar_t* const theirs = L"0x10";
  const WCHAR* const ours = u"0x10";
  EXPECT_EQ(std::wcstod(theirs, &theirEnd), 16.0);
  EXPECT_EQ(theirEnd, theirs + 4);
  EXPECT_EQ(wcstod(ours, &ourEnd), 0.0);
  EXPECT_EQ(ourEnd, ours + 1);
  EXPECT_EQ(std::stod(std::wstring(L"2.5")), 2.5);
}

TEST(RuntimeNames, BothClassifyByTheirOwnMasks) {
  EXPECT_NE(std::iswctype(L'a', std::wctype("alpha")), 0);
  EXPECT_EQ(std::iswctype(L'1', std::wctype("alpha")), 0);
  EXPECT_NE(iswctype(u'1', _DIGIT), 0);
  EXPECT_EQ(iswctype(u'a', _DIGIT), 0);
  const WORD classes = _SPACE | _BLANK;
  EXPECT_NE(iswctype(u' ', classes), 0);
}

}  // namespace
