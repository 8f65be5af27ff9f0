// Libraries of the device: ELF libraries that lie at device paths under their Windows names.
#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/ElfCheck.h"
#include "host/coredll/ForeignLibrary.h"
#include "host/coredll/Paths.h"
#include "host/coredll/StoreMounts.h"
#include "host/coredll/Text.h"
#include "platform/Kernel.h"

namespace wkt::host {

namespace {

struct Module {
  HMODULE handle;
  dev_t fileSystem;
  ino_t file;
  void* library;  // the machine loader's, nullptr when foreign
  std::unique_ptr<ForeignLibrary> foreign;
  uint32_t loads = 1;
};

struct Loader {
  // One thread loads at a time; DllMain may load and free again.
  std::recursive_mutex lock;
  std::list<Module> modules;  // in the order of loading
  uint32_t lastHandle = 0;
};

Loader& TheLoader() {
  // Never destroyed: libraries may free each other while the process ends.
  static auto* loader = new Loader;
  return *loader;
}

constexpr size_t kMaxNameUnits = 260;

// Where a bare name is looked for, in this order.
constexpr std::u16string_view kSearchFolders[] = {u"\\Windows\\", u"\\"};

std::optional<DevicePath> FindLibrary(std::u16string name) {
  const bool bare = name.find(u'\\') == std::u16string::npos;
  if (name.find(u'.', name.rfind(u'\\') + 1) == std::u16string::npos)
    name += u".dll";
  for (const std::u16string_view folder : kSearchFolders) {
    const std::u16string candidate = bare ? std::u16string(folder) + name : name;
    DevicePath path = ResolvePath(candidate.c_str());
    if (path.problem == ERROR_SUCCESS && path.exists && !path.IsFolder())
      return path;
    if (!bare)
      break;
  }
  return std::nullopt;
}

BOOL CallDllMain(const Module& module, DWORD reason) {
  const auto dllMain = module.foreign != nullptr
                           ? module.foreign->Entry()
                           : reinterpret_cast<DllMainFunction>(dlsym(module.library, "DllMain"));
  return dllMain == nullptr ? TRUE : dllMain(module.handle, reason, nullptr);
}

// A module's own symbols only: the machine's loader would also search the libraries it needs.
void* OwnSymbol(const Module& module, const char* name) {
  if (module.foreign != nullptr)
    return module.foreign->Find(name);
  void* symbol = dlsym(module.library, name);
  Dl_info info = {};
  link_map* owner = nullptr;
  if (symbol == nullptr ||
      dladdr1(symbol, &info, reinterpret_cast<void**>(&owner), RTLD_DL_LINKMAP) == 0 ||
      owner != static_cast<link_map*>(module.library))
    return nullptr;
  return symbol;
}

Module* FindModule(Loader& loader, HMODULE handle) {
  const auto found = std::find_if(loader.modules.begin(), loader.modules.end(),
                                  [&](const Module& module) { return module.handle == handle; });
  return found != loader.modules.end() ? &*found : nullptr;
}

HMODULE FailLoading(LONG problem) {
  SetError(static_cast<uint32_t>(problem));
  return nullptr;
}

// Maps the library; on failure neither kind is set and the result is the error.
LONG Map(const DevicePath& path, Module& module) {
  if (IsMountedVolume(path))
    return ERROR_BAD_EXE_FORMAT;
  if (const ForeignLoader* foreign = FindForeignLoader(path.machinePath)) {
    module.foreign = foreign->Load(path.machinePath);
    return module.foreign != nullptr ? ERROR_SUCCESS : ERROR_BAD_EXE_FORMAT;
  }
  if (!IsLoadable(path.machinePath))
    return ERROR_BAD_EXE_FORMAT;
  module.library = dlopen(path.machinePath.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module.library != nullptr)
    return ERROR_SUCCESS;
  // The code is the same for all reasons; the machine's loader knows more.
  ReportOnce(dlerror());
  return ERROR_MOD_NOT_FOUND;
}

void Unmap(Loader& loader, HMODULE handle) {
  const auto found = std::find_if(loader.modules.begin(), loader.modules.end(),
                                  [&](const Module& module) { return module.handle == handle; });
  void* library = found->library;
  loader.modules.erase(found);
  if (library != nullptr)
    dlclose(library);
}

HMODULE LoadNew(Loader& loader, const DevicePath& path) {
  Module module = {};
  module.fileSystem = path.info.st_dev;
  module.file = path.info.st_ino;
  if (const LONG problem = Map(path, module); problem != ERROR_SUCCESS)
    return FailLoading(problem);
  // Above all object handles.
  const auto handle =
      reinterpret_cast<HMODULE>(uintptr_t{0x40000000u + (++loader.lastHandle << 2)});
  module.handle = handle;
  loader.modules.push_back(std::move(module));
  // In its place of the list, which stays where it is while the attach loads others.
  if (CallDllMain(loader.modules.back(), DLL_PROCESS_ATTACH) != FALSE)
    return handle;
  Unmap(loader, handle);
  return FailLoading(ERROR_DLL_INIT_FAILED);
}

HMODULE Load(LPCWSTR fileName) {
  const auto name = fileName != nullptr ? BoundedText(fileName, kMaxNameUnits) : std::nullopt;
  if (!name || name->empty())
    return FailLoading(ERROR_MOD_NOT_FOUND);
  Loader& loader = TheLoader();
  const std::lock_guard guard(loader.lock);
  const std::optional<DevicePath> path = FindLibrary(std::u16string(*name));
  if (!path)
    return FailLoading(ERROR_MOD_NOT_FOUND);
  for (Module& module : loader.modules) {
    if (module.fileSystem == path->info.st_dev && module.file == path->info.st_ino) {
      ++module.loads;
      return module.handle;
    }
  }
  return LoadNew(loader, *path);
}

BOOL Free(HMODULE handle) {
  Loader& loader = TheLoader();
  const std::lock_guard guard(loader.lock);
  Module* module = FindModule(loader, handle);
  if (module == nullptr) {
    SetError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (--module->loads > 0)
    return TRUE;
  CallDllMain(*module, DLL_PROCESS_DETACH);
  Unmap(loader, handle);
  return TRUE;
}

FARPROC Find(HMODULE handle, LPCWSTR name) {
  Loader& loader = TheLoader();
  const std::lock_guard guard(loader.lock);
  const Module* module = FindModule(loader, handle);
  if (module == nullptr) {
    SetError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  // Below 64 K stands an ordinal instead of a name; our libraries export by name.
  const bool isName = reinterpret_cast<uintptr_t>(name) >= 0x10000;
  const auto text = isName ? BoundedText(name, kMaxNameUnits) : std::nullopt;
  void* symbol = text && !text->empty() ? OwnSymbol(*module, ToUtf8(*text).c_str()) : nullptr;
  if (symbol == nullptr)
    SetError(ERROR_PROC_NOT_FOUND);
  return reinterpret_cast<FARPROC>(symbol);
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

HMODULE CEAPI LoadLibraryW(LPCWSTR fileName) {
  return HookedCall(
      "LoadLibraryW", HMODULE{nullptr}, [&] { return Load(fileName); }, fileName);
}

BOOL CEAPI FreeLibrary(HMODULE module) {
  return HookedCall(
      "FreeLibrary", FALSE, [&] { return Free(module); }, module);
}

FARPROC CEAPI GetProcAddressW(HMODULE module, LPCWSTR name) {
  return HookedCall(
      "GetProcAddressW", FARPROC{nullptr}, [&] { return Find(module, name); }, module, name);
}
