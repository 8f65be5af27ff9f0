// Errors of the machine below, as the device's.
#pragma once

#include "platform/Errors.h"

namespace wkt::host {

// Only this implementation answers these.
constexpr LONG ERROR_NOT_READY = 21;           // no device is in use
constexpr LONG ERROR_BADDB = 1009;             // the registry file is missing or damaged
constexpr LONG ERROR_NOT_ENOUGH_QUOTA = 1816;  // the window's queue is full

LONG ErrorFromErrno(int problem);

}  // namespace wkt::host
