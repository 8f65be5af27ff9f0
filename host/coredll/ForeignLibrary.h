// Libraries that are not shared objects of this machine: true device libraries in the PE format,
// which a program of the device's own machine may load. Who can load them registers here;
// LoadLibraryW, GetProcAddressW and FreeLibrary then take both kinds.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/Kernel.h"

namespace wkt::host {

// A library in memory; gone when destroyed. Loading does not run its entry.
class ForeignLibrary {
 public:
  virtual ~ForeignLibrary() = default;
  // The function that takes DLL_PROCESS_ATTACH and DLL_PROCESS_DETACH.
  [[nodiscard]] virtual DllMainFunction Entry() const = 0;
  // nullptr when the library exports no such name.
  [[nodiscard]] virtual void* Find(const char* name) const = 0;
};

class ForeignLoader {
 public:
  virtual ~ForeignLoader() = default;
  // Judged by the first bytes of a file.
  [[nodiscard]] virtual bool Takes(std::span<const uint8_t> head) const = 0;
  // nullptr when the file, a path of this machine, is damaged or wants what is not there.
  [[nodiscard]] virtual std::unique_ptr<ForeignLibrary> Load(const std::string& path) const = 0;
};

// `loader` stays the caller's and lives as long as the process. Before anything is loaded.
void AddForeignLoader(const ForeignLoader& loader);
// nullptr when no registered loader takes the file.
const ForeignLoader* FindForeignLoader(const std::string& path);

}  // namespace wkt::host
