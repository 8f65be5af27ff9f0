#pragma once

#include <memory>

#include "WktCommon/JobLean.h"
#include "WktDevCommon/DatabaseAid.h"
#include "WktDevCommon/DatabaseLock.h"

// Daily jobs ("WktDevJobs") or favourite jobs ("WktDevFavJobs"), one database record each, ordered
// by local day, then start time.
class CJobDatabase : public CDatabaseAid {
 public:
  explicit CJobDatabase(const WCHAR* databaseName);
  ~CJobDatabase() override;
  // The caller owns the record; null without memory.
  [[nodiscard]] virtual CJobLean* CreateRecord(BOOL makeNew);

  // All properties of a job without values; the count is their number.
  [[nodiscard]] static std::unique_ptr<CEPROPVAL[]> AllocPropertyArray(WORD* pCount);
  // Gives the first `count` values (-1: all) what their identifiers ask for. Their texts point into
  // the job, which has to outlive the write and stay as it is.
  static void FillPropValArray(CEPROPVAL* props, CJobLean* job, int count);
  static void FillJobBase(CJobLean* job, const wkt::PropertyValues& props);

  // With `lock` each of these holds the mutex while it works.

  // The identifier found, or 0. The caller owns the record handed out.
  CEOID FindJob(CEOID oid, CJobLean** ppJob, BOOL lock);
  // The new record's identifier, or 0.
  CEOID AddJob(CJobLean* job, BOOL lock);
  BOOL ModifyJob(CEOID oid, CJobLean* job, BOOL lock);
  BOOL DeleteJob(CEOID oid, BOOL lock);

  DWORD Lock() { return WaitForSingleObject(mutex, wkt::kLockWaitMilliseconds); }
  BOOL Unlock() { return ReleaseMutex(mutex); }

  // Once when the library starts: gives the jobs of databases in the older layout their identifiers
  // as texts, unless the registry says that this has been done.
  static void UpgradeJobDatabases();

 private:
  HANDLE mutex;
};
