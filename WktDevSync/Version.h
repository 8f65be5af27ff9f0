#pragma once

#include "platform/Types.h"

namespace wkt {

struct FileVersion {
  DWORD major;
  DWORD minor;
  DWORD build;
};

// From the file's version resource; all 0 when it cannot be read.
[[nodiscard]] FileVersion ReadFileVersion(const WCHAR* file);

}  // namespace wkt
