#include "tests/support/Text.h"

namespace wkt::test {
namespace {

void AppendUtf8(std::string& out, uint32_t code) {
  const auto put = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | code >> 6);
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | code >> 12);
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | code >> 18);
    put(0x80 | (code >> 12 & 0x3F));
    put(0x80 | (code >> 6 & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

}  // namespace

std::string Narrow(std::u16string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t code = text[i];
    const bool high = code >= 0xD800 && code < 0xDC00;
    if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00u);
    } else if (code >= 0xD800 && code < 0xE000) {
      code = 0xFFFD;
    }
    AppendUtf8(out, code);
  }
  return out;
}

std::string Narrow(const char16_t* text) {
  return text ? Narrow(std::u16string_view(text)) : std::string("(null)");
}

std::u16string Wide(std::string_view utf8) {
  std::u16string out;
  for (size_t i = 0; i < utf8.size();) {
    const auto first = static_cast<unsigned char>(utf8[i++]);
    const int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    uint32_t code = more == 0 ? first : first & (0x3Fu >> more);
    for (int k = 0; k < more && i < utf8.size(); ++k) {
      code = code << 6 | (static_cast<unsigned char>(utf8[i++]) & 0x3Fu);
    }
    if (code >= 0x10000) {
      out.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(code));
    }
  }
  return out;
}

}  // namespace wkt::test
