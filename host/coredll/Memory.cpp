// Local memory, interlocked counters, last error and thread id.
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

#include "host/coredll/CallHook.h"
#include "host/coredll/Handles.h"
#include "host/coredll/LocalMemory.h"
#include "platform/Kernel.h"

namespace wkt::host {

namespace {

thread_local uint32_t lastError = 0;
thread_local uint32_t errorSetCount = 0;

HLOCAL AllocateLocal(UINT flags, UINT byteCount) {
  // An empty block has an address of its own, as on the device.
  const size_t count = byteCount == 0 ? 1 : byteCount;
  void* block = (flags & LMEM_ZEROINIT) != 0 ? calloc(count, 1) : malloc(count);
  if (block == nullptr)
    SetError(ERROR_NOT_ENOUGH_MEMORY);
  return block;
}

}  // namespace

uint32_t LastError() {
  return lastError;
}

void SetError(uint32_t error) {
  lastError = error;
  ++errorSetCount;
}

uint32_t ErrorSetCount() {
  return errorSetCount;
}

}  // namespace wkt::host

using namespace wkt::host;

// The two are not recorded: they are how a program looks at every other call.
DWORD CEAPI GetLastError() {
  return LastError();
}

void CEAPI SetLastError(DWORD code) {
  SetError(code);
}

DWORD CEAPI GetCurrentThreadId() {
  return static_cast<DWORD>(syscall(SYS_gettid));
}

BOOL CEAPI CloseHandle(HANDLE object) {
  return HookedCall(
      "CloseHandle", FALSE,
      [&] {
        if (DropClosableHandle(object))
          return TRUE;
        SetError(ERROR_INVALID_HANDLE);
        return FALSE;
      },
      object);
}

HLOCAL CEAPI LocalAlloc(UINT flags, UINT byteCount) {
  return HookedCall(
      "LocalAlloc", HLOCAL{nullptr}, [&] { return AllocateLocal(flags, byteCount); }, flags,
      byteCount);
}

HLOCAL CEAPI LocalFree(HLOCAL block) {
  return HookedCall(
      "LocalFree", block,
      [&] {
        ReturnLocalMemory(block);
        return HLOCAL{nullptr};
      },
      block);
}

LONG CEAPI InterlockedIncrement(LONG* value) {
  return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST);
}

LONG CEAPI InterlockedDecrement(LONG* value) {
  return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST);
}
