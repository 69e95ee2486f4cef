// The folders: what the engine asks of one synchronised type.
#include "provider/folder.h"

#include <new>

#include "database/kez_asp_db_appt.h"
#include "database/kez_asp_db_contact.h"
#include "database/kez_asp_db_task.h"
#include "provider/object_handler.h"
#include "trace/trace_log.h"

namespace {

constexpr UINT kNotifySize = 780;  // the structure with both volume fields, as the device lays it out
constexpr UINT kPurgeAll = 1;
constexpr UINT kPurgeType = 2;

template <class Database>
CKezAspDB* Make(UINT partnerIndex) {
    return new (std::nothrow) Database(static_cast<LONG>(partnerIndex));
}

}  // namespace

const FolderType kContactFolder = {TEXT("KEZContact"), TEXT("\\kezcontact.dat"), Make<CKezAspDBContact>};
const FolderType kTaskFolder = {TEXT("KEZTask"), TEXT("\\keztask.dat"), Make<CKezAspDBTask>};
const FolderType kAppointmentFolder = {TEXT("KEZAppointment"), TEXT("\\kezcal.dat"), Make<CKezAspDBAppt>};

UINT PartnerIndexOf(UINT partnerBit, UINT current) {
    if (partnerBit & 1) return 0;
    if (partnerBit & 2) return 1;
    return current;
}

CBaseFolder::CBaseFolder() {
    dbglog(25, "CBaseFolder::CBaseFolder()+");
    dbglog(25, "CBaseFolder::CBaseFolder()-");
}

CBaseFolder::~CBaseFolder() {
    dbglog(25, "CBaseFolder::~CBaseFolder()+");
    delete m_DB;
    m_DB = nullptr;
    dbglog(25, "CBaseFolder::~CBaseFolder()-");
}

BOOL CBaseFolder::Initialize(IReplObjHandler** handler, UINT partnerBit) {
    dbglog(50, "CKEZASPContactFolder::Initialize +");
    if (handler == nullptr) {
        dbglog(0, "CKEZASPContactFolder::Initialize - ERR: No ppObjHandler -");
        return FALSE;
    }
    m_partnerIndex = PartnerIndexOf(partnerBit, m_partnerIndex);
    CreateDB(m_partnerIndex);
    if (m_DB == nullptr) {
        dbglog(0, "CKEZASPContactFolder::Initialize - ERR: InitializeDB failed! -");
        return FALSE;
    }
    *handler = new (std::nothrow) CKEZASPContactObjHandler(this, m_DB);
    if (*handler == nullptr) {
        dbglog(0, "CKEZASPContactFolder::Initialize - ERR: ObjectHanlder Create Failed! -");
        return FALSE;
    }
    dbglog(50, "CKEZASPContactFolder::Initialize -");
    return TRUE;
}

BOOL CBaseFolder::UnInitialize() {
    dbglog(50, "CBaseFolder::UnInitialize");
    if (m_handle != nullptr) {
        CloseHandle(m_handle);
        m_handle = nullptr;
    }
    return TRUE;
}

BOOL CBaseFolder::GetLastDttm(FILETIME* out) { return m_DB->GetLastDttm(out); }

BOOL CBaseFolder::ObjectNotify(OBJNOTIFY* notify) {
    dbglog(50, "CBaseFolder::ObjectNotify (oid=%lu, wObjType=%d, UFlags=0x%0x)", notify->oidObject,
           notify->oidInfo.wObjType, notify->uFlags);
    if (notify->cbStruct < kNotifySize || _wcsicmp(GetObjTypeName(), notify->szObjType) != 0) return FALSE;
    m_lastNotifyResult = m_DB->ObjectNotify(notify);
    return m_lastNotifyResult;
}

HRESULT CBaseFolder::FindObjects(FINDOBJINFO* info) { return m_DB->FindObjects(info); }

HRESULT CBaseFolder::GetObjTypeInfo(OBJTYPEINFO* info) { return m_DB->GetObjTypeInfo(info); }

HRESULT CBaseFolder::SyncData(SDREQUEST* request) {
    dbglog(50, "CBaseFolder::SyncData +");
    HRESULT hr = S_OK;
    if ((request->uCode == kPurgeAll || request->uCode == kPurgeType) && m_DB != nullptr) hr = m_DB->Purge();
    // The text is the same where the database was there, on purpose.
    dbglog(50, "CBaseFolder::SyncData (m_DB == NULL) -");
    return hr;
}

void CBaseFolder::EndSync() {
    if (m_DB != nullptr) m_DB->CloseDbDelta();
}

UINT CBaseFolder::GetPartnerIndex() { return m_partnerIndex; }

BOOL CKEZASPContactFolder::CreateDB(UINT partnerIndex) {
    // The database object of the call before is overwritten and not given back, on purpose.
    m_DB = m_type.makeDatabase(partnerIndex);
    return m_DB != nullptr;
}

LPCWSTR CKEZASPContactFolder::GetObjTypeName() { return m_type.objTypeName; }

LPCWSTR CKEZASPContactFolder::GetDataFileName() { return m_type.dataFileName; }
