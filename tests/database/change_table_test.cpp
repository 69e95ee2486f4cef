// The change tables: states of both partners, deletions, clean-up behind this program's own writes.
#include "tests/database/database_fixture.h"

namespace kez::tests {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using States = std::optional<std::pair<std::int64_t, std::int64_t>>;

class ChangeTable : public DatabaseTest {
 protected:
    ChangeTable() { MakeVolumes(); }

    // An open database with its change table open.
    std::unique_ptr<ContactDatabase> Open(LONG partner = 0) {
        auto database = std::make_unique<ContactDatabase>(partner);
        database->OpenDatabase();
        database->OpenDbDelta(1);
        return database;
    }
    // Every deleted identifier, as a notification collects them.
    static std::vector<CEOID> CollectDeleted(ContactDatabase& database) {
        std::vector<CEOID> found;
        CEOID oid = 0;
        for (BOOL first = TRUE; database.DBGetDeletedAndClear(&oid, first); first = FALSE) found.push_back(oid);
        return found;
    }
};

TEST_F(ChangeTable, AChangeIsReportedOnceAndThenReadsZero) {
    tables->Put(11, 1, 1);
    tables->Put(12, 77, 0);
    auto database = Open();
    EXPECT_TRUE(database->DBOidCheckAndClear(11));
    EXPECT_TRUE(database->DBOidCheckAndClear(12)) << "any state but 0 and 2 is a change";
    EXPECT_FALSE(database->DBOidCheckAndClear(11));
    EXPECT_EQ(tables->States(11), (States{{0, 1}})) << "the other partner's state stays";
    EXPECT_EQ(tables->States(12), (States{{0, 0}}));
}

TEST_F(ChangeTable, EachPartnerClearsItsOwnStateOfOneRecord) {
    tables->Put(11, 1, 1);
    EXPECT_TRUE(Open(1)->DBOidCheckAndClear(11));
    EXPECT_EQ(tables->States(11), (States{{1, 0}}));
    EXPECT_TRUE(Open(0)->DBOidCheckAndClear(11));
    EXPECT_EQ(tables->States(11), (States{{0, 0}}));
}

TEST_F(ChangeTable, ADeletedStateIsLeftForTheCollectionOfDeletions) {
    tables->Put(11, 2, 2);
    auto database = Open();
    EXPECT_FALSE(database->DBOidCheckAndClear(11));
    EXPECT_EQ(tables->States(11), (States{{2, 2}}));
    EXPECT_THAT(CollectDeleted(*database), ElementsAre(11u));
    EXPECT_EQ(tables->States(11), std::nullopt);
}

TEST_F(ChangeTable, AStateThatTheRecordLacksIsNothingToReport) {
    tables->Put(11, std::nullopt, 1);
    auto database = Open(0);
    EXPECT_FALSE(database->DBOidCheckAndClear(11));
    EXPECT_EQ(tables->States(11), (States{{-1, 1}}));
}

TEST_F(ChangeTable, ADeletionCollectedByOnePartnerIsLostToTheOther) {
    tables->Put(11, 2, 2);
    auto first = Open(0);
    EXPECT_THAT(CollectDeleted(*first), ElementsAre(11u));
    auto second = Open(1);
    EXPECT_TRUE(CollectDeleted(*second).empty());
}

TEST_F(ChangeTable, ADeletionForTheOtherPartnerAloneStays) {
    tables->Put(11, 0, 2);
    auto database = Open(0);
    EXPECT_TRUE(CollectDeleted(*database).empty());
    EXPECT_EQ(tables->States(11), (States{{0, 2}}));
}

TEST_F(ChangeTable, CollectingDeletionsNeitherSkipsNorRepeatsAnyWhereRecordsGoOnTheWay) {
    for (CEOID oid = 1; oid <= 20; ++oid) tables->Put(oid, oid % 3 == 0 ? 0 : 2, 2);
    auto database = Open();
    std::vector<CEOID> expected;
    for (CEOID oid = 1; oid <= 20; ++oid) {
        if (oid % 3 != 0) expected.push_back(oid);
    }
    EXPECT_EQ(CollectDeleted(*database), expected);
    EXPECT_EQ(tables->Count(), 6u);
}

TEST_F(ChangeTable, WithoutAnyRecordTheIdentifierIsLeftUntouched) {
    auto database = Open();
    Trace(25);
    CEOID oid = 4711;
    EXPECT_FALSE(database->DBGetDeletedAndClear(&oid, TRUE));
    EXPECT_EQ(oid, 4711u);
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::DBGetDeletedAndClear +", "MoveFirst",
                                   "CKezAspDB::DBGetDeletedAndClear() no records in delta table -"));
}

TEST_F(ChangeTable, WithRecordsButNoDeletionTheIdentifierBecomesZero) {
    tables->Put(11, 1, 2);
    auto database = Open();
    Trace(25);
    CEOID oid = 4711;
    EXPECT_FALSE(database->DBGetDeletedAndClear(&oid, TRUE));
    EXPECT_EQ(oid, 0u);
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::DBGetDeletedAndClear +", "MoveFirst", "CurrIndex = 0", "Checking oid 11",
                                   "CKezAspDB::DBGetDeletedAndClear (oid = 0, bRes = 0) -"));
}

TEST_F(ChangeTable, TheIdentifierNeedNotBeAskedFor) {
    tables->Put(11, 2, 2);
    auto database = Open();
    EXPECT_TRUE(database->DBGetDeletedAndClear(nullptr, TRUE));
    EXPECT_EQ(tables->Count(), 0u);
}

TEST_F(ChangeTable, TracesWhatItFindsWhileCollecting) {
    tables->Put(11, 1, 0);
    tables->Put(12, 2, 0);
    auto database = Open();
    Trace(25);
    CEOID oid = 0;
    EXPECT_TRUE(database->DBGetDeletedAndClear(&oid, TRUE));
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::DBGetDeletedAndClear +", "MoveFirst", "CurrIndex = 0", "Checking oid 11",
                                   "CurrIndex = 1", "Checking oid 12", "Found deleted record (oid = 12)",
                                   "CKezAspDB::DBGetDeletedAndClear (oid = 12, bRes = 1) -"));
}

TEST_F(ChangeTable, WithoutAnOpenTableNothingIsChangedOrDeleted) {
    ContactDatabase database;
    Trace(25);
    CEOID oid = 5;
    EXPECT_FALSE(database.DBOidCheckAndClear(255));
    EXPECT_FALSE(database.DBGetDeletedAndClear(&oid, TRUE));
    EXPECT_EQ(oid, 5u);
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::DBOidCheckAndClear(oid=0xff) +",
                                   "CKezAspDB::DBOidCheckAndClear(oid=0xff) (no delta file open) -",
                                   "CKezAspDB::DBGetDeletedAndClear +",
                                   "CKezAspDB::DBGetDeletedAndClear() (no delta file open) -"));
}

TEST_F(ChangeTable, CheckingTracesWhatItFound) {
    tables->Put(11, 1, 0);
    auto database = Open();
    Trace(25);
    database->DBOidCheckAndClear(11);
    database->DBOidCheckAndClear(12);
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::DBOidCheckAndClear(oid=0xb) +",
                                   "CKezAspDB::DBOidCheckAndClear oid=11, Modified=1 -",
                                   "CKezAspDB::DBOidCheckAndClear(oid=0xc) +",
                                   "CKezAspDB::DBOidCheckAndClear(oid=0xc) oid not found  -"));
}

struct ReadFailure {
    DWORD error;
    const char* text;
};
class ChangeTableRead : public ChangeTable, public ::testing::WithParamInterface<ReadFailure> {};

TEST_P(ChangeTableRead, AFailedReadIsTracedByItsErrorAndIsNoChange) {
    tables->Put(11, 1, 0);
    auto database = Open();
    Trace(25);
    FailOnce("CeReadRecordProps", GetParam().error);
    EXPECT_FALSE(database->DBOidCheckAndClear(11));
    const std::vector<std::string> log = Log();
    ASSERT_EQ(log.size(), 5u);
    EXPECT_EQ(log[1], "CKezAspDB::DBOidCheckAndClear rgProps==NULL!");
    EXPECT_EQ(log[2], std::string("CKezAspDB::DBOidCheckAndClear::ERR: ") + GetParam().text);
    EXPECT_THAT(log[3], ::testing::MatchesRegex(
                            "CKezAspDB::DBOidCheckAndClear - CEWriteRecordProps::\\([0-9]+<>11\\)! NULL -"));
    EXPECT_EQ(log[4], "CKezAspDB::DBOidCheckAndClear oid=11, Modified=0 -");
    EXPECT_EQ(tables->States(11), (States{{1, 0}})) << "the change is there for the next time";
}

TEST_P(ChangeTableRead, AFailedReadEndsTheCollectionOfDeletions) {
    tables->Put(11, 2, 0);
    auto database = Open();
    Trace(25);
    FailOnce("CeReadRecordProps", GetParam().error);
    CEOID oid = 4711;
    EXPECT_FALSE(database->DBGetDeletedAndClear(&oid, TRUE));
    EXPECT_EQ(oid, 0u);
    const std::vector<std::string> log = Log();
    ASSERT_EQ(log.size(), 7u);
    EXPECT_EQ(log[3], "CKezAspDB::DBGetDeletedAndClear rgProps==NULL!");
    EXPECT_EQ(log[4], std::string("CKezAspDB::DBGetDeletedAndClear::ERR: ") + GetParam().text);
    EXPECT_THAT(log[5], ::testing::MatchesRegex(
                            "CKezAspDB::DBGetDeletedAndClear - CeReadRecordProps::\\([0-9]+<>0\\)! NULL -"));
    EXPECT_EQ(tables->Count(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    , ChangeTableRead,
    ::testing::Values(ReadFailure{87, "A parameter was invalid."},
                      ReadFailure{112, "There was not enough space in the object store to write the properties."},
                      ReadFailure{1018, "Unknown Error: 3fa"}),
    [](const auto& test) { return "Error" + std::to_string(test.param.error); });

// --- Opening ---

struct OpenFailure {
    DWORD error;
    const char* text;
};
class ChangeTableOpen : public ChangeTable, public ::testing::WithParamInterface<OpenFailure> {};

TEST_P(ChangeTableOpen, AFailureIsTracedByItsErrorAndStillTrue) {
    ContactDatabase database;
    Trace(25);
    FailOnce("CeOpenDatabaseInSession", GetParam().error);
    EXPECT_TRUE(database.OpenDbDelta(1));
    EXPECT_EQ(database.m_hDbDelta, INVALID_HANDLE_VALUE);
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::OpenDbDelta::DBDelta XX (iSortField = 1) +",
                                   "Error opening Delta table: " + std::to_string(GetParam().error), GetParam().text,
                                   "CKezAspDB::OpenDbDelta::DBDelta-", "CKezAspDB::OpenDbDelta::DBDelta XX-"));
}

INSTANTIATE_TEST_SUITE_P(
    , ChangeTableOpen,
    ::testing::Values(OpenFailure{8, "CKezAspDB::Open Delta Database::ERROR_NOT_ENOUGH_MEMORY 00000008-"},
                      OpenFailure{87, "CKezAspDB::Open Delta Database::ERROR_INVALID_PARAMETER 00000057-"},
                      OpenFailure{2, "CKezAspDB::Open Delta Database::Database \"\\KEZDeltaA\" doesn't exist -"},
                      OpenFailure{112, "unkown error code: 00000070"},
                      OpenFailure{1168, "unkown error code: 00000490"}),
    [](const auto& test) { return "Error" + std::to_string(test.param.error); });

TEST_F(ChangeTable, OpeningTracesTheNumberOfRecordsAndASecondOpenDoesNothing) {
    tables->Put(11, 1, 0);
    ContactDatabase database;
    Trace(25);
    database.OpenDbDelta(1);
    const HANDLE table = database.m_hDbDelta;
    database.OpenDbDelta(1);
    EXPECT_EQ(database.m_hDbDelta, table);
    std::vector<std::string> lines;
    for (const std::string& line : Log()) lines.push_back(Masked(line));
    EXPECT_THAT(lines, ElementsAre("CKezAspDB::OpenDbDelta::DBDelta XX (iSortField = 1) +", "Opened Delta table: *",
                                   "Records in Delta table: 1", "CKezAspDB::OpenDbDelta::DBDelta XX-"));
}

TEST_F(ChangeTable, EachTypeHasItsTable) {
    tables->Put(1, 1, 0, 'A');
    tables->Put(2, 1, 0, 'D');
    tables->Put(3, 1, 0, 'T');
    AppointmentDatabase appointments;
    TaskDatabase tasks;
    appointments.OpenDatabase();
    appointments.OpenDbDelta(1);
    tasks.OpenDatabase();
    tasks.OpenDbDelta(1);
    EXPECT_FALSE(appointments.DBOidCheckAndClear(1));
    EXPECT_TRUE(appointments.DBOidCheckAndClear(2));
    EXPECT_TRUE(tasks.DBOidCheckAndClear(3));
}

TEST_F(ChangeTable, CategoriesHaveNoTable) {
    CategoriesDatabase database;
    database.OpenDbDelta(1);
    EXPECT_EQ(database.m_hDbDelta, INVALID_HANDLE_VALUE);
}

TEST_F(ChangeTable, AnotherSortFieldIsNoPrimaryKeyAndDoesNotOpen) {
    ContactDatabase database;
    EXPECT_TRUE(database.OpenDbDelta(2));
    EXPECT_EQ(database.m_hDbDelta, INVALID_HANDLE_VALUE);
}

// --- Clearing ---

TEST_F(ChangeTable, ClearingOpensTheTableAndSetsTheStateToZero) {
    tables->Put(11, 1, 1);
    ContactDatabase database;
    database.OpenDatabase();
    Trace(25);
    EXPECT_TRUE(database.ClearDeltaEntry(11));
    EXPECT_EQ(tables->States(11), (States{{0, 1}}));
    EXPECT_THAT(Log(),
                IsSupersetOf({"ClearDeltaEntry(11) +", "Invalid handle, attempting to open new m_hDbDelta handle",
                              "Cleared Delta Entry", "ClearDeltaEntry() -"}));
}

TEST_F(ChangeTable, ClearingClearsADeletedStateToo) {
    tables->Put(11, 2, 2);
    EXPECT_TRUE(Open()->ClearDeltaEntry(11));
    EXPECT_EQ(tables->States(11), (States{{0, 2}}));
}

TEST_F(ChangeTable, AnIdentifierWithoutAChangeRecordIsNotCleared) {
    auto database = Open();
    Trace(25);
    EXPECT_FALSE(database->ClearDeltaEntry(11));
    EXPECT_THAT(Log(), ElementsAre("ClearDeltaEntry(11) +", "Failed to find record", "ClearDeltaEntry() -"));
}

TEST_F(ChangeTable, AFailedWriteIsNotCleared) {
    tables->Put(11, 1, 1);
    auto database = Open();
    Trace(25);
    FailOnce("CeWriteRecordProps", ERROR_DISK_FULL);
    EXPECT_FALSE(database->ClearDeltaEntry(11));
    EXPECT_THAT(Log(), ElementsAre("ClearDeltaEntry(11) +", "Failed writing props", "ClearDeltaEntry() -"));
}

TEST_F(ChangeTable, AFailedSeekFindsNoRecord) {
    tables->Put(11, 1, 1);
    auto database = Open();
    FailOnce("CeSeekDatabaseEx", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(database->ClearDeltaEntry(11));
    FailOnce("CeSeekDatabaseEx", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(database->DBOidCheckAndClear(11));
    EXPECT_TRUE(database->DBOidCheckAndClear(11));
}

class NoChangeTable : public DatabaseTest {};

TEST_F(NoChangeTable, ClearingWithoutAVolumeFails) {
    ContactDatabase database;
    Trace(25);
    EXPECT_FALSE(database.ClearDeltaEntry(11));
    const std::vector<std::string> log = Log();
    ASSERT_GE(log.size(), 3u);
    EXPECT_EQ(log[log.size() - 2], "Invalid m_hDbDelta");
    EXPECT_EQ(log.back(), "ClearDeltaEntry() -");
    EXPECT_FALSE(propertydb::Volume::Exists(TEXT("\\KezDBNotify.vol"))) << "the volume is never made here";
}

TEST_F(NoChangeTable, AVolumeWithoutTheTableNamesIt) {
    ChangeTables empty(false);
    ContactDatabase database;
    Trace(25);
    database.OpenDbDelta(1);
    EXPECT_EQ(database.m_hDbDelta, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(Logged("CKezAspDB::Open Delta Database::Database \"\\KEZDeltaA\" doesn't exist -"));
}

// --- Clean-up ---

struct SleepLength {
    DWORD identifiers;
    std::uint32_t seconds;
};
class CleanupSleep : public ChangeTable, public ::testing::WithParamInterface<SleepLength> {};

TEST_P(CleanupSleep, LastsTenMillisecondsAnIdentifierWithinThreeToSixtySeconds) {
    ContactDatabase database;
    for (DWORD i = 1; i <= GetParam().identifiers; ++i) database.RememberOwnWrite(i);
    FailOnce("CeOpenDatabaseInSession", ERROR_FILE_NOT_FOUND);
    control::Fault never;
    never.call = "CeMountDBVolEx";
    never.times = 1000000;
    never.code = ERROR_FILE_NOT_FOUND;
    control::PlanFault(never);  // clearing is not what is measured
    database.CleanupIds();
    control::ClearFaults();
    EXPECT_THAT(control::TakeRecordedSleeps(), ElementsAre(GetParam().seconds * 1000));
    EXPECT_EQ(database.m_cleanupList, nullptr);
}

INSTANTIATE_TEST_SUITE_P(, CleanupSleep,
                         ::testing::Values(SleepLength{0, 3}, SleepLength{1, 3}, SleepLength{399, 3},
                                           SleepLength{400, 4}, SleepLength{450, 4}, SleepLength{5999, 59},
                                           SleepLength{6000, 60}, SleepLength{7000, 60}),
                         [](const auto& test) { return "For" + std::to_string(test.param.identifiers); });

TEST_F(ChangeTable, CleanupClearsNewestFirstAndCountsWhatItCleared) {
    tables->Put(11, 1, 1);
    tables->Put(12, 1, 1);
    auto database = Open();
    database->RememberOwnWrite(11);
    database->RememberOwnWrite(99);
    database->RememberOwnWrite(12);
    Trace(25);
    database->CleanupIds();
    EXPECT_THAT(Log(), ElementsAre("Cleaning up all delta entries in deconstructor", "Sleeping for 3 seconds",
                                   "ClearDeltaEntry(12) +", "Cleared Delta Entry", "ClearDeltaEntry() -",
                                   "ClearDeltaEntry(99) +", "Failed to find record", "ClearDeltaEntry() -",
                                   "ClearDeltaEntry(11) +", "Cleared Delta Entry", "ClearDeltaEntry() -",
                                   "Warning!! Only able to cleanup 2 of 3 ids", "CleanupIds() DONE"));
    EXPECT_EQ(tables->States(11), (States{{0, 1}}));
    EXPECT_EQ(tables->States(12), (States{{0, 1}}));
    EXPECT_EQ(database->m_cleanupList, nullptr);
}

TEST_F(ChangeTable, CleanupWritesOneLineEachTimeIntoItsReport) {
    tables->Put(11, 1, 1);
    auto database = Open();
    database->RememberOwnWrite(11);
    database->CleanupIds();
    database->CleanupIds();
    EXPECT_EQ(device.ReadText("CleanupIds.txt"),
              "Start: 0302 10:00:00 End: 0302 10:00:03 CleanupIds (Contacts Database): 1 of 1 ids deleted\r\n"
              "Start: 0302 10:00:03 End: 0302 10:00:06 CleanupIds (Contacts Database): 0 of 0 ids deleted\r\n");
}

TEST_F(ChangeTable, AReportThatCannotBeOpenedIsLeftOut) {
    auto database = Open();
    FailOnce("CreateFileW", ERROR_ACCESS_DENIED);
    database->CleanupIds();
    EXPECT_FALSE(std::filesystem::exists(device.Folder() / "CleanupIds.txt"));
}

TEST_F(ChangeTable, ClosingTheTableRunsTheCleanupAlsoWhereItIsClosed) {
    auto database = Open();
    database->CloseDbDelta();
    EXPECT_EQ(database->m_hDbDelta, INVALID_HANDLE_VALUE);
    database->CloseDbDelta();
    EXPECT_THAT(control::TakeRecordedSleeps(), ElementsAre(3000u, 3000u));
}

TEST_F(ChangeTable, ClosingTheTableOfAWriteClearsItAgain) {
    auto database = Open();
    database->RememberOwnWrite(11);
    tables->Put(11, 1, 1);  // the change writer was late
    database->CloseDbDelta();
    EXPECT_EQ(tables->States(11), (States{{0, 1}}));
    EXPECT_EQ(database->m_hDbDelta, INVALID_HANDLE_VALUE);
}

}  // namespace
}  // namespace kez::tests
