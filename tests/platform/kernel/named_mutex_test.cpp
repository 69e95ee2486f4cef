// The named mutex: owners, counts, waiting and abandonment, between threads and between processes.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace {

using kez::tests::ChildProcess;
using kez::tests::LiveCountsCheck;
using kez::tests::TestDevice;

constexpr LPCWSTR kName = TEXT("KEZDBNotify");
constexpr DWORD kUnchanged = 4711;

HANDLE Create(LPCWSTR name = kName, BOOL owner = FALSE) {
    SetLastError(kUnchanged);
    return CreateMutex(nullptr, owner, name);
}

DWORD WaitElsewhere(HANDLE mutex, DWORD milliseconds) {  // from another thread, which lets go again
    DWORD result = 0;
    std::thread([&] {
        result = WaitForSingleObject(mutex, milliseconds);
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) ReleaseMutex(mutex);
    }).join();
    return result;
}

class NamedMutex : public testing::Test {
 protected:
    LiveCountsCheck m_live;
    TestDevice m_device;
};

TEST_F(NamedMutex, ANewOneIsFreeAndLeavesNoError) {
    const HANDLE mutex = Create();
    EXPECT_NE(mutex, nullptr);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    CloseHandle(mutex);
}

TEST_F(NamedMutex, TheSameNameGivesAnotherHandleToTheSameOne) {
    const HANDLE first = Create();
    const HANDLE second = Create(kName, TRUE);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_NE(first, second);
    EXPECT_EQ(ReleaseMutex(second), FALSE) << "the wish to own an existing one is ignored";
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    EXPECT_EQ(WaitForSingleObject(first, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitElsewhere(second, 0), WAIT_TIMEOUT);
    EXPECT_EQ(ReleaseMutex(second), TRUE) << "the thread owns it, by whatever handle";
    CloseHandle(first);
    CloseHandle(second);
}

TEST_F(NamedMutex, TheCreatorCanOwnANewOne) {
    const HANDLE mutex = Create(kName, TRUE);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_TIMEOUT);
    EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_OBJECT_0);
    CloseHandle(mutex);
}

TEST_F(NamedMutex, NamesDifferInCaseAndMayBeEmptyOrOdd) {
    const std::u16string longest(260, u'\u00E9');
    std::vector<HANDLE> handles;
    for (const WCHAR* name : {TEXT("name"), TEXT("NAME"), TEXT(""), TEXT("../name"), TEXT("a/b"), TEXT("a%2fb"),
                              TEXT("gate"), TEXT("\u65E5\u672C"), longest.c_str()}) {
        handles.push_back(Create(name));
        EXPECT_NE(handles.back(), nullptr);
        EXPECT_EQ(GetLastError(), 0u) << "a name of its own, number " << handles.size();
    }
    for (const WCHAR* name : {TEXT(""), longest.c_str()}) {
        handles.push_back(Create(name));
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    }
    for (const HANDLE handle : handles) CloseHandle(handle);
}

TEST_F(NamedMutex, NamesWithABackslashOrTooLongAreRefused) {
    const std::u16string tooLong(261, u'x');
    for (const WCHAR* name : {TEXT("a\\b"), tooLong.c_str()}) {
        EXPECT_EQ(Create(name), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
    }
}

TEST_F(NamedMutex, WithoutANameEachIsItsOwn) {
    const HANDLE first = Create(nullptr, TRUE);
    const HANDLE second = Create(nullptr);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(WaitElsewhere(first, 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitElsewhere(second, 0), WAIT_OBJECT_0);
    ReleaseMutex(first);
    CloseHandle(first);
    CloseHandle(second);
}

TEST_F(NamedMutex, TheOwnerTakesItAgainAndReleasesItAsOften) {
    const HANDLE mutex = Create();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), WAIT_OBJECT_0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_TIMEOUT) << "before release " << i;
        EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    }
    EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_OBJECT_0);
    EXPECT_EQ(ReleaseMutex(mutex), FALSE) << "once too often";
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    CloseHandle(mutex);
}

TEST_F(NamedMutex, AStrangerCannotReleaseIt) {
    const HANDLE mutex = Create(kName, TRUE);
    std::thread([&] {
        EXPECT_EQ(ReleaseMutex(mutex), FALSE);
        EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    }).join();
    EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    CloseHandle(mutex);
}

TEST_F(NamedMutex, AWaiterGivesUpAfterItsTime) {
    const HANDLE mutex = Create(kName, TRUE);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitElsewhere(mutex, 60), WAIT_TIMEOUT);
    const auto took = std::chrono::steady_clock::now() - started;
    EXPECT_GE(took, std::chrono::milliseconds(60));
    EXPECT_LT(took, std::chrono::seconds(5));
    ReleaseMutex(mutex);
    CloseHandle(mutex);
}

TEST_F(NamedMutex, AWaiterGetsItWhenItIsReleased) {
    const HANDLE mutex = Create(kName, TRUE);
    std::atomic<bool> waiting{false};
    std::atomic<DWORD> result{kUnchanged};
    std::thread waiter([&] {
        waiting = true;
        result = WaitForSingleObject(mutex, INFINITE);
        ReleaseMutex(mutex);
    });
    while (!waiting) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(result, kUnchanged);
    ReleaseMutex(mutex);
    waiter.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
    CloseHandle(mutex);
}

class Abandoned : public NamedMutex, public testing::WithParamInterface<const WCHAR*> {};

TEST_P(Abandoned, AnOwnersThreadThatEndsLeavesItToTheNextWhoIsTold) {
    const HANDLE mutex = Create(GetParam());
    std::thread([&] { EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0); }).join();
    EXPECT_EQ(WaitForSingleObject(mutex, 1'000), WAIT_ABANDONED);
    EXPECT_EQ(WaitElsewhere(mutex, 0), WAIT_TIMEOUT) << "the one who was told owns it";
    EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0) << "told once only";
    EXPECT_EQ(ReleaseMutex(mutex), TRUE);
    CloseHandle(mutex);
}

INSTANTIATE_TEST_SUITE_P(NamedMutex, Abandoned, testing::Values(kName, static_cast<const WCHAR*>(nullptr)));

TEST_F(NamedMutex, ClosingOneHandleDoesNotEndOwnership) {
    const HANDLE first = Create(kName, TRUE);
    const HANDLE second = Create();
    CloseHandle(first);
    EXPECT_EQ(WaitElsewhere(second, 0), WAIT_TIMEOUT);
    EXPECT_EQ(ReleaseMutex(second), TRUE);
    CloseHandle(second);
}

TEST_F(NamedMutex, WithItsLastHandleItVanishesEvenWhileOwned) {
    CloseHandle(Create(kName, TRUE));
    const HANDLE fresh = Create();
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(WaitElsewhere(fresh, 0), WAIT_OBJECT_0) << "a fresh one is free";
    EXPECT_EQ(ReleaseMutex(fresh), FALSE);
    CloseHandle(fresh);
}

TEST_F(NamedMutex, HandlesThatAreNoneCannotBeWaitedFor) {
    const HANDLE closed = Create();
    CloseHandle(closed);
    const HANDLE file = CreateFile(TEXT("\\a"), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    for (const HANDLE handle : {closed, HANDLE{nullptr}, INVALID_HANDLE_VALUE, file}) {
        SetLastError(kUnchanged);
        EXPECT_EQ(WaitForSingleObject(handle, 0), WAIT_FAILED) << handle;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE) << handle;
        SetLastError(kUnchanged);
        EXPECT_EQ(ReleaseMutex(handle), FALSE) << handle;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE) << handle;
    }
    CloseHandle(file);
}

TEST_F(NamedMutex, IsToldApartFromOneOfAnotherDevice) {
    const HANDLE here = Create(kName, TRUE);
    kez::control::CloseDevice();
    const kez::tests::TemporaryFolder other;
    kez::control::CreateDevice(other.Path(), "");
    kez::control::OpenDevice(other.Path());
    const HANDLE there = Create();
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(WaitElsewhere(there, 0), WAIT_OBJECT_0);
    CloseHandle(there);
    kez::control::CloseDevice();
    ReleaseMutex(here);
    CloseHandle(here);
}

TEST_F(NamedMutex, WithoutADeviceBelongsToTheProcess) {
    kez::control::CloseDevice();
    const HANDLE first = Create(kName, TRUE);
    const HANDLE second = Create();
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(WaitElsewhere(second, 0), WAIT_TIMEOUT);
    CloseHandle(first);
    CloseHandle(second);
    const HANDLE fresh = Create();
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(WaitElsewhere(fresh, 0), WAIT_OBJECT_0);
    CloseHandle(fresh);
}

TEST_F(NamedMutex, CanBeMadeToFail) {
    const HANDLE mutex = Create();
    kez::control::PlanFault({"CreateMutexW", 1, 1, 8});
    kez::control::PlanFault({"WaitForSingleObject", 1, 1, 6});
    kez::control::PlanFault({"ReleaseMutex", 1, 1, 288});
    EXPECT_EQ(Create(), nullptr);
    EXPECT_EQ(GetLastError(), 8u);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_EQ(ReleaseMutex(mutex), FALSE);
    EXPECT_EQ(GetLastError(), 288u);
    CloseHandle(mutex);
}

TEST_F(NamedMutex, KeepsThreadsApart) {
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            const HANDLE own = CreateMutex(nullptr, FALSE, kName);
            for (int i = 0; i < 50; ++i) {
                if (WaitForSingleObject(own, INFINITE) != WAIT_OBJECT_0) return;
                ++counter;
                ReleaseMutex(own);
            }
            CloseHandle(own);
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counter, 200);
}

// --- Between processes ------------------------------------------------------------------------------------

// A process that does with the mutex what it is told: c(reate), o(wn), r(elease), x (close), q(uit); it answers each
// with a byte that tells what came of it.
char Obey(HANDLE& mutex, char order) {
    switch (order) {
        case 'c':
            mutex = Create();
            return GetLastError() == ERROR_ALREADY_EXISTS ? 'e' : 'n';
        case 'o':
            switch (WaitForSingleObject(mutex, 20)) {
                case WAIT_OBJECT_0:
                    return 'y';
                case WAIT_ABANDONED:
                    return 'a';
                case WAIT_TIMEOUT:
                    return 't';
                default:
                    return 'f';
            }
        case 'r':
            return ReleaseMutex(mutex) ? 'y' : 'n';
        default:
            return CloseHandle(mutex) ? 'y' : 'n';
    }
}

int Serve(const ChildProcess::Line& parent) {
    HANDLE mutex = nullptr;
    for (char order = parent.Hear(); order != 'q' && order != 0; order = parent.Hear()) parent.Tell(Obey(mutex, order));
    return 0;
}

char Ask(const ChildProcess& other, char order) {
    other.Talk().Tell(order);
    return other.Talk().Hear();
}

class TwoProcesses : public NamedMutex {
 protected:
    char Here(char order) { return Obey(m_mutex, order); }
    char There(char order) { return Ask(m_other, order); }

    ChildProcess m_other{Serve};
    HANDLE m_mutex = nullptr;
};

TEST_F(TwoProcesses, OwnOneMutexInTurn) {
    EXPECT_EQ(Here('c'), 'n');
    EXPECT_EQ(There('c'), 'e');
    EXPECT_EQ(Here('o'), 'y');
    EXPECT_EQ(There('o'), 't');
    EXPECT_EQ(There('r'), 'n');
    EXPECT_EQ(Here('r'), 'y');
    EXPECT_EQ(There('o'), 'y');
    EXPECT_EQ(Here('o'), 't');
    EXPECT_EQ(There('r'), 'y');
    EXPECT_EQ(Here('x'), 'y');
    EXPECT_EQ(Here('c'), 'e') << "the other process keeps it in being";
    EXPECT_EQ(Here('x'), 'y');
}

TEST_F(TwoProcesses, AKilledOwnerLeavesItAbandonedToTheOther) {
    EXPECT_EQ(Here('c'), 'n');
    EXPECT_EQ(There('c'), 'e');
    EXPECT_EQ(There('o'), 'y');
    m_other.Kill();
    EXPECT_EQ(Here('o'), 'a');
    EXPECT_EQ(Here('r'), 'y');
    EXPECT_EQ(Here('o'), 'y') << "told once only";
    EXPECT_EQ(Here('r'), 'y');
    EXPECT_EQ(Here('x'), 'y');
}

TEST_F(TwoProcesses, AWaiterGetsItTheMomentTheOwnerIsKilled) {
    EXPECT_EQ(Here('c'), 'n');
    EXPECT_EQ(There('c'), 'e');
    EXPECT_EQ(There('o'), 'y');
    std::thread killer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        m_other.Kill();
    });
    EXPECT_EQ(WaitForSingleObject(m_mutex, 10'000), WAIT_ABANDONED);
    killer.join();
    EXPECT_EQ(Here('r'), 'y');
    EXPECT_EQ(Here('x'), 'y');
}

TEST_F(TwoProcesses, AfterAKilledOwnerWithoutPeersItIsFresh) {
    EXPECT_EQ(There('c'), 'n');
    EXPECT_EQ(There('o'), 'y');
    m_other.Kill();
    EXPECT_EQ(Here('c'), 'n');
    EXPECT_EQ(Here('o'), 'y');
    EXPECT_EQ(Here('r'), 'y');
    EXPECT_EQ(Here('x'), 'y');
}

TEST_F(TwoProcesses, OwnershipOutlivesTheOwnersHandlesWhileTheOtherHasOne) {
    EXPECT_EQ(Here('c'), 'n');
    EXPECT_EQ(There('c'), 'e');
    EXPECT_EQ(Here('o'), 'y');
    EXPECT_EQ(Here('x'), 'y');
    EXPECT_EQ(There('o'), 't');
    EXPECT_EQ(Here('c'), 'e');
    EXPECT_EQ(Here('r'), 'y') << "the thread still owns it";
    EXPECT_EQ(There('o'), 'y');
    EXPECT_EQ(There('r'), 'y');
    EXPECT_EQ(Here('x'), 'y');
}

TEST_F(TwoProcesses, WhenTheOtherClosesTheLastHandleTheOldOwnerOwnsNothing) {
    EXPECT_EQ(Here('c'), 'n');
    EXPECT_EQ(There('c'), 'e');
    EXPECT_EQ(Here('o'), 'y');
    EXPECT_EQ(Here('x'), 'y');
    EXPECT_EQ(There('x'), 'y');
    EXPECT_EQ(There('c'), 'n') << "a fresh one";
    EXPECT_EQ(There('o'), 'y');
    EXPECT_EQ(Here('c'), 'e');
    EXPECT_EQ(Here('r'), 'n');
    EXPECT_EQ(There('r'), 'y');
    EXPECT_EQ(Here('x'), 'y');
}

TEST_F(TwoProcesses, LeaveNoFileBehindForAMutexThatVanished) {
    EXPECT_EQ(Here('c'), 'n');
    EXPECT_EQ(There('c'), 'e');
    EXPECT_TRUE(m_device.Exists(".kezmutex/mKEZDBNotify"));
    EXPECT_EQ(Here('x'), 'y');
    EXPECT_TRUE(m_device.Exists(".kezmutex/mKEZDBNotify"));
    EXPECT_EQ(There('x'), 'y');
    EXPECT_FALSE(m_device.Exists(".kezmutex/mKEZDBNotify"));
}

TEST_F(NamedMutex, KeepsProcessesApartWhileTheyComeAndGo) {
    const auto body = [](const ChildProcess::Line&) {
        for (int i = 0; i < 40; ++i) {
            const HANDLE mutex = CreateMutex(nullptr, FALSE, kName);
            if (WaitForSingleObject(mutex, 30'000) != WAIT_OBJECT_0) return 1;
            // Exclusive by the mutex alone: the file's own share mode would refuse a second writer.
            const HANDLE file =
                CreateFile(TEXT("\\a"), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
            if (file == INVALID_HANDLE_VALUE) return 2;
            DWORD written = 0;
            SetFilePointer(file, 0, nullptr, FILE_END);
            WriteFile(file, "x", 1, &written, nullptr);
            CloseHandle(file);
            if (!ReleaseMutex(mutex)) return 3;
            if (!CloseHandle(mutex)) return 4;
        }
        return 0;
    };
    ChildProcess first(body);
    ChildProcess second(body);
    ChildProcess third(body);
    EXPECT_EQ(first.Wait(), 0);
    EXPECT_EQ(second.Wait(), 0);
    EXPECT_EQ(third.Wait(), 0);
    EXPECT_EQ(m_device.ReadText("a").size(), 120u);
}

}  // namespace
