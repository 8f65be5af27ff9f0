#pragma once

#include "platform/Types.h"

// What is written and how much of it is kept, in the device's registry below
// HKEY_LOCAL_MACHINE "SOFTWARE\Worktally\WktDevLog".
namespace wktlog {

struct LogSettings {
  DWORD levels;      // "Levels": bits of the levels that are written
  BOOL writeToFile;  // "WriteToFile": 0 = nothing is written
  DWORD sizeLimit;   // "SizeLimit": bytes of one file; a full one becomes the older file
};

// What the registry does not say, or says in another type, is the default: everything, to the file,
// up to a megabyte.
[[nodiscard]] LogSettings ReadLogSettings();
void StoreWriteToFile(BOOL on);

}  // namespace wktlog
