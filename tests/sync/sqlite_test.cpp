// Copies of databases that are in use.
#include "sync/sqlite.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace kez::sync {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class CopyAsFileTest : public testing::Test {
 protected:
    CopyAsFileTest() {
        std::string name = (std::filesystem::temp_directory_path() / "kez-copy-XXXXXX").string();
        m_folder = mkdtemp(name.data());
    }
    ~CopyAsFileTest() override { std::filesystem::remove_all(m_folder); }

    std::string Path(const char* name) const { return (m_folder / name).string(); }

    std::unique_ptr<Sqlite> Open(const char* mode = "WAL") {
        auto connection = std::make_unique<Sqlite>(Path("from.db"));
        connection->Execute((std::string("PRAGMA journal_mode=") + mode).c_str());
        connection->Execute("CREATE TABLE IF NOT EXISTS entry (id INTEGER PRIMARY KEY, text TEXT)");
        return connection;
    }
    static std::int64_t Number(const Sqlite& connection, const char* sql) {
        Statement statement(connection, sql);
        return statement.Step() ? statement.Integer(0) : -1;
    }
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            const std::string name = entry.path().filename();
            if (!name.starts_with("from.db")) names.push_back(name);
        }
        return names;
    }
    static std::string Check(const Sqlite& connection) {
        Statement statement(connection, "PRAGMA integrity_check");
        return statement.Step() ? statement.Text(0) : "nothing";
    }

    std::filesystem::path m_folder;
};

TEST_F(CopyAsFileTest, HasWhatIsStillInTheLogAndIsOneFile) {
    const auto from = Open();
    from->Execute("INSERT INTO entry (text) VALUES ('one'); PRAGMA wal_checkpoint(TRUNCATE)");
    from->Execute("INSERT INTO entry (text) VALUES ('two')");
    ASSERT_GT(std::filesystem::file_size(Path("from.db-wal")), 0u);
    CopyAsFile(*from, Path("to.db"));
    EXPECT_THAT(Files(), ElementsAre("to.db"));
    EXPECT_GT(std::filesystem::file_size(Path("from.db-wal")), 0u) << "the log of what was copied stays as it is";
    from->Execute("INSERT INTO entry (text) VALUES ('three')");
    const Sqlite to(Path("to.db"));
    EXPECT_EQ(Number(to, "SELECT count(*) FROM entry"), 2);
    EXPECT_EQ(Check(to), "ok");
}

TEST_F(CopyAsFileTest, OfADatabaseWithoutALogIsWholeToo) {
    for (const char* mode : {"DELETE", "WAL"}) {
        const auto from = Open(mode);
        from->Execute("INSERT INTO entry (text) VALUES ('one'); PRAGMA wal_checkpoint(TRUNCATE)");
        CopyAsFile(*from, Path(mode));
        EXPECT_EQ(Number(Sqlite(Path(mode)), "SELECT count(*) FROM entry"),
                  Number(*from, "SELECT count(*) FROM entry"));
    }
}

// Each writer's transaction leaves an even number of entries, and checkpoints come at any time.
TEST_F(CopyAsFileTest, IsOfOneMomentWhileOthersWrite) {
    const auto from = Open();
    std::atomic<bool> stop{false};
    std::atomic<int> written{0};
    std::thread writer([&] {
        Sqlite other(Path("from.db"));
        other.Execute("PRAGMA synchronous=OFF; PRAGMA wal_autocheckpoint=20");
        while (!stop) {
            other.Execute("BEGIN IMMEDIATE");
            other.Execute("INSERT INTO entry (text) VALUES (randomblob(3000))");
            other.Execute("INSERT INTO entry (text) VALUES (randomblob(9000))");
            if (written % 3 == 2) other.Execute("DELETE FROM entry WHERE id IN (SELECT id FROM entry LIMIT 2)");
            other.Execute("COMMIT");
            ++written;
            usleep(500);  // the lock is asked for by looking again and again
        }
    });
    std::int64_t before = 0;
    for (int i = 0; i < 20; ++i) {
        while (written < i * 3) std::this_thread::yield();
        const std::string to = Path(("to" + std::to_string(i)).c_str());
        CopyAsFile(*from, to);
        const Sqlite copy(to);
        EXPECT_EQ(Check(copy), "ok") << i;
        EXPECT_EQ(Number(copy, "SELECT count(*) FROM entry") % 2, 0) << i;
        const std::int64_t last = Number(copy, "SELECT max(id) FROM entry");
        EXPECT_GE(last, before) << i;
        before = last;
    }
    stop = true;
    writer.join();
    EXPECT_GT(before, 20);
}

// Whoever opens and closes a database's file beside SQLite takes all locks of the process away.
TEST_F(CopyAsFileTest, LeavesTheLocksOfItsSourceInPlace) {
    const auto from = Open();
    from->Execute("INSERT INTO entry (text) VALUES ('one')");
    CopyAsFile(*from, Path("to.db"));
    const pid_t child = fork();
    if (child == 0) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = 0x40000002;
        lock.l_len = 510;
        const int file = open(Path("from.db").c_str(), O_RDWR);
        _exit(fcntl(file, F_GETLK, &lock) == 0 && lock.l_type == F_RDLCK ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the database counts as unused";
}

TEST_F(CopyAsFileTest, NamesThePlaceWhereItCannotBeMade) {
    const auto from = Open();
    try {
        CopyAsFile(*from, Path("missing/to.db"));
        FAIL();
    } catch (const SqliteError& error) {
        EXPECT_THAT(error.what(), HasSubstr("missing/to.db"));
    }
    from->Execute("INSERT INTO entry (text) VALUES ('it goes on')");
}

}  // namespace
}  // namespace kez::sync
