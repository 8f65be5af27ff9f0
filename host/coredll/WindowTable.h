// Top-level windows of a device: who has them, and the messages posted to them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Window.h"

namespace wkt::host {

struct PostedMessage {
  UINT message = 0;
  uint64_t wParam = 0;
  int64_t lParam = 0;
};

// A window of this process; it dies with the process. NULL with `problem` when the name is too long
// for the table, the table is full or there is no device.
HWND OpenWindow(const std::u16string& className, const std::u16string& title, LONG& problem);
// False when the window is not this process's or gone.
bool CloseWindow(HWND window);
// The oldest message posted to a window of this process; waits at most that long for one. False
// when there is none.
bool TakeMessage(HWND window, uint32_t milliseconds, PostedMessage& message);
// What was posted to the calling thread (no window).
std::vector<PostedMessage> TakeThreadMessages();

}  // namespace wkt::host
