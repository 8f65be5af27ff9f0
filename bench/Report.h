// Both sides of a comparison measured in turn, and one line per comparison. scripts/bench_table.py
// reads these lines: name, records, ours, theirs, ratio, goal, yes or NO.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace wkt::bench {

// Of this process, system calls included.
[[nodiscard]] double ProcessorMicroseconds();
[[nodiscard]] double Median(std::vector<double> values);

struct Comparison {
  double ours = 0;    // median per call
  double theirs = 0;  // likewise
  double ratio = 0;   // median of the rounds' ratios: what else the machine does hits both sides
};

// Rounds of both sides take turns in who begins. Round 0 warms up and does not count.
[[nodiscard]] Comparison Compare(int rounds, size_t calls, const std::function<void(int)>& ours,
                                 const std::function<void(int)>& theirs);

// `unit`: what the two columns hold. The program's name stands before errors.
void PrintHead(const char* unit);
// Goal 0: for comparison only.
void PrintRow(const std::string& what, uint32_t records, const Comparison& comparison, double goal);
// A number with an upper limit of its own.
void PrintLimit(const std::string& what, uint32_t records, double value, double limit);
// No row has missed its goal so far.
[[nodiscard]] bool AllHold();

[[noreturn]] void Fail(const std::string& what);

// A new folder, removed with all in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace wkt::bench
