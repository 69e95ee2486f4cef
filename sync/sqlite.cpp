#include "sync/sqlite.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace kez::sync {
namespace {

constexpr int kBusyMilliseconds = 10000;

[[noreturn]] void Throw(sqlite3* connection, int result, const std::string& doing) {
    throw SqliteError(result, doing + ": " + (connection ? sqlite3_errmsg(connection) : sqlite3_errstr(result)));
}

// A database that nobody has open, opened so that not even a lock is taken.
std::string ImmutableUri(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            char escaped[4];
            std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned>(c));
            uri += escaped;
        } else {
            uri += c;
        }
    }
    return uri + "?immutable=1";
}

// A file that a connection has open, read through it: to open and close it once more would take the connection's locks.
sqlite3_file* OpenFile(const Sqlite& connection, int which) {
    sqlite3_file* file = nullptr;
    const int result = sqlite3_file_control(connection.Handle(), "main", which, &file);
    if (result != SQLITE_OK) Throw(connection.Handle(), result, sqlite3_db_filename(connection.Handle(), "main"));
    return file && file->pMethods ? file : nullptr;
}

sqlite3_int64 SizeOf(sqlite3_file* file) {
    sqlite3_int64 size = 0;
    if (!file) return size;
    const int result = file->pMethods->xFileSize(file, &size);
    if (result != SQLITE_OK) Throw(nullptr, result, "a database that is to be copied");
    return size;
}

void CopyContent(sqlite3_file* file, const std::string& to) {
    constexpr sqlite3_int64 kPiece = 256 * 1024;
    std::string piece;
    std::ofstream target(to, std::ios::binary | std::ios::trunc);
    const sqlite3_int64 size = SizeOf(file);
    for (sqlite3_int64 at = 0; at < size && target; at += kPiece) {
        piece.resize(static_cast<std::size_t>(std::min(kPiece, size - at)));
        const int result = file->pMethods->xRead(file, piece.data(), static_cast<int>(piece.size()), at);
        if (result != SQLITE_OK) Throw(nullptr, result, to);
        target.write(piece.data(), static_cast<std::streamsize>(piece.size()));
    }
    if (!target.flush()) Throw(nullptr, SQLITE_FULL, to);
}

bool HasLog(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path + "-wal", error) || std::filesystem::exists(path + "-journal", error);
}

}  // namespace

Sqlite::Sqlite(const std::string& path) {
    const int result =
        sqlite3_open_v2(path.c_str(), &m_connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (result != SQLITE_OK) {
        const std::string text = m_connection ? sqlite3_errmsg(m_connection) : sqlite3_errstr(result);
        sqlite3_close(m_connection);
        throw SqliteError(result, path + ": " + text);
    }
    sqlite3_busy_timeout(m_connection, kBusyMilliseconds);
}

Sqlite::~Sqlite() { sqlite3_close(m_connection); }

void Sqlite::Execute(const char* sql) {
    const int result = sqlite3_exec(m_connection, sql, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) Throw(m_connection, result, sqlite3_db_filename(m_connection, "main"));
}

Statement::Statement(const Sqlite& connection, const char* sql) {
    const int result = sqlite3_prepare_v2(connection.Handle(), sql, -1, &m_statement, nullptr);
    if (result != SQLITE_OK) Throw(connection.Handle(), result, sql);
}

void Statement::Check(int result) const {
    if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE) return;
    sqlite3* connection = sqlite3_db_handle(m_statement);
    Throw(connection, result, sqlite3_db_filename(connection, "main"));
}

Statement& Statement::Bind(std::int64_t value) {
    Check(sqlite3_bind_int64(m_statement, m_next++, value));
    return *this;
}

Statement& Statement::Bind(std::string_view text) {
    Check(sqlite3_bind_text64(m_statement, m_next++, text.data() ? text.data() : "", text.size(), SQLITE_TRANSIENT,
                              SQLITE_UTF8));
    return *this;
}

Statement& Statement::BindBlob(std::string_view bytes) {
    Check(sqlite3_bind_blob64(m_statement, m_next++, bytes.data() ? bytes.data() : "", bytes.size(), SQLITE_TRANSIENT));
    return *this;
}

Statement& Statement::BindNull() {
    Check(sqlite3_bind_null(m_statement, m_next++));
    return *this;
}

bool Statement::Step() {
    const int result = sqlite3_step(m_statement);
    Check(result);
    return result == SQLITE_ROW;
}

void Statement::Run() {
    while (Step()) {
    }
    Reset();
}

void Statement::Reset() {
    sqlite3_reset(m_statement);
    sqlite3_clear_bindings(m_statement);
    m_next = 1;
}

std::string Statement::Bytes(int column) const {
    const void* bytes = sqlite3_column_blob(m_statement, column);
    return bytes ? std::string(static_cast<const char*>(bytes), sqlite3_column_bytes(m_statement, column))
                 : std::string();
}

std::string Statement::Text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
    return text ? std::string(text, sqlite3_column_bytes(m_statement, column)) : std::string();
}

Transaction::~Transaction() {
    if (m_open) sqlite3_exec(m_connection.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
    m_connection.Execute("COMMIT");
    m_open = false;
}

void CopyDatabase(const std::string& from, const std::string& to) {
    for (;;) {
        const bool hadLog = HasLog(from);
        std::error_code error;
        const auto before = std::filesystem::last_write_time(from, error);
        sqlite3* connection = nullptr;
        const int opened = hadLog ? sqlite3_open_v2(from.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr)
                                  : sqlite3_open_v2(ImmutableUri(from).c_str(), &connection,
                                                    SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
        const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> source(connection, sqlite3_close);
        if (opened != SQLITE_OK) Throw(connection, opened, from);
        sqlite3_busy_timeout(connection, kBusyMilliseconds);
        sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        const Sqlite target(to);
        sqlite3_backup* backup = sqlite3_backup_init(target.Handle(), "main", connection, "main");
        if (!backup) Throw(target.Handle(), sqlite3_errcode(target.Handle()), to);
        const int stepped = sqlite3_backup_step(backup, -1);
        const int result = sqlite3_backup_finish(backup);
        if (result != SQLITE_OK || stepped != SQLITE_DONE) Throw(nullptr, result ? result : stepped, from);
        // Somebody who opened the database meanwhile may have written to it: what was read may be of two moments.
        if (hadLog || (!HasLog(from) && std::filesystem::last_write_time(from, error) == before)) return;
    }
}

// Nobody writes to the log while this transaction is open. What somebody may move meanwhile from the log into the
// database stays in the log: both together are what the database holds, however the two were read.
void CopyAsFile(Sqlite& from, const std::string& to) {
    {
        const Transaction transaction(from);
        Statement mode(from, "PRAGMA journal_mode");
        const bool isLogged = mode.Step() && mode.Text(0) == "wal";
        sqlite3_file* database = OpenFile(from, SQLITE_FCNTL_FILE_POINTER);
        if (!database) Throw(nullptr, SQLITE_CANTOPEN, to);
        CopyContent(database, to);
        sqlite3_file* log = isLogged ? OpenFile(from, SQLITE_FCNTL_JOURNAL_POINTER) : nullptr;
        mode.Reset();
        if (SizeOf(log) == 0) return;
        CopyContent(log, to + "-wal");
    }
    Sqlite copy(to);
    copy.Execute("PRAGMA synchronous=OFF; PRAGMA wal_checkpoint(TRUNCATE)");
}

}  // namespace kez::sync
