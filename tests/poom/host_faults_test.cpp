// Every call that the bridge makes fails in turn: nothing crashes, everything is given back, the items of the device
// stay readable, and no more is lost than the failing call explains.
#include <map>

#include "tests/poom/host_fixture.h"

namespace kez::tests {
namespace {

class HostFaults : public HostBridge {
 protected:
    // Runs `work` once to learn its calls, then again for each of them, with that one failing; `prepare` makes its
    // world before, `check` looks at what is left when faults are over.
    void Sweep(const std::function<void()>& prepare, const std::function<void()>& work,
               const std::function<void(const std::string& fault)>& check, std::uint64_t mostOfEach) {
        prepare();
        control::ClearCallCounts();
        control::CountCalls(true);
        work();
        control::CountCalls(false);
        const auto counts = control::CallCounts();
        session->ReleaseItems();
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
          8);
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
          8);
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
          4);
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
        6);
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
        [&](const std::string& fault) { EXPECT_LE(CountItems(kContacts), 3) << fault; }, 4);
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
    for (const auto& [call, count] : control::CallCounts()) {
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
