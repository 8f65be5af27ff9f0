// The bias of a time zone at an instant, by its transition rules.
#pragma once

#include <cstdint>

#include "platform/Time.h"

namespace wkt::host {

// A stretch of time with one bias.
struct BiasPeriod {
  uint64_t from = 0;                  // UTC ticks
  uint64_t until = UINT64_MAX;        // the first tick that is not in it
  LONG biasMinutes = 0;               // UTC = local + bias
  DWORD kind = TIME_ZONE_ID_UNKNOWN;  // STANDARD, DAYLIGHT; UNKNOWN without daylight saving

  [[nodiscard]] bool Holds(uint64_t ticks) const { return ticks >= from && ticks < until; }
};

// Whether both rules are there and name moments that exist. A zone whose rules do not is treated as
// one without daylight saving, as one without rules.
bool HasDaylightRules(const TIME_ZONE_INFORMATION& zone);

// The period that `ticks` (UTC) is in.
BiasPeriod BiasAt(const TIME_ZONE_INFORMATION& zone, uint64_t ticks);

}  // namespace wkt::host
