#include "tests/device/probe/Probe.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/Errors.h"
#include "platform/Kernel.h"

namespace {

// Wire codes and sizes that only come out right with the flags of the device build.
enum class Small { Zero, One };
static_assert(sizeof(Small) == 4, "enums are as wide as int on Windows CE");
static_assert(sizeof(wchar_t) == 2, "wchar_t is a UTF-16 unit on Windows CE");
static_assert(static_cast<char>(-1) < 0, "char is signed on Windows CE");
static_assert(sizeof(void*) == 4 && sizeof(long) == 4);

DWORD attachCount = 0;
LONG detached = 0;

// A static object that needs a constructor and a destructor. The provider has none; the runtime
// can.
class Greeting {
 public:
  Greeting() : value_(0x600D) {}
  ~Greeting() { InterlockedIncrement(&detached); }
  DWORD Value() const { return value_; }

 private:
  volatile DWORD value_;
};
Greeting greeting;

const WCHAR* const kNames[] = {u"WktActivities", u"WktFavorites", u"WktTypes"};

DWORD Twice(DWORD value) {
  return value * 2;
}
DWORD Half(DWORD value) {
  return value / 2;
}
DWORD Third(DWORD value) {
  return value / 3;
}
DWORD (*const kFunctions[])(DWORD) = {Twice, Half, Third};

class Probe final : public IProbe {
 public:
  virtual ~Probe() = default;

  HRESULT CEAPI QueryInterface(const void*, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG CEAPI AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references_)); }
  ULONG CEAPI Release() override {
    const LONG left = InterlockedDecrement(&references_);
    if (left == 0) {
      delete this;
    }
    return static_cast<ULONG>(left);
  }
  HRESULT CEAPI Setup(DWORD seed) override {
    text_.assign(seed, u'x');
    text_ += u"-end";
    return S_OK;
  }
  HRESULT CEAPI Reset() override {
    text_.clear();
    return S_OK;
  }
  HRESULT CEAPI GetText(LPWSTR text, DWORD unitCount) override {
    if (text_.size() >= unitCount) {
      return E_UNEXPECTED;
    }
    std::memcpy(text, text_.c_str(), (text_.size() + 1) * sizeof(WCHAR));
    return S_OK;
  }
  HRESULT CEAPI Sort(DWORD* values, DWORD count) override {
    std::vector<DWORD> copy(values, values + count);
    std::sort(copy.begin(), copy.end());
    std::memcpy(values, copy.data(), count * sizeof(DWORD));
    return S_OK;
  }
  HRESULT CEAPI Days(const FILETIME* time, DWORD* days) override {
    const uint64_t ticks = (uint64_t{time->dwHighDateTime} << 32) | time->dwLowDateTime;
    *days = static_cast<DWORD>(ticks / (24ull * 3600 * 10'000'000));
    return S_OK;
  }

 private:
  LONG references_ = 1;
  std::u16string text_;
};

}  // namespace

extern "C" BOOL CEAPI DllMain(HANDLE, DWORD reason, LPVOID) {
  attachCount += reason == 1;
  return TRUE;
}

BOOL CEAPI ProbeCreate(IProbe** probe) {
  *probe = new (std::nothrow) Probe;
  return *probe != nullptr;
}
DWORD CEAPI ProbeAttachCount() {
  return attachCount;
}
DWORD CEAPI ProbeConstructed() {
  return greeting.Value();
}
LPCWSTR CEAPI ProbeName(DWORD index) {
  return index < std::size(kNames) ? kNames[index] : nullptr;
}
DWORD CEAPI ProbeCall(DWORD index, DWORD value) {
  return kFunctions[index % 3](value);
}

// Words at whatever address they come, as packets hold them: by memcpy.
BOOL CEAPI ProbeUnaligned(const BYTE* bytes, DWORD byteCount, DWORD* sum) {
  *sum = 0;
  for (DWORD at = 0; at + 4 <= byteCount; at += 5) {
    DWORD word;
    std::memcpy(&word, bytes + at, sizeof(word));
    *sum += word;
  }
  return TRUE;
}
