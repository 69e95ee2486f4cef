// Any bytes as a vCard: what is read can be sent to a device, and writing what was read changes nothing.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "partner/packet_codec.h"
#include "partner/vcard.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kez::partner;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    for (const auto& card : SplitCards(bytes)) (void)ReadCard(card, "card");
    auto reading = ReadCard(bytes, "card");
    if (reading.problem) return 0;
    if (EditCard(bytes, reading.item) != bytes) std::abort();
    RecordCodec codec([] { return 0; });
    if (!codec.WhyNotHeld(reading.item).empty()) std::abort();
    (void)codec.Decode(kez::sync::ItemType::Contact, codec.Encode(reading.item, nullptr));
    auto wanted = reading.item;
    wanted.fields["LastName"] += "x";
    wanted.fields.erase("Email1Address");
    wanted.fields["HomeTelephoneNumber"] = "1";
    (void)ReadCard(EditCard(bytes, wanted), "card");
    return 0;
}
