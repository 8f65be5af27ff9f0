// Records for other programs: CSV and iCalendar, names resolved, instants with offset.
#pragma once

#include <string>
#include <vector>

#include "desktop/partner/RecordJson.h"

namespace wkt {

// `records` are as an export in JSON has them: fields by name and "resolved" names and times.
std::string ExportCsv(FolderId folder, const Json& records);
// Jobs only; times in UTC.
std::string ExportCalendar(const std::vector<Record>& jobs, const Json& records, uint64_t now);

}  // namespace wkt
