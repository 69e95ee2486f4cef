#include "sync/state.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>

namespace kez::sync {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class StateTest : public testing::Test {
 protected:
    StateTest() {
        std::string name = (std::filesystem::temp_directory_path() / "kez-state-XXXXXX").string();
        m_folder = mkdtemp(name.data());
    }
    ~StateTest() override { std::filesystem::remove_all(m_folder); }
    State Open() { return State(m_folder / "state.db", "device-1", "folder-1", false); }
    std::filesystem::path m_folder;
};

Batch::Agreed Agreed(const std::string& device, const std::string& folder, Fields both) {
    return {{0, ItemType::Contact, device, folder, "", "r1", "Title"}, {both, both}};
}

TEST_F(StateTest, WhatWasCommittedIsThereAfterReopening) {
    {
        State state = Open();
        EXPECT_TRUE(state.IsNew());
        Batch batch;
        batch.agreed = {Agreed("1", "a.vcf", {{"Name", "A"}})};
        batch.agreed[0].bases.folder["City"] = "Only in the folder";
        state.Commit(batch);
    }
    State state = Open();
    EXPECT_FALSE(state.IsNew());
    const auto pairs = state.Pairs(ItemType::Contact);
    ASSERT_EQ(pairs.size(), 1u);
    EXPECT_EQ(pairs[0].deviceId, "1");
    EXPECT_EQ(pairs[0].folderId, "a.vcf");
    EXPECT_EQ(pairs[0].folderRevision, "r1");
    EXPECT_EQ(pairs[0].title, "Title");
    EXPECT_EQ(state.BasesOf(pairs[0]).device, (Fields{{"Name", "A"}}));
    EXPECT_EQ(state.BasesOf(pairs[0]).folder, (Fields{{"Name", "A"}, {"City", "Only in the folder"}}));
    EXPECT_THAT(state.Pairs(ItemType::Task), IsEmpty());
}

TEST_F(StateTest, AnItemBelongsToOnePairOnly) {
    State state = Open();
    Batch batch;
    batch.agreed = {Agreed("1", "a.vcf", {}), Agreed("2", "b.vcf", {})};
    state.Commit(batch);
    Batch again;
    again.agreed = {Agreed("1", "b.vcf", {})};
    state.Commit(again);
    const auto pairs = state.Pairs(ItemType::Contact);
    ASSERT_EQ(pairs.size(), 1u);
    EXPECT_EQ(pairs[0].deviceId, "1");
    EXPECT_EQ(pairs[0].folderId, "b.vcf");
}

TEST_F(StateTest, APairThatAgreesAgainKeepsItsNumberAndHoldsWhatIsNew) {
    State state = Open();
    Batch batch;
    batch.agreed = {Agreed("1", "a.vcf", {{"Name", "A"}}), Agreed("2", "b.vcf", {{"Name", "B"}})};
    state.Commit(batch);
    const std::vector<Pair> before = state.Pairs(ItemType::Contact);
    // With another title and other texts; on both sides the same and not the same.
    for (const bool same : {false, true}) {
        Batch again;
        again.agreed = {{before[0], {{{"Name", "C"}}, {{"Name", "C"}}}}};
        again.agreed[0].pair.title = "Other";
        again.agreed[0].pair.folderRevision = "r2";
        again.agreed[0].pair.deviceRevision = "d2";
        again.agreed[0].pair.doubt = Doubt::OldFolder;
        if (!same) again.agreed[0].bases.folder["City"] = "Only in the folder";
        state.Commit(again);
        const std::vector<Pair> pairs = state.Pairs(ItemType::Contact);
        ASSERT_EQ(pairs.size(), 2u);
        EXPECT_EQ(pairs[0].number, before[0].number);
        EXPECT_EQ(pairs[0].title, "Other");
        EXPECT_EQ(pairs[0].folderRevision, "r2");
        EXPECT_EQ(pairs[0].deviceRevision, "d2");
        EXPECT_EQ(pairs[0].doubt, Doubt::OldFolder);
        EXPECT_EQ(state.BasesOf(pairs[0]).device, (Fields{{"Name", "C"}}));
        EXPECT_EQ(state.BasesOf(pairs[0]).folder.count("City"), same ? 0u : 1u);
        EXPECT_EQ(state.BasesOf(pairs[1]).device, (Fields{{"Name", "B"}}));
    }
}

TEST_F(StateTest, APairWhoseItemWasMadeAnewKeepsItsNumber) {
    State state = Open();
    Batch batch;
    batch.agreed = {Agreed("1", "a.vcf", {}), Agreed("2", "b.vcf", {})};
    state.Commit(batch);
    Batch again;
    again.agreed = {{state.Pairs(ItemType::Contact)[0], {}}};
    again.agreed[0].pair.deviceId = "2";  // what was the other's
    state.Commit(again);
    std::vector<Pair> pairs = state.Pairs(ItemType::Contact);
    ASSERT_EQ(pairs.size(), 1u);
    EXPECT_EQ(pairs[0].number, again.agreed[0].pair.number);
    EXPECT_EQ(pairs[0].deviceId, "2");
    EXPECT_EQ(pairs[0].folderId, "a.vcf");
    // One that was forgotten meanwhile is there again.
    Batch forget;
    forget.forgotten = {pairs[0].number};
    state.Commit(forget);
    state.Commit(again);
    EXPECT_EQ(state.Pairs(ItemType::Contact).size(), 1u);
}

TEST_F(StateTest, AListingThatWasBegunAndNotStoredIsFound) {
    {
        State state = Open();
        EXPECT_THAT(state.BeginListings({ItemType::Contact}), testing::IsEmpty());
    }
    State state = Open();
    EXPECT_THAT(state.BeginListings({ItemType::Task, ItemType::Contact}), ElementsAre(ItemType::Contact));
    EXPECT_THAT(state.BeginListings({ItemType::Appointment}), testing::IsEmpty());
    state.EndListings({{ItemType::Contact, {"1", "2"}}, {ItemType::Appointment, {}}});
    EXPECT_THAT(state.BeginListings({ItemType::Contact, ItemType::Task, ItemType::Appointment}),
                ElementsAre(ItemType::Task))
        << "one that did not come back stays begun";
}

TEST_F(StateTest, ListedChangesStayUntilTheyAreSettled) {
    State state = Open();
    state.BeginListings({ItemType::Contact});
    state.EndListings({{ItemType::Contact, {"2", "1"}}, {ItemType::Task, {"1"}}});
    state.BeginListings({ItemType::Contact});
    state.EndListings({{ItemType::Contact, {"1", "3"}}});
    EXPECT_THAT(state.Unsettled(ItemType::Contact), ElementsAre("1", "2", "3"));
    Batch batch;
    batch.settledOnDevice = {{ItemType::Contact, "1"}, {ItemType::Task, "2"}};
    state.Commit(batch);
    EXPECT_THAT(state.Unsettled(ItemType::Contact), ElementsAre("2", "3"));
    EXPECT_THAT(state.Unsettled(ItemType::Task), ElementsAre("1"));
}

TEST_F(StateTest, WhatIsToBeLookedAtAgainIsUntilItIsSettledOrTheDeviceIsAnOlderOne) {
    State state = Open();
    state.BeginListings({ItemType::Contact});
    state.EndListings({{ItemType::Contact, {"1"}}});
    Batch batch;
    batch.settledOnDevice = {{ItemType::Contact, "1"}, {ItemType::Contact, "2"}};
    batch.lookAgainOnDevice = {{ItemType::Contact, "2"}, {ItemType::Task, "3"}};
    state.Commit(batch);
    EXPECT_THAT(state.Unsettled(ItemType::Contact), ElementsAre("2"));
    batch.lookAgainOnDevice.clear();
    state.Commit(batch);
    EXPECT_THAT(state.Unsettled(ItemType::Contact), testing::IsEmpty());
    EXPECT_THAT(state.Unsettled(ItemType::Task), ElementsAre("3"));
    state.DoubtAll(Doubt::OldDevice);
    EXPECT_THAT(state.Unsettled(ItemType::Task), testing::IsEmpty());
}

TEST_F(StateTest, AKeepsakeStaysUntilItsItemIsSettled) {
    {
        State state = Open();
        state.Keep(ItemType::Appointment, "7", "the only copy");
    }
    State state = Open();
    EXPECT_EQ(state.Kept(ItemType::Appointment, "7"), "the only copy");
    EXPECT_EQ(state.Kept(ItemType::Task, "7"), "");
    Batch batch;
    batch.settledOnDevice = {{ItemType::Appointment, "7"}};
    state.Commit(batch);
    EXPECT_EQ(state.Kept(ItemType::Appointment, "7"), "");
}

TEST_F(StateTest, ConflictsWaitWithTheUsersChoice) {
    State state = Open();
    Batch batch;
    batch.waiting = {{ItemType::Contact, "Ada", "1", "a.vcf", "both changed Phone", {"Phone", "Fax"}, {}}};
    state.Commit(batch);
    state.Choose(batch.waiting[0], "device");
    state.Commit(batch);  // found again: the choice stays
    auto conflicts = state.Conflicts();
    ASSERT_EQ(conflicts.size(), 1u);
    EXPECT_EQ(conflicts[0].choice, "device");
    EXPECT_THAT(conflicts[0].fields, ElementsAre("Phone", "Fax"));
    Batch settled;
    settled.settledOnDevice = {{ItemType::Contact, "1"}};
    settled.settledConflicts = {{ItemType::Contact, "1"}};
    state.Commit(settled);
    EXPECT_THAT(state.Conflicts(), IsEmpty());
}

TEST_F(StateTest, AStateOfAnotherPairIsRefusedAndLeftAlone) {
    { State state = Open(); }
    try {
        State other(m_folder / "state.db", "device-2", "folder-1", false);
        FAIL() << "was taken";
    } catch (const StateError& error) {
        EXPECT_THAT(error.what(), HasSubstr((m_folder / "state.db").string()));
    }
    EXPECT_NO_THROW(Open());
}

TEST_F(StateTest, AFileOfGarbageIsRefusedAndLeftAlone) {
    const std::string garbage(5000, 'g');
    std::ofstream(m_folder / "state.db") << garbage;
    EXPECT_THROW(Open(), StateError);
    std::ifstream file(m_folder / "state.db");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), garbage);
}

TEST_F(StateTest, OneThatWasCutOffWhileItWasMadeIsMadeAnew) {
    for (const char* missing : {"name = 'folder'", "name != 'format'", "true"}) {
        { State state = Open(); }
        Sqlite((m_folder / "state.db").string()).Execute((std::string("DELETE FROM about WHERE ") + missing).c_str());
        EXPECT_TRUE(Open().IsNew()) << missing;
        EXPECT_FALSE(Open().IsNew());
    }
}

TEST_F(StateTest, ACopyIsAWholeState) {
    State state = Open();
    Batch batch;
    batch.agreed = {Agreed("1", "a.vcf", {{"Name", "A"}})};
    state.Commit(batch);
    state.CopyTo(m_folder / "copy.db");
    State copy(m_folder / "copy.db", "device-1", "folder-1", false);
    EXPECT_EQ(copy.Pairs(ItemType::Contact).size(), 1u);
}

TEST_F(StateTest, CachedFactsAreReplacedAndRemovedByName) {
    State state = Open();
    state.ReplaceCached({{"a.vcf", "1"}, {"b.vcf", "2"}}, {});
    state.ReplaceCached({{"b.vcf", "3"}}, {"a.vcf"});
    std::map<std::string, std::string> facts;
    state.ForEachCached([&](std::string name, std::string fact) { facts[name] = fact; });
    EXPECT_EQ(facts, (std::map<std::string, std::string>{{"b.vcf", "3"}}));
}

TEST(PackedFields, ComeBackAndBrokenBytesGiveNothing) {
    const Fields fields{{"a", std::string("\0\x01", 2)}, {"b", ""}, {"c", std::string(70000, 'x')}};
    const std::string packed = Packed(fields);
    EXPECT_EQ(Unpacked(packed), fields);
    EXPECT_EQ(Unpacked(packed.substr(0, packed.size() - 1)), std::nullopt);
    EXPECT_EQ(Unpacked("\xff\xff\xff\xff"), std::nullopt);
    EXPECT_EQ(Unpacked("abc"), std::nullopt);
    EXPECT_EQ(Unpacked(""), Fields{});
}

}  // namespace
}  // namespace kez::sync
