// The three folders of a synchronisation, as the desktop names and numbers them.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace wkt {

// The numbers stand in the partner's store.
enum class FolderId : int { Jobs = 1, Favorites = 2, Types = 3 };

struct FolderDescription {
  FolderId id;
  const char16_t* objectType;  // the service manager's name
  const char* name;            // in JSON and in reports
  const char* noun;            // the command's word, singular
  bool isType;
  // Flag characters: synchronised with partner 1, with partner 2, changed during a synchronisation.
  std::array<int, 2> partnerFlags;
  int changedDuringSyncFlag;
};

// Types first: jobs refer to them.
inline constexpr std::array<FolderDescription, 3> kFolders = {{
    {FolderId::Types, u"WktTypes", "types", "type", true, {0, 1}, 2},
    {FolderId::Favorites, u"WktFavorites", "favorites", "favorite", false, {4, 5}, 6},
    {FolderId::Jobs, u"WktActivities", "jobs", "job", false, {4, 5}, 6},
}};

constexpr const FolderDescription& DescribeFolder(FolderId id) {
  return id == FolderId::Types       ? kFolders[0]
         : id == FolderId::Favorites ? kFolders[1]
                                     : kFolders[2];
}

inline std::optional<FolderId> FolderFromName(std::string_view name) {
  for (const FolderDescription& folder : kFolders) {
    if (name == folder.name || name == folder.noun) {
      return folder.id;
    }
  }
  return std::nullopt;
}

}  // namespace wkt
