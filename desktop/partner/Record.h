// A job, favourite job or type on the desktop: its fields as values, not as bytes. One table a kind
// of record drives conversion to packets, JSON, comparison and listing.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "desktop/partner/Folders.h"

namespace wkt {

// All fields of jobs and types; the tables say which of them a kind of record has.
enum class Field : uint8_t {
  Kind,
  Id,
  Version,
  Modified,
  Created,
  UseCount,
  Title,
  Name1,
  Name2,
  Comment,
  WorkType,
  Project,
  Teamwork,
  Start,
  End,
  Persons,
  Flags,
  Unused1,
  Unused2,
  Unused3,
  Unused4,
  Unused5,
  JobUnused2,
  JobUnused3,
  Day,
  Count
};

enum class FieldKind : uint8_t {
  Text,       // any length
  Reference,  // identifier of a type, at most 39 units
  Flags,      // 19 units
  Number,     // signed 32 bits
  Version,    // a number of at most three characters
  Instant,    // UTC
  LocalDay,   // wall clock
};

struct FieldDescription {
  Field field;
  const char* name;  // in JSON
  FieldKind kind;
};

// In the order of the packet.
std::span<const FieldDescription> FieldsOf(FolderId folder);

constexpr size_t kReferenceLimit = 39;
constexpr size_t kFlagCount = 19;

struct FieldValue {
  std::u16string text;
  uint64_t number = 0;  // ticks, or a signed number's bits extended

  bool operator==(const FieldValue&) const = default;
};

class Record {
 public:
  explicit Record(FolderId folder) : folder_(folder) {}

  FolderId Folder() const { return folder_; }
  bool IsType() const { return folder_ == FolderId::Types; }

  const std::u16string& Text(Field field) const { return Value(field).text; }
  void SetText(Field field, std::u16string text) { Value(field).text = std::move(text); }
  uint64_t Ticks(Field field) const { return Value(field).number; }
  void SetTicks(Field field, uint64_t ticks) { Value(field).number = ticks; }
  int32_t Number(Field field) const { return static_cast<int32_t>(Value(field).number); }
  void SetNumber(Field field, int32_t number) {
    Value(field).number = static_cast<uint64_t>(int64_t{number});
  }

  const FieldValue& Value(Field field) const { return values_[static_cast<size_t>(field)]; }
  FieldValue& Value(Field field) { return values_[static_cast<size_t>(field)]; }

  const std::u16string& Id() const { return Text(Field::Id); }
  // Title or name, for people.
  std::u16string DisplayName() const;

  bool Flag(int position) const;
  void SetFlag(int position, bool on);

  // Every field equal, synchronisation characters and modification time included.
  bool operator==(const Record&) const = default;

 private:
  FolderId folder_;
  std::array<FieldValue, static_cast<size_t>(Field::Count)> values_;
};

// A record with the defaults that a new one has, without an identifier. Times are `now`.
Record MakeRecord(FolderId folder, uint64_t now, uint64_t localDay);

// Equal in all that people see: synchronisation characters and the modification time, which marking
// a type as synchronised moves, are left out.
bool SameContent(const Record& a, const Record& b);

// The record as it goes to a device: marked as synchronised with this partner (so that storing it
// stamps nothing) and not with the other, who has yet to get it.
Record ForDevice(const Record& record, int partner);

}  // namespace wkt
