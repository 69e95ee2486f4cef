// The modified occurrences of a series, read from Pocket Outlook without taking them away.
//
// The provider deletes a modified occurrence from the device while it reads the series; from then on the packet is
// the only copy, and only with 8-bit texts. The engine therefore reads the occurrences itself beforehand and has
// them kept, with the original date of each, until the other side holds them.
#pragma once

#include <windbase.h>

#include <map>
#include <optional>
#include <string>

namespace kez::engine {

// By original date ("YYYY-MM-DD hh:mm:ss"): the twelve fields of the occurrence as the packet carries them, each
// followed by the separator "~^!^~", in UTF-8. Empty for an item that is no series; nothing where Pocket Outlook
// fails, or has no such item: then nobody knows what reading it through the provider would take away.
std::optional<std::map<std::string, std::string>> ModifiedOccurrences(CEOID oid);

// The separator behind each of the twelve fields.
inline constexpr char kFieldSeparator[] = "~^!^~";
inline constexpr int kOccurrenceFields = 12;

}  // namespace kez::engine
