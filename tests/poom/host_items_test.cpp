// The bridge on real items: what each operation leaves on the device.
#include <algorithm>
#include <thread>

#include "tests/poom/host_fixture.h"

namespace kez::tests {
namespace {

class HostItems : public HostBridge {};

// --- Sessions and collections ------------------------------------------------------------------------------------

TEST_F(HostItems, ASecondLogonAfterAFailedOneIsSilentlyTrue) {
    other.reset();
    session.reset();
    session.emplace();
    TraceAll();
    control::PlanFault({"IPOutlookApp::Logon", 1, 1, static_cast<std::uint32_t>(E_FAIL)});
    EXPECT_FALSE(session->Logon());
    EXPECT_THAT(Traced(), ElementsAre("CCEPoom::Logon::Create +", "CCEPoom::Logon::CoInitializeEx()",
                                      "CCEPoom::Logon::CoCreateInstance()", "CCEPoom::Logon::CoCreateInstance::hr=0",
                                      "CCEPoom::Logon::Create -", "CCEPoom::Logon::m_polApp->Logon(NULL) +",
                                      "CCEPoom::Logon::m_polApp->Logon(NULL) Failed -"));
    EXPECT_TRUE(session->Logon());
    EXPECT_THAT(Traced(), IsEmpty());
    EXPECT_NE(session->GetApplication(), nullptr);
    EXPECT_FALSE(session->InitializeType(kContacts, 0)) << "nothing works, but it fails by itself";
}

TEST_F(HostItems, LogonTracesItsWay) {
    other.reset();
    session.reset();
    session.emplace();
    TraceAll();
    EXPECT_TRUE(session->Logon());
    EXPECT_THAT(Traced(), ElementsAre("CCEPoom::Logon::Create +", "CCEPoom::Logon::CoInitializeEx()",
                                      "CCEPoom::Logon::CoCreateInstance()", "CCEPoom::Logon::CoCreateInstance::hr=0",
                                      "CCEPoom::Logon::Create -", "CCEPoom::Logon::m_polApp->Logon(NULL) +",
                                      "CCEPoom::Logon::m_polApp->Logon(NULL) -"));
}

TEST_F(HostItems, SessionsMadeBeforeTheLogonEndInAnyOrder) {
    other.reset();
    session.reset();
    for (int last = 0; last < 9; ++last) {
        std::optional<CCEPoom> sessions[9];
        for (auto& each : sessions) each.emplace();
        CEOID oid = 0;
        ASSERT_TRUE(sessions[4]->InitializeItem(0, kTasks, 0));
        ASSERT_EQ(sessions[4]->Save(&oid), S_OK);
        // Every session holds an item or a collection while the others go.
        for (int i = 0; i < 9; ++i) {
            if (i % 2 == 0) {
                EXPECT_TRUE(sessions[i]->InitializeItem(oid, kTasks, static_cast<LONG>(oid)));
            } else {
                EXPECT_TRUE(sessions[i]->InitializeType(kTasks, 0));
            }
        }
        for (int i = 0; i < 9; ++i) {
            if (i != last) sessions[i].reset();
        }
        EXPECT_TRUE(sessions[last]->InitializeItem(oid, kTasks, static_cast<LONG>(oid)));
        sessions[last].reset();
        EXPECT_EQ(CCEPoom::m_polApp, nullptr);
        liveCounts.Check();
    }
    session.emplace();
    session->Logon();
}

TEST_F(HostItems, ACollectionOpensThoughAnotherThreadHoldsTheFlag) {
    Make(kContacts);
    TraceAll();
    control::TakeRecordedSleeps();
    std::thread([this] { session->m_bInInitializeType.store(TRUE, std::memory_order_relaxed); }).join();
    EXPECT_TRUE(session->InitializeType(kContacts, 1));
    EXPECT_EQ(control::TakeRecordedSleeps(), std::vector<std::uint32_t>(21, 1000));
    EXPECT_EQ(session->GetRecordCount(), 1);
    const Texts traced = Traced();
    EXPECT_EQ(std::count(traced.begin(), traced.end(), "m_bInInitializeType == TRUE, sleeping for 1 second"), 21);
    EXPECT_EQ(std::count(traced.begin(), traced.end(), "Slept for 20 seconds, ending loop"), 1);
}

TEST_F(HostItems, AnOpenCollectionIsKeptForAnotherType) {
    const CEOID oid = Make(kContacts);
    ASSERT_TRUE(session->InitializeType(kContacts, 1));
    EXPECT_TRUE(session->InitializeType(kTasks, 1));
    EXPECT_EQ(session->m_dwDBType, kTasks);
    EXPECT_EQ(session->GetFirstID(), oid);
}

TEST_F(HostItems, AnEmptyFolderHasNoItems) {
    ASSERT_TRUE(session->InitializeType('D', 1));
    TraceAll();
    EXPECT_EQ(session->GetRecordCount(), 0);
    EXPECT_EQ(session->GetFirstID(), 0u);
    EXPECT_THAT(Traced(), ElementsAre("CCEPoom::GetNextID() - m_iIndex = 1", "CCEPoom::GetNextID() - No more items"));
}

TEST_F(HostItems, EveryItemIsEnumeratedOnce) {
    for (const DWORD type : {kContacts, kAppointments, kTasks}) {
        std::vector<CEOID> made;
        for (int i = 0; i < 5; ++i) made.push_back(Make(type));
        ASSERT_TRUE(session->InitializeType(type, 1));
        EXPECT_EQ(session->GetRecordCount(), 5);
        std::vector<CEOID> found;
        for (CEOID oid = session->GetFirstID(); oid != 0; oid = session->GetNextID()) found.push_back(oid);
        EXPECT_THAT(found, ::testing::UnorderedElementsAreArray(made));
        session->ReleaseItems();
    }
}

TEST_F(HostItems, ANewItemIsNotStoredUntilItIsSaved) {
    for (const DWORD type : {kContacts, kAppointments, kTasks}) {
        EXPECT_TRUE(session->InitializeItem(0, type, 0));
        EXPECT_EQ(CountItems(type), 0);
        session->ReleaseItems();
    }
    TraceAll();
    EXPECT_FALSE(session->InitializeItem(0, 99, 0));
    EXPECT_THAT(Traced("CKezAspDB::InitializeItem:: ERR"),
                ElementsAre("CKezAspDB::InitializeItem:: ERR: No Item created::hr=0 -",
                            "CKezAspDB::InitializeItem:: ERR: No Item created::hr=0x00000000 -"));
}

TEST_F(HostItems, AnItemOfAnotherTypeOrOfNoneIsNotLoaded) {
    const CEOID contact = Make(kContacts);
    EXPECT_FALSE(session->InitializeItem(contact, kTasks, static_cast<LONG>(contact)));
    EXPECT_FALSE(session->InitializeItem(contact, kAppointments, static_cast<LONG>(contact)));
    EXPECT_FALSE(session->InitializeItem(1, kContacts, 0x7FFFFFF0));
}

TEST_F(HostItems, PurgeOfTwelveEmptiesTheFolderAndTracesAFewPasses) {
    for (int i = 0; i < 12; ++i) Make(kTasks);
    ASSERT_TRUE(session->InitializeType(kTasks, 1));
    TraceAll();
    EXPECT_TRUE(session->Purge());
    Texts expected = {"CCEPoom::Purge() +"};
    for (const int pass : {12, 11, 10, 9, 8, 7, 5, 1}) {
        expected.push_back("Purging record " + std::to_string(pass) + " of 12");
    }
    expected.push_back("CCEPoom::Purge() -");
    EXPECT_EQ(Traced(), expected);
    EXPECT_EQ(CountItems(kTasks), 0);
}

// --- Reading -----------------------------------------------------------------------------------------------------

TEST_F(HostItems, PicturesOfEverySizeGoInAndComeOut) {
    const std::pair<DWORD, DWORD> sizes[] = {{1, 32768},     {100, 32768},   {32767, 32768},
                                             {32768, 65536}, {65536, 98304}, {3000000, 3014656}};
    for (const auto& [size, room] : sizes) {
        std::vector<BYTE> bytes(size);
        for (DWORD i = 0; i < size; ++i) bytes[i] = static_cast<BYTE>(i * 31 + i / 253);
        const CEOID oid = Make(kContacts, [&, size = size] {
            CEPROPVAL picture = Property(0xAFE90041);
            picture.val.blob = {size, bytes.data()};
            EXPECT_TRUE(Write(picture));
        });
        Load(kContacts, oid);
        PropertyList list;
        ASSERT_TRUE(list.Read(*session, kContacts));
        const CEPROPVAL* picture = list.Find(0xAFE90041);
        ASSERT_NE(picture, nullptr);
        ASSERT_EQ(picture->wFlags, 0) << size;
        ASSERT_EQ(picture->val.blob.dwCount, size);
        EXPECT_EQ(LocalSize(picture->val.blob.lpb), room);
        EXPECT_EQ(std::memcmp(picture->val.blob.lpb, bytes.data(), size), 0) << size;
        session->ReleaseItems();
    }
}

TEST_F(HostItems, APictureOf65536BytesIsReadInThreeChunks) {
    std::vector<BYTE> bytes(65536, 7);
    const CEOID oid = Make(kContacts, [&] {
        CEPROPVAL picture = Property(0xAFE90041);
        picture.val.blob = {65536, bytes.data()};
        Write(picture);
    });
    Load(kContacts, oid);
    TraceAll();
    PropertyList list;
    list.Read(*session, kContacts);
    Texts traced = Traced();
    traced.erase(std::remove_if(traced.begin(), traced.end(),
                                [](const std::string& line) { return line.rfind("prop[", 0) == 0; }),
                 traced.end());
    EXPECT_THAT(traced,
                ElementsAre("CCEPoom::GetProps(oid = 1, dwType = 24) +", "Retrieved props (54 props)", "Converting",
                            "Reading stream data", "Stream opened", "stat.cbSize = 0", "Reading stream chunk",
                            "Read 32768 bytes (32768 total)", "Read 32768 bytes (65536 total)",
                            "Done reading stream (65536 size)", "CCEPoom::GetProps() -"));
    session->ReleaseItems();
}

TEST_F(HostItems, APictureOf100BytesIsOneRead) {
    std::vector<BYTE> bytes(100, 7);
    const CEOID oid = Make(kContacts, [&] {
        CEPROPVAL picture = Property(0xAFE90041);
        picture.val.blob = {100, bytes.data()};
        Write(picture);
    });
    Load(kContacts, oid);
    TraceAll();
    PropertyList list;
    list.Read(*session, kContacts);
    const Texts traced = Traced();
    const auto first = std::find(traced.begin(), traced.end(), "Reading stream chunk");
    ASSERT_NE(first, traced.end());
    EXPECT_EQ(*(first + 1), "Done reading stream (100 size)");
    EXPECT_EQ(list.Find(0xAFE90041)->val.blob.dwCount, 100u);
    session->ReleaseItems();
}

TEST_F(HostItems, AContactWithoutPictureTravelsWithoutOne) {
    const CEOID oid = Make(kContacts);
    Load(kContacts, oid);
    TraceAll();
    PropertyList list;
    ASSERT_TRUE(list.Read(*session, kContacts));
    EXPECT_EQ(list.Find(0xAFE90041)->wFlags, CEDB_PROPNOTFOUND);
    EXPECT_THAT(Traced("Failed"), ElementsAre("Failed to open stream"));
    session->ReleaseItems();
}

TEST_F(HostItems, WithoutConversionTheIdentifiersAreTheItems) {
    BYTE bytes[] = {1, 2, 3};
    const CEOID oid = Make(kContacts, [&] {
        Write(TextProperty(0x3A06001F, TEXT("Ann")));
        CEPROPVAL picture = Property(0xAFE90041);
        picture.val.blob = {sizeof(bytes), bytes};
        EXPECT_TRUE(Write(picture));
    });
    Load(kContacts, oid);
    PropertyList list;
    TraceAll();
    ASSERT_TRUE(list.Read(*session, kContacts, false));
    EXPECT_THAT(Traced(), ElementsAre("CCEPoom::GetProps(oid = 1, dwType = 24) +", "Retrieved props (54 props)",
                                      "CCEPoom::GetProps() -"));
    EXPECT_EQ(list.Count(), 54);
    ASSERT_NE(list.Find(PIMPR_FIRST_NAME), nullptr);
    EXPECT_EQ(std::u16string(list.Find(PIMPR_FIRST_NAME)->val.lpwstr), u"Ann");
    ASSERT_NE(list.Find(PIMPR_PICTURE), nullptr);
    EXPECT_EQ(list.Find(PIMPR_PICTURE)->val.blob.lpb, nullptr) << "no blob took the place of the stream";
    session->ReleaseItems();
}

TEST_F(HostItems, BothCompletionPropertiesOfATaskComeOut) {
    const CEOID oid = Make(kTasks, [&] { Write(ShortProperty(0x410F0002, 1)); });
    Load(kTasks, oid);
    PropertyList list;
    ASSERT_TRUE(list.Read(*session, kTasks));
    ASSERT_NE(list.Find(0x410F0040), nullptr);
    ASSERT_NE(list.Find(0x410F0002), nullptr);
    EXPECT_EQ(list.Find(0x410F0040)->wFlags, 0);
    EXPECT_NE(list.Find(0x410F0002)->val.boolVal, FALSE);
    session->ReleaseItems();
}

// --- Writing -----------------------------------------------------------------------------------------------------

TEST_F(HostItems, AllDayIsEverythingButTwo) {
    const std::pair<LONG, VARIANT_BOOL> rows[] = {{0, VARIANT_TRUE}, {1, VARIANT_TRUE}, {2, VARIANT_FALSE}};
    for (const auto& [value, allDay] : rows) {
        const CEOID oid =
            Make(kAppointments, [&, value = value] { EXPECT_TRUE(Write(LongProperty(0x42150003, value))); });
        Load(kAppointments, oid);
        EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_AllDayEvent), allDay) << value;
        session->ReleaseItems();
    }
}

TEST_F(HostItems, EveryAppointmentIsSavedBusy) {
    for (SHORT status = 0; status <= 3; ++status) {
        const CEOID oid = Make(kAppointments, [&] { EXPECT_TRUE(Write(ShortProperty(0x000F0002, status))); });
        Load(kAppointments, oid);
        EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_BusyStatus), olBusy) << status;
        session->ReleaseItems();
    }
}

TEST_F(HostItems, AnUnknownPropertyMakesAnAppointmentBusy) {
    const CEOID oid = Make(kAppointments, [&] {
        session->m_pAppt->put_BusyStatus(olFree);
        EXPECT_TRUE(Write(Property(0x12340003)));
    });
    Load(kAppointments, oid);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_BusyStatus), olBusy);
    session->ReleaseItems();
}

TEST_F(HostItems, AnImportanceThatATaskRefusesBecomesNormal) {
    const CEOID oid = Make(kTasks, [&] {
        EXPECT_TRUE(Write(LongProperty(0x00260003, 2)));
        EXPECT_TRUE(Write(LongProperty(0x00260003, 3)));
    });
    Load(kTasks, oid);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_Importance), olImportanceNormal);
    session->ReleaseItems();
}

TEST_F(HostItems, AReceivedReminderTimeSwitchesTheReminderOn) {
    const DATE time = DateOf(2026, 3, 9, 8, 30);
    const CEOID oid = Make(kTasks, [&] {
        Write(DateProperty(0x41050040, DateOf(2026, 3, 10)));
        Write(DateProperty(0x41040040, DateOf(2026, 3, 9)));
        CEPROPVAL property = Property(0xAFFB0005);
        property.val.dblVal = time;
        EXPECT_TRUE(Write(property));
    });
    Load(kTasks, oid);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_ReminderSet), VARIANT_TRUE);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_ReminderTime), time);
    session->ReleaseItems();
}

TEST_F(HostItems, APictureWithoutBytesLeavesTheOldOne) {
    BYTE bytes[] = {1, 2, 3};
    const CEOID oid = Make(kContacts, [&] {
        CEPROPVAL picture = Property(0xAFE90041);
        picture.val.blob = {3, bytes};
        Write(picture);
    });
    Load(kContacts, oid);
    TraceAll();
    EXPECT_TRUE(Write(Property(0xAFE90041)));
    EXPECT_THAT(Traced("No data"), ElementsAre("No data to write (blob.lpb = 0x00000000)"));
    CEOID saved = 0;
    EXPECT_EQ(session->Save(&saved), S_OK);
    Load(kContacts, oid);
    PropertyList list;
    list.Read(*session, kContacts);
    EXPECT_EQ(list.Find(0xAFE90041)->val.blob.dwCount, 3u);
    session->ReleaseItems();
}

TEST_F(HostItems, AShorterPictureReplacesALongerOne) {
    std::vector<BYTE> bytes(50000, 5);
    CEPROPVAL picture = Property(0xAFE90041);
    picture.val.blob = {50000, bytes.data()};
    const CEOID oid = Make(kContacts, [&] { Write(picture); });
    Load(kContacts, oid);
    picture.val.blob.dwCount = 10;
    Write(picture);
    CEOID saved = 0;
    session->Save(&saved);
    Load(kContacts, oid);
    PropertyList list;
    list.Read(*session, kContacts);
    EXPECT_EQ(list.Find(0xAFE90041)->val.blob.dwCount, 10u);
    session->ReleaseItems();
}

TEST_F(HostItems, AnUnchangedTextThroughTheItemCountsAsRefusedAndStays) {
    const CEOID oid = Make(kContacts, [&] { EXPECT_TRUE(Write(TextProperty(0xAFE1001F, TEXT("ann@im")))); });
    Load(kContacts, oid);
    TraceAll();
    EXPECT_FALSE(Write(TextProperty(0xAFE1001F, TEXT("ann@im"))));
    EXPECT_THAT(Traced("CKez"), ElementsAre("CKezAspDBContact::PropToPoom Setting IM1",
                                            "CKezAspDBContact::PropToPoom::0xafe1001f - hr=0x00000001"));
    CEOID saved = 0;
    EXPECT_EQ(session->Save(&saved), S_OK);
    EXPECT_EQ(saved, oid);
}

class HostItemsInNewYork : public HostBridge {
 protected:
    HostItemsInNewYork() : HostBridge("America/New_York") {}
};

TEST_F(HostItemsInNewYork, ABirthdayIsTheSameDayAndTime) {
    const CEOID oid = Make(kContacts, [&] { EXPECT_TRUE(Write(DateProperty(0x40010040, DateOf(1980, 5, 17)))); });
    Load(kContacts, oid);
    EXPECT_EQ(Get(session->m_pContact, &IContact::get_Birthday), DateOf(1980, 5, 17));
    PropertyList list;
    list.Read(*session, kContacts);
    const FILETIME expected = DateToFileTime(DateOf(1980, 5, 17));
    EXPECT_EQ(CompareFileTime(&list.Find(0x40010040)->val.filetime, &expected), 0);
    session->ReleaseItems();
}

TEST_F(HostItemsInNewYork, AStartIsTakenAsTheWallClock) {
    const CEOID oid = Make(kAppointments, [&] { Write(DateProperty(0x420D0040, DateOf(2026, 7, 1, 9, 30))); });
    Load(kAppointments, oid);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_Start), DateOf(2026, 7, 1, 9, 30));
    session->ReleaseItems();
}

// --- Saving ------------------------------------------------------------------------------------------------------

TEST_F(HostItems, AllDaySeriesKeepTheirDays) {
    // What a pattern is given is one minute for one day, a day and a minute for two.
    const struct {
        LONG duration, pattern, expected;
    } rows[] = {{1440, 1, 1440}, {2880, 1441, 2880}, {0, 1, 1440}, {1439, 1, 1440}};
    TraceAll();
    for (const auto& [duration, inPattern, expected] : rows) {
        const CEOID oid = Make(kAppointments, [&, duration = duration] {
            session->m_pAppt->put_Start(DateOf(2026, 3, 2));
            session->m_pAppt->put_Duration(duration);
            session->m_pAppt->put_AllDayEvent(VARIANT_TRUE);
            session->m_recurrence.bRecurrFound = TRUE;
            session->m_recurrence.RecurrenceType = olRecursWeekly;
            session->m_recurrence.Interval = 1;
            session->m_recurrence.DayOfWeekMask = olMonday;
        });
        EXPECT_THAT(Traced("Appt->"), ElementsAre("Appt->Duration=" + std::to_string(inPattern)));
        Load(kAppointments, oid);
        EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_Duration), expected) << duration;
        EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_IsRecurring), VARIANT_TRUE);
        session->ReleaseItems();
    }
}

TEST_F(HostItems, AYearlySeriesOnTheLastOfMarchIsSetWhateverItWasBefore) {
    const CEOID oid = Make(kAppointments, [&] {
        session->m_pAppt->put_Start(DateOf(2026, 3, 31, 9));
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = olRecursYearly;
        session->m_recurrence.MonthOfYear = 3;
        session->m_recurrence.DayOfMonth = 31;
    });
    for (const LONG month : {4, 3, 2}) {
        Load(kAppointments, oid);
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = olRecursYearly;
        session->m_recurrence.MonthOfYear = month;
        session->m_recurrence.DayOfMonth = month == 2 ? 28 : month == 4 ? 30 : 31;
        session->m_recurrence.bNoEndDate = TRUE;
        CEOID saved = 0;
        EXPECT_EQ(session->Save(&saved), S_OK);
        Load(kAppointments, oid);
        EXPECT_EQ(Get(session->m_pRec, &IRecurrencePattern::get_MonthOfYear), month);
        session->ReleaseItems();
    }
}

TEST_F(HostItems, AnUnknownRecurrenceIsTracedAndTheItemSaved) {
    TraceAll();
    const CEOID oid = Make(kAppointments, [&] {
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = 4;
    });
    EXPECT_THAT(Traced("CCEPoom::Save::Recurrring"),
                ElementsAre("CCEPoom::Save::Recurrring::Unknown RecurranceType:4"));
    Load(kAppointments, oid);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_IsRecurring), VARIANT_FALSE);
    session->ReleaseItems();
}

TEST_F(HostItems, SavingASeriesTracesItsWay) {
    TraceAll();
    const CEOID oid = MakeSeries();
    Texts traced = Traced();
    traced.erase(traced.begin(), std::find(traced.begin(), traced.end(), "CCEPoom::Save() +"));
    char last[96] = {};
    _snprintf(last, sizeof(last) - 1, "CCEPoom::Save - newoid=0x%08x, hr=0x00000000  -", oid);
    EXPECT_THAT(traced, ElementsAre("CCEPoom::Save() +", "CCEPoom::Save::Recurring +",
                                    "CCEPoom::Save::Set Rec->StartTime(2026/03/02 09:00:00.000)", "Appt->Duration=60",
                                    "CCEPoom::Save::Recurring::olRecursWeekly",
                                    "CCEPoom::Save::Recurring::NoEndDate==TRUE", "CCEPoom::Save::Recurring -",
                                    "CCEPoom::Save::Validation...", "CCEPoom::Save::IItem->Save...",
                                    "CCEPoom::ReleaseItems +", "CCEPoom::ReleaseItems -", last));
}

TEST_F(HostItems, ATaskDueBeforeItsStartIsDueAtItsStart) {
    const CEOID oid = Make(kTasks, [&] {
        session->m_pTask->put_StartDate(DateOf(2026, 3, 20));
        session->m_pTask->put_DueDate(DateOf(2026, 3, 10));
        session->m_pTask->put_ReminderSet(VARIANT_TRUE);
        session->m_pTask->put_ReminderTime(DateOf(2026, 3, 12, 8));
    });
    Load(kTasks, oid);
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_DueDate), DateOf(2026, 3, 20));
    EXPECT_EQ(Get(session->m_pTask, &ITask::get_ReminderTime), DateOf(2026, 3, 10)) << "the due date as it was";
    session->ReleaseItems();
}

TEST_F(HostItems, ASeriesThatIsRefusedTwiceIsSavedAlone) {
    control::PlanFault({"IAppointment::Save", 1, 2, static_cast<std::uint32_t>(E_INVALIDDATES)});
    const CEOID oid = MakeSeries();
    Load(kAppointments, oid);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_IsRecurring), VARIANT_FALSE);
    EXPECT_EQ(GetText(session->m_pAppt, &IAppointment::get_Subject), u"Series");
    session->ReleaseItems();
}

TEST_F(HostItems, ASeriesThatEndsBeforeItBeginsIsSavedWithoutEnd) {
    TraceAll();
    const CEOID oid = Make(kAppointments, [&] {
        session->m_pAppt->put_Start(DateOf(2026, 3, 2, 9));
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = olRecursDaily;
        session->m_recurrence.Interval = 1;
        session->m_recurrence.bNoEndDate = FALSE;
        session->m_recurrence.RecurrenceEndDate = DateOf(2026, 1, 1);
    });
    EXPECT_THAT(Traced("CCEPoom::Save::Trying"), ElementsAre("CCEPoom::Save::Trying save without end date..."));
    Load(kAppointments, oid);
    EXPECT_EQ(Get(session->m_pRec, &IRecurrencePattern::get_NoEndDate), VARIANT_TRUE);
    session->ReleaseItems();
}

TEST_F(HostItems, TheReminderOfASeriesSurvivesItsSaving) {
    const CEOID oid = Make(kAppointments, [&] {
        session->m_pAppt->put_Start(DateOf(2026, 3, 2, 9));
        session->m_pAppt->put_ReminderSet(VARIANT_TRUE);
        session->m_pAppt->put_ReminderMinutesBeforeStart(45);
        session->m_pAppt->put_ReminderOptions(olVibrate);
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = olRecursDaily;
        session->m_recurrence.Interval = 1;
    });
    Load(kAppointments, oid);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_ReminderSet), VARIANT_TRUE);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_ReminderMinutesBeforeStart), 45);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_ReminderOptions), olVibrate);
    session->ReleaseItems();
}

TEST_F(HostItems, AReceivedListOnASingleAppointmentIsHandedOn) {
    TraceAll();
    WCHAR text[] = TEXT("2026-03-09 09:00:00\t");
    const CEPROPVAL property = TextProperty(0xAFFF001F, text);
    const CEOID oid = Make(kAppointments, [&] { session->m_pExcList = &property; });
    EXPECT_NE(oid, 0u);
    EXPECT_THAT(
        Traced("CCEPoom::SetRecExceptionLst"),
        ElementsAre("CCEPoom::SetRecExceptionLst +",
                    "CCEPoom::SetRecExceptionLst Exception list:  2026-03-09 09:00:00\t",
                    "CCEPoom::SetRecExceptionLst Next Token:  2026-03-09 09:00:00",
                    "CCEPoom::SetRecExceptionLst GetOccurance:  46090.375000",
                    "CCEPoom::SetRecExceptionLst failed to retrieve occurence", "CCEPoom::SetRecExceptionLst -"));
}

// --- Recurrence and exceptions -----------------------------------------------------------------------------------

TEST_F(HostItems, ThreeExceptionsMakeTheTextsAndTheModifiedOccurrencesLeave) {
    const CEOID oid = MakeSeries();
    Load(kAppointments, oid);
    ChangeOccurrence(DateOf(2026, 3, 9), [](IAppointment* occurrence) {
        occurrence->put_Subject(AutomationText(TEXT("caf\u00E9")).Get());
        EXPECT_EQ(occurrence->Save(), S_OK);
    });
    ChangeOccurrence(DateOf(2026, 3, 16), [](IAppointment* occurrence) { EXPECT_EQ(occurrence->Delete(), S_OK); });
    ChangeOccurrence(DateOf(2026, 3, 23), [](IAppointment* occurrence) {
        occurrence->put_Start(DateOf(2026, 3, 24, 14));
        occurrence->put_Location(AutomationText(TEXT("elsewhere")).Get());
        EXPECT_EQ(occurrence->Save(), S_OK);
    });
    session->ReleaseItems();

    Load(kAppointments, oid);
    ASSERT_TRUE(session->GetRecurring());
    EXPECT_EQ(session->m_recurrence.bRecurrFound, TRUE);
    EXPECT_EQ(std::u16string(session->m_bstrExcList),
              u"2026-03-09 09:00:00\t2026-03-16 09:00:00\t2026-03-23 09:00:00\t");
    const std::u16string modified = session->m_bstrExcModList;
    EXPECT_EQ(
        modified,
        u"caf\uFFE9~^!^~~^!^~2026-03-09 09:00:00~^!^~60~^!^~0~^!^~0~^!^~1~^!^~12~^!^~~^!^~~^!^~~^!^~2~^!^~"
        u"Series~^!^~elsewhere~^!^~2026-03-24 14:00:00~^!^~60~^!^~0~^!^~0~^!^~1~^!^~12~^!^~~^!^~~^!^~~^!^~2~^!^~");
    for (const WORD day : {9, 16, 23}) {
        Reference<IAppointment> occurrence;
        EXPECT_NE(session->m_pRec->GetOccurrence(DateOf(2026, 3, day), occurrence.Out()), S_OK) << day;
    }

    // Once more: they are deleted now, so the dates stay and no text is left.
    ASSERT_TRUE(session->GetRecurring());
    EXPECT_EQ(std::u16string(session->m_bstrExcList),
              u"2026-03-09 09:00:00\t2026-03-16 09:00:00\t2026-03-23 09:00:00\t");
    EXPECT_EQ(session->m_bstrExcModList, nullptr);
    session->ReleaseItems();
}

TEST_F(HostItems, TheRecipientsOfASeriesAreInTheTextOfItsOccurrence) {
    const CEOID oid = Make(kAppointments, [&] {
        session->m_pAppt->put_Start(DateOf(2026, 3, 2, 9));
        WCHAR recipients[] = TEXT("Ann;a@x");
        session->SetRecipients(recipients);
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = olRecursWeekly;
        session->m_recurrence.Interval = 1;
        session->m_recurrence.DayOfWeekMask = olMonday;
    });
    Load(kAppointments, oid);
    ChangeOccurrence(DateOf(2026, 3, 9), [](IAppointment* occurrence) {
        occurrence->put_Subject(AutomationText(TEXT("Changed")).Get());
        EXPECT_EQ(occurrence->Save(), S_OK);
    });
    ASSERT_TRUE(session->GetRecurring());
    ASSERT_NE(session->m_bstrExcModList, nullptr);
    EXPECT_NE(std::u16string(session->m_bstrExcModList).find(u"~^!^~Ann;a@x~^!^~2~^!^~"), std::u16string::npos);
    session->ReleaseItems();
}

TEST_F(HostItems, ASingleItemHasAPatternButDoesNotRecur) {
    for (const DWORD type : {kAppointments, kTasks}) {
        const CEOID oid = Make(type);
        Load(type, oid);
        EXPECT_NE(session->m_pRec, nullptr);
        EXPECT_TRUE(session->GetRecurring());
        EXPECT_EQ(session->m_recurrence.bRecurrFound, FALSE);
        EXPECT_EQ(session->m_bstrExcList, nullptr);
        CEOID saved = 0;
        EXPECT_EQ(session->Save(&saved), S_OK);
        EXPECT_EQ(saved, oid);
    }
}

TEST_F(HostItems, ListedOccurrencesLeaveASeries) {
    WCHAR text[] = TEXT("2026-03-09 09:00:00\t2008-3-01 10:00:00\t2026-03-16 09:00:00\t2026-03-17 09:00:00\t");
    const CEPROPVAL property = TextProperty(0xAFFF001F, text);
    const CEOID oid = Make(kAppointments, [&] {
        session->m_pAppt->put_Start(DateOf(2026, 3, 2, 9));
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = olRecursWeekly;
        session->m_recurrence.Interval = 1;
        session->m_recurrence.DayOfWeekMask = olMonday;
        session->m_pExcList = &property;
    });
    Load(kAppointments, oid);
    ASSERT_TRUE(session->GetRecurring());
    EXPECT_EQ(std::u16string(session->m_bstrExcList), u"2026-03-09 09:00:00\t2026-03-16 09:00:00\t");
    EXPECT_EQ(session->m_bstrExcModList, nullptr);
    session->ReleaseItems();
}

// --- Texts -------------------------------------------------------------------------------------------------------

TEST_F(HostItems, EmptyCategoriesAndNotesAreNoText) {
    for (const DWORD type : {kContacts, kAppointments, kTasks}) {
        const CEOID oid = Make(type);
        Load(type, oid);
        WCHAR* text = nullptr;
        EXPECT_FALSE(session->GetCategories(&text));
        EXPECT_EQ(text, nullptr);
        EXPECT_FALSE(session->GetNote(&text));
        EXPECT_EQ(text, nullptr);
        session->ReleaseItems();
    }
}

TEST_F(HostItems, OddCharactersSurviveInCategoriesAndNotes) {
    const std::u16string odd = u"\U0001F600 \xD800 \xDC00 \u0100 ~^!^~ \t;,\r\n";
    for (const DWORD type : {kContacts, kAppointments, kTasks}) {
        const CEOID oid = Make(type, [&] {
            session->SetCategories(odd.c_str());
            session->SetNote(odd.c_str());
        });
        Load(type, oid);
        WCHAR* text = nullptr;
        EXPECT_TRUE(session->GetCategories(&text));
        EXPECT_EQ(std::u16string(text), odd);
        delete[] text;
        EXPECT_TRUE(session->GetNote(&text));
        EXPECT_EQ(std::u16string(text), odd);
        delete[] text;
        session->ReleaseItems();
    }
}

TEST_F(HostItems, CategoriesGoToEveryLoadedItemAndTheNoteToTheFirst) {
    EXPECT_TRUE(session->InitializeItem(0, kContacts, 0));
    for (const auto& [type, add] : {std::pair<DWORD, int>{kAppointments, 1}, {kTasks, 2}}) {
        // A session loads one item; a second and a third are lent to it by another.
        ASSERT_TRUE(other->InitializeItem(0, type, 0));
        if (add == 1) std::swap(session->m_pAppt, other->m_pAppt);
        if (add == 2) std::swap(session->m_pTask, other->m_pTask);
    }
    session->SetCategories(TEXT("Work"));
    session->SetNote(TEXT("a note"));
    EXPECT_EQ(GetText(session->m_pTask, &ITask::get_Categories), u"Work");
    EXPECT_EQ(GetText(session->m_pAppt, &IAppointment::get_Categories), u"Work");
    EXPECT_EQ(GetText(session->m_pContact, &IContact::get_Categories), u"Work");
    EXPECT_EQ(GetText(session->m_pTask, &ITask::get_Body), u"a note");
    EXPECT_EQ(GetText(session->m_pAppt, &IAppointment::get_Body), u"");
    ReleaseAndForget(session->m_pTask);
    session->SetNote(TEXT("another"));
    EXPECT_EQ(GetText(session->m_pAppt, &IAppointment::get_Body), u"another");
    EXPECT_EQ(GetText(session->m_pContact, &IContact::get_Body), u"");
    session->ReleaseItems();
    other->ReleaseItems();
}

std::u16string RecipientsOf(CCEPoom& session) {
    WCHAR* text = nullptr;
    session.GetRecipients(&text);
    const std::u16string result = text != nullptr ? text : u"(none)";
    delete[] text;
    return result;
}

TEST_F(HostItems, RecipientsGoInAndComeOut) {
    const CEOID oid = Make(kAppointments, [&] {
        WCHAR text[] = TEXT("Ann;ann-address;Bob");
        EXPECT_TRUE(session->SetRecipients(text));
    });
    Load(kAppointments, oid);
    EXPECT_EQ(RecipientsOf(*session), u"Ann;ann-address;Bob;Bob");
    WCHAR empty[] = TEXT("");
    session->SetRecipients(empty);
    EXPECT_EQ(RecipientsOf(*session), u"Ann;ann-address;Bob;Bob");
    WCHAR blank[] = TEXT(" ");
    session->SetRecipients(blank);
    EXPECT_EQ(RecipientsOf(*session), u"(none)");
    session->ReleaseItems();
}

TEST_F(HostItems, ARecipientWithoutAddressContributesNothing) {
    EXPECT_TRUE(session->InitializeItem(0, kAppointments, 0));
    Reference<IRecipients> recipients;
    session->m_pAppt->get_Recipients(recipients.Out());
    Reference<IRecipient> recipient;
    recipients->Add(AutomationText(TEXT("Ann")).Get(), recipient.Out());
    recipient->put_Address(AutomationText(TEXT("a@x")).Get());
    recipients->Add(AutomationText(TEXT("Bob")).Get(), recipient.Out());
    EXPECT_EQ(RecipientsOf(*session), u"Ann;a@x;");
    session->ReleaseItems();
}

TEST_F(HostItems, RemindersOfAppointmentsCountWholeDays) {
    EXPECT_TRUE(session->InitializeItem(0, kAppointments, 0));
    session->m_pAppt->put_Start(DateOf(2026, 3, 9, 10));
    FILETIME when = DateToFileTime(DateOf(2026, 3, 6, 9));
    EXPECT_TRUE(session->SetReminder(TRUE, olSound, &when));
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_ReminderMinutesBeforeStart), 180000);
    BOOL set = FALSE;
    LONG options = 0;
    EXPECT_TRUE(session->GetReminder(&set, &options, &when));
    EXPECT_EQ(options, olSound);
    const FILETIME expected = DateToFileTime(DateOf(2026, 3, 6, 10));
    EXPECT_EQ(CompareFileTime(&when, &expected), 0);
    when = DateToFileTime(DateOf(2026, 3, 9, 9));
    session->SetReminder(TRUE, olSound, &when);
    EXPECT_EQ(Get(session->m_pAppt, &IAppointment::get_ReminderMinutesBeforeStart), 0);
    session->ReleaseItems();
}

}  // namespace
}  // namespace kez::tests
