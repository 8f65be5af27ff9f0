#include "bench/Report.h"

#include <ctime>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace wkt::bench {

namespace {

bool allHold = true;

const char* Verdict(bool holds) {
  allHold = allHold && holds;
  return holds ? "yes" : "NO";
}

}  // namespace

double ProcessorMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

Comparison Compare(int rounds, size_t calls, const std::function<void(int)>& ours,
                   const std::function<void(int)>& theirs) {
  std::vector<double> oursTimes;
  std::vector<double> theirTimes;
  std::vector<double> ratios;
  for (int round = 0; round <= rounds; ++round) {
    double times[2] = {};
    for (const size_t side : {static_cast<size_t>(round % 2), static_cast<size_t>(1 - round % 2)}) {
      const double start = ProcessorMicroseconds();
      (side == 0 ? ours : theirs)(round);
      times[side] = (ProcessorMicroseconds() - start) / static_cast<double>(calls);
    }
    if (round == 0 && rounds > 0)
      continue;
    oursTimes.push_back(times[0]);
    theirTimes.push_back(times[1]);
    ratios.push_back(times[0] / times[1]);
  }
  return {Median(oursTimes), Median(theirTimes), Median(ratios)};
}

void PrintHead(const char* unit) {
  std::printf("\n%-48s %9s %9s %9s %7s %6s  %s\n", unit, "records", "ours", "theirs", "ratio",
              "goal", "holds");
  std::fflush(stdout);
}

void PrintRow(const std::string& what, uint32_t records, const Comparison& comparison,
              double goal) {
  std::printf("%-48s %9u %9.3f %9.3f %7.2f", what.c_str(), records, comparison.ours,
              comparison.theirs, comparison.ratio);
  if (goal > 0) {
    std::printf(" %6.2f  %s\n", goal, Verdict(comparison.ratio <= goal));
  } else {
    std::printf("      -  -\n");
  }
  std::fflush(stdout);
}

void PrintLimit(const std::string& what, uint32_t records, double value, double limit) {
  std::printf("%-48s %9u %9.3f %9s %7s %6.2f  %s\n", what.c_str(), records, value, "-", "-", limit,
              Verdict(value <= limit));
  std::fflush(stdout);
}

bool AllHold() {
  return allHold;
}

void Fail(const std::string& what) {
  std::fprintf(stderr, "bench: %s\n", what.c_str());
  std::exit(1);
}

ScratchFolder::ScratchFolder()
    : path_((std::filesystem::temp_directory_path() / "wkt-bench-XXXXXX").string()) {
  if (!mkdtemp(path_.data()))
    Fail("no temporary folder");
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace wkt::bench
