#pragma once

namespace wkt {

// Whether a row of a table has an accessor. The compiler decides it where the table is known; asked
// with `if constexpr` GCC refuses it under its sanitizers, where no address is a constant.
template <class Accessor>
[[nodiscard]] constexpr bool IsThere(Accessor accessor) {
  return accessor != nullptr;
}

}  // namespace wkt
