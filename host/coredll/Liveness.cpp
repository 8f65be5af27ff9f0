#include "host/coredll/Liveness.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace wkt::host {

namespace {

constexpr uint32_t kIdBits = 22;
constexpr uint32_t kStartMask = 0x1FF;

std::atomic<uint32_t> forkCount{1};

// A forked child's threads have new ids: what was remembered of the parent's is void.
uint32_t ForkCount() {
  static const int registered = pthread_atfork(nullptr, nullptr, [] { forkCount.fetch_add(1); });
  (void)registered;
  return forkCount.load(std::memory_order_relaxed);
}

// The low bits of the start time (clock ticks since boot); nullopt when there is no such thread or
// it only waits to be reaped.
std::optional<uint32_t> StartBits(uint32_t id) {
  std::array<char, 32> path;
  snprintf(path.data(), path.size(), "/proc/%u/stat", id);
  const int file = open(path.data(), O_RDONLY | O_CLOEXEC);
  if (file < 0)
    return std::nullopt;
  std::array<char, 1024> text;
  const ssize_t count = read(file, text.data(), text.size() - 1);
  close(file);
  if (count <= 0)
    return std::nullopt;
  text[static_cast<size_t>(count)] = '\0';
  // The name in brackets may hold anything, so fields are counted from the last bracket: the state
  // is the third field, the start time the twenty-second.
  const char* field = strrchr(text.data(), ')');
  if (field == nullptr || field[1] != ' ' || field[2] == 'Z' || field[2] == 'X')
    return std::nullopt;
  for (int number = 2; number < 22; ++number) {
    field = strchr(field + 1, ' ');
    if (field == nullptr)
      return std::nullopt;
  }
  return static_cast<uint32_t>(strtoull(field + 1, nullptr, 10)) & kStartMask;
}

AliveWord MarkOf(uint32_t id) {
  return (StartBits(id).value_or(0) << kIdBits) | id;
}

}  // namespace

AliveWord ThisThread() {
  thread_local AliveWord mark = 0;
  thread_local uint32_t markedAt = 0;
  const uint32_t forks = ForkCount();
  if (markedAt != forks) {
    mark = MarkOf(static_cast<uint32_t>(syscall(SYS_gettid)));
    markedAt = forks;
  }
  return mark;
}

AliveWord ThisProcess() {
  thread_local AliveWord mark = 0;
  thread_local uint32_t markedAt = 0;
  const uint32_t forks = ForkCount();
  if (markedAt != forks) {
    mark = MarkOf(static_cast<uint32_t>(getpid()));
    markedAt = forks;
  }
  return mark;
}

bool IsAlive(AliveWord word) {
  const AliveWord mark = word & ~kWaitersBit;
  const std::optional<uint32_t> start = StartBits(IdOf(mark));
  return start.has_value() && *start == mark >> kIdBits;
}

}  // namespace wkt::host
