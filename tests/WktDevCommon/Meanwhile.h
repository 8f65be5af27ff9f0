#pragma once

#include <string>
#include <vector>

// Another program lets itself in while the code under test reads or writes records: every read and
// write of this test program passes a wrapper that counts them down.
namespace wkt::test {

// The program and its arguments (neighbour/Neighbour.cpp).
using NeighbourWords = std::vector<std::string>;

// What is run, one after the other, before a certain read or write; empty once it was.
extern std::vector<NeighbourWords> meanwhile;
// 1: before the next; 0: never.
extern int readsUntilThen;
extern int writesUntilThen;

}  // namespace wkt::test
