// A logging library for daily use: one line per call in a text file, with time and level, indented
// by the depth of the functions that announced themselves. Called by one thread of its process.
#include "WktDevLog/LogFile.h"
#include "WktDevLog/LogSettings.h"
#include "WktDevLog/LogText.h"
#include "platform/LogLibrary.h"

namespace {

// Enter and leave lines have no level of their own; these two bits below the callers' levels let
// the filter drop them.
constexpr DWORD kEnterLevel = 1;
constexpr DWORD kLeaveLevel = 2;

wktlog::LogFile logFile;
wktlog::LogSettings settings;
bool isOpen = false;
int32_t depth = 0;

bool IsWanted(DWORD level) {
  return isOpen && settings.writeToFile && (settings.levels & level);
}

void Write(wktlog::LogLine& line) {
  line.End();
  wktlog::AppendLine(logFile, line.Bytes(), line.ByteCount());
}

void WriteMarked(DWORD level, const char* mark, const char* functionName) {
  if (!IsWanted(level))
    return;
  wktlog::LogLine line;
  line.Begin(level, depth);
  line.Add(mark);
  line.Add(functionName ? functionName : "?");
  Write(line);
}

}  // namespace

CE_FUNCTIONS_BEGIN

// Nothing to set up or to give back: what the library holds goes with its process.
BOOL CEAPI DllMain(HANDLE /*instance*/, DWORD /*reason*/, LPVOID /*reserved*/) {
  return TRUE;
}

void CEAPI WktLogInit(const WCHAR* /*moduleName*/, const WCHAR* logFilePath) {
  settings = wktlog::ReadLogSettings();
  depth = 0;
  isOpen = wktlog::OpenLogFile(logFile, logFilePath, settings.sizeLimit);
}

void CEAPI WktLogExit() {
  isOpen = false;
  wktlog::CloseLogFile(logFile);
}

void CEAPI WktLogWrite(DWORD level, const WCHAR* format, va_list arguments) {
  if (!IsWanted(level) || !format)
    return;
  wktlog::LogLine line;
  line.Begin(level, depth);
  line.AddFormatted(format, arguments);
  Write(line);
}

void CEAPI WktLogWriteEnter(const char* functionName) {
  WriteMarked(kEnterLevel, "> ", functionName);
  ++depth;
}

void CEAPI WktLogWriteLeave(const char* functionName) {
  // A function that was entered before the library was loaded leaves at depth 0.
  if (depth > 0)
    --depth;
  WriteMarked(kLeaveLevel, "< ", functionName);
}

void CEAPI WktLogSetWriteToFile(BOOL enabled) {
  settings.writeToFile = enabled ? TRUE : FALSE;
  wktlog::StoreWriteToFile(settings.writeToFile);
}

// Before WktLogInit, and after WktLogExit, what the next WktLogInit will find.
BOOL CEAPI WktLogGetWriteToFile() {
  return isOpen ? settings.writeToFile : wktlog::ReadLogSettings().writeToFile;
}

CE_FUNCTIONS_END
