#pragma once

#include <functional>
#include <set>
#include <string_view>

#include "desktop/partner/Failure.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/RecordPacket.h"
#include "fuzz/FuzzInput.h"

namespace wkt::fuzz {

// Jobs of one line of a calendar are occurrences of one event, which differ in their times and
// identifiers only; a rule makes hundreds of them. This many of a line go through a packet.
constexpr int kEncodedOfOneLine = 16;

// Any bytes as a file: it is refused with a text that names the place, or its records are such that
// a device can have them, no two with one identifier.
inline void RunImport(const std::function<ImportedRecords(const ImportOptions&)>& read) {
  static const Zone zone("Europe/Vienna");
  ImportOptions options;
  options.fileName = "file";
  options.zone = &zone;
  options.now = 134'169'120'000'000'000;  // 2026-03-02T08:00Z
  ImportedRecords records;
  try {
    records = read(options);
  } catch (const Failure& failure) {
    Require(std::string_view(failure.what()).starts_with("file:"), "a refusal names the place");
    return;
  }
  std::set<std::pair<FolderId, std::u16string>> seen;
  int line = 0;
  int countOfLine = 0;
  for (const ImportedRecord& imported : records) {
    const Record& record = imported.record;
    Require(imported.line >= 1, "a record has a line");
    Require(!record.Id().empty(), "a record has an identifier");
    Require(seen.emplace(record.Folder(), record.Id()).second, "an identifier stands for one");
    Require(CheckRecord(record).empty(), "a record fits a packet");
    countOfLine = imported.line == line ? countOfLine + 1 : 1;
    line = imported.line;
    if (!record.IsType() && countOfLine > kEncodedOfOneLine)
      continue;
    const auto back = DecodePacket(record.Folder(), EncodePacket(record));
    Require(back && *back == record, "a record comes back from its packet");
  }
}

}  // namespace wkt::fuzz
