// Clock, calendar and time zone. File times are ticks of 100 ns since 1 January 1601.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

// Transition rules: wMonth 0 = no rule (then both). wYear 0 = the wDay-th (5 = last) wDayOfWeek of
// wMonth; another wYear = that one date. Times of day are local: StandardDate on the daylight
// clock, DaylightDate on the standard one.
struct TIME_ZONE_INFORMATION {
  LONG Bias;  // minutes; UTC = local + bias
  WCHAR StandardName[32];
  SYSTEMTIME StandardDate;
  LONG StandardBias;  // minutes, added to Bias; usually 0
  WCHAR DaylightName[32];
  SYSTEMTIME DaylightDate;
  LONG DaylightBias;  // minutes, added to Bias; usually -60
};
using LPTIME_ZONE_INFORMATION = TIME_ZONE_INFORMATION*;

static_assert(sizeof(TIME_ZONE_INFORMATION) == 172);
static_assert(offsetof(TIME_ZONE_INFORMATION, StandardName) == 4);
static_assert(offsetof(TIME_ZONE_INFORMATION, StandardDate) == 68);
static_assert(offsetof(TIME_ZONE_INFORMATION, StandardBias) == 84);
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightName) == 88);
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightDate) == 152);
static_assert(offsetof(TIME_ZONE_INFORMATION, DaylightBias) == 168);

constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFF;

CE_FUNCTIONS_BEGIN

// The present time in UTC. Milliseconds may always be 0 on a device.
void CEAPI GetSystemTime(SYSTEMTIME* time);

// The present time on the device's own clock: UTC less the bias in force now.
void CEAPI GetLocalTime(SYSTEMTIME* time);

// Calendar time to ticks, no zone applied, wDayOfWeek not looked at. FALSE with
// ERROR_INVALID_PARAMETER, output untouched, for a date or time that does not exist (years 1601 to
// 30827).
BOOL CEAPI SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* fileTime);

// Ticks to calendar time, no zone applied, wDayOfWeek set. FALSE with ERROR_INVALID_PARAMETER,
// output untouched, for ticks from 2^63 on.
BOOL CEAPI FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* time);

// UTC to local by the bias in force now, whatever date is converted; wraps where local time leaves
// the 64 bits. Input and output must be two variables. FALSE with ERROR_INVALID_PARAMETER, output
// untouched, for NULL; the same for one variable, which a device may convert wrongly.
BOOL CEAPI FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localFileTime);

// Local to UTC, the reverse of FileTimeToLocalFileTime with the same rules.
BOOL CEAPI LocalFileTimeToFileTime(const FILETIME* localFileTime, FILETIME* fileTime);

// -1, 0 or 1; both as unsigned 64-bit numbers.
LONG CEAPI CompareFileTime(const FILETIME* first, const FILETIME* second);

// Fills the device's zone. TIME_ZONE_ID_STANDARD or _DAYLIGHT for what is in force now,
// TIME_ZONE_ID_UNKNOWN for a zone without daylight saving, TIME_ZONE_ID_INVALID with
// ERROR_INVALID_PARAMETER for NULL.
DWORD CEAPI GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone);

// Milliseconds since start; wraps after 49.7 days.
DWORD CEAPI GetTickCount();

CE_FUNCTIONS_END
