// One contact, task or appointment as the agreement sees it: a set of named fields.
//
// Names are the published property names (FirstName, Email1Address, Start, ...); the partner's record fields say
// which there are. A field that is absent and a field that is empty are the same: empty ones are left out. Values
// are UTF-8 text (numbers decimal, flags "1" or "0", dates "YYYY-MM-DD hh:mm:ss"); a picture is its bytes.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kez::sync {

enum class ItemType { Contact, Task, Appointment };
inline constexpr ItemType kAllItemTypes[] = {ItemType::Contact, ItemType::Task, ItemType::Appointment};

std::string_view ToString(ItemType type);  // "contact", "task", "appointment"

using Fields = std::map<std::string, std::string, std::less<>>;

struct Item {
    ItemType type = ItemType::Contact;
    Fields fields;
    bool operator==(const Item& other) const { return type == other.type && fields == other.fields; }
};

// What a person would call the item: "Ada Lovelace", "Weekly meeting (2026-03-02 10:00)"; never empty.
std::string Title(const Item& item);

}  // namespace kez::sync
