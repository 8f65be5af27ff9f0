// A device's or a partner's folder in one file: a SQLite database of files, each with a checksum.
// Databases inside are copied as of one instant, so the folder may be in use.
#pragma once

#include <cstdint>
#include <string>

namespace wkt {

struct BackupInfo {
  std::string kind;    // "device" or "partner"
  std::string source;  // where it was
  std::string made;    // an instant
  int64_t files = 0;
  int64_t bytes = 0;
};

// `file` must not exist. It appears whole or not at all. Throws Failure.
BackupInfo WriteBackup(const std::string& folder, const std::string& kind, const std::string& file,
                       uint64_t now);
// Checks every byte. Throws Failure naming what is damaged.
BackupInfo CheckBackup(const std::string& file);
// Checks, then replaces the folder as a whole; on failure the folder stays as it was.
void RestoreBackup(const std::string& file, const std::string& folder);

}  // namespace wkt
