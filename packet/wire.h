// The packet's bytes, read and written one by one as little-endian numbers, and a property as an entry's 16 bytes.
#pragma once

#include "packet/record_packet_format.h"

namespace record_packet {

// Where pointers have 32 bits a CEPROPVAL in memory is the entry on the wire, byte for byte.
inline constexpr bool kArrayIsWireImage = sizeof(CEPROPVAL) == kEntryBytes;

inline WORD Get16(const BYTE* at) { return static_cast<WORD>(at[0] | at[1] << 8); }
inline DWORD Get32(const BYTE* at) { return Get16(at) | static_cast<DWORD>(Get16(at + 2)) << 16; }

inline void Put16(BYTE* at, WORD value) {
    at[0] = static_cast<BYTE>(value);
    at[1] = static_cast<BYTE>(value >> 8);
}
inline void Put32(BYTE* at, DWORD value) {
    Put16(at, static_cast<WORD>(value));
    Put16(at + 2, static_cast<WORD>(value >> 16));
}

inline DWORD AddressOnWire(const void* pointer) {
    return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(pointer));
}

inline void PutEntry(BYTE* at, const CEPROPVAL& property) {
    Put32(at + kEntryPropidOffset, property.propid);
    Put16(at + kEntryLengthOffset, property.wLenData);
    Put16(at + kEntryFlagsOffset, property.wFlags);
    // The first 8 bytes of every other value are the same on either width: a pointer is what differs.
    DWORD low = property.val.filetime.dwLowDateTime;
    DWORD high = property.val.filetime.dwHighDateTime;
    if (TypeFromPropID(property.propid) == CEVT_LPWSTR) {
        low = AddressOnWire(property.val.lpwstr);
        if (!kArrayIsWireImage) high = 0;
    } else if (TypeFromPropID(property.propid) == CEVT_BLOB) {
        low = property.val.blob.dwCount;
        high = AddressOnWire(property.val.blob.lpb);
    }
    Put32(at + kEntryValueOffset, low);
    Put32(at + kEntryValueOffset + 4, high);
}

// The sender's addresses are left behind: pointers come out null. An entry with flags has no bytes either.
inline void GetEntry(const BYTE* at, CEPROPVAL* property) {
    property->propid = Get32(at + kEntryPropidOffset);
    property->wLenData = Get16(at + kEntryLengthOffset);
    property->wFlags = Get16(at + kEntryFlagsOffset);
    const DWORD low = Get32(at + kEntryValueOffset);
    const DWORD high = Get32(at + kEntryValueOffset + 4);
    switch (TypeFromPropID(property->propid)) {
        case CEVT_LPWSTR:
            property->val.lpwstr = nullptr;
            break;
        case CEVT_BLOB:
            property->val.blob.dwCount = property->wFlags == 0 ? low : 0;
            property->val.blob.lpb = nullptr;
            break;
        default:
            property->val.filetime.dwLowDateTime = low;
            property->val.filetime.dwHighDateTime = high;
            break;
    }
}

}  // namespace record_packet
