// Allocations that fail when they are told to, and only those.
#include "tests/support/failing_new.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

namespace kez::tests {
namespace {

bool Allocates() { return std::unique_ptr<int>(new (std::nothrow) int) != nullptr; }

class FailingNew : public ::testing::Test {
 protected:
    ~FailingNew() override { FailNothrowNew(0); }
};

TEST_F(FailingNew, NothingFailsWhereNothingIsPlanned) {
    FailNothrowNew(0);
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(Allocates());
}

TEST_F(FailingNew, TheNthOneFailsAndNoOther) {
    for (std::uint32_t nth = 1; nth <= 3; ++nth) {
        FailNothrowNew(nth);
        for (std::uint32_t i = 1; i <= 5; ++i) EXPECT_EQ(Allocates(), i != nth) << i << " of " << nth;
    }
}

TEST_F(FailingNew, ArraysAreCountedAsObjectsAre) {
    FailNothrowNew(2);
    EXPECT_TRUE(std::unique_ptr<int[]>(new (std::nothrow) int[3]));
    EXPECT_FALSE(std::unique_ptr<int[]>(new (std::nothrow) int[3]));
    EXPECT_EQ(NothrowNewCount(), 2u);
}

TEST_F(FailingNew, TheCountBeginsAnewWithEachPlanAndHoldsTheFailedOne) {
    FailNothrowNew(1);
    Allocates();
    Allocates();
    EXPECT_EQ(NothrowNewCount(), 2u);
    FailNothrowNew(0);
    EXPECT_EQ(NothrowNewCount(), 0u);
}

TEST_F(FailingNew, AnAllocationThatMayThrowIsNotTouched) {
    FailNothrowNew(1);
    EXPECT_NE(std::make_unique<int>(7), nullptr);
    EXPECT_EQ(NothrowNewCount(), 0u);
    EXPECT_FALSE(Allocates());
}

// No constructor runs on memory that is not there.
TEST_F(FailingNew, AnObjectWithoutMemoryIsNotConstructed) {
    struct Loud {
        explicit Loud(int& made) { ++made; }
    };
    int made = 0;
    FailNothrowNew(1);
    EXPECT_EQ(std::unique_ptr<Loud>(new (std::nothrow) Loud(made)), nullptr);
    EXPECT_EQ(made, 0);
}

}  // namespace
}  // namespace kez::tests
