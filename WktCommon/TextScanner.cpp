#include "WktCommon/TextScanner.h"

#include "platform/Runtime.h"

namespace {

constexpr int32_t kSplitCapacity = 100;
constexpr WCHAR kQuote = u'"';
constexpr WCHAR kLineFeed = u'\n';

}  // namespace

TextScanner::TextScanner(const WCHAR* newText, WideString::Source source) {
  TextScanner::SetText(newText, source);
}

void TextScanner::SetText(const WCHAR* newText, WideString::Source source) {
  lineCount = 0;
  Continue(newText, source);
}

void TextScanner::Continue(const WCHAR* newText, WideString::Source source) {
  text = WideString(newText, source);
  position = text.c_str();
  if (lineCount < 0)
    lineCount = 0;
  status = *position ? Status::Ready : Status::AtEnd;
}

void TextScanner::SetBlankLines(bool on) {
  lineFeedIsBlank = on;
}

void TextScanner::SetSpecialCharacter(WCHAR character) {
  specialCharacter = character;
}

bool TextScanner::HasMoreText() {
  while (!*position) {
    if (!Refill()) {
      status = Status::AtEnd;
      return false;
    }
  }
  status = Status::Ready;
  return true;
}

void TextScanner::Pass(const WCHAR* end) {
  for (; position != end; ++position) {
    if (*position == kLineFeed)
      ++lineCount;
  }
}

int32_t TextScanner::Peek() {
  return HasMoreText() ? *position : -1;
}

int32_t TextScanner::Get() {
  const int32_t character = Peek();
  if (character >= 0)
    Pass(position + 1);
  return character;
}

bool TextScanner::SkipOne() {
  return Get() >= 0;
}

bool TextScanner::SkipBlanks() {
  while (HasMoreText()) {
    const WCHAR character = *position;
    const bool blank = character == u' ' || character == u'\t' ||
                       (lineFeedIsBlank && character == kLineFeed) ||
                       (specialCharacter && character == specialCharacter);
    if (!blank)
      return true;
    Pass(position + 1);
  }
  return false;
}

bool TextScanner::SkipTo(WCHAR character) {
  while (HasMoreText()) {
    if (*position == character)
      return true;
    Pass(position + 1);
  }
  return false;
}

bool TextScanner::SkipRun(const WCHAR* separators) {
  while (HasMoreText()) {
    if (!wcschr(separators, *position))
      return true;
    Pass(position + 1);
  }
  return false;
}

bool TextScanner::ReadUpTo(const WCHAR* separators, WideString& piece) {
  piece.Empty();
  if (!HasMoreText())
    return false;
  do {
    const WCHAR* const separator = wcspbrk(position, separators);
    const WCHAR* const end = separator ? separator : position + wkt::TextLength(position);
    if (piece.IsEmpty()) {
      piece = WideString::FromUnits(position, static_cast<size_t>(end - position));
    } else {
      piece.AppendUnits(position, static_cast<size_t>(end - position));
    }
    Pass(end);
    if (separator)
      return true;
  } while (HasMoreText());
  return true;
}

bool TextScanner::ReadQuoted(WideString& piece) {
  piece.Empty();
  if (Peek() != kQuote)
    return false;
  Pass(position + 1);
  constexpr WCHAR kUpToQuote[] = {kQuote, 0};
  WideString part;
  while (ReadUpTo(kUpToQuote, part)) {
    piece.Append(part);
    if (!SkipOne())
      break;
    if (Peek() != kQuote)
      return true;
    piece.Append(kUpToQuote);
    Pass(position + 1);
  }
  // Unclosed: what was there is the text.
  return true;
}

bool TextScanner::ReadLine(WideString& line) {
  constexpr WCHAR kEndOfLine[] = {kLineFeed, 0};
  if (!ReadUpTo(kEndOfLine, line))
    return false;
  SkipOne();
  return true;
}

bool TextScanner::ReadClass(uint16_t characterClass, WideString& piece) {
  piece.Empty();
  while (HasMoreText() && iswctype(*position, characterClass)) {
    piece.AppendUnits(position, 1);
    Pass(position + 1);
  }
  return !piece.IsEmpty();
}

namespace wkt {

void Split(TextScanner& scanner, StringArray& outArray, const WCHAR* separators,
           SeparatorRuns runs) {
  StringArray pieces(kSplitCapacity, 0);
  WideString piece;
  while (scanner.ReadUpTo(separators, piece)) {
    pieces.Add(piece);
    if (runs == SeparatorRuns::Collapse) {
      scanner.SkipRun(separators);
    } else {
      scanner.SkipOne();
    }
  }
  // Last, because the text may lie in the array.
  outArray = pieces;
}

void Split(const WCHAR* text, StringArray& outArray, const WCHAR* separators, SeparatorRuns runs) {
  TextScanner scanner(text, WideString::Source::Borrow);
  Split(scanner, outArray, separators, runs);
}

void SplitAtText(const WCHAR* text, const WCHAR* separator, StringArray& outArray) {
  StringArray pieces(kSplitCapacity, 0);
  const size_t separatorUnits = TextLength(separator);
  if (text && *text) {
    const WCHAR* from = text;
    if (separatorUnits) {
      while (const WCHAR* const at = wcsstr(from, separator)) {
        pieces.Add(WideString::FromUnits(from, static_cast<size_t>(at - from)));
        from = at + separatorUnits;
      }
    }
    pieces.Add(WideString(from));
  }
  // Last, because the text may lie in the array.
  outArray = pieces;
}

}  // namespace wkt
