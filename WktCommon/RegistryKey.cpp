#include "WktCommon/RegistryKey.h"

#include <algorithm>

namespace {

constexpr WCHAR kProgramKey[] = u"SOFTWARE\\Worktally";
constexpr WCHAR kInstallPathValue[] = u"InstallPath";
constexpr size_t kStringBufferUnits = 256;
// Bytes, terminator included.
constexpr DWORD kStringBytes = 256;

const WCHAR* NameOfRoot(HKEY root) {
  if (root == HKEY_CURRENT_USER)
    return u"HKEY_CURRENT_USER";
  if (root == HKEY_LOCAL_MACHINE)
    return u"HKEY_LOCAL_MACHINE";
  return u"";
}

}  // namespace

CRegistryKey::CRegistryKey(HKEY rootKey, const WCHAR* keyPath, BOOL create, BOOL isReadOnly)
    : root(rootKey),
      handle(nullptr),
      path(keyPath),
      rootName(NameOfRoot(rootKey)),
      readOnly(isReadOnly ? 1 : 0),
      access(create || !isReadOnly ? KEY_ALL_ACCESS : KEY_READ),
      companion(nullptr) {
  if (create) {
    Create();
  } else if (RegOpenKeyExW(root, path.c_str(), 0, access, &handle) != ERROR_SUCCESS) {
    handle = nullptr;
  }
}

CRegistryKey::~CRegistryKey() {
  if (handle)
    RegCloseKey(handle);
  delete companion;
}

void CRegistryKey::Create() {
  if (RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, access, nullptr, &handle, nullptr) !=
      ERROR_SUCCESS) {
    handle = nullptr;
  }
}

WideString CRegistryKey::ReadString(const WCHAR* name) const {
  if (!handle)
    return WideString();
  WCHAR* const buffer = WideString::AllocateText(kStringBufferUnits);
  if (!buffer)
    return WideString();
  // Cleared, because a stored text may lack its terminator.
  std::fill_n(buffer, kStringBufferUnits, WCHAR{0});
  DWORD type = REG_NONE;
  DWORD byteCount = kStringBytes;
  const LONG code =
      RegQueryValueExW(handle, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &byteCount);
  // Kept: ERROR_MORE_DATA is no reason to read again, so a text that does not fit reads as empty.
  if (code == ERROR_SUCCESS && type == REG_SZ)
    return WideString::Adopt(buffer);
  WideString::FreeText(buffer);
  return WideString();
}

int32_t CRegistryKey::ReadDword(const WCHAR* name, int32_t defaultValue) const {
  if (!handle)
    return defaultValue;
  int32_t value = 0;
  DWORD type = REG_NONE;
  DWORD byteCount = sizeof(value);
  const LONG code =
      RegQueryValueExW(handle, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &byteCount);
  return code == ERROR_SUCCESS && type == REG_DWORD ? value : defaultValue;
}

BOOL CRegistryKey::WriteValue(const WCHAR* name, DWORD type, const void* data, DWORD size) {
  if (!handle)
    Create();
  if (!handle)
    return FALSE;
  // Kept: a value that could not be stored is not reported.
  RegSetValueExW(handle, name, 0, type, static_cast<const BYTE*>(data), size);
  return TRUE;
}

BOOL CRegistryKey::WriteDword(const WCHAR* name, DWORD value) {
  return WriteValue(name, REG_DWORD, &value, sizeof(value));
}

WideString GetInstallPath() {
  const CRegistryKey key(HKEY_LOCAL_MACHINE, kProgramKey, FALSE, TRUE);
  if (!key.IsOpen())
    return WideString();
  WideString folder = key.ReadString(kInstallPathValue);
  const int32_t length = folder.Length();
  if (length == 0 || folder.c_str()[length - 1] != u'\\')
    folder.Append(u"\\");
  return folder;
}
