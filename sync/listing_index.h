// The items of a listing by identifier, for who asks for most of them in the order in which they are listed. Then no
// table is needed: with a hundred thousand items each look into one misses the processor's cache.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "sync/store.h"

namespace kez::sync {

class ListingIndex {
 public:
    // `items` stays the caller's, and where it is; the identifiers are not to change while there are questions.
    explicit ListingIndex(std::vector<Listed>& items) : m_items(items), m_taken(items.size()) {}

    // The item; null where there is none or it was taken before. Each is asked for once.
    Listed* Take(std::string_view id);

    // What was not taken, in the order of the listing. Of several items with one identifier only the first counts, and
    // none where one was taken.
    std::vector<Listed*> Left() const;

 private:
    Listed* TakeAt(std::size_t index);

    std::vector<Listed>& m_items;
    std::vector<bool> m_taken;
    std::size_t m_next = 0;                                     // after the one that was taken last
    std::unordered_map<std::string_view, std::size_t> m_table;  // made when it is needed
};

}  // namespace kez::sync
