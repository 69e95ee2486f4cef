// Saving: what is set on the pattern and in which order, the repair of task dates, the attempts to save, exceptions
// and the reminder.
#include "tests/poom/bridge_fixture.h"

namespace kez::tests {
namespace {

class Saving : public Bridge {
 protected:
    Saving() {
        appointment->start = 46083.5;
        appointment->duration = 60;
        appointment->oid = 0x01000007;
        task->oid = 0x01000008;
        contact->oid = 0x01000009;
    }
    // An appointment is the current item; it recurs where a type is given.
    void LoadAppointment(bool recurs = true, LONG type = olRecursDaily) {
        session->m_pAppt = appointment.Give();
        session->m_pRec = pattern.Give();
        session->m_recurrence.bRecurrFound = recurs;
        session->m_recurrence.RecurrenceType = type;
    }
    void LoadTask(bool recurs) {
        session->m_pTask = task.Give();
        session->m_pRec = pattern.Give();
        session->m_recurrence.bRecurrFound = recurs;
    }
    HRESULT Save() { return session->Save(&oid); }
    Texts PatternCalls() { return calls.Take("IRecurrencePattern::"); }

    CEOID oid = 0xFFFF;
};

TEST_F(Saving, ADailyAppointmentIsTracedFromEndToEnd) {
    LoadAppointment();
    session->m_recurrence.Interval = 2;
    session->m_recurrence.DayOfWeekMask = 127;
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(oid, 0x01000007u);
    EXPECT_THAT(
        calls.Take(),
        ElementsAre("IAppointment::get_ReminderSet", "IAppointment::get_ReminderOptions",
                    "IAppointment::get_ReminderMinutesBeforeStart", "IAppointment::get_Start",
                    "IRecurrencePattern::put_StartTime(46083.5)", "IRecurrencePattern::put_PatternStartDate(46083.5)",
                    "IAppointment::get_Duration", "IAppointment::get_AllDayEvent",
                    "IRecurrencePattern::put_Duration(60)", "IRecurrencePattern::put_RecurrenceType(0)",
                    "IRecurrencePattern::put_Interval(2)", "IRecurrencePattern::put_DayOfWeekMask(127)",
                    "IRecurrencePattern::put_NoEndDate(-1)", "IAppointment::Save", "IAppointment::get_Oid"));
    EXPECT_THAT(TakeTraces(),
                ElementsAre(TraceLine{0, "CCEPoom::Save() +"}, TraceLine{0, "CCEPoom::Save::Recurring +"},
                            TraceLine{0, "CCEPoom::Save::Set Rec->StartTime(46083.500000)"},
                            TraceLine{50, "Appt->Duration=60"}, TraceLine{0, "CCEPoom::Save::Recurring::olRecursDaily"},
                            TraceLine{0, "CCEPoom::Save::Recurring::NoEndDate==TRUE"},
                            TraceLine{0, "CCEPoom::Save::Recurring -"}, TraceLine{0, "CCEPoom::Save::Validation..."},
                            TraceLine{0, "CCEPoom::Save::IItem->Save..."}, TraceLine{50, "CCEPoom::ReleaseItems +"},
                            TraceLine{50, "CCEPoom::ReleaseItems -"},
                            TraceLine{0, "CCEPoom::Save - newoid=0x01000007, hr=0x00000000  -"}));
    EXPECT_FALSE(session->HasItem());
}

TEST_F(Saving, EachTypeSetsItsFieldsInOrder) {
    const struct {
        LONG type;
        const char* trace;
        Texts fields;
    } rows[] = {
        {0, "CCEPoom::Save::Recurring::olRecursDaily", {"Interval(4)", "DayOfWeekMask(62)"}},
        {1, "CCEPoom::Save::Recurring::olRecursWeekly", {"Interval(4)", "DayOfWeekMask(62)"}},
        {2, "CCEPoom::Save::Recurring::olRecursMonthly", {"Interval(4)", "DayOfMonth(31)"}},
        {3, "CCEPoom::Save::Recurring::olRecursMonthNth", {"Interval(4)", "Instance(5)", "DayOfWeekMask(62)"}},
        {4, "CCEPoom::Save::Recurrring::Unknown RecurranceType:4", {}},
        {5, "CCEPoom::Save::Recurring::olRecursYearly", {"DayOfMonth(1)", "MonthOfYear(3)", "DayOfMonth(31)"}},
        {6, "CCEPoom::Save::Recurring::olRecursYearNth", {"Instance(5)", "DayOfWeekMask(62)", "MonthOfYear(3)"}},
        {-1, "CCEPoom::Save::Recurrring::Unknown RecurranceType:-1", {}},
    };
    for (const auto& row : rows) {
        LoadAppointment(true, row.type);
        session->m_recurrence.Interval = 4;
        session->m_recurrence.DayOfWeekMask = 62;
        session->m_recurrence.DayOfMonth = 31;
        session->m_recurrence.MonthOfYear = 3;
        session->m_recurrence.Instance = 5;
        Forget();
        Save();
        Texts expected = {"IRecurrencePattern::put_StartTime(46083.5)",
                          "IRecurrencePattern::put_PatternStartDate(46083.5)", "IRecurrencePattern::put_Duration(60)",
                          "IRecurrencePattern::put_RecurrenceType(" + std::to_string(row.type) + ")"};
        for (const std::string& field : row.fields) expected.push_back("IRecurrencePattern::put_" + field);
        expected.push_back("IRecurrencePattern::put_NoEndDate(-1)");
        EXPECT_EQ(PatternCalls(), expected);
        const Texts traces = TakeTraceTexts("CCEPoom::Save::Rec");
        EXPECT_THAT(traces, ElementsAre("CCEPoom::Save::Recurring +", row.trace,
                                        "CCEPoom::Save::Recurring::NoEndDate==TRUE", "CCEPoom::Save::Recurring -"));
    }
}

TEST_F(Saving, AnEndDateIsSetAfterTheFlag) {
    LoadAppointment(true, 4);
    session->m_recurrence.bNoEndDate = FALSE;
    session->m_recurrence.RecurrenceEndDate = 46100.0;
    Save();
    const Texts made = PatternCalls();
    ASSERT_GE(made.size(), 2u);
    EXPECT_EQ(made[made.size() - 2], "IRecurrencePattern::put_NoEndDate(0)");
    EXPECT_EQ(made.back(), "IRecurrencePattern::put_PatternEndDate(46100)");
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save::Recurring::No"),
                ElementsAre("CCEPoom::Save::Recurring::NoEndDate==FALSE"));
}

TEST_F(Saving, AllDayAppointmentsGetTheDurationOfPatterns) {
    const std::pair<LONG, LONG> rows[] = {{1440, 1}, {2880, 1441}, {0, 1},       {1, 1},        {1439, 1},
                                          {1441, 1}, {2879, 1},    {4320, 2881}, {44640, 43201}};
    for (const auto& [duration, expected] : rows) {
        LoadAppointment();
        appointment->allDayEvent = VARIANT_TRUE;
        appointment->duration = duration;
        Forget();
        Save();
        EXPECT_EQ(pattern->duration, expected) << duration << " minutes";
        EXPECT_THAT(TakeTraceTexts("Appt->"), ElementsAre("Appt->Duration=" + std::to_string(expected)));
    }
}

TEST_F(Saving, ANegativeDurationLeavesThePatternsAlone) {
    LoadAppointment();
    appointment->duration = -1;
    Save();
    EXPECT_THAT(TakeTraceTexts("Appt->"), IsEmpty());
    const Texts made = calls.Take();
    EXPECT_THAT(made, ::testing::Not(::testing::Contains("IAppointment::get_AllDayEvent")));
    EXPECT_THAT(made, ::testing::Not(::testing::Contains(::testing::HasSubstr("put_Duration"))));
    EXPECT_THAT(made, ::testing::Contains("IRecurrencePattern::put_RecurrenceType(0)"))
        << "the rest is set all the same";
}

TEST_F(Saving, GettersThatFailLeaveWhatTheyBeganWith) {
    LoadAppointment();
    appointment->reminderSet = VARIANT_TRUE;
    for (const char* call : {"IAppointment::get_Start", "IAppointment::get_Duration", "IAppointment::get_AllDayEvent",
                             "IAppointment::get_ReminderSet", "IAppointment::get_ReminderOptions",
                             "IAppointment::get_ReminderMinutesBeforeStart"}) {
        calls.Fail(call, E_FAIL);
    }
    EXPECT_EQ(Save(), S_OK);
    EXPECT_THAT(PatternCalls(),
                ElementsAre("IRecurrencePattern::put_StartTime(0)", "IRecurrencePattern::put_PatternStartDate(0)",
                            "IRecurrencePattern::put_Duration(0)", "IRecurrencePattern::put_RecurrenceType(0)",
                            "IRecurrencePattern::put_Interval(0)", "IRecurrencePattern::put_DayOfWeekMask(0)",
                            "IRecurrencePattern::put_NoEndDate(-1)"));
    EXPECT_EQ(appointment->reminderSet, VARIANT_TRUE);
}

TEST_F(Saving, SettersThatFailDoNotStopIt) {
    const struct {
        LONG type;
        std::vector<const char*> setters;
        std::size_t calls;
    } rows[] = {
        {olRecursDaily,
         {"put_StartTime", "put_PatternStartDate", "put_Duration", "put_RecurrenceType", "put_Interval",
          "put_DayOfWeekMask", "put_NoEndDate", "put_PatternEndDate"},
         8},
        {olRecursMonthNth, {"put_Interval", "put_Instance", "put_DayOfWeekMask"}, 9},
        {olRecursYearly, {"put_DayOfMonth", "put_MonthOfYear"}, 9},
    };
    for (const auto& row : rows) {
        for (const char* setter : row.setters) {
            LoadAppointment(true, row.type);
            session->m_recurrence.bNoEndDate = FALSE;
            calls.Fail(std::string("IRecurrencePattern::") + setter, E_FAIL);
            EXPECT_EQ(Save(), S_OK) << setter;
            EXPECT_EQ(PatternCalls().size(), row.calls) << setter;
        }
    }
    LoadAppointment(false);
    calls.Fail("IAppointment::ClearRecurrencePattern", E_FAIL);
    EXPECT_EQ(Save(), S_OK);
    LoadTask(false);
    calls.Fail("ITask::ClearRecurrencePattern", E_FAIL);
    EXPECT_EQ(Save(), S_OK);
}

TEST_F(Saving, TaskDatesThatCannotBeReadOrRepairedDoNotStopIt) {
    const auto load = [&] {
        LoadTask(false);
        task->startDate = 46090.0;
        task->dueDate = 46085.0;
        task->reminderSet = VARIANT_TRUE;
        task->reminderTime = 46086.25;
        Forget();
    };
    const std::pair<const char*, Texts> rows[] = {
        {"get_StartDate", {"ITask::put_ReminderTime(46085)"}},
        {"get_DueDate", {"ITask::put_DueDate(46090)", "ITask::put_ReminderTime(0)"}},
        {"get_ReminderSet", {"ITask::put_DueDate(46090)"}},
        {"get_ReminderTime", {"ITask::put_DueDate(46090)"}},
        {"put_DueDate", {"ITask::put_DueDate(46090)", "ITask::put_ReminderTime(46085)"}},
        {"put_ReminderTime", {"ITask::put_DueDate(46090)", "ITask::put_ReminderTime(46085)"}},
    };
    for (const auto& [call, repairs] : rows) {
        load();
        calls.Fail(std::string("ITask::") + call, E_FAIL);
        EXPECT_EQ(Save(), S_OK) << call;
        EXPECT_EQ(calls.Take("ITask::put"), repairs) << call;
    }
}

TEST_F(Saving, TheReminderIsOffWhileThePatternChangesAndPutBackAfterwards) {
    LoadAppointment();
    appointment->reminderSet = VARIANT_TRUE;
    appointment->reminderOptions = 12;
    appointment->reminderMinutesBeforeStart = 30;
    Save();
    const Texts made = calls.Take();
    const Texts expectedStart = {"IAppointment::get_ReminderSet",
                                 "IAppointment::get_ReminderOptions",
                                 "IAppointment::get_ReminderMinutesBeforeStart",
                                 "IAppointment::put_ReminderSet(0)",
                                 "IAppointment::put_ReminderOptions(0)",
                                 "IAppointment::put_ReminderMinutesBeforeStart(0)",
                                 "IAppointment::get_Start",
                                 "IRecurrencePattern::put_StartTime(46083.5)"};
    ASSERT_GE(made.size(), 14u);
    EXPECT_EQ(Texts(made.begin(), made.begin() + 8), expectedStart);
    EXPECT_THAT(Texts(made.end() - 6, made.end()),
                ElementsAre("IAppointment::Save", "IAppointment::get_Oid", "IAppointment::put_ReminderSet(-1)",
                            "IAppointment::put_ReminderOptions(12)", "IAppointment::put_ReminderMinutesBeforeStart(30)",
                            "IAppointment::Save"));
}

TEST_F(Saving, TheLastSaveOfTheReminderIsNotLookedAt) {
    LoadAppointment();
    appointment->reminderSet = VARIANT_TRUE;
    calls.Fail("IAppointment::Save", E_INVALIDREMINDERTIME, 1, 2);
    EXPECT_EQ(Save(), S_OK);
}

TEST_F(Saving, AReminderThatIsOffIsLeftAlone) {
    LoadAppointment();
    Save();
    EXPECT_THAT(calls.Take("IAppointment::put_Rem"), IsEmpty());
}

TEST_F(Saving, ARecurringTaskTakesItsStartDate) {
    LoadTask(true);
    task->startDate = task->dueDate = 46090.0;
    Save();
    EXPECT_THAT(
        PatternCalls(),
        ElementsAre("IRecurrencePattern::put_StartTime(46090)", "IRecurrencePattern::put_PatternStartDate(46090)",
                    "IRecurrencePattern::put_RecurrenceType(0)", "IRecurrencePattern::put_Interval(0)",
                    "IRecurrencePattern::put_DayOfWeekMask(0)", "IRecurrencePattern::put_NoEndDate(-1)"));
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save::Set"), ElementsAre("CCEPoom::Save::Set Rec->StartTime(46090.000000)"));
    EXPECT_EQ(oid, 0x01000008u);
}

TEST_F(Saving, WithoutRecurrenceThePatternIsCleared) {
    LoadAppointment(false);
    Save();
    EXPECT_THAT(calls.Take(),
                ElementsAre("IAppointment::ClearRecurrencePattern", "IAppointment::Save", "IAppointment::get_Oid"));
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save::Rec"), ElementsAre("CCEPoom::Save::Recurring Clear"));
    LoadTask(false);
    Save();
    EXPECT_EQ(calls.Take().front(), "ITask::ClearRecurrencePattern");
}

TEST_F(Saving, AContactIsJustSaved) {
    session->m_pContact = contact.Give();
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(oid, 0x01000009u);
    EXPECT_THAT(calls.Take(), ElementsAre("IContact::Save", "IContact::get_Oid"));
}

TEST_F(Saving, WithoutItemNothingIsSavedAndTheIdentifierStays) {
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(oid, 0xFFFFu);
    EXPECT_THAT(calls.Take(), IsEmpty());
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save"),
                ElementsAre("CCEPoom::Save() +", "CCEPoom::Save::Recurring Clear", "CCEPoom::Save::Validation...",
                            "CCEPoom::Save::IItem->Save...", "CCEPoom::Save - newoid=0x0000ffff, hr=0x00000000  -"));
}

TEST_F(Saving, ARecurrenceWithoutPatternIsNotSetAnywhere) {
    LoadAppointment();
    session->m_pRec->Release();
    session->m_pRec = nullptr;
    calls.Fail("IAppointment::Save", E_FAIL);
    EXPECT_EQ(Save(), S_OK);
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save::Trying"), IsEmpty());
}

// --- Task dates ------------------------------------------------------------------------------------------------

TEST_F(Saving, ADueDateBeforeTheStartIsRepaired) {
    LoadTask(false);
    task->startDate = 46090.0;
    task->dueDate = 46085.0;
    Save();
    EXPECT_EQ(task->dueDate, 46090.0);
    EXPECT_THAT(calls.Take("ITask::put"), ElementsAre("ITask::put_DueDate(46090)"));
    EXPECT_THAT(
        TakeTraceTexts("CCEPoom::Save::Val"),
        ElementsAre("CCEPoom::Save::Validation...", "CCEPoom::Save::Validation::m_pTask: Fix DueDate=StartDate"));
}

TEST_F(Saving, AReminderAfterTheDueDateMovesToTheDueDateAsFirstRead) {
    LoadTask(false);
    task->startDate = 46090.0;
    task->dueDate = 46085.0;
    task->reminderSet = VARIANT_TRUE;
    task->reminderTime = 46086.25;
    Save();
    EXPECT_EQ(task->dueDate, 46090.0);
    EXPECT_EQ(task->reminderTime, 46085.0) << "before the repaired due date, on purpose";
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save::Validation::"),
                ElementsAre("CCEPoom::Save::Validation::m_pTask: Fix DueDate=StartDate",
                            "CCEPoom::Save::Validation::m_pTask: Fix ReminderTime=DueDate"));
}

TEST_F(Saving, DatesInOrderStay) {
    LoadTask(false);
    task->startDate = task->dueDate = task->reminderTime = 46090.0;
    task->reminderSet = VARIANT_TRUE;
    Save();
    EXPECT_THAT(calls.Take("ITask::put"), IsEmpty());
}

TEST_F(Saving, AReminderThatIsNotSetIsNotLookedAt) {
    LoadTask(false);
    task->reminderTime = 46090.0;
    for (const VARIANT_BOOL flag : {VARIANT_FALSE, VARIANT_BOOL{1}}) {
        if (!session->HasItem()) LoadTask(false);
        task->reminderSet = flag;
        Save();
        EXPECT_THAT(calls.Take("ITask::get_ReminderTime"), IsEmpty());
    }
}

TEST_F(Saving, ADueDateWithoutStartBecomesNoDate) {
    LoadTask(false);
    task->startDate = DATE_NONE;
    task->dueDate = 46085.0;
    Save();
    EXPECT_EQ(task->dueDate, DATE_NONE) << "no date is later than every date";
}

// --- Attempts --------------------------------------------------------------------------------------------------

TEST_F(Saving, ARefusedRecurrenceIsSavedWithoutItsEnd) {
    LoadAppointment();
    session->m_recurrence.bNoEndDate = FALSE;
    calls.Fail("IAppointment::Save", E_INVALIDDATES);
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(pattern->noEndDate, VARIANT_TRUE);
    EXPECT_EQ(calls.Take("IAppointment::Save").size(), 2u);
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save::I"),
                ElementsAre("CCEPoom::Save::IItem->Save...", "CCEPoom::Save::IItem->Save() hr=0x80040068 "));
}

TEST_F(Saving, ARecurrenceThatIsRefusedTwiceIsLeftOut) {
    LoadAppointment();
    calls.Fail("IAppointment::Save", E_INVALIDDATES, 2);
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(oid, 0x01000007u);
    const Texts made = calls.Take();
    EXPECT_THAT(Texts(made.end() - 6, made.end()),
                ElementsAre("IAppointment::Save", "IRecurrencePattern::put_NoEndDate(-1)", "IAppointment::Save",
                            "IAppointment::ClearRecurrencePattern", "IAppointment::Save", "IAppointment::get_Oid"));
    Texts traces = TakeTraceTexts("CCEPoom::Save");
    traces.erase(traces.begin(), traces.begin() + 7);
    EXPECT_THAT(traces, ElementsAre("CCEPoom::Save::IItem->Save...", "CCEPoom::Save::IItem->Save() hr=0x80040068 ",
                                    "CCEPoom::Save::Trying save without end date...",
                                    "CCEPoom::Save::IItem->Save() hr=0x80040068 ",
                                    "CCEPoom::Save - newoid=0x01000007, hr=0x00000000  -"));
}

TEST_F(Saving, TheResultIsTheLastAttempts) {
    LoadAppointment();
    calls.Fail("IAppointment::Save", E_INVALIDDATES, 3);
    EXPECT_EQ(Save(), E_INVALIDDATES);
    EXPECT_EQ(oid, 0x01000007u);
    EXPECT_THAT(TakeTraceTexts("CCEPoom::Save::IItem->Save()::"),
                ElementsAre("CCEPoom::Save::IItem->Save()::(NO RECUR) hr=0x80040068 "));
}

TEST_F(Saving, OnlyPlainSuccessEndsTheAttempts) {
    LoadAppointment();
    calls.Fail("IAppointment::Save", S_FALSE, 3);
    EXPECT_EQ(Save(), S_FALSE);
    EXPECT_EQ(calls.Take("IAppointment::Save").size(), 3u);
    EXPECT_THAT(
        TakeTraceTexts("CCEPoom::Save::IItem->Save()"),
        ElementsAre("CCEPoom::Save::IItem->Save() hr=0x00000001 ", "CCEPoom::Save::IItem->Save() hr=0x00000001 ",
                    "CCEPoom::Save::IItem->Save()::(NO RECUR) hr=0x00000001 "));
}

TEST_F(Saving, ARecurringTaskFallsBackToo) {
    LoadTask(true);
    calls.Fail("ITask::Save", E_INVALIDDATES, 2);
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(calls.Take("ITask::ClearRecurrencePattern").size(), 1u);
}

TEST_F(Saving, AnItemWithoutRecurrenceIsTriedOnce) {
    session->m_pContact = contact.Give();
    calls.Fail("IContact::Save", E_FAIL);
    EXPECT_EQ(Save(), E_FAIL);
    EXPECT_EQ(oid, 0x01000009u);
    EXPECT_EQ(calls.Take("IContact::Save").size(), 1u);
    EXPECT_THAT(
        TakeTraceTexts("CCEPoom::Save::IItem->Save()"),
        ElementsAre("CCEPoom::Save::IItem->Save() hr=0x80004005 ", "CCEPoom::Save::IItem->Save() hr=0x80004005 "));
}

TEST_F(Saving, AnIdentifierThatCannotBeReadIsNone) {
    for (const char* call : {"IAppointment::get_Oid", "ITask::get_Oid", "IContact::get_Oid"}) {
        if (call[1] == 'A') LoadAppointment(false);
        if (call[1] == 'T') LoadTask(false);
        if (call[1] == 'C') session->m_pContact = contact.Give();
        calls.Fail(call, E_FAIL);
        oid = 5;
        EXPECT_EQ(Save(), S_OK);
        EXPECT_EQ(oid, 0u) << call;
    }
}

// --- Exceptions --------------------------------------------------------------------------------------------------

// Shows what SetRecExceptionLst is handed, and what was saved around it.
struct ListSession : CCEPoom {
    BOOL SetRecExceptionLst(WCHAR* text, const CEPROPVAL* property) override {
        handed = {text, property};
        kept = m_pExcList;
        return TRUE;
    }
    std::pair<const WCHAR*, const CEPROPVAL*> handed = {nullptr, nullptr};
    const CEPROPVAL* kept = nullptr;
};

TEST_F(Saving, AReceivedExceptionListIsHandedOnAlsoWithoutRecurrence) {
    ListSession listing;
    for (const bool recurs : {true, false}) {
        const CEPROPVAL property = TextProperty(0xAFFF001F, TEXT("2026-03-02 10:00:00\t"));
        listing.m_pAppt = appointment.Give();
        listing.m_pRec = pattern.Give();
        listing.m_recurrence.bRecurrFound = recurs;
        listing.m_pExcList = &property;
        calls.Fail("IAppointment::Save", E_FAIL, 1, recurs ? 2 : 2);
        calls.Take();
        EXPECT_EQ(listing.Save(&oid), S_OK) << "the save behind the list is not looked at";
        EXPECT_EQ(listing.handed.first, property.val.lpwstr);
        EXPECT_EQ(listing.handed.second, &property);
        EXPECT_EQ(listing.m_pExcList, nullptr);
        EXPECT_EQ(calls.Take("IAppointment::Save").size(), 2u);
    }
}

TEST_F(Saving, WithoutListTheItemIsSavedOnce) {
    ListSession listing;
    listing.m_pAppt = appointment.Give();
    listing.Save(&oid);
    EXPECT_EQ(listing.handed.second, nullptr);
    EXPECT_EQ(calls.Take("IAppointment::Save").size(), 1u);
}

}  // namespace
}  // namespace kez::tests
