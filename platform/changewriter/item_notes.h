// Numbers that who synchronises keeps with the items: in their volume, so that a copy of it has them as they were.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kez::changewriter {

// Of the open device. Throw propertydb::VolumeError where its volume of items cannot be used.
std::optional<std::int64_t> ItemNote(const std::string& name);
// Durable when it returns, with everything that this process wrote to the volume before.
void SetItemNote(const std::string& name, std::int64_t number);

}  // namespace kez::changewriter
