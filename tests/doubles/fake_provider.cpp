#include "tests/doubles/fake_provider.h"

#include <cstring>

namespace {

kez::tests::FakeProvider g_fake;

std::string Name(const WCHAR* text) {
    std::string name;
    for (; text && *text; ++text) name += static_cast<char>(*text);
    return text ? name : "NULL";
}

void Expect(bool right, const char* what) {
    if (!right) g_fake.oddities.push_back(what);
}

class Handler : public IReplObjHandler {
 public:
    Handler() { ++g_fake.liveHandlers; }
    virtual ~Handler() { --g_fake.liveHandlers; }
    HRESULT QueryInterface(REFIID, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return static_cast<ULONG>(++m_references); }
    ULONG Release() override {
        const int left = --m_references;
        if (left == 0) delete this;
        return static_cast<ULONG>(left);
    }
    HRESULT Setup(REPLSETUP* setup) override {
        g_fake.calls.push_back("Setup " + std::string(setup->fRead ? "read " : "write ") + std::to_string(setup->oid) +
                               (setup->dwFlags & RSF_NEW_OBJECT ? " new" : ""));
        Expect(setup->cbStruct == sizeof *setup, "REPLSETUP.cbStruct");
        Expect(setup->oidNew == 0 && setup->hr == S_OK && setup->pNotify == nullptr, "REPLSETUP");
        Expect(setup->lpbVolumeID == nullptr && setup->cbVolumeID == 0, "REPLSETUP volume");
        (setup->fRead ? m_read : m_write) = setup;
        m_next = 0;
        g_fake.received.clear();
        return S_OK;
    }
    HRESULT Reset(REPLSETUP* setup) override {
        g_fake.calls.push_back(setup->fRead ? "Reset read" : "Reset write");
        return S_OK;
    }
    HRESULT GetPacket(LPBYTE* packet, DWORD* size, DWORD recommend) override {
        g_fake.calls.push_back("GetPacket " + std::to_string(recommend));
        *packet = nullptr;
        *size = 0;
        if (m_next >= g_fake.pieces.size()) return RWRN_LAST_PACKET;
        std::string& piece = g_fake.pieces[m_next++];
        *packet = reinterpret_cast<LPBYTE>(piece.data());
        *size = static_cast<DWORD>(piece.size());
        return m_next == g_fake.pieces.size() && !g_fake.lastIsEmpty ? RWRN_LAST_PACKET : g_fake.pieceResult;
    }
    HRESULT SetPacket(LPBYTE packet, DWORD size) override {
        g_fake.calls.push_back("SetPacket " + std::to_string(size));
        g_fake.received.append(reinterpret_cast<char*>(packet), size);
        m_write->oidNew = g_fake.oidNew;
        return g_fake.setResult;
    }
    HRESULT DeleteObj(REPLSETUP* setup) override {
        g_fake.calls.push_back("DeleteObj " + std::to_string(setup->oid));
        Expect(setup->cbStruct == sizeof *setup && !setup->fRead, "REPLSETUP of a deletion");
        return g_fake.deleteResult;
    }

 private:
    int m_references = 1;
    REPLSETUP* m_read = nullptr;
    REPLSETUP* m_write = nullptr;
    std::size_t m_next = 0;
};

}  // namespace

extern "C" {

kez::tests::FakeProvider* TheFakeProvider() { return &g_fake; }

BOOL InitObjType(LPWSTR type, IReplObjHandler** handler, UINT partnerBit) {
    g_fake.calls.push_back("InitObjType " + (type ? Name(type) : std::string("NULL")) + " " +
                           std::to_string(partnerBit));
    if (!type || g_fake.refuseType) return FALSE;
    *handler = new Handler;
    return TRUE;
}

BOOL ObjectNotify(OBJNOTIFY* notify) {
    std::string what = "ObjectNotify " + Name(notify->szObjType);
    if (notify->uFlags & ONF_CLEAR_CHANGE) what += " clear " + std::to_string(notify->oidObject);
    if (notify->oidInfo.wObjType == OBJTYPE_FILE) what += " " + Name(notify->oidInfo.infFile.szFileName);
    if (notify->uFlags & ONF_CHANGED) what += " changed";
    g_fake.calls.push_back(what);
    Expect(notify->cbStruct == sizeof *notify, "OBJNOTIFY.cbStruct");
    Expect(notify->uPartnerBit == 1 || notify->uPartnerBit == 2, "OBJNOTIFY.uPartnerBit");
    Expect(notify->oidInfo.wObjType == (notify->uFlags & ONF_FILE ? OBJTYPE_FILE : OBJTYPE_RECORD), "OBJNOTIFY kind");
    Expect(notify->cOidChg == 0 && notify->cOidDel == 0 && notify->poid == nullptr, "OBJNOTIFY");
    if (!(notify->uFlags & ONF_CHANGED)) return FALSE;
    notify->poid = g_fake.noticed.data();
    notify->cOidChg = g_fake.noticedChanged;
    notify->cOidDel = static_cast<UINT>(g_fake.noticed.size()) - g_fake.noticedChanged;
    return TRUE;
}

HRESULT GetObjTypeInfo(OBJTYPEINFO* info) {
    g_fake.calls.push_back("GetObjTypeInfo " + Name(info->szObjType));
    Expect(info->cbStruct == sizeof *info && info->cObjects == 0, "OBJTYPEINFO");
    if (g_fake.cannotCount) return 0;
    info->cObjects = g_fake.count;
    return 1;
}

BOOL ReportStatus(LPWSTR type, UINT code, UINT parameter) {
    g_fake.calls.push_back("ReportStatus " + (type ? Name(type) : std::string("NULL")) + " " + std::to_string(code) +
                           " " + std::to_string(static_cast<int>(parameter)));
    return TRUE;
}

HRESULT FindObjects(FINDOBJINFO* find) {
    g_fake.calls.push_back("FindObjects " + Name(find->szObjType) + " " + std::to_string(find->uFlags));
    if (find->uFlags & FO_DONE_ONE_VOL) return S_OK;
    Expect(find->poid == nullptr && find->cUnChg == 0 && find->cChg == 0, "FINDOBJINFO");
    if (FAILED(g_fake.listResult) || g_fake.listNothing) return g_fake.listResult;
    // Where it stands in the volumes is parked in what the engine keeps for it.
    std::size_t& volume = *reinterpret_cast<std::size_t*>(&find->lpvUser);
    if (volume < g_fake.volumes.size()) find->uFlags |= FO_MORE_VOLUME;
    if (volume > 0) {
        std::vector<UINT>& list = g_fake.volumes[volume - 1];
        find->poid = list.data();
        find->cUnChg = static_cast<UINT>(list.size());
        ++volume;
        return S_OK;
    }
    ++volume;
    find->poid = g_fake.list.data();
    find->cUnChg = g_fake.unchanged;
    find->cChg = g_fake.changed;
    return S_OK;
}

HRESULT SyncData(SDREQUEST* request) {
    g_fake.calls.push_back("SyncData " + Name(request->szObjType) + " " + std::to_string(request->uCode));
    return S_OK;
}

}  // extern "C"
