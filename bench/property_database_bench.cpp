// The property database beside bare SQLite with the same payload, in one run: a record of six properties with one
// unique sort order, against a table of six columns with one unique index. Each pair has the same name but for its
// beginning; the second argument tells whether every write commits by itself (0) or all are one transaction (1).
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <windbase.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "platform/control/control.h"
#include "platform/propertydb/volume.h"

namespace {

namespace fs = std::filesystem;

constexpr CEPROPID kKey = 0x00010013;
constexpr CEPROPID kFirst = 0x0002001F;
constexpr CEPROPID kLast = 0x0003001F;
constexpr CEPROPID kMail = 0x0004001F;
constexpr CEPROPID kCount = 0x00050013;
constexpr CEPROPID kBirthday = 0x00060040;

std::u16string TextFor(const char16_t* begin, DWORD number) {
    std::u16string text = begin;
    for (const char digit : std::to_string(number)) text.push_back(static_cast<char16_t>(digit));
    return text;
}

// The keys 0 to n - 1 in a fixed shuffled order.
std::vector<DWORD> Shuffled(DWORD n) {
    std::vector<DWORD> keys(n);
    for (DWORD i = 0; i < n; ++i) keys[i] = i;
    std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
    return keys;
}

struct Payload {
    explicit Payload(DWORD number)
        : key(number),
          first(TextFor(u"First name ", number)),
          last(TextFor(u"Last name ", number)),
          mail(TextFor(u"someone@example.org/", number)) {}
    DWORD key;
    std::u16string first;
    std::u16string last;
    std::u16string mail;
};

class Folder {
 public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "kezbench-XXXXXX").string();
        m_path = mkdtemp(name.data());
    }
    ~Folder() { fs::remove_all(m_path); }
    const fs::path& Path() const { return m_path; }

 private:
    fs::path m_path;
};

// --- The property database ----------------------------------------------------------------------------------

class PropertyDatabase {
 public:
    PropertyDatabase() {
        kez::control::CreateDevice(m_folder.Path() / "device", "");
        kez::control::OpenDevice(m_folder.Path() / "device");
        WCHAR path[] = TEXT("\\bench.vol");
        CeMountDBVolEx(&m_volume, path, nullptr, CREATE_NEW);
        CEDBASEINFOEX info{};
        info.wVersion = 2;
        info.dwFlags = CEDB_VALIDCREATE;
        std::memcpy(info.szDbaseName, u"bench", 12);
        info.wNumSortOrder = 1;
        SORTORDERSPECEX& order = info.rgSortSpecs[0];
        order.wVersion = 2;
        order.wNumProps = 1;
        order.wKeyFlags = CEDB_SORT_PRIMARYKEY;
        order.rgPropID[0] = kKey;
        CEOID oid = CeCreateDatabaseEx2(&m_volume, &info);
        m_session = CeCreateSession(&m_volume);
        m_database = CeOpenDatabaseInSession(m_session, &m_volume, &oid, nullptr, &order, 0, nullptr);
    }
    ~PropertyDatabase() {
        LocalFree(m_buffer);
        CloseHandle(m_database);
        CloseHandle(m_session);
        CeUnmountDBVol(&m_volume);
        kez::control::CloseDevice();
    }
    void Begin() { CeBeginTransaction(m_session, CEDB_ISOLATION_SERIALIZABLE); }
    void Commit() { CeEndTransaction(m_session, TRUE); }
    void Insert(const Payload& payload) {
        CEPROPVAL values[6] = {};
        values[0].propid = kKey;
        values[0].val.ulVal = payload.key;
        values[1].propid = kFirst;
        values[1].val.lpwstr = const_cast<WCHAR*>(payload.first.c_str());
        values[2].propid = kLast;
        values[2].val.lpwstr = const_cast<WCHAR*>(payload.last.c_str());
        values[3].propid = kMail;
        values[3].val.lpwstr = const_cast<WCHAR*>(payload.mail.c_str());
        values[4].propid = kCount;
        values[4].val.ulVal = payload.key;
        values[5].propid = kBirthday;
        values[5].val.filetime = {payload.key, 0x01C60000};
        if (!CeWriteRecordProps(m_database, 0, 6, values)) std::abort();
    }
    CEOID Seek(DWORD key) {
        CEPROPVAL value{};
        value.propid = kKey;
        value.val.ulVal = key;
        return CeSeekDatabaseEx(m_database, CEDB_SEEK_VALUEFIRSTEQUAL, reinterpret_cast<DWORD_PTR>(&value), 1, nullptr);
    }
    void Update(CEOID oid, const std::u16string& text) {
        CEPROPVAL value{};
        value.propid = kLast;
        value.val.lpwstr = const_cast<WCHAR*>(text.c_str());
        if (!CeWriteRecordProps(m_database, oid, 1, &value)) std::abort();
    }
    std::size_t Read() {
        WORD count = 0;
        DWORD size = m_size;
        if (!CeReadRecordProps(m_database, CEDB_ALLOWREALLOC, &count, nullptr, &m_buffer, &size)) std::abort();
        m_size = std::max(m_size, size);
        return size;
    }
    std::size_t Walk() {
        std::size_t records = 0;
        for (CEOID oid = CeSeekDatabaseEx(m_database, CEDB_SEEK_BEGINNING, 0, 0, nullptr); oid;
             oid = CeSeekDatabaseEx(m_database, CEDB_SEEK_CURRENT, 1, 0, nullptr)) {
            benchmark::DoNotOptimize(Read());
            ++records;
        }
        return records;
    }

 private:
    Folder m_folder;
    CEGUID m_volume;
    HANDLE m_session;
    HANDLE m_database;
    BYTE* m_buffer = nullptr;
    DWORD m_size = 0;
};

// --- Bare SQLite --------------------------------------------------------------------------------------------

class BareSqlite {
 public:
    BareSqlite() {
        sqlite3_open_v2((m_folder.Path() / "bare.db").c_str(), &m_database,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
        sqlite3_exec(
            m_database,
            "PRAGMA encoding = 'UTF-16le'; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
            "PRAGMA cache_size = -4000; CREATE TABLE record (oid INTEGER PRIMARY KEY, key INTEGER, first TEXT,"
            "last TEXT, mail TEXT, count INTEGER, birthday INTEGER); CREATE UNIQUE INDEX by_key ON record (key)",
            nullptr, nullptr, nullptr);
        m_insert = Prepare("INSERT INTO record (key, first, last, mail, count, birthday) VALUES (?,?,?,?,?,?)");
        m_seek = Prepare("SELECT oid, key, first, last, mail, count, birthday FROM record WHERE key = ?");
        m_update = Prepare("UPDATE record SET last = ?2 WHERE oid = ?1");
        m_walk = Prepare("SELECT oid, key, first, last, mail, count, birthday FROM record ORDER BY key");
        m_begin = Prepare("BEGIN IMMEDIATE");
        m_commit = Prepare("COMMIT");
    }
    ~BareSqlite() {
        for (sqlite3_stmt* statement : {m_insert, m_seek, m_update, m_walk, m_begin, m_commit}) {
            sqlite3_finalize(statement);
        }
        sqlite3_close(m_database);
    }
    void Begin() { Run(m_begin); }
    void Commit() { Run(m_commit); }
    void Insert(const Payload& payload) {
        sqlite3_bind_int64(m_insert, 1, payload.key);
        BindText(m_insert, 2, payload.first);
        BindText(m_insert, 3, payload.last);
        BindText(m_insert, 4, payload.mail);
        sqlite3_bind_int64(m_insert, 5, payload.key);
        sqlite3_bind_int64(m_insert, 6, static_cast<sqlite3_int64>(0x01C60000ull << 32 | payload.key));
        Run(m_insert);
    }
    void Update(CEOID oid, const std::u16string& text) {
        sqlite3_bind_int64(m_update, 1, oid);
        BindText(m_update, 2, text);
        Run(m_update);
    }
    CEOID OidOf(DWORD key) {
        sqlite3_bind_int64(m_seek, 1, key);
        if (sqlite3_step(m_seek) != SQLITE_ROW) std::abort();
        const auto oid = static_cast<CEOID>(sqlite3_column_int64(m_seek, 0));
        sqlite3_reset(m_seek);
        return oid;
    }
    std::size_t SeekAndRead(DWORD key) {
        sqlite3_bind_int64(m_seek, 1, key);
        if (sqlite3_step(m_seek) != SQLITE_ROW) std::abort();
        const std::size_t size = Take(m_seek);
        sqlite3_reset(m_seek);
        return size;
    }
    std::size_t Walk() {
        std::size_t records = 0;
        while (sqlite3_step(m_walk) == SQLITE_ROW) {
            benchmark::DoNotOptimize(Take(m_walk));
            ++records;
        }
        sqlite3_reset(m_walk);
        return records;
    }

 private:
    sqlite3_stmt* Prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v3(m_database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
        return statement;
    }
    static void BindText(sqlite3_stmt* statement, int index, const std::u16string& text) {
        sqlite3_bind_text16(statement, index, text.data(), static_cast<int>(text.size() * 2), SQLITE_STATIC);
    }
    static void Run(sqlite3_stmt* statement) {
        if (sqlite3_step(statement) != SQLITE_DONE) std::abort();
        sqlite3_reset(statement);
    }
    // Copies a row's values out, as every reader has to before it goes on.
    std::size_t Take(sqlite3_stmt* statement) {
        std::size_t used = 0;
        for (int column = 0; column < 7; ++column) {
            if (sqlite3_column_type(statement, column) == SQLITE_TEXT) {
                const void* text = sqlite3_column_text16(statement, column);
                const auto bytes = static_cast<std::size_t>(sqlite3_column_bytes16(statement, column));
                std::memcpy(m_row + used, text, bytes);
                used += bytes;
            } else {
                const sqlite3_int64 number = sqlite3_column_int64(statement, column);
                std::memcpy(m_row + used, &number, sizeof number);
                used += sizeof number;
            }
        }
        return used;
    }

    Folder m_folder;
    sqlite3* m_database = nullptr;
    sqlite3_stmt* m_insert;
    sqlite3_stmt* m_seek;
    sqlite3_stmt* m_update;
    sqlite3_stmt* m_walk;
    sqlite3_stmt* m_begin;
    sqlite3_stmt* m_commit;
    char m_row[4096];
};

// --- The measurements ---------------------------------------------------------------------------------------

template <class Store>
void Fill(Store& store, DWORD n) {
    store.Begin();
    for (const DWORD key : Shuffled(n)) store.Insert(Payload(key));
    store.Commit();
}

std::size_t SeekAndRead(PropertyDatabase& store, DWORD key) {
    if (!store.Seek(key)) std::abort();
    return store.Read();
}
std::size_t SeekAndRead(BareSqlite& store, DWORD key) { return store.SeekAndRead(key); }

CEOID OidOf(PropertyDatabase& store, DWORD key) { return store.Seek(key); }
CEOID OidOf(BareSqlite& store, DWORD key) { return store.OidOf(key); }

// Inserts into a store that holds n records already, so that the cost at that size shows.
template <class Store>
void Insert(benchmark::State& state) {
    const auto n = static_cast<DWORD>(state.range(0));
    const bool together = state.range(1) != 0;
    Store store;
    Fill(store, n);
    DWORD key = n;
    std::vector<Payload> batch;
    for (auto _ : state) {
        state.PauseTiming();
        batch.clear();
        for (int i = 0; i < 1000; ++i) batch.emplace_back(key++);
        state.ResumeTiming();
        if (together) store.Begin();
        for (const Payload& payload : batch) store.Insert(payload);
        if (together) store.Commit();
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

template <class Store>
void Update(benchmark::State& state) {
    const auto n = static_cast<DWORD>(state.range(0));
    const bool together = state.range(1) != 0;
    Store store;
    Fill(store, n);
    std::vector<CEOID> oids;
    for (const DWORD key : Shuffled(n)) oids.push_back(OidOf(store, key));
    std::size_t next = 0;
    DWORD round = 0;
    for (auto _ : state) {
        const std::u16string text = TextFor(u"Changed name ", ++round);
        if (together) store.Begin();
        for (int i = 0; i < 1000; ++i) store.Update(oids[next++ % n], text);
        if (together) store.Commit();
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

template <class Store>
void Seek(benchmark::State& state) {
    const auto n = static_cast<DWORD>(state.range(0));
    Store store;
    Fill(store, n);
    const std::vector<DWORD> keys = Shuffled(n);
    std::size_t next = 0;
    for (auto _ : state) benchmark::DoNotOptimize(SeekAndRead(store, keys[next++ % n]));
    state.SetItemsProcessed(state.iterations());
}

template <class Store>
void Iterate(benchmark::State& state) {
    const auto n = static_cast<DWORD>(state.range(0));
    Store store;
    Fill(store, n);
    for (auto _ : state) {
        if (store.Walk() != n) std::abort();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

const std::vector<std::int64_t> kSizes = {1000, 10000, 100000};

BENCHMARK_TEMPLATE(Insert, BareSqlite)->ArgsProduct({kSizes, {0, 1}})->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Insert, PropertyDatabase)->ArgsProduct({kSizes, {0, 1}})->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Update, BareSqlite)->ArgsProduct({kSizes, {0, 1}})->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Update, PropertyDatabase)->ArgsProduct({kSizes, {0, 1}})->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Seek, BareSqlite)->ArgsProduct({kSizes})->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Seek, PropertyDatabase)->ArgsProduct({kSizes})->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Iterate, BareSqlite)->ArgsProduct({kSizes})->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(Iterate, PropertyDatabase)->ArgsProduct({kSizes})->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
