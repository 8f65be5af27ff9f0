#pragma once

#include <memory>

#include "WktCommon/WktTypeLean.h"
#include "WktDevCommon/DatabaseAid.h"
#include "WktDevCommon/DatabaseLock.h"

// Types ("WktDevTypes"), one database record each, ordered by creation time. Deleted as jobs are,
// by `wkt::DeleteRecord`.
class CWktTypeDatabase : public CDatabaseAid {
 public:
  explicit CWktTypeDatabase(const WCHAR* databaseName);
  ~CWktTypeDatabase() override;
  // A record of the kind's class, which the caller owns; null for other kinds than 1 to 5.
  [[nodiscard]] virtual CWktTypeLean* CreateRecord(int kind, BOOL makeNew);

  // All properties of a type without values; the count is their number.
  [[nodiscard]] static std::unique_ptr<CEPROPVAL[]> AllocPropertyArray(WORD* pCount);
  // Gives the first `count` values (-1: all) what their identifiers ask for. Their texts point into
  // the record, which has to outlive the write and stay as it is. No log lines, nor have the next
  // two.
  static void FillPropValArray(CEPROPVAL* props, CWktTypeLean* type, int count);
  static void FillWktTypeBase(CWktTypeLean* type, const wkt::PropertyValues& props);

  // With `lock` each of these holds the mutex while it works.

  // The identifier found, or 0. The caller owns the record handed out.
  CEOID FindWktType(CEOID record, CWktTypeLean** ppType, BOOL lock);
  // The new record's identifier, or 0.
  CEOID AddWktType(CWktTypeLean* type, BOOL lock);
  BOOL ModifyWktType(CEOID record, CWktTypeLean* type, BOOL lock);

  DWORD Lock() { return WaitForSingleObject(mutex, wkt::kLockWaitMilliseconds); }
  BOOL Unlock() { return ReleaseMutex(mutex); }

 private:
  HANDLE mutex;
};
