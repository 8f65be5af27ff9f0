#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <ctime>

#include <algorithm>
#include <deque>
#include <optional>
#include <string_view>

#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/Liveness.h"
#include "host/coredll/Text.h"
#include "host/coredll/WindowTable.h"

namespace wkt::host {

namespace {

// Window handle: use count of the slot in 20 bits, slot number + 1 in 8.
constexpr uint32_t kSlotBits = 8;
constexpr uint32_t kSerialMask = 0xFFFFF;
static_assert(kSharedWindowCount < (1u << kSlotBits));

// Longest class name or title that is looked at in a search; none in the table is as long.
constexpr size_t kMaxSearchUnits = 1024;
constexpr size_t kMaxThreadMessages = 1024;

thread_local std::deque<PostedMessage> threadMessages;

HWND HandleOf(const SharedPage& page, const SharedWindow& window) {
  const auto slot = static_cast<uint32_t>(&window - page.windows);
  const uint32_t value = ((window.serial & kSerialMask) << kSlotBits) | (slot + 1);
  return reinterpret_cast<HWND>(static_cast<uintptr_t>(value));
}

// nullptr when the handle is that of no window that is there; its process may be dead.
SharedWindow* FindSlot(SharedPage& page, HWND handle) {
  const auto value = reinterpret_cast<uintptr_t>(handle);
  const size_t slot = value & ((1u << kSlotBits) - 1);
  if (value >> 28 != 0 || slot == 0 || slot > kSharedWindowCount)
    return nullptr;
  SharedWindow& window = page.windows[slot - 1];
  const bool same = (window.serial & kSerialMask) == value >> kSlotBits;
  return window.process != 0 && same ? &window : nullptr;
}

// Windows of dead processes vanish when somebody looks.
bool IsThere(SharedWindow& window) {
  if (window.process == 0)
    return false;
  if (window.process == ThisProcess() || IsAlive(window.process))
    return true;
  window.process = 0;
  return false;
}

void CopyText(std::u16string_view text, char16_t (&to)[kWindowTextUnits]) {
  std::fill(std::begin(to), std::end(to), u'\0');
  std::copy(text.begin(), text.end(), to);
}

HWND Find(LPCWSTR className, LPCWSTR title) {
  Device* device = Device::Current();
  if (device == nullptr) {
    SetError(ERROR_NOT_READY);
    return nullptr;
  }
  std::optional<std::u16string_view> wantedClass, wantedTitle;
  if (className != nullptr && !(wantedClass = BoundedText(className, kMaxSearchUnits)))
    return nullptr;
  if (title != nullptr && !(wantedTitle = BoundedText(title, kMaxSearchUnits)))
    return nullptr;
  const DeviceLock lock(*device, LockRegion::Windows);
  const SharedWindow* top = nullptr;
  for (SharedWindow& window : device->Page().windows) {
    if (window.process == 0 ||
        (wantedClass && !EqualIgnoringCase(window.className, *wantedClass)) ||
        (wantedTitle && !EqualIgnoringCase(window.title, *wantedTitle)) || !IsThere(window))
      continue;
    if (top == nullptr || window.zOrder > top->zOrder)
      top = &window;
  }
  return top != nullptr ? HandleOf(device->Page(), *top) : nullptr;
}

LONG PostToThread(const PostedMessage& message) {
  if (threadMessages.size() >= kMaxThreadMessages)
    return ERROR_NOT_ENOUGH_QUOTA;
  threadMessages.push_back(message);
  return ERROR_SUCCESS;
}

LONG PostToWindow(Device& device, HWND handle, const PostedMessage& message) {
  const DeviceLock lock(device, LockRegion::Windows);
  SharedWindow* window = FindSlot(device.Page(), handle);
  if (window == nullptr || !IsThere(*window))
    return ERROR_INVALID_WINDOW_HANDLE;
  if (window->count >= kWindowQueueLength)
    return ERROR_NOT_ENOUGH_QUOTA;
  SharedMessage& place = window->queue[(window->first + window->count) % kWindowQueueLength];
  place = {message.wParam, message.lParam, message.message, 0};
  ++window->count;
  window->posted.fetch_add(1);
  syscall(SYS_futex, reinterpret_cast<uint32_t*>(&window->posted), FUTEX_WAKE, INT32_MAX, nullptr,
          nullptr, 0);
  return ERROR_SUCCESS;
}

BOOL Post(HWND window, const PostedMessage& message) {
  Device* device = window != nullptr ? Device::Current() : nullptr;
  LONG problem = ERROR_NOT_READY;
  if (window == nullptr) {
    problem = PostToThread(message);
  } else if (device != nullptr) {
    problem = PostToWindow(*device, window, message);
  }
  if (problem == ERROR_SUCCESS)
    return TRUE;
  SetError(static_cast<uint32_t>(problem));
  return FALSE;
}

uint64_t Milliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1'000'000;
}

enum class Taken { Message, Nothing, NoWindow };

// `posted` as it was when the queue was found empty, for waiting.
Taken TakeNow(Device& device, HWND handle, PostedMessage& message, uint32_t& posted) {
  const DeviceLock lock(device, LockRegion::Windows);
  SharedWindow* window = FindSlot(device.Page(), handle);
  if (window == nullptr || window->process != ThisProcess())
    return Taken::NoWindow;
  posted = window->posted.load();
  if (window->count == 0)
    return Taken::Nothing;
  const SharedMessage& first = window->queue[window->first];
  message = {first.message, first.wParam, first.lParam};
  window->first = (window->first + 1) % kWindowQueueLength;
  --window->count;
  return Taken::Message;
}

}  // namespace

HWND OpenWindow(const std::u16string& className, const std::u16string& title, LONG& problem) {
  Device* device = Device::Current();
  problem = ERROR_SUCCESS;
  if (device == nullptr)
    problem = ERROR_NOT_READY;
  if (className.size() >= kWindowTextUnits || title.size() >= kWindowTextUnits)
    problem = ERROR_INVALID_PARAMETER;
  if (problem != ERROR_SUCCESS)
    return nullptr;
  const DeviceLock lock(*device, LockRegion::Windows);
  SharedPage& page = device->Page();
  for (SharedWindow& window : page.windows) {
    if (IsThere(window))
      continue;
    ++window.serial;
    window.zOrder = ++page.nextZOrder;
    window.first = 0;
    window.count = 0;
    CopyText(className, window.className);
    CopyText(title, window.title);
    window.process = ThisProcess();
    return HandleOf(page, window);
  }
  problem = ERROR_NOT_ENOUGH_MEMORY;
  return nullptr;
}

bool CloseWindow(HWND handle) {
  Device* device = Device::CurrentIfAny();
  if (device == nullptr)
    return false;
  const DeviceLock lock(*device, LockRegion::Windows);
  SharedWindow* window = FindSlot(device->Page(), handle);
  if (window == nullptr || window->process != ThisProcess())
    return false;
  window->process = 0;
  return true;
}

bool TakeMessage(HWND handle, uint32_t milliseconds, PostedMessage& message) {
  Device* device = Device::CurrentIfAny();
  if (device == nullptr)
    return false;
  const uint64_t deadline = Milliseconds() + milliseconds;
  for (;;) {
    uint32_t posted = 0;
    const Taken taken = TakeNow(*device, handle, message, posted);
    const uint64_t now = Milliseconds();
    if (taken != Taken::Nothing || now >= deadline)
      return taken == Taken::Message;
    const auto slot = (reinterpret_cast<uintptr_t>(handle) & ((1u << kSlotBits) - 1)) - 1;
    timespec limit = {};
    limit.tv_sec = static_cast<time_t>((deadline - now) / 1000);
    limit.tv_nsec = static_cast<long>((deadline - now) % 1000 * 1'000'000);
    syscall(SYS_futex, reinterpret_cast<uint32_t*>(&device->Page().windows[slot].posted),
            FUTEX_WAIT, posted, &limit, nullptr, 0);
  }
}

std::vector<PostedMessage> TakeThreadMessages() {
  std::vector<PostedMessage> taken(threadMessages.begin(), threadMessages.end());
  threadMessages.clear();
  return taken;
}

}  // namespace wkt::host

using namespace wkt::host;

HWND CEAPI FindWindowW(LPCWSTR className, LPCWSTR windowName) {
  return HookedCall(
      "FindWindowW", HWND{nullptr}, [&] { return Find(className, windowName); }, className,
      windowName);
}

BOOL CEAPI PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  return HookedCall(
      "PostMessageW", FALSE,
      [&] {
        return Post(window, {message, wParam, lParam});
      },
      window, message, wParam, lParam);
}
