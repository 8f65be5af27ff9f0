// The registry of the device in use: kept in memory, read again when another process changed the
// file.
#pragma once

#include <functional>
#include <string>

#include "host/coredll/RegistryTree.h"
#include "platform/Errors.h"

namespace wkt::host {

// Runs `read` on the registry as it is now. Without a usable registry the result is ERROR_NOT_READY
// (no device) or ERROR_BADDB (the file is missing or damaged; it is named on stderr).
LONG ReadRegistry(const std::function<LONG(const RegistryKey& root)>& read);

// Runs `change` while no other process changes the registry. When it returns ERROR_SUCCESS and set
// `changed`, the file is replaced; if that fails, nothing has changed and the result tells why.
LONG ChangeRegistry(const std::function<LONG(RegistryKey& root, bool& changed)>& change);

// Sets values of one key (a path from the root, "HKEY_LOCAL_MACHINE\..."), making what is missing.
LONG SetRegistryValues(const std::u16string& path, const std::vector<RegistryValue>& values);

}  // namespace wkt::host
