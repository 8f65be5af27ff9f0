// Looking a device folder over, and its registry as text.
#pragma once

#include <string>
#include <vector>

namespace wkt::control {

// What is wrong with a device folder, one finding a line with the file's name; empty when nothing
// is. Changes nothing and needs no device in use. The object store and the volumes are looked into;
// this process must not have them mounted.
std::vector<std::string> CheckFolder(const std::string& folder);

// The registry of the device in use in the form of the file "registry", from a key on ("" is all of
// it; else a path like HKEY_LOCAL_MACHINE\SOFTWARE).
[[nodiscard]] bool ExportRegistry(const std::string& path, std::string& text, std::string& error);
// Adds and replaces keys and values; what the text does not name stays. All or nothing.
[[nodiscard]] bool ImportRegistry(const std::string& text, std::string& error);

}  // namespace wkt::control
