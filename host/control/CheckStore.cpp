#include "host/control/CheckStore.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>

#include "host/control/CheckCounts.h"
#include "host/coredll/StoreFormat.h"
#include "host/coredll/StoreImage.h"
#include "host/coredll/StoreSort.h"
#include "host/coredll/StoreSqlite.h"

namespace wkt::control {

namespace {

using host::RecordImage;
using host::StoreRun;
using host::StoreStatement;

// Of one kind in one database, so that a wrecked volume still gives a readable list.
constexpr size_t kMaxFindings = 10;

struct Closer {
  void operator()(sqlite3* connection) const { sqlite3_close(connection); }
};
using Connection = std::unique_ptr<sqlite3, Closer>;

struct Database {
  CEOID oid;
  std::string name;
  int64_t recordCount, byteCount, nextOid, endOid;
  std::vector<SORTORDERSPECEX> orders;
  host::StoreCountChanges countChanges;
};

class Checker {
 public:
  Checker(sqlite3* connection, std::string path)
      : connection_(connection), path_(std::move(path)) {}

  std::vector<std::string> Check() {
    if (!IsVolume())
      return findings_;
    CheckFile();
    for (const Database& database : Catalogue())
      CheckDatabase(database);
    return findings_;
  }

 private:
  void Find(const std::string& what) { findings_.push_back(path_ + ": " + what); }

  // The first number of the first row; nullopt when there is none.
  std::optional<int64_t> Number(const std::string& query) {
    StoreStatement statement;
    if (statement.Prepare(connection_, query) != SQLITE_OK)
      return std::nullopt;
    StoreRun run(statement);
    return run.Step() == SQLITE_ROW ? std::optional(run.NumberAt(0)) : std::nullopt;
  }

  bool IsVolume() {
    const auto application = Number("PRAGMA application_id");
    const auto version = Number("PRAGMA user_version");
    if (!application || !version) {
      Find(std::string("cannot be read: ") + sqlite3_errmsg(connection_));
    } else if (application != host::kApplicationId) {
      Find("is no database volume");
    } else if (version < host::kFirstFormatVersion || version > host::kFormatVersion) {
      Find("has format " + std::to_string(*version) + ", this program knows " +
           std::to_string(host::kFormatVersion));
    } else {
      isFirstFormat_ = version == host::kFirstFormatVersion;
      return true;
    }
    return false;
  }

  void CheckFile() {
    StoreStatement statement;
    if (statement.Prepare(connection_, "PRAGMA integrity_check(10)") == SQLITE_OK) {
      StoreRun run(statement);
      while (run.Step() == SQLITE_ROW) {
        if (run.BytesAt(0) != "ok")
          Find(std::string(run.BytesAt(0)));
      }
    }
    const auto next = Number("SELECT next_oid FROM volume WHERE id = 1");
    const auto last = Number("SELECT last_oid FROM volume WHERE id = 1");
    if (!next || !last) {
      Find("does not say who it is");
      return;
    }
    nextOid_ = *next;
    if (*next < 1 || *next > *last + 1)
      Find("gives out object identifiers beyond its range");
  }

  std::vector<Database> Catalogue() {
    std::vector<Database> databases;
    StoreStatement statement;
    if (statement.Prepare(
            connection_, std::string("SELECT oid, name, nrec, nbytes, sorts, next_oid, end_oid, ") +
                             (isFirstFormat_ ? "x''" : "moved") + " FROM catalogue ORDER BY oid") !=
        SQLITE_OK) {
      Find("has no catalogue");
      return databases;
    }
    StoreRun run(statement);
    while (run.Step() == SQLITE_ROW) {
      Database database = {static_cast<CEOID>(run.NumberAt(0)),
                           std::string(run.BytesAt(1)),
                           run.NumberAt(2),
                           run.NumberAt(3),
                           run.NumberAt(5),
                           run.NumberAt(6),
                           {},
                           {}};
      const std::string_view sorts = run.BytesAt(4);
      database.orders.resize(sorts.size() / sizeof(SORTORDERSPECEX));
      if (!database.orders.empty()) {
        memcpy(database.orders.data(), sorts.data(),
               database.orders.size() * sizeof(SORTORDERSPECEX));
      }
      // Keys of an order that cannot be do not exist either, so its records are not looked at.
      if (std::ranges::any_of(database.orders, [](const SORTORDERSPECEX& order) {
            return host::CheckSortOrder(order) != ERROR_SUCCESS;
          })) {
        Find("database '" + database.name + "' has a sort order that cannot be");
        continue;
      }
      if (database.orders.empty())
        database.orders.push_back(host::OrderByOid());
      if (!database.countChanges.TakeBytes(run.BytesAt(7), database.orders.size())) {
        Find("database '" + database.name + "' has changes of counts that cannot be");
        continue;
      }
      databases.push_back(std::move(database));
    }
    return databases;
  }

  void CheckDatabase(const Database& database) {
    const std::string number = std::to_string(database.oid);
    const std::string of = "database '" + database.name + "' ";
    if (database.oid >= nextOid_ || database.endOid > nextOid_)
      Find(of + "uses object identifiers that were not given out");
    StoreStatement records, key;
    if (records.Prepare(connection_, "SELECT oid, img FROM record_" + number + " ORDER BY oid") !=
            SQLITE_OK ||
        key.Prepare(connection_, "SELECT oid FROM sort_" + number +
                                     " WHERE ord = ?1 AND key = ?2") != SQLITE_OK) {
      Find(of + "has no tables");
      return;
    }
    int64_t recordCount = 0, byteCount = 0;
    size_t spoilt = 0;
    StoreRun run(records);
    while (run.Step() == SQLITE_ROW) {
      ++recordCount;
      byteCount += static_cast<int64_t>(run.BytesAt(1).size());
      const auto oid = static_cast<CEOID>(run.NumberAt(0));
      const std::string problem = CheckRecord(database, key, oid, run.BytesAt(1));
      if (!problem.empty() && ++spoilt <= kMaxFindings)
        Find(of + "record " + std::to_string(oid) + ' ' + problem);
    }
    if (spoilt > kMaxFindings)
      Find(of + std::to_string(spoilt - kMaxFindings) + " further records are damaged");
    if (recordCount != database.recordCount) {
      Find(of + "counts " + std::to_string(database.recordCount) + " records and has " +
           std::to_string(recordCount));
    }
    if (byteCount != database.byteCount) {
      Find(of + "counts " + std::to_string(database.byteCount) + " bytes and has " +
           std::to_string(byteCount));
    }
    const auto places = Number("SELECT count(*) FROM sort_" + number);
    const int64_t expected = recordCount * static_cast<int64_t>(database.orders.size());
    if (places != expected) {
      Find(of + "has " + std::to_string(places.value_or(0)) +
           " places in its sort orders instead of " + std::to_string(expected));
    }
    for (uint32_t order = 0; order < database.orders.size(); ++order) {
      const std::string problem = CheckCounts(connection_, database.oid, order,
                                              isFirstFormat_ ? "n" : "keys", database.countChanges);
      if (!problem.empty())
        Find(of + problem);
    }
  }

  // Empty when the record is whole and in its place in all orders.
  std::string CheckRecord(const Database& database, const StoreStatement& placed, CEOID oid,
                          std::string_view bytes) const {
    const auto image = RecordImage::Parse(bytes);
    if (!image)
      return "is no whole record";
    if (oid >= nextOid_)
      return "has an identifier that was not given out";
    for (size_t order = 0; order < database.orders.size(); ++order) {
      std::string key;
      bool isComplete = false;
      if (host::MakeSortKey(database.orders[order], *image, key, isComplete) != ERROR_SUCCESS)
        return "lacks a property that sort order " + std::to_string(order) + " demands";
      host::AppendOid(key, oid);
      StoreRun run(placed);
      run.Number(static_cast<int64_t>(order)).Bytes(key);
      if (run.Step() != SQLITE_ROW || run.NumberAt(0) != oid)
        return "is not in its place in sort order " + std::to_string(order);
    }
    return {};
  }

  sqlite3* connection_;
  std::string path_;
  int64_t nextOid_ = 0;
  bool isFirstFormat_ = false;  // counts stand elsewhere
  std::vector<std::string> findings_;
};

}  // namespace

std::vector<std::string> CheckVolume(const std::string& path) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
  const Connection connection(opened);
  if (code != SQLITE_OK) {
    return {path +
            ": cannot be opened: " + (opened != nullptr ? sqlite3_errmsg(opened) : "no memory")};
  }
  sqlite3_busy_timeout(opened, 10'000);
  // One state of the volume for all of the checks, whoever writes meanwhile.
  sqlite3_exec(opened, "BEGIN", nullptr, nullptr, nullptr);
  return Checker(opened, path).Check();
}

bool LooksLikeVolume(const std::string& path) {
  constexpr std::string_view kMagic("SQLite format 3\0", 16);
  std::string start(kMagic.size(), '\0');
  std::ifstream(path, std::ios::binary)
      .read(start.data(), static_cast<std::streamsize>(start.size()));
  return start == kMagic;
}

}  // namespace wkt::control
