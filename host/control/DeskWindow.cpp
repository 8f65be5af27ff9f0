#include "host/control/DeskWindow.h"

namespace wkt::control {

DeskWindow::DeskWindow(const std::u16string& className, const std::u16string& title)
    : window_(host::OpenWindow(className, title, problem_)) {}

DeskWindow::~DeskWindow() {
  if (window_ != nullptr)
    host::CloseWindow(window_);
}

std::optional<Message> DeskWindow::Wait(uint32_t milliseconds) {
  Message message;
  if (window_ == nullptr || !host::TakeMessage(window_, milliseconds, message))
    return std::nullopt;
  return message;
}

std::vector<Message> DeskWindow::TakeAll() {
  std::vector<Message> messages;
  while (const std::optional<Message> message = Wait(0))
    messages.push_back(*message);
  return messages;
}

std::vector<Message> TakeThreadMessages() {
  return host::TakeThreadMessages();
}

}  // namespace wkt::control
