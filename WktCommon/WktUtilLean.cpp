#include "WktCommon/WktUtilLean.h"

#include <algorithm>

#include "WktCommon/Log.h"
#include "platform/Runtime.h"
#include "platform/Time.h"

namespace {

constexpr WCHAR kDevicePrefix[] = u"CE";
constexpr int kHexadecimal = 16;
// 32 bits in hexadecimal and the terminator.
constexpr size_t kHexUnits = 9;
constexpr size_t kNumbers = 4;

uint32_t guidCounter = 0;

WCHAR* CopyText(WCHAR* to, const WCHAR* text) {
  const size_t unitCount = wkt::TextLength(text);
  std::copy_n(text, unitCount + 1, to);
  return to + unitCount;
}

}  // namespace

WCHAR* CWktUtilLean::CreateOwnGUID(const WCHAR* prefix) {
  const wkt::LogScope log("CWktUtilLean::CreateOwnGUID");
  if (!prefix)
    return nullptr;
  const DWORD ticks = GetTickCount();
  SYSTEMTIME now;
  GetSystemTime(&now);
  FILETIME time = {};
  SystemTimeToFileTime(&now, &time);
  const uint32_t numbers[kNumbers] = {time.dwHighDateTime, time.dwLowDateTime, guidCounter++,
                                      ticks};
  // A dash before each number takes the place of its terminator.
  const size_t unitCount = wkt::TextLength(prefix) + kNumbers * kHexUnits + 1;
  WCHAR* const text = WideString::AllocateText(unitCount);
  if (!text)
    return nullptr;
  WCHAR* end = CopyText(text, prefix);
  for (const uint32_t number : numbers) {
    WCHAR digits[kHexUnits];
    *end++ = u'-';
    end = CopyText(end, _ltow(static_cast<LONG>(number), digits, kHexadecimal));
  }
  return text;
}

WideString CWktUtilLean::CreateGUID() {
  const wkt::LogScope log("CWktUtilLean::CreateGUID");
  WCHAR* const text = CreateOwnGUID(kDevicePrefix);
  log.Write(wkt::kLogResult, u"Guid = %s", wkt::TextOrNull(text));
  return WideString::Adopt(text);
}
