#include <gtest/gtest.h>

#include <functional>

#include "tests/WktDevSync/TransferTest.h"

// What the provider answers when the platform refuses something.
namespace {

using wkt::test::FailingCall;

using TransferFailure = TransferTest;

TEST_F(TransferFailure, FailsWhereTheDatabaseCannotBeOpened) {
  const std::vector<uint8_t> job = SampleBytes(kJobs);
  const std::vector<uint8_t> type = SampleBytes(kTypes);
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

TEST_F(TransferFailure, TakesARefusedAdditionForASuccess) {
  for (const auto& [folder, bytes] :
       {std::pair(kJobs, SampleBytes(kJobs)), std::pair(kTypes, SampleBytes(kTypes))}) {
    const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
    EXPECT_EQ(Put(folder, 0, bytes), S_OK);
    EXPECT_EQ(writeSetup.oidNew, 0u);
    EXPECT_EQ(LinesOf(log.Take(), "16 "), Lines{"16 Write failed; Error = 112"});
  }
  EXPECT_EQ(Stored(), "");
}

TEST_F(TransferFailure, FailsWhereAModificationIsRefused) {
  const CEOID oid = AddRecord(kJobs);
  const std::string before = Stored();
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
  EXPECT_EQ(Put(kJobs, oid, SampleBytes(kJobs)), E_UNEXPECTED);
  EXPECT_EQ(Stored(), before);
  EXPECT_EQ(RaisedNotices(), Lines{"Daily jobs changed"});
}

TEST_F(TransferFailure, RaisesNoNoticeForARefusedDeletion) {
  const CEOID job = AddRecord(kJobs);
  const CEOID type = AddRecord(kTypes);
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

TEST_F(TransferFailure, KeepsItsAnswerWhenASaveFails) {
  const CEOID job = AddRecord(kJobs);
  const CEOID type = AddRecord(kTypes);
  {
    const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
    EXPECT_EQ(Notify(kJobs, job, ONF_CLEAR_CHANGE), FALSE);
    EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to modify job in database"});
  }
  const FailingCall failure("CeWriteRecordProps", 1, ERROR_DISK_FULL);
  EXPECT_EQ(Notify(kTypes, type, ONF_CLEAR_CHANGE), FALSE);
  EXPECT_EQ(LinesOf(log.Take(), "32 "), Lines{"32 Failed to modify type in database"});
}

TEST_F(TransferFailure, NotifiesAndFindsNothingWhereTheDatabaseCannotBeOpened) {
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

// Whatever call of the platform fails, in whatever operation: an answer that is defined, and no
// record half written.
TEST_F(TransferFailure, SurvivesTheFailureOfAnyCall) {
  const CEOID job = AddRecord(kJobs);
  const CEOID type = AddRecord(kTypes);
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
  std::vector<uint8_t> sent = SampleBytes(kJobs);
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

}  // namespace
