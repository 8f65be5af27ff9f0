// Setting up a volume's file, and bringing those of older formats up.
#include "host/coredll/StoreFormat.h"

#include <string>

#include "host/coredll/StoreSchema.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

DWORD StoreVolume::MakeSchema(const Request& request) {
  bool ok = true;
  CEOID firstOid = request.firstOid;
  CEOID lastOid = request.lastOid;
  if (request.takeRange != nullptr) {
    if (const DWORD error = request.takeRange(firstOid, lastOid); error != ERROR_SUCCESS)
      return error;
  }
  for (const char* setting : {"PRAGMA page_size=4096", "PRAGMA auto_vacuum=INCREMENTAL",
                              "PRAGMA journal_mode=WAL", "BEGIN IMMEDIATE"}) {
    if (const DWORD error = Execute(setting); error != ERROR_SUCCESS)
      return error;
  }
  // Another process may have been faster.
  if (PragmaNumber("SELECT count(*) FROM sqlite_schema", ok) != 0)
    return Execute("ROLLBACK");
  char identity[256];
  sqlite3_snprintf(
      sizeof identity, identity,
      "INSERT INTO volume(id, guid, next_oid, last_oid) VALUES(1, randomblob(16), %u, %u);"
      "PRAGMA application_id=%lld; PRAGMA user_version=%lld;",
      firstOid, lastOid, kApplicationId, kFormatVersion);
  for (const char* step : {kStoreSchema, static_cast<const char*>(identity), "COMMIT"}) {
    if (const DWORD error = ok ? Execute(step) : LastFailure(); error != ERROR_SUCCESS) {
      sqlite3_exec(connection_, "ROLLBACK", nullptr, nullptr, nullptr);
      return error;
    }
  }
  return ERROR_SUCCESS;
}

// One transaction: a process killed meanwhile leaves the older format.
DWORD StoreVolume::Upgrade() {
  DWORD error = Execute("BEGIN IMMEDIATE");
  if (error == ERROR_SUCCESS)
    error = UpgradeInTransaction();
  if (error == ERROR_SUCCESS)
    error = Execute("COMMIT");
  if (error != ERROR_SUCCESS)
    sqlite3_exec(connection_, "ROLLBACK", nullptr, nullptr, nullptr);
  return error;
}

// Format 1 had all counts in block_N, in a column of another name: a process of that time that has
// the file open fails from here on rather than miss the changes that wait elsewhere.
DWORD StoreVolume::UpgradeInTransaction() {
  bool ok = true;
  // Another process may have been faster.
  if (PragmaNumber("PRAGMA user_version", ok) != kFirstFormatVersion)
    return ok ? DWORD{ERROR_SUCCESS} : LastFailure();
  std::string changes = "ALTER TABLE catalogue ADD COLUMN moved BLOB NOT NULL DEFAULT x'';";
  {
    StoreStatement tables;
    if (tables.Prepare(connection_,
                       "SELECT name FROM sqlite_schema WHERE type = 'table' AND name GLOB "
                       "'block_[0-9]*' AND substr(name, 7) NOT GLOB '*[^0-9]*'") != SQLITE_OK)
      return LastFailure();
    StoreRun run(tables);
    while (run.Step() == SQLITE_ROW)
      changes.append("ALTER TABLE ").append(run.BytesAt(0)).append(" RENAME n TO keys;");
  }
  changes += "PRAGMA user_version=" + std::to_string(kFormatVersion);
  return Execute(changes.c_str());
}

}  // namespace wkt::host
