#pragma once

#include "WktCommon/CreationMoment.h"
#include "WktCommon/FlagText.h"
#include "WktCommon/StampMode.h"
#include "WktCommon/TypePtr.h"
#include "WktCommon/WideString.h"
#include "platform/Types.h"

// One entry of the catalogue of types: a small record that jobs refer to by its identifier. The
// kinds are derived classes (WktTypeKinds.h) that exchange some of the eight virtual operations.
// Owned by whoever allocated it and destroyed with `wkt::DestroyType`. One thread at a time.
//
// Setters follow one rule: only an effective change is stored, marks the record as changed and
// stamps its modification time with the present time.
class CWktTypeLean {
 public:
  // A new record draws an identifier of its own.
  explicit CWktTypeLean(BOOL makeNew);
  ~CWktTypeLean();
  CWktTypeLean(const CWktTypeLean&) = delete;
  CWktTypeLean& operator=(const CWktTypeLean&) = delete;

  // The order of these eight is fixed: it is the layout of the virtual table. The caller owns the
  // copy; null when memory runs out.
  [[nodiscard]] virtual CWktTypeLean* Clone() const;
  [[nodiscard]] virtual WideString GetParentId() const;
  virtual void SetParentId(const WCHAR* text);
  [[nodiscard]] virtual WideString GetDisplayName() const;
  // The display names from the topmost ancestor in the list down to this record.
  [[nodiscard]] virtual WideString GetPath(const wkt::TypeList& types,
                                           const WCHAR* separator) const;
  [[nodiscard]] virtual WideString GetRootName(const wkt::TypeList& types) const;
  [[nodiscard]] virtual WideString GetUnused1() const;
  virtual void SetUnused1(const WCHAR* text);

  // Null texts count as empty, except for the flags.
  [[nodiscard]] WideString GetId() const {
    MakeDefault(kIdentifier);
    return id;
  }
  void SetId(const WCHAR* text) {
    if (DropDefault(kIdentifier))
      Stamp();  // no text is the identifier that would have been drawn
    ChangeText(id, text);
  }
  [[nodiscard]] int GetTypeOfType() const { return typeOfType; }
  // Stores only: the kind belongs to what the record is, not to what is edited.
  void SetTypeOfType(int kind) { typeOfType = kind; }
  [[nodiscard]] DWORD GetVersionNumber() const { return versionNumber; }
  void SetVersionNumber(DWORD number);
  [[nodiscard]] FILETIME GetModificationTime() const;
  // Does not mark the record. Observers are told of a different time, or in any case with `force`.
  void SetModificationTime(FILETIME time, BOOL force);
  [[nodiscard]] FILETIME GetCreationTime() const {
    MakeDefault(kCreationTime);
    return creationTime;
  }
  void SetCreationTime(FILETIME time) {
    if (DropDefault(kCreationTime)) {
      creationTime = time;
      Stamp();
    } else {
      ChangeTime(creationTime, time);
    }
  }
  [[nodiscard]] int GetUseCount() const { return useCount; }
  void SetUseCount(int count) { ChangeNumber(useCount, count); }
  [[nodiscard]] WideString GetName1() const { return name1; }
  void SetName1(const WCHAR* text) { ChangeText(name1, text); }
  [[nodiscard]] WideString GetName2() const { return name2; }
  void SetName2(const WCHAR* text) { ChangeText(name2, text); }
  // `flatten`: two blanks for each line break. `limit`: at most 259 characters, after that.
  [[nodiscard]] WideString GetComment(BOOL limit, BOOL flatten) const;
  void SetComment(const WCHAR* text) { ChangeText(comment, text); }

  // The record's own array, valid as long as the record lives.
  [[nodiscard]] const WCHAR* GetFlags() const { return flags; }
  void SetFlags(const WCHAR* text);
  [[nodiscard]] bool IsFlagSet(int index) const { return wkt::IsFlagOn(flags, index); }
  void SetFlag(int index, BOOL on);
  // "Is synchronized" with partner index 0 or 1; others read as false and are not written.
  [[nodiscard]] bool IsFlag01Set(int index) const;
  void SetFlag01(int index, BOOL on);
  // "Changed during sync".
  [[nodiscard]] bool IsFlag2Set() const { return IsFlagSet(2); }
  void SetFlag2(BOOL on);

  [[nodiscard]] WideString GetUnused2() const { return unused2; }
  void SetUnused2(const WCHAR* text) { ChangeText(unused2, text); }
  [[nodiscard]] int GetUnused3() const { return unused3; }
  void SetUnused3(int number) { ChangeNumber(unused3, number); }
  [[nodiscard]] int GetUnused4() const { return unused4; }
  void SetUnused4(int number) { ChangeNumber(unused4, number); }
  [[nodiscard]] FILETIME GetUnused5() const { return unused5; }
  void SetUnused5(FILETIME time) { ChangeTime(unused5, time); }

  [[nodiscard]] bool IsChanged() const { return changed; }
  void SetChanged(BOOL on);
  // Copies every field. Equal records stay unchanged with the other's modification time; others
  // end up changed and stamped with the present time.
  void Assign(const CWktTypeLean& other);
  // Borrowed; null for none. Told in list order.
  void SetObservers(const std::vector<wkt::TypeObserver*>* told) { observers = told; }

  // The first record with exactly this identifier, or -1.
  [[nodiscard]] static int FindById(const wkt::TypeList& types, const WCHAR* id);

 protected:
  CWktTypeLean(BOOL makeNew, wkt::TypeClass madeAs, int kind);
  // For a derived constructor: a default that differs, and no change.
  void TurnOnByDefault(int index) { wkt::WriteFlag(flags, index, true); }
  // The topmost ancestor in the list; null when the parent is set but not there. Without a parent
  // it is this record, or null.
  enum class OwnRoot { Counts, DoesNotCount };
  [[nodiscard]] const CWktTypeLean* FindRoot(const wkt::TypeList& types, OwnRoot ownRoot) const;
  // What `Clone` does with a fresh record of the same class; null stays null.
  CWktTypeLean* CopyInto(CWktTypeLean* copy) const;
  // For text that is derived from other data and therefore no change.
  void StoreUnused1(const WideString& text) const { unused1 = text; }
  [[nodiscard]] const WideString& Unused1AsStored() const { return unused1; }

 private:
  friend void wkt::DestroyType(CWktTypeLean* type);
  friend class wkt::FillScope<CWktTypeLean>;
  friend struct wkt::RecordPeek;
  void BeginFill();
  void EndFill();
  void TakePendingStamp() const;

  // Fields that may still be what they are by default, not made yet; as in a job.
  enum : uint8_t {
    kIdentifier = 1,
    kModificationTime = 2,
    kCreationTime = 4,
    kAllTimes = kModificationTime | kCreationTime,
  };
  void MakeDefault(uint8_t which) const {
    if (unmade & which)
      MakeDefaults(which);
  }
  void MakeDefaults(uint8_t which) const;
  [[nodiscard]] bool DropDefault(uint8_t which) { return (unmade & which) && DropUnmade(which); }
  [[nodiscard]] bool DropUnmade(uint8_t which);

  void ChangeText(WideString& field, const WCHAR* text);
  void ChangeNumber(int32_t& field, int32_t number);
  void ChangeTime(FILETIME& field, FILETIME time);
  // The one place where a change becomes visible: marked, stamped, told.
  void Stamp();
  void Notify();
  [[nodiscard]] bool HasListeners() const;

  int32_t typeOfType = 0;
  mutable WideString id;
  DWORD versionNumber = 32;
  mutable FILETIME modificationTime;
  mutable FILETIME creationTime;
  int32_t useCount = 0;
  WideString name1;
  WideString name2;
  WideString comment;
  wkt::FlagText flags;
  mutable WideString unused1;
  WideString unused2;
  int32_t unused3 = 0;
  int32_t unused4 = 0;
  FILETIME unused5 = {};
  bool changed = false;
  bool mark = false;  // reserved; copied along
  const std::vector<wkt::TypeObserver*>* observers = nullptr;
  void* reserved = nullptr;
  bool notifyEnabled = true;
  FILETIME savedModificationTime = {};  // while Assign runs
  mutable wkt::StampMode stampMode = wkt::StampMode::AtOnce;
  const wkt::TypeClass madeAs;
  mutable uint8_t unmade;
  const wkt::CreationMoment creation;
};
