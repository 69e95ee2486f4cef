// A folder stands for one synchronised type: it knows the type's names, owns the type's database object and makes
// the object handler through which the engine moves records.
#pragma once

#include <cesync.h>

#include "database/kez_asp_db.h"

class CBaseFolder {
 public:
    CBaseFolder();
    CBaseFolder(const CBaseFolder&) = delete;
    CBaseFolder& operator=(const CBaseFolder&) = delete;

    // Virtual operations: their order is a contract between the layers.

    // Slot 0. Deletes the database object.
    virtual ~CBaseFolder();
    // Slot 1. Makes the type's database object; TRUE where memory sufficed. One that is there is overwritten.
    virtual BOOL CreateDB(UINT partnerIndex) = 0;
    // Slots 2 and 3. Constant texts.
    virtual LPCWSTR GetObjTypeName() = 0;
    virtual LPCWSTR GetDataFileName() = 0;
    // Slot 4. Makes the database object and a handler for it, which the caller releases. `partnerBit` 1 or 2 chooses
    // the partnership, 0 keeps the one of the call before. FALSE without a place for the handler or without memory.
    virtual BOOL Initialize(IReplObjHandler** handler, UINT partnerBit);
    // Slot 5. The database object stays; TRUE.
    virtual BOOL UnInitialize();
    // Slots 6, 8 and 9: the database object's answers. Initialize comes first.
    virtual BOOL GetLastDttm(FILETIME* out);
    // Slot 7. FALSE for a structure shorter than 780 bytes and for another type (compared without regard to case).
    virtual BOOL ObjectNotify(OBJNOTIFY* notify);
    virtual HRESULT FindObjects(FINDOBJINFO* info);
    virtual HRESULT GetObjTypeInfo(OBJTYPEINFO* info);
    // Slot 10. Purges the type for the codes 1 and 2; 0 for every other code.
    virtual HRESULT SyncData(SDREQUEST* request);
    // Slot 11. Closes the change table, which clears up behind this partner's own writes.
    virtual void EndSync();
    // Slot 12.
    virtual UINT GetPartnerIndex();

 protected:
    BOOL m_lastNotifyResult = FALSE;
    CKezAspDB* m_DB = nullptr;  // owned
    UINT m_partnerIndex = 0;
    HANDLE m_handle = nullptr;
};

// What tells one type's folder from another's.
struct FolderType {
    LPCWSTR objTypeName;
    LPCWSTR dataFileName;
    CKezAspDB* (*makeDatabase)(UINT partnerIndex);  // null where memory does not suffice
};

extern const FolderType kContactFolder;
extern const FolderType kTaskFolder;
extern const FolderType kAppointmentFolder;

class CKEZASPContactFolder : public CBaseFolder {
 public:
    explicit CKEZASPContactFolder(const FolderType& type) : m_type(type) {}
    BOOL CreateDB(UINT partnerIndex) override;
    LPCWSTR GetObjTypeName() override;
    LPCWSTR GetDataFileName() override;

 private:
    const FolderType& m_type;
};

// The partner index (0 or 1) that `partnerBit` chooses; bit 0 wins, and with neither bit it stays `current`.
UINT PartnerIndexOf(UINT partnerBit, UINT current);
