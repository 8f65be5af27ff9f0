#pragma once

#include "WktCommon/OwnedText.h"
#include "WktCommon/PacketText.h"
#include "platform/Types.h"

namespace wkt {
struct TypePacketLayout;
}

// One type record in the form in which it travels. The fields stay in their wire form, so that
// encoding is a run of copies; getters and setters convert. Made for one transfer and destroyed
// after it.
//
// Decoding trusts its input: bytes from outside go through `wkt::CheckTypePacket` first.
class CWktTypePacket {
 public:
  CWktTypePacket();
  // Look at `IsValid` before anything else is read.
  CWktTypePacket(const BYTE* bytes, DWORD byteCount);
  ~CWktTypePacket();
  CWktTypePacket(const CWktTypePacket&) = delete;
  CWktTypePacket& operator=(const CWktTypePacket&) = delete;

  // Decodes what follows the header; `idSize` is only logged. Always TRUE.
  BOOL Init(const BYTE* bytes, DWORD idSize);
  // The caller owns the bytes and returns them with `delete[]`. Without memory null and a count of
  // 0.
  [[nodiscard]] BYTE* ToBytes(DWORD* byteCount) const;
  [[nodiscard]] BOOL IsValid() const { return valid; }

  // Texts are pointers into the packet, good until the field is set again. A text that does not fit
  // a fixed field is cut at its width; null empties a text and leaves the flags alone.
  [[nodiscard]] int GetTypeOfType() const { return wkt::ReadNumber(typeOfType); }
  void SetTypeOfType(int kind) { wkt::WriteNumber(typeOfType, kind); }
  [[nodiscard]] const WCHAR* GetId() const { return id.Get(); }
  void SetId(const WCHAR* text) { id.Set(text); }
  // Three characters of the number are kept.
  [[nodiscard]] int GetVersionNumber() const { return wkt::ReadNumber(versionNumber); }
  void SetVersionNumber(int number) { wkt::WriteNumber(versionNumber, number); }
  [[nodiscard]] FILETIME GetModificationTime() const { return wkt::ReadTime(modificationTime); }
  void SetModificationTime(FILETIME time) { wkt::WriteTime(modificationTime, time); }
  [[nodiscard]] FILETIME GetCreationTime() const { return wkt::ReadTime(creationTime); }
  void SetCreationTime(FILETIME time) { wkt::WriteTime(creationTime, time); }
  [[nodiscard]] int GetUseCount() const { return wkt::ReadNumber(useCount); }
  void SetUseCount(int count) { wkt::WriteNumber(useCount, count); }
  [[nodiscard]] const WCHAR* GetName1() const { return name1.Get(); }
  void SetName1(const WCHAR* text) { name1.Set(text); }
  [[nodiscard]] const WCHAR* GetName2() const { return name2.Get(); }
  void SetName2(const WCHAR* text) { name2.Set(text); }
  [[nodiscard]] const WCHAR* GetComment() const { return comment.Get(); }
  void SetComment(const WCHAR* text) { comment.Set(text); }
  [[nodiscard]] const WCHAR* GetFlags() const { return flags; }
  void SetFlags(const WCHAR* text);
  [[nodiscard]] const WCHAR* GetUnused1() const { return unused1.Get(); }
  void SetUnused1(const WCHAR* text) { unused1.Set(text); }
  [[nodiscard]] const WCHAR* GetUnused2() const { return unused2.Get(); }
  void SetUnused2(const WCHAR* text) { unused2.Set(text); }
  [[nodiscard]] int GetUnused3() const { return wkt::ReadNumber(unused3); }
  void SetUnused3(int number) { wkt::WriteNumber(unused3, number); }
  [[nodiscard]] int GetUnused4() const { return wkt::ReadNumber(unused4); }
  void SetUnused4(int number) { wkt::WriteNumber(unused4, number); }
  [[nodiscard]] FILETIME GetUnused5() const { return wkt::ReadTime(unused5); }
  void SetUnused5(FILETIME time) { wkt::WriteTime(unused5, time); }

 private:
  friend struct wkt::TypePacketLayout;

  BYTE valid = 0;
  WCHAR magic[wkt::kMagicUnits] = {};
  WCHAR typeOfType[wkt::kNumberUnits] = {};
  wkt::OwnedText id;
  WCHAR versionNumber[wkt::kVersionUnits] = {};
  wkt::TimeText modificationTime;
  wkt::TimeText creationTime;
  WCHAR useCount[wkt::kNumberUnits] = {};
  wkt::OwnedText name1;
  wkt::OwnedText name2;
  wkt::OwnedText comment;
  WCHAR flags[wkt::kNumberUnits] = {};
  wkt::OwnedText unused1;
  wkt::OwnedText unused2;
  WCHAR unused3[wkt::kNumberUnits] = {};
  WCHAR unused4[wkt::kNumberUnits] = {};
  wkt::TimeText unused5;

  // Live packets; it serves the log only.
  static int32_t instanceCount;
};
