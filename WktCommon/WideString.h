#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Types.h"

namespace wkt {

// Units before the terminator; a null text has none.
[[nodiscard]] size_t TextLength(const WCHAR* text);
// Exact, unit by unit; null and the empty text are the same.
[[nodiscard]] bool TextsEqual(const WCHAR* left, const WCHAR* right);
// What the log shows for a text: the text itself, or "NULL" when there is none.
[[nodiscard]] inline const WCHAR* TextOrNull(const WCHAR* text) {
  return text ? text : u"NULL";
}

}  // namespace wkt

// A reference-counted UTF-16 text, copied on write. Handles share a body; a changing operation on a
// shared or borrowed body makes a private one first. Counts are plain: one thread at a time. The
// empty text is shared by all empty handles, costs no memory and is never freed.
//
// Nothing here fails visibly: without memory the text becomes empty and `wkt::AllocationFailed`
// answers true.
class WideString {
 public:
  enum class Source { Copy, Borrow };

  WideString() : body(&emptyBody) {}
  // Null gives an empty text. A borrowed text stays the caller's, who keeps it alive and unchanged.
  explicit WideString(const WCHAR* text, Source source = Source::Copy);
  explicit WideString(int value);
  WideString(const WideString& other) : body(other.body), Tag(other.Tag) {
    if (body != &emptyBody)
      ++body->refCount;
  }
  virtual ~WideString() {
    if (body != &emptyBody)
      Release();
  }

  // The first `unitCount` units of a text that needs no terminator there.
  [[nodiscard]] static WideString FromUnits(const WCHAR* text, size_t unitCount);
  // Takes over a terminated text made by `AllocateText`; the last handle frees it.
  [[nodiscard]] static WideString Adopt(WCHAR* heapText);
  // Room for `unitCount` units, terminator included, uninitialised but for a terminator in front.
  // Null when memory runs out. Freed by `FreeText`, or by the text that adopts it.
  [[nodiscard]] static WCHAR* AllocateText(size_t unitCount);
  static void FreeText(WCHAR* heapText);
  // One empty text for answers by reference, alive as long as the module.
  [[nodiscard]] static const WideString& SharedEmpty();

  // Assignment brings the other's tag along; assigning a plain text or a number keeps the tag.
  // Assigning a text equal to the present one allocates nothing.
  WideString& operator=(const WideString& other);
  WideString& operator=(const WCHAR* text) {
    static_cast<void>(Change(text));
    return *this;
  }
  // The same; false when the text was this one already.
  [[nodiscard]] bool Change(const WCHAR* text);
  // The value as a fraction of two digits, "%.2f".
  void AssignNumber(float value);

  [[nodiscard]] const WCHAR* c_str() const { return body->text; }
  [[nodiscard]] int32_t Length() const { return static_cast<int32_t>(UnitCount()); }
  [[nodiscard]] bool IsEmpty() const { return body->text[0] == 0; }
  [[nodiscard]] bool Equals(const WideString& other) const;
  [[nodiscard]] bool Equals(const WCHAR* text) const;
  [[nodiscard]] bool Differs(const WideString& other) const { return !Equals(other); }
  [[nodiscard]] bool Differs(const WCHAR* text) const { return !Equals(text); }

  WideString& Append(const WideString& other);
  WideString& Append(const WCHAR* text);
  WideString& AppendUnits(const WCHAR* text, size_t unitCount);
  [[nodiscard]] static WideString Concatenate(const WideString& first, const WideString& second);
  // A negative count gives an empty text.
  [[nodiscard]] WideString Left(int32_t unitCount) const;
  // From left to right, without overlap; returns how many were replaced.
  int32_t ReplaceAll(const WCHAR* oldText, const WCHAR* newText);
  // -1 when the text does not hold it; the terminator is not looked for.
  [[nodiscard]] int32_t FindCharacter(WCHAR character) const;
  // Leading digits as a signed decimal, 0 without any.
  [[nodiscard]] int32_t ToInteger() const;
  [[nodiscard]] float ToNumber() const;
  // Releases the text; the tag stays.
  void Empty();

  [[nodiscard]] uint32_t GetTag() const { return Tag; }
  void SetTag(uint32_t tag) { Tag = tag; }

 private:
  // The text of an own body lies right behind it in the same block, an adopted one in a block of
  // its own; a borrowed one has no capacity, since it is not ours to write.
  struct Body {
    WCHAR* text;
    uint32_t refCount;
    uint32_t unitCount;      // not kept for a borrowed text
    uint32_t capacityUnits;  // terminator included; 0 = borrowed

    WCHAR* OwnText() { return reinterpret_cast<WCHAR*>(this + 1); }
  };

  static WCHAR emptyText[1];
  static Body emptyBody;  // not counted: no number of handles can free it

  [[nodiscard]] static Body* NewBody(const WCHAR* text, size_t unitCount, size_t sizedForUnits);
  [[nodiscard]] size_t UnitCount() const;
  void Take(Body* newBody);
  void Release();

  Body* body;
  uint32_t Tag = 0;
};
