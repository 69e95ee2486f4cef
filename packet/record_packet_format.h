// The numbers of the record packet: offsets and sizes in bytes. What they mean is told in record_packet.h.
#pragma once

#include <windbase.h>

namespace record_packet {

// The header.
inline constexpr DWORD kLengthOffset = 0;  // 4 bytes
inline constexpr DWORD kOidOffset = 4;     // 4 bytes
inline constexpr DWORD kCountOffset = 8;   // 2 bytes
inline constexpr DWORD kHeaderBytes = 10;

// A property entry.
inline constexpr DWORD kEntryBytes = 16;
inline constexpr DWORD kEntryPropidOffset = 0;  // 4 bytes
inline constexpr DWORD kEntryLengthOffset = 4;  // 2 bytes
inline constexpr DWORD kEntryFlagsOffset = 6;   // 2 bytes
inline constexpr DWORD kEntryValueOffset = 8;   // 8 bytes

// Zero bytes behind the data.
inline constexpr DWORD kSlackBytes = 100;

// Limits. The largest packet is this system's own; no record of a handheld comes near it.
inline constexpr DWORD kMaxProperties = 0xFFFF;
inline constexpr DWORD kMaxPacketBytes = 0x10000000;

}  // namespace record_packet
