// Texts as sort keys.
#pragma once

#include <string>

#include "platform/Database.h"

namespace wkt::host {

// Appends bytes whose order is that of the texts: by letters first, case and width apart, then,
// unless the flags leave the difference out, by the characters themselves. `text` is terminated and
// may stand at any address.
void AppendTextKey(std::string& key, const char16_t* text, DWORD sortFlags);

}  // namespace wkt::host
