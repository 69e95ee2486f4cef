// Databases and records of a volume for host code; see volume.h. Each operation takes the connection's lock, and a
// transaction where it writes, and leaves the work to records.h.
#include "platform/propertydb/volume.h"

#include <algorithm>

#include "platform/kernel/device_path.h"
#include "platform/propertydb/records.h"
#include "platform/propertydb/sort_key.h"
#include "platform/propertydb/volume_table.h"

namespace kez::propertydb {

namespace {

SORTORDERSPECEX SpecOf(const SortOrder& order) {
    if (order.properties.empty() || order.properties.size() > CEDB_MAXSORTPROP) {
        throw VolumeError(ERROR_INVALID_PARAMETER, "a sort order has 1 to 16 properties");
    }
    SORTORDERSPECEX sort{};
    sort.wVersion = 2;
    sort.wKeyFlags = order.keyFlags;
    for (const SortProperty& property : order.properties) {
        sort.rgPropID[sort.wNumProps] = property.id;
        sort.rgdwFlags[sort.wNumProps++] = property.flags;
    }
    return sort;
}

Database DatabaseOf(const DatabaseDefinition& definition) {
    if (definition.name.empty() || definition.name.size() >= CEDB_MAXDBASENAMELEN) {
        throw VolumeError(ERROR_INVALID_PARAMETER, "a database name has 1 to 127 characters");
    }
    if (definition.sortOrders.size() > CEDB_MAXSORTORDER) {
        throw VolumeError(ERROR_INVALID_PARAMETER, "a database has up to 32 sort orders");
    }
    Database database;
    database.name = definition.name;
    database.type = definition.type;
    database.schema = definition.properties.empty() ? Schema::Open : Schema::Fixed;
    for (const SortOrder& order : definition.sortOrders) database.orders.push_back({SpecOf(order), 0});
    for (const CEPROPID id : definition.properties) database.columns.push_back({id, 0, {}});
    return database;
}

CEOID FindByName(Connection& connection, const std::u16string& name) {
    for (const auto& [oid, database] : connection.AllDatabases()) {
        if (SameName(database->name, name)) return oid;
    }
    return 0;
}

int CheckedOrder(const Database& database, int order) {
    if (order < -1 || order >= static_cast<int>(database.orders.size())) {
        throw VolumeError(ERROR_INVALID_PARAMETER, "the database has no sort order " + std::to_string(order));
    }
    return order;
}

}  // namespace

std::shared_ptr<Volume> Volume::Open(LPCWSTR devicePath) { return VolumeTable::Get().Open(devicePath, false); }
std::shared_ptr<Volume> Volume::OpenOrCreate(LPCWSTR devicePath) { return VolumeTable::Get().Open(devicePath, true); }
std::shared_ptr<Volume> Volume::OpenApart(LPCWSTR devicePath) { return VolumeTable::Get().OpenApart(devicePath); }
std::shared_ptr<Volume> Volume::IfOpen(LPCWSTR devicePath) { return VolumeTable::Get().IfOpen(devicePath); }

bool Volume::Exists(LPCWSTR devicePath) {
    const auto file = kernel::HostPath(devicePath);
    std::error_code ignored;
    return file && std::filesystem::is_regular_file(*file, ignored);
}

Volume::Volume(Private&& inside) : m_private(std::make_unique<Private>(std::move(inside))) {}
Volume::~Volume() = default;

CEGUID Volume::Guid() const { return m_private->connection->Guid(); }
std::uint64_t Volume::Identity() const { return static_cast<std::uint64_t>(m_private->connection->Identity()); }

std::unique_lock<std::recursive_mutex> Volume::TryLock() {
    return std::unique_lock(m_private->connection->Mutex(), std::try_to_lock);
}

void Volume::Flush() {
    std::atomic<bool>& wrote = m_private->share->wrote;
    if (!wrote.exchange(false)) return;
    try {
        m_private->connection->Sync();
    } catch (...) {
        wrote = true;
        throw;
    }
}

// --- Databases ----------------------------------------------------------------------------------------------

CEOID Volume::FindDatabase(const std::u16string& name) {
    ReadScope scope(*m_private->connection);
    return FindByName(*m_private->connection, name);
}

CEOID Volume::CreateDatabase(const DatabaseDefinition& definition) {
    const Database database = propertydb::DatabaseOf(definition);
    WriteScope scope(*m_private->connection, WriteScope::Extent::Several);
    const CEOID oid = propertydb::CreateDatabase(*m_private->connection, database);
    scope.Commit();
    return oid;
}

CEOID Volume::EnsureDatabase(const DatabaseDefinition& definition) {
    if (const CEOID oid = FindDatabase(definition.name)) return oid;
    const Database database = propertydb::DatabaseOf(definition);
    WriteScope scope(*m_private->connection, WriteScope::Extent::Several);
    CEOID oid = FindByName(*m_private->connection, definition.name);  // another process may have been quicker
    if (!oid) oid = propertydb::CreateDatabase(*m_private->connection, database);
    scope.Commit();
    return oid;
}

DatabaseDefinition Volume::Definition(CEOID database) {
    ReadScope scope(*m_private->connection);
    const auto known = m_private->connection->NeedDatabase(database);
    DatabaseDefinition definition;
    definition.name = known->name;
    definition.type = known->type;
    for (const Order& order : known->orders) {
        SortOrder& added = definition.sortOrders.emplace_back();
        added.keyFlags = order.sort.wKeyFlags;
        for (WORD i = 0; i < order.sort.wNumProps; ++i) {
            added.properties.push_back({order.sort.rgPropID[i], order.sort.rgdwFlags[i]});
        }
    }
    for (const Column& column : known->columns) definition.properties.push_back(column.id);
    return definition;
}

std::vector<CEOID> Volume::Databases() {
    ReadScope scope(*m_private->connection);
    std::vector<CEOID> oids;
    for (const auto& [oid, database] : m_private->connection->AllDatabases()) oids.push_back(oid);
    return oids;
}

DatabaseState Volume::State(CEOID database) {
    ReadScope scope(*m_private->connection);
    return m_private->connection->State(database);
}

// --- Identifiers --------------------------------------------------------------------------------------------

CEOID Volume::LastIdentifier() {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    Query query(connection.Fixed("SELECT last_number FROM state WHERE database = 0"));
    return query.Step() ? static_cast<CEOID>(query.Number(0)) : 0;
}

void Volume::SkipIdentifiers(CEOID upTo) {
    WriteScope scope(*m_private->connection);
    m_private->connection->SkipOids(upTo);
    scope.Commit();
}

// --- Records ------------------------------------------------------------------------------------------------

CEOID Volume::DatabaseOf(CEOID record) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    const Stamp stamp = connection.CurrentStamp();
    for (const auto& [oid, database] : connection.AllDatabases()) {
        Query query(connection.Statements(database).read);
        query.Bind(1, record);
        if (!query.Step()) continue;
        // The caller reads the record next, mostly, and asks for the state; while this statement holds SQLite's locks
        // both come cheap.
        connection.Ahead().Keep(oid, record, stamp, query.Blob(0));
        (void)connection.State(oid, stamp);
        return oid;
    }
    return 0;
}

std::optional<PropertySet> Volume::Read(CEOID database, CEOID record) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    const auto known = connection.NeedDatabase(database);
    if (const std::string* ahead = connection.Ahead().Take(connection, database, record)) return DecodeSet(*ahead);
    thread_local std::string bytes;
    if (!ReadRecord(connection, known, record, bytes)) return std::nullopt;
    return DecodeSet(bytes);
}

void Volume::ExpectReads(CEOID database, std::span<const CEOID> records) {
    if (records.empty()) return;
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    connection.Ahead().Expect(connection, connection.NeedDatabase(database), records);
}

CEOID Volume::Insert(CEOID database, const PropertySet& properties) {
    Connection& connection = *m_private->connection;
    std::unique_lock lock(connection.Mutex());
    PropertyViews& views = connection.Scratch().given;
    ViewsOf(properties, views);
    WriteScope scope(connection, std::move(lock));
    const CEOID oid = InsertRecord(connection, database, views, false, nullptr);
    scope.Commit();
    return oid;
}

bool Volume::Update(CEOID database, CEOID record, const PropertySet& changes) {
    Connection& connection = *m_private->connection;
    std::unique_lock lock(connection.Mutex());
    PropertyViews& views = connection.Scratch().given;
    ViewsOf(changes, views);
    WriteScope scope(connection, std::move(lock));
    if (!UpdateRecord(connection, database, record, views, false, nullptr)) return false;
    scope.Commit();
    return true;
}

bool Volume::Delete(CEOID database, CEOID record) {
    WriteScope scope(*m_private->connection);
    if (!RemoveRecord(*m_private->connection, database, record)) return false;
    scope.Commit();
    return true;
}

std::shared_ptr<const std::vector<CEOID>> Volume::OrderedOids(CEOID database, int sortOrder) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    const auto known = connection.NeedDatabase(database);
    return connection.Lists().Get(connection, known, CheckedOrder(*known, sortOrder));
}

void Volume::Walk(CEOID database, int sortOrder, const std::function<bool(CEOID, const PropertySet&)>& take) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    const auto known = connection.NeedDatabase(database);
    Query query(connection.Statements(known).orders.at(CheckedOrder(*known, sortOrder)).forward);
    if (sortOrder < 0) {
        query.Bind(1, std::int64_t{0});
    } else {
        query.Bind(1, std::string_view());
    }
    while (query.Step()) {
        if (!take(static_cast<CEOID>(query.Number(0)), DecodeSet(query.Blob(2)))) return;
    }
}

CEOID Volume::FindEqual(CEOID database, int sortOrder, const std::vector<PropertySet::Entry>& values) {
    Connection& connection = *m_private->connection;
    PropertyViews views;
    for (const PropertySet::Entry& entry : values) views.push_back(ViewOf(entry));
    ReadScope scope(connection);
    const auto known = connection.NeedDatabase(database);
    if (CheckedOrder(*known, sortOrder) < 0) {
        throw VolumeError(ERROR_INVALID_PARAMETER, "values are sought in a sort order");
    }
    const std::string prefix = KeyPrefix(known->orders[static_cast<std::size_t>(sortOrder)].sort, views, false);
    Query query(connection.Statements(known).orders.at(sortOrder).forward);
    query.Bind(1, prefix);
    return query.Step() && query.Blob(1).starts_with(prefix) ? static_cast<CEOID>(query.Number(0)) : 0;
}

// --- Settings -----------------------------------------------------------------------------------------------

std::optional<std::int64_t> Volume::Setting(const std::string& name) {
    Connection& connection = *m_private->connection;
    ReadScope scope(connection);
    Query query(connection.Fixed("SELECT value FROM setting WHERE name = ?1"));
    query.BindText(1, name);
    if (!query.Step()) return std::nullopt;
    return query.Number(0);
}

void Volume::SetSetting(const std::string& name, std::int64_t value) {
    Connection& connection = *m_private->connection;
    WriteScope scope(connection);
    Query(connection.Fixed("INSERT INTO setting VALUES (?1, ?2) ON CONFLICT (name) DO UPDATE SET value = ?2"))
        .BindText(1, name)
        .Bind(2, value)
        .Run();
    scope.Commit();
}

// --- Transaction --------------------------------------------------------------------------------------------

Transaction::Transaction(std::shared_ptr<Volume> volume) : m_volume(std::move(volume)) {
    Connection& connection = *m_volume->Inside().connection;
    std::unique_lock lock(connection.Mutex());
    connection.Begin();
    lock.release();  // kept until the transaction ends
}

Transaction::~Transaction() {
    if (!m_open) return;
    Connection& connection = *m_volume->Inside().connection;
    std::unique_lock lock(connection.Mutex(), std::adopt_lock);
    connection.Rollback();
}

void Transaction::Commit() {
    if (!m_open) return;
    m_open = false;
    Connection& connection = *m_volume->Inside().connection;
    std::unique_lock lock(connection.Mutex(), std::adopt_lock);
    connection.Commit();
}

}  // namespace kez::propertydb
