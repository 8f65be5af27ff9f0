#pragma once

#include <string>
#include <vector>

#include "WktCommon/JobLean.h"
#include "WktCommon/WktTypeLean.h"

namespace wkt {

// What records keep without a getter.
struct RecordPeek {
  static bool IsModified(const CJobLean& job) { return job.modified != FALSE; }
  static std::u16string Unused3Head(const CJobLean& job) { return job.Unused3Head().c_str(); }
  static std::u16string Unused3Tail(const CJobLean& job) { return job.Unused3Tail().c_str(); }
  static int PersonCount(const CJobLean& job) { return job.PersonList().GetCount(); }
  static bool GetMark(const CWktTypeLean& type) { return type.mark; }
  static FILETIME SavedTime(const CWktTypeLean& type) { return type.savedModificationTime; }
  static void SetMark(CWktTypeLean& type, bool on) { type.mark = on; }

  // Where the fields lie, in the order in which they have to.
  static std::vector<const void*> Fields(const CJobLean& job) {
    return {&job,
            &job.jobId,
            &job.versionNumber,
            &job.modificationTime,
            &job.title,
            &job.comment,
            &job.workTypeId,
            &job.projectId,
            &job.teamworkId,
            &job.startTime,
            &job.endTime,
            &job.personIds,
            &job.personIdsText,
            &job.flags,
            &job.userFlags[0],
            &job.userFlags[1],
            &job.partnerFlags[0],
            &job.partnerFlags[1],
            &job.changedDuringSync,
            &job.flag3,
            &job.unused2,
            &job.unused3,
            &job.unused3HeadAndTail,
            &job.localDay,
            &job.modified,
            &job.observer};
  }
  static std::vector<const void*> Fields(const CWktTypeLean& type) {
    return {&type,
            &type.typeOfType,
            &type.id,
            &type.versionNumber,
            &type.modificationTime,
            &type.creationTime,
            &type.useCount,
            &type.name1,
            &type.name2,
            &type.comment,
            &type.flags,
            &type.unused1,
            &type.unused2,
            &type.unused3,
            &type.unused4,
            &type.unused5,
            &type.changed,
            &type.mark,
            &type.observers,
            &type.reserved,
            &type.notifyEnabled,
            &type.savedModificationTime};
  }
};

}  // namespace wkt
