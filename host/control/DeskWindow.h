// A window of a device's application, as far as the provider sees it: a class name and a message
// queue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/coredll/WindowTable.h"

namespace wkt::control {

using Message = host::PostedMessage;

// The class that the provider looks for.
inline constexpr char16_t kApplicationClass[] = u"WCE_WktDev";

// There from its making to its end, for all processes of the device; it dies with the process too.
class DeskWindow {
 public:
  explicit DeskWindow(const std::u16string& className = kApplicationClass,
                      const std::u16string& title = u"");
  ~DeskWindow();
  DeskWindow(const DeskWindow&) = delete;
  DeskWindow& operator=(const DeskWindow&) = delete;

  // False when it could not be made; Problem says why.
  [[nodiscard]] bool IsOpen() const { return window_ != nullptr; }
  [[nodiscard]] LONG Problem() const { return problem_; }
  [[nodiscard]] HWND Handle() const { return window_; }

  // The next message; waits that long for one.
  std::optional<Message> Wait(uint32_t milliseconds);
  // All that wait, oldest first.
  std::vector<Message> TakeAll();

 private:
  LONG problem_ = ERROR_SUCCESS;
  HWND window_ = nullptr;
};

// What was posted to the calling thread without a window.
std::vector<Message> TakeThreadMessages();

}  // namespace wkt::control
