// A small device library for the tests of loading. Its attach makes the folder "\attached-<kind>",
// its detach "\detached-<kind>"; the first kind also loads the second in its attach, the third
// refuses to be attached.
#include "platform/Files.h"
#include "platform/Kernel.h"

#define PROBE_WIDE_(text) u##text
#define PROBE_WIDE(text) PROBE_WIDE_(text)
#define PROBE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// Each loaded copy has its own.
int counter = 0;
HANDLE attachedAs = nullptr;

constexpr bool kLoadsSecond = PROBE_NUMBER == 1;
constexpr bool kRefuses = PROBE_NUMBER == 3;

}  // namespace

PROBE_EXPORT BOOL CEAPI DllMain(HANDLE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    attachedAs = instance;
    CreateDirectoryW(u"\\attached-" PROBE_WIDE(PROBE_KIND), nullptr);
    if (kLoadsSecond && LoadLibraryW(u"\\lib\\ProbeSecond.dll") == nullptr)
      CreateDirectoryW(u"\\nested-load-failed", nullptr);
    return kRefuses ? FALSE : TRUE;
  }
  if (reason == DLL_PROCESS_DETACH)
    CreateDirectoryW(u"\\detached-" PROBE_WIDE(PROBE_KIND), nullptr);
  return TRUE;
}

PROBE_EXPORT int ProbeCount() {
  return ++counter;
}

PROBE_EXPORT HANDLE ProbeInstance() {
  return attachedAs;
}
