// A file system for SQLite that remembers what a power cut would leave: what was synced, and of
// what was written since then any 512-byte blocks.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace wkt::test {

// Files by path with the content that survived.
using SurvivingFiles = std::map<std::string, std::string>;

// From now on SQLite uses it; call before anything is opened.
void UsePowerCutFiles();
// After `writes` more writes the cut is simulated with this seed and its outcome handed to `cut`;
// the program goes on as if nothing had happened.
void CutPowerAfter(uint32_t writes, uint32_t seed, std::function<void(const SurvivingFiles&)> cut);
bool IsCutPending();

}  // namespace wkt::test
