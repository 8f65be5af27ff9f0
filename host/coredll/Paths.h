// Device paths ("\Program Files\Worktally") and where they lie in the machine's file system.
//
// A path is walked name by name from the device's "files" folder through open folders, and links
// are not followed, so that no path leads out of the device. Names compare without case and keep
// the case they were made with.
#pragma once

#include <sys/stat.h>

#include <string>
#include <utility>

#include "platform/Errors.h"

namespace wkt::host {

class Device;

// An open file of the machine, closed with its owner.
class OwnedFile {
 public:
  OwnedFile() = default;
  explicit OwnedFile(int file) : file_(file) {}
  OwnedFile(OwnedFile&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
  OwnedFile& operator=(OwnedFile&& other) noexcept {
    std::swap(file_, other.file_);
    return *this;
  }
  OwnedFile(const OwnedFile&) = delete;
  OwnedFile& operator=(const OwnedFile&) = delete;
  ~OwnedFile();

  [[nodiscard]] int Get() const { return file_; }
  [[nodiscard]] bool IsOpen() const { return file_ >= 0; }
  // The caller closes it.
  int Release() { return std::exchange(file_, -1); }

 private:
  int file_ = -1;
};

enum class Wildcards : bool { Refuse, InLastName };

struct DevicePath {
  // ERROR_SUCCESS also when the last name is missing; ERROR_INVALID_NAME, ERROR_PATH_NOT_FOUND (a
  // folder before the last name is missing), ERROR_FILENAME_EXCED_RANGE, ERROR_NOT_READY (no
  // device).
  LONG problem = ERROR_SUCCESS;
  Device* device = nullptr;
  OwnedFile folder;  // that of the last name; of the root, the root
  std::string
      name;  // the last name as it is on the disk, or as given when missing; "." for the root
  std::u16string given;  // the last name as given
  std::string machinePath;
  bool exists = false;
  bool endsWithSeparator = false;
  struct stat info = {};  // when it exists

  [[nodiscard]] bool IsFolder() const { return exists && S_ISDIR(info.st_mode); }
  [[nodiscard]] bool IsRoot() const { return name == "."; }
};

DevicePath ResolvePath(const char16_t* path, Wildcards wildcards = Wildcards::Refuse);

// The machine's path of a device path whose folders exist; the file itself may be missing. On
// failure the code as above.
LONG MachinePathOf(const char16_t* path, std::string& machinePath);

}  // namespace wkt::host
