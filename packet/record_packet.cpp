// The packet as an object: its beginning and end, what it can be asked, and how its blocks are released.
#include "packet/record_packet.h"

#include "packet/wire.h"
#include "trace/trace_log.h"

using namespace record_packet;

CKezCEPacket::CKezCEPacket()
    : m_dwAck(0),
      m_dwPropLen(0),
      m_pData(nullptr),
      m_pPacket(nullptr),
      m_pRcvPacket(nullptr),
      m_PacketBytes(0),
      m_dwOid(0),
      m_wPropCount(0),
      m_vProps(nullptr),
      m_pPropList(nullptr),
      m_pSpare(nullptr),
      m_bAllowBlobs(TRUE) {}

CKezCEPacket::~CKezCEPacket() {
    dbglog(50, "CKezCEPacket::~CKezCEPacket");
    FreePacketBuffer();
}

void CKezCEPacket::SetAllowBlobs(BOOL allow) { m_bAllowBlobs = allow; }

// Properties that can be read from the array: those of the packet in the buffer, whatever was added or deleted since.
WORD CKezCEPacket::ReadableCount() const {
    if (!m_vProps) return 0;
    const WORD inPacket = Get16(m_pPacket + kCountOffset);
    return m_wPropCount < inPacket ? m_wPropCount : inPacket;
}

INT CKezCEPacket::GetPropList(CEPROPVAL** properties, WORD* count) {
    dbglog(50, "CKezCEPacket::GetPropList+");
    *properties = m_vProps;
    *count = ReadableCount();
    dbglog(50, "CKezCEPacket::GetPropList-");
    return m_PacketBytes;
}

void CKezCEPacket::FreeReceivedValues() {
    // The array has the header's count of entries; those behind a walk that stopped early are zero.
    const WORD entries = Get16(m_pPacket + kCountOffset);
    for (WORD i = 0; i < entries; ++i) {
        CEPROPVAL& property = m_vProps[i];
        switch (TypeFromPropID(property.propid)) {
            case CEVT_LPWSTR:
                delete[] property.val.lpwstr;
                property.val.lpwstr = nullptr;
                break;
            case CEVT_BLOB:
                delete[] property.val.blob.lpb;
                property.val.blob = {};
                break;
            default:
                break;
        }
    }
    LocalFree(m_vProps);
    m_vProps = nullptr;
}

void CKezCEPacket::FreeNewPacketMethod() {
    dbglog(25, "KEZCEPacket::FreeNewPacketMethod +");
    if (m_pRcvPacket && m_pRcvPacket == m_pPacket && m_vProps) {
        dbglog(25, "KEZCEPacket::FreeNewPacketMethod() - Freeing new packet method memory");
        dbglog(25, "Freeing props (%i count)", m_wPropCount);
        FreeReceivedValues();
        m_pRcvPacket = nullptr;
    }
    dbglog(25, "KEZCEPacket::FreeNewPacketMethod -");
}

// Releases the buffer with all that belongs to it, and leaves the object without a packet.
void CKezCEPacket::FreeBuffer() {
    if (!m_pPacket) return;
    FreeNewPacketMethod();
    if (!kArrayIsWireImage && m_vProps) LocalFree(m_vProps);
    LocalFree(m_pPacket);
    m_pPacket = nullptr;
    m_pRcvPacket = nullptr;
    m_pData = nullptr;
    m_vProps = nullptr;
    m_PacketBytes = 0;
    m_wPropCount = 0;
    m_dwAck = 0;
}

void CKezCEPacket::FreePacketBuffer() {
    dbglog(50, "CKezCEPacket::FreePacketBuffer");
    FreeBuffer();
    ListClean();
    if (m_pSpare) LocalFree(m_pSpare);
    m_pSpare = nullptr;
}
