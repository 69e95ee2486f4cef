// Small databases in memory, for someone who seeks one record after another. A seek by itself costs mostly the locks
// that SQLite takes around it, many times what reading a record in a row costs; who seeks one in fifty of a
// database's records while nothing changes is likely to go on, and then reading all of them once is cheaper. What was
// read is good while the connection's stamp stands, so that it never differs from what a seek would find now.
//
// Part of a connection; its mutex guards it.
#pragma once

#include <windbase.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/propertydb/definitions.h"
#include "platform/propertydb/stamp.h"

namespace kez::propertydb {

class Connection;

class SeekTables {
 public:
    struct Row {
        CEOID oid;
        std::string_view key;
        std::string_view props;
    };
    // All records in an order, as they are when the stamp is `stamp`.
    struct Records {
        Stamp stamp;
        std::vector<Row> rows;
    };
    // What the caller may seek in, or null where that has not paid yet. Counts the seek. Valid until the next call.
    const Records* ForSeek(Connection& connection, const std::shared_ptr<const Database>& database, int order);

 private:
    struct Table {
        Records records;
        std::size_t seeks = 0;   // under that stamp
        std::size_t lookAt = 0;  // the number of seeks at which to think again
        bool loaded = false;
        std::string bytes;  // what the rows point into
    };
    static void Load(Connection& connection, const std::shared_ptr<const Database>& database, int order, Table& table);

    std::map<std::pair<CEOID, int>, Table> m_tables;
};

}  // namespace kez::propertydb
