#pragma once

#include <rapidcheck.h>

#include <memory>
#include <string>

#include "WktCommon/WktTypeKinds.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

// Items of a record of kind 5, for properties that hold of all of them.
namespace wkt::test {

// Destroys the items that a test leaves behind.
struct OwnedItems : ItemList {
  ~OwnedItems() { ClearItems(*this); }
};

// Text that can stand in one line of a block.
inline rc::Gen<std::u16string> LineText() {
  return rc::gen::container<std::u16string>(rc::gen::suchThat(
      rc::gen::arbitrary<char16_t>(), [](char16_t c) { return c && c != u'\n'; }));
}

// Every field that an item's block carries, at random, as far as the block can carry it. The
// caller owns the item.
inline CWktTypeItem* MakeRandomItem() {
  auto item = std::make_unique<CWktTypeItem>();
  item->SetId((*LineText()).c_str());
  item->SetComment((*LineText()).c_str());
  item->SetName2((*LineText()).c_str());
  // Up to 167.77 single precision is exact enough for the truncation.
  const int hundredths = *rc::gen::inRange(0, 16'778);
  const std::string name = std::to_string(hundredths / 100) + "." +
                           std::to_string(hundredths % 100 / 10) + std::to_string(hundredths % 10);
  item->SetName1(Wide(name).c_str());
  item->SetCreationTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()));
  item->SetUnused3(*rc::gen::arbitrary<int32_t>());
  item->SetUnused4(*rc::gen::arbitrary<int32_t>());
  item->SetValueA(*rc::gen::arbitrary<uint32_t>(), *rc::gen::arbitrary<uint32_t>());
  item->SetValueB(*rc::gen::arbitrary<uint32_t>(), *rc::gen::arbitrary<uint32_t>());
  item->SetFlag(8, *rc::gen::arbitrary<bool>());
  for (const int first : {4, 6}) {
    item->SetFlag(first, *rc::gen::arbitrary<bool>());
    item->SetFlag(first + 1, item->IsFlagSet(first) && *rc::gen::arbitrary<bool>());
  }
  item->SetModificationTime(TicksToTime(*rc::gen::arbitrary<uint64_t>()), FALSE);
  return item.release();
}

}  // namespace wkt::test
