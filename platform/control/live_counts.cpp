// Counts of what is alive: each allocation call of the host adds one to its kind and each release takes one away.
#include <array>

#include "platform/control/control.h"

namespace kez::control {

namespace {

struct Kind {
    const char* name;
    std::int64_t LiveCounts::*field;
};

// In the order of LiveKind.
constexpr std::array<Kind, 5> kKinds = {{
    {"local blocks", &LiveCounts::localBlocks},
    {"heap blocks", &LiveCounts::heapBlocks},
    {"automation strings", &LiveCounts::automationStrings},
    {"COM objects", &LiveCounts::comObjects},
    {"handles", &LiveCounts::handles},
}};

std::array<std::atomic<std::int64_t>, kKinds.size()> g_counts;

}  // namespace

LiveCounts Live() {
    LiveCounts counts;
    for (std::size_t i = 0; i < kKinds.size(); ++i) counts.*kKinds[i].field = g_counts[i].load();
    return counts;
}

std::string Describe(const LiveCounts& counts) {
    std::string text;
    for (const Kind& kind : kKinds) {
        if (!text.empty()) text += ", ";
        text += std::to_string(counts.*kind.field) + " " + kind.name;
    }
    return text;
}

void CountLive(LiveKind kind, int change) { g_counts[static_cast<std::size_t>(kind)] += change; }

}  // namespace kez::control
