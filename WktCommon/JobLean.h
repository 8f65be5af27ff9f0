#pragma once

#include "WktCommon/CreationMoment.h"
#include "WktCommon/FlagText.h"
#include "WktCommon/StampMode.h"
#include "WktCommon/StringArray.h"
#include "WktCommon/WideString.h"
#include "platform/Types.h"

class CJobLean;

namespace wkt {

// Told of a job after each change, on the thread of the change. Nothing here installs one.
class JobObserver {
 public:
  virtual void OnJobChanged(CJobLean& job) = 0;

 protected:
  ~JobObserver() = default;
};

struct RecordPeek;  // tests look at what has no getter

}  // namespace wkt

// One stretch of recorded work in memory; daily and favourite jobs alike. Created empty or new,
// filled through its setters, read through its getters and destroyed by its owner. One thread at
// a time.
//
// Setters follow one rule: only an effective change is stored, marks the record and stamps its
// modification time with the present time. The partner flags and "changed during sync" are the
// exception: writing down the state of a synchronisation must not look like an edit.
class CJobLean {
 public:
  // A new record draws an identifier of its own.
  explicit CJobLean(BOOL makeNew);
  virtual ~CJobLean();
  CJobLean(const CJobLean&) = delete;
  CJobLean& operator=(const CJobLean&) = delete;

  // Null texts count as empty.
  [[nodiscard]] WideString GetJobId() const {
    MakeDefault(kIdentifier);
    return jobId;
  }
  void SetJobId(const WCHAR* text) {
    if (DropDefault(kIdentifier))
      Stamp();  // no text is the identifier that would have been drawn
    ChangeText(jobId, text);
  }
  [[nodiscard]] int GetVersionNumber() const { return versionNumber; }
  void SetVersionNumber(int number) { ChangeNumber(versionNumber, number); }
  [[nodiscard]] FILETIME GetModificationTime() const;
  // Does not mark the record changed. The observer is told of a different time, or in any case
  // with `force`.
  void SetModificationTime(FILETIME time, BOOL force);
  [[nodiscard]] WideString GetTitle() const { return title; }
  void SetTitle(const WCHAR* text) { ChangeText(title, text); }
  [[nodiscard]] WideString GetComment() const { return comment; }
  void SetComment(const WCHAR* text) { ChangeText(comment, text); }

  // Identifiers of type records. Kept at any length; a packet carries the first 39 characters.
  [[nodiscard]] WideString GetWorkTypeId() const { return workTypeId; }
  void SetWorkTypeId(const WCHAR* text) { ChangeText(workTypeId, text); }
  [[nodiscard]] WideString GetProjectId() const { return projectId; }
  void SetProjectId(const WCHAR* text) { ChangeText(projectId, text); }
  [[nodiscard]] WideString GetTeamworkId() const { return teamworkId; }
  void SetTeamworkId(const WCHAR* text) { ChangeText(teamworkId, text); }

  [[nodiscard]] FILETIME GetStartTime() const {
    MakeDefault(kStartTime);
    return startTime;
  }
  void SetStartTime(FILETIME time) { ChangeTime(startTime, kStartTime, time); }
  [[nodiscard]] FILETIME GetEndTime() const {
    MakeDefault(kEndTime);
    return endTime;
  }
  void SetEndTime(FILETIME time) { ChangeTime(endTime, kEndTime, time); }

  // One text of identifiers with "; " between them. Lists with the same entries in another order
  // count as equal.
  [[nodiscard]] WideString GetPersonIds() const { return personIdsText; }
  void SetPersonIds(const WCHAR* text);

  // The record's own array, valid as long as the record lives.
  [[nodiscard]] const WCHAR* GetFlags() const { return flags; }
  void SetFlags(const WCHAR* text);
  // Index 0 or 1; others read as false and are not written.
  [[nodiscard]] bool GetUserFlag(int index) const;
  void SetUserFlag(int index, BOOL on);
  [[nodiscard]] bool GetFlag3() const { return flag3; }
  void SetFlag3(BOOL on);
  // "Is synchronized" with partner index 0 or 1; others read as false and are not written.
  [[nodiscard]] bool GetPartnerFlag(int index) const;
  void SetPartnerFlag(int index, BOOL on);
  // "Changed during sync".
  [[nodiscard]] bool GetFlag6() const { return changedDuringSync; }
  void SetFlag6(BOOL on);

  [[nodiscard]] int GetUnused2() const { return unused2; }
  void SetUnused2(int number) { ChangeNumber(unused2, number); }
  [[nodiscard]] WideString GetUnused3() const { return unused3; }
  void SetUnused3(const WCHAR* text);
  // A local date at midnight; the caller rounds it.
  [[nodiscard]] FILETIME GetLocalDayAsFileTime() const {
    MakeDefault(kLocalDay);
    return localDay;
  }
  void SetLocalDayAsFileTime(FILETIME time);

  // Nobody in this library reads the mark.
  void SetModified(BOOL on);
  // Not owned; null for none.
  void SetObserver(wkt::JobObserver* told) { observer = told; }

 private:
  friend class wkt::FillScope<CJobLean>;
  friend struct wkt::RecordPeek;
  void BeginFill();
  void EndFill();

  void ChangeText(WideString& field, const WCHAR* text);
  void ChangeNumber(int32_t& field, int32_t number);
  void ChangeTime(FILETIME& field, uint8_t which, FILETIME time);

  // Fields that may still be what they are by default, not made yet.
  enum : uint8_t {
    kIdentifier = 1,
    kModificationTime = 2,
    kStartTime = 4,
    kEndTime = 8,
    kLocalDay = 16,
    kAllTimes = kModificationTime | kStartTime | kEndTime | kLocalDay,
  };
  void MakeDefault(uint8_t which) const {
    if (unmade & which)
      MakeDefaults(which);
  }
  void MakeDefaults(uint8_t which) const;
  // For a setter: makes the default to be compared with. True when it need not: in a fill nobody
  // can tell whether the field differed from it.
  [[nodiscard]] bool DropDefault(uint8_t which) { return (unmade & which) && DropUnmade(which); }
  [[nodiscard]] bool DropUnmade(uint8_t which);
  [[nodiscard]] const StringArray& PersonList() const;
  [[nodiscard]] WideString Unused3Head() const;
  [[nodiscard]] WideString Unused3Tail() const;
  [[nodiscard]] bool ChangeFlag(bool& mirror, int position, BOOL on);
  // The one place where a change becomes visible: marked, stamped, told.
  void Stamp();
  void TakePendingStamp() const;

  mutable WideString jobId;
  int32_t versionNumber = 23;
  mutable FILETIME modificationTime;
  WideString title;
  WideString comment;
  WideString workTypeId;
  WideString projectId;
  WideString teamworkId;
  mutable FILETIME startTime;
  mutable FILETIME endTime;
  mutable StringArray personIds{100};  // split from the text when lists are compared
  WideString personIdsText;
  wkt::FlagText flags;
  bool userFlags[2] = {};
  bool partnerFlags[2] = {};
  bool changedDuringSync = false;
  bool flag3 = false;
  int32_t unused2 = -1;
  WideString unused3;
  // The last Unused3 with a blank: head and tail are its parts before and after the first one.
  // Nobody reads them, so they are cut out when somebody does.
  WideString unused3HeadAndTail;
  mutable FILETIME localDay;
  BOOL modified = FALSE;
  wkt::JobObserver* observer = nullptr;
  mutable bool personIdsAreSplit = true;
  mutable wkt::StampMode stampMode = wkt::StampMode::AtOnce;
  mutable uint8_t unmade;
  const wkt::CreationMoment creation;
};
