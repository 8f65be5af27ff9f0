// Any text as the items of a record of kind 5.
#include "WktCommon/WktTypeKinds.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  const wkt::fuzz::InputText text(data, byteCount);
  wkt::ItemList items;
  CWktTypeKind5 record(FALSE);
  record.SetItemList(&items);
  record.SetUnused1(text.Get());
  const size_t count = items.size();
  const WideString written = record.GetUnused1();
  if (count == 0)
    wkt::fuzz::Require(written.Equals(text.Get()), "without items the text stays");
  record.SetUnused1(written.c_str());
  wkt::fuzz::Require(items.size() == count, "as many items come back as were written");
  wkt::ClearItems(items);
  return 0;
}
