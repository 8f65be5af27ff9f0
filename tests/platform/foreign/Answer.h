// Questions to the platform's functions as lines of text, and their answers. One source is compiled
// for the device on the desk and for Windows programs, so both are asked the same.
//
//   ticks 2026 3 2 8 0 0 0        -> 134169120000000000
//   time 0 9:5:7 h:mm tt          -> 9:05 AM
//
// Characters beyond ASCII, control characters and the backslash are written \XXXX in four
// hexadecimal digits.
#pragma once

#include <cstdint>
#include <string>

namespace wkt::foreign {

// "?" for a question that is not understood.
std::string Answer(const std::string& question);

#ifndef _WIN32
// Sets the clock of the device in use (UTC), which programs of a device cannot. The test has it.
void SetDeviceClock(uint64_t ticks);
#endif

}  // namespace wkt::foreign
