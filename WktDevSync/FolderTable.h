#pragma once

#include <algorithm>

#include "platform/SyncTypes.h"

// The folders offered to the desktop and what stands behind each. No other code compares folder
// names.
namespace wkt {

enum class RecordKind { Job, Type };

struct Folder {
  const WCHAR* name;
  const WCHAR* databaseName;
  RecordKind kind;
  int packetKind;  // of job packets: 1 daily, 2 favourite; 0 for types
  BYTE* changed;   // the module's flag
  const WCHAR* notice;
  UINT message;  // posted to the application's window
};

// In the order in which names are compared and the application is told.
extern const Folder kFolders[3];

// Exact, the whole name; null for any other.
[[nodiscard]] const Folder* FindFolder(const WCHAR* name);

// The folder name of a service manager's structure as a text, also when it fills its field whole.
class FolderName {
 public:
  explicit FolderName(const WCHAR (&field)[MAX_OBJTYPE_NAME]) {
    std::copy_n(field, MAX_OBJTYPE_NAME, units);
    units[MAX_OBJTYPE_NAME] = 0;
  }
  [[nodiscard]] const WCHAR* c_str() const { return units; }

 private:
  WCHAR units[MAX_OBJTYPE_NAME + 1];
};

}  // namespace wkt
