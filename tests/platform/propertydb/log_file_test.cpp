// The layer that gathers the frames of a write-ahead log: whatever is written, taken back and written elsewhere
// meanwhile, the database is the same as without it.
#include "platform/propertydb/log_file.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

namespace fs = std::filesystem;

// A connection as the property database opens them, with a cache of a few pages, so that frames go to the log long
// before the transaction ends.
class Gathering {
 public:
    explicit Gathering(const fs::path& file) {
        EXPECT_EQ(sqlite3_open_v2(file.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                                  propertydb::GatheringFiles()),
                  SQLITE_OK);
        sqlite3_rollback_hook(
            m_database, [](void* self) { propertydb::DropGathered(static_cast<Gathering*>(self)->Log()); }, this);
        Run("PRAGMA page_size = 1024; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
            "PRAGMA cache_size = 5; PRAGMA wal_autocheckpoint = 60;"
            "CREATE TABLE IF NOT EXISTS item (id INTEGER PRIMARY KEY, value BLOB)");
    }
    ~Gathering() { sqlite3_close(m_database); }

    sqlite3_file* Log() {
        sqlite3_file* log = nullptr;
        sqlite3_file_control(m_database, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
        return log && log->pMethods ? log : nullptr;
    }
    int Run(const std::string& sql) { return sqlite3_exec(m_database, sql.c_str(), nullptr, nullptr, nullptr); }
    void Begin() {
        EXPECT_EQ(Run("BEGIN IMMEDIATE"), SQLITE_OK);
        propertydb::DropGathered(Log());
    }
    // Sets `count` rows from `first` on to `length` bytes that depend on `round`.
    void Fill(int first, int count, int length, int round) {
        for (int id = first; id < first + count; ++id) {
            EXPECT_EQ(Run("INSERT OR REPLACE INTO item VALUES (" + std::to_string(id) + ", CAST(zeroblob(" +
                          std::to_string(length) + ") || '" + std::to_string(round) + "' AS BLOB))"),
                      SQLITE_OK);
        }
    }
    std::string Contents() {
        return One(
            "SELECT group_concat(id || ':' || length(value) || ':' || hex(substr(value, -3)), ' ') FROM "
            "(SELECT * FROM item ORDER BY id)");
    }
    std::string Integrity() { return One("PRAGMA integrity_check"); }

 private:
    std::string One(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(m_database, sql, -1, &statement, nullptr), SQLITE_OK);
        EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
        std::string result = text ? text : "";
        sqlite3_finalize(statement);
        return result;
    }

    sqlite3* m_database = nullptr;
};

class LogFileTest : public ::testing::Test {
 protected:
    TestDevice m_device;
    fs::path m_file = m_device.Folder() / "gathering.db";
};

TEST_F(LogFileTest, ASmallTransactionIsInTheFileWhenItsCommitReturns) {
    Gathering one(m_file);
    Gathering other(m_file);
    one.Begin();
    one.Fill(1, 3, 100, 1);
    EXPECT_EQ(other.Contents(), "");
    one.Run("COMMIT");
    EXPECT_EQ(other.Contents(), one.Contents());
    EXPECT_NE(other.Contents(), "");
}

TEST_F(LogFileTest, FramesOfATransactionThatWasTakenBackNeverReachTheLogOfAnother) {
    Gathering one(m_file);
    Gathering other(m_file);
    one.Begin();
    one.Fill(1, 40, 700, 1);  // more than the cache holds: some frames wait now
    one.Run("ROLLBACK");
    other.Begin();
    other.Fill(100, 40, 700, 2);  // in the very place of those frames
    other.Run("COMMIT");
    const std::string written = other.Contents();
    EXPECT_EQ(one.Contents(), written);
    one.Begin();
    one.Run("COMMIT");
    EXPECT_EQ(one.Contents(), written);
    EXPECT_EQ(one.Integrity(), "ok");
    EXPECT_EQ(other.Integrity(), "ok");
}

TEST_F(LogFileTest, AProcessThatDiesBeforeItsCommitLeavesTheLogAsItWas) {
    std::optional<Gathering> one(m_file);
    one->Begin();
    one->Fill(1, 10, 300, 1);
    one->Run("COMMIT");
    const std::string before = one->Contents();
    one->Begin();
    one->Fill(1, 60, 700, 2);
    // What is in the files now is what a process that dies now leaves.
    const fs::path copy = m_device.Folder() / "copy.db";
    fs::copy_file(m_file, copy);
    fs::copy_file(m_file.string() + "-wal", copy.string() + "-wal");
    Gathering left(copy);
    EXPECT_EQ(left.Contents(), before);
    EXPECT_EQ(left.Integrity(), "ok");
}

// Two connections by turns, with transactions of all sizes, savepoints, frames that are written over, commits and
// transactions taken back, against the same steps on a database of SQLite's own files.
TEST_F(LogFileTest, RandomTransactionsGiveWhatTheyGiveWithoutIt) {
    for (unsigned start = 1; start <= 6; ++start) {
        std::mt19937 random(start);
        const fs::path file = m_device.Folder() / ("random" + std::to_string(start));
        std::optional<Gathering> connections[2];
        for (auto& connection : connections) connection.emplace(file);
        sqlite3* plain = nullptr;
        ASSERT_EQ(sqlite3_open(":memory:", &plain), SQLITE_OK);
        sqlite3_exec(plain, "CREATE TABLE item (id INTEGER PRIMARY KEY, value BLOB)", nullptr, nullptr, nullptr);
        for (int round = 0; round < 60; ++round) {
            auto& gathering = connections[random() % 2];
            const auto both = [&](const std::string& sql) {
                EXPECT_EQ(gathering->Run(sql), SQLITE_OK) << sql;
                EXPECT_EQ(sqlite3_exec(plain, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
            };
            gathering->Begin();
            sqlite3_exec(plain, "BEGIN", nullptr, nullptr, nullptr);
            bool inside = false;
            for (unsigned step = 0, steps = random() % 12; step < steps; ++step) {
                switch (random() % 6) {
                    case 0:
                        if (!inside) both("SAVEPOINT inner");
                        inside = true;
                        break;
                    case 1:
                        if (inside) both("ROLLBACK TO inner");
                        break;
                    case 2:
                        both("DELETE FROM item WHERE id % 7 = " + std::to_string(random() % 7));
                        break;
                    default: {
                        const auto first = static_cast<int>(random() % 100);
                        const auto last = first + static_cast<int>(random() % 40);
                        both("WITH RECURSIVE n(i) AS (VALUES (" + std::to_string(first) +
                             ") UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(last) +
                             ") INSERT OR REPLACE INTO item SELECT i, CAST(zeroblob(" + std::to_string(random() % 900) +
                             ") || '" + std::to_string(round) + "' AS BLOB) FROM n");
                    }
                }
            }
            both(random() % 4 == 0 ? "ROLLBACK" : "COMMIT");
            if (random() % 10 == 0) connections[random() % 2].emplace(file);
            std::string expected;
            sqlite3_exec(
                plain,
                "SELECT group_concat(id || ':' || length(value) || ':' || hex(substr(value, -3)), ' ') FROM "
                "(SELECT * FROM item ORDER BY id)",
                [](void* into, int, char** values, char**) {
                    *static_cast<std::string*>(into) = values[0] ? values[0] : "";
                    return 0;
                },
                &expected, nullptr);
            for (auto& connection : connections) ASSERT_EQ(connection->Contents(), expected) << start << " " << round;
        }
        for (auto& connection : connections) EXPECT_EQ(connection->Integrity(), "ok");
        sqlite3_close(plain);
    }
}

}  // namespace
}  // namespace kez::tests
