// The interface's constants by name, for traces and messages.
#pragma once

#include <string>

#include "platform/SyncConstants.h"

namespace wkt {

// "RWRN_LAST_PACKET"; an unknown code as "0x80070002".
std::string ResultName(HRESULT result);
// "ONF_RECORD|ONF_CHANGED"; bits without a name as hex; "0" for none.
std::string NotifyFlagNames(UINT flags);
std::string FindFlagNames(UINT flags);
std::string SetupFlagNames(DWORD flags);
// "RSC_BEGIN_SYNC"; an unknown code as its number.
std::string StatusName(UINT code);

}  // namespace wkt
