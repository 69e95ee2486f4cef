// The device clock, the sleep policies and the idle work.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/support/test_device.h"

namespace {

using kez::control::Now;
using kez::control::SleepPolicy;
using kez::tests::TestDevice;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr kez::control::Ticks kSecond = 10'000'000;

class Clock : public testing::Test {
 protected:
    ~Clock() override {
        kez::control::UseRealClock();
        kez::control::SetSleepPolicy(SleepPolicy::Idle);
        kez::control::TakeRecordedSleeps();
    }
};

TEST_F(Clock, IsTheMachinesByDefault) {
    const auto machine = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(machine).count() + 11'644'473'600;
    EXPECT_NEAR(static_cast<double>(Now() / kSecond), static_cast<double>(seconds), 2.0);
}

TEST_F(Clock, StandsStillWhenFrozen) {
    kez::control::FreezeClock({2006, 5, 3, 17, 14, 30, 15, 123});
    EXPECT_EQ(Now(), 0x01C679BE69BABA30u);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_EQ(Now(), 0x01C679BE69BABA30u);
}

TEST_F(Clock, IsMovedOnByHand) {
    kez::control::FreezeClock({2006, 5, 3, 17, 14, 30, 15, 0});
    const auto before = Now();
    kez::control::AdvanceClock(90'000);
    EXPECT_EQ(Now() - before, 90 * kSecond);
}

TEST_F(Clock, CanBeAFunction) {
    kez::control::Ticks ticks = 5;
    kez::control::SetClock([&] { return ticks; });
    EXPECT_EQ(Now(), 5u);
    ticks = 8;
    EXPECT_EQ(Now(), 8u);
}

TEST_F(Clock, RefusesAMonthThatIsNone) {
    EXPECT_THROW(kez::control::FreezeClock({2006, 13, 0, 1, 0, 0, 0, 0}), std::invalid_argument);
    EXPECT_THROW(kez::control::FreezeClock({1600, 1, 0, 1, 0, 0, 0, 0}), std::invalid_argument);
}

TEST_F(Clock, RecordedSleepsReturnAtOnceAndMoveAFrozenClock) {
    kez::control::SetSleepPolicy(SleepPolicy::Recorded);
    kez::control::FreezeClock({2026, 3, 1, 2, 10, 0, 0, 0});
    const auto before = Now();
    const auto started = std::chrono::steady_clock::now();
    Sleep(3'000);
    Sleep(0);
    Sleep(500);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(1));
    EXPECT_EQ(Now() - before, 35 * kSecond / 10);
    EXPECT_THAT(kez::control::TakeRecordedSleeps(), ElementsAre(3'000u, 0u, 500u));
    EXPECT_THAT(kez::control::TakeRecordedSleeps(), IsEmpty()) << "taking empties the record";
}

TEST_F(Clock, RecordedSleepsDoNotMoveAClockThatRuns) {
    kez::control::SetSleepPolicy(SleepPolicy::Recorded);
    kez::control::SetClock([] { return kez::control::Ticks{77}; });
    Sleep(1'000);
    EXPECT_EQ(Now(), 77u);
}

TEST_F(Clock, IdleSleepsReturnAtOnceAndAreNotRecorded) {
    EXPECT_EQ(kez::control::CurrentSleepPolicy(), SleepPolicy::Idle) << "the default";
    const auto started = std::chrono::steady_clock::now();
    Sleep(60'000);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
    EXPECT_THAT(kez::control::TakeRecordedSleeps(), IsEmpty());
}

TEST_F(Clock, RealSleepsLastAtLeastAsLongAsAsked) {
    kez::control::SetSleepPolicy(SleepPolicy::Real);
    const auto started = std::chrono::steady_clock::now();
    Sleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(30));
}

class EachPolicy : public Clock, public testing::WithParamInterface<SleepPolicy> {};

TEST_P(EachPolicy, DoesTheIdleWorkInTheOrderItWasAdded) {
    kez::control::SetSleepPolicy(GetParam());
    std::string done;
    const int first = kez::control::AddIdleWork([&] { done += 'a'; });
    const int second = kez::control::AddIdleWork([&] { done += 'b'; });
    Sleep(1);
    EXPECT_EQ(done, "ab");
    kez::control::RemoveIdleWork(first);
    Sleep(1);
    EXPECT_EQ(done, "abb");
    kez::control::RemoveIdleWork(second);
    Sleep(1);
    EXPECT_EQ(done, "abb");
}

INSTANTIATE_TEST_SUITE_P(Sleep, EachPolicy,
                         testing::Values(SleepPolicy::Real, SleepPolicy::Idle, SleepPolicy::Recorded));

TEST_F(Clock, IdleWorkThatSleepsDoesNotStartItselfAgain) {
    int runs = 0;
    const int number = kez::control::AddIdleWork([&] {
        ++runs;
        Sleep(10);
    });
    Sleep(10);
    EXPECT_EQ(runs, 1);
    kez::control::RemoveIdleWork(number);
}

TEST_F(Clock, IdleWorkMayRemoveItself) {
    int runs = 0;
    int number = 0;
    number = kez::control::AddIdleWork([&] {
        ++runs;
        kez::control::RemoveIdleWork(number);
    });
    Sleep(1);
    Sleep(1);
    EXPECT_EQ(runs, 1);
}

TEST_F(Clock, IdleWorkRunsInOneThreadAtATime) {
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    const int number = kez::control::AddIdleWork([&] {
        const int now = ++inside;
        if (now > most) most = now;
        std::this_thread::yield();
        --inside;
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int k = 0; k < 50; ++k) Sleep(1);
        });
    }
    for (auto& thread : threads) thread.join();
    kez::control::RemoveIdleWork(number);
    EXPECT_EQ(most, 1);
}

}  // namespace
