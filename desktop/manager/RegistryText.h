// Texts in the device's registry, as the service manager keeps and reads them.
#pragma once

#include <optional>
#include <string>

#include "platform/Registry.h"

namespace wkt {

inline constexpr WCHAR kObjectsKey[] = u"Windows CE Services\\Synchronization\\Objects";
inline constexpr WCHAR kSynchronizationKey[] = u"Windows CE Services\\Synchronization";
inline constexpr WCHAR kPartnersKey[] = u"Windows CE Services\\Partners";

// Owns an open key; closes it.
class OpenKey {
 public:
  explicit OpenKey(HKEY key = nullptr) : key_(key) {}
  ~OpenKey();
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;
  HKEY Get() const { return key_; }
  HKEY* Receive() { return &key_; }
  explicit operator bool() const { return key_ != nullptr; }

 private:
  HKEY key_;
};

// Below HKEY_LOCAL_MACHINE. Nothing when key or value is missing or is no text.
std::optional<std::u16string> ReadRegistryText(const std::u16string& key, LPCWSTR name);
bool WriteRegistryText(const std::u16string& key, LPCWSTR name, const std::u16string& text);
DWORD ReadRegistryNumber(const std::u16string& key, LPCWSTR name, DWORD otherwise);
bool WriteRegistryNumber(const std::u16string& key, LPCWSTR name, DWORD value);

}  // namespace wkt
