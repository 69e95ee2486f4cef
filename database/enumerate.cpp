// CKezAspDB: which records there are, and which of them changed for this partner.
#include "database/kez_asp_db.h"
#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

constexpr UINT kNominalRecordSize = 1000;  // bytes; what a record really takes is not known

}  // namespace

CEOID CKezAspDB::RememberCurrent(CEOID oid, const char* trace) {
    m_oidCurrent = oid;
    dbglog(50, trace, oid);
    return oid;
}

CEOID CKezAspDB::DBFirstOID() {
    if (!OpenDatabase() || m_cpRead == nullptr) return 0;
    return RememberCurrent(m_cpRead->GetFirstID(), "CKezAspDB::DBFirstOID oid=%d");
}

CEOID CKezAspDB::DBNextOID() {
    if (!OpenDatabase() || m_cpRead == nullptr) return 0;
    return RememberCurrent(m_cpRead->GetNextID(), "CKezAspDB::DBNextOID oid=%d");
}

// Opens the collection of this type's items and counts them; 0 without a session.
LONG CKezAspDB::CountRecords() {
    if (m_cpRead == nullptr) return 0;
    m_cpRead->InitializeType(static_cast<DWORD>(m_typeLetter), 0);
    dbglog(25, "InitializeType() done");
    const LONG count = m_cpRead->GetRecordCount();
    dbglog(25, "GetRecordCount() done (%i records)", count);
    return count;
}

HRESULT CKezAspDB::FindObjects(FINDOBJINFO* info) {
    dbglog(50, "CKezAspDB::FindObjects +");
    if (info->uFlags & FO_DONE_ONE_VOL) {
        if (info->poid != nullptr) {
            LocalFree(info->poid);
            info->poid = nullptr;
        }
        dbglog(50, "CKezAspDB::FindObjects - FO_DONE_ONE_VOL -");
        return NOERROR;
    }

    dbglogFINDOBJINFO(50, "CKezAspDB::FindObjects::pFindObjInfo", info);
    CloseDatabase();
    if (!OpenDatabase()) {
        dbglog(0, "CKezAspDB::FindObjects - OpenDatabase Failed -");
        return NOERROR;
    }
    dbglog(25, "Opened database in FindObjects()");

    if (m_cpRead == nullptr) dbglog(25, "WARNING!! m_cpRead is NULL!");
    LONG count = CountRecords();
    if (count == 0) {
        dbglog(50, "RecordCount is 0, trying InitializeType() and GetRecordCount() again");
        count = CountRecords();
        dbglog(50, "Done retrying InitializeType() and GetRecordCount()");
        if (count == 0) {
            dbglog(50, "CKezAspDB::FindObjects - No records -");
            return NOERROR;
        }
    }

    dbglog(25, "OpenDbDelta()");
    if (!OpenDbDelta(1)) {
        dbglog(0, "OpenDbDelta() failed, returning TRUE -");
        return TRUE;
    }

    auto* list = static_cast<UINT*>(LocalAlloc(LPTR, static_cast<SIZE_T>(count) * sizeof(UINT)));
    const UINT room = list == nullptr ? 0 : static_cast<UINT>(count);
    UINT unchanged = 0;
    UINT changed = 0;
    for (CEOID oid = DBFirstOID(); oid != 0; oid = DBNextOID()) {
        // Records that came after the count find no room. Their change flags stay as they are, for the next time.
        if (unchanged + changed == room) {
            dbglog(0, "CKezAspDB::FindObjects - no room for oid=%d (%u records counted)", oid, count);
            break;
        }
        const BOOL isChanged = m_hDbDelta != INVALID_HANDLE_VALUE && DBOidCheckAndClear(oid);
        if (isChanged) {
            list[room - ++changed] = oid;
        } else {
            list[unchanged++] = oid;
        }
    }

    if (m_hDbDelta != INVALID_HANDLE_VALUE) {
        CloseDbDelta();
        dbglog(0, "CKezAspDB::FindObjects::Closed DbDelta");
    }
    info->poid = list;
    info->cChg = changed;
    info->cUnChg = unchanged;
    dbglog(50, "CKezAspDB::FindObjects::pFindObjInfo->cChg=%d", changed);
    dbglog(50, "CKezAspDB::FindObjects::pFindObjInfo->cUnChg=%d", unchanged);
    dbglog(50, "CKezAspDB::FindObjects - NOERROR -");
    return NOERROR;
}

BOOL CKezAspDB::GetObjTypeInfo(OBJTYPEINFO* info) {
    dbglog(50, "CKezAspDB::GetObjTypeInfo +");
    if (!OpenDatabase()) {
        dbglog(50, "CKezAspDB::GetObjTypeInfo - DB not open-");
        return FALSE;
    }
    if (m_cpRead != nullptr) m_cpRead->InitializeType(static_cast<DWORD>(m_typeLetter), 0);

    SYSTEMTIME now;
    GetSystemTime(&now);
    FILETIME modified = {};
    dbglog(25, "(pre-mod values: %i, %i)", modified.dwLowDateTime, modified.dwHighDateTime);
    SystemTimeToFileTime(&now, &modified);
    dbglog(25, "(mod values: %i, %i)", modified.dwLowDateTime, modified.dwHighDateTime);
    dbglog(25, "Using mod time: %04i-%02i-%02i %02i:%02i:%02i", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
           now.wSecond);

    wcscpy(info->szName, GetDBName());
    const LONG count = m_cpRead == nullptr ? 0 : m_cpRead->GetRecordCount();
    info->cObjects = static_cast<UINT>(count);
    info->cbAllObj = static_cast<UINT>(count) * kNominalRecordSize;
    info->ftLastModified = modified;
    dbglog(25, "GetObjTypeInfo() - Record Count = %i", count);
    dbglog(50, "CKezAspDB::GetObjTypeInfo -");
    return TRUE;
}
