#pragma once

#include <cstddef>

#include "platform/Types.h"

namespace wkt {

// Sign, the 39 digits of the largest value, point, two digits, terminator.
constexpr size_t kHundredthsUnits = 44;

// The value with two decimals, as "%.2f" writes it, halves away from zero as the runtime of the
// devices rounds. Made here because a double among variable arguments travels differently under the
// calling conventions of our compiler and of the devices.
void FormatHundredths(float value, WCHAR (&text)[kHundredthsUnits]);

}  // namespace wkt
