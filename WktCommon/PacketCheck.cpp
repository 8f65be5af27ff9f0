#include "WktCommon/PacketCheck.h"

#include <cstring>

#include "WktCommon/JobPacketLayout.h"
#include "WktCommon/TypePacketLayout.h"
#include "WktCommon/WideString.h"
#include "WktCommon/WktTypeKinds.h"

namespace wkt {

namespace {

constexpr size_t kHeaderBytes = kMagicUnits * sizeof(WCHAR);
constexpr size_t kJobHeaderBytes = kHeaderBytes + kJobTypeUnits * sizeof(WCHAR);

template <size_t unitCount>
void CopyUnits(WCHAR (&to)[unitCount], const BYTE* from) {
  std::memcpy(to, from, unitCount * sizeof(WCHAR));
}

bool HasPacketMagic(const BYTE* bytes) {
  WCHAR magic[kMagicUnits];
  CopyUnits(magic, bytes);
  return IsPacketMagic(magic);
}

}  // namespace

size_t ReferenceUnitsOf(const WCHAR (&typeText)[kJobTypeUnits]) {
  for (const JobTypeText& known : kJobTypeTexts) {
    if (std::memcmp(typeText, known.text, sizeof(typeText)) == 0)
      return known.referenceUnits;
  }
  return 0;
}

bool CheckJobPacket(const BYTE* bytes, DWORD byteCount) {
  if (!bytes || byteCount < kHeaderBytes)
    return false;
  if (!HasPacketMagic(bytes))
    return true;  // the packet says so itself
  if (byteCount < kJobHeaderBytes)
    return false;
  WCHAR typeText[kJobTypeUnits];
  CopyUnits(typeText, bytes + kHeaderBytes);
  const size_t referenceUnits = ReferenceUnitsOf(typeText);
  if (referenceUnits == 0)
    return true;  // likewise
  return FieldsFit(JobPacketLayout::kFields, bytes, byteCount, referenceUnits);
}

bool CheckTypePacket(const BYTE* bytes, DWORD byteCount) {
  if (!bytes || byteCount < kHeaderBytes)
    return false;
  if (!HasPacketMagic(bytes))
    return true;  // the packet says so itself
  if (!FieldsFit(TypePacketLayout::kFields, bytes, byteCount, 0))
    return false;
  WCHAR kindText[kNumberUnits];
  CopyUnits(kindText, bytes + kHeaderBytes);
  const int32_t kind = ReadNumber(kindText);
  return kind >= kFirstTypeKind && kind <= kLastTypeKind;
}

}  // namespace wkt
