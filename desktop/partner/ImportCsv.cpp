// Time recorded by others, as CSV. The heading names the columns, in any order.
#include <csv.h>
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/ImportTypes.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/RecordJson.h"
#include "desktop/partner/RecordPacket.h"

namespace wkt {

namespace {

// A cell of a spreadsheet has at most 32767 characters; a line of ten megabytes is a quote that was
// never closed.
constexpr size_t kMaxCellBytes = size_t{1} << 17;
// A million rows of twenty columns; a file of separators alone would fill the memory.
constexpr size_t kMaxCells = 20'000'000;

struct CsvRow {
  std::vector<std::string> cells;
  int line = 1;
};

struct ParserOwner {
  explicit ParserOwner(char separator) {
    csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI | CSV_APPEND_NULL | CSV_REPALL_NL);
    csv_set_delim(&parser, static_cast<unsigned char>(separator));
    // The parser's cell grows by this much at a time; its own 128 bytes copy a long one too often.
    csv_set_blk_size(&parser, size_t{1} << 16);
  }
  ~ParserOwner() { csv_free(&parser); }
  ParserOwner(const ParserOwner&) = delete;
  ParserOwner& operator=(const ParserOwner&) = delete;
  csv_parser parser;
};

struct ReadState {
  std::vector<CsvRow> rows;
  CsvRow row;
  size_t cellCount = 0;
  size_t lineCount = 0;  // rows, and blank lines
  bool tooLong = false;
};

void OnCell(void* text, size_t size, void* data) {
  auto* state = static_cast<ReadState*>(data);
  state->tooLong |= size > kMaxCellBytes;
  if (++state->cellCount > kMaxCells) {
    return;
  }
  state->row.cells.emplace_back(static_cast<const char*>(text), size);
}

void OnRow(int, void* data) {
  auto* state = static_cast<ReadState*>(data);
  ++state->lineCount;
  // A blank line, or what stands between the two characters of a line end.
  if (!state->row.cells.empty()) {
    state->rows.push_back(std::move(state->row));
  }
  state->row = {};
}

// Fed line by line, so that rows know where they start.
std::vector<CsvRow> ReadRows(const ImportOptions& options, std::string_view content,
                             char separator) {
  content = CheckUtf8(options, content);
  ParserOwner owner(separator);
  ReadState state;
  int line = 1;
  int rowLine = 1;
  for (size_t begin = 0; begin < content.size(); ++line) {
    const size_t end = std::min(content.find('\n', begin), content.size() - 1) + 1;
    const size_t rowsBefore = state.rows.size();
    const size_t linesBefore = state.lineCount;
    if (csv_parse(&owner.parser, content.data() + begin, end - begin, OnCell, OnRow, &state) !=
        end - begin) {
      ImportProblem(options, line,
                    std::string("not CSV: ") + csv_strerror(csv_error(&owner.parser)));
    }
    if (state.tooLong || owner.parser.entry_pos > kMaxCellBytes) {
      ImportProblem(options, rowLine, "a cell is longer than any; a quote is not closed");
    }
    if (state.cellCount > kMaxCells) {
      ImportProblem(options, line, fmt::format("more than {} cells, up to this line", kMaxCells));
    }
    for (size_t i = rowsBefore; i < state.rows.size(); ++i) {
      state.rows[i].line = rowLine;
    }
    if (state.lineCount > linesBefore) {
      rowLine = line + 1;
    }
    begin = end;
  }
  if (csv_fini(&owner.parser, OnCell, OnRow, &state) != 0) {
    ImportProblem(options, rowLine, "a quote is not closed");
  }
  if (!state.rows.empty() && state.rows.back().line == 1 && state.rows.size() > 1) {
    state.rows.back().line = rowLine;
  }
  return std::move(state.rows);
}

// The heading's columns by name.
class Columns {
 public:
  Columns(const ImportOptions& options, const CsvRow& heading) : options_(options) {
    for (size_t i = 0; i < heading.cells.size(); ++i) {
      byName_.emplace(heading.cells[i], i);
    }
    width_ = heading.cells.size();
  }

  bool Has(const std::string& name) const { return byName_.contains(name); }
  void Require(const std::string& name) const {
    if (!Has(name)) {
      ImportProblem(options_, 1, "there is no column '" + name + "'; there are: " + Names());
    }
  }
  void CheckWidth(const CsvRow& row) const {
    if (row.cells.size() != width_) {
      ImportProblem(
          options_, row.line,
          fmt::format("{} columns, expected {} as in the heading", row.cells.size(), width_));
    }
  }
  std::string Names() const {
    std::string names;
    for (const auto& [name, index] : byName_) {
      names += (names.empty() ? "'" : ", '") + name + "'";
    }
    return names;
  }
  std::string Cell(const CsvRow& row, const std::string& name) const {
    const auto found = byName_.find(name);
    return found == byName_.end() ? "" : row.cells[found->second];
  }

 private:
  const ImportOptions& options_;
  std::map<std::string, size_t> byName_;
  size_t width_ = 0;
};

uint64_t ReadTime(const ImportOptions& options, const CsvRow& row, const std::string& text) {
  const auto time = ParseTime(text);
  if (!time || !time->hasTime) {
    ImportProblem(options, row.line,
                  "'" + text + "' is no time, expected one such as 2026-03-02 09:00:00");
  }
  return time->hasOffset ? time->ticks : options.zone->ToUtc(time->ticks);
}

// The same wall clock time a day later.
uint64_t NextDay(const ImportOptions& options, uint64_t instant) {
  return options.zone->ToUtc(options.zone->ToLocal(instant) + kTicksPerDay);
}

void CheckOrder(const ImportOptions& options, const CsvRow& row, const Record& job) {
  if (job.Ticks(Field::End) < job.Ticks(Field::Start)) {
    ImportProblem(options, row.line, "the entry ends before it starts");
  }
}

// Heading and rows of a file that has at least the heading.
std::vector<CsvRow> ReadTable(const ImportOptions& options, std::string_view content,
                              char separator) {
  std::vector<CsvRow> rows = ReadRows(options, content, separator);
  if (rows.empty()) {
    ImportProblem(options, 1, "the file is empty, expected a heading");
  }
  return rows;
}

// Tells equal rows of a file apart.
class RowIdentifiers {
 public:
  explicit RowIdentifiers(const char* source) : source_(source) {}
  std::u16string Make(const std::vector<std::string>& cells) {
    std::string key;
    for (const std::string& cell : cells) {
      key += cell + "\n";
    }
    return DerivedIdentifier(source_, key, ++seen_[key]);
  }

 private:
  const char* source_;
  std::map<std::string, int> seen_;
};

Record ReadTogglRow(const ImportOptions& options, const Columns& columns, const CsvRow& row,
                    RowIdentifiers* identifiers, ImportedTypes* types) {
  columns.CheckWidth(row);
  const auto cell = [&](const char* name) { return columns.Cell(row, name); };
  Record job = NewImportedJob(options);
  job.SetTicks(Field::Start, ReadTime(options, row, cell("Start date") + " " + cell("Start time")));
  job.SetTicks(Field::End, ReadTime(options, row, cell("End date") + " " + cell("End time")));
  CheckOrder(options, row, job);
  job.SetText(Field::Id,
              identifiers->Make({cell("Start date"), cell("Start time"), cell("End date"),
                                 cell("End time"), cell("Client"), cell("Project"), cell("Task"),
                                 cell("Description"), cell("Tags"), cell("Billable")}));
  job.SetText(Field::Title, FromUtf8(cell("Description")));
  std::string comment;
  for (const char* name : {"Task", "Tags"}) {
    comment += cell(name).empty()
                   ? ""
                   : (comment.empty() ? "" : "\n") + std::string(name) + ": " + cell(name);
  }
  job.SetText(Field::Comment, FromUtf8(comment));
  job.SetText(Field::Project, types->Project(cell("Client"), cell("Project")));
  SetDayAndStamp(options, &job);
  return job;
}

// "a; b" -> a, b
std::vector<std::string> SplitNames(const std::string& text) {
  std::vector<std::string> names;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find(';', begin), text.size());
    const size_t first = std::min(text.find_first_not_of(' ', begin), end);
    const size_t last = text.find_last_not_of(' ', end == 0 ? 0 : end - 1);
    if (first < end) {
      names.push_back(text.substr(first, last + 1 - first));
    }
    begin = end + 1;
  }
  return names;
}

Record ReadClockRow(const ImportOptions& options, const Columns& columns, const ClockColumns& names,
                    const CsvRow& row, RowIdentifiers* identifiers, ImportedTypes* types) {
  columns.CheckWidth(row);
  const auto cell = [&](const std::string& name) {
    return name.empty() ? std::string() : columns.Cell(row, name);
  };
  const std::string date = names.date.empty() ? "" : cell(names.date) + " ";
  Record job = NewImportedJob(options);
  job.SetTicks(Field::Start, ReadTime(options, row, date + cell(names.in)));
  job.SetTicks(Field::End, ReadTime(options, row, date + cell(names.out)));
  if (!date.empty() && job.Ticks(Field::End) < job.Ticks(Field::Start)) {
    // Out earlier in the day than in: on the morning after.
    job.SetTicks(Field::End, NextDay(options, job.Ticks(Field::End)));
  }
  CheckOrder(options, row, job);
  job.SetText(Field::Id, identifiers->Make(row.cells));
  job.SetText(Field::Title, FromUtf8(names.title.empty() ? "Work" : cell(names.title)));
  job.SetText(Field::Comment, FromUtf8(cell(names.comment)));
  job.SetText(Field::Project, types->ProjectPath(cell(names.project)));
  job.SetText(Field::WorkType, types->WorkType(cell(names.workType)));
  job.SetText(Field::Teamwork, types->Teamwork(cell(names.teamwork)));
  job.SetText(Field::Persons, types->Persons(SplitNames(cell(names.person))));
  SetDayAndStamp(options, &job);
  return job;
}

}  // namespace

// Every cell that says something of the entry makes its identifier; who recorded it is dropped.
ImportedRecords ReadTogglRecords(const ImportOptions& options, std::string_view content) {
  const std::vector<CsvRow> rows = ReadTable(options, content, ',');
  const Columns columns(options, rows.front());
  for (const char* name :
       {"Project", "Description", "Start date", "Start time", "End date", "End time"}) {
    columns.Require(name);
  }
  ImportedTypes types("toggl", options);
  RowIdentifiers identifiers("toggl");
  ImportedRecords jobs;
  for (size_t i = 1; i < rows.size(); ++i) {
    Attempt(options, [&] {
      jobs.push_back({ReadTogglRow(options, columns, rows[i], &identifiers, &types), rows[i].line});
    });
  }
  return types.Join(std::move(jobs));
}

ImportedRecords ReadClockRecords(const ImportOptions& options, const ClockColumns& names,
                                 std::string_view content) {
  const std::vector<CsvRow> rows = ReadTable(options, content, names.separator);
  const Columns columns(options, rows.front());
  columns.Require(names.in);
  columns.Require(names.out);
  for (const std::string* name : {&names.date, &names.title, &names.comment, &names.project,
                                  &names.workType, &names.teamwork, &names.person}) {
    if (!name->empty()) {
      columns.Require(*name);
    }
  }
  ImportedTypes types("clock", options);
  RowIdentifiers identifiers("clock");
  ImportedRecords jobs;
  for (size_t i = 1; i < rows.size(); ++i) {
    Attempt(options, [&] {
      jobs.push_back(
          {ReadClockRow(options, columns, names, rows[i], &identifiers, &types), rows[i].line});
    });
  }
  return types.Join(std::move(jobs));
}

}  // namespace wkt
