// Any bytes as a record packet: read as an item or refused, and what was read can be written and is held the same.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "partner/packet_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kez;
    if (size < 1) return 0;
    auto type = sync::kAllItemTypes[data[0] % 3];
    std::string packet(reinterpret_cast<const char*>(data + 1), size - 1);
    partner::RecordCodec codec([] { return -60; });
    try {
        sync::Item item = codec.Decode(type, packet);
        auto held = codec.AsHeldByDevice(item);
        if (!(codec.AsHeldByDevice(held) == held)) std::abort();
        if (codec.WhyNotHeld(item).empty()) (void)codec.Encode(item, &held);
    } catch (const sync::PacketError&) {
        return 0;
    }
    return 0;
}
