// The item classes by type.
#include "platform/pocketoutlook/item_classes.h"

#include <algorithm>

namespace kez::pocketoutlook {
namespace {

// A function's, so that static initialisers of other files find it made.
std::vector<ItemClass>& Classes() {
    static std::vector<ItemClass> classes;
    return classes;
}

Ref<ItemBase> Make(const std::shared_ptr<Session>& session, INT itemType) {
    const auto found =
        std::ranges::find(Classes(), itemType, [](const ItemClass& c) { return static_cast<INT>(c.type); });
    if (found == Classes().end()) return {};
    return Ref<ItemBase>::Attach(found->make(session));
}

}  // namespace

bool RegisterItemClass(const ItemClass& itemClass) {
    Classes().push_back(itemClass);
    return true;
}

Ref<ItemBase> MakeNewItem(const std::shared_ptr<Session>& session, INT itemType) {
    auto item = Make(session, itemType);
    if (item) item->StartNew();
    return item;
}

Ref<ItemBase> MakeBlankItem(const std::shared_ptr<Session>& session, OlItemType type) { return Make(session, type); }

Ref<ItemBase> OpenItem(const std::shared_ptr<Session>& session, CEOID oid) {
    const auto type = session->Store().TypeOf(oid);
    return type ? OpenItem(session, *type, oid) : Ref<ItemBase>();
}

Ref<ItemBase> OpenItem(const std::shared_ptr<Session>& session, OlItemType type, CEOID oid) {
    auto item = Make(session, type);
    return item && item->StartFrom(oid) ? item : Ref<ItemBase>();
}

}  // namespace kez::pocketoutlook
