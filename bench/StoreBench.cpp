// The object store against raw SQLite, side by side in one run: processor time per operation,
// medians of interleaved rounds. --full adds 1,000,000 records.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>

#include "bench/Report.h"
#include "bench/StoreBenchSides.h"
#include "bench/SyncCounts.h"

namespace {

using namespace wkt::bench;

struct Medians {
  double ours;
  double raw;
};

// Each round runs one side, then the other, the first one in turn; the first round does not count.
Medians Compare(int rounds, size_t operations, const std::function<void()>& ours,
                const std::function<void()>& raw) {
  std::vector<double> oursTimes;
  std::vector<double> rawTimes;
  for (int round = 0; round <= rounds; ++round) {
    for (const bool isOurs : {round % 2 == 0, round % 2 != 0}) {
      const double start = ProcessorMicroseconds();
      (isOurs ? ours : raw)();
      const double each = (ProcessorMicroseconds() - start) / static_cast<double>(operations);
      if (round > 0)
        (isOurs ? oursTimes : rawTimes).push_back(each);
    }
  }
  return {Median(oursTimes), Median(rawTimes)};
}

bool allHold = true;

void Print(const char* operation, uint32_t count, const Medians& medians, double goal) {
  const double ratio = medians.ours / medians.raw;
  printf("%-44s %9u %9.3f %9.3f %7.2f", operation, count, medians.ours, medians.raw, ratio);
  if (goal > 0) {
    const bool holds = ratio <= goal;
    allHold = allHold && holds;
    printf(" %6.2f  %s\n", goal, holds ? "yes" : "NO");
  } else {
    printf("      -  (for comparison)\n");
  }
  fflush(stdout);
}

struct Growth {
  double bytesPerRecord;
  double readMicroseconds;
};

void MeasureReads(uint32_t count, StoreSide& store, RawSide& raw, Growth& growth) {
  const int rounds = count > 200'000 ? 3 : count > 20'000 ? 7 : 15;
  const Medians all = Compare(
      rounds, count, [&] { store.ReadAll(); }, [&] { raw.ReadAll(RawSide::Handling::Copy); });
  Print("read all in sequence", count, all, 1.3);
  growth.readMicroseconds = all.ours;
  for (const auto& [name, handling] :
       {std::pair{"  the same; raw looks at one byte, no copy", RawSide::Handling::Look},
        std::pair{"  the same; raw makes the same block", RawSide::Handling::MakeBlock}}) {
    Print(name, count,
          Compare(
              rounds, count, [&] { store.ReadAll(); }, [&, each = handling] { raw.ReadAll(each); }),
          0);
  }

  constexpr size_t kPicks = 20'000;
  std::minstd_rand random(1);
  std::vector<CEOID> picks(kPicks);
  for (CEOID& pick : picks)
    pick = store.Oids()[random() % store.Oids().size()];
  const auto rawReads = [&] {
    for (const CEOID oid : picks)
      raw.Read(oid);
  };
  for (const bool wantsIndex : {true, false}) {
    const Medians reads = Compare(
        9, kPicks,
        [&] {
          for (const CEOID oid : picks)
            store.SeekAndRead(oid, wantsIndex);
        },
        rawReads);
    Print(wantsIndex ? "seek by identifier with place, read (random)"
                     : "seek by identifier, read (random)",
          count, reads, 1.4);
  }
  std::sort(picks.begin(), picks.end());
  Print("seek by identifier with place, read (ordered)", count,
        Compare(
            9, kPicks,
            [&] {
              for (const CEOID oid : picks)
                store.SeekAndRead(oid, true);
            },
            rawReads),
        1.4);
}

void MeasureWrites(uint32_t count, StoreSide& store, RawSide& raw) {
  constexpr size_t kWrites = 2'000;
  std::minstd_rand random(2);
  std::vector<CEOID> picks(kWrites);
  std::vector<SampleRecord> records;
  for (CEOID& pick : picks) {
    const auto number = static_cast<uint32_t>(random() % store.Oids().size());
    pick = store.Oids()[number];
    records.emplace_back(number);
  }
  uint32_t variant = 0;
  for (const bool withCatalogue : {true, false}) {
    const Medians updates = Compare(
        9, kWrites,
        [&] {
          ++variant;
          for (size_t index = 0; index < kWrites; ++index)
            store.Update(picks[index], records[index], variant);
        },
        [&] {
          for (const CEOID oid : picks)
            raw.Update(oid, withCatalogue);
        });
    Print(withCatalogue ? "update (relaxed)" : "  the same; raw keeps no time of change", count,
          updates, withCatalogue ? 1.4 : 0);
  }
  SampleRecord next(count);
  Print("insert (relaxed)", count,
        Compare(
            9, kWrites,
            [&] {
              for (size_t index = 0; index < kWrites; ++index) {
                next.MoveOn();
                store.Insert(next);
              }
            },
            [&] {
              for (size_t index = 0; index < kWrites; ++index)
                raw.Insert();
            }),
        1.4);
}

void MeasureOpening(uint32_t count, StoreSide& store, RawSide& raw) {
  constexpr size_t kOpens = 20'000;
  Print("find by name, open, close", count,
        Compare(
            9, kOpens,
            [&] {
              for (size_t index = 0; index < kOpens; ++index)
                store.FindOpenClose();
            },
            [&] {
              for (size_t index = 0; index < kOpens; ++index)
                raw.ReadCatalogue();
            }),
        1.5);
}

void CountFullSyncs(StoreSide& store) {
  constexpr uint32_t kCalls = 500;
  store.SetDurability(true);
  SyncCounts before = Syncs();
  const auto report = [&before](const char* what) {
    const SyncCounts now = Syncs();
    const auto log = static_cast<double>(now.log - before.log);
    const bool holds = log >= kCalls && log <= kCalls + 2;
    allHold = allHold && holds;
    printf("%-44s %9u calls: %.3f syncs of the log a call, %llu others  %s\n", what, kCalls,
           log / kCalls, static_cast<unsigned long long>(now.other - before.other),
           holds ? "yes" : "NO");
    before = now;
  };
  std::vector<CEOID> made;
  SampleRecord record(5'000'000);
  for (uint32_t index = 0; index < kCalls; ++index)
    made.push_back(store.Insert(record));
  report("syncs: insert (full)");
  for (uint32_t index = 0; index < kCalls; ++index)
    store.Update(made[index], record, 2 * index + 1);
  report("syncs: update (full)");
  for (const CEOID oid : made)
    store.Delete(oid);
  report("syncs: delete (full)");
  store.SetDurability(false);
}

Growth Measure(uint32_t count, const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  StoreSide store(folder / "device");
  store.Fill(count);
  CeFlushDBVol(nullptr);
  RawSide raw(folder / "raw.db", store);
  Growth growth{};
  MeasureReads(count, store, raw, growth);
  MeasureOpening(count, store, raw);
  struct stat status {};
  sqlite3* checkpoint = nullptr;
  sqlite3_open_v2(store.File().c_str(), &checkpoint, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_wal_checkpoint_v2(checkpoint, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  stat(store.File().c_str(), &status);
  sqlite3_close(checkpoint);
  growth.bytesPerRecord = static_cast<double>(status.st_size) / count;
  MeasureWrites(count, store, raw);
  CountFullSyncs(store);
  return growth;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const bool isFull = argumentCount > 1 && strcmp(arguments[1], "--full") == 0;
  CountSyncs();
  std::string pattern = (std::filesystem::temp_directory_path() / "wkt-bench-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr)
    return 1;
  printf("%-44s %9s %9s %9s %7s %6s  %s\n", "operation (processor time, microseconds)", "records",
         "ours", "raw", "ratio", "goal", "holds");
  std::vector<std::pair<uint32_t, Growth>> growths;
  for (const uint32_t count : {10'000u, 100'000u, 1'000'000u}) {
    if (count <= 100'000 || isFull) {
      const std::filesystem::path folder = std::filesystem::path(pattern) / std::to_string(count);
      growths.emplace_back(count, Measure(count, folder));
      std::filesystem::remove_all(folder);
    }
  }
  const Growth& first = growths.front().second;
  for (size_t index = 1; index < growths.size(); ++index) {
    const Growth& later = growths[index].second;
    const double bytes = later.bytesPerRecord / first.bytesPerRecord;
    const double time = later.readMicroseconds / first.readMicroseconds;
    const double goal = growths[index].first <= 100'000 ? 1.25 : 1.4;
    const bool holds = bytes <= goal && time <= goal;
    allHold = allHold && holds;
    printf(
        "growth per record, %u to %u: bytes %.0f to %.0f (%.2f), reading %.3f to %.3f (%.2f), goal "
        "%.2f  %s\n",
        growths.front().first, growths[index].first, first.bytesPerRecord, later.bytesPerRecord,
        bytes, first.readMicroseconds, later.readMicroseconds, time, goal, holds ? "yes" : "NO");
  }
  std::filesystem::remove_all(pattern);
  return allHold ? 0 : 2;
}
