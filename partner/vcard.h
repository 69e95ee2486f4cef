// vCards (2.1, 3.0, 4.0) as items of the agreement, and changes of items as changes of single lines of a card.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sync/item.h"
#include "sync/store.h"

namespace kez::partner {

struct CardReading {
    sync::Problem problem;  // where it is set, `item` says nothing
    sync::Item item;
    std::string uid;                  // "" where the card has none
    std::vector<std::string> losses;  // what of the card a device does not hold, one sentence each
};

// A file of one card. `fileName` is for messages.
CardReading ReadCard(std::string_view bytes, const std::string& fileName);

// The file with its card saying what `wanted` says: lines of fields that differ are changed, put in or taken out, in
// the card's own version; every other byte stays. The file must be one that ReadCard reads.
std::string EditCard(std::string_view bytes, const sync::Item& wanted);

// A vCard 3.0 of its own. `revision` is its REV ("2026-03-02T10:00:00Z").
std::string NewCard(const sync::Item& item, std::string_view uid, std::string_view revision);

// The cards of a file that holds several, each as the text of a file of its own.
std::vector<std::string> SplitCards(std::string_view bytes);

// The formatted name of a contact: first, middle and last name and suffix, else what it is filed under, its company,
// its first e-mail address.
std::string DisplayName(const sync::Fields& contact);

}  // namespace kez::partner
