#include "bench/SyncCounts.h"

#include <sqlite3.h>

namespace wkt::bench {

namespace {

// SQLite's own file system with counted syncs.

struct CountedFile {
  sqlite3_file base;
  sqlite3_file* real;
  bool isLog;
};
SyncCounts counts;
sqlite3_vfs* below = nullptr;
sqlite3_io_methods methods;

sqlite3_file* Real(sqlite3_file* file) {
  return reinterpret_cast<CountedFile*>(file)->real;
}
int Sync(sqlite3_file* file, int flags) {
  ++(reinterpret_cast<CountedFile*>(file)->isLog ? counts.log : counts.other);
  return Real(file)->pMethods->xSync(Real(file), flags);
}
int Close(sqlite3_file* file) {
  return Real(file)->pMethods->xClose(Real(file));
}

void SetMethods() {
  methods.iVersion = 2;
  methods.xClose = Close;
  methods.xRead = [](sqlite3_file* f, void* b, int n, sqlite3_int64 o) {
    return Real(f)->pMethods->xRead(Real(f), b, n, o);
  };
  methods.xWrite = [](sqlite3_file* f, const void* b, int n, sqlite3_int64 o) {
    return Real(f)->pMethods->xWrite(Real(f), b, n, o);
  };
  methods.xTruncate = [](sqlite3_file* f, sqlite3_int64 n) {
    return Real(f)->pMethods->xTruncate(Real(f), n);
  };
  methods.xSync = Sync;
  methods.xFileSize = [](sqlite3_file* f, sqlite3_int64* n) {
    return Real(f)->pMethods->xFileSize(Real(f), n);
  };
  methods.xLock = [](sqlite3_file* f, int l) { return Real(f)->pMethods->xLock(Real(f), l); };
  methods.xUnlock = [](sqlite3_file* f, int l) { return Real(f)->pMethods->xUnlock(Real(f), l); };
  methods.xCheckReservedLock = [](sqlite3_file* f, int* r) {
    return Real(f)->pMethods->xCheckReservedLock(Real(f), r);
  };
  methods.xFileControl = [](sqlite3_file* f, int o, void* a) {
    return Real(f)->pMethods->xFileControl(Real(f), o, a);
  };
  methods.xSectorSize = [](sqlite3_file* f) { return Real(f)->pMethods->xSectorSize(Real(f)); };
  methods.xDeviceCharacteristics = [](sqlite3_file* f) {
    return Real(f)->pMethods->xDeviceCharacteristics(Real(f));
  };
  methods.xShmMap = [](sqlite3_file* f, int p, int s, int e, void volatile** r) {
    return Real(f)->pMethods->xShmMap(Real(f), p, s, e, r);
  };
  methods.xShmLock = [](sqlite3_file* f, int o, int n, int g) {
    return Real(f)->pMethods->xShmLock(Real(f), o, n, g);
  };
  methods.xShmBarrier = [](sqlite3_file* f) { Real(f)->pMethods->xShmBarrier(Real(f)); };
  methods.xShmUnmap = [](sqlite3_file* f, int d) {
    return Real(f)->pMethods->xShmUnmap(Real(f), d);
  };
}

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  auto* counted = reinterpret_cast<CountedFile*>(file);
  counted->real = reinterpret_cast<sqlite3_file*>(counted + 1);
  counted->isLog = (flags & SQLITE_OPEN_WAL) != 0;
  const int code = below->xOpen(below, name, counted->real, flags, outFlags);
  counted->base.pMethods = code == SQLITE_OK ? &methods : nullptr;
  return code;
}

}  // namespace

void CountSyncs() {
  static sqlite3_vfs vfs;
  below = sqlite3_vfs_find(nullptr);
  SetMethods();
  vfs = *below;
  vfs.zName = "counted";
  vfs.szOsFile = static_cast<int>(sizeof(CountedFile)) + below->szOsFile;
  vfs.xOpen = Open;
  vfs.pNext = nullptr;
  sqlite3_vfs_register(&vfs, 1);
}

SyncCounts Syncs() {
  return counts;
}

}  // namespace wkt::bench
