// Values of items: through IItem by identifier, and for the accessors, with the rules of the catalogue.
#include "platform/pocketoutlook/item_base.h"
#include "platform/pocketoutlook/property_block.h"

namespace kez::pocketoutlook {
namespace {

constexpr DATE kFirstDate = 2.0;  // 1900-01-01
constexpr DATE kAfterLastDate = CAL_MAXDATE + 1;

HRESULT CheckValue(const PropertyRow& row, const Value& value) {
    if (const auto* text = std::get_if<std::u16string>(&value)) {
        return row.limit && text->size() > row.limit ? E_FIELDTOOLARGE : S_OK;
    }
    if (const auto* bytes = std::get_if<propertydb::Bytes>(&value)) {
        return bytes->size() > CEDB_MAXPROPDATASIZE ? E_FIELDTOOLARGE : S_OK;
    }
    const auto* number = std::get_if<std::int64_t>(&value);
    if (!number) return S_OK;
    if (TypeFromPropID(row.id) == CEVT_FILETIME) {
        const bool inside = *number >= TicksFromDate(kFirstDate) && *number < TicksFromDate(kAfterLastDate);
        return inside || *number == kNoDate ? S_OK : E_INVALIDARG;
    }
    return row.limit && (*number < 0 || *number > row.limit) ? E_INVALIDARG : S_OK;
}

}  // namespace

// --- IItem ----------------------------------------------------------------------------------------------------

const PropertyBag& ItemBase::FreshValues() {
    if (m_oid == 0) return m_stored;
    const std::uint64_t counter = Store().ChangeCounter(m_type);
    if (counter != m_freshAt) {
        auto fresh = ReadRecord(m_oid);
        if (!fresh) throw propertydb::VolumeError(ERROR_INVALID_PARAMETER, "the item is no longer there");
        m_fresh = std::move(fresh);
        m_freshAt = counter;
    }
    return m_fresh ? *m_fresh : m_stored;
}

std::optional<Value> ItemBase::Calculated(CEPROPID id, const PropertyBag& values) const {
    const Value* value = values.Find(id);
    return value ? std::optional(*value) : std::nullopt;
}

AnsweredProperty ItemBase::Answer(CEPROPID id, const PropertyBag& fresh) const {
    AnsweredProperty answer{.id = id, .made = {}};
    const PropertyRow* row = FindProperty(m_type, id);
    if (id == PIMPR_OID) {
        if (m_oid) answer.made = Value(std::int64_t{m_oid});
    } else if (row && row->access == Access::Calculated) {
        answer.made = Calculated(id, fresh);
    } else if (row ? row->access != Access::Stream : Store().FindNamed(id).has_value()) {
        answer.stored = fresh.Find(id);
    }
    return answer;
}

HRESULT ItemBase::GetProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, ULONG* bytes,
                           HANDLE heap) {
    return Guard("IItem::GetProps", m_session.get(), [&] { return GiveProps(ids, flags, count, values, bytes, heap); });
}

HRESULT ItemBase::GiveProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, ULONG* bytes,
                            HANDLE heap) {
    if (HRESULT hr = CheckBlockArguments(ids, flags, count, values, bytes, heap); FAILED(hr)) return hr;
    bool complete = true;
    std::vector<AnsweredProperty> answers;
    answers.reserve(count);
    // A collection is listed by asking each item for its identifier: that needs no look at the record.
    const bool onlyOid = count == 1 && ids[0] == PIMPR_OID;
    const PropertyBag& fresh = onlyOid ? m_stored : FreshValues();
    for (WORD i = 0; i < count; i++) {
        answers.push_back(Answer(ids[i], fresh));
        if (!answers.back().Get()) complete = false;
    }
    const HRESULT hr = WriteBlock(answers, flags, values, bytes, heap);
    return hr == S_OK && m_oid == 0 && !complete ? MAPI_W_ERRORS_RETURNED : hr;
}

HRESULT ItemBase::SetProps(ULONG flags, WORD count, CEPROPVAL* values) {
    return Guard("IItem::SetProps", m_session.get(), [&] {
        if (flags != 0 || count == 0 || !values) return E_INVALIDARG;
        HRESULT result = S_OK;
        for (WORD i = 0; i < count; i++) {
            if (SetProperty(values[i]) != S_OK) result = S_FALSE;
        }
        return result;
    });
}

HRESULT ItemBase::SetProperty(const CEPROPVAL& element) {
    std::optional<Value> value;
    if (!(element.wFlags & CEDB_PROPDELETE)) {
        value = ValueOf(element);
        if (!value) return S_FALSE;
    }
    const PropertyBag::Watch watch(m_values);
    const HRESULT hr = PutChecked(element.propid, value ? &*value : nullptr);
    if (hr != S_OK) return hr;
    return watch.Changed() ? S_OK : S_FALSE;
}

// --- For the accessors ----------------------------------------------------------------------------------------

HRESULT ItemBase::PutChecked(CEPROPID id, const Value* value) {
    const PropertyRow* row = FindProperty(m_type, id);
    if (!row) {
        if (!Store().FindNamed(id)) return S_FALSE;
        const PropertyRow named{id, u"", kItems, Access::Stored, 0};
        if (HRESULT hr = value ? CheckValue(named, *value) : S_OK; FAILED(hr)) return hr;
        return ItemBase::PutValue(named, value);
    }
    if (value) {
        if (HRESULT hr = CheckValue(*row, *value); FAILED(hr)) return hr;
    }
    // Whether an item is left out of synchronisation is decided when it is made.
    if (id == PIMPR_DO_NOT_SYNC && m_oid != 0) return S_FALSE;
    return PutValue(*row, value);
}

HRESULT ItemBase::PutValue(const PropertyRow& row, const Value* value) {
    if (row.access != Access::Stored) return S_FALSE;
    if (value) {
        m_values.Set(row.id, *value);
    } else {
        m_values.Remove(row.id);
    }
    return S_OK;
}

HRESULT ItemBase::GetText(CEPROPID id, BSTR* out) const {
    const std::u16string_view text = m_values.Text(id);
    *out = SysAllocStringLen(text.empty() ? u"" : text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT ItemBase::PutText(CEPROPID id, BSTR in) {
    const Value value(std::u16string(in ? in : u""));
    return PutChecked(id, &value);
}

HRESULT ItemBase::GetDate(CEPROPID id, DATE* out) const {
    *out = m_values.Date(id);
    return S_OK;
}

HRESULT ItemBase::PutDate(CEPROPID id, DATE in) {
    if (in != DATE_NONE && !(in >= kFirstDate && in < kAfterLastDate)) return E_INVALIDARG;
    const Value value(in == DATE_NONE ? kNoDate : TicksFromDate(in));
    return PutChecked(id, &value);
}

HRESULT ItemBase::GetNumber(CEPROPID id, LONG* out) const {
    *out = m_values.Number(id);
    return S_OK;
}

HRESULT ItemBase::PutNumber(CEPROPID id, LONG in) {
    const Value value(std::int64_t{in});
    return PutChecked(id, &value);
}

HRESULT ItemBase::GetFlag(CEPROPID id, VARIANT_BOOL* out) const {
    *out = m_values.Flag(id) ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT ItemBase::PutFlag(CEPROPID id, VARIANT_BOOL in) {
    const Value value(std::int64_t{in != VARIANT_FALSE});
    return PutChecked(id, &value);
}

}  // namespace kez::pocketoutlook
