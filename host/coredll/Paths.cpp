#include "host/coredll/Paths.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>
#include <vector>

#include "host/coredll/Device.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/Text.h"

namespace wkt::host {

namespace {

// With the terminator.
constexpr size_t kMaxPathUnits = MAX_PATH;
constexpr size_t kMaxNameBytes = 255;

bool IsFileName(std::u16string_view name, Wildcards wildcards) {
  if (name.empty() || name == u"." || name == u"..")
    return false;
  constexpr std::u16string_view kForbidden = u"\"/:<>|";
  return std::none_of(name.begin(), name.end(), [&](char16_t unit) {
    const bool wildcard = unit == u'*' || unit == u'?';
    return unit < 0x20 || kForbidden.find(unit) != std::u16string_view::npos ||
           (wildcard && wildcards == Wildcards::Refuse);
  });
}

// Files, folders and nothing else: links, sockets and the like are not there for the device.
bool Look(int folder, const std::string& name, struct stat& info) {
  return fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
         (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode));
}

// The name on the disk for one given in any case; the first in order when several fit.
std::optional<std::string> FindName(int folder, std::u16string_view given, struct stat& info) {
  std::string exact = ToUtf8(given);
  if (exact.size() > kMaxNameBytes)
    return std::nullopt;
  if (Look(folder, exact, info))
    return exact;
  const int copy = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* entries = copy >= 0 ? fdopendir(copy) : nullptr;
  if (entries == nullptr) {
    if (copy >= 0)
      close(copy);
    return std::nullopt;
  }
  std::optional<std::string> found;
  while (const dirent* entry = readdir(entries)) {
    const std::optional<std::u16string> name = FromUtf8(entry->d_name);
    if (name && EqualIgnoringCase(*name, given) && (!found || entry->d_name < *found))
      found = entry->d_name;
  }
  closedir(entries);
  return found && Look(folder, *found, info) ? found : std::nullopt;
}

struct SplitPath {
  LONG problem = ERROR_SUCCESS;
  std::vector<std::u16string_view> names;
  bool endsWithSeparator = false;
};

SplitPath Split(std::u16string_view path, Wildcards wildcards) {
  SplitPath split;
  if (path.empty())
    return {ERROR_PATH_NOT_FOUND, {}, false};
  // "\\server\share": there is no network.
  if (path.substr(0, 2) == u"\\\\")
    return {ERROR_PATH_NOT_FOUND, {}, false};
  split.endsWithSeparator = path.back() == u'\\';
  while (!path.empty()) {
    const size_t end = std::min(path.find(u'\\'), path.size());
    if (end > 0)
      split.names.push_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  for (size_t i = 0; i < split.names.size(); ++i) {
    const bool last = i + 1 == split.names.size() && !split.endsWithSeparator;
    if (!IsFileName(split.names[i], last ? wildcards : Wildcards::Refuse))
      split.problem = ERROR_INVALID_NAME;
  }
  return split;
}

// From `path.folder` into the folder of that name.
LONG Enter(DevicePath& path, std::u16string_view given) {
  struct stat info = {};
  const std::optional<std::string> name = FindName(path.folder.Get(), given, info);
  if (!name || !S_ISDIR(info.st_mode))
    return ERROR_PATH_NOT_FOUND;
  OwnedFile next(
      openat(path.folder.Get(), name->c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!next.IsOpen())
    return errno == EACCES ? ERROR_ACCESS_DENIED : ERROR_PATH_NOT_FOUND;
  path.folder = std::move(next);
  path.machinePath += '/' + *name;
  return ERROR_SUCCESS;
}

}  // namespace

OwnedFile::~OwnedFile() {
  if (file_ >= 0)
    close(file_);
}

DevicePath ResolvePath(const char16_t* path, Wildcards wildcards) {
  DevicePath found;
  const auto fail = [&](LONG problem) {
    DevicePath failed;
    failed.problem = problem;
    return failed;
  };
  if (path == nullptr)
    return fail(ERROR_PATH_NOT_FOUND);
  const std::optional<std::u16string_view> bounded = BoundedText(path, kMaxPathUnits);
  if (!bounded)
    return fail(ERROR_FILENAME_EXCED_RANGE);
  const SplitPath split = Split(*bounded, wildcards);
  if (split.problem != ERROR_SUCCESS)
    return fail(split.problem);
  found.device = Device::Current();
  if (found.device == nullptr)
    return fail(ERROR_NOT_READY);
  found.endsWithSeparator = split.endsWithSeparator;
  found.machinePath = found.device->FilesPath();
  found.folder = OwnedFile(open(found.machinePath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!found.folder.IsOpen()) {
    ReportOnce(found.machinePath + ": the file tree is missing");
    return fail(ERROR_PATH_NOT_FOUND);
  }
  if (split.names.empty()) {
    found.name = ".";
    found.exists = fstat(found.folder.Get(), &found.info) == 0;
    return found;
  }
  for (size_t i = 0; i + 1 < split.names.size(); ++i) {
    if (const LONG problem = Enter(found, split.names[i]); problem != ERROR_SUCCESS)
      return fail(problem);
  }
  found.given = split.names.back();
  if (const auto name = FindName(found.folder.Get(), found.given, found.info)) {
    found.name = *name;
    found.exists = true;
  } else {
    found.name = ToUtf8(found.given);
  }
  if (found.name.size() > kMaxNameBytes)
    return fail(ERROR_FILENAME_EXCED_RANGE);
  found.machinePath += '/' + found.name;
  return found;
}

LONG MachinePathOf(const char16_t* path, std::string& machinePath) {
  DevicePath found = ResolvePath(path);
  if (found.problem == ERROR_SUCCESS)
    machinePath = std::move(found.machinePath);
  return found.problem;
}

}  // namespace wkt::host
