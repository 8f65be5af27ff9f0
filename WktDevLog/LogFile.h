#pragma once

#include "platform/Files.h"
#include "platform/Types.h"

namespace wktlog {

// The log file and its older brother, shared by all processes that log: each line is written whole
// under a mutex that the device knows by name, and the file is opened for it alone, so that any
// process may put the full file aside. Module state; one thread.
struct LogFile {
  WCHAR path[MAX_PATH];
  WCHAR olderPath[MAX_PATH];
  HANDLE mutex;     // null: lines are written without it
  DWORD sizeLimit;  // bytes
  // Lost since the last notice: another process held the log; the file could not be written.
  DWORD linesLost;
  DWORD linesUnwritten;
  BOOL tailUnknown;  // the file may end in a half line: of a killed process, or of a full disk
};

// False when the path does not fit.
[[nodiscard]] bool OpenLogFile(LogFile& file, const WCHAR* path, DWORD sizeLimit);
// `line` ends in a line feed.
void AppendLine(LogFile& file, const char* line, DWORD byteCount);
void CloseLogFile(LogFile& file);

}  // namespace wktlog
