// Opening and closing, the order of the virtual operations, and the answers from the members.
#include "tests/database/database_fixture.h"

namespace kez::tests {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using ::testing::Not;

class OpenDatabase : public DatabaseTest {};

TEST_F(OpenDatabase, FindsIdentifierCountTypeAndSortOrderOfItsDatabase) {
    MakeVolumes();
    AddPimRecord(TEXT("Contacts Database"), u"Ann");
    ContactDatabase database;
    EXPECT_TRUE(database.OpenDatabase());
    EXPECT_EQ(database.GetDbOid(), pim->FindDatabase(u"Contacts Database"));
    EXPECT_NE(database.GetDbHandle(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(database.m_ceodinfo_db.infDatabase.dwNumRecords, 1u);
    EXPECT_EQ(database.m_ceodinfo_db.infDatabase.dwDbaseType, 24u);
    EXPECT_EQ(database.m_ceodinfo_db.infDatabase.rgSortSpecs[0].rgPropID[0], 0x0080001Fu);
    EXPECT_EQ(database.m_deltaFlagPropId, kState0);
}

TEST_F(OpenDatabase, MakesItsThreeSessionsOnce) {
    MakeVolumes();
    ContactDatabase database;
    database.OpenDatabase();
    CCEPoom* const read = database.m_cpRead;
    EXPECT_NE(read, nullptr);
    EXPECT_NE(database.m_cpWrite, nullptr);
    EXPECT_NE(database.m_cpDelete, nullptr);
    database.CloseDatabase();
    EXPECT_EQ(database.m_cpRead, read) << "closing does not release the sessions";
    database.OpenDatabase();
    EXPECT_EQ(database.m_cpRead, read);
}

TEST_F(OpenDatabase, ASecondOpenNeitherRemountsNorReopens) {
    MakeVolumes();
    ContactDatabase database;
    database.OpenDatabase();
    const HANDLE handle = database.GetDbHandle();
    control::CountCalls(true);
    EXPECT_TRUE(database.OpenDatabase());
    EXPECT_EQ(control::CallCount("CeMountDBVolEx"), 0u);
    EXPECT_EQ(control::CallCount("CeOpenDatabaseInSession"), 0u);
    control::CountCalls(false);
    EXPECT_EQ(database.GetDbHandle(), handle);
}

TEST_F(OpenDatabase, TracesEachStep) {
    MakeVolumes();
    CategoriesDatabase database;
    Trace(50);
    database.OpenDatabase();
    database.CloseDatabase();
    std::vector<std::string> lines;
    for (const std::string& line : Log()) lines.push_back(Masked(line));
    EXPECT_THAT(lines, ElementsAre("CKezAspDB::OpenDatabase \"\\Categories Database\" +", "Using EDB",
                                   "CKezAspDB::OpenDatabase Retrieving volumn GUID for pim.vol",
                                   "GetDBVolGuid() retrieved guid: *", "CKezAspDB::OpenDatabase::OPEN! hDatabase=*",
                                   "CKezAspDB::OpenDatabase::m_ceodinfo_db->oidInfo->wObjType=OBJTYPE_DATABASE",
                                   "CKezAspDB::OpenDatabase::m_ceodinfo_db->dwDbaseType=0",
                                   "CKezAspDB::OpenDatabase::m_ceodinfo_db->dwNumRecords=0",
                                   ::testing::StartsWith("CKezAspDB::OpenDatabase::m_ceodinfo_db->ftLastModified="),
                                   "CKezAspDB::OpenDatabase -", "CKezAspDB::Close database! hDatabase=*"));
}

TEST_F(OpenDatabase, AMissingVolumeLeavesItClosedAndIsTraced) {
    ContactDatabase database;
    Trace(50);
    EXPECT_FALSE(database.OpenDatabase());
    EXPECT_EQ(database.GetDbHandle(), INVALID_HANDLE_VALUE);
    EXPECT_THAT(Log(), IsSupersetOf({"GetDBVolGuid() failed - 2",
                                     "CKezAspDB::OpenDatabase::Database \"Contacts Database\" doesn't exist -"}));
}

TEST_F(OpenDatabase, AMissingDatabaseIsNamed) {
    propertydb::Volume::OpenOrCreate(TEXT("\\pim.vol"));
    TaskDatabase database;
    Trace(25);
    EXPECT_FALSE(database.OpenDatabase());
    EXPECT_TRUE(Logged("CKezAspDB::OpenDatabase::Database \"Tasks Database\" doesn't exist -"));
}

TEST_F(OpenDatabase, TooLittleMemoryHasATextOfItsOwn) {
    MakeVolumes();
    ContactDatabase database;
    FailOnce("CeOpenDatabaseInSession", ERROR_NOT_ENOUGH_MEMORY, 2);
    Trace(25);
    EXPECT_FALSE(database.OpenDatabase());
    EXPECT_THAT(Log(), IsSupersetOf({"LastError = 8", "CKezAspDB::OpenDatabase::ERROR_NOT_ENOUGH_MEMORY -"}));
}

TEST_F(OpenDatabase, AFailedOpenCanBeTriedAgain) {
    MakeVolumes();
    ContactDatabase database;
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    EXPECT_FALSE(database.OpenDatabase());
    EXPECT_TRUE(database.OpenDatabase());
}

TEST_F(OpenDatabase, AFailedMountLetsTheOpenFail) {
    MakeVolumes();
    ContactDatabase database;
    FailOnce("CeMountDBVolEx", ERROR_NOT_ENOUGH_MEMORY);
    Trace(50);
    EXPECT_FALSE(database.OpenDatabase());
    EXPECT_TRUE(Logged("GetDBVolGuid() failed - 8"));
}

TEST_F(OpenDatabase, ClosingClosesTheChangeTableTooAndForgetsTheIdentifiers) {
    MakeVolumes();
    ContactDatabase database;
    database.OpenDatabase();
    database.OpenDbDelta(1);
    Trace(50);
    EXPECT_TRUE(database.CloseDatabase());
    EXPECT_EQ(database.m_hDbDelta, INVALID_HANDLE_VALUE);
    EXPECT_EQ(database.GetDbOid(), 0u);
    EXPECT_TRUE(CHECK_SYSTEMGUID(&database.m_guidPim));
    EXPECT_TRUE(CHECK_SYSTEMGUID(&database.m_guidDelta));
    EXPECT_TRUE(Logged("CleanupIds() DONE"));
    EXPECT_THAT(control::TakeRecordedSleeps(), ElementsAre(3000u));
}

TEST_F(OpenDatabase, ClosingAClosedDatabaseIsTrue) {
    ContactDatabase database;
    EXPECT_TRUE(database.CloseDatabase());
    EXPECT_TRUE(control::TakeRecordedSleeps().empty());
}

TEST_F(OpenDatabase, DestructionGivesEverythingBack) {
    MakeVolumes();
    const control::LiveCounts before = control::Live();
    {
        ContactDatabase database;
        database.OpenDatabase();
        database.OpenDbDelta(1);
        database.GetObjectNotifyBlock(4);
        database.RememberOwnWrite(7);
    }
    EXPECT_EQ(control::Live(), before) << control::Describe(control::Live());
}

TEST_F(OpenDatabase, DestructionFreesInItsOrderAndStillKnowsTheName) {
    MakeVolumes();
    auto database = std::make_unique<TaskDatabase>();
    database->OpenDatabase();
    database->OpenDbDelta(1);
    Trace(50);
    database.reset();
    const std::vector<std::string> log = Log();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.front(), "FreeObjectNotifyBlock()");
    EXPECT_EQ(log.back(), "CKezAspDB::~CKezAspDB()");
    EXPECT_THAT(device.ReadText("CleanupIds.txt"),
                ::testing::EndsWith("CleanupIds (Tasks Database): 0 of 0 ids deleted\r\n"));
}

TEST_F(OpenDatabase, GotoPrimaryKeyIsTrueForEveryIdentifierButZero) {
    MakeVolumes();
    ContactDatabase database;
    Trace(50);
    EXPECT_FALSE(database.GotoPrimaryKey(0));
    EXPECT_TRUE(database.GotoPrimaryKey(4711));
    EXPECT_THAT(Log(),
                IsSupersetOf({"CKezAspDB::GotoPrimaryKey(0) +", "CKezAspDB::GotoPrimaryKey:: - (oid == 0) FALSE -",
                              "CKezAspDB::GotoPrimaryKey(4711) +"}));
}

TEST_F(OpenDatabase, GotoPrimaryKeyFailsWhereTheDatabaseDoesNotOpen) {
    ContactDatabase database;
    Trace(50);
    EXPECT_FALSE(database.GotoPrimaryKey(4711));
    EXPECT_TRUE(Logged("CKezAspDB::GotoPrimaryKey:: - (db not open) FALSE -"));
}

TEST_F(OpenDatabase, EachPartnerHasAFlagOfItsOwn) {
    EXPECT_EQ(ContactDatabase(0).GetDeltaPropId(), 0xFFFD0013u);
    EXPECT_EQ(ContactDatabase(1).GetDeltaPropId(), 0xFFFE0013u);
    EXPECT_EQ(ContactDatabase(2).GetDeltaPropId(), 0xFFFE0013u) << "every other number shares the second";
}

TEST_F(OpenDatabase, GetLastDttmGivesTheTimeOfTheLastOpen) {
    MakeVolumes();
    ContactDatabase database;
    database.m_ceodinfo_db.infDatabase.ftLastModified = {0xD53E8000, 0x019DB1DE};
    Trace(50);
    FILETIME time = {};
    EXPECT_TRUE(database.GetLastDttm(&time));
    EXPECT_EQ(time.dwHighDateTime, 0x019DB1DEu);
    ASSERT_EQ(Log().size(), 1u);
    EXPECT_THAT(Log()[0], ::testing::StartsWith("CKezAspDB::GetLastDttm = "));
}

TEST_F(OpenDatabase, FindPropValTakesTheFirstOfAnIdentifier) {
    ContactDatabase database;
    CEPROPVAL props[3] = {};
    props[0].propid = 1;
    props[1].propid = 2;
    props[2].propid = 2;
    EXPECT_EQ(database.FindPropVal(2, props, 3), &props[1]);
    EXPECT_EQ(database.FindPropVal(3, props, 3), nullptr);
    EXPECT_EQ(database.FindPropVal(1, props, 0), nullptr);
    EXPECT_EQ(database.FindPropVal(1, props, -1), nullptr);
}

TEST_F(OpenDatabase, ResetOnlyTraces) {
    ContactDatabase database;
    Trace(75);
    EXPECT_EQ(database.Reset(nullptr), 0);
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::Reset +", "CKezAspDB::Reset -"));
}

TEST_F(OpenDatabase, TypesDifferInNameAndLetter) {
    ContactDatabase contacts;
    TaskDatabase tasks;
    AppointmentDatabase appointments;
    CategoriesDatabase categories;
    EXPECT_EQ(std::u16string(contacts.GetDBName()), u"Contacts Database");
    EXPECT_EQ(std::u16string(tasks.GetDBName()), u"Tasks Database");
    EXPECT_EQ(std::u16string(appointments.GetDBName()), u"Appointments Database");
    EXPECT_EQ(std::u16string(categories.GetDBName()), u"\\Categories Database") << "alone with a leading backslash";
    EXPECT_EQ(contacts.m_typeLetter, 'A');
    EXPECT_EQ(tasks.m_typeLetter, 'T');
    EXPECT_EQ(appointments.m_typeLetter, 'D');
    EXPECT_EQ(categories.m_typeLetter, 'G');
    EXPECT_TRUE(contacts.m_usePoom);
    EXPECT_FALSE(categories.m_usePoom) << "the word behind the type tag is cleared";
}

TEST_F(OpenDatabase, ConstructionTracesThePartner) {
    Trace(50);
    { ContactDatabase database(1); }
    EXPECT_EQ(Log().front(), "CKezAspDB::CKezAspDB(PartnerID=1)");
}

// Answers every virtual operation with its place in the order.
class SlotProbe : public CKezAspDBContact {
 public:
    SlotProbe() : CKezAspDBContact(0) {}
    int slot = -1;
    CEOID DBWritePacket(CEOID, CKezCEPacket&) override { return Hit<CEOID>(1); }
    CEOID DBFillPacket(CEOID, CKezCEPacket&) override { return Hit<CEOID>(2); }
    BOOL OpenDatabase() override { return Hit<BOOL>(3); }
    BOOL CloseDatabase() override { return Hit<BOOL>(4); }
    CEOID DBFirstOID() override { return Hit<CEOID>(5); }
    CEOID DBNextOID() override { return Hit<CEOID>(6); }
    HRESULT DBDelete(CEOID, DWORD) override { return Hit<HRESULT>(7); }
    CEPROPVAL* FindPropVal(CEPROPID, CEPROPVAL*, LONG) override { return Hit<int>(8), nullptr; }
    BOOL DBOidCheckAndClear(CEOID) override { return Hit<BOOL>(9); }
    BOOL DBGetDeletedAndClear(CEOID*, BOOL) override { return Hit<BOOL>(10); }
    HRESULT FindObjects(FINDOBJINFO*) override { return Hit<HRESULT>(11); }
    BOOL GetLastDttm(FILETIME*) override { return Hit<BOOL>(12); }
    BOOL GetObjTypeInfo(OBJTYPEINFO*) override { return Hit<BOOL>(13); }
    BOOL ObjectNotify(OBJNOTIFY*) override { return Hit<BOOL>(14); }
    BOOL ObjectNotify_WinMobile2005(OBJNOTIFY*) override { return Hit<BOOL>(15); }
    CEPROPID GetDeltaPropId() override { return Hit<CEPROPID>(16); }
    HRESULT Purge() override { return Hit<HRESULT>(17); }
    HRESULT Reset(REPLSETUP*) override { return Hit<HRESULT>(18); }
    void CloseDbDelta() override { Hit<int>(19); }
    void CleanupIds() override { Hit<int>(20); }
    CEOID GetDbOid() override { return Hit<CEOID>(21); }
    HANDLE GetDbHandle() override { return Hit<int>(22), nullptr; }
    BOOL GotoPrimaryKey(CEOID) override { return Hit<BOOL>(23); }
    CEOID DBWriteRecord(CEOID, WORD, CEPROPVAL*) override { return Hit<CEOID>(24); }
    DWORD GetRecordCRC(CEOID) override { return Hit<DWORD>(25); }
    BOOL PropToPoom(CKezCEPacket&, const CEPROPVAL*, CCEPoom*) override { return Hit<BOOL>(26); }
    CEOID DBWritePoom(CEOID, CKezCEPacket&) override { return Hit<CEOID>(27); }
    LPCWSTR GetDBName() override { return Hit<int>(28), TEXT(""); }

 private:
    template <class T>
    T Hit(int number) {
        slot = number;
        return static_cast<T>(number);
    }
};

TEST(DatabaseSlots, EveryOperationIsReachedThroughItsPlaceInASubclassTable) {
    SlotProbe probe;
    // The compiler's table begins with two entries for the destructor, which is slot 0.
    void* const* table = *reinterpret_cast<void* const* const*>(static_cast<CKezAspDB*>(&probe));
    for (int slot = 1; slot <= 28; ++slot) {
        using Operation = void (*)(CKezAspDB*, void*, void*, void*);
        reinterpret_cast<Operation>(table[slot + 1])(&probe, nullptr, nullptr, nullptr);
        EXPECT_EQ(probe.slot, slot);
    }
}

TEST(DatabaseSlots, ASubclassAnswersWithItsOwnNameInItsLastSlot) {
    CKezAspDBAppt database(0);
    void* const* table = *reinterpret_cast<void* const* const*>(static_cast<CKezAspDB*>(&database));
    using Name = LPCWSTR (*)(CKezAspDB*);
    EXPECT_EQ(std::u16string(reinterpret_cast<Name>(table[29])(&database)), u"Appointments Database");
}

}  // namespace
}  // namespace kez::tests
