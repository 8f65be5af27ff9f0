// Floating-point numbers as the platform's runtime prints them.
#pragma once

#include <string>

namespace wkt::host {

struct FloatText {
  bool negative = false;
  bool isNumber = true;  // false: infinity or not a number
  std::string body;      // without the sign
};

// `type`: e, E, f, g or G; `precision` -1: the usual 6. Seventeen significant digits are exact and
// rounded half away from zero; zeros follow. Exponents have three digits at least.
FloatText FormatFloat(double value, char type, int precision, bool alternate);

}  // namespace wkt::host
