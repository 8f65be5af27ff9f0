#pragma once

#include <cstddef>
#include <new>

// Memory that may run out. Operations of the text classes have no failure result: a text that
// cannot be allocated becomes the shared empty text, and this module-wide mark stays raised until
// somebody clears it, so that a database write or a packet can refuse instead of storing a record
// with holes. Used by one thread at a time, like everything that allocates through it.
namespace wkt {

[[nodiscard]] bool AllocationFailed();
void ClearAllocationFailure();
void NoteAllocationFailure();

// Raw memory for objects placed by the caller; null raises the mark. Returned with `FreeBlock`.
[[nodiscard]] void* AllocateBlock(size_t byteCount);
void FreeBlock(void* block);

// `new` that answers null and raises the mark when memory runs out.
template <class T, class... Arguments>
[[nodiscard]] T* NewObject(Arguments&&... arguments) {
  T* const made = new (std::nothrow) T(static_cast<Arguments&&>(arguments)...);
  if (!made)
    NoteAllocationFailure();
  return made;
}

}  // namespace wkt
