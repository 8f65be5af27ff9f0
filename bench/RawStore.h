// What the provider's work costs at least: the same records in a SQLite file of its own, with the
// statements kept and the same tables as the object store has (record, sort order, catalogue row).
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wkt::bench {

// A job with plain members.
struct PlainRecord {
  std::u16string id, title, comment, workType, project, teamwork, flags, unused3;
  std::vector<std::u16string> persons;
  int32_t version = 23;
  int32_t unused2 = -1;
  uint64_t modified = 0, start = 0, end = 0, day = 0;
};

[[nodiscard]] PlainRecord MakeRecord(uint32_t number);
// All 22 properties as one block: identifiers and places, then the data.
[[nodiscard]] std::string EncodeImage(const PlainRecord& record);
// By identifier, each text copied into a member.
void DecodeImage(const std::string& image, PlainRecord& record);

class RawStore {
 public:
  explicit RawStore(const std::string& path);
  ~RawStore();
  RawStore(const RawStore&) = delete;
  RawStore& operator=(const RawStore&) = delete;

  void Fill(uint32_t count);
  // Reads all in sort order, decodes each and sorts it by one character of its flags.
  void List(std::vector<uint32_t>& oids);
  // A read transaction and a copy of the image each.
  void Get(uint32_t oid);
  // Read, one character changed, written back with the catalogue row, in one transaction each.
  void Confirm(uint32_t oid);
  // Record, sort entry and catalogue row.
  uint32_t Insert(const PlainRecord& record);
  void Delete(uint32_t oid);

 private:
  [[nodiscard]] sqlite3_stmt* Prepare(const char* text);
  void Run(sqlite3_stmt* statement);
  void TouchCatalogue(int records);

  sqlite3* database = nullptr;
  std::vector<sqlite3_stmt*> statements;
  sqlite3_stmt *begin, *commit, *list, *get, *update, *insert, *insertSort, *remove, *removeSort;
  sqlite3_stmt* catalogue;
  uint32_t lastOid = 0;
  std::string image;
};

}  // namespace wkt::bench
