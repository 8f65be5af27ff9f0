#pragma once

#include <type_traits>

#include "platform/LogLibrary.h"
#include "platform/Types.h"

// The facade in front of the logging library, which is loaded at run time and may be absent: then a
// call costs one pointer test, formats nothing and allocates nothing. The formats are those of the
// platform: %s takes a wide text, %d, %ld and %lu take 32 bits.

namespace wkt {

// Single bits; the logging library decides what it writes.
constexpr DWORD kLogInput = 4;
constexpr DWORD kLogResult = 8;
constexpr DWORD kLogInconsistency = 16;
constexpr DWORD kLogFailure = 32;
constexpr DWORD kLogWarning = 128;
constexpr DWORD kLogProgress = 256;
constexpr DWORD kLogDetail = 512;
constexpr DWORD kLogModule = 1024;

// What the logging library exports, null until it is loaded and where it lacks a name. Written once
// at attach, before anything else runs, and only read afterwards.
struct LogState {
  HMODULE logLibrary;
  WktLogInitFunction init;
  WktLogExitFunction exit;
  WktLogWriteFunction write;
  WktLogWriteEnterFunction writeEnter;
  WktLogWriteLeaveFunction writeLeave;
  WktLogSetWriteToFileFunction setWriteToFile;
  WktLogGetWriteToFileFunction getWriteToFile;
};
extern LogState logState;

// Does anybody listen? Texts made only for the log need not be made otherwise.
[[nodiscard]] inline bool IsLogging() {
  return logState.write != nullptr;
}

// Would any call of the facade reach the library? Unlike a line, what is entered and left shows
// even where the library cannot write lines.
[[nodiscard]] inline bool IsHeard() {
  return logState.write || logState.writeEnter || logState.writeLeave;
}

// Pointers and handles are logged as the 32 bits they have on a device.
[[nodiscard]] inline DWORD LogValue(const void* pointer) {
  return static_cast<DWORD>(reinterpret_cast<uintptr_t>(pointer));
}

// Hands a line to the library. Called only while it is loaded.
void PassToLog(DWORD level, const WCHAR* format, ...);

// 32-bit numbers and wide texts are all that passes alike through every device's calling
// convention.
template <class T>
inline constexpr bool kIsLogArgument =
    (std::is_integral_v<T> && sizeof(T) <= 4) ||
    (std::is_pointer_v<T> && std::is_same_v<std::remove_cv_t<std::remove_pointer_t<T>>, WCHAR>);

}  // namespace wkt

// Made where a line is written. Source file and line number are taken and not kept.
struct LogPosition {
  const char* functionName;
  DWORD level;
};

// Loads "WktDevLog.dll" from the installation folder and hands it the two texts.
void StartLogging(const WCHAR* moduleName, const WCHAR* logFilePath);

inline void LogEnter(const char* functionName) {
  if (wkt::logState.writeEnter)
    wkt::logState.writeEnter(functionName);
}

inline void LogLeave(const char* functionName) {
  if (wkt::logState.writeLeave)
    wkt::logState.writeLeave(functionName);
}

inline void MakeLogPosition(LogPosition& position, const char* /*sourceFile*/,
                            const char* functionName, int /*line*/, DWORD level) {
  position.functionName = functionName;
  position.level = level;
  // Kept: making a position forgets the library's handle; nothing needs it any more.
  wkt::logState.logLibrary = nullptr;
}

// Kept: the position's own level is not looked at.
template <class... Arguments>
inline void LogWrite(const LogPosition& /*position*/, DWORD level, const WCHAR* format,
                     Arguments... arguments) {
  static_assert((wkt::kIsLogArgument<Arguments> && ...), "32-bit numbers and wide texts only");
  if (wkt::logState.write)
    wkt::PassToLog(level, format, arguments...);
}

template <class... Arguments>
inline void LogWriteAtPosition(const LogPosition& position, const WCHAR* format,
                               Arguments... arguments) {
  LogWrite(position, position.level, format, arguments...);
}

namespace wkt {

// The lines of one operation: enter when made, leave when it goes out of scope. `Result...` writes
// the result line and hands the value back; what writes lines on its way out has to be gone before.
class LogScope {
 public:
  explicit LogScope(const char* functionName, const char* sourceFile = __builtin_FILE(),
                    int line = __builtin_LINE()) {
    LogEnter(functionName);
    MakeLogPosition(position, sourceFile, functionName, line, kLogProgress);
  }
  ~LogScope() { LogLeave(position.functionName); }
  LogScope(const LogScope&) = delete;
  LogScope& operator=(const LogScope&) = delete;

  template <class... Arguments>
  void Write(DWORD level, const WCHAR* format, Arguments... arguments) const {
    LogWrite(position, level, format, arguments...);
  }

  HRESULT Result(HRESULT value) const {
    Write(kLogResult, u"Result (HRESULT) = %ld", value);
    return value;
  }
  BOOL ResultBOOL(BOOL value) const {
    Write(kLogResult, u"Result (BOOL) = %d", value);
    return value;
  }
  // For operations whose line says "bool", whatever they return.
  BOOL ResultBool(BOOL value) const {
    Write(kLogResult, u"Result (bool) = %ld", value);
    return value;
  }
  DWORD ResultCeoid(DWORD value) const {
    Write(kLogResult, u"Result (CEOID) = %ld", value);
    return value;
  }

 private:
  LogPosition position;
};

}  // namespace wkt
