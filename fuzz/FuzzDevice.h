#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wkt::fuzz {

// A device on the desk for a fuzzing program, whose object store can be put back before each run.
// Its clock stands, and nothing is synced to the disk. Made once, removed at the program's end.
class FuzzDevice {
 public:
  FuzzDevice();
  ~FuzzDevice();
  FuzzDevice(const FuzzDevice&) = delete;
  FuzzDevice& operator=(const FuzzDevice&) = delete;

  // Leaves the device; the bytes of its object store.
  [[nodiscard]] std::vector<uint8_t> TakeStore();
  // The object store becomes these bytes and the device is in use again.
  void UseStore(const std::vector<uint8_t>& store);
  [[nodiscard]] std::string StoreFile() const { return folder + "/store.vol"; }

 private:
  std::string folder;
};

}  // namespace wkt::fuzz
