// Whether a file is a library that the machine's loader may be given.
#pragma once

#include <string>

namespace wkt::host {

// An ELF library for this machine whose parts lie inside the file. The loader maps what the headers
// say and would end the process where the file is cut off.
bool IsLoadable(const std::string& machinePath);

}  // namespace wkt::host
