#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/sync/Script.h"

// One script on a device of its own with one thing failing, in a process of its own: what crashes
// or leaks says so and leaves the others alone.
namespace wkt::test {

// What fails: the nth call of a platform function by the provider, or its nth allocation when there
// is no name. With 0 nothing does.
struct Fault {
  std::string function;
  uint32_t nth = 0;
};

// Calls of the provider by function, and its allocations under the name "".
using CallCounts = std::map<std::string, uint32_t>;

// What a script without faults brings about, to hold the others against.
struct CleanRun {
  CallCounts calls;
  // The texts that records had at any time, by "database/property".
  std::map<std::string, std::set<std::string>> texts;
};

// Fails the running test when the script does not end well without faults.
[[nodiscard]] CleanRun RunClean(const Script& script);
// Plays the script in a child. What is not as it must be, empty when all is.
[[nodiscard]] std::string RunFaulty(const Script& script, const CleanRun& clean,
                                    const Fault& fault);

}  // namespace wkt::test
