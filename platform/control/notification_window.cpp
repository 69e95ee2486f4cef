// The table of registered windows.
#include "platform/control/notification_window.h"

#include <map>
#include <memory>
#include <mutex>

namespace kez::control {

namespace {

struct State {
    std::mutex mutex;
    std::uintptr_t last = 0x10000;
    std::map<HWND, std::shared_ptr<WindowProcedure>> windows;
};

State& TheState() {
    static State& state = *new State;  // never destroyed: calls may come from other statics' destructors
    return state;
}

std::shared_ptr<WindowProcedure> FindWindow(HWND window) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    auto found = state.windows.find(window);
    return found == state.windows.end() ? nullptr : found->second;
}

}  // namespace

HWND RegisterWindow(WindowProcedure procedure) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.last += 4;
    const HWND window = reinterpret_cast<HWND>(state.last);
    state.windows[window] = std::make_shared<WindowProcedure>(std::move(procedure));
    return window;
}

void UnregisterWindow(HWND window) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.windows.erase(window);
}

bool IsRegisteredWindow(HWND window) { return FindWindow(window) != nullptr; }

bool Deliver(HWND window, UINT message, DWORD wParam, void* lParam) {
    const auto procedure = FindWindow(window);
    if (!procedure) return false;
    (*procedure)(message, wParam, lParam);
    return true;
}

}  // namespace kez::control
