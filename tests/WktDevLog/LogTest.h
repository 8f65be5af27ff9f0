#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/WktDevLog/LoadedLog.h"
#include "tests/support/DeskDevice.h"

inline constexpr char16_t kSettings[] = u"SOFTWARE\\Worktally\\WktDevLog";
inline constexpr char16_t kFile[] = u"\\Logging\\log.txt";
inline constexpr char16_t kOlderFile[] = u"\\Logging\\log.old.txt";
// 2026-03-02T08:00:00Z in Vienna.
inline const std::string kTime = "2026-03-02 09:00:00.000 ";

using Lines = std::vector<std::string>;

// The logging library as installed on a device of its own, writing into kFile once started.
class LogTest : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override {
    device.MakeInstallation();
    device.InstallLibraries({"WktDevLog"});
    device.MakeFolder(u"\\Logging");
    log = std::make_unique<wkt::test::LoadedLog>(u"\\Program Files\\Worktally\\WktDevLog.dll");
    ASSERT_NE(log->getWriteToFile, nullptr);
  }
  void Start() { log->init(u"test", kFile); }
  Lines LinesOf(const char16_t* file) {
    const std::string content = device.ReadFile(file);
    EXPECT_TRUE(content.empty() || content.back() == '\n');
    Lines lines;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);)
      lines.push_back(line);
    return lines;
  }
  Lines Written() { return LinesOf(kFile); }

  std::unique_ptr<wkt::test::LoadedLog> log;
};
