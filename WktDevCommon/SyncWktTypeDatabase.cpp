#include "WktDevCommon/SyncWktTypeDatabase.h"

#include "WktCommon/WktTypePacket.h"
#include "WktDevCommon/FindObjectInfo.h"
#include "WktDevCommon/RecordCopy.h"

namespace {

using TypeField = wkt::CopiedField<CWktTypeLean, CWktTypePacket>;

template <auto getField, auto setField, auto getWire, auto setWire>
constexpr TypeField Field() {
  return wkt::Copied<CWktTypeLean, CWktTypePacket, getField, setField, getWire, setWire>();
}

void CommentToPacket(const CWktTypeLean& type, CWktTypePacket& packet) {
  packet.SetComment(type.GetComment(FALSE, FALSE).c_str());
}
void CommentToRecord(const CWktTypePacket& packet, CWktTypeLean& type) {
  type.SetComment(packet.GetComment());
}
void VersionToPacket(const CWktTypeLean& type, CWktTypePacket& packet) {
  packet.SetVersionNumber(static_cast<int>(type.GetVersionNumber()));
}
void VersionToRecord(const CWktTypePacket& packet, CWktTypeLean& type) {
  type.SetVersionNumber(static_cast<DWORD>(packet.GetVersionNumber()));
}

constexpr TypeField kTypeFields[] = {
    Field<&CWktTypeLean::GetTypeOfType, &CWktTypeLean::SetTypeOfType,
          &CWktTypePacket::GetTypeOfType, &CWktTypePacket::SetTypeOfType>(),
    Field<&CWktTypeLean::GetId, &CWktTypeLean::SetId, &CWktTypePacket::GetId,
          &CWktTypePacket::SetId>(),
    {VersionToPacket, VersionToRecord},
    wkt::CopiedModificationTime<CWktTypeLean, CWktTypePacket>(),
    Field<&CWktTypeLean::GetCreationTime, &CWktTypeLean::SetCreationTime,
          &CWktTypePacket::GetCreationTime, &CWktTypePacket::SetCreationTime>(),
    Field<&CWktTypeLean::GetUseCount, &CWktTypeLean::SetUseCount, &CWktTypePacket::GetUseCount,
          &CWktTypePacket::SetUseCount>(),
    Field<&CWktTypeLean::GetName1, &CWktTypeLean::SetName1, &CWktTypePacket::GetName1,
          &CWktTypePacket::SetName1>(),
    Field<&CWktTypeLean::GetName2, &CWktTypeLean::SetName2, &CWktTypePacket::GetName2,
          &CWktTypePacket::SetName2>(),
    {CommentToPacket, CommentToRecord},
    Field<&CWktTypeLean::GetFlags, &CWktTypeLean::SetFlags, &CWktTypePacket::GetFlags,
          &CWktTypePacket::SetFlags>(),
    Field<&CWktTypeLean::GetUnused1, &CWktTypeLean::SetUnused1, &CWktTypePacket::GetUnused1,
          &CWktTypePacket::SetUnused1>(),
    Field<&CWktTypeLean::GetUnused2, &CWktTypeLean::SetUnused2, &CWktTypePacket::GetUnused2,
          &CWktTypePacket::SetUnused2>(),
    Field<&CWktTypeLean::GetUnused3, &CWktTypeLean::SetUnused3, &CWktTypePacket::GetUnused3,
          &CWktTypePacket::SetUnused3>(),
    Field<&CWktTypeLean::GetUnused4, &CWktTypeLean::SetUnused4, &CWktTypePacket::GetUnused4,
          &CWktTypePacket::SetUnused4>(),
    Field<&CWktTypeLean::GetUnused5, &CWktTypeLean::SetUnused5, &CWktTypePacket::GetUnused5,
          &CWktTypePacket::SetUnused5>(),
};

}  // namespace

HRESULT CSyncWktTypeDatabase::ReadFindObjectInfo(FINDOBJINFO* pFindObjectInfo, DWORD pcNumber) {
  const wkt::LogScope log("CSyncWktTypeDatabase::ReadFindObjectInfo");
  return log.Result(wkt::ReadObjectInfo<wkt::TypeKind>(*this, *pFindObjectInfo, pcNumber, log));
}

int CSyncWktTypeDatabase::FillWktTypePacket(CWktTypePacket* packet, const CWktTypeLean* type) {
  const wkt::LogScope log("CSyncWktTypeDatabase::FillWktTypePacket");
  if (packet && type)
    wkt::RecordCopy<kTypeFields>::ToPacket(*type, *packet);
  return 0;
}

int CSyncWktTypeDatabase::FillWktTypeLean(CWktTypeLean* type, const CWktTypePacket* packet) {
  const wkt::LogScope log("CSyncWktTypeDatabase::FillWktTypeLean");
  if (type && packet)
    wkt::RecordCopy<kTypeFields>::ToRecord(*packet, *type);
  return 0;
}
