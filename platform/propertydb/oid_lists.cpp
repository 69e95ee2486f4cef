// Making and keeping lists of identifiers.
#include "platform/propertydb/oid_lists.h"

#include "platform/propertydb/connection.h"

namespace kez::propertydb {

OidLists::List OidLists::Kept(Connection& connection, const std::shared_ptr<const Database>& database, int order) {
    const auto found = m_lists.find({database->oid, order});
    if (found == m_lists.end() || found->second.database != database) return nullptr;
    return found->second.changes == connection.State(database->oid).changes ? found->second.list : nullptr;
}

OidLists::List OidLists::Get(Connection& connection, const std::shared_ptr<const Database>& database, int order) {
    if (List kept = Kept(connection, database, order)) return kept;
    // The number is asked for before the list: a change in between makes the list too good for it, never too old.
    const DatabaseState state = connection.State(database->oid);
    auto list = std::make_shared<std::vector<CEOID>>();
    list->reserve(state.records);
    Query query(connection.Statements(database).orders.at(order).oids);
    while (query.Step()) list->push_back(static_cast<CEOID>(query.Number(0)));
    m_lists[{database->oid, order}] = {database, state.changes, list};
    return list;
}

}  // namespace kez::propertydb
