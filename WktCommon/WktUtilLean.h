#pragma once

#include "WktCommon/WideString.h"
#include "platform/Time.h"

namespace wkt {

// What an identifier is made of besides its prefix.
struct GuidParts {
  SYSTEMTIME time;
  DWORD ticks;
  uint32_t number;
};
// Each call takes the next number.
[[nodiscard]] GuidParts DrawGuid();
// A text that the caller frees with `WideString::FreeText`; null without memory.
[[nodiscard]] WCHAR* MakeGuidText(const WCHAR* prefix, const GuidParts& parts);

// Stands first in the identifiers of a device.
inline constexpr const WCHAR* kDevicePrefix = u"CE";

}  // namespace wkt

// Identifiers that are unique across devices and desktops without asking anybody: the time, the
// ticks since start and a counter of this module behind a prefix.
class CWktUtilLean {
 public:
  // "CE-1cb8a2f-5e3d1c80-0-1a2b3c": at most 38 characters.
  [[nodiscard]] static WideString CreateGUID();
  // A text that the caller frees with `WideString::FreeText`; null without a prefix or memory.
  [[nodiscard]] static WCHAR* CreateOwnGUID(const WCHAR* prefix);
};
