#include "desktop/partner/JsonText.h"

#include <iterator>

#include "desktop/partner/Failure.h"

namespace wkt {

namespace {

// More than any file of ours holds; each takes some bytes of memory, however short it is written.
constexpr size_t kMaxValues = 20'000'000;

// Tells the parser's present line: the parser reads through it.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, int* line) : at_(at), line_(line) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    *line_ += *at_ == '\n';
    ++at_;
    return *this;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  int* line_;
};

}  // namespace

Json ParseJson(std::string_view content, int* line,
               const std::function<void(int depth, int line)>& onObject) {
  *line = 1;
  size_t valueCount = 0;
  const auto note = [&](int depth, Json::parse_event_t event, Json&) {
    if (depth > kMaxJsonDepth) {
      throw Failure("JSON nested deeper than " + std::to_string(kMaxJsonDepth) +
                        " levels; no record needs more than a few",
                    ExitCode::Usage);
    }
    if (++valueCount > kMaxValues) {
      throw Failure("more than " + std::to_string(kMaxValues) + " values in a JSON file",
                    ExitCode::Usage);
    }
    if (onObject && event == Json::parse_event_t::object_start) {
      onObject(depth, *line);
    }
    return true;
  };
  try {
    return Json::parse(CountingIterator(content.data(), line),
                       CountingIterator(content.data() + content.size(), line), note);
  } catch (const Json::exception& error) {
    const std::string text = error.what();
    const size_t colon = text.rfind(": ");
    throw Failure("not JSON: " + text.substr(colon == std::string::npos ? 0 : colon + 2),
                  ExitCode::Usage);
  }
}

}  // namespace wkt
