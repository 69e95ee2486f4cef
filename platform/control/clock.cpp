// The device clock: the machine's, one that a test gives, or one that stands still.
#include <chrono>
#include <mutex>

#include "platform/control/calendar.h"
#include "platform/control/control.h"
#include "platform/control/frozen_clock.h"

namespace kez::control {

namespace {

constexpr Ticks kTicksPerMillisecond = 10'000;
constexpr Ticks kUnixEpoch = 116'444'736'000'000'000;  // 1970-01-01

Ticks MachineTicks() {
    using TickDuration = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return kUnixEpoch + static_cast<Ticks>(std::chrono::duration_cast<TickDuration>(sinceEpoch).count());
}

struct State {
    std::mutex mutex;
    std::function<Ticks()> clock;  // empty: the machine's
    Ticks advanced = 0;
    bool frozen = false;
};

State& TheState() {
    static State& state = *new State;  // never destroyed: calls may come from other statics' destructors
    return state;
}

void Use(std::function<Ticks()> clock, bool frozen) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.clock = std::move(clock);
    state.advanced = 0;
    state.frozen = frozen;
}

}  // namespace

Ticks Now() {
    State& state = TheState();
    std::function<Ticks()> clock;
    Ticks advanced = 0;
    {
        std::lock_guard lock(state.mutex);
        clock = state.clock;
        advanced = state.advanced;
    }
    return (clock ? clock() : MachineTicks()) + advanced;
}

void UseRealClock() { Use(nullptr, false); }

void SetClock(std::function<Ticks()> clock) { Use(std::move(clock), false); }

void FreezeClock(const SYSTEMTIME& utc) {
    if (utc.wYear < 1601 || utc.wMonth < 1 || utc.wMonth > 12) throw std::invalid_argument("FreezeClock: no such day");
    const std::int64_t day = DayNumber(utc.wYear, utc.wMonth, utc.wDay) - DayNumber(1601, 1, 1);
    const std::int64_t seconds = ((day * 24 + utc.wHour) * 60 + utc.wMinute) * 60 + utc.wSecond;
    const Ticks ticks = (static_cast<Ticks>(seconds) * 1'000 + utc.wMilliseconds) * kTicksPerMillisecond;
    Use([ticks] { return ticks; }, true);
}

void AdvanceClock(std::uint32_t milliseconds) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.advanced += milliseconds * kTicksPerMillisecond;
}

namespace detail {

void AdvanceFrozenClock(std::uint32_t milliseconds) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    if (state.frozen) state.advanced += milliseconds * kTicksPerMillisecond;
}

}  // namespace detail

}  // namespace kez::control
