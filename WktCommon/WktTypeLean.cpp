#include "WktCommon/WktTypeLean.h"

#include <algorithm>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktCommon/Times.h"
#include "WktCommon/WktUtilLean.h"

namespace {

constexpr wkt::FlagText kDefaultFlags = {u"0001000000000000000"};
constexpr int kChangedDuringSyncPosition = 2;
constexpr int kGatePosition = 3;
// What fits into a list row of 260 units with its terminator.
constexpr int32_t kShortCommentCharacters = 259;

wkt::CreationMoment::Draws ToDraw(BOOL makeNew) {
  using Draws = wkt::CreationMoment::Draws;
  // With a listener the identifier is made at once, since its making shows.
  return makeNew && !wkt::IsHeard() ? Draws::Identifier : Draws::Nothing;
}

// Walks from a record to its ancestors in a list. Ends at a parent that is not in the list, at a
// record that is its own parent, on coming back to where it began, and, for a circle further up,
// after as many steps as the list has records.
class Climb {
 public:
  Climb(const CWktTypeLean& from, const wkt::TypeList& known) : start(&from), types(known) {
    next = Find(from);
  }
  // Null at the end.
  [[nodiscard]] const CWktTypeLean* Next() {
    const CWktTypeLean* const reached = next;
    if (!reached)
      return nullptr;
    ++steps;
    next = Find(*reached);
    if (next == reached || next == start || steps >= types.size())
      next = nullptr;
    return reached;
  }

 private:
  [[nodiscard]] const CWktTypeLean* Find(const CWktTypeLean& child) const {
    const int index = CWktTypeLean::FindById(types, child.GetParentId().c_str());
    return index < 0 ? nullptr : types[static_cast<size_t>(index)];
  }

  const CWktTypeLean* start;
  const wkt::TypeList& types;
  const CWktTypeLean* next;
  size_t steps = 0;
};

}  // namespace

CWktTypeLean::CWktTypeLean(BOOL makeNew) : CWktTypeLean(makeNew, wkt::TypeClass::Plain, 0) {}

CWktTypeLean::CWktTypeLean(BOOL makeNew, wkt::TypeClass typeClass, int kind)
    : madeAs(typeClass), unmade(kAllTimes), creation(ToDraw(makeNew)) {
  {
    wkt::LogScope log("CWktTypeLean::CWktTypeLean");
    log.Write(wkt::kLogInput, u"Make new = %d", makeNew);
    log.Write(wkt::kLogProgress, u"this = %ld", wkt::LogValue(this));
    if (makeNew && wkt::IsHeard()) {
      id = CWktUtilLean::CreateGUID();
      log.Write(wkt::kLogDetail, u"Type id = '%s'", id.c_str());
    } else if (makeNew) {
      unmade |= kIdentifier;
    }
    std::copy_n(kDefaultFlags, wkt::kFlagCount + 1, flags);
  }
  typeOfType = kind;
}

CWktTypeLean::~CWktTypeLean() {
  wkt::LogScope log("CWktTypeLean::~CWktTypeLean");
  log.Write(wkt::kLogDetail, u"this = %ld", wkt::LogValue(this));
}

CWktTypeLean* CWktTypeLean::Clone() const {
  return CopyInto(wkt::NewObject<CWktTypeLean>(FALSE));
}

WideString CWktTypeLean::GetParentId() const {
  return WideString();
}

void CWktTypeLean::SetParentId(const WCHAR* /*text*/) {}

WideString CWktTypeLean::GetDisplayName() const {
  return WideString();
}

WideString CWktTypeLean::GetPath(const wkt::TypeList& types, const WCHAR* separator) const {
  WideString path = GetDisplayName();
  Climb climb(*this, types);
  while (const CWktTypeLean* const ancestor = climb.Next()) {
    WideString longer = ancestor->GetDisplayName();
    longer.Append(separator).Append(path);
    path = longer;
  }
  return path;
}

WideString CWktTypeLean::GetRootName(const wkt::TypeList& /*types*/) const {
  return WideString();
}

WideString CWktTypeLean::GetUnused1() const {
  return unused1;
}

void CWktTypeLean::SetUnused1(const WCHAR* text) {
  ChangeText(unused1, text);
}

const CWktTypeLean* CWktTypeLean::FindRoot(const wkt::TypeList& types, OwnRoot ownRoot) const {
  if (GetParentId().IsEmpty())
    return ownRoot == OwnRoot::Counts ? this : nullptr;
  const CWktTypeLean* root = nullptr;
  Climb climb(*this, types);
  while (const CWktTypeLean* const ancestor = climb.Next())
    root = ancestor;
  return root;
}

int CWktTypeLean::FindById(const wkt::TypeList& types, const WCHAR* id) {
  const auto found = std::find_if(types.begin(), types.end(), [id](const CWktTypeLean* candidate) {
    candidate->MakeDefault(kIdentifier);
    return candidate->id.Equals(id);
  });
  return found == types.end() ? -1 : static_cast<int>(found - types.begin());
}

void CWktTypeLean::MakeDefaults(uint8_t which) const {
  const auto wanted = static_cast<uint8_t>(unmade & which);
  unmade = static_cast<uint8_t>(unmade & ~which);
  if (wanted & kIdentifier)
    id = creation.Identifier();
  if (wanted & kModificationTime)
    modificationTime = creation.WholeSecond();
  if (wanted & kCreationTime)
    creationTime = creation.WholeSecond();
}

bool CWktTypeLean::DropUnmade(uint8_t which) {
  if (stampMode == wkt::StampMode::AtOnce || HasListeners()) {
    MakeDefaults(which);
    return false;
  }
  unmade = static_cast<uint8_t>(unmade & ~which);
  return true;
}

void CWktTypeLean::ChangeText(WideString& field, const WCHAR* text) {
  if (field.Change(text))
    Stamp();
}

void CWktTypeLean::ChangeNumber(int32_t& field, int32_t number) {
  if (field == number)
    return;
  field = number;
  Stamp();
}

void CWktTypeLean::ChangeTime(FILETIME& field, FILETIME time) {
  if (!wkt::TimesDiffer(field, time))
    return;
  field = time;
  Stamp();
}

void CWktTypeLean::SetVersionNumber(DWORD number) {
  if (versionNumber == number)
    return;
  versionNumber = number;
  Stamp();
}

void CWktTypeLean::Stamp() {
  changed = true;
  if (stampMode != wkt::StampMode::AtOnce && !HasListeners()) {
    stampMode = wkt::StampMode::DeferredPending;
    return;
  }
  FILETIME now;
  SetModificationTime(GetCurrentFileTime(now, FALSE, FALSE), TRUE);
}

void CWktTypeLean::BeginFill() {
  stampMode = wkt::StampMode::Deferred;
}

void CWktTypeLean::EndFill() {
  TakePendingStamp();
  stampMode = wkt::StampMode::AtOnce;
}

void CWktTypeLean::TakePendingStamp() const {
  if (stampMode != wkt::StampMode::DeferredPending)
    return;
  unmade = static_cast<uint8_t>(unmade & ~kModificationTime);
  GetCurrentFileTime(modificationTime, FALSE, FALSE);
  stampMode = wkt::StampMode::Deferred;
}

FILETIME CWktTypeLean::GetModificationTime() const {
  TakePendingStamp();
  MakeDefault(kModificationTime);
  return modificationTime;
}

void CWktTypeLean::SetModificationTime(FILETIME time, BOOL force) {
  const bool overridesStamp = stampMode == wkt::StampMode::DeferredPending;
  const bool differs =
      overridesStamp || DropDefault(kModificationTime) || wkt::TimesDiffer(modificationTime, time);
  if (overridesStamp)
    stampMode = wkt::StampMode::Deferred;
  unmade = static_cast<uint8_t>(unmade & ~kModificationTime);
  modificationTime = time;
  if (differs || force)
    Notify();
}

bool CWktTypeLean::HasListeners() const {
  return observers && notifyEnabled && !observers->empty();
}

void CWktTypeLean::Notify() {
  if (!HasListeners())
    return;
  // By index: an observer may change the list.
  for (size_t i = 0; i < observers->size(); ++i)
    (*observers)[i]->OnTypeChanged(*this);
}

WideString CWktTypeLean::GetComment(BOOL limit, BOOL flatten) const {
  WideString text = comment;
  if (flatten)
    text.ReplaceAll(u"\n", u"  ");
  if (limit && text.Length() > kShortCommentCharacters)
    text = text.Left(kShortCommentCharacters);
  return text;
}

void CWktTypeLean::SetFlags(const WCHAR* text) {
  if (text && wkt::CopyFlags(flags, text))
    Stamp();
}

void CWktTypeLean::SetFlag(int index, BOOL on) {
  const bool wanted = on != FALSE;
  if (index < 0 || index >= wkt::kFlagCount || IsFlagSet(index) == wanted)
    return;
  wkt::WriteFlag(flags, index, wanted);
  Stamp();
}

bool CWktTypeLean::IsFlag01Set(int index) const {
  return (index == 0 || index == 1) && IsFlagSet(index);
}

void CWktTypeLean::SetFlag01(int index, BOOL on) {
  if (index == 0 || index == 1)
    SetFlag(index, on);
}

// Kept: the gate at position 3 decides, so with default flags position 2 can only be cleared.
void CWktTypeLean::SetFlag2(BOOL on) {
  if (IsFlagSet(kGatePosition) != (on != FALSE))
    SetFlag(kChangedDuringSyncPosition, on);
}

void CWktTypeLean::SetChanged(BOOL on) {
  changed = on != FALSE;
  if (changed)
    Stamp();
}

void CWktTypeLean::Assign(const CWktTypeLean& other) {
  savedModificationTime = GetModificationTime();
  notifyEnabled = false;
  typeOfType = other.typeOfType;
  SetId(other.GetId().c_str());
  SetVersionNumber(other.versionNumber);
  SetCreationTime(other.GetCreationTime());
  SetUseCount(other.useCount);
  SetComment(other.GetComment(FALSE, FALSE).c_str());
  SetName1(other.name1.c_str());
  SetName2(other.name2.c_str());
  SetFlags(other.flags);
  SetUnused1(other.GetUnused1().c_str());
  SetUnused2(other.unused2.c_str());
  SetUnused3(other.unused3);
  SetUnused4(other.unused4);
  SetUnused5(other.unused5);
  mark = other.mark;
  SetModificationTime(other.GetModificationTime(), FALSE);
  notifyEnabled = true;
  if (changed && wkt::TimesDiffer(modificationTime, savedModificationTime))
    Stamp();
  savedModificationTime = {};
}

CWktTypeLean* CWktTypeLean::CopyInto(CWktTypeLean* copy) const {
  if (copy) {
    copy->Assign(*this);
    copy->changed = false;
  }
  return copy;
}
