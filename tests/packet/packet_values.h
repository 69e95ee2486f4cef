// Property values, made in one line.
#pragma once

#include <vector>

#include "packet/record_packet.h"

namespace kez::tests {

using Bytes = std::vector<BYTE>;

inline CEPROPVAL Property(CEPROPID propid, WORD flags = 0) {
    CEPROPVAL property = {};
    property.propid = propid;
    property.wFlags = flags;
    return property;
}

inline CEPROPVAL Number(CEPROPID propid, DWORD value) {
    CEPROPVAL property = Property(propid);
    property.val.ulVal = value;
    return property;
}

// Text and bytes are not copied.
inline CEPROPVAL Text(CEPROPID propid, const WCHAR* text) {
    CEPROPVAL property = Property(propid);
    property.val.lpwstr = const_cast<LPWSTR>(text);
    return property;
}

inline CEPROPVAL Blob(CEPROPID propid, const Bytes& bytes) {
    CEPROPVAL property = Property(propid);
    property.val.blob = {static_cast<DWORD>(bytes.size()), const_cast<LPBYTE>(bytes.data())};
    return property;
}

}  // namespace kez::tests
