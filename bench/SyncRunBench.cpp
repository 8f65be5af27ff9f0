// Whole synchronisations of 10,000 jobs, device in `relaxed`, against raw SQLite doing the same
// reads and writes on both stores. Processor time of this process, medians of three.
#include <sqlite3.h>

#include <functional>

#include "bench/RawStore.h"
#include "bench/Report.h"
#include "desktop/device/DeviceRecords.h"
#include "desktop/device/Installation.h"
#include "desktop/partner/SyncRun.h"
#include "host/control/Desk.h"

namespace wkt::bench {
namespace {

constexpr int kJobs = 10'000;
constexpr int kRounds = 3;
// The transactions of both sides hold as many records.
constexpr int kCommitRecords = 500;
// What a run with nothing to do may cost besides listing.
constexpr double kSpareMilliseconds = 30;

void Require(bool done, const std::string& what) {
  if (!done)
    Fail(what);
}

// Milliseconds of processor time.
double Measure(const std::function<void()>& work) {
  const double start = ProcessorMicroseconds();
  work();
  return (ProcessorMicroseconds() - start) / 1000;
}

Record MakeJob(int number) {
  const uint64_t now = control::DeviceTime();
  Record job = MakeRecord(FolderId::Jobs, now, now - now % (24ull * 3600 * 10'000'000));
  job.SetText(Field::Id, FromUtf8("CE-1dca951-67038000-" + std::to_string(number) + "-1"));
  job.SetText(Field::Title, FromUtf8("Job number " + std::to_string(number) + " of many"));
  job.SetText(Field::Comment, std::u16string(120, u'x'));
  return job;
}

void MakeDevice(const std::string& folder) {
  control::DeviceOptions options;
  options.settings.durability = control::Durability::Relaxed;
  std::string error;
  Require(control::CreateDevice(folder, options, error), error);
  Installation installation;
  installation.providerPath = WKT_PROVIDER;
  error = Install(installation);
  Require(error.empty(), error);
  DeviceRecords jobs(DeviceFolder::Jobs);
  for (int i = 0; i < kJobs; ++i) {
    Require(jobs.Add(EncodePacket(MakeJob(i)), DuringSync::No) != 0, "a job cannot be added");
  }
}

void Synchronise(Store& store, int64_t expected) {
  SyncOptions options;
  options.now = control::DeviceTime();
  SyncSession session(nullptr);
  const Json report = SyncRun(session, store, options).Run();
  Require(report["exitCode"] == 0 && report["folders"][2]["toDesktop"] == expected,
          "the run did something else: " + report.dump());
}

// The desktop's half: record and link as the partner's schema has them, commits as often.
class RawDesktop {
 public:
  explicit RawDesktop(const std::string& path) {
    Require(sqlite3_open(path.c_str(), &database_) == SQLITE_OK, "raw store");
    Execute(
        "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
        "CREATE TABLE records (id INTEGER PRIMARY KEY AUTOINCREMENT, folder INTEGER, recordId "
        "BLOB, change INTEGER, deleted INTEGER, packet BLOB);"
        "CREATE INDEX byRecordId ON records (folder, recordId); CREATE INDEX byState ON records "
        "(folder, deleted);"
        "CREATE TABLE links (device INTEGER, folder INTEGER, oid INTEGER, record INTEGER, change "
        "INTEGER, base BLOB,"
        " PRIMARY KEY (device, folder, oid)) WITHOUT ROWID;"
        "CREATE UNIQUE INDEX byRecord ON links (device, record); CREATE INDEX ofRecord ON links "
        "(record);");
    record_ = Prepare(
        "INSERT INTO records (folder, recordId, change, deleted, packet) VALUES (1, ?, ?, 0, ?)");
    link_ = Prepare("INSERT INTO links VALUES (1, 1, ?, ?, ?, NULL)");
    read_ = Prepare("SELECT recordId, packet FROM records WHERE id = ?");
  }
  ~RawDesktop() {
    for (sqlite3_stmt* statement : {record_, link_, read_}) {
      sqlite3_finalize(statement);
    }
    sqlite3_close(database_);
  }
  RawDesktop(const RawDesktop&) = delete;
  RawDesktop& operator=(const RawDesktop&) = delete;

  void Execute(const char* sql) {
    Require(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK,
            sqlite3_errmsg(database_));
  }
  void Add(int64_t number, const Bytes& packet) {
    const std::string ascii = "CE-1dca951-67038000-" + std::to_string(number) + "-1";
    const std::string id = ascii + ascii;  // as many bytes as in UTF-16
    sqlite3_bind_blob(record_, 1, id.data(), static_cast<int>(id.size()), SQLITE_STATIC);
    sqlite3_bind_int64(record_, 2, number);
    sqlite3_bind_blob(record_, 3, packet.data(), static_cast<int>(packet.size()), SQLITE_STATIC);
    Step(record_);
    for (const int column : {1, 2, 3}) {
      sqlite3_bind_int64(link_, column, number + (column == 1 ? 16'777'216 : 0));
    }
    Step(link_);
  }
  void Read(int64_t number) {
    sqlite3_bind_int64(read_, 1, number);
    Require(sqlite3_step(read_) == SQLITE_ROW, "raw record");
    const auto* data = static_cast<const uint8_t*>(sqlite3_column_blob(read_, 1));
    copy_.assign(data, data + sqlite3_column_bytes(read_, 1));
    sqlite3_reset(read_);
  }

 private:
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    Require(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr) == SQLITE_OK,
            sqlite3_errmsg(database_));
    return statement;
  }
  void Step(sqlite3_stmt* statement) {
    Require(sqlite3_step(statement) == SQLITE_DONE, sqlite3_errmsg(database_));
    sqlite3_reset(statement);
  }

  sqlite3* database_ = nullptr;
  sqlite3_stmt* record_ = nullptr;
  sqlite3_stmt* link_ = nullptr;
  sqlite3_stmt* read_ = nullptr;
  Bytes copy_;
};

// List, read, store, confirm, list again, read back: what a first run does to both stores.
void RawFirstRun(RawStore& device, RawDesktop& desktop, const Bytes& packet) {
  std::vector<uint32_t> oids;
  device.List(oids);
  for (const uint32_t oid : oids) {
    device.Get(oid);
  }
  for (int begin = 0; begin < kJobs; begin += kCommitRecords) {
    desktop.Execute("BEGIN IMMEDIATE");
    for (int i = begin; i < begin + kCommitRecords; ++i) {
      desktop.Add(i + 1, packet);
    }
    desktop.Execute("COMMIT");
    for (int i = begin; i < begin + kCommitRecords; ++i) {
      device.Confirm(oids[static_cast<size_t>(i)]);
    }
  }
  device.List(oids);
  for (int i = 0; i < kJobs; ++i) {
    device.Get(oids[static_cast<size_t>(i)]);
    desktop.Read(i + 1);
  }
}

double ListThreeFolders() {
  SyncSession session(nullptr);
  const std::string problem = session.Open(1);
  Require(problem.empty(), problem);
  session.BeginSync();
  return Measure([&session] {
    for (const FolderDescription& folder : kFolders) {
      Require(session.Enumerate(folder.objectType).problem.empty(), "the folder cannot be listed");
    }
  });
}

int Run() {
  const ScratchFolder scratch;
  std::vector<double> first, raw, ratio, nothing, allowed, share;
  for (int round = 0; round < kRounds; ++round) {
    const std::string folder = scratch.Path() + "/" + std::to_string(round);
    MakeDevice(folder);
    {
      Store store(folder + "-partner", Store::Mode::OpenOrCreate);
      first.push_back(Measure([&store] { Synchronise(store, kJobs); }));
      for (int i = 0; i < kRounds; ++i) {
        allowed.push_back(1.5 * ListThreeFolders() + kSpareMilliseconds);
        nothing.push_back(Measure([&store] { Synchronise(store, 0); }));
        share.push_back(nothing.back() / allowed.back());
      }
    }
    control::LeaveDevice();
    RawStore device(folder + "-raw-device", kJobImages);
    std::vector<std::string> images;
    for (uint32_t i = 0; i < kJobs; ++i)
      images.push_back(EncodeImage(wkt::bench::MakeRecord(i)));
    device.Fill(images);
    RawDesktop desktop(folder + "-raw-desktop");
    const Bytes packet = EncodePacket(MakeJob(round));
    raw.push_back(Measure([&] { RawFirstRun(device, desktop, packet); }));
    ratio.push_back(first.back() / raw.back());
  }
  PrintHead("ms of processor time, raw SQLite on both sides");
  PrintRow("first synchronisation", kJobs, {Median(first), Median(raw), Median(ratio)}, 2.5);
  PrintRow("nothing to do / 1.5 lists of three folders + 30 ms", kJobs,
           {Median(nothing), Median(allowed), Median(share)}, 1);
  return AllHold() ? 0 : 2;
}

}  // namespace
}  // namespace wkt::bench

int main() {
  return wkt::bench::Run();
}
