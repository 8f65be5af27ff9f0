// The version functions over VersionBlock.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "host/coredll/CallHook.h"
#include "host/coredll/Paths.h"
#include "host/coredll/StoreMounts.h"
#include "host/coredll/Text.h"
#include "host/coredll/VersionBlock.h"
#include "platform/Kernel.h"

namespace wkt::host {

namespace {

// Larger files are no libraries of a device.
constexpr off_t kMaxFileBytes = off_t{256} << 20;
constexpr size_t kMaxPathUnits = 260;

// The version information of the file at a device path, or the error.
LONG ReadBlock(LPCWSTR fileName, std::vector<uint8_t>& block) {
  const DevicePath path = ResolvePath(fileName);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  if (!path.exists || path.IsFolder())
    return ERROR_FILE_NOT_FOUND;
  if (IsMountedVolume(path))
    return ERROR_SHARING_VIOLATION;
  const OwnedFile file(
      openat(path.folder.Get(), path.name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file.IsOpen())
    return ERROR_ACCESS_DENIED;
  if (path.info.st_size > kMaxFileBytes)
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  // Read, not mapped: a file that shrinks meanwhile must not end the process.
  std::vector<uint8_t> content(static_cast<size_t>(path.info.st_size));
  size_t total = 0;
  ssize_t count = 0;
  while (total < content.size() &&
         (count = pread(file.Get(), content.data() + total, content.size() - total,
                        static_cast<off_t>(total))) > 0)
    total += static_cast<size_t>(count);
  content.resize(total);
  auto found = VersionBlockOf(content);
  if (!found)
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  block = std::move(*found);
  return ERROR_SUCCESS;
}

DWORD Size(LPCWSTR fileName, DWORD* handle) {
  std::vector<uint8_t> block;
  const LONG problem = ReadBlock(fileName, block);
  if (handle != nullptr)
    *handle = 0;
  if (problem != ERROR_SUCCESS)
    SetError(static_cast<uint32_t>(problem));
  return static_cast<DWORD>(block.size());
}

BOOL Information(LPCWSTR fileName, DWORD byteCount, LPVOID to) {
  std::vector<uint8_t> block;
  LONG problem = to != nullptr ? ReadBlock(fileName, block) : LONG{ERROR_INVALID_PARAMETER};
  if (problem == ERROR_SUCCESS && byteCount < block.size())
    problem = ERROR_INSUFFICIENT_BUFFER;
  if (problem != ERROR_SUCCESS) {
    SetError(static_cast<uint32_t>(problem));
    return FALSE;
  }
  memcpy(to, block.data(), block.size());
  return TRUE;
}

// The block states its own length in its first word; the file's was checked when it was read.
BOOL Query(LPCVOID block, LPCWSTR path, LPVOID* value, UINT* byteCount) {
  const auto bounded = path != nullptr ? BoundedText(path, kMaxPathUnits) : std::nullopt;
  if (block == nullptr || !bounded || value == nullptr || byteCount == nullptr) {
    SetError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  uint16_t length = 0;
  memcpy(&length, block, sizeof(length));
  const Bytes bytes(static_cast<const uint8_t*>(block), length);
  const auto found = length >= sizeof(length) ? FindVersionValue(bytes, *bounded) : std::nullopt;
  if (!found) {
    SetError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return FALSE;
  }
  *value = const_cast<uint8_t*>(bytes.data()) + found->offset;
  *byteCount = static_cast<UINT>(found->units);
  return TRUE;
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

DWORD CEAPI GetFileVersionInfoSizeW(LPWSTR fileName, DWORD* handle) {
  return HookedCall(
      "GetFileVersionInfoSizeW", DWORD{0}, [&] { return Size(fileName, handle); }, fileName);
}

BOOL CEAPI GetFileVersionInfoW(LPWSTR fileName, DWORD handle, DWORD byteCount, LPVOID block) {
  return HookedCall(
      "GetFileVersionInfoW", FALSE, [&] { return Information(fileName, byteCount, block); },
      fileName, handle, byteCount);
}

BOOL CEAPI VerQueryValueW(LPCVOID block, LPWSTR subBlock, LPVOID* value, UINT* byteCount) {
  return HookedCall(
      "VerQueryValueW", FALSE, [&] { return Query(block, subBlock, value, byteCount); }, subBlock);
}
