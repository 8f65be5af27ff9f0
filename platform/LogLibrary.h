// The seven functions of an optional logging library, found by name. Formats are the wide printf
// ones of Runtime.h.
#pragma once

#include <cstdarg>

#include "platform/Types.h"

// Once after loading: who logs, and the file to log to (device path).
using WktLogInitFunction = void(CEAPI*)(const WCHAR* moduleName, const WCHAR* logFilePath);
// No further line will come.
using WktLogExitFunction = void(CEAPI*)();
// One formatted line; `level` is a single bit.
using WktLogWriteFunction = void(CEAPI*)(DWORD level, const WCHAR* format, va_list args);
// Start and end of a function, by its qualified name.
using WktLogWriteEnterFunction = void(CEAPI*)(const char* functionName);
using WktLogWriteLeaveFunction = void(CEAPI*)(const char* functionName);
// Whether lines go to the file.
using WktLogSetWriteToFileFunction = void(CEAPI*)(BOOL enabled);
using WktLogGetWriteToFileFunction = BOOL(CEAPI*)();
