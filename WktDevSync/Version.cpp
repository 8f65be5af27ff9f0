#include "WktDevSync/Version.h"

#include <cstring>

#include "WktCommon/Allocation.h"
#include "platform/Kernel.h"

namespace {

constexpr int kHalfBits = 16;
constexpr DWORD kLowHalf = 0xFFFF;

bool ReadFixedInformation(WCHAR* file, DWORD byteCount, void* block, VS_FIXEDFILEINFO& out) {
  if (!GetFileVersionInfoW(file, 0, byteCount, block))
    return false;
  WCHAR root[] = u"\\";
  void* value = nullptr;
  UINT valueBytes = 0;
  if (!VerQueryValueW(block, root, &value, &valueBytes))
    return false;
  if (!value || valueBytes < sizeof(out))
    return false;
  std::memcpy(&out, value, sizeof(out));
  return true;
}

}  // namespace

namespace wkt {

FileVersion ReadFileVersion(const WCHAR* file) {
  // The platform takes the name without `const` and does not write to it.
  WCHAR* const name = const_cast<WCHAR*>(file);
  DWORD ignored = 0;
  const DWORD byteCount = GetFileVersionInfoSizeW(name, &ignored);
  void* const block = byteCount ? AllocateBlock(byteCount) : nullptr;
  if (!block)
    return {};
  VS_FIXEDFILEINFO information;
  const bool read = ReadFixedInformation(name, byteCount, block, information);
  FreeBlock(block);
  if (!read)
    return {};
  return {information.dwFileVersionMS >> kHalfBits, information.dwFileVersionMS & kLowHalf,
          information.dwFileVersionLS & kLowHalf};
}

}  // namespace wkt
