#pragma once

#include "platform/Kernel.h"

namespace wkt {

// How long a record operation waits for the mutex. Whoever waits longer proceeds without it: the
// mutex is a private one, so only a hanging thread of this process could hold it.
constexpr DWORD kLockWaitMilliseconds = 10000;

// Holds a database's mutex for one record operation, if the caller asked for it.
template <class Database>
class DatabaseLock {
 public:
  DatabaseLock(Database& locked, BOOL wanted) : database(wanted ? &locked : nullptr) {
    if (database)
      database->Lock();
  }
  ~DatabaseLock() {
    // Kept: released also after a time-out; the platform refuses that and nothing happens.
    if (database)
      database->Unlock();
  }
  DatabaseLock(const DatabaseLock&) = delete;
  DatabaseLock& operator=(const DatabaseLock&) = delete;

 private:
  Database* database;
};

}  // namespace wkt
