// Date and time texts of a device.
#include "platform/Locale.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/Kernel.h"
#include "tests/support/DeskDevice.h"

namespace wkt::test {

namespace {

using Locale = DeskDeviceTest;

constexpr DWORD kUntouched = 0xDEADBEEF;
constexpr int kRoom = 100;
const SYSTEMTIME kMorning = {2026, 3, 1, 2, 9, 5, 7, 0};
const SYSTEMTIME kEvening = {2026, 12, 4, 31, 21, 45, 0, 0};
const SYSTEMTIME kMidnight = {2026, 3, 1, 2, 0, 0, 0, 0};
const SYSTEMTIME kNoon = {2026, 3, 1, 2, 12, 0, 0, 0};

using Format = int(CEAPI*)(LCID, DWORD, const SYSTEMTIME*, LPCWSTR, LPWSTR, int);

// The text of a call that succeeds; checks its result, and that nothing behind it was written.
std::u16string Call(Format format, DWORD flags, const SYSTEMTIME& time, LPCWSTR picture) {
  WCHAR buffer[kRoom];
  std::fill_n(buffer, kRoom, u'#');
  const int written = format(LOCALE_USER_DEFAULT, flags, &time, picture, buffer, kRoom);
  EXPECT_GT(written, 0);
  if (written <= 0)
    return u"";
  std::u16string text(buffer, static_cast<size_t>(written) - 1);
  EXPECT_EQ(buffer[written - 1], u'\0');
  EXPECT_EQ(buffer[written], u'#');
  EXPECT_EQ(format(LOCALE_USER_DEFAULT, flags, &time, picture, nullptr, 0), written);
  return text;
}

std::u16string Date(LPCWSTR picture, const SYSTEMTIME& time = kMorning, DWORD flags = 0) {
  return Call(GetDateFormatW, flags, time, picture);
}

std::u16string Time(LPCWSTR picture, const SYSTEMTIME& time = kMorning, DWORD flags = 0) {
  return Call(GetTimeFormatW, flags, time, picture);
}

std::u16string Info(LCTYPE type) {
  WCHAR buffer[kRoom];
  std::fill_n(buffer, kRoom, u'#');
  const int written = GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, kRoom);
  EXPECT_GT(written, 0);
  EXPECT_EQ(GetLocaleInfoW(LOCALE_USER_DEFAULT, type, nullptr, 0), written);
  return written > 0 ? std::u16string(buffer) : u"";
}

// The last error of a call that fails and leaves the buffer alone.
DWORD FailureOf(Format format, LCID locale, DWORD flags, const SYSTEMTIME* time, LPCWSTR picture,
                int size = kRoom) {
  WCHAR buffer[kRoom];
  std::fill_n(buffer, kRoom, u'#');
  SetLastError(kUntouched);
  EXPECT_EQ(format(locale, flags, time, picture, buffer, size), 0);
  EXPECT_EQ(std::u16string(buffer, kRoom), std::u16string(kRoom, u'#'));
  return GetLastError();
}

TEST_F(Locale, DateElements) {
  EXPECT_EQ(Date(u"d dd ddd dddd"), u"2 02 Mon Monday");
  EXPECT_EQ(Date(u"M MM MMM MMMM"), u"3 03 Mar March");
  EXPECT_EQ(Date(u"y yy yyyy"), u"26 26 2026");
  EXPECT_EQ(Date(u"d/M/yy", kEvening), u"31/12/26");
  EXPECT_EQ(Date(u"y yy yyyy", {2004, 2, 0, 29, 0, 0, 0, 0}), u"4 04 2004");
  EXPECT_EQ(Date(u"yyyy yy", {30827, 1, 0, 1, 0, 0, 0, 0}), u"30827 27");
  EXPECT_EQ(Date(u"yyyy gg"), u"2026 A.D.");
}

TEST_F(Locale, LongerRunsAreTheLongestElement) {
  EXPECT_EQ(Date(u"ddddd MMMMMM yyyyyy"), u"Monday March 2026");
  EXPECT_EQ(Date(u"yyy"), u"2026");
  EXPECT_EQ(Time(u"hhh HHHH mmm ssss ttt"), u"09 09 05 07 AM");
}

TEST_F(Locale, TimeElements) {
  EXPECT_EQ(Time(u"h hh H HH m mm s ss t tt"), u"9 09 9 09 5 05 7 07 A AM");
  EXPECT_EQ(Time(u"h hh H HH t tt", kEvening), u"9 09 21 21 P PM");
  EXPECT_EQ(Time(u"h:mm tt H", kMidnight), u"12:00 AM 0");
  EXPECT_EQ(Time(u"h:mm tt H", kNoon), u"12:00 PM 12");
}

TEST_F(Locale, ElementLettersAreCaseSensitiveAndOfTheirKind) {
  EXPECT_EQ(Date(u"D YYYY h:mm"), u"D YYYY h:mm");
  EXPECT_EQ(Time(u"S T d M y"), u"S T d M y");
  EXPECT_EQ(Date(u"\u00E4-.,_ d"), u"\u00E4-.,_ 2");
}

TEST_F(Locale, QuotedTextIsLiteral) {
  EXPECT_EQ(Time(u"HH':'mm"), u"09:05");
  EXPECT_EQ(Time(u"HH':'mm':'ss"), u"09:05:07");
  EXPECT_EQ(Time(u"'hh' hh"), u"hh 09");
  EXPECT_EQ(Date(u"d 'de' MMMM"), u"2 de March");
}

TEST_F(Locale, TwoQuotesInsideAreOne) {
  EXPECT_EQ(Time(u"h 'o''clock'"), u"9 o'clock");
  EXPECT_EQ(Date(u"''''yy"), u"'26");
  // Outside, they are quoted text of no length.
  EXPECT_EQ(Date(u"dd''MM"), u"0203");
}

TEST_F(Locale, OpenQuoteReachesToTheEnd) {
  EXPECT_EQ(Date(u"d 'dd"), u"2 dd");
  EXPECT_EQ(Date(u"d'"), u"2");
}

TEST_F(Locale, TheUsersOwnFormats) {
  EXPECT_EQ(Date(nullptr, kMorning, DATE_SHORTDATE), u"3/2/26");
  EXPECT_EQ(Date(nullptr, kMorning, 0), u"3/2/26");
  EXPECT_EQ(Date(nullptr, kMorning, DATE_LONGDATE), u"Monday, March 02, 2026");
  EXPECT_EQ(Time(nullptr), u"9:05:07 AM");
  EXPECT_EQ(Time(nullptr, kEvening), u"9:45:00 PM");
}

TEST_F(Locale, EmptyPictureMakesAnEmptyText) {
  EXPECT_EQ(Date(u""), u"");
  EXPECT_EQ(Time(u""), u"");
}

TEST_F(Locale, WrongWeekdayIsCorrected) {
  SYSTEMTIME time = kMorning;
  time.wDayOfWeek = 77;
  EXPECT_EQ(Date(u"dddd", time), u"Monday");
  EXPECT_EQ(Date(u"ddd", {1601, 1, 0, 1, 99, 99, 99, 9999}), u"Mon");
  EXPECT_EQ(Date(u"ddd", {30827, 12, 0, 31, 0, 0, 0, 0}), u"Fri");
}

TEST_F(Locale, FlagsDropPartsOfTimes) {
  EXPECT_EQ(Time(nullptr, kEvening, TIME_NOSECONDS), u"9:45 PM");
  EXPECT_EQ(Time(nullptr, kEvening, TIME_NOMINUTESORSECONDS), u"9 PM");
  EXPECT_EQ(Time(nullptr, kEvening, TIME_NOTIMEMARKER), u"9:45:00");
  EXPECT_EQ(Time(nullptr, kEvening, TIME_FORCE24HOURFORMAT), u"21:45:00 PM");
  EXPECT_EQ(Time(nullptr, kEvening, TIME_FORCE24HOURFORMAT | TIME_NOTIMEMARKER | TIME_NOSECONDS),
            u"21:45");
  EXPECT_EQ(Time(u"HH':'mm':'ss", kEvening, TIME_NOSECONDS), u"21:45");
  EXPECT_EQ(Time(u"tt h:mm", kEvening, TIME_NOTIMEMARKER), u"9:45");
  EXPECT_EQ(Time(u"H'h'm'm's's'", kEvening, TIME_NOSECONDS), u"21h45");
  EXPECT_EQ(Time(u"h:mm 'h'", kEvening, TIME_NOSECONDS), u"9:45 h");
}

TEST_F(Locale, TimeOfDayIsNotLookedAtForDatesNorTheDateForTimes) {
  EXPECT_EQ(Date(u"dd", {2026, 3, 0, 2, 99, 99, 99, 0}), u"02");
  EXPECT_EQ(Time(u"HH", {0, 99, 0, 99, 23, 59, 59, 9999}), u"23");
}

TEST_F(Locale, NoTimeMeansNow) {
  WCHAR buffer[kRoom];
  EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, nullptr, u"yyyy-MM-dd", buffer, kRoom), 11);
  EXPECT_EQ(std::u16string(buffer), u"2026-03-02");
  // 08:00 UTC in Vienna.
  EXPECT_EQ(GetTimeFormatW(LOCALE_SYSTEM_DEFAULT, 0, nullptr, u"HH:mm", buffer, kRoom), 6);
  EXPECT_EQ(std::u16string(buffer), u"09:00");
}

TEST_F(Locale, ImpossibleDatesAndTimesAreRefused) {
  for (const SYSTEMTIME& time :
       {SYSTEMTIME{1600, 1, 0, 1, 0, 0, 0, 0}, SYSTEMTIME{2026, 13, 0, 1, 0, 0, 0, 0},
        SYSTEMTIME{2026, 2, 0, 29, 0, 0, 0, 0}, SYSTEMTIME{2026, 2, 0, 0, 0, 0, 0, 0}}) {
    EXPECT_EQ(FailureOf(GetDateFormatW, LOCALE_USER_DEFAULT, 0, &time, u"dd"),
              ERROR_INVALID_PARAMETER);
  }
  for (const SYSTEMTIME& time :
       {SYSTEMTIME{2026, 1, 0, 1, 24, 0, 0, 0}, SYSTEMTIME{2026, 1, 0, 1, 0, 60, 0, 0},
        SYSTEMTIME{2026, 1, 0, 1, 0, 0, 60, 0}}) {
    EXPECT_EQ(FailureOf(GetTimeFormatW, LOCALE_USER_DEFAULT, 0, &time, u"HH"),
              ERROR_INVALID_PARAMETER);
  }
}

TEST_F(Locale, FlagsThatDoNotFitAreRefused) {
  const auto date = [](DWORD flags, LPCWSTR picture) {
    return FailureOf(GetDateFormatW, LOCALE_USER_DEFAULT, flags, &kMorning, picture);
  };
  EXPECT_EQ(date(DATE_SHORTDATE, u"dd"), ERROR_INVALID_FLAGS);
  EXPECT_EQ(date(DATE_LONGDATE, u"dd"), ERROR_INVALID_FLAGS);
  EXPECT_EQ(date(DATE_SHORTDATE | DATE_LONGDATE, nullptr), ERROR_INVALID_FLAGS);
  EXPECT_EQ(date(0x100, nullptr), ERROR_INVALID_FLAGS);
  const auto time = [](DWORD flags, LPCWSTR picture) {
    return FailureOf(GetTimeFormatW, LOCALE_USER_DEFAULT, flags, &kMorning, picture);
  };
  EXPECT_EQ(time(0x10, u"HH"), ERROR_INVALID_FLAGS);
  EXPECT_EQ(time(LOCALE_NOUSEROVERRIDE, u"HH"), ERROR_INVALID_FLAGS);
}

TEST_F(Locale, OtherLocalesAreUnknown) {
  EXPECT_EQ(FailureOf(GetDateFormatW, 0x0407, 0, &kMorning, u"dd"), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(FailureOf(GetTimeFormatW, 0x0407, 0, &kMorning, u"HH"), ERROR_INVALID_PARAMETER);
  WCHAR buffer[kRoom];
  SetLastError(kUntouched);
  EXPECT_EQ(GetLocaleInfoW(0x0407, LOCALE_SDATE, buffer, kRoom), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(Locale, ShortBuffersStayUntouched) {
  EXPECT_EQ(FailureOf(GetDateFormatW, LOCALE_USER_DEFAULT, 0, &kMorning, u"dd.MM", 5),
            ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(FailureOf(GetTimeFormatW, LOCALE_USER_DEFAULT, 0, &kMorning, u"HH:mm", 1),
            ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(FailureOf(GetTimeFormatW, LOCALE_USER_DEFAULT, 0, &kMorning, u"HH:mm", -1),
            ERROR_INVALID_PARAMETER);
  WCHAR exact[7] = u"######";
  EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &kMorning, u"dd.MM", exact, 6), 6);
  EXPECT_EQ(std::u16string(exact), u"02.03");
  SetLastError(kUntouched);
  EXPECT_EQ(GetDateFormatW(LOCALE_USER_DEFAULT, 0, &kMorning, u"dd", nullptr, 5), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(Locale, ValuesOfTheUser) {
  EXPECT_EQ(Info(LOCALE_SDATE), u"/");
  EXPECT_EQ(Info(LOCALE_STIME), u":");
  EXPECT_EQ(Info(LOCALE_SSHORTDATE), u"M/d/yy");
  EXPECT_EQ(Info(LOCALE_SLONGDATE), u"dddd, MMMM dd, yyyy");
  EXPECT_EQ(Info(LOCALE_S1159), u"AM");
  EXPECT_EQ(Info(LOCALE_S2359), u"PM");
  EXPECT_EQ(Info(LOCALE_STIMEFORMAT), u"h:mm:ss tt");
}

TEST_F(Locale, ValuesThatDoNotFitOrDoNotExist) {
  WCHAR buffer[kRoom];
  std::fill_n(buffer, kRoom, u'#');
  SetLastError(kUntouched);
  EXPECT_EQ(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SSHORTDATE, buffer, 6), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(buffer[0], u'#');
  EXPECT_EQ(GetLocaleInfoW(LOCALE_USER_DEFAULT, 12345, buffer, kRoom), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_FLAGS);
  EXPECT_EQ(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDATE, nullptr, 5), 0);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDATE, buffer, 2), 2);
  EXPECT_EQ(std::u16string(buffer, 3), std::u16string(u"/\0#", 3));
}

TEST_F(Locale, TheRegistryReplacesValuesOneByOne) {
  constexpr char16_t kOverrides[] = u"nls\\overrides";
  device.SetText(kOverrides, u"SDATE", u".");
  device.SetText(kOverrides, u"STIME", u"12345");
  device.SetText(kOverrides, u"SSHDT", u"dd.MM.yyyy");
  device.SetText(kOverrides, u"STFMT", u"HH:mm:ss");
  device.SetText(kOverrides, u"S1159", u"");
  device.SetText(kOverrides, u"DAY1", u"Montag");
  device.SetText(kOverrides, u"DAY7", u"Sonntag");
  device.SetText(kOverrides, u"ADAY4", u"Do");
  device.SetText(kOverrides, u"MON3", u"M\u00E4rz");
  device.SetText(kOverrides, u"AMON12", u"Dez");
  EXPECT_EQ(Info(LOCALE_SDATE), u".");
  // Separators have room for three characters.
  EXPECT_EQ(Info(LOCALE_STIME), u"123");
  EXPECT_EQ(Date(nullptr, kMorning, DATE_SHORTDATE), u"02.03.2026");
  EXPECT_EQ(Time(nullptr), u"09:05:07");
  EXPECT_EQ(Time(u"H tt t|"), u"9  |");
  EXPECT_EQ(Date(u"dddd d. MMMM"), u"Montag 2. M\u00E4rz");
  EXPECT_EQ(Date(u"dddd", {2026, 3, 0, 1, 0, 0, 0, 0}), u"Sonntag");
  EXPECT_EQ(Date(u"ddd, d MMM", kEvening), u"Do, 31 Dez");
  // What the user did not change is as it was.
  EXPECT_EQ(Info(LOCALE_S2359), u"PM");
}

TEST_F(Locale, TheUsersValuesCanBePassedOver) {
  device.SetText(u"nls\\overrides", u"SDATE", u".");
  device.SetText(u"nls\\overrides", u"SSHDT", u"dd.MM.yyyy");
  EXPECT_EQ(Info(LOCALE_SDATE | LOCALE_NOUSEROVERRIDE), u"/");
  EXPECT_EQ(Date(nullptr, kMorning, DATE_SHORTDATE | LOCALE_NOUSEROVERRIDE), u"3/2/26");
  EXPECT_EQ(Time(nullptr, kMorning, LOCALE_NOUSEROVERRIDE), u"9:05:07 AM");
}

TEST_F(Locale, ValuesOfAnotherTypeDoNotCount) {
  device.SetNumber(u"nls\\overrides", u"SDATE", 0x2E);
  EXPECT_EQ(Info(LOCALE_SDATE), u"/");
}

TEST_F(Locale, LocalesOfTheWorld) {
  device.SetLocale("de-AT");
  EXPECT_EQ(Date(nullptr, kMorning, DATE_SHORTDATE), u"02.03.26");
  EXPECT_EQ(Date(u"dddd, d. MMMM"), u"Montag, 2. M\u00E4rz");
  EXPECT_EQ(Time(nullptr, kEvening), u"21:45:00");
  device.SetLocale("en-US");
  EXPECT_EQ(Date(nullptr, kMorning, DATE_SHORTDATE), u"3/2/26");
}

}  // namespace

}  // namespace wkt::test
