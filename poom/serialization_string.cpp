// Grows, narrows and widens the 8-bit text of a modified occurrence.
#include "poom/serialization_string.h"

#include <new>

bool SerializationString::Reserve(DWORD more) {
    if (m_broken) return false;
    const DWORD needed = m_length + more + 1;
    if (needed <= m_room) return true;
    const DWORD room = needed > 2 * m_room ? needed : 2 * m_room;
    char* grown = new (std::nothrow) char[room];
    if (grown == nullptr) {
        m_broken = true;
        return false;
    }
    std::memcpy(grown, Text(), m_length);
    delete[] m_text;
    m_text = grown;
    m_room = room;
    return true;
}

void SerializationString::Append(LPCSTR text) {
    const DWORD length = static_cast<DWORD>(std::strlen(text));
    if (!Reserve(length)) return;
    std::memcpy(m_text + m_length, text, length + 1);
    m_length += length;
}

void SerializationString::Append(LPCWSTR text) {
    if (text == nullptr) return;
    DWORD length = 0;
    while ((text[length] & 0xFF) != 0) ++length;
    if (!Reserve(length)) return;
    for (DWORD i = 0; i < length; ++i) m_text[m_length + i] = static_cast<char>(text[i] & 0xFF);
    m_length += length;
    m_text[m_length] = 0;
}

void SerializationString::Append(const SerializationString& text) { Append(text.Text()); }

BSTR SerializationString::ToAutomationString() const {
    BSTR wide = SysAllocStringLen(nullptr, m_length);
    if (wide == nullptr) return nullptr;
    for (DWORD i = 0; i < m_length; ++i) wide[i] = static_cast<WCHAR>(static_cast<signed char>(m_text[i]));
    return wide;
}
