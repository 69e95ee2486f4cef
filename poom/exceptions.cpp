// The exceptions of a recurring appointment as texts, and back.
//
// The exception list holds the original date of every exception, each followed by a tab. A modified occurrence also
// travels whole, as twelve fields that each end in a separator; on purpose it leaves the device when it has been
// written down, so that the text is its only copy from then on.
#include "poom/ce_poom.h"
#include "poom/date_text.h"
#include "poom/platform_support.h"
#include "poom/serialization_string.h"
#include "poom/text_tokens.h"
#include "trace/trace_log.h"

namespace {

const SerializationString g_fieldSeparator("~^!^~");

constexpr WCHAR kTab = TEXT('\t');
constexpr UINT kCharactersPerEntry = 21;

// Writes the fields of an occurrence one after the other. A field that cannot be read is empty or 0.
class OccurrenceWriter {
 public:
    OccurrenceWriter(IAppointment* occurrence, SerializationString& text) : m_occurrence(occurrence), m_text(text) {}

    void Text(HRESULT (IAppointment::*get)(BSTR*)) {
        BSTR value = nullptr;
        (m_occurrence->*get)(&value);
        m_text.Append(value);
        if (value != nullptr) FreeItemString(CCEPoom::m_polApp, value);
        EndField();
    }
    void Date(HRESULT (IAppointment::*get)(DATE*)) {
        DATE value = 0.0;
        (m_occurrence->*get)(&value);
        m_text.Append(FormatDate(value).text);
        EndField();
    }
    HRESULT Number(HRESULT (IAppointment::*get)(LONG*)) {
        LONG value = 0;
        const HRESULT hr = (m_occurrence->*get)(&value);
        char digits[16] = {};
        _snprintf(digits, sizeof(digits) - 1, "%d", value);
        m_text.Append(digits);
        EndField();
        return hr;
    }
    void Flag(HRESULT (IAppointment::*get)(VARIANT_BOOL*)) {
        VARIANT_BOOL value = VARIANT_FALSE;
        (m_occurrence->*get)(&value);
        m_text.Append(value != VARIANT_FALSE ? "1" : "0");
        EndField();
    }
    void Plain(const WCHAR* value) {
        m_text.Append(value);
        EndField();
    }

 private:
    void EndField() { m_text.Append(g_fieldSeparator); }

    IAppointment* m_occurrence;
    SerializationString& m_text;
};

// `text` (may be null) with `more` behind it, as a new string; null where there is no memory.
BSTR Joined(BSTR text, BSTR more) {
    const UINT length = SysStringLen(text);
    BSTR joined = SysAllocStringLen(nullptr, length + SysStringLen(more));
    if (joined == nullptr) return nullptr;
    if (length > 0) std::memcpy(joined, text, length * sizeof(WCHAR));
    if (SysStringLen(more) > 0) std::memcpy(joined + length, more, SysStringLen(more) * sizeof(WCHAR));
    return joined;
}

// Writes the occurrence of `exception` behind `modified` and takes it off the device. Without a text that holds it,
// it stays where it is.
void TakeModifiedOccurrence(CCEPoom& session, IException* exception, BSTR& modified) {
    Reference<IAppointment> occurrence;
    const HRESULT got = exception->get_AppointmentItem(occurrence.Out());
    dbglog(25, "GetRecExceptionLst get_AppointmentItem result:  0x%x", got);
    BSTR text = nullptr;
    BSTR joined = nullptr;
    if (session.SerializeApptItem(occurrence.Get(), &text)) joined = Joined(modified, text);
    SysFreeString(text);
    if (joined == nullptr) {
        dbglog(0, "SerializeApptItem FAILED no record will be sent to ActiveSync.");
        return;
    }
    SysFreeString(modified);
    modified = joined;
    const HRESULT deleted = occurrence->Delete();
    dbglog(25, "SerializeApptItem Delete result:  0x%x", deleted);
}

}  // namespace

BOOL CCEPoom::GetRecExceptionLst(BSTR* pList, BSTR* pModList) {
    dbglog(50, " CCEPoom::GetRecExceptionLst +");
    Reference<IExceptions> exceptions;
    INT count = 0;
    if (m_pRec != nullptr) m_pRec->get_Exceptions(exceptions.Out());
    if (exceptions) exceptions->get_Count(&count);

    BOOL result = static_cast<bool>(exceptions);
    if (count > 0) {
        dbglog(25, " CCEPoom::GetRecExceptionLst Exceptions exist.");
        dbglog(25, "CCEPoom::GetRecExceptionLst Count:  %d", count);
        SysFreeString(*pList);
        const UINT room = static_cast<UINT>(count) * kCharactersPerEntry + 1;
        *pList = SysAllocStringLen(nullptr, room);
        result = *pList != nullptr;
    }
    if (count > 0 && result) {
        std::memset(*pList, 0, SysStringByteLen(*pList));
        WCHAR* end = *pList;
        BSTR modified = nullptr;
        for (INT n = 1; n <= count; ++n) {
            Reference<IException> exception;
            exceptions->Item(n, exception.Out());
            dbglog(25, "CCEPoom::GetRecExceptionLst Got nth Item:  %d", n);
            if (!exception) continue;
            {
                Reference<IAppointment> occurrence;
                const HRESULT got = exception->get_AppointmentItem(occurrence.Out());
                dbglog(25, "CCEPoom::GetRecExceptionLst GetAppointment():  0x%x", got);
            }
            DATE date = 0.0;
            exception->get_OriginalDate(&date);
            dbglog(25, "CCEPoom::GetRecExceptionLst Appointment Original Date:  %f", date);
            if (date == 0.0) continue;

            VARIANT_BOOL deleted = VARIANT_FALSE;
            exception->get_Deleted(&deleted);
            if (deleted == VARIANT_FALSE) {
                dbglog(25, "CCEPoom::GetRecExceptionLst %d Item is modified.", n);
                TakeModifiedOccurrence(*this, exception.Get(), modified);
            } else {
                dbglog(25, "CCEPoom::GetRecExceptionLst %d Item is deleted.", n);
            }

            const DateText text = FormatDate(date);
            dbglog(25, " CCEPoom::GetRecExceptionLst Exception:  %S", text.text);
            wcscpy(end, text.text);
            end += wcslen(text.text);
            *end++ = kTab;
        }
        if (modified != nullptr) {
            SysFreeString(*pModList);
            *pModList = modified;
        }
    }
    dbglog(25, " CCEPoom::GetRecExceptionLst Result:  %S", *pList);
    dbglog(50, " CCEPoom::GetRecExceptionLst -");
    return result;
}

BOOL CCEPoom::SerializeApptItem(IAppointment* appointment, BSTR* pText) {
    dbglog(50, "CCEPoom::SerializeApptItem   +");
    *pText = nullptr;
    if (appointment == nullptr) {
        dbglog(0, "CCEPoom::SerializeApptItem  Failed");
        return FALSE;
    }
    SerializationString text;
    OccurrenceWriter writer(appointment, text);
    writer.Text(&IAppointment::get_Subject);
    writer.Text(&IAppointment::get_Location);
    writer.Date(&IAppointment::get_Start);
    writer.Number(&IAppointment::get_Duration);
    writer.Flag(&IAppointment::get_AllDayEvent);
    writer.Number(&IAppointment::get_Sensitivity);
    writer.Flag(&IAppointment::get_ReminderSet);
    writer.Number(&IAppointment::get_ReminderOptions);
    writer.Text(&IAppointment::get_Body);
    writer.Text(&IAppointment::get_Categories);
    {
        // The reader works on the current appointment, so the occurrence is it for as long as that takes.
        IAppointment* series = m_pAppt;
        m_pAppt = appointment;
        WCHAR* recipients = nullptr;
        GetRecipients(&recipients);
        m_pAppt = series;
        writer.Plain(recipients);
        delete[] recipients;
    }
    const HRESULT hr = writer.Number(&IAppointment::get_BusyStatus);

    dbglog(25, "SerializeApptItem result:   %s", text.Text());
    *pText = text.Broken() ? nullptr : text.ToAutomationString();
    dbglog(50, "CCEPoom::SerializeApptItem   -");
    return SUCCEEDED(hr) && *pText != nullptr;
}

BOOL CCEPoom::SetRecExceptionLst(WCHAR* text, const CEPROPVAL*) {
    dbglog(50, " CCEPoom::SetRecExceptionLst +");
    dbglog(25, " CCEPoom::SetRecExceptionLst Exception list:  %S", text);
    BOOL result = FALSE;
    if (m_pRec != nullptr && text != nullptr) {
        Reference<IExceptions> exceptions;
        INT count = 0;
        result = SUCCEEDED(m_pRec->get_Exceptions(exceptions.Out())) && exceptions &&
                 SUCCEEDED(exceptions->get_Count(&count));
    }
    WCHAR* cut = nullptr;
    for (WCHAR* token = nullptr; result && (token = NextToken(text, kTab, &cut)) != nullptr;) {
        dbglog(25, " CCEPoom::SetRecExceptionLst Next Token:  %S", token);
        SYSTEMTIME parts = {};
        const BOOL parsed = ParseDate(token, &parts);
        if (cut != nullptr) *cut = kTab;
        if (!parsed) continue;
        DATE date = 0.0;
        SystemTimeToVariantTime(&parts, &date);
        dbglog(25, "CCEPoom::SetRecExceptionLst GetOccurance:  %f", date);
        Reference<IAppointment> occurrence;
        m_pRec->GetOccurrence(date, occurrence.Out());
        if (occurrence) {
            dbglog(25, "CCEPoom::SetRecExceptionLst About to Delete Appt");
            occurrence->Delete();
        } else {
            dbglog(0, "CCEPoom::SetRecExceptionLst failed to retrieve occurence");
        }
    }
    dbglog(50, " CCEPoom::SetRecExceptionLst -");
    return result;
}
