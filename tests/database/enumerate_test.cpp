// Listing: FindObjects and GetObjTypeInfo, with sessions that enumerate what a test gives them.
#include "tests/database/database_fixture.h"

namespace kez::tests {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using ::testing::Not;

class Listing : public DatabaseTest {
 protected:
    Listing() { MakeVolumes(); }

    // Everything the list holds, gap included; `counted` is what the record count said.
    static std::vector<UINT> ListOf(const FINDOBJINFO& info, std::size_t counted) {
        return std::vector<UINT>(info.poid, info.poid + counted);
    }
    static void Release(ContactDatabase& database, FINDOBJINFO& info) {
        info.uFlags = FO_DONE_ONE_VOL;
        database.FindObjects(&info);
    }

    FINDOBJINFO info = {};
};

TEST_F(Listing, PutsUnchangedInFrontAndChangedAtTheBackLatestFirst) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12, 13, 14, 15};
    tables->Put(12, 1, 1);
    tables->Put(14, 5, 1);
    tables->Put(15, 0, 1);
    EXPECT_EQ(database.FindObjects(&info), 0);
    EXPECT_EQ(info.cUnChg, 3u);
    EXPECT_EQ(info.cChg, 2u);
    EXPECT_THAT(ListOf(info, 5), ElementsAre(11u, 13u, 15u, 14u, 12u));
    Release(database, info);
}

TEST_F(Listing, LeavesAGapOfZerosWhereFewerWereFoundThanCounted) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12, 13};
    database.DoubleRead().counts = {6};
    tables->Put(12, 1, 1);
    database.FindObjects(&info);
    EXPECT_EQ(info.cUnChg, 2u);
    EXPECT_EQ(info.cChg, 1u);
    EXPECT_THAT(ListOf(info, 6), ElementsAre(11u, 13u, 0u, 0u, 0u, 12u));
    Release(database, info);
}

TEST_F(Listing, RecordsThatCameAfterTheCountFindNoRoomAndKeepTheirFlags) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12, 13, 14};
    database.DoubleRead().counts = {2};
    tables->Put(12, 1, 1);
    tables->Put(13, 1, 1);
    Trace(25);
    database.FindObjects(&info);
    EXPECT_EQ(info.cUnChg, 1u);
    EXPECT_EQ(info.cChg, 1u);
    EXPECT_THAT(ListOf(info, 2), ElementsAre(11u, 12u));
    EXPECT_EQ(tables->States(13)->first, 1) << "a change that was not told must not be cleared";
    EXPECT_TRUE(Logged("CKezAspDB::FindObjects - no room for oid=13 (2 records counted)"));
    Release(database, info);
}

TEST_F(Listing, AChangeIsListedOnceForEachPartner) {
    tables->Put(11, 1, 1);
    for (LONG partner : {0, 1}) {
        ContactDatabase database(partner);
        database.DoubleRead().oids = {11};
        FINDOBJINFO first = {};
        database.FindObjects(&first);
        EXPECT_EQ(first.cChg, 1u) << partner;
        Release(database, first);
        FINDOBJINFO second = {};
        database.FindObjects(&second);
        EXPECT_EQ(second.cChg, 0u) << partner;
        EXPECT_EQ(second.cUnChg, 1u) << partner;
        Release(database, second);
    }
}

TEST_F(Listing, DeletionsAreNotListed) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    tables->Put(12, 2, 2);
    database.FindObjects(&info);
    EXPECT_EQ(info.cChg, 0u);
    EXPECT_EQ(info.cUnChg, 1u);
    EXPECT_EQ(tables->Count(), 1u);
    Release(database, info);
}

TEST_F(Listing, WithoutAChangeTableEveryRecordIsUnchanged) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12};
    tables->Put(11, 1, 1);
    FailOnce("CeOpenDatabaseInSession", ERROR_FILE_NOT_FOUND, 3);
    Trace(25);
    database.FindObjects(&info);
    EXPECT_EQ(info.cUnChg, 2u);
    EXPECT_EQ(info.cChg, 0u);
    EXPECT_THAT(Log(), Not(Contains("CKezAspDB::FindObjects::Closed DbDelta")));
    EXPECT_TRUE(control::TakeRecordedSleeps().empty()) << "nothing was opened, so nothing is cleaned up";
    Release(database, info);
}

TEST_F(Listing, ATypeWithoutRecordsIsTriedOnceMoreAndLeavesTheStructureAlone) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    info.cChg = 77;
    info.cUnChg = 78;
    Trace(50);
    EXPECT_EQ(database.FindObjects(&info), 0);
    EXPECT_EQ(info.cChg, 77u);
    EXPECT_EQ(info.cUnChg, 78u);
    EXPECT_EQ(info.poid, nullptr);
    EXPECT_THAT(session.calls,
                ElementsAre("InitializeType 65", "GetRecordCount", "InitializeType 65", "GetRecordCount"));
    EXPECT_THAT(Log(), IsSupersetOf({"RecordCount is 0, trying InitializeType() and GetRecordCount() again",
                                     "Done retrying InitializeType() and GetRecordCount()",
                                     "CKezAspDB::FindObjects - No records -"}));
}

TEST_F(Listing, ASecondCountThatFindsRecordsGoesOn) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    database.DoubleRead().counts = {0, 1};
    database.FindObjects(&info);
    EXPECT_EQ(info.cUnChg, 1u);
    Release(database, info);
}

TEST_F(Listing, TheSecondCallFreesTheList) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    const std::int64_t before = control::Live().localBlocks;
    database.FindObjects(&info);
    EXPECT_EQ(control::Live().localBlocks, before + 1);
    Trace(50);
    info.uFlags = FO_DONE_ONE_VOL;
    EXPECT_EQ(database.FindObjects(&info), 0);
    EXPECT_EQ(control::Live().localBlocks, before);
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::FindObjects +", "CKezAspDB::FindObjects - FO_DONE_ONE_VOL -"));
    EXPECT_EQ(database.FindObjects(&info), 0) << "freeing twice does nothing";
}

TEST_F(Listing, AListThatFindsNoMemoryIsEmptyAndClearsNoFlag) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    tables->Put(11, 1, 1);
    FailOnce("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(database.FindObjects(&info), 0);
    EXPECT_EQ(info.poid, nullptr);
    EXPECT_EQ(info.cChg + info.cUnChg, 0u);
    EXPECT_EQ(tables->States(11)->first, 1);
}

TEST_F(Listing, AnUnopenedDatabaseIsTracedAndLeavesTheStructureAlone) {
    ContactDatabase database;
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    Trace(50);
    EXPECT_EQ(database.FindObjects(&info), 0);
    EXPECT_EQ(info.poid, nullptr);
    EXPECT_TRUE(Logged("CKezAspDB::FindObjects - OpenDatabase Failed -"));
}

TEST_F(Listing, ClosesAndReopensToSeeWhatIsThereNow) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    database.OpenDatabase();
    AddPimRecord(TEXT("Contacts Database"), u"Ann");
    EXPECT_EQ(database.m_ceodinfo_db.infDatabase.dwNumRecords, 0u);
    database.FindObjects(&info);
    EXPECT_EQ(database.m_ceodinfo_db.infDatabase.dwNumRecords, 1u);
    Release(database, info);
}

TEST_F(Listing, ClosesTheChangeTableBehindItself) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    Trace(25);
    database.FindObjects(&info);
    EXPECT_EQ(database.m_hDbDelta, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(Logged("CKezAspDB::FindObjects::Closed DbDelta"));
    EXPECT_THAT(control::TakeRecordedSleeps(), ElementsAre(3000u));
    Release(database, info);
}

TEST_F(Listing, TracesTheWholeListing) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12};
    tables->Put(12, 1, 1);
    Trace(50);
    database.FindObjects(&info);
    StopLog();
    EXPECT_EQ(DifferenceFrom(std::string(KEZ_TEST_DATA) + "/database/find_objects.txt", LogLines(device)), "");
    Release(database, info);
}

TEST_F(Listing, WithoutASessionThereAreNoRecords) {
    CategoriesDatabase database;  // makes no sessions
    Trace(50);
    EXPECT_EQ(database.FindObjects(&info), 0);
    EXPECT_THAT(Log(), IsSupersetOf({"WARNING!! m_cpRead is NULL!", "CKezAspDB::FindObjects - No records -"}));
}

// --- First and next ---

TEST_F(Listing, FirstAndNextOpenTheDatabaseAndRememberTheIdentifier) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12};
    Trace(50);
    EXPECT_EQ(database.DBFirstOID(), 11u);
    EXPECT_EQ(database.m_oidCurrent, 11u);
    EXPECT_EQ(database.DBNextOID(), 12u);
    EXPECT_EQ(database.DBNextOID(), 0u);
    EXPECT_EQ(database.m_oidCurrent, 0u);
    EXPECT_THAT(Log(), IsSupersetOf({"CKezAspDB::DBFirstOID oid=11", "CKezAspDB::DBNextOID oid=12",
                                     "CKezAspDB::DBNextOID oid=0"}));
}

TEST_F(Listing, FirstAndNextAreZeroWhereTheDatabaseDoesNotOpen) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    EXPECT_EQ(database.DBFirstOID(), 0u);
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    EXPECT_EQ(database.DBNextOID(), 0u);
}

// --- GetObjTypeInfo ---

TEST_F(Listing, TypeInfoIsCountNominalSizeAndNow) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12, 13};
    OBJTYPEINFO type = {};
    Trace(50);
    EXPECT_TRUE(database.GetObjTypeInfo(&type));
    EXPECT_EQ(std::u16string(type.szName), u"Contacts Database");
    EXPECT_THAT(database.DoubleRead().calls, ElementsAre("InitializeType 65", "GetRecordCount"));
    EXPECT_EQ(type.cObjects, 3u);
    EXPECT_EQ(type.cbAllObj, 3000u);
    SYSTEMTIME time = {};
    FileTimeToSystemTime(&type.ftLastModified, &time);
    EXPECT_EQ(time.wYear, 2026);
    EXPECT_EQ(time.wHour, 10);
    StopLog();
    EXPECT_EQ(DifferenceFrom(std::string(KEZ_TEST_DATA) + "/database/get_obj_type_info.txt", LogLines(device)), "");
}

TEST_F(Listing, TypeInfoOfAnUnopenedDatabaseIsFalse) {
    ContactDatabase database;
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    OBJTYPEINFO type = {};
    Trace(50);
    EXPECT_FALSE(database.GetObjTypeInfo(&type));
    EXPECT_EQ(type.cObjects, 0u);
    EXPECT_TRUE(Logged("CKezAspDB::GetObjTypeInfo - DB not open-"));
}

}  // namespace
}  // namespace kez::tests
