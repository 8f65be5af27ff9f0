// Times of an iCalendar file as instants: UTC, with a TZID, or floating in the zone of the import.
#pragma once

#include <libical/ical.h>

#include <map>
#include <memory>
#include <string>

#include "desktop/partner/Import.h"

namespace wkt {

class CalendarTimes {
 public:
  explicit CalendarTimes(const ImportOptions& options) : options_(options) {}

  // Where VTIMEZONEs are looked up from now on. Throws Failure for one whose rules would take
  // longer to follow than any zone's.
  void UseCalendar(icalcomponent* calendar);
  // `property` names the zone of `time`, which may be an occurrence computed from it. A day is its
  // first instant.
  uint64_t ToTicks(icalproperty* property, icaltimetype time, int line);

 private:
  const Zone* ZoneOf(const std::string& name);
  uint64_t InZone(const std::string& name, uint64_t wallClock, icaltimetype time, int line);

  const ImportOptions& options_;
  icalcomponent* calendar_ = nullptr;
  std::map<std::string, std::unique_ptr<Zone>> zones_;
};

}  // namespace wkt
