// Item collections.
#include "platform/pocketoutlook/item_collection.h"

#include <algorithm>
#include <span>
#include <utility>

#include "platform/pocketoutlook/occurrence_list.h"
#include "platform/pocketoutlook/property_block.h"

namespace kez::pocketoutlook {

ItemCollection::ItemCollection(std::shared_ptr<Session> session, OlItemType type)
    : m_session(std::move(session)), m_type(type) {}

ItemCollection::~ItemCollection() = default;

// --- The list -------------------------------------------------------------------------------------------------

const ItemCollection::Oids& ItemCollection::Current() {
    ItemStore& store = m_session->Store();
    if (m_oids && m_counter == store.ChangeCounter(m_type)) return *m_oids;
    m_occurrences.reset();
    if (!m_restriction && !m_order) {
        auto list = store.Oids(m_type);
        m_oids = std::move(list.oids);
        m_counter = list.counter;
    } else {
        const std::uint64_t counter = store.ChangeCounter(m_type);
        m_oids = std::make_shared<const Oids>(Selected());
        m_counter = counter;
    }
    return *m_oids;
}

ItemCollection::Oids ItemCollection::Selected() {
    struct Entry {
        std::optional<Value> key;
        CEOID oid;
    };
    std::vector<Entry> entries;
    m_session->Store().Walk(m_type, [&](CEOID oid, const PropertyBag& bag) {
        const ValueSource values = Values(oid, bag);
        if (!m_restriction || m_restriction->Matches(values)) {
            entries.push_back({m_order ? values(*m_order) : std::nullopt, oid});
        }
        return true;
    });
    if (m_order) {
        std::ranges::sort(entries, [&](const Entry& a, const Entry& b) {
            const int order = CompareValues(*m_order, a.key, b.key);
            if (order != 0) return m_descending ? order > 0 : order < 0;
            return a.oid < b.oid;
        });
    }
    Oids oids;
    oids.reserve(entries.size());
    for (const Entry& entry : entries) oids.push_back(entry.oid);
    return oids;
}

ValueSource ItemCollection::Values(CEOID oid, const PropertyBag& values) {
    if (!m_calculator) m_calculator = MakeBlankItem(m_session, m_type);
    return [this, oid, &values](const PropertyRow& row) -> std::optional<Value> {
        if (row.id == PIMPR_OID) return Value(std::int64_t{oid});
        if (row.access == Access::Calculated) return m_calculator->Calculated(row.id, values);
        const Value* value = values.Find(row.id);
        return value ? std::optional(*value) : std::nullopt;
    };
}

bool ItemCollection::Matches(const Restriction& restriction, CEOID oid) {
    const auto values = m_session->Store().Read(m_type, oid);
    return values && restriction.Matches(Values(oid, *values));
}

bool ItemCollection::CountsOccurrences() const {
    return m_includeRecurrences && m_type == olAppointmentItem && !m_descending &&
           (!m_order || m_order->id == PIMPR_START);
}

Ref<ItemBase> ItemCollection::At(INT index) {
    if (index < 1) return {};
    const auto position = static_cast<std::size_t>(index) - 1;
    // Another process may remove the item between the look into the list and the reading of the record; the list is
    // then out of date, and the position belongs to the next item.
    for (;;) {
        const Oids& oids = Current();
        if (position >= oids.size()) return {};
        if (position == std::exchange(m_next, position + 1)) {
            m_session->Store().ExpectReads(m_type, std::span(oids).subspan(position));
        }
        if (auto item = OpenItem(m_session, m_type, oids[position])) return item;
        if (m_counter == m_session->Store().ChangeCounter(m_type)) return {};
    }
}

// --- Methods --------------------------------------------------------------------------------------------------

HRESULT ItemCollection::QueryInterface(REFIID riid, void** out) {
    return Guard("IPOutlookItemCollection::QueryInterface", nullptr, out,
                 [&] { return ComObject::QueryInterface(riid, out); });
}

HRESULT ItemCollection::Add(IDispatch** out) {
    return Guard("IPOutlookItemCollection::Add", m_session.get(), out, [&] {
        *out = MakeNewItem(m_session, m_type).Detach()->Typed();
        return S_OK;
    });
}

HRESULT ItemCollection::get_Count(INT* count) {
    return Guard("IPOutlookItemCollection::get_Count", m_session.get(), count, [&] {
        *count = static_cast<INT>(Current().size());
        return S_OK;
    });
}

HRESULT ItemCollection::Item(INT index, IDispatch** out) {
    return Guard("IPOutlookItemCollection::Item", m_session.get(), out, [&] {
        if (CountsOccurrences()) {
            const Oids& oids = Current();
            if (!m_occurrences) m_occurrences = std::make_unique<OccurrenceList>(m_session, oids);
            return m_occurrences->Open(index, out);
        }
        auto item = At(index);
        if (!item) return E_INVALIDARG;
        *out = item.Detach()->Typed();
        return S_OK;
    });
}

HRESULT ItemCollection::Remove(INT index) {
    return Guard("IPOutlookItemCollection::Remove", m_session.get(), [&] {
        auto item = At(index);
        return item ? item->DeleteItem() : E_INVALIDARG;
    });
}

HRESULT ItemCollection::Find(BSTR restriction, IDispatch** out) {
    return Guard("IPOutlookItemCollection::Find", m_session.get(), out, [&] {
        auto parsed = Restriction::Parse(restriction ? restriction : u"", m_type);
        if (!parsed) return E_INVALIDARG;
        m_find = std::move(parsed);
        return FindFrom(0, out);
    });
}

HRESULT ItemCollection::FindNext(IDispatch** out) {
    return Guard("IPOutlookItemCollection::FindNext", m_session.get(), out, [&] {
        if (!m_find) return E_FAIL;
        const Oids& oids = Current();
        // Behind the last hit, wherever it stands now; where it has gone, at its old place.
        const auto last = std::ranges::find(oids, m_found);
        if (last != oids.end()) return FindFrom(static_cast<std::size_t>(last - oids.begin()) + 1, out);
        return FindFrom(m_foundNext == 0 ? 0 : m_foundNext - 1, out);
    });
}

// Success with a null result where nothing more is found.
HRESULT ItemCollection::FindFrom(std::size_t position, IDispatch** out) {
    const Oids& oids = Current();
    for (; position < oids.size(); position++) {
        if (!Matches(*m_find, oids[position])) continue;
        auto item = OpenItem(m_session, m_type, oids[position]);
        if (!item) continue;
        m_found = oids[position];
        m_foundNext = position + 1;
        *out = item.Detach()->Typed();
        return S_OK;
    }
    m_found = 0;
    m_foundNext = position + 1;
    return S_OK;
}

HRESULT ItemCollection::Restrict(BSTR restriction, IPOutlookItemCollection** out) {
    return Guard("IPOutlookItemCollection::Restrict", m_session.get(), out, [&] {
        auto parsed = Restriction::Parse(restriction ? restriction : u"", m_type);
        if (!parsed) return E_INVALIDARG;
        auto collection = Ref<ItemCollection>::Attach(new ItemCollection(m_session, m_type));
        collection->m_restriction = Restriction::Both(m_restriction, std::move(parsed));
        collection->m_order = m_order;
        collection->m_descending = m_descending;
        collection->m_includeRecurrences = m_includeRecurrences;
        *out = collection.Detach();
        return S_OK;
    });
}

HRESULT ItemCollection::Sort(BSTR property, VARIANT_BOOL descending) {
    return Guard("IPOutlookItemCollection::Sort", m_session.get(), [&] {
        const PropertyRow* row = ParsePropertyName(property ? property : u"", m_type);
        if (!row) return E_INVALIDARG;
        m_order = row;
        m_descending = descending != VARIANT_FALSE;
        m_oids.reset();
        return S_OK;
    });
}

HRESULT ItemCollection::get_IncludeRecurrences(VARIANT_BOOL* out) {
    return Guard("IPOutlookItemCollection::get_IncludeRecurrences", m_session.get(), out, [&] {
        *out = m_includeRecurrences ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    });
}

HRESULT ItemCollection::put_IncludeRecurrences(VARIANT_BOOL in) {
    return Guard("IPOutlookItemCollection::put_IncludeRecurrences", m_session.get(), [&] {
        m_includeRecurrences = in != VARIANT_FALSE;
        return S_OK;
    });
}

// Enumerators serve script clients, which need type information as well.
HRESULT ItemCollection::get__NewEnum(IUnknown** out) {
    return Guard("IPOutlookItemCollection::get__NewEnum", m_session.get(), out, [] { return E_NOTIMPL; });
}

HRESULT ItemCollection::get_Application(IPOutlookApp** out) {
    return Guard("IPOutlookItemCollection::get_Application", m_session.get(), out,
                 [&] { return m_session->GetApplication(out); });
}

// A hint which properties will be read. Records are read whole, so it is only checked.
HRESULT ItemCollection::SetColumns(BSTR columns) {
    return Guard("IPOlItems::SetColumns", m_session.get(), [&] {
        std::u16string_view rest(columns ? columns : u"");
        for (;;) {
            const std::size_t comma = rest.find(u',');
            if (!ParsePropertyName(rest.substr(0, comma), m_type)) return E_INVALIDARG;
            if (comma == rest.npos) return S_OK;
            rest.remove_prefix(comma + 1);
        }
    });
}

HRESULT ItemCollection::GetProps(INT index, const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values,
                                 ULONG* bytes, HANDLE heap) {
    return Guard("IPOlItems2::GetProps", m_session.get(), [&] {
        if (count == 1 && ids && ids[0] == PIMPR_OID) return GiveOid(index, flags, values, bytes, heap);
        auto item = At(index);
        return item ? item->GiveProps(ids, flags, count, values, bytes, heap) : E_INVALIDARG;
    });
}

// The list itself knows the identifiers: no item is opened.
HRESULT ItemCollection::GiveOid(INT index, ULONG flags, CEPROPVAL** values, ULONG* bytes, HANDLE heap) {
    const Oids& oids = Current();
    if (index < 1 || static_cast<std::size_t>(index) > oids.size()) return E_INVALIDARG;
    constexpr CEPROPID kOid = PIMPR_OID;
    if (HRESULT hr = CheckBlockArguments(&kOid, flags, 1, values, bytes, heap); FAILED(hr)) return hr;
    const CEOID oid = oids[static_cast<std::size_t>(index) - 1];
    std::vector<AnsweredProperty> answers;
    answers.push_back({.id = kOid, .made = Value(std::int64_t{oid})});
    return WriteBlock(answers, flags, values, bytes, heap);
}

}  // namespace kez::pocketoutlook
