// The store: which folder a call is for, status codes, purge requests, the mutex.
#include "provider/store.h"

#include <new>

#include "database/kez_asp_db_categories.h"
#include "trace/trace_log.h"

namespace {

constexpr WCHAR kLogMarker[] = TEXT("\\KezLog.ini");
constexpr LONG kMostDetailedLevel = 100;
constexpr WCHAR kMutexName[] = TEXT("KEZDBNotify");
constexpr DWORD kMutexWait = 5000;  // milliseconds

constexpr UINT kPurgeAll = 1;
constexpr UINT kPurgeType = 2;
constexpr UINT kPurgeCategories = 8;

// Shared with the other processes that use the change tables.
HANDLE g_hMutex = INVALID_HANDLE_VALUE;

struct StatusText {
    UINT code;
    LONG level;
    const char* text;
};
constexpr StatusText kStatusTexts[] = {
    {RSC_BEGIN_SYNC, 50, "CKEZASPContactStore::ReportStatus RSC_BEGIN_SYNC"},
    {RSC_END_SYNC, 50, "CKEZASPContactStore::ReportStatus RSC_END_SYNC"},
    {RSC_BEGIN_CHECK, 50, "CKEZASPContactStore::ReportStatus RSC_BEGIN_CHECK"},
    {RSC_END_CHECK, 50, "CKEZASPContactStore::ReportStatus RSC_END_CHECK"},
    {RSC_DATE_CHANGED, 50, "CKEZASPContactStore::ReportStatus RSC_DATE_CHANGED"},
    {RSC_RELEASE, 50, "CKEZASPContactStore::ReportStatus RSC_RELEASE"},
    {RSC_REMOTE_SYNC, 50, "CKEZASPContactStore::ReportStatus RSC_REMOTE_SYNC"},
    {RSC_INTERRUPT, 50, "CKEZASPContactStore::ReportStatus RSC_INTERRUPT"},
    {RSC_BEGIN_SYNC_OBJ, 50, "CKEZASPContactStore::ReportStatus RSC_BEGIN_SYNC_OBJ"},
    {RSC_END_SYNC_OBJ, 50, "CKEZASPContactStore::ReportStatus RSC_END_SYNC_OBJ"},
    {RSC_OBJ_TYPE_ENABLED, 50, "CKEZASPContactStore::ReportStatus RSC_OBJ_TYPE_ENABLED"},
    {RSC_OBJ_TYPE_DISABLED, 50, "CKEZASPContactStore::ReportStatus RSC_OBJ_TYPE_DISABLED"},
    {RSC_BEGIN_BATCH_WRITE, 50, "CKEZASPContactStore::ReportStatus RSC_BEGIN_BATCH_WRITE (start transaction)"},
    {RSC_END_BATCH_WRITE, 50, "CKEZASPContactStore::ReportStatus RSC_END_BATCH_WRITE (commit transaction)"},
    {RSC_CONNECTION_CHG, 50, "CKEZASPContactStore::ReportStatus RSC_CONNECTION_CHG"},
    {RSC_WRITE_OBJ_FAILED, 0, "CKEZASPContactStore::ReportStatus RSC_WRITE_OBJ_FAILED"},
    {RSC_DELETE_OBJ_FAILED, 0, "CKEZASPContactStore::ReportStatus RSC_DELETE_OBJ_FAILED"},
};

void TraceStatus(UINT code) {
    for (const StatusText& row : kStatusTexts) {
        if (row.code == code) {
            dbglog(row.level, "%s", row.text);
            return;
        }
    }
    dbglog(50, "CKEZASPContactStore::ReportStatus UNTRAPPED uStatus=0x%x", code);
}

void GiveMutexBack() {
    // The handle stays open, on purpose: the mutex lives as long as this process.
    ReleaseMutex(g_hMutex);
    g_hMutex = INVALID_HANDLE_VALUE;
}

}  // namespace

CKEZASPContactStore::CKEZASPContactStore() {
    const HANDLE marker = CreateFileW(kLogMarker, 0, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (marker != INVALID_HANDLE_VALUE) {
        dbglogSetLevel(kMostDetailedLevel);
        CloseHandle(marker);
    }
    dbglog(50, "CKEZASPContactStore::CKEZASPContactStore");
    m_folders.fill(nullptr);
    m_folders[0] = new (std::nothrow) CKEZASPContactFolder(kContactFolder);
    m_folders[1] = new (std::nothrow) CKEZASPContactFolder(kTaskFolder);
    m_folders[2] = new (std::nothrow) CKEZASPContactFolder(kAppointmentFolder);
}

CKEZASPContactStore::~CKEZASPContactStore() {
    dbglog(50, "CKEZASPContactStore::~CKEZASPContactStore");
    Cleanup();
    if (g_hMutex != INVALID_HANDLE_VALUE) {
        dbglog(50, "Releasing Mutex");
        GiveMutexBack();
    }
    dbglogClose();
}

BOOL CKEZASPContactStore::CheckSetMutex() {
    if (g_hMutex != INVALID_HANDLE_VALUE) return TRUE;
    dbglog(25, "CheckSetMutex()");
    g_hMutex = CreateMutexW(nullptr, FALSE, kMutexName);
    return WaitForSingleObject(g_hMutex, kMutexWait) != WAIT_TIMEOUT;
}

void CKEZASPContactStore::Cleanup() {
    dbglog(25, "CKEZASPContactStore::Cleanup()+");
    for (CBaseFolder*& folder : m_folders) {
        if (folder == nullptr) continue;
        dbglog(25, "Deleting folder");
        delete folder;
        folder = nullptr;
    }
    dbglog(25, "CKEZASPContactStore::Cleanup()-");
}

CBaseFolder* CKEZASPContactStore::FindFolder(LPCWSTR type) {
    for (CBaseFolder* folder : m_folders) {
        if (wcscmp(folder->GetObjTypeName(), type) == 0) return folder;
    }
    return nullptr;
}

BOOL CKEZASPContactStore::InitObjType(LPWSTR type, IReplObjHandler** handler, UINT partnerBit) {
    dbglog(50, "CKEZASPContactStore::InitObjType+");
    m_partnerIndex = PartnerIndexOf(partnerBit, m_partnerIndex);
    BOOL result = TRUE;
    if (type != nullptr) {
        if (handler != nullptr) *handler = nullptr;
        CBaseFolder* folder = FindFolder(type);
        result = folder != nullptr ? folder->Initialize(handler, partnerBit) : FALSE;
    } else {
        dbglog(50, "Uninitializing since lpszObjType is NULL");
        for (CBaseFolder* folder : m_folders) {
            if (!folder->UnInitialize()) result = FALSE;
        }
    }
    dbglog(50, "CKEZASPContactStore::InitObjType::%d-", result);
    return result;
}

BOOL CKEZASPContactStore::ObjectNotify(OBJNOTIFY* notify) {
    dbglog(25, "ObjectNotify()");
    if (notify == nullptr) {
        dbglog(25, "ObjectNotify() - pNotify is NULL");
        return FALSE;
    }
    // A wait that timed out does not stop the notification.
    if (g_hMutex == INVALID_HANDLE_VALUE) CheckSetMutex();
    BOOL result = FALSE;
    CBaseFolder* folder = FindFolder(notify->szObjType);
    if (folder != nullptr) {
        result = folder->ObjectNotify(notify);
    } else {
        dbglog(25, "ObjectNotify() - pFolder is NULL");
    }
    GiveMutexBack();
    return result;
}

HRESULT CKEZASPContactStore::GetObjTypeInfo(OBJTYPEINFO* info) {
    if (info == nullptr) return 0;
    CBaseFolder* folder = FindFolder(info->szObjType);
    return folder != nullptr ? folder->GetObjTypeInfo(info) : 0;
}

BOOL CKEZASPContactStore::ReportStatus(LPWSTR, UINT code, UINT) {
    TraceStatus(code);
    if (code == RSC_END_SYNC) {
        for (CBaseFolder* folder : m_folders) folder->EndSync();
    }
    return TRUE;
}

HRESULT CKEZASPContactStore::FindObjects(FINDOBJINFO* info) {
    if (info == nullptr) {
        dbglog(25, "FindObjects() - pFindObjInfo is NULL");
        return 0;
    }
    CBaseFolder* folder = FindFolder(info->szObjType);
    if (folder == nullptr) {
        dbglog(25, "FindObjects() - pFolder is NULL");
        return 0;
    }
    return folder->FindObjects(info);
}

HRESULT CKEZASPContactStore::SyncData(SDREQUEST* request) {
    HRESULT hr = S_OK;
    dbglog(0, "CKEZASPContactStore::SyncData +");
    switch (request->uCode) {
        case kPurgeAll:
            dbglog(0, "CKEZASPContactStore::SyncData::Purge::All+");
            request->uCode = kPurgeType;
            for (CBaseFolder* folder : m_folders) hr = folder->SyncData(request);
            dbglog(0, "CKEZASPContactStore::SyncData::Purge::All-");
            hr = PurgeCategories(hr);
            break;
        case kPurgeType: {
            dbglog(0, "CKEZASPContactStore::SyncData::Purge::Conduit+");
            CBaseFolder* folder = FindFolder(request->szObjType);
            if (folder != nullptr) hr = folder->SyncData(request);
            dbglog(0, "CKEZASPContactStore::SyncData::Purge::Conduit-");
            break;
        }
        case kPurgeCategories:
            hr = PurgeCategories(hr);
            break;
        default:
            break;
    }
    dbglog(0, "CKEZASPContactStore::SyncData -");
    return hr;
}

// The result of the purge, or `before` where there was no memory for it.
HRESULT CKEZASPContactStore::PurgeCategories(HRESULT before) {
    dbglog(0, "CKEZASPContactStore::SyncData::Purge::Category+");
    HRESULT hr = before;
    CKezAspDB* categories = new (std::nothrow) CKezAspDBCategories(static_cast<LONG>(m_partnerIndex));
    if (categories != nullptr) {
        hr = categories->Purge();
        categories->CloseDatabase();
        delete categories;
    }
    dbglog(0, "CKEZASPContactStore::SyncData::Purge::Category-");
    return hr;
}
