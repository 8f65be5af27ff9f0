#pragma once

#include <memory>

#include "WktDevCommon/RecordBuffer.h"
#include "platform/Database.h"

// Access to one property database: its name, its open handle and the sort orders with which it is
// made when missing. Constructed closed; lives for one call of the service manager; one thread.
// All databases of the application carry one type number and are told apart by their names.
class CDatabaseAid {
 public:
  CDatabaseAid();
  virtual ~CDatabaseAid();
  CDatabaseAid(const CDatabaseAid&) = delete;
  CDatabaseAid& operator=(const CDatabaseAid&) = delete;

  [[nodiscard]] BOOL IsOpen() const;
  // Nothing writes it: every database is found, created and opened in the object store.
  [[nodiscard]] CEGUID* GetVolumeGuid() { return &volumeGuid; }
  // 0 = not known.
  [[nodiscard]] CEOID GetOid() const { return oid; }
  [[nodiscard]] const WCHAR* GetName() const { return name.get(); }
  // The platform's code of the last failed create, open or write.
  [[nodiscard]] DWORD GetLastErrorCode() const { return lastError; }

  // Closes what is open, then opens the named database, creating it first when it is missing and
  // `bCreate` is set. The name is kept.
  BOOL OpenDatabase(const WCHAR* databaseName, BOOL bCreate);
  // The same with the kept name; an open database stays as it is.
  BOOL Open(BOOL bCreate);
  // 0 = not found. The block, when given, then holds the database's information.
  CEOID FindDatabase(const WCHAR* pDBName, CEOIDINFOEX* pInfo = nullptr);
  BOOL GetDatabaseInfo(CEOIDINFOEX* pInfo);
  CEOID CreateDatabase(const WCHAR* databaseName);
  void CloseDatabase();

  // Single records, without lock and without log lines of their own but for a failed write. On a
  // closed database the platform refuses them.

  // Positions on a record; 0 = no such record.
  [[nodiscard]] CEOID SeekRecord(CEOID record);
  [[nodiscard]] bool SeekFirstRecord();
  // The record at the position, whole; the position moves on to the next. 0 = none left.
  [[nodiscard]] CEOID ReadRecord(wkt::RecordBuffer& buffer);
  // Record 0 makes a new one. Refused when memory ran out while the values were put together.
  [[nodiscard]] CEOID WriteRecord(CEOID record, WORD count, CEPROPVAL* values);
  [[nodiscard]] BOOL DeleteRecord(CEOID record);

 protected:
  // For the derived constructors: keeps a copy of the name and returns the mutex of the derived
  // object's record operations.
  [[nodiscard]] HANDLE KeepNameAndCreateMutex(const WCHAR* databaseName);

  using NameBuffer = std::unique_ptr<WCHAR[]>;

  LONG sortOrderCount;  // 0 = create without sort orders
  SORTORDERSPECEX sortOrders[CEDB_MAXSORTORDER];
  HANDLE handle;  // 0 or INVALID_HANDLE_VALUE = closed
  DWORD lastError;
  CEOID oid;
  CEGUID volumeGuid;
  NameBuffer name;
};
