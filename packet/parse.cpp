// Parsing: from the bytes of a received packet to a property array with values of its own.
//
// The bytes come from outside. The count must fit the length before the array is made, and every text and blob must
// end inside the packet before it is copied; the sender's addresses are never looked at.
#include <new>

#include "packet/record_packet.h"
#include "packet/wire.h"
#include "trace/trace_log.h"

using namespace record_packet;

namespace {

DWORD DataBytes(const CEPROPVAL& property) {
    if (property.wFlags != 0) return 0;
    switch (TypeFromPropID(property.propid)) {
        case CEVT_LPWSTR:
            return property.wLenData / 2 * 2;
        case CEVT_BLOB:
            return property.val.blob.dwCount;
        default:
            return 0;
    }
}

// A text of no bytes at all is an empty one.
LPWSTR NewText(const BYTE* data, DWORD bytes) {
    const std::size_t characters = bytes != 0 ? bytes / 2 : 1;
    WCHAR* text = new (std::nothrow) WCHAR[characters];
    if (!text) return nullptr;
    std::memcpy(text, data, bytes);
    text[characters - 1] = 0;
    return text;
}

LPBYTE NewBlob(const BYTE* data, DWORD bytes) {
    BYTE* blob = new (std::nothrow) BYTE[bytes];
    if (blob) std::memcpy(blob, data, bytes);
    return blob;
}

}  // namespace

INT CKezCEPacket::RcvFini() {
    if (m_PacketBytes < 1 || !m_pRcvPacket) return 0;
    dbglog(50, "CKezCEPacket::RcvFini +");
    if (m_vProps) FreeReceivedValues();
    m_PacketBytes = static_cast<INT>(Get32(m_pPacket + kLengthOffset));
    m_dwOid = Get32(m_pPacket + kOidOffset);
    m_wPropCount = Get16(m_pPacket + kCountOffset);
    if (kHeaderBytes + kEntryBytes * m_wPropCount > static_cast<DWORD>(m_PacketBytes)) {
        dbglog(0, "CKezCEPacket::RcvFini ERR: %d properties do not fit into %d bytes -", m_wPropCount, m_PacketBytes);
        return RefusePacket();
    }
    m_vProps = static_cast<CEPROPVAL*>(LocalAlloc(LPTR, m_wPropCount * sizeof(CEPROPVAL)));
    if (!m_vProps) {
        dbglog(0, "CKezCEPacket::RcvFini-OUT_OF_MEMORY-");
        return RefusePacket();
    }
    dbglog(50, "CKezCEPacket::RcvFini m_vProps = 0x%08x, iMemSize = %i, PacketBytes = %i", AddressOnWire(m_vProps),
           kEntryBytes * m_wPropCount, m_PacketBytes);
    m_pData = m_pPacket + kHeaderBytes + kEntryBytes * m_wPropCount;
    if (!ParseEntries()) {
        dbglog(0, "CKezCEPacket::RcvFini-OUT_OF_MEMORY-");
        return RefusePacket();
    }
    dbglog(0, "CKezCEPacket::RcvFini- %lu Prop Count -", m_wPropCount);
    return m_PacketBytes;
}

// False where memory ran out.
bool CKezCEPacket::ParseEntries() {
    const BYTE* const end = m_pPacket + m_PacketBytes;
    const BYTE* cursor = m_pData;
    const BYTE* entry = m_pPacket + kHeaderBytes;
    for (WORD i = 0; i < m_wPropCount; ++i, entry += kEntryBytes) {
        CEPROPVAL& property = m_vProps[i];
        GetEntry(entry, &property);
        if (property.wFlags != 0) {
            dbglog(25, "Property with wFlags = %i (0x%08x)", property.wFlags, property.propid);
            continue;
        }
        const DWORD bytes = DataBytes(property);
        if (bytes > static_cast<std::size_t>(end - cursor)) {
            dbglog(0, "CKezCEPacket::RcvFini::RAN OUT OF BUFFER! pbyte==%lu", AddressOnWire(cursor) + bytes);
            property = {};
            m_wPropCount = i;
            break;
        }
        switch (TypeFromPropID(property.propid)) {
            case CEVT_LPWSTR:
                property.val.lpwstr = NewText(cursor, bytes);
                if (!property.val.lpwstr) return false;
                break;
            case CEVT_BLOB:
                property.val.blob.lpb = NewBlob(cursor, bytes);
                if (!property.val.blob.lpb) return false;
                dbglog(25, "Property of type CEVT_BLOB, 0x%08x, size = %i, bytes = 0x%08x", property.propid, bytes,
                       AddressOnWire(property.val.blob.lpb));
                break;
            default:
                break;
        }
        cursor += bytes;
    }
    return true;
}
