#include "WktDevLog/LogText.h"

#include <cstring>

#include "platform/Kernel.h"
#include "platform/Runtime.h"
#include "platform/Time.h"

namespace wktlog {
namespace {

constexpr size_t kFirstUnits = 256;
// Longest text of a line in UTF-16 units; more is cut.
constexpr size_t kMaxUnits = 16384;
constexpr size_t kStartUnits = 64;
constexpr int32_t kDeepestIndent = 40;
constexpr uint32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(uint32_t unit) {
  return (unit & 0xFC00) == 0xD800;
}
bool IsLowSurrogate(uint32_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

}  // namespace

LogLine::~LogLine() {
  if (bytes != inlineBytes)
    LocalFree(bytes);
}

// One byte stays free for the line feed that ends the line, so that it always has one.
bool LogLine::Reserve(size_t more) {
  if (used + more < capacity)
    return true;
  const size_t wanted = (used + more + 1) * 2;
  char* const grown = static_cast<char*>(LocalAlloc(LMEM_FIXED, static_cast<UINT>(wanted)));
  if (!grown)
    return false;
  std::memcpy(grown, bytes, used);
  if (bytes != inlineBytes)
    LocalFree(bytes);
  bytes = grown;
  capacity = wanted;
  return true;
}

void LogLine::Put(char byte) {
  if (Reserve(1))
    bytes[used++] = byte;
}

// One call is one line, so a control character shows as "\n", "\r", "\t" or "\x1B".
void LogLine::AddCharacter(uint32_t code) {
  constexpr char kHexDigits[] = "0123456789ABCDEF";
  if (code >= 0x20 && code < 0x7F) {
    Put(static_cast<char>(code));
  } else if (code < 0x20 || code == 0x7F) {
    const char letter = code == '\n' ? 'n' : code == '\r' ? 'r' : code == '\t' ? 't' : 'x';
    Put('\\');
    Put(letter);
    if (letter != 'x')
      return;
    Put(kHexDigits[code >> 4]);
    Put(kHexDigits[code & 0xF]);
  } else if (Reserve(4)) {  // never a part of a character
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    const uint32_t lead = more == 1 ? 0xC0 : more == 2 ? 0xE0 : 0xF0;
    Put(static_cast<char>(lead | code >> (6 * more)));
    for (int k = more - 1; k >= 0; --k)
      Put(static_cast<char>(0x80 | (code >> (6 * k) & 0x3F)));
  }
}

void LogLine::AddUnits(const WCHAR* units, size_t unitCount) {
  for (size_t i = 0; i < unitCount; ++i) {
    uint32_t code = units[i];
    if (IsHighSurrogate(code) && i + 1 < unitCount && IsLowSurrogate(units[i + 1])) {
      code = 0x10000 + ((code - 0xD800) << 10) + (units[++i] - 0xDC00u);
    } else if (IsHighSurrogate(code) || IsLowSurrogate(code)) {
      code = kReplacement;
    }
    AddCharacter(code);
  }
}

void LogLine::Begin(DWORD level, int32_t depth) {
  SYSTEMTIME now;
  GetLocalTime(&now);
  WCHAR start[kStartUnits];
  const INT unitCount = _snwprintf(start, kStartUnits, u"%04d-%02d-%02d %02d:%02d:%02d.%03d %5lu ",
                                   now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
                                   now.wSecond, now.wMilliseconds, level);
  if (unitCount > 0)
    AddUnits(start, static_cast<size_t>(unitCount));
  const int32_t indent = depth < kDeepestIndent ? depth : kDeepestIndent;
  for (int32_t i = 0; i < indent; ++i)
    Add("  ");
}

void LogLine::Add(const char* narrow) {
  // Function names are ASCII; whatever else stands there is shown byte by byte.
  for (; *narrow; ++narrow)
    AddCharacter(static_cast<unsigned char>(*narrow));
}

void LogLine::AddNumber(DWORD number) {
  if (number >= 10)
    AddNumber(number / 10);
  Put(static_cast<char>('0' + number % 10));
}

void LogLine::AddFormatted(const WCHAR* format, va_list arguments) {
  WCHAR few[kFirstUnits];
  WCHAR* units = few;
  size_t capacityUnits = kFirstUnits;
  INT unitCount = -1;
  for (;;) {
    va_list again;
    va_copy(again, arguments);
    unitCount = _vsnwprintf(units, capacityUnits, format, again);
    va_end(again);
    if (unitCount >= 0 || capacityUnits >= kMaxUnits)
      break;
    const size_t wanted = capacityUnits * 4;
    WCHAR* const more =
        static_cast<WCHAR*>(LocalAlloc(LMEM_FIXED, static_cast<UINT>(wanted * sizeof(WCHAR))));
    if (!more)
      break;
    if (units != few)
      LocalFree(units);
    units = more;
    capacityUnits = wanted;
  }
  AddUnits(units, unitCount >= 0 ? static_cast<size_t>(unitCount) : capacityUnits);
  if (unitCount < 0)
    Add("...");
  if (units != few)
    LocalFree(units);
}

void LogLine::End() {
  bytes[used++] = '\n';
}

}  // namespace wktlog
