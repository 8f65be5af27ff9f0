#include "host/coredll/FloatText.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace wkt::host {

namespace {

// Enough to tell every double from every other; the runtime's converter makes no more.
constexpr int kExactDigits = 17;

// A number as 0.d1d2d3... x 10^exponent.
struct Decimal {
  std::string digits;
  int exponent = 0;
};

Decimal ToDecimal(double magnitude) {
  if (magnitude == 0)
    return {std::string(kExactDigits, '0'), 1};
  char text[32];
  const std::to_chars_result end = std::to_chars(text, text + sizeof(text), magnitude,
                                                 std::chars_format::scientific, kExactDigits - 1);
  // d.ddddddddddddddddde+xx
  Decimal decimal;
  decimal.digits = text[0] + std::string(text + 2, kExactDigits - 1);
  int exponent = 0;
  const char* sign = text + 2 + kExactDigits;
  std::from_chars(sign + 1, end.ptr, exponent);
  decimal.exponent = (*sign == '-' ? -exponent : exponent) + 1;
  return decimal;
}

// Keeps `count` digits (0: only whether it rounds up to the digit before; less: nothing).
void Round(Decimal& decimal, int count) {
  if (count >= static_cast<int>(decimal.digits.size())) {
    decimal.digits.append(static_cast<size_t>(count) - decimal.digits.size(), '0');
    return;
  }
  if (count < 0) {
    decimal.digits.clear();
    return;
  }
  const auto kept = static_cast<size_t>(count);
  bool carry = decimal.digits[kept] >= '5';
  decimal.digits.resize(kept);
  for (size_t i = kept; carry && i-- > 0;) {
    carry = decimal.digits[i] == '9';
    decimal.digits[i] = carry ? '0' : static_cast<char>(decimal.digits[i] + 1);
  }
  if (carry) {
    decimal.digits.insert(decimal.digits.begin(), '1');
    ++decimal.exponent;
  }
}

std::string Fixed(Decimal decimal, int precision, bool alternate) {
  Round(decimal, decimal.exponent + precision);
  // Digits before the point, zeros where the number starts behind it.
  const auto places = static_cast<size_t>(precision);
  if (decimal.digits.size() < places + 1)
    decimal.digits.insert(0, places + 1 - decimal.digits.size(), '0');
  std::string body = decimal.digits.substr(0, decimal.digits.size() - places);
  if (precision > 0 || alternate)
    body += '.';
  return body + decimal.digits.substr(decimal.digits.size() - places);
}

std::string Exponent(int value, char letter) {
  std::string digits = std::to_string(std::abs(value));
  if (digits.size() < 3)
    digits.insert(0, 3 - digits.size(), '0');
  return std::string(1, letter) + (value < 0 ? '-' : '+') + digits;
}

std::string Scientific(Decimal decimal, int precision, bool alternate, char letter) {
  Round(decimal, precision + 1);
  // A carry may have made one digit more.
  decimal.digits.resize(static_cast<size_t>(precision) + 1);
  std::string body = decimal.digits.substr(0, 1);
  if (precision > 0 || alternate)
    body += '.';
  return body + decimal.digits.substr(1) + Exponent(decimal.exponent - 1, letter);
}

void DropTrailingZeros(std::string& body) {
  const size_t mantissaEnd = std::min(body.find_first_of("eE"), body.size());
  if (body.find('.') >= mantissaEnd)
    return;
  size_t keep = body.find_last_not_of('0', mantissaEnd - 1);
  if (body[keep] != '.')
    ++keep;
  body.erase(keep, mantissaEnd - keep);
}

// The shorter of the two forms with `precision` significant digits.
std::string General(const Decimal& decimal, int precision, bool alternate, char letter) {
  Decimal rounded = decimal;
  Round(rounded, precision);
  const int exponent = rounded.exponent - 1;
  std::string body = exponent < -4 || exponent >= precision
                         ? Scientific(decimal, precision - 1, alternate, letter)
                         : Fixed(decimal, precision - 1 - exponent, alternate);
  if (!alternate)
    DropTrailingZeros(body);
  return body;
}

// The runtime's marks, zeros filled up to the precision as behind a point.
std::string NotANumber(double value, int precision) {
  std::string mark = std::isinf(value) ? "#INF" : std::signbit(value) ? "#IND" : "#QNAN";
  if (static_cast<int>(mark.size()) < precision)
    mark.append(static_cast<size_t>(precision) - mark.size(), '0');
  return "1." + mark;
}

}  // namespace

FloatText FormatFloat(double value, char type, int precision, bool alternate) {
  FloatText text;
  text.negative = std::signbit(value);
  const bool general = type == 'g' || type == 'G';
  if (precision < 0)
    precision = 6;
  if (!std::isfinite(value)) {
    text.isNumber = false;
    text.body = NotANumber(value, general ? 0 : precision);
    return text;
  }
  const Decimal decimal = ToDecimal(std::fabs(value));
  const char letter = type == 'E' || type == 'G' ? 'E' : 'e';
  if (type == 'f') {
    text.body = Fixed(decimal, precision, alternate);
  } else if (general) {
    text.body = General(decimal, precision == 0 ? 1 : precision, alternate, letter);
  } else {
    text.body = Scientific(decimal, precision, alternate, letter);
  }
  return text;
}

}  // namespace wkt::host
