// Chunks: the packet's bytes handed out and taken in piece by piece.
#include "packet/record_packet.h"
#include "packet/wire.h"
#include "trace/trace_log.h"

using namespace record_packet;

DWORD CKezCEPacket::GetNextBytes(BYTE** data, DWORD* bytes, INT recommend) {
    dbglog(50, "CKezCEPacket::GetNextBytes+ ");  // the blank keeps it from indenting: on purpose
    if (m_dwAck == 0) dbglog(25, "CKezCEPacket::GetNextBytes Total Packet Size - %d...", m_PacketBytes);
    const INT available = m_pPacket ? m_PacketBytes - static_cast<INT>(m_dwAck) : 0;
    const INT wanted = recommend < 0 ? 0 : recommend;
    *data = m_pPacket ? m_pPacket + m_dwAck : nullptr;
    *bytes = static_cast<DWORD>(available > wanted ? wanted : available);
    m_dwAck += *bytes;
    const DWORD remaining = static_cast<DWORD>(available) - *bytes;
    dbglog(50, "CKezCEPacket::GetNextBytes- Packet Size (%d) Recommended (%d)", *bytes, recommend);
    dbglog(0, "CKezCEPacket::GetNextBytes- (%lu remaining) -", remaining);
    return remaining;
}

// Lets go of what has come so far and of the rest that may follow. Always -1.
INT CKezCEPacket::RefusePacket() {
    FreeBuffer();
    m_dwAck = 1;  // no later chunk is taken for a first one
    return -1;
}

// Makes the buffer for the packet that begins with this chunk. False where it cannot be, after a trace.
bool CKezCEPacket::BeginReceiving(const BYTE* data, INT bytes) {
    if (bytes < static_cast<INT>(sizeof(DWORD))) {
        dbglog(0, "CKezCEPacket::SetNextBytes ERR: first chunk of %d bytes has no length -", bytes);
        return false;
    }
    const INT declared = static_cast<INT>(Get32(data + kLengthOffset));
    if (declared < static_cast<INT>(kHeaderBytes) || declared > static_cast<INT>(kMaxPacketBytes)) {
        dbglog(0, "CKezCEPacket::SetNextBytes ERR: no packet has %d bytes -", declared);
        return false;
    }
    dbglog(25, "CKezCEPacket::SetNextBytes Allocate Memory");
    if (m_pPacket) {
        dbglog(25, "CKezCEPacket::SetNextBytes Freeing previous packet");
        FreeBuffer();
    }
    m_pPacket = static_cast<BYTE*>(LocalAlloc(LPTR, static_cast<SIZE_T>(declared)));
    m_pRcvPacket = m_pPacket;
    if (!m_pPacket) {
        dbglog(0, "CKezCEPacket::Set-OUT_OF_MEMORY-");
        return false;
    }
    m_PacketBytes = declared;
    dbglog(25, "CKezCEPacket::SetNextBytes Allocated %i bytes for packet", m_PacketBytes);
    return true;
}

INT CKezCEPacket::SetNextBytes(const BYTE* data, INT bytes) {
    dbglog(50, "CKezCEPacket::SetNextBytes +");
    if (bytes < 0 || (bytes > 0 && !data)) {
        dbglog(0, "CKezCEPacket::SetNextBytes ERR: no chunk (%d bytes) -", bytes);
        return RefusePacket();
    }
    if (m_dwAck == 0) {
        if (!BeginReceiving(data, bytes)) return RefusePacket();
    } else if (!m_pRcvPacket) {
        dbglog(0, "CKezCEPacket::SetNextBytes ERR: no packet that this chunk continues -");
        return RefusePacket();
    }

    const INT expected = m_PacketBytes - static_cast<INT>(m_dwAck);
    INT remaining = expected - bytes;
    if (remaining < 0 || expected == 0) {
        dbglog(0, "CKezCEPacket::SetNextBytes ERR: %d bytes where %d were expected", bytes, expected);
        RefusePacket();
        dbglog(0, "CKezCEPacket::SetNextBytes- (%lu remaining) -", remaining);
        return remaining;
    }
    dbglog(25, "CKezCEPacket::SetNextBytes Do Memcpy");
    if (bytes > 0) std::memcpy(m_pPacket + m_dwAck, data, static_cast<std::size_t>(bytes));
    m_dwAck += static_cast<DWORD>(bytes);
    if (remaining == 0) {
        dbglog(25, "m_dwAck = %i, m_PacketBytes = %i, cbPacket = %i, localSize = %i", m_dwAck, m_PacketBytes, bytes,
               static_cast<DWORD>(LocalSize(m_pPacket)));
        dbglog(25, "CKezCEPacket::SetNextBytes RcvFini");
        if (RcvFini() < 0) {
            dbglog(0, "CKezCEPacket::SetNextBytes ERR: packet refused -");
            return RefusePacket();
        }
    }
    dbglog(0, "CKezCEPacket::SetNextBytes- (%lu remaining) -", remaining);
    return remaining;
}
