// Packets against copying their bytes and against formats of others, on the same 2,000 jobs.
// Processor time; all competitors of a table take turns in one run; medians. The jobs do not fit
// into the caches next to the processor, so a machine that is busy with other things shows our
// larger packets slower than they are; instructions (callgrind) do not move.
#include <unistd.h>
#include <ctime>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "WktCommon/JobLean.h"
#include "WktCommon/JobPacket.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "bench/PacketBenchPeers.h"
#include "host/control/Desk.h"

namespace {

using namespace wkt::bench;

constexpr int kJobs = 2000;
constexpr int kRounds = 25;
constexpr uint64_t kTicksPerSecond = 10'000'000;
// 2026-02-28T00:00:00.
constexpr uint64_t kFirstDay = 134'167'104'000'000'000;

FILETIME ToTime(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}
uint64_t ToTicks(const FILETIME& time) {
  return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}
std::u16string Wide(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}
std::string Narrow(const WideString& text) {
  const std::u16string wide = text.c_str();
  return {wide.begin(), wide.end()};
}

// Packets of these average about 1,190 bytes.
PlainJob MakePlainJob(int number) {
  const std::string suffix = std::to_string(number);
  PlainJob job;
  job.jobId = "CE-1dc8a2f-5e3d1c80-" + suffix + "-1a2b3c";
  job.versionNumber = 23;
  job.title = "Meeting about release " + suffix;
  job.comment = "Agenda, open points and who does what until next week. " +
                std::string(static_cast<size_t>(1 + number * 37 % 160), 'x');
  job.workTypeId = "CE-1c0ffee-1-" + suffix + "-3";
  job.projectId = "CE-1c0ffee-2-" + suffix + "-3";
  job.teamworkId = "CE-1c0ffee-3-" + suffix + "-3";
  job.personIds = {"CE-1c0ffee-4-" + suffix + "-3", "CE-1c0ffee-5-" + suffix + "-3"};
  job.flags = "0010110000000000000";
  job.unused2 = -1;
  job.unused3 = "head tail " + suffix;
  job.localDay = kFirstDay + static_cast<uint64_t>(number) * 86'400 * kTicksPerSecond;
  job.startTime = job.localDay + 8 * 3600 * kTicksPerSecond;
  job.endTime = job.localDay + 10 * 3600 * kTicksPerSecond;
  job.modificationTime = job.localDay + 11 * 3600 * kTicksPerSecond;
  return job;
}

void FillRecord(const PlainJob& plain, CJobLean& job) {
  job.SetJobId(Wide(plain.jobId).c_str());
  job.SetVersionNumber(plain.versionNumber);
  job.SetTitle(Wide(plain.title).c_str());
  job.SetComment(Wide(plain.comment).c_str());
  job.SetWorkTypeId(Wide(plain.workTypeId).c_str());
  job.SetProjectId(Wide(plain.projectId).c_str());
  job.SetTeamworkId(Wide(plain.teamworkId).c_str());
  job.SetStartTime(ToTime(plain.startTime));
  job.SetEndTime(ToTime(plain.endTime));
  job.SetPersonIds(Wide(plain.personIds[0] + "; " + plain.personIds[1]).c_str());
  job.SetFlags(Wide(plain.flags).c_str());
  job.SetUnused2(plain.unused2);
  job.SetUnused3(Wide(plain.unused3).c_str());
  job.SetLocalDayAsFileTime(ToTime(plain.localDay));
  job.SetModificationTime(ToTime(plain.modificationTime), FALSE);
}

// Keeps the compiler from leaving out what nobody reads.
uint64_t consumed = 0;

double Nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

struct Contestant {
  const char* name;
  std::function<void(size_t job)> run;
  double median = 0;
};

// With few jobs in turn, everything stays in the caches next to the processor.
constexpr size_t kHotJobs = 50;

void Race(std::vector<Contestant>& contestants, size_t differentJobs) {
  std::vector<std::vector<double>> times(contestants.size());
  for (int round = 0; round <= kRounds; ++round) {
    for (size_t turn = 0; turn < contestants.size(); ++turn) {
      const size_t who = (turn + static_cast<size_t>(round)) % contestants.size();
      const double start = Nanoseconds();
      for (size_t job = 0; job < kJobs; ++job)
        contestants[who].run(job % differentJobs);
      if (round > 0)  // the first one warms up
        times[who].push_back((Nanoseconds() - start) / kJobs);
    }
  }
  for (size_t who = 0; who < contestants.size(); ++who) {
    std::sort(times[who].begin(), times[who].end());
    contestants[who].median = times[who][times[who].size() / 2];
  }
}

bool allHold = true;

// One line: ours to theirs, and whether the ratio stays below the goal.
void Compare(const Contestant& ours, const Contestant& theirs, double goal) {
  const double ratio = ours.median / theirs.median;
  const bool holds = ratio <= goal;
  allHold = allHold && holds;
  std::printf("%-32s %8.0f  %-30s %8.0f %7.2f %6.2f  %s\n", ours.name, ours.median, theirs.name,
              theirs.median, ratio, goal, holds ? "yes" : "NO");
}

class PacketBench {
 public:
  PacketBench() {
    for (int i = 0; i < kJobs; ++i) {
      plain.push_back(MakePlainJob(i));
      records.push_back(std::make_unique<CJobLean>(FALSE));
      FillRecord(plain.back(), *records.back());
      packets.push_back(std::make_unique<CJobPacket>(1));
      CSyncJobDatabase::FillJobPacket(packets.back().get(), records.back().get());
      DWORD byteCount = 0;
      const std::unique_ptr<BYTE[]> made(packets.back()->ToBytes(&byteCount));
      bytes.emplace_back(made.get(), made.get() + byteCount);
      protobufs.push_back(EncodeProtobuf(plain.back()));
      calendars.push_back(EncodeCalendar(plain.back()));
    }
  }

  // All formats give the job back; a comparison of different work would be worth nothing.
  [[nodiscard]] bool IsFair() const {
    for (size_t i = 0; i < kJobs; ++i) {
      PlainJob fromProtobuf;
      PlainJob fromCalendar;
      DecodeProtobuf(protobufs[i], fromProtobuf);
      DecodeCalendar(calendars[i], fromCalendar);
      CJobLean record(FALSE);
      const CJobPacket packet(bytes[i].data(), static_cast<DWORD>(bytes[i].size()));
      CSyncJobDatabase::FillJobLean(&record, &packet);
      if (fromProtobuf != plain[i] || fromCalendar != plain[i] ||
          Narrow(record.GetComment()) != plain[i].comment ||
          ToTicks(record.GetModificationTime()) != plain[i].modificationTime)
        return false;
    }
    return true;
  }

  void Encode(size_t differentJobs) const {
    std::vector<Contestant> race = {
        {"fill and ToBytes",
         [this](size_t job) {
           CJobPacket packet(1);
           CSyncJobDatabase::FillJobPacket(&packet, records[job].get());
           Consume(packet);
         }},
        {"ToBytes", [this](size_t job) { Consume(*packets[job]); }},
        {"memcpy and new",
         [this](size_t job) {
           const std::unique_ptr<BYTE[]> copy(new BYTE[bytes[job].size()]);
           std::memcpy(copy.get(), bytes[job].data(), bytes[job].size());
           consumed += copy[bytes[job].size() - 1];
         }},
        {"protobuf fill and serialise",
         [this](size_t job) { consumed += EncodeProtobuf(plain[job]).size(); }},
        {"libical build and print",
         [this](size_t job) { consumed += EncodeCalendar(plain[job]).size(); }}};
    Race(race, differentJobs);
    Compare(race[0], race[3], 1.0);
    Compare(race[0], race[4], 0.1);
    Compare(race[1], race[2], 4.0);
  }

  void Decode(size_t differentJobs) const {
    std::vector<Contestant> race = {
        {"packet from bytes and fill",
         [this](size_t job) {
           CJobLean record(FALSE);
           const CJobPacket packet(bytes[job].data(), static_cast<DWORD>(bytes[job].size()));
           CSyncJobDatabase::FillJobLean(&record, &packet);
           consumed += record.GetComment().c_str()[0];
         }},
        {"protobuf parse and fill",
         [this](size_t job) {
           PlainJob record;
           DecodeProtobuf(protobufs[job], record);
           consumed += static_cast<uint64_t>(record.comment[0]);
         }},
        {"libical parse and fill", [this](size_t job) {
           PlainJob record;
           DecodeCalendar(calendars[job], record);
           consumed += static_cast<uint64_t>(record.comment[0]);
         }}};
    Race(race, differentJobs);
    Compare(race[0], race[1], 1.0);
    Compare(race[0], race[2], 0.1);
  }

  [[nodiscard]] size_t AverageBytes() const {
    size_t total = 0;
    for (const auto& packet : bytes)
      total += packet.size();
    return total / kJobs;
  }

 private:
  static void Consume(const CJobPacket& packet) {
    DWORD byteCount = 0;
    const std::unique_ptr<BYTE[]> made(packet.ToBytes(&byteCount));
    consumed += made[byteCount - 1];
  }

  std::vector<PlainJob> plain;
  std::vector<std::unique_ptr<CJobLean>> records;
  std::vector<std::unique_ptr<CJobPacket>> packets;
  std::vector<std::vector<BYTE>> bytes;
  std::vector<std::string> protobufs;
  std::vector<std::string> calendars;
};

}  // namespace

int main() {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("bench_packet." + std::to_string(getpid()));
  std::string error;
  if (!wkt::control::CreateDevice(folder, {}, error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 2;
  }
  const PacketBench bench;
  std::printf("\nPackets of %zu bytes on average, no logging library; ns of processor time\n",
              bench.AverageBytes());
  std::printf("%-32s %8s  %-30s %8s %7s %6s  %s\n", "ours", "ns", "against", "ns", "ratio", "goal",
              "holds");
  const bool isFair = bench.IsFair();
  if (isFair) {
    for (const size_t differentJobs : {size_t{kJobs}, kHotJobs}) {
      std::printf("%zu different jobs\n", differentJobs);
      bench.Encode(differentJobs);
      bench.Decode(differentJobs);
    }
  } else {
    std::printf("the formats do not carry the same jobs\n");
  }
  wkt::control::LeaveDevice();
  std::filesystem::remove_all(folder);
  return isFair && allHold && consumed != 0 ? 0 : 1;
}
