// What the service manager keeps on the device about its two partnerships, so that a device that
// was reset, restored or exchanged is not taken for one whose records were all deleted.
#pragma once

#include <string>

#include "platform/Types.h"

namespace wkt {

struct Partnership {
  std::u16string deviceId;   // of the device, drawn at its first synchronisation; empty before
  std::u16string partnerId;  // of the desktop that is this partner; empty: nobody yet
  std::u16string token;      // left by the last run that moved something
};

Partnership ReadPartnership(UINT partnerBit);
[[nodiscard]] bool WritePartnership(UINT partnerBit, const Partnership& partnership);

}  // namespace wkt
