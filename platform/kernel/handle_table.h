// The handles of this process: files, mutexes, databases, sessions and searches share one table, so that
// CloseHandle closes any of them.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

namespace kez::kernel {

// What a handle stands for. The table holds one reference; closing the handle drops it.
class Object {
 public:
    virtual ~Object() = default;
    // Called by CloseHandle before the table lets go. Returns 0, or the last error with which the close fails.
    virtual DWORD OnClose() { return 0; }
    virtual bool IsMutex() const { return false; }
};

// Open handles that stand for mutexes: the provider is to leave some, so who counts handles counts these apart.
std::int64_t CountMutexHandles();

// A new handle for `object`; never null and never INVALID_HANDLE_VALUE. Values are not used again soon.
HANDLE Register(std::shared_ptr<Object> object);

// The object of `handle`, or null with last error 6 where it is none.
std::shared_ptr<Object> Find(HANDLE handle);

// The same for one kind of object; null with last error 6 for a handle of another kind.
template <class T>
std::shared_ptr<T> FindAs(HANDLE handle) {
    auto object = std::dynamic_pointer_cast<T>(Find(handle));
    if (!object) SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

}  // namespace kez::kernel
