// From a change of a PIM record to the change tables and the trigger file.
#include "platform/changewriter/change_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <thread>

#include "platform/propertydb/volume.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using namespace kez::changewriter;
using propertydb::PropertySet;
using propertydb::Volume;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

constexpr CEPROPID kName = 0x0001001F;

int RunProgram(const std::string& arguments) {
    return WEXITSTATUS(std::system((std::string(KEZ_CHANGE_WRITER) + " " + arguments + " 2>/dev/null").c_str()));
}

class ChangeWriter : public ::testing::Test {
 protected:
    ~ChangeWriter() override { Detach(); }

    // A PIM volume with contacts and tasks; no appointments yet.
    void SetUp() override {
        m_pim = Volume::OpenOrCreate(kPimVolume);
        m_contacts = m_pim->CreateDatabase({u"Contacts Database", 24, {{{{kName}}}}, {}});
        m_tasks = m_pim->CreateDatabase({u"Tasks Database", 26, {{{{kName}}}}, {}});
        m_other = m_pim->CreateDatabase({u"Categories Database", 0, {{{{kName}}}}, {}});
        for (const CEOID database : {m_contacts, m_tasks, m_other}) m_pim->EnableJournal(database);
    }

    // oid -> (state of partner 0, state of the others)
    using States = std::map<CEOID, std::pair<std::int64_t, std::int64_t>>;
    States StatesOf(LPCWSTR table) {
        const auto changes = Volume::Open(kChangeVolume);
        States states;
        std::size_t records = 0;
        changes->Walk(changes->FindDatabase(table), 0, [&](CEOID, const PropertySet& record) {
            states[static_cast<CEOID>(record.Number(kItemOid))] = {record.Number(kStateOfPartner0, -1),
                                                                   record.Number(kStateOfOthers, -1)};
            ++records;
            return true;
        });
        EXPECT_EQ(states.size(), records) << "an item has two change records";
        return states;
    }
    States Contacts() { return StatesOf(TEXT("\\KEZDeltaA")); }

    void SetState(LPCWSTR table, CEOID item, CEPROPID partner, std::int64_t state) {
        const auto changes = Volume::Open(kChangeVolume);
        const CEOID database = changes->FindDatabase(table);
        const CEOID record = changes->FindEqual(database, 0, {{kItemOid, std::int64_t{item}}});
        ASSERT_TRUE(changes->Update(database, record, {{partner, state}}));
    }

    // Every partner has heard of everything.
    void ForgetStates() {
        const auto changes = Volume::Open(kChangeVolume);
        for (const ChangeTable& table : kChangeTables) {
            const CEOID database = changes->FindDatabase(table.table);
            for (const CEOID record : *changes->OrderedOids(database)) {
                changes->Update(database, record,
                                {{kStateOfPartner0, std::int64_t{0}}, {kStateOfOthers, std::int64_t{0}}});
            }
        }
    }

    // A copy of a volume that nobody has open: the only file of it is the volume itself.
    void Copy(const std::string& volume) {
        m_pim.reset();
        std::filesystem::copy_file(m_device.Folder() / volume, m_device.Folder() / (volume + ".copy"));
        m_pim = Volume::Open(kPimVolume);
    }
    void PutBack(const std::string& volume) {
        m_pim.reset();
        std::filesystem::rename(m_device.Folder() / (volume + ".copy"), m_device.Folder() / volume);
        m_pim = Volume::Open(kPimVolume);
    }

    TestDevice m_device;
    std::shared_ptr<Volume> m_pim;
    CEOID m_contacts = 0;
    CEOID m_tasks = 0;
    CEOID m_other = 0;
};

TEST_F(ChangeWriter, TheTimeOfTheLastChangeStaysWithTheRecordAndGoesWithIt) {
    const auto contacts = [] { return ChangeTimes(kChangeTables[0]); };
    EXPECT_THAT(contacts(), ElementsAre());
    const std::uint64_t start = control::Now();
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    control::AdvanceClock(1000);
    const CEOID bob = m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    Drain();
    EXPECT_THAT(contacts(), ElementsAre(Pair(ann, start), Pair(bob, start + 10'000'000)));
    control::AdvanceClock(1000);
    m_pim->Update(m_contacts, ann, {{kName, u"Anna"}});
    m_pim->Delete(m_contacts, bob);
    control::AdvanceClock(5000);
    Drain();
    ForgetStates();
    EXPECT_THAT(contacts(), ElementsAre(Pair(ann, start + 20'000'000), Pair(bob, start + 20'000'000)));
    EXPECT_THAT(ChangeTimes(kChangeTables[2]), ElementsAre());
    const auto changes = Volume::Open(kChangeVolume);
    const CEOID table = changes->FindDatabase(TEXT("\\KEZDeltaA"));
    changes->Delete(table, changes->FindEqual(table, 0, {{kItemOid, std::int64_t{bob}}}));
    EXPECT_THAT(contacts(), ElementsAre(Pair(ann, start + 20'000'000)));
}

TEST_F(ChangeWriter, AddedChangedAndDeletedItemsAreMarkedForBothPartners) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    const CEOID bob = m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    const CEOID task = m_pim->Insert(m_tasks, {{kName, u"Shop"}});
    EXPECT_EQ(Drain(), 3u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1)), Pair(bob, Pair(1, 1))));
    EXPECT_THAT(StatesOf(TEXT("\\KEZDeltaT")), ElementsAre(Pair(task, Pair(1, 1))));
    EXPECT_THAT(StatesOf(TEXT("\\KEZDeltaD")), ElementsAre());

    SetState(TEXT("\\KEZDeltaA"), ann, kStateOfPartner0, 0);
    m_pim->Update(m_contacts, ann, {{kName, u"Anna"}});
    m_pim->Delete(m_contacts, bob);
    EXPECT_EQ(Drain(), 2u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1)), Pair(bob, Pair(2, 2))));
    EXPECT_EQ(Drain(), 0u);
}

TEST_F(ChangeWriter, AnItemAddedAndDeletedBeforeTheWriterRanIsReportedAsDeleted) {
    // A listing may have shown it to a partner in between.
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    m_pim->Delete(m_contacts, ann);
    Drain();
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(2, 2))));
}

TEST_F(ChangeWriter, WhatIsAttachedToAnItemMarksTheItem) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    SetState(TEXT("\\KEZDeltaA"), ann, kStateOfPartner0, 0);
    SetState(TEXT("\\KEZDeltaA"), ann, kStateOfOthers, 0);
    m_pim->PutAttachment(m_contacts, ann, 3, {1, {}, {1, 2, 3}});
    Drain();
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
}

TEST_F(ChangeWriter, OtherDatabasesOfThePimVolumeLeaveNoChangeRecord) {
    m_pim->Insert(m_other, {{kName, u"Work"}});
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre());
    EXPECT_TRUE(m_pim->ReadJournal(0, 10).empty());
}

TEST_F(ChangeWriter, ATransactionTakenBackLeavesNoChangeRecord) {
    {
        propertydb::Transaction transaction(m_pim);
        m_pim->Insert(m_contacts, {{kName, u"Ann"}});
        EXPECT_EQ(Drain(), 0u);
    }
    EXPECT_EQ(Drain(), 0u);
}

TEST_F(ChangeWriter, EntriesYoungerThanTheDelayStayInTheJournal) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    control::AdvanceClock(4000);
    const CEOID bob = m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    control::AdvanceClock(1000);
    EXPECT_EQ(Drain(Delay(5000)), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
    EXPECT_EQ(Drain(Delay(5000)), 0u);
    control::AdvanceClock(4000);
    EXPECT_EQ(Drain(Delay(5000)), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1)), Pair(bob, Pair(1, 1))));
}

TEST_F(ChangeWriter, AClockThatWasSetBackDoesNotHoldEntries) {
    m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    control::FreezeClock({2020, 1, 0, 1, 0, 0, 0, 0});
    EXPECT_EQ(Drain(Delay(5000)), 1u);
}

TEST_F(ChangeWriter, TheTriggerFileIsDroppedOnlyWhereSomethingWasWritten) {
    CreateChangeTables();
    Drain();
    EXPECT_FALSE(m_device.Exists("KezChgFile.kez"));
    m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    std::vector<std::u16string> told;
    Attach({Delay(0), [&told](const std::u16string& path) { told.push_back(path); }});
    Drain();
    EXPECT_TRUE(m_device.Exists("KezChgFile.kez"));
    EXPECT_THAT(told, ElementsAre(u"\\KezChgFile.kez"));
    Drain();
    EXPECT_EQ(told.size(), 1u);
}

TEST_F(ChangeWriter, EntriesStayUntilTheTriggerFileCouldBeDropped) {
    std::filesystem::create_directory(m_device.Folder() / "KezChgFile.kez");
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    EXPECT_EQ(Drain(), 1u);
    EXPECT_EQ(m_pim->ReadJournal(0, 10).size(), 1u);
    SetState(TEXT("\\KEZDeltaA"), ann, kStateOfPartner0, 0);
    std::filesystem::remove(m_device.Folder() / "KezChgFile.kez");
    EXPECT_EQ(Drain(), 0u);
    EXPECT_TRUE(m_device.Exists("KezChgFile.kez"));
    EXPECT_TRUE(m_pim->ReadJournal(0, 10).empty());
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(0, 1)))) << "the entry took effect twice";
}

TEST_F(ChangeWriter, AWriterThatFailedBeforeItsCommitIsFollowedByOneThatDoesItAll) {
    CreateChangeTables();
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    CEGUID guid;
    CEVOLUMEOPTIONS options{};
    options.dwDefaultTimeout = 1;
    WCHAR path[] = TEXT("\\KezDBNotify.vol");
    ASSERT_TRUE(CeMountDBVolEx(&guid, path, &options, OPEN_EXISTING));
    const HANDLE session = CeCreateSession(&guid);
    ASSERT_TRUE(CeBeginTransaction(session, CEDB_ISOLATION_SERIALIZABLE));
    Attach({});
    control::RunIdleWork();
    EXPECT_TRUE(LastFailure());
    EXPECT_FALSE(m_device.Exists("KezChgFile.kez"));
    ASSERT_TRUE(CeEndTransaction(session, FALSE));
    control::RunIdleWork();
    EXPECT_FALSE(LastFailure());
    EXPECT_TRUE(CloseHandle(session));
    EXPECT_TRUE(CeUnmountDBVol(&guid));
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
}

TEST_F(ChangeWriter, ADatabaseThatIsMadeWhileThereIsNoNewsIsJournalledFromTheNextRunOn) {
    m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    EXPECT_EQ(Drain(), 1u);
    EXPECT_EQ(Drain(), 0u);
    const CEOID appointments = m_pim->CreateDatabase({u"Appointments Database", 25, {{{{kName}}}}, {}});
    EXPECT_FALSE(m_pim->HasJournal(appointments));
    EXPECT_EQ(Drain(), 0u);
    EXPECT_TRUE(m_pim->HasJournal(appointments));
    const CEOID lunch = m_pim->Insert(appointments, {{kName, u"Lunch"}});
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(StatesOf(TEXT("\\KEZDeltaD")), ElementsAre(Pair(lunch, Pair(1, 1))));
}

TEST_F(ChangeWriter, WhatIsNotCommittedYetIsNoNews) {
    EXPECT_EQ(Drain(), 0u);
    CEOID ann = 0;
    {
        propertydb::Transaction transaction(m_pim);
        ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
        EXPECT_EQ(Drain(), 0u);
        transaction.Commit();
    }
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
}

TEST_F(ChangeWriter, ARunWithoutNewsWaitsForNobodyWhoHasTheVolumeForHisThread) {
    m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    EXPECT_EQ(Drain(), 1u);
    const propertydb::Transaction transaction(m_pim);
    std::size_t carried = 1;
    std::thread([&] { carried = Drain(); }).join();
    EXPECT_EQ(carried, 0u);
}

TEST_F(ChangeWriter, NewsOfAnotherProcessAreSeenThroughAVolumeThatIsOpen) {
    EXPECT_EQ(Drain(), 0u);
    CEOID ann = 0;
    {
        const auto apart = Volume::OpenApart(kPimVolume);  // sees and is seen as another process does and is
        ann = apart->Insert(m_contacts, {{kName, u"Ann"}});
    }
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
}

TEST_F(ChangeWriter, AnAttachedWriterRunsInSleepAndKeepsTheLastError) {
    Attach({});
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    SetLastError(77);
    Sleep(3000);
    EXPECT_EQ(GetLastError(), 77u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
    Detach();
    m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    Sleep(3000);
    EXPECT_EQ(Contacts().size(), 1u);
}

TEST_F(ChangeWriter, AnAttachedWriterRunsWhenTheDeviceIsClosedAndOpened) {
    Attach({});
    m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    m_device.Reopen();
    EXPECT_EQ(Contacts().size(), 1u);
}

TEST_F(ChangeWriter, ManyEntriesAreCarriedOverInOneRun) {
    {
        propertydb::Transaction transaction(m_pim);
        for (int i = 0; i < 2500; ++i) m_pim->Insert(m_contacts, {{kName, u"Ann"}});
        transaction.Commit();
    }
    EXPECT_EQ(Drain(), 2500u);
    EXPECT_EQ(Contacts().size(), 2500u);
}

// --- A volume that was put back to an older copy of itself --------------------------------------------------

TEST_F(ChangeWriter, WhatChangesOnAnOlderPimVolumeIsCarriedOverAlthoughItsNumbersWereThereBefore) {
    m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    Copy("pim.vol");
    for (int i = 0; i < 3; ++i) m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    EXPECT_EQ(Drain(), 3u);
    PutBack("pim.vol");
    // One entry more than there were: the last one has a number that is new even so.
    States marked;
    for (int i = 0; i < 4; ++i) marked[m_pim->Insert(m_contacts, {{kName, u"Bob"}})] = {1, 1};
    ForgetStates();
    EXPECT_EQ(Drain(), 4u);
    EXPECT_THAT(Contacts(), ::testing::IsSupersetOf(marked));
    EXPECT_EQ(Drain(), 0u);
}

TEST_F(ChangeWriter, WhatChangedOnAnOlderPimVolumeBeforeItsCopyWasCarriedOverIsMarkedAgain) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Copy("pim.vol");
    Drain();
    PutBack("pim.vol");
    ForgetStates();
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
}

TEST_F(ChangeWriter, AnOlderPimVolumeGivesNoIdentifierAgainOnceTheWriterHasSeenIt) {
    Copy("pim.vol");
    CEOID last = 0;
    for (int i = 0; i < 3; ++i) last = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    PutBack("pim.vol");
    Drain();
    EXPECT_EQ(m_pim->Insert(m_contacts, {{kName, u"Bob"}}), last + 1);
}

TEST_F(ChangeWriter, ItemsOfAnOlderPimVolumeThatNobodyTouchedAreNotMarked) {
    m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    Copy("pim.vol");
    const CEOID bob = m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    Drain();
    ForgetStates();
    PutBack("pim.vol");
    Drain();
    const CEOID cid = m_pim->Insert(m_contacts, {{kName, u"Cid"}});
    Drain();
    EXPECT_THAT(Contacts(), ElementsAre(Pair(_, Pair(0, 0)), Pair(bob, Pair(0, 0)), Pair(cid, Pair(1, 1))));
}

TEST_F(ChangeWriter, BehindOlderChangeTablesEveryItemIsMarked) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    ForgetStates();
    Copy("KezDBNotify.vol");
    const CEOID bob = m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    const CEOID task = m_pim->Insert(m_tasks, {{kName, u"Shop"}});
    Drain();
    PutBack("KezDBNotify.vol");
    m_pim->Delete(m_contacts, ann);
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(2, 2)), Pair(bob, Pair(1, 1))));
    EXPECT_THAT(StatesOf(TEXT("\\KEZDeltaT")), ElementsAre(Pair(task, Pair(1, 1))));
    ForgetStates();
    m_pim->Update(m_contacts, bob, {{kName, u"Bobby"}});
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(0, 0)), Pair(bob, Pair(1, 1)))) << "it is settled now";
    EXPECT_THAT(StatesOf(TEXT("\\KEZDeltaT")), ElementsAre(Pair(task, Pair(0, 0))));
}

TEST_F(ChangeWriter, WithoutTheirChangeTablesEveryItemIsMarkedEvenWhereTheJournalIsEmpty) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    std::filesystem::remove(m_device.Folder() / "KezDBNotify.vol");
    std::filesystem::remove(m_device.Folder() / "KezChgFile.kez");
    EXPECT_EQ(RunProgram("--once " + m_device.Folder().string()), 0);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
    EXPECT_TRUE(m_device.Exists("KezChgFile.kez"));
}

TEST_F(ChangeWriter, BothVolumesOfOneCopyAreAsTheyWere) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    ForgetStates();
    Copy("pim.vol");
    Copy("KezDBNotify.vol");
    m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    Drain();
    PutBack("pim.vol");
    PutBack("KezDBNotify.vol");
    Drain();
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(0, 0))));
    const CEOID cid = m_pim->Insert(m_contacts, {{kName, u"Cid"}});
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(0, 0)), Pair(cid, Pair(1, 1))));
}

TEST_F(ChangeWriter, ARunThatWasCutOffIsNoSignOfAnOlderCopy) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    ForgetStates();
    // Cut off after it had announced itself: the tables have nothing of it.
    Copy("KezDBNotify.vol");
    const CEOID bob = m_pim->Insert(m_contacts, {{kName, u"Bob"}});
    std::filesystem::remove(m_device.Folder() / "KezChgFile.kez");
    std::filesystem::create_directory(m_device.Folder() / "KezChgFile.kez");
    Drain();
    PutBack("KezDBNotify.vol");
    std::filesystem::remove(m_device.Folder() / "KezChgFile.kez");
    EXPECT_EQ(Drain(), 1u);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(0, 0)), Pair(bob, Pair(1, 1))));
}

TEST_F(ChangeWriter, TablesAreMadeOnceAndKeepWhatTheyHold) {
    CreateChangeTables();
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    Drain();
    CreateChangeTables();
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
    const auto changes = Volume::Open(kChangeVolume);
    const auto definition = changes->Definition(changes->FindDatabase(u"\\KEZDeltaA"));
    ASSERT_EQ(definition.sortOrders.size(), 1u);
    EXPECT_EQ(definition.sortOrders[0].keyFlags, CEDB_SORT_PRIMARYKEY);
    EXPECT_THAT(definition.properties, ElementsAre(kItemOid, kStateOfPartner0, kStateOfOthers));
}

TEST(ChangeWriterAlone, ADeviceWithoutPimVolumeOrDatabasesHasNothingToDo) {
    TestDevice device;
    EXPECT_EQ(Drain(), 0u);
    EXPECT_FALSE(device.Exists("KezDBNotify.vol"));
    const auto pim = Volume::OpenOrCreate(kPimVolume);
    EXPECT_EQ(Drain(), 0u);
    EXPECT_EQ(LastFailure(), std::nullopt);
}

TEST(ChangeWriterAlone, WithoutADeviceThereIsNothingToDo) { EXPECT_EQ(Drain(), 0u); }

TEST_F(ChangeWriter, TheProgramCarriesOverOnceAndEnds) {
    const CEOID ann = m_pim->Insert(m_contacts, {{kName, u"Ann"}});
    EXPECT_EQ(RunProgram("--once " + m_device.Folder().string()), 0);
    EXPECT_THAT(Contacts(), ElementsAre(Pair(ann, Pair(1, 1))));
    EXPECT_EQ(Drain(), 0u);
    EXPECT_EQ(RunProgram("--once " + (m_device.Folder() / "nothing").string()), 1);
    EXPECT_EQ(RunProgram("--once"), 2);
}

}  // namespace
}  // namespace kez::tests
