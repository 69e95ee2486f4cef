// Planned faults, call counts, live counts and notification windows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "platform/control/notification_window.h"
#include "tests/support/live_counts_check.h"

namespace {

using kez::control::PlanFault;
using kez::control::PlannedFault;
using testing::ElementsAre;
using testing::Pair;

class Faults : public testing::Test {
 protected:
    ~Faults() override {
        kez::control::ClearFaults();
        kez::control::CountCalls(false);
        kez::control::ClearCallCounts();
    }

    // Which of the first `calls` calls fail, as text: a digit is the last of the code, a dot none.
    static std::string Pattern(const char* call, int calls) {
        std::string pattern;
        for (int i = 0; i < calls; ++i) {
            const auto fault = PlannedFault(call);
            pattern += fault ? static_cast<char>('0' + *fault % 10) : '.';
        }
        return pattern;
    }
};

TEST_F(Faults, NothingFailsWithoutAPlan) { EXPECT_EQ(Pattern("LocalAlloc", 5), "....."); }

TEST_F(Faults, TheNthCallFailsAsOftenAsPlanned) {
    struct Row {
        std::uint32_t nth, times;
        const char* pattern;
    };
    for (const Row& row : {Row{1, 1, "8....."}, Row{3, 1, "..8..."}, Row{2, 3, ".888.."}, Row{1, 0xFFFFFFFF, "888888"},
                           Row{3, 0xFFFFFFFF, "..8888"}, Row{1, 0, "......"}, Row{9, 1, "......"}}) {
        PlanFault({"LocalAlloc", row.nth, row.times, 8});
        EXPECT_EQ(Pattern("LocalAlloc", 6), row.pattern) << "call " << row.nth << ", " << row.times << " times";
        kez::control::ClearFaults();
    }
}

TEST_F(Faults, CallsBeforeThePlanDoNotCount) {
    PlanFault({"Other", 1, 1, 5});
    Pattern("LocalAlloc", 4);
    PlanFault({"LocalAlloc", 2, 1, 8});
    EXPECT_EQ(Pattern("LocalAlloc", 3), ".8.");
}

TEST_F(Faults, OtherCallsDoNotFail) {
    PlanFault({"LocalAlloc", 1, 100, 8});
    EXPECT_EQ(Pattern("HeapAlloc", 3), "...");
}

TEST_F(Faults, SeveralPlansOfOneCallRunSideBySide) {
    PlanFault({"IItem::Save", 2, 1, 5});
    PlanFault({"IItem::Save", 3, 2, 7});
    EXPECT_EQ(Pattern("IItem::Save", 5), ".577.");
}

TEST_F(Faults, CallsAreCountedByNameWhileCountingIsOn) {
    Pattern("ReadFile", 2);
    kez::control::CountCalls(true);
    Pattern("ReadFile", 3);
    Pattern("CloseHandle", 1);
    EXPECT_EQ(kez::control::CallCount("ReadFile"), 3u);
    EXPECT_EQ(kez::control::CallCount("WriteFile"), 0u);
    EXPECT_THAT(kez::control::CallCounts(), ElementsAre(Pair("CloseHandle", 1u), Pair("ReadFile", 3u)));
    kez::control::CountCalls(false);
    Pattern("ReadFile", 2);
    EXPECT_EQ(kez::control::CallCount("ReadFile"), 3u);
    kez::control::ClearCallCounts();
    EXPECT_EQ(kez::control::CallCount("ReadFile"), 0u);
}

TEST_F(Faults, AFailingCallIsCountedToo) {
    kez::control::CountCalls(true);
    PlanFault({"ReadFile", 1, 1, 5});
    EXPECT_EQ(Pattern("ReadFile", 2), "5.");
    EXPECT_EQ(kez::control::CallCount("ReadFile"), 2u);
}

TEST_F(Faults, CallsOfSeveralThreadsAreAllSeen) {
    kez::control::CountCalls(true);
    PlanFault({"ReadFile", 100, 50, 5});
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 100; ++k) failed += PlannedFault("ReadFile").has_value();
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failed, 50);
    EXPECT_EQ(kez::control::CallCount("ReadFile"), 400u);
}

TEST(LiveCounts, EachKindIsCountedInItsOwnPlace) {
    using kez::control::LiveKind;
    const auto start = kez::control::Live();
    struct Row {
        LiveKind kind;
        std::int64_t kez::control::LiveCounts::*field;
    };
    for (const Row& row : {Row{LiveKind::LocalBlock, &kez::control::LiveCounts::localBlocks},
                           Row{LiveKind::HeapBlock, &kez::control::LiveCounts::heapBlocks},
                           Row{LiveKind::AutomationString, &kez::control::LiveCounts::automationStrings},
                           Row{LiveKind::ComObject, &kez::control::LiveCounts::comObjects},
                           Row{LiveKind::Handle, &kez::control::LiveCounts::handles}}) {
        auto expected = start;
        expected.*row.field += 2;
        kez::control::CountLive(row.kind, 2);
        EXPECT_EQ(kez::control::Live(), expected) << kez::control::Describe(expected);
        kez::control::CountLive(row.kind, -2);
        EXPECT_EQ(kez::control::Live(), start);
    }
}

TEST(LiveCounts, AreDescribedInWords) {
    kez::control::LiveCounts counts;
    counts.localBlocks = 1;
    counts.handles = 3;
    EXPECT_EQ(kez::control::Describe(counts),
              "1 local blocks, 0 heap blocks, 0 automation strings, 0 COM objects, 3 handles");
}

TEST(NotificationWindow, GetsWhatIsDeliveredToIt) {
    std::vector<std::tuple<UINT, DWORD, void*>> seen;
    const HWND window = kez::control::RegisterWindow(
        [&](UINT message, DWORD wParam, void* lParam) { seen.emplace_back(message, wParam, lParam); });
    int something = 0;
    EXPECT_NE(window, nullptr);
    EXPECT_TRUE(kez::control::IsRegisteredWindow(window));
    EXPECT_TRUE(kez::control::Deliver(window, 0x400, 7, &something));
    EXPECT_THAT(seen, ElementsAre(std::make_tuple(0x400u, 7u, static_cast<void*>(&something))));
    kez::control::UnregisterWindow(window);
}

TEST(NotificationWindow, ThatIsGoneTakesNothing) {
    const HWND window = kez::control::RegisterWindow([](UINT, DWORD, void*) { FAIL(); });
    kez::control::UnregisterWindow(window);
    EXPECT_FALSE(kez::control::IsRegisteredWindow(window));
    EXPECT_FALSE(kez::control::Deliver(window, 1, 2, nullptr));
    EXPECT_FALSE(kez::control::Deliver(nullptr, 1, 2, nullptr));
}

TEST(NotificationWindow, MayCloseItselfAndEachHasItsOwnHandle) {
    HWND first = nullptr;
    int calls = 0;
    first = kez::control::RegisterWindow([&](UINT, DWORD, void*) {
        ++calls;
        kez::control::UnregisterWindow(first);
    });
    const HWND second = kez::control::RegisterWindow([&](UINT, DWORD, void*) { calls += 10; });
    EXPECT_NE(first, second);
    EXPECT_TRUE(kez::control::Deliver(first, 0, 0, nullptr));
    EXPECT_FALSE(kez::control::Deliver(first, 0, 0, nullptr));
    EXPECT_TRUE(kez::control::Deliver(second, 0, 0, nullptr));
    EXPECT_EQ(calls, 11);
    kez::control::UnregisterWindow(second);
}

}  // namespace
