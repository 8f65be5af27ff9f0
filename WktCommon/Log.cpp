#include "WktCommon/Log.h"

#include <cstdarg>

#include "WktCommon/RegistryKey.h"
#include "WktCommon/WideString.h"
#include "platform/Kernel.h"

namespace {

constexpr WCHAR kLogLibraryFile[] = u"WktDevLog.dll";

template <class Function>
void Resolve(HMODULE library, const WCHAR* name, Function& function) {
  function = reinterpret_cast<Function>(GetProcAddressW(library, name));
}

}  // namespace

namespace wkt {

LogState logState = {};

void PassToLog(DWORD level, const WCHAR* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logState.write(level, format, arguments);
  va_end(arguments);
}

}  // namespace wkt

void StartLogging(const WCHAR* moduleName, const WCHAR* logFilePath) {
  WideString file = GetInstallPath();
  file.Append(kLogLibraryFile);
  wkt::LogState& state = wkt::logState;
  state.logLibrary = LoadLibraryW(file.c_str());
  // An absent library, and below an absent name, means: those calls do nothing.
  if (!state.logLibrary)
    return;
  Resolve(state.logLibrary, u"WktLogInit", state.init);
  Resolve(state.logLibrary, u"WktLogExit", state.exit);
  Resolve(state.logLibrary, u"WktLogWrite", state.write);
  Resolve(state.logLibrary, u"WktLogWriteEnter", state.writeEnter);
  Resolve(state.logLibrary, u"WktLogWriteLeave", state.writeLeave);
  Resolve(state.logLibrary, u"WktLogSetWriteToFile", state.setWriteToFile);
  Resolve(state.logLibrary, u"WktLogGetWriteToFile", state.getWriteToFile);
  if (state.init)
    state.init(moduleName, logFilePath);
}
