// Where what a device sends and what it understands are not the same: one row each.
//
// The rows work on an item's fields as texts. Together with the value kinds of record_fields.h they are all that is
// known of how a record changes on its way to a device and back.
#pragma once

#include <span>
#include <string_view>

#include "sync/item.h"

namespace kez::partner {

using Rewrite = void (*)(sync::Fields& fields);

struct Asymmetry {
    std::string_view types;  // letters of the item types it holds for: c, t, a
    std::string_view what;   // the fields, and what happens to them
    Rewrite fromDevice;      // what was received, as this side understands it
    Rewrite toDevice;        // what this side means, as the device understands it
    Rewrite asHeld;          // what is sent, as the device gives it back
};

std::span<const Asymmetry> Asymmetries();

bool HoldsFor(const Asymmetry& row, sync::ItemType type);

}  // namespace kez::partner
