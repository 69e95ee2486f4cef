// How the agreement's items become record packets and back; the partner, who knows the record format, gives it to
// the device store, which only moves bytes.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sync/item.h"

namespace kez::sync {

// A packet that cannot be read; the text says what is wrong with it.
class PacketError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

class PacketCodec {
 public:
    virtual ~PacketCodec() = default;

    // The item in a complete packet (of the wire format, length field first). Throws PacketError.
    virtual Item Decode(ItemType type, const std::string& packet) const = 0;

    // The packet that makes a device item read `wanted`. `held` is what the device holds now, null for a new item:
    // fields that it has and `wanted` lacks are sent in the form that clears them, and those that say the same in both
    // are left out where the device lets them be, so that a change that somebody makes of them meanwhile stays.
    virtual std::string Encode(const Item& wanted, const Item* held) const = 0;

    // Whether a device can hold `item` as it is written: empty, or a sentence that names what it cannot hold.
    virtual std::string WhyNotHeld(const Item& item) const = 0;

    // How a device gives back what was sent: the fields that come back otherwise than they were written (a busy
    // status that always ends busy, ...). Applied to `sent`, it gives what a faithful device answers.
    virtual Item AsHeldByDevice(const Item& sent) const = 0;

    // The changed occurrences of a series (each its twelve fields, with a separator behind each) as the other side
    // would say them, so that both say the same in the same bytes.
    virtual std::string Occurrences(const std::string& text) const { return text; }

    // Whether a field that is a list (changed occurrences, deleted dates) has in `whole` each entry of `part`; a field
    // of another kind is the same in both.
    virtual bool HasAll(const std::string& /*name*/, const std::string& whole, const std::string& part) const {
        return whole == part;
    }

    // What a device that holds `held` keeps although `wanted` lacks it, because no packet can say so (a picture that
    // was removed, ...); one sentence each.
    virtual std::vector<std::string> CannotClear(const Item& /*wanted*/, const Item& /*held*/) const { return {}; }
};

}  // namespace kez::sync
