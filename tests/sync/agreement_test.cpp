// Whole passes over two memory stores: one with change flags, as a device has them, one with revisions, as a folder.
#include "sync/agreement.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <sstream>

#include "tests/doubles/memory_store.h"

namespace kez::sync {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using tests::Crash;
using tests::MemoryStore;

Item Person(const std::string& first, Fields more = {}) {
    more["FirstName"] = first;
    return {ItemType::Contact, more};
}

// Of lists with tabs between their entries.
bool HasAllWithTabs(const std::string&, const std::string& whole, const std::string& part) {
    const std::string entries = "\t" + whole + "\t";
    std::istringstream stream(part);
    for (std::string entry; std::getline(stream, entry, '\t');) {
        if (entries.find("\t" + entry + "\t") == std::string::npos) return false;
    }
    return true;
}

class AgreementTest : public testing::Test {
 protected:
    AgreementTest() {
        std::string name = (std::filesystem::temp_directory_path() / "kez-agreement-XXXXXX").string();
        m_folderPath = mkdtemp(name.data());
        options.types = {ItemType::Contact};
    }
    ~AgreementTest() override { std::filesystem::remove_all(m_folderPath); }

    Report Sync() {
        State state(m_folderPath / "state.db", "device", "folder", false);
        return Agreement(device, folder, state, options).Run();
    }
    std::vector<WaitingConflict> Conflicts() {
        return State(m_folderPath / "state.db", "device", "folder", false).Conflicts();
    }
    void Choose(const std::string& choice) {
        State state(m_folderPath / "state.db", "device", "folder", false);
        for (const WaitingConflict& conflict : state.Conflicts()) state.Choose(conflict, choice);
    }
    // Both sides agree, and another pass finds nothing to do.
    void ExpectAgreement() {
        EXPECT_EQ(device.Contents(), folder.Contents());
        const int writes = device.writes + folder.writes;
        const Report again = Sync();
        EXPECT_EQ(device.writes + folder.writes, writes) << "a pass without changes wrote something";
        EXPECT_THAT(again.entries, IsEmpty());
    }

    MemoryStore device{MemoryStore::Kind::ChangeFlags, "device"};
    MemoryStore folder{MemoryStore::Kind::Revisions, "folder"};
    Options options;
    std::filesystem::path m_folderPath;
};

TEST_F(AgreementTest, NewItemsReachTheOtherSide) {
    device.Add(Person("Ada"));
    folder.Add(Person("Grace"));
    const Report report = Sync();
    EXPECT_EQ(report.counts.sent, 1u);
    EXPECT_EQ(report.counts.received, 1u);
    EXPECT_EQ(device.Size(), 2u);
    ExpectAgreement();
}

TEST_F(AgreementTest, NewItemsOfTheDeviceAreMadeInTheFolderSomeAtATime) {
    for (int i = 0; i < 21; ++i) device.Add(Person("P" + std::to_string(i)));
    std::vector<std::size_t> done;
    options.progress = [&](const Progress& progress) { done.push_back(progress.done); };
    options.batchSize = 10;
    std::vector<std::size_t> sizes;
    folder.atFlush = [&] { sizes.push_back(folder.Size()); };
    EXPECT_EQ(Sync().counts.received, 21u);
    EXPECT_EQ(folder.expectedNew, 21u);
    EXPECT_THAT(folder.together, ElementsAre(8, 2, 8, 2, 1));
    EXPECT_THAT(done, ElementsAre(8, 10, 18, 20, 21));
    EXPECT_THAT(sizes, ElementsAre(10, 20, 21)) << "a batch is never more than was asked for";
    ExpectAgreement();
}

TEST_F(AgreementTest, TheFolderIsToldBeforeTheDeviceIsListed) {
    options.types = {ItemType::Task, ItemType::Contact};
    std::size_t told = 0;
    device.atList = [&] { told = folder.expectedLists.size(); };
    Sync();
    EXPECT_EQ(told, 1u);
    EXPECT_THAT(folder.expectedLists, ElementsAre(ElementsAre(ItemType::Task, ItemType::Contact)));
}

TEST_F(AgreementTest, AllListingsAreNotedBeforeTheFirstAndStoredAfterTheLastOfTheDevice) {
    options.types = {ItemType::Contact, ItemType::Task};
    const auto count = [&](const char* table) {
        const Sqlite other((m_folderPath / "state.db").string());
        Statement rows(other, (std::string("SELECT count(*) FROM ") + table).c_str());
        return rows.Step() ? rows.Integer(0) : -1;
    };
    std::vector<std::int64_t> noted, stored;
    const auto look = [&] {
        noted.push_back(count("listing"));
        stored.push_back(count("unsettled"));
    };
    device.Add(Person("Ada"));
    device.Add({ItemType::Task, {{"Subject", "Tea"}}});
    device.atList = folder.atList = look;
    Sync();
    EXPECT_THAT(noted, ElementsAre(2, 2, 0, 0)) << "the device twice, the folder twice";
    EXPECT_THAT(stored, ElementsAre(0, 0, 2, 2));
    ExpectAgreement();
}

TEST_F(AgreementTest, ATypeThatIsNamedTwiceIsOneAllTheSame) {
    options.types = {ItemType::Contact, ItemType::Task, ItemType::Contact};
    const auto d = device.Add(Person("Ada"));
    const auto f = folder.Add(Person("Grace"));
    EXPECT_EQ(Sync().counts.received, 1u);
    ExpectAgreement();
    device.Edit(d, "Phone", "1");
    folder.Edit(f, "Phone", "2");
    device.Add(Person("Emmy"));
    folder.Add(Person("Sofja"));
    const Report report = Sync();
    EXPECT_TRUE(report.Complete());
    EXPECT_EQ(report.counts.received + report.counts.sent, 4u);
    EXPECT_EQ(device.Size(), 4u);
    ExpectAgreement();
    EXPECT_THAT(folder.expectedLists.at(0), ElementsAre(ItemType::Contact, ItemType::Task));
}

TEST_F(AgreementTest, WhatIsWrittenToTheDeviceInStepsIsNotedUntilItIsAgreedOn) {
    folder.Add(Person("Ada"));
    folder.Add({ItemType::Task, {{"Subject", "Letter"}}});
    folder.Add({ItemType::Appointment, {{"Subject", "Tea"}}});
    options.types = {ItemType::Contact, ItemType::Task, ItemType::Appointment};
    const auto writing = [&] { return State(m_folderPath / "state.db", "device", "folder", false).Writing().size(); };
    std::map<ItemType, std::size_t> noted;
    device.refuse = [&](const Item& item) {
        noted[item.type] = writing();
        return false;
    };
    Sync();
    EXPECT_THAT(noted, ElementsAre(std::pair(ItemType::Contact, 0u), std::pair(ItemType::Task, 1u),
                                   std::pair(ItemType::Appointment, 1u)));
    EXPECT_EQ(writing(), 0u);
    for (const auto& id : folder.Ids()) folder.Edit(id, "Body", "more");
    noted.clear();
    Sync();
    EXPECT_THAT(noted, ElementsAre(std::pair(ItemType::Contact, 0u), std::pair(ItemType::Task, 1u),
                                   std::pair(ItemType::Appointment, 1u)));
}

TEST_F(AgreementTest, OneByOneMeansOneByOne) {
    for (int i = 0; i < 3; ++i) device.Add(Person("P" + std::to_string(i)));
    options.batchSize = 1;
    Sync();
    EXPECT_THAT(folder.together, ElementsAre(1, 1, 1));
}

TEST_F(AgreementTest, LargeItemsAreMadeFewerAtATime) {
    for (int i = 0; i < 5; ++i) device.Add(Person("P" + std::to_string(i)));
    device.atRead = [](ReadResult& read) {
        read.raw.assign(read.item.fields.at("FirstName") == "P1" ? 1 << 20 : 9, 'x');
    };
    EXPECT_EQ(Sync().counts.received, 5u);
    EXPECT_THAT(folder.together, ElementsAre(2, 3));
    ExpectAgreement();
}

TEST_F(AgreementTest, OfSomeItemsThatAreMadeTogetherEachHasAFateOfItsOwn) {
    for (const char* name : {"Ada", "Bea", "Cleo", "Dee"}) device.Add(Person(name));
    folder.refuse = [](const Item& item) { return item.fields.at("FirstName") == "Bea"; };
    device.atRead = [&](ReadResult& read) {
        if (read.item.fields.at("FirstName") == "Cleo") read.problem = {ProblemCode::Gone, "is gone", {}};
        if (read.item.fields.at("FirstName") == "Dee") read.problem = {ProblemCode::Failed, "cannot be read", {}};
    };
    const Report report = Sync();
    EXPECT_EQ(report.counts.received, 1u);
    EXPECT_EQ(report.counts.failed, 2u);
    EXPECT_THAT(folder.together, ElementsAre(2));
    folder.refuse = nullptr;
    device.atRead = nullptr;
    EXPECT_EQ(Sync().counts.received, 3u);
    ExpectAgreement();
}

TEST_F(AgreementTest, ASecondPassReadsAndWritesNothing) {
    for (int i = 0; i < 20; ++i) device.Add(Person("P" + std::to_string(i)));
    Sync();
    device.reads = folder.reads = 0;
    const Report report = Sync();
    EXPECT_EQ(device.reads + folder.reads, 0);
    EXPECT_EQ(report.counts.unchanged, 20u);
    EXPECT_THAT(report.entries, IsEmpty());
}

TEST_F(AgreementTest, EditsTravelFieldByField) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    const auto f = folder.Ids()[0];
    device.Edit(d, "Phone", "2");
    folder.Edit(f, "City", "London");
    const Report report = Sync();
    EXPECT_EQ(report.counts.merged, 1u);
    EXPECT_EQ(device.At(d), (Fields{{"FirstName", "Ada"}, {"Phone", "2"}, {"City", "London"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, ARemovedFieldIsRemovedThere) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    device.Edit(d, "Phone", "");
    Sync();
    EXPECT_EQ(folder.At(folder.Ids()[0]), (Fields{{"FirstName", "Ada"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, DeletionsReachTheOtherSide) {
    const auto d = device.Add(Person("Ada"));
    device.Add(Person("Bob"));
    device.Add(Person("Cyd"));
    Sync();
    device.Remove(d);
    for (const auto& id : folder.Ids()) {
        if (folder.At(id).at("FirstName") == "Bob") {
            folder.Remove(id);
            break;
        }
    }
    const Report report = Sync();
    EXPECT_EQ(report.counts.deletedInFolder, 1u);
    EXPECT_EQ(report.counts.deletedOnDevice, 1u);
    ASSERT_EQ(device.Size(), 1u);
    ExpectAgreement();
}

TEST_F(AgreementTest, ADeletionAgainstAChangeIsReportedAndNotGuessed) {
    const auto d = device.Add(Person("Ada"));
    const auto d2 = device.Add(Person("Bob"));
    device.Add(Person("Cyd"));
    Sync();
    device.Edit(d, "Phone", "1");
    for (const auto& id : folder.Ids()) {
        if (folder.At(id).at("FirstName") == "Ada")
            folder.Remove(id);
        else if (folder.At(id).at("FirstName") == "Bob")
            folder.Edit(id, "Phone", "2");
    }
    device.Remove(d2);
    for (int pass = 0; pass < 2; ++pass) {
        const Report report = Sync();
        EXPECT_EQ(report.counts.unresolved, 2u) << "pass " << pass;
        EXPECT_TRUE(device.Has(d));
        EXPECT_EQ(Conflicts().size(), 2u);
    }
    Choose("device");
    Sync();
    EXPECT_THAT(Conflicts(), IsEmpty());
    EXPECT_EQ(device.Size(), 2u);
    ExpectAgreement();
}

TEST_F(AgreementTest, WhatIsChangedOnTheDeviceAfterItWasListedIsNotDeletedUnseen) {
    const auto d = device.Add(Person("Ada"));
    device.Add(Person("Bob"));
    Sync();
    for (const auto& id : folder.Ids()) {
        if (folder.At(id).at("FirstName") == "Ada") folder.Remove(id);
    }
    options.stop = [&] {
        device.Edit(d, "Phone", "2");
        options.stop = nullptr;
        return false;
    };
    const Report report = Sync();
    EXPECT_EQ(report.counts.unresolved, 1u);
    EXPECT_EQ(report.counts.deletedOnDevice, 0u);
    ASSERT_TRUE(device.Has(d));
    EXPECT_EQ(device.At(d).at("Phone"), "2");
}

TEST_F(AgreementTest, ADisputedFieldKeepsBothVersionsByDefault) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    device.Edit(d, "Phone", "2");
    folder.Edit(folder.Ids()[0], "Phone", "3");
    const Report report = Sync();
    EXPECT_EQ(device.Size(), 2u);
    EXPECT_EQ(device.At(d).at("Phone"), "3");
    EXPECT_THAT(folder.Contents(), UnorderedElementsAre(Fields{{"FirstName", "Ada"}, {"Phone", "2"}},
                                                        Fields{{"FirstName", "Ada"}, {"Phone", "3"}}));
    ASSERT_FALSE(report.entries.empty());
    EXPECT_THAT(report.entries[0].notes, ElementsAre(HasSubstr("kept as a second item")));
    ExpectAgreement();
}

TEST_F(AgreementTest, APolicyLetsOneSideWin) {
    for (const auto& [policy, phone] : {std::pair{ConflictPolicy::Device, "2"}, {ConflictPolicy::Folder, "3"}}) {
        device = MemoryStore(MemoryStore::Kind::ChangeFlags, "device");
        folder = MemoryStore(MemoryStore::Kind::Revisions, "folder");
        std::filesystem::remove(m_folderPath / "state.db");
        options.conflicts = policy;
        const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
        Sync();
        device.Edit(d, "Phone", "2");
        folder.Edit(folder.Ids()[0], "Phone", "3");
        Sync();
        EXPECT_EQ(device.At(d).at("Phone"), phone);
        ExpectAgreement();
    }
}

TEST_F(AgreementTest, ASkippedConflictWaitsAndBlocksNothing) {
    options.conflicts = ConflictPolicy::Skip;
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    device.Edit(d, "Phone", "2");
    folder.Edit(folder.Ids()[0], "Phone", "3");
    device.Add(Person("Bob"));
    for (int pass = 0; pass < 3; ++pass) {
        const Report report = Sync();
        EXPECT_EQ(report.counts.unresolved, 1u);
        EXPECT_EQ(device.At(d).at("Phone"), "2");
        ASSERT_EQ(Conflicts().size(), 1u);
        EXPECT_THAT(Conflicts()[0].fields, ElementsAre("Phone"));
    }
    EXPECT_EQ(folder.Size(), 2u);
    Choose("both");
    Sync();
    EXPECT_EQ(device.Size(), 3u);
    EXPECT_THAT(Conflicts(), IsEmpty());
    ExpectAgreement();
}

TEST_F(AgreementTest, TheAskedUserDecides) {
    options.conflicts = ConflictPolicy::Ask;
    options.ask = [](const Conflict& conflict) {
        EXPECT_EQ(conflict.title, "Ada");
        EXPECT_THAT(conflict.fields, ElementsAre("Phone"));
        return Choice::Device;
    };
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    device.Edit(d, "Phone", "2");
    folder.Edit(folder.Ids()[0], "Phone", "3");
    Sync();
    EXPECT_EQ(folder.At(folder.Ids()[0]).at("Phone"), "2");
}

TEST_F(AgreementTest, WhoDecidesMayTellWhyAndTheReportDoes) {
    options.conflicts = ConflictPolicy::Ask;
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    const auto gone = device.Add(Person("Bob"));
    device.Add(Person("Cyd"));
    Sync();
    device.Edit(d, "Phone", "2");
    device.Remove(gone);
    for (const auto& id : folder.Ids()) {
        if (folder.At(id).at("FirstName") != "Cyd") folder.Edit(id, "Phone", "3");
    }
    options.ask = [&](const Conflict& conflict) {
        EXPECT_TRUE(conflict.deviceId == d || conflict.deviceId == gone);
        EXPECT_TRUE(folder.Has(conflict.folderId));
        return Decision(Choice::Skip, "nobody knows");
    };
    for (const Entry& entry : Sync().entries) EXPECT_THAT(entry.problem.text, HasSubstr(": nobody knows"));
    options.ask = [](const Conflict&) { return Decision(Choice::Both, "who knows"); };
    const Report both = Sync();
    EXPECT_THAT(both.entries[0].notes, ElementsAre(HasSubstr("kept as a second item: who knows")));
    EXPECT_EQ(both.counts.unresolved, 1u);
    options.ask = [](const Conflict&) { return Decision(Choice::Folder, "it is newer"); };
    const Report folders = Sync();
    ASSERT_EQ(folders.entries.size(), 1u);
    EXPECT_THAT(folders.entries[0].notes, ElementsAre("deleted on the device, but changed in the folder: it is newer"));
    ExpectAgreement();
}

TEST_F(AgreementTest, AStoppedPassRemembersWhatItDidAndLeavesTheRest) {
    for (const char* name : {"Ada", "Bob", "Cyd", "Dan"}) device.Add(Person(name));
    folder.Add(Person("Eve"));
    int asked = 0;
    options.stop = [&asked] { return ++asked > 2; };
    const Report stopped = Sync();
    EXPECT_EQ(stopped.entries.size(), 2u);
    EXPECT_FALSE(stopped.Complete());
    ASSERT_EQ(stopped.findings.size(), 1u);
    EXPECT_EQ(stopped.findings[0].where, folder.Name());
    EXPECT_EQ(stopped.findings[0].text, "the synchronisation was stopped; 3 items wait for the next one");
    EXPECT_EQ(folder.Size() + device.Size(), 4u + 1u + 2u);
    options.stop = nullptr;
    const Report rest = Sync();
    EXPECT_EQ(rest.entries.size(), 3u);
    EXPECT_TRUE(rest.Complete());
    EXPECT_EQ(rest.counts.unchanged, 2u);
    EXPECT_EQ(device.Size(), 5u);
    ExpectAgreement();
}

TEST_F(AgreementTest, TheSamePeopleOnBothSidesStayTheSamePeople) {
    for (int i = 0; i < 100; ++i) {
        const std::string n = std::to_string(i);
        device.Add(Person("First" + n, {{"LastName", "L"}, {"Phone", n}}));
        folder.Add(Person("First" + n, {{"LastName", "L"}, {"City", "C" + n}}));
    }
    const Report report = Sync();
    EXPECT_EQ(report.counts.merged, 100u);
    EXPECT_EQ(device.Size(), 100u);
    ExpectAgreement();
}

TEST_F(AgreementTest, ALostStateIsFoundAgainByMatching) {
    for (int i = 0; i < 30; ++i) device.Add(Person("P" + std::to_string(i)));
    Sync();
    std::filesystem::remove(m_folderPath / "state.db");
    const int writes = device.writes + folder.writes;
    const Report report = Sync();
    EXPECT_EQ(report.counts.matched, 30u);
    EXPECT_EQ(device.writes + folder.writes, writes);
    ExpectAgreement();
}

TEST_F(AgreementTest, WhatTheDeviceNormalisesIsNoChange) {
    device.normalise = [](Item& item) { item.fields["BusyStatus"] = "2"; };
    options.asHeldByDevice = [](const Item& item) {
        Item held = item;
        held.fields["BusyStatus"] = "2";
        return held;
    };
    folder.Add(Person("Ada", {{"BusyStatus", "0"}}));
    Sync();
    const auto f = folder.Ids()[0];
    EXPECT_EQ(device.At(device.Ids()[0]).at("BusyStatus"), "2");
    EXPECT_EQ(folder.At(f).at("BusyStatus"), "0");
    device.Edit(device.Ids()[0], "Phone", "1");
    Sync();
    EXPECT_EQ(folder.At(f), (Fields{{"FirstName", "Ada"}, {"BusyStatus", "0"}, {"Phone", "1"}}));
    folder.Edit(f, "City", "X");
    Sync();
    EXPECT_EQ(folder.At(f).at("BusyStatus"), "0");
    EXPECT_THAT(Sync().entries, IsEmpty());
}

TEST_F(AgreementTest, WhatTheDeviceDerivesFromAChangeReachesTheFolderInTheSamePass) {
    device.normalise = [](Item& item) { item.fields["FileAs"] = "as " + item.fields["FirstName"]; };
    folder.Add(Person("Ada"));
    Sync();
    folder.Edit(folder.Ids()[0], "FirstName", "Augusta");
    Sync();
    EXPECT_EQ(folder.At(folder.Ids()[0]).at("FileAs"), "as Augusta");
    EXPECT_THAT(Sync().entries, IsEmpty());
}

TEST_F(AgreementTest, AnEditDuringTheWriteIsNotLost) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}, {"City", "A"}}));
    Sync();
    folder.Edit(folder.Ids()[0], "Phone", "2");
    device.normalise = [](Item& item) { item.fields["City"] = "edited meanwhile"; };
    Sync();
    EXPECT_EQ(device.At(d).at("City"), "edited meanwhile");
    EXPECT_EQ(folder.At(folder.Ids()[0]), (Fields{{"FirstName", "Ada"}, {"Phone", "2"}, {"City", "edited meanwhile"}}));
}

TEST_F(AgreementTest, AnEditBetweenReadingAndWritingIsNotOverwritten) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    folder.Edit(folder.Ids()[0], "City", "London");
    device.atUpdate = [&] { device.Edit(d, "Phone", "2"); };
    const Report report = Sync();
    EXPECT_EQ(report.counts.unresolved, 1u);
    EXPECT_EQ(device.At(d), (Fields{{"FirstName", "Ada"}, {"Phone", "2"}}));
    EXPECT_TRUE(Sync().Complete());
    EXPECT_EQ(device.At(d), (Fields{{"FirstName", "Ada"}, {"Phone", "2"}, {"City", "London"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, AnItemThatWasWrittenOnTheDeviceIsLookedAtAgainInTheNextPassOnly) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    folder.Edit(folder.Ids()[0], "City", "London");
    Sync();
    // The device gives its own write as no change, and with it what its owner changed before it knew.
    device.Edit(d, "Phone", "2");
    (void)device.List(ItemType::Contact);
    EXPECT_EQ(Sync().counts.received, 1u);
    EXPECT_EQ(folder.At(folder.Ids()[0]).at("Phone"), "2");
    ExpectAgreement();
    device.reads = 0;
    Sync();
    EXPECT_EQ(device.reads, 0);
}

TEST_F(AgreementTest, BothSidesAreDurableBeforeTheStateSaysSo) {
    device.Add(Person("Ada"));
    folder.Add(Person("Grace"));
    int flushes = 0;
    device.atFlush = folder.atFlush = [&] {
        ++flushes;
        State state(m_folderPath / "state.db", "device", "folder", false);
        EXPECT_EQ(state.CountPairs(ItemType::Contact), flushes <= 2 ? 0u : 1u);
    };
    Sync();
    EXPECT_EQ(flushes, 4) << "one batch each way, both sides";
}

TEST_F(AgreementTest, ADeviceThatSaysTwoThingsIsNotBelieved) {
    int reading = 0;
    device.Add(Person("Ada", {{"Phone", "1"}}));
    device.atRead = [&](ReadResult& read) {
        if (++reading % 2) read.item.fields.erase("Phone");
    };
    const Report unsure = Sync();
    EXPECT_EQ(unsure.counts.failed, 1u);
    EXPECT_THAT(unsure.entries.at(0).problem.text, HasSubstr("two readings"));
    EXPECT_EQ(folder.Size(), 0u);
    device.atRead = nullptr;
    Sync();
    EXPECT_EQ(folder.At(folder.Ids()[0]).at("Phone"), "1");
    ExpectAgreement();
}

TEST_F(AgreementTest, WhatTheFolderRefusesOfADerivedFieldIsOfferedAgain) {
    device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    folder.Edit(folder.Ids()[0], "City", "London");
    device.normalise = [](Item& item) { item.fields["Country"] = "GB"; };
    folder.refuse = [](const Item&) { return true; };
    EXPECT_FALSE(Sync().Complete());
    EXPECT_EQ(folder.At(folder.Ids()[0]).count("Country"), 0u);
    folder.refuse = nullptr;
    EXPECT_TRUE(Sync().Complete());
    EXPECT_EQ(folder.At(folder.Ids()[0]).at("Country"), "GB");
    ExpectAgreement();
}

TEST_F(AgreementTest, AFolderItemThatChangesAfterItWasListedIsMerged) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    device.Edit(d, "Phone", "2");
    State state(m_folderPath / "state.db", "device", "folder", false);
    Agreement agreement(device, folder, state, options);
    const Plan plan = agreement.MakePlan();
    folder.Edit(folder.Ids()[0], "City", "late");
    agreement.CarryOut(plan);
    EXPECT_EQ(device.At(d), (Fields{{"FirstName", "Ada"}, {"Phone", "2"}, {"City", "late"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, ATouchedFileIsNoChange) {
    device.Add(Person("Ada"));
    Sync();
    folder.Touch(folder.Ids()[0]);
    const int writes = device.writes + folder.writes;
    const Report report = Sync();
    EXPECT_EQ(report.counts.unchanged, 1u);
    EXPECT_EQ(device.writes + folder.writes, writes);
    folder.reads = 0;
    Sync();
    EXPECT_EQ(folder.reads, 0);
}

TEST_F(AgreementTest, ATouchedFileOfADeletedItemIsDeleted) {
    const auto d = device.Add(Person("Ada"));
    device.Add(Person("Bob"));
    Sync();
    for (const auto& id : folder.Ids()) folder.Touch(id);
    device.Remove(d);
    const Report report = Sync();
    EXPECT_EQ(report.counts.deletedInFolder, 1u);
    EXPECT_EQ(folder.Size(), 1u);
}

TEST_F(AgreementTest, OneRefusedItemDoesNotStopTheOthersAndIsTriedAgain) {
    folder.Add(Person("Ada"));
    folder.Add(Person("Bad"));
    folder.Add(Person("Cyd"));
    device.refuse = [](const Item& item) { return item.fields.at("FirstName") == "Bad"; };
    Report report = Sync();
    EXPECT_EQ(report.counts.sent, 2u);
    EXPECT_EQ(report.counts.failed, 1u);
    EXPECT_FALSE(report.Complete());
    device.refuse = nullptr;
    report = Sync();
    EXPECT_EQ(report.counts.sent, 1u);
    ExpectAgreement();
}

TEST_F(AgreementTest, ARefusedChangeIsReportedUntilItIsTaken) {
    folder.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    folder.Edit(folder.Ids()[0], "Phone", "2");
    device.refuse = [](const Item&) { return true; };
    EXPECT_EQ(Sync().counts.failed, 1u);
    EXPECT_EQ(Sync().counts.failed, 1u);
    device.refuse = nullptr;
    EXPECT_EQ(Sync().counts.sent, 1u);
    ExpectAgreement();
}

TEST_F(AgreementTest, AnUnreadableFileIsReportedAndIsNoDeletion) {
    const auto d = device.Add(Person("Ada"));
    device.Add(Person("Bob"));
    Sync();
    folder.unreadable.insert(folder.Ids()[0]);
    const Report report = Sync();
    EXPECT_EQ(report.counts.unresolved, 1u);
    EXPECT_TRUE(device.Has(d));
    EXPECT_EQ(folder.Size(), 2u);
}

TEST_F(AgreementTest, AnEmptiedSideIsRefused) {
    for (int i = 0; i < 3; ++i) device.Add(Person("P" + std::to_string(i)));
    Sync();
    for (const auto& id : folder.Ids()) folder.Remove(id);
    EXPECT_THROW(Sync(), RefusedForSafety);
    EXPECT_EQ(device.Size(), 3u);
    options.force = true;
    EXPECT_EQ(Sync().counts.deletedOnDevice, 3u);
}

TEST_F(AgreementTest, TooLargeAShareIsRefusedAndNamed) {
    for (int i = 0; i < 30; ++i) device.Add(Person("P" + std::to_string(i)));
    Sync();
    const auto ids = device.Ids();
    for (int i = 0; i < 9; ++i) device.Remove(ids[i]);
    EXPECT_EQ(Sync().counts.deletedInFolder, 9u) << "below the number from which the guard counts";
    const auto rest = device.Ids();
    for (int i = 0; i < 10; ++i) device.Remove(rest[i]);
    try {
        Sync();
        FAIL() << "was not refused";
    } catch (const RefusedForSafety& refused) {
        EXPECT_THAT(refused.what(), HasSubstr("10 of 21 items (47 percent) are gone from device"));
    }
    EXPECT_EQ(folder.Size(), 21u);
}

TEST_F(AgreementTest, ASideThatDoesNotAnswerDeletesNothingAndIsComparedNextTime) {
    const auto d = device.Add(Person("Ada"));
    Sync();
    device.Edit(d, "Phone", "1");
    device.trusted = false;
    const Report report = Sync();
    EXPECT_FALSE(report.Complete());
    EXPECT_EQ(folder.Size(), 1u);
    device.trusted = true;
    Sync();
    EXPECT_EQ(folder.At(folder.Ids()[0]).at("Phone"), "1");
}

// The flags of the types that were listed before it are lost as well: nothing of them is stored yet.
TEST_F(AgreementTest, ADeviceThatGivesUpBetweenTwoTypesIsComparedWholeNextTime) {
    options.types = {ItemType::Contact, ItemType::Task};
    const auto d = device.Add(Person("Ada"));
    Sync();
    device.Edit(d, "Phone", "1");
    int listed = 0;
    device.atList = [&] {
        if (++listed == 2) throw StoreError("the device went away");
    };
    EXPECT_THROW(Sync(), StoreError);
    device.atList = nullptr;
    EXPECT_EQ(Sync().counts.received, 1u);
    ExpectAgreement();
}

TEST_F(AgreementTest, ATypeThatDoesNotAnswerKeepsNoOtherFromBeingCarriedOver) {
    options.types = {ItemType::Task, ItemType::Contact};
    const auto d = device.Add(Person("Ada"));
    const auto t = device.Add({ItemType::Task, {{"Subject", "Tea"}}});
    Sync();
    device.Edit(d, "Phone", "1");
    device.Edit(t, "Body", "two cups");
    device.atList = [&] { device.trusted = !device.trusted; };  // not the first, then the second
    EXPECT_FALSE(Sync().Complete());
    EXPECT_THAT(folder.Contents(), testing::Not(device.Contents()));
    device.atList = nullptr;
    device.trusted = true;
    EXPECT_EQ(Sync().counts.received, 1u) << "the flags of the type that did not answer are not relied on";
    ExpectAgreement();
}

TEST_F(AgreementTest, AFolderThatDoesNotAnswerDeletesNothingEither) {
    const auto d = device.Add(Person("Ada"));
    Sync();
    device.Edit(d, "Phone", "2");
    folder.trusted = false;
    options.force = true;
    const auto id = folder.Ids()[0];
    folder.unlisted = {id};
    const Report report = Sync();
    EXPECT_THAT(report.findings.at(0).text, HasSubstr("were left alone"));
    EXPECT_TRUE(device.Has(d));
    EXPECT_EQ(folder.At(id).count("Phone"), 0u);
    folder.trusted = true;
    folder.unlisted.clear();
    EXPECT_EQ(Sync().counts.received, 1u) << "what the device told meanwhile was kept";
    ExpectAgreement();
}

TEST_F(AgreementTest, AnEditOfTheFileWhileItIsWrittenIsNotOverwritten) {
    const auto d = device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    const auto id = folder.Ids()[0];
    device.Edit(d, "City", "London");
    folder.atUpdate = [&] { folder.Edit(id, "Phone", "2"); };
    EXPECT_EQ(Sync().counts.unresolved, 1u);
    EXPECT_EQ(folder.At(id).at("Phone"), "2");
    EXPECT_EQ(Sync().counts.merged, 1u);
    EXPECT_EQ(device.At(d), (Fields{{"FirstName", "Ada"}, {"Phone", "2"}, {"City", "London"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, WhatTheDeviceHoldsOfANewItemOnlyInPartIsCompletedAndNotMadeTwice) {
    folder.Add(Person("Ada", {{"Phone", "1"}}));
    device.takesInPart = [](Item& item) { item.fields.erase("Phone"); };
    const Report first = Sync();
    EXPECT_EQ(first.counts.failed, 1u);
    EXPECT_THAT(first.entries.at(0).problem.text, HasSubstr("Phone"));
    EXPECT_EQ(device.Size(), 1u);
    device.takesInPart = nullptr;
    EXPECT_TRUE(Sync().Complete());
    EXPECT_EQ(device.Size(), 1u);
    EXPECT_EQ(device.At(device.Ids()[0]).at("Phone"), "1");
    ExpectAgreement();
}

TEST_F(AgreementTest, ANewItemThatWasCutOffWhileTheDeviceWroteItIsNotedAndCompleted) {
    options.types = {ItemType::Appointment};
    folder.Add({ItemType::Appointment, {{"Subject", "Talk"}, {"Start", "1"}, {"ReminderSet", "1"}}});
    device.takesInPart = [](Item& item) { item.fields["ReminderSet"] = "0"; };
    device.atFlush = [] { throw Crash{}; };  // before the state knows of it
    EXPECT_THROW(Sync(), Crash);
    device.takesInPart = nullptr;
    device.atFlush = nullptr;
    Sync();
    EXPECT_THAT(device.Contents(), ElementsAre(Fields{{"Subject", "Talk"}, {"Start", "1"}, {"ReminderSet", "1"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, ATwiceDeletedItemIsForgotten) {
    const auto d = device.Add(Person("Ada"));
    device.Add(Person("Bob"));
    Sync();
    device.Remove(d);
    for (const auto& id : folder.Ids()) {
        if (folder.At(id).at("FirstName") == "Ada") {
            folder.Remove(id);
            break;
        }
    }
    EXPECT_THAT(Sync().entries, IsEmpty());
    EXPECT_EQ(State(m_folderPath / "state.db", "device", "folder", false).Pairs(ItemType::Contact).size(), 1u);
}

TEST_F(AgreementTest, AnItemThatAListingMissedIsNotDeleted) {
    const auto d = device.Add(Person("Ada"));
    device.Add(Person("Bob"));
    Sync();
    device.unlisted.insert(d);
    const Report report = Sync();
    EXPECT_EQ(report.counts.unresolved, 1u);
    EXPECT_EQ(folder.Size(), 2u);
    device.unlisted.clear();
    folder.unlisted.insert(folder.Ids()[0]);
    EXPECT_EQ(Sync().counts.unresolved, 1u);
    EXPECT_EQ(device.Size(), 2u);
    folder.unlisted.clear();
    ExpectAgreement();
}

// --- Cut off while the device was written ------------------------------------------------------------------------

TEST_F(AgreementTest, WhatACutOffWriteLeftOnTheDeviceIsNeitherAChangeNorAConflict) {
    options.types = {ItemType::Appointment};
    options.hasAll = HasAllWithTabs;
    device.Add({ItemType::Appointment, {{"Subject", "Talk"}, {"ReminderSet", "1"}, {"ExceptionDates", "a"}}});
    Sync();
    folder.Edit(folder.Ids()[0], "ExceptionDates", "a\tb\tc");
    folder.Edit(folder.Ids()[0], "Location", "Hall");
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.NoteWriting(ItemType::Appointment, folder.Ids()[0]);
    }
    // Saved once of three times: without its reminder and with one exception of two.
    device.Edit(device.Ids()[0], "ReminderSet", "0");
    device.Edit(device.Ids()[0], "ExceptionDates", "a\tb");
    Sync();
    EXPECT_THAT(folder.Contents(),
                UnorderedElementsAre(Fields{
                    {"Subject", "Talk"}, {"ReminderSet", "1"}, {"ExceptionDates", "a\tb\tc"}, {"Location", "Hall"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, AnOccurrenceThatChangedAfterACutOffWriteIsNotLost) {
    options.types = {ItemType::Appointment};
    options.hasAll = HasAllWithTabs;
    device.Add({ItemType::Appointment, {{"Subject", "Talk"}, {"ExceptionDates", "a"}}});
    Sync();
    folder.Edit(folder.Ids()[0], "ExceptionDates", "a\tb");
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.NoteWriting(ItemType::Appointment, folder.Ids()[0]);
    }
    device.Edit(device.Ids()[0], "ExceptionDates", "a\tb\tnew");
    device.Edit(device.Ids()[0], "ModifiedOccurrences", "Moved");
    Sync();
    std::string said;
    for (const Fields& fields : folder.Contents()) {
        for (const auto& [name, value] : fields) said += name + "=" + value + "\n";
    }
    EXPECT_THAT(said, HasSubstr("ModifiedOccurrences=Moved\n"));
    EXPECT_THAT(said, HasSubstr("ExceptionDates=a\tb\tnew\n"));
    ExpectAgreement();
}

TEST_F(AgreementTest, AnEditBesideACutOffWriteIsStillAnEdit) {
    options.types = {ItemType::Appointment};
    device.Add({ItemType::Appointment, {{"Subject", "Talk"}, {"ReminderSet", "1"}}});
    Sync();
    folder.Edit(folder.Ids()[0], "Location", "Hall");
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.NoteWriting(ItemType::Appointment, folder.Ids()[0]);
    }
    device.Edit(device.Ids()[0], "ReminderSet", "0");
    device.Edit(device.Ids()[0], "Subject", "Long talk");
    Sync();
    EXPECT_THAT(folder.Contents(),
                UnorderedElementsAre(Fields{{"Subject", "Long talk"}, {"ReminderSet", "1"}, {"Location", "Hall"}}));
    ExpectAgreement();
}

// The note of a write says that the folder has what the device had to tell, and may outlive the folder's own write.
TEST_F(AgreementTest, TheFolderHasAWriteInStepsForGoodBeforeItIsNoted) {
    options.types = {ItemType::Appointment};
    const auto d = device.Add({ItemType::Appointment, {{"Subject", "Weekly"}}});
    Sync();
    device.Edit(d, "ExceptionDates", "2026-03-09 10:00:00");
    folder.Edit(folder.Ids()[0], "Location", "Town");
    int flushes = 0;
    int before = 0;
    folder.atFlush = [&flushes] { ++flushes; };
    device.atUpdate = [&] { before = flushes; };
    EXPECT_EQ(Sync().counts.merged, 1u);
    EXPECT_EQ(before, 1);
}

TEST_F(AgreementTest, AListThatTheFolderHasWholeIsNoConflict) {
    options.types = {ItemType::Appointment};
    options.hasAll = [](const std::string&, const std::string& whole, const std::string& part) {
        return whole.find(part) != std::string::npos;
    };
    const auto d = device.Add({ItemType::Appointment, {{"Subject", "Weekly"}, {"ExceptionDates", "9"}}});
    Sync();
    const auto f = folder.Ids()[0];
    device.Edit(d, "ExceptionDates", "9 16");
    folder.Edit(f, "ExceptionDates", "9 16 23");
    const Report report = Sync();
    EXPECT_EQ(report.entries.size(), 1u);
    EXPECT_EQ(device.At(d).at("ExceptionDates"), "9 16 23");
    ExpectAgreement();

    device.Edit(d, "ExceptionDates", "9 30");
    folder.Edit(f, "ExceptionDates", "9");
    Sync();
    EXPECT_EQ(folder.Size(), 2u) << "what only the device has is not given up";
    ExpectAgreement();
}

TEST_F(AgreementTest, WhatTheDeviceTookFromAListIsNotPutBackUnseen) {
    options.types = {ItemType::Appointment};
    options.hasAll = HasAllWithTabs;
    const auto d = device.Add({ItemType::Appointment, {{"Subject", "Weekly"}, {"ExceptionDates", "9"}}});
    Sync();
    device.Edit(d, "ExceptionDates", "16");
    folder.Edit(folder.Ids()[0], "ExceptionDates", "9\t16");
    options.conflicts = ConflictPolicy::Device;
    Sync();
    EXPECT_EQ(folder.At(folder.Ids()[0]).at("ExceptionDates"), "16");
    ExpectAgreement();
}

// The texts and the dates of changed occurrences, as one side says them.
std::string Occurrences(const Fields& fields) {
    return fields.count("ModifiedOccurrences")
               ? fields.at("ModifiedOccurrenceDates") + ": " + fields.at("ModifiedOccurrences")
               : "";
}

TEST_F(AgreementTest, AChangedOccurrenceGoesWithItsDateWhoeverWins) {
    options.types = {ItemType::Appointment};
    options.hasAll = HasAllWithTabs;
    for (const auto policy : {ConflictPolicy::Device, ConflictPolicy::Folder, ConflictPolicy::Both}) {
        options.conflicts = policy;
        const auto d = device.Add({ItemType::Appointment, {{"Subject", "Weekly"}}});
        Sync();
        const auto f = folder.Ids().back();
        // The folder's dates have the device's among them; the texts have not.
        device.Edit(d, "ModifiedOccurrenceDates", "30");
        device.Edit(d, "ModifiedOccurrences", "A of the device");
        folder.Edit(f, "ModifiedOccurrenceDates", "23\t30");
        folder.Edit(f, "ModifiedOccurrences", "B\tA of the folder");
        Sync();
        const bool deviceWins = policy == ConflictPolicy::Device;
        EXPECT_EQ(Occurrences(folder.At(f)), deviceWins ? "30: A of the device" : "23\t30: B\tA of the folder");
        ExpectAgreement();
        // One side moved only the text, the other another date.
        device.Edit(d, "ModifiedOccurrences", "X");
        folder.Edit(f, "ModifiedOccurrences", "Y");
        folder.Edit(f, "ModifiedOccurrenceDates", "6");
        Sync();
        EXPECT_EQ(Occurrences(folder.At(f)), (deviceWins ? Occurrences(device.At(d)) : "6: Y"));
        if (deviceWins) {
            EXPECT_EQ(Occurrences(device.At(d)), "30: X");
        }
        ExpectAgreement();
    }
}

TEST_F(AgreementTest, AnOccurrenceThatTheOwnerChangedAfterACutOffWriteKeepsItsDate) {
    options.types = {ItemType::Appointment};
    options.hasAll = HasAllWithTabs;
    const auto d = device.Add({ItemType::Appointment, {{"Subject", "Talk"}}});
    Sync();
    const auto f = folder.Ids()[0];
    folder.Edit(f, "ModifiedOccurrenceDates", "16\t23");
    folder.Edit(f, "ModifiedOccurrences", "A\tB");
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.NoteWriting(ItemType::Appointment, f);
    }
    device.Edit(d, "ModifiedOccurrenceDates", "23");
    device.Edit(d, "ModifiedOccurrences", "B of the owner");
    Sync();
    std::multiset<std::string> said;
    for (const Fields& fields : folder.Contents()) said.insert(Occurrences(fields));
    EXPECT_THAT(said, UnorderedElementsAre("16\t23: A\tB", "23: B of the owner"));
    ExpectAgreement();
}

TEST_F(AgreementTest, ANoteOfAWriteGoesWhenBothHaveAgreed) {
    folder.Add(Person("Ada"));
    Sync();
    folder.Edit(folder.Ids()[0], "Phone", "2");
    Sync();
    EXPECT_TRUE(State(m_folderPath / "state.db", "device", "folder", false).Writing().empty());
}

// --- One side is an older copy of itself -------------------------------------------------------------------------

TEST_F(AgreementTest, AnOlderDeviceIsToldWhatWasAgreedSinceAndGetsBackWhatItLost) {
    device.Add(Person("Ada", {{"Phone", "1"}}));
    device.Add(Person("Bob", {{"Phone", "1"}}));
    device.Add(Person("Cat", {{"Phone", "1"}, {"Note", "stays"}}));
    Sync();
    const MemoryStore copy = device;
    device.Edit(device.Ids()[0], "Phone", "2");
    folder.Edit(folder.Ids()[1], "Phone", "3");
    device.Add(Person("Dan"));
    Sync();
    const auto expected = folder.Contents();
    device = copy;
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.DoubtAll(Doubt::OldDevice);
    }
    const Report report = Sync();
    EXPECT_EQ(report.counts.deletedInFolder + report.counts.received, 0u);
    EXPECT_EQ(report.counts.unchanged, 1u);
    EXPECT_EQ(folder.Contents(), expected);
    ExpectAgreement();
}

TEST_F(AgreementTest, WhatWasEditedOnAnOlderDeviceIsAConflictAndNotGuessed) {
    device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    const MemoryStore copy = device;
    folder.Edit(folder.Ids()[0], "Phone", "2");
    Sync();
    device = copy;
    device.Edit(device.Ids()[0], "Phone", "3");
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.DoubtAll(Doubt::OldDevice);
    }
    Sync();
    EXPECT_THAT(folder.Contents(), UnorderedElementsAre(Fields{{"FirstName", "Ada"}, {"Phone", "2"}},
                                                        Fields{{"FirstName", "Ada"}, {"Phone", "3"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, SomebodyNewUnderAnIdentifierThatAnOlderDeviceGaveAgainIsSomebodyElse) {
    device.Add(Person("Ada"));
    Sync();
    const MemoryStore copy = device;
    device.Add(Person("Bob", {{"Phone", "1"}}));
    Sync();
    const std::string reused = device.Ids()[1];
    device = copy;
    device.Add(Person("Cat", {{"City", "C"}}));
    ASSERT_EQ(device.Ids()[1], reused);
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.DoubtAll(Doubt::OldDevice);
    }
    Sync();
    EXPECT_THAT(folder.Contents(),
                UnorderedElementsAre(Fields{{"FirstName", "Ada"}}, Fields{{"FirstName", "Bob"}, {"Phone", "1"}},
                                     Fields{{"FirstName", "Cat"}, {"City", "C"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, AnOlderFolderTakesWhatTheDeviceHasAndLosesNothing) {
    device.Add(Person("Ada", {{"Phone", "1"}}));
    device.Add(Person("Bob"));
    Sync();
    const MemoryStore copy = folder;
    std::filesystem::copy_file(m_folderPath / "state.db", m_folderPath / "copy.db");
    device.Edit(device.Ids()[0], "Phone", "2");
    device.Remove(device.Ids()[1]);
    device.Add(Person("Cat"));
    Sync();
    folder = copy;
    std::filesystem::remove(m_folderPath / "state.db");
    std::filesystem::rename(m_folderPath / "copy.db", m_folderPath / "state.db");
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.DoubtAll(Doubt::OldFolder);
    }
    Sync();
    EXPECT_THAT(folder.Contents(), UnorderedElementsAre(Fields{{"FirstName", "Ada"}, {"Phone", "2"}},
                                                        Fields{{"FirstName", "Bob"}}, Fields{{"FirstName", "Cat"}}));
    ExpectAgreement();
}

TEST_F(AgreementTest, ADoubtLastsUntilTheItemWasCompared) {
    device.Add(Person("Ada", {{"Phone", "1"}}));
    Sync();
    const MemoryStore copy = device;
    folder.Edit(folder.Ids()[0], "Phone", "2");
    Sync();
    device = copy;
    {
        State state(m_folderPath / "state.db", "device", "folder", false);
        state.DoubtAll(Doubt::OldDevice);
    }
    device.refuse = [](const Item&) { return true; };
    const Report refused = Sync();
    EXPECT_EQ(refused.counts.unresolved + refused.counts.failed, 1u);
    device.refuse = nullptr;
    Sync();
    EXPECT_THAT(folder.Contents(), UnorderedElementsAre(Fields{{"FirstName", "Ada"}, {"Phone", "2"}}));
    ExpectAgreement();
}

// Every point at which a pass can end: after it another pass must end as if nothing had happened.
TEST_F(AgreementTest, AfterACrashAtAnyCallTheNextPassEndsAsIfThereHadBeenNone) {
    options.batchSize = 3;
    int points = 0;
    for (int side = 0; side < 2; ++side) {
        for (int nth = 1;; ++nth) {
            device = MemoryStore(MemoryStore::Kind::ChangeFlags, "device");
            folder = MemoryStore(MemoryStore::Kind::Revisions, "folder");
            std::filesystem::remove(m_folderPath / "state.db");
            for (int i = 0; i < 8; ++i) device.Add(Person("D" + std::to_string(i), {{"Phone", "1"}}));
            Sync();
            const auto d = device.Ids();
            const auto f = folder.Ids();
            device.Edit(d[0], "Phone", "2");
            folder.Edit(f[1], "City", "B");
            device.Edit(d[2], "Phone", "3");
            folder.Edit(f[2], "Phone", "4");
            device.Remove(d[3]);
            folder.Remove(f[4]);
            device.Add(Person("New on device"));
            folder.Add(Person("New in folder"));

            MemoryStore& crashing = side == 0 ? device : folder;
            crashing.crashAtCall = nth;
            bool crashed = false;
            try {
                Sync();
            } catch (const Crash&) {
                crashed = true;
            }
            crashing.crashAtCall = 0;
            Sync();
            const std::multiset<Fields> expected{
                {{"FirstName", "D0"}, {"Phone", "2"}}, {{"FirstName", "D1"}, {"Phone", "1"}, {"City", "B"}},
                {{"FirstName", "D2"}, {"Phone", "4"}}, {{"FirstName", "D2"}, {"Phone", "3"}},
                {{"FirstName", "D5"}, {"Phone", "1"}}, {{"FirstName", "D6"}, {"Phone", "1"}},
                {{"FirstName", "D7"}, {"Phone", "1"}}, {{"FirstName", "New on device"}},
                {{"FirstName", "New in folder"}}};
            EXPECT_EQ(device.Contents(), expected) << "side " << side << ", crash at call " << nth;
            ExpectAgreement();
            if (HasFailure()) return;
            if (!crashed) break;
            ++points;
        }
    }
    EXPECT_GT(points, 30);
}

}  // namespace
}  // namespace kez::sync
