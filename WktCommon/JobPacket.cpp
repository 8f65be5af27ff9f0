#include "WktCommon/JobPacket.h"

#include <algorithm>
#include <cstring>

#include "WktCommon/JobPacketLayout.h"
#include "WktCommon/Log.h"
#include "WktCommon/PacketWalk.h"
#include "WktCommon/Times.h"

namespace {

using Walk = wkt::PacketWalk<wkt::JobPacketLayout::kFields>;

// The blank is part of it; a record's own version replaces it when the packet is filled.
constexpr WCHAR kDefaultVersion[wkt::kVersionUnits] = u"22 ";
constexpr WCHAR kDefaultFlags[wkt::kNumberUnits] = u"0000000000000000000";
constexpr WCHAR kDailyJob[wkt::kJobTypeUnits] = u"act";
constexpr WCHAR kFavoriteJob[wkt::kJobTypeUnits] = u"fac";

void LogLocalDay(const FILETIME& time) {
  if (!wkt::IsLogging())
    return;
  WideString date;
  WideString clock;
  FormatDateText(date, time, TRUE, 0);
  FormatTimeText(clock, time, TRUE, FALSE, wkt::kHoursMinutes);
  wkt::PassToLog(wkt::kLogDetail, u"Local day = %s %s", date.c_str(), clock.c_str());
}

}  // namespace

int32_t CJobPacket::instanceCount = 0;

CJobPacket::CJobPacket(int type) : activityType(type) {
  wkt::LogScope log("CJobPacket::CJobPacket");
  log.Write(wkt::kLogInput, u"Activity Type = %d", type);
  log.Write(wkt::kLogDetail, u"Instance = %d", ++instanceCount);
  std::copy_n(wkt::kPacketMagic, wkt::kMagicUnits, magic);
  // Any other type leaves the text unset.
  if (type == 1) {
    std::copy_n(kDailyJob, wkt::kJobTypeUnits, typeText);
  } else if (type == 2) {
    std::copy_n(kFavoriteJob, wkt::kJobTypeUnits, typeText);
  }
  std::copy_n(kDefaultVersion, wkt::kVersionUnits, versionNumber);
  std::copy_n(kDefaultFlags, wkt::kNumberUnits, flags);
  SetUnused2(-1);
  // One reading, milliseconds kept, for all four: they must be the same instant.
  GetSystemTime(&creationTime);
  unwritten = kAllTimes;
  if (wkt::IsLogging())
    LogLocalDay(GetLocalDayAsFileTime());
  valid = 1;
}

CJobPacket::CJobPacket(const BYTE* bytes, DWORD byteCount) {
  wkt::LogScope log("CJobPacket::CJobPacket");
  log.Write(wkt::kLogInput, u"Bytes = %ld; Byte Count = %d", wkt::LogValue(bytes), byteCount);
  log.Write(wkt::kLogDetail, u"Instance = %d", ++instanceCount);
  std::memcpy(magic, bytes, sizeof(magic));
  if (!wkt::IsPacketMagic(magic)) {
    const wkt::TerminatedCopy got(magic);
    log.Write(wkt::kLogFailure, u"Invalid packet header; Got = '%s'; Expected = 'Worktally'",
              got.Text());
    return;
  }
  std::memcpy(typeText, bytes + sizeof(magic), sizeof(typeText));
  const size_t referenceUnits = wkt::ReferenceUnitsOf(typeText);
  if (referenceUnits == 0) {
    const wkt::TerminatedCopy got(typeText);
    log.Write(wkt::kLogFailure, u"Invalid packet type; Got = '%s'; Expected = 'act' or 'fac'",
              got.Text());
    return;
  }
  valid = Init(bytes + sizeof(magic) + sizeof(typeText), static_cast<DWORD>(referenceUnits)) != 0;
}

CJobPacket::~CJobPacket() {
  wkt::LogScope log("CJobPacket::~CJobPacket");
  log.Write(wkt::kLogDetail, u"Instance = %d", instanceCount--);
}

void CJobPacket::WriteDefaultTimes() const {
  if (!unwritten)
    return;
  FILETIME now = {};
  SystemTimeToFileTime(&creationTime, &now);
  wkt::TimeText text;
  wkt::WriteTime(text, now);
  if (unwritten & kModificationTime)
    modificationTime = text;
  if (unwritten & kStartTime)
    startTime = text;
  if (unwritten & kEndTime)
    endTime = text;
  if (unwritten & kLocalDay)
    localDay = text;
  unwritten = 0;
}

BOOL CJobPacket::Init(const BYTE* body, DWORD idSize) {
  wkt::LogScope log("CJobPacket::Init");
  log.Write(wkt::kLogInput, u"Bytes = %ld; Id size = %d", wkt::LogValue(body), idSize);
  Walk::Decode<wkt::JobPacketLayout::kBodyRow>(this, body,
                                               std::min<size_t>(idSize, wkt::kReferenceUnits));
  wkt::LogFields(wkt::JobPacketLayout::kFields, this, wkt::LineTexts::Decoder);
  return TRUE;
}

BYTE* CJobPacket::ToBytes(DWORD* byteCount) const {
  wkt::LogScope log("CJobPacket::ToBytes");
  WriteDefaultTimes();
  BYTE* const bytes = Walk::Encode(this, byteCount);
  wkt::LogFields(wkt::JobPacketLayout::kFields, this, wkt::LineTexts::Encoder);
  log.Write(wkt::kLogResult, u"Byte Count = %d; Bytes = %ld", *byteCount, wkt::LogValue(bytes));
  return bytes;
}

void CJobPacket::SetFlags(const WCHAR* text) {
  if (text)
    wkt::WriteText(flags, text);
}

void CJobPacket::SetLocalDayAsFileTime(FILETIME time) {
  LogLocalDay(time);
  WriteTime(localDay, kLocalDay, time);
}
