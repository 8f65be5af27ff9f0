#pragma once

#include <vector>

#include "WktCommon/StringArray.h"
#include "WktCommon/WktTypeLean.h"

class CWktTypeItem;
class CWktTypeKind5;

namespace wkt {

constexpr int kFirstTypeKind = 1;
constexpr int kLastTypeKind = 5;
constexpr int kItemKind = 6;  // lives only inside the text of a record of kind 5

// A new record of the class of a kind from 1 to 5; null for any other, and without memory. The
// caller owns it.
[[nodiscard]] CWktTypeLean* MakeType(int kind, BOOL makeNew);

// Makes a record that only gets what its class needs: everything else is assigned to it.
struct ForCopy {};

// Items of one record of kind 5. The list belongs to who attaches it, and so do the items left in
// it in the end; `ClearItems` destroys them.
using ItemList = std::vector<CWktTypeItem*>;
void ClearItems(ItemList& items);

}  // namespace wkt

class CWktTypeKind1 final : public CWktTypeLean {
 public:
  // Turns flag 4 on; that is no change.
  explicit CWktTypeKind1(BOOL makeNew);
  [[nodiscard]] CWktTypeLean* Clone() const override;
  [[nodiscard]] WideString GetDisplayName() const override { return GetName1(); }
  explicit CWktTypeKind1(wkt::ForCopy);
};

// A tree: Unused1 holds the parent's identifier.
class CWktTypeKind2 final : public CWktTypeLean {
 public:
  explicit CWktTypeKind2(BOOL makeNew);
  [[nodiscard]] CWktTypeLean* Clone() const override;
  [[nodiscard]] WideString GetParentId() const override { return GetUnused1(); }
  void SetParentId(const WCHAR* text) override { SetUnused1(text); }
  [[nodiscard]] WideString GetDisplayName() const override { return GetName1(); }
  [[nodiscard]] WideString GetRootName(const wkt::TypeList& types) const override;
};

class CWktTypeKind3 final : public CWktTypeLean {
 public:
  explicit CWktTypeKind3(BOOL makeNew);
  [[nodiscard]] CWktTypeLean* Clone() const override;
  [[nodiscard]] WideString GetDisplayName() const override;
};

class CWktTypeKind4 final : public CWktTypeLean {
 public:
  explicit CWktTypeKind4(BOOL makeNew);
  [[nodiscard]] CWktTypeLean* Clone() const override;
  [[nodiscard]] WideString GetDisplayName() const override { return GetName1(); }
};

// With a list attached, Unused1 is the text of its items; without one it is plain text. Nothing in
// this library attaches a list.
class CWktTypeKind5 final : public CWktTypeLean {
 public:
  explicit CWktTypeKind5(BOOL makeNew);
  // The copy has no list.
  [[nodiscard]] CWktTypeLean* Clone() const override;
  [[nodiscard]] WideString GetDisplayName() const override { return GetName1(); }
  // Kept: the text made from the items is stored without marking the record.
  [[nodiscard]] WideString GetUnused1() const override;
  // Rebuilds the list from the text: as many items as whole blocks are in it.
  void SetUnused1(const WCHAR* text) override;
  // Null detaches.
  void SetItemList(wkt::ItemList* list) { itemList = list; }
  [[nodiscard]] wkt::ItemList* GetItemList() const { return itemList; }

 private:
  wkt::ItemList* itemList = nullptr;
};

// One item of a record of kind 5.
class CWktTypeItem final : public CWktTypeLean {
 public:
  CWktTypeItem();
  // From the 22 lines of an item block that begin at `firstLine`.
  CWktTypeItem(const StringArray& lines, int32_t firstLine);
  explicit CWktTypeItem(wkt::ForCopy);
  // The copy belongs to the same record.
  [[nodiscard]] CWktTypeLean* Clone() const override;
  // Kept: a line break in a text shifts the lines after it; the block is then read back wrong.
  [[nodiscard]] WideString ToItemBlock() const;

  void SetOwner(CWktTypeKind5* record) { owner = record; }
  [[nodiscard]] CWktTypeKind5* GetOwner() const { return owner; }
  // Two 64-bit values inside Unused2, four lines, high halves first; 0 when they are not four.
  [[nodiscard]] uint64_t GetValueA() const;
  void SetValueA(DWORD low, DWORD high);
  [[nodiscard]] uint64_t GetValueB() const;
  void SetValueB(DWORD low, DWORD high);

 private:
  // Line 16 or 17 of the block: -1 without the first flag, else the second one.
  void SetFlagPair(int firstFlag, int32_t value);
  [[nodiscard]] int32_t GetFlagPair(int firstFlag) const;

  CWktTypeKind5* owner = nullptr;
};
