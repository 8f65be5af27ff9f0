#include "WktDevSync/Folders.h"

#include "WktCommon/TextScanner.h"
#include "platform/Files.h"

namespace {

bool EndsWithSeparator(const WideString& path) {
  const int32_t length = path.Length();
  return length > 0 && path.c_str()[length - 1] == u'\\';
}

// Kept: the platform lists no "." and "..", so a folder with nothing in it does not exist here;
// making it then fails.
bool FolderExists(const WideString& folder) {
  WideString pattern(folder);
  pattern.Append(EndsWithSeparator(folder) ? u"*" : u"\\*");
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE)
    return false;
  FindClose(search);
  return true;
}

}  // namespace

namespace wkt {

BOOL CreateFolders(const WCHAR* path) {
  StringArray parts;
  Split(path, parts, u"\\");
  const bool isNetworkPath = path[0] == u'\\' && path[1] == u'\\';
  WideString prefix(parts.At(0));
  int32_t next = 1;
  if (isNetworkPath && parts.GetCount() > 1)
    prefix.Append(u"\\").Append(parts.At(next++));
  for (; next < parts.GetCount(); ++next) {
    prefix.Append(u"\\").Append(parts.At(next));
    if (!FolderExists(prefix) && !CreateDirectoryW(prefix.c_str(), nullptr))
      return FALSE;
  }
  return TRUE;
}

}  // namespace wkt
