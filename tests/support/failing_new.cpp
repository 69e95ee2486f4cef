// The replaced allocation functions. All of them, so that what one gives another may take.
#include "tests/support/failing_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint32_t> g_count{0};
std::atomic<std::uint32_t> g_failing{0};

void* AllocateNothrow(std::size_t bytes) {
    const std::uint32_t number = ++g_count;
    return number == g_failing ? nullptr : std::malloc(bytes ? bytes : 1);
}

void* AllocateOrThrow(std::size_t bytes) {
    void* memory = std::malloc(bytes ? bytes : 1);
    if (!memory) throw std::bad_alloc();
    return memory;
}

}  // namespace

namespace kez::tests {

void FailNothrowNew(std::uint32_t nth) {
    g_count = 0;
    g_failing = nth;
}

std::uint32_t NothrowNewCount() { return g_count; }

}  // namespace kez::tests

void* operator new(std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return AllocateNothrow(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return AllocateNothrow(bytes); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
