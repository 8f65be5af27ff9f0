// The databases of a volume, in memory as long as nobody else commits.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "host/coredll/StoreDatabase.h"

namespace wkt::host {

class StoreCatalogue {
 public:
  explicit StoreCatalogue(StoreVolume& volume) : volume_(volume) {}

  // Reads the table unless it is known. Everything below looks at what the last Load found.
  DWORD Load();
  // nullptr when there is none.
  [[nodiscard]] std::shared_ptr<StoreDatabase> Find(CEOID oid) const;
  [[nodiscard]] std::shared_ptr<StoreDatabase> Find(std::string_view name) const;
  // The database that holds a record; ERROR_FILE_NOT_FOUND when there is none.
  DWORD FindRecord(CEOID oid, CEOID& database) const;
  // By their identifiers.
  [[nodiscard]] const std::map<CEOID, std::shared_ptr<StoreDatabase>>& Databases() const {
    return databases_;
  }

  // One transaction each. `row` holds name, type, flags, sort orders and, when not 0, the last
  // change.
  DWORD Create(CatalogueRow row, CEOID& oid);
  // Name, type, flags, sort orders and last change become what `change` makes of the row as it is
  // then; its error leaves all as it was.
  using RowChange = std::function<DWORD(CatalogueRow& row)>;
  DWORD Change(CEOID oid, const RowChange& change);
  DWORD Delete(CEOID oid);

 private:
  DWORD CreateInTransaction(CatalogueRow row, CEOID& oid);
  DWORD ChangeInTransaction(CEOID oid, const RowChange& change);
  DWORD DeleteInTransaction(CEOID oid);
  DWORD ReadRows();
  void TakeRows(std::vector<std::pair<CEOID, CatalogueRow>>&& rows);
  template <typename Work>
  DWORD InTransaction(const Work& work);

  StoreVolume& volume_;
  uint32_t generation_ = 0;
  std::map<CEOID, std::shared_ptr<StoreDatabase>> databases_;
  StoreStatement read_;
};

}  // namespace wkt::host
