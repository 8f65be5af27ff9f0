// Times of files: the machine keeps them, the device's clock gives them.
#pragma once

#include <ctime>

#include "platform/Types.h"

namespace wkt::host {

FILETIME FileTimeOf(const timespec& time);
// Gives the file the device's time when that is not the machine's.
void StampFile(int file);

}  // namespace wkt::host
