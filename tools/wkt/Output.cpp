#include "tools/wkt/Output.h"

#include <fmt/format.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace wkt::tool {

namespace {

size_t CharacterWidth(UChar32 c) {
  const int8_t type = u_charType(c);
  if (type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || type == U_FORMAT_CHAR ||
      type == U_CONTROL_CHAR) {
    return 0;
  }
  const int32_t width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

std::string Padded(const std::string& text, size_t width, Table::Align align) {
  const size_t own = DisplayWidth(text);
  const std::string blanks(width > own ? width - own : 0, ' ');
  return align == Table::Align::Right ? blanks + text : text + blanks;
}

}  // namespace

size_t DisplayWidth(const std::string& utf8) {
  const icu::UnicodeString text = icu::UnicodeString::fromUTF8(utf8);
  size_t width = 0;
  for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
    width += CharacterWidth(text.char32At(i));
  }
  return width;
}

std::string Shorten(const std::string& utf8, size_t width) {
  std::string line = utf8;
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
  if (DisplayWidth(line) <= width) {
    return line;
  }
  icu::UnicodeString text = icu::UnicodeString::fromUTF8(line);
  size_t used = 1;  // the ellipsis
  int32_t end = 0;
  while (end < text.length() && (used += CharacterWidth(text.char32At(end))) <= width) {
    end = text.moveIndex32(end, 1);
  }
  std::string cut;
  text.truncate(end);
  return text.toUTF8String(cut) + "…";
}

std::string Table::Text() const {
  std::vector<size_t> widths;
  for (size_t i = 0; i < columns_.size(); ++i) {
    size_t width = DisplayWidth(columns_[i].heading);
    for (const auto& row : rows_) {
      width = std::max(width, DisplayWidth(row[i]));
    }
    widths.push_back(width);
  }
  const auto line = [&](const auto& cellAt) {
    std::string text;
    for (size_t i = 0; i < columns_.size(); ++i) {
      text += (i ? "  " : "") + Padded(cellAt(i), widths[i], columns_[i].align);
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
  };
  std::string text = line([this](size_t i) { return columns_[i].heading; });
  for (const auto& row : rows_) {
    text += line([&row](size_t i) { return row[i]; });
  }
  return text;
}

void Print(const OutputOptions& output, const Json& report,
           const std::function<std::string(const Json&)>& text) {
  const std::string printed =
      output.json ? report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"
                  : text(report);
  std::fwrite(printed.data(), 1, printed.size(), stdout);
  std::fflush(stdout);
}

void Say(const std::string& line) {
  fmt::print(stderr, "{}\n", line);
}

bool IsTerminal() {
  return isatty(STDERR_FILENO) == 1;
}

void SayProgress(const std::string& line) {
  if (!IsTerminal()) {
    return;
  }
  const char* noColor = std::getenv("NO_COLOR");
  const bool plain = noColor && *noColor;
  if (plain) {
    fmt::print(stderr, "\r{:<60}{}", line, line.empty() ? "\r" : "");
  } else {
    fmt::print(stderr, "\r\033[K{}", line.empty() ? "" : "\033[2m" + line + "\033[0m");
  }
  std::fflush(stderr);
}

std::string CountText(int64_t count, const std::string& singular, const std::string& plural) {
  return fmt::format("{} {}", count, count == 1 ? singular : plural);
}

}  // namespace wkt::tool
