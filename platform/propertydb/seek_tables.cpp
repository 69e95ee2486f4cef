// Keeping small databases in memory.
#include "platform/propertydb/seek_tables.h"

#include "platform/propertydb/connection.h"

namespace kez::propertydb {

namespace {

constexpr std::size_t kFewSeeks = 64;
constexpr std::size_t kShare = 50;                     // one of so many records was sought
constexpr std::uint64_t kMostBytes = 8 * 1024 * 1024;  // of a database's values

}  // namespace

const SeekTables::Records* SeekTables::ForSeek(Connection& connection, const std::shared_ptr<const Database>& database,
                                               int order) {
    if (connection.InTransaction()) return nullptr;
    Table& table = m_tables[{database->oid, order}];
    const Stamp stamp = connection.CurrentStamp();
    if (table.records.stamp != stamp) {
        table = Table();
        table.records.stamp = stamp;
        table.lookAt = kFewSeeks;
    }
    if (table.loaded) return &table.records;
    if (++table.seeks < table.lookAt) return nullptr;
    const DatabaseState state = connection.State(database->oid);
    table.lookAt = state.bytes <= kMostBytes ? state.records / kShare : static_cast<std::size_t>(-1);
    if (table.seeks < table.lookAt) return nullptr;
    Load(connection, database, order, table);
    return &table.records;
}

void SeekTables::Load(Connection& connection, const std::shared_ptr<const Database>& database, int order,
                      Table& table) {
    struct Lengths {
        CEOID oid;
        std::size_t key;
        std::size_t props;
    };
    std::vector<Lengths> lengths;
    Query query(connection.Statements(database).orders.at(order).forward);
    query.Bind(1, std::string_view());
    while (query.Step()) {
        const std::string_view key = query.Blob(1);
        const std::string_view props = query.Blob(2);
        lengths.push_back({static_cast<CEOID>(query.Number(0)), key.size(), props.size()});
        table.bytes.append(key).append(props);
    }
    table.records.rows.reserve(lengths.size());
    const char* at = table.bytes.data();
    for (const Lengths& row : lengths) {
        table.records.rows.push_back({row.oid, {at, row.key}, {at + row.key, row.props}});
        at += row.key + row.props;
    }
    table.loaded = true;
}

}  // namespace kez::propertydb
