#include "tests/sync/Application.h"

#include <cstdlib>

#include "tests/support/Text.h"

namespace wkt::test {
namespace {

constexpr CEOID kNoSuchRecord = 999999;

struct Field {
  const char* key;
  CEPROPID identifier;
  const char* shownAs;  // nullptr: not shown
};
constexpr Field kJobFields[] = {
    {"id", 0x4000001F, "id"},
    {"title", 0x4003001F, "title"},
    {"comment", 0x4004001F, nullptr},
    {"worktype", 0x4013001F, "worktype"},
    {"worknumber", 0x40050003, nullptr},
    {"flags", 0x400B001F, "flags"},
    {"modified", 0x40020040, "modified"},
    {"persons", 0x400A001F, nullptr},
};
constexpr Field kTypeFields[] = {
    {"kind", 0x40200003, "kind"},     {"id", 0x4021001F, "id"},
    {"name1", 0x4026001F, "name1"},   {"name2", 0x4027001F, nullptr},
    {"comment", 0x4028001F, nullptr}, {"flags", 0x4029001F, "flags"},
    {"unused1", 0x402A001F, nullptr}, {"modified", 0x40230040, "modified"},
};

bool IsTypes(const std::string& database) {
  return database == "types";
}

const char16_t* DatabaseName(const std::string& database) {
  if (IsTypes(database))
    return u"WktDevTypes";
  return database == "favorite" ? u"WktDevFavJobs" : u"WktDevJobs";
}

std::vector<Field> Fields(const std::string& database) {
  if (IsTypes(database))
    return {std::begin(kTypeFields), std::end(kTypeFields)};
  return {std::begin(kJobFields), std::end(kJobFields)};
}

// Types of identifiers are those of the properties' low words.
void SetField(RawRecord& record, CEPROPID identifier, const std::string& value) {
  switch (identifier & 0xFFFF) {
    case CEVT_LPWSTR:
      record.Set(identifier, Wide(value));
      break;
    case CEVT_FILETIME:
      record.Set(identifier, static_cast<uint64_t>(std::strtoull(value.c_str(), nullptr, 10)));
      break;
    default:
      record.Set(identifier, static_cast<int32_t>(std::atoi(value.c_str())));
  }
}

bool SetFields(RawRecord& record, const std::string& database, const Command& command) {
  for (const auto& [key, value] : command.pairs) {
    bool found = false;
    for (const Field& field : Fields(database)) {
      if (key != field.key)
        continue;
      SetField(record, field.identifier, value);
      found = true;
    }
    if (!found)
      return false;
  }
  return true;
}

std::string ShowField(const RawRecord& record, CEPROPID identifier) {
  if (!record.Has(identifier))
    return "missing";
  switch (identifier & 0xFFFF) {
    case CEVT_LPWSTR:
      return "'" + Narrow(record.Text(identifier)) + "'";
    case CEVT_FILETIME:
      return std::to_string(record.Time(identifier));
    default:
      return std::to_string(record.Number(identifier));
  }
}

// Positions of the partners' characters; "changed during sync" follows them.
size_t PartnerPosition(const std::string& database) {
  return IsTypes(database) ? 0 : 4;
}
CEPROPID FlagsOf(const std::string& database) {
  return IsTypes(database) ? 0x4029001F : 0x400B001F;
}

}  // namespace

std::vector<std::string> Application::Add(const Command& command) {
  const std::string database = command.Word(1);
  const std::string name = command.Word(2);
  RawRecord record = IsTypes(database) ? RawType(Wide(name), 4) : RawJob(Wide(name));
  if (!SetFields(record, database, command))
    return {"= no such field"};
  RawDatabase open(DatabaseName(database));
  Name(name, database, open.Add(record));
  return {};
}

std::vector<std::string> Application::Edit(const Command& command) {
  const auto found = known.find(command.Word(1));
  if (found == known.end())
    return {"= no such record"};
  const auto& [database, oid] = found->second;
  RawDatabase open(DatabaseName(database));
  std::optional<RawRecord> record = open.Read(oid);
  if (!record || !SetFields(*record, database, command))
    return {"= cannot be edited"};
  std::u16string flags = record->Text(FlagsOf(database));
  const size_t partners = PartnerPosition(database);
  flags[partners] = flags[partners + 1] = u'0';
  if (command.Word(2) == "during-sync")
    flags[partners + 2] = u'1';
  record->Set(FlagsOf(database), flags);
  open.Write(oid, *record);
  return {};
}

std::vector<std::string> Application::Remove(const std::string& name) {
  const auto found = known.find(name);
  if (found == known.end())
    return {"= no such record"};
  RawDatabase open(DatabaseName(found->second.database));
  if (!open.Delete(found->second.oid))
    return {"= cannot be removed"};
  return {};
}

std::vector<std::string> Application::Show(const std::string& database) {
  std::vector<std::string> lines;
  RawDatabase open(DatabaseName(database));
  for (const CEOID oid : open.List()) {
    const std::optional<RawRecord> record = open.Read(oid);
    if (!record)
      continue;
    std::string line = "= " + NameOf(oid) + ":";
    for (const Field& field : Fields(database)) {
      if (!field.shownAs)
        continue;
      line += std::string(" ") + field.shownAs + "=" + ShowField(*record, field.identifier);
    }
    lines.push_back(line);
  }
  if (lines.empty())
    lines.push_back("= empty");
  return lines;
}

void Application::Name(const std::string& name, const std::string& database, CEOID oid) {
  known[name] = {database, oid};
}

CEOID Application::Find(const std::string& name) const {
  const auto found = known.find(name);
  return found == known.end() ? kNoSuchRecord : found->second.oid;
}

std::string Application::NameOf(CEOID oid) const {
  for (const auto& [name, record] : known) {
    if (record.oid == oid)
      return name;
  }
  return "#" + std::to_string(oid);
}

CEOID Application::DatabaseOid(const std::string& database) {
  return RawDatabase(DatabaseName(database)).GetOid();
}

}  // namespace wkt::test
