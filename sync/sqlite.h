// SQLite in the shape that the state needs: a connection and statements that close themselves and throw.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kez::sync {

class SqliteError : public std::runtime_error {
 public:
    SqliteError(int resultCode, const std::string& text) : std::runtime_error(text), code(resultCode) {}
    const int code;
};

class Statement;

class Sqlite {
 public:
    explicit Sqlite(const std::string& path);
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;
    ~Sqlite();

    void Execute(const char* sql);
    std::int64_t Changes() const { return sqlite3_changes(m_connection); }  // rows of the last statement
    sqlite3* Handle() const { return m_connection; }

 private:
    sqlite3* m_connection = nullptr;
};

// A prepared statement. Bind counts from 1 in the order of the calls; columns count from 0.
class Statement {
 public:
    Statement(const Sqlite& connection, const char* sql);
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() { sqlite3_finalize(m_statement); }

    Statement& Bind(std::int64_t value);
    Statement& Bind(std::string_view text);
    Statement& BindBlob(std::string_view bytes);
    Statement& BindNull();

    bool Step();  // true while there is a row
    void Run();   // to the end, then ready for the next binding
    void Reset();

    std::int64_t Integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    std::string Bytes(int column) const;  // as stored: of text, in the database's encoding
    std::string Text(int column) const;   // in UTF-8
    bool IsNull(int column) const { return sqlite3_column_type(m_statement, column) == SQLITE_NULL; }

 private:
    void Check(int result) const;
    sqlite3_stmt* m_statement = nullptr;
    int m_next = 1;
};

// Rolls back unless Commit was called.
class Transaction {
 public:
    explicit Transaction(Sqlite& connection) : m_connection(connection) { m_connection.Execute("BEGIN IMMEDIATE"); }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    void Commit();

 private:
    Sqlite& m_connection;
    bool m_open = true;
};

// Makes `to` (a database, or nothing) hold what the database `from` holds at this moment, in one step, while others may
// use either. Nothing of `from` changes: what killed programs left in its log is read and stays where it is.
void CopyDatabase(const std::string& from, const std::string& to);

// Makes a new database `to` of what `from` holds at this moment: quicker than CopyDatabase, but durable only when the
// file is synced. `from` is in no transaction; who wants to write to it waits meanwhile. Throws SqliteError.
void CopyAsFile(Sqlite& from, const std::string& to);

}  // namespace kez::sync
