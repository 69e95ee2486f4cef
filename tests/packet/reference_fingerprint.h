// The fingerprint, worked out one bit and one property at a time, with nothing of the packet's own code.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "packet/record_packet.h"

namespace kez::tests {

inline DWORD ReferenceChecksum(DWORD start, const std::string& bytes) {
    DWORD state = ~start;
    for (char c : bytes) {
        DWORD entry = (state ^ static_cast<BYTE>(c)) & 0xFF;
        for (int bit = 0; bit < 8; ++bit) entry = (entry & 1) != 0 ? (entry >> 1) ^ 0xEDB88320 : entry >> 1;
        state = entry ^ (state << 8);
    }
    return ~state;
}

template <class... Arguments>
std::string Printed(const char* format, Arguments... arguments) {
    char text[400];
    std::snprintf(text, sizeof text, format, arguments...);
    return text;
}

inline DWORD ReferenceFingerprint(const CEPROPVAL* properties, std::size_t count) {
    DWORD value = 0;
    const auto add = [&value](const std::string& bytes) { value += ReferenceChecksum(value, bytes); };
    const auto number = [](DWORD n) { return n == 0 ? "FALSE" : n == 1 ? "TRUE" : Printed("0x%08x", n); };
    for (std::size_t i = 0; i < count; ++i) {
        const CEPROPVAL& property = properties[i];
        add(Printed("%x", property.propid));
        switch (property.propid & 0xFFFF) {
            case CEVT_I2:
            case CEVT_UI2:
                add(number(property.val.uiVal));
                break;
            case CEVT_I4:
            case CEVT_UI4:
            case CEVT_BOOL:
                add(number(property.val.ulVal));
                break;
            case CEVT_R8:
                add(Printed("%f", property.val.dblVal));
                break;
            case CEVT_FILETIME:
                add(Printed("%x.%x", property.val.filetime.dwHighDateTime, property.val.filetime.dwLowDateTime));
                break;
            case CEVT_LPWSTR: {
                std::string bytes;
                for (const WCHAR* c = property.val.lpwstr; c && *c; ++c) {
                    bytes += static_cast<char>(*c & 0xFF);
                    bytes += static_cast<char>(*c >> 8);
                }
                if (!bytes.empty()) add(bytes);
                break;
            }
            case CEVT_BLOB:
                add(std::string(reinterpret_cast<const char*>(property.val.blob.lpb), property.val.blob.dwCount));
                break;
            default:
                break;
        }
    }
    return value;
}

}  // namespace kez::tests
