#include <gtest/gtest.h>

#include <optional>

#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/WktDevCommon/Meanwhile.h"
#include "tests/support/LogPieces.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/RecordedCalls.h"
#include "tests/support/Text.h"

// The whole log of lists that come to nothing or do not end as they should.
namespace {

using wkt::test::ExpectLog;
using wkt::test::FailingCall;
using wkt::test::RawDatabase;

struct Sort {
  const char* name;
  const char16_t* databaseName;
  std::string syncClass;
};
void PrintTo(const Sort& sort, std::ostream* out) {
  *out << sort.name;
}

class EnumerationFailure : public DatabaseTest, public testing::WithParamInterface<Sort> {
 protected:
  ~EnumerationFailure() override { LocalFree(info.poid); }

  static bool IsTypes() { return GetParam().databaseName == std::u16string(u"WktDevTypes"); }
  static void AddTwo() {
    RawDatabase raw(GetParam().databaseName);
    for (int i = 0; i < 2; ++i)
      raw.Add(IsTypes() ? wkt::test::RawType(u"T", 1) : wkt::test::RawJob(u"J"));
  }

  template <class Database>
  HRESULT ListIn(const char* failing, uint32_t error) {
    Database database(GetParam().databaseName);
    EXPECT_TRUE(database.Open(TRUE));
    log.Take();
    std::optional<FailingCall> failure;
    if (failing)
      failure.emplace(failing, 1, error);
    const HRESULT result = database.ReadFindObjectInfo(&info, 1);
    EXPECT_TRUE(!failure || failure->Happened());
    lines = log.Take();
    return result;
  }
  // Of the second partner; with a platform call that fails, if one is named.
  HRESULT List(const char* failing = nullptr, uint32_t error = 0) {
    return IsTypes() ? ListIn<CSyncWktTypeDatabase>(failing, error)
                     : ListIn<CSyncJobDatabase>(failing, error);
  }

  // The lines around the given ones: entering, the description of a database, the result, leaving.
  static Lines Whole(const Lines& description, const Lines& middle, const std::string& result) {
    const std::string name = "C" + GetParam().syncClass + "::ReadFindObjectInfo";
    Lines whole = {">" + name, "4 pFindObjectInfo = A1; pcNumber = 1",
                   ">CDatabaseAid::GetDatabaseInfo", ">CDatabaseAid::FindDatabase",
                   IsTypes() ? "4 pDBName = 'WktDevTypes'" : "4 pDBName = 'WktDevJobs'"};
    whole.insert(whole.end(), description.begin(), description.end());
    whole.emplace_back("<CDatabaseAid::GetDatabaseInfo");
    whole.insert(whole.end(), middle.begin(), middle.end());
    whole.push_back("8 Result (HRESULT) = " + result);
    whole.push_back("<" + name);
    return whole;
  }
  static Lines Described(int recordCount) {
    return {"256 Record count = " + std::to_string(recordCount), "8 Result (CEOID) = O1",
            "<CDatabaseAid::FindDatabase", "8 Result (BOOL) = 1"};
  }

  FINDOBJINFO info = {};
  Lines lines;
};

TEST_P(EnumerationFailure, OfAnEmptyDatabase) {
  EXPECT_EQ(List(), S_OK);
  ExpectLog(lines, Whole(Described(0), {"256 Record count = 0", "256 Database is empty"}, "0"));
}

TEST_P(EnumerationFailure, WithoutADescription) {
  AddTwo();
  EXPECT_EQ(List("CeOidGetInfoEx2", ERROR_INVALID_HANDLE), E_UNEXPECTED);
  ExpectLog(lines,
            Whole({"8 Result (CEOID) = 0", "<CDatabaseAid::FindDatabase", "8 Result (BOOL) = 0"},
                  {"32 Failed to get database info"}, "-2147418113"));
}

TEST_P(EnumerationFailure, WithoutMemory) {
  AddTwo();
  info.cChg = info.cUnChg = 9;
  EXPECT_EQ(List("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY), E_UNEXPECTED);
  EXPECT_EQ(info.cChg, 9u);
  EXPECT_EQ(info.cUnChg, 9u);
  ExpectLog(lines,
            Whole(Described(2), {"256 Record count = 2", "32 Out of memory"}, "-2147418113"));
}

TEST_P(EnumerationFailure, WithoutABeginning) {
  AddTwo();
  EXPECT_EQ(List("CeSeekDatabaseEx", ERROR_SEEK), S_OK);
  ExpectLog(lines,
            Whole(Described(2),
                  {"256 Record count = 2", "256 Changed = 0; Unchanged = 0; Total = 2"}, "0"));
}

INSTANTIATE_TEST_SUITE_P(Sorts, EnumerationFailure,
                         testing::Values(Sort{"Jobs", u"WktDevJobs", "SyncJobDatabase"},
                                         Sort{"Types", u"WktDevTypes", "SyncWktTypeDatabase"}),
                         [](const auto& sort) { return std::string(sort.param.name); });

// The whole log of an overflow: one record is counted, another comes before the second read.
class OverflowLog : public DatabaseTest {
 protected:
  ~OverflowLog() override { LocalFree(info.poid); }

  template <class Database>
  Lines List(const std::string& databaseName, const wkt::test::RawRecord& record,
             const std::string& flags) {
    RawDatabase(wkt::test::Wide(databaseName).c_str()).Add(record);
    Database database(wkt::test::Wide(databaseName).c_str());
    EXPECT_TRUE(database.Open(FALSE));
    wkt::test::meanwhile = {{WKT_NEIGHBOUR, device.Folder(), databaseName, "add", flags}};
    wkt::test::readsUntilThen = 2;
    log.Take();
    EXPECT_EQ(database.ReadFindObjectInfo(&info, 0), S_OK);
    return log.Take();
  }

  // Up to the first record: one was counted.
  static Lines Begun(const std::string& syncClass, const std::string& name) {
    return {
        ">" + syncClass + "::ReadFindObjectInfo",
        "4 pFindObjectInfo = A; pcNumber = 0",
        ">CDatabaseAid::GetDatabaseInfo",
        ">CDatabaseAid::FindDatabase",
        "4 pDBName = '" + name + "'",
        "256 Record count = 1",
        "8 Result (CEOID) = O1",
        "<CDatabaseAid::FindDatabase",
        "8 Result (BOOL) = 1",
        "<CDatabaseAid::GetDatabaseInfo",
        "256 Record count = 1",
    };
  }

  FINDOBJINFO info = {};
};

TEST_F(OverflowLog, OfSynchronizedJobs) {
  const std::string flags = "0010100000000000000";
  const Lines lines = List<CSyncJobDatabase>(
      "WktDevJobs", wkt::test::RawJob(u"J").Set(0x400B001F, wkt::test::Wide(flags)), flags);
  const auto listed = [](const std::string& id) {
    return Lines{
        id == "J" ? "256 OID = O2" : "256 OID = O3",
        ">CJobDatabase::CreateRecord",
        ">CJobLean::CJobLean",
        "4 Make new = 0",
        "512 this = A",
        "<CJobLean::CJobLean",
        "<CJobDatabase::CreateRecord",
        ">CJobDatabase::FillJobBase",
        "256 Title = 'Title'",
        "256 Local day = 3/2/26 00:00",
        "<CJobDatabase::FillJobBase",
        "256 Job id = '" + id + "'; Title = 'Title'",
        "256 Job is synchronized",
    };
  };
  const Lines destroyed = {">CJobLean::~CJobLean", "512 this = A", "<CJobLean::~CJobLean"};
  const Lines end = {"256 Changed = 0; Unchanged = 1; Total = 1", "8 Result (HRESULT) = 0",
                     "<CSyncJobDatabase::ReadFindObjectInfo"};
  ExpectLog(wkt::test::WithoutAddresses(lines),
            wkt::test::Joined({Begun("CSyncJobDatabase", "WktDevJobs"),
                               listed("J"),
                               destroyed,
                               listed("New"),
                               {"16 Unchanged count mismatch"},
                               destroyed,
                               end}));
}

TEST_F(OverflowLog, OfChangedTypes) {
  const std::string flags = "0001000000000000000";
  const Lines lines = List<CSyncWktTypeDatabase>("WktDevTypes", wkt::test::RawType(u"T", 1), flags);
  const auto listed = [](const std::string& id) {
    return Lines{
        id == "T" ? "256 OID = O2" : "256 OID = O3",
        "256 Type of type = 1",
        ">CWktTypeDatabase::CreateRecord",
        ">CWktTypeLean::CWktTypeLean",
        "4 Make new = 0",
        "256 this = A",
        "<CWktTypeLean::CWktTypeLean",
        "<CWktTypeDatabase::CreateRecord",
        "256 Type id = '" + id + "'; Name = 'Name'",
        "256 Type is not synchronized",
    };
  };
  const Lines destroyed = {">CWktTypeLean::~CWktTypeLean", "512 this = A",
                           "<CWktTypeLean::~CWktTypeLean"};
  const Lines end = {"256 Changed = 2; Unchanged = 0; Total = 1", "8 Result (HRESULT) = 0",
                     "<CSyncWktTypeDatabase::ReadFindObjectInfo"};
  ExpectLog(wkt::test::WithoutAddresses(lines),
            wkt::test::Joined({Begun("CSyncWktTypeDatabase", "WktDevTypes"),
                               listed("T"),
                               destroyed,
                               listed("New"),
                               {"16 Changed dount mismatch"},
                               destroyed,
                               end}));
}

}  // namespace
