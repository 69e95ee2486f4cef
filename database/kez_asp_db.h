// The database object of one synchronised type: the device's records of that type, and what of them has changed
// for one partnership.
//
// It opens the type's database in "\pim.vol" (for its identifier, count, sort order and time of change), reads,
// writes and deletes records through three Pocket Outlook sessions of its own, and reads and clears the type's
// change table in "\KezDBNotify.vol". Every public operation opens what it needs; callers never have to.
//
// One thread at a time. Operations report failure by their result and by the trace, never by an exception.
//
// The operations stand in several files: open.cpp (opening and closing), change_table.cpp, enumerate.cpp,
// notification.cpp and records.cpp.
#pragma once

#include <cesync.h>
#include <windbase.h>
#include <windows.h>

#include "packet/record_packet.h"
#include "poom/ce_poom.h"

class CKezAspDB {
 public:
    // `partnerId` is 0 or 1, the index of the partnership. Opens nothing.
    explicit CKezAspDB(LONG partnerId);
    CKezAspDB(const CKezAspDB&) = delete;
    CKezAspDB& operator=(const CKezAspDB&) = delete;

    // Virtual operations: their order is a contract between the layers.

    // Slot 0. Gives back the notify block and the sessions, and closes everything (which runs CleanupIds where the
    // change table is open).
    virtual ~CKezAspDB();
    // Slot 1. Writes a received packet into record `oid`, 0 for a new one. The record's identifier, 0 on failure.
    virtual CEOID DBWritePacket(CEOID oid, CKezCEPacket& packet);
    // Slot 2. Fills `packet` from record `oid`. The identifier in the packet: 0 for a record that could not be read.
    // Reading a recurring item takes its modified occurrences off the device; the packet then is their only copy.
    virtual CEOID DBFillPacket(CEOID oid, CKezCEPacket& packet);
    // Slots 3 and 4. Opening an open database does nothing. Closing also closes the change table; always TRUE.
    virtual BOOL OpenDatabase();
    virtual BOOL CloseDatabase();
    // Slots 5 and 6. The first and the next identifier of the type; 0 at the end.
    virtual CEOID DBFirstOID();
    virtual CEOID DBNextOID();
    // Slot 7. Deletes record `oid`. 0 where it is gone or could not be loaded, E_UNEXPECTED where the database does
    // not open, else what the item answered. `reserved` is not read.
    virtual HRESULT DBDelete(CEOID oid, DWORD reserved);
    // Slot 8. The first element of `props` with exactly this identifier, or null.
    virtual CEPROPVAL* FindPropVal(CEPROPID propid, CEPROPVAL* props, LONG count);
    // Slot 9. TRUE when `oid` was added or changed for this partner; the state is cleared in the same step.
    virtual BOOL DBOidCheckAndClear(CEOID oid);
    // Slot 10. Finds the first (`first`) or the next deleted record and removes its change record, for both
    // partners. `oid` may be null; it receives the identifier, or 0 where none is left, and stays untouched where
    // there was no record to move to.
    virtual BOOL DBGetDeletedAndClear(CEOID* oid, BOOL first);
    // Slot 11. Lists the type's identifiers for this partner: cUnChg unchanged ones from the front of poid, cChg
    // changed ones at its back, latest first, zeros between them where fewer were found than counted. The list is
    // local-heap memory of this object's, freed by the call with FO_DONE_ONE_VOL. Always 0.
    virtual HRESULT FindObjects(FINDOBJINFO* info);
    // Slot 12. The time of the last change, as the database information held it when the database was opened.
    virtual BOOL GetLastDttm(FILETIME* out);
    // Slot 13. Count, a nominal size (1000 bytes a record) and a time of change that always is now.
    virtual BOOL GetObjTypeInfo(OBJTYPEINFO* info);
    // Slots 14 and 15. TRUE when the notification was taken. While a deletion runs, every notification is, with
    // nothing filled. The identifiers stay this object's memory, good until its next notification.
    virtual BOOL ObjectNotify(OBJNOTIFY* notify);
    virtual BOOL ObjectNotify_WinMobile2005(OBJNOTIFY* notify);
    // Slot 16. The property of a change record that holds this partner's state.
    virtual CEPROPID GetDeltaPropId();
    // Slot 17. Deletes every record of the type. 0 done, E_FAIL where the type could not be emptied.
    virtual HRESULT Purge();
    // Slot 18. Nothing to do; 0.
    virtual HRESULT Reset(REPLSETUP* setup);
    // Slots 19 and 20. Closing the change table first clears the change records of this object's own writes, which
    // takes 3 to 60 seconds: the change writer gets that time to write them.
    virtual void CloseDbDelta();
    virtual void CleanupIds();
    // Slots 21 and 22.
    virtual CEOID GetDbOid();
    virtual HANDLE GetDbHandle();
    // Slot 23. TRUE for every identifier but 0, where the database opens; whether the record is there shows later.
    virtual BOOL GotoPrimaryKey(CEOID oid);
    // Slot 24. Records are written through Pocket Outlook only: always 0.
    virtual CEOID DBWriteRecord(CEOID oid, WORD count, CEPROPVAL* props);
    // Slot 25. The fingerprint of the record as DBFillPacket reads it (with what that does to occurrences).
    virtual DWORD GetRecordCRC(CEOID oid);
    // Slot 26. Applies one received property to the item that `session` has loaded. The base applies what all types
    // share and answers TRUE: the property is left to the type. Subclasses write their type's properties.
    virtual BOOL PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session);
    // Slot 27. Writes the packet's properties through the write session; result as DBWritePacket.
    virtual CEOID DBWritePoom(CEOID oid, CKezCEPacket& packet);
    // Slot 28, the subclasses' own. The base answers for its type letter, for the time when the subclass is
    // destroyed already and the clean-up still reports by name.
    virtual LPCWSTR GetDBName();

    // Opens the change table on property `sortField` of its records (1, the identifier). Always TRUE: m_hDbDelta
    // tells whether it is open.
    BOOL OpenDbDelta(WORD sortField);
    // Sets this partner's state of `oid` to 0; opens the change table where it is closed. FALSE where `oid` has no
    // change record or the write failed.
    BOOL ClearDeltaEntry(CEOID oid);
    // A zero-filled block of at least `bytes` bytes that lives until a larger one is asked for; null without memory.
    LPBYTE GetObjectNotifyBlock(DWORD bytes);
    void FreeObjectNotifyBlock();

 protected:
    struct CleanupNode {
        CEOID oid;
        CleanupNode* next;
    };

    void GetDBVolGuid();
    void MountDeltaVolume();
    DWORD CountDeltaRecords();
    CEOID FindDeltaRecord(CEOID oid);
    CEPROPVAL* ReadDeltaRecord();
    LONG CountRecords();
    CEOID RememberCurrent(CEOID oid, const char* trace);
    DWORD ItemType() const;
    void AddItemTexts(CKezCEPacket& packet, DWORD type);
    void AddRecurrence(CKezCEPacket& packet);
    void AddAppointmentFields(CKezCEPacket& packet);
    void RememberOwnWrite(CEOID oid);

    HANDLE m_hDatabase = INVALID_HANDLE_VALUE;
    CEOID m_oidDatabase = 0;
    CEOID m_oidCurrent = 0;          // what DBFirstOID or DBNextOID found last
    CEOIDINFOEX m_ceodinfo_db = {};  // as of the last open
    CEOIDINFOEX m_ceodinfo_delta = {};
    LONG m_PartnerID;
    CEGUID m_guidPim = {};  // all 0 or all ones: not mounted
    CEPROPID m_deltaFlagPropId = 0;
    CCEPoom* m_cpWrite = nullptr;
    CCEPoom* m_cpRead = nullptr;
    CCEPoom* m_cpDelete = nullptr;
    char m_typeLetter = 0;  // 'A', 'T', 'D' or 'G', set by the subclass
    BOOL m_usePoom = TRUE;
    BOOL m_inDelete = FALSE;
    CEGUID m_guidDelta = {};
    CEOID m_oidDelta = 0;
    HANDLE m_hDbDelta = INVALID_HANDLE_VALUE;
    LPBYTE m_notifyBlock = nullptr;        // local heap, owned
    DWORD m_notifyBlockSize = 0;           // bytes
    CleanupNode* m_cleanupList = nullptr;  // owned, newest first
};
