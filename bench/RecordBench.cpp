// Records and their databases without a service manager: building a record, stamps, log calls, and
// add, find, modify and delete against raw SQLite. Processor time, side by side in one run.
#include <ctime>

#include <memory>
#include <type_traits>

#include "WktCommon/Log.h"
#include "WktCommon/Times.h"
#include "WktDevCommon/RecordOperations.h"
#include "bench/ProviderSide.h"
#include "bench/RawStore.h"
#include "bench/RecordSamples.h"
#include "bench/Report.h"
#include "host/control/Calls.h"
#include "tests/support/AllocationCounter.h"

namespace {

using namespace wkt::bench;

constexpr uint32_t kRecords = 2000;
constexpr uint32_t kCalls = 2000;
constexpr uint32_t kFirstNew = 10'000'000;

// The same operations of both kinds of record under one name.
struct Jobs : wkt::JobKind {
  static constexpr const BenchFolder& kFolder = kJobFolder;
  using Plain = PlainRecord;

  static Plain MakePlain(uint32_t number, uint32_t edition) { return MakeRecord(number, edition); }
  static Owned New() { return std::make_unique<CJobLean>(FALSE); }
  static Owned Make(const Plain& plain) {
    Owned job = New();
    FillJob(*job, plain);
    return job;
  }
  static CEOID Find(Database& database, CEOID oid, Record** found) {
    return database.FindJob(oid, found, TRUE);
  }
  static CEOID Add(Database& database, Record* job) { return database.AddJob(job, TRUE); }
  static BOOL Delete(Database& database, CEOID oid) { return database.DeleteJob(oid, TRUE); }
};

struct Types : wkt::TypeKind {
  static constexpr const BenchFolder& kFolder = kTypeFolder;
  using Plain = PlainType;

  static Plain MakePlain(uint32_t number, uint32_t edition) {
    return MakePlainType(number, edition);
  }
  static Owned New() { return Owned(wkt::MakeType(1, FALSE)); }
  static Owned Make(const Plain& plain) { return MakeType(plain); }
  static CEOID Find(Database& database, CEOID oid, Record** found) {
    return database.FindWktType(oid, found, TRUE);
  }
  static CEOID Add(Database& database, Record* type) { return database.AddWktType(type, TRUE); }
  static BOOL Delete(Database& database, CEOID oid) {
    return wkt::DeleteRecord(database, oid, TRUE);
  }
};

// What FindJob does after the read, and its peer: a struct of plain members out of the same values.
template <class Kind>
struct BuildInput {
  std::vector<typename Kind::Owned> records;
  std::vector<std::unique_ptr<CEPROPVAL[]>> values;
  std::vector<std::string> images;
  WORD count = 0;

  BuildInput() {
    for (uint32_t i = 0; i < kRecords; ++i) {
      const typename Kind::Plain plain = Kind::MakePlain(i, 0);
      records.push_back(Kind::Make(plain));
      values.push_back(Kind::Database::AllocPropertyArray(&count));
      Kind::Database::FillPropValArray(values.back().get(), records.back().get(), -1);
      images.push_back(EncodeImage(plain));
    }
  }
  void BuildOurs() const {
    for (const auto& value : values) {
      const typename Kind::Owned record = Kind::New();
      Kind::Load(record.get(), {value.get(), count});
    }
  }
  void BuildPlain() const {
    for (const std::string& image : images) {
      typename Kind::Plain record;
      DecodeImage(image, record);
    }
  }
};

template <class Kind>
void MeasureBuilding() {
  const std::string title = Kind::kFolder.title;
  const BuildInput<Kind> input;
  const Comparison comparison = Compare(
      25, kRecords, [&input](int) { input.BuildOurs(); }, [&input](int) { input.BuildPlain(); });
  PrintRow(title + ": record from its properties / plain struct", kRecords, comparison, 1.5);
  const wkt::test::AllocationCounter counter;
  input.BuildOurs();
  PrintLimit(title + ": allocations of a record", kRecords,
             static_cast<double>(counter.Count()) / kRecords, 15);
}

template <class Kind>
void MeasureDatabase(uint32_t count) {
  const BenchFolder& folder = Kind::kFolder;
  const ScratchFolder scratch;
  MakeDevice(scratch.Path() + "/device");
  {
    if (!folder.add(0, count))
      Fail("the device's database cannot be filled");
    RawStore raw(scratch.Path() + "/raw", folder.images);
    std::vector<std::string> images;
    for (uint32_t i = 0; i < count; ++i)
      images.push_back(folder.imageOf(i, 0));
    raw.Fill(images);
    typename Kind::Database database(folder.database);
    if (!database.Open(FALSE))
      Fail("the device's database does not open");
    std::vector<typename Kind::Owned> records[2];
    std::vector<std::string> fresh[2];
    for (uint32_t i = 0; i < kCalls; ++i) {
      for (const uint32_t edition : {0u, 1u}) {
        records[edition].push_back(Kind::Make(Kind::MakePlain(kFirstNew + i, edition)));
        fresh[edition].push_back(folder.imageOf(kFirstNew + i, edition));
      }
    }
    std::vector<CEOID> added;
    std::vector<uint32_t> inserted;
    const auto measure = [&](const char* what, const auto& ours, const auto& theirs) {
      const auto each = [](const auto& call) {
        return [call](int round) {
          for (uint32_t i = 0; i < kCalls; ++i)
            call(i, static_cast<size_t>(round));
        };
      };
      PrintRow(std::string(folder.title) + ": " + what, count,
               Compare(7, kCalls, each(ours), each(theirs)), 0);
    };
    measure(
        "add",
        [&](uint32_t i, size_t) { added.push_back(Kind::Add(database, records[0][i].get())); },
        [&](uint32_t i, size_t) { inserted.push_back(raw.Insert(fresh[0][i])); });
    measure(
        "find",
        [&](uint32_t i, size_t round) {
          typename Kind::Record* found = nullptr;
          if (Kind::Find(database, added[round * kCalls + i], &found) == 0)
            Fail("no record");
          const typename Kind::Owned owned(found);
        },
        [&](uint32_t i, size_t round) { raw.Get(inserted[round * kCalls + i]); });
    measure(
        "modify",
        [&](uint32_t i, size_t round) {
          if (!Kind::Modify(database, added[i], records[1 - round % 2][i].get()))
            Fail("no change");
        },
        [&](uint32_t i, size_t round) { raw.Update(inserted[i], fresh[1 - round % 2][i]); });
    measure(
        "delete",
        [&](uint32_t i, size_t round) {
          if (!Kind::Delete(database, added[round * kCalls + i]))
            Fail("no deletion");
        },
        [&](uint32_t i, size_t round) { raw.Delete(inserted[round * kCalls + i]); });
  }
  wkt::control::LeaveDevice();
}

// Seconds since 1970 as a file time, the shortest way from the clock to a stamp.
FILETIME StampByArithmetic() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return ToTime((static_cast<uint64_t>(now.tv_sec) + 11'644'473'600) * 10'000'000);
}

// Twenty fields set one by one, as often as a record has them.
void MeasureStamps() {
  constexpr size_t kStamps = 20;
  uint32_t consumed = 0;
  const Comparison literal = Compare(
      25, kRecords,
      [&consumed](int) {
        FILETIME time;
        for (size_t i = 0; i < kRecords * kStamps; ++i)
          consumed += GetCurrentFileTime(time, FALSE, FALSE).dwLowDateTime;
      },
      [&consumed](int) {
        for (size_t i = 0; i < kRecords * kStamps; ++i)
          consumed += StampByArithmetic().dwLowDateTime;
      });
  // 0.5 us are the goal where arithmetic takes 0.46.
  PrintRow("20 stamps / direct arithmetic", kRecords, literal, 0.5 / 0.46);
  CJobLean job(FALSE);
  wkt::control::CallRecording recording;
  {
    const wkt::FillScope<CJobLean> filling(job);
    for (int i = 0; i < static_cast<int>(kStamps); ++i)
      job.SetUnused2(i);
    job.SetModificationTime(ToTime(1), FALSE);
  }
  PrintLimit("clock readings of 20 stamps in a fill", 1,
             static_cast<double>(recording.Take().size()), 0);
}

// Enter, one line with a text, leave; nobody listens.
void MeasureLogging() {
  constexpr size_t kScopes = 1'000'000;
  std::vector<double> times(15);
  const wkt::test::AllocationCounter counter;
  for (double& time : times) {
    const double start = ProcessorMicroseconds();
    for (size_t i = 0; i < kScopes; ++i) {
      const wkt::LogScope log("MeasureLogging");
      log.Write(wkt::kLogDetail, u"Title = '%s'", u"title");
      asm volatile("" ::: "memory");
    }
    time = (ProcessorMicroseconds() - start) * 1e3 / (3 * kScopes);
  }
  const size_t allocations = counter.Count();
  PrintLimit("log call without listener, ns", kScopes, Median(times), 2);
  PrintLimit("its allocations", kScopes, static_cast<double>(allocations), 0);
}

// "build N" and "plain N": one side alone, for counting instructions.
int RunAlone(const std::string& verb, size_t rounds) {
  const BuildInput<Jobs> input;
  for (size_t i = 0; i < rounds; ++i)
    verb == "build" ? input.BuildOurs() : input.BuildPlain();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3)
    return RunAlone(argv[1], std::stoul(argv[2]));
  PrintHead("us of processor time per call, raw SQLite");
  {
    const ScratchFolder scratch;
    MakeDevice(scratch.Path() + "/device");
    MeasureBuilding<Jobs>();
    MeasureBuilding<Types>();
    MeasureStamps();
    MeasureLogging();
    wkt::control::LeaveDevice();
  }
  for (const uint32_t count : {10'000u, 100'000u}) {
    MeasureDatabase<Jobs>(count);
    MeasureDatabase<Types>(count);
  }
  return AllHold() ? 0 : 2;
}
