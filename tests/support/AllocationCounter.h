#pragma once

#include <cstddef>

// Counts and fails the memory requests (`new`) of the test program and of the libraries in it. One
// thread.
namespace wkt::test {

class AllocationCounter {
 public:
  AllocationCounter();
  // Requests since this was made.
  [[nodiscard]] size_t Count() const;

 private:
  size_t start;
};

// While it lives, the nth request that may answer null (from 1) does so, and with `AllLater` every
// later one too.
class AllocationFailure {
 public:
  enum class Extent { OnlyThis, AllLater };
  explicit AllocationFailure(size_t nth, Extent extent = Extent::OnlyThis);
  ~AllocationFailure();
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;
  // Whether a request was refused so far.
  [[nodiscard]] bool Happened() const;
};

// While it lives, requests are granted and count neither for AllocationFailure nor for
// RefusableCounter.
class RefusalPause {
 public:
  RefusalPause();
  ~RefusalPause();
  RefusalPause(const RefusalPause&) = delete;
  RefusalPause& operator=(const RefusalPause&) = delete;
};

// Counts requests that may answer null, those that AllocationFailure can refuse.
class RefusableCounter {
 public:
  RefusableCounter();
  [[nodiscard]] size_t Count() const;

 private:
  size_t start;
};

}  // namespace wkt::test
