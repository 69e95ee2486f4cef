// When the file of an item says that it was last changed. Whoever edits an item elsewhere leaves the time there, and
// it survives what moves the file's own: copying, unpacking, synchronising.
#pragma once

#include <cstdint>
#include <string_view>

namespace kez::partner {

// REV of a card, LAST-MODIFIED of the events and tasks of a calendar (of several the last), in seconds since 1970 UTC.
// 0 where the file does not say, says only the day, or cannot be understood.
std::int64_t SaidChange(std::string_view bytes);

}  // namespace kez::partner
