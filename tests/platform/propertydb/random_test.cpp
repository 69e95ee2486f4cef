// Random operations against a model, and writers that are killed.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

#include "platform/changewriter/change_writer.h"
#include "platform/propertydb/volume.h"
#include "property_world.h"
#include "tests/support/child_process.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using propertydb::PropertySet;

// What the database has to hold: identifier -> number. A handle's place is a pair (number, identifier) in that order.
struct Model {
    std::map<CEOID, ULONG> records;
    struct Handle {
        enum { Before, On, End } where = Before;
        std::pair<ULONG, CEOID> at;
    } handles[2];

    std::vector<std::pair<ULONG, CEOID>> Ordered() const {
        std::vector<std::pair<ULONG, CEOID>> ordered;
        for (const auto& [oid, number] : records) ordered.emplace_back(number, oid);
        std::sort(ordered.begin(), ordered.end());
        return ordered;
    }
    CEOID Go(Handle& handle, std::ptrdiff_t index) {
        const auto ordered = Ordered();
        if (index < 0 || index >= static_cast<std::ptrdiff_t>(ordered.size())) {
            handle.where = Handle::End;
            return 0;
        }
        handle.where = Handle::On;
        handle.at = ordered[static_cast<std::size_t>(index)];
        return handle.at.second;
    }
    // A handle learns where its record went when it looks, not when another handle moves the record: a record that was
    // moved and deleted in between leaves the handle where it last saw it.
    void Follow(Handle& handle) {
        const auto found = records.find(handle.at.second);
        if (handle.where == Handle::On && found != records.end()) handle.at.first = found->second;
    }
    CEOID Step(Handle& handle, int n) {
        const auto ordered = Ordered();
        const auto count = static_cast<std::ptrdiff_t>(ordered.size());
        if (handle.where == Handle::Before) return n > 0 ? Go(handle, n - 1) : Go(handle, -1);
        if (handle.where == Handle::End) return n < 0 ? Go(handle, count + n) : Go(handle, -1);
        Follow(handle);
        const auto place = std::lower_bound(ordered.begin(), ordered.end(), handle.at);
        const bool there = place != ordered.end() && *place == handle.at;
        const auto index = place - ordered.begin();
        return Go(handle, there || n <= 0 ? index + n : index + n - 1);
    }
};

TEST(PropertyDatabaseModel, RandomOperationsOnTwoHandlesGiveWhatTheModelGives) {
    const bool held = rc::check([] {
        const LiveCountsCheck counts;
        TestDevice device;
        auto volume = std::make_unique<Mounted>(TEXT("\\v.vol"), OPEN_ALWAYS);
        const SORTORDERSPECEX order = OrderOf({{kNumber}});
        const CEOID database = MakeDatabase(volume->Guid(), TEXT("any"), {order});
        std::unique_ptr<Opened> open[2];
        const auto reopen = [&](int which) {
            open[which] = std::make_unique<Opened>(volume->Guid(), database, &order);
        };
        reopen(0);
        reopen(1);
        Model model;
        const int operations = *rc::gen::inRange(50, 300);
        for (int i = 0; i < operations; ++i) {
            const int which = *rc::gen::inRange(0, 2);
            Opened& handle = *open[which];
            Model::Handle& modelled = model.handles[which];
            const auto number = *rc::gen::inRange<ULONG>(0, 12);
            const auto ordered = model.Ordered();
            const auto any = ordered.empty() ? 0 : ordered[*rc::gen::inRange<std::size_t>(0, ordered.size())].second;
            switch (*rc::gen::inRange(0, 13)) {
                case 0:
                case 1:
                case 2: {
                    const CEOID oid = handle.Write(0, {NumberValue(kNumber, number)});
                    RC_ASSERT(oid != 0);
                    RC_ASSERT(model.records.emplace(oid, number).second);
                    modelled = {Model::Handle::On, {number, oid}};
                    break;
                }
                case 3:
                    RC_ASSERT(handle.Write(any ? any : 5, {NumberValue(kNumber, number)}) == any);
                    if (any) {
                        model.records[any] = number;
                        modelled = {Model::Handle::On, {number, any}};
                    }
                    break;
                case 4:
                    if (modelled.at.second == any) model.Follow(modelled);
                    RC_ASSERT((handle.Delete(any ? any : 5) != FALSE) == (any != 0));
                    model.records.erase(any);
                    break;
                case 5: {
                    const auto n = *rc::gen::inRange(0, 6);
                    RC_ASSERT(handle.Seek(CEDB_SEEK_BEGINNING, n) == model.Go(modelled, n));
                    break;
                }
                case 6: {
                    const auto n = *rc::gen::inRange(0, 6);
                    const Model::Handle before = modelled;
                    const auto index = static_cast<std::ptrdiff_t>(ordered.size()) - 1 - n;
                    const CEOID expected = model.Go(modelled, index);
                    if (!expected) modelled = before;
                    RC_ASSERT(handle.Seek(CEDB_SEEK_END, n) == expected);
                    break;
                }
                case 7:
                case 8:
                case 9: {
                    const auto n = *rc::gen::inRange(-2, 4);
                    RC_ASSERT(handle.Seek(CEDB_SEEK_CURRENT, n) == model.Step(modelled, n));
                    break;
                }
                case 10: {
                    const auto first = std::lower_bound(ordered.begin(), ordered.end(), std::pair(number, CEOID{0}));
                    const bool equal = first != ordered.end() && first->first == number;
                    RC_ASSERT(handle.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, number)}) ==
                              model.Go(modelled, equal ? first - ordered.begin() : -1));
                    break;
                }
                case 11: {
                    CEOID read = 0;
                    model.Follow(modelled);
                    const PropertySet set = handle.Read(&read);
                    const auto found = model.records.find(modelled.at.second);
                    const bool there = modelled.where == Model::Handle::On && found != model.records.end();
                    RC_ASSERT(read == (there ? found->first : 0));
                    if (there) RC_ASSERT(set.Number(kNumber) == found->second);
                    break;
                }
                default:
                    open[0].reset();
                    open[1].reset();
                    volume.reset();
                    volume = std::make_unique<Mounted>(TEXT("\\v.vol"), OPEN_EXISTING);
                    reopen(0);
                    reopen(1);
                    for (Model::Handle& one : model.handles) one = {};
            }
        }
        const auto ordered = model.Ordered();
        const std::vector<CEOID> all = open[0]->All();
        RC_ASSERT(all.size() == ordered.size());
        for (std::size_t i = 0; i < all.size(); ++i) RC_ASSERT(all[i] == ordered[i].second);
        RC_ASSERT(propertydb::Volume::Open(TEXT("\\v.vol"))->State(database).records == all.size());
        open[0].reset();
        open[1].reset();
    });
    EXPECT_TRUE(held);
}

bool IsWhole(const std::filesystem::path& file) {
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    std::string answer;
    sqlite3_exec(
        database, "PRAGMA integrity_check",
        [](void* out, int, char** values, char**) {
            *static_cast<std::string*>(out) += values[0];
            return 0;
        },
        &answer, nullptr);
    sqlite3_close(database);
    return answer == "ok";
}

// Adds, changes and deletes contacts for ever; every contact has its own running number.
int Hammer(const std::filesystem::path& folder, int start) {
    control::OpenDevice(folder);
    const auto pim = propertydb::Volume::Open(changewriter::kPimVolume);
    const CEOID contacts = pim->FindDatabase(u"Contacts Database");
    for (int i = start;; ++i) {
        const CEOID oid = pim->Insert(contacts, {{kNumber, std::int64_t{i}}, {kText, u"somebody"}});
        if (i % 3 == 0) pim->Update(contacts, oid, {{kText, u"somebody else"}});
        if (i % 5 == 0) pim->Delete(contacts, oid);
    }
}

int WriteChanges(const std::filesystem::path& folder) {
    control::OpenDevice(folder);
    for (;;) {
        try {
            changewriter::Drain();
        } catch (const propertydb::VolumeError&) {
            return 1;
        }
    }
}

TEST(KilledWriters, VolumesStayWholeAndEveryRecordHasItsOneChangeRecord) {
    TestDevice device;
    control::UseRealClock();
    CEOID contacts = 0;
    {
        const auto pim = propertydb::Volume::OpenOrCreate(changewriter::kPimVolume);
        contacts = pim->CreateDatabase({u"Contacts Database", 24, {{{{kNumber}}}}, {}});
        pim->EnableJournal(contacts);
        changewriter::CreateChangeTables();
    }
    const std::filesystem::path folder = device.Folder();
    control::CloseDevice();
    for (int round = 0; round < 12; ++round) {
        ChildProcess hammer([&](const ChildProcess::Line&) { return Hammer(folder, round * 1000000); });
        ChildProcess first([&](const ChildProcess::Line&) { return WriteChanges(folder); });
        ChildProcess second([&](const ChildProcess::Line&) { return WriteChanges(folder); });
        std::this_thread::sleep_for(std::chrono::milliseconds(30 + 17 * (round % 5)));
        first.Kill();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        hammer.Kill();
        second.Kill();
        ASSERT_TRUE(IsWhole(folder / "pim.vol"));
        ASSERT_TRUE(IsWhole(folder / "KezDBNotify.vol"));
    }
    control::OpenDevice(folder);
    changewriter::Drain();
    const auto pim = propertydb::Volume::Open(changewriter::kPimVolume);
    const auto changes = propertydb::Volume::Open(changewriter::kChangeVolume);
    const CEOID table = changes->FindDatabase(u"\\KEZDeltaA");
    std::map<CEOID, std::int64_t> states;
    changes->Walk(table, -1, [&](CEOID, const PropertySet& record) {
        const bool fresh =
            states.emplace(record.Number(changewriter::kItemOid), record.Number(changewriter::kStateOfPartner0)).second;
        EXPECT_TRUE(fresh) << "doubled";
        return true;
    });
    std::size_t alive = 0;
    pim->Walk(contacts, 0, [&](CEOID oid, const PropertySet&) {
        ++alive;
        EXPECT_EQ(states[oid], 1) << "lost";
        return true;
    });
    EXPECT_EQ(pim->State(contacts).records, alive);
    EXPECT_EQ(pim->OrderedOids(contacts)->size(), alive);
    std::size_t changed = 0;
    for (const auto& [oid, state] : states) changed += state == 1;
    EXPECT_EQ(changed, alive) << "a deleted record is marked as changed";
    EXPECT_GT(alive, 50u);
    EXPECT_TRUE(pim->ReadJournal(0, 1).empty());
}

TEST(SeveralThreads, WriteAndReadOneVolumeWithoutLoss) {
    TestDevice device;
    Mounted volume(TEXT("\\v.vol"), CREATE_NEW);
    const SORTORDERSPECEX order = OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY);
    const CEOID database = MakeDatabase(volume.Guid(), TEXT("any"), {order});
    std::vector<std::thread> threads;
    for (ULONG t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            Opened open(volume.Guid(), database, &order);
            for (ULONG i = 0; i < 100; ++i) {
                EXPECT_NE(open.Write(0, {NumberValue(kNumber, t * 1000 + i)}), 0u);
                EXPECT_NE(open.Seek(CEDB_SEEK_VALUEFIRSTEQUAL, {NumberValue(kNumber, t * 1000 + i / 2)}), 0u);
                EXPECT_EQ(open.Read().Number(kNumber), t * 1000 + i / 2);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Opened(volume.Guid(), database, &order).All().size(), 300u);
}

}  // namespace
}  // namespace kez::tests
