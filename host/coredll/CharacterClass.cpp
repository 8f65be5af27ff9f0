#include "host/coredll/CharacterClass.h"

#include <algorithm>
#include <iterator>

namespace wkt::host {

namespace {

struct ClassRange {
  char16_t first;
  char16_t last;
  uint16_t even;  // of the units at an even distance from the first
  uint16_t odd;   // where upper and lower case alternate, the other
};

constexpr ClassRange kRanges[] = {
#include "host/coredll/CharacterClasses.inc"
};

}  // namespace

uint16_t CharacterClasses(char16_t unit) {
  const auto* range =
      std::lower_bound(std::begin(kRanges), std::end(kRanges), unit,
                       [](const ClassRange& one, char16_t wanted) { return one.last < wanted; });
  if (range == std::end(kRanges) || unit < range->first)
    return 0;
  return (unit - range->first) % 2 == 0 ? range->even : range->odd;
}

}  // namespace wkt::host
