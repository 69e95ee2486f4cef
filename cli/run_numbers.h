// The number of the last synchronisation that changed something, noted on both sides: where one was put back to an
// older copy of itself, the other's is higher.
//
// The device has it in its volume of items, so that a copy of that alone is recognised as well; the folder has it in
// its state file.
#pragma once

#include <cstdint>
#include <optional>

#include "sync/state.h"

namespace kez::cli {

class RunNumbers {
 public:
    // Of the open device's partnership with this number. `state` stays the caller's.
    RunNumbers(sync::State& state, unsigned partner) : m_state(state), m_partner(partner) {}

    // Says which side is an older copy. All that the state remembers is doubted then, and both get a number that
    // neither had.
    std::optional<sync::Doubt> LookForOlderCopies();

    // Both sides are going to be changed, and each notes it.
    void BeginChanges();

 private:
    std::optional<std::int64_t> OnDevice() const;
    void Count(std::int64_t number);

    sync::State& m_state;
    unsigned m_partner;
};

}  // namespace kez::cli
