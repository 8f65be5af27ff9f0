#include "WktDevCommon/JobDatabase.h"

#include <new>

#include "WktCommon/Allocation.h"
#include "WktDevCommon/JobProperties.h"
#include "WktDevCommon/RecordOperations.h"

CJobDatabase::CJobDatabase(const WCHAR* databaseName) {
  const wkt::LogScope log("CJobDatabase::CJobDatabase");
  mutex = KeepNameAndCreateMutex(databaseName);
  sortOrderCount = 1;
  sortOrders[0].wVersion = SORTORDERSPECEX_VERSION;
  sortOrders[0].wNumProps = 2;
  sortOrders[0].rgPropID[0] = wkt::kJobLocalDayId;
  sortOrders[0].rgPropID[1] = wkt::kJobStartTimeId;
  sortOrders[0].rgdwFlags[0] = CEDB_SORT_NONNULL;
  sortOrders[0].rgdwFlags[1] = CEDB_SORT_NONNULL;
}

CJobDatabase::~CJobDatabase() {
  const wkt::LogScope log("CJobDatabase::~CJobDatabase");
  if (mutex)
    CloseHandle(mutex);
  mutex = nullptr;
}

CJobLean* CJobDatabase::CreateRecord(BOOL makeNew) {
  const wkt::LogScope log("CJobDatabase::CreateRecord");
  return wkt::NewObject<CJobLean>(makeNew);
}

std::unique_ptr<CEPROPVAL[]> CJobDatabase::AllocPropertyArray(WORD* pCount) {
  const wkt::LogScope log("CJobDatabase::AllocPropertyArray");
  return wkt::NewPropertyArray(wkt::JobProperties(), pCount);
}

void CJobDatabase::FillPropValArray(CEPROPVAL* props, CJobLean* job, int count) {
  const wkt::LogScope log("CJobDatabase::FillPropValArray");
  wkt::StoreJob(*job, props, count);
}

void CJobDatabase::FillJobBase(CJobLean* job, const wkt::PropertyValues& props) {
  const wkt::LogScope log("CJobDatabase::FillJobBase");
  wkt::LoadJob(*job, props);
}

CEOID CJobDatabase::FindJob(CEOID record, CJobLean** ppJob, BOOL lock) {
  const wkt::LogScope log("CJobDatabase::FindJob");
  return wkt::FindRecord<wkt::JobKind>(*this, record, ppJob, lock);
}

CEOID CJobDatabase::AddJob(CJobLean* job, BOOL lock) {
  const wkt::LogScope log("CJobDatabase::AddJob");
  return wkt::AddRecord<wkt::JobKind>(*this, job, lock, log);
}

BOOL CJobDatabase::ModifyJob(CEOID record, CJobLean* job, BOOL lock) {
  const wkt::LogScope log("CJobDatabase::ModifyJob");
  return wkt::ModifyRecord<wkt::JobKind>(*this, record, job, lock, log);
}

BOOL CJobDatabase::DeleteJob(CEOID record, BOOL lock) {
  return wkt::DeleteRecord(*this, record, lock);
}
