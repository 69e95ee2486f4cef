// What the files of this room tell each other and nobody else.
#pragma once

#include <cstdint>

namespace kez::control::detail {

// Moves the clock on if it is a frozen one.
void AdvanceFrozenClock(std::uint32_t milliseconds);

}  // namespace kez::control::detail
