#include "desktop/partner/CalendarText.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>

namespace wkt {

namespace {

// A calendar, an event, an alarm: what lies deeper is no calendar of ours, and the parser calls
// itself for each level.
constexpr size_t kMaxDepth = 16;

// The parser's time grows with the square of a line and of the lines of one component.
constexpr size_t kMaxLineBytes = size_t{1} << 20;
constexpr size_t kMaxComponentLines = 20'000;
// It needs some hundred bytes for each, however short it is.
constexpr size_t kMaxLines = 1'000'000;

bool EqualsWithoutCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// "BEGIN:VEVENT" -> "BEGIN"
std::string_view NameOf(std::string_view line) {
  return line.substr(0, line.find_first_of(":;"));
}

// "BEGIN:VEVENT" -> "VEVENT"
std::string_view ValueOf(std::string_view line) {
  const size_t colon = line.find(':');
  return colon == std::string_view::npos ? std::string_view() : line.substr(colon + 1);
}

}  // namespace

CalendarText::CalendarText(const ImportOptions& options, std::string_view content) {
  if (content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF")) {
    (void)CheckUtf8(options, content);
  }
  if (content.starts_with("\xEF\xBB\xBF")) {
    content.remove_prefix(3);
  }
  joined_.reserve(content.size() + 1);
  int number = 1;
  for (size_t begin = 0; begin < content.size(); ++number) {
    const size_t end = std::min(content.find('\n', begin), content.size());
    std::string_view line = content.substr(begin, end - begin);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    const bool continues = !line.empty() && (line[0] == ' ' || line[0] == '\t');
    if (continues && !starts_.empty()) {
      line.remove_prefix(1);
      joined_.pop_back();
    } else {
      FinishLine(options);
      if (starts_.size() == kMaxLines) {
        ImportProblem(options, number, fmt::format("more than {} lines", kMaxLines));
      }
      starts_.push_back(joined_.size());
      numbers_.push_back(number);
    }
    joined_ += line;
    joined_ += '\n';
    begin = end + 1;
  }
  FinishLine(options);
  // Joined first: a fold may stand between the bytes of one character.
  for (size_t i = 0; i < starts_.size(); ++i) {
    CheckUtf8Line(options, Line(i), numbers_[i]);
  }
  CheckComponents(options);
}

// What nobody here reads, such as a picture, goes when it is long.
void CalendarText::FinishLine(const ImportOptions& options) {
  if (starts_.empty() || joined_.size() - starts_.back() <= kMaxLineBytes) {
    return;
  }
  const std::string_view name = NameOf(Line(starts_.size() - 1));
  if (!EqualsWithoutCase(name, "ATTACH") && !EqualsWithoutCase(name, "IMAGE") &&
      !EqualsWithoutCase(name.substr(0, 2), "X-")) {
    ImportProblem(options, numbers_.back(),
                  fmt::format("a line longer than {} bytes; no text of a job is", kMaxLineBytes));
  }
  joined_.resize(starts_.back());
  starts_.pop_back();
  numbers_.pop_back();
}

std::string_view CalendarText::Line(size_t index) const {
  const size_t end = index + 1 < starts_.size() ? starts_[index + 1] : joined_.size();
  return std::string_view(joined_).substr(starts_[index], end - 1 - starts_[index]);
}

void CalendarText::CheckComponents(const ImportOptions& options) {
  struct Component {
    std::string name;
    int line;
    size_t lineCount;
  };
  std::vector<Component> open;
  for (size_t i = 0; i < starts_.size(); ++i) {
    const std::string_view line = Line(i);
    const std::string_view value = ValueOf(line);
    if (EqualsWithoutCase(NameOf(line), "BEGIN")) {
      if (open.size() == kMaxDepth) {
        ImportProblem(options, numbers_[i], "components lie deeper than any calendar's");
      }
      if (EqualsWithoutCase(value, "VEVENT")) {
        events_.push_back(i);
      }
      open.push_back({std::string(value), numbers_[i], 0});
    } else if (EqualsWithoutCase(NameOf(line), "END")) {
      if (open.empty() || !EqualsWithoutCase(open.back().name, value)) {
        ImportProblem(options, numbers_[i],
                      fmt::format("END:{} without its BEGIN{}", value,
                                  open.empty() ? "" : "; expected END:" + open.back().name));
      }
      open.pop_back();
    } else if (!open.empty() && ++open.back().lineCount > kMaxComponentLines) {
      ImportProblem(
          options, numbers_[i],
          fmt::format("more than {} lines in one {}", kMaxComponentLines, open.back().name));
    }
  }
  if (!open.empty()) {
    ImportProblem(options, open.back().line,
                  fmt::format("BEGIN:{} is never closed; expected END:{} behind it",
                              open.back().name, open.back().name));
  }
}

int CalendarText::EventLine(size_t event) const {
  return event < events_.size() ? numbers_[events_[event]] : 1;
}

int CalendarText::PropertyLine(size_t event, std::string_view name) const {
  if (event >= events_.size()) {
    return 1;
  }
  for (size_t i = events_[event] + 1; i < starts_.size(); ++i) {
    const std::string_view own = NameOf(Line(i));
    if (EqualsWithoutCase(own, name)) {
      return numbers_[i];
    }
    if (EqualsWithoutCase(own, "END") && EqualsWithoutCase(ValueOf(Line(i)), "VEVENT")) {
      break;
    }
  }
  return EventLine(event);
}

}  // namespace wkt
