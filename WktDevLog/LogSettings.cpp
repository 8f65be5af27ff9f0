#include "WktDevLog/LogSettings.h"

#include "platform/Registry.h"

namespace wktlog {
namespace {

constexpr WCHAR kSettingsKey[] = u"SOFTWARE\\Worktally\\WktDevLog";
constexpr WCHAR kLevelsValue[] = u"Levels";
constexpr WCHAR kWriteToFileValue[] = u"WriteToFile";
constexpr WCHAR kSizeLimitValue[] = u"SizeLimit";
constexpr DWORD kAllLevels = 0xFFFFFFFF;
constexpr DWORD kDefaultSizeLimit = 1024 * 1024;
// Below that hardly a call of the service manager fits into two files.
constexpr DWORD kSmallestSizeLimit = 4 * 1024;

DWORD ReadValue(HKEY key, const WCHAR* name, DWORD defaultValue) {
  DWORD type = REG_NONE;
  DWORD value = 0;
  DWORD byteCount = sizeof(value);
  const LONG code =
      RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &byteCount);
  return code == ERROR_SUCCESS && type == REG_DWORD && byteCount == sizeof(value) ? value
                                                                                  : defaultValue;
}

}  // namespace

LogSettings ReadLogSettings() {
  LogSettings settings = {kAllLevels, TRUE, kDefaultSizeLimit};
  HKEY key = nullptr;
  // A missing key means: the defaults.
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSettingsKey, 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return settings;
  }
  settings.levels = ReadValue(key, kLevelsValue, settings.levels);
  settings.writeToFile = ReadValue(key, kWriteToFileValue, TRUE) != 0;
  settings.sizeLimit = ReadValue(key, kSizeLimitValue, settings.sizeLimit);
  if (settings.sizeLimit < kSmallestSizeLimit)
    settings.sizeLimit = kSmallestSizeLimit;
  RegCloseKey(key);
  return settings;
}

void StoreWriteToFile(BOOL on) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kSettingsKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    return;
  }
  const DWORD value = on ? 1 : 0;
  RegSetValueExW(key, kWriteToFileValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                 sizeof(value));
  RegCloseKey(key);
}

}  // namespace wktlog
