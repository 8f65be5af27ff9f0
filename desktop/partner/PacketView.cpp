#include "desktop/partner/PacketView.h"

#include <fmt/format.h>

#include <algorithm>

#include "WktCommon/JobPacketLayout.h"
#include "WktCommon/PacketCheck.h"
#include "WktCommon/TypePacketLayout.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/Instant.h"

namespace wkt {

namespace {

// Names of the layouts' rows, in their order.
constexpr const char* kJobNames[] = {
    "magic",   "type",     "id",      "version",  "modified high", "modified low", "title",
    "comment", "workType", "project", "teamwork", "start high",    "start low",    "end high",
    "end low", "persons",  "flags",   "unused2",  "unused3",       "day high",     "day low",
};
static_assert(std::size(kJobNames) == std::size(JobPacketLayout::kFields));
constexpr const char* kTypeNames[] = {
    "magic",        "kind",         "id",           "version",     "modified high",
    "modified low", "created high", "created low",  "useCount",    "name1",
    "name2",        "comment",      "flags",        "unused1",     "unused2",
    "unused3",      "unused4",      "unused5 high", "unused5 low",
};
static_assert(std::size(kTypeNames) == std::size(TypePacketLayout::kFields));

constexpr char16_t kMagic[] = u"Worktally";

std::u16string Units(std::span<const uint8_t> bytes) {
  std::u16string units;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
  }
  return units;
}

Bytes FromUnits(const std::u16string& units) {
  Bytes bytes;
  for (const char16_t unit : units) {
    bytes.push_back(static_cast<uint8_t>(unit));
    bytes.push_back(static_cast<uint8_t>(unit >> 8));
  }
  return bytes;
}

bool IsNumberField(std::string_view name, const PacketField& field) {
  return field.shape == FieldShape::Fixed && field.unitCount == kNumberUnits && name != "flags";
}

std::string Quoted(const std::u16string& text) {
  return "'" + ToUtf8(text) + "'";
}

const char* TypeTextMeaning(const std::u16string& text) {
  return text == u"act"   ? "daily job"
         : text == u"fac" ? "favourite job"
         : text == u"ACT" ? "daily job, older layout"
         : text == u"FAC" ? "favourite job, older layout"
                          : "";
}

const char* KindMeaning(int32_t kind) {
  constexpr const char* kNames[] = {"work type", "project", "person", "teamwork", "list"};
  return kind >= 1 && kind <= static_cast<int32_t>(std::size(kNames)) ? kNames[kind - 1] : "";
}

// The signed halves of a file time, as a packet has them.
std::string TimeMeaning(const std::u16string& high, const std::u16string& low, bool isDay) {
  const uint64_t ticks = uint64_t{static_cast<uint32_t>(ReadNumber(high.c_str()))} << 32 |
                         static_cast<uint32_t>(ReadNumber(low.c_str()));
  return ticks >= kEndOfTextTime ? std::to_string(ticks) + " ticks"
                                 : ClockText(ticks) + (isDay ? "" : "Z");
}

// A type's second field is a number; a job's is a word.
bool LooksLikeType(std::span<const uint8_t> bytes) {
  constexpr size_t kSecondField = kMagicUnits * sizeof(WCHAR);
  if (bytes.size() < kSecondField + sizeof(WCHAR)) {
    return false;
  }
  const char16_t first = Units(bytes.subspan(kSecondField, sizeof(WCHAR))).front();
  return (first >= u'0' && first <= u'9') || first == u'-' || first == u'+' || first == u' ' ||
         first == u'\0';
}

// Walks one packet by its table; lives for one call.
class Viewer {
 public:
  Viewer(std::span<const uint8_t> bytes, bool isType) : bytes_(bytes) { view_.isType = isType; }

  PacketView View() {
    if (view_.isType) {
      Walk(TypePacketLayout::kFields, kTypeNames);
    } else {
      Walk(JobPacketLayout::kFields, kJobNames);
    }
    if (offset_ < bytes_.size()) {
      const bool isBehind = view_.parts.size() == RowCount();
      Add(isBehind ? "behind the packet" : "rest", "rest", bytes_.size() - offset_);
    }
    Judge();
    return std::move(view_);
  }

 private:
  size_t RowCount() const {
    return view_.isType ? std::size(TypePacketLayout::kFields)
                        : std::size(JobPacketLayout::kFields);
  }

  // The first one counts.
  void Report(std::string problem) {
    if (view_.problem.empty()) {
      view_.problem = std::move(problem);
    }
  }

  void Walk(PacketFields fields, std::span<const char* const> names) {
    for (size_t row = 0; row < fields.size(); ++row) {
      const PacketField& field = fields[row];
      const std::string name = names[row];
      const std::span<const uint8_t> left = bytes_.subspan(offset_);
      const bool isVariable = field.shape == FieldShape::Variable;
      const size_t width = field.shape == FieldShape::Reference ? referenceUnits_ : field.unitCount;
      if (!isVariable && left.size() < width * 2) {
        Report(fmt::format("{} at byte {} needs {} bytes, {} are left", name, offset_, width * 2,
                           left.size()));
        return;
      }
      const auto end = FindTerminator(left.data(), isVariable ? left.size() / 2 : width);
      // Magic and type text are told by what they are.
      const bool isHeader = row == 0 || (row == kSecondRow && !view_.isType);
      if (!end && !isHeader) {
        Report(fmt::format("{} at byte {} has no terminator within {} bytes", name, offset_,
                           isVariable ? left.size() : width * 2));
        return;
      }
      Add(name,
          isVariable                   ? "text"
          : IsNumberField(name, field) ? "number"
                                       : "fixed text",
          isVariable ? (*end + 1) * 2 : width * 2);
      if (!Understand(row, name)) {
        return;
      }
    }
  }

  // False where nothing can be said of what follows.
  bool Understand(size_t row, const std::string& name) {
    PacketPart& part = view_.parts.back();
    const bool ends = part.value.size() * 2 < part.bytes.size();
    if (row == 0) {
      if (part.value != kMagic || !ends) {
        Report("magic at byte 0 is " + Quoted(part.value) + ", expected 'Worktally'");
        return false;
      }
    } else if (row == kSecondRow && view_.isType) {
      const int32_t kind = ReadNumber(part.value.c_str());
      part.meaning = KindMeaning(kind);
      if (part.meaning.empty()) {
        Report(
            fmt::format("kind at byte {} is {}, expected 1 to 5", part.offset, Quoted(part.value)));
      }
    } else if (row == kSecondRow) {
      WCHAR typeText[kJobTypeUnits];
      part.value.copy(typeText, kJobTypeUnits);
      std::fill(typeText + part.value.size(), typeText + kJobTypeUnits, u'\0');
      const bool isClean = part.plain && ends;
      referenceUnits_ = isClean ? ReferenceUnitsOf(typeText) : 0;
      part.meaning = TypeTextMeaning(part.value);
      if (referenceUnits_ == 0) {
        Report(
            fmt::format("type at byte {} is {}{}, expected 'act' or 'fac', or 'ACT' or 'FAC' "
                        "of the older layout",
                        part.offset, Quoted(part.value),
                        isClean || !ends ? "" : " with something behind its terminator"));
        return false;
      }
    } else if (name.ends_with(" low")) {
      part.meaning =
          TimeMeaning(view_.parts[view_.parts.size() - 2].value, part.value, name == "day low");
    }
    return true;
  }

  void Add(const std::string& name, const char* kind, size_t byteCount) {
    PacketPart part;
    part.offset = offset_;
    part.name = name;
    part.kind = kind;
    part.bytes.assign(bytes_.begin() + static_cast<std::ptrdiff_t>(offset_),
                      bytes_.begin() + static_cast<std::ptrdiff_t>(offset_ + byteCount));
    const std::u16string units = Units(part.bytes);
    part.value = units.substr(0, units.find(u'\0'));
    part.plain = std::string_view(kind) != "rest" && part.value.size() < units.size() &&
                 units.find_first_not_of(u'\0', part.value.size()) == std::u16string::npos;
    offset_ += byteCount;
    view_.parts.push_back(std::move(part));
  }

  // In the words of its log, then the answer.
  void Judge() {
    const auto byteCount = static_cast<DWORD>(bytes_.size());
    const bool fits = view_.isType ? CheckTypePacket(bytes_.data(), byteCount)
                                   : CheckJobPacket(bytes_.data(), byteCount);
    if (fits && view_.problem.empty()) {
      view_.provider = "accepted";
      return;
    }
    // What fits and is wrong all the same is found by the packet itself, in its header.
    if (fits && view_.parts.size() >= kSecondRow + 1 && view_.parts[kSecondRow].name == "type") {
      view_.provider = fmt::format("'Invalid packet type; Got = {}; Expected = 'act' or 'fac'', ",
                                   Quoted(view_.parts[kSecondRow].value));
    } else if (fits) {
      view_.provider = fmt::format("'Invalid packet header; Got = {}; Expected = 'Worktally'', ",
                                   Quoted(view_.parts[0].value));
    }
    view_.provider += view_.isType ? "'Invalid type packet received', E_UNEXPECTED"
                                   : "'Invalid packet received', E_UNEXPECTED";
  }

  static constexpr size_t kSecondRow = 1;

  std::span<const uint8_t> bytes_;
  size_t offset_ = 0;
  size_t referenceUnits_ = kReferenceUnits;
  PacketView view_;
};

[[noreturn]] void WrongShape(const std::string& what) {
  throw Failure(what + "; expected what 'wkt packet decode --json' writes", ExitCode::Usage);
}

Bytes ReadHex(const std::string& hex) {
  std::optional<Bytes> bytes = FromHex(hex);
  if (!bytes) {
    WrongShape("'raw' is no hexadecimal text");
  }
  return std::move(*bytes);
}

}  // namespace

PacketView ViewPacket(std::span<const uint8_t> bytes, PacketKind kind) {
  const bool isType = kind == PacketKind::Guess ? LooksLikeType(bytes) : kind == PacketKind::Type;
  return Viewer(bytes, isType).View();
}

Json PacketToJson(const PacketView& view) {
  Json json;
  json["packet"] = view.isType ? "type" : "job";
  json["problem"] = view.problem;
  json["provider"] = view.provider;
  json["fields"] = Json::array();
  for (const PacketPart& part : view.parts) {
    Json field{{"name", part.name},
               {"offset", part.offset},
               {"bytes", part.bytes.size()},
               {"kind", part.kind},
               {"value", TextToJson(part.value)}};
    if (!part.meaning.empty()) {
      field["meaning"] = part.meaning;
    }
    // A value with half a surrogate pair is no plain text either.
    if (!part.plain || !field["value"].is_string()) {
      field["raw"] = ToHex(part.bytes);
    }
    json["fields"].push_back(std::move(field));
  }
  return json;
}

Bytes PacketFromJson(const Json& json) {
  const auto fields = json.is_object() ? json.find("fields") : json.end();
  if (!json.is_object() || fields == json.end() || !fields->is_array()) {
    WrongShape("there are no fields");
  }
  Bytes packet;
  for (const Json& field : *fields) {
    if (!field.is_object()) {
      WrongShape("a field is no object");
    }
    Bytes bytes;
    if (const auto raw = field.find("raw"); raw != field.end() && raw->is_string()) {
      bytes = ReadHex(raw->get<std::string>());
    } else {
      const auto value = field.find("value");
      const auto kind = field.find("kind");
      const auto width = field.find("bytes");
      if (value == field.end() || !value->is_string() || kind == field.end()) {
        WrongShape("a field has neither 'raw' nor 'value' and 'kind'");
      }
      bytes = FromUnits(FromUtf8(value->get<std::string>()) + u'\0');
      if (*kind != "text") {
        if (width == field.end() || !width->is_number_unsigned() ||
            width->get<uint64_t>() < bytes.size() || width->get<uint64_t>() > 80) {
          WrongShape("'bytes' of a fixed field is missing, too small or larger than any");
        }
        bytes.resize(width->get<size_t>());
      }
    }
    packet.insert(packet.end(), bytes.begin(), bytes.end());
  }
  return packet;
}

}  // namespace wkt
