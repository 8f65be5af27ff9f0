#pragma once

namespace wkt::test {

// Under AddressSanitizer: looks for leaks now and not at the end of the process. A leak is known by
// the functions that allocated it, and the names of a device library's functions are lost with its
// file. Ends the process on a leak that tests/lsan.supp does not list; nothing in other builds.
void CheckForLeaks();

}  // namespace wkt::test
