// A zone of the time-zone database as the bias and rules that a device keeps in its registry.
#include <unicode/basictz.h>
#include <unicode/gregocal.h>
#include <unicode/timezone.h>
#include <unicode/tztrans.h>

#include <cstring>
#include <memory>
#include <optional>

#include "host/control/Desk.h"
#include "host/coredll/RegistryStore.h"
#include "platform/Registry.h"
#include "platform/Time.h"

namespace wkt::control {

namespace {

constexpr double kMillisecondsPerMinute = 60'000;

struct Change {
  WORD month, weekday, week, hour, minute, second;
  int dayOfMonth;
  bool isLast;                     // its weekday's last of the month
  int standardBias, daylightBias;  // minutes, of what begins
};

WORD Word(int32_t value) {
  return static_cast<WORD>(value);
}

// The fields of an instant as wall time in force before the change.
Change Describe(const icu::TimeZoneTransition& transition) {
  const icu::TimeZoneRule& before = *transition.getFrom();
  const icu::TimeZoneRule& after = *transition.getTo();
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(*icu::TimeZone::getGMT(), status);
  calendar.setGregorianChange(-1e18, status);
  calendar.setTime(transition.getTime() + before.getRawOffset() + before.getDSTSavings(), status);
  const auto field = [&](UCalendarDateFields which) { return calendar.get(which, status); };
  Change change = {};
  change.month = Word(field(UCAL_MONTH) + 1);
  change.weekday = Word(field(UCAL_DAY_OF_WEEK) - UCAL_SUNDAY);
  change.dayOfMonth = field(UCAL_DATE);
  change.week = Word((change.dayOfMonth + 6) / 7);
  change.isLast = change.dayOfMonth + 7 > calendar.getActualMaximum(UCAL_DATE, status);
  change.hour = Word(field(UCAL_HOUR_OF_DAY));
  change.minute = Word(field(UCAL_MINUTE));
  change.second = Word(field(UCAL_SECOND));
  change.standardBias = static_cast<int>(-after.getRawOffset() / kMillisecondsPerMinute);
  change.daylightBias = static_cast<int>(-after.getDSTSavings() / kMillisecondsPerMinute);
  return change;
}

UDate StartOfYear(int year) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(*icu::TimeZone::getGMT(), status);
  calendar.setGregorianChange(-1e18, status);
  calendar.clear();
  calendar.set(year, UCAL_JANUARY, 1);
  return calendar.getTime(status);
}

struct YearRules {
  std::optional<Change> toDaylight, toStandard;
};

YearRules RulesOf(const icu::BasicTimeZone& zone, int year) {
  YearRules rules;
  icu::TimeZoneTransition transition;
  UDate time = StartOfYear(year);
  const UDate end = StartOfYear(year + 1);
  while (zone.getNextTransition(time, FALSE, transition) != FALSE && transition.getTime() < end) {
    time = transition.getTime();
    const int savedBefore = transition.getFrom()->getDSTSavings();
    const int savedAfter = transition.getTo()->getDSTSavings();
    if (savedBefore == 0 && savedAfter != 0)
      rules.toDaylight = Describe(transition);
    if (savedBefore != 0 && savedAfter == 0)
      rules.toStandard = Describe(transition);
  }
  return rules;
}

// Which week of the month the rule means, 5 for the last: one year alone cannot tell the fourth
// from the last, so the years after are asked as long as they change in the same month on the same
// weekday.
WORD WeekOf(const icu::BasicTimeZone& zone, int year, const Change& change,
            std::optional<Change> YearRules::*which) {
  bool sameWeek = true;
  bool alwaysLast = change.isLast;
  for (int later = year + 1; later < year + 7; ++later) {
    const std::optional<Change> other = RulesOf(zone, later).*which;
    if (!other || other->month != change.month || other->weekday != change.weekday)
      break;
    sameWeek = sameWeek && other->week == change.week;
    alwaysLast = alwaysLast && other->isLast;
  }
  return alwaysLast && (!sameWeek || change.week == 5) ? Word(5) : change.week;
}

SYSTEMTIME RuleOf(const icu::BasicTimeZone& zone, int year, const Change& change,
                  std::optional<Change> YearRules::*which) {
  SYSTEMTIME rule = {};
  rule.wMonth = change.month;
  rule.wDayOfWeek = change.weekday;
  rule.wDay = WeekOf(zone, year, change, which);
  rule.wHour = change.hour;
  rule.wMinute = change.minute;
  rule.wSecond = change.second;
  return rule;
}

void CopyName(const icu::TimeZone& zone, bool daylight, WCHAR (&name)[32]) {
  icu::UnicodeString text;
  zone.getDisplayName(static_cast<UBool>(daylight ? 1 : 0), icu::TimeZone::LONG,
                      icu::Locale::getEnglish(), text);
  const int32_t count = std::min<int32_t>(text.length(), 31);
  for (int32_t i = 0; i < count; ++i)
    name[i] = text.charAt(i);
}

TIME_ZONE_INFORMATION Information(const icu::BasicTimeZone& zone, int year) {
  TIME_ZONE_INFORMATION information = {};
  UErrorCode status = U_ZERO_ERROR;
  const YearRules rules = RulesOf(zone, year);
  int32_t raw = 0;
  int32_t savings = 0;
  zone.getOffset(StartOfYear(year), FALSE, raw, savings, status);
  information.Bias = static_cast<LONG>(-raw / kMillisecondsPerMinute);
  CopyName(zone, false, information.StandardName);
  CopyName(zone, true, information.DaylightName);
  if (!rules.toDaylight || !rules.toStandard) {
    // No pair of changes: what is in force at the beginning of the year, all year.
    information.Bias -= static_cast<LONG>(savings / kMillisecondsPerMinute);
    return information;
  }
  information.Bias = rules.toStandard->standardBias;
  information.StandardDate = RuleOf(zone, year, *rules.toStandard, &YearRules::toStandard);
  information.DaylightDate = RuleOf(zone, year, *rules.toDaylight, &YearRules::toDaylight);
  information.DaylightBias = rules.toDaylight->daylightBias;
  return information;
}

}  // namespace

bool SetZone(const std::string& ianaName, int year, std::string& error) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString name = icu::UnicodeString::fromUTF8(ianaName);
  icu::UnicodeString canonical;
  UBool isSystem = FALSE;
  icu::TimeZone::getCanonicalID(name, canonical, isSystem, status);
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(name));
  const auto* rules = dynamic_cast<const icu::BasicTimeZone*>(zone.get());
  if (U_FAILURE(status) || isSystem == FALSE || rules == nullptr) {
    error = "no zone of the time-zone database: " + ianaName;
    return false;
  }
  if (year == 0)
    year = std::stoi(FormatIsoTime(DeviceTime()));
  const TIME_ZONE_INFORMATION information = Information(*rules, year);
  const auto* bytes = reinterpret_cast<const uint8_t*>(&information);
  host::RegistryValue zoneName = {u"Zone", REG_SZ, {}};
  for (const char unit : ianaName + '\0') {
    zoneName.data.push_back(static_cast<uint8_t>(unit));
    zoneName.data.push_back(0);
  }
  const LONG written = host::SetRegistryValues(
      u"HKEY_LOCAL_MACHINE\\Time",
      {{u"TimeZoneInformation", REG_BINARY, {bytes, bytes + sizeof(information)}}, zoneName});
  if (written != ERROR_SUCCESS)
    error = "the registry cannot be written: error " + std::to_string(written);
  return written == ERROR_SUCCESS;
}

}  // namespace wkt::control
