// The manual page: every command and option of the command line, with the texts of its help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace wkt::tool {

// In the language of troff's man macros.
std::string ManualPage(const CLI::App& app);

}  // namespace wkt::tool
