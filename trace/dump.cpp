// Dumps of the engine's structures, of property values and of raw bytes.
#include "trace/dump.h"

#include <new>

#include "trace/trace_log.h"
#include "trace/trace_state.h"

namespace {

struct FlagName {
    DWORD bit;
    const char* name;
};

constexpr FlagName kSetupFlags[] = {
    {RSF_CONFLICT_OBJECT, "RSF_CONFLICT_OBJECT,"},
    {RSF_NEW_OBJECT, "RSF_NEW_OBJECT,"},
    {RSF_DUPLICATED_OBJECT, "RSF_DUPLICATED_OBJECT,"},
    {RSF_COMBINE, "RSF_COMBINE,"},
    {RSF_SYNC_DEVICE_ONLY, "RSF_SYNC_DEVICE_ONLY,"},
    {RSF_SYNC_DESKTOP_ONLY, "RSF_SYNC_DESKTOP_ONLY,"},
    {RSF_UPDATED_HANDLE, "RSF_UPDATED_HANDLE,"},
    {RSF_DISCARDED_OBJ, "RSF_DISCARDED_OBJ,"},
    {RSF_NEW_VOLUME, "RSF_NEW_VOLUME,"},
};

constexpr FlagName kFindFlags[] = {
    {FO_MORE_VOLUME, "FO_MORE_VOLUME,"},
    {FO_DONE_ONE_VOL, "FO_DONE_ONE_VOL,"},
};

constexpr FlagName kNotifyFlags[] = {
    {ONF_FILE, "ONF_FILE,"},
    {ONF_DIRECTORY, "ONF_DIRECTORY,"},
    {ONF_DATABASE, "ONF_DATABASE,"},
    {ONF_RECORD, "ONF_RECORD,"},
    {ONF_CHANGED, "ONF_CHANGED,"},
    {ONF_DELETED, "ONF_DELETED,"},
    {ONF_CLEAR_CHANGE, "ONF_CLEAR_CHANGE,"},
    {ONF_CALL_BACK, "ONF_CALL_BACK,"},
    {ONF_CALLING_BACK, "ONF_CALLING_BACK,"},
};

template <std::size_t Count>
const char* JoinFlagNames(const FlagName (&names)[Count], DWORD flags) {
    char* at = g_trace.flagText;
    for (const FlagName& flag : names) {
        if (!(flags & flag.bit)) continue;
        const std::size_t length = std::strlen(flag.name);
        std::memcpy(at, flag.name, length);
        at += length;
    }
    *at = 0;
    return g_trace.flagText;
}

DWORD Low32(const void* pointer) { return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(pointer)); }

// The volume identifier's bytes as text; they need not end in a zero.
const char* VolumeText(const BYTE* id, UINT length) {
    if (!id) return nullptr;
    const std::size_t kept = length < sizeof g_trace.flagText ? length : sizeof g_trace.flagText - 1;
    std::memcpy(g_trace.flagText, id, kept);
    g_trace.flagText[kept] = 0;
    return g_trace.flagText;
}

const char* NarrowText(LPCWSTR text) {
    constexpr INT kLimit = 510;
    std::memset(g_trace.flagText, 0, sizeof g_trace.flagText);
    WideCharToMultiByte(CP_ACP, 0, text, -1, g_trace.flagText, kLimit, nullptr, nullptr);
    return g_trace.flagText;
}

void DumpBlob(LONG level, const CEBLOB& blob) {
    if (blob.dwCount == 0) {
        dbglog(level, "\t\t->blob.dwCount=");  // without the number: on purpose
        return;
    }
    constexpr char kDigits[] = "0123456789abcdef";
    const std::uint64_t size = std::uint64_t{blob.dwCount} * 2 + 1;
    char* hex = size <= SIZE_MAX / 2 ? new (std::nothrow) char[static_cast<std::size_t>(size)]() : nullptr;
    if (hex && blob.lpb) {
        for (std::size_t i = 0; i < blob.dwCount; ++i) {
            hex[2 * i] = kDigits[blob.lpb[i] >> 4];
            hex[2 * i + 1] = kDigits[blob.lpb[i] & 15];
        }
    }
    dbglog(level, "\t\t->blob.lpb=0x%s", hex);
    delete[] hex;
}

void DumpValue(LONG level, const CEPROPVAL& value) {
    switch (TypeFromPropID(value.propid)) {
        case CEVT_UI2:
            dbglog(level, "\t\t->uiVal=%0x", value.val.uiVal);
            break;
        case CEVT_I2:
            dbglog(level, "\t\t->iVal=%0x", value.val.iVal);
            break;
        case CEVT_I4:
            dbglog(level, "\t\t->lVal=%0x", value.val.lVal);
            break;
        case CEVT_R8:
            dbglog(level, "\t\t->dblVal=%f", value.val.dblVal);
            break;
        case CEVT_BOOL:
            dbglog(level, "\t\t->boolVal=%d", value.val.boolVal);
            break;
        case CEVT_UI4:
            dbglog(level, "\t\t->ulVal=%0x", value.val.ulVal);
            break;
        case CEVT_LPWSTR:
            dbglog(level, "\t\t->lpwstr=\"%s\"", NarrowText(value.val.lpwstr));
            break;
        case CEVT_FILETIME:
            dbglog(level, "\t\t->filetime=%s", dbglogFileTimeText(nullptr, &value.val.filetime));
            break;
        case CEVT_BLOB:
            DumpBlob(level, value.val.blob);
            break;
        default:
            break;
    }
}

}  // namespace

INT dbglogREPLSETUP(LONG level, LPCSTR label, const REPLSETUP* setup) {
    if (!TraceWanted(level) || !setup) return 0;
    dbglog(level, "%s->cbStruct=%d", label, setup->cbStruct);
    dbglog(level, "%s->fRead=%d", label, setup->fRead);
    dbglog(level, "%s->hr=%d", label, setup->hr);
    dbglog(level, "%s->szObjType=%s", label, setup->szObjType);
    dbglog(level, "%s->pNotify=%d", label, Low32(setup->pNotify));
    dbglog(level, "%s->oid=%d", label, setup->oid);
    dbglog(level, "%s->oidNew=%d", label, setup->oidNew);
    dbglog(level, "%s->cbVolumeID=%d", label, setup->cbVolumeID);
    if (setup->cbVolumeID != 0) {
        dbglog(level, "%s->lpbVolumeID=%s", label, VolumeText(setup->lpbVolumeID, setup->cbVolumeID));
    }
    if (setup->dwFlags == 0) {
        dbglog(level, "%s->dwFlags=NONE", label);
    } else {
        dbglog(level, "%s->dwFlags=%s", label, JoinFlagNames(kSetupFlags, setup->dwFlags));
    }
    return 0;
}

INT dbglogFINDOBJINFO(LONG level, LPCSTR label, const FINDOBJINFO* find) {
    if (!TraceWanted(level) || !find) return 0;
    dbglog(level, "%s->szObjType=%s", label, find->szObjType);
    if (find->uFlags == 0) {
        dbglog(level, "%s->uFlags=NONE", label);
    } else {
        dbglog(level, "%s->uFlags=%s", label, JoinFlagNames(kFindFlags, find->uFlags));
    }
    dbglog(level, "%s->cUnChg=%d", label, find->cUnChg);
    dbglog(level, "%s->cChg=%d", label, find->cChg);
    dbglog(level, "%s->lpbVolumeID=%ds", label, Low32(find->lpbVolumeID));  // "%ds" on purpose
    dbglog(level, "%s->cbVolumeID=%d", label, find->cbVolumeID);
    dbglog(level, "%s->lpvUser=%d", label, Low32(find->lpvUser));
    return 0;
}

INT dbglogObjType(LONG level, LPCSTR label, WORD objType) {
    switch (objType) {
        case OBJTYPE_DATABASE:
            return dbglog(level, "%s->oidInfo->wObjType=OBJTYPE_DATABASE", label);
        case OBJTYPE_RECORD:
            return dbglog(level, "%s->oidInfo->wObjType=OBJTYPE_RECORD", label);
        case OBJTYPE_DIRECTORY:
            return dbglog(level, "%s->oidInfo->wObjType=OBJTYPE_DIRECTORY", label);
        case OBJTYPE_FILE:
            return dbglog(level, "%s->oidInfo->wObjType=OBJTYPE_FILE", label);
        case OBJTYPE_INVALID:
            return dbglog(level, "%s->oidInfo->wObjType=OBJTYPE_INVALID", label);
        default:
            return 0;
    }
}

INT dbglogOBJNOTIFY(LONG level, LPCSTR label, const OBJNOTIFY* notify) {
    if (!TraceWanted(level) || !notify) return 0;
    dbglog(level, "%s->cbStruct=%d", label, notify->cbStruct);
    dbglog(level, "%s->uPartnerBit=%d", label, notify->uPartnerBit);
    dbglog(level, "%s->oidObject=%d", label, notify->oidObject);
    dbglogObjType(level, label, notify->oidInfo.wObjType);
    dbglog(level, "%s->cOidChg=%d", label, notify->cOidChg);
    dbglog(level, "%s->cOidDel=%d", label, notify->cOidDel);
    dbglog(level, "%s->szObjType=%s", label, notify->szObjType);
    dbglog(level, "%s->cbVolumeID=%d", label, notify->cbVolumeID);
    dbglog(level, "%s->cParentOid=%lu", label, notify->oidInfo.infRecord.oidParent);
    if (notify->uFlags == 0) {
        dbglog(level, "%s->uFlags=NONE", label);
    } else {
        dbglog(level, "%s->uFlags=%s", label, JoinFlagNames(kNotifyFlags, notify->uFlags));
    }
    return 0;
}

INT dbglogCEPROPVAL(LONG level, LPCSTR label, const CEPROPVAL* value) {
    if (!TraceWanted(level)) return 0;
    if (!value) return dbglog(level, "\tpropVal IS NULL!");
    if (value->propid == 0) return dbglog(level, "\tpropVal->propid IS NULL!");
    dbglog(level, "%s::pPropVal->propid=0x%x", label, value->propid);
    dbglog(level, "\t\t->wFlags=0x%x", value->wFlags);
    if (value->wFlags != 0) return dbglog(level, "\tpropVal->wFlags=0x%x", value->wFlags);
    DumpValue(level, *value);
    return 0;
}

INT dbglogBuffer(LONG level, const void* buffer, DWORD length) {
    if (!TraceWanted(level) || g_trace.closed) return 0;
    HANDLE file = CreateFileW(TEXT("\\dbgdump.txt"), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return -1;
    dbglog(level, "Output Raw Buffer to \\dbgdump.txt");
    DWORD written = 0;
    WriteFile(file, buffer, length, &written, nullptr);
    CloseHandle(file);
    return static_cast<INT>(written);
}
