// Any bytes as a type packet from a partner, up to the record made of it.
#include "WktCommon/PacketCheck.h"
#include "WktCommon/WktTypeKinds.h"
#include "WktCommon/WktTypePacket.h"
#include "fuzz/FuzzPacket.h"

namespace {

void FillRecord(const uint8_t* data, size_t byteCount) {
  const CWktTypePacket packet(data, static_cast<DWORD>(byteCount));
  if (!packet.IsValid())
    return;
  const wkt::TypePtr type(wkt::MakeType(packet.GetTypeOfType(), FALSE));
  wkt::fuzz::Require(type != nullptr, "a checked packet has a kind that can be made");
  type->SetId(packet.GetId());
  type->SetVersionNumber(static_cast<DWORD>(packet.GetVersionNumber()));
  type->SetName1(packet.GetName1());
  type->SetComment(packet.GetComment());
  type->SetFlags(packet.GetFlags());
  type->SetUnused1(packet.GetUnused1());
  type->SetFlag01(1, TRUE);
  wkt::fuzz::Require(wkt::TextLength(type->GetFlags()) > 1 && type->GetFlags()[1] != u'0',
                     "the mark is in the row");
  const wkt::TypePtr copy(type->Clone());
  wkt::fuzz::Require(copy->GetId().Equals(packet.GetId()), "a copy is equal");
  const wkt::TypeList types = {type.get(), copy.get()};
  (void)type->GetPath(types, u"/");
  (void)type->GetRootName(types);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  wkt::fuzz::RunPacket<CWktTypePacket>(wkt::CheckTypePacket, data, byteCount);
  if (byteCount && wkt::CheckTypePacket(data, static_cast<DWORD>(byteCount)))
    FillRecord(data, byteCount);
  return 0;
}
