// CKezAspDB: one record into a packet, one packet into a record, deleting one record or all.
#include <cstring>
#include <new>

#include "database/kez_asp_db.h"
#include "poom/ce_poom.h"
#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

// What this layer adds to a packet besides the catalogue properties.
constexpr CEPROPID kCategories = 0xAFF0001F;
constexpr CEPROPID kNote = 0xAFFA001F;
constexpr CEPROPID kRecipients = 0xAFFC001F;
constexpr CEPROPID kIsRecurring = 0xAFF1000B;
constexpr CEPROPID kRecurrenceType = 0xAFF10012;
constexpr CEPROPID kDayOfWeekMask = 0xAFF20012;
constexpr CEPROPID kDayOfMonth = 0xAFF30012;
constexpr CEPROPID kMonthOfYear = 0xAFF40012;
constexpr CEPROPID kInterval = 0xAFF50012;
constexpr CEPROPID kInstance = 0xAFF60003;
constexpr CEPROPID kRecurrenceStart = 0xAFF70005;
constexpr CEPROPID kRecurrenceEnd = 0xAFF80005;
constexpr CEPROPID kNoEndDate = 0xAFF9000B;
constexpr CEPROPID kExceptionList = 0xAFFF001F;
constexpr CEPROPID kModifiedOccurrences = 0xAFE0001F;
// What it replaces or removes.
constexpr CEPROPID kStateOfPartner0 = 0xAFFD0013;
constexpr CEPROPID kStateOfOtherPartners = 0xAFFE0013;
constexpr CEPROPID kRawCategories = 0x00160041;
constexpr CEPROPID kRawNote = 0x00170041;
constexpr CEPROPID kAppointmentStart = 0x420D0040;
constexpr CEPROPID kPicture = 0xAFE90041;

bool IsItemType(DWORD type) {
    switch (type) {
        case 24:
        case 25:
        case 26:
        case 'A':
        case 'D':
        case 'T':
            return true;
        default:
            return false;
    }
}

// The list of CCEPoom::GetProps: one block of the process heap, the picture a block of its own.
void FreeProps(CEPROPVAL* props, WORD count) {
    if (props == nullptr) return;
    for (WORD i = 0; i < count; ++i) {
        if (props[i].propid == kPicture && props[i].wFlags == 0) LocalFree(props[i].val.blob.lpb);
    }
    HeapFree(GetProcessHeap(), 0, props);
}

// A date that the calendar cannot convert stays as it is.
DATE ToUtc(DATE local) {
    SYSTEMTIME parts;
    FILETIME localTime;
    FILETIME utcTime;
    DATE utc = local;
    if (VariantTimeToSystemTime(local, &parts) && SystemTimeToFileTime(&parts, &localTime) &&
        LocalFileTimeToFileTime(&localTime, &utcTime) && FileTimeToSystemTime(&utcTime, &parts)) {
        SystemTimeToVariantTime(&parts, &utc);
    }
    return utc;
}

void AddNumber(CKezCEPacket& packet, CEPROPID propid, LONG value) {
    const auto low = static_cast<SHORT>(value);
    if (TypeFromPropID(propid) == CEVT_UI2) {
        packet.PropAddValue(propid, &low);
    } else {
        packet.PropAddValue(propid, &value);
    }
}

}  // namespace

// The database's own type where it has one, else the letter; Pocket Outlook takes either.
DWORD CKezAspDB::ItemType() const {
    const DWORD type = m_ceodinfo_db.infDatabase.dwDbaseType;
    return type != 0 ? type : static_cast<DWORD>(m_typeLetter);
}

CEOID CKezAspDB::DBFillPacket(CEOID oid, CKezCEPacket& packet) {
    dbglog(50, "CKezAspDB::DBFillPacket (oid=%d)+", oid);
    OpenDatabase();

    CEOID result = 0;
    CEPROPVAL* props = nullptr;
    WORD count = 0;
    if (m_cpRead != nullptr &&
        m_cpRead->InitializeItem(oid, static_cast<DWORD>(m_typeLetter), static_cast<LONG>(oid))) {
        m_cpRead->GetProps(oid, static_cast<DWORD>(m_typeLetter), &props, &count, TRUE);
        result = oid;
    }
    packet.PropStart(result);
    packet.PropAdd(props, count);
    packet.PropDelete(kStateOfPartner0);
    packet.PropDelete(kStateOfOtherPartners);
    FreeProps(props, count);

    if (result != 0) {
        const DWORD type = ItemType();
        dbglog(50, "CKezAspDB::DBFillPacket::POOM updates");
        if (m_cpRead->InitializeItem(oid, type, static_cast<LONG>(oid))) {
            AddItemTexts(packet, type);
            AddRecurrence(packet);
            if (m_cpRead->m_pAppt != nullptr) AddAppointmentFields(packet);
        }
    }

    dbglog(50, "CKezAspDB::DBFillPacket::PropFini");
    packet.PropFini();
    dbglog(50, "CKezAspDB::DBFillPacket- (return oid==%d) -", result);
    return result;
}

void CKezAspDB::AddItemTexts(CKezCEPacket& packet, DWORD type) {
    dbglog(50, "CKezAspDB::DBFillPacket::Process Category");
    WCHAR* text = nullptr;
    if (m_cpRead->GetCategories(&text)) {
        packet.PropAddString(kCategories, text, 1);
        delete[] text;
        if (IsItemType(type)) packet.PropDelete(kRawCategories);
    }

    dbglog(50, "CKezAspDB::DBFillPacket::Process Notes");
    text = nullptr;
    if (m_cpRead->GetNote(&text)) {
        packet.PropAddString(kNote, text, 1);
        CEPROPVAL note = {};
        note.propid = kNote;
        note.val.lpwstr = text;
        dbglogCEPROPVAL(25, "CKezAspDB::DBFillPacket::Notes", &note);
        delete[] text;
        if (IsItemType(type)) packet.PropDelete(kRawNote);
    }
}

void CKezAspDB::AddRecurrence(CKezCEPacket& packet) {
    dbglog(50, "CKezAspDB::DBFillPacket::Process Recurring");
    m_cpRead->GetRecurring();
    const RecurrenceState& pattern = m_cpRead->m_recurrence;
    AddNumber(packet, kIsRecurring, pattern.bRecurrFound);
    if (!pattern.bRecurrFound) return;

    dbglog(50, "CKezAspDB::DBFillPacket::Process Is recurssive");
    AddNumber(packet, kRecurrenceType, pattern.RecurrenceType);
    AddNumber(packet, kDayOfWeekMask, pattern.DayOfWeekMask);
    AddNumber(packet, kDayOfMonth, pattern.DayOfMonth);
    AddNumber(packet, kMonthOfYear, pattern.MonthOfYear);
    AddNumber(packet, kInterval, pattern.Interval);
    AddNumber(packet, kInstance, pattern.Instance);
    packet.PropAddValue(kRecurrenceStart, &pattern.RecurrenceStartDate);
    // Sent is the pattern's end, received is the recurrence's: the two sides differ on purpose.
    packet.PropAddValue(kRecurrenceEnd, &pattern.PatternEndDate);
    AddNumber(packet, kNoEndDate, pattern.bNoEndDate);
    packet.PropAddString(kExceptionList, m_cpRead->m_bstrExcList, 1);
    packet.PropAddString(kModifiedOccurrences, m_cpRead->m_bstrExcModList, 1);
}

void CKezAspDB::AddAppointmentFields(CKezCEPacket& packet) {
    WCHAR* recipients = nullptr;
    if (m_cpRead->GetRecipients(&recipients) && recipients != nullptr) {
        if (recipients[0] != 0) packet.PropAddString(kRecipients, recipients, 1);
        delete[] recipients;
    }

    DATE start = 0;
    m_cpRead->m_pAppt->get_Start(&start);
    dbglog(50, "CKezAspDB::DBFillPacket StartTime (not converted) = %d", static_cast<INT>(start));
    start = ToUtc(start);
    dbglog(50, "CKezAspDB::DBFillPacket StartTime (converted) = %d", static_cast<INT>(start));
    packet.PropDelete(kAppointmentStart);
    packet.PropAddValue(kAppointmentStart, &start);  // a DATE under a FILETIME's type, on purpose
}

CEOID CKezAspDB::DBWritePacket(CEOID oid, CKezCEPacket& packet) {
    if (m_usePoom) return DBWritePoom(oid, packet);

    // These messages alone spell the class this way.
    dbglog(50, "CKEzAspDB::DBWritePacket(oid=%0x) +", oid);
    if (oid != 0 && !GotoPrimaryKey(oid)) {
        dbglog(0, "CKEzAspDB::DBWritePacket(oid=%0x) ERR: Not Found -", oid);
        return 0;
    }
    CEPROPVAL* props = nullptr;
    WORD count = 0;
    packet.GetPropList(&props, &count);
    const CEOID written = DBWriteRecord(oid, count, props);
    if (written == 0) {
        dbglog(0, "CKEzAspDB::DBWritePacket(oid=%0x) ERR: Update failed -", oid);
    } else {
        dbglog(50, "CKEzAspDB::DBWritePacket -");
    }
    return written;
}

CEOID CKezAspDB::DBWritePoom(CEOID oid, CKezCEPacket& packet) {
    dbglog(50, "CKezAspDB_%c::DBWritePoom +", m_typeLetter);
    OpenDatabase();
    if (m_cpWrite == nullptr || m_cpWrite->InitializeItem(oid, ItemType(), static_cast<LONG>(oid)) != TRUE) {
        dbglog(75, "CKezAspDB::DBWritePoom(oid=%0x) ERR: InitializeITEM failed -", oid);
        return 0;
    }

    CEPROPVAL* props = nullptr;
    WORD count = 0;
    packet.GetPropList(&props, &count);
    for (WORD i = 0; i < count; ++i) {
        const CEPROPVAL& prop = props[i];
        dbglog(25, "CKezAspDB::DBWritePoom::POOM::vPropVal[%02d], id=0x%08x", i, prop.propid);
        if (TypeFromPropID(prop.propid) == CEVT_BLOB) {
            dbglog(25, "pProp->propid = 0x%08x, blob.size = %i", prop.propid, prop.val.blob.dwCount);
        }
        PropToPoom(packet, &prop, m_cpWrite);
    }

    dbglog(50, "CKezAspDB::DBWritePoom CCEPoom.Save()");
    CEOID saved = 0;
    if (m_cpWrite->Save(&saved) != S_OK) {
        dbglogCP(0, "CKezAspDB::DBWritePoom::Save ERR: Packet", &packet);
    }
    dbglog(25, "oid = %i, olRecordID = %i, lOLID = %i", oid, oid, saved);
    if (saved == oid) dbglog(25, "Using same unique ID as before: %i", oid);

    if (saved != 0) {
        dbglog(50, "CKezAspDB::DBWritePoom - New OID");
        CeFlushDBVol(&m_guidPim);
        ClearDeltaEntry(saved);
        RememberOwnWrite(saved);
    }
    dbglog(50, "CKezAspDB::DBWritePoom - newoid=0x%08x (%i)-", saved, saved);
    return saved;
}

// The change writer may not have seen the write yet: CleanupIds clears its change record once more.
void CKezAspDB::RememberOwnWrite(CEOID oid) {
    auto* node = new (std::nothrow) CleanupNode{oid, m_cleanupList};
    if (node != nullptr) m_cleanupList = node;
}

BOOL CKezAspDB::PropToPoom(CKezCEPacket&, const CEPROPVAL* prop, CCEPoom* session) {
    dbglog(25, "CKezAspDB::PropToPoom - PropID (%d) +", TypeFromPropID(prop->propid));
    if (!m_usePoom) return TRUE;

    RecurrenceState& pattern = session->m_recurrence;
    const CEVALUNION& value = prop->val;
    switch (prop->propid) {
        case kCategories:
            session->SetCategories(value.lpwstr);
            break;
        case kNote:
            session->SetNote(value.lpwstr);
            break;
        case kIsRecurring:
            pattern.bRecurrFound = value.boolVal != 0;
            pattern.RecurrenceType = LOWORD(value.boolVal);
            break;
        case kRecurrenceType:
            pattern.RecurrenceType = value.uiVal;
            break;
        case kDayOfWeekMask:
            pattern.DayOfWeekMask = value.uiVal;
            break;
        case kDayOfMonth:
            pattern.DayOfMonth = value.uiVal;
            break;
        case kMonthOfYear:
            pattern.MonthOfYear = value.uiVal;
            break;
        case kInterval:
            pattern.Interval = value.uiVal;
            break;
        case kInstance:
            pattern.Instance = value.lVal;
            break;
        case kRecurrenceStart:
            pattern.RecurrenceStartDate = value.dblVal;
            break;
        case kRecurrenceEnd:
            pattern.RecurrenceEndDate = value.dblVal;
            break;
        case kNoEndDate:
            pattern.bNoEndDate = value.boolVal != 0;
            break;
        case kExceptionList:
            session->m_pExcList = prop;
            break;
        default:
            break;
    }
    dbglog(25, "CKezAspDB::PropToPoom -");
    return TRUE;
}

HRESULT CKezAspDB::DBDelete(CEOID oid, DWORD) {
    if (!OpenDatabase()) return E_UNEXPECTED;

    m_inDelete = TRUE;
    dbglog(50, "Use alternate delete method");
    dbglog(50, "CKezAspDB:: [%c] DBDelete(%d) +", m_typeLetter, oid);
    HRESULT hr = S_OK;
    if (m_usePoom && m_cpDelete != nullptr &&
        m_cpDelete->InitializeItem(oid, static_cast<DWORD>(m_typeLetter), static_cast<LONG>(oid))) {
        dbglog(50, "CKezAspDB::Deleting using Poom");
        if (m_cpDelete->m_pAppt != nullptr) hr = m_cpDelete->m_pAppt->Delete();
        if (m_cpDelete->m_pTask != nullptr) hr = m_cpDelete->m_pTask->Delete();
        if (m_cpDelete->m_pContact != nullptr) hr = m_cpDelete->m_pContact->Delete();
        const DWORD error = GetLastError();
        if (hr != S_OK) {
            // The message names a fallback that is not made, on purpose.
            dbglog(0, "CKezAspDB::DBDelete::Poom Delete Failed.  ERR=%x, HRES = 0x%08x  Trying CeDeleteRecord", error,
                   hr);
        }
        m_cpDelete->ReleaseItems();
        if (hr != S_OK) dbglog(0, "CKezAspDB::DBDelete::CeDeleteRecord Failed.  ERR=%x", error);
    } else {
        dbglog(50, "CKezAspDB::Deleting without using Poom");
    }
    dbglog(50, "CKezAspDB:: [%c] DBDelete(%d) -", m_typeLetter, oid);
    m_inDelete = FALSE;
    return hr;
}

CEOID CKezAspDB::DBWriteRecord(CEOID, WORD, CEPROPVAL*) { return 0; }

DWORD CKezAspDB::GetRecordCRC(CEOID oid) {
    CKezCEPacket packet;
    DBFillPacket(oid, packet);
    return packet.GetCRC32(FALSE);
}

HRESULT CKezAspDB::Purge() {
    dbglog(0, "CKezAspDB::Purge() +");
    HRESULT hr = S_OK;
    CloseDatabase();
    if (OpenDatabase()) {
        dbglog(25, "About to purge...");
        const DWORD records = m_ceodinfo_db.infDatabase.dwNumRecords;
        dbglog(25, "Purging %i records", records);
        if (records > 0) {
            const struct {
                CCEPoom* session;
                const char* trace;
            } choices[] = {
                {m_cpDelete, "Purging m_cpDelete"},
                {m_cpRead, "Purging m_cpRead"},
                {m_cpWrite, "Purging m_cpWrite"},
            };
            hr = E_FAIL;
            for (const auto& choice : choices) {
                if (choice.session == nullptr) continue;
                dbglog(25, choice.trace);
                choice.session->InitializeType(static_cast<DWORD>(m_typeLetter), 0);
                if (choice.session->Purge()) hr = S_OK;
                break;
            }
        }
        dbglog(25, "CKezAspDB::CloseDatabase()");
        CloseDatabase();
    } else {
        dbglog(25, "Failed OpenDatabase()");
    }
    dbglog(0, "CKezAspDB::Purge() -");
    return hr;
}
