// Runs the probe library in this process: i386 natively, ARM under qemu. The four functions that it
// imports are supplied here, so that nothing but the machinery is on trial.
//
// usage: run_probe Probe.dll
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/Errors.h"
#include "tests/device/PeImage.h"
#include "tests/device/probe/Probe.h"

namespace {

int failures = 0;
int blocks = 0;
bool memoryEnds = false;

void Expect(bool holds, const char* what) {
  if (!holds) {
    std::printf("FAILED: %s\n", what);
    ++failures;
  }
}

extern "C" void* TestLocalAlloc(UINT flags, UINT byteCount) {
  if (memoryEnds) {
    return nullptr;
  }
  ++blocks;
  return (flags & 0x40) != 0 ? std::calloc(1, byteCount + 1) : std::malloc(byteCount + 1);
}
extern "C" void* TestLocalFree(void* block) {
  --blocks;
  std::free(block);
  return nullptr;
}
extern "C" LONG TestIncrement(LONG* value) {
  return ++*value;
}
extern "C" LONG TestDecrement(LONG* value) {
  return --*value;
}

void* Bind(const char* name) {
  const struct {
    const char* name;
    void* function;
  } functions[] = {{"LocalAlloc", reinterpret_cast<void*>(TestLocalAlloc)},
                   {"LocalFree", reinterpret_cast<void*>(TestLocalFree)},
                   {"InterlockedIncrement", reinterpret_cast<void*>(TestIncrement)},
                   {"InterlockedDecrement", reinterpret_cast<void*>(TestDecrement)}};
  for (const auto& function : functions) {
    if (std::strcmp(function.name, name) == 0) {
      return function.function;
    }
  }
  return nullptr;
}

template <class Function>
Function Find(const wkt::PeImage& image, const char* name) {
  const auto function = reinterpret_cast<Function>(image.FindExport(name));
  if (function == nullptr) {
    std::printf("FAILED: no export %s\n", name);
    std::exit(1);
  }
  return function;
}

bool SameText(const WCHAR* left, const char16_t* right) {
  return std::u16string_view(left) == std::u16string_view(right);
}

// A caller on a device may leave the stack aligned to four bytes only. AAPCS and the i386
// convention of Linux promise more, so the odd word is put there by hand.
template <class Argument>
ULONG CallWithOddStack(ULONG (*function)(Argument), Argument argument) {
#if defined(__arm__)
  register Argument first asm("r0") = argument;
  asm volatile(
      "sub sp, sp, #4\n\t"
      "mov lr, pc\n\t"
      "mov pc, %1\n\t"
      "add sp, sp, #4"
      : "+r"(first)
      : "r"(function)
      : "r1", "r2", "r3", "ip", "lr", "cc", "memory");
  return reinterpret_cast<ULONG>(first);
#else
  ULONG result;
  asm volatile(
      "mov %%esp, %%esi\n\t"
      "and $-16, %%esp\n\t"
      "sub $8, %%esp\n\t"
      "push %1\n\t"
      "call *%2\n\t"
      "mov %%esi, %%esp"
      : "=a"(result)
      : "r"(argument), "r"(function)
      : "esi", "ecx", "edx", "cc", "memory");
  return result;
#endif
}

void TestExports(const wkt::PeImage& image) {
  Expect(Find<DWORD (*)()>(image, "ProbeAttachCount")() == 1, "DllMain ran once");
  Expect(Find<DWORD (*)()>(image, "ProbeConstructed")() == 0x600D,
         "the static object was constructed");
  const auto name = Find<LPCWSTR (*)(DWORD)>(image, "ProbeName");
  Expect(SameText(name(0), u"WktActivities") && SameText(name(2), u"WktTypes"),
         "pointers to text are moved");
  Expect(name(3) == nullptr, "no fourth name");
  const auto call = Find<DWORD (*)(DWORD, DWORD)>(image, "ProbeCall");
  Expect(call(0, 21) == 42 && call(1, 21) == 10 && call(2, 22) == 7,
         "pointers to functions are moved");
  const BYTE bytes[] = {9, 1, 2, 3, 4, 9, 0x10, 0x20, 0x30, 0x40, 9, 9};
  const auto unaligned = Find<BOOL (*)(const BYTE*, DWORD, DWORD*)>(image, "ProbeUnaligned");
  for (DWORD shift = 0; shift < 2; ++shift) {
    DWORD sum = 0xDEADBEEF;
    unaligned(bytes + shift, 9, &sum);
    Expect(sum == (shift == 0 ? 0x03020109u + 0x30201009u : 0x04030201u + 0x40302010u),
           "words at any address");
  }
  Expect(image.FindExport("ProbeNothing") == nullptr, "an unknown export is not found");
}

void TestInterface(const wkt::PeImage& image) {
  IProbe* probe = nullptr;
  Expect(Find<BOOL (*)(IProbe**)>(image, "ProbeCreate")(&probe) == TRUE && probe != nullptr,
         "object made");
  if (probe == nullptr) {
    return;
  }
  void* other = &other;
  Expect(probe->QueryInterface(nullptr, &other) == E_NOINTERFACE && other == nullptr, "slot 0");
  Expect(probe->AddRef() == 2 && probe->Release() == 1, "slots 1 and 2");
  Expect(probe->Setup(100) == S_OK, "slot 3");
  WCHAR text[200] = {};
  Expect(probe->GetText(text, 104) == E_UNEXPECTED, "slot 5: too small");
  Expect(probe->GetText(text, 105) == S_OK && SameText(text + 98, u"xx-end"), "slot 5");
  Expect(probe->Reset() == S_OK && probe->GetText(text, 1) == S_OK && text[0] == 0, "slot 4");
  DWORD values[] = {5, 0x80000000, 3, 0xFFFFFFFF, 1};
  Expect(probe->Sort(values, 5) == S_OK && values[0] == 1 && values[3] == 0x80000000 &&
             values[4] == 0xFFFFFFFF,
         "slot 6");
  // 2026-03-02 00:00 UTC: 155,297 days after 1601.
  const uint64_t ticks = 155'297ull * 24 * 3600 * 10'000'000 + 12345;
  const FILETIME time = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  DWORD days = 0;
  Expect(probe->Days(&time, &days) == S_OK && days == 155'297, "slot 7: 64-bit division");
  void* const* table = *reinterpret_cast<void***>(probe);
  const auto addRef = reinterpret_cast<ULONG (*)(IProbe*)>(table[1]);
  const auto release = reinterpret_cast<ULONG (*)(IProbe*)>(table[2]);
  Expect(CallWithOddStack(addRef, probe) == 2 && release(probe) == 1,
         "stack aligned to four bytes");
  Expect(release(probe) == 0, "the last reference");
  memoryEnds = true;
  Expect(Find<BOOL (*)(IProbe**)>(image, "ProbeCreate")(&probe) == FALSE && probe == nullptr,
         "no memory, no object");
  memoryEnds = false;
  Expect(blocks == 0, "every block was freed");
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::fprintf(stderr, "usage: run_probe Probe.dll\n");
    return 2;
  }
  std::string error;
  const auto image = wkt::PeImage::Load(arguments[1], Bind, error);
  if (image == nullptr) {
    std::fprintf(stderr, "refused: %s\n", error.c_str());
    return 3;
  }
  std::printf("at %p, linked for %#x\n", image->Base(), image->PreferredBase());
  Expect(image->GetEntry()(image->Base(), 1, nullptr) == TRUE, "attached");
  TestExports(*image);
  TestInterface(*image);
  Expect(image->GetEntry()(image->Base(), 0, nullptr) == TRUE, "detached");
  const std::vector<uint8_t> version = wkt::ReadPeVersion(wkt::ReadWholeFile(arguments[1]));
  const uint8_t signature[] = {0xBD, 0x04, 0xEF, 0xFE};
  Expect(version.size() > 92 && std::memcmp(version.data() + 40, signature, 4) == 0,
         "version resource");
  std::printf("%s\n", failures == 0 ? "all well" : "failed");
  return failures == 0 ? 0 : 1;
}
