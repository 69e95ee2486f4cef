// The 8-bit text in which a modified occurrence travels.
//
// Wide text is narrowed to the low byte of each character and ends at the first character whose low byte is 0; on the
// way back each byte is taken as signed, so that 0xE9 becomes the character 0xFFE9. Both are the format, and lose
// what does not fit on purpose: readers of such a text undo exactly this.
#pragma once

#include <windows.h>

class SerializationString {
 public:
    SerializationString() = default;
    explicit SerializationString(LPCSTR text) { Append(text); }
    ~SerializationString() { delete[] m_text; }
    SerializationString(const SerializationString&) = delete;
    SerializationString& operator=(const SerializationString&) = delete;

    void Append(LPCSTR text);
    void Append(LPCWSTR text);  // narrowed; null is empty
    void Append(const SerializationString& text);

    // Ended by a terminator; never null.
    LPCSTR Text() const { return m_text != nullptr ? m_text : ""; }
    DWORD Length() const { return m_length; }
    // Memory ran out on the way, and the text is not whole.
    bool Broken() const { return m_broken; }

    // The text as a new automation string of the caller's; null where there is no memory.
    BSTR ToAutomationString() const;

 private:
    // Makes room for `more` further characters and the terminator.
    bool Reserve(DWORD more);

    char* m_text = nullptr;
    DWORD m_length = 0;
    DWORD m_room = 0;
    bool m_broken = false;
};
