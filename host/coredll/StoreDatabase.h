// A database of a volume: its catalogue row, its tables and who has it open.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/coredll/OpenMark.h"
#include "host/coredll/StoreCountChanges.h"
#include "host/coredll/StoreImage.h"
#include "host/coredll/StoreRanks.h"
#include "host/coredll/StoreSort.h"
#include "host/coredll/StoreSqlite.h"

namespace wkt::host {

class StoreCursor;
class StoreVolume;

// What every write of a record changes.
struct CatalogueCounts {
  uint32_t recordCount = 0;
  uint64_t byteCount = 0;
  uint64_t modified = 0;  // UTC ticks
  CEOID nextOid = 0;      // set aside: nextOid up to, not including, endOid
  CEOID endOid = 0;
};

struct CatalogueRow : CatalogueCounts {
  std::string name;  // UTF-8
  DWORD type = 0;
  DWORD flags = 0;  // attribute bits and which members were given at creation
  std::vector<SORTORDERSPECEX> sorts;
  StoreCountChanges countChanges;
};

// Statements on a database's own tables.
enum class StoreQuery : uint8_t {
  ReadImage,
  ReadKeys,
  NextKey,
  PriorKey,
  InsertRecord,
  UpdateRecord,
  DeleteRecord,
  InsertKey,
  DeleteKey,
  ReadBlocks,
  ChangeBlock,
  InsertBlock,
  DeleteBlock,
  UpdateCatalogue,
  Count
};

class StoreDatabase {
 public:
  StoreDatabase(StoreVolume& volume, CEOID oid);
  ~StoreDatabase();
  StoreDatabase(const StoreDatabase&) = delete;
  StoreDatabase& operator=(const StoreDatabase&) = delete;

  [[nodiscard]] StoreVolume& Volume() const { return volume_; }
  [[nodiscard]] CEOID Oid() const { return oid_; }
  // As of the volume's present generation.
  [[nodiscard]] const CatalogueRow& Row() const { return row_; }
  // The row's name as programs have it; empty when the row's is no text.
  [[nodiscard]] const std::u16string& Name() const { return name_; }
  // The catalogue's, when it read or changed the row.
  void TakeRow(CatalogueRow row);
  void MarkDeleted() { isDeleted_ = true; }
  [[nodiscard]] bool IsDeleted() const { return isDeleted_; }

  // The orders in use: the row's, or the one by identifier.
  [[nodiscard]] const std::vector<SORTORDERSPECEX>& Orders() const { return orders_; }
  StoreRanks& Ranks(size_t order) { return *ranks_[order]; }
  // Those that block_N does not have. Within a write transaction they run ahead of the stored row.
  StoreCountChanges& CountChanges() { return row_.countChanges; }
  // Carries all of them into block_N.
  DWORD StoreCounts();
  // Prepared, unless that failed.
  StoreStatement& Statement(StoreQuery query);

  // The name of the table with the images.
  [[nodiscard]] const char* RecordTable() const { return recordTable_.c_str(); }
  // ERROR_FILE_NOT_FOUND when there is no such record.
  DWORD ReadImage(CEOID oid, std::string& bytes);
  // The same, shown to `use` where SQLite keeps it; its error is the result.
  template <typename Use>
  DWORD UseImage(CEOID oid, const Use& use) {
    StoreStatement& statement = Statement(StoreQuery::ReadImage);
    if (!statement.IsPrepared())
      return LastFailure();
    StoreRun run(statement);
    const int code = run.Number(oid).Step();
    if (code == SQLITE_ROW)
      return use(run.BytesAt(0));
    return code == SQLITE_DONE ? DWORD{ERROR_FILE_NOT_FOUND} : LastFailure();
  }
  // The key after `key`; ERROR_NO_MORE_ITEMS at the end.
  DWORD NextKey(size_t order, std::string_view key, std::string& next);

  // What a value seek (smaller, first equal, greater) with the key `prefix` of the order's first
  // `valueCount` properties finds. Records that lack one of them have no value to be compared.
  // ERROR_NO_MORE_ITEMS when there is nothing.
  DWORD FindKey(size_t order, DWORD seekType, std::string_view prefix, size_t valueCount,
                std::string& found);

  // One transaction each. `oid` 0 makes a record and receives its identifier.
  DWORD Write(CEOID& oid, std::span<const CEPROPVAL> values);
  DWORD Delete(CEOID oid);
  // Within a transaction: the tables of a new database; the keys of all records anew.
  DWORD CreateTables();
  DWORD FillOrders();
  DWORD DropTables();

  void AddCursor(StoreCursor& cursor);
  void RemoveCursor(StoreCursor& cursor);
  // In this process or another one.
  [[nodiscard]] bool IsOpen() const;

 private:
  // What a write does to the keys of the orders.
  struct KeyChange {
    std::string before;  // empty: none
    std::string after;
  };
  DWORD WriteInTransaction(CEOID& oid, std::span<const CEPROPVAL> values, bool& changed);
  DWORD DeleteInTransaction(CEOID oid);
  DWORD ReadOldImage(CEOID oid);
  DWORD TakeOid(CatalogueCounts& counts, CEOID& oid);
  DWORD MakeKeys(const RecordImage& image, CEOID oid, std::string KeyChange::*which);
  DWORD CheckUnique(size_t order, const std::string& key, CEOID oid);
  DWORD ChangeKeys(CEOID oid);
  DWORD StoreImageOf(StoreQuery query, CEOID oid);
  DWORD StoreRow(const CatalogueCounts& counts);
  DWORD HoldCursors();
  DWORD PriorKey(size_t order, std::string_view key, std::string& prior);
  DWORD KeyBeside(StoreQuery query, size_t order, std::string_view key, std::string& found);
  DWORD FindNeighbour(size_t order, std::string_view from, bool isBackward, size_t valueCount,
                      std::string& found);
  DWORD LackingPrefix(size_t order, std::string_view key, size_t valueCount, std::string& prefix);
  DWORD Execute(const char* format);
  [[nodiscard]] DWORD LastFailure() const;

  StoreVolume& volume_;
  CEOID oid_;
  std::string recordTable_;
  CatalogueRow row_;
  std::u16string name_;
  bool isDeleted_ = false;
  std::vector<SORTORDERSPECEX> orders_;
  std::vector<std::unique_ptr<StoreRanks>> ranks_;
  std::array<StoreStatement, static_cast<size_t>(StoreQuery::Count)> statements_;
  std::vector<StoreCursor*> cursors_;
  OpenMark openMark_;  // set while there are cursors
  // Work space of writes.
  std::vector<KeyChange> keys_;
  std::string oldImage_;
  std::string newImage_;
};

}  // namespace wkt::host
