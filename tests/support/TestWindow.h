// A window for tests: found by class and title, and its messages looked at.
#pragma once

#include "host/control/DeskWindow.h"

namespace wkt::test {

using TestWindow = control::DeskWindow;
using control::TakeThreadMessages;

}  // namespace wkt::test
