// Lets LoadLibraryW of the device on the desk take true device libraries of this program's machine.
#pragma once

namespace wkt {

// From now on, for the whole process.
void UsePeLibraries();
// How many were loaded so far.
int PeLibrariesLoaded();

}  // namespace wkt
