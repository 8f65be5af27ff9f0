#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

#include "host/control/Calls.h"
#include "platform/Files.h"
#include "platform/Registry.h"
#include "tests/WktDevLog/LoadedLog.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/KillChild.h"

namespace {

using Lines = std::vector<std::string>;
using wkt::test::LoadedLog;

constexpr char16_t kSettings[] = u"SOFTWARE\\Worktally\\WktDevLog";
constexpr char16_t kFile[] = u"\\Logging\\log.txt";
constexpr char16_t kOlderFile[] = u"\\Logging\\log.old.txt";
// 2026-03-02T08:00:00Z in Vienna.
const std::string kTime = "2026-03-02 09:00:00.000 ";

class WktDevLogTest : public wkt::test::DeskDeviceTest {
 protected:
  void SetUp() override {
    device.MakeInstallation();
    device.InstallLibraries({"WktDevLog"});
    device.MakeFolder(u"\\Logging");
    log = std::make_unique<LoadedLog>(u"\\Program Files\\Worktally\\WktDevLog.dll");
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
  pid_t Spawn(const char* name, const char* count) {
    const char* const arguments[] = {WKT_LOG_WRITER, device.Folder().c_str(), name, count, nullptr};
    pid_t process = -1;
    EXPECT_EQ(posix_spawn(&process, WKT_LOG_WRITER, nullptr, nullptr,
                          const_cast<char* const*>(arguments), environ),
              0);
    return process;
  }

  std::unique_ptr<LoadedLog> log;
};

TEST_F(WktDevLogTest, ALineHasTimeLevelAndText) {
  Start();
  log->Line(1024, u"%s version %d.%d build %d started.", u"WktDevSync.dll", 4, 2, 1);
  log->Line(8, u"Result (HRESULT) = %ld", -2147418113);
  EXPECT_EQ(Written(), (Lines{kTime + " 1024 WktDevSync.dll version 4.2 build 1 started.",
                              kTime + "    8 Result (HRESULT) = -2147418113"}));
}

TEST_F(WktDevLogTest, LinesAreIndentedByDepth) {
  Start();
  log->enter("Outer");
  log->Line(4, u"one");
  log->enter("CDataHandler::Setup");
  log->Line(256, u"two");
  log->leave("CDataHandler::Setup");
  log->leave("Outer");
  log->Line(256, u"three");
  EXPECT_EQ(Written(), (Lines{kTime + "    1 > Outer", kTime + "    4   one",
                              kTime + "    1   > CDataHandler::Setup", kTime + "  256     two",
                              kTime + "    2   < CDataHandler::Setup", kTime + "    2 < Outer",
                              kTime + "  256 three"}));
}

TEST_F(WktDevLogTest, ALeaveWithoutItsEnterDoesNotBreakTheDepth) {
  Start();
  log->leave("DllMain");
  log->leave(nullptr);
  log->enter("Next");
  log->Line(4, u"text");
  EXPECT_EQ(Written(), (Lines{kTime + "    2 < DllMain", kTime + "    2 < ?",
                              kTime + "    1 > Next", kTime + "    4   text"}));
}

TEST_F(WktDevLogTest, VeryDeepLinesStopMovingRight) {
  Start();
  for (int i = 0; i < 200; ++i)
    log->enter("f");
  log->Line(4, u"deep");
  EXPECT_EQ(Written().back(), kTime + "    4 " + std::string(80, ' ') + "deep");
}

TEST_F(WktDevLogTest, OnlyTheLevelsOfTheRegistryAreWritten) {
  device.SetNumber(kSettings, u"Levels", 32 | 128);
  Start();
  log->enter("Function");
  log->Line(32, u"failure");
  log->Line(256, u"progress");
  log->Line(128, u"warning");
  log->leave("Function");
  log->Line(32, u"again");
  EXPECT_EQ(Written(),
            (Lines{kTime + "   32   failure", kTime + "  128   warning", kTime + "   32 again"}));
}

TEST_F(WktDevLogTest, SettingsOfAnotherTypeAreTheDefaults) {
  device.SetText(kSettings, u"Levels", u"0");
  device.SetText(kSettings, u"WriteToFile", u"0");
  device.SetText(kSettings, u"SizeLimit", u"1");
  Start();
  EXPECT_EQ(log->getWriteToFile(), TRUE);
  log->Line(512, u"text");
  EXPECT_EQ(Written().size(), 1u);
}

TEST_F(WktDevLogTest, TheSwitchStopsWritingAndIsKept) {
  Start();
  EXPECT_EQ(log->getWriteToFile(), TRUE);
  log->Line(256, u"before");
  log->setWriteToFile(FALSE);
  EXPECT_EQ(log->getWriteToFile(), FALSE);
  log->Line(256, u"lost");
  Start();
  EXPECT_EQ(log->getWriteToFile(), FALSE);
  log->Line(256, u"lost, too");
  log->setWriteToFile(7);
  EXPECT_EQ(log->getWriteToFile(), TRUE);
  log->Line(256, u"after");
  EXPECT_EQ(Written(), (Lines{kTime + "  256 before", kTime + "  256 after"}));
}

TEST_F(WktDevLogTest, TheSwitchCanBeReadAndSetWithoutALog) {
  EXPECT_EQ(log->getWriteToFile(), TRUE);
  device.SetNumber(kSettings, u"WriteToFile", 0);
  EXPECT_EQ(log->getWriteToFile(), FALSE);
  log->setWriteToFile(TRUE);
  EXPECT_EQ(log->getWriteToFile(), TRUE);
  log->setWriteToFile(FALSE);
  Start();
  log->Line(256, u"lost");
  EXPECT_FALSE(device.FileExists(kFile));
  device.SetNumber(kSettings, u"WriteToFile", 1);  // read when a log begins
  EXPECT_EQ(log->getWriteToFile(), FALSE);
  log->exit();
  EXPECT_EQ(log->getWriteToFile(), TRUE);
}

TEST_F(WktDevLogTest, AFullFileBecomesTheOlderOne) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  Start();
  const std::u16string text(70, u'x');  // 30 before, 1 behind: 101 bytes a line
  for (int i = 0; i < 100; ++i)
    log->Line(256, u"%02d%s", i % 100, text.c_str() + 2);
  // 40 lines fit into 4096 bytes: 80 are full files, of which the older is kept.
  const Lines present = Written();
  const Lines older = LinesOf(kOlderFile);
  EXPECT_EQ(present.size(), 20u);
  EXPECT_EQ(older.size(), 40u);
  EXPECT_EQ(older.front().substr(30, 3), "40x");
  EXPECT_EQ(present.back().substr(30, 3), "99x");
}

// The file has a hole of two gigabytes in front of its last line feed.
TEST_F(WktDevLogTest, LinesGoBehindTheSecondGigabyte) {
  device.SetNumber(kSettings, u"SizeLimit", 0xFFFFFFFF);
  device.WriteFile(kFile, "first\n");
  constexpr std::streamoff kEnd = (std::streamoff{1} << 31) + 1000;
  std::fstream file(device.MachinePath(kFile), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(kEnd - 1).put('\n').flush();
  Start();
  log->Line(256, u"next");
  std::string line;
  file.seekg(kEnd);
  EXPECT_TRUE(std::getline(file, line));
  EXPECT_EQ(line, kTime + "  256 next");
  file.seekg(0);
  EXPECT_TRUE(std::getline(file, line));
  EXPECT_EQ(line, "first");
}

TEST_F(WktDevLogTest, ASizeLimitBelowTheSmallestIsTheSmallest) {
  device.SetNumber(kSettings, u"SizeLimit", 0);
  Start();
  for (int i = 0; i < 30; ++i)
    log->Line(256, u"line");
  EXPECT_EQ(Written().size(), 30u);
  EXPECT_FALSE(device.FileExists(kOlderFile));
}

TEST_F(WktDevLogTest, OneCallIsOneLineWhateverTheText) {
  Start();
  log->Line(256, u"a\nb\r\tc\x1b\x7f");
  log->Line(256, u"%s", u"");
  log->enter("f\ng");
  EXPECT_EQ(Written(), (Lines{kTime + "  256 a\\nb\\r\\tc\\x1B\\x7F", kTime + "  256 ",
                              kTime + "    1 > f\\ng"}));
}

TEST_F(WktDevLogTest, TextsAreUtf8) {
  Start();
  log->Line(256, u"%s", u"\u00e4\u20ac\U0001F600|\xD800|\xDC00|");
  EXPECT_EQ(Written(), Lines{kTime + "  256 \u00e4\u20ac\U0001F600|\uFFFD|\uFFFD|"});
}

TEST_F(WktDevLogTest, LongTextsAreWholeUpTo16384CharactersAndThenCut) {
  Start();
  for (const size_t length : {255u, 256u, 257u, 16384u}) {
    const std::u16string text(length, u'y');
    log->Line(256, u"%s", text.c_str());
    EXPECT_EQ(Written().back(), kTime + "  256 " + std::string(length, 'y'));
  }
  const std::u16string text(16385, u'y');
  log->Line(256, u"%s", text.c_str());
  EXPECT_EQ(Written().back(), kTime + "  256 " + std::string(16384, 'y') + "...");
}

TEST_F(WktDevLogTest, BeforeInitAndAfterExitNothingIsWritten) {
  log->Line(256, u"before");
  log->enter("f");
  log->leave("f");
  EXPECT_FALSE(device.FileExists(kFile));
  Start();
  log->Line(256, u"between");
  log->exit();
  log->Line(256, u"after");
  EXPECT_EQ(Written(), Lines{kTime + "  256 between"});
}

TEST_F(WktDevLogTest, PlacesWithoutAFileAreTolerated) {
  const std::u16string tooLong = u"\\" + std::u16string(300, u'x');
  const char16_t* const paths[] = {nullptr, u"", u"\\Missing\\log.txt", tooLong.c_str()};
  for (const char16_t* const path : paths) {
    log->init(u"test", path);
    log->enter("f");
    log->Line(256, u"text");
    log->leave("f");
  }
  log->init(nullptr, kFile);
  log->Line(256, u"text");
  EXPECT_EQ(Written().size(), 1u);
}

TEST_F(WktDevLogTest, AHalfLineLeftBehindIsWrittenOver) {
  const std::string whole = kTime + "  256 whole\n";
  for (const size_t half : {1u, 20u, 35u, 36u, 37u, 600u}) {
    device.WriteFile(kFile, whole + std::string(half, 'h'));
    Start();
    log->Line(256, u"next");
    log->Line(256, u"last");
    const Lines lines = Written();
    ASSERT_EQ(lines.size(), 3u) << half;
    EXPECT_EQ(lines[1].substr(0, 34), kTime + "  256 next") << half;
    EXPECT_EQ(lines[1].find_first_not_of(' ', 34), std::string::npos) << half;
    EXPECT_EQ(lines[2], kTime + "  256 last") << half;
  }
  device.WriteFile(kFile, std::string(700, 'h'));
  Start();
  log->Line(256, u"only");
  EXPECT_EQ(Written().size(), 1u);
}

TEST_F(WktDevLogTest, AHalfLineIsNotPutAsideWithAFullFile) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  const std::string whole = kTime + "  256 whole\n";
  device.WriteFile(kFile, whole + std::string(4090, 'h'));
  Start();
  log->Line(256, u"next");
  log->Line(256, u"last");
  const Lines older = LinesOf(kOlderFile);  // ends in a line feed
  ASSERT_EQ(older.size(), 2u);
  EXPECT_EQ(older[1].substr(0, 34), kTime + "  256 next");
  EXPECT_EQ(Written(), Lines{kTime + "  256 last"});
}

// A folder of its name is in the way of the older file, as a file that somebody holds would be.
TEST_F(WktDevLogTest, AFullFileThatCannotBePutAsideKeepsItsNewerHalf) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  device.MakeFolder(kOlderFile);
  Start();
  const std::u16string text(70, u'x');  // 101 bytes a line, 40 lines in 4040 bytes
  for (int i = 0; i < 41; ++i)
    log->Line(256, u"%02d%s", i, text.c_str() + 2);
  Lines lines = Written();
  // Half of 4096 bytes are 20 lines; what is lost of 4040 are the other 20.
  ASSERT_EQ(lines.size(), 22u);
  EXPECT_EQ(lines[0], kTime + "   16 2020 bytes lost: the full log could not be put aside");
  EXPECT_EQ(lines[1].substr(30, 3), "20x");
  EXPECT_EQ(lines[20].substr(30, 3), "39x");
  EXPECT_EQ(lines[21].substr(30, 3), "40x");
  for (int i = 41; i < 500; ++i) {
    log->Line(256, u"%02d%s", i % 100, text.c_str() + 2);
    ASSERT_LE(device.ReadFile(kFile).size(), 4096u) << i;
  }
  lines = Written();
  EXPECT_EQ(lines.back().substr(30, 3), "99x");
  for (size_t i = 2; i < lines.size(); ++i)
    EXPECT_EQ(lines[i].size(), 100u) << i;
  // As soon as nothing is in the way any more, the full file becomes the older one.
  ASSERT_TRUE(RemoveDirectoryW(kOlderFile));
  for (int i = 0; i < 40; ++i)
    log->Line(256, u"%s", text.c_str());
  EXPECT_GT(LinesOf(kOlderFile).size(), 20u);
}

TEST_F(WktDevLogTest, AFullFileThatCannotBePutAsideMakesRoomForALongLine) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  device.MakeFolder(kOlderFile);
  Start();
  const std::u16string half(1500, u'a');
  const std::u16string most(3500, u'b');
  for (int i = 0; i < 2; ++i)
    log->Line(256, u"%s", half.c_str());
  log->Line(256, u"%s", most.c_str());
  EXPECT_EQ(Written(), (Lines{kTime + "   16 3062 bytes lost: the full log could not be put aside",
                              kTime + "  256 " + std::string(3500, 'b')}));
  const std::u16string over(5000, u'c');  // longer than the limit: alone behind the notice
  log->Line(256, u"%s", over.c_str());
  EXPECT_EQ(Written().size(), 2u);
  EXPECT_EQ(Written().back(), kTime + "  256 " + std::string(5000, 'c'));
  log->Line(256, u"next");
  EXPECT_EQ(Written().back(), kTime + "  256 next");
}

TEST_F(WktDevLogTest, WithoutMemoryAFullFileThatCannotBePutAsideStartsAnew) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  device.MakeFolder(kOlderFile);
  Start();
  const std::u16string text(70, u'x');
  for (int i = 0; i < 40; ++i)
    log->Line(256, u"%s", text.c_str());
  wkt::control::FailCall("LocalAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
  log->Line(256, u"%s", text.c_str());
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_EQ(Written(), (Lines{kTime + "   16 4040 bytes lost: the full log could not be put aside",
                              kTime + "  256 " + std::string(70, 'x')}));
}

// Neither put aside nor shortened: the new lines are lost, the file stays as it is.
TEST_F(WktDevLogTest, AFullFileThatCannotBeShortenedTakesNoMoreLines) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  device.MakeFolder(kOlderFile);
  Start();
  const std::u16string text(70, u'x');
  for (int i = 0; i < 40; ++i)
    log->Line(256, u"%s", text.c_str());
  // Opened for its size, again after the failed move, and shortened.
  wkt::control::FailCall("CreateFileW", 3, ERROR_SHARING_VIOLATION);
  log->Line(256, u"%s", text.c_str());
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_EQ(device.ReadFile(kFile).size(), 4040u);
  log->Line(256, u"next");
  const Lines lines = Written();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[lines.size() - 2], kTime + "   16 1 lines lost: the log could not be written");
  EXPECT_EQ(lines.back(), kTime + "  256 next");
}

TEST_F(WktDevLogTest, LinesThatCannotBeWrittenAreCounted) {
  Start();
  log->Line(256, u"first");
  wkt::control::FailCall("WriteFile", 1, ERROR_DISK_FULL);
  log->Line(256, u"gone");
  wkt::control::FailCall("CreateFileW", 1, ERROR_ACCESS_DENIED);
  log->Line(256, u"only its notice is");  // the notice is told again before the next line
  EXPECT_FALSE(wkt::control::ClearFailures());
  log->Line(256, u"next");
  log->Line(256, u"last");
  const Lines lines = Written();
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[1].substr(24), "  256 only its notice is");
  EXPECT_EQ(lines[2].substr(24), "   16 1 lines lost: the log could not be written");
  EXPECT_EQ(lines[3].substr(24), "  256 next");
}

TEST_F(WktDevLogTest, WithoutMemoryALineStillEnds) {
  Start();
  wkt::control::FailCall("LocalAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
  const std::u16string text(200, u'x');
  // Five times 200 and what stands before fill the line's own room.
  log->Line(256, u"%s%s%s%s%s%s", text.c_str(), text.c_str(), text.c_str(), text.c_str(),
            text.c_str(), text.c_str());
  (void)wkt::control::ClearFailures();
  log->Line(256, u"next");
  const Lines lines = Written();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1], kTime + "  256 next");
}

TEST_F(WktDevLogTest, LinesOfTwoProcessesAreWholeAndAllThere) {
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
    if (text.rfind("own ", 0) == 0)
      EXPECT_EQ(text, "own " + std::to_string(++own) + ".");
    else
      EXPECT_EQ(text.rfind("other " + std::to_string(++others) + " ", 0), 0u) << text;
  }
  EXPECT_EQ(own, 300);
  EXPECT_EQ(others, 300);
}

TEST_F(WktDevLogTest, AKilledProcessLeavesWholeLinesToTheNextWriter) {
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
TEST_F(WktDevLogTest, AProcessKilledWhileItShortensTheFileLeavesWholeLines) {
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

TEST_F(WktDevLogTest, WhileAnotherHoldsTheLogLinesAreLostAndCounted) {
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
