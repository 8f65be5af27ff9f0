#pragma once

#include "WktCommon/Log.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/LogCapture.h"

// A device of its own, with whatever the databases log captured.
class DatabaseTest : public wkt::test::DeskDeviceTest {
 protected:
  DatabaseTest() : log(device) {
    device.MakeInstallation();
    StartLogging(u"test", u"\\log.txt");
  }
  ~DatabaseTest() override { wkt::logState = {}; }

  wkt::test::LogCapture log;
};

using Lines = wkt::test::LogLines;

// The lines with these at the start of the levels and names, in order.
inline Lines LinesWith(const Lines& lines, const std::string& part) {
  Lines found;
  for (const std::string& line : lines) {
    if (line.find(part) != std::string::npos)
      found.push_back(line);
  }
  return found;
}
