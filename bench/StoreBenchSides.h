// The two sides of the object store's benchmark: platform calls on a device on the desk, and SQLite
// used directly with the same images, orders and settings.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/SampleRecord.h"
#include "platform/Platform.h"

namespace wkt::bench {

// Platform calls on a fresh device below `folder`.
class StoreSide {
 public:
  explicit StoreSide(const std::string& folder);
  ~StoreSide();
  StoreSide(const StoreSide&) = delete;
  StoreSide& operator=(const StoreSide&) = delete;

  void Fill(uint32_t count);
  // Returns how many records there were.
  size_t ReadAll();
  void SeekAndRead(CEOID oid, bool wantsIndex);
  void Update(CEOID oid, SampleRecord& record, uint32_t variant);
  CEOID Insert(SampleRecord& record);
  void Delete(CEOID oid);
  void FindOpenClose();
  void SetDurability(bool isFull);

  [[nodiscard]] const std::vector<CEOID>& Oids() const { return oids_; }
  [[nodiscard]] const std::string& File() const { return file_; }
  [[nodiscard]] CEOID Database() const { return database_; }

 private:
  std::string file_;
  CEOID database_ = 0;
  HANDLE handle_ = nullptr;
  std::vector<CEOID> oids_;
};

// The same work by statements that are prepared once, on a connection that is kept.
class RawSide {
 public:
  // Copies the store's tables.
  RawSide(const std::string& file, const StoreSide& store);
  ~RawSide();
  RawSide(const RawSide&) = delete;
  RawSide& operator=(const RawSide&) = delete;

  // What is done with each image: one byte looked at, copied into a new block, made into the block
  // that the platform's read answers.
  enum class Handling { Look, Copy, MakeBlock };
  size_t ReadAll(Handling handling);
  void Read(CEOID oid);
  // With the catalogue row (time of the last change) or, less than the store has to do, without.
  void Update(CEOID oid, bool withCatalogue);
  CEOID Insert();
  void ReadCatalogue();

 private:
  sqlite3_stmt* Prepare(const char* text);
  void Run(sqlite3_stmt* statement);

  sqlite3* connection_ = nullptr;
  std::vector<sqlite3_stmt*> statements_;
  sqlite3_stmt *begin_, *commit_, *scan_, *read_, *update_, *insert_, *insertKey_, *touch_, *count_,
      *catalogue_;
  std::string image_;
  CEOID nextOid_ = 0;
  uint64_t clock_ = 0;
};

}  // namespace wkt::bench
