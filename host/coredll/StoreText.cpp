#include "host/coredll/StoreText.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "host/coredll/Text.h"

namespace wkt::host {

namespace {

struct LetterBase {
  char16_t letter;
  char16_t base;
};
constexpr LetterBase kLetterBases[] = {
#include "host/coredll/LetterBases.inc"
};

constexpr bool IsBetween(char16_t unit, char16_t first, char16_t last) {
  return first <= unit && unit <= last;
}

// Accents of their own, as in decomposed texts.
constexpr bool IsCombining(char16_t unit) {
  return IsBetween(unit, 0x0300, 0x036F) || IsBetween(unit, 0x1AB0, 0x1AFF) ||
         IsBetween(unit, 0x1DC0, 0x1DFF) || IsBetween(unit, 0x20D0, 0x20FF) ||
         IsBetween(unit, 0xFE20, 0xFE2F);
}

constexpr bool IsSymbol(char16_t unit) {
  return IsBetween(unit, u'!', u'/') || IsBetween(unit, u':', u'@') ||
         IsBetween(unit, u'[', u'`') || IsBetween(unit, u'{', u'~') ||
         IsBetween(unit, 0x00A1, 0x00A9) || IsBetween(unit, 0x00AB, 0x00B4) ||
         IsBetween(unit, 0x00B6, 0x00B8) || unit == 0x00BB || unit == 0x00BF || unit == 0x00D7 ||
         unit == 0x00F7 || IsBetween(unit, 0x2010, 0x2027) || IsBetween(unit, 0x2030, 0x205E) ||
         IsBetween(unit, 0x20A0, 0x20BF) || IsBetween(unit, 0x2190, 0x23FF) ||
         IsBetween(unit, 0x3001, 0x3003);
}

char16_t WithoutMarks(char16_t unit) {
  const auto* found =
      std::lower_bound(std::begin(kLetterBases), std::end(kLetterBases), unit,
                       [](const LetterBase& row, char16_t wanted) { return row.letter < wanted; });
  return found != std::end(kLetterBases) && found->letter == unit ? found->base : unit;
}

// What the flags make of a unit; 0 when it does not count.
char16_t FoldedUnit(char16_t unit, DWORD flags) {
  // Full-width forms of U+0021..U+007E lie at one distance.
  if ((flags & CEDB_SORT_IGNOREWIDTH) != 0 && IsBetween(unit, 0xFF01, 0xFF5E))
    unit = static_cast<char16_t>(unit - 0xFF01 + u'!');
  if ((flags & CEDB_SORT_IGNOREKANATYPE) != 0 && IsBetween(unit, 0x3041, 0x3096))
    unit = static_cast<char16_t>(unit + 0x60);  // the katakana of the same sound
  if ((flags & CEDB_SORT_IGNORENONSPACE) != 0) {
    if (IsCombining(unit))
      return 0;
    unit = WithoutMarks(unit);
  }
  if ((flags & CEDB_SORT_IGNORESYMBOLS) != 0 && IsSymbol(unit))
    return 0;
  return unit;
}

void AppendUnit(std::string& key, char16_t unit) {
  key.push_back(static_cast<char>(unit >> 8));
  key.push_back(static_cast<char>(unit));
}

}  // namespace

void AppendTextKey(std::string& key, const char16_t* text, DWORD sortFlags) {
  const auto unitAt = [text](size_t index) {
    char16_t unit = 0;
    std::memcpy(&unit, text + index, sizeof unit);
    return unit;
  };
  for (size_t index = 0; unitAt(index) != 0; ++index) {
    if (const char16_t unit = FoldedUnit(unitAt(index), sortFlags); unit != 0)
      AppendUnit(key, UpperCase(unit));
  }
  AppendUnit(key, 0);
  if ((sortFlags & CEDB_SORT_CASEINSENSITIVE) != 0)
    return;
  for (size_t index = 0; unitAt(index) != 0; ++index) {
    if (const char16_t unit = FoldedUnit(unitAt(index), sortFlags); unit != 0)
      AppendUnit(key, unit);
  }
  AppendUnit(key, 0);
}

}  // namespace wkt::host
