#pragma once

#include "platform/Types.h"

// Bytes from outside, before a packet class decodes them. TRUE means that decoding stays inside the
// buffer: either every fixed field lies in it and is terminated within its width and every variable
// text is terminated, or the buffer is long enough for the class to see that the header or the type
// text is wrong and to say so. Bytes beyond the record are tolerated, and so is a short flag text.
namespace wkt {

[[nodiscard]] bool CheckJobPacket(const BYTE* bytes, DWORD byteCount);
// The kind must be one of those that records are made for, 1 to 5.
[[nodiscard]] bool CheckTypePacket(const BYTE* bytes, DWORD byteCount);

}  // namespace wkt
