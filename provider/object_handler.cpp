// The object handler: Setup and Reset, sending, receiving, deleting.
#include "provider/object_handler.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

constexpr HRESULT kHandlerBusy = RERR_TRY_AGAIN;

// The length that a first packet declares for the whole record, as far as this packet goes.
DWORD RawLength(const BYTE* packet, DWORD size) {
    DWORD declared = 0;
    if (packet == nullptr || size < sizeof declared) return 0;
    std::memcpy(&declared, packet, sizeof declared);
    return std::min(declared, size);
}

// A packet has virtual operations but no virtual destructor, so it is destroyed as what it is.
void DestroyPacket(CKezCEPacket** packet) {
    if (*packet == nullptr) return;
    (*packet)->CKezCEPacket::~CKezCEPacket();
    ::operator delete(*packet);
    *packet = nullptr;
}

// Clears DELETEBUSY whichever way the deletion ends.
class DeleteBusyGuard {
 public:
    explicit DeleteBusyGuard(BYTE* flag) : m_flag(flag) {
        dbglog(50, "CKEZASPContactObjHandler::DeleteObj::Set DELETEBUSY");
        *m_flag = 1;
    }
    ~DeleteBusyGuard() {
        dbglog(50, "CKEZASPContactObjHandler::DeleteObj::Clear DELETEBUSY");
        *m_flag = 0;
    }
    DeleteBusyGuard(const DeleteBusyGuard&) = delete;
    DeleteBusyGuard& operator=(const DeleteBusyGuard&) = delete;

 private:
    BYTE* m_flag;
};

}  // namespace

CKEZASPContactObjHandler::CKEZASPContactObjHandler(CBaseFolder* folder, CKezAspDB* database)
    : m_pFolder(folder), m_pDB(database) {
    dbglog(50, "CKEZASPContactObjHandler::CKEZASPContactObjHandler");
}

CKEZASPContactObjHandler::~CKEZASPContactObjHandler() {
    dbglog(50, "CKEZASPContactObjHandler::~CKEZASPContactObjHandler");
}

HRESULT CKEZASPContactObjHandler::QueryInterface(REFIID, void** out) {
    if (out == nullptr) return E_INVALIDARG;
    *out = this;
    AddRef();
    return S_OK;
}

ULONG CKEZASPContactObjHandler::AddRef() {
    dbglog(50, "CKEZASPContactObjHandler::AddRef");
    return static_cast<ULONG>(InterlockedIncrement(&m_cRef));
}

ULONG CKEZASPContactObjHandler::Release() {
    dbglog(50, "CKEZASPContactObjHandler::Release");
    const LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0) delete this;
    return static_cast<ULONG>(count);
}

HRESULT CKEZASPContactObjHandler::Setup(REPLSETUP* setup) {
    if (setup == nullptr) return E_INVALIDARG;
    // A packet that is still held is overwritten and not given back, on purpose.
    if (setup->fRead) {
        dbglog(50, "CKEZASPContactObjHandler::Setup::READ +");
        m_pReadSetup = setup;
        m_pReadPacket = new (std::nothrow) CKezCEPacket;
    } else {
        dbglog(50, "CKEZASPContactObjHandler::Setup::WRITE +");
        m_pWriteSetup = setup;
        m_pWritePacket = new (std::nothrow) CKezCEPacket;
    }
    return S_OK;
}

HRESULT CKEZASPContactObjHandler::Reset(REPLSETUP* setup) {
    if (setup == nullptr) return E_INVALIDARG;
    if (m_pDB != nullptr) m_pDB->Reset(setup);
    if (setup->fRead) {
        dbglog(50, "CKEZASPContactObjHandler::Reset::READ -");
        m_pReadSetup = nullptr;
        DestroyPacket(&m_pReadPacket);
    } else {
        dbglog(50, "CKEZASPContactObjHandler::Reset::WRITE -");
        m_pWriteSetup = nullptr;
        DestroyPacket(&m_pWritePacket);
    }
    return S_OK;
}

HRESULT CKEZASPContactObjHandler::GetPacket(LPBYTE* packet, DWORD* size, DWORD recommend) {
    if (packet == nullptr || size == nullptr) return E_INVALIDARG;
    dbglog(50, "CKEZASPContactObjHandler::GetPacket+");
    dbglogREPLSETUP(50, "CKEZASPContactObjHandler::GetPacket::m_pReadSetup", m_pReadSetup);
    *packet = nullptr;
    *size = 0;

    const bool ready = m_pReadPacket != nullptr && m_pReadSetup != nullptr;
    const bool needsFilling = !ready || m_pReadPacket->m_PacketBytes == 0 ||
                              static_cast<LONG>(m_pReadPacket->m_dwAck) >= m_pReadPacket->m_PacketBytes;
    if (needsFilling) {
        const bool filled = ready && m_pDB->DBFillPacket(m_pReadSetup->oid, *m_pReadPacket) != 0;
        if (!filled || m_pReadPacket->m_wPropCount == 0) {
            // The engine sees an empty last packet, on purpose.
            dbglog(0, "CKEZASPContactObjHandler::GetPacket DBFInd::RERR_BAD_OBJECT-");
            return RWRN_LAST_PACKET;
        }
    }

    dbglog(50, "Send (or continue sending) packets...");
    const DWORD remaining = m_pReadPacket->GetNextBytes(packet, size, static_cast<INT>(recommend));
    if (static_cast<LONG>(remaining) > 0) {
        dbglog(50, "CKEZASPContactObjHandler::GetPacket S_OK (MORE TO COME) -");
        return S_OK;
    }
    dbglog(50, "CKEZASPContactObjHandler::GetPacket RWRN_LAST_PACKET-");
    return RWRN_LAST_PACKET;
}

HRESULT CKEZASPContactObjHandler::SetPacket(LPBYTE packet, DWORD size) {
    dbglog(50, "CKEZASPContactObjHandler::SetPacket (%x) +", size);
    dbglogREPLSETUP(50, "CKEZASPContactObjHandler::SetPacket::m_pWriteSetup", m_pWriteSetup);
    dbglogBuffer(25, packet, RawLength(packet, size));
    if (m_bBusy) {
        dbglog(50, "CKEZASPContactObjHandler::SetPacket BUSY -");
        return kHandlerBusy;
    }
    if (m_bDeleteBusy) dbglog(50, "CKEZASPContactObjHandler::SetPacket DELETEBUSY");
    m_bBusy = 1;
    if (m_pWritePacket == nullptr) {
        // BUSY stays set: this handler takes no packet any more, on purpose.
        dbglog(50, "CKEZASPContactObjHandler::SetPacket WritePacket was not set. -");
        return E_POINTER;
    }

    dbglog(50, "CKEZASPContactObjHandler::SetPacket::SetNextBytes Before Packet Size %d", size);
    const INT expected = m_pWritePacket->SetNextBytes(packet, static_cast<INT>(size));
    dbglog(50, "CKEZASPContactObjHandler::SetPacket::SetNextBytes After");
    if (m_pWritePacket->GetPacketBuffer() == nullptr) {
        dbglog(0, "CKEZASPContactObjHandler::SetPacket E_OUTOFMEMORY -");
    } else if (expected >= 1) {
        dbglog(50, "CKEZASPContactObjHandler::SetPacket - AWAIT MORE PACKETS (S_OK) -");
    } else {
        WriteReceivedRecord();
    }
    m_bBusy = 0;
    return S_OK;
}

void CKEZASPContactObjHandler::WriteReceivedRecord() {
    dbglog(50, "CKEZASPContactObjHandler::SetPacket::%lu bytes received", m_pWritePacket->m_PacketBytes);
    const CEOID oid = (m_pWriteSetup->dwFlags & RSF_NEW_OBJECT) ? 0 : m_pWriteSetup->oid;
    const CEOID written = m_pDB->DBWritePacket(oid, *m_pWritePacket);
    if (written == 0) {
        dbglog(0, "CKEZASPContactObjHandler::SetPacket- DB function failed. -");
        return;
    }
    m_pWriteSetup->oidNew = written;
    dbglog(50, "CKEZASPContactObjHandler::SetPacket -");
}

HRESULT CKEZASPContactObjHandler::DeleteObj(REPLSETUP* setup) {
    if (setup == nullptr) return E_INVALIDARG;
    dbglog(50, "CKEZASPContactObjHandler::DeleteObj (%lx) +", setup->oid);
    if (m_bBusy) dbglog(0, "CKEZASPContactObjHandler::DeleteObj BUSY");
    if (m_bDeleteBusy) {
        dbglog(0, "CKEZASPContactObjHandler::DeleteObj DELETEBUSY");
        return kHandlerBusy;
    }
    HRESULT hr = S_OK;
    {
        DeleteBusyGuard busy(&m_bDeleteBusy);
        hr = m_pDB->DBDelete(setup->oid, 0);
    }
    if (FAILED(hr)) dbglog(50, "Delete failed with HRESULT = 0x%08x", hr);
    dbglog(50, "CKEZASPContactObjHandler::DeleteObj-");
    return S_OK;
}
