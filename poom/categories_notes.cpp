// The categories and the note of the current item, as plain texts.
#include <new>

#include "poom/ce_poom.h"
#include "poom/platform_support.h"
#include "trace/trace_log.h"

namespace {

struct TextTraces {
    const char* itemLength;
    const char* copiedLength;
};

// Copies a string of the item into a text of the caller's and frees it. TRUE where a text came out.
BOOL TakeText(BSTR text, const TextTraces& traces, WCHAR** out) {
    if (text == nullptr) return FALSE;
    const UINT length = SysStringLen(text);
    dbglog(50, traces.itemLength, length);
    if (length > 0) {
        *out = new (std::nothrow) WCHAR[length + 1]();
        if (*out != nullptr) {
            std::memcpy(*out, text, length * sizeof(WCHAR));
            dbglog(50, traces.copiedLength, static_cast<UINT>(wcslen(*out)));
        } else {
            dbglog(0, "OUT OF MEMORY");
        }
    }
    FreeItemString(CCEPoom::m_polApp, text);
    return *out != nullptr;
}

}  // namespace

BOOL CCEPoom::GetCategories(WCHAR** out) {
    *out = nullptr;
    dbglog(50, " CCEPoom::GetCategories +");
    BSTR text = nullptr;
    if (m_pTask != nullptr) {
        m_pTask->get_Categories(&text);
    } else if (m_pAppt != nullptr) {
        m_pAppt->get_Categories(&text);
    } else if (m_pContact != nullptr) {
        m_pContact->get_Categories(&text);
    }
    const BOOL found = TakeText(text, {"CAT::SysStringLen(bstrTemp)=%d", "CAT::wcslen(*ppbuf)=%d"}, out);
    dbglog(50, " CCEPoom::GetCategories -");
    return found;
}

BOOL CCEPoom::SetCategories(const WCHAR* text) {
    dbglog(50, " CCEPoom::SetCategories +");
    const AutomationText categories(text);
    if (m_pTask != nullptr) m_pTask->put_Categories(categories.Get());
    if (m_pAppt != nullptr) m_pAppt->put_Categories(categories.Get());
    if (m_pContact != nullptr) m_pContact->put_Categories(categories.Get());
    dbglog(50, " CCEPoom::SetCategories -");
    return TRUE;
}

BOOL CCEPoom::GetNote(WCHAR** out) {
    *out = nullptr;
    dbglog(50, " CCEPoom::GetNote +");
    dbglog(50, " CCEPoom::GetNote::get_Body()");
    BSTR text = nullptr;
    if (m_pTask != nullptr) {
        m_pTask->get_Body(&text);
    } else if (m_pAppt != nullptr) {
        m_pAppt->get_Body(&text);
    } else if (m_pContact != nullptr) {
        m_pContact->get_Body(&text);
    }
    const BOOL found = TakeText(text, {"NOTE::SysStringLen(bstrTemp)=%d", "NOTE::wcslen(*ppbuf)=%d"}, out);
    dbglog(50, " CCEPoom::GetNote -");
    return found;
}

BOOL CCEPoom::SetNote(const WCHAR* text) {
    dbglog(50, " CCEPoom::SetNote +");
    const AutomationText note(text);
    // The first loaded item alone, unlike the categories.
    if (m_pTask != nullptr) {
        m_pTask->put_Body(note.Get());
    } else if (m_pAppt != nullptr) {
        m_pAppt->put_Body(note.Get());
    } else if (m_pContact != nullptr) {
        m_pContact->put_Body(note.Get());
    }
    dbglog(50, " CCEPoom::SetNote -");
    return TRUE;
}
