// Records as JSON, every field by name; nothing is lost either way.
//   times: "2026-03-02T08:00:00Z", local days "2026-03-02"; beyond the year 9999 the ticks as a
//   number texts: UTF-8; one with half a surrogate pair as {"utf16le": "hex"}
#pragma once

#include <nlohmann/json.hpp>

#include "desktop/partner/Record.h"
#include "desktop/partner/Zone.h"

namespace wkt {

using Json = nlohmann::ordered_json;

// Throws Failure (Usage) for bytes that are no UTF-8.
std::u16string FromUtf8(std::string_view text);

Json TextToJson(const std::u16string& text);
Json RecordToJson(const Record& record);

// Fields that are missing keep what `record` holds. Wall clock times are of `zone`. Throws Failure
// (Usage) naming the field, and what was expected; unknown names too, "resolved" apart.
void ReadRecordJson(const Json& json, const Zone& zone, Record* record);

}  // namespace wkt
