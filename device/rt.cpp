// What the compiler expects of a C++ runtime, for a library that lives on coredll.dll alone:
// memory, block operations, constructors, destructors, and the entry that Windows CE calls.
//
// Compiled with -fno-tree-loop-distribute-patterns, so that the loops of the block operations do
// not become calls of themselves.
#include <cstddef>
#include <cstdint>
#include <new>

#if defined(__i386__)
#define CE_CALL __attribute__((cdecl))
#else
#define CE_CALL
#endif

extern "C" {
void* CE_CALL LocalAlloc(unsigned int flags, unsigned int byteCount);
void* CE_CALL LocalFree(void* block);
int32_t CE_CALL DllMain(void* instance, uint32_t reason, void* reserved);
}

namespace std {
const nothrow_t nothrow{};
}

namespace {

constexpr uint32_t kProcessDetach = 0;
constexpr uint32_t kProcessAttach = 1;

// Nothing can be reported from here, and going on would work on memory that is not there: stop the
// process at the place where it is seen.
[[noreturn]] void Stop() {
  __builtin_trap();
}

struct ExitCall {
  void (*function)(void*);
  void* argument;
};

// Static objects with destructors are rare here; one more than this stops the load, which no test
// misses.
constexpr size_t kExitCallLimit = 32;
ExitCall exitCalls[kExitCallLimit];
size_t exitCallCount = 0;

int RememberExitCall(void (*function)(void*), void* argument) {
  if (exitCallCount == kExitCallLimit) {
    Stop();
  }
  exitCalls[exitCallCount++] = {function, argument};
  return 0;
}

void RunExitCalls() {
  while (exitCallCount > 0) {
    const ExitCall call = exitCalls[--exitCallCount];
    call.function(call.argument);
  }
}

}  // namespace

void* operator new(size_t byteCount, const std::nothrow_t&) noexcept {
  return LocalAlloc(0, static_cast<unsigned int>(byteCount));
}
void* operator new[](size_t byteCount, const std::nothrow_t& tag) noexcept {
  return operator new(byteCount, tag);
}
void* operator new(size_t byteCount) {
  void* block = operator new(byteCount, std::nothrow);
  if (block == nullptr) {
    Stop();
  }
  return block;
}
void* operator new[](size_t byteCount) {
  return operator new(byteCount);
}
void operator delete(void* block) noexcept {
  if (block != nullptr) {
    LocalFree(block);
  }
}
void operator delete[](void* block) noexcept {
  operator delete(block);
}
void operator delete(void* block, size_t) noexcept {
  operator delete(block);
}
void operator delete[](void* block, size_t) noexcept {
  operator delete(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  operator delete(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  operator delete(block);
}

// Where the standard library throws, this library stops; see the note on memory in
// docs/device-build.md.
namespace std {
[[noreturn]] void __throw_bad_alloc() {
  Stop();
}
[[noreturn]] void __throw_bad_array_new_length() {
  Stop();
}
[[noreturn]] void __throw_length_error(const char*) {
  Stop();
}
[[noreturn]] void __throw_logic_error(const char*) {
  Stop();
}
[[noreturn]] void __throw_out_of_range_fmt(const char*, ...) {
  Stop();
}
[[noreturn]] void __throw_bad_optional_access() {
  Stop();
}
}  // namespace std

extern "C" {

void* memcpy(void* to, const void* from, size_t byteCount) {
  auto* target = static_cast<uint8_t*>(to);
  const auto* source = static_cast<const uint8_t*>(from);
  // Whole words when both sides allow it: ARMv4 rotates what it reads at an odd address.
  if (((reinterpret_cast<uintptr_t>(target) | reinterpret_cast<uintptr_t>(source)) & 3) == 0) {
    for (; byteCount >= 4; byteCount -= 4, target += 4, source += 4) {
      *reinterpret_cast<uint32_t __attribute__((may_alias))*>(target) =
          *reinterpret_cast<const uint32_t __attribute__((may_alias))*>(source);
    }
  }
  for (; byteCount > 0; --byteCount) {
    *target++ = *source++;
  }
  return to;
}

void* memmove(void* to, const void* from, size_t byteCount) {
  auto* target = static_cast<uint8_t*>(to);
  const auto* source = static_cast<const uint8_t*>(from);
  if (target <= source || target >= source + byteCount) {
    return memcpy(to, from, byteCount);
  }
  while (byteCount > 0) {
    --byteCount;
    target[byteCount] = source[byteCount];
  }
  return to;
}

void* memset(void* to, int value, size_t byteCount) {
  auto* target = static_cast<uint8_t*>(to);
  for (; byteCount > 0; --byteCount) {
    *target++ = static_cast<uint8_t>(value);
  }
  return to;
}

int memcmp(const void* left, const void* right, size_t byteCount) {
  const auto* a = static_cast<const uint8_t*>(left);
  const auto* b = static_cast<const uint8_t*>(right);
  for (; byteCount > 0; --byteCount, ++a, ++b) {
    if (*a != *b) {
      return *a - *b;
    }
  }
  return 0;
}

void* memchr(const void* from, int value, size_t byteCount) {
  const auto* source = static_cast<const uint8_t*>(from);
  for (; byteCount > 0; --byteCount, ++source) {
    if (*source == static_cast<uint8_t>(value)) {
      return const_cast<uint8_t*>(source);
    }
  }
  return nullptr;
}

size_t strlen(const char* text) {
  size_t count = 0;
  while (text[count] != 0) {
    ++count;
  }
  return count;
}

void __cxa_pure_virtual() {
  Stop();
}
void abort() {
  Stop();
}

void* __dso_handle = nullptr;

#if defined(__arm__)
int __aeabi_atexit(void* object, void (*destructor)(void*), void*) {
  return RememberExitCall(destructor, object);
}

using Constructor = void (*)();
extern const Constructor __init_array_start[];
extern const Constructor __init_array_end[];
static void RunConstructors() {
  for (const Constructor* next = __init_array_start; next != __init_array_end; ++next) {
    (*next)();
  }
}
#else
int __cxa_atexit(void (*destructor)(void*), void* object, void*) {
  return RememberExitCall(destructor, object);
}
// For one object in static storage mingw registers a function without argument; cdecl lets it get
// one.
int atexit(void (*function)()) {
  return RememberExitCall(reinterpret_cast<void (*)(void*)>(reinterpret_cast<void*>(function)),
                          nullptr);
}

// The linker's list: a count or -1, the constructors in reverse order, a null pointer.
using Constructor = void (*)();
extern const Constructor __CTOR_LIST__[];
static void RunConstructors() {
  size_t count = 0;
  while (__CTOR_LIST__[count + 1] != nullptr) {
    ++count;
  }
  for (; count > 0; --count) {
    __CTOR_LIST__[count]();
  }
}
#endif

int32_t CE_CALL DllEntry(void* instance, uint32_t reason, void* reserved) {
  if (reason == kProcessAttach) {
    RunConstructors();
  }
#if defined(CE_HAS_DLL_MAIN)
  const int32_t result = DllMain(instance, reason, reserved);
#else
  static_cast<void>(instance);
  static_cast<void>(reserved);
  const int32_t result = 1;
#endif
  if (reason == kProcessDetach) {
    RunExitCalls();
  }
  return result;
}
}
