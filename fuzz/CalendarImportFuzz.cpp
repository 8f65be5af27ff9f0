// Any bytes as an iCalendar file.
#include "fuzz/FuzzImport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  const std::string_view content(reinterpret_cast<const char*>(data), byteCount);
  wkt::fuzz::RunImport([content](const wkt::ImportOptions& options) {
    return wkt::ReadCalendarRecords(options, content);
  });
  return 0;
}
