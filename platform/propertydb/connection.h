// One connection to a volume file: its lock, its transaction, its prepared statements, and what it knows of the
// databases.
//
// A write goes through a WriteScope. The counters of a database (records, bytes, changes) are gathered in memory
// while the transaction runs and written once at its end, in the same transaction.
#pragma once

#include <windbase.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "platform/propertydb/definitions.h"
#include "platform/propertydb/notifications.h"
#include "platform/propertydb/oid_lists.h"
#include "platform/propertydb/read_ahead.h"
#include "platform/propertydb/record_codec.h"
#include "platform/propertydb/seek_tables.h"
#include "platform/propertydb/sqlite.h"
#include "platform/propertydb/stamp.h"
#include "platform/propertydb/volume.h"

namespace kez::propertydb {

struct Merging;  // records.cpp

// What belongs to the volume file and not to one connection of it; one for each file that this process has open.
struct VolumeShare {
    std::filesystem::path file;
    std::u16string devicePath;
    std::atomic<bool> wrote{false};                      // since the last flush
    std::atomic<std::uint32_t> timeout{2000};            // milliseconds to wait for another writer
    std::atomic<std::uint32_t> maxPages{0};              // 0: no limit
    std::atomic<std::uint32_t> mostNotifications{1000};  // of one transaction
    Notifications notifications;
};

// The prepared statements of one database.
struct DatabaseStatements {
    std::shared_ptr<const Database> definition;  // they hold for this one
    Statement insert;
    Statement append;      // the same without the identifier; prepared when it is first of use
    Statement highest;     // identifier; so is this
    Statement update;      // properties alone
    Statement merge;       // the same, from the old ones: see UpdateRecord
    Statement updateKeys;  // properties and all keys
    Statement remove;
    Statement read;
    struct Seek {
        Statement forward;
        Statement backward;
        Statement keyOf;
        Statement rank;
        Statement oids;
    };
    std::map<int, Seek> orders;  // by index of the order, -1 for the order of creation
};

// What writing or reading a record works in. Kept from call to call, it allocates nothing once it has grown.
struct RecordScratch {
    PropertyViews given;
    PropertyViews old;
    PropertyViews merged;
    std::string oldBytes;
    std::string bytes;
    std::vector<std::string> keys;
    Merging* merging = nullptr;  // the update that a statement is carrying out
};

class Connection {
 public:
    // Throws VolumeError: 2, 5, 11, 1358, ...
    explicit Connection(std::shared_ptr<VolumeShare> share);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    std::recursive_mutex& Mutex() { return m_mutex; }
    sqlite3* Handle() const { return m_database; }
    VolumeShare& Share() { return *m_share; }
    std::int64_t Identity() const { return m_identity; }
    Stamp CurrentStamp() const;

    CEGUID Guid() const { return m_guid; }

    // --- Transactions; the caller holds the mutex ---
    void Begin();              // the outer transaction, or a savepoint in it
    void Commit();             // of the innermost; throws VolumeError, and then all of it is taken back
    void Rollback() noexcept;  // of the innermost
    bool InTransaction() const { return m_depth > 0; }
    // Throws where SQLite had to take the open transaction back (a full disk).
    void CheckTransaction() const;

    // --- Definitions; the caller holds the mutex ---
    const Databases& AllDatabases();  // as of now
    // Null where there is none. Good until the definitions are asked for again.
    const std::shared_ptr<const Database>& FindDatabase(CEOID oid);
    const std::shared_ptr<const Database>& NeedDatabase(CEOID oid);  // the same; throws 1168
    void DefinitionsChanged();                                       // inside a write
    DatabaseStatements& Statements(const std::shared_ptr<const Database>& database);

    // --- Counters, inside a write ---
    CEOID NewOid();
    // The record with the identifier that was given last is in the database now, `appended` or not; and one was taken
    // out of a database.
    void NoteAdded(CEOID database, bool appended) { m_added = {database, m_lastOid, appended}; }
    void NoteRemoved() { m_added = {}; }
    // Whether the next identifier is the one behind the highest in the table, as it is while a batch of records is
    // added. SQLite gives that by itself, without looking for its place.
    bool Appends(const std::shared_ptr<const Database>& database);
    std::int64_t LastChange();  // the highest number that a journal entry ever had, trimmed or not
    void SkipOids(CEOID upTo);  // none of them is given any more
    void Count(CEOID database, int records, std::int64_t bytes);  // notes a change of the database
    void Tell(UINT kind, CEOID oid, CEOID parent);
    DatabaseState State(CEOID database) { return State(database, CurrentStamp()); }
    // The same in a transaction that began when the stamp was `stamp`.
    DatabaseState State(CEOID database, const Stamp& stamp);

    // A statement with a fixed text, prepared once; `sql` has to live as long as the connection.
    Statement& Fixed(const char* sql);
    // The same for a text that is put together.
    Statement& Named(const std::string& sql);
    OidLists& Lists() { return m_lists; }
    ReadAhead& Ahead() { return m_ahead; }
    SeekTables& Tables() { return m_tables; }
    RecordScratch& Scratch() { return m_scratch; }
    // Makes what this process committed to the volume durable.
    void Sync();

 private:
    struct Counters {
        std::int64_t records = 0;
        std::int64_t bytes = 0;
        std::int64_t changes = 0;
    };
    struct Saved {
        std::map<CEOID, Counters> counters;
        CEOID lastOid;
        std::int64_t lastChange;
        std::size_t told;
    };

    // The record that this transaction added last.
    struct Added {
        CEOID database = 0;
        CEOID record = 0;
        bool isHighest = false;  // of its table; a volume that was put together by hand may hold higher ones
    };

    static void NextChange(sqlite3_context* context, int, sqlite3_value**);
    static int Wait(void* connection, int count);
    void Open();
    sqlite3_file* Log();  // the file of the write-ahead log; null where it is not open
    void CheckFormat();
    void ReadVolumeState();
    void WriteCounters();
    void NoteOwnWrite();
    void ForgetTransaction();
    void LoadDefinitions();

    std::shared_ptr<VolumeShare> m_share;
    std::recursive_mutex m_mutex;
    sqlite3* m_database = nullptr;
    sqlite3_file* m_file = nullptr;
    const volatile std::uint32_t* m_logIndex = nullptr;  // SQLite's own mapping of the log's index
    std::atomic<std::uint64_t> m_ownWrites{0};
    std::int64_t m_identity = 0;
    CEGUID m_guid{};
    std::chrono::steady_clock::time_point m_waitingSince;

    int m_depth = 0;
    bool m_definitionsDirty = false;
    std::map<CEOID, Counters> m_counters;
    std::pair<CEOID, Counters*> m_counted{};  // of m_counters, those changed last; null where none
    CEOID m_lastOid = 0;                      // good while a transaction runs
    std::int64_t m_lastChange = 0;            // so is this: the number of the last journal entry
    bool m_numbersGiven = false;
    Added m_added;
    std::vector<Saved> m_saved;  // one for each savepoint
    std::vector<Change> m_told;

    Databases m_databases;
    std::int64_t m_definitionNumber = -1;
    Stamp m_definitionStamp;
    bool m_definitionsHold = false;  // until this transaction ends or changes them: no other can
    std::map<CEOID, std::pair<Stamp, DatabaseState>> m_states;  // as last read outside a transaction
    std::unordered_map<CEOID, DatabaseStatements> m_statements;
    DatabaseStatements* m_lastStatements = nullptr;  // of m_statements, those asked for last
    std::unordered_map<const char*, Statement> m_fixed;
    std::unordered_map<std::string, Statement> m_named;
    OidLists m_lists;
    ReadAhead m_ahead;
    SeekTables m_tables;
    RecordScratch m_scratch;
};

// The lock for one reading call.
class ReadScope {
 public:
    explicit ReadScope(Connection& connection) : m_lock(connection.Mutex()) {}

 private:
    std::lock_guard<std::recursive_mutex> m_lock;
};

// The lock and the transaction for one writing call; taken back unless committed. In a transaction that is open
// already it is part of that.
class WriteScope {
 public:
    enum class Extent { OneStatement, Several };  // several statements in an open transaction need a savepoint
    explicit WriteScope(Connection& connection, Extent extent = Extent::OneStatement);
    // The same for a caller that has the lock already.
    WriteScope(Connection& connection, std::unique_lock<std::recursive_mutex> lock,
               Extent extent = Extent::OneStatement);
    ~WriteScope();
    void Commit();

 private:
    std::unique_lock<std::recursive_mutex> m_lock;
    Connection& m_connection;
    bool m_open;
};

}  // namespace kez::propertydb
