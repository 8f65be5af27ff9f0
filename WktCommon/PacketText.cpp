#include "WktCommon/PacketText.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "WktCommon/WideString.h"
#include "platform/Runtime.h"

namespace {

// Ten digits and a sign.
constexpr size_t kMaxNumberUnits = 11;
// More digits than this might wrap, which is for the platform to say.
constexpr int kMaxPlainDigits = 10;

struct DigitPair {
  WCHAR tens;
  WCHAR ones;
};

constexpr std::array<DigitPair, 100> MakeDigitPairs() {
  std::array<DigitPair, 100> pairs = {};
  for (size_t i = 0; i < pairs.size(); ++i)
    pairs[i] = {static_cast<WCHAR>(u'0' + i / 10), static_cast<WCHAR>(u'0' + i % 10)};
  return pairs;
}

// Packets hold fifteen numbers of up to ten digits; two at a time halves the divisions.
constexpr std::array<DigitPair, 100> kDigitPairs = MakeDigitPairs();

// The digits end at `end`; returns where they begin.
WCHAR* WriteDigits(WCHAR* end, uint32_t value) {
  while (value >= 10) {
    const DigitPair& pair = kDigitPairs[value % 100];
    *--end = pair.ones;
    *--end = pair.tens;
    value /= 100;
  }
  if (value > 0)
    *--end = static_cast<WCHAR>(u'0' + value);
  return end;
}

}  // namespace

namespace wkt {

bool IsPacketMagic(const WCHAR (&magic)[kMagicUnits]) {
  return std::memcmp(magic, kPacketMagic, sizeof(magic)) == 0;
}

void WriteText(WCHAR* field, size_t unitCount, const WCHAR* text) {
  const size_t used = std::min(TextLength(text), unitCount - 1);
  if (used)
    std::memcpy(field, text, used * sizeof(WCHAR));
  std::memset(field + used, 0, (unitCount - used) * sizeof(WCHAR));
}

void WriteNumber(WCHAR* field, size_t unitCount, int32_t number) {
  // Zeros behind the digits, so that copying a whole field from their beginning also fills it up.
  WCHAR digits[kMaxNumberUnits + kNumberUnits];
  WCHAR* const end = digits + kMaxNumberUnits;
  std::memset(end, 0, kNumberUnits * sizeof(WCHAR));
  const bool isNegative = number < 0;
  const uint32_t magnitude =
      isNegative ? 0u - static_cast<uint32_t>(number) : static_cast<uint32_t>(number);
  WCHAR* begin = WriteDigits(end, magnitude);
  if (begin == end)
    *--begin = u'0';
  if (isNegative)
    *--begin = u'-';
  if (unitCount == kNumberUnits) {
    std::memcpy(field, begin, kNumberUnits * sizeof(WCHAR));
    return;
  }
  begin[unitCount - 1] = 0;
  std::memcpy(field, begin, unitCount * sizeof(WCHAR));
}

int32_t ReadNumber(const WCHAR* field) {
  const bool isNegative = *field == u'-';
  const WCHAR* const first = field + isNegative;
  const WCHAR* digit = first;
  int64_t value = 0;
  for (; digit < first + kMaxPlainDigits; ++digit) {
    const uint32_t ones = static_cast<uint32_t>(*digit) - u'0';
    if (ones > 9)
      break;
    value = value * 10 + ones;
  }
  if (isNegative)
    value = -value;
  const bool isPlain = digit != first && *digit == 0 && value == static_cast<int32_t>(value);
  // Blanks, plus signs, trailing text and numbers out of range are rare.
  return isPlain ? static_cast<int32_t>(value) : _wtol(field);
}

void WriteTime(TimeText& field, FILETIME time) {
  WriteNumber(field.high, static_cast<int32_t>(time.dwHighDateTime));
  WriteNumber(field.low, static_cast<int32_t>(time.dwLowDateTime));
}

FILETIME ReadTime(const TimeText& field) {
  return {static_cast<DWORD>(ReadNumber(field.low)), static_cast<DWORD>(ReadNumber(field.high))};
}

}  // namespace wkt
