// Packets against copying their bytes and against formats of others, on the same 2,000 jobs.
// Processor time; all competitors of a table take turns in one run; medians. The jobs do not fit
// into the caches next to the processor, so a machine that is busy with other things shows our
// larger packets slower than they are; instructions (callgrind) do not move.
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "WktCommon/JobLean.h"
#include "WktCommon/JobPacket.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "bench/PacketBenchPeers.h"
#include "bench/PacketOnePass.h"
#include "bench/Report.h"
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
  job.startTime = job.localDay + 8ull * 3600 * kTicksPerSecond;
  job.endTime = job.localDay + 10ull * 3600 * kTicksPerSecond;
  job.modificationTime = job.localDay + 11ull * 3600 * kTicksPerSecond;
  return job;
}

WideJob MakeWideJob(const PlainJob& plain) {
  WideJob job;
  job.jobId = Wide(plain.jobId);
  job.title = Wide(plain.title);
  job.comment = Wide(plain.comment);
  job.workTypeId = Wide(plain.workTypeId);
  job.projectId = Wide(plain.projectId);
  job.teamworkId = Wide(plain.teamworkId);
  job.personIds = Wide(plain.personIds[0] + "; " + plain.personIds[1]);
  job.flags = Wide(plain.flags);
  job.unused3 = Wide(plain.unused3);
  job.versionNumber = plain.versionNumber;
  job.unused2 = plain.unused2;
  job.modificationTime = plain.modificationTime;
  job.startTime = plain.startTime;
  job.endTime = plain.endTime;
  job.localDay = plain.localDay;
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

struct Contestant {
  const char* name;
  std::function<void(size_t job)> run;
  std::vector<double> times;
};

// With few jobs in turn, everything stays in the caches next to the processor.
constexpr size_t kHotJobs = 50;

void Race(std::vector<Contestant>& contestants, size_t differentJobs) {
  for (int round = 0; round <= kRounds; ++round) {
    for (size_t turn = 0; turn < contestants.size(); ++turn) {
      Contestant& who = contestants[(turn + static_cast<size_t>(round)) % contestants.size()];
      const double start = ProcessorMicroseconds();
      for (size_t job = 0; job < kJobs; ++job)
        who.run(job % differentJobs);
      if (round > 0)  // the first one warms up
        who.times.push_back((ProcessorMicroseconds() - start) * 1000 / kJobs);
    }
  }
}

// One line: ours to theirs, round by round.
void PrintPair(const Contestant& ours, const Contestant& theirs, size_t differentJobs,
               double goal) {
  std::vector<double> ratios;
  for (size_t round = 0; round < ours.times.size(); ++round)
    ratios.push_back(ours.times[round] / theirs.times[round]);
  PrintRow(std::string(ours.name) + " / " + theirs.name, static_cast<uint32_t>(differentJobs),
           {Median(ours.times), Median(theirs.times), Median(ratios)}, goal);
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
      wide.push_back(MakeWideJob(plain.back()));
    }
  }

  // All formats give the job back; a comparison of different work would be worth nothing.
  [[nodiscard]] bool IsFair() const {
    for (size_t i = 0; i < kJobs; ++i) {
      PlainJob fromProtobuf;
      PlainJob fromCalendar;
      DecodeProtobuf(protobufs[i], fromProtobuf);
      DecodeCalendar(calendars[i], fromCalendar);
      WideJob fromOnePass;
      DecodeInOnePass(bytes[i].data(), fromOnePass);
      size_t byteCount = 0;
      const auto inOnePass = EncodeInOnePass(wide[i], byteCount);
      CJobLean record(FALSE);
      const CJobPacket packet(bytes[i].data(), static_cast<DWORD>(bytes[i].size()));
      CSyncJobDatabase::FillJobLean(&record, &packet);
      if (fromOnePass != wide[i] || byteCount != bytes[i].size() ||
          std::memcmp(inOnePass.get(), bytes[i].data(), byteCount) != 0)
        return false;
      if (fromProtobuf != plain[i] || fromCalendar != plain[i] ||
          Narrow(record.GetComment()) != plain[i].comment ||
          ToTicks(record.GetModificationTime()) != plain[i].modificationTime)
        return false;
    }
    return true;
  }

  void EncodeOurs(size_t job) const {
    CJobPacket packet(1);
    CSyncJobDatabase::FillJobPacket(&packet, records[job].get());
    Consume(packet);
  }
  void DecodeOurs(size_t job) const {
    CJobLean record(FALSE);
    const CJobPacket packet(bytes[job].data(), static_cast<DWORD>(bytes[job].size()));
    CSyncJobDatabase::FillJobLean(&record, &packet);
    consumed += record.GetComment().c_str()[0];
  }

  void Encode(size_t differentJobs) const {
    std::vector<Contestant> race = {
        {"packet fill and ToBytes", [this](size_t job) { EncodeOurs(job); }},
        {"ToBytes", [this](size_t job) { Consume(*packets[job]); }},
        {"memcpy and new",
         [this](size_t job) {
           const std::unique_ptr<BYTE[]> copy(new BYTE[bytes[job].size()]);
           std::memcpy(copy.get(), bytes[job].data(), bytes[job].size());
           consumed += copy[bytes[job].size() - 1];
         }},
        {"protobuf", [this](size_t job) { consumed += EncodeProtobuf(plain[job]).size(); }},
        {"libical", [this](size_t job) { consumed += EncodeCalendar(plain[job]).size(); }},
        {"one pass", [this](size_t job) {
           size_t byteCount = 0;
           consumed += EncodeInOnePass(wide[job], byteCount)[0];
         }}};
    Race(race, differentJobs);
    PrintPair(race[0], race[3], differentJobs, 1.0);
    PrintPair(race[0], race[4], differentJobs, 0.1);
    PrintPair(race[0], race[5], differentJobs, 3.0);
    PrintPair(race[1], race[2], differentJobs, 4.0);
  }

  void Decode(size_t differentJobs) const {
    std::vector<Contestant> race = {
        {"packet from bytes and fill", [this](size_t job) { DecodeOurs(job); }},
        {"protobuf",
         [this](size_t job) {
           PlainJob record;
           DecodeProtobuf(protobufs[job], record);
           consumed += static_cast<uint64_t>(record.comment[0]);
         }},
        {"libical",
         [this](size_t job) {
           PlainJob record;
           DecodeCalendar(calendars[job], record);
           consumed += static_cast<uint64_t>(record.comment[0]);
         }},
        {"one pass", [this](size_t job) {
           WideJob record;
           DecodeInOnePass(bytes[job].data(), record);
           consumed += record.comment[0];
         }}};
    Race(race, differentJobs);
    PrintPair(race[0], race[1], differentJobs, 1.0);
    PrintPair(race[0], race[2], differentJobs, 0.1);
    PrintPair(race[0], race[3], differentJobs, 1.6);
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
  std::vector<WideJob> wide;
  std::vector<std::unique_ptr<CJobLean>> records;
  std::vector<std::unique_ptr<CJobPacket>> packets;
  std::vector<std::vector<BYTE>> bytes;
  std::vector<std::string> protobufs;
  std::vector<std::string> calendars;
};

// "encode N" and "decode N": our side alone, for counting instructions.
int RunAlone(const PacketBench& bench, const std::string& verb, size_t rounds) {
  for (size_t i = 0; i < rounds * kJobs; ++i)
    verb == "encode" ? bench.EncodeOurs(i % kJobs) : bench.DecodeOurs(i % kJobs);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const ScratchFolder scratch;
  std::string error;
  if (!wkt::control::CreateDevice(scratch.Path() + "/device", {}, error))
    Fail(error);
  const PacketBench bench;
  if (argc == 3)
    return RunAlone(bench, argv[1], std::stoul(argv[2]));
  if (!bench.IsFair())
    Fail("the formats do not carry the same jobs");
  std::printf("\nPackets of %zu bytes on average, no logging library", bench.AverageBytes());
  PrintHead("ns of processor time, N different jobs");
  for (const size_t differentJobs : {size_t{kJobs}, kHotJobs}) {
    bench.Encode(differentJobs);
    bench.Decode(differentJobs);
  }
  wkt::control::LeaveDevice();
  return AllHold() && consumed != 0 ? 0 : 2;
}
