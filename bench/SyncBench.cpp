// A synchronisation's calls against raw SQLite doing the same reads and writes in the same order,
// side by side in one run: processor time per call, no logging library on the device. --full adds
// 1,000,000 records for FindObjects.
#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "bench/ProviderSide.h"
#include "bench/RawStore.h"
#include "bench/Report.h"

namespace {

using namespace wkt::bench;

// Calls of one round, spread over the records in the order of the list.
constexpr uint32_t kCalls = 2000;
// Numbers of records that are not there from the beginning.
constexpr uint32_t kFirstNew = 10'000'000;

// A round of calls.
template <class Call>
auto Each(const Call& call, uint32_t calls = kCalls) {
  return [call, calls](int round) {
    for (uint32_t i = 0; i < calls; ++i)
      call(i, round);
  };
}

class CallBench {
 public:
  CallBench(const BenchFolder& folder, const std::string& scratch, uint32_t count)
      : folder_(folder), count_(count), raw_(scratch + "/" + folder.title, folder.images) {
    if (!folder.add(0, count))
      Fail("the device's database cannot be filled");
    std::vector<std::string> images;
    for (uint32_t i = 0; i < count; ++i)
      images.push_back(folder.imageOf(i, 0));
    raw_.Fill(images);
  }

  // Microseconds per record.
  double MeasureFind() {
    const int rounds = count_ > 200'000 ? 3 : count_ > 20'000 ? 7 : 15;
    const Comparison found = Compare(
        rounds, count_, [this](int) { provider_.Find(ours_); },
        [this](int) { raw_.List(theirs_); });
    Print("FindObjects, per record", found, 1.5);
    const Comparison scanned = Compare(
        rounds, count_, [this](int) { provider_.Find(ours_); },
        [this](int) { scanned_ += raw_.Scan(); });
    Print("FindObjects / scan of one character", scanned, 3.5);
    Print("FindObjects / scan of one character (stretch)", scanned, 1.7);
    return found.ours;
  }

  void MeasureCalls() {
    // In the list's order, as a synchronisation reads, and in none, as the limits were measured.
    std::vector<size_t> picks;
    for (uint32_t i = 0; i < kCalls; ++i)
      picks.push_back(At(i));
    MeasureReads("GetPacket", picks);
    std::minstd_rand random(1);
    for (size_t& pick : picks)
      pick = random() % ours_.size();
    MeasureReads("GetPacket, random order", picks);
    MeasureConfirmations();
    MeasureEdits();
    MeasureWrites();
  }

 private:
  void Print(const char* what, const Comparison& comparison, double goal) const {
    PrintRow(std::string(folder_.title) + ": " + what, count_, comparison, goal);
  }
  [[nodiscard]] size_t At(uint32_t call) const {
    return static_cast<size_t>(call) * (count_ / kCalls);
  }

  void MeasureReads(const std::string& what, const std::vector<size_t>& picks) {
    const Comparison read =
        Compare(11, kCalls, Each([&](uint32_t i, int) { provider_.Get(ours_[picks[i]]); }),
                Each([&](uint32_t i, int) { raw_.Get(theirs_[picks[i]]); }));
    Print(what.c_str(), read, 2.2);
    Print((what + " (outer bar)").c_str(), read, 2.5);
  }

  // Each round confirms records that no round before has confirmed.
  void MeasureConfirmations() {
    const size_t step = count_ / kCalls;
    const int rounds = static_cast<int>(std::min<size_t>(step, 10)) - 1;
    Print("confirmation (ObjectNotify)",
          Compare(rounds, kCalls, Each([this](uint32_t i, int round) {
                    provider_.Confirm(ours_[At(i) + static_cast<size_t>(round)]);
                  }),
                  Each([this](uint32_t i, int round) {
                    raw_.Confirm(theirs_[At(i) + static_cast<size_t>(round)]);
                  })),
          1.6);
  }

  void MeasureWrites() {
    std::vector<std::vector<BYTE>> packets;
    std::vector<std::string> images;
    for (uint32_t i = 0; i < kCalls; ++i) {
      packets.push_back(folder_.packetOf(kFirstNew + i, 0));
      images.push_back(folder_.imageOf(kFirstNew + i, 0));
    }
    std::vector<CEOID> added;
    std::vector<uint32_t> inserted;
    Print("SetPacket of a new record",
          Compare(kWriteRounds, kCalls,
                  Each([&](uint32_t i, int) { added.push_back(provider_.Put(0, packets[i])); }),
                  Each([&](uint32_t i, int) { inserted.push_back(raw_.Insert(images[i])); })),
          1.5);
    Print("DeleteObj",
          Compare(kWriteRounds, kCalls, Each([&](uint32_t i, int round) {
                    provider_.Delete(added[static_cast<size_t>(round) * kCalls + i]);
                  }),
                  Each([&](uint32_t i, int round) {
                    raw_.Delete(inserted[static_cast<size_t>(round) * kCalls + i]);
                  })),
          1.5);
  }

  // Two editions in turn, so that every call changes what is stored.
  void MeasureEdits() {
    std::vector<std::vector<BYTE>> packets[2];
    std::vector<std::string> images[2];
    for (uint32_t i = 0; i < kCalls; ++i) {
      // The list was taken when all records were new to the partner: the last one stands first.
      const auto number = static_cast<uint32_t>(ours_.size() - 1 - At(i));
      for (const uint32_t edition : {0u, 1u}) {
        packets[edition].push_back(folder_.packetOf(number, edition + 1));
        images[edition].push_back(folder_.imageOf(number, edition + 1));
      }
    }
    const auto measure = [&](int rounds, uint32_t calls) {
      return Compare(
          rounds, calls,
          Each(
              [&](uint32_t i, int round) {
                static_cast<void>(provider_.Put(ours_[At(i)], packets[round % 2][i]));
              },
              calls),
          Each([&](uint32_t i, int round) { raw_.Update(theirs_[At(i)], images[round % 2][i]); },
               calls));
    };
    Print("SetPacket of an existing record", measure(kWriteRounds, kCalls), 1.5);
    // Each commit on the medium: processor time only, the medium's own time is not ours.
    SetFull(true);
    Print("SetPacket of an existing record, full", measure(5, 200), 1.5);
    SetFull(false);
  }

  void SetFull(bool isFull) {
    std::string error;
    if (!wkt::control::SetDurability(
            isFull ? wkt::control::Durability::Full : wkt::control::Durability::Relaxed, error))
      Fail(error);
    raw_.SetFull(isFull);
  }

  static constexpr int kWriteRounds = 7;

  const BenchFolder& folder_;
  uint32_t count_;
  RawStore raw_;
  Provider provider_{folder_};
  std::vector<UINT> ours_;
  std::vector<uint32_t> theirs_;
  size_t scanned_ = 0;
};

// Returns what a record costs FindObjects.
double Measure(const BenchFolder& folder, uint32_t count) {
  const ScratchFolder scratch;
  MakeDevice(scratch.Path() + "/device");
  double each = 0;
  {
    CallBench bench(folder, scratch.Path(), count);
    each = bench.MeasureFind();
    if (count <= 100'000)
      bench.MeasureCalls();
  }
  wkt::control::LeaveDevice();
  return each;
}

}  // namespace

int main(int argc, char** argv) {
  const bool isFull = argc > 1 && std::strcmp(argv[1], "--full") == 0;
  PrintHead("us of processor time per call, raw SQLite");
  for (const BenchFolder* const folder : {&kJobFolder, &kTypeFolder}) {
    const double small = Measure(*folder, 10'000);
    for (const auto& [count, goal] : {std::pair{100'000u, 1.25}, std::pair{1'000'000u, 1.4}}) {
      if (count > 100'000 && !isFull)
        continue;
      const double each = Measure(*folder, count);
      PrintRow(std::string(folder->title) + ": FindObjects per record / at 10,000", count,
               {each, small, each / small}, goal);
    }
  }
  return AllHold() ? 0 : 2;
}
