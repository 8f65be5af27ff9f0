// Records from files of others and from our own JSON. Readers only read: they give records with
// identifiers that derive from the source and the row, so that reading a file twice gives the same.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "desktop/partner/Record.h"
#include "desktop/partner/Zone.h"

namespace wkt {

struct ImportedRecord {
  Record record;
  int line = 0;  // where it starts in the file, from 1
};

struct ImportOptions {
  std::string fileName;  // for messages
  const Zone* zone = nullptr;
  uint64_t now = 0;  // modification time of what carries none
  // Where it is not null, entries that cannot be read are left out and said here.
  std::vector<std::string>* skipped = nullptr;
};

using ImportedRecords = std::vector<ImportedRecord>;

// A whole file; throws Failure (Usage) when it cannot be read or is larger than any of ours.
std::string ReadImportFile(const std::string& path);

// Throws Failure (Usage): "FILE:LINE: what is wrong, what was expected".
[[noreturn]] void ImportProblem(const ImportOptions& options, int line, const std::string& problem);

// Fails for UTF-16, Latin-1 and other bytes that are no UTF-8, naming the encoding that it looks
// like; skips a byte order mark.
std::string_view CheckUtf8(const ImportOptions& options, std::string_view content);

// One line of a file; a byte order mark is not looked for.
void CheckUtf8Line(const ImportOptions& options, std::string_view text, int line);

// Reads one entry: what it throws goes on, or is noted in `options.skipped`.
void Attempt(const ImportOptions& options, const std::function<void()>& read);

ImportedRecords ReadJsonRecords(const ImportOptions& options, std::string_view content);

// The "detailed" CSV of Toggl Track: wall clock times of `options.zone`.
ImportedRecords ReadTogglRecords(const ImportOptions& options, std::string_view content);

// CSV of a time clock: one line from coming to going. Columns by their headings; all but the first
// two may be empty.
struct ClockColumns {
  std::string in;
  std::string out;
  std::string title;
  std::string comment;
  std::string project;
  std::string workType;
  std::string teamwork;
  std::string person;  // several in a cell have ";" between them
  std::string date;    // of the day, where `in` and `out` hold the time of day alone
  char separator = ',';
};
ImportedRecords ReadClockRecords(const ImportOptions& options, const ClockColumns& columns,
                                 std::string_view content);

ImportedRecords ReadCalendarRecords(const ImportOptions& options, std::string_view content);

// The same text gives the same identifier; `ordinal` tells equal ones of one file apart.
std::u16string DerivedIdentifier(std::string_view source, std::string_view key, int ordinal);

}  // namespace wkt
