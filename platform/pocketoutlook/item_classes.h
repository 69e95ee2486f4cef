// Makes items of each type. An item type registers its class from a static initialiser:
//
//     const bool g_registered = RegisterItemClass({olTaskItem, [](std::shared_ptr<Session> session) -> ItemBase* {
//         return new TaskItem(std::move(session));
//     }});
#pragma once

#include <memory>

#include "platform/pocketoutlook/item_base.h"

namespace kez::pocketoutlook {

struct ItemClass {
    OlItemType type;
    ItemBase* (*make)(std::shared_ptr<Session> session);  // with one reference, the caller's; not started yet
};
bool RegisterItemClass(const ItemClass& itemClass);

// A new unsaved item; null where there is no such item type.
Ref<ItemBase> MakeNewItem(const std::shared_ptr<Session>& session, INT itemType);
// An item of the type without any values, to be filled by a copy.
Ref<ItemBase> MakeBlankItem(const std::shared_ptr<Session>& session, OlItemType type);
// The item of a record; null where there is none (of that type).
Ref<ItemBase> OpenItem(const std::shared_ptr<Session>& session, CEOID oid);
Ref<ItemBase> OpenItem(const std::shared_ptr<Session>& session, OlItemType type, CEOID oid);

}  // namespace kez::pocketoutlook
