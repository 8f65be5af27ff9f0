#include "tests/support/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {

size_t requests = 0;
size_t refusable = 0;  // those of the requests that may answer null
size_t failAt = 0;     // the one of these that does; 0 = none
bool failLater = false;
bool failed = false;
bool paused = false;

void* Request(size_t byteCount, bool mayFail) {
  ++requests;
  if (mayFail && !paused) {
    ++refusable;
    if (failAt != 0 && (refusable == failAt || (failLater && refusable > failAt))) {
      failed = true;
      return nullptr;
    }
  }
  return std::malloc(byteCount ? byteCount : 1);
}

}  // namespace

void* operator new(size_t byteCount) {
  void* const block = Request(byteCount, false);
  if (!block)
    std::abort();
  return block;
}
void* operator new[](size_t byteCount) {
  return operator new(byteCount);
}
void* operator new(size_t byteCount, const std::nothrow_t&) noexcept {
  return Request(byteCount, true);
}
void* operator new[](size_t byteCount, const std::nothrow_t&) noexcept {
  return Request(byteCount, true);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, size_t) noexcept {
  std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}

namespace wkt::test {

AllocationCounter::AllocationCounter() : start(requests) {}

size_t AllocationCounter::Count() const {
  return requests - start;
}

RefusalPause::RefusalPause() {
  paused = true;
}

RefusalPause::~RefusalPause() {
  paused = false;
}

RefusableCounter::RefusableCounter() : start(refusable) {}

size_t RefusableCounter::Count() const {
  return refusable - start;
}

AllocationFailure::AllocationFailure(size_t nth, Extent extent) {
  failed = false;
  failLater = extent == Extent::AllLater;
  failAt = refusable + nth;
}

AllocationFailure::~AllocationFailure() {
  failAt = 0;
}

bool AllocationFailure::Happened() const {
  return failed;
}

}  // namespace wkt::test
