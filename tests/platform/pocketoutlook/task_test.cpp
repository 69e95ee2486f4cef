// Tasks: what a new one holds, its dates and its completion, what Save refuses, and how a recurring one moves on.
#include "tests/platform/pocketoutlook/calendar_fixture.h"

namespace kez::tests {
namespace {

using ::testing::ElementsAre;

class Task : public Calendar {
 protected:
    // A saved task with these dates; DATE_NONE for none.
    Ref<ITask> Saved(DATE start, DATE due) {
        auto task = NewTask();
        EXPECT_HR(S_OK, task->put_StartDate(start));
        EXPECT_HR(S_OK, task->put_DueDate(due));
        EXPECT_HR(S_OK, task->Save());
        return task;
    }
    Ref<ITask> Recurring(DATE start, DATE due, LONG type, LONG occurrences = 0) {
        auto task = Saved(start, due);
        EXPECT_HR(S_OK, PatternOf(task)->put_RecurrenceType(type));
        if (occurrences) {
            EXPECT_HR(S_OK, PatternOf(task)->put_Occurrences(occurrences));
        }
        EXPECT_HR(S_OK, task->Save());
        return task;
    }
    std::string Start(const Ref<ITask>& task) { return Text(Get(task, &ITask::get_StartDate)); }
    std::string Due(const Ref<ITask>& task) { return Text(Get(task, &ITask::get_DueDate)); }
    std::string Completed(const Ref<ITask>& task) { return Text(Get(task, &ITask::get_DateCompleted)); }
    static std::string Text(DATE date) { return date == DATE_NONE ? "none" : Show(date); }
};

TEST_F(Task, NewOnesHaveNoDatesAndAreNormal) {
    const auto task = NewTask();
    EXPECT_EQ(0, Get(task, &ITask::get_Oid));
    EXPECT_EQ(949998.0, Get(task, &ITask::get_StartDate));
    EXPECT_EQ(949998.0, Get(task, &ITask::get_DueDate));
    EXPECT_EQ(949998.0, Get(task, &ITask::get_DateCompleted));
    EXPECT_EQ(949998.0, Get(task, &ITask::get_ReminderTime));
    EXPECT_EQ(VARIANT_FALSE, Get(task, &ITask::get_Complete));
    EXPECT_EQ(olImportanceNormal, Get(task, &ITask::get_Importance));
    EXPECT_EQ(olNormal, Get(task, &ITask::get_Sensitivity));
    EXPECT_EQ(VARIANT_FALSE, Get(task, &ITask::get_TeamTask));
    EXPECT_EQ(VARIANT_FALSE, Get(task, &ITask::get_ReminderSet));
    EXPECT_EQ(12, Get(task, &ITask::get_ReminderOptions));
    EXPECT_EQ(VARIANT_FALSE, Get(task, &ITask::get_IsRecurring));
    for (const auto getter :
         {&ITask::get_Subject, &ITask::get_Categories, &ITask::get_Body, &ITask::get_ReminderSoundFile}) {
        EXPECT_EQ(u"", GetText(task, getter));
    }
}

TEST_F(Task, EveryValueComesBackAfterSave) {
    const auto task = NewTask();
    EXPECT_HR(S_OK, task->put_Subject(Bstr(u"Buy milk")));
    EXPECT_HR(S_OK, task->put_Categories(Bstr(u"Home")));
    EXPECT_HR(S_OK, task->put_Body(Bstr(u"two bottles")));
    EXPECT_HR(S_OK, task->put_StartDate(At(2026, 4, 1)));
    EXPECT_HR(S_OK, task->put_DueDate(At(2026, 4, 3)));
    EXPECT_HR(S_OK, task->put_Importance(olImportanceHigh));
    EXPECT_HR(S_OK, task->put_Sensitivity(olConfidential));
    EXPECT_HR(S_OK, task->put_TeamTask(VARIANT_TRUE));
    EXPECT_HR(S_OK, task->put_ReminderSet(VARIANT_TRUE));
    EXPECT_HR(S_OK, task->put_ReminderOptions(olVibrate));
    EXPECT_HR(S_OK, task->put_ReminderSoundFile(Bstr(u"\\ping.wav")));
    EXPECT_HR(S_OK, task->put_ReminderTime(At(2026, 4, 2, 17, 30)));
    EXPECT_HR(S_OK, task->Save());
    const auto again = Again(task);
    EXPECT_EQ(u"Buy milk", GetText(again, &ITask::get_Subject));
    EXPECT_EQ(u"Home", GetText(again, &ITask::get_Categories));
    EXPECT_EQ(u"two bottles", GetText(again, &ITask::get_Body));
    EXPECT_EQ("2026-04-01 00:00:00", Start(again));
    EXPECT_EQ("2026-04-03 00:00:00", Due(again));
    EXPECT_EQ(olImportanceHigh, Get(again, &ITask::get_Importance));
    EXPECT_EQ(olConfidential, Get(again, &ITask::get_Sensitivity));
    EXPECT_EQ(VARIANT_TRUE, Get(again, &ITask::get_TeamTask));
    EXPECT_EQ(VARIANT_TRUE, Get(again, &ITask::get_ReminderSet));
    EXPECT_EQ(olVibrate, Get(again, &ITask::get_ReminderOptions));
    EXPECT_EQ(u"\\ping.wav", GetText(again, &ITask::get_ReminderSoundFile));
    EXPECT_EQ("2026-04-02 17:30:00", Show(Get(again, &ITask::get_ReminderTime)));
    EXPECT_EQ("2026-04-01 00:00:00", TimeProperty(task, PIMPR_START_DATE));
    EXPECT_EQ("2026-04-03 00:00:00", TimeProperty(task, PIMPR_DUE_DATE));
    EXPECT_EQ("absent", TimeProperty(task, PIMPR_DATE_COMPLETED));
    EXPECT_EQ(2u, Property(task, PIMPR_IMPORTANCE).val.ulVal);
    EXPECT_EQ(3u, Property(task, PIMPR_SENSITIVITY).val.ulVal);
    EXPECT_EQ(0, Property(task, PIMPR_COMPLETE).val.boolVal);
    EXPECT_EQ(1, Property(task, PIMPR_REMINDER_SET).val.boolVal);
    EXPECT_EQ(0xFFFFFFFFu, Property(task, PIMPR_RECURRING_TYPE).val.ulVal);
}

TEST_F(Task, TheEightPropertiesThatTravelComeInOrderWithDatesOfNoneAbsent) {
    const std::vector<CEPROPID> ids = {PIMPR_SUBJECT,  PIMPR_IMPORTANCE,     PIMPR_SENSITIVITY, PIMPR_START_DATE,
                                       PIMPR_DUE_DATE, PIMPR_DATE_COMPLETED, PIMPR_COMPLETE,    PIMPR_REMINDER_SET};
    const auto task = Saved(DATE_NONE, DATE_NONE);
    EXPECT_THAT(Present(task, ids),
                ElementsAre(PIMPR_IMPORTANCE, PIMPR_SENSITIVITY, PIMPR_COMPLETE, PIMPR_REMINDER_SET));
    EXPECT_HR(S_OK, task->put_Subject(Bstr(u"x")));
    EXPECT_HR(S_OK, task->put_StartDate(At(2026, 4, 1)));
    EXPECT_HR(S_OK, task->put_DueDate(At(2026, 4, 1)));
    EXPECT_HR(S_OK, task->put_Complete(VARIANT_TRUE));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ(ids, Present(task, ids));
}

TEST_F(Task, DatesLoseTheirTimeOfDayAndKeepToTheirRange) {
    const auto task = NewTask();
    EXPECT_HR(S_OK, task->put_StartDate(At(2026, 4, 1, 23, 59)));
    EXPECT_EQ("2026-04-01 00:00:00", Start(task));
    EXPECT_HR(S_OK, task->put_StartDate(DATE_NONE));
    EXPECT_EQ("none", Start(task));
    for (const DATE date : {0.0, 1.9, 401769.0, -1.0}) {
        EXPECT_HR(E_INVALIDARG, task->put_StartDate(date)) << date;
        EXPECT_HR(E_INVALIDARG, task->put_DueDate(date)) << date;
        EXPECT_HR(E_INVALIDARG, task->put_ReminderTime(date)) << date;
    }
    EXPECT_HR(S_OK, task->put_DueDate(At(2999, 12, 31)));
    EXPECT_EQ("2999-12-31 00:00:00", Due(task));
}

TEST_F(Task, ADueDateNeedsNoStart) {
    const auto task = Saved(DATE_NONE, At(2026, 4, 3));
    EXPECT_EQ(949998.0, Get(Again(task), &ITask::get_StartDate));
    EXPECT_EQ("2026-04-03 00:00:00", Due(Again(task)));
}

TEST_F(Task, AStartAfterTheDueDateIsRefusedAndMovesNothing) {
    const auto task = Saved(At(2026, 4, 1), At(2026, 4, 3));
    EXPECT_HR(S_OK, task->put_StartDate(At(2026, 4, 5)));
    EXPECT_EQ("2026-04-03 00:00:00", Due(task));
    EXPECT_HR(E_INVALIDDATES, task->Save());
    EXPECT_EQ("2026-04-01 00:00:00", Start(Again(task)));
    EXPECT_HR(S_OK, task->put_DueDate(At(2026, 4, 5)));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_HR(S_OK, task->put_DueDate(DATE_NONE));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ("none", Due(Again(task)));
}

TEST_F(Task, ImportanceAndSensitivityKeepToTheirBounds) {
    const auto task = NewTask();
    for (const LONG value : {-1, 3, 100}) {
        EXPECT_HR(E_INVALIDARG, task->put_Importance(value));
    }
    EXPECT_EQ(olImportanceNormal, Get(task, &ITask::get_Importance));
    EXPECT_HR(S_OK, task->put_Importance(olImportanceLow));
    EXPECT_EQ(olImportanceLow, Get(task, &ITask::get_Importance));
    EXPECT_HR(E_INVALIDARG, task->put_Sensitivity(4));
    EXPECT_HR(E_INVALIDARG, task->put_ReminderOptions(32));
    EXPECT_HR(E_FIELDTOOLARGE, task->put_Subject(Bstr(std::u16string(4096, u'x'))));
}

// --- Completion -----------------------------------------------------------------------------------------------

TEST_F(Task, CompletingItDatesItTodayAndTakingThatBackTakesTheDateAway) {
    control::FreezeClock({2026, 3, 0, 2, 23, 30, 0, 0});
    control::SetCurrentBias(-60);  // local time is already the next day
    const auto task = Saved(DATE_NONE, DATE_NONE);
    EXPECT_HR(S_OK, task->put_Complete(1));
    EXPECT_EQ("2026-03-03 00:00:00", Completed(task));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ(VARIANT_TRUE, Get(Again(task), &ITask::get_Complete));
    EXPECT_EQ("2026-03-03 00:00:00", TimeProperty(task, PIMPR_DATE_COMPLETED));
    EXPECT_EQ(1, Property(task, PIMPR_COMPLETE).val.boolVal);

    control::FreezeClock({2026, 5, 0, 1, 10, 0, 0, 0});
    EXPECT_HR(S_OK, task->put_Complete(VARIANT_TRUE));
    EXPECT_EQ("2026-03-03 00:00:00", Completed(task)) << "it was complete before";
    EXPECT_HR(S_OK, task->put_Complete(VARIANT_FALSE));
    EXPECT_EQ("none", Completed(task));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ(VARIANT_FALSE, Get(Again(task), &ITask::get_Complete));
    EXPECT_FALSE(HasProperty(task, PIMPR_DATE_COMPLETED));
}

TEST_F(Task, PropertiesSetThroughItsOtherFaceFollowTheSameRules) {
    const auto task = Saved(DATE_NONE, DATE_NONE);
    CEPROPVAL complete{PIMPR_COMPLETE, 0, 0, {}};
    complete.val.boolVal = TRUE;
    EXPECT_HR(S_OK, SetProperty(task, complete));
    EXPECT_HR(S_FALSE, SetProperty(task, complete));
    EXPECT_EQ("2026-03-02 00:00:00", Completed(task));
    complete.wFlags = CEDB_PROPDELETE;
    EXPECT_HR(S_OK, SetProperty(task, complete));
    EXPECT_EQ("none", Completed(task));

    SYSTEMTIME noon{2026, 4, 0, 1, 12, 0, 0, 0};
    CEPROPVAL date{PIMPR_START_DATE, 0, 0, {}};
    ASSERT_TRUE(SystemTimeToFileTime(&noon, &date.val.filetime));
    EXPECT_HR(S_OK, SetProperty(task, date));
    EXPECT_EQ("2026-04-01 00:00:00", Start(task));
    date.val.filetime = {0xA3DD4000, 0x0CB34557};  // 4501-01-01: none
    EXPECT_HR(S_OK, SetProperty(task, date));
    EXPECT_EQ("none", Start(task));
    CEPROPVAL importance{PIMPR_IMPORTANCE, 0, 0, {}};
    importance.val.ulVal = 3;
    EXPECT_HR(S_FALSE, SetProperty(task, importance));
}

// --- Reminders ------------------------------------------------------------------------------------------------

TEST_F(Task, RemindsInTheMorningOfItsDueDateUnlessATimeIsPut) {
    const auto task = Saved(DATE_NONE, At(2026, 4, 3));
    EXPECT_EQ("2026-04-03 08:00:00", Show(Get(task, &ITask::get_ReminderTime)));
    EXPECT_HR(S_OK, task->put_ReminderTime(At(2026, 4, 2, 12, 0, 30)));
    EXPECT_EQ("2026-04-02 12:00:30", Show(Get(task, &ITask::get_ReminderTime)));
    EXPECT_HR(S_OK, task->put_ReminderTime(DATE_NONE));
    EXPECT_EQ("2026-04-03 08:00:00", Show(Get(task, &ITask::get_ReminderTime)));
}

TEST_F(Task, AReminderOutsideItsWindowIsRefusedOnlyWhereThatIsAskedFor) {
    const auto task = Saved(At(2026, 6, 1), At(2026, 6, 3));
    const auto save = [&](DATE reminder) {
        EXPECT_HR(S_OK, task->put_ReminderTime(reminder));
        return task->Save();
    };
    EXPECT_HR(S_OK, task->put_ReminderSet(VARIANT_TRUE));
    EXPECT_HR(S_OK, save(At(2026, 6, 4)));
    pocketoutlook::Options options;
    options.checkTaskReminderWindow = true;
    pocketoutlook::SetOptions(options);
    EXPECT_HR(E_INVALIDREMINDERTIME, save(At(2026, 6, 4)));
    EXPECT_HR(S_OK, save(At(2026, 6, 3, 23, 59)));
    EXPECT_HR(S_OK, save(At(2026, 4, 17)));
    EXPECT_HR(E_INVALIDREMINDERTIME, save(At(2026, 4, 16)));
    EXPECT_HR(S_OK, task->put_ReminderSet(VARIANT_FALSE));
    EXPECT_HR(S_OK, task->Save());
}

TEST_F(Task, TheReminderOfNewOnesFollowsTheOptions) {
    pocketoutlook::Options options;
    options.taskReminderSet = true;
    pocketoutlook::SetOptions(options);
    EXPECT_EQ(VARIANT_TRUE, Get(NewTask(), &ITask::get_ReminderSet));
}

// --- Recurring tasks ------------------------------------------------------------------------------------------

TEST_F(Task, APatternThatIsFetchedChangesNothing) {
    const auto task = Saved(DATE_NONE, DATE_NONE);
    const auto pattern = PatternOf(task);
    EXPECT_EQ(olRecursOnce, Get(pattern, &IRecurrencePattern::get_RecurrenceType));
    EXPECT_EQ("2026-03-02 00:00:00", Show(Get(pattern, &IRecurrencePattern::get_PatternStartDate)));  // today
    EXPECT_HR(S_OK, task->Save());
    EXPECT_FALSE(Recurs(Again(task)));
    EXPECT_HR(S_OK, task->ClearRecurrencePattern());
}

TEST_F(Task, APatternTakesTimesAndIgnoresThem) {
    const auto task = Recurring(At(2026, 3, 4), DATE_NONE, olRecursDaily);
    const auto pattern = PatternOf(task);
    EXPECT_HR(S_OK, pattern->put_StartTime(At(2026, 3, 4, 10)));
    EXPECT_HR(S_OK, pattern->put_EndTime(0.5));
    EXPECT_HR(S_OK, pattern->put_Duration(5));
    EXPECT_EQ(0.0, Get(pattern, &IRecurrencePattern::get_StartTime));
    EXPECT_EQ(0.0, Get(pattern, &IRecurrencePattern::get_EndTime));
    EXPECT_EQ(0, Get(pattern, &IRecurrencePattern::get_Duration));
    EXPECT_EQ("absent", TimeProperty(task, PIMPR_RECURRING_STARTTIME));
}

TEST_F(Task, APatternComesBackAfterSaveAndCanBeCleared) {
    const auto task = Recurring(At(2026, 3, 4), At(2026, 3, 5), olRecursWeekly, 4);
    const auto again = PatternOf(Again(task));
    EXPECT_EQ(olRecursWeekly, Get(again, &IRecurrencePattern::get_RecurrenceType));
    EXPECT_EQ(olWednesday, Get(again, &IRecurrencePattern::get_DayOfWeekMask));
    EXPECT_EQ(4, Get(again, &IRecurrencePattern::get_Occurrences));
    EXPECT_EQ("2026-03-25 00:00:00", Show(Get(again, &IRecurrencePattern::get_PatternEndDate)));
    EXPECT_EQ(1u, Property(task, PIMPR_RECURRING_TYPE).val.ulVal);
    EXPECT_HR(S_OK, task->ClearRecurrencePattern());
    EXPECT_HR(S_OK, task->Save());
    EXPECT_FALSE(Recurs(Again(task)));
}

TEST_F(Task, ThereAreNoOccurrencesAndNoExceptions) {
    const auto task = Recurring(At(2026, 3, 4), DATE_NONE, olRecursDaily);
    IAppointment* none = reinterpret_cast<IAppointment*>(1);
    EXPECT_HR(E_FAIL, PatternOf(task)->GetOccurrence(At(2026, 3, 5), &none));
    EXPECT_EQ(nullptr, none);
    const auto list = GetObject(PatternOf(task), &IRecurrencePattern::get_Exceptions);
    EXPECT_EQ(0, Get(list, &IExceptions::get_Count));
    Ref<IException> entry;
    EXPECT_HR(E_INVALIDARG, list->Item(1, entry.Out()));
}

TEST_F(Task, SaveChecksThePattern) {
    const auto task = Saved(At(2026, 3, 4), DATE_NONE);
    const auto pattern = PatternOf(task);
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_FALSE));
    EXPECT_HR(E_INVALIDDATES, task->Save());
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 1)));
    EXPECT_HR(E_INVALIDDATES, task->Save());
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_TRUE));
    EXPECT_HR(S_OK, task->Save());
}

TEST_F(Task, AStartBetweenTwoDatesMovesToTheNextAndTakesTheDueDateAlong) {
    const auto task = Saved(At(2026, 3, 4), At(2026, 3, 5));
    const auto pattern = PatternOf(task);
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursWeekly));
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olFriday));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ("2026-03-06 00:00:00", Start(Again(task)));
    EXPECT_EQ("2026-03-07 00:00:00", Due(Again(task)));
    EXPECT_EQ("2026-03-06 00:00:00", Show(Get(pattern, &IRecurrencePattern::get_PatternStartDate)));
}

TEST_F(Task, SkippingMovesARecurringTaskToItsNextDate) {
    const auto task = Recurring(At(2026, 1, 31), At(2026, 2, 2), olRecursMonthly, 3);
    EXPECT_HR(S_OK, task->put_ReminderTime(At(2026, 1, 30, 9)));
    EXPECT_HR(S_OK, task->SkipRecurrence());
    EXPECT_EQ("2026-02-28 00:00:00", Start(task));
    EXPECT_EQ("2026-03-02 00:00:00", Due(task));
    EXPECT_EQ("2026-02-27 09:00:00", Show(Get(task, &ITask::get_ReminderTime)));
    EXPECT_EQ("2026-01-31 00:00:00", Start(Again(task))) << "it is stored with Save";
    EXPECT_HR(S_OK, task->Save());
    EXPECT_HR(S_OK, task->SkipRecurrence());
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ("2026-03-31 00:00:00", Start(Again(task)));
    EXPECT_HR(E_FAIL, task->SkipRecurrence()) << "the third was the last";
    EXPECT_EQ("2026-03-31 00:00:00", Start(task));
}

TEST_F(Task, SkippingGoesByTheDueDateWhereThereIsNoStart) {
    const auto task = Saved(DATE_NONE, At(2026, 3, 4));
    EXPECT_HR(S_OK, PatternOf(task)->put_PatternStartDate(At(2026, 3, 4)));
    EXPECT_HR(S_OK, PatternOf(task)->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_HR(S_OK, task->SkipRecurrence());
    EXPECT_EQ("none", Start(task));
    EXPECT_EQ("2026-03-05 00:00:00", Due(task));

    const auto undated = Recurring(DATE_NONE, DATE_NONE, olRecursDaily);
    EXPECT_HR(S_OK, undated->SkipRecurrence());
    EXPECT_EQ("2026-03-02 00:00:00", Start(undated));
}

TEST_F(Task, SkippingATaskThatDoesNotRecurFails) {
    const auto task = Saved(At(2026, 3, 4), DATE_NONE);
    EXPECT_HR(E_FAIL, task->SkipRecurrence());
    EXPECT_EQ("2026-03-04 00:00:00", Start(task));
}

TEST_F(Task, CompletingARecurringTaskMarksItAndMovesItOnOnlyWhereThatIsAskedFor) {
    const auto task = Recurring(At(2026, 3, 4), At(2026, 3, 4), olRecursDaily, 2);
    EXPECT_HR(S_OK, task->put_Complete(VARIANT_TRUE));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ(VARIANT_TRUE, Get(Again(task), &ITask::get_Complete));
    EXPECT_EQ("2026-03-04 00:00:00", Start(Again(task)));
    EXPECT_HR(S_OK, task->put_Complete(VARIANT_FALSE));
    EXPECT_HR(S_OK, task->Save());

    pocketoutlook::Options options;
    options.advanceCompletedTasks = true;
    pocketoutlook::SetOptions(options);
    EXPECT_HR(S_OK, task->put_Complete(VARIANT_TRUE));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ(VARIANT_FALSE, Get(Again(task), &ITask::get_Complete));
    EXPECT_EQ("2026-03-05 00:00:00", Start(Again(task)));
    EXPECT_HR(S_OK, task->put_Complete(VARIANT_TRUE));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ(VARIANT_TRUE, Get(Again(task), &ITask::get_Complete)) << "the last one stays complete";
    EXPECT_EQ("2026-03-05 00:00:00", Start(Again(task)));
}

// --- The rest -------------------------------------------------------------------------------------------------

// The order in which a receiver of records repairs and saves a task.
TEST_F(Task, AReceiversRepairOfDatesIsAccepted) {
    const auto task = NewTask();
    EXPECT_HR(S_OK, task->put_DueDate(At(2026, 4, 3)));
    // No start date reads later than any due date, so the receiver puts the due date to none as well.
    const DATE start = Get(task, &ITask::get_StartDate);
    ASSERT_GT(start, Get(task, &ITask::get_DueDate));
    EXPECT_HR(S_OK, task->put_DueDate(start));
    EXPECT_HR(S_OK, task->Save());
    EXPECT_EQ("none", Due(Again(task)));

    const auto recurring = NewTask();
    EXPECT_HR(S_OK, PatternOf(recurring)->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(E_INVALIDARG, PatternOf(recurring)->put_PatternStartDate(start));
    EXPECT_HR(S_OK, recurring->Save());
    EXPECT_TRUE(Recurs(Again(recurring)));
}

TEST_F(Task, ACopyIsANewTaskThatRecursAlike) {
    const auto task = Recurring(At(2026, 3, 4), DATE_NONE, olRecursDaily);
    const auto copy = GetObject(task, &ITask::Copy);
    EXPECT_HR(S_OK, copy->Save());
    EXPECT_NE(Get(task, &ITask::get_Oid), Get(copy, &ITask::get_Oid));
    EXPECT_TRUE(Recurs(Again(copy)));
}

TEST_F(Task, DeletingTakesItOutOfTheStore) {
    const auto task = Saved(DATE_NONE, DATE_NONE);
    const LONG oid = Get(task, &ITask::get_Oid);
    EXPECT_HR(S_OK, task->Delete());
    EXPECT_HR(E_FAIL, task->Delete());
    EXPECT_HR(E_FAIL, task->Save());
    IDispatch* none = reinterpret_cast<IDispatch*>(1);
    EXPECT_HR(E_INVALIDARG, m_application->GetItemFromOid(oid, &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_HR(E_FAIL, NewTask()->Delete());
}

TEST_F(Task, ChildrenKnowTheApplicationAndInkIsNotThere) {
    const auto task = NewTask();
    EXPECT_TRUE(GetObject(task, &ITask::get_Application));
    CEBLOB ink{};
    EXPECT_HR(E_NOTIMPL, task->put_BodyInk(&ink));
    EXPECT_HR(E_NOTIMPL, task->get_BodyInk(&ink));
    EXPECT_HR(E_NOTIMPL, task->Display());
}

}  // namespace
}  // namespace kez::tests
