// How Sleep waits, and the work that is done meanwhile.
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/control/control.h"
#include "platform/control/frozen_clock.h"

namespace kez::control {

namespace {

struct IdleWork {
    int number;
    std::function<void()> work;
};

struct State {
    std::mutex mutex;
    SleepPolicy policy = SleepPolicy::Idle;
    std::vector<std::uint32_t> sleeps;
    std::vector<IdleWork> idleWork;
    int lastNumber = 0;
    std::mutex running;  // held while idle work runs: one thread at a time
};

State& TheState() {
    static State& state = *new State;  // never destroyed: calls may come from other statics' destructors
    return state;
}

// Set in a thread while it runs idle work, so that work which sleeps does not start itself again.
thread_local bool t_insideIdleWork = false;

struct InsideIdleWork {
    InsideIdleWork() { t_insideIdleWork = true; }
    ~InsideIdleWork() { t_insideIdleWork = false; }
};

}  // namespace

void SetSleepPolicy(SleepPolicy policy) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.policy = policy;
}

SleepPolicy CurrentSleepPolicy() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return state.policy;
}

std::vector<std::uint32_t> TakeRecordedSleeps() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return std::exchange(state.sleeps, {});
}

int AddIdleWork(std::function<void()> work) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.idleWork.push_back({++state.lastNumber, std::move(work)});
    return state.lastNumber;
}

void RemoveIdleWork(int number) {
    State& state = TheState();
    // Waits for a run in another thread, so that the work is not running any more when this returns.
    std::unique_lock running(state.running, std::defer_lock);
    if (!t_insideIdleWork) running.lock();
    std::lock_guard lock(state.mutex);
    std::erase_if(state.idleWork, [number](const IdleWork& entry) { return entry.number == number; });
}

void RunIdleWork() {
    if (t_insideIdleWork) return;
    State& state = TheState();
    std::lock_guard running(state.running);
    std::vector<IdleWork> work;
    {
        std::lock_guard lock(state.mutex);
        work = state.idleWork;
    }
    InsideIdleWork inside;
    for (const IdleWork& entry : work) entry.work();
}

void SleepByPolicy(std::uint32_t milliseconds) {
    State& state = TheState();
    const SleepPolicy policy = CurrentSleepPolicy();
    if (policy == SleepPolicy::Real) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    RunIdleWork();
    if (policy == SleepPolicy::Recorded) {
        {
            std::lock_guard lock(state.mutex);
            state.sleeps.push_back(milliseconds);
        }
        detail::AdvanceFrozenClock(milliseconds);
    }
}

}  // namespace kez::control
