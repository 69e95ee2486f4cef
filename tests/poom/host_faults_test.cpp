// Every call that the bridge makes fails in turn: nothing crashes, everything is given back, the items of the device
// stay readable, and no more is lost than the failing call explains.
#include <algorithm>
#include <iterator>

#include "tests/poom/host_fixture.h"

namespace kez::tests {
namespace {

class HostFaults : public HostBridge {
 protected:
    static bool IsMade(const std::vector<std::pair<std::string, std::uint64_t>>& counts, const std::string& call) {
        return std::any_of(counts.begin(), counts.end(), [&](const auto& count) { return count.first == call; });
    }
    // Runs `work` once to learn its calls, then again for each of them, with that one failing; `prepare` makes its
    // world before, `check` looks at what is left when faults are over. The calls of `expected` have to be among them.
    void Sweep(const std::function<void()>& prepare, const std::function<void()>& work,
               const std::function<void(const std::string& fault)>& check, std::uint64_t mostOfEach,
               const Texts& expected = {}) {
        prepare();
        control::ClearCallCounts();
        control::CountCalls(true);
        work();
        control::CountCalls(false);
        const auto counts = control::CallCounts();
        session->ReleaseItems();
        for (const std::string& call : expected) EXPECT_TRUE(IsMade(counts, call)) << call;
        int planned = 0;
        for (const auto& [call, count] : counts) {
            // What cannot be freed stays: nobody could do better.
            if (call == "HeapFree" || call == "LocalFree") continue;
            for (std::uint64_t nth = 1; nth <= std::min(count, mostOfEach); ++nth) {
                prepare();
                const control::LiveCounts before = control::Live();
                const bool isMethod = call.find("::") != std::string::npos;
                control::PlanFault({call, static_cast<std::uint32_t>(nth), 1,
                                    isMethod ? static_cast<std::uint32_t>(E_FAIL) : ERROR_NOT_ENOUGH_MEMORY});
                work();
                control::ClearFaults();
                session->ReleaseItems();
                const std::string fault = call + " #" + std::to_string(nth);
                EXPECT_EQ(control::Describe(control::Live()), control::Describe(before)) << fault;
                check(fault);
                ++planned;
            }
        }
        RecordProperty("faults", planned);
        EXPECT_GT(planned, 10);
    }
    void PurgeAll(DWORD type) {
        CCEPoom purger;
        ASSERT_TRUE(purger.InitializeType(type, 0));
        purger.Purge();
        purger.ReleaseItems();
        ASSERT_EQ(CountItems(type), 0);
    }
};

TEST_F(HostFaults, WritingAContactSurvivesEachFailingCall) {
    std::vector<BYTE> bytes(40000, 9);
    const CEPROPVAL birthday = DateProperty(0x40010040, DateOf(1980, 5, 17));
    Sweep([&] { PurgeAll(kContacts); },
          [&] {
              if (!session->InitializeItem(0, kContacts, 0)) return;
              Write(TextProperty(0x3A11001F, TEXT("Miller")));
              Write(TextProperty(0x3A06001F, TEXT("Ann")));
              Write(birthday);
              Write(TextProperty(0xAFE1001F, TEXT("ann@im")));
              CEPROPVAL picture = Property(0xAFE90041);
              picture.val.blob = {static_cast<DWORD>(bytes.size()), bytes.data()};
              Write(picture);
              session->SetCategories(TEXT("Work"));
              session->SetNote(TEXT("a note"));
              CEOID oid = 0;
              session->Save(&oid);
          },
          [&](const std::string& fault) {
              const INT count = CountItems(kContacts);
              EXPECT_LE(count, 1) << fault;
              if (count == 0) return;
              ASSERT_TRUE(session->InitializeType(kContacts, 0));
              const CEOID oid = session->GetFirstID();
              ASSERT_TRUE(session->InitializeItem(oid, kContacts, static_cast<LONG>(oid))) << fault;
              PropertyList list;
              EXPECT_TRUE(list.Read(*session, kContacts)) << fault;
              // One call failed, so at most one of the values is missing.
              int missing = 0;
              for (const CEPROPID id : {0x3A11001Fu, 0x3A06001Fu, 0x40010040u, 0xAFE1001Fu, 0xAFE90041u}) {
                  missing += list.Find(id)->wFlags != 0 ? 1 : 0;
              }
              const auto& contact = session->m_pContact;
              missing += GetText(contact, &IContact::get_Categories).empty() ? 1 : 0;
              missing += GetText(contact, &IContact::get_Body).empty() ? 1 : 0;
              // Without IItem neither the address nor the picture can be written; it is asked for anew each time.
              EXPECT_LE(missing, 1) << fault;
              session->ReleaseItems();
          },
          8,
          {"IPOutlookApp::CreateItem", "IContact::QueryInterface", "IContact::put_LastName", "IContact::put_FirstName",
           "IContact::put_Birthday", "IItem::SetProps", "IItem::OpenProperty", "IStream::Write", "IStream::Commit",
           "IContact::put_Categories", "IContact::put_Body", "IContact::Save", "IContact::get_Oid"});
}

TEST_F(HostFaults, ReadingAContactSurvivesEachFailingCall) {
    std::vector<BYTE> bytes(70000, 9);
    const CEOID oid = Make(kContacts, [&] {
        Write(TextProperty(0x3A11001F, TEXT("Miller")));
        CEPROPVAL picture = Property(0xAFE90041);
        picture.val.blob = {static_cast<DWORD>(bytes.size()), bytes.data()};
        Write(picture);
        session->SetCategories(TEXT("Work"));
    });
    Sweep([] {},
          [&] {
              if (!session->InitializeItem(oid, kContacts, static_cast<LONG>(oid))) return;
              PropertyList list;
              list.Read(*session, kContacts);
              WCHAR* text = nullptr;
              session->GetCategories(&text);
              delete[] text;
              session->GetNote(&text);
              delete[] text;
          },
          [&](const std::string& fault) {
              Load(kContacts, oid);
              PropertyList list;
              EXPECT_TRUE(list.Read(*session, kContacts)) << fault;
              EXPECT_EQ(list.Find(0xAFE90041)->val.blob.dwCount, 70000u) << fault;
              session->ReleaseItems();
          },
          8,
          {"IItem::GetProps", "IItem::OpenProperty", "IStream::Stat", "IStream::Read", "IContact::get_Categories",
           "IContact::get_Body", "IPOutlookApp::SysFreeString", "LocalReAlloc"});
}

TEST_F(HostFaults, WritingASeriesSurvivesEachFailingCall) {
    const CEPROPVAL start = DateProperty(0x420D0040, DateOf(2026, 3, 2, 9));
    const DATE end = DateOf(2026, 4, 30);
    Sweep([&] { PurgeAll(kAppointments); },
          [&] {
              if (!session->InitializeItem(0, kAppointments, 0)) return;
              Write(TextProperty(0x0037001F, TEXT("Series")));
              Write(start);
              Write(LongProperty(0x42130003, 60));
              Write(ShortProperty(0x45030002, -1));
              WCHAR recipients[] = TEXT("Ann;a@x");
              Write(TextProperty(0xAFFC001F, recipients));
              session->m_recurrence.bRecurrFound = TRUE;
              session->m_recurrence.RecurrenceType = olRecursWeekly;
              session->m_recurrence.Interval = 1;
              session->m_recurrence.DayOfWeekMask = olMonday;
              session->m_recurrence.bNoEndDate = FALSE;
              session->m_recurrence.RecurrenceEndDate = end;
              WCHAR text[] = TEXT("2026-03-09 09:00:00\t2026-03-16 09:00:00\t");
              const CEPROPVAL list = TextProperty(0xAFFF001F, text);
              session->m_pExcList = &list;
              CEOID oid = 0;
              session->Save(&oid);
          },
          [&](const std::string& fault) {
              const INT count = CountItems(kAppointments);
              EXPECT_LE(count, 1) << fault;
              if (count == 0) return;
              ASSERT_TRUE(session->InitializeType(kAppointments, 0));
              const CEOID oid = session->GetFirstID();
              ASSERT_TRUE(session->InitializeItem(oid, kAppointments, static_cast<LONG>(oid))) << fault;
              EXPECT_TRUE(session->GetRecurring()) << fault;
              PropertyList list;
              EXPECT_TRUE(list.Read(*session, kAppointments)) << fault;
              session->ReleaseItems();
          },
          4,
          {"IAppointment::put_ReminderSet", "IAppointment::put_ReminderOptions",
           "IAppointment::put_ReminderMinutesBeforeStart", "IAppointment::get_AllDayEvent",
           "IAppointment::get_Duration", "IRecurrencePattern::put_StartTime",
           "IRecurrencePattern::put_PatternStartDate", "IRecurrencePattern::put_Duration",
           "IRecurrencePattern::put_RecurrenceType", "IRecurrencePattern::put_Interval",
           "IRecurrencePattern::put_DayOfWeekMask", "IRecurrencePattern::put_NoEndDate",
           "IRecurrencePattern::put_PatternEndDate", "IRecurrencePattern::get_Exceptions", "IExceptions::get_Count",
           "IRecurrencePattern::GetOccurrence", "IAppointment::Delete"});
}

TEST_F(HostFaults, ReadingExceptionsNeverLosesAnOccurrence) {
    CEOID oid = 0;
    std::u16string texts;
    Sweep(
        [&] {
            PurgeAll(kAppointments);
            oid = MakeSeries();
            Load(kAppointments, oid);
            ChangeOccurrence(DateOf(2026, 3, 9), [](IAppointment* occurrence) {
                occurrence->put_Subject(AutomationText(TEXT("Changed")).Get());
                ASSERT_EQ(occurrence->Save(), S_OK);
            });
            ChangeOccurrence(DateOf(2026, 3, 16), [](IAppointment* occurrence) { occurrence->Delete(); });
            session->ReleaseItems();
        },
        [&] {
            texts.clear();
            if (!session->InitializeItem(oid, kAppointments, static_cast<LONG>(oid))) return;
            session->GetRecurring();
            if (session->m_bstrExcModList != nullptr) texts = session->m_bstrExcModList;
        },
        [&](const std::string& fault) {
            Load(kAppointments, oid);
            ASSERT_TRUE(session->GetRecurring());
            const bool stillThere = session->m_bstrExcModList != nullptr;
            // A getter may have failed, but where the occurrence left the device, its text was there.
            EXPECT_TRUE(stillThere || !texts.empty()) << fault;
            EXPECT_EQ(std::u16string(session->m_bstrExcList), u"2026-03-09 09:00:00\t2026-03-16 09:00:00\t") << fault;
            session->ReleaseItems();
        },
        6,
        {"IAppointment::get_IsRecurring", "IExceptions::get_Count", "IExceptions::Item", "IException::get_OriginalDate",
         "IException::get_Deleted", "IException::get_AppointmentItem", "IAppointment::get_Subject",
         "IAppointment::get_Location", "IAppointment::get_Start", "IAppointment::get_Duration",
         "IAppointment::get_AllDayEvent", "IAppointment::get_Sensitivity", "IAppointment::get_ReminderSet",
         "IAppointment::get_ReminderOptions", "IAppointment::get_Body", "IAppointment::get_Categories",
         "IAppointment::get_Recipients", "IAppointment::get_BusyStatus", "IAppointment::Delete"});
}

TEST_F(HostFaults, WritingATaskSurvivesEachFailingCall) {
    const CEPROPVAL start = DateProperty(0x41040040, DateOf(2026, 3, 10));
    const CEPROPVAL due = DateProperty(0x41050040, DateOf(2026, 3, 5));
    const DATE reminderTime = DateOf(2026, 3, 7, 8);
    Sweep([&] { PurgeAll(kTasks); },
          [&] {
              if (!session->InitializeItem(0, kTasks, 0)) return;
              Write(TextProperty(0x0037001F, TEXT("Task")));
              Write(LongProperty(0x00260003, 2));
              Write(start);
              Write(due);
              CEPROPVAL reminder = Property(0xAFFB0005);
              reminder.val.dblVal = reminderTime;
              Write(reminder);
              CEOID oid = 0;
              session->Save(&oid);
          },
          [&](const std::string& fault) { EXPECT_LE(CountItems(kTasks), 1) << fault; }, 6);
}

TEST_F(HostFaults, ChangingAnAppointmentSurvivesEachFailingCall) {
    const CEPROPVAL start = DateProperty(0x420D0040, DateOf(2026, 3, 2, 9));
    const FILETIME dayBefore = DateToFileTime(DateOf(2026, 3, 1, 9));
    CEOID oid = 0;
    Sweep(
        [&] {
            PurgeAll(kAppointments);
            oid = Make(kAppointments, [&] {
                WCHAR recipients[] = TEXT("Old;o@x;Older;oo@x");
                session->SetRecipients(recipients);
                session->m_pAppt->put_ReminderSet(VARIANT_FALSE);
            });
        },
        [&] {
            if (!session->InitializeItem(oid, kAppointments, static_cast<LONG>(oid))) return;
            Write(TextProperty(0x0037001F, TEXT("Talk")));
            Write(TextProperty(0x4208001F, TEXT("here")));
            Write(start);
            Write(LongProperty(0x42130003, 45));
            Write(ShortProperty(0x42150003, 2));
            Write(ShortProperty(0x00040002, 2));
            Write(ShortProperty(0x000F0002, 0));
            Write(LongProperty(0x45010003, 30));
            Write(ShortProperty(0x45030002, -1));
            session->SetReminder(TRUE, olVibrate, &dayBefore);
            WCHAR recipients[] = TEXT("Ann;a@x");
            Write(TextProperty(0xAFFC001F, recipients));
            session->SetCategories(TEXT("Work"));
            session->SetNote(TEXT("a note"));
            CEOID saved = 0;
            session->Save(&saved);
        },
        [&](const std::string& fault) {
            EXPECT_EQ(CountItems(kAppointments), 1) << fault;
            Load(kAppointments, oid);
            IAppointment* item = session->m_pAppt;
            WCHAR* recipients = nullptr;
            session->GetRecipients(&recipients);
            const bool taken[] = {
                GetText(item, &IAppointment::get_Subject) == u"Talk",
                GetText(item, &IAppointment::get_Location) == u"here",
                Get(item, &IAppointment::get_Start) == DateOf(2026, 3, 2, 9),
                Get(item, &IAppointment::get_Duration) == 45,
                Get(item, &IAppointment::get_Sensitivity) == olPrivate,
                Get(item, &IAppointment::get_ReminderSet) == VARIANT_TRUE,
                Get(item, &IAppointment::get_ReminderOptions) == olVibrate,
                Get(item, &IAppointment::get_ReminderMinutesBeforeStart) == 60000,
                GetText(item, &IAppointment::get_Categories) == u"Work",
                GetText(item, &IAppointment::get_Body) == u"a note",
                recipients != nullptr && std::u16string(recipients) == u"Ann;a@x",
            };
            delete[] recipients;
            const std::size_t missing = std::count(std::begin(taken), std::end(taken), false);
            EXPECT_TRUE(missing <= 1 || missing == std::size(taken)) << fault << ": " << missing << " are missing";
            session->ReleaseItems();
        },
        6,
        {"IPOutlookApp::GetItemFromOid",
         "IAppointment::put_Subject",
         "IAppointment::put_Location",
         "IAppointment::put_Start",
         "IAppointment::put_Duration",
         "IAppointment::put_AllDayEvent",
         "IAppointment::put_Sensitivity",
         "IAppointment::put_BusyStatus",
         "IAppointment::put_ReminderSet",
         "IAppointment::put_ReminderOptions",
         "IAppointment::put_ReminderMinutesBeforeStart",
         "IAppointment::put_Categories",
         "IAppointment::put_Body",
         "IAppointment::get_Recipients",
         "IRecipients::get_Count",
         "IRecipients::Remove",
         "IRecipients::Add",
         "IRecipient::put_Address",
         "IAppointment::GetRecurrencePattern",
         "IAppointment::ClearRecurrencePattern",
         "IAppointment::Save",
         "IAppointment::get_Oid"});
}

TEST_F(HostFaults, ReadingAnAppointmentSurvivesEachFailingCall) {
    const CEOID oid = Make(kAppointments, [&] {
        WCHAR recipients[] = TEXT("Ann;a@x;Bob;b@x");
        session->SetRecipients(recipients);
        session->SetCategories(TEXT("Work"));
        session->SetNote(TEXT("a note"));
    });
    std::u16string read;
    Sweep([] {},
          [&] {
              read.clear();
              if (!session->InitializeItem(oid, kAppointments, static_cast<LONG>(oid))) return;
              PropertyList list;
              list.Read(*session, kAppointments);
              WCHAR* text = nullptr;
              session->GetCategories(&text);
              delete[] text;
              session->GetNote(&text);
              delete[] text;
              if (session->GetRecipients(&text)) read = text;
              delete[] text;
              BOOL set = FALSE;
              LONG options = 0;
              FILETIME when = {};
              session->GetReminder(&set, &options, &when);
          },
          [&](const std::string& fault) {
              EXPECT_THAT(read, ::testing::AnyOf(u"Ann;a@x;Bob;b@x", u"Ann;a@x;", u"Bob;b@x", u"")) << fault;
              Load(kAppointments, oid);
              WCHAR* text = nullptr;
              EXPECT_TRUE(session->GetRecipients(&text)) << fault;
              EXPECT_EQ(std::u16string(text), u"Ann;a@x;Bob;b@x") << fault;
              delete[] text;
              session->ReleaseItems();
          },
          4,
          {"IAppointment::QueryInterface", "IItem::GetProps", "IAppointment::get_Categories", "IAppointment::get_Body",
           "IAppointment::get_Recipients", "IRecipients::get_Count", "IRecipients::Item", "IRecipient::get_Name",
           "IRecipient::get_Address", "IPOutlookApp::SysFreeString", "IAppointment::get_ReminderOptions",
           "IAppointment::get_ReminderSet", "IAppointment::get_ReminderMinutesBeforeStart", "IAppointment::get_Start"});
}

TEST_F(HostFaults, WritingARecurringTaskSurvivesEachFailingCall) {
    const CEPROPVAL start = DateProperty(0x41040040, DateOf(2026, 3, 2));
    const CEPROPVAL due = DateProperty(0x41050040, DateOf(2026, 3, 5));
    const FILETIME reminder = DateToFileTime(DateOf(2026, 3, 4, 8));
    Sweep([&] { PurgeAll(kTasks); },
          [&] {
              if (!session->InitializeItem(0, kTasks, 0)) return;
              Write(TextProperty(0x0037001F, TEXT("Task")));
              Write(LongProperty(0x00260003, 0));
              Write(ShortProperty(0x00040002, 2));
              Write(start);
              Write(due);
              Write(ShortProperty(0x410F0002, 0));
              Write(ShortProperty(0x45030002, 1));
              session->SetReminder(TRUE, olVibrate, &reminder);
              session->SetCategories(TEXT("Work"));
              session->SetNote(TEXT("a note"));
              session->m_recurrence.bRecurrFound = TRUE;
              session->m_recurrence.RecurrenceType = olRecursWeekly;
              session->m_recurrence.Interval = 1;
              session->m_recurrence.DayOfWeekMask = olMonday;
              CEOID oid = 0;
              session->Save(&oid);
          },
          [&](const std::string& fault) {
              const INT count = CountItems(kTasks);
              EXPECT_LE(count, 1) << fault;
              if (count == 0) return;
              ASSERT_TRUE(session->InitializeType(kTasks, 0));
              const CEOID oid = session->GetFirstID();
              ASSERT_TRUE(session->InitializeItem(oid, kTasks, static_cast<LONG>(oid))) << fault;
              EXPECT_TRUE(session->GetRecurring()) << fault;
              PropertyList list;
              EXPECT_TRUE(list.Read(*session, kTasks)) << fault;
              session->ReleaseItems();
          },
          4,
          {"IPOutlookApp::CreateItem",
           "ITask::put_Subject",
           "ITask::put_Importance",
           "ITask::put_Sensitivity",
           "ITask::put_StartDate",
           "ITask::put_DueDate",
           "ITask::put_Complete",
           "ITask::put_ReminderSet",
           "ITask::put_ReminderOptions",
           "ITask::put_ReminderTime",
           "ITask::put_Categories",
           "ITask::put_Body",
           "ITask::GetRecurrencePattern",
           "IRecurrencePattern::put_StartTime",
           "IRecurrencePattern::put_PatternStartDate",
           "IRecurrencePattern::put_RecurrenceType",
           "ITask::get_StartDate",
           "ITask::get_DueDate",
           "ITask::get_ReminderSet",
           "ITask::get_ReminderTime",
           "ITask::Save",
           "ITask::get_Oid"});
}

TEST_F(HostFaults, ReadingARecurringTaskSurvivesEachFailingCall) {
    const CEOID oid = Make(kTasks, [&] {
        session->m_pTask->put_StartDate(DateOf(2026, 3, 2));
        session->SetCategories(TEXT("Work"));
        session->SetNote(TEXT("a note"));
        session->m_recurrence.bRecurrFound = TRUE;
        session->m_recurrence.RecurrenceType = olRecursDaily;
        session->m_recurrence.Interval = 1;
    });
    const auto read = [&] {
        if (!session->InitializeItem(oid, kTasks, static_cast<LONG>(oid))) return;
        PropertyList list;
        list.Read(*session, kTasks);
        session->GetRecurring();
        WCHAR* text = nullptr;
        session->GetCategories(&text);
        delete[] text;
        session->GetNote(&text);
        delete[] text;
        BOOL set = FALSE;
        LONG options = 0;
        FILETIME when = {};
        session->GetReminder(&set, &options, &when);
    };
    Sweep([] {}, read,
          [&](const std::string& fault) {
              Load(kTasks, oid);
              EXPECT_TRUE(session->GetRecurring()) << fault;
              EXPECT_EQ(session->m_recurrence.bRecurrFound, TRUE) << fault;
              session->ReleaseItems();
          },
          4,
          {"ITask::QueryInterface",
           "ITask::get_IsRecurring",
           "ITask::get_Categories",
           "ITask::get_Body",
           "ITask::get_ReminderOptions",
           "ITask::get_ReminderSet",
           "ITask::get_ReminderTime",
           "IRecurrencePattern::get_Duration",
           "IRecurrencePattern::get_Occurrences",
           "IRecurrencePattern::get_RecurrenceType",
           "IRecurrencePattern::get_DayOfMonth",
           "IRecurrencePattern::get_DayOfWeekMask",
           "IRecurrencePattern::get_Instance",
           "IRecurrencePattern::get_Interval",
           "IRecurrencePattern::get_MonthOfYear",
           "IRecurrencePattern::get_NoEndDate",
           "IRecurrencePattern::get_StartTime",
           "IRecurrencePattern::get_PatternStartDate",
           "IRecurrencePattern::get_EndTime",
           "IRecurrencePattern::get_PatternEndDate",
           "IRecurrencePattern::get_Exceptions",
           "IExceptions::get_Count"});
}

TEST_F(HostFaults, WalkingAndPurgingSurviveEachFailingCall) {
    Sweep(
        [&] {
            PurgeAll(kContacts);
            for (int i = 0; i < 3; ++i) Make(kContacts);
        },
        [&] {
            if (!session->InitializeType(kContacts, 0)) return;
            session->GetRecordCount();
            for (CEOID oid = session->GetFirstID(); oid != 0; oid = session->GetNextID()) {
            }
            session->m_iIndex = 1;
            session->Purge();
        },
        [&](const std::string& fault) { EXPECT_LE(CountItems(kContacts), 3) << fault; }, 4,
        {"IPOutlookApp::GetDefaultFolder", "IFolder::get_Items", "IPOutlookItemCollection::get_Count",
         "IPOutlookItemCollection::Item", "IContact::QueryInterface", "IItem::GetProps", "IItem::Delete"});
}

TEST_F(HostFaults, LoggingOnSurvivesEachFailingCall) {
    control::ClearCallCounts();
    control::CountCalls(true);
    {
        other.reset();
        session.reset();
        session.emplace();
        session->Logon();
        session.reset();
    }
    control::CountCalls(false);
    const auto counts = control::CallCounts();
    for (const char* call : {"CoInitializeEx", "CoCreateInstance", "IPOutlookApp::Logon", "IPOutlookApp::Logoff"}) {
        EXPECT_TRUE(IsMade(counts, call)) << call;
    }
    for (const auto& [call, count] : counts) {
        for (std::uint64_t nth = 1; nth <= std::min<std::uint64_t>(count, 3); ++nth) {
            control::PlanFault({call, static_cast<std::uint32_t>(nth), 1, static_cast<std::uint32_t>(E_FAIL)});
            {
                CCEPoom logging;
                logging.Logon();
                logging.InitializeType(kContacts, 0);
            }
            control::ClearFaults();
            EXPECT_EQ(CCEPoom::m_polApp, nullptr) << call;
            liveCounts.Check();
        }
    }
    session.emplace();
    EXPECT_TRUE(session->Logon());
}

}  // namespace
}  // namespace kez::tests
