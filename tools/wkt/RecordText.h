// Records for people: names instead of identifiers, times of the zone.
#pragma once

#include <map>
#include <string>

#include "tools/wkt/Home.h"
#include "tools/wkt/Output.h"

namespace wkt::tool {

// The types of a home by identifier.
class TypeNames {
 public:
  explicit TypeNames(Home& home);
  // Display name; the identifier itself when it is unknown.
  std::string Name(const std::u16string& id) const;
  // A project with its parents: "House / Garden".
  std::string Path(const std::u16string& id) const;
  // "Ann; Bert" from identifiers joined the same way.
  std::string Persons(const std::u16string& ids) const;
  // The identifier that a name or identifier of one of these kinds names. Throws Failure.
  std::u16string Find(const std::string& nameOrId, std::initializer_list<int> kinds) const;
  const Record* Get(const std::u16string& id) const;

 private:
  std::map<std::u16string, Record> types_;
};

// A record as lists and exports show it: all fields by name, and below "resolved" names and local
// times.
Json DescribeRecord(const HomeRecord& record, const TypeNames& names, const Zone& zone);

constexpr const char* kKindNames[] = {"", "work type", "project", "person", "teamwork", "list"};
constexpr int kWorkTypeKind = 1;
constexpr int kProjectKind = 2;
constexpr int kPersonKind = 3;
constexpr int kTeamworkKind = 4;

}  // namespace wkt::tool
