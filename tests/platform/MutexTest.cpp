// Mutexes between threads, memory, counters and handles.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "platform/Kernel.h"
#include "tests/support/DeskDevice.h"

namespace {

using Mutexes = wkt::test::DeskDeviceTest;

DWORD WaitElsewhere(HANDLE mutex, DWORD milliseconds) {
  DWORD result = 0;
  std::thread([&] {
    result = WaitForSingleObject(mutex, milliseconds);
    if (result == WAIT_OBJECT_0)
      ReleaseMutex(mutex);
  }).join();
  return result;
}

TEST_F(Mutexes, BelongToOneThreadAtATime) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  ASSERT_NE(mutex, nullptr);
  EXPECT_EQ(GetLastError(), 0u);
  SetLastError(0xDEADBEEF);
  EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_OBJECT_0);
  EXPECT_EQ(GetLastError(), 0xDEADBEEF);
  EXPECT_TRUE(CloseHandle(mutex));
}

TEST_F(Mutexes, OwnerTakesThemAgainAndReleasesAsOften) {
  HANDLE mutex = CreateMutexW(nullptr, TRUE, nullptr);
  EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(mutex));
  EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_OBJECT_0);
  EXPECT_FALSE(ReleaseMutex(mutex));
  EXPECT_EQ(GetLastError(), 288u);
  CloseHandle(mutex);
}

TEST_F(Mutexes, OthersCannotReleaseThem) {
  HANDLE mutex = CreateMutexW(nullptr, TRUE, nullptr);
  std::thread([&] {
    EXPECT_FALSE(ReleaseMutex(mutex));
    EXPECT_EQ(GetLastError(), 288u);
  }).join();
  EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(mutex));
  CloseHandle(mutex);
}

TEST_F(Mutexes, WaitingTakesAsLongAsSaid) {
  HANDLE mutex = CreateMutexW(nullptr, TRUE, nullptr);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(WaitElsewhere(mutex, 60), WAIT_TIMEOUT);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(59));
  EXPECT_LT(waited, std::chrono::seconds(10));
  CloseHandle(mutex);
}

TEST_F(Mutexes, ReleaseWakesTheWaiter) {
  HANDLE mutex = CreateMutexW(nullptr, TRUE, nullptr);
  std::atomic<DWORD> result = 0xDEAD;
  std::thread waiter([&] { result = WaitForSingleObject(mutex, INFINITE); });
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(result, 0xDEADu);
  EXPECT_TRUE(ReleaseMutex(mutex));
  waiter.join();
  EXPECT_EQ(result, WAIT_OBJECT_0);
  CloseHandle(mutex);
}

TEST_F(Mutexes, ThreadThatEndsAbandonsThem) {
  for (const char16_t* name : {static_cast<const char16_t*>(nullptr), u"left"}) {
    HANDLE mutex = CreateMutexW(nullptr, FALSE, name);
    std::thread([&] { EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0); }).join();
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(mutex));
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    CloseHandle(mutex);
  }
}

TEST_F(Mutexes, ExcludeUnderLoad) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, u"load");
  int inside = 0, total = 0;
  const auto work = [&] {
    for (int i = 0; i < 2000; ++i) {
      WaitForSingleObject(mutex, INFINITE);
      EXPECT_EQ(++inside, 1);
      ++total;
      --inside;
      ReleaseMutex(mutex);
    }
  };
  std::thread one(work), other(work);
  one.join();
  other.join();
  EXPECT_EQ(total, 4000);
  CloseHandle(mutex);
}

TEST_F(Mutexes, NamesMakeThemOne) {
  HANDLE first = CreateMutexW(nullptr, TRUE, u"Name");
  EXPECT_EQ(GetLastError(), 0u);
  HANDLE second = CreateMutexW(nullptr, FALSE, u"Name");
  EXPECT_EQ(GetLastError(), 183u);
  EXPECT_NE(first, second);
  EXPECT_EQ(WaitElsewhere(second, 0), WAIT_TIMEOUT);
  HANDLE otherCase = CreateMutexW(nullptr, FALSE, u"name");
  EXPECT_EQ(GetLastError(), 0u);
  EXPECT_EQ(WaitElsewhere(otherCase, 0), WAIT_OBJECT_0);
  EXPECT_TRUE(CloseHandle(first));
  // Closing does not release, and the name lives while a handle is open.
  EXPECT_EQ(WaitElsewhere(second, 0), WAIT_TIMEOUT);
  EXPECT_TRUE(ReleaseMutex(second));
  CloseHandle(second);
  CloseHandle(otherCase);
  first = CreateMutexW(nullptr, FALSE, u"Name");
  EXPECT_EQ(GetLastError(), 0u);
  CloseHandle(first);
}

TEST_F(Mutexes, InitialOwnerCountsForNewOnesOnly) {
  HANDLE first = CreateMutexW(nullptr, FALSE, u"n");
  HANDLE second = CreateMutexW(nullptr, TRUE, u"n");
  EXPECT_EQ(WaitElsewhere(first, 0), WAIT_OBJECT_0);
  CloseHandle(first);
  CloseHandle(second);
}

TEST_F(Mutexes, EmptyNameIsAName) {
  HANDLE first = CreateMutexW(nullptr, FALSE, u"");
  HANDLE second = CreateMutexW(nullptr, FALSE, u"");
  EXPECT_EQ(GetLastError(), 183u);
  HANDLE unnamed = CreateMutexW(nullptr, FALSE, nullptr);
  EXPECT_EQ(GetLastError(), 0u);
  for (HANDLE mutex : {first, second, unnamed})
    EXPECT_TRUE(CloseHandle(mutex));
}

TEST_F(Mutexes, NamesAreChecked) {
  EXPECT_EQ(CreateMutexW(nullptr, FALSE, u"back\\slash"), nullptr);
  EXPECT_EQ(GetLastError(), 123u);
  EXPECT_EQ(CreateMutexW(nullptr, FALSE, std::u16string(260, u'n').c_str()), nullptr);
  EXPECT_EQ(GetLastError(), 206u);
  HANDLE longest = CreateMutexW(nullptr, FALSE, std::u16string(259, u'n').c_str());
  EXPECT_NE(longest, nullptr);
  CloseHandle(longest);
}

TEST_F(Mutexes, NamesComeBackWhenTheirHandlesClose) {
  // More names than there is room for at a time.
  for (int i = 0; i < 1000; ++i) {
    const std::string number = std::to_string(i);
    HANDLE mutex =
        CreateMutexW(nullptr, TRUE, std::u16string(number.begin(), number.end()).c_str());
    ASSERT_NE(mutex, nullptr) << i;
    CloseHandle(mutex);
  }
}

TEST_F(Mutexes, HandlesAreChecked) {
  for (HANDLE bad :
       {HANDLE{nullptr}, INVALID_HANDLE_VALUE, reinterpret_cast<HANDLE>(uintptr_t{0x7000})}) {
    SetLastError(0);
    EXPECT_EQ(WaitForSingleObject(bad, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), 6u);
    SetLastError(0);
    EXPECT_FALSE(ReleaseMutex(bad));
    EXPECT_EQ(GetLastError(), 6u);
    SetLastError(0);
    EXPECT_FALSE(CloseHandle(bad));
    EXPECT_EQ(GetLastError(), 6u);
  }
}

TEST_F(Mutexes, ClosedHandleIsNotItsSuccessor) {
  HANDLE first = CreateMutexW(nullptr, FALSE, nullptr);
  CloseHandle(first);
  HANDLE second = CreateMutexW(nullptr, FALSE, nullptr);
  EXPECT_NE(first, second);
  EXPECT_FALSE(CloseHandle(first));
  EXPECT_TRUE(CloseHandle(second));
  EXPECT_LT(reinterpret_cast<uintptr_t>(second), uintptr_t{1} << 31);
}

TEST(LocalMemory, IsZeroedWhenAsked) {
  auto* block = static_cast<BYTE*>(LocalAlloc(LPTR, 64));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 64; ++i)
    EXPECT_EQ(block[i], 0);
  memset(block, 0xFF, 64);
  EXPECT_EQ(LocalFree(block), nullptr);
}

TEST(LocalMemory, EmptyBlocksAndNothingAreFine) {
  HLOCAL empty = LocalAlloc(LMEM_FIXED, 0);
  HLOCAL second = LocalAlloc(LMEM_FIXED, 0);
  EXPECT_NE(empty, nullptr);
  EXPECT_NE(empty, second);
  EXPECT_EQ(LocalFree(empty), nullptr);
  EXPECT_EQ(LocalFree(second), nullptr);
  EXPECT_EQ(LocalFree(nullptr), nullptr);
}

TEST(Counters, ReturnTheNewValueAndWrap) {
  LONG value = 1;
  EXPECT_EQ(InterlockedIncrement(&value), 2);
  EXPECT_EQ(InterlockedDecrement(&value), 1);
  EXPECT_EQ(InterlockedDecrement(&value), 0);
  EXPECT_EQ(InterlockedDecrement(&value), -1);
  value = INT32_MAX;
  EXPECT_EQ(InterlockedIncrement(&value), INT32_MIN);
}

TEST(Counters, CountBetweenThreads) {
  LONG value = 0;
  const auto count = [&] {
    for (int i = 0; i < 20'000; ++i)
      InterlockedIncrement(&value);
  };
  std::thread one(count), other(count);
  one.join();
  other.join();
  EXPECT_EQ(value, 40'000);
}

TEST(LastError, IsTheThreadsOwn) {
  SetLastError(5);
  DWORD elsewhere = 99;
  std::thread([&] { elsewhere = GetLastError(); }).join();
  EXPECT_EQ(elsewhere, 0u);
  EXPECT_EQ(GetLastError(), 5u);
}

TEST(ThreadId, DiffersBetweenThreads) {
  DWORD elsewhere = 0;
  std::thread([&] { elsewhere = GetCurrentThreadId(); }).join();
  EXPECT_NE(elsewhere, 0u);
  EXPECT_NE(elsewhere, GetCurrentThreadId());
  EXPECT_EQ(GetCurrentThreadId(), GetCurrentThreadId());
}

}  // namespace
