#include "tests/host/PowerCutFiles.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "tests/support/ForwardedFiles.h"

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
      if (random() % 2 == 0) {
        Apply({change.offset + static_cast<int64_t>(start), change.bytes.substr(start, kBlockBytes),
               false},
              content);
      }
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

struct WatchedFile : ForwardedFile {
  FileState* state = nullptr;

  void BeforeOpen(const char* name, int flags) {
    const bool isKept = (flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL)) != 0 && name != nullptr;
    state = isKept ? &Files()[name] : nullptr;
  }
};

FileState* StateOf(sqlite3_file* file) {
  return static_cast<WatchedFile*>(file)->state;
}

int Write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset) {
  if (FileState* state = StateOf(file); state != nullptr) {
    CountWrite();
    state->since.push_back(
        {offset, std::string(static_cast<const char*>(bytes), static_cast<size_t>(count)), false});
  }
  return Below(file)->pMethods->xWrite(Below(file), bytes, count, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  if (FileState* state = StateOf(file); state != nullptr)
    state->since.push_back({size, {}, true});
  return Below(file)->pMethods->xTruncate(Below(file), size);
}

int Sync(sqlite3_file* file, int flags) {
  if (FileState* state = StateOf(file); state != nullptr) {
    for (const Change& change : state->since)
      Apply(change, state->synced);
    state->since.clear();
  }
  return Below(file)->pMethods->xSync(Below(file), flags);
}

}  // namespace

void UsePowerCutFiles() {
  sqlite3_io_methods methods = ForwardingMethods();
  methods.xWrite = Write;
  methods.xTruncate = Truncate;
  methods.xSync = Sync;
  ForwardedFiles<WatchedFile>::Use("powercut", methods);
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
