// The manual page: every command and option of the command line, with the texts of its help.
#pragma once

#include <string>

#include "tools/wkt/CommandLine.h"

namespace wkt::tool {

// In the language of troff's man macros.
std::string ManualPage(Command root);

}  // namespace wkt::tool
