// The property database of the platform: volumes, databases, records, sort orders, sessions, notifications.
//
// A volume is a file that holds databases; a database holds records; a record holds at most one value for each
// property identifier. Identifiers of records and databases share one number space in a volume and are never
// used twice. Structures carry version 2.
#pragma once

#include <windows.h>

using CEOID = DWORD;     // 0 is none
using CEPROPID = DWORD;  // property number in the high 16 bits, value type in the low 16

struct CEGUID {  // names a mounted volume
    DWORD Data1;
    DWORD Data2;
    DWORD Data3;
    DWORD Data4;
};

#define CREATE_SYSTEMGUID(guid) (std::memset((guid), 0, sizeof(CEGUID)))
#define CREATE_INVALIDGUID(guid) (std::memset((guid), 0xFF, sizeof(CEGUID)))
inline bool CheckSystemGuid(const CEGUID* g) { return (g->Data1 | g->Data2 | g->Data3 | g->Data4) == 0; }
inline bool CheckInvalidGuid(const CEGUID* g) { return (g->Data1 & g->Data2 & g->Data3 & g->Data4) == 0xFFFFFFFF; }
#define CHECK_SYSTEMGUID(guid) CheckSystemGuid(guid)
#define CHECK_INVALIDGUID(guid) CheckInvalidGuid(guid)

// --- Values -----------------------------------------------------------------------------------------------

inline constexpr WORD CEVT_I2 = 2;
inline constexpr WORD CEVT_I4 = 3;
inline constexpr WORD CEVT_R8 = 5;
inline constexpr WORD CEVT_BOOL = 11;
inline constexpr WORD CEVT_UI2 = 18;
inline constexpr WORD CEVT_UI4 = 19;
inline constexpr WORD CEVT_LPWSTR = 31;
inline constexpr WORD CEVT_FILETIME = 64;
inline constexpr WORD CEVT_BLOB = 65;
inline constexpr WORD CEVT_STREAM = 100;
inline constexpr WORD CEVT_RECID = 101;
inline constexpr WORD CEVT_AUTO_I4 = 102;
inline constexpr WORD CEVT_AUTO_I8 = 103;

#define TypeFromPropID(propid) LOWORD(propid)

struct CEBLOB {
    DWORD dwCount;
    LPBYTE lpb;
};

#pragma pack(push, 4)
union CEVALUNION {
    SHORT iVal;
    USHORT uiVal;
    LONG lVal;
    ULONG ulVal;
    FILETIME filetime;
    LPWSTR lpwstr;
    CEBLOB blob;
    BOOL boolVal;
    double dblVal;
};
#pragma pack(pop)

struct CEPROPVAL {
    CEPROPID propid;
    WORD wLenData;  // private to the engine; garbage on entry is tolerated
    WORD wFlags;    // CEDB_PROPNOTFOUND when read, CEDB_PROPDELETE when written
    CEVALUNION val;
};

inline constexpr WORD CEDB_PROPNOTFOUND = 0x0100;
inline constexpr WORD CEDB_PROPDELETE = 0x0200;

inline constexpr DWORD CEDB_MAXDATABLOCKSIZE = 4092;
inline constexpr DWORD CEDB_MAXPROPDATASIZE = 65471;
inline constexpr DWORD CEDB_MAXRECORDSIZE = 131072;

// --- Sort orders, databases, objects ----------------------------------------------------------------------

inline constexpr WORD CEDB_MAXSORTORDER = 32;
inline constexpr WORD CEDB_MAXSORTPROP = 16;
inline constexpr DWORD CEDB_MAXDBASENAMELEN = 128;

inline constexpr DWORD CEDB_SORT_DESCENDING = 0x001;
inline constexpr DWORD CEDB_SORT_CASEINSENSITIVE = 0x002;
inline constexpr DWORD CEDB_SORT_UNKNOWNFIRST = 0x004;
inline constexpr DWORD CEDB_SORT_GENERICORDER = 0x008;
inline constexpr DWORD CEDB_SORT_IGNORENONSPACE = 0x010;
inline constexpr DWORD CEDB_SORT_IGNORESYMBOLS = 0x020;
inline constexpr DWORD CEDB_SORT_IGNOREKANATYPE = 0x040;
inline constexpr DWORD CEDB_SORT_IGNOREWIDTH = 0x080;
inline constexpr DWORD CEDB_SORT_STRINGSORT = 0x100;
inline constexpr WORD CEDB_SORT_UNIQUE = 0x0200;
inline constexpr WORD CEDB_SORT_NONNULL = 0x0400;
inline constexpr WORD CEDB_SORT_NO_POSITIONAL = 0x0800;
inline constexpr WORD CEDB_SORT_PRIMARYKEY = 0x1200;

struct SORTORDERSPECEX {
    WORD wVersion;  // 2
    WORD wNumProps;
    WORD wKeyFlags;
    WORD wReserved;
    CEPROPID rgPropID[CEDB_MAXSORTPROP];
    DWORD rgdwFlags[CEDB_MAXSORTPROP];
};

inline constexpr DWORD CEDB_VALIDNAME = 0x01;
inline constexpr DWORD CEDB_VALIDTYPE = 0x02;
inline constexpr DWORD CEDB_VALIDSORTSPEC = 0x04;
inline constexpr DWORD CEDB_VALIDMODTIME = 0x08;
inline constexpr DWORD CEDB_VALIDDBFLAGS = 0x10;
inline constexpr DWORD CEDB_VALIDCREATE = 0x17;
inline constexpr DWORD CEDB_NOCOMPRESS = 0x10000;
inline constexpr DWORD CEDB_SYSTEMDB = 0x20000;

struct CEDBASEINFOEX {
    WORD wVersion;  // 2
    WORD wNumSortOrder;
    DWORD dwFlags;
    WCHAR szDbaseName[CEDB_MAXDBASENAMELEN];
    DWORD dwDbaseType;
    DWORD dwNumRecords;
    DWORD dwSize;
    FILETIME ftLastModified;
    SORTORDERSPECEX rgSortSpecs[CEDB_MAXSORTORDER];
};

struct CEFILEINFO {
    DWORD dwAttributes;
    CEOID oidParent;
    WCHAR szFileName[MAX_PATH];  // the full path from the root
    FILETIME ftLastChanged;
    DWORD dwLength;
};

struct CEDIRINFO {
    DWORD dwAttributes;
    CEOID oidParent;
    WCHAR szDirName[MAX_PATH];
};

struct CERECORDINFO {
    CEOID oidParent;  // the database that holds the record
};

struct SORTORDERSPEC {
    CEPROPID propid;
    DWORD dwFlags;
};

struct CEDBASEINFO {
    DWORD dwFlags;
    WCHAR szDbaseName[32];
    DWORD dwDbaseType;
    WORD wNumRecords;
    WORD wNumSortOrder;
    DWORD dwSize;
    FILETIME ftLastModified;
    SORTORDERSPEC rgSortSpecs[4];
};

inline constexpr WORD OBJTYPE_INVALID = 0;
inline constexpr WORD OBJTYPE_FILE = 1;
inline constexpr WORD OBJTYPE_DIRECTORY = 2;
inline constexpr WORD OBJTYPE_DATABASE = 3;
inline constexpr WORD OBJTYPE_RECORD = 4;
inline constexpr WORD OBJTYPE_EDB = 5;

struct CEOIDINFO {
    WORD wObjType;
    WORD wPad;
    union {
        CEFILEINFO infFile;
        CEDIRINFO infDirectory;
        CEDBASEINFO infDatabase;
        CERECORDINFO infRecord;
    };
};

struct CEOIDINFOEX {
    WORD wVersion;  // in: 2
    WORD wObjType;  // out
    union {
        CEFILEINFO infFile;
        CEDIRINFO infDirectory;
        CEDBASEINFOEX infDatabase;
        CERECORDINFO infRecord;
    };
};

struct CEPROPSPEC {
    WORD wVersion;  // 1
    CEPROPID propid;
    DWORD dwFlags;
    LPWSTR pwszPropName;
    DWORD cchPropName;
};
inline constexpr DWORD DB_PROP_NOTNULL = 1;
inline constexpr DWORD DB_PROP_COMPRESSED = 2;

struct CEVOLUMEOPTIONS {
    WORD wVersion;
    DWORD cbBufferPool;
    DWORD dwAutoShrinkPercent;
    DWORD dwFlushInterval;
    DWORD cMaxNotifyChanges;
    DWORD dwDefaultTimeout;  // milliseconds
    WCHAR wszPassword[41];
    DWORD dwFlags;
    DWORD cMaxSize;
};

struct BY_HANDLE_DB_INFORMATION {
    WORD wVersion;
    WORD wReserved;
    CEGUID guidVol;
    CEOID oidDbase;
    CEDBASEINFOEX infDatabase;
};

// --- Notifications ----------------------------------------------------------------------------------------

inline constexpr DWORD CEDB_EXNOTIFICATION = 1;
inline constexpr UINT WM_DBNOTIFICATION = 0x03FD;
inline constexpr UINT DB_CEOID_CREATED = 0x401;
inline constexpr UINT DB_CEOID_DATABASE_DELETED = 0x402;
inline constexpr UINT DB_CEOID_RECORD_DELETED = 0x403;
inline constexpr UINT DB_CEOID_FILE_DELETED = 0x404;
inline constexpr UINT DB_CEOID_DIRECTORY_DELETED = 0x405;
inline constexpr UINT DB_CEOID_CHANGED = 0x406;
inline constexpr UINT DB_CEVOL_CHANGED = 0x408;

struct CENOTIFYREQUEST {
    DWORD dwSize;
    HWND hwnd;  // the window that gets WM_DBNOTIFICATION; on the host, see control/notification_window.h
    DWORD dwFlags;
    HANDLE hHeap;
    DWORD dwParam;
};

struct CENOTIFICATION {
    DWORD dwSize;
    DWORD dwParam;
    UINT uType;
    CEGUID guid;
    CEOID oid;
    CEOID oidParent;
};

// --- Calls ------------------------------------------------------------------------------------------------

inline constexpr DWORD CEDB_AUTOINCREMENT = 1;
inline constexpr DWORD EDB_USE_CEDB_WRITE_SEMANTICS = 2;
inline constexpr DWORD CEDB_ALLOWREALLOC = 1;

inline constexpr DWORD CEDB_SEEK_CEOID = 0x001;
inline constexpr DWORD CEDB_SEEK_BEGINNING = 0x002;
inline constexpr DWORD CEDB_SEEK_END = 0x004;
inline constexpr DWORD CEDB_SEEK_CURRENT = 0x008;
inline constexpr DWORD CEDB_SEEK_VALUESMALLER = 0x010;
inline constexpr DWORD CEDB_SEEK_VALUEFIRSTEQUAL = 0x020;
inline constexpr DWORD CEDB_SEEK_VALUEGREATER = 0x040;
inline constexpr DWORD CEDB_SEEK_VALUENEXTEQUAL = 0x080;
inline constexpr DWORD CEDB_SEEK_PREFIX = 0x100;
inline constexpr DWORD CEDB_SEEK_VALUEGREATEROREQUAL = 0x200;
inline constexpr DWORD CEDB_SEEK_VALUESMALLEROREQUAL = 0x400;

inline constexpr DWORD CEDB_ISOLATION_READCOMMITTED = 1;
inline constexpr DWORD CEDB_ISOLATION_REPEATABLEREAD = 2;
inline constexpr DWORD CEDB_ISOLATION_SERIALIZABLE = 3;

BOOL CeMountDBVolEx(CEGUID* volume, LPWSTR path, CEVOLUMEOPTIONS* options, DWORD disposition);
BOOL CeUnmountDBVol(CEGUID* volume);
BOOL CeFlushDBVol(CEGUID* volume);  // null flushes every volume
BOOL CeEnumDBVolumes(CEGUID* volume, LPWSTR path, DWORD characters);

HANDLE CeOpenDatabaseInSession(HANDLE session, CEGUID* volume, CEOID* oid, LPWSTR name, SORTORDERSPECEX* sort,
                               DWORD flags, CENOTIFYREQUEST* notify);
BOOL CeOidGetInfoEx2(CEGUID* volume, CEOID oid, CEOIDINFOEX* info);
// `value` is a signed 32-bit number, an identifier, or the address of `count` CEPROPVAL.
CEOID CeSeekDatabaseEx(HANDLE database, DWORD type, DWORD_PTR value, WORD count, LPDWORD index);
CEOID CeReadRecordProps(HANDLE database, DWORD flags, WORD* count, CEPROPID* ids, LPBYTE* buffer, LPDWORD size);
CEOID CeReadRecordPropsEx(HANDLE database, DWORD flags, WORD* count, CEPROPID* ids, LPBYTE* buffer, LPDWORD size,
                          HANDLE heap);
CEOID CeWriteRecordProps(HANDLE database, CEOID oid, WORD count, CEPROPVAL* values);
BOOL CeDeleteRecord(HANDLE database, CEOID oid);

CEOID CeCreateDatabaseWithProps(CEGUID* volume, CEDBASEINFOEX* info, DWORD count, CEPROPSPEC* specs);
CEOID CeCreateDatabaseEx2(CEGUID* volume, CEDBASEINFOEX* info);
BOOL CeSetDatabaseInfoEx2(CEGUID* volume, CEOID oid, CEDBASEINFOEX* info);
BOOL CeDeleteDatabaseEx(CEGUID* volume, CEOID oid);
BOOL CeAddDatabaseProps(CEGUID* volume, CEOID oid, DWORD count, CEPROPSPEC* specs);
BOOL CeRemoveDatabaseProps(CEGUID* volume, CEOID oid, DWORD count, CEPROPID* ids);
BOOL CeGetDatabaseProps(CEGUID* volume, CEOID oid, WORD* count, CEPROPSPEC* specs);
HANDLE CeFindFirstDatabaseEx(CEGUID* volume, DWORD type);
CEOID CeFindNextDatabaseEx(HANDLE search, CEGUID* volume);
BOOL CeGetDBInformationByHandle(HANDLE database, BY_HANDLE_DB_INFORMATION* info);

HANDLE CeCreateSession(CEGUID* volume);
HANDLE CeGetDatabaseSession(HANDLE database);
BOOL CeBeginTransaction(HANDLE session, DWORD isolation);
BOOL CeEndTransaction(HANDLE session, BOOL commit);
BOOL CeFreeNotification(CENOTIFYREQUEST* request, CENOTIFICATION* notification);

// --- What the layouts must be -----------------------------------------------------------------------------

static_assert(sizeof(CEGUID) == 16 && sizeof(SORTORDERSPECEX) == 136);
static_assert(sizeof(CEDBASEINFOEX) == 4636 && sizeof(CEOIDINFOEX) == 4640);
static_assert(offsetof(CEDBASEINFOEX, dwDbaseType) == 264 && offsetof(CEDBASEINFOEX, ftLastModified) == 276 &&
              offsetof(CEDBASEINFOEX, rgSortSpecs) == 284);
static_assert(sizeof(CEFILEINFO) == 540 && sizeof(CEDIRINFO) == 528 && sizeof(CEDBASEINFO) == 120);
static_assert(sizeof(CEOIDINFO) == 544 && sizeof(CENOTIFICATION) == 36 && sizeof(CEVOLUMEOPTIONS) == 116);
static_assert(offsetof(CEPROPVAL, val) == 8 && offsetof(CEPROPVAL, wFlags) == 6);
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(CEPROPVAL) == 16 && sizeof(CEBLOB) == 8 && sizeof(CEPROPSPEC) == 20);
static_assert(sizeof(CENOTIFYREQUEST) == 20 && sizeof(BY_HANDLE_DB_INFORMATION) == 4660);
#else
static_assert(sizeof(CEPROPVAL) == 24 && sizeof(CEBLOB) == 16 && sizeof(CEPROPSPEC) == 32);
static_assert(sizeof(CENOTIFYREQUEST) == 40);
#endif
