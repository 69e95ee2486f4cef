// SQLite as this room uses it: a statement that resets itself, and results as VolumeError with the platform's number.
#pragma once

#include <sqlite3.h>
#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kez::propertydb {

// The platform's error number for a failure of the connection's last call.
DWORD ErrorOf(sqlite3* database, int result);
// Throws VolumeError with that number.
[[noreturn]] void ThrowSqlite(sqlite3* database, int result, const std::string& doing);

// A prepared statement; empty until Prepare.
class Statement {
 public:
    Statement() = default;
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool Prepared() const { return m_statement != nullptr; }
    void Prepare(sqlite3* database, const std::string& sql);

 private:
    friend class Query;
    sqlite3_stmt* m_statement = nullptr;
};

// One run of a statement: binds, steps, and resets it at the end. Blobs and texts that are bound have to outlive it.
class Query {
 public:
    explicit Query(Statement& statement) : m_statement(statement.m_statement) {}
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    Query& Bind(int index, std::int64_t value);
    Query& Bind(int index, std::string_view bytes);
    Query& BindNull(int index);
    Query& BindText(int index, const std::u16string& text);
    Query& BindText(int index, const std::string& text);

    bool Step();                  // true: there is a row
    void Run() { (void)Step(); }  // for statements without rows
    std::int64_t Number(int column) const { return sqlite3_column_int64(m_statement, column); }
    bool IsNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }
    std::string_view Blob(int column) const;  // valid until the next step
    std::u16string Text(int column) const;

 private:
    sqlite3_stmt* m_statement;
};

}  // namespace kez::propertydb
