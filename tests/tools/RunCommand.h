// Runs the built command as a user would, in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace wkt::test {

struct CommandResult {
  int exitCode = 0;  // 128 + signal when it was killed
  std::string out;
  std::string err;
};

class CommandTest : public ::testing::Test {
 protected:
  CommandTest();
  ~CommandTest() override;

  // The arguments after "wkt".
  CommandResult Run(const std::vector<std::string>& arguments);
  // The same, killed after so many microseconds.
  CommandResult RunKilled(const std::vector<std::string>& arguments, unsigned microseconds);
  // A device with frozen clock in Vienna; nothing is synced to the disk.
  void MakeDevice(const std::string& name);
  std::string Path(const std::string& name) const { return (folder / name).string(); }
  static std::string ReadFile(const std::string& path);

  std::filesystem::path folder;
};

}  // namespace wkt::test
