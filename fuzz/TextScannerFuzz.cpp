// Any text through the scanner and the ways to split it.
#include "WktCommon/StringArray.h"
#include "WktCommon/TextScanner.h"
#include "fuzz/FuzzInput.h"

namespace {

using wkt::fuzz::Require;

void SplitAndCompare(const WCHAR* text, wkt::SeparatorRuns runs) {
  StringArray pieces;
  wkt::Split(text, pieces, u"\n;", runs);
  int32_t units = 0;
  for (int32_t i = 0; i < pieces.GetCount(); ++i) {
    const WideString& piece = pieces.At(i);
    units += piece.Length();
    Require(piece.FindCharacter(u'\n') < 0 && piece.FindCharacter(u';') < 0,
            "no separator in a piece");
  }
  Require(units <= static_cast<int32_t>(wkt::TextLength(text)), "pieces come from the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  const wkt::fuzz::InputText text(data, byteCount);
  SplitAndCompare(text.Get(), wkt::SeparatorRuns::Keep);
  SplitAndCompare(text.Get(), wkt::SeparatorRuns::Collapse);
  StringArray pieces;
  wkt::SplitAtText(text.Get(), u"; ", pieces);
  Require(wkt::JoinTexts(pieces, u"; ").Equals(text.Get()), "joining undoes splitting");
  return 0;
}
