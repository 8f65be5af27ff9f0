// What a provider is handed: cleared structures with the folder's name.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/SyncProvider.h"

namespace wkt {

// The name is cut to what fits.
template <typename Structure>
Structure ClearedFor(const std::u16string& folder) {
  Structure structure;
  std::memset(static_cast<void*>(&structure), 0, sizeof structure);
  const size_t unitCount = std::min<size_t>(folder.size(), MAX_OBJTYPE_NAME - 1);
  std::memcpy(structure.szObjType, folder.data(), unitCount * sizeof(WCHAR));
  return structure;
}

inline bool HasFailed(HRESULT result) {
  return result < 0;
}

}  // namespace wkt
