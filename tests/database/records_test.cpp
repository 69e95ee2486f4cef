// Records into packets and back, with sessions and items that hold what a test gives them.
#include "tests/database/database_fixture.h"
#include "tests/doubles/refusing_pocket_outlook.h"

namespace kez::tests {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using ::testing::Not;

CEPROPVAL Text(CEPROPID id, const char16_t* text) {
    CEPROPVAL prop = {};
    prop.propid = id;
    prop.val.lpwstr = const_cast<LPWSTR>(text);
    return prop;
}
CEPROPVAL Number(CEPROPID id, ULONG value) {
    CEPROPVAL prop = {};
    prop.propid = id;
    prop.val.ulVal = value;
    return prop;
}

// The properties of a packet by identifier.
std::vector<CEPROPID> Identifiers(CKezCEPacket& packet) {
    CEPROPVAL* props = nullptr;
    WORD count = 0;
    packet.GetPropList(&props, &count);
    std::vector<CEPROPID> ids;
    for (WORD i = 0; i < count; ++i) ids.push_back(props[i].propid);
    return ids;
}
const CEPROPVAL* Find(CKezCEPacket& packet, CEPROPID id) {
    CEPROPVAL* props = nullptr;
    WORD count = 0;
    packet.GetPropList(&props, &count);
    for (WORD i = 0; i < count; ++i) {
        if (props[i].propid == id) return &props[i];
    }
    return nullptr;
}

class AppointmentItem : public RefusingAppointment {
 public:
    DATE start = 46083.375;  // 2026-03-02 09:00
    HRESULT deleteResult = S_OK;
    HRESULT STDMETHODCALLTYPE get_Start(DATE* out) override {
        *out = start;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Delete() override {
        ++deletions;
        return deleteResult;
    }
    int deletions = 0;
};
class TaskItem : public RefusingTask {
 public:
    HRESULT STDMETHODCALLTYPE Delete() override { return E_ACCESSDENIED; }
};
class ContactItem : public RefusingContact {
 public:
    HRESULT STDMETHODCALLTYPE Delete() override { return S_OK; }
};

class Records : public DatabaseTest {
 protected:
    Records() { MakeVolumes(); }
    CKezCEPacket packet;
};

TEST_F(Records, AnUnknownIdentifierMakesAPacketWithIdentifierZeroAndNoProperties) {
    ContactDatabase database;
    database.DoubleRead();
    EXPECT_EQ(database.DBFillPacket(11, packet), 0u);
    EXPECT_EQ(packet.m_dwOid, 0u);
    EXPECT_EQ(packet.GetPropCount(), 0);
    EXPECT_EQ(packet.GetPacketBytes(), 110) << "it is produced all the same";
}

TEST_F(Records, FillingLoadsTheItemByLetterAndThenByDatabaseType) {
    ContactDatabase database;
    database.DoubleRead().loadable = {11};
    EXPECT_EQ(database.DBFillPacket(11, packet), 11u);
    EXPECT_EQ(packet.m_dwOid, 11u);
    EXPECT_THAT(database.DoubleRead().calls, ElementsAre("InitializeItem 11 65 11", "InitializeItem 11 24 11"));
}

TEST_F(Records, AnItemThatCannotBeLoadedASecondTimeIsSentWithoutItsTexts) {
    class Once : public SessionDouble {
        BOOL InitializeItem(CEOID, DWORD type, LONG) override { return type == 'A'; }
    };
    ContactDatabase database;
    auto* session = new Once;
    session->categories = u"Friends";
    session->properties = {Text(0x3A06001F, u"Ann")};
    database.m_cpRead = session;
    EXPECT_EQ(database.DBFillPacket(11, packet), 11u);
    EXPECT_THAT(Identifiers(packet), ElementsAre(0x3A06001Fu));
}

TEST_F(Records, FillingAddsTextsInThePlaceOfTheRawOnesAndDropsChangeFlags) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    session.properties = {Text(0x3A06001F, u"Ann"), Number(0xAFFD0013, 1), Number(0xAFFE0013, 1), Number(0x00160041, 0),
                          Number(0x00170041, 0)};
    session.categories = u"Friends, Work";
    session.note = u"Likes tea";
    database.DBFillPacket(11, packet);
    EXPECT_THAT(Identifiers(packet), ElementsAre(0x3A06001Fu, 0xAFF0001Fu, 0xAFF1000Bu, 0xAFFA001Fu));
    EXPECT_EQ(std::u16string(Find(packet, 0xAFF0001F)->val.lpwstr), u"Friends, Work");
    EXPECT_EQ(std::u16string(Find(packet, 0xAFFA001F)->val.lpwstr), u"Likes tea");
    EXPECT_EQ(Find(packet, 0xAFF1000B)->val.boolVal, FALSE);
}

TEST_F(Records, WithoutTextsTheRawOnesStay) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    session.properties = {Number(0x00160041, 0), Number(0x00170041, 0)};
    database.DBFillPacket(11, packet);
    EXPECT_THAT(Identifiers(packet), ElementsAre(0x00160041u, 0x00170041u, 0xAFF1000Bu));
}

TEST_F(Records, AnotherDatabaseTypeKeepsTheRawTexts) {
    ContactDatabase database;
    database.OpenDatabase();
    database.m_ceodinfo_db.infDatabase.dwDbaseType = 99;
    delete database.m_cpRead;
    database.m_cpRead = nullptr;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    session.properties = {Number(0x00160041, 0), Number(0x00170041, 0)};
    session.categories = u"Friends";
    session.note = u"Note";
    database.DBFillPacket(11, packet);
    EXPECT_THAT(Identifiers(packet), ElementsAre(0x00160041u, 0x00170041u, 0xAFF0001Fu, 0xAFF1000Bu, 0xAFFA001Fu));
}

TEST_F(Records, ARecurringItemBringsItsPatternAndBothExceptionTexts) {
    TaskDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    RecurrenceState& pattern = session.recurrence;
    pattern.bRecurrFound = TRUE;
    pattern.RecurrenceType = 1;
    pattern.DayOfWeekMask = 42;
    pattern.DayOfMonth = 3;
    pattern.MonthOfYear = 4;
    pattern.Interval = 5;
    pattern.Instance = 6;
    pattern.RecurrenceStartDate = 46083.5;
    pattern.RecurrenceEndDate = 7;
    pattern.PatternEndDate = 46090;
    pattern.bNoEndDate = TRUE;
    session.m_bstrExcList = SysAllocString(u"2026-03-09 10:00:00\t");
    session.m_bstrExcModList = SysAllocString(u"Moved~^!^~");
    database.DBFillPacket(11, packet);
    EXPECT_THAT(Identifiers(packet),
                ElementsAre(0xAFE0001Fu, 0xAFF1000Bu, 0xAFF10012u, 0xAFF20012u, 0xAFF30012u, 0xAFF40012u, 0xAFF50012u,
                            0xAFF60003u, 0xAFF70005u, 0xAFF80005u, 0xAFF9000Bu, 0xAFFF001Fu));
    EXPECT_EQ(Find(packet, 0xAFF1000B)->val.boolVal, TRUE);
    EXPECT_EQ(Find(packet, 0xAFF10012)->val.uiVal, 1);
    EXPECT_EQ(Find(packet, 0xAFF20012)->val.uiVal, 42);
    EXPECT_EQ(Find(packet, 0xAFF30012)->val.uiVal, 3);
    EXPECT_EQ(Find(packet, 0xAFF40012)->val.uiVal, 4);
    EXPECT_EQ(Find(packet, 0xAFF50012)->val.uiVal, 5);
    EXPECT_EQ(Find(packet, 0xAFF60003)->val.lVal, 6);
    EXPECT_EQ(Find(packet, 0xAFF70005)->val.dblVal, 46083.5);
    EXPECT_EQ(Find(packet, 0xAFF80005)->val.dblVal, 46090) << "sent is the pattern's end";
    EXPECT_EQ(Find(packet, 0xAFF9000B)->val.boolVal, TRUE);
    EXPECT_EQ(std::u16string(Find(packet, 0xAFFF001F)->val.lpwstr), u"2026-03-09 10:00:00\t");
    EXPECT_EQ(std::u16string(Find(packet, 0xAFE0001F)->val.lpwstr), u"Moved~^!^~");
}

TEST_F(Records, AnAppointmentBringsItsRecipientsAndItsStartInUtc) {
    control::SetCurrentBias(-60);  // an hour ahead of UTC
    AppointmentDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    session.recipients = u"Ann;ann@example.org";
    session.properties = {Number(0x420D0040, 4711)};
    auto* item = new AppointmentItem;
    session.m_pAppt = item;
    Trace(50);
    database.DBFillPacket(11, packet);
    session.m_pAppt = nullptr;
    item->Release();
    EXPECT_THAT(Identifiers(packet), ElementsAre(0x420D0040u, 0xAFF1000Bu, 0xAFFC001Fu));
    EXPECT_EQ(std::u16string(Find(packet, 0xAFFC001F)->val.lpwstr), u"Ann;ann@example.org");
    EXPECT_DOUBLE_EQ(Find(packet, 0x420D0040)->val.dblVal, 46083.375 - 1 / 24.0) << "a DATE under a FILETIME's type";
    EXPECT_THAT(Log(), IsSupersetOf({"CKezAspDB::DBFillPacket StartTime (not converted) = 46083",
                                     "CKezAspDB::DBFillPacket StartTime (converted) = 46083"}));
}

TEST_F(Records, RecipientsWithoutATextAddNothing) {
    class NoText : public SessionDouble {
        BOOL GetRecipients(WCHAR** out) override {
            *out = new WCHAR[1]();
            return TRUE;
        }
    };
    AppointmentDatabase database;
    auto* session = new NoText;
    session->loadable = {11};
    database.m_cpRead = session;
    auto* item = new AppointmentItem;
    session->m_pAppt = item;
    database.DBFillPacket(11, packet);
    session->m_pAppt = nullptr;
    item->Release();
    EXPECT_THAT(Identifiers(packet), ElementsAre(0x420D0040u, 0xAFF1000Bu));
}

TEST_F(Records, AStartThatNoCalendarHoldsIsSentAsItIs) {
    AppointmentDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    auto* item = new AppointmentItem;
    item->start = 1e10;
    session.m_pAppt = item;
    database.DBFillPacket(11, packet);
    session.m_pAppt = nullptr;
    item->Release();
    EXPECT_EQ(Find(packet, 0x420D0040)->val.dblVal, 1e10);
}

TEST_F(Records, FillingGivesBackTheListAndItsPicture) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    CEPROPVAL picture = {};
    picture.propid = 0xAFE90041;
    picture.val.blob.dwCount = 3;
    picture.val.blob.lpb = static_cast<LPBYTE>(LocalAlloc(LPTR, 3));
    session.properties = {picture, Text(0x3A06001F, u"Ann")};
    database.OpenDatabase();
    const control::LiveCounts before = control::Live();
    {
        CKezCEPacket own;
        database.DBFillPacket(11, own);
        EXPECT_EQ(Find(own, 0xAFE90041)->val.blob.dwCount, 3u);
    }
    EXPECT_EQ(control::Live().heapBlocks, before.heapBlocks);
    EXPECT_EQ(control::Live().localBlocks, before.localBlocks - 1) << "the picture's block, taken by the test";
}

TEST_F(Records, FillingTracesItsSteps) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    session.properties = {Text(0x3A06001F, u"Ann")};
    session.note = u"Likes tea";
    session.recurrence.bRecurrFound = TRUE;
    database.OpenDatabase();
    Trace(50);
    database.DBFillPacket(11, packet);
    std::vector<std::string> own;
    for (const std::string& line : Log()) {
        if (line.rfind("CKezAspDB", 0) == 0) own.push_back(line);
    }
    EXPECT_THAT(
        own, ElementsAre("CKezAspDB::DBFillPacket (oid=11)+", "CKezAspDB::DBFillPacket::POOM updates",
                         "CKezAspDB::DBFillPacket::Process Category", "CKezAspDB::DBFillPacket::Process Notes",
                         "CKezAspDB::DBFillPacket::Notes::pPropVal->propid=0xaffa001f",
                         "CKezAspDB::DBFillPacket::Process Recurring", "CKezAspDB::DBFillPacket::Process Is recurssive",
                         "CKezAspDB::DBFillPacket::PropFini", "CKezAspDB::DBFillPacket- (return oid==11) -"));
}

TEST_F(Records, TheFingerprintIsThatOfTheFilledPacket) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    session.properties = {Text(0x3A06001F, u"Ann")};
    const DWORD first = database.GetRecordCRC(11);
    database.DBFillPacket(11, packet);
    EXPECT_EQ(first, packet.GetCRC32(TRUE));
    session.properties = {Text(0x3A06001F, u"Bob")};
    EXPECT_NE(database.GetRecordCRC(11), first);
    EXPECT_EQ(database.GetRecordCRC(12), 0u) << "a record that cannot be read";
}

TEST_F(Records, TheFingerprintIsOfThePacketThatTheTypeFills) {
    class Other : public ContactDatabase {
        CEOID DBFillPacket(CEOID oid, CKezCEPacket& out) override {
            const CEPROPVAL prop = Number(0x12340003, oid);
            out.PropStart(oid);
            out.PropAdd(&prop, 1);
            out.PropFini();
            return oid;
        }
    };
    Other database;
    CKezCEPacket expected;
    static_cast<CKezAspDB&>(database).DBFillPacket(11, expected);
    EXPECT_EQ(database.GetRecordCRC(11), expected.GetCRC32(TRUE));
    EXPECT_NE(database.GetRecordCRC(12), expected.GetCRC32(TRUE));
}

TEST_F(Records, TheLetterIsTheTypeWhereTheDatabaseHasNone) {
    ContactDatabase database;
    database.OpenDatabase();
    database.m_ceodinfo_db.infDatabase.dwDbaseType = 0;
    delete database.m_cpRead;
    database.m_cpRead = nullptr;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    database.DBFillPacket(11, packet);
    EXPECT_THAT(session.calls, ElementsAre("InitializeItem 11 65 11", "InitializeItem 11 65 11"));
}

TEST_F(Records, EveryItemTypeByNumberOrLetterLosesTheRawTexts) {
    ContactDatabase database;
    database.OpenDatabase();
    delete database.m_cpRead;
    database.m_cpRead = nullptr;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    session.properties = {Number(0x00160041, 0), Number(0x00170041, 0)};
    session.categories = u"Friends";
    session.note = u"Note";
    for (DWORD type : {24, 25, 26, int{'A'}, int{'D'}, int{'T'}}) {
        database.m_ceodinfo_db.infDatabase.dwDbaseType = type;
        CKezCEPacket own;
        database.DBFillPacket(11, own);
        EXPECT_THAT(Identifiers(own), ElementsAre(0xAFF0001Fu, 0xAFF1000Bu, 0xAFFA001Fu)) << type;
    }
    database.m_ceodinfo_db.infDatabase.dwDbaseType = 'G';
    CKezCEPacket own;
    database.DBFillPacket(11, own);
    EXPECT_THAT(Identifiers(own), Contains(0x00160041u));
    EXPECT_THAT(Identifiers(own), Contains(0x00170041u));
}

TEST_F(Records, AMissingPictureIsNoBlockToGiveBack) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.loadable = {11};
    CEPROPVAL missing = {};
    missing.propid = 0xAFE90041;
    missing.wFlags = CEDB_PROPNOTFOUND;
    missing.val.blob.lpb = static_cast<LPBYTE>(LocalAlloc(LPTR, 3));
    session.properties = {missing};
    database.OpenDatabase();
    const std::int64_t before = control::Live().localBlocks;
    {
        CKezCEPacket own;
        database.DBFillPacket(11, own);
    }
    EXPECT_EQ(control::Live().localBlocks, before);
    LocalFree(missing.val.blob.lpb);
}

// --- Writing ---

class Writing : public Records {
 protected:
    // A packet as it arrives.
    void Receive(const std::vector<CEPROPVAL>& props) {
        CKezCEPacket sent;
        sent.PropStart(0);
        sent.PropAdd(props.data(), static_cast<DWORD>(props.size()));
        sent.PropFini();
        ASSERT_EQ(packet.SetNextBytes(sent.GetPacketBuffer(), sent.GetPacketBytes()), 0);
    }
};

// A database of a type that takes no property of its own.
class PlainDatabase : public CategoriesDatabase {
 public:
    PlainDatabase() {
        m_usePoom = TRUE;
        m_typeLetter = 'A';
    }
    std::vector<CEPROPID> seen;
    BOOL PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session) override {
        seen.push_back(prop->propid);
        return CKezAspDB::PropToPoom(packet, prop, session);
    }
    LPCWSTR GetDBName() override { return TEXT("Contacts Database"); }
};

TEST_F(Writing, ANewRecordReturnsItsIdentifierAndIsRememberedAsOurs) {
    Receive({Text(0x3A06001F, u"Ann")});
    PlainDatabase database;
    SessionDouble& session = database.DoubleWrite();
    session.loadable = {0};
    session.savedOid = 21;
    tables->Put(21, 1, 1);
    EXPECT_EQ(database.DBWritePacket(0, packet), 21u);
    EXPECT_THAT(session.calls, ElementsAre("InitializeItem 0 24 0", "Save"));
    EXPECT_EQ(tables->States(21)->first, 0) << "it is not reported back";
    EXPECT_EQ(tables->States(21)->second, 1) << "but to the other partner";
    ASSERT_NE(database.m_cleanupList, nullptr);
    EXPECT_EQ(database.m_cleanupList->oid, 21u);
    EXPECT_THAT(database.seen, ElementsAre(0x3A06001Fu));
}

TEST_F(Writing, AWriteFlushesItsOwnVolumeAndThatOfTheChangesBeforeTheFlagIsCleared) {
    Receive({});
    PlainDatabase database;
    database.DoubleWrite().loadable = {0};
    database.DoubleWrite().savedOid = 21;
    control::CountCalls(true);
    database.DBWritePacket(0, packet);
    EXPECT_EQ(control::CallCount("CeFlushDBVol"), 2u);
    database.DoubleWrite().savedOid = 0;
    database.DBWritePacket(0, packet);
    EXPECT_EQ(control::CallCount("CeFlushDBVol"), 2u) << "nothing was written";
    database.CloseDatabase();
    EXPECT_EQ(control::CallCount("CeFlushDBVol"), 4u) << "on closing, and for the flag that is cleared once more";
}

TEST_F(Writing, ARecordThatKeepsItsIdentifierIsClearedAndRememberedToo) {
    Receive({});
    PlainDatabase database;
    database.DoubleWrite().loadable = {21};
    database.DoubleWrite().savedOid = 21;
    tables->Put(21, 1, 1);
    Trace(25);
    EXPECT_EQ(database.DBWritePacket(21, packet), 21u);
    EXPECT_EQ(tables->States(21)->first, 0);
    EXPECT_EQ(database.m_cleanupList->oid, 21u);
    EXPECT_THAT(Log(), IsSupersetOf({"oid = 21, olRecordID = 21, lOLID = 21", "Using same unique ID as before: 21"}));
}

TEST_F(Writing, TheNewestWriteStandsFirstInTheList) {
    Receive({});
    PlainDatabase database;
    database.DoubleWrite().loadable = {0};
    database.DoubleWrite().savedOid = 21;
    database.DBWritePacket(0, packet);
    database.DoubleWrite().savedOid = 22;
    database.DBWritePacket(0, packet);
    EXPECT_EQ(database.m_cleanupList->oid, 22u);
    EXPECT_EQ(database.m_cleanupList->next->oid, 21u);
}

TEST_F(Writing, AnItemThatCannotBeLoadedIsNotWritten) {
    Receive({});
    PlainDatabase database;
    database.DoubleWrite();
    Trace(75);
    EXPECT_EQ(database.DBWritePacket(255, packet), 0u);
    EXPECT_TRUE(Logged("CKezAspDB::DBWritePoom(oid=ff) ERR: InitializeITEM failed -"));
    EXPECT_EQ(database.m_cleanupList, nullptr);
}

TEST_F(Writing, ALoadThatAnswersAnythingButOneIsAFailure) {
    class Two : public SessionDouble {
        BOOL InitializeItem(CEOID, DWORD, LONG) override { return 2; }
    };
    Receive({});
    PlainDatabase database;
    database.m_cpWrite = new Two;
    EXPECT_EQ(database.DBWritePacket(21, packet), 0u);
}

TEST_F(Writing, AFailedSaveDumpsThePacketAndStillYieldsTheIdentifier) {
    Receive({Text(0x3A06001F, u"Ann")});
    PlainDatabase database;
    database.DoubleWrite().loadable = {21};
    database.DoubleWrite().savedOid = 21;
    database.DoubleWrite().saveResult = E_FAIL;
    Trace(1);
    EXPECT_EQ(database.DBWritePacket(21, packet), 21u);
    EXPECT_TRUE(Logged("CKezAspDB::DBWritePoom::Save ERR: Packet->GetPropCount=1"));
}

TEST_F(Writing, ASaveWithoutAnIdentifierIsAFailure) {
    Receive({});
    PlainDatabase database;
    database.DoubleWrite().loadable = {0};
    EXPECT_EQ(database.DBWritePacket(0, packet), 0u);
    EXPECT_EQ(database.m_cleanupList, nullptr);
}

TEST_F(Writing, TracesEachProperty) {
    CEPROPVAL blob = {};
    blob.propid = 0xAFE90041;
    BYTE byte = 1;
    blob.val.blob.dwCount = 1;
    blob.val.blob.lpb = &byte;
    Receive({Text(0x3A06001F, u"Ann"), blob});
    PlainDatabase database;
    database.DoubleWrite().loadable = {0};
    database.DoubleWrite().savedOid = 21;
    database.OpenDatabase();
    Trace(50);
    database.DBWritePacket(0, packet);
    std::vector<std::string> lines = Log();
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const std::string& line) { return line.find("GetPropList") != std::string::npos; }),
                lines.end());
    lines.resize(13);
    EXPECT_THAT(lines,
                ElementsAre("CKezAspDB_A::DBWritePoom +", "CKezAspDB::DBWritePoom::POOM::vPropVal[00], id=0x3a06001f",
                            "CKezAspDB::PropToPoom - PropID (31) +", "CKezAspDB::PropToPoom -",
                            "CKezAspDB::DBWritePoom::POOM::vPropVal[01], id=0xafe90041",
                            "pProp->propid = 0xafe90041, blob.size = 1", "CKezAspDB::PropToPoom - PropID (65) +",
                            "CKezAspDB::PropToPoom -", "CKezAspDB::DBWritePoom CCEPoom.Save()",
                            "oid = 0, olRecordID = 0, lOLID = 21", "CKezAspDB::DBWritePoom - New OID",
                            "ClearDeltaEntry(21) +", "Invalid handle, attempting to open new m_hDbDelta handle"));
    EXPECT_EQ(Log().back(), "CKezAspDB::DBWritePoom - newoid=0x00000015 (21)-");
}

TEST_F(Writing, WithoutPocketOutlookNothingCanBeWritten) {
    Receive({});
    CategoriesDatabase database;
    Trace(50);
    EXPECT_EQ(database.DBWritePacket(0, packet), 0u);
    EXPECT_EQ(database.DBWritePacket(255, packet), 0u);
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    database.CloseDatabase();
    EXPECT_EQ(database.DBWritePacket(255, packet), 0u);
    EXPECT_THAT(Log(), IsSupersetOf({"CKEzAspDB::DBWritePacket(oid=0) +",
                                     "CKEzAspDB::DBWritePacket(oid=0) ERR: Update failed -",
                                     "CKEzAspDB::DBWritePacket(oid=ff) ERR: Update failed -",
                                     "CKEzAspDB::DBWritePacket(oid=ff) ERR: Not Found -"}));
    EXPECT_EQ(database.DBWriteRecord(1, 0, nullptr), 0u);
}

TEST_F(Writing, WithAWayToWriteRecordsTheIdentifierComesBack) {
    class Direct : public CategoriesDatabase {
        CEOID DBWriteRecord(CEOID oid, WORD, CEPROPVAL*) override { return oid + 1; }
    };
    Receive({});
    Direct database;
    Trace(50);
    EXPECT_EQ(database.DBWritePacket(255, packet), 256u);
    EXPECT_TRUE(Logged("CKEzAspDB::DBWritePacket -"));
}

TEST_F(Writing, SharedPropertiesGoIntoTheSession) {
    PlainDatabase database;
    SessionDouble& session = database.DoubleWrite();
    CEPROPVAL r8 = {};
    r8.propid = 0xAFF70005;
    r8.val.dblVal = 46083.5;
    CEPROPVAL end = {};
    end.propid = 0xAFF80005;
    end.val.dblVal = 46090;
    Receive({Text(0xAFF0001F, u"Friends"), Text(0xAFFA001F, u"Likes tea"), Number(0xAFF1000B, 1), Number(0xAFF10012, 2),
             Number(0xAFF20012, 3), Number(0xAFF30012, 4), Number(0xAFF40012, 5), Number(0xAFF50012, 6),
             Number(0xAFF60003, 7), r8, end, Number(0xAFF9000B, 1), Text(0xAFFF001F, u"2026-03-09 10:00:00\t")});
    session.loadable = {0};
    session.savedOid = 21;
    database.DBWritePacket(0, packet);
    EXPECT_EQ(session.setCategories, u"Friends");
    EXPECT_EQ(session.setNote, u"Likes tea");
    const RecurrenceState& pattern = session.m_recurrence;
    EXPECT_EQ(pattern.bRecurrFound, TRUE);
    EXPECT_EQ(pattern.RecurrenceType, 2) << "0xAFF10012 comes after 0xAFF1000B";
    EXPECT_EQ(pattern.DayOfWeekMask, 3);
    EXPECT_EQ(pattern.DayOfMonth, 4);
    EXPECT_EQ(pattern.MonthOfYear, 5);
    EXPECT_EQ(pattern.Interval, 6);
    EXPECT_EQ(pattern.Instance, 7);
    EXPECT_EQ(pattern.RecurrenceStartDate, 46083.5);
    EXPECT_EQ(pattern.RecurrenceEndDate, 46090) << "received is the recurrence's end";
    EXPECT_EQ(pattern.bNoEndDate, TRUE);
    EXPECT_EQ(session.exceptionListAtSave, u"2026-03-09 10:00:00\t");
}

TEST_F(Writing, TheRecurrenceFlagAlsoSetsTheTypeToItsLowHalf) {
    PlainDatabase database;
    SessionDouble& session = database.DoubleWrite();
    const CEPROPVAL prop = Number(0xAFF1000B, 0x00050003);
    EXPECT_TRUE(database.PropToPoom(packet, &prop, &session));
    EXPECT_EQ(session.m_recurrence.bRecurrFound, TRUE);
    EXPECT_EQ(session.m_recurrence.RecurrenceType, 3);
}

TEST_F(Writing, AnyValueButZeroMeansYes) {
    PlainDatabase database;
    SessionDouble& session = database.DoubleWrite();
    CEPROPVAL prop = Number(0xAFF9000B, 2);
    EXPECT_TRUE(database.PropToPoom(packet, &prop, &session));
    EXPECT_EQ(session.m_recurrence.bNoEndDate, TRUE);
    prop = Number(0xAFF1000B, 2);
    EXPECT_TRUE(database.PropToPoom(packet, &prop, &session));
    EXPECT_EQ(session.m_recurrence.bRecurrFound, TRUE);
    prop = Number(0xAFF1000B, 0);
    EXPECT_TRUE(database.PropToPoom(packet, &prop, &session));
    EXPECT_EQ(session.m_recurrence.bRecurrFound, FALSE);
    prop = Number(0xAFF9000B, 0);
    EXPECT_TRUE(database.PropToPoom(packet, &prop, &session));
    EXPECT_EQ(session.m_recurrence.bNoEndDate, FALSE);
}

TEST_F(Writing, OtherPropertiesAreLeftToTheType) {
    PlainDatabase database;
    SessionDouble& session = database.DoubleWrite();
    const RecurrenceState before = session.m_recurrence;
    const CEPROPVAL prop = Number(0x12340003, 1);
    EXPECT_TRUE(database.PropToPoom(packet, &prop, &session));
    EXPECT_EQ(std::memcmp(&before, &session.m_recurrence, sizeof before), 0);
    EXPECT_TRUE(session.calls.empty());
}

TEST_F(Writing, WithoutPocketOutlookPropertiesAreLeftAlone) {
    CategoriesDatabase database;
    SessionDouble session;
    const CEPROPVAL prop = Text(0xAFF0001F, u"Friends");
    EXPECT_TRUE(database.PropToPoom(packet, &prop, &session));
    EXPECT_TRUE(session.setCategories.empty());
}

// --- Deleting and purging ---

TEST_F(Records, DeletingDeletesTheLoadedItem) {
    AppointmentDatabase database;
    SessionDouble& session = database.DoubleDelete();
    session.loadable = {11};
    auto* item = new AppointmentItem;
    session.m_pAppt = item;
    database.OpenDatabase();
    Trace(50);
    EXPECT_EQ(database.DBDelete(11, 0), 0);
    EXPECT_EQ(item->deletions, 1);
    EXPECT_THAT(session.calls, ElementsAre("InitializeItem 11 68 11", "ReleaseItems"));
    EXPECT_THAT(Log(), ElementsAre("Use alternate delete method", "CKezAspDB:: [D] DBDelete(11) +",
                                   "CKezAspDB::Deleting using Poom", "CKezAspDB:: [D] DBDelete(11) -"));
    EXPECT_EQ(database.m_inDelete, FALSE);
    session.m_pAppt = nullptr;
    item->Release();
}

TEST_F(Records, TheLastOfSeveralDeletionsCounts) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleDelete();
    session.loadable = {11};
    auto* appointment = new AppointmentItem;
    appointment->deleteResult = E_FAIL;
    auto* task = new TaskItem;
    auto* contact = new ContactItem;
    session.m_pAppt = appointment;
    session.m_pTask = task;
    EXPECT_EQ(database.DBDelete(11, 0), E_ACCESSDENIED);
    session.m_pContact = contact;
    EXPECT_EQ(database.DBDelete(11, 0), S_OK);
    session.m_pAppt = nullptr;
    session.m_pTask = nullptr;
    session.m_pContact = nullptr;
    appointment->Release();
    task->Release();
    contact->Release();
}

TEST_F(Records, AFailedDeletionNamesAFallbackThatIsNotMade) {
    TaskDatabase database;
    SessionDouble& session = database.DoubleDelete();
    session.loadable = {11};
    auto* item = new TaskItem;
    session.m_pTask = item;
    database.OpenDatabase();
    Trace(50);
    SetLastError(5);
    control::CountCalls(true);
    EXPECT_EQ(database.DBDelete(11, 0), E_ACCESSDENIED);
    EXPECT_EQ(control::CallCount("CeDeleteRecord"), 0u);
    EXPECT_THAT(Log(),
                Contains(::testing::MatchesRegex("CKezAspDB::DBDelete::Poom Delete Failed\\.  ERR=[0-9a-f]+, HRES = "
                                                 "0x80070005  Trying CeDeleteRecord")));
    EXPECT_THAT(Log(),
                Contains(::testing::MatchesRegex("CKezAspDB::DBDelete::CeDeleteRecord Failed\\.  ERR=[0-9a-f]+")));
    session.m_pTask = nullptr;
    item->Release();
}

TEST_F(Records, DeletingAnItemThatCannotBeLoadedIsASuccess) {
    ContactDatabase database;
    database.DoubleDelete();
    Trace(50);
    EXPECT_EQ(database.DBDelete(11, 0), 0);
    EXPECT_TRUE(Logged("CKezAspDB::Deleting without using Poom"));
}

TEST_F(Records, DeletingWithoutADatabaseIsUnexpected) {
    ContactDatabase database;
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    EXPECT_EQ(database.DBDelete(11, 0), E_UNEXPECTED);
    EXPECT_EQ(database.m_inDelete, FALSE);
}

// Notifies in the middle of a deletion, as the device does.
class NotifyingItem : public RefusingContact {
 public:
    explicit NotifyingItem(ContactDatabase& database) : m_database(database) {}
    BOOL taken = FALSE;
    HRESULT STDMETHODCALLTYPE Delete() override {
        OBJNOTIFY notify = {};
        notify.oidInfo.wObjType = OBJTYPE_FILE;
        taken = m_database.ObjectNotify(&notify);
        return S_OK;
    }

 private:
    ContactDatabase& m_database;
};

TEST_F(Records, ANotificationDuringADeletionIsSwallowed) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleDelete();
    session.loadable = {11};
    auto* item = new NotifyingItem(database);
    session.m_pContact = item;
    database.DBDelete(11, 0);
    EXPECT_TRUE(item->taken);
    session.m_pContact = nullptr;
    item->Release();
}

TEST_F(Records, PurgingAnEmptyDatabaseDoesNotTouchPocketOutlook) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleDelete();
    Trace(25);
    EXPECT_EQ(database.Purge(), 0);
    EXPECT_TRUE(session.calls.empty());
    EXPECT_EQ(Log().front(), "CKezAspDB::Purge() +");
    EXPECT_THAT(Log(), IsSupersetOf({"About to purge...", "Purging 0 records", "CKezAspDB::CloseDatabase()",
                                     "CKezAspDB::Purge() -"}));
    EXPECT_EQ(database.GetDbHandle(), INVALID_HANDLE_VALUE);
}

TEST_F(Records, PurgingUsesTheFirstSessionThatIsThere) {
    AddPimRecord(TEXT("Contacts Database"), u"Ann");
    ContactDatabase database;
    SessionDouble& session = database.DoubleDelete();
    Trace(25);
    EXPECT_EQ(database.Purge(), 0);
    EXPECT_THAT(session.calls, ElementsAre("InitializeType 65", "Purge"));
    EXPECT_THAT(Log(), IsSupersetOf({"Purging 1 records", "Purging m_cpDelete"}));
    session.purgeResult = FALSE;
    EXPECT_EQ(database.Purge(), E_FAIL);
}

TEST_F(Records, PurgingFallsBackToTheOtherSessions) {
    AddPimRecord(TEXT("\\Categories Database"), u"Friends");
    CategoriesDatabase database;  // makes no sessions of its own
    Trace(25);
    EXPECT_EQ(database.Purge(), E_FAIL) << "there are records and nothing to delete them with";
    database.DoubleWrite();
    EXPECT_EQ(database.Purge(), 0);
    EXPECT_TRUE(Logged("Purging m_cpWrite"));
    database.DoubleRead();
    EXPECT_EQ(database.Purge(), 0);
    EXPECT_TRUE(Logged("Purging m_cpRead"));
}

TEST_F(Records, PurgingAnUnopenedDatabaseDoesNothing) {
    ContactDatabase database;
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    Trace(25);
    EXPECT_EQ(database.Purge(), 0);
    EXPECT_TRUE(Logged("Failed OpenDatabase()"));
    EXPECT_EQ(Log().back(), "CKezAspDB::Purge() -");
}

}  // namespace
}  // namespace kez::tests
