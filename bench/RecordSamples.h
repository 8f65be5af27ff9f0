// The plain records as the provider's own.
#pragma once

#include "WktCommon/JobLean.h"
#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypeKinds.h"
#include "WktCommon/WktTypePacket.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"
#include "bench/PlainRecords.h"

namespace wkt::bench {

inline FILETIME ToTime(uint64_t ticks) {
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

inline void FillJob(CJobLean& job, const PlainRecord& plain) {
  job.SetJobId(plain.id.c_str());
  job.SetTitle(plain.title.c_str());
  job.SetComment(plain.comment.c_str());
  job.SetWorkTypeId(plain.workType.c_str());
  job.SetProjectId(plain.project.c_str());
  job.SetTeamworkId(plain.teamwork.c_str());
  job.SetPersonIds((plain.persons[0] + u"; " + plain.persons[1]).c_str());
  job.SetFlags(plain.flags.c_str());
  job.SetUnused3(plain.unused3.c_str());
  job.SetStartTime(ToTime(plain.start));
  job.SetEndTime(ToTime(plain.end));
  job.SetLocalDayAsFileTime(ToTime(plain.day));
  job.SetModificationTime(ToTime(plain.modified), FALSE);
}

inline TypePtr MakeType(const PlainType& plain) {
  TypePtr type(wkt::MakeType(plain.kind, FALSE));
  type->SetId(plain.id.c_str());
  type->SetName1(plain.name1.c_str());
  type->SetName2(plain.name2.c_str());
  type->SetComment(plain.comment.c_str());
  type->SetFlags(plain.flags.c_str());
  type->SetUnused1(plain.unused1.c_str());
  type->SetUnused2(plain.unused2.c_str());
  type->SetUseCount(plain.useCount);
  type->SetCreationTime(ToTime(plain.created));
  type->SetModificationTime(ToTime(plain.modified), FALSE);
  return type;
}

}  // namespace wkt::bench
