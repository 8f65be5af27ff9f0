#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "WktCommon/JobPacket.h"
#include "WktCommon/WktTypePacket.h"
#include "tests/WktDevSync/TransferTest.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Samples.h"

namespace {

using wkt::test::FailingCall;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawType;

constexpr char16_t kJobs[] = u"WktActivities";
constexpr char16_t kFavorites[] = u"WktFavorites";
constexpr char16_t kTypes[] = u"WktTypes";

class ObjectTransfer : public TransferTest {
 protected:
  CEOID AddJob() { return RawDatabase(u"WktDevJobs").Add(RawJob(u"J1")); }
  CEOID AddType(int32_t kind = 3) { return RawDatabase(u"WktDevTypes").Add(RawType(u"T1", kind)); }
  static std::vector<uint8_t> JobBytes() {
    CJobPacket packet(1);
    wkt::test::FillFromJob(packet, *wkt::test::MakeSampleJob());
    return wkt::test::Encode(packet);
  }
  static std::vector<uint8_t> TypeBytes() {
    CWktTypePacket packet;
    wkt::test::FillFromType(packet, *wkt::test::MakeSampleType(3));
    return wkt::test::Encode(packet);
  }
  // Everything stored, as text.
  static std::string Stored() {
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
};

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
  const CEOID job = AddJob();
  const CEOID type = AddType();
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
  const CEOID job = AddJob();
  const CEOID type = AddType();
  Get(kTypes, type);
  Get(kTypes, type);
  EXPECT_EQ(LinesOf(log.Take(), "512 Instance"), Lines{"512 Instance = 2"});
  Get(kJobs, job);
  const Lines lines = log.Take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), ">CWktTypePacket::~CWktTypePacket"), 0);
}

TEST_F(ObjectTransfer, DestroysNoPacketWithTheHandler) {
  Get(kJobs, AddJob());
  log.Take();
  EXPECT_EQ(handler->Release(), 0u);
  handler = nullptr;
  EXPECT_EQ(log.Take(), Lines{});
}

TEST_F(ObjectTransfer, LeavesTheBytesHandedOutAlone) {
  const CEOID job = AddJob();
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

TEST_F(ObjectTransfer, FailsWhereTheDatabaseCannotBeOpened) {
  const std::vector<uint8_t> job = JobBytes();
  const std::vector<uint8_t> type = TypeBytes();
  {
    const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Get(kFavorites, 1).result, RERR_BAD_OBJECT);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to open database 'WktDevFavJobs'"});
  }
  {
    const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Get(kTypes, 1).result, RERR_BAD_OBJECT);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to open database 'WktDevTypes'"});
  }
  {
    const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Delete(kTypes, 1), RERR_BAD_OBJECT);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to open database 'WktDevTypes'"});
  }
  EXPECT_EQ(RaisedNotices(), Lines{});
  {
    const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Put(kJobs, 0, job), E_UNEXPECTED);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to open database 'WktDevJobs'"});
  }
  {
    const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Put(kTypes, 0, type), E_UNEXPECTED);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to open types database 'WktDevTypes'"});
  }
  // The notice was raised before the database was opened.
  EXPECT_EQ(RaisedNotices(), (Lines{"Daily jobs changed", "Types changed"}));
}

TEST_F(ObjectTransfer, TakesARefusedAdditionForASuccess) {
  for (const auto& [folder, bytes] :
       {std::pair(kJobs, JobBytes()), std::pair(kTypes, TypeBytes())}) {
    const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
    EXPECT_EQ(Put(folder, 0, bytes), S_OK);
    EXPECT_EQ(writeSetup.oidNew, 0u);
    EXPECT_EQ(LinesOf(log.Take(), "16 "), Lines{"16 Write failed; Error = 112"});
  }
  EXPECT_EQ(Stored(), "");
}

TEST_F(ObjectTransfer, FailsWhereAModificationIsRefused) {
  const CEOID oid = AddJob();
  const std::string before = Stored();
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
  EXPECT_EQ(Put(kJobs, oid, JobBytes()), E_UNEXPECTED);
  EXPECT_EQ(Stored(), before);
  EXPECT_EQ(RaisedNotices(), Lines{"Daily jobs changed"});
}

TEST_F(ObjectTransfer, RaisesNoNoticeForARefusedDeletion) {
  const CEOID job = AddJob();
  const CEOID type = AddType();
  {
    const FailingCall failure("CeDeleteRecord", 1, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Delete(kJobs, job), E_UNEXPECTED);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to delete job"});
  }
  {
    const FailingCall failure("CeDeleteRecord", 1, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Delete(kTypes, type), E_UNEXPECTED);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to delete type"});
  }
  EXPECT_EQ(RaisedNotices(), Lines{});
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
  const CEOID oid = AddType(9);
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
  EXPECT_EQ(Put(kTypes, oid, TypeBytes()), S_OK);
  EXPECT_EQ(RawDatabase(u"WktDevTypes").Read(oid)->Number(0x40200003), 3);
}

TEST_F(ObjectTransfer, KeepsItsAnswerWhenASaveFails) {
  const CEOID job = AddJob();
  const CEOID type = AddType();
  {
    const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
    EXPECT_EQ(Notify(kJobs, job, ONF_CLEAR_CHANGE), FALSE);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to modify job in database"});
  }
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
  EXPECT_EQ(Notify(kTypes, type, ONF_CLEAR_CHANGE), FALSE);
  EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to modify type in database"});
}

TEST_F(ObjectTransfer, NotifiesAndFindsNothingWhereTheDatabaseCannotBeOpened) {
  {
    const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Notify(kTypes, 1, ONF_RECORD | ONF_DELETED), FALSE);
    EXPECT_EQ(notice.cOidDel, 0u);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to open database 'WktDevTypes'"});
  }
  const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
  FINDOBJINFO info = {};
  SetName(info.szObjType, kTypes);
  EXPECT_EQ(provider.findObjects(&info), E_UNEXPECTED);
  EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to open database 'WktDevTypes'"});
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

// Whatever call of the platform fails, in whatever operation: an answer that is defined, and no
// record half written.
TEST_F(ObjectTransfer, SurvivesTheFailureOfAnyCall) {
  const CEOID job = AddJob();
  const CEOID type = AddType();
  const std::string before = Stored();
  const auto isDefined = [](HRESULT result) {
    return result == S_OK || result == RWRN_LAST_PACKET || result == E_UNEXPECTED ||
           result == RERR_BAD_OBJECT || result == static_cast<HRESULT>(0x80070002);
  };
  // Nothing of the test's own calls the platform in between: its calls would fail, too.
  const auto get = [&](const std::u16string& folder, CEOID oid) {
    readSetup = MakeSetup(folder, oid, TRUE, 0);
    handler->Setup(&readSetup);
    BYTE* packet = nullptr;
    DWORD byteCount = 0;
    return handler->GetPacket(&packet, &byteCount, 8192);
  };
  std::vector<uint8_t> sent = JobBytes();
  REPLSETUP deleted = MakeSetup(kJobs, 999'999, FALSE, 0);
  const std::vector<std::function<HRESULT()>> operations = {
      [&] { return get(kJobs, job); },
      [&] { return get(kTypes, type); },
      [&] {
        FINDOBJINFO info = {};
        SetName(info.szObjType, kJobs);
        const HRESULT result = provider.findObjects(&info);
        info.uFlags = FO_DONE_ONE_VOL;
        provider.findObjects(&info);
        LocalFree(info.poid);
        return result;
      },
      [&] {
        writeSetup = MakeSetup(kJobs, 999'999, FALSE, 0);
        handler->Setup(&writeSetup);
        return handler->SetPacket(sent.data(), static_cast<DWORD>(sent.size()));
      },
      [&] { return handler->DeleteObj(&deleted); },
  };
  // Those that release something are left out: what they refuse to release stays.
  for (const char* const call :
       {"CeFindFirstDatabaseEx", "CeFindNextDatabase", "CeOidGetInfoEx2", "CeOpenDatabaseEx2",
        "CeSeekDatabase", "CeSeekDatabaseEx", "CeReadRecordPropsEx", "CeWriteRecordProps",
        "LocalAlloc", "CreateMutexW", "WaitForSingleObject", "GetSystemTime",
        "SystemTimeToFileTime"}) {
    int failures = 0;
    for (const auto& operation : operations) {
      for (uint32_t nth = 1; nth < 50; ++nth) {
        const FailingCall failure(call, nth, ERROR_NOT_ENOUGH_MEMORY);
        const HRESULT result = operation();
        EXPECT_TRUE(isDefined(result)) << call << " " << result;
        if (!failure.Happened())
          break;
        ++failures;
      }
    }
    EXPECT_GT(failures, 0) << call;
  }
  EXPECT_EQ(Stored(), before);
}

TEST_F(ObjectTransfer, SurvivesDamagedBytes) {
  uint32_t state = 12345;
  const auto random = [&state] { return state = state * 1664525 + 1013904223, state >> 8; };
  for (const auto& [folder, bytes] :
       {std::pair(kJobs, JobBytes()), std::pair(kTypes, TypeBytes())}) {
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
