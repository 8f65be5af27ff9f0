#pragma once

#include <cstdarg>
#include <cstddef>

#include "platform/Types.h"

namespace wktlog {

// One line of the log as UTF-8, put together in one block so that it can be written at once. What
// does not fit is cut and marked; without memory the line is short.
class LogLine {
 public:
  LogLine() = default;
  ~LogLine();
  LogLine(const LogLine&) = delete;
  LogLine& operator=(const LogLine&) = delete;

  // "2026-03-02 09:00:00.000   256 ": the device's own clock, the level, then two blanks for each
  // step of depth.
  void Begin(DWORD level, int32_t depth);
  void Add(const char* narrow);
  void AddNumber(DWORD number);
  void AddFormatted(const WCHAR* format, va_list arguments);
  void End();

  [[nodiscard]] const char* Bytes() const { return bytes; }
  [[nodiscard]] DWORD ByteCount() const { return static_cast<DWORD>(used); }

 private:
  // Longest start of a line: time, level and the deepest indentation.
  static constexpr size_t kInlineBytes = 1024;

  [[nodiscard]] bool Reserve(size_t more);
  void Put(char byte);
  void AddUnits(const WCHAR* units, size_t unitCount);
  void AddCharacter(uint32_t code);

  char inlineBytes[kInlineBytes];
  char* bytes = inlineBytes;
  size_t capacity = kInlineBytes;
  size_t used = 0;
};

}  // namespace wktlog
