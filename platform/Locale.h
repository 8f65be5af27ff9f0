// Texts of dates and times in the manner of the device's user.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

using LCID = DWORD;
using LCTYPE = DWORD;

constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;

constexpr LCTYPE LOCALE_SDATE = 29;
constexpr LCTYPE LOCALE_STIME = 30;
constexpr LCTYPE LOCALE_SSHORTDATE = 31;
constexpr LCTYPE LOCALE_SLONGDATE = 32;
constexpr LCTYPE LOCALE_S1159 = 40;
constexpr LCTYPE LOCALE_S2359 = 41;
constexpr LCTYPE LOCALE_STIMEFORMAT = 0x1003;
// Or-ed to one of the above: the locale's own value, not the user's.
constexpr LCTYPE LOCALE_NOUSEROVERRIDE = 0x80000000;

constexpr DWORD DATE_SHORTDATE = 1;
constexpr DWORD DATE_LONGDATE = 2;

constexpr DWORD TIME_NOMINUTESORSECONDS = 1;
constexpr DWORD TIME_NOSECONDS = 2;
constexpr DWORD TIME_NOTIMEMARKER = 4;
constexpr DWORD TIME_FORCE24HOURFORMAT = 8;

CE_FUNCTIONS_BEGIN

// Picture elements, case-sensitive: d dd ddd dddd (day, weekday), M MM MMM MMMM, y yy yyyy, gg
// (era). Text between single quotes is literal, two single quotes are one, other characters stand
// for themselves. `picture` NULL: the user's format that `flags` names; with a picture the date
// flags must be 0. `time` NULL: now. A wrong wDayOfWeek is corrected, the time of day is not looked
// at. `size` counts characters; 0 asks for the size needed. Returns the characters written with the
// terminator. 0: ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_FLAGS, ERROR_INVALID_PARAMETER (no such
// date, locale or buffer).
int CEAPI GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture,
                         LPWSTR buffer, int size);

// Picture elements: h hh (12 hours), H HH (24), m mm, s ss, t tt (AM/PM marker, one character or
// whole). `picture` NULL: the user's time format. The flags drop parts of either. The date is not
// looked at. Else as GetDateFormatW.
int CEAPI GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture,
                         LPWSTR buffer, int size);

// One value of the locale as text. Returns the characters written with the terminator (`size` 0:
// needed). 0: ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_FLAGS (unknown value),
// ERROR_INVALID_PARAMETER.
int CEAPI GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR buffer, int size);

CE_FUNCTIONS_END
