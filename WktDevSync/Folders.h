#pragma once

#include "platform/Types.h"

namespace wkt {

// Makes a folder and every missing one on the way to it. FALSE at the first that cannot be made.
BOOL CreateFolders(const WCHAR* path);

}  // namespace wkt
