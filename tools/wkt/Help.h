// What is said of each command: written once, used by --help and by the manual page.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace wkt::tool {

struct CommandHelp {
  const char* name;      // "device new"
  const char* summary;   // one line
  const char* details;   // a paragraph, may be empty
  const char* examples;  // lines, may be empty
};

std::span<const CommandHelp> AllHelp();
const CommandHelp& HelpOf(std::string_view name);

}  // namespace wkt::tool
