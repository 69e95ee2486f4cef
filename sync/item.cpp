// Names of items and item types for people.
#include "sync/item.h"

namespace kez::sync {

std::string_view ToString(ItemType type) {
    switch (type) {
        case ItemType::Contact:
            return "contact";
        case ItemType::Task:
            return "task";
        case ItemType::Appointment:
            return "appointment";
    }
    return "";
}

namespace {

std::string Value(const Item& item, const char* name) {
    const auto field = item.fields.find(name);
    return field == item.fields.end() ? std::string() : field->second;
}

std::string Joined(const Item& item, std::initializer_list<const char*> names) {
    std::string joined;
    for (const char* name : names) {
        const std::string value = Value(item, name);
        if (value.empty()) continue;
        if (!joined.empty()) joined += ' ';
        joined += value;
    }
    return joined;
}

std::string FirstOf(const Item& item, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        std::string value = Value(item, name);
        if (!value.empty()) return value;
    }
    return {};
}

// A title stands in one line of a report.
std::string OneLine(std::string text) {
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    }
    return text;
}

}  // namespace

std::string Title(const Item& item) {
    std::string title;
    if (item.type == ItemType::Contact) {
        title = Joined(item, {"FirstName", "MiddleName", "LastName"});
        if (title.empty()) {
            title = FirstOf(item, {"FileAs", "CompanyName", "Email1Address", "MobileTelephoneNumber",
                                   "HomeTelephoneNumber", "BusinessTelephoneNumber"});
        }
    } else {
        title = Value(item, "Subject");
        const std::string when = Value(item, item.type == ItemType::Appointment ? "Start" : "DueDate");
        if (!when.empty()) {
            const std::size_t length = item.type == ItemType::Appointment ? 16 : 10;
            title += (title.empty() ? "(" : " (") + when.substr(0, length) + ")";
        }
    }
    if (title.empty()) title = "unnamed " + std::string(ToString(item.type));
    return OneLine(std::move(title));
}

}  // namespace kez::sync
