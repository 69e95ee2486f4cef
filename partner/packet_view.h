// A record packet as something to look at: its properties with the names of the fields they carry.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sync/item.h"

namespace kez::partner {

struct PacketProperty {
    std::uint32_t id = 0;
    std::string name;  // of the field; "" for a property that carries none
    std::string type;  // "LPWSTR", "I4", ...; a number for an unknown one
    std::uint16_t flags = 0;
    std::string value;  // as text; a blob as its size and its first bytes
};

struct PacketView {
    std::uint32_t oid = 0;
    std::uint32_t bytes = 0;
    std::uint32_t fingerprint = 0;
    std::vector<PacketProperty> properties;
};

// `packet` is one whole packet, `type` the item type whose names its properties get. Throws sync::PacketError.
PacketView ViewPacket(const std::string& packet, sync::ItemType type);

}  // namespace kez::partner
