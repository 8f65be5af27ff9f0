#include "desktop/manager/Trace.h"

namespace wkt {

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::string ToHex(std::span<const uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::optional<std::vector<uint8_t>> FromHex(std::string_view text) {
  if (text.size() % 2 != 0) {
    return std::nullopt;
  }
  std::vector<uint8_t> bytes(text.size() / 2);
  for (size_t i = 0; i < text.size(); ++i) {
    const char digit = text[i];
    const int first = digit >= '0' && digit <= '9'   ? '0'
                      : digit >= 'a' && digit <= 'f' ? 'a' - 10
                      : digit >= 'A' && digit <= 'F' ? 'A' - 10
                                                     : 0;
    if (first == 0) {
      return std::nullopt;
    }
    bytes[i / 2] = static_cast<uint8_t>(bytes[i / 2] << 4 | (digit - first));
  }
  return bytes;
}

Trace::~Trace() {
  if (file_) {
    std::fclose(file_);
  }
}

bool Trace::Open(const std::string& path) {
  file_ = std::fopen(path.c_str(), "we");
  return file_ != nullptr;
}

void Trace::Write(const Line& line) {
  if (!file_) {
    return;
  }
  const std::string text = line.dump(-1, ' ', false, Line::error_handler_t::replace) + "\n";
  std::fwrite(text.data(), 1, text.size(), file_);
  std::fflush(file_);
}

}  // namespace wkt
