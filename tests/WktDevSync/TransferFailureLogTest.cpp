#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/WktDevSync/TransferTest.h"
#include "tests/support/GoldenPacket.h"
#include "tests/support/LogPieces.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

// The whole log of calls in whose course the platform refuses something.
namespace {

using wkt::test::ExpectLog;
using wkt::test::FailingCall;
using wkt::test::Joined;
using wkt::test::LogLines;
using wkt::test::RawDatabase;
using wkt::test::RawJob;
using wkt::test::RawType;

// A folder and the names that its lines carry.
struct Place {
  const char16_t* folder;
  std::string name;
  std::string database;
  std::string databaseClass;
};
const Place kFavoritesPlace = {u"WktFavorites", "WktFavorites", "WktDevFavJobs", "CJobDatabase"};
const Place kJobsPlace = {u"WktActivities", "WktActivities", "WktDevJobs", "CJobDatabase"};
const Place kTypesPlace = {u"WktTypes", "WktTypes", "WktDevTypes", "CWktTypeDatabase"};

// An empty database, or one of one record, is found; what opening it says comes next.
LogLines Found(const Place& place, int recordCount) {
  return {
      ">CDatabaseAid::CDatabaseAid",
      "<CDatabaseAid::CDatabaseAid",
      ">" + place.databaseClass + "::" + place.databaseClass,
      "<" + place.databaseClass + "::" + place.databaseClass,
      ">CDatabaseAid::Open",
      ">CDatabaseAid::OpenDatabase",
      ">CDatabaseAid::CloseDatabase",
      "<CDatabaseAid::CloseDatabase",
      ">CDatabaseAid::FindDatabase",
      "4 pDBName = '" + place.database + "'",
      "256 Record count = " + std::to_string(recordCount),
      "8 Result (CEOID) = O1",
      "<CDatabaseAid::FindDatabase",
  };
}
const LogLines kOpened = {"256 Opened handle = H1", "<CDatabaseAid::OpenDatabase",
                          "8 Result (BOOL) = 1", "<CDatabaseAid::Open"};
const LogLines kNotOpened = {"256 Opened handle = 4294967295", "<CDatabaseAid::OpenDatabase",
                             "8 Result (BOOL) = 0", "<CDatabaseAid::Open"};

LogLines Destroyed(const Place& place, const LogLines& closing) {
  return Joined({LogLines{">" + place.databaseClass + "::~" + place.databaseClass,
                          "<" + place.databaseClass + "::~" + place.databaseClass,
                          ">CDatabaseAid::~CDatabaseAid", ">CDatabaseAid::CloseDatabase"},
                 closing,
                 LogLines{"<CDatabaseAid::CloseDatabase", "<CDatabaseAid::~CDatabaseAid"}});
}
const LogLines kClosing = {"256 Closing handle = H1"};

// What the record with the identifier R says when it is found.
const LogLines kJobRead = {
    ">CJobDatabase::FindJob",
    ">CJobDatabase::CreateRecord",
    ">CJobLean::CJobLean",
    "4 Make new = 1",
    "512 this = A1",
    ">CWktUtilLean::CreateGUID",
    ">CWktUtilLean::CreateOwnGUID",
    "<CWktUtilLean::CreateOwnGUID",
    "8 Guid = G1",
    "<CWktUtilLean::CreateGUID",
    "512 Job id = 'G1'",
    "<CJobLean::CJobLean",
    "<CJobDatabase::CreateRecord",
    ">CJobDatabase::FillJobBase",
    "256 Title = 'Title'",
    "256 Local day = 3/2/26 00:00",
    "<CJobDatabase::FillJobBase",
    "<CJobDatabase::FindJob",
};
const LogLines kTypeRead = {
    ">CWktTypeDatabase::CreateRecord",
    ">CWktTypeLean::CWktTypeLean",
    "4 Make new = 1",
    "256 this = A1",
    ">CWktUtilLean::CreateGUID",
    ">CWktUtilLean::CreateOwnGUID",
    "<CWktUtilLean::CreateOwnGUID",
    "8 Guid = G1",
    "<CWktUtilLean::CreateGUID",
    "512 Type id = 'G1'",
    "<CWktTypeLean::CWktTypeLean",
    "<CWktTypeDatabase::CreateRecord",
};
const LogLines kJobGone = {">CJobLean::~CJobLean", "512 this = A1", "<CJobLean::~CJobLean"};
const LogLines kTypeGone = {">CWktTypeLean::~CWktTypeLean", "512 this = A1",
                            "<CWktTypeLean::~CWktTypeLean"};

// A write that the platform refuses.
LogLines JobWriteRefused(const std::string& title, const std::string& day) {
  return {
      ">CJobDatabase::ModifyJob",
      "512 Job id = 'R'; Title = '" + title + "'",
      ">CJobDatabase::AllocPropertyArray",
      "<CJobDatabase::AllocPropertyArray",
      ">CJobDatabase::FillPropValArray",
      "256 Title = " + title,
      "256 Local day = " + day + " 00:00",
      "<CJobDatabase::FillPropValArray",
      "512 Modification time = " + day + " 11:00:00",
      "16 Write failed; Error = 112",
      "8 Result (bool) = 0",
      "<CJobDatabase::ModifyJob",
  };
}
LogLines TypeWriteRefused(const std::string& name) {
  return {
      ">CWktTypeDatabase::ModifyWktType",
      "512 Wkt type id = 'R'; Name = '" + name + "'",
      ">CWktTypeDatabase::AllocPropertyArray",
      "<CWktTypeDatabase::AllocPropertyArray",
      "512 Modification time = 3/2/26 09:00:00",
      "16 Write failed; Error = 112",
      "8 Result (bool) = 0",
      "<CWktTypeDatabase::ModifyWktType",
  };
}

class TransferFailureLog : public TransferTest {
 protected:
  static CEOID Add(const Place& place, const char16_t* flags = nullptr) {
    RawDatabase raw(wkt::test::Wide(place.database).c_str());
    auto record = place.folder == kTypesPlace.folder ? RawType(u"R", 3) : RawJob(u"R");
    if (flags)
      record.Set(place.folder == kTypesPlace.folder ? 0x4029001F : 0x400B001F, flags);
    return raw.Add(record);
  }
  static std::vector<uint8_t> Bytes(const Place& place) {
    if (place.folder == kTypesPlace.folder) {
      CWktTypePacket packet;
      wkt::test::FillFromType(packet, *wkt::test::MakeSampleType(3));
      packet.SetId(u"R");
      packet.SetName1(u"Sent");
      packet.SetName2(u"");
      packet.SetFlags(u"0001000000000000000");  // marking it is a change, which stamps it
      return wkt::test::Encode(packet);
    }
    CJobPacket packet(1);
    wkt::test::FillFromJob(packet, *wkt::test::MakeSampleJob());
    packet.SetJobId(u"R");
    packet.SetTitle(u"Sent");
    return wkt::test::Encode(packet);
  }
  // From the line that the database's own begin with.
  static LogLines BehindThePacket(const LogLines& lines) {
    return {std::find(lines.begin(), lines.end(), ">CDatabaseAid::CDatabaseAid"), lines.end()};
  }
};

TEST_F(TransferFailureLog, EveryCallTellsThatItsDatabaseDoesNotOpen) {
  for (const Place& place : {kFavoritesPlace, kJobsPlace, kTypesPlace}) {
    Add(place);
    const auto expect = [&](const LogLines& before, const LogLines& after,
                            const std::function<void()>& call) {
      log.Take();
      {
        const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
        call();
        EXPECT_TRUE(failure.Happened());
      }
      ExpectLog(log, Joined({before, LogLines{"256 Folder type = '" + place.name + "'"},
                             (before[0] == ">ObjectNotify"
                                  ? LogLines{"256 Partner PC # = 1", "256 OID = 4711",
                                             "256 Flag = ONF_CLEAR_CHANGE"}
                                  : LogLines{}),
                             Found(place, 1), kNotOpened,
                             LogLines{"32 Failed to open database '" + place.database + "'"},
                             Destroyed(place, {}), after}));
    };
    FINDOBJINFO info = {};
    SetName(info.szObjType, place.folder);
    expect({">FindObjects"}, {"8 Result (HRESULT) = -2147418113", "<FindObjects"},
           [&] { EXPECT_EQ(provider.findObjects(&info), E_UNEXPECTED); });
    EXPECT_EQ(info.poid, nullptr);
    notice = {};
    notice.cbStruct = 780;
    SetName(notice.szObjType, place.folder);
    notice.uFlags = ONF_CLEAR_CHANGE;
    notice.oidObject = 4711;
    expect({">ObjectNotify"}, {"8 Result (BOOL) = 0", "<ObjectNotify"},
           [&] { EXPECT_EQ(provider.objectNotify(&notice), FALSE); });
    readSetup = MakeSetup(place.folder, 1, TRUE, 0);
    handler->Setup(&readSetup);
    BYTE* bytes = nullptr;
    DWORD byteCount = 77;
    expect({">CDataHandler::GetPacket"},
           {"8 Result (HRESULT) = -2146172671", "<CDataHandler::GetPacket"}, [&] {
             EXPECT_EQ(handler->GetPacket(&bytes, &byteCount, 0), static_cast<HRESULT>(0x80140101));
           });
    EXPECT_EQ(byteCount, 77u);
    REPLSETUP deleted = MakeSetup(place.folder, 1, FALSE, 0);
    expect({">CDataHandler::DeleteObj"},
           {"8 Result (HRESULT) = -2146172671", "<CDataHandler::DeleteObj"},
           [&] { EXPECT_EQ(handler->DeleteObj(&deleted), static_cast<HRESULT>(0x80140101)); });
  }
}

TEST_F(TransferFailureLog, AWriteTellsThatItsDatabaseDoesNotOpen) {
  for (const Place& place : {kFavoritesPlace, kJobsPlace, kTypesPlace}) {
    Add(place);
    const bool isTypes = place.folder == kTypesPlace.folder;
    const FailingCall failure("CeOpenDatabaseEx2", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Put(place.folder, 1, Bytes(place)), E_UNEXPECTED);
    const std::string packet = isTypes ? "CWktTypePacket" : "CJobPacket";
    ExpectLog(BehindThePacket(log.Take()),
              Joined({Found(place, 1), kNotOpened,
                      LogLines{(isTypes ? "32 Failed to open types database '"
                                        : "32 Failed to open database '") +
                               place.database + "'"},
                      Destroyed(place, {}),
                      LogLines{">" + packet + "::~" + packet, "512 Instance = 1",
                               "<" + packet + "::~" + packet, "8 Result (HRESULT) = -2147418113",
                               "<CDataHandler::SetPacket"}}));
  }
}

// Whatever was decided stands, also when the record cannot be written back.
TEST_F(TransferFailureLog, ASaveThatFailsLeavesTheDecision) {
  struct Case {
    UINT flags;
    const char16_t* job;
    const char16_t* type;
    BOOL result;
    LogLines flagLines;
    LogLines decided;
  };
  const std::string clearing = "256 Clearing 'changed during sync' flag";
  const Case cases[] = {
      {ONF_CLEAR_CHANGE,
       u"0010000000000000000",
       u"0001000000000000000",
       FALSE,
       {"256 Flag = ONF_CLEAR_CHANGE"},
       {"256 Is synchronized = 0; Is changed during sync = 0",
        "256 Setting 'is synchronized' flag"}},
      {ONF_CLEAR_CHANGE,
       u"0010001000000000000",
       u"0011000000000000000",
       TRUE,
       {"256 Flag = ONF_CLEAR_CHANGE"},
       {"256 Is synchronized = 0; Is changed during sync = 1", clearing}},
      {ONF_RECORD | ONF_CHANGED,
       u"0010001000000000000",
       u"0011000000000000000",
       TRUE,
       {"256 Flag = ONF_RECORD", "256 Flag = ONF_CHANGED"},
       {"256 Is synchronized = 0; Is changed during sync = 1", "256 Marked for change", clearing}},
  };
  for (const Place& place : {kJobsPlace, kTypesPlace}) {
    const bool isTypes = place.folder == kTypesPlace.folder;
    for (const Case& c : cases) {
      const CEOID oid = Add(place, isTypes ? c.type : c.job);
      RawDatabase raw(wkt::test::Wide(place.database).c_str());
      const auto before = raw.Read(oid);
      notice = {};
      notice.cbStruct = 780;
      SetName(notice.szObjType, place.folder);
      notice.uFlags = c.flags;
      notice.oidObject = oid;
      notice.oidInfo.wObjType = OBJTYPE_RECORD;
      notice.oidInfo.infRecord.oidParent = raw.GetOid();
      log.Take();
      {
        const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
        EXPECT_EQ(provider.objectNotify(&notice), c.result);
        EXPECT_TRUE(failure.Happened());
      }
      ExpectLog(
          log,
          Joined({LogLines{">ObjectNotify", "256 Folder type = '" + place.name + "'",
                           "256 Partner PC # = 1", "256 OID = O9"},
                  c.flagLines, Found(place, 1), kOpened, (isTypes ? kTypeRead : kJobRead),
                  LogLines{isTypes ? "256 Type id = 'R'; Name = 'Name'"
                                   : "256 Job id = 'R'; Title = 'Title'"},
                  c.decided, LogLines{"256 Saving changes"},
                  (isTypes ? TypeWriteRefused("Name") : JobWriteRefused("Title", "3/2/26")),
                  LogLines{isTypes ? "32 Failed to modify type in database"
                                   : "32 Failed to modify job in database"},
                  (isTypes ? kTypeGone : kJobGone), Destroyed(place, kClosing),
                  LogLines{"8 Result (BOOL) = " + std::to_string(c.result), "<ObjectNotify"}}));
      const bool isMarked = c.flags != ONF_CLEAR_CHANGE;
      EXPECT_EQ(notice.cOidChg, isMarked ? 1u : 0u);
      EXPECT_EQ(notice.poid, isMarked ? &notice.oidObject : nullptr);
      EXPECT_EQ(raw.Read(oid), before);
      raw.Delete(oid);
    }
  }
}

TEST_F(TransferFailureLog, ADeletionThatFailsIsTold) {
  for (const Place& place : {kFavoritesPlace, kJobsPlace, kTypesPlace}) {
    const bool isTypes = place.folder == kTypesPlace.folder;
    const CEOID oid = Add(place);
    const FailingCall failure("CeDeleteRecord", 1, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Delete(place.folder, oid), E_UNEXPECTED);
    ExpectLog(
        log, Joined({LogLines{">CDataHandler::DeleteObj", "256 Folder type = '" + place.name + "'"},
                     Found(place, 1), kOpened, (isTypes ? kTypeRead : kJobRead),
                     (isTypes ? LogLines{"256 Deleting type; Type id = 'R'; Name = 'Name'",
                                         "32 Failed to delete type"}
                              : LogLines{"256 Deleting job; Job id = 'R'; Title = 'Title'",
                                         "32 Failed to delete job"}),
                     (isTypes ? kTypeGone : kJobGone), Destroyed(place, kClosing),
                     LogLines{"8 Result (HRESULT) = -2147418113", "<CDataHandler::DeleteObj"}}));
  }
}

TEST_F(TransferFailureLog, AModificationThatFailsIsTold) {
  for (const Place& place : {kFavoritesPlace, kJobsPlace, kTypesPlace}) {
    const bool isTypes = place.folder == kTypesPlace.folder;
    const CEOID oid = Add(place);
    const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
    EXPECT_EQ(Put(place.folder, oid, Bytes(place)), E_UNEXPECTED);
    const std::string packet = isTypes ? "CWktTypePacket" : "CJobPacket";
    const LogLines lines = log.Take();
    const auto from =
        std::find(lines.begin(), lines.end(), "256 Marking as synchronized for partner PC # 1");
    ExpectLog(LogLines(from, lines.end()),
              Joined({LogLines{"256 Marking as synchronized for partner PC # 1",
                               isTypes ? "256 Modifying existing type in database"
                                       : "256 Modifying existing job in database"},
                      (isTypes ? TypeWriteRefused("Sent") : JobWriteRefused("Sent", "3/1/26")),
                      (isTypes ? kTypeGone : kJobGone), Destroyed(place, kClosing),
                      LogLines{">" + packet + "::~" + packet, "512 Instance = 1",
                               "<" + packet + "::~" + packet, "8 Result (HRESULT) = -2147418113",
                               "<CDataHandler::SetPacket"}}));
  }
}

}  // namespace
