#include <gtest/gtest.h>

#include "host/control/Calls.h"
#include "tests/WktDevLog/LogTest.h"

namespace {

using WktDevLogTest = LogTest;

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

}  // namespace
