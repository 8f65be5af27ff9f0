#include "WktCommon/WideString.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "WktCommon/Allocation.h"
#include "WktCommon/Hundredths.h"
#include "platform/Runtime.h"

namespace wkt {

size_t TextLength(const WCHAR* text) {
  if (!text)
    return 0;
  // Four units a turn: most of what a record costs is looking for the ends of its texts.
  for (size_t length = 0;; length += 4) {
    if (!text[length])
      return length;
    if (!text[length + 1])
      return length + 1;
    if (!text[length + 2])
      return length + 2;
    if (!text[length + 3])
      return length + 3;
  }
}

bool TextsEqual(const WCHAR* left, const WCHAR* right) {
  if (!left)
    left = u"";
  if (!right)
    right = u"";
  while (*left && *left == *right) {
    ++left;
    ++right;
  }
  return *left == *right;
}

}  // namespace wkt

namespace {

// Generous on purpose: twice what the text needs, so that most appended texts still fit.
constexpr size_t kBytesPerCharacter = 4;
constexpr size_t kUnitsPerCharacter = kBytesPerCharacter / sizeof(WCHAR);
// Keeps every size computed from a length below 2^32 bytes.
constexpr size_t kMaxUnits = 0x0FFFFFFF;
// "-2147483648" and the terminator.
constexpr size_t kIntegerUnits = 12;

size_t LengthUpTo(const WCHAR* text, size_t maxUnits) {
  if (!text)
    return 0;
  size_t length = 0;
  while (length < maxUnits && text[length])
    ++length;
  return length;
}

void CopyUnits(WCHAR* to, const WCHAR* from, size_t unitCount) {
  if (unitCount)
    std::memmove(to, from, unitCount * sizeof(WCHAR));
}

// The place of the shared empty string; as plain bytes it needs neither a start-up constructor nor
// a destructor at unload.
alignas(WideString) unsigned char sharedEmptyPlace[sizeof(WideString)];
bool sharedEmptyMade = false;

}  // namespace

WCHAR WideString::emptyText[1] = {0};
WideString::Body WideString::emptyBody = {emptyText, 1, 0, 1};

const WideString& WideString::SharedEmpty() {
  if (!sharedEmptyMade) {
    new (static_cast<void*>(sharedEmptyPlace)) WideString;
    sharedEmptyMade = true;
  }
  return *std::launder(reinterpret_cast<const WideString*>(sharedEmptyPlace));
}

// A body of its own text: `unitCount` units of `text`, in a buffer sized for `sizedForUnits`.
WideString::Body* WideString::NewBody(const WCHAR* text, size_t unitCount, size_t sizedForUnits) {
  if (sizedForUnits == 0)
    return &emptyBody;
  if (sizedForUnits > kMaxUnits) {
    wkt::NoteAllocationFailure();
    return &emptyBody;
  }
  const size_t capacityUnits = (sizedForUnits + 1) * kUnitsPerCharacter;
  void* const block = wkt::AllocateBlock(sizeof(Body) + capacityUnits * sizeof(WCHAR));
  if (!block)
    return &emptyBody;
  Body* const made = new (block)
      Body{nullptr, 1, static_cast<uint32_t>(unitCount), static_cast<uint32_t>(capacityUnits)};
  made->text = made->OwnText();
  CopyUnits(made->text, text, unitCount);
  made->text[unitCount] = 0;
  return made;
}

WideString::WideString(const WCHAR* text, Source source) : body(&emptyBody) {
  if (!text || !*text)
    return;
  if (source == Source::Copy) {
    const size_t unitCount = wkt::TextLength(text);
    body = NewBody(text, unitCount, unitCount);
    return;
  }
  void* const block = wkt::AllocateBlock(sizeof(Body));
  // The body points at text that nothing writes: without capacity every change copies first.
  if (block)
    body = new (block) Body{const_cast<WCHAR*>(text), 1, 0, 0};
}

WideString::WideString(int value) : body(&emptyBody) {
  WCHAR digits[kIntegerUnits];
  _itow(value, digits, 10);
  const size_t unitCount = wkt::TextLength(digits);
  body = NewBody(digits, unitCount, unitCount);
}

WideString WideString::FromUnits(const WCHAR* text, size_t unitCount) {
  WideString made;
  const size_t length = LengthUpTo(text, unitCount);
  made.body = NewBody(text, length, length);
  return made;
}

WideString WideString::Adopt(WCHAR* heapText) {
  WideString made;
  if (!heapText)
    return made;
  const size_t unitCount = wkt::TextLength(heapText);
  void* const block = unitCount ? wkt::AllocateBlock(sizeof(Body)) : nullptr;
  if (!block) {
    FreeText(heapText);
    return made;
  }
  // Only what the text fills is known of the buffer's size; more is not needed to own it.
  const uint32_t units = static_cast<uint32_t>(unitCount);
  made.body = new (block) Body{heapText, 1, units, units + 1};
  return made;
}

WCHAR* WideString::AllocateText(size_t unitCount) {
  if (unitCount == 0 || unitCount > kMaxUnits)
    return nullptr;
  WCHAR* const text = static_cast<WCHAR*>(wkt::AllocateBlock(unitCount * sizeof(WCHAR)));
  if (text)
    text[0] = 0;
  return text;
}

void WideString::FreeText(WCHAR* heapText) {
  wkt::FreeBlock(heapText);
}

size_t WideString::UnitCount() const {
  return body->capacityUnits ? body->unitCount : wkt::TextLength(body->text);
}

void WideString::Take(Body* newBody) {
  Release();
  body = newBody;
}

void WideString::Release() {
  Body* const released = body;
  body = &emptyBody;
  if (released == &emptyBody || --released->refCount != 0)
    return;
  if (released->capacityUnits && released->text != released->OwnText())
    FreeText(released->text);
  wkt::FreeBlock(released);
}

void WideString::Empty() {
  Release();
}

WideString& WideString::operator=(const WideString& other) {
  if (this == &other)
    return *this;
  Tag = other.Tag;
  if (body == other.body)
    return *this;
  Body* const shared = other.body;
  if (shared != &emptyBody)
    ++shared->refCount;
  Take(shared);
  return *this;
}

bool WideString::Change(const WCHAR* text) {
  const size_t unitCount = wkt::TextLength(text);
  if (unitCount == UnitCount() &&
      (unitCount == 0 || std::memcmp(body->text, text, unitCount * sizeof(WCHAR)) == 0))
    return false;
  // The text may lie inside the present one, so it is copied before that is released.
  Take(NewBody(text, unitCount, unitCount));
  return true;
}

void WideString::AssignNumber(float value) {
  WCHAR digits[wkt::kHundredthsUnits];
  wkt::FormatHundredths(value, digits);
  *this = digits;
}

bool WideString::Equals(const WideString& other) const {
  if (body == other.body)
    return true;
  if (body->capacityUnits && other.body->capacityUnits) {
    const size_t unitCount = body->unitCount;
    return unitCount == other.body->unitCount &&
           std::memcmp(body->text, other.body->text, unitCount * sizeof(WCHAR)) == 0;
  }
  return wkt::TextsEqual(body->text, other.body->text);
}

bool WideString::Equals(const WCHAR* text) const {
  return wkt::TextsEqual(body->text, text);
}

WideString& WideString::Append(const WideString& other) {
  return AppendUnits(other.body->text, other.UnitCount());
}

WideString& WideString::Append(const WCHAR* text) {
  return AppendUnits(text, wkt::TextLength(text));
}

WideString& WideString::AppendUnits(const WCHAR* text, size_t unitCount) {
  const size_t added = LengthUpTo(text, unitCount);
  if (added == 0)
    return *this;
  const size_t present = UnitCount();
  if (added > kMaxUnits || present + added > kMaxUnits) {
    wkt::NoteAllocationFailure();
    Empty();
    return *this;
  }
  const size_t total = present + added;
  Body* target = body;
  const bool fits = body != &emptyBody && body->refCount == 1 && total < body->capacityUnits;
  if (!fits)
    target = NewBody(body->text, present, total);
  if (target != &emptyBody) {
    CopyUnits(target->text + present, text, added);
    target->text[total] = 0;
    target->unitCount = static_cast<uint32_t>(total);
  }
  if (!fits)
    Take(target);
  return *this;
}

WideString WideString::Concatenate(const WideString& first, const WideString& second) {
  WideString joined(first);
  joined.Tag = 0;
  joined.Append(second);
  return joined;
}

WideString WideString::Left(int32_t unitCount) const {
  if (unitCount <= 0)
    return WideString();
  const size_t wanted = static_cast<size_t>(unitCount);
  if (wanted < UnitCount())
    return FromUnits(body->text, wanted);
  WideString whole(*this);
  whole.Tag = 0;
  return whole;
}

int32_t WideString::ReplaceAll(const WCHAR* oldText, const WCHAR* newText) {
  const size_t oldUnits = wkt::TextLength(oldText);
  const size_t newUnits = wkt::TextLength(newText);
  if (oldUnits == 0)
    return 0;
  int32_t found = 0;
  for (const WCHAR* at = body->text; (at = wcsstr(at, oldText)) != nullptr; at += oldUnits)
    ++found;
  if (found == 0)
    return 0;
  const size_t removed = static_cast<size_t>(found) * oldUnits;
  const uint64_t total = UnitCount() - removed + static_cast<uint64_t>(found) * newUnits;
  Body* const made = NewBody(nullptr, 0, static_cast<size_t>(std::min<uint64_t>(total, SIZE_MAX)));
  if (made != &emptyBody) {
    WCHAR* to = made->text;
    const WCHAR* from = body->text;
    while (const WCHAR* const at = wcsstr(from, oldText)) {
      const size_t kept = static_cast<size_t>(at - from);
      CopyUnits(to, from, kept);
      CopyUnits(to + kept, newText, newUnits);
      to += kept + newUnits;
      from = at + oldUnits;
    }
    CopyUnits(to, from, wkt::TextLength(from) + 1);
    made->unitCount = static_cast<uint32_t>(total);
  }
  Take(made);
  return found;
}

int32_t WideString::FindCharacter(WCHAR character) const {
  if (character == 0)
    return -1;
  const WCHAR* const found = wcschr(body->text, character);
  return found ? static_cast<int32_t>(found - body->text) : -1;
}

int32_t WideString::ToInteger() const {
  return _wtol(body->text);
}

float WideString::ToNumber() const {
  // Out of a single's range the conversion is undefined; the nearest single is the honest answer.
  constexpr double kLargest = 3.40282346638528859812e+38;
  return static_cast<float>(std::clamp(wcstod(body->text, nullptr), -kLargest, kLargest));
}
