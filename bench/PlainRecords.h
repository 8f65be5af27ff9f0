// The same records as the provider's, with plain members, and their images as a store would keep
// them: what any program that holds such records has to do at least.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wkt::bench {

struct PlainRecord {
  std::u16string id, title, comment, workType, project, teamwork, flags, unused3;
  std::vector<std::u16string> persons;
  int32_t version = 23;
  int32_t unused2 = -1;
  uint64_t modified = 0, start = 0, end = 0, day = 0;
};

struct PlainType {
  std::u16string id, name1, name2, comment, flags, unused1, unused2;
  int32_t kind = 1;
  int32_t version = 32;
  int32_t useCount = 0;
  int32_t unused3 = 0, unused4 = 0;
  uint64_t modified = 0, created = 0, unused5 = 0;
};

// Editions differ in their comments.
[[nodiscard]] PlainRecord MakeRecord(uint32_t number, uint32_t edition = 0);
[[nodiscard]] PlainType MakePlainType(uint32_t number, uint32_t edition = 0);

// All properties as one block: identifiers and places, then the data.
[[nodiscard]] std::string EncodeImage(const PlainRecord& record);
[[nodiscard]] std::string EncodeImage(const PlainType& type);
// By identifier, each text copied into a member.
void DecodeImage(std::string_view image, PlainRecord& record);
void DecodeImage(std::string_view image, PlainType& type);

// What a store has to know of a kind of record.
struct ImageKind {
  uint32_t flags;  // property of the flag text
  size_t synchronizedAt;
  std::vector<uint32_t> order;  // properties of the sort order, all of them times
  // Decodes the whole record and looks at its flag.
  bool (*isChanged)(std::string_view image);
};
extern const ImageKind kJobImages;
extern const ImageKind kTypeImages;

// One character of a text; null when the image lacks it.
[[nodiscard]] const char* FlagIn(std::string_view image, uint32_t property, size_t index);
// Without decoding the rest.
[[nodiscard]] std::string SortKey(std::string_view image, const ImageKind& kind);

}  // namespace wkt::bench
