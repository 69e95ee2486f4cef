// The device as one side of an agreement: its items are listed, read, written and deleted through the provider, and
// what the provider's results hide is found out by looking again.
#pragma once

#include <memory>
#include <string>

#include "engine/connection.h"
#include "sync/codec.h"
#include "sync/store.h"

namespace kez::engine {

class DeviceStore : public sync::Store {
 public:
    // `connection`, `codec` and `keepsakes` outlive the store. `name` is for messages, `identity` the device's id.
    DeviceStore(Connection& connection, const sync::PacketCodec& codec, sync::Keepsakes& keepsakes, std::string name,
                std::string identity);
    ~DeviceStore() override;

    std::string Name() const override { return m_name; }
    std::string Identity() const override { return m_identity; }
    bool Holds(sync::ItemType) const override { return true; }

    sync::Listing List(sync::ItemType type) override;
    sync::ReadResult Read(sync::ItemType type, const std::string& id) override;
    sync::WriteResult Create(const sync::Item& item, const std::string& hint) override;
    sync::WriteResult Update(const std::string& id, const sync::Item& wanted,
                             const std::string& expectedRevision) override;
    sync::Problem Delete(sync::ItemType type, const std::string& id, const std::string& expectedRevision) override;
    void Flush() override;  // all volumes of the device, whatever the policy for flushes of one

    void BeginPass(sync::ItemType type) override;
    void EndPass(sync::ItemType type) override;
    void BeginWrites(sync::ItemType type) override;
    void EndWrites(sync::ItemType type) override;
    void Acknowledge(sync::ItemType type, const std::string& id) override;

 private:
    // The packet is written, the item read again and compared: what came back otherwise than a device gives it back
    // is a problem of the item.
    sync::WriteResult WriteAndCheck(sync::ItemType type, CEOID oid, const sync::Item& wanted, const sync::Item* held);
    std::vector<std::string> KeptBesideWanted(const std::string& name, const sync::Item& wanted, const sync::Item& held,
                                              const sync::Item& back) const;
    enum class Presence { There, Missing, Unknown };
    Presence LookFor(CEOID oid) const;
    sync::Problem NotRead(CEOID oid) const;
    bool CountRecords(sync::ItemType type, DWORD& count) const;

    Connection& m_connection;
    const sync::PacketCodec& m_codec;
    sync::Keepsakes& m_keepsakes;
    std::string m_name;
    std::string m_identity;
    CEGUID m_volume;
};

}  // namespace kez::engine
