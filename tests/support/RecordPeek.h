#pragma once

#include <string>

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
  static void SetMark(CWktTypeLean& type, bool on) { type.mark = on; }
};

}  // namespace wkt
