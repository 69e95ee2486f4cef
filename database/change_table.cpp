// CKezAspDB: the type's change table in "\KezDBNotify.vol".
//
// The change writer keeps one change record for each record of the type that was added, changed or deleted: its
// identifier (the table's key) and one state a partnership. This side reads and clears its own partner's state and
// removes the change record of a deletion that it has collected; it never makes a volume, a table or a record.
#include "database/kez_asp_db.h"
#include "database/volume.h"
#include "trace/trace_log.h"

namespace {

constexpr WCHAR kDeltaVolume[] = TEXT("\\KezDBNotify.vol");
constexpr WCHAR kReportFile[] = TEXT("\\CleanupIds.txt");
constexpr CEPROPID kDeltaOid = 0x00010013;

enum ChangeState : ULONG { kNothingToReport = 0, kDeleted = 2 };  // any other value: added or changed

struct DeltaTable {
    char typeLetter;
    LPCWSTR name;
};
constexpr DeltaTable kDeltaTables[] = {
    {'A', TEXT("\\KEZDeltaA")},
    {'D', TEXT("\\KEZDeltaD")},
    {'T', TEXT("\\KEZDeltaT")},
};

LPCWSTR DeltaTableName(char typeLetter) {
    for (const DeltaTable& row : kDeltaTables) {
        if (row.typeLetter == typeLetter) return row.name;
    }
    return TEXT("");
}

// A property that the record lacks reads as nothing to report.
ULONG StateIn(const CEPROPVAL& prop) { return prop.wFlags == 0 ? prop.val.ulVal : kNothingToReport; }

// What a failed read of a change record leaves in the log: one text a last error, another for all others.
struct ReadErrorTexts {
    const char* invalidParameter;
    const char* diskFull;
    const char* other;
};

void TraceReadError(const ReadErrorTexts& texts, DWORD error) {
    switch (error) {
        case ERROR_INVALID_PARAMETER:
            dbglog(0, texts.invalidParameter);
            break;
        case ERROR_DISK_FULL:
            dbglog(0, texts.diskFull);
            break;
        default:
            dbglog(0, texts.other, error);
    }
}

constexpr ReadErrorTexts kCheckErrors = {
    "CKezAspDB::DBOidCheckAndClear::ERR: A parameter was invalid.",
    "CKezAspDB::DBOidCheckAndClear::ERR: There was not enough space in the object store to write the properties.",
    "CKezAspDB::DBOidCheckAndClear::ERR: Unknown Error: %0x",
};
constexpr ReadErrorTexts kDeletedErrors = {
    "CKezAspDB::DBGetDeletedAndClear::ERR: A parameter was invalid.",
    "CKezAspDB::DBGetDeletedAndClear::ERR: There was not enough space in the object store to write the properties.",
    "CKezAspDB::DBGetDeletedAndClear::ERR: Unknown Error: %0x",
};

// How long the change writer gets to write down what this program wrote: 10 ms an identifier, within bounds.
DWORD CleanupSeconds(DWORD identifiers) {
    constexpr DWORD kShortest = 3;
    constexpr DWORD kLongest = 60;
    const DWORD seconds = identifiers / 100;
    return seconds < kShortest ? kShortest : seconds > kLongest ? kLongest : seconds;
}

}  // namespace

void CKezAspDB::MountDeltaVolume() {
    if (!IsMounted(m_guidDelta)) CeMountDBVolEx(&m_guidDelta, const_cast<LPWSTR>(kDeltaVolume), nullptr, OPEN_EXISTING);
}

BOOL CKezAspDB::OpenDbDelta(WORD sortField) {
    MountDeltaVolume();
    CEGUID volume = m_guidDelta;
    CEOID oid = 0;
    if (m_hDbDelta != INVALID_HANDLE_VALUE) return TRUE;

    dbglog(0, "CKezAspDB::OpenDbDelta::DBDelta XX (iSortField = %i) +", sortField);
    const LPCWSTR name = DeltaTableName(m_typeLetter);
    SORTORDERSPECEX sort = {};
    sort.wVersion = 2;
    sort.wNumProps = 1;
    sort.wKeyFlags = sortField == 1 ? CEDB_SORT_PRIMARYKEY : 0;
    sort.rgPropID[0] = (static_cast<CEPROPID>(sortField) << 16) | CEVT_UI4;

    const HANDLE table = CeOpenDatabaseInSession(nullptr, &volume, &oid, const_cast<LPWSTR>(name), &sort, 0, nullptr);
    if (table != INVALID_HANDLE_VALUE) {
        dbglog(25, "Opened Delta table: %i", HandleNumber(table));
        m_hDbDelta = table;
        m_guidDelta = volume;
        m_oidDelta = oid;
        dbglog(25, "Records in Delta table: %i", CountDeltaRecords());
    } else {
        const DWORD error = GetLastError();
        dbglog(25, "Error opening Delta table: %i", error);
        switch (error) {
            case ERROR_NOT_ENOUGH_MEMORY:
                dbglog(0, "CKezAspDB::Open Delta Database::ERROR_NOT_ENOUGH_MEMORY %08x-", error);
                break;
            case ERROR_INVALID_PARAMETER:
                dbglog(0, "CKezAspDB::Open Delta Database::ERROR_INVALID_PARAMETER %08x-", error);
                break;
            case ERROR_FILE_NOT_FOUND:
                dbglogW(0, TEXT("CKezAspDB::Open Delta Database::Database \"%s\" doesn't exist -"), name);
                break;
            default:
                dbglog(0, "unkown error code: %08x", error);
        }
        dbglog(0, "CKezAspDB::OpenDbDelta::DBDelta-");
    }
    dbglog(0, "CKezAspDB::OpenDbDelta::DBDelta XX-");
    return TRUE;
}

// How many change records the open table holds now: it may have been open for a while, and grown.
DWORD CKezAspDB::CountDeltaRecords() {
    m_ceodinfo_delta.wVersion = 2;
    CeOidGetInfoEx2(&m_guidDelta, m_oidDelta, &m_ceodinfo_delta);
    return m_ceodinfo_delta.infDatabase.dwNumRecords;
}

CEOID CKezAspDB::FindDeltaRecord(CEOID oid) {
    CEPROPVAL key = {};
    key.propid = kDeltaOid;
    key.val.ulVal = oid;
    return CeSeekDatabaseEx(m_hDbDelta, CEDB_SEEK_VALUEFIRSTEQUAL, reinterpret_cast<DWORD_PTR>(&key), 1, nullptr);
}

// The current change record's identifier and this partner's state, in one local-heap block; null where none came.
CEPROPVAL* CKezAspDB::ReadDeltaRecord() {
    CEPROPID wanted[] = {kDeltaOid, m_deltaFlagPropId};
    WORD count = 2;
    LPBYTE buffer = nullptr;
    DWORD bytes = 0;
    CeReadRecordProps(m_hDbDelta, CEDB_ALLOWREALLOC, &count, wanted, &buffer, &bytes);
    return reinterpret_cast<CEPROPVAL*>(buffer);
}

BOOL CKezAspDB::ClearDeltaEntry(CEOID oid) {
    dbglog(25, "ClearDeltaEntry(%i) +", oid);
    if (m_hDbDelta == INVALID_HANDLE_VALUE) {
        dbglog(25, "Invalid handle, attempting to open new m_hDbDelta handle");
        OpenDbDelta(1);
        if (m_hDbDelta == INVALID_HANDLE_VALUE) {
            dbglog(25, "Invalid m_hDbDelta");
            dbglog(25, "ClearDeltaEntry() -");
            return FALSE;
        }
    }

    CeFlushDBVol(&m_guidDelta);
    const CEOID record = FindDeltaRecord(oid);
    if (record == 0) {
        dbglog(25, "Failed to find record");
        dbglog(25, "ClearDeltaEntry() -");
        return FALSE;
    }
    CEPROPVAL state = {};
    state.propid = m_deltaFlagPropId;
    const BOOL written = CeWriteRecordProps(m_hDbDelta, record, 1, &state) != 0;
    dbglog(25, written ? "Cleared Delta Entry" : "Failed writing props");
    dbglog(25, "ClearDeltaEntry() -");
    return written;
}

BOOL CKezAspDB::DBOidCheckAndClear(CEOID oid) {
    dbglog(25, "CKezAspDB::DBOidCheckAndClear(oid=0x%x) +", oid);
    if (m_hDbDelta == INVALID_HANDLE_VALUE) {
        dbglog(25, "CKezAspDB::DBOidCheckAndClear(oid=0x%x) (no delta file open) -", oid);
        return FALSE;
    }
    const CEOID record = FindDeltaRecord(oid);
    if (record == 0) {
        dbglog(25, "CKezAspDB::DBOidCheckAndClear(oid=0x%x) oid not found  -", oid);
        return FALSE;
    }

    BOOL modified = FALSE;
    CEPROPVAL* props = ReadDeltaRecord();
    if (props == nullptr) {
        const DWORD error = GetLastError();
        dbglog(0, "CKezAspDB::DBOidCheckAndClear rgProps==NULL!");
        TraceReadError(kCheckErrors, error);
        dbglog(0, "CKezAspDB::DBOidCheckAndClear - CEWriteRecordProps::(%lu<>%lu)! NULL -", record, oid);
    } else {
        const ULONG state = StateIn(props[1]);
        if (props[0].wFlags == 0 && props[0].val.ulVal == oid && state != kNothingToReport && state != kDeleted) {
            props[1].val.ulVal = kNothingToReport;
            CeWriteRecordProps(m_hDbDelta, record, 2, props);
            modified = TRUE;
        }
        LocalFree(props);
    }
    dbglog(25, "CKezAspDB::DBOidCheckAndClear oid=%d, Modified=%d -", oid, modified);
    return modified;
}

BOOL CKezAspDB::DBGetDeletedAndClear(CEOID* oid, BOOL first) {
    dbglog(25, "CKezAspDB::DBGetDeletedAndClear +");
    if (m_hDbDelta == INVALID_HANDLE_VALUE) {
        dbglog(25, "CKezAspDB::DBGetDeletedAndClear() (no delta file open) -");
        return FALSE;
    }

    DWORD index = 0;
    CEOID record = 0;
    if (first) {
        dbglog(25, "MoveFirst");
        record = CeSeekDatabaseEx(m_hDbDelta, CEDB_SEEK_BEGINNING, 0, 0, &index);
    } else {
        record = CeSeekDatabaseEx(m_hDbDelta, CEDB_SEEK_CURRENT, 1, 0, &index);
    }
    if (record == 0) {
        dbglog(25, "CKezAspDB::DBGetDeletedAndClear() no records in delta table -");
        return FALSE;
    }

    CEOID deleted = 0;
    BOOL found = FALSE;
    while (record != 0 && !found) {
        dbglog(25, "CurrIndex = %i", index);
        CEPROPVAL* props = ReadDeltaRecord();
        if (props == nullptr) {
            const DWORD error = GetLastError();
            dbglog(0, "CKezAspDB::DBGetDeletedAndClear rgProps==NULL!");
            TraceReadError(kDeletedErrors, error);
            dbglog(0, "CKezAspDB::DBGetDeletedAndClear - CeReadRecordProps::(%lu<>%lu)! NULL -", record, deleted);
            break;
        }
        const CEOID candidate = props[0].val.ulVal;
        const ULONG state = StateIn(props[1]);
        LocalFree(props);
        dbglog(25, "Checking oid %i", candidate);
        if (state == kDeleted) {
            dbglog(25, "Found deleted record (oid = %i)", candidate);
            // The whole change record goes, and with it what the other partner has not collected: on purpose.
            CeDeleteRecord(m_hDbDelta, record);
            deleted = candidate;
            found = TRUE;
        } else {
            record = CeSeekDatabaseEx(m_hDbDelta, CEDB_SEEK_CURRENT, 1, 0, &index);
        }
    }
    if (oid != nullptr) *oid = deleted;
    dbglog(25, "CKezAspDB::DBGetDeletedAndClear (oid = %i, bRes = %i) -", deleted, found);
    return found;
}

void CKezAspDB::CloseDbDelta() {
    CleanupIds();
    if (m_hDbDelta != INVALID_HANDLE_VALUE) {
        CloseHandle(m_hDbDelta);
        m_hDbDelta = INVALID_HANDLE_VALUE;
    }
}

void CKezAspDB::CleanupIds() {
    SYSTEMTIME start;
    GetSystemTime(&start);
    dbglog(25, "Cleaning up all delta entries in deconstructor");

    DWORD identifiers = 0;
    for (const CleanupNode* node = m_cleanupList; node != nullptr; node = node->next) ++identifiers;
    const DWORD seconds = CleanupSeconds(identifiers);
    dbglog(25, "Sleeping for %i seconds", seconds);
    Sleep(seconds * 1000);

    DWORD cleared = 0;
    while (m_cleanupList != nullptr) {
        CleanupNode* node = m_cleanupList;
        m_cleanupList = node->next;
        if (ClearDeltaEntry(node->oid)) ++cleared;
        delete node;
    }
    if (cleared != identifiers) {
        dbglog(25, "Warning!! Only able to cleanup %i of %i ids", cleared, identifiers);
    }

    SYSTEMTIME end;
    GetSystemTime(&end);
    const HANDLE report =
        CreateFileW(kReportFile, GENERIC_WRITE, FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (report != INVALID_HANDLE_VALUE) {
        SetFilePointer(report, 0, nullptr, FILE_END);
        char line[512] = {};
        INT length = _snprintf(line, sizeof line - 1, "Start: %02d%02d %02d:%02d:%02d End: %02d%02d %02d:%02d:%02d ",
                               start.wMonth, start.wDay, start.wHour, start.wMinute, start.wSecond, end.wMonth,
                               end.wDay, end.wHour, end.wMinute, end.wSecond);
        length += _snprintf(line + length, sizeof line - 1 - static_cast<std::size_t>(length),
                            "CleanupIds (%S): %i of %i ids deleted\r\n", GetDBName(), cleared, identifiers);
        DWORD written = 0;
        WriteFile(report, line, static_cast<DWORD>(length), &written, nullptr);
        CloseHandle(report);
    }
    dbglog(25, "CleanupIds() DONE");
}
