// Whole synchronisations with a folder on a disk that forgets what was not synced: the power goes at each call of its
// files, and the next run ends as if it had not.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "partner/folder_store.h"
#include "support/test_files.h"
#include "sync/agreement.h"
#include "tests/doubles/memory_store.h"

namespace kez::partner {
namespace {

using sync::Item;
using sync::ItemType;
using tests::MemoryStore;

struct Cut {};

Item Person(const std::string& name, const std::string& job) {
    return {ItemType::Contact, {{"FirstName", name}, {"LastName", "Byron"}, {"JobTitle", job}}};
}

// Sides that agreed once and then went apart in every way: new, changed and gone on either, and one field changed to
// different values on both, so that there will be a second copy. The device has power of its own.
class World {
 public:
    explicit World(Durability durability) : m_durability(durability) {
        std::string name = (std::filesystem::temp_directory_path() / "kez-power-XXXXXX").string();
        m_path = mkdtemp(name.data());
        FolderStore(kFolder, {&m_cards}, files, m_cache, durability).Mark();
        for (const char* person : {"Kept", "HereChanged", "ThereChanged", "HereGone", "ThereGone", "Disputed"}) {
            device.Add(Person(person, "old"));
        }
        Sync();
        for (const std::string& id : device.Ids()) {
            const std::string person = device.At(id).at("FirstName");
            if (person == "HereChanged") device.Edit(id, "JobTitle", "here");
            if (person == "Disputed") device.Edit(id, "JobTitle", "here");
            if (person == "HereGone") device.Remove(id);
        }
        for (const auto& [file, text] : files.Visible()) {
            std::string changed = text;
            const auto job = changed.find("TITLE:old");
            if (text.find("ThereGone") != std::string::npos) files.Remove(std::string(kFolder) + "/" + file);
            if (text.find("ThereChanged") == std::string::npos && text.find("Disputed") == std::string::npos) continue;
            files.Put(file, changed.replace(job, 9, "TITLE:there"));
        }
        files.SyncFolder(kFolder);
        device.Add(Person("HereNew", "old"));
        files.Put("new.vcf", "BEGIN:VCARD\nVERSION:3.0\nUID:new\nFN:ThereNew\nN:Byron;ThereNew;;;\nEND:VCARD\n");
        files.calls.clear();
    }
    ~World() { std::filesystem::remove_all(m_path); }

    sync::Report Sync() {
        sync::State state(m_path / "state.db", "device", "folder", false);
        FolderStore folder(kFolder, {&m_cards}, files, m_cache, m_durability);
        sync::Options options;
        options.types = {ItemType::Contact};
        options.batchSize = 3;
        return sync::Agreement(device, folder, state, options).Run();
    }

    // Who is in the folder, with what they do; the same as on the device, or both are told apart.
    std::multiset<std::string> Everybody() {
        FolderStore folder(kFolder, {&m_cards}, files, m_cache, m_durability);
        std::multiset<std::string> here;
        std::multiset<std::string> there;
        for (const sync::Fields& fields : device.Contents()) here.insert(Said(fields));
        for (const sync::Listed& item : folder.List(ItemType::Contact).items) {
            there.insert(Said(folder.Read(ItemType::Contact, item.id).item.fields));
        }
        if (here == there) return here;
        here.insert("only here");
        there.insert("only there");
        here.merge(there);
        return here;
    }

    static constexpr const char* kFolder = "/folder";
    tests::DiskFiles files{kFolder};
    MemoryStore device{MemoryStore::Kind::ChangeFlags, "device"};

 private:
    static std::string Said(const sync::Fields& fields) {
        return fields.at("FirstName") + (fields.count("JobTitle") ? " " + fields.at("JobTitle") : "");
    }

    Durability m_durability;
    CardFormat m_cards;
    MemoryFolderCache m_cache;
    std::filesystem::path m_path;
};

class PowerCut : public ::testing::TestWithParam<Durability> {};

TEST_P(PowerCut, AtAnyCallLosesNothingAndDoublesNothing) {
    std::multiset<std::string> expected;
    std::size_t calls = 0;
    {
        World world(GetParam());
        world.Sync();
        calls = world.files.calls.size();
        expected = world.Everybody();
    }
    const std::multiset<std::string> everybody{"Disputed here", "Disputed there",     "HereChanged here", "HereNew old",
                                               "Kept old",      "ThereChanged there", "ThereNew"};
    ASSERT_EQ(expected, everybody);
    ASSERT_GT(calls, 20u);
    for (std::size_t n = 1; n <= calls; ++n) {
        World world(GetParam());
        std::size_t count = 0;
        world.files.before = [&](const std::string&) {
            if (++count == n) throw Cut{};
        };
        EXPECT_THROW(world.Sync(), Cut);
        world.files.before = nullptr;
        world.files.PowerCut();
        world.Sync();
        EXPECT_EQ(world.Everybody(), expected) << "cut at call " << n << " of " << calls;
        EXPECT_TRUE(world.Sync().entries.empty()) << "cut at call " << n;
    }
}

INSTANTIATE_TEST_SUITE_P(WhatIsSynced, PowerCut, ::testing::Values(Durability::Item, Durability::Batch),
                         [](const auto& test) {
                             return std::string(test.param == Durability::Item ? "ItemByItem" : "InBatches");
                         });

}  // namespace
}  // namespace kez::partner
