// Any bytes as a file of our own JSON. What it gives, written again, gives the same.
#include <string>

#include "desktop/partner/RecordJson.h"
#include "fuzz/FuzzImport.h"

namespace {

// Records may share an identifier here: the file names it.
void RunJson(std::string_view content) {
  const wkt::Zone zone("Europe/Vienna");
  wkt::ImportOptions options;
  options.fileName = "file";
  options.zone = &zone;
  wkt::ImportedRecords records;
  try {
    records = wkt::ReadJsonRecords(options, content);
  } catch (const wkt::Failure& failure) {
    wkt::fuzz::Require(std::string_view(failure.what()).starts_with("file:"),
                       "a refusal names the place");
    return;
  }
  wkt::Json file;
  for (const wkt::ImportedRecord& imported : records) {
    file[wkt::DescribeFolder(imported.record.Folder()).name].push_back(
        wkt::RecordToJson(imported.record));
  }
  const wkt::ImportedRecords again =
      records.empty() ? wkt::ImportedRecords() : wkt::ReadJsonRecords(options, file.dump());
  wkt::fuzz::Require(again.size() == records.size(), "as many come back");
  // Lists and what stands in them keep their order.
  for (size_t i = 0; i < records.size(); ++i)
    wkt::fuzz::Require(again[i].record == records[i].record, "and each is the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  RunJson(std::string_view(reinterpret_cast<const char*>(data), byteCount));
  return 0;
}
