#pragma once

#include "WktCommon/OwnedText.h"
#include "WktCommon/PacketText.h"
#include "platform/Time.h"
#include "platform/Types.h"

namespace wkt {
struct JobPacketLayout;
}

// One job in the form in which it travels. The fields stay in their wire form, so that encoding is
// a run of copies; getters and setters convert. Made for one transfer and destroyed after it.
//
// Decoding trusts its input: bytes from outside go through `wkt::CheckJobPacket` first.
class CJobPacket {
 public:
  // 1 = daily job, 2 = favourite job.
  explicit CJobPacket(int activityType);
  // Look at `IsValid` before anything else is read.
  CJobPacket(const BYTE* bytes, DWORD byteCount);
  ~CJobPacket();
  CJobPacket(const CJobPacket&) = delete;
  CJobPacket& operator=(const CJobPacket&) = delete;

  // Decodes what follows the type text; `idSize` is the width of the three identifier fields in
  // units. Always TRUE.
  BOOL Init(const BYTE* body, DWORD idSize);
  // The caller owns the bytes and returns them with `delete[]`. Without memory null and a count of
  // 0.
  [[nodiscard]] BYTE* ToBytes(DWORD* byteCount) const;
  [[nodiscard]] BOOL IsValid() const { return valid; }

  // Texts are pointers into the packet, good until the field is set again. A text that does not fit
  // a fixed field is cut at its width; null empties a text and leaves the flags alone.
  [[nodiscard]] const WCHAR* GetJobId() const { return jobId.Get(); }
  void SetJobId(const WCHAR* text) { jobId.Set(text); }
  // Three characters of the number are kept.
  [[nodiscard]] int GetVersionNumber() const { return wkt::ReadNumber(versionNumber); }
  void SetVersionNumber(int number) { wkt::WriteNumber(versionNumber, number); }
  [[nodiscard]] FILETIME GetModificationTime() const { return ReadTime(modificationTime); }
  void SetModificationTime(FILETIME time) { WriteTime(modificationTime, kModificationTime, time); }
  [[nodiscard]] const WCHAR* GetTitle() const { return title.Get(); }
  void SetTitle(const WCHAR* text) { title.Set(text); }
  [[nodiscard]] const WCHAR* GetComment() const { return comment.Get(); }
  void SetComment(const WCHAR* text) { comment.Set(text); }
  [[nodiscard]] const WCHAR* GetWorkTypeId() const { return workTypeId; }
  void SetWorkTypeId(const WCHAR* text) { wkt::WriteText(workTypeId, text); }
  [[nodiscard]] const WCHAR* GetProjectId() const { return projectId; }
  void SetProjectId(const WCHAR* text) { wkt::WriteText(projectId, text); }
  [[nodiscard]] const WCHAR* GetTeamworkId() const { return teamworkId; }
  void SetTeamworkId(const WCHAR* text) { wkt::WriteText(teamworkId, text); }
  [[nodiscard]] FILETIME GetStartTime() const { return ReadTime(startTime); }
  void SetStartTime(FILETIME time) { WriteTime(startTime, kStartTime, time); }
  [[nodiscard]] FILETIME GetEndTime() const { return ReadTime(endTime); }
  void SetEndTime(FILETIME time) { WriteTime(endTime, kEndTime, time); }
  [[nodiscard]] const WCHAR* GetPersonIds() const { return personIds.Get(); }
  void SetPersonIds(const WCHAR* text) { personIds.Set(text); }
  [[nodiscard]] const WCHAR* GetFlags() const { return flags; }
  void SetFlags(const WCHAR* text);
  [[nodiscard]] int GetUnused2() const { return wkt::ReadNumber(unused2); }
  void SetUnused2(int number) { wkt::WriteNumber(unused2, number); }
  [[nodiscard]] const WCHAR* GetUnused3() const { return unused3.Get(); }
  void SetUnused3(const WCHAR* text) { unused3.Set(text); }
  [[nodiscard]] FILETIME GetLocalDayAsFileTime() const { return ReadTime(localDay); }
  void SetLocalDayAsFileTime(FILETIME time);

 private:
  friend struct wkt::JobPacketLayout;

  // Times that may still be those of the packet's making, not written yet: a packet that is filled
  // from a record gets others before anybody looks.
  enum : BYTE {
    kModificationTime = 1,
    kStartTime = 2,
    kEndTime = 4,
    kLocalDay = 8,
    kAllTimes = kModificationTime | kStartTime | kEndTime | kLocalDay,
  };
  [[nodiscard]] FILETIME ReadTime(const wkt::TimeText& field) const {
    WriteDefaultTimes();
    return wkt::ReadTime(field);
  }
  void WriteTime(wkt::TimeText& field, BYTE which, FILETIME time) {
    unwritten = static_cast<BYTE>(unwritten & ~which);
    wkt::WriteTime(field, time);
  }
  void WriteDefaultTimes() const;

  int32_t activityType = 0;
  BYTE valid = 0;
  WCHAR magic[wkt::kMagicUnits] = {};
  WCHAR typeText[wkt::kJobTypeUnits] = {};
  wkt::OwnedText jobId;
  WCHAR versionNumber[wkt::kVersionUnits] = {};
  wkt::OwnedText title;
  wkt::OwnedText comment;
  WCHAR workTypeId[wkt::kReferenceUnits] = {};
  WCHAR projectId[wkt::kReferenceUnits] = {};
  WCHAR teamworkId[wkt::kReferenceUnits] = {};
  mutable wkt::TimeText modificationTime;
  mutable wkt::TimeText startTime;
  mutable wkt::TimeText endTime;
  wkt::OwnedText personIds;
  WCHAR flags[wkt::kNumberUnits] = {};
  WCHAR unused2[wkt::kNumberUnits] = {};
  wkt::OwnedText unused3;
  mutable wkt::TimeText localDay;
  mutable BYTE unwritten = 0;
  SYSTEMTIME creationTime;

  // Live packets; it serves the log only.
  static int32_t instanceCount;
};
