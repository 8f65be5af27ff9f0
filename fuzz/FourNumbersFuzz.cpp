// Any text as the two values of an item.
#include "WktCommon/WktTypeKinds.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  const wkt::fuzz::InputText text(data, byteCount);
  CWktTypeItem item;
  item.SetUnused2(text.Get());
  const uint64_t a = item.GetValueA();
  const uint64_t b = item.GetValueB();
  item.SetValueA(static_cast<DWORD>(a), static_cast<DWORD>(a >> 32));
  wkt::fuzz::Require(item.GetValueA() == a && item.GetValueB() == b, "setting A keeps both");
  item.SetValueB(static_cast<DWORD>(a), static_cast<DWORD>(b));
  wkt::fuzz::Require(item.GetValueA() == a, "setting B keeps A");
  wkt::fuzz::Require(item.GetValueB() == (b << 32 | static_cast<DWORD>(a)), "B is as it was set");
  return 0;
}
