#include "tests/WktDevSync/TransferTest.h"

#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypePacket.h"
#include "host/control/DeskWindow.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Samples.h"

using wkt::test::RawDatabase;

CEOID TransferTest::AddRecord(const std::u16string& folder) {
  if (folder == kTypes)
    return RawDatabase(u"WktDevTypes").Add(wkt::test::RawType(u"T1", 3));
  return RawDatabase(folder == kJobs ? u"WktDevJobs" : u"WktDevFavJobs")
      .Add(wkt::test::RawJob(u"J1"));
}

std::vector<uint8_t> TransferTest::SampleBytes(const std::u16string& folder) {
  if (folder == kTypes) {
    CWktTypePacket packet;
    wkt::test::FillFromType(packet, *wkt::test::MakeSampleType(3));
    return wkt::test::Encode(packet);
  }
  CJobPacket packet(folder == kJobs ? 1 : 2);
  wkt::test::FillFromJob(packet, *wkt::test::MakeSampleJob());
  return wkt::test::Encode(packet);
}

std::string TransferTest::Stored() {
  std::string all;
  for (const char16_t* name : {u"WktDevJobs", u"WktDevFavJobs", u"WktDevTypes"}) {
    if (!wkt::test::HasDatabase(name))
      continue;
    RawDatabase raw(name);
    for (const CEOID oid : raw.List())
      all += std::to_string(oid) + " " + raw.Read(oid)->Describe() + "\n";
  }
  return all;
}

TransferTest::Lines TransferTest::RaisedNotices() {
  const wkt::control::DeskWindow window;
  log.Take();
  provider.reportStatus(nullptr, RSC_END_SYNC, 0);
  Lines notices;
  const std::string start = "256 Nofifying application window: ";
  for (const std::string& line : log.Take()) {
    if (line.starts_with(start))
      notices.push_back(line.substr(start.size()));
  }
  return notices;
}
