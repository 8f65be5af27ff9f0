// Any bytes as a job packet from a partner, up to the record made of it.
#include "WktCommon/JobLean.h"
#include "WktCommon/JobPacket.h"
#include "WktCommon/PacketCheck.h"
#include "fuzz/FuzzPacket.h"

namespace {

void FillRecord(const uint8_t* data, size_t byteCount) {
  const CJobPacket packet(data, static_cast<DWORD>(byteCount));
  if (!packet.IsValid())
    return;
  CJobLean job(FALSE);
  job.SetJobId(packet.GetJobId());
  job.SetVersionNumber(packet.GetVersionNumber());
  job.SetWorkTypeId(packet.GetWorkTypeId());
  job.SetPersonIds(packet.GetPersonIds());
  wkt::fuzz::Require(job.GetPersonIds().Equals(packet.GetPersonIds()), "persons come back");
  job.SetFlags(packet.GetFlags());
  job.SetPartnerFlag(0, TRUE);
  wkt::fuzz::Require(wkt::TextLength(job.GetFlags()) > 4 && job.GetFlags()[4] != u'0',
                     "the mark is in the row");
  job.SetUnused3(packet.GetUnused3());
  job.SetLocalDayAsFileTime(packet.GetLocalDayAsFileTime());
  job.SetModificationTime(packet.GetModificationTime(), FALSE);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t byteCount) {
  wkt::fuzz::RunPacket<CJobPacket>(wkt::CheckJobPacket, data, byteCount);
  if (byteCount && wkt::CheckJobPacket(data, static_cast<DWORD>(byteCount)))
    FillRecord(data, byteCount);
  return 0;
}
