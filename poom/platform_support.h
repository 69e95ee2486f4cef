// Small helpers around the platform's objects, strings and dates that all parts of the bridge share.
#pragma once

#include <pimstore.h>

// Gives an interface back and forgets it.
template <typename Interface>
void ReleaseAndForget(Interface*& pointer) {
    if (pointer == nullptr) return;
    pointer->Release();
    pointer = nullptr;
}

// An interface that is given back at the end of its block.
template <typename Interface>
class Reference {
 public:
    Reference() = default;
    ~Reference() { ReleaseAndForget(m_pointer); }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    Interface* Get() const { return m_pointer; }
    Interface** Out() {  // where a call stores its result; gives an earlier one back first
        ReleaseAndForget(m_pointer);
        return &m_pointer;
    }
    Interface* operator->() const { return m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }

 private:
    Interface* m_pointer = nullptr;
};

// An automation string made from plain text, for a setter; null where the text is, or where there is no memory.
class AutomationText {
 public:
    explicit AutomationText(const WCHAR* text) : m_text(SysAllocString(text)), m_wanted(text != nullptr) {}
    ~AutomationText() { SysFreeString(m_text); }
    AutomationText(const AutomationText&) = delete;
    AutomationText& operator=(const AutomationText&) = delete;

    BSTR Get() const { return m_text; }
    bool OutOfMemory() const { return m_wanted && m_text == nullptr; }

 private:
    BSTR m_text;
    bool m_wanted;
};

// The interface that properties and streams of an item are reached through, with a reference; E_POINTER without item.
HRESULT QueryItem(IUnknown* item, IItem** out);

// Frees a string that an item handed out, through the application where there is one.
void FreeItemString(IPOutlookApp2* application, BSTR text);

// Both sides are wall clock. What cannot be converted gives 0.0 and the zero time.
DATE FileTimeToDate(const FILETIME& time);
FILETIME DateToFileTime(DATE date);

// How a trace shows a pointer: its low 32 bits.
inline DWORD TracedPointer(const void* pointer) { return static_cast<DWORD>(reinterpret_cast<DWORD_PTR>(pointer)); }
