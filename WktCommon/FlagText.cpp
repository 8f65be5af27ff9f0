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
  FlagText wanted = {};
  std::copy_n(text, std::min<size_t>(TextLength(text), kFlagCount), wanted);
  if (TextsEqual(flags, wanted))
    return false;
  std::copy_n(wanted, TextLength(wanted) + 1, flags);
  return true;
}

}  // namespace wkt
