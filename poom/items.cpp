// Loads an item or makes a new one.
#include "poom/ce_poom.h"
#include "poom/item_type.h"
#include "poom/platform_support.h"
#include "trace/trace_log.h"

namespace {

// The item `oid` as the interface of its type, or a new one where `oid` is 0. An identifier may belong to an item of
// another type, so the interface is asked for.
template <typename Item>
HRESULT LoadItem(IPOutlookApp2* application, LONG oid, const ItemType& type, REFIID iid, Item** out) {
    Reference<IDispatch> loaded;
    HRESULT hr =
        oid != 0 ? application->GetItemFromOid(oid, loaded.Out()) : application->CreateItem(type.item, loaded.Out());
    if (FAILED(hr) || !loaded) return hr;
    return loaded->QueryInterface(iid, reinterpret_cast<void**>(out));
}

}  // namespace

BOOL CCEPoom::InitializeItem(CEOID oid, DWORD dwDBType, LONG olRecordID) {
    dbglog(0, "CCEPoom::InitializeItem(oid=%d, dwDBType=%d, olRecordID=%i) +", oid, dwDBType, olRecordID);
    if (!Logon()) {
        dbglog(0, "CKezAspDB::InitializeItem::Initialize((oid=%d, dwDBType=%d) ERR -", oid, dwDBType);
        return FALSE;
    }
    m_dwDBType = dwDBType;
    ReleaseItems();
    if (olRecordID != 0) {
        dbglog(0, "CKezAspDB::InitializeItem::GetItemFromOID(0x%08x)", olRecordID);
    } else {
        dbglog(0, "CKezAspDB::InitializeItem::CreateItem");
    }

    HRESULT hr = S_OK;
    const ItemType* type = ItemTypeOf(dwDBType);
    if (type == &kContactType) {
        dbglog(0, "CKezAspDB::InitializeItem::CEDB_DBTYPE_CONTACTS");
        hr = LoadItem(m_polApp, olRecordID, *type, IID_IContact, &m_pContact);
    } else if (type == &kAppointmentType) {
        dbglog(0, "CKezAspDB::InitializeItem::CEDB_DBTYPE_CALENDAR");
        hr = LoadItem(m_polApp, olRecordID, *type, IID_IAppointment, &m_pAppt);
        if (m_pAppt != nullptr) hr = m_pAppt->GetRecurrencePattern(&m_pRec);
    } else if (type == &kTaskType) {
        dbglog(0, "CKezAspDB::InitializeItem::CEDB_DBTYPE_TASKS");
        if (olRecordID == 0) dbglog(0, "CKezAspDB::InitializeItem::CreateItem(olTaskItem)");
        hr = LoadItem(m_polApp, olRecordID, *type, IID_ITask, &m_pTask);
        if (olRecordID == 0) dbglog(0, "CKezAspDB::InitializeItem::CreateItem(olTaskItem), hr=%d", hr);
        if (m_pTask != nullptr) hr = m_pTask->GetRecurrencePattern(&m_pRec);
    }
    if (m_pAppt != nullptr || m_pTask != nullptr) {
        if (m_pRec == nullptr) dbglog(0, "CKezAspDB::InitializeItem::GetRecurrancePattern failed");
    } else if (type == &kAppointmentType || type == &kTaskType) {
        std::memset(&m_recurrence, 0, sizeof(DWORD));  // the first word alone, on purpose
        m_recurrence.bRecurrFound = FALSE;
    }
    if (m_pRec == nullptr) m_recurrence.bRecurrFound = FALSE;
    dbglog(0, "hr = %i", hr);

    if (HasItem()) {
        dbglog(0, "CKezAspDB::InitializeItem:: OK -");
        return TRUE;
    }
    dbglog(0, "CKezAspDB::InitializeItem:: ERR: No Item created::hr=%i -", hr);
    dbglog(0, "CKezAspDB::InitializeItem:: ERR: No Item created::hr=0x%08x -", hr);
    return FALSE;
}
