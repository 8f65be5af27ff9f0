// A synchronisation's calls against raw SQLite doing the same reads and writes in the same order,
// side by side in one run: processor time per call, medians of interleaved rounds, no logging
// library on the device. --full adds 1,000,000 records for FindObjects.
#include <malloc.h>
#include <ctime>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>

#include "WktCommon/JobPacket.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "bench/SyncBenchRaw.h"
#include "desktop/device/Installation.h"
#include "host/control/Desk.h"
#include "platform/Kernel.h"
#include "platform/SyncProvider.h"

namespace {

using namespace wkt::bench;

double Microseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

[[noreturn]] void Fail(const std::string& what) {
  fprintf(stderr, "bench_sync: %s\n", what.c_str());
  exit(1);
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Medians {
  double ours;
  double raw;
};

// Rounds of both sides take turns; the first one warms up and does not count.
Medians Compare(int rounds, size_t calls, const std::function<void(int)>& ours,
                const std::function<void(int)>& raw) {
  std::vector<double> oursTimes;
  std::vector<double> rawTimes;
  for (int round = 0; round <= rounds; ++round) {
    for (const bool isOurs : {round % 2 == 0, round % 2 != 0}) {
      const double start = Microseconds();
      (isOurs ? ours : raw)(round);
      const double each = (Microseconds() - start) / static_cast<double>(calls);
      if (round > 0)
        (isOurs ? oursTimes : rawTimes).push_back(each);
    }
  }
  return {Median(oursTimes), Median(rawTimes)};
}

void Print(const char* operation, uint32_t count, const Medians& medians, double goal) {
  const double ratio = medians.ours / medians.raw;
  printf("%-34s %9u %9.2f %9.2f %7.2f %6.2f  %s\n", operation, count, medians.ours, medians.raw,
         ratio, goal, ratio <= goal ? "yes" : "NO");
  fflush(stdout);
}

void FillJob(CJobLean& job, const PlainRecord& plain) {
  const auto time = [](uint64_t ticks) {
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  };
  job.SetJobId(plain.id.c_str());
  job.SetTitle(plain.title.c_str());
  job.SetComment(plain.comment.c_str());
  job.SetWorkTypeId(plain.workType.c_str());
  job.SetProjectId(plain.project.c_str());
  job.SetTeamworkId(plain.teamwork.c_str());
  job.SetPersonIds((plain.persons[0] + u"; " + plain.persons[1]).c_str());
  job.SetFlags(plain.flags.c_str());
  job.SetUnused3(plain.unused3.c_str());
  job.SetStartTime(time(plain.start));
  job.SetEndTime(time(plain.end));
  job.SetLocalDayAsFileTime(time(plain.day));
  job.SetModificationTime(time(plain.modified), FALSE);
}

void SetName(WCHAR (&field)[MAX_OBJTYPE_NAME]) {
  std::u16string(u"WktActivities").copy(field, MAX_OBJTYPE_NAME - 1);
}

// The installed provider and its handler for the jobs.
class Provider {
 public:
  Provider() {
    library = LoadLibraryW(u"\\Program Files\\Worktally\\WktDevSync.dll");
    if (!library)
      Fail("the provider does not load");
    Resolve(u"InitObjType", initObjType);
    Resolve(u"FindObjects", findObjects);
    Resolve(u"ObjectNotify", objectNotify);
    std::u16string folder = u"WktActivities";
    initObjType(folder.data(), &handler, 1);
  }
  ~Provider() { handler->Release(); }

  void Find(std::vector<UINT>& oids) {
    FINDOBJINFO info = {};
    SetName(info.szObjType);
    findObjects(&info);
    oids.assign(info.poid, info.poid + info.cUnChg + info.cChg);
    info.uFlags = FO_DONE_ONE_VOL;
    findObjects(&info);
  }
  // The packet's bytes are the provider's for ever.
  void Get(CEOID oid) {
    REPLSETUP setup = MakeSetup(oid, TRUE, 0);
    handler->Setup(&setup);
    BYTE* bytes = nullptr;
    DWORD byteCount = 0;
    if (handler->GetPacket(&bytes, &byteCount, 8192) != RWRN_LAST_PACKET)
      Fail("no packet");
    handler->Reset(&setup);
  }
  void Confirm(CEOID oid) {
    OBJNOTIFY notice = {};
    notice.cbStruct = sizeof(notice);
    SetName(notice.szObjType);
    notice.uFlags = ONF_CLEAR_CHANGE;
    notice.oidObject = oid;
    objectNotify(&notice);
  }
  CEOID Put(std::vector<BYTE>& bytes) {
    REPLSETUP setup = MakeSetup(0, FALSE, RSF_NEW_OBJECT);
    handler->Setup(&setup);
    handler->SetPacket(bytes.data(), static_cast<DWORD>(bytes.size()));
    handler->Reset(&setup);
    if (setup.oidNew == 0)
      Fail("no record");
    return setup.oidNew;
  }
  void Delete(CEOID oid) {
    REPLSETUP setup = MakeSetup(oid, FALSE, 0);
    if (handler->DeleteObj(&setup) != S_OK)
      Fail("no deletion");
  }

 private:
  template <class Function>
  void Resolve(const char16_t* name, Function& function) {
    function = reinterpret_cast<Function>(GetProcAddressW(library, name));
  }
  static REPLSETUP MakeSetup(CEOID oid, BOOL isRead, DWORD flags) {
    REPLSETUP setup = {};
    setup.cbStruct = sizeof(setup);
    setup.fRead = isRead;
    setup.dwFlags = flags;
    setup.oid = oid;
    SetName(setup.szObjType);
    return setup;
  }

  HMODULE library = nullptr;
  InitObjTypeFunction initObjType = nullptr;
  FindObjectsFunction findObjects = nullptr;
  ObjectNotifyFunction objectNotify = nullptr;
  IReplObjHandler* handler = nullptr;
};

void FillDevice(uint32_t count) {
  CJobDatabase database(u"WktDevJobs");
  if (!database.Open(TRUE))
    Fail("no database");
  for (uint32_t i = 0; i < count; ++i) {
    CJobLean job(FALSE);
    FillJob(job, MakeRecord(i));
    if (database.AddJob(&job, FALSE) == 0)
      Fail("no record");
  }
}

std::vector<std::vector<BYTE>> MakePackets(uint32_t count) {
  std::vector<std::vector<BYTE>> packets;
  for (uint32_t i = 0; i < count; ++i) {
    CJobLean job(FALSE);
    FillJob(job, MakeRecord(i + 10'000'000));
    CJobPacket packet(1);
    CSyncJobDatabase::FillJobPacket(&packet, &job);
    DWORD byteCount = 0;
    const std::unique_ptr<BYTE[]> bytes(packet.ToBytes(&byteCount));
    packets.emplace_back(bytes.get(), bytes.get() + byteCount);
  }
  return packets;
}

// FindJob's part after the read, and its peer: a struct of plain members out of the same values.
void MeasureBuilding() {
  constexpr int kRecords = 2000;
  std::vector<std::unique_ptr<CJobLean>> jobs;
  std::vector<std::unique_ptr<CEPROPVAL[]>> values;
  std::vector<std::string> images;
  WORD count = 0;
  for (uint32_t i = 0; i < kRecords; ++i) {
    jobs.push_back(std::make_unique<CJobLean>(FALSE));
    FillJob(*jobs.back(), MakeRecord(i));
    values.push_back(CJobDatabase::AllocPropertyArray(&count));
    CJobDatabase::FillPropValArray(values.back().get(), jobs.back().get(), -1);
    images.push_back(EncodeImage(MakeRecord(i)));
  }
  const Medians medians = Compare(
      25, kRecords,
      [&](int) {
        for (const auto& value : values) {
          CJobLean job(FALSE);
          CJobDatabase::FillJobBase(&job, {value.get(), count});
        }
      },
      [&](int) {
        for (const std::string& image : images) {
          PlainRecord record;
          DecodeImage(image, record);
        }
      });
  Print("record from its properties", kRecords, medians, 1.5);
}

void MeasureCalls(Provider& provider, RawStore& raw, uint32_t count) {
  std::vector<UINT> ours;
  std::vector<uint32_t> theirs;
  Print("FindObjects, per record", count,
        Compare(
            count > 20'000 ? 5 : 11, count, [&](int) { provider.Find(ours); },
            [&](int) { raw.List(theirs); }),
        1.5);
  // 2,000 calls spread over the records, in the order of the list.
  constexpr uint32_t kCalls = 2000;
  const auto at = [&](uint32_t i) { return static_cast<size_t>(i) * (count / kCalls); };
  Print("GetPacket", count,
        Compare(
            9, kCalls,
            [&](int) {
              for (uint32_t i = 0; i < kCalls; ++i)
                provider.Get(ours[at(i)]);
            },
            [&](int) {
              for (uint32_t i = 0; i < kCalls; ++i)
                raw.Get(theirs[at(i)]);
            }),
        2.5);
  // Each round confirms records that no round before has confirmed.
  const size_t step = count / kCalls;
  const int rounds = static_cast<int>(std::min<size_t>(step, 7)) - 1;
  Print("confirmation (ObjectNotify)", count,
        Compare(
            rounds, kCalls,
            [&](int round) {
              for (uint32_t i = 0; i < kCalls; ++i)
                provider.Confirm(ours[at(i) + static_cast<size_t>(round)]);
            },
            [&](int round) {
              for (uint32_t i = 0; i < kCalls; ++i)
                raw.Confirm(theirs[at(i) + static_cast<size_t>(round)]);
            }),
        1.6);
  std::vector<std::vector<BYTE>> packets = MakePackets(kCalls);
  std::vector<CEOID> added;
  std::vector<uint32_t> inserted;
  Print("SetPacket of a new record", count,
        Compare(
            5, kCalls,
            [&](int) {
              for (auto& packet : packets)
                added.push_back(provider.Put(packet));
            },
            [&](int) {
              for (uint32_t i = 0; i < kCalls; ++i)
                inserted.push_back(raw.Insert(MakeRecord(i + 10'000'000)));
            }),
        1.5);
  Print("DeleteObj", count,
        Compare(
            5, kCalls,
            [&](int round) {
              for (uint32_t i = 0; i < kCalls; ++i)
                provider.Delete(added[static_cast<size_t>(round) * kCalls + i]);
            },
            [&](int round) {
              for (uint32_t i = 0; i < kCalls; ++i)
                raw.Delete(inserted[static_cast<size_t>(round) * kCalls + i]);
            }),
        1.5);
}

void Measure(const std::string& folder, uint32_t count, bool isFindOnly) {
  std::string error;
  wkt::control::DeviceOptions options;
  options.settings.durability = wkt::control::Durability::Relaxed;
  if (!wkt::control::CreateDevice(folder + "/device", options, error))
    Fail(error);
  wkt::Installation installation;
  installation.providerPath = WKT_PROVIDER;
  if (const std::string problem = wkt::Install(installation); !problem.empty())
    Fail(problem);
  FillDevice(count);
  RawStore raw(folder + "/raw.sqlite");
  raw.Fill(count);
  Provider provider;
  if (isFindOnly) {
    std::vector<UINT> ours;
    std::vector<uint32_t> theirs;
    Print("FindObjects, per record", count,
          Compare(
              3, count, [&](int) { provider.Find(ours); }, [&](int) { raw.List(theirs); }),
          1.5);
  } else {
    MeasureCalls(provider, raw, count);
  }
  wkt::control::LeaveDevice();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "build") == 0)
    return MeasureBuilding(), 0;
  const bool isFull = argc > 1 && std::strcmp(argv[1], "--full") == 0;
  printf("%-34s %9s %9s %9s %7s %6s\n", "us of processor time per call", "records", "ours", "raw",
         "ratio", "goal");
  for (const uint32_t count : {10'000u, 100'000u, isFull ? 1'000'000u : 0u}) {
    if (count == 0)
      continue;
    char pattern[] = "/tmp/wkt-bench-XXXXXX";
    if (!mkdtemp(pattern))
      Fail("no temporary folder");
    Measure(pattern, count, count > 100'000);
    std::filesystem::remove_all(pattern);
  }
  MeasureBuilding();
  return 0;
}
