// The process's handles: small numbers for objects of several kinds, the same size on 32 and 64
// bits.
#pragma once

#include <cstdint>
#include <memory>

namespace wkt::host {

enum class HandleKind : uint8_t { Mutex, File, Find, Key, Database, DatabaseEnum };

// Something a handle stands for. It is destroyed when its handle is closed and no call uses it any
// more.
class HandleObject {
 public:
  virtual ~HandleObject() = default;
};

// Handle values are multiples of four below 2^30: slot number and, above it, how often the slot was
// used, so that a closed handle is not taken for its successor. Never NULL, never
// INVALID_HANDLE_VALUE. NULL when the table is full.
void* OpenHandle(HandleKind kind, std::shared_ptr<HandleObject> object);
std::shared_ptr<HandleObject> FindHandle(const void* handle, HandleKind kind);
// False when the handle is not open or of another kind.
bool DropHandle(const void* handle, HandleKind kind);
// What CloseHandle takes: everything but searches and registry keys, which have calls of their own.
bool DropClosableHandle(const void* handle);
// The device is being left: handles of all kinds go.
void DropAllHandles();
// Open ones of all kinds.
size_t CountHandles();

// T derives from HandleObject and names its kind in T::kKind.
template <typename T>
std::shared_ptr<T> FindHandle(const void* handle) {
  return std::static_pointer_cast<T>(FindHandle(handle, T::kKind));
}

}  // namespace wkt::host
