// What records and packets write into the log, whole.
#include <gtest/gtest.h>

#include <optional>
#include <vector>

#include "WktCommon/Log.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Samples.h"

namespace wkt::test {
namespace {

// The clock of the device stands at 2026-03-02 08:00 UTC, nine o'clock in Vienna.
class RecordLog : public DeskDeviceTest {
 protected:
  RecordLog() {
    wkt::logState = {};
    device.MakeInstallation();
    capture.emplace(device);
    StartLogging(u"test", u"\\log.txt");
    capture->Take();
  }
  ~RecordLog() override { wkt::logState = {}; }
  void Expect(const LogLines& lines) { ExpectLog(*capture, lines); }
  std::optional<LogCapture> capture;
};

TEST_F(RecordLog, Job) {
  { const CJobLean job(FALSE); }
  Expect({">CJobLean::CJobLean", "4 Make new = 0", "512 this = A1", "<CJobLean::CJobLean",
          ">CJobLean::~CJobLean", "512 this = A1", "<CJobLean::~CJobLean"});
}

TEST_F(RecordLog, NewJob) {
  const CJobLean job(TRUE);
  Expect({">CJobLean::CJobLean", "4 Make new = 1", "512 this = A1", ">CWktUtilLean::CreateGUID",
          ">CWktUtilLean::CreateOwnGUID", "<CWktUtilLean::CreateOwnGUID", "8 Guid = CE-1-2-3-4",
          "<CWktUtilLean::CreateGUID", "512 Job id = 'CE-1-2-3-4'", "<CJobLean::CJobLean"});
}

TEST_F(RecordLog, OnlyTheLocalDayOfAJobIsToldWhenSet) {
  const std::unique_ptr<CJobLean> job = MakeSampleJob();
  capture->Take();
  job->SetTitle(u"other");
  job->SetFlags(u"1111111111111111111");
  job->SetPersonIds(u"x; y");
  job->SetModified(TRUE);
  Expect({});
  // 2026-03-01T13:45:30 on the local clock.
  job->SetLocalDayAsFileTime(TicksToTime(134'168'463'300'000'000));
  Expect({"256 Local day = 3/1/26 13:45"});
  job->SetLocalDayAsFileTime(job->GetLocalDayAsFileTime());
  Expect({});
}

TEST_F(RecordLog, Type) {
  { const CWktTypeLean type(FALSE); }
  Expect({">CWktTypeLean::CWktTypeLean", "4 Make new = 0", "256 this = A1",
          "<CWktTypeLean::CWktTypeLean", ">CWktTypeLean::~CWktTypeLean", "512 this = A1",
          "<CWktTypeLean::~CWktTypeLean"});
}

TEST_F(RecordLog, NewTypeOfAnyKind) {
  for (int kind = 1; kind <= 5; ++kind) {
    capture->Take();
    const TypePtr type(MakeType(kind, TRUE));
    Expect({">CWktTypeLean::CWktTypeLean", "4 Make new = 1", "256 this = A1",
            ">CWktUtilLean::CreateGUID", ">CWktUtilLean::CreateOwnGUID",
            "<CWktUtilLean::CreateOwnGUID", "8 Guid = CE-1-2-3-4", "<CWktUtilLean::CreateGUID",
            "512 Type id = 'CE-1-2-3-4'", "<CWktTypeLean::CWktTypeLean"});
    type->SetName1(u"a");
    type->SetFlag(5, TRUE);
    type->Assign(*type);
    Expect({});
  }
}

TEST_F(RecordLog, CopyOfAnyKindDrawsNoIdentifier) {
  std::vector<TypePtr> types;
  types.emplace_back(new CWktTypeLean(TRUE));
  for (int kind = 1; kind <= 5; ++kind)
    types.emplace_back(MakeType(kind, TRUE));
  types.emplace_back(new CWktTypeItem);
  for (const TypePtr& type : types) {
    capture->Take();
    const TypePtr copy(type->Clone());
    Expect({">CWktTypeLean::CWktTypeLean", "4 Make new = 0", "256 this = A1",
            "<CWktTypeLean::CWktTypeLean"});
  }
}

TEST_F(RecordLog, JobPacketWithDefaults) {
  { const CJobPacket packet(2); }
  Expect({">CJobPacket::CJobPacket", "4 Activity Type = 2", "512 Instance = 1",
          "512 Local day = 3/2/26 08:00", "<CJobPacket::CJobPacket", ">CJobPacket::~CJobPacket",
          "512 Instance = 1", "<CJobPacket::~CJobPacket"});
}

TEST_F(RecordLog, InstanceCountersReturnToTheirFormerValue) {
  for (int round = 0; round < 2; ++round) {
    {
      const CJobPacket first(1);
      capture->Take();
      const CJobPacket second(1);
      EXPECT_EQ(capture->Take()[2], "512 Instance = 2");
    }
    {
      const CWktTypePacket first;
      capture->Take();
      const CWktTypePacket second;
      EXPECT_EQ(capture->Take()[1], "512 Instance = 2");
    }
    capture->Take();
  }
}

// Times in UTC: modified 2026-03-01T09:00:00.5, begun 08:15, ended 23:30, which is the next day in
// Vienna. The day is local.
std::unique_ptr<CJobPacket> MakeTimedPacket() {
  auto packet = std::make_unique<CJobPacket>(1);
  FillFromJob(*packet, *MakeSampleJob());
  constexpr uint64_t kDay = 134'167'968'000'000'000;  // 2026-03-01
  constexpr uint64_t kMinute = 600'000'000;
  packet->SetModificationTime(TicksToTime(kDay + 9ull * 60 * kMinute + 5'000'000));
  packet->SetStartTime(TicksToTime(kDay + (8 * 60 + 15) * kMinute));
  packet->SetEndTime(TicksToTime(kDay + (23 * 60 + 30) * kMinute));
  packet->SetLocalDayAsFileTime(TicksToTime(kDay + (23 * 60 + 30) * kMinute));
  return packet;
}

TEST_F(RecordLog, JobPacketToBytesAndBack) {
  const std::unique_ptr<CJobPacket> packet = MakeTimedPacket();
  capture->Take();
  const std::vector<uint8_t> bytes = Encode(*packet);
  Expect({">CJobPacket::ToBytes", "512 Job id = 'CE-1cb8a2f-5e3d1c80-0-1'",
          "512 Version number = 23", "512 Modification time = 3/1/26 10:00:00",
          "512 Title = 'Quarterly report 1'", "512 Comment = 'First draft\nSecond line 1'",
          "512 Work Type ID = CE-1-1-1-1; Project ID = CE-2-2-2-1; Teamwork ID = CE-3-3-3-1",
          "512 Start time = 3/1/26 09:15", "512 End time = 3/2/26 00:30",
          "512 Person Ids = CE-4-4-4-4; CE-5-5-5-1", "512 Flags = '1000110110011110111'",
          "512 Unused2 = -1001", "512 Unused3 = 'head tail 1'", "512 Local day = 3/1/26 23:30",
          "8 Byte Count = 884; Bytes = A1", "<CJobPacket::ToBytes"});
  const CJobPacket read(bytes.data(), static_cast<DWORD>(bytes.size()));
  Expect({">CJobPacket::CJobPacket",
          "4 Bytes = A1; Byte Count = 884",
          "512 Instance = 2",
          ">CJobPacket::Init",
          "4 Bytes = A2; Id size = 40",
          "512 Job Id = 'CE-1cb8a2f-5e3d1c80-0-1'",
          "512 Version number = 23",
          "512 Modification time = 3/1/26 10:00:00",
          "512 Title = 'Quarterly report 1'",
          "512 Comment = 'First draft\nSecond line 1'",
          "512 Work Type ID = CE-1-1-1-1; Project ID = CE-2-2-2-1; Teamwork ID = CE-3-3-3-1",
          "512 Start time = 3/1/26 09:15",
          "512 End time = 3/2/26 00:30",
          "512 Person ids = CE-4-4-4-4; CE-5-5-5-1",
          "512 Flags = '1000110110011110111'",
          "512 Unused2 = -1001",
          "512 Unused3 = 'head tail 1'",
          "512 Local day = 3/1/26 23:30",
          "<CJobPacket::Init",
          "<CJobPacket::CJobPacket"});
}

// Instants of another half of the year are told by the clock of their own date, days as they are.
TEST_F(RecordLog, DatesInSummerAreToldInSummerTime) {
  constexpr uint64_t kSummerDay = 134'285'472'000'000'000;  // 2026-07-15
  constexpr uint64_t kHour = 36'000'000'000;
  CJobLean job(FALSE);
  CJobPacket packet(1);
  capture->Take();
  job.SetLocalDayAsFileTime(TicksToTime(kSummerDay));
  job.SetLocalDayAsFileTime(TicksToTime(kSummerDay + 23 * kHour));
  Expect({"256 Local day = 7/15/26 00:00", "256 Local day = 7/15/26 23:00"});
  packet.SetLocalDayAsFileTime(TicksToTime(kSummerDay + 23 * kHour));
  packet.SetLocalDayAsFileTime(TicksToTime(kSummerDay));
  packet.SetLocalDayAsFileTime(TicksToTime(kSummerDay));
  Expect({"512 Local day = 7/15/26 23:00", "512 Local day = 7/15/26 00:00",
          "512 Local day = 7/15/26 00:00"});
  packet.SetModificationTime(TicksToTime(kSummerDay + 7 * kHour));
  packet.SetStartTime(TicksToTime(kSummerDay + 8 * kHour));
  packet.SetEndTime(TicksToTime(kSummerDay + 9 * kHour));
  (void)Encode(packet);
  Expect({">CJobPacket::ToBytes", "512 Job id = ''", "512 Version number = 22 ",
          "512 Modification time = 7/15/26 09:00:00", "512 Title = ''", "512 Comment = ''",
          "512 Work Type ID = ; Project ID = ; Teamwork ID = ", "512 Start time = 7/15/26 10:00",
          "512 End time = 7/15/26 11:00", "512 Person Ids = ", "512 Flags = '0000000000000000000'",
          "512 Unused2 = -1", "512 Unused3 = ''", "512 Local day = 7/15/26 00:00",
          "8 Byte Count = 686; Bytes = A1", "<CJobPacket::ToBytes"});
}

TEST_F(RecordLog, JobPacketWithAForeignHeader) {
  std::vector<uint8_t> bytes = Encode(*MakeTimedPacket());
  bytes[0] = 'w';
  capture->Take();
  { const CJobPacket packet(bytes.data(), static_cast<DWORD>(bytes.size())); }
  Expect({">CJobPacket::CJobPacket", "4 Bytes = A1; Byte Count = 884", "512 Instance = 1",
          "32 Invalid packet header; Got = 'worktally'; Expected = 'Worktally'",
          "<CJobPacket::CJobPacket", ">CJobPacket::~CJobPacket", "512 Instance = 1",
          "<CJobPacket::~CJobPacket"});
}

TEST_F(RecordLog, HeaderWithoutTerminatorIsShownToItsWidth) {
  const std::vector<uint8_t> bytes(20, 'A');
  { const CJobPacket packet(bytes.data(), 20); }
  EXPECT_EQ(capture->Take()[3],
            "32 Invalid packet header; Got = '\u4141\u4141\u4141\u4141\u4141\u4141\u4141\u4141"
            "\u4141\u4141'; Expected = 'Worktally'");
}

TEST_F(RecordLog, JobPacketWithAForeignTypeText) {
  std::vector<uint8_t> bytes = Encode(*MakeTimedPacket());
  bytes[20] = 'A';
  capture->Take();
  { const CJobPacket packet(bytes.data(), static_cast<DWORD>(bytes.size())); }
  Expect({">CJobPacket::CJobPacket", "4 Bytes = A1; Byte Count = 884", "512 Instance = 1",
          "32 Invalid packet type; Got = 'Act'; Expected = 'act' or 'fac'",
          "<CJobPacket::CJobPacket", ">CJobPacket::~CJobPacket", "512 Instance = 1",
          "<CJobPacket::~CJobPacket"});
}

TEST_F(RecordLog, OlderLayoutShowsItsWidth) {
  for (const GoldenPacket& golden : LoadGoldenPackets()) {
    if (golden.name != "job-older-daily")
      continue;
    capture->Take();
    const CJobPacket packet(golden.bytes.data(), static_cast<DWORD>(golden.bytes.size()));
    const LogLines lines = FilterLog(capture->Take());
    EXPECT_EQ(lines[4], "4 Bytes = A2; Id size = 20");
    EXPECT_EQ(lines[10], "512 Work Type ID = G2; Project ID = G3; Teamwork ID = ");
    return;
  }
  FAIL() << "no golden packet of the older layout";
}

TEST_F(RecordLog, TypePacketWithDefaults) {
  { const CWktTypePacket packet; }
  Expect({">CWktTypePacket::CWktTypePacket", "512 Instance = 1", "<CWktTypePacket::CWktTypePacket",
          ">CWktTypePacket::~CWktTypePacket", "512 Instance = 1",
          "<CWktTypePacket::~CWktTypePacket"});
}

TEST_F(RecordLog, TypePacketToBytesAndBack) {
  CWktTypePacket packet;
  FillFromType(packet, *MakeSampleType(3));
  capture->Take();
  const std::vector<uint8_t> bytes = Encode(packet);
  Expect({">CWktTypePacket::ToBytes", "512 Type = 3", "512 Id = 'CE-1cb8a2f-5e3d1c80-1-1'",
          "512 Version number = 32", "512 Modification time = 3/1/26 11:00:00",
          "512 Creation time = 3/1/26 08:00:00", "512 Use count = 101", "512 Name1 = 'Name 1'",
          "512 Name2 = 'Second name 1'", "512 Comment = 'First line\nSecond line 1'",
          "512 Flags = '1000110110011110111'", "512 Unused1 = 'CE-6-6-6-1'",
          "512 Unused2 = 'spare 1'", "512 Unused3 = -2001", "512 Unused4 = 3001",
          "512 Unused5 = 3/1/26 12:00:00", "8 Byte Count = 646; Bytes = A1",
          "<CWktTypePacket::ToBytes"});
  const CWktTypePacket read(bytes.data(), static_cast<DWORD>(bytes.size()));
  Expect({">CWktTypePacket::CWktTypePacket", "4 Bytes = A1; Byte Count = 646", "512 Instance = 2",
          ">CWktTypePacket::Init", "4 Bytes = A2; Id size = 0", "512 Type = 3",
          "512 Id = 'CE-1cb8a2f-5e3d1c80-1-1'", "512 Version number = 32",
          "512 Modification time = 3/1/26 11:00:00", "512 Creation time = 3/1/26 08:00:00",
          "512 Use count = 101", "512 Name1 = 'Name 1'", "512 Name2 = 'Second name 1'",
          "512 Comment = 'First line\nSecond line 1'", "512 Flags = '1000110110011110111'",
          "512 Unused1 = 'CE-6-6-6-1'", "512 Unused2 = 'spare 1'", "512 Unused3 = -2001",
          "512 Unused4 = 3001",
          // Made from the modification time.
          "512 Unused5 = 3/1/26 11:00:00", "<CWktTypePacket::Init",
          "<CWktTypePacket::CWktTypePacket"});
  EXPECT_EQ(Ticks(read.GetUnused5()), Ticks(MakeSampleType(3)->GetUnused5()));
}

TEST_F(RecordLog, TypePacketWithAForeignHeader) {
  std::vector<uint8_t> bytes = Encode(CWktTypePacket());
  bytes[2] = 'O';
  capture->Take();
  { const CWktTypePacket packet(bytes.data(), static_cast<DWORD>(bytes.size())); }
  Expect({">CWktTypePacket::CWktTypePacket", "4 Bytes = A1; Byte Count = 480", "512 Instance = 1",
          "32 Invalid packet header; Got = 'WOrktally'; Expected = 'Worktally'",
          "<CWktTypePacket::CWktTypePacket", ">CWktTypePacket::~CWktTypePacket", "512 Instance = 1",
          "<CWktTypePacket::~CWktTypePacket"});
}

TEST_F(RecordLog, BytesRefusedForWantOfMemoryAreZero) {
  const CJobPacket packet(1);
  capture->Take();
  DWORD byteCount = 1;
  {
    const AllocationFailure failure(1);
    (void)packet.ToBytes(&byteCount);
  }
  const LogLines lines = capture->Take();
  EXPECT_EQ(lines[lines.size() - 2], "8 Byte Count = 0; Bytes = 0");
}

}  // namespace
}  // namespace wkt::test
