// Numbers from and to text.
#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>
#include <system_error>

#include "host/coredll/CharacterClass.h"
#include "platform/Runtime.h"

namespace wkt::host {

namespace {

bool IsDigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

// Binary has the most: 32 digits.
constexpr int kMaxDigits = 32;

WCHAR* WriteInteger(int32_t value, WCHAR* buffer, int radix) {
  if (radix < 2 || radix > 36) {
    // The platform leaves the result open; an empty text is the safe one.
    *buffer = u'\0';
    return buffer;
  }
  const bool negative = radix == 10 && value < 0;
  auto rest = static_cast<uint32_t>(value);
  if (negative)
    rest = 0 - rest;
  WCHAR digits[kMaxDigits];
  int count = 0;
  do {
    const auto digit = static_cast<int>(rest % static_cast<uint32_t>(radix));
    digits[count++] = static_cast<WCHAR>(digit < 10 ? u'0' + digit : u'a' + digit - 10);
    rest /= static_cast<uint32_t>(radix);
  } while (rest != 0);
  WCHAR* out = buffer;
  if (negative)
    *out++ = u'-';
  out = std::reverse_copy(digits, digits + count, out);
  *out = u'\0';
  return buffer;
}

// The number at the start of a text in the form that from_chars reads.
struct ScannedNumber {
  std::string text;  // digits, point and exponent; no sign
  bool negative = false;
  const char16_t* end = nullptr;  // nullptr: no number
};

ScannedNumber ScanNumber(const char16_t* text) {
  ScannedNumber scanned;
  while (IsWhiteSpace(*text))
    ++text;
  scanned.negative = *text == u'-';
  if (*text == u'-' || *text == u'+')
    ++text;
  bool anyDigit = false;
  bool anyPoint = false;
  for (; IsDigit(*text) || (*text == u'.' && !anyPoint); ++text) {
    anyPoint = anyPoint || *text == u'.';
    anyDigit = anyDigit || IsDigit(*text);
    scanned.text += static_cast<char>(*text);
  }
  if (!anyDigit)
    return scanned;
  scanned.end = text;
  if (*text != u'e' && *text != u'E' && *text != u'd' && *text != u'D')
    return scanned;
  ++text;
  std::string exponent = "e";
  if (*text == u'-' || *text == u'+')
    exponent += static_cast<char>(*text++);
  if (!IsDigit(*text))
    return scanned;
  for (; IsDigit(*text); ++text)
    exponent += static_cast<char>(*text);
  scanned.text += exponent;
  scanned.end = text;
  return scanned;
}

// Beyond the range of double: infinity, 0 or the nearest denormal. from_chars does not tell which.
double ConvertOutOfRange(const std::string& text) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(text.c_str(), nullptr, plain);
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

WCHAR* CEAPI _itow(INT value, WCHAR* buffer, INT radix) {
  return WriteInteger(value, buffer, radix);
}

WCHAR* CEAPI _ltow(LONG value, WCHAR* buffer, INT radix) {
  return WriteInteger(value, buffer, radix);
}

LONG CEAPI _wtol(const WCHAR* text) {
  if (text == nullptr)
    return 0;
  while (IsWhiteSpace(*text))
    ++text;
  const bool negative = *text == u'-';
  if (*text == u'-' || *text == u'+')
    ++text;
  uint32_t value = 0;
  for (; IsDigit(*text); ++text)
    value = value * 10 + static_cast<uint32_t>(*text - u'0');
  return static_cast<LONG>(negative ? 0 - value : value);
}

double CEAPI wcstod(const WCHAR* text, WCHAR** end) {
  const ScannedNumber scanned = ScanNumber(text);
  if (end != nullptr)
    *end = const_cast<WCHAR*>(scanned.end != nullptr ? scanned.end : text);
  if (scanned.end == nullptr)
    return 0;
  double value = 0;
  const char* last = scanned.text.data() + scanned.text.size();
  const std::from_chars_result result = std::from_chars(scanned.text.data(), last, value);
  if (result.ec == std::errc::result_out_of_range)
    value = ConvertOutOfRange(scanned.text);
  return scanned.negative ? -value : value;
}
