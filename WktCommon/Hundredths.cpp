#include "WktCommon/Hundredths.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>

namespace wkt {
namespace {

// IEEE single precision: 23 stored bits of the fraction, exponent biased by 127.
constexpr uint32_t kFractionBits = 23;
constexpr uint32_t kFractionMask = (1u << kFractionBits) - 1;
constexpr uint32_t kExponentMask = 0xFF;
constexpr int kExponentOfUnit = 127 + static_cast<int>(kFractionBits);

// An unsigned number of 128 bits, the lowest word first: values below 2^128 fit.
struct Wide {
  uint32_t words[4];

  [[nodiscard]] bool IsZero() const { return (words[0] | words[1] | words[2] | words[3]) == 0; }

  uint32_t TakeLastDigit() {
    uint32_t rest = 0;
    for (size_t i = std::size(words); i-- > 0;) {
      const uint64_t part = (uint64_t{rest} << 32) | words[i];
      words[i] = static_cast<uint32_t>(part / 10);
      rest = static_cast<uint32_t>(part % 10);
    }
    return rest;
  }
};

Wide ShiftedLeft(uint32_t value, uint32_t bits) {
  Wide wide = {};
  const uint64_t part = uint64_t{value} << (bits % 32);
  const uint32_t word = bits / 32;
  wide.words[word] = static_cast<uint32_t>(part);
  if (word + 1 < std::size(wide.words))
    wide.words[word + 1] = static_cast<uint32_t>(part >> 32);
  return wide;
}

// significand * 2^-bits in hundredths, rounded.
uint32_t RoundedHundredths(uint32_t significand, uint32_t bits) {
  const uint64_t hundredfold = uint64_t{significand} * 100;
  // Below 2^31, so from here on less than half a hundredth is left.
  if (bits > 32)
    return 0;
  return static_cast<uint32_t>((hundredfold + (uint64_t{1} << (bits - 1))) >> bits);
}

}  // namespace

void FormatHundredths(float value, WCHAR (&text)[kHundredthsUnits]) {
  const auto bits = std::bit_cast<uint32_t>(value);
  const uint32_t exponent = (bits >> kFractionBits) & kExponentMask;
  WCHAR* out = text;
  if ((bits >> 31) != 0)
    *out++ = u'-';
  if (exponent == kExponentMask) {
    // Infinity and what is no number, in the words of the devices' runtime.
    constexpr WCHAR kInfinite[] = u"1.#INF";
    constexpr WCHAR kNoNumber[] = u"1.#NAN";
    std::copy_n((bits & kFractionMask) != 0 ? kNoNumber : kInfinite, std::size(kInfinite), out);
    return;
  }
  const uint32_t significand = (bits & kFractionMask) | (exponent != 0 ? 1u << kFractionBits : 0);
  const int shift = static_cast<int>(std::max<uint32_t>(exponent, 1)) - kExponentOfUnit;
  Wide whole;
  uint32_t hundredths = 0;
  if (shift >= 0) {
    whole = ShiftedLeft(significand, static_cast<uint32_t>(shift));
  } else {
    hundredths = RoundedHundredths(significand, static_cast<uint32_t>(-shift));
    whole = ShiftedLeft(hundredths / 100, 0);
    hundredths %= 100;
  }
  WCHAR reversed[kHundredthsUnits];
  WCHAR* digit = reversed;
  do {
    *digit++ = static_cast<WCHAR>(u'0' + whole.TakeLastDigit());
  } while (!whole.IsZero());
  out = std::reverse_copy(reversed, digit, out);
  *out++ = u'.';
  *out++ = static_cast<WCHAR>(u'0' + hundredths / 10);
  *out++ = static_cast<WCHAR>(u'0' + hundredths % 10);
  *out = 0;
}

}  // namespace wkt
