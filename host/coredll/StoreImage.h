// A record as one block of bytes, as it stands in the table record_N.
//
// Little-endian: u32 version (1), u32 count, then count entries of {u32 property, u32 word} in
// ascending order of the property, then data. Values of up to four bytes (I2, UI2, I4, UI4, BOOL)
// are the entry's word itself. For the others the word is the offset of the data in the block; data
// starts at multiples of four and reaches to the next data or the end:
//   R8, FILETIME  eight bytes
//   LPWSTR        UTF-16 units with terminator, filled up with zeros
//   BLOB          u32 number of bytes, the bytes, filled up with zeros
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/Database.h"

namespace wkt::host {

constexpr WORD TypeOfProperty(CEPROPID property) {
  return static_cast<WORD>(property & 0xFFFF);
}
// What an entry's word means, by type; types from the end of the table on are none.
enum class ImageKind : uint8_t { None, Value, Text, Eight, Blob };
constexpr size_t kImageKindCount = 66;
constexpr auto kImageKinds = [] {
  std::array<ImageKind, kImageKindCount> kinds{};
  for (const WORD type : {CEVT_I2, CEVT_UI2, CEVT_I4, CEVT_UI4, CEVT_BOOL})
    kinds[type] = ImageKind::Value;
  kinds[CEVT_LPWSTR] = ImageKind::Text;
  kinds[CEVT_FILETIME] = kinds[CEVT_R8] = ImageKind::Eight;
  kinds[CEVT_BLOB] = ImageKind::Blob;
  return kinds;
}();
constexpr ImageKind KindOfProperty(CEPROPID property) {
  const WORD type = TypeOfProperty(property);
  return type < kImageKindCount ? kImageKinds[type] : ImageKind::None;
}

// Values whose entry holds them whole.
constexpr bool IsShortType(WORD type) {
  return KindOfProperty(type) == ImageKind::Value;
}
constexpr bool IsPropertyType(WORD type) {
  return KindOfProperty(type) != ImageKind::None;
}

// Looks at a block that someone else keeps.
class RecordImage {
 public:
  struct Entry {
    CEPROPID property;
    uint32_t word;
  };
  static constexpr uint32_t kVersion = 1;
  static constexpr size_t kHeadBytes = 8;

  // Nothing when the bytes are not a whole record image: all that the other functions rely on is
  // checked.
  static std::optional<RecordImage> Parse(std::string_view bytes);

  [[nodiscard]] std::string_view Bytes() const { return bytes_; }
  [[nodiscard]] uint32_t Count() const { return count_; }
  [[nodiscard]] Entry At(uint32_t index) const {
    Entry entry;
    std::memcpy(&entry, bytes_.data() + kHeadBytes + index * sizeof entry, sizeof entry);
    return entry;
  }
  // Index of the property, or Count().
  [[nodiscard]] uint32_t Find(CEPROPID property) const;
  // The data behind all entries, and where it starts in the block.
  [[nodiscard]] std::string_view Data() const { return bytes_.substr(DataStart()); }
  [[nodiscard]] uint32_t DataStart() const {
    return static_cast<uint32_t>(kHeadBytes + count_ * sizeof(Entry));
  }
  // The entry's data with what fills it up; empty for short values.
  [[nodiscard]] std::string_view DataOf(uint32_t index) const;

 private:
  RecordImage(std::string_view bytes, uint32_t count) : bytes_(bytes), count_(count) {}
  std::string_view bytes_;
  uint32_t count_;
};

// Writes into `out` what `old` (may be empty: no record yet) becomes by the changes. Of several
// changes of one property the last counts. ERROR_INVALID_PARAMETER for unknown types, missing
// pointers and values or records above the limits; `out` is then unspecified.
DWORD ChangeImage(const RecordImage* old, std::span<const CEPROPVAL> changes, std::string& out);

}  // namespace wkt::host
