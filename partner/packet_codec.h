// Items of the agreement as record packets of the device, and back.
#pragma once

#include <cstdint>
#include <functional>

#include "sync/codec.h"

namespace kez::partner {

class RecordCodec : public sync::PacketCodec {
 public:
    // `currentBiasMinutes`: what the device adds to its wall clock now to have UTC. It sends the start of an
    // appointment converted with the bias in force at that moment, whatever the date.
    explicit RecordCodec(std::function<std::int32_t()> currentBiasMinutes);

    sync::Item Decode(sync::ItemType type, const std::string& packet) const override;
    // Throws PacketError for a value that is none of its field (a number with letters, a day that does not exist);
    // WhyNotHeld names such values beforehand.
    std::string Encode(const sync::Item& wanted, const sync::Item* held) const override;
    std::string WhyNotHeld(const sync::Item& item) const override;
    sync::Item AsHeldByDevice(const sync::Item& sent) const override;
    std::string Occurrences(const std::string& text) const override;
    bool HasAll(const std::string& name, const std::string& whole, const std::string& part) const override;
    std::vector<std::string> CannotClear(const sync::Item& wanted, const sync::Item& held) const override;

 private:
    std::function<std::int32_t()> m_currentBiasMinutes;
};

}  // namespace kez::partner
