// The user's date and time texts.
#include "platform/Locale.h"

#include <cstring>
#include <optional>
#include <string>

#include "host/coredll/Calendar.h"
#include "host/coredll/CallHook.h"
#include "host/coredll/Picture.h"
#include "host/coredll/Regional.h"

namespace wkt::host {

namespace {

constexpr DWORD kTimeFlags =
    TIME_NOMINUTESORSECONDS | TIME_NOSECONDS | TIME_NOTIMEMARKER | TIME_FORCE24HOURFORMAT;

int Fail(LONG error) {
  SetError(static_cast<uint32_t>(error));
  return 0;
}

// A device has one locale: its user's. Neutral and both defaults mean it.
bool IsKnownLocale(LCID locale) {
  return locale == 0 || locale == LOCALE_USER_DEFAULT || locale == LOCALE_SYSTEM_DEFAULT;
}

bool IsUsableBuffer(LPCWSTR buffer, int size) {
  return size == 0 || (size > 0 && buffer != nullptr);
}

const LocaleTexts& TextsFor(DWORD flags) {
  return (flags & LOCALE_NOUSEROVERRIDE) != 0 ? DefaultLocale() : CurrentRegional().locale;
}

// Nothing is written when it does not fit.
int Deliver(const std::u16string& text, LPWSTR buffer, int size) {
  const auto needed = static_cast<int>(text.size()) + 1;
  if (size == 0)
    return needed;
  if (size < needed)
    return Fail(ERROR_INSUFFICIENT_BUFFER);
  memcpy(buffer, text.c_str(), static_cast<size_t>(needed) * sizeof(WCHAR));
  return needed;
}

SYSTEMTIME GivenOrNow(const SYSTEMTIME* time) {
  return time != nullptr ? *time : LocalNow();
}

int DateText(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture, LPWSTR buffer,
             int size) {
  if (!IsKnownLocale(locale) || !IsUsableBuffer(buffer, size))
    return Fail(ERROR_INVALID_PARAMETER);
  const DWORD styles = flags & (DATE_SHORTDATE | DATE_LONGDATE);
  if ((flags & ~(DATE_SHORTDATE | DATE_LONGDATE | LOCALE_NOUSEROVERRIDE)) != 0 ||
      styles == (DATE_SHORTDATE | DATE_LONGDATE) || (picture != nullptr && flags != 0))
    return Fail(ERROR_INVALID_FLAGS);
  const SYSTEMTIME day = GivenOrNow(time);
  if (!IsCalendarDay(day))
    return Fail(ERROR_INVALID_PARAMETER);
  const LocaleTexts& texts = TextsFor(flags);
  if (picture != nullptr)
    return Deliver(FormatDate(picture, day, texts), buffer, size);
  return Deliver(FormatDate(styles == DATE_LONGDATE ? texts.longDate : texts.shortDate, day, texts),
                 buffer, size);
}

int TimeText(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture, LPWSTR buffer,
             int size) {
  if (!IsKnownLocale(locale) || !IsUsableBuffer(buffer, size))
    return Fail(ERROR_INVALID_PARAMETER);
  if ((flags & ~(kTimeFlags | LOCALE_NOUSEROVERRIDE)) != 0 ||
      (picture != nullptr && (flags & LOCALE_NOUSEROVERRIDE) != 0))
    return Fail(ERROR_INVALID_FLAGS);
  const SYSTEMTIME moment = GivenOrNow(time);
  if (moment.wHour > 23 || moment.wMinute > 59 || moment.wSecond > 59)
    return Fail(ERROR_INVALID_PARAMETER);
  const LocaleTexts& texts = TextsFor(flags);
  return Deliver(FormatTime(picture != nullptr ? std::u16string_view(picture) : texts.timeFormat,
                            moment, flags, texts),
                 buffer, size);
}

const std::u16string* FindInfo(const LocaleTexts& texts, LCTYPE type) {
  switch (type & ~LOCALE_NOUSEROVERRIDE) {
    case LOCALE_SDATE:
      return &texts.dateSeparator;
    case LOCALE_STIME:
      return &texts.timeSeparator;
    case LOCALE_SSHORTDATE:
      return &texts.shortDate;
    case LOCALE_SLONGDATE:
      return &texts.longDate;
    case LOCALE_S1159:
      return &texts.morning;
    case LOCALE_S2359:
      return &texts.afternoon;
    case LOCALE_STIMEFORMAT:
      return &texts.timeFormat;
    default:
      return nullptr;
  }
}

int InfoText(LCID locale, LCTYPE type, LPWSTR buffer, int size) {
  if (!IsKnownLocale(locale) || !IsUsableBuffer(buffer, size))
    return Fail(ERROR_INVALID_PARAMETER);
  const std::u16string* text = FindInfo(TextsFor(type), type);
  return text != nullptr ? Deliver(*text, buffer, size) : Fail(ERROR_INVALID_FLAGS);
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

int CEAPI GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture,
                         LPWSTR buffer, int size) {
  return HookedCall(
      "GetDateFormatW", 0, [&] { return DateText(locale, flags, time, picture, buffer, size); },
      locale, flags, time, picture, buffer, size);
}

int CEAPI GetTimeFormatW(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture,
                         LPWSTR buffer, int size) {
  return HookedCall(
      "GetTimeFormatW", 0, [&] { return TimeText(locale, flags, time, picture, buffer, size); },
      locale, flags, time, picture, buffer, size);
}

int CEAPI GetLocaleInfoW(LCID locale, LCTYPE type, LPWSTR buffer, int size) {
  return HookedCall(
      "GetLocaleInfoW", 0, [&] { return InfoText(locale, type, buffer, size); }, locale, type,
      buffer, size);
}
