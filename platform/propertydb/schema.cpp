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
// a view can cast the stored bytes. The file is nobody else's yet and is made durable as a whole when it is done.
constexpr const char* kVolumeTables = R"(
PRAGMA page_size = 2048;
PRAGMA encoding = 'UTF-16le';
PRAGMA synchronous = OFF;
PRAGMA journal_mode = MEMORY;
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
                        "PRAGMA user_version = " + std::to_string(kFormat) + "; COMMIT; PRAGMA journal_mode = WAL;");
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

// False where the file or folder cannot be made durable; errno says why.
bool MakeDurable(const std::filesystem::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool done = ::fsync(descriptor) == 0;
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return done;
}

// SQL for the number in the four bytes, low one first, that stand as hexadecimal digits in the column `hex` from
// digit `first` on. Digits that are missing count as 0.
std::string NumberIn(const std::string& hex, int first) {
    std::string sql = "(";
    for (int i = 0; i < 8; ++i) {
        const int shift = i % 2 == 0 ? 4 * i + 4 : 4 * i - 4;
        if (i) sql += " + ";
        sql += "(instr('0123456789ABCDEF', substr(" + hex + ", " + std::to_string(first + i) + ", 1)) - 1 << " +
               std::to_string(shift) + ")";
    }
    return sql + ")";
}

// One row a property, its value in readable form. Every connection parses the views when it opens, so they are kept
// short: `entry` goes through the bytes by turns, once to the next place (where the identifier is -1) and once to what
// stands there, the identifier and the four bytes behind it; nothing else has to be taken apart.
std::string PropertyView(CEOID oid) {
    const std::string head = "hex(substr(props, at, 8))";
    return "CREATE VIEW properties_" + std::to_string(oid) +
           " AS WITH RECURSIVE entry(oid, props, at, id, low) AS (\n"
           "SELECT oid, props, 1, -1, 0 FROM " +
           RecordTable(oid) +
           "\nUNION ALL SELECT oid, props, CASE id WHEN -1 THEN at ELSE at + 4 + CASE id & 65535 WHEN 2 THEN 2 "
           "WHEN 18 THEN 2 WHEN 5 THEN 8 WHEN 64 THEN 8 WHEN 103 THEN 8 WHEN 31 THEN 4 + low WHEN 65 THEN 4 + low "
           "ELSE 4 END END,\nCASE id WHEN -1 THEN " +
           NumberIn(head, 1) + " ELSE -1 END,\nCASE id WHEN -1 THEN " + NumberIn(head, 9) +
           " ELSE 0 END\nFROM entry WHERE at <= length(props))\n"
           "SELECT oid, printf('%08X', id) AS property, CASE id & 65535\n"
           "WHEN 2 THEN ((low & 65535) + 32768) % 65536 - 32768 WHEN 18 THEN low & 65535\n"
           "WHEN 3 THEN (low + 2147483648) % 4294967296 - 2147483648\n"
           "WHEN 102 THEN (low + 2147483648) % 4294967296 - 2147483648\n"
           "WHEN 5 THEN 'double ' || hex(substr(props, at + 4, 8))\n"
           "WHEN 31 THEN CAST(substr(props, at + 8, low) AS TEXT)\n"
           "WHEN 64 THEN strftime('%Y-%m-%d %H:%M:%S', (low + (high << 32)) / 10000000 - 11644473600, 'unixepoch')\n"
           "WHEN 65 THEN hex(substr(props, at + 8, low)) WHEN 103 THEN low + (high << 32) ELSE low END AS value\n"
           "FROM (SELECT oid, props, at, id, low, " +
           NumberIn("hex(substr(props, at + 8, 4))", 1) + " AS high FROM entry WHERE id <> -1) ORDER BY oid, at;";
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
    if (!MakeDurable(temporary.file) || ::link(temporary.file.c_str(), file.c_str()) != 0) {
        const DWORD error = errno == EEXIST                      ? ERROR_FILE_EXISTS
                            : errno == ENOSPC || errno == EDQUOT ? ERROR_DISK_FULL
                                                                 : ERROR_ACCESS_DENIED;
        throw VolumeError(error, "cannot make the volume \"" + file.string() + "\"");
    }
    MakeDurable(file.parent_path());
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
