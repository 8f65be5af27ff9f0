#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "platform/Kernel.h"
#include "tests/WktDevLog/LogTest.h"
#include "tests/support/KillChild.h"

namespace {

class LogProcesses : public LogTest {
 protected:
  pid_t Spawn(const char* name, const char* count) {
    const char* const arguments[] = {WKT_LOG_WRITER, device.Folder().c_str(), name, count, nullptr};
    pid_t process = -1;
    EXPECT_EQ(posix_spawn(&process, WKT_LOG_WRITER, nullptr, nullptr,
                          const_cast<char* const*>(arguments), environ),
              0);
    return process;
  }
};

TEST_F(LogProcesses, LinesOfTwoProcessesAreWholeAndAllThere) {
  const pid_t other = Spawn("other", "300");
  Start();
  for (int i = 1; i <= 300; ++i)
    log->Line(256, u"own %d.", i);
  int status = -1;
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(status, 0);
  int own = 0;
  int others = 0;
  for (const std::string& line : Written()) {
    ASSERT_EQ(line.substr(0, kTime.size()), kTime);
    ASSERT_EQ(line.back(), '.');
    const std::string text = line.substr(30);
    if (text.rfind("own ", 0) == 0) {
      EXPECT_EQ(text, "own " + std::to_string(++own) + ".");
    } else {
      EXPECT_EQ(text.rfind("other " + std::to_string(++others) + " ", 0), 0u) << text;
    }
  }
  EXPECT_EQ(own, 300);
  EXPECT_EQ(others, 300);
}

TEST_F(LogProcesses, AKilledProcessLeavesWholeLinesToTheNextWriter) {
  for (int round = 0; round < 5; ++round) {
    const pid_t other = Spawn("endless", "0");
    for (int waits = 0; waits < 500 && Written().size() < 20; ++waits)
      usleep(10000);
    wkt::test::KillChild(other);
    waitpid(other, nullptr, 0);
    Start();
    log->Line(256, u"own.");
    const Lines lines = Written();
    ASSERT_GE(lines.size(), 21u);
    for (const std::string& line : lines) {
      ASSERT_EQ(line.substr(0, kTime.size()), kTime);
      ASSERT_EQ(line[line.find_last_not_of(' ')], '.') << line;
    }
    EXPECT_EQ(lines.back().substr(30, 4), "own.");
    device.WriteFile(kFile, "");
  }
}

// Hundreds of times a second it drops half of the file, since the older one is in the way.
TEST_F(LogProcesses, AProcessKilledWhileItShortensTheFileLeavesWholeLines) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  device.MakeFolder(kOlderFile);
  for (int round = 0; round < 10; ++round) {
    const pid_t other = Spawn("endless", "0");
    const auto isShortened = [this] {
      return device.ReadFile(kFile).find("bytes lost") != std::string::npos;
    };
    bool wasShortened = false;
    for (int waits = 0; waits < 500 && !wasShortened; ++waits) {
      usleep(10000);
      wasShortened = isShortened();
    }
    EXPECT_TRUE(wasShortened);
    usleep(static_cast<useconds_t>(round) * 1700);
    wkt::test::KillChild(other);
    waitpid(other, nullptr, 0);
    Start();
    log->Line(256, u"own.");
    const Lines lines = Written();
    ASSERT_FALSE(lines.empty());
    for (const std::string& line : lines) {
      ASSERT_EQ(line.substr(0, kTime.size()), kTime);
      if (line.find(" lost: ") == std::string::npos) {
        ASSERT_EQ(line[line.find_last_not_of(' ')], '.') << line;
      }
    }
    EXPECT_EQ(lines.back().substr(30, 4), "own.");
    EXPECT_LE(device.ReadFile(kFile).size(), 4096u + 256u) << "the half line is written over first";
    device.WriteFile(kFile, "");
  }
}

TEST_F(LogProcesses, WhileAnotherHoldsTheLogLinesAreLostAndCounted) {
  Start();
  log->Line(256, u"before");
  HANDLE mutex = CreateMutexW(nullptr, FALSE, u"WktDevLog");
  ASSERT_NE(mutex, nullptr);
  bool held = false;
  std::thread holder([&] { held = WaitForSingleObject(mutex, INFINITE) == WAIT_OBJECT_0; });
  holder.join();  // it ends without giving the mutex back: abandoned, and so taken over
  EXPECT_TRUE(held);
  log->Line(256, u"taken over");
  std::thread([&] {
    ASSERT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    std::thread([&] {
      log->Line(256, u"lost");  // waits two seconds, in vain
      log->Line(256, u"lost, at once");
    }).join();
    EXPECT_TRUE(ReleaseMutex(mutex));
  }).join();
  log->Line(256, u"after");
  EXPECT_EQ(Written(), (Lines{kTime + "  256 before", kTime + "  256 taken over",
                              kTime + "   16 2 lines lost: another process held the log",
                              kTime + "  256 after"}));
  CloseHandle(mutex);
}

}  // namespace
