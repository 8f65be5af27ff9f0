#include "WktCommon/Allocation.h"

namespace wkt {
namespace {

bool allocationFailed = false;

}  // namespace

bool AllocationFailed() {
  return allocationFailed;
}

void ClearAllocationFailure() {
  allocationFailed = false;
}

void NoteAllocationFailure() {
  allocationFailed = true;
}

void* AllocateBlock(size_t byteCount) {
  void* const block = ::operator new(byteCount, std::nothrow);
  if (!block)
    NoteAllocationFailure();
  return block;
}

void FreeBlock(void* block) {
  ::operator delete(block);
}

}  // namespace wkt
