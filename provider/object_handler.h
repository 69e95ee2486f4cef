// The object handler of one folder: through it the engine moves records in packets, one at a time each way.
//
// The engine calls Setup, then GetPacket until it answers RWRN_LAST_PACKET (or SetPacket for each packet it has),
// then Reset. A read and a write may overlap; DeleteObj needs neither Setup nor Reset. Packet memory that GetPacket
// hands out stays this handler's, good until the next GetPacket or Reset.
#pragma once

#include <cesync.h>

#include "database/kez_asp_db.h"
#include "packet/record_packet.h"

class CBaseFolder;

class CKEZASPContactObjHandler : public IReplObjHandler {
 public:
    // Neither `folder` nor `database` becomes the handler's; both must outlive its transfers. The count starts at 1.
    CKEZASPContactObjHandler(CBaseFolder* folder, CKezAspDB* database);
    CKEZASPContactObjHandler(const CKEZASPContactObjHandler&) = delete;
    CKEZASPContactObjHandler& operator=(const CKEZASPContactObjHandler&) = delete;

    // Answers itself to every identifier.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE Setup(REPLSETUP* setup) override;
    HRESULT STDMETHODCALLTYPE Reset(REPLSETUP* setup) override;
    // A record that cannot be read is an empty last packet, not an error. `recommend` bounds the packet's size.
    HRESULT STDMETHODCALLTYPE GetPacket(LPBYTE* packet, DWORD* size, DWORD recommend) override;
    // S_OK also where the record could not be written: oidNew of the setup then stays as it was.
    HRESULT STDMETHODCALLTYPE SetPacket(LPBYTE packet, DWORD size) override;
    // S_OK also where the deletion failed: the log alone tells.
    HRESULT STDMETHODCALLTYPE DeleteObj(REPLSETUP* setup) override;

    // Behind the interface's slots. Packets that are still held are not given back: Reset does that.
    virtual ~CKEZASPContactObjHandler();

 private:
    void WriteReceivedRecord();

    volatile LONG m_cRef = 1;
    BYTE m_bDeleteBusy = 0;
    BYTE m_bBusy = 0;
    CBaseFolder* m_pFolder;
    CKezAspDB* m_pDB;
    REPLSETUP* m_pReadSetup = nullptr;  // the engine's
    CKezCEPacket* m_pReadPacket = nullptr;
    REPLSETUP* m_pWriteSetup = nullptr;  // the engine's
    CKezCEPacket* m_pWritePacket = nullptr;
};
