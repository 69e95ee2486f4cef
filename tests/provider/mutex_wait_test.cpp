// What the store answers where the mutex of notifications stays with another owner; it really waits.
#include <atomic>
#include <chrono>
#include <thread>

#include "tests/provider/provider_fixture.h"

namespace kez::tests {
namespace {

class StoreMutex : public ProviderTest {
 protected:
    StoreMutex() { MutexesStayOpen(); }
};

TEST_F(StoreMutex, AWaitThatTimesOutIsFalse) {
    std::atomic<bool> held = false;
    std::atomic<bool> done = false;
    std::thread owner([&] {
        const HANDLE mutex = CreateMutexW(nullptr, FALSE, TEXT("KEZDBNotify"));
        WaitForSingleObject(mutex, INFINITE);
        held = true;
        while (!done) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ReleaseMutex(mutex);
        CloseHandle(mutex);
    });
    while (!held) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    {
        CKEZASPContactStore store;
        EXPECT_FALSE(store.CheckSetMutex());
        EXPECT_TRUE(store.CheckSetMutex()) << "the handle is kept, and nothing is waited for again";
    }
    done = true;
    owner.join();
}

}  // namespace
}  // namespace kez::tests
