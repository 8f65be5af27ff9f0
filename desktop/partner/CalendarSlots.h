// When an event takes place: once, or at each time that its rules and lists name.
#pragma once

#include <libical/ical.h>

#include <ctime>
#include <map>
#include <optional>

#include "desktop/partner/CalendarText.h"
#include "desktop/partner/CalendarTimes.h"

namespace wkt {

// The instants of start and end.
using CalendarSlots = std::map<uint64_t, uint64_t>;

class CalendarSlotReader {
 public:
  CalendarSlotReader(const ImportOptions& options, const CalendarText& text, CalendarTimes& times)
      : options_(options), text_(text), times_(times) {}

  // Occurrences keep the wall clock of the first: each is converted by the rules of its own day.
  // DTSTART, RRULE and RDATE without EXDATE. Throws Failure naming the line.
  CalendarSlots Read(icalcomponent* event, size_t eventNumber);
  // The slot of the series that this event stands for; nothing when it is none of a series.
  std::optional<uint64_t> ReplacedSlot(icalcomponent* event, size_t eventNumber);

 private:
  struct Start;
  Start ReadStart(icalcomponent* event, size_t eventNumber);
  void AddSlot(const Start& start, icaltimetype time, CalendarSlots* slots);
  void AddRule(const Start& start, icalproperty* property, CalendarSlots* slots);
  void CountSearch(std::clock_t before, int line);
  void AddDates(const Start& start, icalcomponent* event, CalendarSlots* slots);
  void DropExcluded(const Start& start, icalcomponent* event, CalendarSlots* slots);

  const ImportOptions& options_;
  const CalendarText& text_;
  CalendarTimes& times_;
  double searchSeconds_ = 0;
};

}  // namespace wkt
