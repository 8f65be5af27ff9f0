#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The same job for formats of others: texts already in UTF-8, as they want them.
namespace wkt::bench {

struct PlainJob {
  std::string jobId;
  int32_t versionNumber = 0;
  uint64_t modificationTime = 0;
  std::string title;
  std::string comment;
  std::string workTypeId;
  std::string projectId;
  std::string teamworkId;
  uint64_t startTime = 0;
  uint64_t endTime = 0;
  std::vector<std::string> personIds;
  std::string flags;
  int32_t unused2 = 0;
  std::string unused3;
  uint64_t localDay = 0;

  bool operator==(const PlainJob&) const = default;
};

[[nodiscard]] std::string EncodeProtobuf(const PlainJob& job);
void DecodeProtobuf(const std::string& bytes, PlainJob& job);

// An event of iCalendar with what it has no property for in X- properties.
[[nodiscard]] std::string EncodeCalendar(const PlainJob& job);
void DecodeCalendar(const std::string& text, PlainJob& job);

}  // namespace wkt::bench
