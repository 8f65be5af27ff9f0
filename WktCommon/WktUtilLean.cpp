#include "WktCommon/WktUtilLean.h"

#include <algorithm>

#include "WktCommon/Log.h"
#include "platform/Runtime.h"
#include "platform/Time.h"

namespace {

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

namespace wkt {

GuidParts DrawGuid() {
  GuidParts parts;
  parts.ticks = GetTickCount();
  GetSystemTime(&parts.time);
  parts.number = guidCounter++;
  return parts;
}

WCHAR* MakeGuidText(const WCHAR* prefix, const GuidParts& parts) {
  FILETIME time = {};
  SystemTimeToFileTime(&parts.time, &time);
  const uint32_t numbers[kNumbers] = {time.dwHighDateTime, time.dwLowDateTime, parts.number,
                                      parts.ticks};
  // A dash before each number takes the place of its terminator.
  const size_t unitCount = TextLength(prefix) + kNumbers * kHexUnits + 1;
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

}  // namespace wkt

WCHAR* CWktUtilLean::CreateOwnGUID(const WCHAR* prefix) {
  const wkt::LogScope log("CWktUtilLean::CreateOwnGUID");
  return prefix ? wkt::MakeGuidText(prefix, wkt::DrawGuid()) : nullptr;
}

WideString CWktUtilLean::CreateGUID() {
  const wkt::LogScope log("CWktUtilLean::CreateGUID");
  WCHAR* const text = CreateOwnGUID(wkt::kDevicePrefix);
  log.Write(wkt::kLogResult, u"Guid = %s", wkt::TextOrNull(text));
  return WideString::Adopt(text);
}
