#include "host/coredll/Text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace wkt::host {

namespace {

struct CaseRange {
  uint16_t first;
  uint16_t last;
  uint16_t step;
  int32_t distance;
};

// Lower-case letters whose upper form has them as its lower form, ascending.
constexpr CaseRange kCaseRanges[] = {
// clang-format off
#include "host/coredll/CaseTable.inc"
    // clang-format on
};

bool IsHighHalf(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowHalf(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The point that starts at `bytes`, and its length; 0 when it is none.
size_t ReadPoint(std::string_view bytes, uint32_t& point) {
  const auto first = static_cast<unsigned char>(bytes[0]);
  size_t length = 0;
  if (first < 0x80) {
    point = first;
    return 1;
  }
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
    point = first & 0x1Fu;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    point = first & 0x0Fu;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    point = first & 0x07u;
  }
  if (length == 0 || length > bytes.size())
    return 0;
  for (size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(bytes[i]);
    if ((next & 0xC0) != 0x80)
      return 0;
    point = (point << 6) | (next & 0x3Fu);
  }
  constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  return point >= kLeast[length] && point <= 0x10FFFF ? length : 0;
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t point = text[i];
    if (IsHighHalf(text[i]) && i + 1 < text.size() && IsLowHalf(text[i + 1]))
      point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00u);
    if (point < 0x80) {
      bytes += static_cast<char>(point);
      continue;
    }
    if (point < 0x800) {
      bytes += static_cast<char>(0xC0 | (point >> 6));
    } else {
      if (point < 0x10000) {
        bytes += static_cast<char>(0xE0 | (point >> 12));
      } else {
        bytes += static_cast<char>(0xF0 | (point >> 18));
        bytes += static_cast<char>(0x80 | ((point >> 12) & 0x3F));
      }
      bytes += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    }
    bytes += static_cast<char>(0x80 | (point & 0x3F));
  }
  return bytes;
}

std::optional<std::u16string> FromUtf8(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    uint32_t point = 0;
    const size_t length = ReadPoint(bytes, point);
    if (length == 0)
      return std::nullopt;
    bytes.remove_prefix(length);
    if (point >= 0x10000) {
      text += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      text += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
      text += static_cast<char16_t>(point);
    }
  }
  return text;
}

char16_t UpperCase(char16_t unit) {
  if (unit < 0x80)
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
  const auto* range = std::partition_point(std::begin(kCaseRanges), std::end(kCaseRanges),
                                           [&](const CaseRange& each) { return each.last < unit; });
  if (range == std::end(kCaseRanges) || unit < range->first ||
      (unit - range->first) % range->step != 0)
    return unit;
  return static_cast<char16_t>(unit + range->distance);
}

std::u16string UpperCase(std::u16string_view text) {
  std::u16string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](char16_t unit) { return UpperCase(unit); });
  return upper;
}

bool EqualIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(),
                    [](char16_t a, char16_t b) { return a == b || UpperCase(a) == UpperCase(b); });
}

std::optional<std::u16string_view> BoundedText(const char16_t* text, size_t limit) {
  for (size_t count = 0; count < limit; ++count) {
    if (text[count] == u'\0')
      return std::u16string_view(text, count);
  }
  return std::nullopt;
}

}  // namespace wkt::host
