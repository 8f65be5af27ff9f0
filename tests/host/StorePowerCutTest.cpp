// Simulated power cuts in the default durability. WKT_POWER_CUTS sets how many (10).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "host/control/CheckStore.h"
#include "tests/host/PowerCutFiles.h"
#include "tests/host/StoreWriter.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt::test;

struct Cut {
  SurvivingFiles files;
  uint32_t acknowledged;
};

TEST(StorePowerCut, WhatReturnedIsThereWhicheverBlocksWereLost) {
  UsePowerCutFiles();
  wkt::control::DeviceOptions options = DeskDevice::Options();
  options.settings.durability = wkt::control::Durability::Full;
  DeskDevice device(options);
  const CEOID database = CreateWriterDatabase(u"Cut");
  StoreWriter script(OpenDatabase(database), 1);
  const char* wanted = getenv("WKT_POWER_CUTS");
  const int trials = wanted != nullptr ? atoi(wanted) : 10;
  std::minstd_rand random(815);
  std::vector<Cut> cuts;
  for (int trial = 0; trial < trials; ++trial) {
    CutPowerAfter(1 + static_cast<uint32_t>(random() % 60), static_cast<uint32_t>(random()),
                  [&](const SurvivingFiles& files) {
                    cuts.push_back({files, script.Steps()});
                  });
    while (IsCutPending())
      ASSERT_TRUE(script.Step()) << GetLastError();
  }
  wkt::control::LeaveDevice();

  const std::string store = device.Folder() + "/store.vol";
  ASSERT_EQ(cuts.size(), static_cast<size_t>(trials));
  for (const Cut& cut : cuts) {
    const std::string copy = device.Folder() + "-after";
    std::filesystem::copy(device.Folder(), copy, std::filesystem::copy_options::recursive);
    for (const char* end : {"", "-wal", "-shm"})
      std::filesystem::remove(copy + "/store.vol" + end);
    for (const auto& [path, content] : cut.files) {
      if (path.starts_with(store))
        std::ofstream(copy + "/store.vol" + path.substr(store.size()), std::ios::binary) << content;
    }
    std::string error;
    ASSERT_TRUE(wkt::control::UseDevice(copy, error)) << error;
    const HANDLE handle = OpenDatabase(database);
    ASSERT_NE(handle, INVALID_HANDLE_VALUE) << GetLastError();
    const auto found = StoreWriter::Found(handle, 1);
    EXPECT_TRUE(found == StoreWriter::Expected(1, cut.acknowledged) ||
                found == StoreWriter::Expected(1, cut.acknowledged + 1))
        << cut.acknowledged << " calls returned, " << found.size() << " records are there";
    wkt::control::LeaveDevice();
    EXPECT_EQ(wkt::control::CheckVolume(copy + "/store.vol"), std::vector<std::string>());
    std::filesystem::remove_all(copy);
  }
}

}  // namespace
