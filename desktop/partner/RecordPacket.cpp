#include "desktop/partner/RecordPacket.h"

#include <memory>

#include "WktCommon/JobPacket.h"
#include "WktCommon/PacketCheck.h"
#include "WktCommon/WktTypePacket.h"
#include "desktop/partner/Failure.h"

namespace wkt {

namespace {

uint64_t ToTicks(FILETIME time) {
  return static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

FILETIME ToFileTime(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// One row a field: how the packet gives it out and takes it.
template <typename Packet>
struct PacketField {
  Field field;
  const WCHAR* (Packet::*getText)() const = nullptr;
  void (Packet::*setText)(const WCHAR*) = nullptr;
  int (Packet::*getNumber)() const = nullptr;
  void (Packet::*setNumber)(int) = nullptr;
  FILETIME (Packet::*getTime)() const = nullptr;
  void (Packet::*setTime)(FILETIME) = nullptr;
};

template <typename Packet>
constexpr PacketField<Packet> Row(Field field, const WCHAR* (Packet::*get)() const,
                                  void (Packet::*set)(const WCHAR*)) {
  PacketField<Packet> row{field};
  row.getText = get;
  row.setText = set;
  return row;
}
template <typename Packet>
constexpr PacketField<Packet> Row(Field field, int (Packet::*get)() const,
                                  void (Packet::*set)(int)) {
  PacketField<Packet> row{field};
  row.getNumber = get;
  row.setNumber = set;
  return row;
}
template <typename Packet>
constexpr PacketField<Packet> Row(Field field, FILETIME (Packet::*get)() const,
                                  void (Packet::*set)(FILETIME)) {
  PacketField<Packet> row{field};
  row.getTime = get;
  row.setTime = set;
  return row;
}

constexpr PacketField<CJobPacket> kJobRows[] = {
    Row(Field::Id, &CJobPacket::GetJobId, &CJobPacket::SetJobId),
    Row(Field::Version, &CJobPacket::GetVersionNumber, &CJobPacket::SetVersionNumber),
    Row(Field::Modified, &CJobPacket::GetModificationTime, &CJobPacket::SetModificationTime),
    Row(Field::Title, &CJobPacket::GetTitle, &CJobPacket::SetTitle),
    Row(Field::Comment, &CJobPacket::GetComment, &CJobPacket::SetComment),
    Row(Field::WorkType, &CJobPacket::GetWorkTypeId, &CJobPacket::SetWorkTypeId),
    Row(Field::Project, &CJobPacket::GetProjectId, &CJobPacket::SetProjectId),
    Row(Field::Teamwork, &CJobPacket::GetTeamworkId, &CJobPacket::SetTeamworkId),
    Row(Field::Start, &CJobPacket::GetStartTime, &CJobPacket::SetStartTime),
    Row(Field::End, &CJobPacket::GetEndTime, &CJobPacket::SetEndTime),
    Row(Field::Persons, &CJobPacket::GetPersonIds, &CJobPacket::SetPersonIds),
    Row(Field::Flags, &CJobPacket::GetFlags, &CJobPacket::SetFlags),
    Row(Field::JobUnused2, &CJobPacket::GetUnused2, &CJobPacket::SetUnused2),
    Row(Field::JobUnused3, &CJobPacket::GetUnused3, &CJobPacket::SetUnused3),
    Row(Field::Day, &CJobPacket::GetLocalDayAsFileTime, &CJobPacket::SetLocalDayAsFileTime),
};

constexpr PacketField<CWktTypePacket> kTypeRows[] = {
    Row(Field::Kind, &CWktTypePacket::GetTypeOfType, &CWktTypePacket::SetTypeOfType),
    Row(Field::Id, &CWktTypePacket::GetId, &CWktTypePacket::SetId),
    Row(Field::Version, &CWktTypePacket::GetVersionNumber, &CWktTypePacket::SetVersionNumber),
    Row(Field::Modified, &CWktTypePacket::GetModificationTime,
        &CWktTypePacket::SetModificationTime),
    Row(Field::Created, &CWktTypePacket::GetCreationTime, &CWktTypePacket::SetCreationTime),
    Row(Field::UseCount, &CWktTypePacket::GetUseCount, &CWktTypePacket::SetUseCount),
    Row(Field::Name1, &CWktTypePacket::GetName1, &CWktTypePacket::SetName1),
    Row(Field::Name2, &CWktTypePacket::GetName2, &CWktTypePacket::SetName2),
    Row(Field::Comment, &CWktTypePacket::GetComment, &CWktTypePacket::SetComment),
    Row(Field::Flags, &CWktTypePacket::GetFlags, &CWktTypePacket::SetFlags),
    Row(Field::Unused1, &CWktTypePacket::GetUnused1, &CWktTypePacket::SetUnused1),
    Row(Field::Unused2, &CWktTypePacket::GetUnused2, &CWktTypePacket::SetUnused2),
    Row(Field::Unused3, &CWktTypePacket::GetUnused3, &CWktTypePacket::SetUnused3),
    Row(Field::Unused4, &CWktTypePacket::GetUnused4, &CWktTypePacket::SetUnused4),
    Row(Field::Unused5, &CWktTypePacket::GetUnused5, &CWktTypePacket::SetUnused5),
};

template <typename Packet, size_t N>
void ReadFields(const Packet& packet, const PacketField<Packet> (&rows)[N], Record* record) {
  for (const PacketField<Packet>& row : rows) {
    if (row.getText) {
      record->SetText(row.field, (packet.*row.getText)());
    } else if (row.getNumber) {
      record->SetNumber(row.field, (packet.*row.getNumber)());
    } else {
      record->SetTicks(row.field, ToTicks((packet.*row.getTime)()));
    }
  }
}

template <typename Packet, size_t N>
Bytes WriteFields(const Record& record, const PacketField<Packet> (&rows)[N], Packet* packet) {
  for (const PacketField<Packet>& row : rows) {
    if (row.setText) {
      (packet->*row.setText)(record.Text(row.field).c_str());
    } else if (row.setNumber) {
      (packet->*row.setNumber)(record.Number(row.field));
    } else {
      (packet->*row.setTime)(ToFileTime(record.Ticks(row.field)));
    }
  }
  DWORD byteCount = 0;
  const std::unique_ptr<BYTE[]> bytes(packet->ToBytes(&byteCount));
  if (!bytes) {
    throw Failure("out of memory");
  }
  return Bytes(bytes.get(), bytes.get() + byteCount);
}

}  // namespace

std::optional<Record> DecodePacket(FolderId folder, std::span<const uint8_t> bytes) {
  const auto byteCount = static_cast<DWORD>(bytes.size());
  Record record(folder);
  if (folder == FolderId::Types) {
    if (!CheckTypePacket(bytes.data(), byteCount)) {
      return std::nullopt;
    }
    const CWktTypePacket packet(bytes.data(), byteCount);
    if (!packet.IsValid()) {
      return std::nullopt;
    }
    ReadFields(packet, kTypeRows, &record);
    return record;
  }
  if (!CheckJobPacket(bytes.data(), byteCount)) {
    return std::nullopt;
  }
  const CJobPacket packet(bytes.data(), byteCount);
  if (!packet.IsValid()) {
    return std::nullopt;
  }
  ReadFields(packet, kJobRows, &record);
  return record;
}

Bytes EncodePacket(const Record& record) {
  if (record.IsType()) {
    CWktTypePacket packet;
    return WriteFields(record, kTypeRows, &packet);
  }
  CJobPacket packet(record.Folder() == FolderId::Favorites ? 2 : 1);
  return WriteFields(record, kJobRows, &packet);
}

std::string CheckRecord(const Record& record) {
  for (const FieldDescription& field : FieldsOf(record.Folder())) {
    const std::u16string& text = record.Text(field.field);
    const size_t limit = field.kind == FieldKind::Reference ? kReferenceLimit
                         : field.kind == FieldKind::Flags   ? kFlagCount
                                                            : SIZE_MAX;
    if (text.size() > limit) {
      return std::string(field.name) + " has " + std::to_string(text.size()) +
             " characters, at most " + std::to_string(limit) + " are possible";
    }
    if (text.find(u'\0') != std::u16string::npos) {
      return std::string(field.name) + " holds a zero character";
    }
    const int32_t number = record.Number(field.field);
    if (field.kind == FieldKind::Version && (number < -99 || number > 999)) {
      return std::string(field.name) + " is " + std::to_string(number) + ", expected -99 to 999";
    }
    if (field.field == Field::Kind && (number < 1 || number > 5)) {
      return std::string(field.name) + " is " + std::to_string(number) + ", expected 1 to 5";
    }
  }
  return "";
}

}  // namespace wkt
