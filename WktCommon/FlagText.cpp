#include "WktCommon/FlagText.h"

#include <algorithm>

#include "WktCommon/WideString.h"

namespace wkt {

bool IsFlagOn(const FlagText& flags, int index) {
  if (index < 0 || index >= kFlagCount)
    return false;
  return flags[index] != u'0' && flags[index] != 0;
}

void WriteFlag(FlagText& flags, int index, bool on) {
  if (index < 0 || index >= kFlagCount)
    return;
  std::replace(flags, flags + index, WCHAR{0}, WCHAR{u'0'});
  flags[index] = on ? u'1' : u'0';
}

bool CopyFlags(FlagText& flags, const WCHAR* text) {
  int same = 0;
  while (same < kFlagCount && text[same] && text[same] == flags[same])
    ++same;
  if (same == kFlagCount || text[same] == flags[same])
    return false;
  while (same < kFlagCount && text[same]) {
    flags[same] = text[same];
    ++same;
  }
  flags[same] = 0;
  return true;
}

}  // namespace wkt
