// Records read before they are asked for. A read by itself costs mostly the locks that SQLite takes around it; a walk
// through a list of records that is read some at a time takes them once for all of these. What was read ahead is good
// while the connection's stamp stands, so that it never differs from what reading would give now.
//
// Part of a connection; its mutex guards it.
#pragma once

#include <windbase.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/propertydb/definitions.h"
#include "platform/propertydb/stamp.h"

namespace kez::propertydb {

class Connection;

class ReadAhead {
 public:
    // The caller is about to read `records`, one by one in this order. Reads the first of them; more, from call to
    // call, as long as what was read ahead is used up and nothing changes meanwhile.
    void Expect(Connection& connection, const std::shared_ptr<const Database>& database,
                std::span<const CEOID> records);
    // Keeps the bytes of one more record, which were read when the connection's stamp was `stamp`: the caller is about
    // to read it.
    void Keep(CEOID database, CEOID record, const Stamp& stamp, std::string_view bytes);
    // The bytes of a record that is at hand, or null; valid until the next call.
    const std::string* Take(const Connection& connection, CEOID database, CEOID record);

 private:
    struct Row {
        CEOID oid = 0;
        std::string bytes;
    };
    struct Rows {
        Stamp stamp;
        std::vector<Row> rows;  // the first `count` of them; the others keep their memory
        std::size_t count = 0;
        std::size_t next = 0;  // the one that is expected to be taken next
        std::size_t wanted = 0;
    };
    std::unordered_map<CEOID, Rows> m_databases;
    struct Kept {
        CEOID database = 0;
        Stamp stamp;
        Row row;
    };
    Kept m_kept;
};

}  // namespace kez::propertydb
