#include "bench/SampleRecord.h"

#include <random>

namespace wkt::bench {

SampleRecord::SampleRecord(uint32_t number) {
  std::minstd_rand random(number * 7919 + 1);
  texts_.reserve(16);
  const std::string digits = std::to_string(100'000'000 + number);
  const std::string id = "00C0FFEE-" + digits + "-4711";
  Text(0x4000, id);
  Number(0x4001, 1);
  Time(0x4002, kYear2026 + number * kTicksPerMinute);
  Text(0x4003, "Work on order " + digits);
  Text(0x4004, std::string(20 + random() % 200, 'c') + " said " + digits);
  for (const int property : {0x4005, 0x4006, 0x4007})
    Number(static_cast<WORD>(property), -2);
  Time(0x4008, kYear2026 + uint64_t{number} * 37 * kTicksPerMinute);
  Time(0x4009, kYear2026 + (number * 37 + 30) * kTicksPerMinute);
  Text(0x400A, random() % 2 == 0 ? "Meier; Huber" : "Gruber");
  Text(0x400B, "0001000000000000000");
  for (const int property : {0x400C, 0x400D, 0x400E, 0x400F})
    Switch(static_cast<WORD>(property), random() % 2 == 0);
  Number(0x4010, 0);
  Text(0x4011, "");
  // Not all jobs are entered on their day.
  const uint64_t days = uint64_t{number} * 37 / 1440 + (random() % 10 == 0 ? random() % 30 : 0);
  Time(0x4012, kYear2026 + days * 1440 * kTicksPerMinute);
  Text(0x4013, "0BADF00D-" + digits + "-0001");
  Text(0x4014, "0BADF00D-" + digits + "-0002");
  Text(0x4015, "0BADF00D-" + digits + "-0003");
}

void SampleRecord::Text(WORD number, const std::string& text) {
  texts_.emplace_back(text.begin(), text.end());
  CEPROPVAL value{};
  value.propid = CEPROPID{number} << 16 | CEVT_LPWSTR;
  value.val.lpwstr = texts_.back().data();
  values_.push_back(value);
}

void SampleRecord::Number(WORD number, LONG value) {
  CEPROPVAL made{};
  made.propid = CEPROPID{number} << 16 | CEVT_I4;
  made.val.lVal = value;
  values_.push_back(made);
}

void SampleRecord::Time(WORD number, uint64_t ticks) {
  CEPROPVAL made{};
  made.propid = CEPROPID{number} << 16 | CEVT_FILETIME;
  made.val.filetime = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  values_.push_back(made);
}

void SampleRecord::Switch(WORD number, bool value) {
  CEPROPVAL made{};
  made.propid = CEPROPID{number} << 16 | CEVT_BOOL;
  made.val.boolVal = value ? TRUE : FALSE;
  values_.push_back(made);
}

void SampleRecord::MoveOn() {
  FILETIME& start = values_[8].val.filetime;
  start.dwLowDateTime += static_cast<DWORD>(kTicksPerMinute);
  start.dwHighDateTime += start.dwLowDateTime < kTicksPerMinute ? 1 : 0;
}

}  // namespace wkt::bench
