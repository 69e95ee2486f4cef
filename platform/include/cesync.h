// The replication interface between the device's synchronisation engine and a provider library: six exported
// functions, one object handler for each object type, and the records that pass between them.
//
// Structures are zero-filled by the engine before each call and carry their own size where they have a size
// field. Text is 16-bit and zero-terminated. Memory that a provider hands out stays the provider's.
#pragma once

#include <windbase.h>

inline constexpr UINT MAX_OBJTYPE_NAME = 100;
inline constexpr UINT MAX_PACKET_SIZE = 260000;
inline constexpr UINT MAX_ACTIVE_VOL = 16;

struct IReplNotify;

struct OBJNOTIFY {
    UINT cbStruct;  // in: 780 on the device
    WCHAR szObjType[MAX_OBJTYPE_NAME];
    UINT uFlags;       // ONF_*
    UINT uPartnerBit;  // 1 or 2
    CEOID oidObject;
    CEOIDINFO oidInfo;
    UINT cOidChg;  // out: changed identifiers at poid[0]
    UINT cOidDel;  // out: deleted identifiers behind them
    UINT* poid;    // out: the provider's memory
    LPBYTE lpbVolumeID;
    UINT cbVolumeID;
};

struct OBJTYPEINFO {
    UINT cbStruct;  // in: 384
    WCHAR szObjType[MAX_OBJTYPE_NAME];
    UINT uFlags;
    WCHAR szName[80];         // out: the store object that holds the items
    UINT cObjects;            // out
    UINT cbAllObj;            // out: bytes
    FILETIME ftLastModified;  // out
};

struct FINDOBJINFO {
    UINT uFlags;  // FO_*
    WCHAR szObjType[MAX_OBJTYPE_NAME];
    UINT* poid;   // out: unchanged identifiers, then changed ones
    UINT cUnChg;  // out
    UINT cChg;    // out
    LPBYTE lpbVolumeID;
    UINT cbVolumeID;
    LPVOID lpvUser;  // the provider's own, kept from call to call
};

struct REPLSETUP {
    UINT cbStruct;  // in: 236
    BOOL fRead;     // nonzero: an item leaves this side
    DWORD dwFlags;  // RSF_*
    HRESULT hr;
    WCHAR szObjType[MAX_OBJTYPE_NAME];
    IReplNotify* pNotify;
    DWORD oid;
    DWORD oidNew;  // out: the identifier after writing
    LPBYTE lpbVolumeID;
    UINT cbVolumeID;
};

struct SDREQUEST {
    WCHAR szObjType[MAX_OBJTYPE_NAME];
    BOOL fSet;   // TRUE: data goes down to the device
    UINT uCode;  // the provider's own
    LPBYTE lpbData;
    UINT cbData;
};

// --- Results ----------------------------------------------------------------------------------------------

inline constexpr HRESULT RERR_SHUT_DOWN = static_cast<HRESULT>(0x80140001);
inline constexpr HRESULT RERR_STORE_REPLACED = static_cast<HRESULT>(0x80140002);
inline constexpr HRESULT RERR_CANCEL = static_cast<HRESULT>(0x80140003);
inline constexpr HRESULT RERR_RESTART = static_cast<HRESULT>(0x80140004);
inline constexpr HRESULT RERR_IGNORE = static_cast<HRESULT>(0x80140005);
inline constexpr HRESULT RERR_UNLOAD = static_cast<HRESULT>(0x80140006);
inline constexpr HRESULT RERR_OBJECT_DELETED = static_cast<HRESULT>(0x80140007);
inline constexpr HRESULT RERR_CORRUPT = static_cast<HRESULT>(0x80140008);
inline constexpr HRESULT RERR_NO_DEVICE = static_cast<HRESULT>(0x80140009);
inline constexpr HRESULT RERR_NO_ERR_PROMPT = static_cast<HRESULT>(0x80140010);
inline constexpr HRESULT RERR_DISCARD = static_cast<HRESULT>(0x80140011);
inline constexpr HRESULT RERR_DISCARD_LOCAL = static_cast<HRESULT>(0x80140012);
inline constexpr HRESULT RERR_VOL_INACTIVE = static_cast<HRESULT>(0x80140013);
inline constexpr HRESULT RERR_BIG_OBJ_TYPE = static_cast<HRESULT>(0x80140014);
inline constexpr HRESULT RERR_BIG_CODE = static_cast<HRESULT>(0x80140015);
inline constexpr HRESULT RERR_UNMATCHED = static_cast<HRESULT>(0x80140016);
inline constexpr HRESULT RERR_DEVICE_WIN = static_cast<HRESULT>(0x80140017);
inline constexpr HRESULT RERR_DESKTOP_WIN = static_cast<HRESULT>(0x80140018);
inline constexpr HRESULT RERR_SKIP_ALL_OBJ = static_cast<HRESULT>(0x80140019);
inline constexpr HRESULT RERR_SETUP_NOT_COMPLETE = static_cast<HRESULT>(0x8014001A);
inline constexpr HRESULT RERR_SKIP_ALL = static_cast<HRESULT>(0x80140100);
inline constexpr HRESULT RERR_BAD_OBJECT = static_cast<HRESULT>(0x80140101);
inline constexpr HRESULT RERR_TRY_AGAIN = static_cast<HRESULT>(0x80140102);
inline constexpr HRESULT RERR_USER_SKIP = static_cast<HRESULT>(0x80140103);
inline constexpr HRESULT RWRN_LAST_PACKET = 0x00140001;
inline constexpr HRESULT RWRN_DIRECTORY_EXISTS = 0x00140002;

// --- Flags and codes --------------------------------------------------------------------------------------

inline constexpr UINT ONF_FILE = 0x001;
inline constexpr UINT ONF_DIRECTORY = 0x002;
inline constexpr UINT ONF_DATABASE = 0x004;
inline constexpr UINT ONF_RECORD = 0x008;
inline constexpr UINT ONF_CHANGED = 0x010;
inline constexpr UINT ONF_DELETED = 0x020;
inline constexpr UINT ONF_CLEAR_CHANGE = 0x040;
inline constexpr UINT ONF_CALL_BACK = 0x080;
inline constexpr UINT ONF_CALLING_BACK = 0x100;

inline constexpr UINT FO_MORE_VOLUME = 1;
inline constexpr UINT FO_DONE_ONE_VOL = 2;

inline constexpr DWORD RSF_CONFLICT_OBJECT = 0x001;
inline constexpr DWORD RSF_NEW_OBJECT = 0x002;
inline constexpr DWORD RSF_DUPLICATED_OBJECT = 0x004;
inline constexpr DWORD RSF_COMBINE = 0x008;
inline constexpr DWORD RSF_SYNC_DEVICE_ONLY = 0x010;
inline constexpr DWORD RSF_SYNC_DESKTOP_ONLY = 0x020;
inline constexpr DWORD RSF_UPDATED_HANDLE = 0x040;
inline constexpr DWORD RSF_DISCARDED_OBJ = 0x080;
inline constexpr DWORD RSF_NEW_VOLUME = 0x100;
inline constexpr DWORD RSF_AUTO_COMBINE = 0x200;
inline constexpr DWORD RSF_RESERVED1 = 0x100000;
inline constexpr DWORD RSF_RESERVED2 = 0x200000;
inline constexpr DWORD RSF_RESERVED3 = 0x400000;
inline constexpr DWORD RSF_RESERVED4 = 0x800000;

inline constexpr UINT RSC_BEGIN_SYNC = 1;
inline constexpr UINT RSC_END_SYNC = 2;
inline constexpr UINT RSC_BEGIN_CHECK = 3;
inline constexpr UINT RSC_END_CHECK = 4;
inline constexpr UINT RSC_DATE_CHANGED = 5;
inline constexpr UINT RSC_RELEASE = 6;
inline constexpr UINT RSC_REMOTE_SYNC = 7;
inline constexpr UINT RSC_INTERRUPT = 8;
inline constexpr UINT RSC_BEGIN_SYNC_OBJ = 9;
inline constexpr UINT RSC_END_SYNC_OBJ = 10;
inline constexpr UINT RSC_OBJ_TYPE_ENABLED = 11;
inline constexpr UINT RSC_OBJ_TYPE_DISABLED = 12;
inline constexpr UINT RSC_BEGIN_BATCH_WRITE = 13;
inline constexpr UINT RSC_END_BATCH_WRITE = 14;
inline constexpr UINT RSC_CONNECTION_CHG = 15;
inline constexpr UINT RSC_WRITE_OBJ_FAILED = 16;
inline constexpr UINT RSC_DELETE_OBJ_FAILED = 17;
inline constexpr UINT RSC_WRITE_OBJ_SUCCESS = 18;
inline constexpr UINT RSC_DELETE_OBJ_SUCCESS = 19;
inline constexpr UINT RSC_READ_OBJ_FAILED = 20;
inline constexpr UINT RSC_TIME_CHANGED = 21;
inline constexpr UINT RSC_BEGIN_BACKUP = 22;
inline constexpr UINT RSC_END_BACKUP = 23;
inline constexpr UINT RSC_BEGIN_RESTORE = 24;
inline constexpr UINT RSC_PREPARE_SYNC_FLD = 26;

inline constexpr UINT BSF_AUTO_SYNC = 1;
inline constexpr UINT BSF_REMOTE_SYNC = 2;
inline constexpr UINT BSF_SHOW_FATAL_ERRORS = 4;
inline constexpr UINT BSF_SHOW_RESOLVE_ERRORS = 8;
inline constexpr UINT PSA_RESET_INTERRUPT = 1;
inline constexpr UINT PSA_SYS_SHUTDOWN = 2;

// --- Interfaces -------------------------------------------------------------------------------------------

struct IReplNotify : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnItemCompleted(REPLSETUP* setup) = 0;  // slot 3, the engine's own
};

struct IReplObjHandler : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Setup(REPLSETUP* setup) = 0;                                  // slot 3
    virtual HRESULT STDMETHODCALLTYPE Reset(REPLSETUP* setup) = 0;                                  // slot 4
    virtual HRESULT STDMETHODCALLTYPE GetPacket(LPBYTE* packet, DWORD* size, DWORD recommend) = 0;  // slot 5
    virtual HRESULT STDMETHODCALLTYPE SetPacket(LPBYTE packet, DWORD size) = 0;                     // slot 6
    virtual HRESULT STDMETHODCALLTYPE DeleteObj(REPLSETUP* setup) = 0;                              // slot 7
};

// --- Exports, by the type of each -------------------------------------------------------------------------

using PINITOBJTYPE = BOOL (*)(LPWSTR type, IReplObjHandler** handler, UINT partnerBit);
using POBJECTNOTIFY = BOOL (*)(OBJNOTIFY* notify);
using PGETOBJTYPEINFO = HRESULT (*)(OBJTYPEINFO* info);  // nonzero is success
using PREPORTSTATUS = BOOL (*)(LPWSTR type, UINT code, UINT parameter);
using PFINDOBJECTS = HRESULT (*)(FINDOBJINFO* find);
using PSYNCDATA = HRESULT (*)(SDREQUEST* request);

// --- What the layouts must be -----------------------------------------------------------------------------

static_assert(offsetof(OBJNOTIFY, oidInfo) == 216 && offsetof(OBJNOTIFY, cOidChg) == 760);
static_assert(sizeof(OBJTYPEINFO) == 384 && offsetof(OBJTYPEINFO, ftLastModified) == 376);
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(OBJNOTIFY) == 780 && sizeof(FINDOBJINFO) == 228 && sizeof(REPLSETUP) == 236);
static_assert(sizeof(SDREQUEST) == 216 && offsetof(REPLSETUP, lpbVolumeID) == 228);
#else
static_assert(sizeof(OBJNOTIFY) == 792 && sizeof(FINDOBJINFO) == 248 && sizeof(REPLSETUP) == 248);
static_assert(sizeof(SDREQUEST) == 224 && offsetof(REPLSETUP, oid) == 224);
#endif
