#pragma once

#include <cstdint>

#include "WktCommon/WideString.h"

// A list of texts with a tag each, shared between handles and copied on write like the texts
// themselves. Capacity is what the caller asked for and doubles as it fills; the string objects of
// spare slots are made when they are first used, because a list of 100 spare slots is made for
// every record read.
class StringArray {
 public:
  explicit StringArray(int32_t initialCapacity = 0, int32_t count = 0);
  StringArray(const StringArray& other);
  StringArray& operator=(const StringArray& other);
  virtual ~StringArray();

  [[nodiscard]] int32_t GetCount() const { return body->Count; }
  [[nodiscard]] int32_t GetCapacity() const { return body->Capacity; }
  // The shared empty string for an index outside the list. Valid until the list changes.
  [[nodiscard]] const WideString& At(int32_t index) const;
  void Add(const WideString& text, uint32_t tag = 0);
  void Add(const WCHAR* text, uint32_t tag = 0);
  void RemoveAt(int32_t index);
  // Same count, and every text of the other occurs here. Kept: how often and where does not matter,
  // nor whether the other has all of these.
  [[nodiscard]] bool EqualsAsSets(const StringArray& other) const;

 private:
  // Slots and their string objects come from one block that the body owns: `MadeSlots` pointers,
  // then as many strings. A slot at or past MadeSlots reads as the empty string.
  struct Body {
    int32_t Capacity;
    int32_t Count;
    WideString** Slots;
    uint32_t RefCount;
    int32_t MadeSlots;
  };

  // Lists that hold nothing share these two, of capacity 0 and 100; they are not counted.
  static Body emptyBodies[2];
  [[nodiscard]] static bool IsShared(const Body* candidate);
  [[nodiscard]] static Body* NewBody(int32_t capacity, int32_t count);
  [[nodiscard]] static bool MakeSlots(Body& body, int32_t slotCount);
  static void DestroySlots(WideString** slots, int32_t slotCount);
  // A body of this handle alone with slots for `slotCount` strings; false without memory.
  [[nodiscard]] bool PrepareChange(int32_t slotCount);
  void Release();

  Body* body;
};

namespace wkt {

// The texts one after the other with the separator between them: "a; b".
[[nodiscard]] WideString JoinTexts(const StringArray& texts, const WCHAR* separator);

}  // namespace wkt
