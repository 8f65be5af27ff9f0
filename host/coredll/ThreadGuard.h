// A lock that is not taken while the process has one thread.
#pragma once

#include <pthread.h>
#include <sys/single_threaded.h>

namespace wkt::host {

// Whether something has to be held off from what follows. Asked once, before it: without other
// threads there are none until its end, since no code under a lock of this library starts one.
// Calls of the platform take twenty locks for one record, nearly always in programs of one thread.
inline bool HasSeveralThreads() {
  return __libc_single_threaded == 0;
}

class ThreadGuard {
 public:
  explicit ThreadGuard(pthread_mutex_t& mutex) : mutex_(HasSeveralThreads() ? &mutex : nullptr) {
    if (mutex_ != nullptr)
      pthread_mutex_lock(mutex_);
  }
  ~ThreadGuard() {
    if (mutex_ != nullptr)
      pthread_mutex_unlock(mutex_);
  }
  ThreadGuard(const ThreadGuard&) = delete;
  ThreadGuard& operator=(const ThreadGuard&) = delete;

 private:
  pthread_mutex_t* mutex_;
};

}  // namespace wkt::host
