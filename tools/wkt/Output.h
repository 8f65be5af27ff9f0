// What the command prints: reports (data, to stdout) as JSON or as text made from the same JSON,
// and talk (to stderr).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "desktop/partner/RecordJson.h"

namespace wkt::tool {

// Chosen on the command line, for all commands.
struct OutputOptions {
  bool json = false;
};

// Columns of a table, its heading first; numbers are set to the right. Widths count what a terminal
// shows, so that wide letters stay in line.
class Table {
 public:
  enum class Align : bool { Left, Right };
  struct Column {
    std::string heading;
    Align align = Align::Left;
  };

  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}
  void AddRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  std::string Text() const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

size_t DisplayWidth(const std::string& utf8);
// Cut to a width, with "…" when something is missing; line ends become blanks.
std::string Shorten(const std::string& utf8, size_t width);

// Prints the report as it is, or through `text`.
void Print(const OutputOptions& output, const Json& report,
           const std::function<std::string(const Json&)>& text);

// Talk for people, on stderr.
void Say(const std::string& line);
bool IsTerminal();  // stderr is one, and colours are not refused by NO_COLOR
// Overwrites the present line of the terminal; an empty text clears it.
void SayProgress(const std::string& line);

// "1 record", "2 records"
std::string CountText(int64_t count, const std::string& singular, const std::string& plural);

}  // namespace wkt::tool
