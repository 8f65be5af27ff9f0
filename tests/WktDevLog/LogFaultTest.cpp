// The log while calls of the platform fail, and with what nobody should hand to it.
#include <gtest/gtest.h>

#include "host/control/Calls.h"
#include "platform/Registry.h"
#include "tests/WktDevLog/LogTest.h"

namespace {

using wkt::control::ClearFailures;
using wkt::control::FailCall;

class LogFault : public LogTest {
 protected:
  // 40 lines of 101 bytes, in front of an older file that cannot be replaced: the next line does
  // not fit any more.
  void FillFile() {
    device.SetNumber(kSettings, u"SizeLimit", 4096);
    device.MakeFolder(kOlderFile);
    Start();
    const std::u16string text(70, u'x');
    for (int i = 0; i < 40; ++i)
      log->Line(256, u"%s", text.c_str());
    ASSERT_EQ(device.ReadFile(kFile).size(), 4040u);
  }
  void WriteNext() {
    const std::u16string text(70, u'n');
    log->Line(256, u"%s", text.c_str());
  }
  // Written over a longer half line, a line has blanks behind it.
  Lines WrittenWithoutBlanks() {
    Lines lines = Written();
    for (std::string& line : lines)
      line.erase(line.find_last_not_of(' ') + 1);
    return lines;
  }

  const std::string next = kTime + "  256 " + std::string(70, 'n');
};

TEST_F(LogFault, WithoutAMutexLinesAreWrittenWithoutIt) {
  FailCall("CreateMutexW", 1, ERROR_NOT_ENOUGH_MEMORY);
  Start();
  EXPECT_FALSE(ClearFailures());
  wkt::control::CallRecording recording;
  log->Line(256, u"text");
  for (const std::string& call : wkt::control::CallNames(recording.Take()))
    EXPECT_TRUE(call != "WaitForSingleObject" && call != "ReleaseMutex") << call;
  EXPECT_EQ(Written(), Lines{kTime + "  256 text"});
}

TEST_F(LogFault, BehindAnEndThatCannotBeReadTheNextLineIsAppended) {
  device.WriteFile(kFile, "half|");
  Start();
  FailCall("ReadFile", 1, ERROR_READ_FAULT);
  log->Line(256, u"next");
  EXPECT_FALSE(ClearFailures());
  log->Line(256, u"last");
  EXPECT_EQ(Written(), (Lines{"half|" + kTime + "  256 next", kTime + "  256 last"}));
}

// A line of 35 bytes over a half one of 60 is 27 writes: the line, 25 blanks, the line feed.
TEST_F(LogFault, AHalfLineThatCouldNotBeWrittenOverIsWrittenOverByTheNext) {
  const std::string whole = kTime + "  256 whole\n";
  for (uint32_t nth = 1; nth <= 27; ++nth) {
    device.WriteFile(kFile, whole + std::string(60, 'h'));
    Start();
    FailCall("WriteFile", nth, ERROR_DISK_FULL);
    log->Line(256, u"next");
    EXPECT_FALSE(ClearFailures()) << nth;
    log->Line(256, u"last");
    EXPECT_EQ(
        WrittenWithoutBlanks(),
        (Lines{kTime + "  256 whole", kTime + "   16 1 lines lost: the log could not be written",
               kTime + "  256 last"}))
        << nth;
  }
}

TEST_F(LogFault, AFullFileThatCannotBeOpenedAgainTakesNoLine) {
  FillFile();
  FailCall("CreateFileW", 2, ERROR_SHARING_VIOLATION);  // the first tells the size
  WriteNext();
  EXPECT_FALSE(ClearFailures());
  EXPECT_EQ(device.ReadFile(kFile).size(), 4040u);
  WriteNext();
  const Lines lines = Written();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], kTime + "   16 1 lines lost: the log could not be written");
  EXPECT_EQ(lines.back(), next);
}

TEST_F(LogFault, AFullFileThatCannotBeReadStartsAnew) {
  FillFile();
  FailCall("ReadFile", 1, ERROR_READ_FAULT);
  WriteNext();
  EXPECT_FALSE(ClearFailures());
  EXPECT_EQ(Written(),
            (Lines{kTime + "   16 4040 bytes lost: the full log could not be put aside", next}));
}

// Not the lines that were kept either: they would stand there as if nothing were missing.
TEST_F(LogFault, WithoutTheNoticeOfWhatIsGoneNothingIsKept) {
  FillFile();
  FailCall("WriteFile", 1, ERROR_DISK_FULL);
  WriteNext();
  EXPECT_FALSE(ClearFailures());
  EXPECT_EQ(Written(), Lines{next});
}

// Somebody else's bytes in the place of the log: there is no whole line to keep.
TEST_F(LogFault, AFullFileWithoutAnyLineStartsAnew) {
  FillFile();
  device.WriteFile(kFile, std::string(4090, 'h'));
  WriteNext();
  EXPECT_EQ(Written(),
            (Lines{kTime + "   16 4090 bytes lost: the full log could not be put aside", next}));
}

TEST_F(LogFault, ANumberOfTwoBytesIsTheDefault) {
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kSettings, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key, nullptr),
            ERROR_SUCCESS);
  const BYTE zero[4] = {};
  for (const DWORD byteCount : {2u, 4u}) {
    ASSERT_EQ(RegSetValueExW(key, u"Levels", 0, REG_DWORD, zero, byteCount), ERROR_SUCCESS);
    Start();
    log->Line(256, u"%u bytes", byteCount);
  }
  RegCloseKey(key);
  EXPECT_EQ(Written(), Lines{kTime + "  256 2 bytes"});
}

TEST_F(LogFault, ASwitchThatCannotBeStoredCountsUntilTheNextLog) {
  Start();
  FailCall("RegCreateKeyExW", 1, ERROR_ACCESS_DENIED);
  log->setWriteToFile(FALSE);
  EXPECT_FALSE(ClearFailures());
  EXPECT_EQ(log->getWriteToFile(), FALSE);
  log->Line(256, u"lost");
  Start();
  EXPECT_EQ(log->getWriteToFile(), TRUE);
  log->Line(256, u"text");
  EXPECT_EQ(Written(), Lines{kTime + "  256 text"});
}

// A line's own room is 1024 bytes. Requests 1 and 2 are for the text, those behind them for the
// line, one for each character that does not fit.
TEST_F(LogFault, WithoutMemoryALineIsCutAtItsOwnRoomAndAtAWholeCharacter) {
  Start();
  const std::u16string text(1200, u'x');
  for (const std::u16string& end : {std::u16string(100, u'y'), std::u16string(100, u'\u20ac')}) {
    for (uint32_t nth = 3; nth < 500; ++nth)
      FailCall("LocalAlloc", nth, ERROR_NOT_ENOUGH_MEMORY);
    log->Line(256, u"%s%s", text.c_str(), end.c_str());
    EXPECT_TRUE(ClearFailures()) << "some were left";
    EXPECT_EQ(Written().back(), kTime + "  256 " + std::string(1023 - 30, 'x'));
  }
}

// In the second text the character is cut in two, and nothing stands behind its first half: looking
// there is for the sanitizers to see.
TEST_F(LogFault, HalfACharacterAtTheEndOfATextIsReplaced) {
  Start();
  log->Line(256, u"%s", u"a\xD83D");
  const std::u16string cut = std::u16string(16383, u'y') + u"\U0001F600";  // in its middle
  log->Line(256, u"%s", cut.c_str());
  EXPECT_EQ(Written(), (Lines{kTime + "  256 a\uFFFD",
                              kTime + "  256 " + std::string(16383, 'y') + "\uFFFD..."}));
}

TEST_F(LogFault, ALineWithoutAFormatIsNone) {
  Start();
  log->Line(256, nullptr);
  log->Line(256, u"next");
  EXPECT_EQ(Written(), Lines{kTime + "  256 next"});
}

}  // namespace
