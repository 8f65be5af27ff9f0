#include "WktCommon/JobLean.h"

#include <algorithm>

#include "WktCommon/Log.h"
#include "WktCommon/TextScanner.h"
#include "WktCommon/Times.h"
#include "WktCommon/WktUtilLean.h"

namespace {

constexpr wkt::FlagText kDefaultFlags = {u"0010000000000000000"};
constexpr int kFirstPartnerPosition = 4;
constexpr int kFlag3Position = 3;
constexpr int kChangedDuringSyncPosition = 6;
constexpr int32_t kPersonCapacity = 100;
constexpr WCHAR kPersonSeparator[] = u"; ";

wkt::CreationMoment::Draws ToDraw(BOOL makeNew) {
  using Draws = wkt::CreationMoment::Draws;
  // With a listener the identifier is made at once, since its making shows.
  return makeNew && !wkt::IsHeard() ? Draws::Identifier : Draws::Nothing;
}

}  // namespace

CJobLean::CJobLean(BOOL makeNew) : unmade(kAllTimes), creation(ToDraw(makeNew)) {
  wkt::LogScope log("CJobLean::CJobLean");
  log.Write(wkt::kLogInput, u"Make new = %d", makeNew);
  log.Write(wkt::kLogDetail, u"this = %ld", wkt::LogValue(this));
  if (makeNew && wkt::IsHeard()) {
    jobId = CWktUtilLean::CreateGUID();
    log.Write(wkt::kLogDetail, u"Job id = '%s'", jobId.c_str());
  } else if (makeNew) {
    unmade |= kIdentifier;
  }
  std::copy_n(kDefaultFlags, wkt::kFlagCount + 1, flags);
}

CJobLean::~CJobLean() {
  wkt::LogScope log("CJobLean::~CJobLean");
  log.Write(wkt::kLogDetail, u"this = %ld", wkt::LogValue(this));
}

void CJobLean::MakeDefaults(uint8_t which) const {
  const auto wanted = static_cast<uint8_t>(unmade & which);
  unmade = static_cast<uint8_t>(unmade & ~which);
  if (wanted & kIdentifier)
    jobId = creation.Identifier();
  if (wanted & kModificationTime)
    modificationTime = creation.WholeSecond();
  if (wanted & kStartTime)
    startTime = creation.WholeSecond();
  if (wanted & kEndTime)
    endTime = creation.WholeSecond();
  if (wanted & kLocalDay)
    localDay = creation.LocalDay();
}

bool CJobLean::DropUnmade(uint8_t which) {
  // A listener is told of a day that differs, an observer of every change.
  if (stampMode == wkt::StampMode::AtOnce || observer || wkt::IsHeard()) {
    MakeDefaults(which);
    return false;
  }
  unmade = static_cast<uint8_t>(unmade & ~which);
  return true;
}

void CJobLean::ChangeText(WideString& field, const WCHAR* text) {
  if (field.Change(text))
    Stamp();
}

void CJobLean::ChangeNumber(int32_t& field, int32_t number) {
  if (field == number)
    return;
  field = number;
  Stamp();
}

void CJobLean::ChangeTime(FILETIME& field, uint8_t which, FILETIME time) {
  if (!DropDefault(which) && !wkt::TimesDiffer(field, time))
    return;
  field = time;
  Stamp();
}

bool CJobLean::ChangeFlag(bool& mirror, int position, BOOL on) {
  const bool wanted = on != FALSE;
  if (mirror == wanted)
    return false;
  mirror = wanted;
  wkt::WriteFlag(flags, position, wanted);
  return true;
}

void CJobLean::Stamp() {
  modified = TRUE;
  if (stampMode != wkt::StampMode::AtOnce && !observer) {
    stampMode = wkt::StampMode::DeferredPending;
    return;
  }
  unmade = static_cast<uint8_t>(unmade & ~kModificationTime);
  GetCurrentFileTime(modificationTime, FALSE, FALSE);
  if (observer)
    observer->OnJobChanged(*this);
}

void CJobLean::BeginFill() {
  stampMode = wkt::StampMode::Deferred;
}

void CJobLean::EndFill() {
  TakePendingStamp();
  stampMode = wkt::StampMode::AtOnce;
}

void CJobLean::TakePendingStamp() const {
  if (stampMode != wkt::StampMode::DeferredPending)
    return;
  unmade = static_cast<uint8_t>(unmade & ~kModificationTime);
  GetCurrentFileTime(modificationTime, FALSE, FALSE);
  stampMode = wkt::StampMode::Deferred;
}

FILETIME CJobLean::GetModificationTime() const {
  TakePendingStamp();
  MakeDefault(kModificationTime);
  return modificationTime;
}

void CJobLean::SetModificationTime(FILETIME time, BOOL force) {
  const bool overridesStamp = stampMode == wkt::StampMode::DeferredPending;
  const bool differs =
      overridesStamp || DropDefault(kModificationTime) || wkt::TimesDiffer(modificationTime, time);
  if (overridesStamp)
    stampMode = wkt::StampMode::Deferred;
  unmade = static_cast<uint8_t>(unmade & ~kModificationTime);
  modificationTime = time;
  if (observer && (differs || force))
    observer->OnJobChanged(*this);
}

void CJobLean::SetModified(BOOL on) {
  modified = on;
  if (on)
    Stamp();
}

const StringArray& CJobLean::PersonList() const {
  if (!personIdsAreSplit)
    wkt::SplitAtText(personIdsText.c_str(), kPersonSeparator, personIds);
  personIdsAreSplit = true;
  return personIds;
}

// Kept: lists are compared as sets, so the same persons in another order are no change. Splitting
// and joining are exact opposites: the text stands for the list, and equal texts for equal lists.
void CJobLean::SetPersonIds(const WCHAR* text) {
  if (personIdsText.Equals(text))
    return;
  const bool hadPersons = !personIdsText.IsEmpty();
  if (hadPersons) {
    StringArray persons(kPersonCapacity);
    wkt::SplitAtText(text, kPersonSeparator, persons);
    if (persons.EqualsAsSets(PersonList()))
      return;
    personIds = persons;
  }
  personIdsText = text;
  personIdsAreSplit = hadPersons;
  Stamp();
}

void CJobLean::SetFlags(const WCHAR* text) {
  if (!text || !wkt::CopyFlags(flags, text))
    return;
  for (int i = 0; i < 2; ++i) {
    userFlags[i] = wkt::IsFlagOn(flags, i);
    partnerFlags[i] = wkt::IsFlagOn(flags, kFirstPartnerPosition + i);
  }
  flag3 = wkt::IsFlagOn(flags, kFlag3Position);
  changedDuringSync = wkt::IsFlagOn(flags, kChangedDuringSyncPosition);
  SetModified(TRUE);
}

bool CJobLean::GetUserFlag(int index) const {
  return (index == 0 || index == 1) && userFlags[index];
}

void CJobLean::SetUserFlag(int index, BOOL on) {
  if (index != 0 && index != 1)
    return;
  if (ChangeFlag(userFlags[index], index, on))
    SetModified(TRUE);
}

void CJobLean::SetFlag3(BOOL on) {
  if (ChangeFlag(flag3, kFlag3Position, on))
    Stamp();
}

bool CJobLean::GetPartnerFlag(int index) const {
  return (index == 0 || index == 1) && partnerFlags[index];
}

void CJobLean::SetPartnerFlag(int index, BOOL on) {
  if (index != 0 && index != 1)
    return;
  (void)ChangeFlag(partnerFlags[index], kFirstPartnerPosition + index, on);
}

void CJobLean::SetFlag6(BOOL on) {
  (void)ChangeFlag(changedDuringSync, kChangedDuringSyncPosition, on);
}

void CJobLean::SetUnused3(const WCHAR* text) {
  if (!unused3.Change(text))
    return;
  Stamp();
  // Kept: without a blank, head and tail stay those of the last text that had one.
  if (unused3.FindCharacter(u' ') >= 0)
    unused3HeadAndTail = unused3;
}

WideString CJobLean::Unused3Head() const {
  return unused3HeadAndTail.Left(unused3HeadAndTail.FindCharacter(u' '));
}

WideString CJobLean::Unused3Tail() const {
  const int32_t blank = unused3HeadAndTail.FindCharacter(u' ');
  return WideString(unused3HeadAndTail.c_str() + blank + 1);
}

void CJobLean::SetLocalDayAsFileTime(FILETIME time) {
  if (!DropDefault(kLocalDay) && !wkt::TimesDiffer(localDay, time))
    return;
  localDay = time;
  if (wkt::IsLogging()) {
    WideString date;
    WideString clock;
    FormatDateText(date, time, TRUE, 0);
    FormatTimeText(clock, time, TRUE, FALSE, wkt::kHoursMinutes);
    wkt::PassToLog(wkt::kLogProgress, u"Local day = %s %s", date.c_str(), clock.c_str());
  }
  Stamp();
}
