#include "host/coredll/LocalMemory.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace wkt::host {

namespace {

// Under the sanitizers every block is one of its own, so that they see what is done to it.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kKeepsBlocks = false;
#else
constexpr bool kKeepsBlocks = true;
#endif
// The C library keeps smaller ones itself.
constexpr size_t kSmallBytes = 1032;
constexpr size_t kStepBytes = 128;
constexpr size_t kStepCount = 24;
// Blocks of one step that are kept; of all steps it is two megabytes at most, usually a tenth.
constexpr unsigned char kMaxKept = 32;

struct Kept {
  void* first[kStepCount];  // each begins with the next one's address
  unsigned char count[kStepCount];
};
// At a fixed distance from the thread's block, where a look at it is no call.
[[gnu::tls_model("initial-exec")]] thread_local Kept kept;

// What the thread kept goes with it.
struct KeptOwner {
  ~KeptOwner() {
    for (void*& first : kept.first) {
      while (first != nullptr) {
        void* next = nullptr;
        std::memcpy(&next, first, sizeof next);
        free(first);
        first = next;
      }
    }
    std::memset(kept.count, kMaxKept, sizeof kept.count);
  }
};

void OwnKept() {
  thread_local KeptOwner owner;
  static_cast<void>(owner);
}

}  // namespace

void* TakeLocalMemory(size_t byteCount) {
  const size_t step = (byteCount - kSmallBytes - 1) / kStepBytes;
  if (!kKeepsBlocks || byteCount <= kSmallBytes || step >= kStepCount)
    return malloc(byteCount);
  void* block = kept.first[step];
  if (block == nullptr)
    return malloc(kSmallBytes + (step + 1) * kStepBytes);
  std::memcpy(&kept.first[step], block, sizeof kept.first[step]);
  --kept.count[step];
  return block;
}

void ReturnLocalMemory(void* block) {
  const size_t usable = kKeepsBlocks && block != nullptr ? malloc_usable_size(block) : 0;
  const size_t step = (usable - kSmallBytes) / kStepBytes - 1;
  if (usable < kSmallBytes + kStepBytes || step >= kStepCount || kept.count[step] == kMaxKept) {
    free(block);
    return;
  }
  if (kept.count[step] == 0)
    OwnKept();
  std::memcpy(block, &kept.first[step], sizeof kept.first[step]);
  kept.first[step] = block;
  ++kept.count[step];
}

}  // namespace wkt::host
