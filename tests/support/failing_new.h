// Allocations that fail: a test program that links kez_failing_new has the global allocation functions replaced by
// ones that can be told to fail.
#pragma once

#include <cstdint>

namespace kez::tests {

// Lets the nth `new (std::nothrow)` from now give null (1 is the next one), once; 0 plans none.
void FailNothrowNew(std::uint32_t nth);

// How many there were since the last FailNothrowNew, the failed one included.
std::uint32_t NothrowNewCount();

}  // namespace kez::tests
