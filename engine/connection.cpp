#include "engine/connection.h"

#include <algorithm>
#include <set>
#include <utility>

namespace kez::engine {
namespace {

using sync::ItemType;

constexpr WCHAR kChangeFile[] = TEXT("\\KezChgFile.kez");
constexpr const WCHAR* kSweptFiles[] = {TEXT("\\pim.vol"), TEXT("\\KezDBNotify.vol"), kChangeFile};

// A record larger than this is not believed: a provider that never ends would otherwise fill the memory.
constexpr std::size_t kLargestRecord = std::size_t{1} << 30;

std::size_t Index(ItemType type) { return static_cast<std::size_t>(type); }

void CopyTypeName(WCHAR (&to)[MAX_OBJTYPE_NAME], ItemType type) {
    const std::u16string& name = ObjectTypeName(type);
    std::copy(name.begin(), name.end(), to);
    to[name.size()] = 0;
}

REPLSETUP MakeSetup(ItemType type, BOOL read, CEOID oid, DWORD flags) {
    REPLSETUP setup{};
    setup.cbStruct = sizeof setup;
    setup.fRead = read;
    setup.dwFlags = flags;
    setup.oid = oid;
    CopyTypeName(setup.szObjType, type);
    return setup;
}

std::string Narrow(const std::u16string& text) { return {text.begin(), text.end()}; }

}  // namespace

const std::u16string& ObjectTypeName(ItemType type) {
    static const std::u16string names[] = {u"KEZContact", u"KEZTask", u"KEZAppointment"};
    return names[Index(type)];
}

Connection::Connection(ProviderLibrary& provider, ConnectionOptions options)
    : m_provider(provider), m_options(std::move(options)) {
    m_options.recommendedSize = std::clamp<DWORD>(m_options.recommendedSize, 4, MAX_PACKET_SIZE);
    for (const ItemType type : m_options.types) {
        std::u16string name = ObjectTypeName(type);  // writable: the prototype is not const
        IReplObjHandler* handler = nullptr;
        if (!m_provider.InitObjType(name.data(), &handler, m_options.partnerBit) || !handler) {
            ReleaseHandlers();
            throw ProviderError("the provider refuses the type " + Narrow(ObjectTypeName(type)));
        }
        m_handlers[Index(type)] = handler;
    }
    Status(RSC_CONNECTION_CHG, TRUE);
    Status(RSC_BEGIN_SYNC, 0);
    Sweep();
}

Connection::~Connection() {
    Status(RSC_END_SYNC, 0);
    Status(RSC_CONNECTION_CHG, FALSE);
    Status(RSC_RELEASE, 0);
    ReleaseHandlers();
}

void Connection::ReleaseHandlers() {
    m_provider.InitObjType(nullptr, nullptr, m_options.partnerBit);
    for (IReplObjHandler*& handler : m_handlers) {
        if (handler) std::exchange(handler, nullptr)->Release();
    }
}

IReplObjHandler& Connection::Handler(ItemType type) {
    if (!m_handlers[Index(type)]) throw ProviderError("the type " + Narrow(ObjectTypeName(type)) + " is not connected");
    return *m_handlers[Index(type)];
}

void Connection::Status(ItemType type, UINT code, UINT parameter) {
    std::u16string name = ObjectTypeName(type);
    m_provider.ReportStatus(name.data(), code, parameter);
}

void Connection::Status(UINT code, UINT parameter) { m_provider.ReportStatus(nullptr, code, parameter); }

HRESULT Connection::Request(ItemType type, UINT code) {
    SDREQUEST request{};
    CopyTypeName(request.szObjType, type);
    request.fSet = TRUE;
    request.uCode = code;
    return m_provider.SyncData(&request);
}

void Connection::Find(std::string what) { m_findings.push_back(std::move(what)); }

std::vector<std::string> Connection::TakeFindings() { return std::exchange(m_findings, {}); }

// --- Listing ----------------------------------------------------------------------------------------------

bool Connection::CountItems(ItemType type, UINT& count) {
    OBJTYPEINFO info{};
    info.cbStruct = sizeof info;
    CopyTypeName(info.szObjType, type);
    if (m_provider.GetObjTypeInfo(&info) == 0) return false;
    count = info.cObjects;
    return true;
}

// Each file of the device is shown to each type once after connecting, without a change flag.
void Connection::Sweep() {
    m_changeFileSeen = GetFileAttributesW(kChangeFile) != INVALID_FILE_ATTRIBUTES;
    for (const ItemType type : m_options.types) {
        for (const WCHAR* file : kSweptFiles) {
            if (GetFileAttributesW(file) != INVALID_FILE_ATTRIBUTES) NotifyFile(type, file, 0, nullptr);
        }
    }
}

void Connection::NotifyFile(ItemType type, const std::u16string& path, UINT flags, ObjectList* list) {
    OBJNOTIFY notify{};
    notify.cbStruct = sizeof notify;
    CopyTypeName(notify.szObjType, type);
    notify.uFlags = ONF_FILE | flags;
    notify.uPartnerBit = m_options.partnerBit;
    notify.oidInfo.wObjType = OBJTYPE_FILE;
    std::copy(path.begin(), path.end(), notify.oidInfo.infFile.szFileName);
    if (!m_provider.ObjectNotify(&notify) || !list) return;
    // The memory stays the provider's and is valid until the next notification: it is copied at once.
    for (UINT i = 0; notify.poid && i < notify.cOidChg + notify.cOidDel; ++i) {
        const CEOID oid = notify.poid[i];
        if (oid == 0) {
            Find("a notification of " + Narrow(ObjectTypeName(type)) + " lists the identifier 0");
        } else {
            (i < notify.cOidChg ? list->changed : list->deleted).push_back(oid);
        }
    }
}

ObjectList Connection::List(ItemType type) {
    ObjectList list;
    FINDOBJINFO find{};
    CopyTypeName(find.szObjType, type);
    const std::string name = Narrow(ObjectTypeName(type));
    do {
        find.uFlags &= ~FO_MORE_VOLUME;
        find.poid = nullptr;
        find.cUnChg = find.cChg = 0;
        const HRESULT result = m_provider.FindObjects(&find);
        if (FAILED(result)) {
            Find("the listing of " + name + " failed");
            list.untouched = true;
            break;
        }
        if (!find.poid) {
            list.untouched = true;
        } else {
            for (UINT i = 0; i < find.cUnChg + find.cChg; ++i) {
                if (find.poid[i] == 0) {
                    // Changed identifiers stand at the end of the provider's array; a gap hides as many of them.
                    list.incomplete = true;
                    Find("the listing of " + name + " has a gap at position " + std::to_string(i));
                    continue;
                }
                (i < find.cUnChg ? list.unchanged : list.changed).push_back(find.poid[i]);
            }
        }
        const bool more = (find.uFlags & FO_MORE_VOLUME) != 0;
        find.uFlags = FO_DONE_ONE_VOL;
        m_provider.FindObjects(&find);
        find.uFlags = more ? FO_MORE_VOLUME : 0;
    } while (find.uFlags & FO_MORE_VOLUME);

    if (m_changeFileSeen) {
        // The provider deletes the file when the first type is told; the others are told all the same.
        ObjectList noticed;
        NotifyFile(type, kChangeFile, ONF_CHANGED, &noticed);
        list.deleted = std::move(noticed.deleted);
        const std::set<CEOID> newlyChanged(noticed.changed.begin(), noticed.changed.end());
        std::erase_if(list.unchanged, [&](CEOID oid) { return newlyChanged.count(oid) != 0; });
        for (const CEOID oid : newlyChanged) {
            if (std::find(list.changed.begin(), list.changed.end(), oid) == list.changed.end())
                list.changed.push_back(oid);
        }
    }
    return list;
}

// --- Moving items -----------------------------------------------------------------------------------------

HRESULT Connection::Upload(ItemType type, CEOID oid, std::string& packet) {
    packet.clear();
    IReplObjHandler& handler = Handler(type);
    REPLSETUP setup = MakeSetup(type, TRUE, oid, 0);
    HRESULT result = handler.Setup(&setup);
    while (SUCCEEDED(result)) {
        LPBYTE piece = nullptr;
        DWORD size = 0;
        result = handler.GetPacket(&piece, &size, m_options.recommendedSize);
        if (FAILED(result)) break;
        if (size > MAX_PACKET_SIZE || (size != 0 && !piece) || packet.size() + size > kLargestRecord) {
            Find("a packet of " + std::to_string(size) + " bytes was handed out for oid " + std::to_string(oid));
            result = RERR_BAD_OBJECT;
            break;
        }
        packet.append(reinterpret_cast<const char*>(piece), size);
        if (result == RWRN_LAST_PACKET) break;
        if (size == 0) {
            Find("an empty packet that is not the last was handed out for oid " + std::to_string(oid));
            result = RERR_BAD_OBJECT;
        }
    }
    handler.Reset(&setup);
    return result;
}

HRESULT Connection::Download(ItemType type, CEOID oid, const std::string& packet, CEOID& written) {
    written = 0;
    IReplObjHandler& handler = Handler(type);
    REPLSETUP setup = MakeSetup(type, FALSE, oid, oid == 0 ? RSF_NEW_OBJECT : 0);
    HRESULT result = handler.Setup(&setup);
    for (std::size_t at = 0; SUCCEEDED(result) && at < packet.size();) {
        // The provider gets a copy that is overwritten afterwards: the memory is its own during the call only.
        std::string piece = packet.substr(at, m_options.recommendedSize);
        at += piece.size();
        result = handler.SetPacket(reinterpret_cast<LPBYTE>(piece.data()), static_cast<DWORD>(piece.size()));
        std::fill(piece.begin(), piece.end(), '\xDD');
    }
    written = setup.oidNew;
    handler.Reset(&setup);
    if (FAILED(result) || written == 0)
        Status(type, RSC_WRITE_OBJ_FAILED, static_cast<UINT>(FAILED(result) ? result : E_FAIL));
    return result;
}

HRESULT Connection::Delete(ItemType type, CEOID oid) {
    REPLSETUP setup = MakeSetup(type, FALSE, oid, 0);
    const HRESULT result = Handler(type).DeleteObj(&setup);
    if (FAILED(result)) Status(type, RSC_DELETE_OBJ_FAILED, static_cast<UINT>(result));
    return result;
}

void Connection::Acknowledge(ItemType type, CEOID oid) {
    OBJNOTIFY notify{};
    notify.cbStruct = sizeof notify;
    CopyTypeName(notify.szObjType, type);
    notify.uFlags = ONF_RECORD | ONF_CLEAR_CHANGE;
    notify.uPartnerBit = m_options.partnerBit;
    notify.oidObject = oid;
    notify.oidInfo.wObjType = OBJTYPE_RECORD;
    m_provider.ObjectNotify(&notify);
}

}  // namespace kez::engine
