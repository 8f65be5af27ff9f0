#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "platform/Files.h"
#include "tests/WktDevSync/TransferTest.h"
#include "tests/support/Bytes.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/Samples.h"

// A service manager that hands over nothing, too little or what it should not.
namespace {

using wkt::test::BytesOf;
using wkt::test::ExpectLog;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RecordedCalls;

using HostileTransfer = TransferTest;

TEST_F(HostileTransfer, SendsNothingWithoutAPlaceForBytesOrCount) {
  for (const std::u16string folder : {kJobs, kFavorites, kTypes}) {
    readSetup = MakeSetup(folder, AddRecord(folder), TRUE, 0);
    handler->Setup(&readSetup);
    BYTE sentinel = 0;
    BYTE* bytes = &sentinel;
    DWORD byteCount = 0xDEADBEEF;
    for (const auto& [bytesPlace, countPlace] :
         {std::pair<BYTE**, DWORD*>(nullptr, &byteCount), {&bytes, nullptr}, {nullptr, nullptr}}) {
      log.Take();
      RecordedCalls calls;
      EXPECT_EQ(handler->GetPacket(bytesPlace, countPlace, 8192), E_UNEXPECTED);
      EXPECT_EQ(calls.Take(), Lines{});
      ExpectLog(log, {">CDataHandler::GetPacket",
                      folder == kJobs        ? "256 Folder type = 'WktActivities'"
                      : folder == kFavorites ? "256 Folder type = 'WktFavorites'"
                                             : "256 Folder type = 'WktTypes'",
                      "8 Result (HRESULT) = -2147418113", "<CDataHandler::GetPacket"});
    }
    EXPECT_EQ(bytes, &sentinel);
    EXPECT_EQ(byteCount, 0xDEADBEEF);
  }
}

TEST_F(HostileTransfer, ChoosesTheFolderBeforeItLooksAtThePlaces) {
  readSetup = MakeSetup(u"Calendar", 1, TRUE, 0);
  handler->Setup(&readSetup);
  log.Take();
  EXPECT_EQ(handler->GetPacket(nullptr, nullptr, 8192), E_UNEXPECTED);
  ExpectLog(log, {">CDataHandler::GetPacket", "256 Folder type = 'Calendar'",
                  "128 Unsupported folder type", "8 Result (HRESULT) = -2147418113",
                  "<CDataHandler::GetPacket"});
}

TEST_F(HostileTransfer, TakesNoBytesForAnInvalidPacket) {
  for (const std::u16string folder : {kJobs, kFavorites, kTypes}) {
    writeSetup = MakeSetup(folder, 0, FALSE, RSF_NEW_OBJECT);
    handler->Setup(&writeSetup);
    for (const DWORD byteCount : {0u, 1u, 1000u, 0xFFFFFFFFu}) {
      log.Take();
      EXPECT_EQ(handler->SetPacket(nullptr, byteCount), E_UNEXPECTED);
      EXPECT_EQ(LinesOf(log.Take(), "32 "),
                Lines{folder == kTypes ? "32 Invalid type packet received"
                                       : "32 Invalid packet received"});
    }
    EXPECT_EQ(writeSetup.oidNew, 0u);
  }
  EXPECT_EQ(RaisedNotices(), Lines{});
}

TEST_F(HostileTransfer, AsksForNoPlaceOfAnInterface) {
  EXPECT_EQ(handler->QueryInterface(IID{}, nullptr), E_NOINTERFACE);
  EXPECT_EQ(handler->Reset(nullptr), S_OK);
}

// A set-up that is null leaves those stored before as they are.
TEST_F(HostileTransfer, KeepsTheSetUpsWhenAnotherIsNull) {
  const CEOID job = AddRecord(kJobs);
  readSetup = MakeSetup(kJobs, job, TRUE, 0);
  handler->Setup(&readSetup);
  log.Take();
  EXPECT_EQ(handler->Setup(nullptr), S_OK);
  ExpectLog(log, {">CDataHandler::Setup", "256 Folder type = 'NULL'", "<CDataHandler::Setup"});
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  EXPECT_EQ(handler->GetPacket(&bytes, &byteCount, 0), RWRN_LAST_PACKET);
  EXPECT_NE(bytes, nullptr);
}

// A folder name that fills its field is read to the end of the field.
TEST_F(HostileTransfer, ReadsFolderNamesWithoutTerminatorToTheEndOfTheirField) {
  const std::string shown = "256 Folder type = '" + std::string(100, 'x') + "'";
  REPLSETUP setup = MakeSetup(kJobs, 1, TRUE, 0);
  std::fill(std::begin(setup.szObjType), std::end(setup.szObjType), u'x');
  log.Take();
  handler->Setup(&setup);
  EXPECT_EQ(log.Take().at(1), shown);
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  EXPECT_EQ(handler->GetPacket(&bytes, &byteCount, 0), E_UNEXPECTED);
  EXPECT_EQ(log.Take().at(1), shown);
  EXPECT_EQ(handler->DeleteObj(&setup), S_OK);
  EXPECT_EQ(log.Take().at(1), shown);
  FINDOBJINFO info = {};
  std::fill(std::begin(info.szObjType), std::end(info.szObjType), u'x');
  EXPECT_EQ(provider.findObjects(&info), S_OK);
  EXPECT_EQ(log.Take().at(1), shown);
  notice = {};
  notice.cbStruct = 780;
  std::fill(std::begin(notice.szObjType), std::end(notice.szObjType), u'x');
  EXPECT_EQ(provider.objectNotify(&notice), FALSE);
  EXPECT_EQ(log.Take().at(1), shown);
}

TEST_F(HostileTransfer, RefusesNoticesBelow780Bytes) {
  const CEOID job = AddRecord(kJobs);
  for (const UINT byteCount : {0u, 4u, 779u}) {
    notice = {};
    notice.cbStruct = byteCount;
    SetName(notice.szObjType, kJobs);
    notice.uFlags = ONF_RECORD | ONF_DELETED;
    notice.oidObject = job;
    notice.cOidChg = 0xDEAD;
    notice.cOidDel = 0xBEEF;
    log.Take();
    EXPECT_EQ(provider.objectNotify(&notice), FALSE);
    ExpectLog(log, {">ObjectNotify",
                    "16 Wrong structure size. Got " + std::to_string(byteCount) + ", expected 780.",
                    "8 Result (BOOL) = 0", "<ObjectNotify"});
    EXPECT_EQ(notice.cOidChg, 0xDEADu);
    EXPECT_EQ(notice.cOidDel, 0xBEEFu);
    EXPECT_EQ(notice.poid, nullptr);
  }
}

TEST_F(HostileTransfer, TakesNoticesOf780BytesAndMore) {
  for (const std::u16string folder : {kJobs, kFavorites, kTypes}) {
    for (const UINT byteCount : {780u, 781u, 784u, 0xFFFFFFFFu}) {
      notice = {};
      notice.cbStruct = byteCount;
      SetName(notice.szObjType, folder);
      notice.uFlags = ONF_RECORD | ONF_DELETED;
      notice.oidObject = 4711;
      notice.cOidChg = 0xDEAD;
      EXPECT_EQ(provider.objectNotify(&notice), TRUE) << byteCount;
      EXPECT_EQ(notice.cOidDel, 1u);
      EXPECT_EQ(notice.cOidChg, 0xDEADu);
      EXPECT_EQ(notice.poid, &notice.oidObject);
    }
  }
}

// Each byte of a packet is wrong once: what is refused leaves the record to be replaced as it is.
TEST_F(HostileTransfer, RefusedBytesChangeNothing) {
  for (const std::u16string folder : {kJobs, kTypes}) {
    const CEOID oid = AddRecord(folder);
    RawDatabase database(folder == kTypes ? u"WktDevTypes" : u"WktDevJobs");
    const auto before = database.Read(oid);
    const std::vector<uint8_t> whole = SampleBytes(folder);
    size_t refused = 0;
    for (size_t at = 0; at < whole.size(); ++at) {
      std::vector<uint8_t> damaged = whole;
      damaged[at] ^= 0x30;  // takes a '0' for a terminator
      if (Put(folder, oid, damaged) == S_OK) {
        database.Write(oid, *before);
        continue;
      }
      ++refused;
      ASSERT_EQ(database.Read(oid), before) << at;
    }
    EXPECT_GT(refused, 20u);
    EXPECT_LT(refused, whole.size());
    EXPECT_EQ(database.Count(), 1u);
  }
}

// Terminators happen to stand where they have to now and then; then it is a packet.
TEST_F(HostileTransfer, NoiseIsStoredWholeOrRefused) {
  uint32_t state = 4711;
  const auto random = [&state] { return state = state * 1664525 + 1013904223, state >> 8; };
  constexpr char16_t kStart[] = u"Worktally\0act";
  static_assert(sizeof(kStart) == 28);
  uint32_t stored = 0;
  for (int i = 0; i < 1000; ++i) {
    std::vector<uint8_t> noise(random() % 4000);
    for (uint8_t& byte : noise)
      byte = random() % 4 ? 0 : static_cast<uint8_t>(random());
    const bool startsWell = i % 2 != 0 && noise.size() > sizeof(kStart);
    if (startsWell)
      std::memcpy(noise.data(), kStart, sizeof(kStart));
    const HRESULT result = Put(i % 4 < 2 ? kJobs : kTypes, 0, noise);
    ASSERT_TRUE(result == E_UNEXPECTED || (result == S_OK && startsWell)) << i;
    ASSERT_EQ(result == S_OK, writeSetup.oidNew != 0);
    stored += result == S_OK;
  }
  EXPECT_GT(stored, 0u);
  EXPECT_EQ(RawDatabase(u"WktDevJobs").Count(), stored);
  EXPECT_FALSE(wkt::test::HasDatabase(u"WktDevTypes"));
  EXPECT_EQ(RaisedNotices(), Lines{"Daily jobs changed"});
}

// Of a record that the desktop knows, whatever stood in the counts stays there.
TEST_F(HostileTransfer, LeavesTheCountsAloneThatItHasNothingFor) {
  const CEOID known =
      RawDatabase(u"WktDevJobs").Add(RawJob(u"J1").Set(0x400B001F, u"0010100000000000000"));
  const CEOID changed = AddRecord(kJobs);
  for (const auto& [oid, flags, expectedChanged, expectedDeleted] :
       {std::tuple(known, UINT{ONF_RECORD}, 0xDEADu, 0xBEEFu),
        std::tuple(changed, UINT{ONF_RECORD | ONF_CHANGED}, 1u, 0xBEEFu),
        std::tuple(changed, UINT{ONF_RECORD | ONF_DELETED}, 0xDEADu, 1u),
        std::tuple(changed, UINT{ONF_CLEAR_CHANGE}, 0xDEADu, 0xBEEFu)}) {
    notice = {};
    notice.cbStruct = sizeof(notice);
    SetName(notice.szObjType, kJobs);
    notice.uFlags = flags;
    notice.oidObject = oid;
    notice.oidInfo.wObjType = OBJTYPE_RECORD;
    notice.oidInfo.infRecord.oidParent = RawDatabase(u"WktDevJobs").GetOid();
    notice.cOidChg = 0xDEAD;
    notice.cOidDel = 0xBEEF;
    EXPECT_EQ(provider.objectNotify(&notice), flags != ONF_CLEAR_CHANGE);
    EXPECT_EQ(notice.cOidChg, expectedChanged) << flags;
    EXPECT_EQ(notice.cOidDel, expectedDeleted) << flags;
    EXPECT_EQ(notice.poid, flags == ONF_CLEAR_CHANGE ? nullptr : &notice.oidObject) << flags;
  }
}

TEST_F(HostileTransfer, TouchesNothingInTheListOfAnUnknownFolder) {
  FINDOBJINFO before;
  std::memset(&before, 0xA5, sizeof(before));
  before.uFlags = 0;
  SetName(before.szObjType, u"Calendar");
  FINDOBJINFO info = before;
  RecordedCalls calls;
  EXPECT_EQ(provider.findObjects(&info), S_OK);
  info.uFlags = FO_DONE_ONE_VOL;
  EXPECT_EQ(provider.findObjects(&info), S_OK);
  EXPECT_EQ(calls.Take(), Lines{});
  info.uFlags = 0;
  EXPECT_EQ(BytesOf(info), BytesOf(before));
}

// Also with a volume mounted: the databases are in the object store all the same.
TEST_F(HostileTransfer, LeavesTheVolumeMembersOfASetUpAlone) {
  WCHAR path[] = u"\\cards.vol";
  CEGUID volume = {};
  ASSERT_TRUE(CeMountDBVol(&volume, path, CREATE_NEW));
  device.SetText(u"Software\\Microsoft\\Stock Portfolio", u"DBVol", path);
  IReplObjHandler* const other = provider.Init(kJobs, 2);
  BYTE sentinel = 0;
  for (const std::u16string folder : {kJobs, kFavorites, kTypes}) {
    const std::vector<uint8_t> bytes = SampleBytes(folder);
    for (const DWORD flags : {DWORD{RSF_NEW_OBJECT}, DWORD{0}}) {
      REPLSETUP setup = MakeSetup(folder, AddRecord(folder), FALSE, flags);
      setup.lpbVolumeID = &sentinel;
      setup.cbVolumeID = 77;
      other->Setup(&setup);
      std::vector<uint8_t> copy = bytes;
      EXPECT_EQ(other->SetPacket(copy.data(), static_cast<DWORD>(copy.size())), S_OK);
      EXPECT_EQ(setup.lpbVolumeID, &sentinel);
      EXPECT_EQ(setup.cbVolumeID, 77u);
      EXPECT_EQ(setup.oidNew != 0, flags == RSF_NEW_OBJECT);
    }
  }
  other->Release();
}

}  // namespace
