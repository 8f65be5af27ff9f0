// Looking a volume file over: the object store or a mounted volume.
#pragma once

#include <string>
#include <vector>

namespace wkt::control {

// What is wrong with a volume, one finding a line with the file's name; empty when nothing is.
// Changes nothing; the volume may be in use meanwhile. Besides SQLite's own integrity check: every
// record is a whole image, stands in every sort order under the key that its properties give, the
// counts of the catalogue are those of its records, and those of block_N those of the keys.
std::vector<std::string> CheckVolume(const std::string& path);

// Whether a file looks like a volume, damaged ones included: it is a SQLite file.
bool LooksLikeVolume(const std::string& path);

}  // namespace wkt::control
