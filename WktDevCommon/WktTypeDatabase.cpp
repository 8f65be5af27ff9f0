#include "WktDevCommon/WktTypeDatabase.h"

#include "WktCommon/WktTypeKinds.h"
#include "WktDevCommon/RecordOperations.h"
#include "WktDevCommon/WktTypeProperties.h"

CWktTypeDatabase::CWktTypeDatabase(const WCHAR* databaseName) {
  const wkt::LogScope log("CWktTypeDatabase::CWktTypeDatabase");
  mutex = KeepNameAndCreateMutex(databaseName);
  sortOrderCount = 1;
  sortOrders[0].wVersion = SORTORDERSPECEX_VERSION;
  sortOrders[0].wNumProps = 1;
  sortOrders[0].rgPropID[0] = wkt::kTypeCreationTimeId;
  sortOrders[0].rgdwFlags[0] = CEDB_SORT_NONNULL;
}

CWktTypeDatabase::~CWktTypeDatabase() {
  const wkt::LogScope log("CWktTypeDatabase::~CWktTypeDatabase");
  if (mutex)
    CloseHandle(mutex);
  mutex = nullptr;
}

CWktTypeLean* CWktTypeDatabase::CreateRecord(int kind, BOOL makeNew) {
  const wkt::LogScope log("CWktTypeDatabase::CreateRecord");
  return wkt::MakeType(kind, makeNew);
}

std::unique_ptr<CEPROPVAL[]> CWktTypeDatabase::AllocPropertyArray(WORD* pCount) {
  const wkt::LogScope log("CWktTypeDatabase::AllocPropertyArray");
  return wkt::NewPropertyArray(wkt::TypeProperties(), pCount);
}

void CWktTypeDatabase::FillPropValArray(CEPROPVAL* props, CWktTypeLean* type, int count) {
  wkt::StoreType(*type, props, count);
}

void CWktTypeDatabase::FillWktTypeBase(CWktTypeLean* type, const wkt::PropertyValues& props) {
  wkt::LoadType(*type, props);
}

CEOID CWktTypeDatabase::FindWktType(CEOID record, CWktTypeLean** ppType, BOOL lock) {
  return wkt::FindRecord<wkt::TypeKind>(*this, record, ppType, lock);
}

CEOID CWktTypeDatabase::AddWktType(CWktTypeLean* type, BOOL lock) {
  const wkt::LogScope log("CWktTypeDatabase::AddWktType");
  return wkt::AddRecord<wkt::TypeKind>(*this, type, lock, log);
}

BOOL CWktTypeDatabase::ModifyWktType(CEOID record, CWktTypeLean* type, BOOL lock) {
  const wkt::LogScope log("CWktTypeDatabase::ModifyWktType");
  return wkt::ModifyRecord<wkt::TypeKind>(*this, record, type, lock, log);
}
