#include "fuzz/FuzzDevice.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/FuzzInput.h"
#include "host/control/Desk.h"

namespace wkt::fuzz {

FuzzDevice::FuzzDevice() {
  std::string name = (std::filesystem::temp_directory_path() / "wkt-fuzz-XXXXXX").string();
  Require(mkdtemp(name.data()) != nullptr, "a temporary folder can be made");
  folder = name;
  std::string error;
  Require(control::CreateDevice(folder, control::DeviceOptions(), error), "a device can be made");
  Require(control::SetDurability(control::Durability::Off, error), "durability can be set");
  Require(control::FreezeClock("2026-03-02T08:00:00Z", error), "the clock can be frozen");
  Require(control::FixTickCount(1000, error), "the tick count can be fixed");
}

FuzzDevice::~FuzzDevice() {
  control::LeaveDevice();
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

std::vector<uint8_t> FuzzDevice::TakeStore() {
  control::LeaveDevice();
  std::ifstream file(StoreFile(), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void FuzzDevice::UseStore(const std::vector<uint8_t>& store) {
  control::LeaveDevice();
  for (const char* end : {"-wal", "-shm"})
    std::remove((StoreFile() + end).c_str());
  {
    std::ofstream file(StoreFile(), std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(store.data()),
               static_cast<std::streamsize>(store.size()));
  }
  std::string error;
  Require(control::UseDevice(folder, error), "the device can be used");
}

}  // namespace wkt::fuzz
