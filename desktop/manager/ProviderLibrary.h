// A synchronisation provider as loaded on the device: its registration and its exported functions.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/SyncProvider.h"

namespace wkt {

// A folder (object type) offered below "Windows CE Services\Synchronization\Objects".
struct RegisteredFolder {
  std::u16string name;
  std::u16string store;  // the library's path on the device
};

// In the registry's order; keys without a "Store" value are left out.
std::vector<RegisteredFolder> ReadRegisteredFolders();

struct ProviderExports {
  InitObjTypeFunction initObjType = nullptr;
  ObjectNotifyFunction objectNotify = nullptr;
  GetObjTypeInfoFunction getObjTypeInfo = nullptr;
  ReportStatusFunction reportStatus = nullptr;  // optional
  FindObjectsFunction findObjects = nullptr;    // optional
  SyncDataFunction syncData = nullptr;          // optional
};

// Owns one LoadLibraryW.
class ProviderLibrary {
 public:
  ProviderLibrary() = default;
  ~ProviderLibrary();
  ProviderLibrary(ProviderLibrary&& other) noexcept
      : module_(std::exchange(other.module_, nullptr)),
        exports_(other.exports_),
        path_(std::move(other.path_)) {}
  ProviderLibrary& operator=(ProviderLibrary&&) = delete;

  // Empty on success, else what is wrong, for people.
  [[nodiscard]] std::string Load(const std::u16string& path);
  const ProviderExports& Exports() const { return exports_; }
  const std::u16string& Path() const { return path_; }

 private:
  HMODULE module_ = nullptr;
  ProviderExports exports_;
  std::u16string path_;
};

}  // namespace wkt
