// Windows of running applications, as far as another program can reach them.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

// First message number that is an application's own.
constexpr UINT WM_USER = 1024;

CE_FUNCTIONS_BEGIN

// The topmost window of a class, of any process. Class names compare without case; `windowName`
// NULL: any title, else the whole title. NULL when there is none. The handle is not owned and may
// die at any time.
HWND CEAPI FindWindowW(LPCWSTR className, LPCWSTR windowName);

// Queues a message and returns at once. FALSE with ERROR_INVALID_WINDOW_HANDLE when the window is
// gone.
BOOL CEAPI PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

CE_FUNCTIONS_END
