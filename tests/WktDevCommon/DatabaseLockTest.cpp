#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "host/control/Calls.h"
#include "tests/WktDevCommon/DatabaseTest.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/RecordedCalls.h"

namespace {

using wkt::test::FailingCall;
using wkt::test::RecordedCalls;

using DatabaseLock = DatabaseTest;

TEST_F(DatabaseLock, MakesAnUnnamedMutexBeforeItKeepsTheName) {
  RecordedCalls calls;
  { const CJobDatabase database(u"WktDevJobs"); }
  EXPECT_EQ(calls.Take(), (Lines{"CreateMutexW(null, 0, null)", "CloseHandle(ptr)"}));
}

template <class Database>
Lines CallsOfALife(const WCHAR* name) {
  wkt::control::CallRecording recording;
  {
    Database database(name);
    EXPECT_TRUE(database.Open(FALSE));
  }
  return wkt::control::DescribeCalls(recording.Take());
}

TEST_F(DatabaseLock, ClosesTheMutexBeforeTheDatabase) {
  const wkt::test::RawDatabase jobs(u"WktDevJobs");
  const wkt::test::RawDatabase types(u"WktDevTypes");
  for (const Lines& calls : {CallsOfALife<CJobDatabase>(u"WktDevJobs"),
                             CallsOfALife<CWktTypeDatabase>(u"WktDevTypes")}) {
    ASSERT_GE(calls.size(), 3u);
    EXPECT_EQ(calls.front(), "CreateMutexW(NULL, 0, NULL) = #1");
    EXPECT_EQ(calls[calls.size() - 3].substr(0, 17), "CeOpenDatabaseEx2");
    EXPECT_EQ(calls[calls.size() - 2], "CloseHandle(#1) = 1");
    EXPECT_EQ(calls.back(), "CloseHandle(#3) = 1");
  }
}

TEST_F(DatabaseLock, WaitsTenSecondsForTheMutexAndGoesOnWithoutIt) {
  CJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(TRUE));
  CJobLean job(TRUE);
  const FailingCall failure("WaitForSingleObject", 1, ERROR_INVALID_HANDLE);
  RecordedCalls calls;
  EXPECT_NE(database.AddJob(&job, TRUE), 0u);
  EXPECT_EQ(calls.Take(), (Lines{"WaitForSingleObject(ptr, 10000)",
                                 "CeWriteRecordProps(ptr, 0, 22, ptr)", "ReleaseMutex(ptr)"}));
}

// Ten real seconds: another thread keeps the mutex.
TEST_F(DatabaseLock, GoesOnAfterTenSecondsWhileAnotherThreadKeepsTheMutex) {
  CJobDatabase database(u"WktDevJobs");
  ASSERT_TRUE(database.Open(TRUE));
  CJobLean job(TRUE);
  std::promise<void> isHeld;
  std::promise<void> isDone;
  std::thread holder([&] {
    EXPECT_EQ(database.Lock(), WAIT_OBJECT_0);
    isHeld.set_value();
    isDone.get_future().wait();
    EXPECT_TRUE(database.Unlock()) << "still that of this thread";
  });
  isHeld.get_future().wait();
  const auto begin = std::chrono::steady_clock::now();
  wkt::control::CallRecording recording;
  const CEOID oid = database.AddJob(&job, TRUE);
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
  const Lines calls = wkt::control::DescribeCalls(recording.Take());
  isDone.set_value();
  holder.join();
  EXPECT_NE(oid, 0u);
  EXPECT_GE(waited.count(), 9.9);
  ASSERT_EQ(LinesWith(calls, "WaitForSingleObject").size(), 1u);
  EXPECT_EQ(LinesWith(calls, "WaitForSingleObject"), Lines{"WaitForSingleObject(#1, 10000) = 258"});
  EXPECT_EQ(LinesWith(calls, "ReleaseMutex"), Lines{"ReleaseMutex(#1) = 0, error 288"});
  EXPECT_TRUE(wkt::test::RawDatabase(u"WktDevJobs").Read(oid).has_value());
}

}  // namespace
