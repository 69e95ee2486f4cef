// The store: the one object behind the six exported functions. It owns the three folders, finds the one that a call
// names by its object type name, and serialises notifications by a mutex named on the whole device.
//
// The engine calls from one thread at a time. No exception leaves an operation.
#pragma once

#include <array>

#include <cesync.h>

#include "provider/folder.h"

class CKEZASPContactStore {
 public:
    // Sets the log level to 100 where the file "\KezLog.ini" is there, and makes the folders.
    CKEZASPContactStore();
    // Deletes the folders and closes the debug log.
    ~CKEZASPContactStore();
    CKEZASPContactStore(const CKEZASPContactStore&) = delete;
    CKEZASPContactStore& operator=(const CKEZASPContactStore&) = delete;

    // Takes the mutex, waiting 5 seconds at most, unless it is held already. FALSE only where the wait timed out.
    BOOL CheckSetMutex();
    void Cleanup();

    // The exports, by the same names; a missing argument or an unknown type is FALSE or 0. A null `type` shuts the
    // folders down.
    BOOL InitObjType(LPWSTR type, IReplObjHandler** handler, UINT partnerBit);
    BOOL ObjectNotify(OBJNOTIFY* notify);
    HRESULT GetObjTypeInfo(OBJTYPEINFO* info);
    BOOL ReportStatus(LPWSTR type, UINT code, UINT parameter);
    HRESULT FindObjects(FINDOBJINFO* info);
    // Code 1 purges every type and the categories (and leaves 2 in the caller's request), 2 one type, 8 the
    // categories.
    HRESULT SyncData(SDREQUEST* request);

 protected:
    static constexpr std::size_t kFolderCount = 3;

    // Compares exactly, unlike the folder itself; an empty slot is not looked for, on purpose.
    CBaseFolder* FindFolder(LPCWSTR type);
    HRESULT PurgeCategories(HRESULT before);

    std::array<CBaseFolder*, kFolderCount> m_folders;  // contacts, tasks, appointments; owned
    UINT m_partnerIndex = 0;
};
