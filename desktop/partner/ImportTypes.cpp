#include "desktop/partner/ImportTypes.h"

#include <algorithm>
#include <iterator>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/RecordJson.h"

namespace wkt {

namespace {

constexpr int kWorkType = 1;
constexpr int kProject = 2;
constexpr int kPerson = 3;
constexpr int kTeamwork = 4;
constexpr int kWorkTypeFlag = 4;                    // set in every work type
constexpr std::string_view kPathSeparator = " / ";  // as exports write projects below others

}  // namespace

Record NewImportedJob(const ImportOptions& options) {
  return MakeRecord(FolderId::Jobs, options.now, 0);
}

void SetDayAndStamp(const ImportOptions& options, Record* job) {
  const uint64_t local = options.zone->ToLocal(job->Ticks(Field::Start));
  job->SetTicks(Field::Day, local - local % kTicksPerDay);
  job->SetTicks(Field::Modified, job->Ticks(Field::End));
}

std::u16string ImportedTypes::Get(int kind, const std::string& name, const std::u16string& parent) {
  if (name.empty()) {
    return u"";
  }
  const std::string key = std::to_string(kind) + "\n" + ToUtf8(parent) + "\n" + name;
  auto& id = known_[key];
  if (id.empty()) {
    id = DerivedIdentifier(source_, key, 1);
    Record type = MakeRecord(FolderId::Types, options_.now, 0);
    type.SetNumber(Field::Kind, kind);
    type.SetFlag(kWorkTypeFlag, kind == kWorkType);
    type.SetText(Field::Id, id);
    type.SetText(Field::Name1, FromUtf8(name));
    type.SetText(Field::Unused1, parent);
    types_.push_back({std::move(type), 1});
  }
  return id;
}

std::u16string ImportedTypes::Project(const std::string& client, const std::string& name) {
  return Get(kProject, name, Get(kProject, client, u""));
}

std::u16string ImportedTypes::ProjectPath(const std::string& path) {
  std::u16string id;
  for (size_t begin = 0; begin <= path.size();) {
    const size_t end = std::min(path.find(kPathSeparator, begin), path.size());
    const std::string name = path.substr(begin, end - begin);
    id = name.empty() ? id : Get(kProject, name, id);
    begin = end + kPathSeparator.size();
  }
  return id;
}

std::u16string ImportedTypes::WorkType(const std::string& name) {
  return Get(kWorkType, name, u"");
}

std::u16string ImportedTypes::Teamwork(const std::string& name) {
  return Get(kTeamwork, name, u"");
}

std::u16string ImportedTypes::Persons(const std::vector<std::string>& names) {
  std::u16string ids;
  for (const std::string& name : names) {
    const std::u16string id = Get(kPerson, name, u"");
    ids += id.empty() || ids.empty() ? id : u"; " + id;
  }
  return ids;
}

ImportedRecords ImportedTypes::Join(ImportedRecords jobs) {
  ImportedRecords all = std::move(types_);
  all.insert(all.end(), std::make_move_iterator(jobs.begin()), std::make_move_iterator(jobs.end()));
  return all;
}

}  // namespace wkt
