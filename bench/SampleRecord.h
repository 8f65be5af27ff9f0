// A record as the provider writes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace wkt::bench {

constexpr uint64_t kTicksPerMinute = 600'000'000;
constexpr uint64_t kYear2026 = 134'117'000'000'000'000;  // some day of it, in ticks since 1601

// A job of about 1,000 bytes with 22 properties, different for each number.
class SampleRecord {
 public:
  explicit SampleRecord(uint32_t number);
  CEPROPVAL* Values() { return values_.data(); }
  // Later by a minute: another place in the order.
  void MoveOn();
  [[nodiscard]] WORD Count() const { return static_cast<WORD>(values_.size()); }

 private:
  void Text(WORD number, const std::string& text);
  void Number(WORD number, LONG value);
  void Time(WORD number, uint64_t ticks);
  void Switch(WORD number, bool value);
  std::vector<std::u16string> texts_;
  std::vector<CEPROPVAL> values_;
};

}  // namespace wkt::bench
