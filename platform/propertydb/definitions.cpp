// Looking things up in a database's definition.
#include "platform/propertydb/definitions.h"

#include <algorithm>

namespace kez::propertydb {

bool SameName(const std::u16string& a, const std::u16string& b) {
    const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; };
    return std::ranges::equal(a, b, [&lower](char16_t x, char16_t y) { return lower(x) == lower(y); });
}

const Column* Database::FindColumn(CEPROPID id) const {
    for (const Column& column : columns) {
        if (column.id == id) return &column;
    }
    return nullptr;
}

int Database::FindOrder(const SORTORDERSPECEX& sort) const {
    for (std::size_t i = 0; i < orders.size(); ++i) {
        const SORTORDERSPECEX& own = orders[i].sort;
        if (own.wNumProps != sort.wNumProps || own.wKeyFlags != sort.wKeyFlags) continue;
        if (std::equal(own.rgPropID, own.rgPropID + own.wNumProps, sort.rgPropID) &&
            std::equal(own.rgdwFlags, own.rgdwFlags + own.wNumProps, sort.rgdwFlags)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool Database::InSortOrder(CEPROPID id) const {
    return std::ranges::any_of(orders, [id](const Order& order) {
        return std::find(order.sort.rgPropID, order.sort.rgPropID + order.sort.wNumProps, id) !=
               order.sort.rgPropID + order.sort.wNumProps;
    });
}

}  // namespace kez::propertydb
