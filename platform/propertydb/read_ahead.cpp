// Reading ahead in a list of records.
#include "platform/propertydb/read_ahead.h"

#include <algorithm>

#include "platform/propertydb/connection.h"
#include "platform/propertydb/records.h"

namespace kez::propertydb {

namespace {

constexpr std::size_t kMostAhead = 64;
constexpr std::size_t kLongRecord = 16384;  // a record this long ends the reading ahead

}  // namespace

void ReadAhead::Expect(Connection& connection, const std::shared_ptr<const Database>& database,
                       std::span<const CEOID> records) {
    const Stamp stamp = connection.CurrentStamp();
    Rows& ahead = m_databases[database->oid];
    const bool unchanged = ahead.stamp == stamp;
    if (unchanged && ahead.next < ahead.count && ahead.rows[ahead.next].oid == records.front()) return;
    ahead.wanted = unchanged && ahead.next == ahead.count ? std::min(ahead.wanted * 4, kMostAhead) : 1;
    ahead.count = ahead.next = 0;
    ahead.stamp = stamp;
    // A list in the order of creation is one walk. Once a record is elsewhere, the rest is looked up one by one, for
    // which the walk, as it has not come to its end, keeps the locks.
    Query walk(connection.Statements(database).orders.at(-1).forward);
    walk.Bind(1, records.front());
    bool isInOrder = true;
    for (const CEOID record : records.first(std::min(records.size(), ahead.wanted))) {
        if (ahead.rows.size() == ahead.count) ahead.rows.emplace_back();
        Row& row = ahead.rows[ahead.count];
        isInOrder = isInOrder && walk.Step() && walk.Number(0) == record;
        if (isInOrder) {
            row.bytes = walk.Blob(2);
        } else if (!ReadRecord(connection, database, record, row.bytes)) {
            break;
        }
        row.oid = record;
        ++ahead.count;
        if (row.bytes.size() > kLongRecord) break;
    }
}

void ReadAhead::Keep(CEOID database, CEOID record, const Stamp& stamp, std::string_view bytes) {
    m_kept.database = database;
    m_kept.stamp = stamp;
    m_kept.row.oid = record;
    m_kept.row.bytes = bytes;
}

const std::string* ReadAhead::Take(const Connection& connection, CEOID database, CEOID record) {
    if (m_kept.row.oid == record && m_kept.database == database && connection.CurrentStamp() == m_kept.stamp) {
        return &m_kept.row.bytes;
    }
    const auto found = m_databases.find(database);
    if (found == m_databases.end()) return nullptr;
    Rows& ahead = found->second;
    if (ahead.next >= ahead.count || ahead.rows[ahead.next].oid != record) return nullptr;
    if (connection.CurrentStamp() != ahead.stamp) return nullptr;
    return &ahead.rows[ahead.next++].bytes;
}

}  // namespace kez::propertydb
