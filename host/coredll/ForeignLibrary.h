// Libraries that are not shared objects of this machine: true device libraries in the PE format,
// which a program of the device's own machine may load. Who can load them registers here;
// LoadLibraryW, GetProcAddressW, FreeLibrary and the version functions then take both kinds.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

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
  // The version resource, empty when the file has none.
  [[nodiscard]] virtual std::vector<uint8_t> Version(const std::string& path) const = 0;
};

// `loader` stays the caller's and lives as long as the process; nullptr takes it back.
void SetForeignLoader(const ForeignLoader* loader);
// nullptr when no loader is registered or it does not take the file.
const ForeignLoader* FindForeignLoader(const std::string& path);

}  // namespace wkt::host
