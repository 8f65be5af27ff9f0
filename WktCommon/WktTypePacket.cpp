#include "WktCommon/WktTypePacket.h"

#include <algorithm>
#include <cstring>

#include "WktCommon/Log.h"
#include "WktCommon/PacketWalk.h"
#include "WktCommon/Times.h"
#include "WktCommon/TypePacketLayout.h"

namespace {

using Walk = wkt::PacketWalk<wkt::TypePacketLayout::kFields>;

constexpr int kDefaultVersion = 32;
// All off, unlike a new record's.
constexpr WCHAR kDefaultFlags[wkt::kNumberUnits] = u"0000000000000000000";

}  // namespace

int32_t CWktTypePacket::instanceCount = 0;

CWktTypePacket::CWktTypePacket() {
  wkt::LogScope log("CWktTypePacket::CWktTypePacket");
  std::copy_n(wkt::kPacketMagic, wkt::kMagicUnits, magic);
  SetTypeOfType(0);
  SetVersionNumber(kDefaultVersion);
  FILETIME now;
  SetModificationTime(GetCurrentFileTime(now, FALSE, FALSE));
  SetCreationTime(GetCurrentFileTime(now, FALSE, FALSE));
  SetUseCount(0);
  std::copy_n(kDefaultFlags, wkt::kNumberUnits, flags);
  SetUnused3(-1);
  SetUnused4(-1);
  SetUnused5({});
  valid = 1;
  log.Write(wkt::kLogDetail, u"Instance = %d", ++instanceCount);
}

CWktTypePacket::CWktTypePacket(const BYTE* bytes, DWORD byteCount) {
  wkt::LogScope log("CWktTypePacket::CWktTypePacket");
  log.Write(wkt::kLogInput, u"Bytes = %ld; Byte Count = %d", wkt::LogValue(bytes), byteCount);
  log.Write(wkt::kLogDetail, u"Instance = %d", ++instanceCount);
  std::memcpy(magic, bytes, sizeof(magic));
  if (!wkt::IsPacketMagic(magic)) {
    const wkt::TerminatedCopy got(magic);
    log.Write(wkt::kLogFailure, u"Invalid packet header; Got = '%s'; Expected = 'Worktally'",
              got.Text());
    return;
  }
  valid = Init(bytes + sizeof(magic), 0) != 0;
}

CWktTypePacket::~CWktTypePacket() {
  wkt::LogScope log("CWktTypePacket::~CWktTypePacket");
  log.Write(wkt::kLogDetail, u"Instance = %d", instanceCount--);
}

BOOL CWktTypePacket::Init(const BYTE* bytes, DWORD idSize) {
  wkt::LogScope log("CWktTypePacket::Init");
  log.Write(wkt::kLogInput, u"Bytes = %ld; Id size = %d", wkt::LogValue(bytes), idSize);
  Walk::Decode<wkt::TypePacketLayout::kKindRow>(this, bytes, 0);
  wkt::LogFields(wkt::TypePacketLayout::kFields, this, wkt::LineTexts::Decoder);
  return TRUE;
}

BYTE* CWktTypePacket::ToBytes(DWORD* byteCount) const {
  wkt::LogScope log("CWktTypePacket::ToBytes");
  BYTE* const bytes = Walk::Encode(this, byteCount);
  wkt::LogFields(wkt::TypePacketLayout::kFields, this, wkt::LineTexts::Encoder);
  log.Write(wkt::kLogResult, u"Byte Count = %d; Bytes = %ld", *byteCount, wkt::LogValue(bytes));
  return bytes;
}

void CWktTypePacket::SetFlags(const WCHAR* text) {
  if (text)
    wkt::WriteText(flags, text);
}
