// The session with the Pocket Outlook object model: it walks the items of one type, loads or makes one item, turns
// it into properties and texts, and saves it. The database objects own one session each for reading, writing and
// deleting.
//
// A session holds at most one item (appointment, task or contact) or one open collection. Every interface pointer
// and automation string in it is its own and is given back by ReleaseItems; only the application object is shared
// by all sessions. Types are named by the database type (24, 25, 26) or by the letter ('A', 'D', 'T') alike.
//
// The operations keep the order of their declaration: callers reach them through the table. No operation throws.
// Failures of Pocket Outlook are traced and end as FALSE, 0 or a null text.
#pragma once

#include <atomic>

#include <pimstore.h>

// The recurrence of the current item. Reading fills it from the item's pattern; when a record is written, the
// received properties fill it and Save applies it.
struct RecurrenceState {
    DATE RecurrenceStartDate;  // wall clock, as every DATE here; read from the pattern's start time
    DATE PatternStartDate;
    DATE RecurrenceEndDate;  // read from the pattern's end time; written as the pattern's end date
    DATE PatternEndDate;
    LONG Duration;        // minutes
    LONG Occurences;      // spelled as it is traced
    LONG RecurrenceType;  // OlRecurrenceType
    LONG DayOfMonth;
    LONG DayOfWeekMask;
    LONG Instance;
    LONG Interval;
    LONG MonthOfYear;
    BOOL bNoEndDate;
    BOOL bRecurrFound;  // the item recurs
};

class CCEPoom {
 public:
    CCEPoom();
    // Logs the shared application off and gives one reference of it back, also while other sessions still use it.
    virtual ~CCEPoom();

    // The shared application, null before the first Logon. The reference stays with the sessions.
    virtual IPOutlookApp2* GetApplication();
    virtual BOOL HasItem();
    // Gives back the current item, its recurrence and texts, and also the open collection; the type stays.
    virtual BOOL ReleaseItems();
    // Loads the item `olRecordID` of the type, or makes a new, unsaved one where it is 0. `oid` is only traced.
    virtual BOOL InitializeItem(CEOID oid, DWORD dwDBType, LONG olRecordID);

    // Texts of the current item. A getter's result is the caller's, to be freed with delete[]; it is null where
    // FALSE is returned.
    virtual BOOL GetRecipients(WCHAR** out);  // "name;address;name;address" of an appointment
    virtual BOOL SetRecipients(WCHAR* text);  // cuts `text` into tokens in place; " " removes all
    virtual BOOL GetRecurring();              // fills m_recurrence and both exception texts
    virtual BOOL GetCategories(WCHAR** out);
    virtual BOOL SetCategories(const WCHAR* text);
    virtual BOOL GetNote(WCHAR** out);
    virtual BOOL SetNote(const WCHAR* text);
    // `when` is wall clock time. The appointment's reminder number counts whole days times 60000.
    virtual BOOL GetReminder(BOOL* set, LONG* options, FILETIME* when);
    virtual BOOL SetReminder(BOOL set, LONG options, const FILETIME* when);

    // The dates of all exceptions, and the modified occurrences field by field. Takes every occurrence that it
    // could serialise off the device. Automation strings of the caller; a text already in `pList` is freed.
    virtual BOOL GetRecExceptionLst(BSTR* pList, BSTR* pModList);
    // Deletes the occurrences whose original dates `text` lists. The text is written to while it is read, and
    // left as it was. `property` is the received property that holds it.
    virtual BOOL SetRecExceptionLst(WCHAR* text, const CEPROPVAL* property);
    virtual BOOL SerializeApptItem(IAppointment* appointment, BSTR* pText);

    // Saves the current item with its recurrence and lets go of it. The result of the last attempt to save, 0 for
    // done; `pNewOid` gets the item's identifier and is left alone where no item is loaded.
    virtual HRESULT Save(CEOID* pNewOid);

    // Opens the collection of the type's default folder; `n` is only traced.
    virtual BOOL InitializeType(DWORD dwDBType, INT n);
    virtual INT GetRecordCount();
    virtual CEOID GetFirstID();
    virtual CEOID GetNextID();  // 0 at the end, and after a failure

    // Reads the catalogue properties of the current item, in the catalogue's order. `*pProps` is a block of the
    // process heap, which the caller frees with HeapFree; a picture in it is a blob of its own, freed with
    // LocalFree. `pcProps` (may be null) gets the number of properties. With `bConvert` the identifiers are those
    // of the packet and the picture is read; without it they are Pocket Outlook's.
    virtual BOOL GetProps(CEOID oid, DWORD dwType, CEPROPVAL** pProps, WORD* pcProps, BYTE bConvert);
    virtual BOOL Purge();  // deletes every item of the open collection
    virtual BOOL Logon();
    virtual BOOL Logoff();  // only lets go of the items; the application is logged off by the destructor

    CCEPoom(const CCEPoom&) = delete;
    CCEPoom& operator=(const CCEPoom&) = delete;

    static IPOutlookApp2* m_polApp;  // shared by all sessions, without a lock
    static LONG m_cInstances;        // living sessions

    IAppointment* m_pAppt;
    ITask* m_pTask;
    IContact* m_pContact;
    IRecurrencePattern* m_pRec;   // the pattern of the current appointment or task
    IRecipients* m_pRecipients;   // while recipients are read or written
    IRecipient* m_pRecipient;     // the one of them in work
    const CEPROPVAL* m_pExcList;  // the received exception list, the packet's; Save applies it and forgets it
    RecurrenceState m_recurrence;
    BSTR m_bstrExcList;     // "Exception List" of the current item
    BSTR m_bstrExcModList;  // "Exception Mod List" of the current item
    BSTR m_bstrApp;         // the application's, freed through it
    DWORD m_dwDBType;
    LONG m_iIndex;  // position of the next item to enumerate, from 1
    // Set while the collection is being opened. A polled flag and no lock: who waited long enough goes on without
    // it. Atomic only so that polling it from another thread is defined.
    std::atomic<BOOL> m_bInInitializeType;
    IFolder* m_pFolder;
    IPOutlookItemCollection* m_pCollection;
};
