#include <gtest/gtest.h>

#include <fstream>

#include "host/control/Calls.h"
#include "platform/Files.h"
#include "tests/WktDevLog/LogTest.h"

namespace {

class LogFile : public LogTest {
 protected:
  // At most 4096 bytes, with something in the place of the older file.
  void StartWhereNothingCanBePutAside() {
    device.SetNumber(kSettings, u"SizeLimit", 4096);
    device.MakeFolder(kOlderFile);
    Start();
  }
  // With their numbers at the start of 70 characters. 30 stand before, 1 behind: 101 bytes a line,
  // 40 lines in 4040 bytes.
  void WriteLines(int first, int end) {
    for (int i = first; i < end; ++i)
      WriteLine(i);
  }
  void WriteLine(int number) {
    log->Line(256, u"%02d%s", number % 100, std::u16string(68, u'x').c_str());
  }
};

TEST_F(LogFile, AFullFileBecomesTheOlderOne) {
  device.SetNumber(kSettings, u"SizeLimit", 4096);
  Start();
  WriteLines(0, 100);
  // 40 lines fit into 4096 bytes: 80 are full files, of which the older is kept.
  const Lines present = Written();
  const Lines older = LinesOf(kOlderFile);
  EXPECT_EQ(present.size(), 20u);
  EXPECT_EQ(older.size(), 40u);
  EXPECT_EQ(older.front().substr(30, 3), "40x");
  EXPECT_EQ(present.back().substr(30, 3), "99x");
}

// The file has a hole of two gigabytes in front of its last line feed.
TEST_F(LogFile, LinesGoBehindTheSecondGigabyte) {
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

TEST_F(LogFile, ASizeLimitBelowTheSmallestIsTheSmallest) {
  device.SetNumber(kSettings, u"SizeLimit", 0);
  Start();
  for (int i = 0; i < 30; ++i)
    log->Line(256, u"line");
  EXPECT_EQ(Written().size(), 30u);
  EXPECT_FALSE(device.FileExists(kOlderFile));
}

TEST_F(LogFile, AHalfLineLeftBehindIsWrittenOver) {
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

TEST_F(LogFile, AHalfLineIsNotPutAsideWithAFullFile) {
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
TEST_F(LogFile, AFullFileThatCannotBePutAsideKeepsItsNewerHalf) {
  StartWhereNothingCanBePutAside();
  WriteLines(0, 41);
  Lines lines = Written();
  // Half of 4096 bytes are 20 lines; what is lost of 4040 are the other 20.
  ASSERT_EQ(lines.size(), 22u);
  EXPECT_EQ(lines[0], kTime + "   16 2020 bytes lost: the full log could not be put aside");
  EXPECT_EQ(lines[1].substr(30, 3), "20x");
  EXPECT_EQ(lines[20].substr(30, 3), "39x");
  EXPECT_EQ(lines[21].substr(30, 3), "40x");
  for (int i = 41; i < 500; ++i) {
    WriteLine(i);
    ASSERT_LE(device.ReadFile(kFile).size(), 4096u) << i;
  }
  lines = Written();
  EXPECT_EQ(lines.back().substr(30, 3), "99x");
  for (size_t i = 2; i < lines.size(); ++i)
    EXPECT_EQ(lines[i].size(), 100u) << i;
  // As soon as nothing is in the way any more, the full file becomes the older one.
  ASSERT_TRUE(RemoveDirectoryW(kOlderFile));
  WriteLines(0, 40);
  EXPECT_GT(LinesOf(kOlderFile).size(), 20u);
}

TEST_F(LogFile, AFullFileThatCannotBePutAsideMakesRoomForALongLine) {
  StartWhereNothingCanBePutAside();
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

TEST_F(LogFile, WithoutMemoryAFullFileThatCannotBePutAsideStartsAnew) {
  StartWhereNothingCanBePutAside();
  WriteLines(0, 40);
  wkt::control::FailCall("LocalAlloc", 1, ERROR_NOT_ENOUGH_MEMORY);
  WriteLine(40);
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_EQ(Written(), (Lines{kTime + "   16 4040 bytes lost: the full log could not be put aside",
                              kTime + "  256 40" + std::string(68, 'x')}));
}

// Neither put aside nor shortened: the new lines are lost, the file stays as it is.
TEST_F(LogFile, AFullFileThatCannotBeShortenedTakesNoMoreLines) {
  StartWhereNothingCanBePutAside();
  WriteLines(0, 40);
  // Opened for its size, again after the failed move, and shortened.
  wkt::control::FailCall("CreateFileW", 3, ERROR_SHARING_VIOLATION);
  WriteLine(40);
  EXPECT_FALSE(wkt::control::ClearFailures());
  EXPECT_EQ(device.ReadFile(kFile).size(), 4040u);
  log->Line(256, u"next");
  const Lines lines = Written();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[lines.size() - 2], kTime + "   16 1 lines lost: the log could not be written");
  EXPECT_EQ(lines.back(), kTime + "  256 next");
}

TEST_F(LogFile, LinesThatCannotBeWrittenAreCounted) {
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

}  // namespace
