#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypePacket.h"
#include "tests/WktDevSync/TransferTest.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Samples.h"

namespace {

using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawType;

using ObjectTransfer = TransferTest;

TEST_F(ObjectTransfer, KnowsNoOtherInterface) {
  void* found = &found;
  EXPECT_EQ(handler->QueryInterface(IID{}, &found), E_NOINTERFACE);
  EXPECT_EQ(found, nullptr);
}

TEST_F(ObjectTransfer, CountsItsReferences) {
  EXPECT_EQ(handler->AddRef(), 2u);
  EXPECT_EQ(handler->AddRef(), 3u);
  EXPECT_EQ(handler->Release(), 2u);
  EXPECT_EQ(handler->Release(), 1u);
  EXPECT_EQ(handler->Release(), 0u);
  handler = nullptr;
}

TEST_F(ObjectTransfer, DestroysTheJobPacketBeforeTheNextOfEitherKind) {
  const CEOID job = AddRecord(kJobs);
  const CEOID type = AddRecord(kTypes);
  EXPECT_EQ(Get(kJobs, job).result, RWRN_LAST_PACKET);
  EXPECT_EQ(Get(kJobs, job).result, RWRN_LAST_PACKET);
  EXPECT_EQ(LinesOf(log.Take(), "512 Instance"), (Lines{"512 Instance = 1", "512 Instance = 1"}));
  EXPECT_EQ(Get(kTypes, type).result, RWRN_LAST_PACKET);
  const Lines lines = log.Take();
  const auto destroyed = std::find(lines.begin(), lines.end(), ">CJobPacket::~CJobPacket");
  const auto made = std::find(lines.begin(), lines.end(), ">CWktTypePacket::CWktTypePacket");
  EXPECT_NE(destroyed, lines.end());
  EXPECT_LT(destroyed, made);
}

TEST_F(ObjectTransfer, ReplacesATypePacketWithoutDestroyingIt) {
  const CEOID job = AddRecord(kJobs);
  const CEOID type = AddRecord(kTypes);
  Get(kTypes, type);
  Get(kTypes, type);
  EXPECT_EQ(LinesOf(log.Take(), "512 Instance"), Lines{"512 Instance = 2"});
  Get(kJobs, job);
  const Lines lines = log.Take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), ">CWktTypePacket::~CWktTypePacket"), 0);
}

TEST_F(ObjectTransfer, DestroysNoPacketWithTheHandler) {
  Get(kJobs, AddRecord(kJobs));
  log.Take();
  EXPECT_EQ(handler->Release(), 0u);
  handler = nullptr;
  EXPECT_EQ(log.Take(), Lines{});
}

TEST_F(ObjectTransfer, LeavesTheBytesHandedOutAlone) {
  const CEOID job = AddRecord(kJobs);
  const Packet first = Get(kJobs, job);
  const std::vector<BYTE> before(first.bytes, first.bytes + first.byteCount);
  handler->Reset(&readSetup);
  const Packet second = Get(kJobs, job);
  EXPECT_NE(second.bytes, first.bytes);
  handler->Release();
  handler = nullptr;
  EXPECT_EQ(std::memcmp(first.bytes, before.data(), before.size()), 0);
}

TEST_F(ObjectTransfer, LeavesTheOutputsAloneWhenThereIsNoPacket) {
  const Packet packet = Get(kJobs, 12345);
  EXPECT_EQ(packet.result, RERR_BAD_OBJECT);
  EXPECT_EQ(packet.bytes, nullptr);
  EXPECT_EQ(packet.byteCount, 0xDEADBEEF);
}

TEST_F(ObjectTransfer, CutsStoredTextsToTheFieldsOfThePacket) {
  RawDatabase raw(u"WktDevJobs");
  const std::u16string longId(60, u'w');
  const CEOID oid = raw.Add(RawJob(u"J1")
                                .Set(0x4013001F, longId)
                                .Set(0x4014001F, longId)
                                .Set(0x4015001F, longId)
                                .Set(0x400B001F, u"0010000000000000001222222222222222")
                                .Set(0x40010003, 123456));
  const Packet packet = Get(kJobs, oid);
  ASSERT_EQ(packet.result, RWRN_LAST_PACKET);
  const CJobPacket read(packet.bytes, packet.byteCount);
  for (const WCHAR* text : {read.GetWorkTypeId(), read.GetProjectId(), read.GetTeamworkId()})
    EXPECT_EQ(std::u16string(text), longId.substr(0, 39));
  EXPECT_EQ(std::u16string(read.GetFlags()), u"0010000000000000001");
  EXPECT_EQ(read.GetVersionNumber(), 123);
}

TEST_F(ObjectTransfer, CutsStoredTextsOfATypeToo) {
  RawDatabase raw(u"WktDevTypes");
  const CEOID oid = raw.Add(RawType(u"T1", 3)
                                .Set(0x4029001F, u"0001000000000000001222222222222222")
                                .Set(0x40220003, 123456)
                                .Set(0x4028001F, std::u16string(30'000, u'c')));
  const Packet packet = Get(kTypes, oid);
  ASSERT_EQ(packet.result, RWRN_LAST_PACKET);
  const CWktTypePacket read(packet.bytes, packet.byteCount);
  EXPECT_EQ(std::u16string(read.GetFlags()), u"0001000000000000001");
  EXPECT_EQ(read.GetVersionNumber(), 123);
  EXPECT_EQ(std::u16string(read.GetComment()).size(), 30'000u);
}

TEST_F(ObjectTransfer, KeepsTheTimeOfAJobAndStampsAType) {
  CJobPacket job(1);
  wkt::test::FillFromJob(job, *wkt::test::MakeSampleJob());
  job.SetModificationTime({1234, 5});
  ASSERT_EQ(Put(kJobs, 0, wkt::test::Encode(job)), S_OK);
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Read(writeSetup.oidNew)->Time(0x40020040),
            (uint64_t{5} << 32) + 1234);
  CWktTypePacket type;
  wkt::test::FillFromType(type, *wkt::test::MakeSampleType(3));
  type.SetFlags(u"0001000000000000000");
  type.SetModificationTime({1234, 5});
  ASSERT_EQ(Put(kTypes, 0, wkt::test::Encode(type)), S_OK);
  // Marking it as synchronized is a change of the record like any other.
  EXPECT_EQ(RawDatabase(u"WktDevTypes").Read(writeSetup.oidNew)->Time(0x40230040),
            wkt::test::kStartTicks);
}

TEST_F(ObjectTransfer, DoesNotTouchATypeOfAnUnknownKind) {
  const CEOID oid = RawDatabase(u"WktDevTypes").Add(RawType(u"T1", 9));
  const std::string before = Stored();
  EXPECT_EQ(Get(kTypes, oid).result, RERR_BAD_OBJECT);
  EXPECT_EQ(LinesOf(log.Take(), "128 "),
            Lines{"128 Failed to find type in database; ceOid = " + std::to_string(oid)});
  EXPECT_EQ(Notify(kTypes, oid, ONF_CLEAR_CHANGE), FALSE);
  EXPECT_EQ(LinesOf(log.Take(), "128 "),
            Lines{"128 Failed to find type in database; ceOid = " + std::to_string(oid)});
  EXPECT_EQ(Delete(kTypes, oid), static_cast<HRESULT>(0x80070002));
  EXPECT_EQ(Stored(), before);
  // A desktop that knows it replaces it by a kind that is known here.
  EXPECT_EQ(Put(kTypes, oid, SampleBytes(kTypes)), S_OK);
  EXPECT_EQ(RawDatabase(u"WktDevTypes").Read(oid)->Number(0x40200003), 3);
}

TEST_F(ObjectTransfer, AnswersToNullStructures) {
  EXPECT_EQ(provider.findObjects(nullptr), E_UNEXPECTED);
  EXPECT_EQ(provider.objectNotify(nullptr), FALSE);
  EXPECT_EQ(handler->Setup(nullptr), S_OK);
  EXPECT_EQ(handler->DeleteObj(nullptr), S_OK);
  EXPECT_EQ(LinesOf(log.Take(), "128 "), Lines{"128 Unsupported folder type"});
}

TEST_F(ObjectTransfer, RefusesEveryTruncationOfEveryPacket) {
  for (const wkt::test::GoldenPacket& golden : wkt::test::LoadGoldenPackets()) {
    writeSetup = MakeSetup(golden.IsJob() ? kJobs : kTypes, 0, FALSE, RSF_NEW_OBJECT);
    handler->Setup(&writeSetup);
    for (size_t length = 0; length < golden.bytes.size(); ++length) {
      // A block of exactly this size: a byte read beyond it is found out.
      const std::unique_ptr<BYTE[]> part(new BYTE[length]);
      std::copy_n(golden.bytes.begin(), length, part.get());
      ASSERT_EQ(handler->SetPacket(part.get(), static_cast<DWORD>(length)), E_UNEXPECTED)
          << golden.name << " cut to " << length;
      if (length % 1000 == 0)
        log.Take();
    }
  }
  EXPECT_EQ(Stored(), "");
  EXPECT_EQ(RaisedNotices(), Lines{});
}

TEST_F(ObjectTransfer, BringsEveryPacketToTheDeviceAndBack) {
  for (const wkt::test::GoldenPacket& golden : wkt::test::LoadGoldenPackets()) {
    const char16_t* const folder = golden.IsJob() ? kJobs : kTypes;
    ASSERT_EQ(Put(folder, 0, golden.bytes), S_OK) << golden.name;
    ASSERT_NE(writeSetup.oidNew, 0u) << golden.name;
    const Packet back = Get(folder, writeSetup.oidNew);
    ASSERT_EQ(back.result, RWRN_LAST_PACKET) << golden.name;
    if (golden.IsJob()) {
      const CJobPacket read(back.bytes, back.byteCount);
      EXPECT_EQ(std::u16string(read.GetJobId()), golden.Text("jobId")) << golden.name;
      EXPECT_EQ(std::u16string(read.GetComment()), golden.Text("comment")) << golden.name;
      EXPECT_EQ(std::u16string(read.GetWorkTypeId()), golden.Text("workTypeId")) << golden.name;
    } else {
      const CWktTypePacket read(back.bytes, back.byteCount);
      EXPECT_EQ(std::u16string(read.GetId()), golden.Text("id")) << golden.name;
      EXPECT_EQ(std::u16string(read.GetComment()), golden.Text("comment")) << golden.name;
    }
  }
}

TEST_F(ObjectTransfer, SurvivesDamagedBytes) {
  uint32_t state = 12345;
  const auto random = [&state] { return state = state * 1664525 + 1013904223, state >> 8; };
  for (const auto& [folder, bytes] :
       {std::pair(kJobs, SampleBytes(kJobs)), std::pair(kTypes, SampleBytes(kTypes))}) {
    for (int i = 0; i < 300; ++i) {
      std::vector<uint8_t> damaged = bytes;
      for (uint32_t n = random() % 4 + 1; n > 0; --n)
        damaged[random() % damaged.size()] = static_cast<uint8_t>(random());
      const HRESULT result = Put(folder, 0, damaged);
      ASSERT_TRUE(result == S_OK || result == E_UNEXPECTED);
      ASSERT_EQ(result == S_OK, writeSetup.oidNew != 0);
    }
  }
}

}  // namespace
