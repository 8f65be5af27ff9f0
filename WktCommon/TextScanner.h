#pragma once

#include <cstdint>

#include "WktCommon/StringArray.h"
#include "WktCommon/WideString.h"

// Reads a text from front to back. A descendant may deliver the text chunk by chunk through
// `Refill`; every reading operation first makes sure that text is available and fails at the end.
class TextScanner {
 public:
  enum class Status { Ready, AtEnd };

  TextScanner() = default;
  explicit TextScanner(const WCHAR* newText, WideString::Source source = WideString::Source::Copy);
  TextScanner(const TextScanner&) = delete;
  TextScanner& operator=(const TextScanner&) = delete;
  virtual ~TextScanner() = default;

  // A borrowed text has to outlive the scanner. Line counting starts at 0.
  virtual void SetText(const WCHAR* newText, WideString::Source source);
  virtual bool HasMoreText();
  [[nodiscard]] bool IsAtEnd() { return !HasMoreText(); }
  [[nodiscard]] Status GetStatus() const { return status; }
  // Line feeds passed so far; -1 before any text is set.
  [[nodiscard]] int32_t GetLineCount() const { return lineCount; }
  // With the option a line feed counts as a blank.
  virtual void SetBlankLines(bool on);
  // One more character that `SkipBlanks` passes over; 0 = none.
  virtual void SetSpecialCharacter(WCHAR character);

  // The present character, or -1 at the end; `Get` also passes it.
  virtual int32_t Peek();
  virtual int32_t Get();
  virtual bool SkipOne();
  virtual bool SkipBlanks();
  // Stops on the character; false when the text ends before it.
  virtual bool SkipTo(WCHAR character);
  // Passes a run of the given characters, also an empty one.
  virtual bool SkipRun(const WCHAR* separators);
  // Everything up to the first of the separators, which is not passed; it may be nothing.
  virtual bool ReadUpTo(const WCHAR* separators, WideString& piece);
  // Text in double quotes; two of them inside stand for one. False when there is no quote here.
  virtual bool ReadQuoted(WideString& piece);
  // Up to the end of the line, whose line feed is passed.
  virtual bool ReadLine(WideString& line);
  // A run of characters of a class of the platform's `iswctype`.
  virtual bool ReadClass(uint16_t characterClass, WideString& piece);

 protected:
  // Called when the text is used up: sets a further piece of text and returns true, or false when
  // there is none.
  virtual bool Refill() { return false; }
  // Replaces the text without restarting the line count.
  void Continue(const WCHAR* newText, WideString::Source source);

 private:
  void Pass(const WCHAR* end);

  WideString text;
  const WCHAR* position = u"";
  int32_t lineCount = -1;
  Status status = Status::AtEnd;
  bool lineFeedIsBlank = false;
  WCHAR specialCharacter = 0;
};

namespace wkt {

enum class SeparatorRuns { Keep, Collapse };

// The pieces between single separator characters; with `Collapse` a run of them separates once. A
// separator at the very end adds no further piece, and an empty text has none.
void Split(TextScanner& scanner, StringArray& outArray, const WCHAR* separators,
           SeparatorRuns runs);
// The same for a text in hand.
void Split(const WCHAR* text, StringArray& outArray, const WCHAR* separators,
           SeparatorRuns runs = SeparatorRuns::Keep);

// The pieces between whole separator texts such as "; ". The exact reverse of `JoinTexts`: a
// separator at the end leaves an empty last piece, so that joining gives the text back. An empty
// text has no pieces.
void SplitAtText(const WCHAR* text, const WCHAR* separator, StringArray& outArray);

}  // namespace wkt
