// The life of a session: construction and destruction, logging on, loading items, letting go, and the order of the
// virtual operations.
#include <cstring>
#include <thread>
#include <utility>

#include "platform/control/control.h"
#include "tests/poom/bridge_fixture.h"

namespace kez::tests {
namespace {

class Session : public Bridge {};

TEST_F(Session, ConstructionTakesAReferenceOfAnApplicationThatIsThere) {
    const LONG before = CCEPoom::m_cInstances;
    const ULONG references = app->AddRef();
    app->Release();
    {
        const CCEPoom another;
        EXPECT_EQ(CCEPoom::m_cInstances, before + 1);
        EXPECT_EQ(app->AddRef(), references + 1);
        app->Release();
        EXPECT_THAT(TakeTraces(),
                    ElementsAre(TraceLine{50, "CCEPoom::CCEPoom+"}, TraceLine{50, "CCEPoom::ReleaseItems +"},
                                TraceLine{50, "CCEPoom::ReleaseItems -"}, TraceLine{50, "CCEPoom::CCEPoom-"}));
        EXPECT_EQ(another.m_iIndex, 1);
        EXPECT_EQ(another.m_bInInitializeType, FALSE);
        EXPECT_EQ(another.m_recurrence.bNoEndDate, TRUE);
        EXPECT_EQ(another.m_recurrence.bRecurrFound, FALSE);
        EXPECT_EQ(another.m_pExcList, nullptr);
    }
    EXPECT_EQ(CCEPoom::m_cInstances, before);
}

TEST_F(Session, DestructionLogsTheApplicationOffAlsoWhileOthersUseIt) {
    std::optional<CCEPoom> another(std::in_place);
    another->m_bstrApp = SysAllocString(TEXT("the application's"));
    Forget();

    another.reset();

    EXPECT_EQ(CCEPoom::m_polApp, app.Get());
    EXPECT_THAT(calls.Take(), ElementsAre("IPOutlookApp::SysFreeString", "IPOutlookApp::Logoff"));
    EXPECT_THAT(TakeTraces(), ElementsAre(TraceLine{50, "CCEPoom::~CCEPoom+"}, TraceLine{50, "CCEPoom::ReleaseItems +"},
                                          TraceLine{50, "CCEPoom::ReleaseItems -"},
                                          TraceLine{50, "CCEPoom::~CCEPoom::m_polApp->SysFreeString()"},
                                          TraceLine{50, "CCEPoom::~CCEPoom::m_polApp->Logoff()"},
                                          TraceLine{50, "CCEPoom::~CCEPoom::m_polApp->Release()"},
                                          TraceLine{50, "CCEPoom::~CCEPoom-"}));
}

TEST_F(Session, TheLastReferenceOfTheApplicationMakesItAbsent) {
    session.reset();
    CCEPoom::m_polApp = nullptr;
    auto* last = new RecordingApplication(calls);
    std::optional<CCEPoom> constructedBefore(std::in_place);
    CCEPoom::m_polApp = last;  // as if a logon had made it: with one reference that belongs to no session
    std::optional<CCEPoom> constructedAfter(std::in_place);

    constructedAfter.reset();
    EXPECT_EQ(constructedBefore->GetApplication(), last);
    constructedBefore.reset();
    EXPECT_EQ(CCEPoom::m_polApp, nullptr);
}

TEST_F(Session, TheCountOfSessionsStopsAtNone) {
    const LONG before = std::exchange(CCEPoom::m_cInstances, -1);
    { const CCEPoom another; }
    EXPECT_EQ(CCEPoom::m_cInstances, 0);
    CCEPoom::m_cInstances = before;
}

TEST_F(Session, DestructionWithoutApplicationOnlyTraces) {
    session.reset();
    CCEPoom::m_polApp = nullptr;
    std::optional<CCEPoom> lonely(std::in_place);
    Forget();
    lonely.reset();
    EXPECT_THAT(TakeTraceTexts("CCEPoom::~"), ElementsAre("CCEPoom::~CCEPoom+", "CCEPoom::~CCEPoom-"));
    EXPECT_THAT(calls.Take(), IsEmpty());
}

TEST_F(Session, LogonWithAnApplicationIsSilent) {
    EXPECT_TRUE(session->Logon());
    EXPECT_THAT(TakeTraces(), IsEmpty());
    EXPECT_THAT(calls.Take(), IsEmpty());
}

TEST_F(Session, LogonWithoutApplicationClassFails) {
    CCEPoom::m_polApp = nullptr;
    control::PlanFault({"CoCreateInstance", 1, 1, static_cast<std::uint32_t>(REGDB_E_CLASSNOTREG)});
    EXPECT_FALSE(session->Logon());
    control::ClearFaults();
    EXPECT_EQ(session->GetApplication(), nullptr);
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{0, "CCEPoom::Logon::Create +"}, TraceLine{0, "CCEPoom::Logon::CoInitializeEx()"},
                            TraceLine{0, "CCEPoom::Logon::CoCreateInstance()"},
                            TraceLine{0, "CCEPoom::Logon::CoCreateInstance::hr=-2147221164"},
                            TraceLine{0, "CCEPoom::Logon::CoCreateInstance Failed -"}));
    CCEPoom::m_polApp = app.Get();
}

TEST_F(Session, HasItemKnowsEachKind) {
    EXPECT_FALSE(session->HasItem());
    session->m_pTask = task.Give();
    EXPECT_EQ(session->HasItem(), TRUE);
    session->ReleaseItems();
    session->m_pAppt = appointment.Give();
    EXPECT_EQ(session->HasItem(), TRUE);
    session->ReleaseItems();
    session->m_pContact = contact.Give();
    EXPECT_EQ(session->HasItem(), TRUE);
}

// Notes which of the doubles goes, and when.
template <typename Double>
class Parting : public Double {
 public:
    Parting(RecordedCalls& recorded, std::string parting) : Double(recorded), m_name(std::move(parting)) {}

 protected:
    ~Parting() override { this->Call(m_name); }

 private:
    std::string m_name;
};

TEST_F(Session, ReleaseItemsGivesEverythingBackInOrderAndKeepsTheType) {
    session->m_pFolder = new Parting<RecordingFolder>(calls, "folder");
    session->m_pCollection = new Parting<RecordingCollection>(calls, "collection");
    session->m_pRecipients = new Parting<RecordingRecipients>(calls, "recipients");
    session->m_pRecipient = new Parting<RecordingRecipient>(calls, "recipient");
    session->m_pRec = new Parting<RecordingPattern>(calls, "pattern");
    session->m_pContact = new Parting<RecordingContact>(calls, "contact");
    session->m_pAppt = new Parting<RecordingAppointment>(calls, "appointment");
    session->m_pTask = new Parting<RecordingTask>(calls, "task");
    session->m_bstrExcList = SysAllocString(TEXT("list"));
    session->m_bstrExcModList = SysAllocString(TEXT("modified"));
    session->m_recurrence.Interval = 7;
    session->m_recurrence.bRecurrFound = TRUE;
    session->m_recurrence.bNoEndDate = FALSE;
    const CEPROPVAL kept = Property(0xAFFF001F);
    session->m_pExcList = &kept;
    session->m_dwDBType = 26;

    EXPECT_EQ(session->ReleaseItems(), TRUE);

    EXPECT_THAT(calls.Take(), ElementsAre("task", "appointment", "contact", "pattern", "recipient", "recipients",
                                          "folder", "collection"));
    EXPECT_EQ(session->m_recurrence.Interval, 0);
    EXPECT_EQ(session->m_recurrence.bRecurrFound, FALSE);
    EXPECT_EQ(session->m_recurrence.bNoEndDate, TRUE);
    EXPECT_EQ(session->m_bstrExcList, nullptr);
    EXPECT_EQ(session->m_bstrExcModList, nullptr);
    EXPECT_EQ(session->m_pExcList, nullptr);
    EXPECT_EQ(session->m_pFolder, nullptr);
    EXPECT_EQ(session->m_pCollection, nullptr);
    EXPECT_EQ(session->m_dwDBType, 26u);
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{50, "CCEPoom::ReleaseItems +"}, TraceLine{50, "CCEPoom::ReleaseItems -"}));
}

TEST_F(Session, LogoffLetsGoOfTheItemAndStaysLoggedOn) {
    session->m_pTask = task.Give();
    EXPECT_EQ(session->Logoff(), TRUE);
    EXPECT_FALSE(session->HasItem());
    EXPECT_THAT(calls.Take(), IsEmpty());
    EXPECT_THAT(TakeTraceTexts(), ElementsAre("CCEPoom::Logoff +", "CCEPoom::ReleaseItems +", "CCEPoom::ReleaseItems -",
                                              "CCEPoom::Logoff -"));
}

TEST_F(Session, LoadingAContactTracesItsWay) {
    app->next = contact.Get();
    EXPECT_EQ(session->InitializeItem(0x11, 24, 0x22), TRUE);
    EXPECT_THAT(calls.Take(), ElementsAre("IPOutlookApp::GetItemFromOid(34)"));
    EXPECT_EQ(session->m_pContact, contact.Get());
    EXPECT_EQ(session->m_dwDBType, 24u);
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{0, "CCEPoom::InitializeItem(oid=17, dwDBType=24, olRecordID=34) +"},
                            TraceLine{50, "CCEPoom::ReleaseItems +"}, TraceLine{50, "CCEPoom::ReleaseItems -"},
                            TraceLine{0, "CKezAspDB::InitializeItem::GetItemFromOID(0x00000022)"},
                            TraceLine{0, "CKezAspDB::InitializeItem::CEDB_DBTYPE_CONTACTS"}, TraceLine{0, "hr = 0"},
                            TraceLine{0, "CKezAspDB::InitializeItem:: OK -"}));
}

TEST_F(Session, MakingAnAppointmentFetchesItsPattern) {
    app->next = appointment.Get();
    appointment->pattern = pattern.Get();
    EXPECT_EQ(session->InitializeItem(0, 'D', 0), TRUE);
    EXPECT_THAT(calls.Take(), ElementsAre("IPOutlookApp::CreateItem(1)", "IAppointment::GetRecurrencePattern"));
    EXPECT_EQ(session->m_pRec, pattern.Get());
    EXPECT_THAT(TakeTraceTexts("CKez"),
                ElementsAre("CKezAspDB::InitializeItem::CreateItem", "CKezAspDB::InitializeItem::CEDB_DBTYPE_CALENDAR",
                            "CKezAspDB::InitializeItem:: OK -"));
}

TEST_F(Session, MakingATaskTracesTheMaking) {
    app->next = task.Get();
    task->pattern = pattern.Get();
    EXPECT_EQ(session->InitializeItem(0, 'T', 0), TRUE);
    EXPECT_THAT(calls.Take(), ElementsAre("IPOutlookApp::CreateItem(3)", "ITask::GetRecurrencePattern"));
    EXPECT_THAT(
        TakeTraceTexts("CKez"),
        ElementsAre("CKezAspDB::InitializeItem::CreateItem", "CKezAspDB::InitializeItem::CEDB_DBTYPE_TASKS",
                    "CKezAspDB::InitializeItem::CreateItem(olTaskItem)",
                    "CKezAspDB::InitializeItem::CreateItem(olTaskItem), hr=0", "CKezAspDB::InitializeItem:: OK -"));
}

TEST_F(Session, AnItemWithoutPatternIsLoadedAllTheSame) {
    for (const bool isTask : {true, false}) {
        app->next = isTask ? static_cast<IDispatch*>(task.Get()) : appointment.Get();
        EXPECT_EQ(session->InitializeItem(5, isTask ? 26 : 25, 5), TRUE);
        EXPECT_EQ(session->m_pRec, nullptr);
        EXPECT_EQ(session->m_recurrence.bRecurrFound, FALSE);
        const Texts traces = TakeTraceTexts("CKezAspDB::InitializeItem::Get");
        EXPECT_THAT(traces, ElementsAre("CKezAspDB::InitializeItem::GetItemFromOID(0x00000005)",
                                        "CKezAspDB::InitializeItem::GetRecurrancePattern failed"));
    }
}

TEST_F(Session, TheResultThatIsTracedIsThatOfTheLastCall) {
    app->next = appointment.Get();
    appointment->pattern = pattern.Get();
    calls.Fail("IAppointment::GetRecurrencePattern", E_ACCESSDENIED);
    EXPECT_EQ(session->InitializeItem(5, 25, 5), TRUE);
    Lines traces = TakeTraces();
    traces.erase(traces.begin(), traces.end() - 3);
    EXPECT_THAT(traces,
                ElementsAre(TraceLine{0, "CKezAspDB::InitializeItem::GetRecurrancePattern failed"},
                            TraceLine{0, "hr = -2147024891"}, TraceLine{0, "CKezAspDB::InitializeItem:: OK -"}));
}

TEST_F(Session, AnItemThatCannotBeHadIsTracedTwice) {
    for (const DWORD type : {24u, 25u, 26u}) {
        calls.Fail("IPOutlookApp::GetItemFromOid", E_INVALIDARG);
        EXPECT_EQ(session->InitializeItem(5, type, 5), FALSE);
        EXPECT_FALSE(session->HasItem());
        EXPECT_EQ(session->m_recurrence.bRecurrFound, FALSE);
        EXPECT_THAT(TakeTraceTexts("CKezAspDB::InitializeItem:: "),
                    ElementsAre("CKezAspDB::InitializeItem:: ERR: No Item created::hr=-2147024809 -",
                                "CKezAspDB::InitializeItem:: ERR: No Item created::hr=0x80070057 -"));
    }
}

TEST_F(Session, AnItemOfAnotherTypeIsNotTaken) {
    app->next = task.Get();
    EXPECT_EQ(session->InitializeItem(5, 24, 5), FALSE);
    EXPECT_FALSE(session->HasItem());
    EXPECT_THAT(TakeTraceTexts("hr = "), ElementsAre("hr = -2147467262"));
}

TEST_F(Session, AnUnknownTypeLoadsNothing) {
    EXPECT_EQ(session->InitializeItem(5, 99, 0), FALSE);
    EXPECT_THAT(calls.Take(), IsEmpty());
    EXPECT_THAT(
        TakeTraceTexts("CKez"),
        ElementsAre("CKezAspDB::InitializeItem::CreateItem", "CKezAspDB::InitializeItem:: ERR: No Item created::hr=0 -",
                    "CKezAspDB::InitializeItem:: ERR: No Item created::hr=0x00000000 -"));
    EXPECT_EQ(session->m_dwDBType, 99u);
}

TEST_F(Session, LoadingWithoutLogonTracesTheDoubledParenthesis) {
    CCEPoom::m_polApp = nullptr;
    control::PlanFault({"CoCreateInstance", 1, 1, static_cast<std::uint32_t>(E_FAIL)});
    EXPECT_EQ(session->InitializeItem(5, 24, 6), FALSE);
    control::ClearFaults();
    EXPECT_THAT(TakeTraceTexts("CKez"),
                ElementsAre("CKezAspDB::InitializeItem::Initialize((oid=5, dwDBType=24) ERR -"));
    CCEPoom::m_polApp = app.Get();
}

TEST_F(Session, LoadingAnItemDropsTheOpenCollection) {
    Owned<RecordingFolder> folder(calls);
    Owned<RecordingCollection> collection(calls);
    app->folder = folder.Get();
    folder->collection = collection.Get();
    ASSERT_TRUE(session->InitializeType(24, 0));
    app->next = contact.Get();
    ASSERT_TRUE(session->InitializeItem(1, 24, 1));
    EXPECT_EQ(session->m_pCollection, nullptr);
    EXPECT_EQ(session->GetNextID(), 0u);
}

// --- The table of virtual operations ---------------------------------------------------------------------------

// Where the table has the operation that a member function pointer stands for, counted from 0.
template <typename Member>
std::size_t Slot(Member member) {
    std::uintptr_t parts[2] = {};
    static_assert(sizeof(member) == sizeof(parts));
    std::memcpy(parts, &member, sizeof(member));
    EXPECT_EQ(parts[0] % sizeof(void*), 1u) << "not a virtual operation";
    const std::size_t place = (parts[0] - 1) / sizeof(void*);
    return place - 1;  // the destructor takes two places here and one on the device
}

// Answers every operation with its number.
class Answering : public CCEPoom {
 public:
    IPOutlookApp2* GetApplication() override { return Note(2, nullptr); }
    BOOL HasItem() override { return Note(3, FALSE); }
    BOOL ReleaseItems() override { return Note(4, FALSE); }
    BOOL InitializeItem(CEOID, DWORD, LONG) override { return Note(5, FALSE); }
    BOOL GetRecipients(WCHAR**) override { return Note(6, FALSE); }
    BOOL SetRecipients(WCHAR*) override { return Note(7, FALSE); }
    BOOL GetRecurring() override { return Note(8, FALSE); }
    BOOL GetCategories(WCHAR**) override { return Note(9, FALSE); }
    BOOL SetCategories(const WCHAR*) override { return Note(10, FALSE); }
    BOOL GetNote(WCHAR**) override { return Note(11, FALSE); }
    BOOL SetNote(const WCHAR*) override { return Note(12, FALSE); }
    BOOL GetReminder(BOOL*, LONG*, FILETIME*) override { return Note(13, FALSE); }
    BOOL SetReminder(BOOL, LONG, const FILETIME*) override { return Note(14, FALSE); }
    BOOL GetRecExceptionLst(BSTR*, BSTR*) override { return Note(15, FALSE); }
    BOOL SetRecExceptionLst(WCHAR*, const CEPROPVAL*) override { return Note(16, FALSE); }
    BOOL SerializeApptItem(IAppointment*, BSTR*) override { return Note(17, FALSE); }
    HRESULT Save(CEOID*) override { return Note(18, S_OK); }
    BOOL InitializeType(DWORD, INT) override { return Note(19, FALSE); }
    INT GetRecordCount() override { return Note(20, 0); }
    CEOID GetFirstID() override { return Note(21, CEOID{0}); }
    CEOID GetNextID() override { return Note(22, CEOID{0}); }
    BOOL GetProps(CEOID, DWORD, CEPROPVAL**, WORD*, BYTE) override { return Note(23, FALSE); }
    BOOL Purge() override { return Note(24, FALSE); }
    BOOL Logon() override { return Note(25, FALSE); }
    BOOL Logoff() override { return Note(26, FALSE); }

    std::vector<int> asked;

 private:
    template <typename Value>
    Value Note(int slot, Value value) {
        asked.push_back(slot);
        return value;
    }
};

TEST_F(Session, TheOperationsKeepTheirPlacesInTheTable) {
    const std::size_t slots[] = {Slot(&CCEPoom::GetApplication),
                                 Slot(&CCEPoom::HasItem),
                                 Slot(&CCEPoom::ReleaseItems),
                                 Slot(&CCEPoom::InitializeItem),
                                 Slot(&CCEPoom::GetRecipients),
                                 Slot(&CCEPoom::SetRecipients),
                                 Slot(&CCEPoom::GetRecurring),
                                 Slot(&CCEPoom::GetCategories),
                                 Slot(&CCEPoom::SetCategories),
                                 Slot(&CCEPoom::GetNote),
                                 Slot(&CCEPoom::SetNote),
                                 Slot(&CCEPoom::GetReminder),
                                 Slot(&CCEPoom::SetReminder),
                                 Slot(&CCEPoom::GetRecExceptionLst),
                                 Slot(&CCEPoom::SetRecExceptionLst),
                                 Slot(&CCEPoom::SerializeApptItem),
                                 Slot(&CCEPoom::Save),
                                 Slot(&CCEPoom::InitializeType),
                                 Slot(&CCEPoom::GetRecordCount),
                                 Slot(&CCEPoom::GetFirstID),
                                 Slot(&CCEPoom::GetNextID),
                                 Slot(&CCEPoom::GetProps),
                                 Slot(&CCEPoom::Purge),
                                 Slot(&CCEPoom::Logon),
                                 Slot(&CCEPoom::Logoff)};
    for (std::size_t i = 0; i < std::size(slots); ++i) EXPECT_EQ(slots[i], i + 1) << "operation " << i + 2;
}

TEST_F(Session, EveryOperationIsReachedThroughTheTable) {
    Answering answering;
    CCEPoom& base = answering;
    base.GetApplication();
    base.HasItem();
    base.ReleaseItems();
    base.InitializeItem(0, 0, 0);
    base.GetRecipients(nullptr);
    base.SetRecipients(nullptr);
    base.GetRecurring();
    base.GetCategories(nullptr);
    base.SetCategories(nullptr);
    base.GetNote(nullptr);
    base.SetNote(nullptr);
    base.GetReminder(nullptr, nullptr, nullptr);
    base.SetReminder(FALSE, 0, nullptr);
    base.GetRecExceptionLst(nullptr, nullptr);
    base.SetRecExceptionLst(nullptr, nullptr);
    base.SerializeApptItem(nullptr, nullptr);
    base.Save(nullptr);
    base.InitializeType(0, 0);
    base.GetRecordCount();
    base.GetFirstID();
    base.GetNextID();
    base.GetProps(0, 0, nullptr, nullptr, 0);
    base.Purge();
    base.Logon();
    base.Logoff();
    std::vector<int> expected;
    for (int slot = 2; slot <= 26; ++slot) expected.push_back(slot);
    EXPECT_EQ(answering.asked, expected);
}

TEST_F(Session, ADeletedBaseDestroysTheWhole) {
    static bool gone = false;
    struct Derived : CCEPoom {
        ~Derived() override { gone = true; }
    };
    CCEPoom* base = new Derived;
    delete base;
    EXPECT_TRUE(gone);
}

// The operations that go through the table, seen by a subclass that answers in their place.
TEST_F(Session, InnerCallsGoThroughTheTable) {
    struct Refusing : CCEPoom {
        BOOL Logon() override { return FALSE; }
        CEOID GetNextID() override { return 77; }
    } refusing;
    EXPECT_EQ(refusing.GetFirstID(), 77u);
    EXPECT_FALSE(refusing.InitializeType(24, 0));
    EXPECT_FALSE(refusing.InitializeItem(0, 24, 0));
    EXPECT_THAT(calls.Take(), IsEmpty()) << "the application is there, and is not asked without a logon";

    struct Counting : CCEPoom {
        BOOL ReleaseItems() override {
            ++released;
            return CCEPoom::ReleaseItems();
        }
        int released = 0;
    } counting;
    counting.Logoff();
    EXPECT_EQ(counting.released, 1);
    CEOID oid = 0;
    counting.Save(&oid);
    EXPECT_EQ(counting.released, 2);
    counting.InitializeItem(0, 24, 0);
    EXPECT_EQ(counting.released, 3);
}

// What ReleaseItems would have cleared by itself, seen by a session that keeps it.
TEST_F(Session, WithoutItemTheRecurrenceIsMarkedAsAbsent) {
    struct Keeping : CCEPoom {
        BOOL ReleaseItems() override { return TRUE; }
    } keeping;
    const DATE start = 46083.3;
    for (const DWORD type : {24u, 25u, 26u}) {
        keeping.m_recurrence.RecurrenceStartDate = start;
        keeping.m_recurrence.PatternStartDate = start;
        keeping.m_recurrence.bRecurrFound = TRUE;
        calls.Fail("IPOutlookApp::GetItemFromOid", E_INVALIDARG);
        EXPECT_FALSE(keeping.InitializeItem(5, type, 5));
        EXPECT_EQ(keeping.m_recurrence.bRecurrFound, FALSE) << type;
        EXPECT_EQ(keeping.m_recurrence.PatternStartDate, start) << type;
        DATE firstWordCleared = start;
        std::memset(&firstWordCleared, 0, sizeof(DWORD));
        EXPECT_EQ(keeping.m_recurrence.RecurrenceStartDate, type == 24 ? start : firstWordCleared) << type;
    }
    keeping.m_recurrence.bRecurrFound = TRUE;
    app->next = contact.Get();
    EXPECT_TRUE(keeping.InitializeItem(5, 24, 5));
    EXPECT_EQ(keeping.m_recurrence.bRecurrFound, FALSE) << "a contact has no pattern";
    keeping.CCEPoom::ReleaseItems();
}

}  // namespace
}  // namespace kez::tests
