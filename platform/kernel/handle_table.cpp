// The handle table. A handle's value is a number that grows by four; it starts again only after a thousand million
// handles, so that a stale handle is found to be one.
#include "platform/kernel/handle_table.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

#include "platform/control/control.h"

namespace kez::kernel {

namespace {

constexpr std::uintptr_t kFirst = 0x100;
constexpr std::uintptr_t kStep = 4;
constexpr std::uintptr_t kEnd = 0xFFFF0000;

struct Entry {
    std::shared_ptr<Object> object;
    bool closing = false;  // a thread is in CloseHandle with it; of two one loses
};

struct State {
    std::mutex mutex;
    std::uintptr_t next = kFirst;
    std::unordered_map<std::uintptr_t, Entry> objects;
};

State& TheState() {
    static State& state = *new State;  // never destroyed: handles are closed by other statics' destructors too
    return state;
}

// The object of a handle that this thread alone may close now; null where it is none or being closed already.
std::shared_ptr<Object> BeginClose(std::uintptr_t value) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    const auto found = state.objects.find(value);
    if (found == state.objects.end() || found->second.closing) return nullptr;
    found->second.closing = true;
    return found->second.object;
}

void EndClose(std::uintptr_t value, bool closed) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    const auto found = state.objects.find(value);
    if (closed) {
        state.objects.erase(found);
    } else {
        found->second.closing = false;
    }
}

}  // namespace

HANDLE Register(std::shared_ptr<Object> object) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    do {
        state.next = state.next + kStep < kEnd ? state.next + kStep : kFirst;
    } while (state.objects.count(state.next) != 0);
    state.objects.emplace(state.next, Entry{std::move(object)});
    control::CountLive(control::LiveKind::Handle, 1);
    return reinterpret_cast<HANDLE>(state.next);
}

std::int64_t CountMutexHandles() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return std::count_if(state.objects.begin(), state.objects.end(),
                         [](const auto& entry) { return entry.second.object->IsMutex(); });
}

std::shared_ptr<Object> Find(HANDLE handle) {
    State& state = TheState();
    {
        std::lock_guard lock(state.mutex);
        const auto found = state.objects.find(reinterpret_cast<std::uintptr_t>(handle));
        if (found != state.objects.end()) return found->second.object;
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

}  // namespace kez::kernel

BOOL CloseHandle(HANDLE handle) {
    if (auto fault = kez::control::PlannedFault("CloseHandle")) {
        SetLastError(*fault);
        return FALSE;
    }
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    const auto object = kez::kernel::BeginClose(value);
    if (!object) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const DWORD error = object->OnClose();
    kez::kernel::EndClose(value, error == 0);
    if (error != 0) {
        SetLastError(error);
        return FALSE;
    }
    kez::control::CountLive(kez::control::LiveKind::Handle, -1);
    return TRUE;
}
