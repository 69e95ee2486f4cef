// Whether a volume is as it was.
#pragma once

#include <array>
#include <cstdint>

namespace kez::propertydb {

// Which state of the volume a connection's reader would see: equal stamps, nothing changed in between, by any
// process. Taking one costs a few memory reads.
struct Stamp {
    std::array<std::uint32_t, 12> committed{};  // the head of the volume's log index, which moves with every commit
    std::uint64_t own = 0;                      // writes of this connection, committed or not
    bool operator==(const Stamp&) const = default;
};

}  // namespace kez::propertydb
