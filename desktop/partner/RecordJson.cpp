#include "desktop/partner/RecordJson.h"

#include <unicode/ustring.h>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/RecordPacket.h"

namespace wkt {

namespace {

// What an export adds for people and an import passes over.
constexpr char kResolved[] = "resolved";
constexpr char kHexText[] = "utf16le";

bool IsWellFormed(std::u16string_view text) {
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if ((unit & 0xF800) != 0xD800) {
      continue;
    }
    const bool pair =
        (unit & 0xFC00) == 0xD800 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
    if (!pair) {
      return false;
    }
    ++i;
  }
  return true;
}

[[noreturn]] void Wrong(const FieldDescription& field, const Json& value, const char* expected) {
  throw Failure(std::string(field.name) + " is " +
                    value.dump(-1, ' ', false, Json::error_handler_t::replace).substr(0, 60) +
                    ", expected " + expected,
                ExitCode::Usage);
}

std::u16string HexText(const FieldDescription& field, const Json& value) {
  const auto hex = value.find(kHexText);
  if (value.size() != 1 || hex == value.end() || !hex->is_string()) {
    Wrong(field, value, "a text");
  }
  const std::optional<Bytes> bytes = FromHex(hex->get_ref<const std::string&>());
  if (!bytes || bytes->size() % 2 != 0) {
    Wrong(field, value, "four hexadecimal digits a character");
  }
  std::u16string text;
  for (size_t i = 0; i < bytes->size(); i += 2) {
    text += static_cast<char16_t>((*bytes)[i] | (*bytes)[i + 1] << 8);
  }
  return text;
}

std::u16string ReadText(const FieldDescription& field, const Json& value) {
  if (value.is_object()) {
    return HexText(field, value);
  }
  if (!value.is_string()) {
    Wrong(field, value, "a text");
  }
  return FromUtf8(value.get_ref<const std::string&>());
}

int32_t ReadNumberField(const FieldDescription& field, const Json& value) {
  if (!value.is_number_integer() || value.get<double>() < INT32_MIN ||
      value.get<double>() > INT32_MAX) {
    Wrong(field, value, "a whole number of 32 bits");
  }
  return static_cast<int32_t>(value.get<int64_t>());
}

uint64_t ReadTimeField(const FieldDescription& field, const Json& value, const Zone& zone) {
  const bool isDay = field.kind == FieldKind::LocalDay;
  const char* expected =
      isDay ? "a date such as 2026-03-02" : "a time such as 2026-03-02T08:00:00Z";
  if (value.is_number_unsigned()) {
    return value.get<uint64_t>();
  }
  if (!value.is_string()) {
    Wrong(field, value, expected);
  }
  const auto time = ParseTime(value.get_ref<const std::string&>());
  if (!time || (isDay && time->hasOffset) || (!isDay && !time->hasTime)) {
    Wrong(field, value, expected);
  }
  return isDay || time->hasOffset ? time->ticks : zone.ToUtc(time->ticks);
}

Json TimeToJson(FieldKind kind, uint64_t ticks) {
  if (ticks >= kEndOfTextTime) {
    return ticks;
  }
  if (kind == FieldKind::LocalDay) {
    return ticks % kTicksPerDay == 0 ? DateText(ticks) : ClockText(ticks);
  }
  return ClockText(ticks) + "Z";
}

}  // namespace

std::u16string FromUtf8(std::string_view text) {
  std::u16string wide(text.size(), u'\0');
  int32_t unitCount = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strFromUTF8(wide.data(), static_cast<int32_t>(wide.size()), &unitCount, text.data(),
                static_cast<int32_t>(text.size()), &error);
  if (U_FAILURE(error)) {
    throw Failure("a text is not UTF-8", ExitCode::Usage);
  }
  wide.resize(static_cast<size_t>(unitCount));
  return wide;
}

Json TextToJson(const std::u16string& text) {
  if (IsWellFormed(text)) {
    return ToUtf8(text);
  }
  Bytes bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<uint8_t>(unit));
    bytes.push_back(static_cast<uint8_t>(unit >> 8));
  }
  return Json{{kHexText, ToHex(bytes)}};
}

Json RecordToJson(const Record& record) {
  Json json = Json::object();
  for (const FieldDescription& field : FieldsOf(record.Folder())) {
    switch (field.kind) {
      case FieldKind::Text:
      case FieldKind::Reference:
      case FieldKind::Flags:
        json[field.name] = TextToJson(record.Text(field.field));
        break;
      case FieldKind::Number:
      case FieldKind::Version:
        json[field.name] = record.Number(field.field);
        break;
      case FieldKind::Instant:
      case FieldKind::LocalDay:
        json[field.name] = TimeToJson(field.kind, record.Ticks(field.field));
        break;
    }
  }
  return json;
}

void ReadRecordJson(const Json& json, const Zone& zone, Record* record) {
  if (!json.is_object()) {
    throw Failure(
        "a record is " + std::string(json.type_name()) + ", expected an object of named fields",
        ExitCode::Usage);
  }
  size_t known = json.contains(kResolved) ? 1 : 0;
  for (const FieldDescription& field : FieldsOf(record->Folder())) {
    const auto found = json.find(field.name);
    if (found == json.end()) {
      continue;
    }
    ++known;
    switch (field.kind) {
      case FieldKind::Text:
      case FieldKind::Reference:
      case FieldKind::Flags:
        record->SetText(field.field, ReadText(field, *found));
        break;
      case FieldKind::Number:
      case FieldKind::Version:
        record->SetNumber(field.field, ReadNumberField(field, *found));
        break;
      case FieldKind::Instant:
      case FieldKind::LocalDay:
        record->SetTicks(field.field, ReadTimeField(field, *found, zone));
        break;
    }
  }
  if (known != json.size()) {
    for (const auto& [name, value] : json.items()) {
      bool isField = name == kResolved;
      for (const FieldDescription& field : FieldsOf(record->Folder())) {
        isField = isField || name == field.name;
      }
      if (!isField) {
        throw Failure(
            "there is no field '" + name + "' in a " + DescribeFolder(record->Folder()).noun,
            ExitCode::Usage);
      }
    }
  }
  if (const std::string problem = CheckRecord(*record); !problem.empty()) {
    throw Failure(problem, ExitCode::Usage);
  }
}

}  // namespace wkt
