// Opening a volume file, transactions with their counters, and the definitions as this connection knows them.
#include "platform/propertydb/connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include "platform/control/control.h"
#include "platform/propertydb/log_file.h"
#include "platform/propertydb/records.h"
#include "platform/propertydb/schema.h"

namespace kez::propertydb {

namespace {

constexpr std::uint64_t kInTransaction = 1ull << 63;

// Its parameters: 1 the identifier, 2 the bytes, from 3 on the keys.
std::string InsertInto(const Database& database, bool withIdentifier) {
    std::string columns = withIdentifier ? "oid, props" : "props";
    std::string parameters = withIdentifier ? "?1, ?2" : "?2";
    int parameter = 3;
    for (const Order& order : database.orders) {
        columns += ", " + KeyColumn(order.slot);
        parameters += ", ?" + std::to_string(parameter++);
    }
    return "INSERT INTO " + RecordTable(database.oid) + " (" + columns + ") VALUES (" + parameters + ")";
}

// What the volume numbers itself is always there.
std::vector<CEPROPID> NeededProperties(const Database& database) {
    std::vector<CEPROPID> needed;
    for (const Column& column : database.columns) {
        if ((column.flags & DB_PROP_NOTNULL) && !IsAutomatic(column.id)) needed.push_back(column.id);
    }
    for (const Order& order : database.orders) {
        if (!(order.sort.wKeyFlags & CEDB_SORT_NONNULL)) continue;
        needed.insert(needed.end(), order.sort.rgPropID, order.sort.rgPropID + order.sort.wNumProps);
    }
    return needed;
}

void DeviceTime(sqlite3_context* context, int, sqlite3_value**) {
    sqlite3_result_int64(context, static_cast<std::int64_t>(control::Now()));
}

// A file that is missing, empty or of another kind is told apart before SQLite meets it: SQLite would take an empty
// file for a new database.
void CheckFile(const std::filesystem::path& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    const std::string name = "\"" + file.string() + "\"";
    if (!std::filesystem::exists(status)) {
        const bool folder = std::filesystem::is_directory(file.parent_path(), error);
        throw VolumeError(folder ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND, "there is no volume " + name);
    }
    if (!std::filesystem::is_regular_file(status)) throw VolumeError(ERROR_ACCESS_DENIED, name + " is no file");
    if (std::filesystem::file_size(file, error) == 0) throw VolumeError(ERROR_BAD_FORMAT, name + " is empty");
}

// Derived from what was made with the volume and from its place on the device, so that every process gives a volume
// the same identifier and a copy beside it another one.
CEGUID MakeGuid(std::int64_t identity, const std::u16string& devicePath) {
    std::uint64_t hash = 14695981039346656037ull;
    for (const char16_t c : devicePath) {
        hash ^= c >= u'A' && c <= u'Z' ? c + 32u : c;
        hash *= 1099511628211ull;
    }
    CEGUID guid{static_cast<DWORD>(identity), static_cast<DWORD>(identity >> 32), static_cast<DWORD>(hash),
                static_cast<DWORD>(hash >> 32)};
    guid.Data1 = (guid.Data1 & 0xFFFFFF00) | 0x4B;  // none of the special identifiers begins so
    return guid;
}

}  // namespace

Connection::Connection(std::shared_ptr<VolumeShare> share) : m_share(std::move(share)) {
    try {
        Open();
    } catch (...) {
        m_fixed.clear();
        sqlite3_close(m_database);
        throw;
    }
}

Connection::~Connection() {
    m_statements.clear();
    m_fixed.clear();
    m_named.clear();
    sqlite3_close(m_database);
}

void Connection::Open() {
    CheckFile(m_share->file);
    const int result =
        sqlite3_open_v2(m_share->file.c_str(), &m_database,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW, GatheringFiles());
    if (result != SQLITE_OK) ThrowSqlite(m_database, result, "cannot open it");
    sqlite3_extended_result_codes(m_database, 1);
    if (sqlite3_db_readonly(m_database, "main") == 1) {
        throw VolumeError(ERROR_ACCESS_DENIED, "volume \"" + m_share->file.string() + "\" can only be read");
    }
    sqlite3_busy_handler(m_database, &Connection::Wait, this);
    sqlite3_create_function_v2(m_database, "next_change", 0, SQLITE_UTF8 | SQLITE_INNOCUOUS, this, NextChange, nullptr,
                               nullptr, nullptr);
    sqlite3_create_function_v2(m_database, "device_time", 0, SQLITE_UTF8 | SQLITE_INNOCUOUS, nullptr, DeviceTime,
                               nullptr, nullptr, nullptr);
    AddRecordFunctions(m_database, m_scratch);
    sqlite3_rollback_hook(
        m_database, [](void* self) { DropGathered(static_cast<Connection*>(self)->Log()); }, this);
    CheckFormat();
    // The log goes into the volume at 4 MB, as SQLite does it with pages twice as large.
    Execute(m_database,
            "PRAGMA synchronous = NORMAL; PRAGMA wal_autocheckpoint = 2000; PRAGMA cache_size = -4000;"
            "PRAGMA temp_store = MEMORY;");
    if (const std::uint32_t pages = m_share->maxPages) {
        Execute(m_database, "PRAGMA max_page_count = " + std::to_string(pages));
    }
    {
        Query identity(Fixed("SELECT value FROM setting WHERE name = 'identity'"));
        if (identity.Step()) m_identity = identity.Number(0);
    }
    m_guid = MakeGuid(m_identity, m_share->devicePath);

    sqlite3_file_control(m_database, "main", SQLITE_FCNTL_FILE_POINTER, &m_file);
    volatile void* region = nullptr;
    if (m_file->pMethods->xShmMap(m_file, 0, 32768, 0, &region) == SQLITE_OK) {
        m_logIndex = static_cast<const volatile std::uint32_t*>(region);
    }
    if (!m_logIndex) {
        throw VolumeError(ERROR_BAD_FORMAT, "volume \"" + m_share->file.string() + "\" keeps no write-ahead log");
    }
}

void Connection::CheckFormat() {
    std::int64_t format = VolumeFormat(m_database);
    if (format == kFormatOfOldJournal) {
        UpgradeVolume(m_database);
        format = VolumeFormat(m_database);
    }
    if (format != kFormat) {
        throw VolumeError(ERROR_BAD_FORMAT, "\"" + m_share->file.string() + "\" is no volume of this format");
    }
}

// Waits in short steps: with the long ones of SQLite's own handler a busy writer elsewhere can starve this one.
int Connection::Wait(void* connection, int count) {
    auto* self = static_cast<Connection*>(connection);
    const auto now = std::chrono::steady_clock::now();
    if (count == 0) self->m_waitingSince = now;
    if (now - self->m_waitingSince >= std::chrono::milliseconds(self->m_share->timeout)) return 0;
    std::this_thread::sleep_for(std::chrono::microseconds(std::min(50 * (count + 1), 1000)));
    return 1;
}

Stamp Connection::CurrentStamp() const {
    Stamp stamp;
    for (std::size_t i = 0; i < stamp.committed.size(); ++i) stamp.committed[i] = m_logIndex[i];
    stamp.own = m_ownWrites.load(std::memory_order_acquire);
    return stamp;
}

Statement& Connection::Fixed(const char* sql) {
    Statement& statement = m_fixed[sql];
    if (!statement.Prepared()) statement.Prepare(m_database, sql);
    return statement;
}

Statement& Connection::Named(const std::string& sql) {
    Statement& statement = m_named[sql];
    if (!statement.Prepared()) statement.Prepare(m_database, sql);
    return statement;
}

// --- Transactions -------------------------------------------------------------------------------------------

void Connection::CheckTransaction() const {
    if (m_depth > 0 && sqlite3_get_autocommit(m_database)) {
        throw VolumeError(ERROR_DISK_FULL, "the transaction was taken back after an earlier failure");
    }
}

void Connection::Begin() {
    if (m_depth > 0) {
        CheckTransaction();
        Query(Fixed("SAVEPOINT inner")).Run();
        m_saved.push_back({m_counters, m_lastOid, m_lastChange, m_told.size()});
        ++m_depth;
        return;
    }
    Query(Fixed("BEGIN IMMEDIATE")).Run();
    m_depth = 1;
    DropGathered(Log());
    try {
        ReadVolumeState();
    } catch (...) {
        Rollback();
        throw;
    }
}

void Connection::ReadVolumeState() {
    Query state(Fixed("SELECT changes, last_number, last_change FROM state WHERE database = 0"));
    if (!state.Step()) throw VolumeError(ERROR_INTERNAL_DB_CORRUPTION, "the volume has lost its own state");
    m_lastOid = static_cast<CEOID>(state.Number(1));
    m_lastChange = state.Number(2);
    m_definitionsHold = state.Number(0) == m_definitionNumber;
    if (m_definitionsHold) m_definitionStamp = CurrentStamp();
}

void Connection::Commit() {
    try {
        CheckTransaction();
        if (m_depth > 1) {
            Query(Fixed("RELEASE inner")).Run();
            m_saved.pop_back();
            --m_depth;
            return;
        }
        WriteCounters();
        Query(Fixed("COMMIT")).Run();
    } catch (...) {
        Rollback();
        throw;
    }
    const std::vector<Change> told = std::move(m_told);
    ForgetTransaction();
    if (!told.empty()) m_share->notifications.Tell(told, m_guid, m_share->mostNotifications);
}

void Connection::Rollback() noexcept {
    NoteOwnWrite();
    if (m_definitionsDirty) m_definitionNumber = -1;
    m_definitionsHold = false;
    m_counted = {};
    m_added = {};
    if (m_depth > 1) {
        if (!sqlite3_get_autocommit(m_database)) {
            sqlite3_exec(m_database, "ROLLBACK TO inner; RELEASE inner;", nullptr, nullptr, nullptr);
        }
        m_counters = std::move(m_saved.back().counters);
        m_lastOid = m_saved.back().lastOid;
        m_lastChange = m_saved.back().lastChange;
        m_told.resize(m_saved.back().told);
        m_saved.pop_back();
        --m_depth;
    } else {
        if (!sqlite3_get_autocommit(m_database)) sqlite3_exec(m_database, "ROLLBACK", nullptr, nullptr, nullptr);
        ForgetTransaction();
    }
}

void Connection::WriteCounters() {
    const auto now = static_cast<std::int64_t>(control::Now());
    for (const auto& [database, counters] : m_counters) {
        Query(Fixed("UPDATE state SET records = records + ?2, bytes = bytes + ?3, changes = changes + ?4, "
                    "modified = ?5 WHERE database = ?1"))
            .Bind(1, database)
            .Bind(2, counters.records)
            .Bind(3, counters.bytes)
            .Bind(4, counters.changes)
            .Bind(5, now)
            .Run();
    }
    if (m_numbersGiven) {
        Query(Fixed("UPDATE state SET last_number = ?1, last_change = ?2 WHERE database = 0"))
            .Bind(1, m_lastOid)
            .Bind(2, m_lastChange)
            .Run();
    }
    m_share->wrote = true;
}

void Connection::ForgetTransaction() {
    m_depth = 0;
    m_definitionsDirty = false;
    m_definitionsHold = false;
    m_counted = {};
    m_added = {};
    m_numbersGiven = false;
    m_counters.clear();
    m_saved.clear();
    m_told.clear();
}

// --- Counters -----------------------------------------------------------------------------------------------

// Under the mutex, so nobody else writes it; a stamp may be taken without.
void Connection::NoteOwnWrite() {
    m_ownWrites.store(m_ownWrites.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

CEOID Connection::NewOid() {
    if (m_lastOid >= 0xFFFFFFFE) throw VolumeError(ERROR_DISK_FULL, "the volume has no identifiers left");
    m_numbersGiven = true;
    return ++m_lastOid;
}

bool Connection::Appends(const std::shared_ptr<const Database>& database) {
    if (m_added.database != database->oid || m_added.record != m_lastOid) return false;
    if (m_added.isHighest) return true;
    DatabaseStatements& statements = Statements(database);
    if (!statements.append.Prepared()) {
        statements.highest.Prepare(m_database, "SELECT max(oid) FROM " + RecordTable(database->oid));
        statements.append.Prepare(m_database, InsertInto(*database, false));
    }
    Query highest(statements.highest);
    m_added.isHighest = highest.Step() && highest.Number(0) == m_lastOid;
    return m_added.isHighest;
}

void Connection::SkipOids(CEOID upTo) {
    if (upTo <= m_lastOid) return;
    m_lastOid = upTo;
    m_numbersGiven = true;
}

// The number of a journal entry; the triggers ask for it.
void Connection::NextChange(sqlite3_context* context, int, sqlite3_value**) {
    auto* self = static_cast<Connection*>(sqlite3_user_data(context));
    self->m_numbersGiven = true;
    sqlite3_result_int64(context, ++self->m_lastChange);
}

std::int64_t Connection::LastChange() {
    if (m_depth > 0) return m_lastChange;
    Query query(Fixed("SELECT last_change FROM state WHERE database = 0"));
    return query.Step() ? query.Number(0) : 0;
}

void Connection::Count(CEOID database, int records, std::int64_t bytes) {
    if (m_counted.first != database || !m_counted.second) m_counted = {database, &m_counters[database]};
    Counters& counters = *m_counted.second;
    counters.records += records;
    counters.bytes += bytes;
    counters.changes += 1;
    NoteOwnWrite();
}

void Connection::Tell(UINT kind, CEOID oid, CEOID parent) {
    if (m_share->notifications.Wanted()) m_told.push_back({kind, oid, parent});
}

DatabaseState Connection::State(CEOID database, const Stamp& stamp) {
    // Callers ask before every look at a list: while the stamp stands, what was read with it is good.
    const bool alone = m_depth == 0;
    if (const auto known = m_states.find(database); alone && known != m_states.end() && known->second.first == stamp) {
        return known->second.second;
    }
    Query query(Fixed("SELECT records, bytes, changes, modified FROM state WHERE database = ?1"));
    query.Bind(1, database);
    if (!query.Step()) throw VolumeError(ERROR_NOT_FOUND, "there is no database " + std::to_string(database));
    Counters base{query.Number(0), query.Number(1), query.Number(2)};
    DatabaseState state;
    state.changes = static_cast<std::uint64_t>(base.changes);
    state.modified = static_cast<std::uint64_t>(query.Number(3));
    if (const auto pending = m_counters.find(database); pending != m_counters.end()) {
        base.records += pending->second.records;
        base.bytes += pending->second.bytes;
        state.changes = kInTransaction | m_ownWrites;  // a number of its own: this transaction may be taken back
    }
    state.records = static_cast<std::uint32_t>(base.records);
    state.bytes = static_cast<std::uint64_t>(base.bytes);
    if (alone) m_states[database] = {stamp, state};
    return state;
}

sqlite3_file* Connection::Log() {
    sqlite3_file* log = nullptr;
    sqlite3_file_control(m_database, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    return log && log->pMethods ? log : nullptr;
}

void Connection::Sync() {
    std::lock_guard lock(m_mutex);
    sqlite3_file* log = Log();
    if (!log) return;
    const int result = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
    if (result != SQLITE_OK) ThrowSqlite(m_database, result, "cannot make the log durable");
}

// --- Definitions --------------------------------------------------------------------------------------------

const Databases& Connection::AllDatabases() {
    // Where this connection changes or takes back definitions itself, it forgets the number.
    if (m_definitionsHold && !sqlite3_get_autocommit(m_database)) return m_databases;
    const Stamp stamp = CurrentStamp();
    if (m_definitionNumber >= 0 && stamp.committed == m_definitionStamp.committed) return m_databases;
    std::int64_t number = 0;
    {
        Query query(Fixed("SELECT changes FROM state WHERE database = 0"));
        if (query.Step()) number = query.Number(0);
    }
    if (number != m_definitionNumber || m_definitionsDirty) {
        LoadDefinitions();
        m_definitionNumber = number;
    }
    m_definitionStamp = stamp;
    return m_databases;
}

const std::shared_ptr<const Database>& Connection::FindDatabase(CEOID oid) {
    static const std::shared_ptr<const Database> none;
    const Databases& all = AllDatabases();
    const auto found = all.find(oid);
    return found == all.end() ? none : found->second;
}

const std::shared_ptr<const Database>& Connection::NeedDatabase(CEOID oid) {
    const auto& database = FindDatabase(oid);
    if (!database) throw VolumeError(ERROR_NOT_FOUND, "there is no database " + std::to_string(oid));
    return database;
}

void Connection::DefinitionsChanged() {
    Query(Fixed("UPDATE state SET changes = changes + 1 WHERE database = 0")).Run();
    NoteOwnWrite();
    m_definitionsDirty = true;
    m_definitionsHold = false;
    m_definitionNumber = -1;
}

void Connection::LoadDefinitions() {
    std::map<CEOID, std::shared_ptr<Database>> loaded;
    {
        Query query(Fixed("SELECT oid, name, type, flags, schema, journal FROM database"));
        while (query.Step()) {
            auto database = std::make_shared<Database>();
            database->oid = static_cast<CEOID>(query.Number(0));
            database->name = query.Text(1);
            database->type = static_cast<DWORD>(query.Number(2));
            database->flags = static_cast<DWORD>(query.Number(3));
            database->schema = static_cast<Schema>(query.Number(4));
            database->journal = query.Number(5) != 0;
            loaded[database->oid] = std::move(database);
        }
    }
    {
        Query query(Fixed("SELECT database, slot, sort FROM sort_order ORDER BY database, position"));
        while (query.Step()) {
            const auto owner = loaded.find(static_cast<CEOID>(query.Number(0)));
            const std::string_view sort = query.Blob(2);
            if (owner == loaded.end() || sort.size() != sizeof(SORTORDERSPECEX)) continue;
            Order& order = owner->second->orders.emplace_back();
            order.slot = static_cast<int>(query.Number(1));
            std::memcpy(&order.sort, sort.data(), sizeof order.sort);
            order.sort.wNumProps = std::min(order.sort.wNumProps, CEDB_MAXSORTPROP);
        }
    }
    {
        Query query(Fixed("SELECT database, id, flags, name FROM property ORDER BY database, position"));
        while (query.Step()) {
            const auto owner = loaded.find(static_cast<CEOID>(query.Number(0)));
            if (owner == loaded.end()) continue;
            owner->second->columns.push_back(
                {static_cast<CEPROPID>(query.Number(1)), static_cast<DWORD>(query.Number(2)), query.Text(3)});
        }
    }
    m_databases.clear();
    for (auto& [oid, database] : loaded) {
        database->needed = NeededProperties(*database);
        m_databases[oid] = std::move(database);
    }
}

DatabaseStatements& Connection::Statements(const std::shared_ptr<const Database>& database) {
    if (m_lastStatements && m_lastStatements->definition == database) return *m_lastStatements;
    m_lastStatements = nullptr;
    if (DatabaseStatements& known = m_statements[database->oid]; known.definition == database) {
        m_lastStatements = &known;
        return known;
    }
    m_statements.erase(database->oid);
    DatabaseStatements& fresh = m_statements[database->oid];

    const std::string table = RecordTable(database->oid);
    std::string assignments = "props = ?2";
    std::string keys = "oid";
    int parameter = 3;
    for (const Order& order : database->orders) {
        const std::string column = KeyColumn(order.slot);
        assignments += ", " + column + " = ?" + std::to_string(parameter++);
        keys += ", " + column;
    }
    fresh.insert.Prepare(m_database, InsertInto(*database, true));
    fresh.update.Prepare(m_database, "UPDATE " + table + " SET props = ?2 WHERE oid = ?1");
    fresh.merge.Prepare(m_database, "UPDATE " + table + " SET props = merged(props) WHERE oid = ?1");
    fresh.updateKeys.Prepare(m_database, "UPDATE " + table + " SET " + assignments + " WHERE oid = ?1");
    fresh.remove.Prepare(m_database, "DELETE FROM " + table + " WHERE oid = ?1");
    fresh.read.Prepare(m_database, "SELECT props FROM " + table + " WHERE oid = ?1");
    for (int i = -1; i < static_cast<int>(database->orders.size()); ++i) {
        const std::string key = i < 0 ? "oid" : KeyColumn(database->orders[static_cast<std::size_t>(i)].slot);
        DatabaseStatements::Seek& seek = fresh.orders[i];
        const std::string select = "SELECT oid, " + key + ", props FROM " + table + " WHERE " + key;
        seek.forward.Prepare(m_database, select + " >= ?1 ORDER BY " + key);
        seek.backward.Prepare(m_database, select + " < ?1 ORDER BY " + key + " DESC");
        seek.keyOf.Prepare(m_database, "SELECT " + key + ", props FROM " + table + " WHERE oid = ?1");
        seek.rank.Prepare(m_database, "SELECT count(*) FROM " + table + " WHERE " + key + " < ?1");
        seek.oids.Prepare(m_database, "SELECT oid FROM " + table + " ORDER BY " + key);
    }
    fresh.definition = database;
    m_lastStatements = &fresh;
    return fresh;
}

// --- Scopes -------------------------------------------------------------------------------------------------

WriteScope::WriteScope(Connection& connection, Extent extent)
    : WriteScope(connection, std::unique_lock(connection.Mutex()), extent) {}

WriteScope::WriteScope(Connection& connection, std::unique_lock<std::recursive_mutex> lock, Extent extent)
    : m_lock(std::move(lock)),
      m_connection(connection),
      m_open(!connection.InTransaction() || extent == Extent::Several) {
    if (m_open) {
        m_connection.Begin();
    } else {
        m_connection.CheckTransaction();
    }
}

WriteScope::~WriteScope() {
    if (m_open) m_connection.Rollback();
}

void WriteScope::Commit() {
    if (!m_open) return;
    m_open = false;
    m_connection.Commit();
}

}  // namespace kez::propertydb
