#pragma once

#include "WktCommon/WideString.h"
#include "platform/Time.h"

// The clock as file times, and file times as texts for the log in the manner of the device's user.
// A text that cannot be formed is empty.

namespace wkt {

// Flags of `FormatTimeText`; the bits 0x02 and 0x10 mean nothing.
constexpr int kTimeUserFormat = 0x01;
constexpr int kTimeSeconds = 0x04;
constexpr int kTime24Hours = 0x08;
constexpr int kTimeMarker = 0x20;
constexpr int kTimeTwoDigitHours = 0x40;
// The two combinations in use; 0x02 is part of one of them by tradition.
constexpr int kHoursMinutes = 74;
constexpr int kHoursMinutesSeconds = 76;

[[nodiscard]] inline bool TimesDiffer(const FILETIME& first, const FILETIME& second) {
  return first.dwLowDateTime != second.dwLowDateTime ||
         first.dwHighDateTime != second.dwHighDateTime;
}

}  // namespace wkt

// The present time in whole seconds, UTC or local as it stands; with `dayOnly` at 00:00.
FILETIME& GetCurrentFileTime(FILETIME& out, BOOL local, BOOL dayOnly);

// Styles: 0 short date, 1 long date, 2 day and month, 3 month and day. Unless `isLocal`, the time
// is UTC and becomes local by the bias in force now.
WideString& FormatDateText(WideString& out, const FILETIME& time, BOOL isLocal, int style);
WideString& FormatTimeText(WideString& out, const FILETIME& time, BOOL isLocal, BOOL adjustDaylight,
                           int flags);

// Minutes that the zone's daylight rules add at a time; 0 in a zone without them.
[[nodiscard]] int32_t GetDaylightBiasAt(const FILETIME& time);

// Corrects a local time made with the bias of today for the bias of its own date. A correction that
// would leave the day is dropped.
void AdjustLocalTimeForDaylight(SYSTEMTIME& time, BOOL forward);

// The date in `year` of a rule such as "last Sunday of March".
SYSTEMTIME& ComputeTransitionDate(SYSTEMTIME& out, const SYSTEMTIME& rule, WORD year);
