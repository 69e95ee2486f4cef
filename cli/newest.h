// Who changed an item last: the device, whose change writer notes when, or the folder.
#pragma once

#include <windbase.h>

#include <cstdint>
#include <map>
#include <optional>

#include "partner/folder_store.h"
#include "sync/agreement.h"

namespace kez::cli {

class NewestWins {
 public:
    // Of the open device, and before it is listed: listing forgets when an item was deleted.
    explicit NewestWins(partner::FolderStore& folder);

    // Where a time is not known, or both are the same, both versions are kept.
    sync::Decision Decide(const sync::Conflict& conflict);

 private:
    using Times = std::map<sync::ItemType, std::map<CEOID, std::uint64_t>>;
    static Times TimesNow();
    std::int64_t OnDevice(const sync::Conflict& conflict);  // ns since 1970 UTC; 0 where it is not known

    partner::FolderStore& m_folder;
    Times m_before;
    std::optional<Times> m_listed;  // once it is asked for
};

}  // namespace kez::cli
