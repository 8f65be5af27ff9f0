#include "WktDevCommon/SyncJobDatabase.h"

#include "WktCommon/JobPacket.h"
#include "WktDevCommon/FindObjectInfo.h"
#include "WktDevCommon/RecordCopy.h"

namespace {

using JobField = wkt::CopiedField<CJobLean, CJobPacket>;

template <auto getField, auto setField, auto getWire, auto setWire>
constexpr JobField Field() {
  return wkt::Copied<CJobLean, CJobPacket, getField, setField, getWire, setWire>();
}

constexpr JobField kJobFields[] = {
    Field<&CJobLean::GetJobId, &CJobLean::SetJobId, &CJobPacket::GetJobId, &CJobPacket::SetJobId>(),
    Field<&CJobLean::GetVersionNumber, &CJobLean::SetVersionNumber, &CJobPacket::GetVersionNumber,
          &CJobPacket::SetVersionNumber>(),
    wkt::CopiedModificationTime<CJobLean, CJobPacket>(),
    Field<&CJobLean::GetTitle, &CJobLean::SetTitle, &CJobPacket::GetTitle, &CJobPacket::SetTitle>(),
    Field<&CJobLean::GetComment, &CJobLean::SetComment, &CJobPacket::GetComment,
          &CJobPacket::SetComment>(),
    Field<&CJobLean::GetWorkTypeId, &CJobLean::SetWorkTypeId, &CJobPacket::GetWorkTypeId,
          &CJobPacket::SetWorkTypeId>(),
    Field<&CJobLean::GetProjectId, &CJobLean::SetProjectId, &CJobPacket::GetProjectId,
          &CJobPacket::SetProjectId>(),
    Field<&CJobLean::GetTeamworkId, &CJobLean::SetTeamworkId, &CJobPacket::GetTeamworkId,
          &CJobPacket::SetTeamworkId>(),
    Field<&CJobLean::GetStartTime, &CJobLean::SetStartTime, &CJobPacket::GetStartTime,
          &CJobPacket::SetStartTime>(),
    Field<&CJobLean::GetEndTime, &CJobLean::SetEndTime, &CJobPacket::GetEndTime,
          &CJobPacket::SetEndTime>(),
    Field<&CJobLean::GetPersonIds, &CJobLean::SetPersonIds, &CJobPacket::GetPersonIds,
          &CJobPacket::SetPersonIds>(),
    Field<&CJobLean::GetFlags, &CJobLean::SetFlags, &CJobPacket::GetFlags, &CJobPacket::SetFlags>(),
    Field<&CJobLean::GetUnused2, &CJobLean::SetUnused2, &CJobPacket::GetUnused2,
          &CJobPacket::SetUnused2>(),
    Field<&CJobLean::GetUnused3, &CJobLean::SetUnused3, &CJobPacket::GetUnused3,
          &CJobPacket::SetUnused3>(),
    Field<&CJobLean::GetLocalDayAsFileTime, &CJobLean::SetLocalDayAsFileTime,
          &CJobPacket::GetLocalDayAsFileTime, &CJobPacket::SetLocalDayAsFileTime>(),
};

}  // namespace

HRESULT CSyncJobDatabase::ReadFindObjectInfo(FINDOBJINFO* pFindObjectInfo, DWORD pcNumber) {
  const wkt::LogScope log("CSyncJobDatabase::ReadFindObjectInfo");
  return log.Result(wkt::ReadObjectInfo<wkt::JobKind>(*this, *pFindObjectInfo, pcNumber, log));
}

int CSyncJobDatabase::FillJobPacket(CJobPacket* packet, const CJobLean* job) {
  const wkt::LogScope log("CSyncJobDatabase::FillJobPacket");
  if (packet && job)
    wkt::RecordCopy<kJobFields>::ToPacket(*job, *packet);
  return 0;
}

int CSyncJobDatabase::FillJobLean(CJobLean* job, const CJobPacket* packet) {
  const wkt::LogScope log("CSyncJobDatabase::FillJobLean");
  if (job && packet)
    wkt::RecordCopy<kJobFields>::ToRecord(*packet, *job);
  return 0;
}
