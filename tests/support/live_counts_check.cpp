// The checks of the live counts.
#include "tests/support/live_counts_check.h"

#include <gtest/gtest.h>

#include "platform/kernel/handle_table.h"

namespace kez::tests {

namespace {

// What tests have named, for the check of the device that there is.
control::LiveCounts g_stays;
bool g_mutexesStay = false;
bool g_anythingStays = false;

void Expect(const control::LiveCounts& expected) {
    EXPECT_EQ(control::Describe(control::Live()), control::Describe(expected)) << "not everything was given back";
}

}  // namespace

void MutexesStayOpen() { g_mutexesStay = true; }

void WhatIsLeftStays() { g_anythingStays = true; }

void StaysForGood(const control::LiveCounts& more) {
    g_stays.localBlocks += more.localBlocks;
    g_stays.heapBlocks += more.heapBlocks;
    g_stays.automationStrings += more.automationStrings;
    g_stays.comObjects += more.comObjects;
    g_stays.handles += more.handles;
}

void LiveCountsCheck::Check() const { Expect(m_start); }

DeviceLiveCountsCheck::DeviceLiveCountsCheck() : m_start(control::Live()), m_mutexes(kernel::CountMutexHandles()) {
    g_stays = {};
    g_mutexesStay = false;
    g_anythingStays = false;
}

DeviceLiveCountsCheck::~DeviceLiveCountsCheck() {
    if (g_anythingStays) return;
    control::LiveCounts expected = m_start;
    expected.localBlocks += g_stays.localBlocks;
    expected.heapBlocks += g_stays.heapBlocks;
    expected.automationStrings += g_stays.automationStrings;
    expected.comObjects += g_stays.comObjects;
    expected.handles += g_stays.handles;
    if (g_mutexesStay) expected.handles += kernel::CountMutexHandles() - m_mutexes;
    Expect(expected);
}

}  // namespace kez::tests
