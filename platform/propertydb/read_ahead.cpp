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
    // A statement that has not come to its end keeps the locks for the others.
    Query lock(connection.Fixed("SELECT changes FROM state WHERE database = 0"));
    (void)lock.Step();
    for (const CEOID record : records.first(std::min(records.size(), ahead.wanted))) {
        if (ahead.rows.size() == ahead.count) ahead.rows.emplace_back();
        Row& row = ahead.rows[ahead.count];
        if (!ReadRecord(connection, database, record, row.bytes)) break;
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
