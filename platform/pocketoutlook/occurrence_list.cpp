// Occurrence by occurrence.
#include "platform/pocketoutlook/occurrence_list.h"

namespace kez::pocketoutlook {
namespace {

constexpr DATE kBeforeAll = CAL_MINDATE;

}  // namespace

OccurrenceList::OccurrenceList(const std::shared_ptr<Session>& session, const std::vector<CEOID>& oids)
    : m_session(session) {
    for (const CEOID oid : oids) {
        const auto item = OpenItem(session, olAppointmentItem, oid);
        if (!item) continue;
        if (item->Values().Flag(PIMPR_IS_RECURRING)) {
            Push(*item, oid, kBeforeAll);
        } else {
            m_next.push({item->Values().Date(PIMPR_START), oid, false});
        }
    }
}

void OccurrenceList::Push(const ItemBase& item, CEOID oid, DATE after) {
    if (const auto start = item.NextOccurrence(after)) m_next.push({*start, oid, true});
}

bool OccurrenceList::Grow() {
    if (m_next.empty()) return false;
    const Entry entry = m_next.top();
    m_next.pop();
    m_entries.push_back(entry);
    if (entry.occurrence) {
        if (const auto series = OpenItem(m_session, olAppointmentItem, entry.oid))
            Push(*series, entry.oid, entry.start);
    }
    return true;
}

HRESULT OccurrenceList::Open(INT index, IDispatch** out) {
    if (index < 1) return E_INVALIDARG;
    const auto position = static_cast<std::size_t>(index) - 1;
    while (m_entries.size() <= position) {
        if (!Grow()) return E_INVALIDARG;
    }
    const Entry& entry = m_entries[position];
    auto item = OpenItem(m_session, olAppointmentItem, entry.oid);
    if (!item) return E_INVALIDARG;
    if (entry.occurrence) return item->OpenOccurrence(entry.start, out);
    *out = item.Detach()->Typed();
    return S_OK;
}

}  // namespace kez::pocketoutlook
