// Open files: CreateFileW and what works on its handles.
#include "platform/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/FileTimes.h"
#include "host/coredll/Handles.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/Paths.h"
#include "host/coredll/ShareLocks.h"
#include "host/coredll/StoreMounts.h"

namespace wkt::host {

namespace {

struct OpenFile : HandleObject {
  static constexpr HandleKind kKind = HandleKind::File;
  OpenFile(OwnedFile opened, DWORD wantedAccess) : file(std::move(opened)), access(wantedAccess) {}
  OwnedFile file;
  DWORD access;
};

template <typename Result>
Result Fail(LONG error, Result result) {
  SetError(static_cast<uint32_t>(error));
  return result;
}

// The error with which a mode refuses what is there, before anything is opened.
LONG CheckMode(const DevicePath& path, DWORD access, DWORD mode) {
  if (mode < CREATE_NEW || mode > TRUNCATE_EXISTING)
    return ERROR_INVALID_PARAMETER;
  if (mode == TRUNCATE_EXISTING && (access & GENERIC_WRITE) == 0)
    return ERROR_INVALID_PARAMETER;
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  if (path.IsFolder())
    return ERROR_ACCESS_DENIED;
  if (path.endsWithSeparator)
    return ERROR_INVALID_NAME;
  if (path.exists && mode == CREATE_NEW)
    return ERROR_FILE_EXISTS;
  if (!path.exists && (mode == OPEN_EXISTING || mode == TRUNCATE_EXISTING))
    return ERROR_FILE_NOT_FOUND;
  if (path.exists && IsMountedVolume(path))
    return ERROR_SHARING_VIOLATION;
  const bool changes = (access & GENERIC_WRITE) != 0 || mode == CREATE_ALWAYS;
  if (path.exists && changes && (path.info.st_mode & S_IWUSR) == 0)
    return ERROR_ACCESS_DENIED;
  return ERROR_SUCCESS;
}

HANDLE OpenMachineFile(const DevicePath& path, DWORD access, DWORD shareMode, DWORD mode,
                       DWORD attributes) {
  // Locks need a file that may be read, so writers open for both.
  const bool writes = (access & GENERIC_WRITE) != 0 || mode == CREATE_ALWAYS;
  int flags = (writes ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOFOLLOW;
  if (!path.exists)
    flags |= O_CREAT | O_EXCL;
  const mode_t rights = (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0666;
  OwnedFile file(openat(path.folder.Get(), path.name.c_str(), flags, rights));
  if (!file.IsOpen())
    return Fail(errno == EEXIST ? ERROR_FILE_EXISTS : ErrorFromErrno(errno), INVALID_HANDLE_VALUE);
  if (!TakeShareLocks(file.Get(), access, shareMode))
    return Fail(ERROR_SHARING_VIOLATION, INVALID_HANDLE_VALUE);
  if (path.exists && (mode == CREATE_ALWAYS || mode == TRUNCATE_EXISTING) &&
      ftruncate(file.Get(), 0) != 0)
    return Fail(ErrorFromErrno(errno), INVALID_HANDLE_VALUE);
  StampFile(file.Get());
  void* handle = OpenHandle(HandleKind::File, std::make_shared<OpenFile>(std::move(file), access));
  if (handle == nullptr)
    return Fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
  if (mode == CREATE_ALWAYS || mode == OPEN_ALWAYS)
    SetError(path.exists ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return handle;
}

HANDLE Open(LPCWSTR name, DWORD access, DWORD shareMode, DWORD mode, DWORD attributes) {
  Device* device = Device::Current();
  if (device == nullptr)
    return Fail(ERROR_NOT_READY, INVALID_HANDLE_VALUE);
  // Between the look and the opening nobody else makes or locks files.
  const DeviceLock lock(*device, LockRegion::Files);
  const DevicePath path = ResolvePath(name);
  const LONG problem = CheckMode(path, access, mode);
  return problem != ERROR_SUCCESS ? Fail(problem, INVALID_HANDLE_VALUE)
                                  : OpenMachineFile(path, access, shareMode, mode, attributes);
}

BOOL Read(HANDLE handle, LPVOID buffer, DWORD byteCount, DWORD* bytesRead) {
  const auto open = FindHandle<OpenFile>(handle);
  if (open == nullptr)
    return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (bytesRead == nullptr || (buffer == nullptr && byteCount != 0))
    return Fail(ERROR_INVALID_PARAMETER, FALSE);
  if ((open->access & GENERIC_READ) == 0)
    return Fail(ERROR_ACCESS_DENIED, FALSE);
  DWORD total = 0;
  while (total < byteCount) {
    const ssize_t count =
        read(open->file.Get(), static_cast<BYTE*>(buffer) + total, byteCount - total);
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0)
      return Fail(ERROR_READ_FAULT, FALSE);
    if (count == 0)
      break;
    total += static_cast<DWORD>(count);
  }
  *bytesRead = total;
  return TRUE;
}

BOOL Write(HANDLE handle, LPCVOID buffer, DWORD byteCount, DWORD* bytesWritten) {
  const auto open = FindHandle<OpenFile>(handle);
  if (open == nullptr)
    return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (bytesWritten == nullptr || (buffer == nullptr && byteCount != 0))
    return Fail(ERROR_INVALID_PARAMETER, FALSE);
  if ((open->access & GENERIC_WRITE) == 0)
    return Fail(ERROR_ACCESS_DENIED, FALSE);
  *bytesWritten = 0;
  while (*bytesWritten < byteCount) {
    const ssize_t count = write(open->file.Get(), static_cast<const BYTE*>(buffer) + *bytesWritten,
                                byteCount - *bytesWritten);
    if (count < 0 && errno == EINTR)
      continue;
    if (count < 0) {
      const LONG problem = ErrorFromErrno(errno);
      return Fail(problem == ERROR_DISK_FULL ? problem : LONG{ERROR_WRITE_FAULT}, FALSE);
    }
    *bytesWritten += static_cast<DWORD>(count);
  }
  StampFile(open->file.Get());
  return TRUE;
}

DWORD Seek(HANDLE handle, LONG distance, LONG* distanceHigh, DWORD method) {
  const auto open = FindHandle<OpenFile>(handle);
  if (open == nullptr)
    return Fail(ERROR_INVALID_HANDLE, INVALID_SET_FILE_POINTER);
  if (method > FILE_END)
    return Fail(ERROR_INVALID_PARAMETER, INVALID_SET_FILE_POINTER);
  int64_t offset = distance;
  if (distanceHigh != nullptr) {
    offset = static_cast<int64_t>((static_cast<uint64_t>(*distanceHigh) << 32) |
                                  static_cast<uint32_t>(distance));
  }
  const int whence = method == FILE_BEGIN ? SEEK_SET : method == FILE_CURRENT ? SEEK_CUR : SEEK_END;
  const off_t before = lseek(open->file.Get(), 0, SEEK_CUR);
  const off_t position = lseek(open->file.Get(), offset, whence);
  if (position < 0)
    return Fail(ERROR_NEGATIVE_SEEK, INVALID_SET_FILE_POINTER);
  if (distanceHigh == nullptr && position > 0xFFFFFFFF) {
    lseek(open->file.Get(), before, SEEK_SET);
    return Fail(ERROR_INVALID_PARAMETER, INVALID_SET_FILE_POINTER);
  }
  if (distanceHigh != nullptr)
    *distanceHigh = static_cast<LONG>(position >> 32);
  const auto low = static_cast<DWORD>(position);
  // A position that looks like the failure value is told from it by the last error.
  if (low == INVALID_SET_FILE_POINTER)
    SetError(ERROR_SUCCESS);
  return low;
}

DWORD Size(HANDLE handle, DWORD* sizeHigh) {
  const auto open = FindHandle<OpenFile>(handle);
  struct stat info = {};
  if (open == nullptr || fstat(open->file.Get(), &info) != 0)
    return Fail(ERROR_INVALID_HANDLE, INVALID_FILE_SIZE);
  if (sizeHigh != nullptr)
    *sizeHigh = static_cast<DWORD>(static_cast<uint64_t>(info.st_size) >> 32);
  const auto low = static_cast<DWORD>(info.st_size);
  if (low == INVALID_FILE_SIZE)
    SetError(ERROR_SUCCESS);
  return low;
}

BOOL Flush(HANDLE handle) {
  const auto open = FindHandle<OpenFile>(handle);
  if (open == nullptr)
    return Fail(ERROR_INVALID_HANDLE, FALSE);
  const Device* device = Device::CurrentIfAny();
  if (device != nullptr && device->CurrentDurability() == Durability::Off)
    return TRUE;
  return fdatasync(open->file.Get()) == 0 ? TRUE : Fail(ERROR_WRITE_FAULT, FALSE);
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

HANDLE CEAPI CreateFileW(LPCWSTR path, DWORD access, DWORD shareMode,
                         LPSECURITY_ATTRIBUTES security, DWORD mode, DWORD attributes,
                         HANDLE templateFile) {
  return HookedCall(
      "CreateFileW", INVALID_HANDLE_VALUE,
      [&] { return Open(path, access, shareMode, mode, attributes); }, path, access, shareMode,
      security, mode, attributes, templateFile);
}

BOOL CEAPI ReadFile(HANDLE file, LPVOID buffer, DWORD byteCount, DWORD* bytesRead, LPVOID) {
  return HookedCall(
      "ReadFile", FALSE, [&] { return Read(file, buffer, byteCount, bytesRead); }, file, byteCount);
}

BOOL CEAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD byteCount, DWORD* bytesWritten, LPVOID) {
  return HookedCall(
      "WriteFile", FALSE, [&] { return Write(file, buffer, byteCount, bytesWritten); }, file,
      byteCount);
}

DWORD CEAPI SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method) {
  return HookedCall(
      "SetFilePointer", INVALID_SET_FILE_POINTER,
      [&] { return Seek(file, distance, distanceHigh, method); }, file, distance, method);
}

DWORD CEAPI GetFileSize(HANDLE file, DWORD* sizeHigh) {
  return HookedCall(
      "GetFileSize", INVALID_FILE_SIZE, [&] { return Size(file, sizeHigh); }, file);
}

BOOL CEAPI FlushFileBuffers(HANDLE file) {
  return HookedCall(
      "FlushFileBuffers", FALSE, [&] { return Flush(file); }, file);
}
