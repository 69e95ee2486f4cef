// The check of the live counts.
#include "tests/support/live_counts_check.h"

#include <gtest/gtest.h>

namespace kez::tests {

void LiveCountsCheck::Check() const {
    EXPECT_EQ(control::Describe(control::Live()), control::Describe(m_start)) << "not everything was given back";
}

}  // namespace kez::tests
