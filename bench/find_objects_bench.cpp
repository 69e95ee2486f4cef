// What a listing costs: FindObjects of the provider library over a device's contacts, with none, 1 in 100 and all of
// them changed, with the trace off and at its most detailed level, beside the same walk on bare SQLite.
//
// The engine's part is left out: the list is taken and given back. Sleeps do not wait.
#include <benchmark/benchmark.h>
#include <cesync.h>
#include <dlfcn.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "platform/changewriter/change_writer.h"
#include "platform/control/control.h"
#include "platform/propertydb/volume.h"

namespace {

namespace control = kez::control;
namespace propertydb = kez::propertydb;

// A device with `records` contacts, each with a change record that says nothing.
class Device {
 public:
    explicit Device(std::int64_t records)
        : m_folder(std::filesystem::temp_directory_path() /
                   ("kez-list-" + std::to_string(getpid()) + "-" + std::to_string(records))) {
        control::CreateDevice(m_folder, "UTC");
        control::OpenDevice(m_folder);
        kez::changewriter::CreateChangeTables();
        auto pim = propertydb::Volume::OpenOrCreate(TEXT("\\pim.vol"));
        propertydb::DatabaseDefinition contacts;
        contacts.name = u"Contacts Database";
        contacts.type = 24;
        contacts.sortOrders = {{{{0x0080001F, CEDB_SORT_CASEINSENSITIVE}}, 0}};
        const CEOID database = pim->EnsureDatabase(contacts);
        auto changes = propertydb::Volume::Open(kez::changewriter::kChangeVolume);
        const CEOID table = changes->FindDatabase(u"\\KEZDeltaA");
        propertydb::Transaction pimWrite(pim);
        propertydb::Transaction changesWrite(changes);
        for (std::int64_t i = 0; i < records; ++i) {
            const std::string name = "Person " + std::to_string(i);
            propertydb::PropertySet contact;
            contact.SetText(0x0080001F, std::u16string(name.begin(), name.end()));
            m_oids.push_back(pim->Insert(database, contact));
            propertydb::PropertySet change;
            change.SetNumber(kez::changewriter::kItemOid, m_oids.back());
            change.SetNumber(kez::changewriter::kStateOfPartner0, 0);
            change.SetNumber(kez::changewriter::kStateOfOthers, 0);
            m_changeRecords.push_back(changes->Insert(table, change));
        }
        pimWrite.Commit();
        changesWrite.Commit();
        m_changes = changes;
        m_table = table;
        MakeBare();
        control::CloseDevice();
    }
    ~Device() {
        m_changes.reset();
        std::filesystem::remove_all(m_folder);
    }

    void Open() const { control::OpenDevice(m_folder); }
    void SetLevel(int level) const {
        std::filesystem::remove(m_folder / "KezLog.ini");
        if (level > 0) std::ofstream(m_folder / "KezLog.ini");
    }
    // Marks every nth contact as changed; 0 none.
    void Change(std::int64_t every) const {
        if (every == 0) return;
        propertydb::PropertySet state;
        state.SetNumber(kez::changewriter::kStateOfPartner0, 1);
        propertydb::Transaction write(m_changes);
        for (std::size_t i = 0; i < m_changeRecords.size(); i += static_cast<std::size_t>(every)) {
            m_changes->Update(m_table, m_changeRecords[i], state);
        }
        write.Commit();
    }
    std::string Bare() const { return (m_folder / "bare.sqlite").string(); }
    std::size_t Records() const { return m_oids.size(); }

 private:
    // The same identifiers and states in a table of SQLite's own.
    void MakeBare() const {
        sqlite3* bare = nullptr;
        sqlite3_open(Bare().c_str(), &bare);
        sqlite3_exec(bare,
                     "PRAGMA journal_mode=WAL; CREATE TABLE item(oid INTEGER PRIMARY KEY, name TEXT);"
                     "CREATE INDEX by_name ON item(name);"
                     "CREATE TABLE change(oid INTEGER PRIMARY KEY, state INTEGER); BEGIN",
                     nullptr, nullptr, nullptr);
        for (CEOID oid : m_oids) {
            const std::string id = std::to_string(oid);
            sqlite3_exec(
                bare,
                ("INSERT INTO item VALUES(" + id + ", 'Person " + id + "'); INSERT INTO change VALUES(" + id + ", 0)")
                    .c_str(),
                nullptr, nullptr, nullptr);
        }
        sqlite3_exec(bare, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(bare);
    }

    std::filesystem::path m_folder;
    std::vector<CEOID> m_oids;
    std::vector<CEOID> m_changeRecords;
    std::shared_ptr<propertydb::Volume> m_changes;
    CEOID m_table = 0;
};

const Device& DeviceOf(std::int64_t records) {
    static std::map<std::int64_t, std::unique_ptr<Device>> devices;
    auto& device = devices[records];
    if (!device) device = std::make_unique<Device>(records);
    return *device;
}

std::int64_t EveryNth(std::int64_t percent) { return percent == 0 ? 0 : 100 / percent; }

void FindObjects(benchmark::State& state) {
    const Device& device = DeviceOf(state.range(0));
    control::SetSleepPolicy(control::SleepPolicy::Idle);
    device.SetLevel(static_cast<int>(state.range(2)));
    device.Open();
    void* library = dlopen(KEZ_PROVIDER, RTLD_NOW);
    const auto init = reinterpret_cast<PINITOBJTYPE>(dlsym(library, "InitObjType"));
    const auto find = reinterpret_cast<PFINDOBJECTS>(dlsym(library, "FindObjects"));
    IReplObjHandler* handler = nullptr;
    std::u16string type = u"KEZContact";
    init(type.data(), &handler, 1);
    for (auto _ : state) {
        state.PauseTiming();
        device.Change(EveryNth(state.range(1)));
        FINDOBJINFO info = {};
        type.copy(info.szObjType, type.size());
        state.ResumeTiming();
        find(&info);
        if (info.cUnChg + info.cChg != device.Records()) state.SkipWithError("records are missing");
        info.uFlags = FO_DONE_ONE_VOL;
        find(&info);
    }
    state.counters["records/s"] =
        benchmark::Counter(static_cast<double>(device.Records()), benchmark::Counter::kIsIterationInvariantRate);
    handler->Release();
    dlclose(library);
    control::CloseDevice();
}

void BareSqlite(benchmark::State& state) {
    const Device& device = DeviceOf(state.range(0));
    sqlite3* bare = nullptr;
    sqlite3_open(device.Bare().c_str(), &bare);
    sqlite3_exec(bare, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);  // as the volumes are opened
    sqlite3_stmt *walk = nullptr, *check = nullptr, *clear = nullptr;
    sqlite3_prepare_v2(bare, "SELECT oid FROM item ORDER BY name", -1, &walk, nullptr);
    sqlite3_prepare_v2(bare, "SELECT state FROM change WHERE oid = ?", -1, &check, nullptr);
    sqlite3_prepare_v2(bare, "UPDATE change SET state = 0 WHERE oid = ?", -1, &clear, nullptr);
    const std::int64_t every = EveryNth(state.range(1));
    for (auto _ : state) {
        state.PauseTiming();
        if (every != 0) {
            sqlite3_exec(bare, ("UPDATE change SET state = 1 WHERE oid % " + std::to_string(every) + " = 0").c_str(),
                         nullptr, nullptr, nullptr);
        }
        state.ResumeTiming();
        std::size_t listed = 0;
        while (sqlite3_step(walk) == SQLITE_ROW) {
            const sqlite3_int64 oid = sqlite3_column_int64(walk, 0);
            sqlite3_bind_int64(check, 1, oid);
            const bool changed = sqlite3_step(check) == SQLITE_ROW && sqlite3_column_int(check, 0) != 0;
            sqlite3_reset(check);
            if (changed) {
                sqlite3_bind_int64(clear, 1, oid);
                sqlite3_step(clear);
                sqlite3_reset(clear);
            }
            ++listed;
        }
        sqlite3_reset(walk);
        if (listed != device.Records()) state.SkipWithError("records are missing");
    }
    state.counters["records/s"] =
        benchmark::Counter(static_cast<double>(device.Records()), benchmark::Counter::kIsIterationInvariantRate);
    for (sqlite3_stmt* statement : {walk, check, clear}) sqlite3_finalize(statement);
    sqlite3_close(bare);
}

void Sizes(benchmark::internal::Benchmark* run) {
    for (std::int64_t records : {1000, 10000, 100000}) {
        for (std::int64_t percent : {0, 1, 100}) run->Args({records, percent});
    }
}
void SizesAndLevels(benchmark::internal::Benchmark* run) {
    for (std::int64_t level : {0, 100}) {
        for (std::int64_t records : {1000, 10000, 100000}) {
            for (std::int64_t percent : {0, 1, 100}) run->Args({records, percent, level});
        }
    }
}

BENCHMARK(FindObjects)
    ->ArgNames({"records", "changed%", "level"})
    ->Apply(SizesAndLevels)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BareSqlite)->ArgNames({"records", "changed%"})->Apply(Sizes)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
