#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "WktCommon/Times.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/Text.h"

// Short ways to times and their texts.

inline FILETIME Ticks(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}
inline uint64_t Ticks(const FILETIME& time) {
  return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}
inline FILETIME At(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0,
                   WORD second = 0) {
  const SYSTEMTIME time = {year, month, 0, day, hour, minute, second, 0};
  FILETIME out = {};
  EXPECT_TRUE(SystemTimeToFileTime(&time, &out));
  return out;
}
inline std::string DateOf(const FILETIME& time, BOOL isLocal, int style) {
  WideString text(u"before");
  EXPECT_EQ(&FormatDateText(text, time, isLocal, style), &text);
  return wkt::test::Narrow(text.c_str());
}
inline std::string TimeOf(const FILETIME& time, BOOL isLocal, BOOL adjust, int flags) {
  WideString text(u"before");
  EXPECT_EQ(&FormatTimeText(text, time, isLocal, adjust, flags), &text);
  return wkt::test::Narrow(text.c_str());
}
