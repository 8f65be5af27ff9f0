// Records to packets and back. Packets come from outside: they are checked before a packet class,
// which trusts its input, sees them.
#pragma once

#include <optional>

#include "desktop/partner/Record.h"
#include "desktop/partner/Store.h"

namespace wkt {

// Nothing when the bytes are no packet of this folder.
std::optional<Record> DecodePacket(FolderId folder, std::span<const uint8_t> bytes);
// Texts that do not fit a fixed field are cut; CheckRecord says which do not.
Bytes EncodePacket(const Record& record);

// Empty when the record fits a packet, else what does not, naming the field.
std::string CheckRecord(const Record& record);

}  // namespace wkt
