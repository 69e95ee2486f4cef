// What SQLite's results mean to a caller of the property database.
#include "platform/propertydb/sqlite.h"

#include <cerrno>

#include "platform/propertydb/volume.h"

namespace kez::propertydb {

namespace {

struct Meaning {
    int result;
    DWORD error;
};
constexpr Meaning kMeanings[] = {
    {SQLITE_BUSY, ERROR_SHARING_VIOLATION},     {SQLITE_LOCKED, ERROR_SHARING_VIOLATION},
    {SQLITE_PROTOCOL, ERROR_SHARING_VIOLATION}, {SQLITE_FULL, ERROR_DISK_FULL},
    {SQLITE_NOMEM, ERROR_NOT_ENOUGH_MEMORY},    {SQLITE_READONLY, ERROR_ACCESS_DENIED},
    {SQLITE_PERM, ERROR_ACCESS_DENIED},         {SQLITE_AUTH, ERROR_ACCESS_DENIED},
    {SQLITE_NOTADB, ERROR_BAD_FORMAT},          {SQLITE_CORRUPT, ERROR_INTERNAL_DB_CORRUPTION},
    {SQLITE_CANTOPEN, ERROR_ACCESS_DENIED},     {SQLITE_TOOBIG, ERROR_BAD_LENGTH},
    {SQLITE_CONSTRAINT, ERROR_ALREADY_EXISTS},
};

bool NoSpace(int systemError) { return systemError == ENOSPC || systemError == EDQUOT || systemError == EFBIG; }

}  // namespace

DWORD ErrorOf(sqlite3* database, int result) {
    const int primary = result & 0xFF;
    if (result == SQLITE_IOERR_WRITE) return ERROR_DISK_FULL;  // a quota or a limit of the file's size
    if (primary == SQLITE_IOERR) {
        return database && NoSpace(sqlite3_system_errno(database)) ? ERROR_DISK_FULL : ERROR_INTERNAL_DB_CORRUPTION;
    }
    for (const Meaning& meaning : kMeanings) {
        if (meaning.result == primary) return meaning.error;
    }
    return ERROR_INTERNAL_DB_CORRUPTION;
}

void ThrowSqlite(sqlite3* database, int result, const std::string& doing) {
    const char* file = database ? sqlite3_db_filename(database, "main") : nullptr;
    throw VolumeError(ErrorOf(database, result), "volume \"" + std::string(file ? file : "") + "\": " + doing + ": " +
                                                     (database ? sqlite3_errmsg(database) : sqlite3_errstr(result)));
}

void Statement::Prepare(sqlite3* database, const std::string& sql) {
    sqlite3_finalize(m_statement);
    m_statement = nullptr;
    const int result = sqlite3_prepare_v3(database, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr);
    if (result != SQLITE_OK) ThrowSqlite(database, result, "cannot prepare");
}

Query::~Query() { sqlite3_reset(m_statement); }

Query& Query::Bind(int index, std::int64_t value) {
    sqlite3_bind_int64(m_statement, index, value);
    return *this;
}

Query& Query::Bind(int index, std::string_view bytes) {
    static constexpr char kNothing[1] = {};  // a null pointer would bind NULL instead of no bytes
    sqlite3_bind_blob64(m_statement, index, bytes.data() ? bytes.data() : kNothing, bytes.size(), SQLITE_STATIC);
    return *this;
}

Query& Query::BindNull(int index) {
    sqlite3_bind_null(m_statement, index);
    return *this;
}

Query& Query::BindText(int index, const std::u16string& text) {
    sqlite3_bind_text16(m_statement, index, text.data(), static_cast<int>(text.size() * 2), SQLITE_STATIC);
    return *this;
}

Query& Query::BindText(int index, const std::string& text) {
    sqlite3_bind_text(m_statement, index, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    return *this;
}

bool Query::Step() {
    const int result = sqlite3_step(m_statement);
    if (result == SQLITE_ROW) return true;
    if (result == SQLITE_DONE) return false;
    sqlite3* database = sqlite3_db_handle(m_statement);
    ThrowSqlite(database, sqlite3_extended_errcode(database), "cannot carry out a statement");
}

std::string_view Query::Blob(int column) const {
    const void* data = sqlite3_column_blob(m_statement, column);
    return {static_cast<const char*>(data), static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
}

std::u16string Query::Text(int column) const {
    const void* data = sqlite3_column_text16(m_statement, column);
    if (!data) return {};
    return std::u16string(static_cast<const char16_t*>(data), sqlite3_column_bytes16(m_statement, column) / 2);
}

}  // namespace kez::propertydb
