// Random lives of two stores: edits, additions and deletions on both sides, passes in between, some of them cut
// short. In the end both sides agree, and every edit has won, was merged, was kept as a second item, or is reported.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstdlib>

#include "sync/agreement.h"
#include "tests/doubles/memory_store.h"

namespace kez::sync {
namespace {

using tests::Crash;
using tests::MemoryStore;

struct World {
    World() {
        std::string name = (std::filesystem::temp_directory_path() / "kez-random-XXXXXX").string();
        path = mkdtemp(name.data());
        options.types = {ItemType::Contact};
        options.force = true;
        options.batchSize = 4;
    }
    ~World() { std::filesystem::remove_all(path); }
    Report Sync() {
        State state(path / "state.db", "device", "folder", false);
        return Agreement(device, folder, state, options).Run();
    }
    std::filesystem::path path;
    MemoryStore device{MemoryStore::Kind::ChangeFlags, "d"};
    MemoryStore folder{MemoryStore::Kind::Revisions, "f"};
    Options options;
    int names = 0;
};

void Live(World& world, int operation, std::size_t pick, int value) {
    MemoryStore& side = operation % 2 ? world.device : world.folder;
    const auto ids = side.Ids();
    const std::string text = std::to_string(value);
    switch (operation / 2) {
        case 0:
            side.Add({ItemType::Contact, {{"FirstName", "N" + std::to_string(++world.names)}, {"Phone", text}}});
            break;
        case 1:
            if (!ids.empty()) side.Edit(ids[pick % ids.size()], "Phone", text);
            break;
        case 2:
            if (!ids.empty()) side.Edit(ids[pick % ids.size()], "City", value % 3 ? text : "");
            break;
        case 3:
            if (!ids.empty()) side.Remove(ids[pick % ids.size()]);
            break;
        case 4:
            if (operation % 2 == 0 && !ids.empty()) world.folder.Touch(ids[pick % ids.size()]);
            break;
        default:
            break;
    }
}

TEST(RandomLives, EndInAgreementWhateverHappenedAndWhereverPassesWereCut) {
    const bool held = rc::check([] {
        World world;
        const auto steps = *rc::gen::container<std::vector<std::tuple<int, unsigned, int>>>(
            rc::gen::tuple(rc::gen::inRange(0, 14), rc::gen::arbitrary<unsigned>(), rc::gen::inRange(0, 1000)));
        for (const auto& [operation, pick, value] : steps) {
            if (operation < 10) {
                Live(world, operation, pick, value);
            } else if (operation < 12) {
                world.Sync();
            } else {
                MemoryStore& side = operation == 12 ? world.device : world.folder;
                side.crashAtCall = 1 + static_cast<int>(pick % 40);
                try {
                    world.Sync();
                } catch (const Crash&) {
                }
                side.crashAtCall = 0;
            }
        }
        world.options.conflicts = ConflictPolicy::Both;
        world.Sync();
        // A deletion against a change waits for the user, who takes the device's side.
        world.options.conflicts = ConflictPolicy::Device;
        world.Sync();
        RC_ASSERT(world.device.Contents() == world.folder.Contents());
        const int writes = world.device.writes + world.folder.writes;
        const Report last = world.Sync();
        RC_ASSERT(world.device.writes + world.folder.writes == writes);
        RC_ASSERT(last.entries.empty());
    });
    EXPECT_TRUE(held);
}

TEST(RandomLives, AnEditIsNeverLostInSilence) {
    const bool held = rc::check([] {
        World world;
        const int people = *rc::gen::inRange(1, 6);
        for (int i = 0; i < people; ++i) {
            world.device.Add({ItemType::Contact, {{"FirstName", "P" + std::to_string(i)}, {"Phone", "0"}}});
        }
        world.Sync();
        // Each person's telephone number is edited on one side, the other or both, to a value that occurs once.
        std::set<std::string> edited;
        int next = 1;
        auto editSide = [&](MemoryStore& side) {
            for (const auto& id : side.Ids()) {
                if (!*rc::gen::arbitrary<bool>()) continue;
                const std::string value = std::to_string(next++);
                side.Edit(id, "Phone", value);
                edited.insert(value);
            }
        };
        editSide(world.device);
        editSide(world.folder);
        world.Sync();
        std::set<std::string> found;
        for (const Fields& fields : world.folder.Contents()) found.insert(fields.at("Phone"));
        for (const std::string& value : edited) RC_ASSERT(found.count(value) == 1);
        RC_ASSERT(world.device.Contents() == world.folder.Contents());
    });
    EXPECT_TRUE(held);
}

}  // namespace
}  // namespace kez::sync
