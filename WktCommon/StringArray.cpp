#include "WktCommon/StringArray.h"

#include <algorithm>
#include <new>

#include "WktCommon/Allocation.h"

namespace {

// Capacity of the lists that splitting makes.
constexpr int32_t kSplitCapacity = 100;
// String objects made at the first use of a slot; most lists hold a handful.
constexpr int32_t kFirstSlots = 4;
// Keeps the bytes of all slots, doubled once, below 2^32.
constexpr int32_t kMaxCapacity = 0x01000000;

}  // namespace

StringArray::Body StringArray::emptyBodies[2] = {{0, 0, nullptr, 1, 0},
                                                 {kSplitCapacity, 0, nullptr, 1, 0}};

bool StringArray::IsShared(const Body* candidate) {
  return candidate == &emptyBodies[0] || candidate == &emptyBodies[1];
}

StringArray::Body* StringArray::NewBody(int32_t capacity, int32_t count) {
  void* const block = wkt::AllocateBlock(sizeof(Body));
  return block ? new (block) Body{capacity, count, nullptr, 1, 0} : nullptr;
}

StringArray::StringArray(int32_t initialCapacity, int32_t count) : body(&emptyBodies[0]) {
  if (initialCapacity > kMaxCapacity) {
    wkt::NoteAllocationFailure();
    return;
  }
  const int32_t capacity = std::max<int32_t>(initialCapacity, 0);
  const int32_t used = count >= 0 && count <= capacity ? count : 0;
  if (capacity == 0)
    return;
  if (capacity == kSplitCapacity && used == 0) {
    body = &emptyBodies[1];
    return;
  }
  if (Body* const made = NewBody(capacity, used))
    body = made;
}

StringArray::StringArray(const StringArray& other) : body(other.body) {
  if (!IsShared(body))
    ++body->RefCount;
}

// Assigned to itself it has its own body.  NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
StringArray& StringArray::operator=(const StringArray& other) {
  if (body == other.body)
    return *this;
  Release();
  body = other.body;
  if (!IsShared(body))
    ++body->RefCount;
  return *this;
}

StringArray::~StringArray() {
  Release();
}

void StringArray::Release() {
  Body* const released = body;
  body = &emptyBodies[0];
  if (IsShared(released) || --released->RefCount != 0)
    return;
  DestroySlots(released->Slots, released->MadeSlots);
  wkt::FreeBlock(released);
}

void StringArray::DestroySlots(WideString** slots, int32_t slotCount) {
  for (int32_t i = 0; i < slotCount; ++i)
    slots[i]->~WideString();
  wkt::FreeBlock(slots);
}

// Strings move into the new block by sharing their texts; the old block goes.
bool StringArray::MakeSlots(Body& body, int32_t slotCount) {
  const size_t made = static_cast<size_t>(slotCount);
  static_assert(alignof(WideString) == alignof(WideString*));
  // NOLINTNEXTLINE(bugprone-sizeof-expression): pointers first, then the strings.
  void* const block = wkt::AllocateBlock(made * (sizeof(WideString*) + sizeof(WideString)));
  if (!block)
    return false;
  WideString** const slots = static_cast<WideString**>(block);
  WideString* const strings = reinterpret_cast<WideString*>(slots + made);
  for (int32_t i = 0; i < slotCount; ++i) {
    slots[i] = i < body.MadeSlots ? new (strings + i) WideString(*body.Slots[i])
                                  : new (strings + i) WideString;
  }
  DestroySlots(body.Slots, body.MadeSlots);
  body.Slots = slots;
  body.MadeSlots = slotCount;
  return true;
}

bool StringArray::PrepareChange(int32_t slotCount) {
  if (IsShared(body) || body->RefCount > 1) {
    Body* const own = NewBody(body->Capacity, body->Count);
    if (!own)
      return false;
    const int32_t copied = std::min(body->MadeSlots, body->Count);
    if (!MakeSlots(*own, std::max(slotCount, copied))) {
      wkt::FreeBlock(own);
      return false;
    }
    for (int32_t i = 0; i < copied; ++i)
      *own->Slots[i] = *body->Slots[i];
    Release();
    body = own;
  }
  if (slotCount <= body->MadeSlots)
    return true;
  const int32_t doubled = std::max(body->MadeSlots * 2, kFirstSlots);
  return MakeSlots(*body, std::max(slotCount, std::min(doubled, body->Capacity)));
}

const WideString& StringArray::At(int32_t index) const {
  if (index < 0 || index >= body->Count || index >= body->MadeSlots) {
    return WideString::SharedEmpty();
  }
  return *body->Slots[index];
}

void StringArray::Add(const WideString& text, uint32_t tag) {
  // The text may be one of this list, which moves when the list grows.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const WideString kept(text);
  const int32_t index = body->Count;
  const bool grows = index == body->Capacity;
  if (index >= kMaxCapacity) {
    wkt::NoteAllocationFailure();
    return;
  }
  const int32_t grown = grows ? std::max<int32_t>(body->Capacity * 2, 1) : body->Capacity;
  if (!PrepareChange(std::min(std::max(index + 1, std::min(kFirstSlots, grown)), grown)))
    return;
  body->Capacity = grown;
  *body->Slots[index] = kept;
  body->Slots[index]->SetTag(tag);
  body->Count = index + 1;
}

void StringArray::Add(const WCHAR* text, uint32_t tag) {
  Add(WideString(text), tag);
}

void StringArray::RemoveAt(int32_t index) {
  if (index < 0 || index >= body->Count)
    return;
  if (!PrepareChange(body->Count))
    return;
  // The pointers move, not the strings; the removed string becomes the spare one at the end.
  WideString* const removed = body->Slots[index];
  *removed = WideString();
  for (int32_t i = index + 1; i < body->MadeSlots; ++i)
    body->Slots[i - 1] = body->Slots[i];
  body->Slots[body->MadeSlots - 1] = removed;
  --body->Count;
}

bool StringArray::EqualsAsSets(const StringArray& other) const {
  if (body == other.body)
    return true;
  if (body->Count != other.body->Count)
    return false;
  for (int32_t i = 0; i < other.body->Count; ++i) {
    // Lists mostly agree place by place, so that place is looked at before the search.
    bool found = At(i).Equals(other.At(i));
    for (int32_t k = 0; !found && k < body->Count; ++k)
      found = At(k).Equals(other.At(i));
    if (!found)
      return false;
  }
  return true;
}

namespace wkt {

WideString JoinTexts(const StringArray& texts, const WCHAR* separator) {
  WideString joined;
  for (int32_t i = 0; i < texts.GetCount(); ++i) {
    if (i > 0)
      joined.Append(separator);
    joined.Append(texts.At(i));
  }
  return joined;
}

}  // namespace wkt
