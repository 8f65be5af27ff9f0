// Puts the provider's libraries on a device as an installer would.
#pragma once

#include <string>

namespace wkt {

struct Installation {
  // Files on this machine.
  std::string providerPath;
  std::string logPath;
  bool withLog = false;  // the logging library, too
  // Device path of a database volume to make and to name in the registry; empty: none.
  std::u16string volume;
};

inline constexpr char16_t kInstallPath[] = u"\\Program Files\\Worktally\\";

// Copies the libraries to the device in use and writes the registry: installation path, the layout
// of the databases, and the folders that the service manager offers. Empty on success.
[[nodiscard]] std::string Install(const Installation& installation);

}  // namespace wkt
