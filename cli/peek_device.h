// The device as one side of an agreement that is only looked at: its records and change tables are read as they stand
// and no change flag is cleared, so that the next synchronisation hears of everything.
#pragma once

#include <windbase.h>

#include <map>
#include <string>

#include "cli/owner.h"
#include "platform/changewriter/change_tables.h"
#include "sync/store.h"

namespace kez::cli {

// The change table of a type of items.
const changewriter::ChangeTable& TableOf(sync::ItemType type);

class PeekDevice : public sync::Store {
 public:
    // Of the open device, for one of its partnerships (1 or 2). Throws StoreError where a volume cannot be opened.
    PeekDevice(std::string name, std::string identity, unsigned partner);
    ~PeekDevice() override;

    std::string Name() const override { return m_name; }
    std::string Identity() const override { return m_identity; }
    bool Holds(sync::ItemType) const override { return true; }
    sync::Listing List(sync::ItemType type) override;
    sync::ReadResult Read(sync::ItemType type, const std::string& id) override;

    // What the change table of a type says: the identifier of a record, and a state (changewriter/change_tables.h).
    std::map<CEOID, DWORD> ChangeTable(sync::ItemType type);

    // A device that is looked at takes nothing.
    sync::WriteResult Create(const sync::Item& item, const std::string& hint) override;
    sync::WriteResult Update(const std::string& id, const sync::Item& wanted,
                             const std::string& expectedRevision) override;
    sync::Problem Delete(sync::ItemType type, const std::string& id, const std::string& expectedRevision) override;
    void Flush() override {}

 private:
    std::string m_name;
    std::string m_identity;
    unsigned m_partner;
    CEGUID m_items{};
    CEGUID m_changes{};
    Owner m_owner;
};

}  // namespace kez::cli
