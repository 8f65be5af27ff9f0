// The text of an iCalendar file before it is parsed: folded lines joined, each knowing where it
// began, and its components checked to be closed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "desktop/partner/Import.h"

namespace wkt {

class CalendarText {
 public:
  // Throws Failure (Usage) when components are not closed, lie too deep, or it is no UTF-8.
  CalendarText(const ImportOptions& options, std::string_view content);

  // Without folds, lines end with "\n".
  const std::string& Joined() const { return joined_; }
  // Lines of the file that begin an event, in their order.
  size_t EventCount() const { return events_.size(); }
  int EventLine(size_t event) const;
  // The line of the event that begins with the property's name; the event's own when there is none.
  int PropertyLine(size_t event, std::string_view name) const;

 private:
  std::string_view Line(size_t index) const;
  void FinishLine(const ImportOptions& options);
  void CheckComponents(const ImportOptions& options);

  std::string joined_;
  std::vector<size_t> starts_;  // of each joined line
  std::vector<int> numbers_;    // of its first line in the file
  std::vector<size_t> events_;  // joined lines
};

}  // namespace wkt
