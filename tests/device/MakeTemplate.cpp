// Makes a device with the zone and the locale that tests have, for runners whose machine has no
// ICU.
//
// usage: make_template FOLDER
#include <cstdio>
#include <filesystem>
#include <string>

#include "host/control/Desk.h"

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2)
    return 2;
  wkt::control::DeviceOptions options;
  std::string error;
  uint64_t start = 0;
  // The clock decides which year's rules the zone gets.
  if (!wkt::control::ParseIsoTime("2026-03-02T08:00:00Z", start))
    return 2;
  options.settings.clockMode = wkt::control::ClockMode::Frozen;
  options.settings.clockTicks = static_cast<int64_t>(start);
  std::filesystem::remove_all(arguments[1]);
  if (wkt::control::CreateDevice(arguments[1], options, error))
    return 0;
  std::fprintf(stderr, "%s\n", error.c_str());
  return 1;
}
