// The properties that items have: which item types know each of them, how it may be written, and its bounds. One
// table, used by SetProps, GetProps, the accessors, restrictions and sort orders.
#pragma once

#include <pimstore.h>

#include <cstdint>
#include <string_view>

namespace kez::pocketoutlook {

enum class Access : std::uint8_t {
    Stored,      // a value of the record, read and written
    ReadOnly,    // a value of the record that only the object model itself writes
    Calculated,  // derived from other values (ItemBase::Calculated), written only where the item type takes it
    Stream,      // reached with OpenProperty
};

enum ItemKinds : std::uint8_t {
    kContacts = 1,
    kAppointments = 2,
    kTasks = 4,
    kEvents = kAppointments | kTasks,
    kItems = kContacts | kEvents,
};

struct PropertyRow {
    CEPROPID id;
    const char16_t* name;  // as restrictions, sort orders and column lists name it
    std::uint8_t kinds;    // ItemKinds
    Access access;
    std::uint32_t limit;  // texts: most characters; numbers: largest value; 0 is no bound
};

// The row of `id` for items of `type`, or null: unknown to them.
const PropertyRow* FindProperty(OlItemType type, CEPROPID id);
// The same by name, without regard to ASCII case.
const PropertyRow* FindProperty(OlItemType type, std::u16string_view name);

}  // namespace kez::pocketoutlook
