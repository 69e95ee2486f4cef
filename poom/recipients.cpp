// The recipients of the current appointment as one text: name;address;name;address.
#include <new>

#include "poom/ce_poom.h"
#include "poom/platform_support.h"
#include "poom/text_tokens.h"
#include "trace/trace_log.h"

namespace {

constexpr WCHAR kSeparator = TEXT(';');

// Name and address of one recipient, freed with the block.
class NameAndAddress {
 public:
    NameAndAddress(IRecipients* recipients, INT index) {
        Reference<IRecipient> recipient;
        recipients->Item(index, recipient.Out());
        if (!recipient) return;
        recipient->get_Name(&m_name);
        recipient->get_Address(&m_address);
    }
    ~NameAndAddress() {
        if (m_name != nullptr) FreeItemString(CCEPoom::m_polApp, m_name);
        if (m_address != nullptr) FreeItemString(CCEPoom::m_polApp, m_address);
    }
    NameAndAddress(const NameAndAddress&) = delete;
    NameAndAddress& operator=(const NameAndAddress&) = delete;

    // Without one of the two the recipient is left out of the text.
    bool Complete() const { return SysStringLen(m_name) > 0 && SysStringLen(m_address) > 0; }
    UINT Length() const { return SysStringLen(m_name) + SysStringLen(m_address) + 2; }
    BSTR Name() const { return m_name; }
    BSTR Address() const { return m_address; }

 private:
    BSTR m_name = nullptr;
    BSTR m_address = nullptr;
};

WCHAR* Append(WCHAR* end, BSTR text) {
    std::memcpy(end, text, SysStringLen(text) * sizeof(WCHAR));
    return end + SysStringLen(text);
}

}  // namespace

BOOL CCEPoom::GetRecipients(WCHAR** out) {
    *out = nullptr;
    if (m_pAppt == nullptr) return FALSE;
    dbglog(0, " CCEPoom::GetRecipients +");
    INT count = 0;
    ReleaseAndForget(m_pRecipients);
    m_pAppt->get_Recipients(&m_pRecipients);
    if (m_pRecipients != nullptr) m_pRecipients->get_Count(&count);
    if (count < 1) {
        ReleaseAndForget(m_pRecipients);
        dbglog(0, " CCEPoom::GetRecipients (None Found) -");
        return FALSE;
    }

    UINT total = 0;
    for (INT i = 1; i <= count; ++i) {
        const NameAndAddress recipient(m_pRecipients, i);
        if (!recipient.Complete()) continue;
        total += recipient.Length();
        dbglog(0, " CCEPoom::GetRecipients::[%d]len = %d", i, recipient.Length());
    }
    dbglog(0, " CCEPoom::GetRecipients::iTotalSize=%d", total);

    // One more than the pairs count: a pair that is not the last recipient keeps its second separator.
    WCHAR* text = new (std::nothrow) WCHAR[total + 1]();
    if (text == nullptr) {
        ReleaseAndForget(m_pRecipients);
        dbglog(0, "CEPoom::GetRecipients::ERR: OUT_OF_MEMORY");
        return FALSE;
    }
    WCHAR* end = text;
    for (INT i = 1; i <= count; ++i) {
        const NameAndAddress recipient(m_pRecipients, i);
        // A recipient that could not be read in the first pass has no room.
        if (!recipient.Complete() || end + recipient.Length() > text + total) continue;
        end = Append(end, recipient.Name());
        *end++ = kSeparator;
        end = Append(end, recipient.Address());
        if (i != count) *end++ = kSeparator;
    }
    ReleaseAndForget(m_pRecipients);
    dbglog(0, " CCEPoom::GetRecipients (%S) -", text);
    dbglog(0, " CCEPoom::GetRecipients (%dFound) -", count);
    *out = text;
    return TRUE;
}

BOOL CCEPoom::SetRecipients(WCHAR* text) {
    if (text == nullptr || m_pAppt == nullptr || *text == 0) return TRUE;
    dbglog(0, " CCEPoom::SetRecipients +");
    dbglogW(50, TEXT("AddrOfPbuf=%d, pBuf=%s"), TracedPointer(text), text);

    INT count = 0;
    ReleaseAndForget(m_pRecipients);
    m_pAppt->get_Recipients(&m_pRecipients);
    if (m_pRecipients != nullptr) m_pRecipients->get_Count(&count);
    dbglog(0, "CEPoom::SetRecipients::Clean old list: %d items", count);
    for (INT i = count; i >= 1; --i) m_pRecipients->Remove(i);

    const bool onlyClear = text[0] == TEXT(' ') && text[1] == 0;
    if (!onlyClear && m_pRecipients != nullptr) {
        count = 0;
        m_pRecipients->get_Count(&count);
        dbglog(0, "CEPoom::SetRecipients::Add New Items: %d existing items", count);
        while (WCHAR* name = NextToken(text, kSeparator)) {
            dbglogW(0, TEXT("Recipient=%s"), name);
            ReleaseAndForget(m_pRecipient);
            m_pRecipients->Add(AutomationText(name).Get(), &m_pRecipient);
            const WCHAR* address = NextToken(text, kSeparator);
            if (address != nullptr) dbglogW(0, TEXT("Address=%s"), address);
            if (address == nullptr || *address == 0) address = name;
            if (m_pRecipient != nullptr) m_pRecipient->put_Address(AutomationText(address).Get());
        }
        ReleaseAndForget(m_pRecipient);
    }
    ReleaseAndForget(m_pRecipients);
    dbglog(0, " CCEPoom::SetRecipients -");
    return TRUE;
}
