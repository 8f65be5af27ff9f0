#include "desktop/manager/ProviderLibrary.h"

#include "desktop/manager/RegistryText.h"
#include "desktop/manager/Trace.h"
#include "platform/Kernel.h"

namespace wkt {

namespace {

template <typename Function>
void Resolve(HMODULE module, LPCWSTR name, Function* function) {
  *function = reinterpret_cast<Function>(GetProcAddressW(module, name));
}

}  // namespace

std::vector<RegisteredFolder> ReadRegisteredFolders() {
  std::vector<RegisteredFolder> folders;
  OpenKey objects;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kObjectsKey, 0, KEY_READ, objects.Receive()) !=
      ERROR_SUCCESS) {
    *objects.Receive() = nullptr;
    return folders;
  }
  for (DWORD index = 0;; ++index) {
    WCHAR name[256] = {};
    DWORD nameSize = 256;
    if (RegEnumKeyExW(objects.Get(), index, name, &nameSize, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return folders;
    }
    const std::u16string key = std::u16string(kObjectsKey) + u"\\" + name;
    if (auto store = ReadRegistryText(key, u"Store"); store && !store->empty()) {
      folders.push_back({name, std::move(*store)});
    }
  }
}

ProviderLibrary::~ProviderLibrary() {
  if (module_) {
    FreeLibrary(module_);
  }
}

std::string ProviderLibrary::Load(const std::u16string& path) {
  path_ = path;
  module_ = LoadLibraryW(path.c_str());
  if (!module_) {
    return "the device cannot load " + ToUtf8(path) + " (error " + std::to_string(GetLastError()) +
           "); install the libraries again";
  }
  Resolve(module_, u"InitObjType", &exports_.initObjType);
  Resolve(module_, u"ObjectNotify", &exports_.objectNotify);
  Resolve(module_, u"GetObjTypeInfo", &exports_.getObjTypeInfo);
  Resolve(module_, u"ReportStatus", &exports_.reportStatus);
  Resolve(module_, u"FindObjects", &exports_.findObjects);
  Resolve(module_, u"SyncData", &exports_.syncData);
  if (!exports_.initObjType || !exports_.objectNotify || !exports_.getObjTypeInfo) {
    return ToUtf8(path) +
           " is no synchronisation provider: InitObjType, ObjectNotify or GetObjTypeInfo is "
           "missing";
  }
  return "";
}

}  // namespace wkt
