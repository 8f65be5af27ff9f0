#pragma once

#include <cstdarg>

#include "platform/Kernel.h"
#include "platform/LogLibrary.h"

// The logging library as the provider has it: loaded from the device, known by its seven names.
namespace wkt::test {

struct LoadedLog {
  explicit LoadedLog(const char16_t* file) : library(LoadLibraryW(file)) {
    Resolve(u"WktLogInit", init);
    Resolve(u"WktLogExit", exit);
    Resolve(u"WktLogWrite", write);
    Resolve(u"WktLogWriteEnter", enter);
    Resolve(u"WktLogWriteLeave", leave);
    Resolve(u"WktLogSetWriteToFile", setWriteToFile);
    Resolve(u"WktLogGetWriteToFile", getWriteToFile);
  }
  ~LoadedLog() {
    if (library != nullptr)
      FreeLibrary(library);
  }
  LoadedLog(const LoadedLog&) = delete;
  LoadedLog& operator=(const LoadedLog&) = delete;

  void Line(DWORD level, const WCHAR* format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    write(level, format, arguments);
    va_end(arguments);
  }

  HMODULE library;
  WktLogInitFunction init = nullptr;
  WktLogExitFunction exit = nullptr;
  WktLogWriteFunction write = nullptr;
  WktLogWriteEnterFunction enter = nullptr;
  WktLogWriteLeaveFunction leave = nullptr;
  WktLogSetWriteToFileFunction setWriteToFile = nullptr;
  WktLogGetWriteToFileFunction getWriteToFile = nullptr;

 private:
  template <class Function>
  void Resolve(const char16_t* name, Function& function) {
    function = reinterpret_cast<Function>(GetProcAddressW(library, name));
  }
};

}  // namespace wkt::test
