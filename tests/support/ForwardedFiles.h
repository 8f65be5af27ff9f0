// A file system for SQLite with something of one's own above each file of the default one. What it
// does not replace goes on to the file below.
#pragma once

#include <sqlite3.h>

#include <new>

namespace wkt::test {

// The file below stands behind it in memory.
struct ForwardedFile : sqlite3_file {
  sqlite3_file* below = nullptr;
};

inline sqlite3_file* Below(sqlite3_file* file) {
  return static_cast<ForwardedFile*>(file)->below;
}

inline sqlite3_io_methods ForwardingMethods() {
  sqlite3_io_methods methods{};
  methods.iVersion = 2;
  methods.xClose = [](sqlite3_file* f) { return Below(f)->pMethods->xClose(Below(f)); };
  methods.xRead = [](sqlite3_file* f, void* b, int n, sqlite3_int64 o) {
    return Below(f)->pMethods->xRead(Below(f), b, n, o);
  };
  methods.xWrite = [](sqlite3_file* f, const void* b, int n, sqlite3_int64 o) {
    return Below(f)->pMethods->xWrite(Below(f), b, n, o);
  };
  methods.xTruncate = [](sqlite3_file* f, sqlite3_int64 n) {
    return Below(f)->pMethods->xTruncate(Below(f), n);
  };
  methods.xSync = [](sqlite3_file* f, int m) { return Below(f)->pMethods->xSync(Below(f), m); };
  methods.xFileSize = [](sqlite3_file* f, sqlite3_int64* n) {
    return Below(f)->pMethods->xFileSize(Below(f), n);
  };
  methods.xLock = [](sqlite3_file* f, int l) { return Below(f)->pMethods->xLock(Below(f), l); };
  methods.xUnlock = [](sqlite3_file* f, int l) { return Below(f)->pMethods->xUnlock(Below(f), l); };
  methods.xCheckReservedLock = [](sqlite3_file* f, int* r) {
    return Below(f)->pMethods->xCheckReservedLock(Below(f), r);
  };
  methods.xFileControl = [](sqlite3_file* f, int o, void* a) {
    return Below(f)->pMethods->xFileControl(Below(f), o, a);
  };
  methods.xSectorSize = [](sqlite3_file* f) { return Below(f)->pMethods->xSectorSize(Below(f)); };
  methods.xDeviceCharacteristics = [](sqlite3_file* f) {
    return Below(f)->pMethods->xDeviceCharacteristics(Below(f));
  };
  methods.xShmMap = [](sqlite3_file* f, int p, int s, int e, void volatile** r) {
    return Below(f)->pMethods->xShmMap(Below(f), p, s, e, r);
  };
  methods.xShmLock = [](sqlite3_file* f, int o, int n, int g) {
    return Below(f)->pMethods->xShmLock(Below(f), o, n, g);
  };
  methods.xShmBarrier = [](sqlite3_file* f) { Below(f)->pMethods->xShmBarrier(Below(f)); };
  methods.xShmUnmap = [](sqlite3_file* f, int d) {
    return Below(f)->pMethods->xShmUnmap(Below(f), d);
  };
  return methods;
}

// `File` is a ForwardedFile made anew, without a destructor to run, each time that a file is
// opened; its BeforeOpen hears what. One such file system a program and kind of file.
template <class File>
class ForwardedFiles {
 public:
  // From now on SQLite uses it; call before anything is opened.
  static void Use(const char* name, const sqlite3_io_methods& own) {
    methods = own;
    below = sqlite3_vfs_find(nullptr);
    files = *below;
    files.zName = name;
    files.szOsFile = static_cast<int>(sizeof(File)) + below->szOsFile;
    files.xOpen = Open;
    files.pNext = nullptr;
    sqlite3_vfs_register(&files, 1);
  }

 private:
  static int Open(sqlite3_vfs*, const char* name, sqlite3_file* place, int flags, int* outFlags) {
    auto* file = new (place) File;
    file->below = reinterpret_cast<sqlite3_file*>(file + 1);
    file->BeforeOpen(name, flags);
    const int code = below->xOpen(below, name, file->below, flags, outFlags);
    file->pMethods = code == SQLITE_OK ? &methods : nullptr;
    return code;
  }

  static inline sqlite3_io_methods methods{};
  static inline sqlite3_vfs files{};
  static inline sqlite3_vfs* below = nullptr;
};

}  // namespace wkt::test
