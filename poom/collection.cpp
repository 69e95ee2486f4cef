// Walks the items of one type, and deletes them all.
#include <windbase.h>

#include "poom/ce_poom.h"
#include "poom/item_type.h"
#include "poom/platform_support.h"
#include "trace/trace_log.h"

namespace {

constexpr ULONG kAllocate = CEDB_ALLOWREALLOC;
constexpr INT kMostWaits = 20;

BOOL ReturnFromInitializeType(HRESULT hr, BOOL result) {
    dbglog(25, "CCEPoom::InitializeType() returning (hr = 0x%08x) -", hr);
    return result;
}

}  // namespace

BOOL CCEPoom::InitializeType(DWORD dwDBType, INT n) {
    // The type changes first, on purpose also where the collection of another type stays open.
    m_dwDBType = dwDBType;
    dbglog(25, "CCEPoom::InitializeType(%i) +", n);
    if (m_pCollection != nullptr) {
        dbglog(25, "m_pCollection already set, returning early from InitializeType()");
        return ReturnFromInitializeType(S_OK, TRUE);
    }

    INT waits = 0;
    while (m_bInInitializeType.load(std::memory_order_relaxed) == TRUE) {
        dbglog(25, "m_bInInitializeType == TRUE, sleeping for 1 second");
        Sleep(1000);
        if (++waits > kMostWaits) {
            dbglog(25, "Slept for 20 seconds, ending loop");  // after 21 of them; the text stays as it is
            break;
        }
    }
    m_bInInitializeType.store(TRUE, std::memory_order_relaxed);

    if (!Logon()) {
        m_bInInitializeType.store(FALSE, std::memory_order_relaxed);
        return ReturnFromInitializeType(E_FAIL, FALSE);
    }

    dbglog(25, "Getting default folder");
    const ItemType* type = ItemTypeOf(dwDBType);
    if (type == nullptr) {
        m_bInInitializeType.store(FALSE, std::memory_order_relaxed);
        return ReturnFromInitializeType(E_FAIL, FALSE);
    }
    ReleaseAndForget(m_pFolder);
    BOOL result = FALSE;
    HRESULT hr = m_polApp->GetDefaultFolder(type->folder, &m_pFolder);
    if (SUCCEEDED(hr) && m_pFolder != nullptr) {
        dbglog(25, "Retrieving collection (m_pCollection = 0x%08x)", TracedPointer(m_pCollection));
        hr = m_pFolder->get_Items(&m_pCollection);
        dbglog(25, "Collection retrieved (m_pCollection = 0x%08x)", TracedPointer(m_pCollection));
        result = SUCCEEDED(hr);
    }
    m_bInInitializeType.store(FALSE, std::memory_order_relaxed);
    return ReturnFromInitializeType(hr, result);
}

INT CCEPoom::GetRecordCount() {
    if (m_pCollection == nullptr) {
        dbglog(25, "CCEPoom::GetRecordCount() - m_pCollection is NULL, returning 0");
        return 0;
    }
    INT count = 0;
    m_pCollection->get_Count(&count);
    return count;
}

CEOID CCEPoom::GetFirstID() {
    m_iIndex = 1;
    return GetNextID();
}

CEOID CCEPoom::GetNextID() {
    dbglog(25, "CCEPoom::GetNextID() - m_iIndex = %i", m_iIndex);
    if (m_pCollection == nullptr) {
        dbglog(25, "CCEPoom::GetNextID() - Invalid m_pCollection");
        return 0;
    }
    Reference<IDispatch> entry;
    m_pCollection->Item(m_iIndex, entry.Out());
    if (!entry) {
        dbglog(25, "CCEPoom::GetNextID() - No more items");
        return 0;
    }
    Reference<IItem> item;
    HRESULT hr = QueryItem(entry.Get(), item.Out());
    if (!item) {
        dbglog(25, "CCEPoom::GetNextID() - Invalid pItem (hr = %i)", hr);
        return 0;
    }

    const CEPROPID wanted = PIMPR_OID;
    CEPROPVAL* properties = nullptr;
    ULONG bytes = 0;
    hr = item->GetProps(&wanted, kAllocate, 1, &properties, &bytes, GetProcessHeap());
    if (FAILED(hr) || properties == nullptr) return 0;
    const CEOID oid = properties[0].val.ulVal;
    ++m_iIndex;
    HeapFree(GetProcessHeap(), 0, properties);
    return oid;
}

BOOL CCEPoom::Purge() {
    dbglog(25, "CCEPoom::Purge() +");
    if (m_pCollection == nullptr) {
        dbglog(25, "Unable to purge, m_pCollection is NULL");
        dbglog(25, "CCEPoom::Purge() -");
        return FALSE;
    }

    INT count = 0;
    m_pCollection->get_Count(&count);
    for (INT i = count; i >= 1; --i) {
        // A few passes speak for all, to keep the log of a large folder short.
        if (i >= count - 5 || i % 5 == 0 || i == 1) dbglog(25, "Purging record %i of %i", i, count);

        // The same position each time: the items behind a deleted one move up.
        Reference<IDispatch> entry;
        m_pCollection->Item(m_iIndex, entry.Out());
        Reference<IItem> item;
        QueryItem(entry.Get(), item.Out());
        if (!item) continue;
        const HRESULT hr = item->Delete();
        if (FAILED(hr)) dbglog(25, "pItem->Delete() failed with hr=0x%08x (i = %i)", hr, i);
    }
    dbglog(25, "CCEPoom::Purge() -");
    return TRUE;
}
