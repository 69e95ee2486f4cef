#include <atomic>

#include "platform/control/control.h"

namespace kez::control {

namespace {

std::atomic<FlushPolicy> g_policy{FlushPolicy::AtOnce};

}  // namespace

void SetFlushPolicy(FlushPolicy policy) { g_policy = policy; }
FlushPolicy CurrentFlushPolicy() { return g_policy; }

}  // namespace kez::control
