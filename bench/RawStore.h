// What the provider's work costs at least: the same records in a SQLite file of its own, with the
// statements kept and the same tables as the object store has (record, sort order, catalogue row).
// Commits last as long: the log is written at once and brought to the medium 100 ms later at most.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/PlainRecords.h"

namespace wkt::bench {

class RawStore {
 public:
  RawStore(const std::string& path, const ImageKind& kind);
  ~RawStore();
  RawStore(const RawStore&) = delete;
  RawStore& operator=(const RawStore&) = delete;

  // One transaction for all.
  void Fill(const std::vector<std::string>& images);
  // Each commit on the medium before the call returns, or as above.
  void SetFull(bool isFull);

  // Reads all in sort order, decodes each and sorts it by one character of its flags.
  void List(std::vector<uint32_t>& oids);
  // Looks at that character and nothing else; by identifier.
  [[nodiscard]] size_t Scan();
  // A read transaction and a copy of the image each.
  void Get(uint32_t oid);
  // Read, one character changed, written back with the catalogue row, in one transaction each.
  void Confirm(uint32_t oid);
  // Record, sort entry and catalogue row.
  uint32_t Insert(const std::string& image);
  // Reads what is there; the sort entry only if its key differs.
  void Update(uint32_t oid, const std::string& image);
  // Read as the provider reads it first; its sort key comes from there.
  void Delete(uint32_t oid);

 private:
  [[nodiscard]] sqlite3_stmt* Prepare(const char* text);
  void Run(sqlite3_stmt* statement);
  void Write(sqlite3_stmt* statement, uint32_t oid, const std::string& bytes);
  void Commit(int records);
  void SyncSometimes();

  const ImageKind& kind_;
  sqlite3* database = nullptr;
  std::vector<sqlite3_stmt*> statements;
  sqlite3_stmt *begin, *commit, *list, *scan, *get, *update, *insert, *insertSort, *remove,
      *removeSort;
  sqlite3_stmt* catalogue;
  uint32_t lastOid = 0;
  bool isFull_ = false;
  int64_t lastSync = 0;  // milliseconds
  std::string image_;
};

}  // namespace wkt::bench
