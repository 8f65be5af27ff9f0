// Classes of UTF-16 code units, in the bits of iswctype.
#pragma once

#include <cstdint>

namespace wkt::host {

// Halves of surrogate pairs are in no class.
uint16_t CharacterClasses(char16_t unit);

// What numbers in texts may start with: blank, tab, line feed, vertical tab, form feed, carriage
// return.
constexpr bool IsWhiteSpace(char16_t unit) {
  return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
}

}  // namespace wkt::host
