// Handles, the last error and the interlocked counters.
#include "platform/kernel/handle_table.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "platform/control/control.h"
#include "tests/support/live_counts_check.h"

namespace {

using kez::kernel::Find;
using kez::kernel::FindAs;
using kez::kernel::Object;
using kez::kernel::Register;
using kez::tests::LiveCountsCheck;

class Probe : public Object {
 public:
    explicit Probe(std::atomic<int>* alive, DWORD closeError = 0) : m_alive(alive), m_closeError(closeError) {
        ++*m_alive;
    }
    ~Probe() override { --*m_alive; }
    DWORD OnClose() override { return m_closeError; }
    void LetClose() { m_closeError = 0; }

 private:
    std::atomic<int>* m_alive;
    DWORD m_closeError;
};

class OtherKind : public Object {};

TEST(HandleTable, AHandleStandsForItsObjectUntilItIsClosed) {
    const LiveCountsCheck live;
    std::atomic<int> alive{0};
    const auto object = std::make_shared<Probe>(&alive);
    const HANDLE handle = Register(object);
    EXPECT_NE(handle, nullptr);
    EXPECT_NE(handle, INVALID_HANDLE_VALUE);
    EXPECT_EQ(Find(handle), object);
    EXPECT_EQ(FindAs<Probe>(handle), object);
    EXPECT_EQ(CloseHandle(handle), TRUE);
    SetLastError(0);
    EXPECT_EQ(Find(handle), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(HandleTable, ClosingDropsTheTablesReference) {
    std::atomic<int> alive{0};
    const HANDLE handle = Register(std::make_shared<Probe>(&alive));
    EXPECT_EQ(alive, 1);
    CloseHandle(handle);
    EXPECT_EQ(alive, 0);
}

TEST(HandleTable, AnObjectOfAnotherKindIsNotFound) {
    const HANDLE handle = Register(std::make_shared<OtherKind>());
    SetLastError(0);
    EXPECT_EQ(FindAs<Probe>(handle), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    CloseHandle(handle);
}

TEST(HandleTable, ClosingWhatIsNoHandleFails) {
    std::atomic<int> alive{0};
    const HANDLE closed = Register(std::make_shared<Probe>(&alive));
    EXPECT_EQ(CloseHandle(closed), TRUE);
    for (const HANDLE handle : {closed, HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{&alive}}) {
        SetLastError(0);
        EXPECT_EQ(CloseHandle(handle), FALSE) << handle;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE) << handle;
    }
}

TEST(HandleTable, AnObjectCanRefuseToBeClosed) {
    const LiveCountsCheck live;
    std::atomic<int> alive{0};
    const auto object = std::make_shared<Probe>(&alive, ERROR_SHARING_VIOLATION);
    const HANDLE handle = Register(object);
    EXPECT_EQ(CloseHandle(handle), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(Find(handle), object);
    object->LetClose();
    EXPECT_EQ(CloseHandle(handle), TRUE);
}

TEST(HandleTable, AClosedHandlesValueIsNotGivenAgainSoon) {
    std::atomic<int> alive{0};
    std::set<HANDLE> seen;
    for (int i = 0; i < 10'000; ++i) {
        const HANDLE handle = Register(std::make_shared<Probe>(&alive));
        ASSERT_TRUE(seen.insert(handle).second);
        CloseHandle(handle);
    }
}

TEST(HandleTable, CloseHandleCanBeMadeToFail) {
    std::atomic<int> alive{0};
    const HANDLE handle = Register(std::make_shared<Probe>(&alive));
    kez::control::PlanFault({"CloseHandle", 1, 1, 5});
    EXPECT_EQ(CloseHandle(handle), FALSE);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_EQ(CloseHandle(handle), TRUE);
    kez::control::ClearFaults();
}

TEST(HandleTable, ServesManyThreadsAtOnce) {
    const LiveCountsCheck live;
    std::atomic<int> alive{0};
    std::atomic<int> doubleCloses{0};
    std::vector<HANDLE> shared;
    for (int i = 0; i < 200; ++i) shared.push_back(Register(std::make_shared<Probe>(&alive)));
    std::atomic<int> closed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const HANDLE own = Register(std::make_shared<Probe>(&alive));
                Find(own);
                if (!CloseHandle(own)) ++doubleCloses;
            }
            for (const HANDLE handle : shared) closed += CloseHandle(handle);  // all threads race for the same ones
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(doubleCloses, 0);
    EXPECT_EQ(closed, 200) << "each handle closes once";
    EXPECT_EQ(alive, 0);
}

TEST(LastError, BelongsToTheThread) {
    SetLastError(12);
    DWORD other = 1;
    std::thread([&] {
        other = GetLastError();
        SetLastError(34);
    }).join();
    EXPECT_EQ(other, 0u);
    EXPECT_EQ(GetLastError(), 12u);
}

TEST(Threads, HaveIdsOfTheirOwnInOneProcess) {
    DWORD otherThread = 0;
    DWORD otherProcess = 0;
    std::thread([&] {
        otherThread = GetCurrentThreadId();
        otherProcess = GetCurrentProcessId();
    }).join();
    EXPECT_NE(otherThread, GetCurrentThreadId());
    EXPECT_NE(otherThread, 0u);
    EXPECT_EQ(otherProcess, GetCurrentProcessId());
}

TEST(Interlocked, ReturnsTheNewValue) {
    LONG value = 5;
    EXPECT_EQ(InterlockedIncrement(&value), 6);
    EXPECT_EQ(InterlockedDecrement(&value), 5);
    value = 0;
    EXPECT_EQ(InterlockedDecrement(&value), -1);
    value = 0x7FFFFFFF;
    EXPECT_EQ(InterlockedIncrement(&value), static_cast<LONG>(0x80000000));
}

TEST(Interlocked, LosesNothingBetweenThreads) {
    LONG value = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 5'000; ++i) {
                InterlockedIncrement(&value);
                InterlockedIncrement(&value);
                InterlockedDecrement(&value);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(value, 20'000);
}

}  // namespace
