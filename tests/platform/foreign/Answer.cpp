#include "tests/platform/foreign/Answer.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tests/platform/foreign/AnswerText.h"

namespace wkt::foreign {

namespace {

constexpr char kUnterminated[] = " unterminated";

WORD TakeWord(Reader& reader) {
  return static_cast<WORD>(reader.Number());
}

uint64_t TicksOf(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

// ticks year month day hour minute second milliseconds
std::string AnswerTicks(Reader& reader) {
  SYSTEMTIME time = {};
  time.wYear = TakeWord(reader);
  time.wMonth = TakeWord(reader);
  time.wDay = TakeWord(reader);
  time.wHour = TakeWord(reader);
  time.wMinute = TakeWord(reader);
  time.wSecond = TakeWord(reader);
  time.wMilliseconds = TakeWord(reader);
  FILETIME ticks = {};
  SetLastError(0);
  if (SystemTimeToFileTime(&time, &ticks) == 0)
    return "error " + std::to_string(GetLastError());
  return std::to_string(TicksOf(ticks));
}

// calendar ticks
std::string AnswerCalendar(Reader& reader) {
  const uint64_t ticks = strtoull(reader.Word().c_str(), nullptr, 10);
  const FILETIME given = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME time = {};
  SetLastError(0);
  if (FileTimeToSystemTime(&given, &time) == 0)
    return "error " + std::to_string(GetLastError());
  char text[64];
  snprintf(text, sizeof(text), "%u-%u-%u %u %u:%u:%u.%u", time.wYear, time.wMonth, time.wDay,
           time.wDayOfWeek, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
  return text;
}

std::string TextOrError(int written, const Unit* buffer) {
  if (written == 0)
    return "error " + std::to_string(GetLastError());
  return std::to_string(written) + " " + Encode(buffer, static_cast<size_t>(written) - 1);
}

// date flags size year-month-day picture
std::string AnswerDate(Reader& reader) {
  const auto flags = static_cast<DWORD>(reader.Number());
  const auto size = static_cast<int>(reader.Number());
  SYSTEMTIME time = {};
  time.wYear = TakeWord(reader);
  time.wMonth = TakeWord(reader);
  time.wDay = TakeWord(reader);
  Unit buffer[256] = {};
  SetLastError(0);
  return TextOrError(GetDateFormatW(LOCALE_USER_DEFAULT, flags, &time,
                                    Decode(reader.Rest()).c_str(), buffer, size),
                     buffer);
}

// time flags size hour minute second picture, or "-" for the user's own
std::string AnswerTime(Reader& reader) {
  const auto flags = static_cast<DWORD>(reader.Number());
  const auto size = static_cast<int>(reader.Number());
  SYSTEMTIME time = {};
  time.wYear = 2026;
  time.wMonth = 3;
  time.wDay = 2;
  time.wHour = TakeWord(reader);
  time.wMinute = TakeWord(reader);
  time.wSecond = TakeWord(reader);
  const Text picture = Decode(reader.Rest());
  Unit buffer[256] = {};
  SetLastError(0);
  return TextOrError(GetTimeFormatW(LOCALE_USER_DEFAULT, flags, &time,
                                    reader.Rest() == "-" ? nullptr : picture.c_str(), buffer, size),
                     buffer);
}

SYSTEMTIME TakeRule(Reader& reader) {
  SYSTEMTIME rule = {};
  rule.wYear = TakeWord(reader);
  rule.wMonth = TakeWord(reader);
  rule.wDayOfWeek = TakeWord(reader);
  rule.wDay = TakeWord(reader);
  rule.wHour = TakeWord(reader);
  return rule;
}

// The local time of an instant in a zone.
SYSTEMTIME LocalTime(TIME_ZONE_INFORMATION& zone, const FILETIME& utc) {
  SYSTEMTIME local = {};
#ifdef _WIN32
  SYSTEMTIME calendar = {};
  FileTimeToSystemTime(&utc, &calendar);
  SystemTimeToTzSpecificLocalTime(&zone, &calendar, &local);
#else
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Time", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                      nullptr) != ERROR_SUCCESS)
    return local;
  RegSetValueExW(key, u"TimeZoneInformation", 0, REG_BINARY, reinterpret_cast<BYTE*>(&zone),
                 sizeof(zone));
  RegCloseKey(key);
  SetDeviceClock(TicksOf(utc));
  GetLocalTime(&local);
#endif
  return local;
}

// local ticks bias standardBias daylightBias, and two rules of year month weekday week hour:
// standard, daylight
std::string AnswerLocal(Reader& reader) {
  const uint64_t ticks = strtoull(reader.Word().c_str(), nullptr, 10);
  TIME_ZONE_INFORMATION zone = {};
  zone.Bias = static_cast<LONG>(reader.Number());
  zone.StandardBias = static_cast<LONG>(reader.Number());
  zone.DaylightBias = static_cast<LONG>(reader.Number());
  zone.StandardDate = TakeRule(reader);
  zone.DaylightDate = TakeRule(reader);
  const SYSTEMTIME local =
      LocalTime(zone, {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)});
  char text[64];
  snprintf(text, sizeof(text), "%u-%u-%u %u:%02u:%02u", local.wYear, local.wMonth, local.wDay,
           local.wHour, local.wMinute, local.wSecond);
  return text;
}

// itow value radix
std::string AnswerItow(Reader& reader) {
  const auto value = static_cast<int>(reader.Number());
  Unit buffer[64] = {};
  _itow(value, buffer, static_cast<int>(reader.Number()));
  return Encode(buffer, Text(buffer).size());
}

// wtol text
std::string AnswerWtol(Reader& reader) {
  return std::to_string(static_cast<int32_t>(_wtol(Decode(reader.Rest()).c_str())));
}

double ReadDouble(const Unit* text, Unit** end) {
#ifdef _WIN32
  // The compiler's library has one of its own; the system's is asked.
  static const auto read = reinterpret_cast<double (*)(const Unit*, Unit**)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("msvcrt.dll"), "wcstod")));
  return read(text, end);
#else
  return wcstod(text, end);
#endif
}

// wcstod text: the value's bits and the number of units used
std::string AnswerWcstod(Reader& reader) {
  const Text text = Decode(reader.Rest());
  Unit* end = nullptr;
  const double value = ReadDouble(text.c_str(), &end);
  uint64_t bits = 0;
  memcpy(&bits, &value, sizeof(bits));
  char answer[40];
  snprintf(answer, sizeof(answer), "%08lX%08lX %d", static_cast<unsigned long>(bits >> 32),
           static_cast<unsigned long>(bits & 0xFFFFFFFF), static_cast<int>(end - text.c_str()));
  return answer;
}

// class first last: the classes of units, as hexadecimal digits
std::string AnswerClass(Reader& reader) {
  const auto first = static_cast<unsigned>(reader.Number());
  const auto last = static_cast<unsigned>(reader.Number());
  std::string answer;
  for (unsigned unit = first; unit <= last; ++unit) {
    unsigned classes = 0;
    for (unsigned bit = 1; bit <= 0x100; bit <<= 1) {
      if (iswctype(static_cast<Unit>(unit), static_cast<WORD>(bit)) != 0)
        classes |= bit;
    }
    char digits[8];
    snprintf(digits, sizeof(digits), "%s%X", answer.empty() ? "" : " ", classes);
    answer += digits;
  }
  return answer;
}

// What a formatting call stored: its result, the text, and whether a terminator stands behind it.
template <typename... Values>
std::string Print(size_t room, const Text& format, Values... values) {
  Unit buffer[300];
  for (Unit& unit : buffer)
    unit = Unit{'#'};
  if (room >= std::size(buffer))
    return "?";
  const int stored = _snwprintf(buffer, room, format.c_str(), values...);
  size_t length = 0;
  while (length < room && buffer[length] != 0)
    ++length;
  const bool terminated = length < room;
  return (stored < 0 ? "negative" : std::to_string(stored)) + " " + Encode(buffer, length) +
         (terminated ? "" : kUnterminated) + (buffer[room] == Unit{'#'} ? "" : " overrun");
}

// print room kind values format; kinds: none, int, ints, text, narrow, null, double, wide
std::string AnswerPrint(Reader& reader) {
  const auto room = static_cast<size_t>(reader.Number());
  const std::string kind = reader.Word();
  if (kind == "none")
    return Print(room, Decode(reader.Rest()));
  if (kind == "int") {
    const auto value = static_cast<int>(reader.Number());
    return Print(room, Decode(reader.Rest()), value);
  }
  if (kind == "ints") {
    const auto first = static_cast<int>(reader.Number());
    const auto second = static_cast<int>(reader.Number());
    return Print(room, Decode(reader.Rest()), first, second);
  }
  if (kind == "int64") {
    const auto value = static_cast<int64_t>(reader.Number());
    return Print(room, Decode(reader.Rest()), value);
  }
  if (kind == "double") {
    const double value = strtod(reader.Word().c_str(), nullptr);
    return Print(room, Decode(reader.Rest()), value);
  }
  if (kind == "narrow") {
    const std::string value = reader.Word();
    return Print(room, Decode(reader.Rest()), value.c_str());
  }
  const Text value = Decode(reader.Word());
  if (kind == "text")
    return Print(room, Decode(reader.Rest()), value.c_str());
  if (kind == "null")
    return Print(room, Decode(reader.Rest()), static_cast<void*>(nullptr));
  return "?";
}

// ncpy count text
std::string AnswerCopy(Reader& reader) {
  const auto count = static_cast<size_t>(reader.Number());
  Unit buffer[32];
  for (Unit& unit : buffer)
    unit = Unit{'#'};
  if (count >= std::size(buffer))
    return "?";
  wcsncpy(buffer, Decode(reader.Rest()).c_str(), count);
  return Encode(buffer, count + 1);
}

// find text part: positions of the part, of its first unit, of any of its units
std::string AnswerFind(Reader& reader) {
  const Text text = Decode(reader.Word());
  const Text part = Decode(reader.Word());
  const Unit* const start = text.c_str();
  std::string answer;
  for (const Unit* found : {static_cast<const Unit*>(wcsstr(start, part.c_str())),
                            static_cast<const Unit*>(wcschr(start, part.c_str()[0])),
                            static_cast<const Unit*>(wcspbrk(start, part.c_str()))}) {
    answer += (answer.empty() ? "" : " ") +
              (found == nullptr ? std::string("-") : std::to_string(found - start));
  }
  return answer;
}

}  // namespace

std::string Answer(const std::string& question) {
  static constexpr struct {
    const char* name;
    std::string (*answer)(Reader&);
  } kKinds[] = {{"ticks", AnswerTicks},      {"calendar", AnswerCalendar}, {"date", AnswerDate},
                {"time", AnswerTime},        {"local", AnswerLocal},       {"itow", AnswerItow},
                {"wtol", AnswerWtol},        {"wcstod", AnswerWcstod},     {"class", AnswerClass},
                {"print", AnswerPrint},      {"ncpy", AnswerCopy},         {"find", AnswerFind},
                {"registry", AnswerRegistry}};
  Reader reader(question);
  const std::string name = reader.Word();
  for (const auto& kind : kKinds) {
    if (name == kind.name)
      return kind.answer(reader);
  }
  return "?";
}

}  // namespace wkt::foreign
