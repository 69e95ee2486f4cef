// CKezAspDB: change notifications, and the block of identifiers that answers them.
#include "database/kez_asp_db.h"
#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

// The change writer drops this file when it has written to a change table; its contents mean nothing.
constexpr WCHAR kTriggerFile[] = TEXT("KezChgFile.kez");
constexpr DWORD kSmallestBlock = 200;  // bytes
constexpr DWORD kBlockSpare = 50;      // bytes

// Where the identifiers of one notification go.
class NotifiedList {
 public:
    NotifiedList(LPBYTE block, DWORD bytes)
        : m_oids(reinterpret_cast<UINT*>(block)), m_room(block == nullptr ? 0 : bytes / sizeof(UINT)) {}
    bool HasRoom() const { return m_count < m_room; }
    void Append(CEOID oid) { m_oids[m_count++] = oid; }
    UINT Count() const { return m_count; }

 private:
    UINT* m_oids;
    DWORD m_room;
    UINT m_count = 0;
};

}  // namespace

LPBYTE CKezAspDB::GetObjectNotifyBlock(DWORD bytes) {
    dbglog(25, "GetObjectNotifyBlock()");
    if (m_notifyBlock != nullptr && m_notifyBlockSize >= bytes) return m_notifyBlock;

    FreeObjectNotifyBlock();
    const DWORD spare = bytes + kBlockSpare;
    const DWORD size = spare > kSmallestBlock ? spare : kSmallestBlock;
    dbglog(25, "GetObjectNotifyBlock() - making new size of %i", size);
    m_notifyBlock = static_cast<LPBYTE>(LocalAlloc(LMEM_ZEROINIT, size));
    m_notifyBlockSize = m_notifyBlock == nullptr ? 0 : size;
    return m_notifyBlock;
}

void CKezAspDB::FreeObjectNotifyBlock() {
    dbglog(25, "FreeObjectNotifyBlock()");
    if (m_notifyBlock != nullptr) LocalFree(m_notifyBlock);
    m_notifyBlock = nullptr;
    m_notifyBlockSize = 0;
}

BOOL CKezAspDB::ObjectNotify(OBJNOTIFY* notify) {
    if (m_inDelete) {
        dbglog(0, "CKezAspDB::ObjectNotify IN DELETE");
        return TRUE;
    }
    return ObjectNotify_WinMobile2005(notify);
}

BOOL CKezAspDB::ObjectNotify_WinMobile2005(OBJNOTIFY* notify) {
    dbglog(50, "CKezAspDB::ObjectNotify_WinMobile2005 +");
    if (!OpenDatabase()) {
        dbglog(0, "CKezAspDB::ObjectNotify_WinMobile2005 - OpenDatabase failed -");
        return FALSE;
    }

    bool isTrigger = false;
    if (notify->oidInfo.wObjType == OBJTYPE_FILE) {
        dbglog(25, "Filename: \"%S\"", notify->oidInfo.infFile.szFileName);
        if (wcsstr(notify->oidInfo.infFile.szFileName, kTriggerFile) != nullptr) {
            dbglogOBJNOTIFY(25, "WINMOBILE2005", notify);
            isTrigger = (notify->uFlags & ONF_CHANGED) != 0;
        }
    }
    if (!isTrigger) {
        dbglog(50, "CKezAspDB::ObjectNotify_WinMobile2005 - return FALSE -");
        return FALSE;
    }

    dbglog(25, "Detecting changes using Windows Mobile 2005 method");
    OpenDbDelta(1);
    const DWORD changeRecords = m_hDbDelta == INVALID_HANDLE_VALUE ? 0 : CountDeltaRecords();
    const LPBYTE block = GetObjectNotifyBlock(static_cast<DWORD>(sizeof(UINT)) * changeRecords);
    notify->poid = reinterpret_cast<UINT*>(block);

    // What finds no room in the block (there is none, or the change writer was at work meanwhile) keeps its change
    // record and is told with the next notification or listing.
    NotifiedList list(block, m_notifyBlockSize);
    // Loading an item for a transfer closes the session's collection; a notification can come at any time.
    if (m_cpRead != nullptr && m_cpRead->m_pCollection == nullptr)
        m_cpRead->InitializeType(static_cast<DWORD>(m_typeLetter), 0);
    for (CEOID oid = DBFirstOID(); oid != 0 && list.HasRoom(); oid = DBNextOID()) {
        if (DBOidCheckAndClear(oid)) list.Append(oid);
    }
    const UINT changed = list.Count();
    CEOID deleted = 0;
    for (BOOL first = TRUE; list.HasRoom() && DBGetDeletedAndClear(&deleted, first); first = FALSE) {
        list.Append(deleted);
    }

    notify->cOidChg = changed;
    notify->cOidDel = list.Count() - changed;
    CloseDbDelta();
    dbglog(50, "CKezAspDB::ObjectNotify_WinMobile2005::pNotify->cOidChg=%d", notify->cOidChg);
    dbglog(50, "CKezAspDB::ObjectNotify_WinMobile2005::pNotify->cOidDel=%d", notify->cOidDel);

    DeleteFileW(notify->oidInfo.infFile.szFileName);
    dbglog(50, "CKezAspDB::ObjectNotify_WinMobile2005 - OBJTYPE_FILE (special) -");
    return TRUE;
}
