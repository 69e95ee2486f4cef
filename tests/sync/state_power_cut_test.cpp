// What is left of the state when the power is cut: everything that was to be durable, whatever was noted around it that
// need not be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "sync/state.h"
#include "tests/support/forgetful_disk.h"

namespace kez::sync {
namespace {

namespace forgetful_disk = tests::forgetful_disk;

class StatePowerCut : public testing::Test {
 protected:
    StatePowerCut() {
        forgetful_disk::Install();
        std::string name = (std::filesystem::temp_directory_path() / "kez-state-XXXXXX").string();
        m_folder = mkdtemp(name.data());
        { State state(File(), "device-1", "folder-1", true); }
        forgetful_disk::Forget();
        m_state = std::make_unique<State>(File(), "device-1", "folder-1", true);
    }
    ~StatePowerCut() override {
        m_state.reset();
        forgetful_disk::Forget();
        std::filesystem::remove_all(m_folder);
    }

    // The state as it is found after a cut that takes everything that was not synced.
    State& AfterCut() {
        const forgetful_disk::Files files = forgetful_disk::CutPower([] { return false; });
        m_state.reset();
        forgetful_disk::Forget();
        for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(File().string() + suffix);
        for (const auto& [path, content] : files) std::ofstream(path, std::ios::binary) << content;
        m_state = std::make_unique<State>(File(), "device-1", "folder-1", true);
        return *m_state;
    }

    std::filesystem::path File() const { return m_folder / "state.db"; }

    std::filesystem::path m_folder;
    std::unique_ptr<State> m_state;
};

Batch PairOf(const std::string& device, const std::string& folder) {
    Batch batch;
    batch.agreed = {{{0, ItemType::Contact, device, folder, "", "r1", "Title"}, {{{"Name", "A"}}, {{"Name", "A"}}}}};
    return batch;
}

// Each of these is durable when it returns, and shows it.
struct Step {
    const char* name;
    std::function<void(State&)> write;
    std::function<bool(State&)> isThere;
};

const Step kDurable[] = {
    {"a commit", [](State& state) { state.Commit(PairOf("1", "a.vcf")); },
     [](State& state) { return state.CountPairs(ItemType::Contact) == 1; }},
    {"the note that a listing has begun", [](State& state) { state.BeginListings({ItemType::Task}); },
     [](State& state) { return state.BeginListings({ItemType::Task}).count(ItemType::Task) == 1; }},
    {"what was listed as changed",
     [](State& state) {
         state.EndListings({{ItemType::Task, {"7"}}});
     },
     [](State& state) { return state.Unsettled(ItemType::Task).count("7") == 1; }},
    {"what only the state still holds", [](State& state) { state.Keep(ItemType::Appointment, "9", "occurrences"); },
     [](State& state) { return state.Kept(ItemType::Appointment, "9") == "occurrences"; }},
    {"a fact by name", [](State& state) { state.SetNote("run-1", "5"); },
     [](State& state) { return state.Note("run-1") == "5"; }},
};

TEST_F(StatePowerCut, WhatIsToBeDurableIsSoAfterNotesThatAreNot) {
    for (const Step& step : kDurable) {
        m_state->NoteWriting(ItemType::Contact, "a.vcf");
        m_state->ReplaceCached({{"a.vcf", "facts"}}, {});
        step.write(*m_state);
        EXPECT_TRUE(step.isThere(AfterCut())) << step.name;
    }
}

TEST_F(StatePowerCut, ACommitTakesTheNotesBeforeItAlong) {
    m_state->NoteWriting(ItemType::Contact, "b.vcf");
    m_state->ReplaceCached({{"a.vcf", "facts"}}, {});
    m_state->Commit(PairOf("1", "a.vcf"));
    State& state = AfterCut();
    EXPECT_EQ(state.Writing().count({ItemType::Contact, "b.vcf"}), 1u);
    std::string cached;
    state.ForEachCached([&cached](const std::string& name, const std::string& facts) { cached += name + "=" + facts; });
    EXPECT_EQ(cached, "a.vcf=facts");
}

TEST_F(StatePowerCut, NotesAfterACommitCostNoSyncAndTakeNothingOfItWithThem) {
    m_state->Commit(PairOf("1", "a.vcf"));
    const std::size_t syncs = forgetful_disk::Syncs();
    for (int n = 0; n < 20; ++n) m_state->NoteWriting(ItemType::Contact, std::to_string(n) + ".vcf");
    m_state->ReplaceCached({{"a.vcf", "facts"}}, {});
    EXPECT_EQ(forgetful_disk::Syncs(), syncs);
    State& state = AfterCut();
    EXPECT_EQ(state.CountPairs(ItemType::Contact), 1u);
    EXPECT_TRUE(state.Writing().empty());
}

}  // namespace
}  // namespace kez::sync
