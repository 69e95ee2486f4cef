// What must hold for every list of properties, however it is added, thinned out and cut into chunks.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "packet/record_packet.h"
#include "tests/packet/packet_values.h"
#include "tests/packet/reference_fingerprint.h"

namespace kez::tests {

struct AnyProperty {
    CEPROPID propid = 0;
    WORD flags = 0;
    std::uint64_t number = 0;
    std::u16string text;
    Bytes blob;
    bool textIsMissing = false;
};

struct AnyList {
    DWORD oid = 0;
    std::vector<AnyProperty> properties;
    std::vector<std::size_t> deletions;  // places in `properties`, of which the identifier is deleted
    std::vector<std::size_t> chunks;     // their sizes; used in turns, the first raised to 4
};

inline CEPROPVAL ValueOf(const AnyProperty& any) {
    CEPROPVAL property = Property(any.propid, any.flags);
    switch (TypeFromPropID(any.propid)) {
        case CEVT_LPWSTR:
            property.val.lpwstr = any.textIsMissing ? nullptr : const_cast<LPWSTR>(any.text.c_str());
            break;
        case CEVT_BLOB:
            property.val.blob = {static_cast<DWORD>(any.blob.size()), const_cast<LPBYTE>(any.blob.data())};
            break;
        default:
            property.val.filetime = {static_cast<DWORD>(any.number), static_cast<DWORD>(any.number >> 32)};
            break;
    }
    return property;
}

// Builds, sends, receives and fingerprints the list. Empty where all came out as it must, else what did not.
inline std::string WhatIsWrongWith(const AnyList& list) {
    CKezCEPacket sent;
    sent.PropStart(list.oid);
    std::vector<AnyProperty> model;
    for (const AnyProperty& any : list.properties) {
        const CEPROPVAL property = ValueOf(any);
        if (!sent.ListAdd(&property)) return "a property was refused";
        model.push_back(any);
    }
    std::size_t overLong = 0;
    std::stable_sort(model.begin(), model.end(),
                     [](const AnyProperty& a, const AnyProperty& b) { return a.propid < b.propid; });
    for (std::size_t place : list.deletions) {
        const CEPROPID propid = list.properties[place % list.properties.size()].propid;
        const auto found =
            std::find_if(model.begin(), model.end(), [propid](const AnyProperty& any) { return any.propid == propid; });
        if (sent.PropDelete(propid) != (found != model.end()))
            return "deletion found what is not there, or not what is";
        if (found == model.end()) continue;
        if (TypeFromPropID(propid) == CEVT_LPWSTR && found->flags == 0 && !found->textIsMissing) {
            overLong += found->text.size() + 1;
        }
        model.erase(found);
    }
    std::size_t length = 110 + overLong;
    for (const AnyProperty& any : model) {
        length += 16;
        if (any.flags != 0) continue;
        if (TypeFromPropID(any.propid) == CEVT_LPWSTR && !any.textIsMissing) length += 2 * (any.text.size() + 1);
        if (TypeFromPropID(any.propid) == CEVT_BLOB) length += any.blob.size();
    }
    if (sent.PropFini() != static_cast<INT>(length)) return "the packet is not as long as its parts";
    if (sent.GetPropCount() != model.size()) return "the count is wrong";

    CKezCEPacket received;
    BYTE* data = nullptr;
    DWORD bytes = 0;
    DWORD remaining = 0;
    std::size_t chunk = 0;
    do {
        std::size_t size = list.chunks[chunk % list.chunks.size()];
        if (chunk++ == 0) size = std::max<std::size_t>(size, 4);
        remaining = sent.GetNextBytes(&data, &bytes, static_cast<INT>(std::max<std::size_t>(size, 1)));
        if (received.SetNextBytes(data, static_cast<INT>(bytes)) != static_cast<INT>(remaining)) {
            return "the bytes still expected are not those still unsent";
        }
    } while (remaining > 0);
    if (received.m_dwOid != list.oid) return "the identifier did not come back";
    if (received.GetPropCount() != model.size()) return "the count did not come back";

    std::vector<CEPROPVAL> expected;
    for (std::size_t i = 0; i < model.size(); ++i) {
        const AnyProperty& any = model[i];
        const CEPROPVAL& got = received.m_vProps[i];
        if (got.propid != any.propid || got.wFlags != any.flags) return "identifier or flags did not come back";
        expected.push_back(ValueOf(any));
        const bool isText = TypeFromPropID(any.propid) == CEVT_LPWSTR;
        const bool isBlob = TypeFromPropID(any.propid) == CEVT_BLOB;
        if (any.flags != 0) {
            if (isText && got.val.lpwstr) return "an absent text has an address";
            if (isBlob && (got.val.blob.lpb || got.val.blob.dwCount != 0)) return "an absent blob has bytes";
            if (isText) expected.back().val.lpwstr = nullptr;
            if (isBlob) expected.back().val.blob = {};
        } else if (isText) {
            if (std::u16string(got.val.lpwstr) != (any.textIsMissing ? u"" : any.text)) return "a text changed";
        } else if (isBlob) {
            if (Bytes(got.val.blob.lpb, got.val.blob.lpb + got.val.blob.dwCount) != any.blob) return "a blob changed";
        } else if (std::memcmp(&got.val, &expected.back().val, 8) != 0) {
            return "a number changed";
        }
    }
    const DWORD fingerprint = ReferenceFingerprint(expected.data(), expected.size());
    if (sent.GetCRC32(TRUE) != fingerprint) return "the sender's fingerprint is not the reference's";
    if (received.GetCRC32(FALSE) != fingerprint) return "the receiver's fingerprint is not the reference's";

    if (sent.PropFini() != static_cast<INT>(length) + 100) return "the second layout has another length";
    if (sent.GetCRC32(FALSE) != fingerprint) return "the second layout has another fingerprint";
    return "";
}

}  // namespace kez::tests
