// Types that an import meets by name only: each name becomes one record of the kind that suits.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "desktop/partner/Import.h"

namespace wkt {

// A job of now without identifier; start, end and day are to be set.
Record NewImportedJob(const ImportOptions& options);
// Books the job to the day of its start, and dates its last change to its end.
void SetDayAndStamp(const ImportOptions& options, Record* job);

class ImportedTypes {
 public:
  // `source` is part of the identifiers.
  ImportedTypes(std::string source, const ImportOptions& options)
      : source_(std::move(source)), options_(options) {}

  // Identifiers; empty for an empty name. A client is the parent of its projects.
  std::u16string Project(const std::string& client, const std::string& name);
  // "House / Roof": each is the parent of the next.
  std::u16string ProjectPath(const std::string& path);
  std::u16string WorkType(const std::string& name);
  std::u16string Teamwork(const std::string& name);
  // As a job has them: identifiers with "; " between them.
  std::u16string Persons(const std::vector<std::string>& names);

  // Types first.
  ImportedRecords Join(ImportedRecords jobs);

 private:
  std::u16string Get(int kind, const std::string& name, const std::u16string& parent);

  const std::string source_;
  const ImportOptions& options_;
  std::map<std::string, std::u16string> known_;
  ImportedRecords types_;
};

}  // namespace wkt
