// Checks that a test gives back what it takes: blocks, strings, objects and handles.
//
// Every TestDevice checks that for its own time. What the provider is required to leave is named by the test that makes
// it do so, before the device goes.
#pragma once

#include <cstdint>

#include "platform/control/control.h"

namespace kez::tests {

// Each notification opens a mutex and leaves it open: the handles of mutexes are not counted by the device's check.
void MutexesStayOpen();

// So much more than there was stays when the device goes, and is nobody's any more.
void StaysForGood(const control::LiveCounts& more);

// A call that gives something back was made to fail: the device's check says nothing.
void WhatIsLeftStays();

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

// The check of a TestDevice: nothing is left but what a test has named above.
class DeviceLiveCountsCheck {
 public:
    DeviceLiveCountsCheck();
    ~DeviceLiveCountsCheck();
    DeviceLiveCountsCheck(const DeviceLiveCountsCheck&) = delete;
    DeviceLiveCountsCheck& operator=(const DeviceLiveCountsCheck&) = delete;

 private:
    control::LiveCounts m_start;
    std::int64_t m_mutexes;
};

}  // namespace kez::tests
