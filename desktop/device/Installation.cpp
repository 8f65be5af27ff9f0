#include "desktop/device/Installation.h"

#include <fstream>
#include <iterator>
#include <string_view>

#include "host/control/Desk.h"
#include "platform/Database.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"

namespace wkt {

namespace {

constexpr char16_t kProviderFile[] = u"WktDevSync.dll";
constexpr char16_t kLogFile[] = u"WktDevLog.dll";
constexpr char16_t kSettingsKey[] = u"SOFTWARE\\Worktally";
constexpr char16_t kVolumeKey[] = u"Software\\Microsoft\\Stock Portfolio";
constexpr char16_t kObjectsKey[] = u"Windows CE Services\\Synchronization\\Objects\\";
constexpr const char16_t* kObjectTypes[] = {u"WktActivities", u"WktFavorites", u"WktTypes"};
// The layout of databases that this version makes: nothing to upgrade.
constexpr DWORD kDatabaseVersion = 74;

std::string Narrow(std::u16string_view text) {
  return std::string(text.begin(), text.end());
}

bool MakeFolders(std::u16string_view path) {
  for (size_t end = path.find(u'\\', 1); end != std::u16string_view::npos;
       end = path.find(u'\\', end + 1)) {
    const std::u16string folder(path.substr(0, end));
    if (!CreateDirectoryW(folder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
      return false;
    }
  }
  return true;
}

// The copy stands under another name until it is whole: a library may be in use.
std::string CopyToDevice(const std::string& from, const std::u16string& to) {
  std::ifstream file(from, std::ios::binary);
  if (!file) {
    return "cannot read " + from;
  }
  const std::string content((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
  const std::u16string part = to + u".part";
  const HANDLE copy = CreateFileW(part.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD written = 0;
  const bool whole =
      copy != INVALID_HANDLE_VALUE &&
      WriteFile(copy, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
      written == content.size();
  if (copy != INVALID_HANDLE_VALUE) {
    CloseHandle(copy);
  }
  DeleteFileW(to.c_str());
  if (!whole || !MoveFileW(part.c_str(), to.c_str())) {
    return "cannot write " + Narrow(to) + " on the device (error " +
           std::to_string(GetLastError()) + ")";
  }
  return "";
}

bool WriteValue(const std::u16string& path, LPCWSTR name, DWORD type, const void* data,
                size_t byteCount) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                      KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const LONG result = RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data),
                                     static_cast<DWORD>(byteCount));
  RegCloseKey(key);
  return result == ERROR_SUCCESS;
}

bool WriteText(const std::u16string& path, LPCWSTR name, const std::u16string& text) {
  return WriteValue(path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
}

}  // namespace

std::string Install(const Installation& installation) {
  const std::u16string folder = kInstallPath;
  if (!MakeFolders(folder)) {
    return "cannot make the folder " + Narrow(folder) + " on the device";
  }
  std::string problem = CopyToDevice(installation.providerPath, folder + kProviderFile);
  if (problem.empty() && installation.withLog) {
    problem = CopyToDevice(installation.logPath, folder + kLogFile);
  }
  if (!problem.empty()) {
    return problem;
  }
  bool written = WriteText(kSettingsKey, u"InstallPath", folder) &&
                 WriteValue(kSettingsKey, u"DatabaseVersion", REG_DWORD, &kDatabaseVersion,
                            sizeof kDatabaseVersion);
  for (const char16_t* objectType : kObjectTypes) {
    written = written &&
              WriteText(std::u16string(kObjectsKey) + objectType, u"Store", folder + kProviderFile);
  }
  if (written && !installation.volume.empty()) {
    std::u16string path = installation.volume;
    CEGUID guid;
    CREATE_INVALIDGUID(&guid);
    if (!CeMountDBVol(&guid, path.data(), OPEN_ALWAYS)) {
      return "cannot make the database volume " + Narrow(path) + " (error " +
             std::to_string(GetLastError()) + ")";
    }
    CeUnmountDBVol(&guid);
    written = WriteText(kVolumeKey, u"DBVol", installation.volume);
  }
  return written ? "" : "the device's registry cannot be written";
}

}  // namespace wkt
