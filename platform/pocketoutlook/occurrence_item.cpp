// Save and Delete of one occurrence of a series.
#include "platform/pocketoutlook/occurrence_item.h"

namespace kez::pocketoutlook {

std::optional<PropertyBag> OccurrenceItem::ReadRecord(CEOID oid) const {
    const auto series = Series::LoadDay(Store(), oid, m_day);
    if (!series || !series->HasDay(m_day) || series->IsDeleted(m_day)) return std::nullopt;
    return series->Occurrence(m_day);
}

std::vector<RecipientData> OccurrenceItem::StoredRecipients() {
    const auto series = Series::LoadDay(Store(), Oid(), m_day);
    if (series) {
        if (auto own = series->RecipientsOn(m_day)) return std::move(*own);
    }
    std::vector<RecipientData> recipients;
    for (const DetailRow& row : Store().Details(Detail::Recipients, olAppointmentItem, Oid())) {
        recipients.push_back(RecipientFrom(row.values));
    }
    return recipients;
}

HRESULT OccurrenceItem::SaveItem() {
    if (m_gone) return E_FAIL;
    const PropertyBag before = Values();
    NormaliseAllDay();
    UpdateMeetingStatus();
    HRESULT hr = S_OK;
    try {
        hr = WriteException();
    } catch (...) {
        Values() = before;
        throw;
    }
    if (FAILED(hr)) {
        Values() = before;
        return hr;
    }
    MarkSaved();
    RecipientsSaved();
    AfterSave();
    return S_OK;
}

HRESULT OccurrenceItem::WriteException() {
    const propertydb::PropertySet changes = Difference(Stored(), Values());
    if (changes.Empty() && !RecipientsChanged()) return S_OK;
    if (Values().Flag(PIMPR_ALL_DAY_EVENT) && !Recipients().empty()) return E_ALLDAYMEETING;

    ItemStore::Transaction transaction(Store());
    const auto series = Series::Load(Store(), Oid());
    if (!series || !series->HasDay(m_day) || series->IsDeleted(m_day)) return E_FAIL;
    if (HRESULT hr = series->CheckMove(m_day, SpanOfValues(Values())); FAILED(hr)) return hr;
    auto recipients = series->RecipientsOn(m_day);
    if (RecipientsChanged()) recipients = RecipientValues();
    // Only what was changed here: series and exception may have got other values since this object read them.
    PropertyBag occurrence = series->Occurrence(m_day);
    for (const auto& entry : changes) occurrence.Set(entry.id, entry.value);
    transaction.PutDetail(Detail::Exceptions, olAppointmentItem, Oid(), series->OriginalStart(m_day),
                          series->ExceptionFor(m_day, occurrence, recipients));
    transaction.Commit();
    return S_OK;
}

HRESULT OccurrenceItem::DeleteItem() {
    if (m_gone) return E_FAIL;
    ItemStore::Transaction transaction(Store());
    const auto series = Series::LoadDay(Store(), Oid(), m_day);
    if (!series || !series->HasDay(m_day) || series->IsDeleted(m_day)) return E_FAIL;
    transaction.PutDetail(Detail::Exceptions, olAppointmentItem, Oid(), series->OriginalStart(m_day),
                          DeletedException());
    transaction.Commit();
    m_gone = true;
    return S_OK;
}

}  // namespace kez::pocketoutlook
