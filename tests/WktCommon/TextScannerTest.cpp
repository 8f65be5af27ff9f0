#include "WktCommon/TextScanner.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Runtime.h"
#include "tests/support/Text.h"

namespace {

using wkt::test::Narrow;
using Pieces = std::vector<std::string>;

Pieces PiecesOf(const StringArray& array) {
  Pieces out;
  for (int32_t i = 0; i < array.GetCount(); ++i)
    out.push_back(Narrow(array.At(i).c_str()));
  return out;
}

Pieces SplitPieces(const WCHAR* text, const WCHAR* separators, wkt::SeparatorRuns runs) {
  StringArray array;
  array.Add(u"left over");
  wkt::Split(text, array, separators, runs);
  EXPECT_EQ(array.GetCapacity() % 100, 0);
  return PiecesOf(array);
}

TEST(Split, CutsAtEachSeparatorCharacter) {
  const auto keep = wkt::SeparatorRuns::Keep;
  EXPECT_EQ(SplitPieces(u"0\n0\n0\n0", u"\n", keep), (Pieces{"0", "0", "0", "0"}));
  EXPECT_EQ(SplitPieces(u"a\n\nb", u"\n", keep), (Pieces{"a", "", "b"}));
  EXPECT_EQ(SplitPieces(u"a", u"\n", keep), (Pieces{"a"}));
  EXPECT_EQ(SplitPieces(u"\na", u"\n", keep), (Pieces{"", "a"}));
  EXPECT_EQ(SplitPieces(u"a;b,c", u",;", keep), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(SplitPieces(u"a; b", u"; ", keep), (Pieces{"a", "", "b"}));
}

TEST(Split, ASeparatorAtTheVeryEndAddsNoPiece) {
  const auto keep = wkt::SeparatorRuns::Keep;
  EXPECT_EQ(SplitPieces(u"a\n", u"\n", keep), (Pieces{"a"}));
  EXPECT_EQ(SplitPieces(u"a\n\n", u"\n", keep), (Pieces{"a", ""}));
  EXPECT_EQ(SplitPieces(u"\n", u"\n", keep), (Pieces{""}));
}

TEST(Split, AnEmptyTextHasNoPieces) {
  EXPECT_EQ(SplitPieces(u"", u"\n", wkt::SeparatorRuns::Keep), Pieces{});
  EXPECT_EQ(SplitPieces(nullptr, u"\n", wkt::SeparatorRuns::Collapse), Pieces{});
}

TEST(Split, ARunOfSeparatorsCountsOnceWhenCollapsed) {
  const auto collapse = wkt::SeparatorRuns::Collapse;
  EXPECT_EQ(SplitPieces(u"a;; ;b", u"; ", collapse), (Pieces{"a", "b"}));
  EXPECT_EQ(SplitPieces(u";;a;;", u";", collapse), (Pieces{"", "a"}));
}

TEST(Split, MoreThanAHundredPiecesDoubleTheCapacity) {
  std::u16string text;
  for (int i = 0; i < 150; ++i)
    text += u"x\n";
  StringArray array;
  wkt::Split(text.c_str(), array, u"\n");
  EXPECT_EQ(array.GetCount(), 150);
  EXPECT_EQ(array.GetCapacity(), 200);
}

TEST(Split, ATextOfTheListItselfCanBeSplit) {
  // Of any length, since memory given back is taken first by what has its size.
  for (size_t length = 1; length < 40; ++length) {
    const std::u16string first(length, u'x');
    for (const auto runs : {wkt::SeparatorRuns::Keep, wkt::SeparatorRuns::Collapse}) {
      StringArray array;
      array.Add((first + u"\nyy").c_str());
      wkt::Split(array.At(0).c_str(), array, u"\n", runs);
      EXPECT_EQ(PiecesOf(array), (Pieces{std::string(length, 'x'), "yy"}));
    }
  }
}

TEST(SplitAtText, CutsAtTheWholeSeparatorOnly) {
  const auto pieces = [](const WCHAR* text, const WCHAR* separator) {
    StringArray array;
    wkt::SplitAtText(text, separator, array);
    return PiecesOf(array);
  };
  EXPECT_EQ(pieces(u"a; b; c", u"; "), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(pieces(u"a;b; c d", u"; "), (Pieces{"a;b", "c d"}));
  EXPECT_EQ(pieces(u"a;  b", u"; "), (Pieces{"a", " b"}));
  EXPECT_EQ(pieces(u"; ; ", u"; "), (Pieces{"", "", ""}));
  EXPECT_EQ(pieces(u"a; ", u"; "), (Pieces{"a", ""}));
  EXPECT_EQ(pieces(u"a;", u"; "), (Pieces{"a;"}));
  EXPECT_EQ(pieces(u"", u"; "), Pieces{});
  EXPECT_EQ(pieces(nullptr, u"; "), Pieces{});
  EXPECT_EQ(pieces(u"a; b", u""), (Pieces{"a; b"}));
}

TEST(SplitAtText, JoiningGivesTheTextBack) {
  for (const WCHAR* const text : {u"", u"a", u"a; b; c", u"; ", u"a; ", u" a;;  b;", u"; ; x"}) {
    StringArray array;
    wkt::SplitAtText(text, u"; ", array);
    EXPECT_EQ(Narrow(wkt::JoinTexts(array, u"; ").c_str()), Narrow(text));
  }
}

TEST(SplitAtText, ATextOfTheListItselfCanBeSplit) {
  StringArray array;
  array.Add(u"a; b");
  wkt::SplitAtText(array.At(0).c_str(), u"; ", array);
  EXPECT_EQ(PiecesOf(array), (Pieces{"a", "b"}));
}

TEST(TextScanner, WithoutTextEveryReaderFails) {
  TextScanner scanner;
  WideString piece(u"before");
  EXPECT_EQ(scanner.GetLineCount(), -1);
  EXPECT_EQ(scanner.GetStatus(), TextScanner::Status::AtEnd);
  EXPECT_EQ(scanner.Peek(), -1);
  EXPECT_EQ(scanner.Get(), -1);
  EXPECT_FALSE(scanner.SkipOne());
  EXPECT_FALSE(scanner.SkipBlanks());
  EXPECT_FALSE(scanner.SkipRun(u";"));
  EXPECT_FALSE(scanner.SkipTo(u'x'));
  EXPECT_FALSE(scanner.ReadUpTo(u";", piece));
  EXPECT_TRUE(piece.IsEmpty());
  EXPECT_FALSE(scanner.ReadQuoted(piece));
  EXPECT_FALSE(scanner.ReadLine(piece));
  EXPECT_FALSE(scanner.ReadClass(_DIGIT, piece));
  EXPECT_TRUE(scanner.IsAtEnd());
}

TEST(TextScanner, CountsTheLinesItPasses) {
  TextScanner scanner(u"a\nb\nc");
  EXPECT_EQ(scanner.GetLineCount(), 0);
  EXPECT_EQ(scanner.Get(), u'a');
  EXPECT_EQ(scanner.Get(), u'\n');
  EXPECT_EQ(scanner.GetLineCount(), 1);
  EXPECT_TRUE(scanner.SkipTo(u'c'));
  EXPECT_EQ(scanner.GetLineCount(), 2);
  EXPECT_EQ(scanner.Peek(), u'c');
  EXPECT_FALSE(scanner.SkipTo(u'z'));
  EXPECT_TRUE(scanner.IsAtEnd());
  scanner.SetText(u"new", WideString::Source::Copy);
  EXPECT_EQ(scanner.GetLineCount(), 0);
  EXPECT_TRUE(scanner.HasMoreText());
}

TEST(TextScanner, BlanksIncludeLineFeedsOnlyWhenAsked) {
  TextScanner scanner(u" \t\nx");
  EXPECT_TRUE(scanner.SkipBlanks());
  EXPECT_EQ(scanner.Peek(), u'\n');
  scanner.SetBlankLines(true);
  EXPECT_TRUE(scanner.SkipBlanks());
  EXPECT_EQ(scanner.Peek(), u'x');
  scanner.SetText(u"##x", WideString::Source::Copy);
  EXPECT_TRUE(scanner.SkipBlanks());
  EXPECT_EQ(scanner.Peek(), u'#');
  scanner.SetSpecialCharacter(u'#');
  EXPECT_TRUE(scanner.SkipBlanks());
  EXPECT_EQ(scanner.Peek(), u'x');
}

TEST(TextScanner, ReadsQuotedTextWithDoubledQuotes) {
  TextScanner scanner(u"\"a \"\"b\"\" c\" rest");
  WideString piece;
  EXPECT_TRUE(scanner.ReadQuoted(piece));
  EXPECT_EQ(Narrow(piece.c_str()), "a \"b\" c");
  EXPECT_EQ(scanner.Peek(), u' ');
  EXPECT_FALSE(scanner.ReadQuoted(piece));
  scanner.SetText(u"\"open", WideString::Source::Copy);
  EXPECT_TRUE(scanner.ReadQuoted(piece));
  EXPECT_EQ(Narrow(piece.c_str()), "open");
  EXPECT_TRUE(scanner.IsAtEnd());
  scanner.SetText(u"\"", WideString::Source::Copy);
  EXPECT_TRUE(scanner.ReadQuoted(piece));
  EXPECT_EQ(Narrow(piece.c_str()), "");
  EXPECT_TRUE(scanner.IsAtEnd());
}

TEST(TextScanner, ReadsLinesAndClasses) {
  TextScanner scanner(u"123abc\n\nlast");
  WideString piece;
  EXPECT_TRUE(scanner.ReadClass(_DIGIT, piece));
  EXPECT_EQ(Narrow(piece.c_str()), "123");
  EXPECT_FALSE(scanner.ReadClass(_DIGIT, piece));
  EXPECT_TRUE(scanner.ReadLine(piece));
  EXPECT_EQ(Narrow(piece.c_str()), "abc");
  EXPECT_TRUE(scanner.ReadLine(piece));
  EXPECT_EQ(Narrow(piece.c_str()), "");
  EXPECT_TRUE(scanner.ReadLine(piece));
  EXPECT_EQ(Narrow(piece.c_str()), "last");
  EXPECT_FALSE(scanner.ReadLine(piece));
  EXPECT_EQ(scanner.GetLineCount(), 2);
}

// Delivers its text in chunks of one to three characters.
class ChunkScanner : public TextScanner {
 protected:
  bool Refill() override {
    constexpr const WCHAR* kChunks[] = {u"ab", u"", u"c\n", u"d", u"ef;"};
    if (next == std::size(kChunks))
      return false;
    Continue(kChunks[next++], WideString::Source::Copy);
    return true;
  }

 private:
  size_t next = 0;
};

TEST(TextScanner, ReadsAcrossChunksOfARefillingSource) {
  ChunkScanner scanner;
  StringArray pieces;
  wkt::Split(scanner, pieces, u"\n", wkt::SeparatorRuns::Keep);
  EXPECT_EQ(PiecesOf(pieces), (Pieces{"abc", "def;"}));
  EXPECT_EQ(scanner.GetLineCount(), 1);
}

}  // namespace
