// IExceptions and IException on the exceptions that the store holds for a series.
#include "platform/pocketoutlook/exceptions.h"

#include <algorithm>

namespace kez::pocketoutlook {

HRESULT ExceptionList::Item(INT index, IException** out) {
    return Guard("IExceptions::Item", &m_item->GetSession(), out, [&]() -> HRESULT {
        const auto& entries = m_item->Exceptions();
        if (index < 1 || static_cast<std::size_t>(index) > entries.size()) return E_INVALIDARG;
        *out = new ExceptionItem(m_item, entries[static_cast<std::size_t>(index) - 1].original);
        return S_OK;
    });
}

HRESULT ExceptionList::get_Count(INT* count) {
    return Guard("IExceptions::get_Count", &m_item->GetSession(), count, [&] {
        *count = static_cast<INT>(m_item->Exceptions().size());
        return S_OK;
    });
}

HRESULT ExceptionList::get__NewEnum(IUnknown** out) {
    return Guard("IExceptions::get__NewEnum", &m_item->GetSession(), out, [] { return E_NOTIMPL; });
}

HRESULT ExceptionList::get_Application(IPOutlookApp** out) {
    return Guard("IExceptions::get_Application", &m_item->GetSession(), out,
                 [&] { return m_item->GetSession().GetApplication(out); });
}

HRESULT ExceptionItem::get_AppointmentItem(IAppointment** out) {
    return Guard("IException::get_AppointmentItem", &m_item->GetSession(), out,
                 [&] { return m_item->OpenException(m_original, out); });
}

HRESULT ExceptionItem::get_OriginalDate(DATE* out) {
    return Guard("IException::get_OriginalDate", &m_item->GetSession(), out, [&] {
        *out = DateFromTicks(m_original);
        return S_OK;
    });
}

HRESULT ExceptionItem::get_Deleted(VARIANT_BOOL* out) {
    return Guard("IException::get_Deleted", &m_item->GetSession(), out, [&]() -> HRESULT {
        const auto& entries = m_item->Exceptions();
        const auto entry = std::ranges::lower_bound(entries, m_original, {}, &ExceptionEntry::original);
        if (entry == entries.end() || entry->original != m_original) return E_FAIL;
        *out = entry->deleted ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    });
}

HRESULT ExceptionItem::get_Application(IPOutlookApp** out) {
    return Guard("IException::get_Application", &m_item->GetSession(), out,
                 [&] { return m_item->GetSession().GetApplication(out); });
}

}  // namespace kez::pocketoutlook
