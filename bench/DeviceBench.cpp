// What a device costs besides time per call: starting a process on it, the size of its file, the
// memory of a list.
#include <malloc.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>
#include <ctime>

#include <algorithm>
#include <filesystem>
#include <random>

#include "bench/ProviderSide.h"
#include "bench/RecordSamples.h"
#include "bench/Report.h"

namespace {

using namespace wkt::bench;

double WallMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// From before the start to after the end.
double RunProgram(const char* program, const std::string& argument) {
  const char* const arguments[] = {program, argument.c_str(), nullptr};
  const double start = WallMilliseconds();
  pid_t child = 0;
  int status = -1;
  if (posix_spawn(&child, program, nullptr, nullptr, const_cast<char* const*>(arguments),
                  environ) != 0 ||
      waitpid(child, &status, 0) != child || status != 0)
    Fail(std::string(program) + " failed");
  return WallMilliseconds() - start;
}

// A program that opens the device's database and reads one record, against one that does nothing.
void MeasureStart(uint32_t count, const std::string& oid) {
  std::vector<double> ours, empty, ratios;
  for (int round = 0; round < 32; ++round) {
    const double answered = RunProgram(WKT_START_ANSWER, oid);
    const double nothing = RunProgram(WKT_START_EMPTY, "");
    if (round == 0)
      continue;
    ours.push_back(answered);
    empty.push_back(nothing);
    ratios.push_back(answered / nothing);
  }
  PrintRow("process start to first answer / empty main", count,
           {Median(ours), Median(empty), Median(ratios)}, 3);
}

class VolumeFile {
 public:
  explicit VolumeFile(const std::string& path) : path_(path) {
    if (sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK)
      Fail(sqlite3_errmsg(database_));
  }
  ~VolumeFile() { sqlite3_close(database_); }
  VolumeFile(const VolumeFile&) = delete;
  VolumeFile& operator=(const VolumeFile&) = delete;

  void Execute(const char* text) {
    if (sqlite3_exec(database_, text, nullptr, nullptr, nullptr) != SQLITE_OK)
      Fail(sqlite3_errmsg(database_));
  }
  // Bytes of the file, its log carried into it, and of the images in it.
  [[nodiscard]] double FileBytes() {
    Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    return static_cast<double>(std::filesystem::file_size(path_));
  }
  [[nodiscard]] double ImageBytes() {
    const std::string table = Text(
        "SELECT name FROM sqlite_schema WHERE name LIKE 'record%' AND type = 'table' "
        "ORDER BY rootpage DESC LIMIT 1");
    return std::stod(Text(("SELECT sum(length(img)) FROM " + table).c_str()));
  }

 private:
  std::string Text(const char* query) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_, query, -1, &statement, nullptr) != SQLITE_OK ||
        sqlite3_step(statement) != SQLITE_ROW)
      Fail(sqlite3_errmsg(database_));
    std::string text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    sqlite3_finalize(statement);
    return text;
  }
  std::string path_;
  sqlite3* database_ = nullptr;
};

void PrintSize(const char* what, uint32_t count, const std::string& path, bool isPacked,
               double goal) {
  VolumeFile file(path);
  if (isPacked)
    file.Execute("VACUUM");
  const double bytes = file.FileBytes();
  const double images = file.ImageBytes();
  PrintRow(what, count, {bytes / count, images / count, bytes / images}, goal);
}

// Ten times as many edits as records, each with another length, then half of the records replaced.
void Churn(uint32_t count, std::vector<UINT> oids) {
  std::minstd_rand random(1);
  CJobDatabase database(kJobFolder.database);
  if (!database.Open(FALSE))
    Fail("no database");
  const auto write = [&](CEOID oid, uint32_t number) {
    PlainRecord plain = MakeRecord(number);
    // On average as long as before.
    plain.comment.assign(1 + random() % 270, u'c');
    CJobLean job(FALSE);
    FillJob(job, plain);
    if (oid == 0 ? database.AddJob(&job, FALSE) == 0 : !database.ModifyJob(oid, &job, FALSE))
      Fail("no write");
  };
  for (uint32_t i = 0; i < 10 * count; ++i) {
    const auto number = static_cast<uint32_t>(random() % count);
    write(oids[number], number);
  }
  for (uint32_t i = 0; i < count; i += 2) {
    if (!database.DeleteJob(oids[i], FALSE))
      Fail("no deletion");
    write(0, count + i);
  }
}

// Heap that one list leaves in use, without what SQLite keeps of its pages and without the list
// itself.
void MeasureMemory(uint32_t count, Provider& provider, std::vector<UINT>& oids) {
  oids.reserve(count);
  const auto taken = [] {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) -
           static_cast<double>(sqlite3_memory_used());
  };
  const double before = taken();
  provider.Find(oids);
  PrintLimit("memory of FindObjects beyond list and pages, KB", count,
             std::max(0.0, (taken() - before) / 1024), 64);
}

void Measure(uint32_t count) {
  const ScratchFolder scratch;
  const std::string device = scratch.Path() + "/device";
  MakeDevice(device);
  if (!kJobFolder.add(0, count))
    Fail("the device's database cannot be filled");
  std::vector<UINT> oids;
  {
    std::string error;
    if (!wkt::control::UseDevice(device, error))
      Fail(error);
    Provider provider(kJobFolder);
    MeasureMemory(count, provider, oids);
  }
  setenv("WKT_DEVICE", device.c_str(), 1);
  MeasureStart(count, std::to_string(oids.front()));
  wkt::control::LeaveDevice();
  const std::string file = device + "/store.vol";
  PrintSize("file size / images, loaded", count, file, false, 1.25);
  if (count > 10'000)
    return;
  std::string error;
  if (!wkt::control::UseDevice(device, error))
    Fail(error);
  Churn(count, oids);
  wkt::control::LeaveDevice();
  PrintSize("file size / images, after churn", count, file, false, 1.8);
  PrintSize("file size / images, packed", count, file, true, 1.2);
}

}  // namespace

int main() {
  PrintHead("ms, bytes per record");
  for (const uint32_t count : {10'000u, 100'000u})
    Measure(count);
  return AllHold() ? 0 : 2;
}
