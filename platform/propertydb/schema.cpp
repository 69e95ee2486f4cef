// Data definition: what a volume file holds when it is made, and what a database adds to it.
#include "platform/propertydb/schema.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <random>

#include "platform/propertydb/volume.h"

namespace kez::propertydb {

namespace {

// The first statements are pragmas that only take effect in an empty file. UTF-16 makes a record's text readable:
// a view can cast the stored bytes.
constexpr const char* kVolumeTables = R"(
PRAGMA page_size = 2048;
PRAGMA encoding = 'UTF-16le';
PRAGMA journal_mode = WAL;
BEGIN IMMEDIATE;
CREATE TABLE state (
    database    INTEGER PRIMARY KEY,
    records     INTEGER NOT NULL DEFAULT 0,
    bytes       INTEGER NOT NULL DEFAULT 0,
    changes     INTEGER NOT NULL DEFAULT 0,
    modified    INTEGER NOT NULL DEFAULT 0,
    last_number INTEGER NOT NULL DEFAULT 0,
    last_change INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE database (
    oid     INTEGER PRIMARY KEY,
    name    TEXT NOT NULL,
    type    INTEGER NOT NULL,
    flags   INTEGER NOT NULL,
    schema  INTEGER NOT NULL,
    journal INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE sort_order (
    database INTEGER NOT NULL,
    position INTEGER NOT NULL,
    slot     INTEGER NOT NULL,
    sort     BLOB NOT NULL,
    PRIMARY KEY (database, position)
) WITHOUT ROWID;
CREATE TABLE property (
    database INTEGER NOT NULL,
    position INTEGER NOT NULL,
    id       INTEGER NOT NULL,
    flags    INTEGER NOT NULL,
    name     TEXT NOT NULL,
    PRIMARY KEY (database, position)
) WITHOUT ROWID;
CREATE TABLE setting (
    name  TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) WITHOUT ROWID;
)";

// The numbers come from the volume's state, in which they outlive the entries: SQLite's own AUTOINCREMENT would write
// one more page with each change.
constexpr const char* kJournalTable = R"(
CREATE TABLE journal (
    sequence INTEGER PRIMARY KEY,
    database INTEGER NOT NULL,
    record   INTEGER NOT NULL,
    action   INTEGER NOT NULL,
    time     INTEGER NOT NULL
);
)";

constexpr const char* kJournalTriggers[] = {"added", "changed", "deleted", "attached", "reattached", "detached"};

struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
};

// Takes the half-made file away, whatever happens.
struct TemporaryFile {
    std::filesystem::path file;
    ~TemporaryFile() {
        for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
            std::error_code ignored;
            std::filesystem::remove(file.string() + suffix, ignored);
        }
    }
};

std::int64_t RandomNumber() {
    std::random_device device;
    return static_cast<std::int64_t>((static_cast<std::uint64_t>(device()) << 32 | device()) & 0x7FFFFFFFFFFFFFFF);
}

void FillNewVolume(const std::filesystem::path& file) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(file.c_str(), &opened,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    const std::unique_ptr<sqlite3, Closer> database(opened);
    if (result != SQLITE_OK) ThrowSqlite(opened, result, "cannot make it");
    Execute(opened, kVolumeTables);
    Execute(opened, kJournalTable);
    Execute(opened, "INSERT INTO state (database, last_number) VALUES (0, " + std::to_string(kFirstOid) + ");" +
                        "INSERT INTO setting VALUES ('identity', " + std::to_string(RandomNumber()) + ");" +
                        "PRAGMA application_id = " + std::to_string(kApplicationId) + ";" +
                        "PRAGMA user_version = " + std::to_string(kFormat) + "; COMMIT;");
}

std::int64_t PragmaValue(sqlite3* database, const char* pragma) {
    Statement statement;
    statement.Prepare(database, "PRAGMA " + std::string(pragma));
    Query query(statement);
    return query.Step() ? query.Number(0) : 0;
}

// From the journal of format 1, whose table counts by itself, to the one that takes its numbers from the state.
void MakeNewJournal(sqlite3* database) {
    std::vector<CEOID> journalled;
    {
        Statement statement;
        statement.Prepare(database, "SELECT oid FROM database WHERE journal = 1");
        Query query(statement);
        while (query.Step()) journalled.push_back(static_cast<CEOID>(query.Number(0)));
    }
    for (const CEOID oid : journalled) {
        for (const char* name : kJournalTriggers) {
            Execute(database, "DROP TRIGGER journal_" + std::string(name) + "_" + std::to_string(oid));
        }
    }
    Execute(database,
            "ALTER TABLE state ADD COLUMN last_change INTEGER NOT NULL DEFAULT 0;"
            "UPDATE state SET last_change = coalesce((SELECT seq FROM sqlite_sequence WHERE name = 'journal'), 0) "
            "WHERE database = 0;"
            "ALTER TABLE journal RENAME TO old_journal;");
    Execute(database, kJournalTable);
    Execute(database,
            "INSERT INTO journal SELECT sequence, database, record, action, time FROM old_journal;"
            "DROP TABLE old_journal;");
    for (const CEOID oid : journalled) CreateJournalTriggers(database, oid);
    Execute(database, "PRAGMA user_version = " + std::to_string(kFormat));
}

void SyncFolder(const std::filesystem::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    ::fsync(descriptor);
    ::close(descriptor);
}

// SQL for the byte at `position` (an expression, from 1) of the column props, and for the number of `bytes` bytes
// there, low byte first. hex() is the only way to a byte's value.
std::string ByteAt(const std::string& position) {
    const std::string digits = "hex(substr(props, " + position + ", 1))";
    return "((instr('0123456789ABCDEF', substr(" + digits + ", 1, 1)) - 1) * 16 + instr('0123456789ABCDEF', substr(" +
           digits + ", 2, 1)) - 1)";
}

std::string NumberAt(const std::string& position, int bytes) {
    std::string sql = "(";
    for (int i = 0; i < bytes; ++i) {
        if (i) sql += " + ";
        sql += "(" + ByteAt(position + " + " + std::to_string(i)) + " << " + std::to_string(8 * i) + ")";
    }
    return sql + ")";
}

// One row a property, its value in readable form.
std::string PropertyView(CEOID oid) {
    const std::string size = "CASE " + NumberAt("at", 2) +
                             " WHEN 2 THEN 2 WHEN 18 THEN 2 WHEN 5 THEN 8 WHEN 64 THEN 8 "
                             "WHEN 103 THEN 8 WHEN 31 THEN 4 + " +
                             NumberAt("at + 4", 4) + " WHEN 65 THEN 4 + " + NumberAt("at + 4", 4) + " ELSE 4 END";
    return "CREATE VIEW properties_" + std::to_string(oid) +
           " AS WITH RECURSIVE\n"
           "entry(oid, props, at) AS (\n"
           "  SELECT oid, props, 1 FROM " +
           RecordTable(oid) +
           "\n"
           "  UNION ALL SELECT oid, props, at + 4 + " +
           size +
           " FROM entry WHERE at <= length(props))\n"
           "SELECT oid, printf('%08X', id) AS property, CASE type\n"
           "  WHEN 2 THEN (" +
           NumberAt("at + 4", 2) +
           " + 32768) % 65536 - 32768\n"
           "  WHEN 18 THEN " +
           NumberAt("at + 4", 2) +
           "\n"
           "  WHEN 3 THEN (" +
           NumberAt("at + 4", 4) +
           " + 2147483648) % 4294967296 - 2147483648\n"
           "  WHEN 102 THEN (" +
           NumberAt("at + 4", 4) +
           " + 2147483648) % 4294967296 - 2147483648\n"
           "  WHEN 5 THEN 'double ' || hex(substr(props, at + 4, 8))\n"
           "  WHEN 31 THEN CAST(substr(props, at + 8, " +
           NumberAt("at + 4", 4) +
           ") AS TEXT)\n"
           "  WHEN 64 THEN strftime('%Y-%m-%d %H:%M:%S', " +
           NumberAt("at + 4", 8) +
           " / 10000000 - 11644473600, 'unixepoch')\n"
           "  WHEN 65 THEN hex(substr(props, at + 8, " +
           NumberAt("at + 4", 4) +
           "))\n"
           "  WHEN 103 THEN " +
           NumberAt("at + 4", 8) +
           "\n"
           "  ELSE " +
           NumberAt("at + 4", 4) +
           " END AS value\n"
           "FROM (SELECT oid, props, at, " +
           NumberAt("at", 4) + " AS id, " + NumberAt("at", 2) +
           " AS type FROM entry"
           " WHERE at <= length(props)) ORDER BY oid, at;";
}

}  // namespace

std::int64_t VolumeFormat(sqlite3* database) {
    return PragmaValue(database, "application_id") == kApplicationId ? PragmaValue(database, "user_version") : 0;
}

void Execute(sqlite3* database, const std::string& sql) {
    const int result = sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) ThrowSqlite(database, sqlite3_extended_errcode(database), "cannot change its tables");
}

std::string RecordTable(CEOID oid) { return "records_" + std::to_string(oid); }
std::string AttachmentTable(CEOID oid) { return "attachments_" + std::to_string(oid); }
std::string KeyColumn(int slot) { return "key" + std::to_string(slot); }

void CreateVolumeFile(const std::filesystem::path& file) {
    static std::atomic<unsigned> count = 0;
    const TemporaryFile temporary{file.string() + ".new-" + std::to_string(::getpid()) + "-" + std::to_string(++count)};
    FillNewVolume(temporary.file);
    if (::link(temporary.file.c_str(), file.c_str()) != 0) {
        const DWORD error = errno == EEXIST   ? ERROR_FILE_EXISTS
                            : errno == ENOSPC ? ERROR_DISK_FULL
                                              : ERROR_ACCESS_DENIED;
        throw VolumeError(error, "cannot make the volume \"" + file.string() + "\"");
    }
    SyncFolder(file.parent_path());
}

void UpgradeVolume(sqlite3* database) {
    Execute(database, "BEGIN IMMEDIATE");
    try {
        if (VolumeFormat(database) == kFormatOfOldJournal) MakeNewJournal(database);
        Execute(database, "COMMIT");
    } catch (...) {
        if (!sqlite3_get_autocommit(database)) sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

void CreateRecordTable(sqlite3* database, CEOID oid) {
    const std::string records = RecordTable(oid);
    const std::string attachments = AttachmentTable(oid);
    Execute(database, "CREATE TABLE " + records + " (oid INTEGER PRIMARY KEY, props BLOB NOT NULL);" + "CREATE TABLE " +
                          attachments +
                          " (id INTEGER PRIMARY KEY, record INTEGER NOT NULL, kind INTEGER NOT NULL, "
                          "key INTEGER NOT NULL, props BLOB NOT NULL, data BLOB NOT NULL, "
                          "UNIQUE (record, kind, key));" +
                          "CREATE TRIGGER cascade_" + std::to_string(oid) + " AFTER DELETE ON " + records +
                          " BEGIN DELETE FROM " + attachments + " WHERE record = OLD.oid; END;" + PropertyView(oid));
}

void DropRecordTable(sqlite3* database, CEOID oid) {
    Execute(database, "DROP VIEW properties_" + std::to_string(oid) + "; DROP TABLE " + RecordTable(oid) +
                          "; DROP TABLE " + AttachmentTable(oid) + ";");
}

void AddKeyColumn(sqlite3* database, CEOID oid, int slot) {
    Execute(database, "ALTER TABLE " + RecordTable(oid) + " ADD COLUMN " + KeyColumn(slot) + " BLOB;");
}

void CreateKeyIndex(sqlite3* database, CEOID oid, int slot) {
    Execute(database, "CREATE UNIQUE INDEX order_" + std::to_string(oid) + "_" + std::to_string(slot) + " ON " +
                          RecordTable(oid) + " (" + KeyColumn(slot) + ");");
}

void DropKeyColumn(sqlite3* database, CEOID oid, int slot) {
    // A column cannot be dropped under a view of its table.
    Execute(database, "DROP VIEW properties_" + std::to_string(oid) + "; DROP INDEX order_" + std::to_string(oid) +
                          "_" + std::to_string(slot) + "; ALTER TABLE " + RecordTable(oid) + " DROP COLUMN " +
                          KeyColumn(slot) + ";" + PropertyView(oid));
}

void CreateJournalTriggers(sqlite3* database, CEOID oid) {
    const std::string number = std::to_string(oid);
    const auto note = [&number](const std::string& record, int action) {
        return " BEGIN INSERT INTO journal VALUES (next_change(), " + number + ", " + record + ", " +
               std::to_string(action) + ", device_time()); END;";
    };
    const auto trigger = [&number](const std::string& name, const std::string& when) {
        return "CREATE TRIGGER journal_" + name + "_" + number + " AFTER " + when;
    };
    const std::string records = RecordTable(oid);
    const std::string attachments = AttachmentTable(oid);
    // What goes because its record goes is no change of that record.
    const std::string ownerStays = " WHEN EXISTS (SELECT 1 FROM " + records + " WHERE oid = OLD.record)";
    Execute(database, trigger("added", "INSERT ON " + records) + note("NEW.oid", 1) +
                          trigger("changed", "UPDATE ON " + records) + note("NEW.oid", 2) +
                          trigger("deleted", "DELETE ON " + records) + note("OLD.oid", 3) +
                          trigger("attached", "INSERT ON " + attachments) + note("NEW.record", 2) +
                          trigger("reattached", "UPDATE ON " + attachments) + note("NEW.record", 2) +
                          trigger("detached", "DELETE ON " + attachments + ownerStays) + note("OLD.record", 2));
}

}  // namespace kez::propertydb
