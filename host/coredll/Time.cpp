// Clock, calendar and zone of the device.
#include "platform/Time.h"

#include "host/coredll/Calendar.h"
#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/Regional.h"

namespace wkt::host {

namespace {

constexpr uint64_t kFirstBadTicks = uint64_t{1} << 63;

// Wraps at both ends of the 64 bits, as the platform does.
uint64_t LocalTicks(uint64_t ticks, LONG biasMinutes) {
  return ticks - static_cast<uint64_t>(int64_t{biasMinutes}) * kTicksPerMinute;
}

BOOL InvalidParameter() {
  SetError(ERROR_INVALID_PARAMETER);
  return FALSE;
}

BOOL ToFileTime(const SYSTEMTIME* time, FILETIME* fileTime) {
  const std::optional<uint64_t> ticks =
      time != nullptr && fileTime != nullptr ? TicksFromCalendar(*time) : std::nullopt;
  if (!ticks)
    return InvalidParameter();
  *fileTime = FileTimeOf(*ticks);
  return TRUE;
}

BOOL ToSystemTime(const FILETIME* fileTime, SYSTEMTIME* time) {
  if (fileTime == nullptr || time == nullptr || TicksOf(*fileTime) >= kFirstBadTicks)
    return InvalidParameter();
  *time = CalendarFromTicks(TicksOf(*fileTime));
  return TRUE;
}

// Both directions: `sign` 1 to local, -1 to UTC.
BOOL ShiftByBias(const FILETIME* from, FILETIME* to, LONG sign) {
  // One variable for both is refused, so that it shows here and not on a device only.
  if (from == nullptr || to == nullptr || from == to)
    return InvalidParameter();
  *to = FileTimeOf(LocalTicks(TicksOf(*from), sign * CurrentBiasAt(NowTicks()).biasMinutes));
  return TRUE;
}

DWORD ZoneNow(TIME_ZONE_INFORMATION* zone) {
  if (zone == nullptr) {
    SetError(ERROR_INVALID_PARAMETER);
    return TIME_ZONE_ID_INVALID;
  }
  *zone = CurrentRegional().zone;
  return CurrentBiasAt(NowTicks()).kind;
}

}  // namespace

SYSTEMTIME LocalNow() {
  const uint64_t now = NowTicks();
  const uint64_t local = LocalTicks(now, CurrentBiasAt(now).biasMinutes);
  // A clock set to the first hours of 1601 has no local time west of Greenwich.
  return CalendarFromTicks(local < kFirstBadTicks ? local : now);
}

}  // namespace wkt::host

using namespace wkt::host;

void CEAPI GetSystemTime(SYSTEMTIME* time) {
  HookedCall(
      "GetSystemTime", 0,
      [&] {
        *time = CalendarFromTicks(NowTicks());
        return 0;
      },
      time);
}

void CEAPI GetLocalTime(SYSTEMTIME* time) {
  HookedCall(
      "GetLocalTime", 0,
      [&] {
        *time = LocalNow();
        return 0;
      },
      time);
}

BOOL CEAPI SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* fileTime) {
  return HookedCall(
      "SystemTimeToFileTime", FALSE, [&] { return ToFileTime(time, fileTime); }, time, fileTime);
}

BOOL CEAPI FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* time) {
  return HookedCall(
      "FileTimeToSystemTime", FALSE, [&] { return ToSystemTime(fileTime, time); }, fileTime, time);
}

BOOL CEAPI FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localFileTime) {
  return HookedCall(
      "FileTimeToLocalFileTime", FALSE, [&] { return ShiftByBias(fileTime, localFileTime, 1); },
      fileTime, localFileTime);
}

BOOL CEAPI LocalFileTimeToFileTime(const FILETIME* localFileTime, FILETIME* fileTime) {
  return HookedCall(
      "LocalFileTimeToFileTime", FALSE, [&] { return ShiftByBias(localFileTime, fileTime, -1); },
      localFileTime, fileTime);
}

LONG CEAPI CompareFileTime(const FILETIME* first, const FILETIME* second) {
  return HookedCall(
      "CompareFileTime", LONG{0},
      [&] {
        const uint64_t a = TicksOf(*first);
        const uint64_t b = TicksOf(*second);
        return a < b ? -1 : a > b ? 1 : 0;
      },
      first, second);
}

DWORD CEAPI GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
  return HookedCall(
      "GetTimeZoneInformation", TIME_ZONE_ID_INVALID, [&] { return ZoneNow(zone); }, zone);
}

DWORD CEAPI GetTickCount() {
  return HookedCall("GetTickCount", DWORD{0}, [] { return TickMilliseconds(); });
}
