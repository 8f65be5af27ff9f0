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

struct CsvRow {
  std::vector<std::string> cells;
  int line = 1;
};

struct ParserOwner {
  ParserOwner() {
    csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI | CSV_APPEND_NULL | CSV_REPALL_NL);
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
  bool tooLong = false;
};

void OnCell(void* text, size_t size, void* data) {
  auto* state = static_cast<ReadState*>(data);
  state->tooLong |= size > kMaxCellBytes;
  state->row.cells.emplace_back(static_cast<const char*>(text), size);
}

void OnRow(int, void* data) {
  auto* state = static_cast<ReadState*>(data);
  state->rows.push_back(std::move(state->row));
  state->row = {};
}

// Fed line by line, so that rows know where they start.
std::vector<CsvRow> ReadRows(const ImportOptions& options, std::string_view content) {
  content = CheckUtf8(options, content);
  ParserOwner owner;
  ReadState state;
  int line = 1;
  int rowLine = 1;
  for (size_t begin = 0; begin < content.size(); ++line) {
    const size_t end = std::min(content.find('\n', begin), content.size() - 1) + 1;
    const size_t rowsBefore = state.rows.size();
    if (csv_parse(&owner.parser, content.data() + begin, end - begin, OnCell, OnRow, &state) !=
        end - begin) {
      ImportProblem(options, line,
                    std::string("not CSV: ") + csv_strerror(csv_error(&owner.parser)));
    }
    if (state.tooLong || owner.parser.entry_pos > kMaxCellBytes) {
      ImportProblem(options, rowLine, "a cell is longer than any; a quote is not closed");
    }
    for (size_t i = rowsBefore; i < state.rows.size(); ++i) {
      state.rows[i].line = rowLine;
    }
    if (state.rows.size() > rowsBefore) {
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
      ImportProblem(options_, 1, "there is no column '" + name + "'");
    }
  }
  void CheckWidth(const CsvRow& row) const {
    if (row.cells.size() != width_) {
      ImportProblem(
          options_, row.line,
          fmt::format("{} columns, expected {} as in the heading", row.cells.size(), width_));
    }
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

void CheckOrder(const ImportOptions& options, const CsvRow& row, const Record& job) {
  if (job.Ticks(Field::End) < job.Ticks(Field::Start)) {
    ImportProblem(options, row.line, "the entry ends before it starts");
  }
}

}  // namespace

// Every cell that says something of the entry makes its identifier; who recorded it is dropped.
ImportedRecords ReadTogglRecords(const ImportOptions& options, std::string_view content) {
  const std::vector<CsvRow> rows = ReadRows(options, content);
  if (rows.empty()) {
    ImportProblem(options, 1, "the file is empty, expected a heading");
  }
  const Columns columns(options, rows.front());
  for (const char* name :
       {"Project", "Description", "Start date", "Start time", "End date", "End time"}) {
    columns.Require(name);
  }
  ImportedTypes types("toggl", options);
  ImportedRecords jobs;
  std::map<std::string, int> seen;
  for (size_t i = 1; i < rows.size(); ++i) {
    const CsvRow& row = rows[i];
    columns.CheckWidth(row);
    const auto cell = [&](const char* name) { return columns.Cell(row, name); };
    Record job = NewImportedJob(options);
    job.SetTicks(Field::Start,
                 ReadTime(options, row, cell("Start date") + " " + cell("Start time")));
    job.SetTicks(Field::End, ReadTime(options, row, cell("End date") + " " + cell("End time")));
    CheckOrder(options, row, job);
    std::string key;
    for (const char* name : {"Start date", "Start time", "End date", "End time", "Client",
                             "Project", "Task", "Description", "Tags", "Billable"}) {
      key += cell(name) + "\n";
    }
    job.SetText(Field::Id, DerivedIdentifier("toggl", key, ++seen[key]));
    job.SetText(Field::Title, FromUtf8(cell("Description")));
    std::string comment;
    for (const char* name : {"Task", "Tags"}) {
      comment += cell(name).empty()
                     ? ""
                     : (comment.empty() ? "" : "\n") + std::string(name) + ": " + cell(name);
    }
    job.SetText(Field::Comment, FromUtf8(comment));
    job.SetText(Field::Project, types.Project(cell("Client"), cell("Project")));
    SetDayAndStamp(options, &job);
    jobs.push_back({std::move(job), row.line});
  }
  return types.Join(std::move(jobs));
}

ImportedRecords ReadClockRecords(const ImportOptions& options, const ClockColumns& names,
                                 std::string_view content) {
  const std::vector<CsvRow> rows = ReadRows(options, content);
  if (rows.empty()) {
    ImportProblem(options, 1, "the file is empty, expected a heading");
  }
  const Columns columns(options, rows.front());
  columns.Require(names.in);
  columns.Require(names.out);
  for (const std::string* name :
       {&names.title, &names.comment, &names.project, &names.workType, &names.person}) {
    if (!name->empty()) {
      columns.Require(*name);
    }
  }
  ImportedTypes types("clock", options);
  ImportedRecords jobs;
  std::map<std::string, int> seen;
  for (size_t i = 1; i < rows.size(); ++i) {
    const CsvRow& row = rows[i];
    columns.CheckWidth(row);
    const auto cell = [&](const std::string& name) {
      return name.empty() ? std::string() : columns.Cell(row, name);
    };
    Record job = NewImportedJob(options);
    job.SetTicks(Field::Start, ReadTime(options, row, cell(names.in)));
    job.SetTicks(Field::End, ReadTime(options, row, cell(names.out)));
    CheckOrder(options, row, job);
    std::string key;
    for (const std::string& text : row.cells) {
      key += text + "\n";
    }
    job.SetText(Field::Id, DerivedIdentifier("clock", key, ++seen[key]));
    job.SetText(Field::Title, FromUtf8(names.title.empty() ? "Work" : cell(names.title)));
    job.SetText(Field::Comment, FromUtf8(cell(names.comment)));
    job.SetText(Field::Project, types.Project("", cell(names.project)));
    job.SetText(Field::WorkType, types.WorkType(cell(names.workType)));
    job.SetText(Field::Persons, types.Person(cell(names.person)));
    SetDayAndStamp(options, &job);
    jobs.push_back({std::move(job), row.line});
  }
  return types.Join(std::move(jobs));
}

}  // namespace wkt
