#include "WktCommon/Times.h"

#include "platform/Locale.h"

namespace {

constexpr size_t kFormatBufferUnits = 256;
constexpr int kFormatUnits = 255;
constexpr int kSeparatorUnits = 5;
// "HH':'mm':'ss tt" with separators of four units.
constexpr size_t kPictureUnits = 32;
constexpr int kMinutesPerHour = 60;

// Kept: filled on first use and never again, so other regional settings show after a restart.
WCHAR dateSeparator[kSeparatorUnits];
WCHAR timeSeparator[kSeparatorUnits];

const WCHAR* GetSeparator(WCHAR (&cache)[kSeparatorUnits], LCTYPE type) {
  if (!cache[0] && !GetLocaleInfoW(LOCALE_USER_DEFAULT, type, cache, kSeparatorUnits))
    cache[0] = 0;
  return cache;
}

// A short text put together on the stack.
class Picture {
 public:
  Picture& operator<<(const WCHAR* part) {
    while (*part && used + 1 < kPictureUnits)
      units[used++] = *part++;
    return *this;
  }
  [[nodiscard]] const WCHAR* Text() const { return units; }

 private:
  WCHAR units[kPictureUnits] = {};
  size_t used = 0;
};

bool ToSystemTime(const FILETIME& time, BOOL isLocal, SYSTEMTIME& out) {
  FILETIME local = time;
  if (!isLocal && !FileTimeToLocalFileTime(&time, &local))
    return false;
  return FileTimeToSystemTime(&local, &out) != FALSE;
}

// The buffer becomes the text's own; what the platform could not format is empty.
void TakeFormatted(WideString& out, WCHAR* buffer, int unitCount) {
  if (unitCount <= 0)
    buffer[0] = 0;
  out = WideString::Adopt(buffer);
}

int CompareTimes(const FILETIME& first, const FILETIME& second) {
  return CompareFileTime(&first, &second);
}

}  // namespace

FILETIME& GetCurrentFileTime(FILETIME& out, BOOL local, BOOL dayOnly) {
  SYSTEMTIME now;
  if (local) {
    GetLocalTime(&now);
  } else {
    GetSystemTime(&now);
  }
  if (dayOnly) {
    now.wHour = 0;
    now.wMinute = 0;
    now.wSecond = 0;
  }
  now.wMilliseconds = 0;
  if (!SystemTimeToFileTime(&now, &out))
    out = FILETIME{};
  return out;
}

WideString& FormatDateText(WideString& out, const FILETIME& time, BOOL isLocal, int style) {
  constexpr int kLastStyle = 3;
  out.Empty();
  SYSTEMTIME date;
  if (style > kLastStyle || !ToSystemTime(time, isLocal, date))
    return out;
  WCHAR* const buffer = WideString::AllocateText(kFormatBufferUnits);
  if (!buffer)
    return out;
  DWORD flags = 0;
  const WCHAR* pictureText = nullptr;
  Picture picture;
  if (style <= 0) {
    flags = DATE_SHORTDATE;
  } else if (style == 1) {
    flags = DATE_LONGDATE;
  } else {
    const WCHAR* const separator = GetSeparator(dateSeparator, LOCALE_SDATE);
    const bool dayFirst = style == 2;
    picture << (dayFirst ? u"dd" : u"MM") << separator << (dayFirst ? u"MM" : u"dd");
    pictureText = picture.Text();
  }
  TakeFormatted(
      out, buffer,
      GetDateFormatW(LOCALE_USER_DEFAULT, flags, &date, pictureText, buffer, kFormatUnits));
  return out;
}

WideString& FormatTimeText(WideString& out, const FILETIME& time, BOOL isLocal, BOOL adjustDaylight,
                           int flags) {
  out.Empty();
  SYSTEMTIME clock;
  if (!ToSystemTime(time, isLocal, clock))
    return out;
  if (adjustDaylight)
    AdjustLocalTimeForDaylight(clock, TRUE);
  WCHAR* const buffer = WideString::AllocateText(kFormatBufferUnits);
  if (!buffer)
    return out;
  const WCHAR* pictureText = nullptr;
  Picture picture;
  if (!(flags & wkt::kTimeUserFormat)) {
    const WCHAR* const separator = GetSeparator(timeSeparator, LOCALE_STIME);
    const WCHAR* const hour = flags & wkt::kTime24Hours ? u"H" : u"h";
    picture << hour;
    if (flags & wkt::kTimeTwoDigitHours)
      picture << hour;
    picture << u"'" << separator << u"'mm";
    if (flags & wkt::kTimeSeconds)
      picture << u"'" << separator << u"'ss";
    if (flags & wkt::kTimeMarker)
      picture << u" tt";
    pictureText = picture.Text();
  }
  TakeFormatted(out, buffer,
                GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &clock, pictureText, buffer, kFormatUnits));
  return out;
}

SYSTEMTIME& ComputeTransitionDate(SYSTEMTIME& out, const SYSTEMTIME& rule, WORD year) {
  constexpr int kDaysPerWeek = 7;
  constexpr int kLongestMonth = 31;
  // Weekday of a month's first day against that of the year's, leap days apart; the year starts
  // with March here.
  constexpr uint8_t kMonthOffsets[12] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  const int month = rule.wMonth >= 1 && rule.wMonth <= 12 ? rule.wMonth : 1;
  const int y = month < 3 ? year - 1 : year;
  const int firstWeekday =
      (y + y / 4 - y / 100 + y / 400 + kMonthOffsets[month - 1] + 1) % kDaysPerWeek;
  const int first = (rule.wDayOfWeek - firstWeekday + kDaysPerWeek) % kDaysPerWeek + 1;
  int day = first + (rule.wDay - 1) * kDaysPerWeek;
  // Kept: shorter months are not looked at, so a fifth week may give a day that does not exist.
  if (day > kLongestMonth)
    day -= kDaysPerWeek;
  out = rule;
  out.wYear = year;
  out.wDay = static_cast<WORD>(day);
  return out;
}

int32_t GetDaylightBiasAt(const FILETIME& time) {
  SYSTEMTIME date;
  if (!FileTimeToSystemTime(&time, &date))
    return 0;
  TIME_ZONE_INFORMATION zone = {};
  GetTimeZoneInformation(&zone);
  if (zone.StandardDate.wMonth == 0 || zone.DaylightDate.wMonth == 0)
    return 0;
  // Kept: a transition on a day that does not exist counts as the beginning of time.
  FILETIME standard = {};
  FILETIME daylight = {};
  SYSTEMTIME transition;
  SystemTimeToFileTime(&ComputeTransitionDate(transition, zone.StandardDate, date.wYear),
                       &standard);
  SystemTimeToFileTime(&ComputeTransitionDate(transition, zone.DaylightDate, date.wYear),
                       &daylight);
  const bool spansNewYear = CompareTimes(standard, daylight) < 0;
  const bool beforeStandard = CompareTimes(time, standard) < 0;
  const bool afterDaylight = CompareTimes(time, daylight) >= 0;
  const bool isDaylight =
      spansNewYear ? beforeStandard || afterDaylight : beforeStandard && afterDaylight;
  return isDaylight ? zone.DaylightBias : zone.StandardBias;
}

void AdjustLocalTimeForDaylight(SYSTEMTIME& time, BOOL forward) {
  FILETIME at;
  if (!SystemTimeToFileTime(&time, &at))
    return;
  SYSTEMTIME today;
  GetSystemTime(&today);
  today.wMilliseconds = 0;
  FILETIME now;
  if (!SystemTimeToFileTime(&today, &now))
    return;
  // Kept: a local date is held against the date in UTC.
  if (time.wYear == today.wYear && time.wMonth == today.wMonth && time.wDay == today.wDay)
    return;
  int32_t bias = GetDaylightBiasAt(at);
  const int32_t biasNow = GetDaylightBiasAt(now);
  if (bias == biasNow)
    return;
  if (bias == 0)
    bias = -biasNow;
  const int32_t sign = forward ? 1 : -1;
  const int32_t hour = time.wHour - bias / kMinutesPerHour * sign;
  const int32_t minute = time.wMinute - bias % kMinutesPerHour * sign;
  // Kept: nothing is carried into the date; such a time stays as it was.
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59)
    return;
  time.wHour = static_cast<WORD>(hour);
  time.wMinute = static_cast<WORD>(minute);
}
