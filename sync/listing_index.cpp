#include "sync/listing_index.h"

#include <algorithm>

namespace kez::sync {
namespace {

constexpr std::size_t kLookAhead = 4;  // new items between those that are asked for

}  // namespace

Listed* ListingIndex::Take(std::string_view id) {
    const std::size_t end = std::min(m_next + kLookAhead, m_items.size());
    for (std::size_t i = m_next; i < end; ++i) {
        if (m_items[i].id == id) return TakeAt(i);
    }
    if (m_table.empty()) {
        m_table.reserve(m_items.size());
        for (std::size_t i = 0; i < m_items.size(); ++i) m_table.emplace(m_items[i].id, i);
    }
    const auto found = m_table.find(id);
    return found == m_table.end() ? nullptr : TakeAt(found->second);
}

Listed* ListingIndex::TakeAt(std::size_t index) {
    if (m_taken[index]) return nullptr;
    m_taken[index] = true;
    m_next = index + 1;
    return &m_items[index];
}

std::vector<Listed*> ListingIndex::Left() const {
    std::unordered_map<std::string_view, std::size_t> left;  // small as a rule, unlike a table of what was taken
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        if (!m_taken[i]) left.emplace(m_items[i].id, i);
    }
    std::vector<Listed*> items;
    if (left.empty()) return items;
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        if (m_taken[i]) left.erase(m_items[i].id);
    }
    items.reserve(left.size());
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        const auto found = left.find(m_items[i].id);
        if (found != left.end() && found->second == i) items.push_back(&m_items[i]);
    }
    return items;
}

}  // namespace kez::sync
