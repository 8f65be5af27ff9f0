#pragma once

#include <cstddef>
#include <cstring>

// Where the compiler puts things, for orders that are fixed.
namespace wkt::test {

// The place of a virtual function in its table. A pointer to one holds its offset there and one.
template <class Function>
size_t SlotOf(Function function) {
  struct {
    size_t offsetAndOne;
    ptrdiff_t adjustment;
  } parts;
  static_assert(sizeof(parts) == sizeof(function));
  std::memcpy(&parts, &function, sizeof(parts));
  return (parts.offsetAndOne - 1) / sizeof(void*);
}

}  // namespace wkt::test
