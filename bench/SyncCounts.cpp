#include "bench/SyncCounts.h"

#include "tests/support/ForwardedFiles.h"

namespace wkt::bench {

namespace {

SyncCounts counts;

struct CountedFile : test::ForwardedFile {
  bool isLog = false;

  void BeforeOpen(const char*, int flags) { isLog = (flags & SQLITE_OPEN_WAL) != 0; }
};

int Sync(sqlite3_file* file, int flags) {
  ++(static_cast<CountedFile*>(file)->isLog ? counts.log : counts.other);
  return test::Below(file)->pMethods->xSync(test::Below(file), flags);
}

}  // namespace

void CountSyncs() {
  sqlite3_io_methods methods = test::ForwardingMethods();
  methods.xSync = Sync;
  test::ForwardedFiles<CountedFile>::Use("counted", methods);
}

SyncCounts Syncs() {
  return counts;
}

}  // namespace wkt::bench
