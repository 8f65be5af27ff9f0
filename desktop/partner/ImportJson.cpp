// Our own JSON: {"types": [...], "favorites": [...], "jobs": [...]}, as exports write it.
#include <map>

#include "desktop/partner/Failure.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/JsonText.h"
#include "desktop/partner/RecordJson.h"

namespace wkt {

namespace {

constexpr char kFormatName[] = "format";
constexpr char kFormat[] = "worktally";

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

Json ParseFile(const ImportOptions& options, std::string_view content, std::vector<int>* lines) {
  constexpr int kRecordDepth = 2;  // in a list in the file's object
  int line = 1;
  try {
    return ParseJson(content, &line, [lines](int depth, int at) {
      if (depth == kRecordDepth) {
        lines->push_back(at);
      }
    });
  } catch (const Failure& failure) {
    ImportProblem(options, line, failure.what());
  }
}

}  // namespace

ImportedRecords ReadJsonRecords(const ImportOptions& options, std::string_view content) {
  content = CheckUtf8(options, content);
  std::vector<int> lines;  // of each record, in the order of the file
  const Json file = ParseFile(options, content, &lines);
  if (!file.is_object()) {
    ImportProblem(options, 1, "expected an object with types, favorites and jobs");
  }
  ImportedRecords records;
  std::map<std::string, int> seen;
  size_t next = 0;
  for (const auto& [listName, list] : file.items()) {
    const std::string name = listName;
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
      Attempt(options, [&] {
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
      });
    }
  }
  if (next != lines.size()) {
    ImportProblem(options, 1, "a list stands twice in the file");
  }
  return records;
}

}  // namespace wkt
