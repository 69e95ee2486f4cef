#include "sync/sqlite.h"

namespace kez::sync {
namespace {

constexpr int kBusyMilliseconds = 10000;

[[noreturn]] void Throw(sqlite3* connection, int result, const std::string& doing) {
    throw SqliteError(result, doing + ": " + (connection ? sqlite3_errmsg(connection) : sqlite3_errstr(result)));
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

Transaction::~Transaction() {
    if (m_open) sqlite3_exec(m_connection.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
    m_connection.Execute("COMMIT");
    m_open = false;
}

}  // namespace kez::sync
