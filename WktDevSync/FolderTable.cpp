#include "WktDevSync/FolderTable.h"

#include "WktCommon/WideString.h"
#include "WktDevCommon/DatabaseNames.h"
#include "WktDevSync/ModuleState.h"
#include "platform/Window.h"

namespace wkt {

// Kept: "Nofifying" is what readers of the log search for.
constexpr Folder kFolders[3] = {
    {u"WktFavorites", kFavoriteJobsName, RecordKind::Job, 2, &favoritesChanged,
     u"Nofifying application window: Favorite jobs changed", WM_USER + 101},
    {u"WktActivities", kDailyJobsName, RecordKind::Job, 1, &dailyJobsChanged,
     u"Nofifying application window: Daily jobs changed", WM_USER + 102},
    {u"WktTypes", kTypesName, RecordKind::Type, 0, &typesChanged,
     u"Nofifying application window: Types changed", WM_USER + 103},
};

const Folder* FindFolder(const WCHAR* name) {
  for (const Folder& folder : kFolders) {
    if (TextsEqual(folder.name, name))
      return &folder;
  }
  return nullptr;
}

}  // namespace wkt
