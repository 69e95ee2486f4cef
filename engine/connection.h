// One connection of the device's synchronisation engine with a provider, in the order in which the platform's
// engine plays it: types initialised, connection and synchronisation announced, statistics, the sweep over the file
// system, listings; then items moved one at a time; then everything taken back.
//
// What a provider must not do is checked and reported as a finding, never fatal. Calls are made on the caller's
// thread, one at a time.
#pragma once

#include <cesync.h>

#include <array>
#include <string>
#include <vector>

#include "engine/provider_library.h"
#include "sync/item.h"

namespace kez::engine {

struct ConnectionOptions {
    UINT partnerBit = 1;           // 1 or 2
    DWORD recommendedSize = 8192;  // bytes of a packet, at least 4, at most MAX_PACKET_SIZE
    std::vector<sync::ItemType> types{std::begin(sync::kAllItemTypes), std::end(sync::kAllItemTypes)};
};

// What a provider listed for a type.
struct ObjectList {
    bool untouched = false;  // success without any list: an empty type, or a failure that was not reported
    std::vector<CEOID> unchanged;
    std::vector<CEOID> changed;
    std::vector<CEOID> deleted;  // as a change notification reports them
    bool incomplete = false;     // identifiers are missing from the list
};

class Connection {
 public:
    // Begins: throws ProviderError where a type is refused.
    Connection(ProviderLibrary& provider, ConnectionOptions options);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();  // ends it

    // The number of items that the provider counts, or nothing where it cannot.
    bool CountItems(sync::ItemType type, UINT& count);

    // Lists a type, and has the provider look into its change file where that was written. The provider's change
    // flags of what is listed are cleared by this.
    ObjectList List(sync::ItemType type);

    // One item out of the device: the packet's bytes, empty where the provider cannot read the item.
    HRESULT Upload(sync::ItemType type, CEOID oid, std::string& packet);
    // One item onto the device; oid 0 is a new one. `written` is 0 where the provider wrote nothing.
    HRESULT Download(sync::ItemType type, CEOID oid, const std::string& packet, CEOID& written);
    HRESULT Delete(sync::ItemType type, CEOID oid);
    // The other side holds the item.
    void Acknowledge(sync::ItemType type, CEOID oid);

    void Status(sync::ItemType type, UINT code, UINT parameter);
    void Status(UINT code, UINT parameter);

    // The provider's own request: 1 purges everything, 2 one type, 8 the categories.
    HRESULT Request(sync::ItemType type, UINT code);

    // What the provider did that it should not have; taken once.
    std::vector<std::string> TakeFindings();

 private:
    IReplObjHandler& Handler(sync::ItemType type);
    void NotifyFile(sync::ItemType type, const std::u16string& path, UINT flags, ObjectList* list);
    void Sweep();
    void ReleaseHandlers();
    void Find(std::string what);

    ProviderLibrary& m_provider;
    ConnectionOptions m_options;
    std::array<IReplObjHandler*, 3> m_handlers{};
    bool m_changeFileSeen = false;
    std::vector<std::string> m_findings;
};

// The provider's name of a type: "KEZContact", "KEZTask", "KEZAppointment".
const std::u16string& ObjectTypeName(sync::ItemType type);

}  // namespace kez::engine
