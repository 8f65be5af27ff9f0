#include "tools/wkt/RecordText.h"

#include <algorithm>
#include <set>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Failure.h"
#include "desktop/partner/Instant.h"

namespace wkt::tool {

namespace {

constexpr std::u16string_view kPersonSeparator = u"; ";

std::string InstantText(uint64_t ticks, const Zone& zone) {
  return ticks < kEndOfTextTime - kTicksPerDay ? zone.Text(ticks) : std::to_string(ticks);
}

}  // namespace

TypeNames::TypeNames(Home& home) {
  for (HomeRecord& type : home.List(FolderId::Types)) {
    types_.emplace(type.record.Id(), std::move(type.record));
  }
}

const Record* TypeNames::Get(const std::u16string& id) const {
  const auto found = types_.find(id);
  return found == types_.end() ? nullptr : &found->second;
}

std::string TypeNames::Name(const std::u16string& id) const {
  const Record* type = Get(id);
  return ToUtf8(type ? type->DisplayName() : id);
}

std::string TypeNames::Path(const std::u16string& id) const {
  std::string path = Name(id);
  std::set<std::u16string> seen{id};
  const Record* type = Get(id);
  while (type && type->Number(Field::Kind) == kProjectKind) {
    const std::u16string& parent = type->Text(Field::Unused1);
    type = Get(parent);
    if (!type || !seen.insert(parent).second) {
      break;
    }
    path = ToUtf8(type->DisplayName()) + " / " + path;
  }
  return path;
}

std::string TypeNames::Persons(const std::u16string& ids) const {
  std::string names;
  for (size_t begin = 0; begin < ids.size();) {
    const size_t end = std::min(ids.find(kPersonSeparator, begin), ids.size());
    names += (names.empty() ? "" : "; ") + Name(ids.substr(begin, end - begin));
    begin = end + kPersonSeparator.size();
  }
  return names;
}

std::u16string TypeNames::Find(const std::string& nameOrId,
                               std::initializer_list<int> kinds) const {
  if (nameOrId.empty()) {
    return u"";
  }
  const std::u16string wanted = FromUtf8(nameOrId);
  const Record* found = nullptr;
  for (const auto& [id, type] : types_) {
    if (std::find(kinds.begin(), kinds.end(), type.Number(Field::Kind)) == kinds.end()) {
      continue;
    }
    if (id == wanted) {
      return id;
    }
    if (type.DisplayName() == wanted) {
      if (found) {
        throw Failure("there are several types named '" + nameOrId + "'; use the identifier",
                      ExitCode::Usage);
      }
      found = &type;
    }
  }
  if (!found) {
    throw Failure(std::string("there is no ") + kKindNames[*kinds.begin()] + " '" + nameOrId +
                      "'; add it first with: wkt type add",
                  ExitCode::Usage);
  }
  return found->Id();
}

Json DescribeRecord(const HomeRecord& home, const TypeNames& names, const Zone& zone) {
  const Record& record = home.record;
  Json json = RecordToJson(record);
  Json resolved;
  resolved["number"] = home.number;
  if (record.IsType()) {
    const int kind = record.Number(Field::Kind);
    resolved["kind"] = kind >= 1 && kind <= 5 ? kKindNames[kind] : "unknown";
    resolved["name"] =
        kind == kProjectKind ? names.Path(record.Id()) : ToUtf8(record.DisplayName());
    resolved["created"] = InstantText(record.Ticks(Field::Created), zone);
  } else {
    resolved["start"] = InstantText(record.Ticks(Field::Start), zone);
    resolved["end"] = InstantText(record.Ticks(Field::End), zone);
    resolved["workType"] = names.Name(record.Text(Field::WorkType));
    resolved["project"] = names.Path(record.Text(Field::Project));
    resolved["teamwork"] = names.Name(record.Text(Field::Teamwork));
    resolved["persons"] = names.Persons(record.Text(Field::Persons));
  }
  resolved["modified"] = InstantText(record.Ticks(Field::Modified), zone);
  json["resolved"] = std::move(resolved);
  return json;
}

}  // namespace wkt::tool
