// Texts of questions and answers, for their one source on the device on the desk and on Windows.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/Platform.h"
#endif

namespace wkt::foreign {

#ifdef _WIN32
using Unit = wchar_t;
#else
using Unit = WCHAR;
#endif
using Text = std::basic_string<Unit>;

inline Text Decode(const std::string& coded) {
  Text text;
  for (size_t i = 0; i < coded.size(); ++i) {
    if (coded[i] != '\\' || i + 4 >= coded.size()) {
      text += static_cast<Unit>(static_cast<unsigned char>(coded[i]));
      continue;
    }
    text += static_cast<Unit>(strtoul(coded.substr(i + 1, 4).c_str(), nullptr, 16));
    i += 4;
  }
  return text;
}

inline std::string Encode(const Unit* text, size_t length) {
  std::string coded;
  for (size_t i = 0; i < length; ++i) {
    const auto unit = static_cast<unsigned>(text[i]);
    char escaped[8];
    snprintf(escaped, sizeof(escaped), "\\%04X", unit & 0xFFFF);
    coded += unit < 32 || unit > 126 || unit == '\\' ? std::string(escaped)
                                                     : std::string(1, static_cast<char>(unit));
  }
  return coded;
}

// Takes a question apart: words up to a blank, and the rest of the line.
class Reader {
 public:
  explicit Reader(const std::string& line) : rest_(line) {}
  std::string Word() {
    const size_t end = rest_.find(' ');
    std::string word = rest_.substr(0, end);
    rest_ = end == std::string::npos ? "" : rest_.substr(end + 1);
    return word;
  }
  long long Number() { return strtoll(Word().c_str(), nullptr, 0); }
  [[nodiscard]] const std::string& Rest() const { return rest_; }

 private:
  std::string rest_;
};

// registry steps: see AnswerRegistry.cpp.
std::string AnswerRegistry(Reader& reader);

}  // namespace wkt::foreign
