// Any bytes as a CSV file of Toggl Track and of a time clock.
#include "fuzz/FuzzImport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  const std::string_view content(reinterpret_cast<const char*>(data), byteCount);
  wkt::fuzz::RunImport([content](const wkt::ImportOptions& options) {
    return wkt::ReadTogglRecords(options, content);
  });
  wkt::ClockColumns columns;
  columns.in = "I";
  columns.out = "O";
  columns.person = "P";
  if (content.find('J') != std::string_view::npos) {
    columns.project = "J";
    columns.teamwork = "T";
  }
  if (content.find('D') != std::string_view::npos) {
    columns.date = "D";
    columns.separator = ';';
  }
  wkt::fuzz::RunImport([&](const wkt::ImportOptions& options) {
    return wkt::ReadClockRecords(options, columns, content);
  });
  return 0;
}
