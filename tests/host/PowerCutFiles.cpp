#include "tests/host/PowerCutFiles.h"

#include <sqlite3.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace wkt::test {

namespace {

constexpr size_t kBlockBytes = 512;

struct Change {
  int64_t offset;  // of a write; the new length of the file for a truncation
  std::string bytes;
  bool truncates;
};

struct FileState {
  std::string synced;
  std::vector<Change> since;
};

struct WatchedFile {
  sqlite3_file base;
  sqlite3_file* real;
  FileState* state;
};

sqlite3_vfs* below = nullptr;
sqlite3_vfs vfs;
sqlite3_io_methods methods;
std::map<std::string, FileState>& Files() {
  static auto* files = new std::map<std::string, FileState>;
  return *files;
}
uint32_t writesLeft = 0;
uint32_t cutSeed = 0;
std::function<void(const SurvivingFiles&)> cutHandler;

void Apply(const Change& change, std::string& content) {
  const auto offset = static_cast<size_t>(change.offset);
  if (change.truncates) {
    content.resize(offset);
    return;
  }
  content.resize(std::max(content.size(), offset + change.bytes.size()));
  content.replace(offset, change.bytes.size(), change.bytes);
}

// Of what was not synced each block is there or not, by itself.
std::string Surviving(const FileState& state, std::minstd_rand& random) {
  std::string content = state.synced;
  for (const Change& change : state.since) {
    if (change.truncates) {
      if (random() % 2 == 0)
        Apply(change, content);
      continue;
    }
    for (size_t start = 0; start < change.bytes.size(); start += kBlockBytes) {
      if (random() % 2 == 0)
        Apply({change.offset + static_cast<int64_t>(start), change.bytes.substr(start, kBlockBytes),
               false},
              content);
    }
  }
  return content;
}

void CountWrite() {
  if (writesLeft == 0 || --writesLeft > 0)
    return;
  std::minstd_rand random(cutSeed);
  SurvivingFiles files;
  for (const auto& [path, state] : Files())
    files[path] = Surviving(state, random);
  const auto handler = std::exchange(cutHandler, nullptr);
  handler(files);
}

WatchedFile* Watched(sqlite3_file* file) {
  return reinterpret_cast<WatchedFile*>(file);
}
sqlite3_file* Real(sqlite3_file* file) {
  return Watched(file)->real;
}

int Write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset) {
  if (FileState* state = Watched(file)->state; state != nullptr) {
    CountWrite();
    state->since.push_back(
        {offset, std::string(static_cast<const char*>(bytes), static_cast<size_t>(count)), false});
  }
  return Real(file)->pMethods->xWrite(Real(file), bytes, count, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  if (FileState* state = Watched(file)->state; state != nullptr)
    state->since.push_back({size, {}, true});
  return Real(file)->pMethods->xTruncate(Real(file), size);
}

int Sync(sqlite3_file* file, int flags) {
  if (FileState* state = Watched(file)->state; state != nullptr) {
    for (const Change& change : state->since)
      Apply(change, state->synced);
    state->since.clear();
  }
  return Real(file)->pMethods->xSync(Real(file), flags);
}

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  WatchedFile* watched = Watched(file);
  watched->real = reinterpret_cast<sqlite3_file*>(watched + 1);
  const bool isKept = (flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL)) != 0 && name != nullptr;
  watched->state = isKept ? &Files()[name] : nullptr;
  const int code = below->xOpen(below, name, watched->real, flags, outFlags);
  watched->base.pMethods = code == SQLITE_OK ? &methods : nullptr;
  return code;
}

void SetMethods() {
  methods.iVersion = 2;
  methods.xClose = [](sqlite3_file* f) { return Real(f)->pMethods->xClose(Real(f)); };
  methods.xRead = [](sqlite3_file* f, void* b, int n, sqlite3_int64 o) {
    return Real(f)->pMethods->xRead(Real(f), b, n, o);
  };
  methods.xWrite = Write;
  methods.xTruncate = Truncate;
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

}  // namespace

void UsePowerCutFiles() {
  below = sqlite3_vfs_find(nullptr);
  SetMethods();
  vfs = *below;
  vfs.zName = "powercut";
  vfs.szOsFile = static_cast<int>(sizeof(WatchedFile)) + below->szOsFile;
  vfs.xOpen = Open;
  vfs.pNext = nullptr;
  sqlite3_vfs_register(&vfs, 1);
}

void CutPowerAfter(uint32_t writes, uint32_t seed, std::function<void(const SurvivingFiles&)> cut) {
  writesLeft = writes;
  cutSeed = seed;
  cutHandler = std::move(cut);
}

bool IsCutPending() {
  return cutHandler != nullptr;
}

}  // namespace wkt::test
