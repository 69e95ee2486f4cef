// CKezAspDB: opening and closing the type's database in "\pim.vol".
#include <new>

#include "database/kez_asp_db.h"
#include "database/volume.h"
#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

constexpr WCHAR kPimVolume[] = TEXT("\\pim.vol");
constexpr INT kNameBytes = 512;

void MakeSession(CCEPoom** session) {
    if (*session == nullptr) *session = new (std::nothrow) CCEPoom;
}

HANDLE OpenByName(CEGUID* volume, CEOID* oid, LPCWSTR name, SORTORDERSPECEX* sort) {
    *oid = 0;  // anything else would be opened instead of the name
    return CeOpenDatabaseInSession(nullptr, volume, oid, const_cast<LPWSTR>(name), sort, 0, nullptr);
}

void ReadObjectInfo(CEGUID* volume, CEOID oid, CEOIDINFOEX* info) {
    info->wVersion = 2;
    info->wObjType = OBJTYPE_DATABASE;
    CeOidGetInfoEx2(volume, oid, info);
}

void DumpDatabaseInfo(const char* label, const CEOIDINFOEX& info) {
    dbglogObjType(50, label, info.wObjType);
    dbglog(50, "%s->dwDbaseType=%d", label, info.infDatabase.dwDbaseType);
    dbglog(50, "%s->dwNumRecords=%d", label, info.infDatabase.dwNumRecords);
    dbglog(50, "%s->ftLastModified=%s", label, dbglogFileTimeText(nullptr, &info.infDatabase.ftLastModified));
}

}  // namespace

void CKezAspDB::GetDBVolGuid() {
    if (IsMounted(m_guidPim)) {
        dbglog(25, "GetDBVolGuid() retrieved existing guid value");
        return;
    }
    if (CeMountDBVolEx(&m_guidPim, const_cast<LPWSTR>(kPimVolume), nullptr, OPEN_EXISTING)) {
        dbglog(25, "GetDBVolGuid() retrieved guid: %i.%i.%i.%i", m_guidPim.Data1, m_guidPim.Data2, m_guidPim.Data3,
               m_guidPim.Data4);
    } else {
        dbglog(25, "GetDBVolGuid() failed - %i", GetLastError());
    }
}

BOOL CKezAspDB::OpenDatabase() {
    if (m_hDatabase != INVALID_HANDLE_VALUE) return TRUE;

    if (m_usePoom) {
        MakeSession(&m_cpDelete);
        MakeSession(&m_cpWrite);
        MakeSession(&m_cpRead);
    }

    const LPCWSTR name = GetDBName();
    char narrowName[kNameBytes] = {};
    WideCharToMultiByte(CP_ACP, 0, name, -1, narrowName, kNameBytes - 1, nullptr, nullptr);
    dbglog(50, "CKezAspDB::OpenDatabase \"%s\" +", narrowName);

    CREATE_INVALIDGUID(&m_guidPim);
    dbglog(50, "Using EDB");
    dbglog(50, "CKezAspDB::OpenDatabase Retrieving volumn GUID for pim.vol");
    GetDBVolGuid();

    // A database opens only with a sort order that it has, so the first handle serves to learn which.
    const HANDLE unsorted = OpenByName(&m_guidPim, &m_oidDatabase, name, nullptr);
    ReadObjectInfo(&m_guidPim, m_oidDatabase, &m_ceodinfo_db);
    if (unsorted != INVALID_HANDLE_VALUE) CloseHandle(unsorted);

    m_hDatabase = OpenByName(&m_guidPim, &m_oidDatabase, name, &m_ceodinfo_db.infDatabase.rgSortSpecs[0]);
    if (m_hDatabase == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        dbglog(25, "LastError = %i", error);
        if (error == ERROR_NOT_ENOUGH_MEMORY) {
            dbglog(0, "CKezAspDB::OpenDatabase::ERROR_NOT_ENOUGH_MEMORY -");
        } else {
            dbglogW(0, TEXT("CKezAspDB::OpenDatabase::Database \"%s\" doesn't exist -"), name);
        }
        return FALSE;
    }

    dbglog(50, "CKezAspDB::OpenDatabase::OPEN! hDatabase=%lu", HandleNumber(m_hDatabase));
    ReadObjectInfo(&m_guidPim, m_oidDatabase, &m_ceodinfo_db);
    DumpDatabaseInfo("CKezAspDB::OpenDatabase::m_ceodinfo_db", m_ceodinfo_db);
    m_deltaFlagPropId = GetDeltaPropId();
    dbglog(50, "CKezAspDB::OpenDatabase -");
    return TRUE;
}

BOOL CKezAspDB::CloseDatabase() {
    if (m_hDatabase != INVALID_HANDLE_VALUE) {
        dbglog(50, "CKezAspDB::Close database! hDatabase=%lu", HandleNumber(m_hDatabase));
        CeFlushDBVol(&m_guidPim);
        CloseHandle(m_hDatabase);
        m_hDatabase = INVALID_HANDLE_VALUE;
        UnmountVolume(&m_guidPim);
    }
    if (m_hDbDelta != INVALID_HANDLE_VALUE) {
        dbglog(50, "CKezAspDB::Close Delta database! hDatabase=%lu", HandleNumber(m_hDbDelta));
        CloseDbDelta();
        UnmountVolume(&m_guidDelta);
    }
    m_inDelete = FALSE;
    m_oidDatabase = 0;
    m_oidCurrent = 0;
    return TRUE;
}

BOOL CKezAspDB::GotoPrimaryKey(CEOID oid) {
    dbglog(50, "CKezAspDB::GotoPrimaryKey(%lu) +", oid);
    if (!OpenDatabase()) {
        dbglog(0, "CKezAspDB::GotoPrimaryKey:: - (db not open) FALSE -");
        return FALSE;
    }
    if (oid == 0) {
        dbglog(0, "CKezAspDB::GotoPrimaryKey:: - (oid == 0) FALSE -");
        return FALSE;
    }
    return TRUE;  // whether the record is there shows when its item is loaded
}

BOOL CKezAspDB::GetLastDttm(FILETIME* out) {
    *out = m_ceodinfo_db.infDatabase.ftLastModified;
    dbglog(50, "CKezAspDB::GetLastDttm = %s", dbglogFileTimeText(nullptr, out));
    return TRUE;
}
