#include "host/coredll/Picture.h"

#include "host/coredll/Calendar.h"
#include "platform/Locale.h"

namespace wkt::host {

namespace {

// Takes a picture apart: elements (runs of one letter out of a set) and the text between them.
class PictureReader {
 public:
  PictureReader(std::u16string_view picture, std::u16string_view letters)
      : rest_(picture), letters_(letters) {}

  [[nodiscard]] bool AtEnd() const { return rest_.empty(); }
  [[nodiscard]] bool AtElement() const {
    return !rest_.empty() && letters_.find(rest_.front()) != letters_.npos;
  }

  // Length of the element here, which is left behind; its letter in `letter`.
  size_t TakeElement(char16_t& letter) {
    letter = rest_.front();
    const size_t length = std::min(rest_.find_first_not_of(letter), rest_.size());
    rest_.remove_prefix(length);
    return length;
  }

  // One character as it stands, or a quoted stretch; within it two quotes are one. A quote that is
  // never closed reaches to the end.
  void TakeLiteral(std::u16string& text) {
    const char16_t first = rest_.front();
    rest_.remove_prefix(1);
    if (first != u'\'') {
      text += first;
      return;
    }
    while (!rest_.empty()) {
      const char16_t unit = rest_.front();
      rest_.remove_prefix(1);
      if (unit == u'\'') {
        if (!rest_.starts_with(u'\''))
          return;
        rest_.remove_prefix(1);
      }
      text += unit;
    }
  }

 private:
  std::u16string_view rest_;
  std::u16string_view letters_;
};

std::u16string Decimal(int value, size_t minimumDigits) {
  std::u16string digits;
  for (; value != 0 || digits.empty(); value /= 10)
    digits.insert(digits.begin(), static_cast<char16_t>(u'0' + value % 10));
  if (digits.size() < minimumDigits)
    digits.insert(0, minimumDigits - digits.size(), u'0');
  return digits;
}

std::u16string DayText(const SYSTEMTIME& time, size_t length, const LocaleTexts& locale) {
  if (length <= 2)
    return Decimal(time.wDay, length);
  const int weekday = WeekdayOfDay(DayNumber(time.wYear, time.wMonth, time.wDay));
  return length == 3 ? locale.shortDays[weekday] : locale.days[weekday];
}

std::u16string MonthText(const SYSTEMTIME& time, size_t length, const LocaleTexts& locale) {
  if (length <= 2)
    return Decimal(time.wMonth, length);
  return length == 3 ? locale.shortMonths[time.wMonth - 1] : locale.months[time.wMonth - 1];
}

std::u16string HourText(int hour24, char16_t letter, size_t length) {
  if (letter == u'H')
    return Decimal(hour24, length == 1 ? 1 : 2);
  return Decimal(hour24 % 12 == 0 ? 12 : hour24 % 12, length == 1 ? 1 : 2);
}

bool IsDropped(char16_t letter, DWORD flags) {
  switch (letter) {
    case u'm':
      return (flags & TIME_NOMINUTESORSECONDS) != 0;
    case u's':
      return (flags & (TIME_NOMINUTESORSECONDS | TIME_NOSECONDS)) != 0;
    case u't':
      return (flags & TIME_NOTIMEMARKER) != 0;
    default:
      return false;
  }
}

std::u16string TimeElement(const SYSTEMTIME& time, char16_t letter, size_t length, DWORD flags,
                           const LocaleTexts& locale) {
  switch (letter) {
    case u'h':
    case u'H':
      return HourText(time.wHour, (flags & TIME_FORCE24HOURFORMAT) != 0 ? u'H' : letter, length);
    case u'm':
      return Decimal(time.wMinute, length == 1 ? 1 : 2);
    case u's':
      return Decimal(time.wSecond, length == 1 ? 1 : 2);
    default: {
      const std::u16string& marker = time.wHour < 12 ? locale.morning : locale.afternoon;
      return length == 1 ? marker.substr(0, 1) : marker;
    }
  }
}

}  // namespace

std::u16string FormatDate(std::u16string_view picture, const SYSTEMTIME& time,
                          const LocaleTexts& locale) {
  std::u16string text;
  PictureReader reader(picture, u"dMyg");
  while (!reader.AtEnd()) {
    if (!reader.AtElement()) {
      reader.TakeLiteral(text);
      continue;
    }
    char16_t letter = 0;
    const size_t length = reader.TakeElement(letter);
    if (letter == u'd') {
      text += DayText(time, length, locale);
    } else if (letter == u'M') {
      text += MonthText(time, length, locale);
    } else if (letter == u'y') {
      text += length <= 2 ? Decimal(time.wYear % 100, length) : Decimal(time.wYear, 4);
    } else {
      text += locale.era;
    }
  }
  return text;
}

std::u16string FormatTime(std::u16string_view picture, const SYSTEMTIME& time, DWORD flags,
                          const LocaleTexts& locale) {
  std::u16string text;
  // What stands between two elements is held back until it is known whether the second one is
  // dropped: then what is before it goes with it. What is behind goes with a dropped AM/PM marker,
  // and with any element when nothing follows that it could lead to: the 's' of "m'm's's'".
  std::u16string between;
  bool dropBetween = false;
  bool lastDropped = false;
  PictureReader reader(picture, u"hHmst");
  while (!reader.AtEnd()) {
    if (!reader.AtElement()) {
      reader.TakeLiteral(between);
      continue;
    }
    char16_t letter = 0;
    const size_t length = reader.TakeElement(letter);
    const bool dropped = IsDropped(letter, flags);
    if (!dropped) {
      if (!dropBetween)
        text += between;
      text += TimeElement(time, letter, length, flags, locale);
    }
    between.clear();
    dropBetween = dropped && letter == u't';
    lastDropped = dropped;
  }
  return lastDropped ? text : text + between;
}

}  // namespace wkt::host
