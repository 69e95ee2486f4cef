// The identifiers of a database in the order of a sort order, kept until the database changes.
#pragma once

#include <windbase.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/propertydb/definitions.h"

namespace kez::propertydb {

class Connection;

class OidLists {
 public:
    using List = std::shared_ptr<const std::vector<CEOID>>;
    List Get(Connection& connection, const std::shared_ptr<const Database>& database, int order);
    // The list if it is at hand and good, else null.
    List Kept(Connection& connection, const std::shared_ptr<const Database>& database, int order);

 private:
    struct Entry {
        std::shared_ptr<const Database> database;
        std::uint64_t changes = 0;
        List list;
    };
    std::map<std::pair<CEOID, int>, Entry> m_lists;  // guarded by the connection's mutex
};

}  // namespace kez::propertydb
