#include "tests/WktDevSync/TransferTest.h"

#include "host/control/DeskWindow.h"

TransferTest::Lines TransferTest::RaisedNotices() {
  const wkt::control::DeskWindow window;
  log.Take();
  provider.reportStatus(nullptr, RSC_END_SYNC, 0);
  Lines notices;
  const std::string start = "256 Nofifying application window: ";
  for (const std::string& line : log.Take()) {
    if (line.starts_with(start))
      notices.push_back(line.substr(start.size()));
  }
  return notices;
}
