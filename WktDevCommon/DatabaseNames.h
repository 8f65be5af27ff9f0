#pragma once

#include "platform/Types.h"

// The application's three databases, which it shares with the provider.
namespace wkt {

inline constexpr const WCHAR* kDailyJobsName = u"WktDevJobs";
inline constexpr const WCHAR* kFavoriteJobsName = u"WktDevFavJobs";
inline constexpr const WCHAR* kTypesName = u"WktDevTypes";

}  // namespace wkt
