// Folders, searches and names: what works on paths.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <string>
#include <vector>

#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/FileTimes.h"
#include "host/coredll/Handles.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/Paths.h"
#include "host/coredll/ShareLocks.h"
#include "host/coredll/StoreMounts.h"
#include "host/coredll/Text.h"
#include "platform/Files.h"

namespace wkt::host {

namespace {

constexpr DWORD kNoAttributes = 0xFFFFFFFF;

template <typename Result>
Result Fail(LONG error, Result result) {
  SetError(static_cast<uint32_t>(error));
  return result;
}

// A search keeps the names that matched when it began; what vanished meanwhile is passed over.
struct Search : HandleObject {
  static constexpr HandleKind kKind = HandleKind::Find;
  std::mutex lock;
  OwnedFile folder;
  std::vector<std::u16string> names;
  size_t next = 0;
};

// `pattern` with * (any text) and ? (one unit), without case.
bool Matches(std::u16string_view pattern, std::u16string_view name) {
  size_t p = 0, n = 0, star = std::u16string_view::npos, retry = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || UpperCase(pattern[p]) == UpperCase(name[n])) &&
        pattern[p] != u'*') {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      retry = n;
    } else if (star != std::u16string_view::npos) {
      p = star + 1;
      n = ++retry;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*')
    ++p;
  return p == pattern.size();
}

DWORD AttributesOf(const struct stat& info) {
  const DWORD kind = S_ISDIR(info.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  return kind | ((info.st_mode & S_IWUSR) == 0 ? FILE_ATTRIBUTE_READONLY : 0);
}

// Names that a device could not have made are not there for it.
bool IsListed(std::u16string_view name) {
  return name != u"." && name != u".." && name.size() < MAX_PATH &&
         std::none_of(name.begin(), name.end(), [](char16_t unit) {
           return unit < 0x20 ||
                  std::u16string_view(u"\"*/:<>?\\|").find(unit) != std::u16string_view::npos;
         });
}

std::vector<std::u16string> MatchingNames(int folder, std::u16string_view pattern) {
  std::vector<std::u16string> names;
  const int copy = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* entries = copy >= 0 ? fdopendir(copy) : nullptr;
  if (entries == nullptr) {
    if (copy >= 0)
      close(copy);
    return names;
  }
  // As everywhere in this family of systems, "*.*" means names without a dot too.
  const std::u16string_view wanted = pattern == u"*.*" ? u"*" : pattern;
  while (const dirent* entry = readdir(entries)) {
    std::optional<std::u16string> name = FromUtf8(entry->d_name);
    if (name && IsListed(*name) && Matches(wanted, *name))
      names.push_back(std::move(*name));
  }
  closedir(entries);
  std::sort(names.begin(), names.end());
  return names;
}

// The next name that is still there. False at the end, `found` untouched.
bool Advance(Search& search, WIN32_FIND_DATAW& found) {
  while (search.next < search.names.size()) {
    const std::u16string& name = search.names[search.next++];
    struct stat info = {};
    if (fstatat(search.folder.Get(), ToUtf8(name).c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 ||
        (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)))
      continue;
    found = {};
    found.dwFileAttributes = AttributesOf(info);
    found.ftCreationTime = FileTimeOf(info.st_mtim);
    found.ftLastAccessTime = FileTimeOf(info.st_atim);
    found.ftLastWriteTime = FileTimeOf(info.st_mtim);
    const uint64_t size = S_ISDIR(info.st_mode) ? 0 : static_cast<uint64_t>(info.st_size);
    found.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    found.nFileSizeLow = static_cast<DWORD>(size);
    std::copy(name.begin(), name.end(), found.cFileName);
    return true;
  }
  return false;
}

HANDLE FindFirst(LPCWSTR pattern, WIN32_FIND_DATAW* found) {
  if (found == nullptr)
    return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  DevicePath path = ResolvePath(pattern, Wildcards::InLastName);
  if (path.problem != ERROR_SUCCESS)
    return Fail(path.problem, INVALID_HANDLE_VALUE);
  auto search = std::make_shared<Search>();
  // A path that ends in a separator names no entry of a folder, neither does the root.
  if (!path.IsRoot() && !path.endsWithSeparator)
    search->names = MatchingNames(path.folder.Get(), path.given);
  search->folder = std::move(path.folder);
  WIN32_FIND_DATAW first;
  if (!Advance(*search, first))
    return Fail(ERROR_NO_MORE_FILES, INVALID_HANDLE_VALUE);
  void* handle = OpenHandle(HandleKind::Find, std::move(search));
  if (handle == nullptr)
    return Fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
  *found = first;
  return handle;
}

BOOL FindNext(HANDLE handle, WIN32_FIND_DATAW* found) {
  const auto search = FindHandle<Search>(handle);
  if (search == nullptr)
    return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (found == nullptr)
    return Fail(ERROR_INVALID_PARAMETER, FALSE);
  const std::lock_guard guard(search->lock);
  return Advance(*search, *found) ? TRUE : Fail(ERROR_NO_MORE_FILES, FALSE);
}

// Runs `change` while no other call makes, moves or opens files. Its result is the error.
template <typename Change>
BOOL ChangeTree(const Change& change) {
  Device* device = Device::Current();
  if (device == nullptr)
    return Fail(ERROR_NOT_READY, FALSE);
  const DeviceLock lock(*device, LockRegion::Files);
  const LONG problem = change();
  return problem == ERROR_SUCCESS ? TRUE : Fail(problem, FALSE);
}

LONG MakeFolder(LPCWSTR name) {
  const DevicePath path = ResolvePath(name);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  if (path.exists)
    return ERROR_ALREADY_EXISTS;
  return mkdirat(path.folder.Get(), path.name.c_str(), 0777) == 0 ? ERROR_SUCCESS
                                                                  : ErrorFromErrno(errno);
}

LONG RemoveFolder(LPCWSTR name) {
  const DevicePath path = ResolvePath(name);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  if (!path.exists)
    return ERROR_FILE_NOT_FOUND;
  if (!path.IsFolder())
    return ERROR_DIRECTORY;
  if (path.IsRoot())
    return ERROR_ACCESS_DENIED;
  return unlinkat(path.folder.Get(), path.name.c_str(), AT_REMOVEDIR) == 0 ? ERROR_SUCCESS
                                                                           : ErrorFromErrno(errno);
}

bool IsOpenByHandle(const DevicePath& path) {
  if (IsMountedVolume(path))
    return true;
  const OwnedFile file(
      openat(path.folder.Get(), path.name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  return file.IsOpen() && IsInUse(file.Get());
}

LONG RemoveFile(LPCWSTR name) {
  const DevicePath path = ResolvePath(name);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  if (!path.exists)
    return ERROR_FILE_NOT_FOUND;
  if (path.IsFolder() || (path.info.st_mode & S_IWUSR) == 0)
    return ERROR_ACCESS_DENIED;
  if (IsOpenByHandle(path))
    return ERROR_SHARING_VIOLATION;
  return unlinkat(path.folder.Get(), path.name.c_str(), 0) == 0 ? ERROR_SUCCESS
                                                                : ErrorFromErrno(errno);
}

LONG Move(LPCWSTR fromName, LPCWSTR toName) {
  const DevicePath from = ResolvePath(fromName);
  if (from.problem != ERROR_SUCCESS)
    return from.problem;
  if (!from.exists)
    return ERROR_FILE_NOT_FOUND;
  if (from.IsRoot())
    return ERROR_ACCESS_DENIED;
  const DevicePath to = ResolvePath(toName);
  if (to.problem != ERROR_SUCCESS)
    return to.problem;
  // A change of case only is a move onto itself.
  const bool same =
      to.exists && to.info.st_ino == from.info.st_ino && to.info.st_dev == from.info.st_dev;
  if (to.exists && !same)
    return ERROR_ALREADY_EXISTS;
  if (!from.IsFolder() && IsOpenByHandle(from))
    return ERROR_SHARING_VIOLATION;
  const std::string name = ToUtf8(to.given);
  if (same && name == from.name)
    return ERROR_SUCCESS;
  return renameat(from.folder.Get(), from.name.c_str(), to.folder.Get(), name.c_str()) == 0
             ? ERROR_SUCCESS
             : ErrorFromErrno(errno);
}

DWORD Attributes(LPCWSTR name) {
  const DevicePath path = ResolvePath(name);
  if (path.problem != ERROR_SUCCESS)
    return Fail(path.problem, kNoAttributes);
  return path.exists ? AttributesOf(path.info) : Fail(ERROR_FILE_NOT_FOUND, kNoAttributes);
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

BOOL CEAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security) {
  return HookedCall(
      "CreateDirectoryW", FALSE, [&] { return ChangeTree([&] { return MakeFolder(path); }); }, path,
      security);
}

BOOL CEAPI RemoveDirectoryW(LPCWSTR path) {
  return HookedCall(
      "RemoveDirectoryW", FALSE, [&] { return ChangeTree([&] { return RemoveFolder(path); }); },
      path);
}

HANDLE CEAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* found) {
  return HookedCall(
      "FindFirstFileW", INVALID_HANDLE_VALUE, [&] { return FindFirst(pattern, found); }, pattern);
}

BOOL CEAPI FindNextFileW(HANDLE search, WIN32_FIND_DATAW* found) {
  return HookedCall(
      "FindNextFileW", FALSE, [&] { return FindNext(search, found); }, search);
}

BOOL CEAPI FindClose(HANDLE search) {
  return HookedCall(
      "FindClose", FALSE,
      [&] {
        return DropHandle(search, HandleKind::Find) ? TRUE : Fail(ERROR_INVALID_HANDLE, FALSE);
      },
      search);
}

BOOL CEAPI DeleteFileW(LPCWSTR path) {
  return HookedCall(
      "DeleteFileW", FALSE, [&] { return ChangeTree([&] { return RemoveFile(path); }); }, path);
}

BOOL CEAPI MoveFileW(LPCWSTR from, LPCWSTR to) {
  return HookedCall(
      "MoveFileW", FALSE, [&] { return ChangeTree([&] { return Move(from, to); }); }, from, to);
}

DWORD CEAPI GetFileAttributesW(LPCWSTR path) {
  return HookedCall(
      "GetFileAttributesW", kNoAttributes, [&] { return Attributes(path); }, path);
}
