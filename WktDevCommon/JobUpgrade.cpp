#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktCommon/RegistryKey.h"
#include "WktDevCommon/DatabaseLock.h"
#include "WktDevCommon/DatabaseNames.h"
#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/JobProperties.h"

// The start-up upgrade. Jobs in the older layout name their work type, project and teamwork by
// numbers; the upgrade writes them as texts beside the numbers.
namespace {

// What the version check stores once it has run.
constexpr DWORD kDatabaseVersion = 74;
// Numbers of the older layout that are none.
constexpr LONG kIdInText = -2;
constexpr LONG kNoId = -1;
constexpr WORD kIdCount = 3;

class UpgradeDatabase : public CJobDatabase {
 public:
  using CJobDatabase::CJobDatabase;
};

template <void (CJobLean::*set)(const WCHAR*)>
void LoadNumberedId(CJobLean& job, const CEPROPVAL& value) {
  if (value.val.lVal == kIdInText)
    return;
  if (value.val.lVal == kNoId)
    return (job.*set)(u"");
  (job.*set)(WideString(value.val.lVal).c_str());
}

// The rows of the older layout, its three numbers converted.
using OldRows = std::array<wkt::PropertyField<CJobLean>, wkt::kOldJobPropertyCount>;
OldRows OldJobProperties() {
  OldRows rows;
  std::copy_n(wkt::JobProperties().begin(), rows.size(), rows.begin());
  rows[wkt::kJobNumberedIdsAt].load = LoadNumberedId<&CJobLean::SetWorkTypeId>;
  rows[wkt::kJobNumberedIdsAt + 1].load = LoadNumberedId<&CJobLean::SetProjectId>;
  rows[wkt::kJobNumberedIdsAt + 2].load = LoadNumberedId<&CJobLean::SetTeamworkId>;
  return rows;
}

// A record in the present layout, met because the stored version was lost: it has nothing to
// convert, and converting nothing would empty its texts.
bool IsInPresentLayout(const wkt::PropertyValues& values) {
  bool hasTexts = false;
  for (size_t i = 0; i < kIdCount; ++i) {
    const size_t numberAt = wkt::kJobNumberedIdsAt + i;
    const size_t textAt = wkt::kJobIdTextsAt + i;
    const CEPROPVAL* const number =
        values.Find(wkt::JobProperties()[numberAt].identifier, numberAt);
    if (number && number->val.lVal != kIdInText)
      return false;
    if (values.Find(wkt::JobProperties()[textAt].identifier, textAt))
      hasTexts = true;
  }
  return hasTexts;
}

bool WriteIdTexts(CJobDatabase& database, CEOID oid, CJobLean& job) {
  CEPROPVAL values[kIdCount] = {};
  wkt::SetIdentifiers(wkt::JobProperties().subspan(wkt::kJobIdTextsAt, kIdCount), values);
  CJobDatabase::FillPropValArray(values, &job, kIdCount);
  return database.WriteRecord(oid, kIdCount, values) != 0;
}

void UpgradeOpenDatabase(CJobDatabase& database) {
  if (!database.SeekFirstRecord())
    return;
  const OldRows oldRows = OldJobProperties();
  wkt::RecordBuffer buffer;
  CEOID last = 0;
  while (const CEOID oid = database.ReadRecord(buffer)) {
    // On some devices a write moves the position back to the record written, which then comes once
    // more; reading it has moved the position past it.
    if (oid == last)
      continue;
    last = oid;
    wkt::ClearAllocationFailure();
    const std::unique_ptr<CJobLean> job(database.CreateRecord(TRUE));
    if (!job)
      return;
    wkt::LoadRecord<CJobLean>(oldRows, wkt::kJobModificationTimeAt, *job, buffer.Values());
    if (IsInPresentLayout(buffer.Values()))
      continue;
    if (!WriteIdTexts(database, oid, *job))
      return;
  }
}

void UpgradeDatabaseRecords(CJobDatabase& database) {
  const wkt::DatabaseLock held(database, TRUE);  // Kept: taken even when the database is closed.
  if (database.IsOpen())
    UpgradeOpenDatabase(database);
}

}  // namespace

void CJobDatabase::UpgradeJobDatabases() {
  const wkt::LogScope log("CJobDatabase::UpgradeJobDatabases");
  std::optional<CRegistryKey> key;  // closed after the databases are destroyed
  UpgradeDatabase favorites(wkt::kFavoriteJobsName);
  UpgradeDatabase daily(wkt::kDailyJobsName);

  key.emplace(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Worktally", TRUE, FALSE);
  const int32_t version = key->IsOpen() ? key->ReadDword(u"DatabaseVersion", 0) : -1;
  if (favorites.FindDatabase(wkt::kFavoriteJobsName) != 0 &&
      daily.FindDatabase(wkt::kDailyJobsName) != 0 && version == 0) {
    favorites.Open(FALSE);
    daily.Open(FALSE);
    UpgradeDatabaseRecords(favorites);
    UpgradeDatabaseRecords(daily);
    favorites.CloseDatabase();
    daily.CloseDatabase();
  }
  // Kept: written also when there was nothing to upgrade, or only one of the two databases.
  if (key->IsOpen() && version < 1)
    key->WriteDword(u"DatabaseVersion", kDatabaseVersion);
}
