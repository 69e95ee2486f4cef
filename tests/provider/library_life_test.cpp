// The provider library coming and going: what it leaves in the process, and what it waits for.
#include <gmock/gmock.h>
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/changewriter/change_writer.h"
#include "tests/provider/library.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/meant_leak.h"
#include "tests/support/outlook.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

class LibraryLife : public ::testing::Test {
 protected:
    LibraryLife() {
        MutexesStayOpen();
        changewriter::CreateChangeTables();
        Outlook owner;  // makes the main databases
    }
    TestDevice device;
};

// One session of the engine's with the library, without a notification.
void OneSession(UINT partnerBit) {
    Library library;
    IReplObjHandler* handlers[3];
    for (int i = 0; i < 3; ++i) handlers[i] = library.Initialize(kTypeNames[i], partnerBit);
    library.ReportStatus(nullptr, RSC_BEGIN_SYNC, 0);
    for (const char16_t* type : kTypeNames) library.List(type);
    library.ReportStatus(nullptr, RSC_END_SYNC, 0);
    EXPECT_TRUE(library.InitObjType(nullptr, nullptr, partnerBit));
    for (IReplObjHandler* handler : handlers) EXPECT_EQ(handler->Release(), 0u);
}

TEST_F(LibraryLife, AHundredLoadsLeaveNothingBehind) {
    {
        Outlook owner;
        owner.AddContact(u"Ann");
        owner.AddTask(u"Call Bob");
    }
    changewriter::Drain();
    // What is made once in a process, and what the allocator keeps at hand, is made first.
    for (int i = 0; i < 100; ++i) OneSession(i % 2 == 0 ? 1 : 2);
    control::TakeRecordedSleeps();
    const control::LiveCounts before = control::Live();
    const std::size_t memory = mallinfo2().uordblks;
    for (int i = 0; i < 100; ++i) OneSession(i % 2 == 0 ? 1 : 2);
    control::TakeRecordedSleeps();
    EXPECT_EQ(control::Describe(control::Live()), control::Describe(before));
    EXPECT_LT(mallinfo2().uordblks, memory + 32 * 1024) << "bytes of the process's heap";
    EXPECT_FALSE(Library::IsLoaded());
}

TEST_F(LibraryLife, ANotificationLeavesItsMutexHandleAndNothingElse) {
    auto session = [] {
        Library library;
        IReplObjHandler* handler = library.Initialize(u"KEZContact", 1);
        OBJNOTIFY notify;
        EXPECT_TRUE(library.NotifyTrigger(u"KEZContact", 1, &notify));
        handler->Release();
    };
    session();
    control::LiveCounts expected = control::Live();
    for (int i = 0; i < 10; ++i) session();
    expected.handles += 10;
    EXPECT_EQ(control::Describe(control::Live()), control::Describe(expected));
}

TEST_F(LibraryLife, ATypeThatIsInitialisedForASecondPartnerKeepsItsFirstDatabaseInMemory) {
    const control::LiveCounts before = control::Live();
    {
        Library library;
        IReplObjHandler* first = nullptr;
        {
            MeantLeak overwritten;
            first = library.Initialize(u"KEZContact", 1);
        }
        library.List(u"KEZContact");
        const std::int64_t open = control::Live().handles;
        EXPECT_GT(open, before.handles);
        IReplObjHandler* second = library.Initialize(u"KEZContact", 2);
        EXPECT_EQ(control::Live().handles, open) << "the first database object is overwritten, not closed";
        first->Release();
        second->Release();
    }
    control::LiveCounts left;
    left.handles = control::Live().handles - before.handles;
    left.comObjects = control::Live().comObjects - before.comObjects;  // its session
    EXPECT_GT(left.handles, 0);
    StaysForGood(left);
}

TEST_F(LibraryLife, ANotificationWaitsFiveSecondsForTheMutexAndThenGoesOnWithoutIt) {
    Library library;
    IReplObjHandler* handler = library.Initialize(u"KEZContact", 1);
    std::atomic<bool> held = false;
    std::atomic<bool> done = false;
    std::thread other([&] {
        const HANDLE mutex = CreateMutexW(nullptr, FALSE, TEXT("KEZDBNotify"));
        WaitForSingleObject(mutex, INFINITE);
        held = true;
        while (!done) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_TRUE(ReleaseMutex(mutex)) << "it was never taken away from its owner";
        CloseHandle(mutex);
    });
    while (!held) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto start = std::chrono::steady_clock::now();
    OBJNOTIFY notify;
    EXPECT_TRUE(library.NotifyTrigger(u"KEZContact", 1, &notify));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4990));
    done = true;
    other.join();
    handler->Release();
}

}  // namespace
}  // namespace kez::tests
