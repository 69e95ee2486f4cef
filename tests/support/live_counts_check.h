// Checks that a test gives back what it takes: blocks, strings, objects and handles.
#pragma once

#include "platform/control/control.h"

namespace kez::tests {

// Remembers the live counts when it is made, and expects the same at its end.
class LiveCountsCheck {
 public:
    LiveCountsCheck() : m_start(control::Live()) {}
    ~LiveCountsCheck() { Check(); }
    LiveCountsCheck(const LiveCountsCheck&) = delete;
    LiveCountsCheck& operator=(const LiveCountsCheck&) = delete;

    // Expects the counts of the start now; a failure names both.
    void Check() const;

 private:
    control::LiveCounts m_start;
};

}  // namespace kez::tests
