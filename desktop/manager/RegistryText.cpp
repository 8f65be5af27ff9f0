#include "desktop/manager/RegistryText.h"

#include <vector>

namespace wkt {

namespace {

std::optional<std::vector<BYTE>> ReadValue(const std::u16string& key, LPCWSTR name,
                                           DWORD wantedType) {
  OpenKey open;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, open.Receive()) !=
      ERROR_SUCCESS) {
    *open.Receive() = nullptr;
    return std::nullopt;
  }
  DWORD type = 0;
  DWORD byteCount = 0;
  if (RegQueryValueExW(open.Get(), name, nullptr, &type, nullptr, &byteCount) != ERROR_SUCCESS ||
      type != wantedType) {
    return std::nullopt;
  }
  std::vector<BYTE> data(byteCount ? byteCount : 1);
  if (RegQueryValueExW(open.Get(), name, nullptr, &type, data.data(), &byteCount) !=
          ERROR_SUCCESS ||
      type != wantedType) {
    return std::nullopt;
  }
  data.resize(byteCount);
  return data;
}

bool WriteValue(const std::u16string& key, LPCWSTR name, DWORD type, const void* data,
                DWORD byteCount) {
  OpenKey open;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                      KEY_ALL_ACCESS, nullptr, open.Receive(), nullptr) != ERROR_SUCCESS) {
    *open.Receive() = nullptr;
    return false;
  }
  return RegSetValueExW(open.Get(), name, 0, type, static_cast<const BYTE*>(data), byteCount) ==
         ERROR_SUCCESS;
}

}  // namespace

OpenKey::~OpenKey() {
  if (key_) {
    RegCloseKey(key_);
  }
}

std::optional<std::u16string> ReadRegistryText(const std::u16string& key, LPCWSTR name) {
  const auto data = ReadValue(key, name, REG_SZ);
  if (!data) {
    return std::nullopt;
  }
  std::u16string text;
  for (size_t i = 0; i + 1 < data->size(); i += 2) {
    const auto unit = static_cast<char16_t>((*data)[i] | (*data)[i + 1] << 8);
    if (unit == 0) {
      break;  // stored with or without its terminator
    }
    text += unit;
  }
  return text;
}

bool WriteRegistryText(const std::u16string& key, LPCWSTR name, const std::u16string& text) {
  return WriteValue(key, name, REG_SZ, text.c_str(),
                    static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
}

DWORD ReadRegistryNumber(const std::u16string& key, LPCWSTR name, DWORD otherwise) {
  const auto data = ReadValue(key, name, REG_DWORD);
  if (!data || data->size() != sizeof(DWORD)) {
    return otherwise;
  }
  return static_cast<DWORD>((*data)[0]) | static_cast<DWORD>((*data)[1]) << 8 |
         static_cast<DWORD>((*data)[2]) << 16 | static_cast<DWORD>((*data)[3]) << 24;
}

bool WriteRegistryNumber(const std::u16string& key, LPCWSTR name, DWORD value) {
  return WriteValue(key, name, REG_DWORD, &value, sizeof value);
}

}  // namespace wkt
