// Syncs of the files that SQLite opens.
#pragma once

#include <cstdint>

namespace wkt::bench {

// Synchronised writes of the process, by file, counted below SQLite.
struct SyncCounts {
  uint64_t log = 0;
  uint64_t other = 0;
};
// To be called before SQLite opens anything.
void CountSyncs();
SyncCounts Syncs();

}  // namespace wkt::bench
