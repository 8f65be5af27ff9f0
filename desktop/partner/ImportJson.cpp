// Our own JSON: {"types": [...], "favorites": [...], "jobs": [...]}, as exports write it.
#include <iterator>
#include <map>

#include "desktop/partner/Failure.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/RecordJson.h"

namespace wkt {

namespace {

constexpr char kFormatName[] = "format";
constexpr char kFormat[] = "worktally";

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

// A new record of now, on its start's day when the file names no day.
Record ReadOne(const ImportOptions& options, FolderId folder, const Json& json) {
  const uint64_t local = options.zone->ToLocal(options.now);
  Record record = MakeRecord(folder, options.now, local - local % kTicksPerDay);
  if (folder == FolderId::Types && json.is_object() && !json.contains("flags")) {
    record.SetFlag(4, !json.contains("kind") || json["kind"] == 1);
  }
  ReadRecordJson(json, *options.zone, &record);
  if (folder != FolderId::Types && !json.contains("day")) {
    const uint64_t start = options.zone->ToLocal(record.Ticks(Field::Start));
    record.SetTicks(Field::Day, start - start % kTicksPerDay);
  }
  return record;
}

}  // namespace

ImportedRecords ReadJsonRecords(const ImportOptions& options, std::string_view content) {
  content = CheckUtf8(options, content);
  int line = 1;
  std::vector<int> lines;  // of each record, in the order of the file
  const auto note = [&](int depth, Json::parse_event_t event, Json&) {
    if (depth == 2 && event == Json::parse_event_t::object_start) {
      lines.push_back(line);
    }
    return true;
  };
  Json file;
  try {
    file = Json::parse(CountingIterator(content.data(), &line),
                       CountingIterator(content.data() + content.size(), &line), note);
  } catch (const Json::exception& error) {
    const std::string text = error.what();
    ImportProblem(
        options, line,
        "not JSON: " +
            text.substr(text.rfind(": ") == std::string::npos ? 0 : text.rfind(": ") + 2));
  }
  if (!file.is_object()) {
    ImportProblem(options, 1, "expected an object with types, favorites and jobs");
  }
  ImportedRecords records;
  std::map<std::string, int> seen;
  size_t next = 0;
  for (const auto& [name, list] : file.items()) {
    const auto folder = FolderFromName(name);
    if (name == kFormatName && list == kFormat) {
      continue;
    }
    if (!folder || DescribeFolder(*folder).name != name || !list.is_array()) {
      ImportProblem(options, 1,
                    "'" + name + "' is unexpected; expected lists named types, favorites and jobs");
    }
    for (const Json& json : list) {
      const int at = json.is_object() && next < lines.size() ? lines[next++] : 1;
      try {
        Record record = ReadOne(options, *folder, json);
        if (record.Id().empty()) {
          const std::string key = json.dump();
          record.SetText(Field::Id, DerivedIdentifier("json " + name, key, ++seen[name + key]));
        }
        records.push_back({std::move(record), at});
      } catch (const Failure& failure) {
        ImportProblem(options, at, failure.what());
      }
    }
  }
  return records;
}

}  // namespace wkt
