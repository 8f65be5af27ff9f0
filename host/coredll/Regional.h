// How the user of the device writes dates and times, and the device's time zone: values of its
// registry, kept until the registry changes.
#pragma once

#include <cstdint>
#include <string>

#include "host/coredll/Zone.h"
#include "platform/Time.h"

namespace wkt::host {

// Below HKEY_LOCAL_MACHINE: a REG_BINARY value holding a TIME_ZONE_INFORMATION of 172 bytes.
inline constexpr char16_t kZoneKey[] = u"Time";
inline constexpr char16_t kZoneValue[] = u"TimeZoneInformation";
// Below HKEY_LOCAL_MACHINE: REG_SZ values that replace those of en-US, one by one.
inline constexpr char16_t kLocaleKey[] = u"nls\\overrides";

struct LocaleTexts {
  std::u16string dateSeparator = u"/";               // SDATE, at most 3 units
  std::u16string timeSeparator = u":";               // STIME, at most 3 units
  std::u16string shortDate = u"M/d/yy";              // SSHDT
  std::u16string longDate = u"dddd, MMMM dd, yyyy";  // SLDT
  std::u16string timeFormat = u"h:mm:ss tt";         // STFMT
  std::u16string morning = u"AM";                    // S1159
  std::u16string afternoon = u"PM";                  // S2359
  std::u16string era = u"A.D.";                      // ERA
  // DAY1 is Monday; the arrays start with Sunday, as wDayOfWeek counts.
  std::u16string days[7] = {u"Sunday",   u"Monday", u"Tuesday", u"Wednesday",
                            u"Thursday", u"Friday", u"Saturday"};  // DAY1..7
  std::u16string shortDays[7] = {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};  // ADAY
  std::u16string months[12] = {u"January",   u"February", u"March",    u"April",
                               u"May",       u"June",     u"July",     u"August",
                               u"September", u"October",  u"November", u"December"};  // MON1..12
  std::u16string shortMonths[12] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                    u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};  // AMON
};

struct Regional {
  TIME_ZONE_INFORMATION zone = {};  // UTC unless the registry says otherwise
  LocaleTexts locale;
};

// Those of the device in use; UTC and en-US without one, with an unreadable registry and for values
// that are no zone. Good until the calling thread's next call.
const Regional& CurrentRegional();

// The values of en-US, whatever the device says.
const LocaleTexts& DefaultLocale();

// The present time on the device's own clock.
SYSTEMTIME LocalNow();

// The bias in force at `ticks` (UTC) in the device's zone.
BiasPeriod CurrentBiasAt(uint64_t ticks);

}  // namespace wkt::host
