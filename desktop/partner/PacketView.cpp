#include "desktop/partner/PacketView.h"

#include <fmt/format.h>

#include <algorithm>

#include "WktCommon/JobPacketLayout.h"
#include "WktCommon/PacketCheck.h"
#include "WktCommon/TypePacketLayout.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Failure.h"

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
constexpr size_t kTypeTextRow = 1;

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

bool IsNumber(std::string_view name) {
  return name == "version" || name == "kind" || name == "useCount" || name == "unused2" || name == "unused3" ||
         name == "unused4" || name.ends_with(" high") || name.ends_with(" low");
}

// Walks one packet by its table; lives for one call.
class Viewer {
 public:
  explicit Viewer(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  PacketView View() {
    const std::u16string start = Units(bytes_.first(std::min<size_t>(bytes_.size(), 28)));
    const std::u16string typeText = start.size() >= 14 ? start.substr(10, 4) : u"";
    size_t referenceUnits = kReferenceUnits;
    view_.isType = true;
    for (const JobTypeText& known : kJobTypeTexts) {
      if (typeText == std::u16string(known.text) + u'\0') {
        view_.isType = false;
        referenceUnits = known.referenceUnits;
      }
    }
    if (view_.isType) {
      Walk(TypePacketLayout::kFields, kTypeNames, referenceUnits);
    } else {
      Walk(JobPacketLayout::kFields, kJobNames, referenceUnits);
    }
    if (offset_ < bytes_.size()) {
      Add(view_.problem.empty() ? "behind the packet" : "rest", "rest", bytes_.size() - offset_);
    }
    Judge();
    return std::move(view_);
  }

 private:
  void Walk(PacketFields fields, std::span<const char* const> names, size_t referenceUnits) {
    for (size_t row = 0; row < fields.size() && view_.problem.empty(); ++row) {
      const PacketField& field = fields[row];
      const std::string name = names[row];
      const std::span<const uint8_t> left = bytes_.subspan(offset_);
      const size_t width = field.shape == FieldShape::Reference ? referenceUnits : field.unitCount;
      const bool isVariable = field.shape == FieldShape::Variable;
      if (!isVariable && left.size() < width * 2) {
        view_.problem = fmt::format("{} at byte {} needs {} bytes, {} are left", name, offset_,
                                    width * 2, left.size());
        return;
      }
      const auto end = FindTerminator(left.data(), isVariable ? left.size() / 2 : width);
      if (!end) {
        view_.problem = fmt::format("{} at byte {} has no terminator within {} bytes", name,
                                    offset_, isVariable ? left.size() : width * 2);
        return;
      }
      Add(name,
          IsNumber(name) && !isVariable ? "number"
          : isVariable                  ? "text"
                                        : "fixed text",
          isVariable ? (*end + 1) * 2 : width * 2);
      if (row == 0 && view_.parts.back().value != kMagic) {
        view_.problem = fmt::format("magic at byte 0 is '{}', expected 'Worktally'",
                                    ToUtf8(view_.parts.back().value));
      }
      if (row == kTypeTextRow && view_.isType && !IsKind(view_.parts.back().value)) {
        view_.problem =
            fmt::format("kind at byte {} is '{}', expected 1 to 5, or a job's 'act' or 'fac'",
                        view_.parts.back().offset, ToUtf8(view_.parts.back().value));
      }
    }
  }

  static bool IsKind(const std::u16string& text) {
    const int kind = ReadNumber(text.c_str());
    return kind >= 1 && kind <= 5;
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
    part.plain = std::string_view(kind) != "rest" &&
                 units.find_first_not_of(u'\0', part.value.size()) == std::u16string::npos;
    offset_ += byteCount;
    view_.parts.push_back(std::move(part));
  }

  void Judge() {
    const auto byteCount = static_cast<DWORD>(bytes_.size());
    const char* refusal = view_.isType ? "'Invalid type packet received', E_UNEXPECTED"
                                       : "'Invalid packet received', E_UNEXPECTED";
    const bool fits = view_.isType ? CheckTypePacket(bytes_.data(), byteCount)
                                   : CheckJobPacket(bytes_.data(), byteCount);
    const bool wrongMagic = !view_.parts.empty() && view_.parts[0].value != kMagic;
    if (view_.problem.empty() && fits) {
      view_.provider = "accepted";
    } else if (wrongMagic && fits) {
      view_.provider =
          fmt::format("'Invalid packet header; Got = '{}'; Expected = 'Worktally'', then {}",
                      ToUtf8(view_.parts[0].value), refusal);
    } else {
      view_.provider = refusal;
    }
  }

  std::span<const uint8_t> bytes_;
  size_t offset_ = 0;
  PacketView view_;
};

[[noreturn]] void WrongShape(const std::string& what) {
  throw Failure(what + "; expected what 'wkt packet decode --json' writes", ExitCode::Usage);
}

Bytes ReadHex(const std::string& hex) {
  if (hex.size() % 2 != 0 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    WrongShape("'raw' is no hexadecimal text");
  }
  Bytes bytes;
  for (size_t i = 0; i < hex.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

}  // namespace

PacketView ViewPacket(std::span<const uint8_t> bytes) {
  return Viewer(bytes).View();
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
