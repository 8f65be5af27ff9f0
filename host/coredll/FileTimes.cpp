#include "host/coredll/FileTimes.h"

#include <sys/stat.h>

#include "host/coredll/Device.h"

namespace wkt::host {

namespace {

// 100 ns ticks from 1601 to 1970: 369 years, 89 of them leap years.
constexpr int64_t kTicksToUnixEpoch = (369ll * 365 + 89) * 24 * 3600 * 10'000'000;
constexpr int64_t kTicksPerSecond = 10'000'000;

}  // namespace

FILETIME FileTimeOf(const timespec& time) {
  const int64_t ticks = kTicksToUnixEpoch + time.tv_sec * kTicksPerSecond + time.tv_nsec / 100;
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(static_cast<uint64_t>(ticks) >> 32)};
}

void StampFile(int file) {
  const Device* device = Device::CurrentIfAny();
  if (device == nullptr || device->Page().clockMode.load(std::memory_order_relaxed) ==
                               static_cast<uint32_t>(ClockMode::Running))
    return;
  const int64_t ticks = static_cast<int64_t>(NowTicks()) - kTicksToUnixEpoch;
  // Rounded down, so that times before 1970 keep a positive fraction.
  const int64_t seconds = ticks / kTicksPerSecond - (ticks % kTicksPerSecond < 0 ? 1 : 0);
  timespec time = {};
  time.tv_sec = static_cast<time_t>(seconds);
  time.tv_nsec = static_cast<long>((ticks - seconds * kTicksPerSecond) * 100);
  const timespec times[2] = {time, time};
  futimens(file, times);
}

}  // namespace wkt::host
