// Copies of a device's or a partner's folder that other processes may be writing to: databases are
// copied by SQLite, as of one instant, everything else as files.
#pragma once

#include <string>

namespace wkt {

// True for a file that begins as a SQLite database does.
bool IsDatabaseFile(const std::string& path);
// The database as it is now, without its log beside it.
void CopyDatabase(const std::string& from, const std::string& to);
// `to` must not exist. Throws Failure.
void CopyFolder(const std::string& from, const std::string& to);
// Files that belong to a database or to running processes and are made anew from it.
bool IsSideFile(const std::string& name);

}  // namespace wkt
