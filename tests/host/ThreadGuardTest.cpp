// Locks that are taken as soon as the process has a second thread.
#include "host/coredll/ThreadGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <latch>
#include <thread>

#include "host/coredll/StoreMounts.h"
#include "tests/support/DatabaseHelp.h"
#include "tests/support/DeskDevice.h"

namespace {

using namespace wkt;

// Whether the mutex is free, as another thread sees it.
bool IsFree(pthread_mutex_t& mutex) {
  if (pthread_mutex_trylock(&mutex) != 0)
    return false;
  pthread_mutex_unlock(&mutex);
  return true;
}

TEST(ThreadGuard, KeepsOtherThreadsOut) {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  std::latch isThere(1), isHeld(1), wasTried(1);
  bool freeWhileHeld = true;
  bool freeAfterwards = false;
  std::thread other([&] {
    isThere.count_down();
    isHeld.wait();
    freeWhileHeld = IsFree(mutex);
    wasTried.count_down();
  });
  isThere.wait();
  {
    const host::ThreadGuard guard(mutex);
    isHeld.count_down();
    wasTried.wait();
  }
  other.join();
  std::thread([&] { freeAfterwards = IsFree(mutex); }).join();
  EXPECT_FALSE(freeWhileHeld);
  EXPECT_TRUE(freeAfterwards);
}

class StoreLocks : public test::DeskDeviceTest {};

TEST_F(StoreLocks, ACallOfAnotherThreadWaits) {
  test::CreateDatabase(u"A", 5);
  CEGUID store{};
  std::latch isThere(1);
  std::atomic<bool> mayCall = false;
  std::atomic<bool> hasCalled = false;
  std::thread other([&] {
    isThere.count_down();
    mayCall.wait(false);
    EXPECT_NE(CloseHandle(CeFindFirstDatabaseEx(&store, 5)), FALSE);
    hasCalled = true;
  });
  isThere.wait();
  {
    const host::StoreLock lock;
    mayCall = true;
    mayCall.notify_one();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(hasCalled);
  }
  other.join();
  EXPECT_TRUE(hasCalled);
}

}  // namespace
