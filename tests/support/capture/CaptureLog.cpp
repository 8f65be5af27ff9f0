// A logging library that keeps its lines for the test: "level text", ">name" for an enter, "<name"
// for a leave, as UTF-8.
#include <cstdarg>
#include <string>
#include <vector>

#include "platform/LogLibrary.h"
#include "platform/Runtime.h"
#include "tests/support/Text.h"

namespace {

struct Capture {
  std::vector<std::string> lines;
  std::vector<std::string> initCalls;
};

Capture& Kept() {
  static Capture* const kept = new Capture;
  return *kept;
}

std::u16string Formatted(const WCHAR* format, va_list arguments) {
  for (size_t size = 256;; size *= 2) {
    std::u16string buffer(size, u'\0');
    va_list again;
    va_copy(again, arguments);
    const INT length = _vsnwprintf(buffer.data(), size, format, again);
    va_end(again);
    if (length >= 0)
      return buffer.substr(0, static_cast<size_t>(length));
  }
}

}  // namespace

CE_FUNCTIONS_BEGIN

void CEAPI WktLogInit(const WCHAR* moduleName, const WCHAR* logFilePath) {
  Kept().initCalls.push_back(wkt::test::Narrow(moduleName) + " " + wkt::test::Narrow(logFilePath));
}
void CEAPI WktLogExit() {
  Kept().lines.emplace_back("exit");
}
void CEAPI WktLogWrite(DWORD level, const WCHAR* format, va_list arguments) {
  Kept().lines.push_back(std::to_string(level) + " " +
                         wkt::test::Narrow(Formatted(format, arguments)));
}
void CEAPI WktLogWriteEnter(const char* functionName) {
  Kept().lines.push_back(std::string(">") + functionName);
}
void CEAPI WktLogWriteLeave(const char* functionName) {
  Kept().lines.push_back(std::string("<") + functionName);
}
void CEAPI WktLogSetWriteToFile(BOOL on) {
  Kept().lines.push_back("write to file " + std::to_string(on));
}
BOOL CEAPI WktLogGetWriteToFile() {
  return FALSE;
}

size_t CaptureCount(BOOL initCalls) {
  return initCalls ? Kept().initCalls.size() : Kept().lines.size();
}
const char* CaptureLine(BOOL initCalls, size_t index) {
  return (initCalls ? Kept().initCalls : Kept().lines)[index].c_str();
}
void CaptureClear() {
  Kept().lines.clear();
}

CE_FUNCTIONS_END
