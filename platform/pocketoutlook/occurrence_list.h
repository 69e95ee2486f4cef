// The appointments of a list with every occurrence of a series counted by itself, in the order of their starts. The
// list is worked out as far as it is asked for: each series contributes its next occurrence only when the one before it
// has been passed.
#pragma once

#include <queue>

#include "platform/pocketoutlook/item_classes.h"

namespace kez::pocketoutlook {

class OccurrenceList {
 public:
    // Of the appointments of these oids; those that have gone meanwhile are left out.
    OccurrenceList(const std::shared_ptr<Session>& session, const std::vector<CEOID>& oids);

    // The appointment or occurrence at a position, from 1; E_INVALIDARG where there is none.
    HRESULT Open(INT index, IDispatch** out);

 private:
    struct Entry {
        DATE start;
        CEOID oid;
        bool occurrence;
        bool operator>(const Entry& other) const {
            return start != other.start ? start > other.start : oid > other.oid;
        }
    };
    bool Grow();
    void Push(const ItemBase& item, CEOID oid, DATE after);

    std::shared_ptr<Session> m_session;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> m_next;
    std::vector<Entry> m_entries;
};

}  // namespace kez::pocketoutlook
