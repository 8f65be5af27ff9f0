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

// A command that goes on while the test does something else.
struct StartedCommand {
  int process = 0;
  std::string name;  // of its output files
};

class CommandTest : public ::testing::Test {
 protected:
  CommandTest();
  ~CommandTest() override;

  // The arguments after "wkt".
  CommandResult Run(const std::vector<std::string>& arguments);
  // The same, killed after so many microseconds.
  CommandResult RunKilled(const std::vector<std::string>& arguments, unsigned microseconds);
  StartedCommand Start(const std::vector<std::string>& arguments, const std::string& name);
  // Waits for its end; what it wrote so far is there before.
  CommandResult Finish(const StartedCommand& command);
  std::string Written(const StartedCommand& command, const char* stream) const;
  // Waits until the file holds the text; false after a minute.
  bool WaitForText(const std::string& path, const std::string& text) const;

  // A device with frozen clock in Vienna; nothing is synced to the disk.
  void MakeDevice(const std::string& name);
  std::string Path(const std::string& name) const { return (folder / name).string(); }
  static std::string ReadFile(const std::string& path);

  std::filesystem::path folder;
};

}  // namespace wkt::test
