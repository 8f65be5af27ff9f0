#include "WktDevCommon/RecordKind.h"

namespace wkt {
namespace {

void LogJob(const LogScope& log, DWORD level, const WCHAR* format, const CJobLean* job) {
  if (!IsLogging())
    return;
  if (!job)
    return log.Write(level, format, u"NULL", u"NULL");
  log.Write(level, format, job->GetJobId().c_str(), job->GetTitle().c_str());
}

void LogType(const LogScope& log, DWORD level, const WCHAR* format, const CWktTypeLean* type) {
  if (!IsLogging())
    return;
  if (!type)
    return log.Write(level, format, u"NULL", u"NULL");
  log.Write(level, format, type->GetId().c_str(), type->GetDisplayName().c_str());
}

}  // namespace

void JobKind::LogStoredRecord(const LogScope& log, const CJobLean* job) {
  LogJob(log, kLogDetail, kRecordLine, job);
}

void JobKind::LogRecord(const LogScope& log, const CJobLean& job, const WCHAR* format) {
  LogJob(log, kLogProgress, format, &job);
}

void TypeKind::LogStoredRecord(const LogScope& log, const CWktTypeLean* type) {
  LogType(log, kLogDetail, u"Wkt type id = '%s'; Name = '%s'", type);
}

void TypeKind::LogRecord(const LogScope& log, const CWktTypeLean& type, const WCHAR* format) {
  LogType(log, kLogProgress, format, &type);
}

}  // namespace wkt
