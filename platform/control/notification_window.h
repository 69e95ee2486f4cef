// Windows for notifications. A handheld program gives the window handle of one of its windows to a call that
// notifies (CENOTIFYREQUEST::hwnd); on the host a window is a function.
#pragma once

#include <windows.h>

#include <functional>

namespace kez::control {

// `lParam` is what the message says it is; who receives it owns it as the message's documentation says.
using WindowProcedure = std::function<void(UINT message, DWORD wParam, void* lParam)>;

// A new window; never null. The procedure is called in the thread that delivers.
HWND RegisterWindow(WindowProcedure procedure);

// After it returns no delivery to the window starts; one that runs in another thread may still be under way.
void UnregisterWindow(HWND window);

bool IsRegisteredWindow(HWND window);

// Calls the window's procedure and returns true; false where there is no such window (any more): the sender then
// keeps what it wanted to hand over.
bool Deliver(HWND window, UINT message, DWORD wParam, void* lParam);

}  // namespace kez::control
