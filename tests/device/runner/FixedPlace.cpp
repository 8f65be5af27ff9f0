// Zone and locale of a device without ICU, which does not exist for this program's machine: the
// registry of a device made on the build machine, named by WKT_TEMPLATE_DEVICE, becomes this one's.
#include <cstdlib>
#include <filesystem>
#include <string>

#include "host/control/Desk.h"

namespace wkt::control {

bool SetZone(const std::string& ianaName, int, std::string& error) {
  const char* folder = std::getenv("WKT_TEMPLATE_DEVICE");
  if (folder == nullptr || ianaName != DeviceOptions().zone) {
    error = "only the zone of WKT_TEMPLATE_DEVICE is known here";
    return false;
  }
  std::error_code problem;
  std::filesystem::copy_file(std::string(folder) + "/registry", DeviceFolder() + "/registry",
                             std::filesystem::copy_options::overwrite_existing, problem);
  error = problem.message();
  return !problem;
}

// Came with the zone.
bool SetLocale(const std::string& tag, std::string& error) {
  error = "only " + DeviceOptions().locale + " is known here";
  return tag == DeviceOptions().locale;
}

}  // namespace wkt::control
