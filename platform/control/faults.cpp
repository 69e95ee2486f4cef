// Planned faults and call counts: what PlannedFault() answers to each platform call.
#include <map>
#include <mutex>

#include "platform/control/control.h"

namespace kez::control {

namespace detail {
std::atomic<bool> g_watchCalls{false};
}

namespace {

struct Plan {
    Fault fault;
    std::uint64_t seen = 0;  // calls since the plan was made
};

struct State {
    std::mutex mutex;
    std::vector<Plan> plans;
    bool counting = false;
    std::map<std::string, std::uint64_t> counts;

    void UpdateWatch() { detail::g_watchCalls = counting || !plans.empty(); }
};

State& TheState() {
    static State& state = *new State;  // never destroyed: calls may come from other statics' destructors
    return state;
}

}  // namespace

void PlanFault(const Fault& fault) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.plans.push_back({fault});
    state.UpdateWatch();
}

void ClearFaults() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.plans.clear();
    state.UpdateWatch();
}

void CountCalls(bool on) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.counting = on;
    state.UpdateWatch();
}

std::uint64_t CallCount(const std::string& call) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    auto found = state.counts.find(call);
    return found == state.counts.end() ? 0 : found->second;
}

std::vector<std::pair<std::string, std::uint64_t>> CallCounts() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return {state.counts.begin(), state.counts.end()};
}

void ClearCallCounts() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.counts.clear();
}

namespace detail {

std::optional<std::uint32_t> Watched(const char* call) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    if (state.counting) ++state.counts[call];
    std::optional<std::uint32_t> code;
    for (Plan& plan : state.plans) {
        if (plan.fault.call != call) continue;
        ++plan.seen;
        const bool due =
            plan.seen >= plan.fault.nth && plan.seen < std::uint64_t{plan.fault.nth} + std::uint64_t{plan.fault.times};
        if (due && !code) code = plan.fault.code;
    }
    return code;
}

}  // namespace detail

}  // namespace kez::control
