#pragma once

#include "WktCommon/Log.h"
#include "WktCommon/Times.h"
#include "WktDevCommon/DatabaseLock.h"
#include "WktDevCommon/RecordKind.h"

// Finding, adding, replacing and deleting a record, written once over the description of a kind of
// record (`JobKind`, `TypeKind`).
namespace wkt {

// The identifier found, with a new record that the caller owns, or 0.
template <class Kind>
CEOID FindRecord(typename Kind::Database& database, CEOID oid, typename Kind::Record** found,
                 BOOL lock) {
  const DatabaseLock held(database, lock);
  if (oid == 0 || database.SeekRecord(oid) == 0)
    return 0;
  RecordBuffer buffer;
  // Another identifier: the record was deleted since the seek and this is its successor.
  if (database.ReadRecord(buffer) != oid)
    return 0;
  typename Kind::Record* const record = Kind::Create(database, buffer.Values(), TRUE);
  if (!record)
    return 0;
  Kind::Load(record, buffer.Values());
  *found = record;
  return oid;
}

// "Write failed" with the platform's code, where a failed write has such a line.
inline CEOID LogFailedWrite(const LogScope& log, const CDatabaseAid& database, CEOID written) {
  if (written == 0) {
    log.Write(kLogInconsistency, u"Write failed; Error = %d", database.GetLastErrorCode());
  }
  return written;
}

template <class Kind>
CEOID AddRecord(typename Kind::Database& database, typename Kind::Record* record, BOOL lock,
                const LogScope& log) {
  const DatabaseLock held(database, lock);
  Kind::LogStoredRecord(log, record);
  if (!record)
    return log.ResultCeoid(0);
  CEPROPVAL values[Kind::kPropertyCount] = {};
  SetIdentifiers<typename Kind::Record>(Kind::Properties(), values);
  database.FillPropValArray(values, record, -1);
  return log.ResultCeoid(
      LogFailedWrite(log, database, database.WriteRecord(0, Kind::kPropertyCount, values)));
}

template <class Kind>
bool ReplaceRecord(typename Kind::Database& database, CEOID oid, typename Kind::Record* record,
                   const LogScope& log) {
  if (oid == 0 || !record)
    return false;
  WORD count = 0;
  const auto values = database.AllocPropertyArray(&count);
  if (!values)
    return false;
  database.FillPropValArray(values.get(), record, -1);
  if (IsLogging()) {
    WideString date;
    WideString time;
    FormatDateText(date, record->GetModificationTime(), FALSE, 0);
    FormatTimeText(time, record->GetModificationTime(), FALSE, TRUE, kHoursMinutesSeconds);
    date.Append(u" ").Append(time);
    log.Write(kLogDetail, u"Modification time = %s", date.c_str());
  }
  return LogFailedWrite(log, database, database.WriteRecord(oid, count, values.get())) != 0;
}

template <class Kind>
BOOL ModifyRecord(typename Kind::Database& database, CEOID oid, typename Kind::Record* record,
                  BOOL lock, const LogScope& log) {
  const DatabaseLock held(database, lock);
  Kind::LogStoredRecord(log, record);
  return log.ResultBool(ReplaceRecord<Kind>(database, oid, record, log) ? TRUE : FALSE);
}

// Needs no kind: jobs and types are deleted alike.
template <class Database>
BOOL DeleteRecord(Database& database, CEOID oid, BOOL lock) {
  const DatabaseLock held(database, lock);
  return database.DeleteRecord(oid);
}

}  // namespace wkt
