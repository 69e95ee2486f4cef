// Whole packets as hexadecimal text, and property values in one line.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "packet/record_packet.h"
#include "tests/packet/packet_values.h"

namespace kez::tests {

inline const char* const kSlack =
    "00000000000000000000000000000000000000000000000000 00000000000000000000000000000000000000000000000000"
    "00000000000000000000000000000000000000000000000000 00000000000000000000000000000000000000000000000000";

// Digits in pairs; blanks are skipped, and "??" (a byte that no reader looks at) becomes EE.
inline Bytes FromHex(const std::string& text) {
    std::string digits;
    for (char c : text) {
        if (c != ' ') digits += c == '?' ? 'E' : c;
    }
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<BYTE>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

// The digits of `bytes`, with "??" where `expected` has it.
inline std::string ToHexAs(const Bytes& bytes, const std::string& expected) {
    std::string mask;
    for (char c : expected) {
        if (c != ' ') mask += c;
    }
    std::string digits;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02X", bytes[i]);
        digits += mask.compare(2 * i, 2, "??") == 0 ? "??" : pair;
    }
    return digits;
}

inline std::string WithoutBlanks(const std::string& text) {
    std::string digits;
    for (char c : text) {
        if (c != ' ') digits += c;
    }
    return digits;
}

// All bytes of a packet that was laid out, without moving its sending position.
inline Bytes BytesOf(CKezCEPacket& packet) {
    return Bytes(packet.GetPacketBuffer(), packet.GetPacketBuffer() + packet.GetPacketBytes());
}

inline void ExpectPacket(CKezCEPacket& packet, const std::string& expected) {
    EXPECT_EQ(ToHexAs(BytesOf(packet), expected), WithoutBlanks(expected));
}

// Identifier, flags, length and value of each property that the packet hands out, one text each.
inline std::vector<std::string> Listed(CKezCEPacket& packet) {
    CEPROPVAL* properties = nullptr;
    WORD count = 0;
    packet.GetPropList(&properties, &count);
    std::vector<std::string> list;
    for (WORD i = 0; i < count; ++i) {
        const CEPROPVAL& property = properties[i];
        char head[64];
        std::snprintf(head, sizeof head, "%08X len=%u", property.propid, property.wLenData);
        std::string line = head;
        char value[64] = "";
        if (property.wFlags != 0) {
            std::snprintf(value, sizeof value, " flags=%X", property.wFlags);
            line += value;
        } else if (TypeFromPropID(property.propid) == CEVT_LPWSTR) {
            line += " \"";
            // The text may stand at an odd address.
            const char* at = reinterpret_cast<const char*>(property.val.lpwstr);
            for (WCHAR c = 0; at && (std::memcpy(&c, at, sizeof c), c != 0); at += sizeof c) {
                std::snprintf(value, sizeof value, c >= 0x20 && c < 0x7F ? "%c" : "\\%04X", c);
                line += value;
            }
            line += property.val.lpwstr ? "\"" : "none";
        } else if (TypeFromPropID(property.propid) == CEVT_BLOB) {
            line += " #";
            for (DWORD b = 0; b < property.val.blob.dwCount; ++b) {
                std::snprintf(value, sizeof value, "%02X", property.val.blob.lpb[b]);
                line += value;
            }
        } else if (property.wLenData == 8) {
            std::snprintf(value, sizeof value, " =%08X%08X", property.val.filetime.dwHighDateTime,
                          property.val.filetime.dwLowDateTime);
            line += value;
        } else if (property.wLenData == 2) {
            std::snprintf(value, sizeof value, " =%04X", property.val.uiVal);
            line += value;
        } else {
            std::snprintf(value, sizeof value, " =%08X", property.val.ulVal);
            line += value;
        }
        list.push_back(line);
    }
    return list;
}

// Feeds the bytes in chunks of `size`; what the last call returned.
inline INT Receive(CKezCEPacket& packet, const Bytes& bytes, std::size_t size = 0) {
    if (size == 0) size = bytes.size();
    INT result = -2;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        const std::size_t chunk = std::min(size, bytes.size() - at);
        result = packet.SetNextBytes(bytes.data() + at, static_cast<INT>(chunk));
    }
    return result;
}

}  // namespace kez::tests
