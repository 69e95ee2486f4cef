// What the device's owner does with the device: looks at items, enters, changes and deletes them, through Pocket
// Outlook and nothing else, so that it counts as a change made on the device.
#pragma once

#include <pimstore.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/com_ptr.h"
#include "sync/item.h"

namespace kez::cli {

// Pocket Outlook refused something; the text says what and why.
class OwnerError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

struct OwnedItem {
    CEOID oid = 0;
    sync::Item item;
};

class Owner {
 public:
    // Logs on to Pocket Outlook of the open device; makes its databases where they are missing.
    Owner();
    ~Owner();
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    // The items of a type in the device's order. `withPictures` also reads the pictures.
    std::vector<OwnedItem> List(sync::ItemType type, bool withPictures);

    // Nothing where no item has this identifier.
    std::optional<OwnedItem> Find(CEOID oid);

    // A new item with these fields. Fields that an owner cannot set (see IsReadOnly) are left out.
    CEOID Add(const sync::Item& item);

    // Sets fields, or removes those with an empty value. Throws OwnerError for an unknown field, naming those there
    // are, and for a value that Pocket Outlook refuses.
    void Change(CEOID oid, const sync::Fields& fields);

    bool Delete(CEOID oid);  // false where no item has this identifier

 private:
    engine::ComPtr<IDispatch> Get(CEOID oid);
    engine::ComPtr<IPOutlookApp2> m_application;
};

// The names of the fields that an owner may set, in the order of the catalogue.
std::vector<std::string> FieldNames(sync::ItemType type);

}  // namespace kez::cli
