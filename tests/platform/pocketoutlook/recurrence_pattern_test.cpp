// Recurrence patterns: when an item becomes recurring, what a pattern starts with, what its setters take, how start,
// end and duration pull on one another, and what Save checks.
#include "tests/platform/pocketoutlook/calendar_fixture.h"

namespace kez::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Pattern : public Calendar {
 protected:
    // 2026-03-04 is a Wednesday, the first one of its month.
    const DATE m_wednesday = At(2026, 3, 4, 10);

    Ref<IAppointment> Item() { return SavedAppointment(m_wednesday); }
    Ref<IAppointment> Series(LONG type) {
        auto item = Item();
        EXPECT_HR(S_OK, PatternOf(item)->put_RecurrenceType(type));
        return item;
    }
    std::string StartOf(const Ref<IAppointment>& item) { return Show(Get(item, &IAppointment::get_Start)); }
    std::string Time(const Ref<IRecurrencePattern>& pattern, HRESULT (IRecurrencePattern::*getter)(DATE*)) {
        const DATE date = Get(pattern, getter);
        EXPECT_LT(date, 1.0) << "a time of day has no date";
        return Show(date).substr(11);
    }
    std::string Date(const Ref<IRecurrencePattern>& pattern, HRESULT (IRecurrencePattern::*getter)(DATE*)) {
        return Show(Get(pattern, getter));
    }
    // Which of the days have an occurrence, as GetOccurrence answers.
    std::vector<std::string> Occurrences(const Ref<IAppointment>& series, DATE from, int days) {
        std::vector<std::string> found;
        const auto pattern = PatternOf(series);
        for (int i = 0; i < days; ++i) {
            Ref<IAppointment> occurrence;
            if (SUCCEEDED(pattern->GetOccurrence(from + i, occurrence.Out()))) {
                found.push_back(Show(Get(occurrence, &IAppointment::get_Start)).substr(0, 10));
            }
        }
        return found;
    }
};

// --- Getting a pattern ----------------------------------------------------------------------------------------

TEST_F(Pattern, OfASingleAppointmentIsThereAndChangesNothing) {
    const auto item = Item();
    const auto pattern = PatternOf(item);
    EXPECT_FALSE(Recurs(item));
    EXPECT_EQ(olRecursOnce, Get(pattern, &IRecurrencePattern::get_RecurrenceType));
    EXPECT_EQ("2026-03-04 00:00:00", Date(pattern, &IRecurrencePattern::get_PatternStartDate));
    EXPECT_EQ("10:00:00", Time(pattern, &IRecurrencePattern::get_StartTime));
    EXPECT_EQ("11:00:00", Time(pattern, &IRecurrencePattern::get_EndTime));
    EXPECT_EQ(60, Get(pattern, &IRecurrencePattern::get_Duration));
    EXPECT_EQ(DATE_NONE, Get(pattern, &IRecurrencePattern::get_PatternEndDate));
    EXPECT_EQ(VARIANT_TRUE, Get(pattern, &IRecurrencePattern::get_NoEndDate));
    EXPECT_EQ(0, Get(pattern, &IRecurrencePattern::get_Occurrences));
    EXPECT_EQ(0, Get(ExceptionsOf(item), &IExceptions::get_Count));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_FALSE(Recurs(Again(item)));
    EXPECT_EQ(olRecursOnce, Get(PatternOf(Again(item)), &IRecurrencePattern::get_RecurrenceType));
}

TEST_F(Pattern, ValuesPutBeforeTheTypeStoreNothing) {
    const auto item = Item();
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_StartTime(At(2026, 1, 1, 14)));
    EXPECT_HR(S_OK, pattern->put_Duration(15));
    EXPECT_HR(S_OK, pattern->put_PatternStartDate(At(2026, 4, 1)));
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_FALSE));
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 5, 1)));
    EXPECT_HR(S_OK, pattern->put_Interval(2));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_FALSE(Recurs(Again(item)));
    EXPECT_EQ("2026-03-04 10:00:00", StartOf(Again(item)));
    EXPECT_EQ(60, Get(Again(item), &IAppointment::get_Duration));
}

TEST_F(Pattern, TimesAndStartPutBeforeTheTypeCountOnceItIsSet) {
    const auto item = Item();
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_StartTime(At(2026, 1, 1, 14)));
    EXPECT_HR(S_OK, pattern->put_PatternStartDate(At(2026, 4, 1)));
    EXPECT_HR(S_OK, pattern->put_Duration(15));
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ("2026-04-01 14:00:00", StartOf(Again(item)));
    EXPECT_EQ(15, Get(Again(item), &IAppointment::get_Duration));
}

TEST_F(Pattern, AnItemRecursFromTheFirstValidTypeOn) {
    const auto item = Item();
    const auto pattern = PatternOf(item);
    for (const LONG type : {olRecursOnce + 0, -2, 4, 7, 100}) {
        EXPECT_HR(E_INVALIDARG, pattern->put_RecurrenceType(type)) << type;
        EXPECT_FALSE(Recurs(item));
    }
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursWeekly));
    EXPECT_TRUE(Recurs(item));
    EXPECT_FALSE(Recurs(Again(item))) << "it is stored with Save";
    EXPECT_HR(E_INVALIDARG, pattern->put_RecurrenceType(4));
    EXPECT_EQ(olRecursWeekly, Get(pattern, &IRecurrencePattern::get_RecurrenceType));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_TRUE(Recurs(Again(item)));
}

TEST_F(Pattern, AllObjectsOfOneItemShowTheSameState) {
    const auto item = Item();
    const auto one = PatternOf(item);
    const auto other = PatternOf(item);
    EXPECT_HR(S_OK, one->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(S_OK, one->put_Interval(3));
    EXPECT_EQ(3, Get(other, &IRecurrencePattern::get_Interval));
}

struct InitialRow {
    LONG type, mask, day, month, instance;
};

TEST_F(Pattern, StartsWithTheFieldsOfItsItemsStart) {
    const InitialRow rows[] = {
        {olRecursDaily, 0, 0, 0, 0},    {olRecursWeekly, olWednesday, 0, 0, 0},
        {olRecursMonthly, 0, 18, 0, 0}, {olRecursMonthNth, olWednesday, 0, 0, 3},
        {olRecursYearly, 0, 18, 3, 0},  {olRecursYearNth, olWednesday, 0, 3, 3},
    };
    for (const InitialRow& row : rows) {
        SCOPED_TRACE(row.type);
        const auto item = SavedAppointment(At(2026, 3, 18, 10), 90);
        const auto pattern = PatternOf(item);
        EXPECT_HR(S_OK, pattern->put_RecurrenceType(row.type));
        EXPECT_EQ("2026-03-18 00:00:00", Date(pattern, &IRecurrencePattern::get_PatternStartDate));
        EXPECT_EQ("10:00:00", Time(pattern, &IRecurrencePattern::get_StartTime));
        EXPECT_EQ("11:30:00", Time(pattern, &IRecurrencePattern::get_EndTime));
        EXPECT_EQ(90, Get(pattern, &IRecurrencePattern::get_Duration));
        EXPECT_EQ(1, Get(pattern, &IRecurrencePattern::get_Interval));
        EXPECT_EQ(row.mask, Get(pattern, &IRecurrencePattern::get_DayOfWeekMask));
        EXPECT_EQ(row.day, Get(pattern, &IRecurrencePattern::get_DayOfMonth));
        EXPECT_EQ(row.month, Get(pattern, &IRecurrencePattern::get_MonthOfYear));
        EXPECT_EQ(row.instance, Get(pattern, &IRecurrencePattern::get_Instance));
        EXPECT_EQ(VARIANT_TRUE, Get(pattern, &IRecurrencePattern::get_NoEndDate));
        EXPECT_EQ(0, Get(pattern, &IRecurrencePattern::get_Occurrences));
        EXPECT_EQ(DATE_NONE, Get(pattern, &IRecurrencePattern::get_PatternEndDate));
        EXPECT_HR(S_OK, item->Save());
        EXPECT_EQ("2026-03-18 10:00:00", StartOf(Again(item)));
    }
}

TEST_F(Pattern, PuttingTheSameTypeAgainKeepsItsFields) {
    const auto item = Series(olRecursWeekly);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_Interval(3));
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olMonday));
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursWeekly));
    EXPECT_EQ(3, Get(pattern, &IRecurrencePattern::get_Interval));
    EXPECT_EQ(olMonday, Get(pattern, &IRecurrencePattern::get_DayOfWeekMask));
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursMonthly));
    EXPECT_EQ(1, Get(pattern, &IRecurrencePattern::get_Interval));
    EXPECT_EQ(4, Get(pattern, &IRecurrencePattern::get_DayOfMonth));
}

// --- Clearing -------------------------------------------------------------------------------------------------

TEST_F(Pattern, ClearingMakesTheItemSingleAndLeavesThePatternObjectUsable) {
    const auto item = DailySeries(m_wednesday, 5);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, Occurrence(item, At(2026, 3, 5))->Delete());
    EXPECT_HR(S_OK, item->ClearRecurrencePattern());
    EXPECT_FALSE(Recurs(item));
    EXPECT_EQ(olRecursOnce, Get(pattern, &IRecurrencePattern::get_RecurrenceType));
    EXPECT_EQ(0, Get(ExceptionsOf(item), &IExceptions::get_Count));
    EXPECT_TRUE(Recurs(Again(item))) << "it is stored with Save";
    EXPECT_HR(S_OK, item->Save());
    EXPECT_FALSE(Recurs(Again(item)));
    EXPECT_FALSE(HasProperty(item, PIMPR_RECURRING_PATTERNSTARTDATE));

    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursDaily));
    EXPECT_EQ(VARIANT_TRUE, Get(pattern, &IRecurrencePattern::get_NoEndDate));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(ExceptionList(Again(item)), IsEmpty());
}

TEST_F(Pattern, ClearingAndSettingTheSamePatternDropsTheExceptions) {
    const auto item = DailySeries(m_wednesday);
    EXPECT_HR(S_OK, Occurrence(item, At(2026, 3, 5))->Delete());
    EXPECT_HR(S_OK, item->ClearRecurrencePattern());
    EXPECT_HR(S_OK, PatternOf(item)->put_RecurrenceType(olRecursDaily));
    EXPECT_THAT(ExceptionList(item), IsEmpty());
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(ExceptionList(Again(item)), IsEmpty());
    EXPECT_HR(S_OK, OccurrenceResult(item, At(2026, 3, 5)));
}

TEST_F(Pattern, ClearingASingleItemDoesNothing) {
    const auto item = Item();
    EXPECT_HR(S_OK, item->ClearRecurrencePattern());
    EXPECT_HR(S_OK, item->Save());
}

// --- Setters --------------------------------------------------------------------------------------------------

struct FieldRow {
    const char* name;
    HRESULT (IRecurrencePattern::*put)(LONG);
    HRESULT (IRecurrencePattern::*get)(LONG*);
    LONG least, most;
};
const FieldRow kFields[] = {
    {"Interval", &IRecurrencePattern::put_Interval, &IRecurrencePattern::get_Interval, 1, 999},
    {"DayOfWeekMask", &IRecurrencePattern::put_DayOfWeekMask, &IRecurrencePattern::get_DayOfWeekMask, 1, 127},
    {"DayOfMonth", &IRecurrencePattern::put_DayOfMonth, &IRecurrencePattern::get_DayOfMonth, 1, 31},
    {"Instance", &IRecurrencePattern::put_Instance, &IRecurrencePattern::get_Instance, 1, 5},
    {"MonthOfYear", &IRecurrencePattern::put_MonthOfYear, &IRecurrencePattern::get_MonthOfYear, 1, 12},
    {"Occurrences", &IRecurrencePattern::put_Occurrences, &IRecurrencePattern::get_Occurrences, 1, 999},
    {"Duration", &IRecurrencePattern::put_Duration, &IRecurrencePattern::get_Duration, 0, 44640},
};

TEST_F(Pattern, FieldsKeepToTheirBounds) {
    // Weekly uses the mask and neither day nor instance nor month: those are kept all the same.
    const auto pattern = PatternOf(Series(olRecursWeekly));
    for (const FieldRow& row : kFields) {
        SCOPED_TRACE(row.name);
        for (const LONG value : {row.least, row.most}) {
            EXPECT_HR(S_OK, (pattern.Get()->*row.put)(value));
            EXPECT_EQ(value, Get(pattern, row.get));
        }
        EXPECT_HR(E_INVALIDARG, (pattern.Get()->*row.put)(row.least - 1));
        EXPECT_HR(E_INVALIDARG, (pattern.Get()->*row.put)(row.most + 1));
        EXPECT_EQ(row.most, Get(pattern, row.get));
    }
}

TEST_F(Pattern, AFieldThatTheTypeDoesNotUseHasNoEffect) {
    const auto item = Series(olRecursWeekly);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_DayOfMonth(31));
    EXPECT_HR(S_OK, pattern->put_Instance(5));
    EXPECT_HR(S_OK, pattern->put_MonthOfYear(2));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(Occurrences(item, At(2026, 3, 1), 15), ElementsAre("2026-03-04", "2026-03-11"));
}

TEST_F(Pattern, ADailyMaskOfNoneIsAcceptedAndAWeeklyOneRefused) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(62));
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(0));
    for (const LONG type : {olRecursWeekly, olRecursMonthNth, olRecursYearNth}) {
        EXPECT_HR(S_OK, pattern->put_RecurrenceType(type));
        EXPECT_HR(E_INVALIDARG, pattern->put_DayOfWeekMask(0));
        EXPECT_EQ(olWednesday, Get(pattern, &IRecurrencePattern::get_DayOfWeekMask));
    }
}

TEST_F(Pattern, YearlyDaysMustFitTheirMonthAtEveryStep) {
    const auto pattern = PatternOf(Series(olRecursYearly));
    EXPECT_HR(S_OK, pattern->put_DayOfMonth(1));
    EXPECT_HR(S_OK, pattern->put_MonthOfYear(3));
    EXPECT_HR(S_OK, pattern->put_DayOfMonth(31));
    EXPECT_HR(E_INVALIDARG, pattern->put_MonthOfYear(4));
    EXPECT_EQ(3, Get(pattern, &IRecurrencePattern::get_MonthOfYear));
    EXPECT_HR(S_OK, pattern->put_DayOfMonth(29));
    EXPECT_HR(S_OK, pattern->put_MonthOfYear(2));
    EXPECT_HR(E_INVALIDARG, pattern->put_DayOfMonth(30));
    EXPECT_EQ(29, Get(pattern, &IRecurrencePattern::get_DayOfMonth));
}

TEST_F(Pattern, YearlyIntervalsAreAcceptedAndStayOne) {
    for (const LONG type : {olRecursYearly, olRecursYearNth}) {
        const auto item = Series(type);
        const auto pattern = PatternOf(item);
        EXPECT_HR(S_OK, pattern->put_Interval(4));
        EXPECT_EQ(1, Get(pattern, &IRecurrencePattern::get_Interval));
        EXPECT_HR(S_OK, item->Save());
        EXPECT_HR(S_OK, OccurrenceResult(item, type == olRecursYearly ? At(2027, 3, 4) : At(2027, 3, 3)));
    }
}

TEST_F(Pattern, DatesOutside1900To2999AreRefused) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    for (const DATE date : {0.0, 1.0, 401769.0, -3.0}) {
        EXPECT_HR(E_INVALIDARG, pattern->put_PatternStartDate(date)) << date;
        EXPECT_HR(E_INVALIDARG, pattern->put_PatternEndDate(date)) << date;
    }
    EXPECT_HR(E_INVALIDARG, pattern->put_PatternStartDate(DATE_NONE));
    EXPECT_HR(E_INVALIDARG, pattern->put_StartTime(DATE_NONE));
    EXPECT_HR(E_INVALIDARG, pattern->put_EndTime(-0.5));
    EXPECT_EQ("2026-03-04 00:00:00", Date(pattern, &IRecurrencePattern::get_PatternStartDate));
    EXPECT_EQ(VARIANT_TRUE, Get(pattern, &IRecurrencePattern::get_NoEndDate));
}

// --- Times of day ---------------------------------------------------------------------------------------------

TEST_F(Pattern, StartAndEndTimeTogetherGiveTheDuration) {
    for (const bool endFirst : {false, true}) {
        SCOPED_TRACE(endFirst);
        const auto item = Series(olRecursDaily);
        const auto pattern = PatternOf(item);
        if (endFirst) {
            EXPECT_HR(S_OK, pattern->put_EndTime(At(2026, 1, 1, 15, 30)));
        }
        EXPECT_HR(S_OK, pattern->put_StartTime(At(2026, 1, 1, 14)));
        EXPECT_HR(S_OK, pattern->put_Duration(5));  // ignored where both times are put
        if (!endFirst) {
            EXPECT_HR(S_OK, pattern->put_EndTime(At(2026, 1, 1, 15, 30)));
        }
        EXPECT_HR(S_OK, item->Save());
        EXPECT_EQ("2026-03-04 14:00:00", StartOf(Again(item)));
        EXPECT_EQ(90, Get(Again(item), &IAppointment::get_Duration));
    }
}

TEST_F(Pattern, OneTimeTakesTheOtherFromTheDuration) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_EndTime(At(2026, 1, 1, 12)));
    EXPECT_EQ("11:00:00", Time(pattern, &IRecurrencePattern::get_StartTime));
    EXPECT_HR(S_OK, pattern->put_Duration(30));
    EXPECT_EQ("11:30:00", Time(pattern, &IRecurrencePattern::get_StartTime));
    EXPECT_EQ(30, Get(item, &IAppointment::get_Duration));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_HR(S_OK, pattern->put_StartTime(0.25));
    EXPECT_EQ("06:30:00", Time(pattern, &IRecurrencePattern::get_EndTime));
}

TEST_F(Pattern, TimesAcrossMidnightStayOnTheStartsDay) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_StartTime(At(2026, 1, 1, 23)));
    EXPECT_HR(S_OK, pattern->put_EndTime(At(2026, 1, 1, 1)));
    EXPECT_EQ("2026-03-04 23:00:00", StartOf(item));
    EXPECT_EQ(120, Get(item, &IAppointment::get_Duration));
}

TEST_F(Pattern, TheItemsOwnTimesArePuttedThroughAndRefreshedBySave) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_Duration(20));
    EXPECT_EQ(20, Get(item, &IAppointment::get_Duration));
    EXPECT_HR(S_OK, item->put_Start(At(2026, 3, 4, 16)));
    EXPECT_HR(S_OK, item->put_Duration(40));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ("16:00:00", Time(pattern, &IRecurrencePattern::get_StartTime));
    EXPECT_EQ("16:40:00", Time(pattern, &IRecurrencePattern::get_EndTime));
    EXPECT_EQ(40, Get(pattern, &IRecurrencePattern::get_Duration));
}

TEST_F(Pattern, AnAllDaySeriesTakesDurationsOfOneAnd1441) {
    for (const auto& [put, saved] : {std::pair{1, 1440}, {1440, 1440}, {1441, 2880}}) {
        const auto item = Item();
        EXPECT_HR(S_OK, item->put_AllDayEvent(VARIANT_TRUE));
        const auto pattern = PatternOf(item);
        EXPECT_HR(S_OK, pattern->put_Duration(put));
        EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursWeekly));
        EXPECT_HR(S_OK, item->Save());
        EXPECT_EQ(saved, Get(item, &IAppointment::get_Duration)) << put;
        EXPECT_EQ(saved, Get(pattern, &IRecurrencePattern::get_Duration)) << put;
        EXPECT_EQ("00:00:00", Time(pattern, &IRecurrencePattern::get_StartTime));
        EXPECT_EQ("2026-03-04 00:00:00", StartOf(Again(item)));
    }
}

// --- Ends -----------------------------------------------------------------------------------------------------

TEST_F(Pattern, TheOtherEndIsComputed) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_FALSE));
    EXPECT_HR(S_OK, pattern->put_Occurrences(3));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ("2026-03-06 00:00:00", Date(PatternOf(Again(item)), &IRecurrencePattern::get_PatternEndDate));
    EXPECT_EQ(3, Get(PatternOf(Again(item)), &IRecurrencePattern::get_Occurrences));

    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 13, 23)));  // the later call wins
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ(10, Get(PatternOf(Again(item)), &IRecurrencePattern::get_Occurrences));
    EXPECT_EQ("2026-03-13 00:00:00", Date(PatternOf(Again(item)), &IRecurrencePattern::get_PatternEndDate));

    EXPECT_HR(S_OK, pattern->put_Occurrences(2));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ("2026-03-05 00:00:00", Date(pattern, &IRecurrencePattern::get_PatternEndDate));
    EXPECT_THAT(Occurrences(item, At(2026, 3, 1), 15), ElementsAre("2026-03-04", "2026-03-05"));
}

TEST_F(Pattern, TheEndDateIsTheLastDayOnWhichAnOccurrenceMayBegin) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_Interval(4));
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 8)));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(Occurrences(item, At(2026, 3, 1), 20), ElementsAre("2026-03-04", "2026-03-08"));
    EXPECT_EQ("2026-03-08 00:00:00", TimeProperty(item, PIMPR_RECURRING_PATTERNENDDATE));
}

TEST_F(Pattern, PuttingAnEndEndsAnEndlessPattern) {
    const auto pattern = PatternOf(Series(olRecursDaily));
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 8)));
    EXPECT_EQ(VARIANT_FALSE, Get(pattern, &IRecurrencePattern::get_NoEndDate));
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_TRUE));
    EXPECT_EQ(DATE_NONE, Get(pattern, &IRecurrencePattern::get_PatternEndDate));
    EXPECT_EQ(0, Get(pattern, &IRecurrencePattern::get_Occurrences));
    EXPECT_HR(S_OK, pattern->put_Occurrences(5));
    EXPECT_EQ(VARIANT_FALSE, Get(pattern, &IRecurrencePattern::get_NoEndDate));
}

TEST_F(Pattern, ANoneEndDateLeavesAnEndlessPatternEndless) {
    const auto pattern = PatternOf(Series(olRecursDaily));
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(DATE_NONE));
    EXPECT_EQ(VARIANT_TRUE, Get(pattern, &IRecurrencePattern::get_NoEndDate));
}

// --- What Save checks -----------------------------------------------------------------------------------------

TEST_F(Pattern, ASeriesThatShallEndWithoutAnEndIsRefused) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_FALSE));
    EXPECT_HR(E_INVALIDARG, pattern->put_PatternEndDate(0.0));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_FALSE(Recurs(Again(item)));
    // A caller then tries without an end.
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_TRUE));
    EXPECT_HR(S_OK, item->Save());
}

TEST_F(Pattern, AnEndBeforeTheFirstOccurrenceIsRefused) {
    const auto item = Series(olRecursWeekly);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olFriday));
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 5)));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 6)));
    EXPECT_HR(S_OK, item->Save());
}

TEST_F(Pattern, ASeriesWithoutAnyDayIsRefused) {
    const auto item = Series(olRecursDaily);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_Interval(7));
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olThursday));
    EXPECT_HR(E_INVALIDDATES, item->Save());
}

TEST_F(Pattern, AnOccurrenceLongerThanThePeriodIsRefused) {
    const auto item = Series(olRecursDaily);
    EXPECT_HR(S_OK, item->put_Duration(1441));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_HR(S_OK, item->put_Duration(1440));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_HR(S_OK, PatternOf(item)->put_RecurrenceType(olRecursWeekly));
    EXPECT_HR(S_OK, PatternOf(item)->put_DayOfWeekMask(olMonday | olThursday));
    EXPECT_HR(S_OK, item->put_Duration(3 * 1440 + 1));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_HR(S_OK, item->put_Duration(3 * 1440));
    EXPECT_HR(S_OK, item->Save());
}

TEST_F(Pattern, AReminderEarlierThanThePeriodIsRefusedAndTheRecordStaysAsItWas) {
    const auto item = DailySeries(m_wednesday);
    EXPECT_HR(S_OK, item->put_ReminderMinutesBeforeStart(2 * 1440));
    EXPECT_HR(S_OK, item->Save()) << "a reminder that is off may lead by any time";
    EXPECT_HR(S_OK, item->put_ReminderSet(VARIANT_TRUE));
    EXPECT_HR(E_INVALIDREMINDERTIME, item->Save());
    EXPECT_EQ(VARIANT_FALSE, Get(Again(item), &IAppointment::get_ReminderSet));
    EXPECT_EQ(VARIANT_TRUE, Get(item, &IAppointment::get_ReminderSet)) << "what was put waits on";
    CEPROPVAL endlessly{PIMPR_REMINDER_MINUTES_BEFORE_START, 0, 0, {}};
    endlessly.val.ulVal = 0xFFFFFFFF;
    EXPECT_HR(S_OK, SetProperty(item, endlessly));
    EXPECT_HR(E_INVALIDREMINDERTIME, item->Save());
    EXPECT_HR(S_OK, item->put_ReminderMinutesBeforeStart(1440));
    EXPECT_HR(S_OK, item->Save());
}

TEST_F(Pattern, ReminderLeadsOfSingleAppointmentsHaveNoBound) {
    const auto item = Item();
    EXPECT_HR(S_OK, item->put_ReminderSet(VARIANT_TRUE));
    EXPECT_HR(S_OK, item->put_ReminderMinutesBeforeStart(40 * 60000));
    EXPECT_HR(S_OK, item->Save());
}

TEST_F(Pattern, AFailedSaveLeavesStartAndPatternAsTheyWerePut) {
    const auto item = Series(olRecursWeekly);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olFriday));
    EXPECT_HR(S_OK, item->put_Duration(7 * 1440 + 1));
    EXPECT_HR(S_OK, item->put_AllDayEvent(VARIANT_TRUE));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_EQ("2026-03-04 10:00:00", StartOf(item));
    EXPECT_EQ("2026-03-04 00:00:00", Date(pattern, &IRecurrencePattern::get_PatternStartDate));
}

TEST_F(Pattern, AStartThatIsNoOccurrenceMovesToTheFirstOne) {
    const auto item = Series(olRecursWeekly);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olFriday));
    EXPECT_HR(S_OK, pattern->put_Interval(2));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ("2026-03-06 10:00:00", StartOf(item));
    EXPECT_EQ("2026-03-06 10:00:00", StartOf(Again(item)));
    EXPECT_EQ("2026-03-06 00:00:00", Date(pattern, &IRecurrencePattern::get_PatternStartDate));
    EXPECT_THAT(Occurrences(item, At(2026, 3, 1), 30), ElementsAre("2026-03-06", "2026-03-20"));
}

TEST_F(Pattern, PuttingTheItemsStartMovesTheSeries) {
    const auto item = DailySeries(m_wednesday);
    EXPECT_HR(S_OK, item->put_Start(At(2026, 4, 1, 9)));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ("2026-04-01 00:00:00", Date(PatternOf(Again(item)), &IRecurrencePattern::get_PatternStartDate));
    EXPECT_HR(E_INVALIDARG, OccurrenceResult(item, At(2026, 3, 31)));
    EXPECT_HR(S_OK, OccurrenceResult(item, At(2026, 4, 1)));
}

// --- Expansion through the interfaces --------------------------------------------------------------------------

TEST_F(Pattern, WeeklyOnMondayAndWednesdayFromAWednesday) {
    const auto item = Series(olRecursWeekly);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olMonday | olWednesday));
    EXPECT_HR(S_OK, pattern->put_Occurrences(3));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(Occurrences(item, At(2026, 3, 1), 30), ElementsAre("2026-03-04", "2026-03-09", "2026-03-11"));
}

TEST_F(Pattern, MonthlyOnDay31FromTheEndOfJanuary) {
    const auto item = SavedAppointment(At(2026, 1, 31, 10));
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursMonthly));
    EXPECT_HR(S_OK, pattern->put_DayOfMonth(31));
    EXPECT_HR(S_OK, pattern->put_Occurrences(4));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(Occurrences(item, At(2026, 1, 1), 200),
                ElementsAre("2026-01-31", "2026-02-28", "2026-03-31", "2026-04-30"));
}

TEST_F(Pattern, TheLastFridayOfEachMonth) {
    const auto item = Series(olRecursMonthNth);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_Instance(5));
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(olFriday));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(Occurrences(item, At(2026, 3, 1), 92), ElementsAre("2026-03-27", "2026-04-24", "2026-05-29"));
}

// --- Reading back ---------------------------------------------------------------------------------------------

TEST_F(Pattern, ThePropertiesShowTheSavedPattern) {
    const auto item = Series(olRecursMonthNth);
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_Interval(2));
    EXPECT_HR(S_OK, pattern->put_Occurrences(3));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ(1, Property(item, PIMPR_IS_RECURRING).val.boolVal);
    EXPECT_EQ(3u, Property(item, PIMPR_RECURRING_TYPE).val.ulVal);
    EXPECT_EQ("2026-03-04 00:00:00", TimeProperty(item, PIMPR_RECURRING_PATTERNSTARTDATE));
    EXPECT_EQ("2026-07-01 00:00:00", TimeProperty(item, PIMPR_RECURRING_PATTERNENDDATE));
    EXPECT_EQ("1899-12-30 10:00:00", TimeProperty(item, PIMPR_RECURRING_STARTTIME));
    EXPECT_EQ("1899-12-30 11:00:00", TimeProperty(item, PIMPR_RECURRING_ENDTIME));
    EXPECT_EQ(0, Property(item, PIMPR_RECURRING_NOEND).val.boolVal);
    EXPECT_EQ(3u, Property(item, PIMPR_RECURRING_OCCURRENCES).val.ulVal);
    EXPECT_EQ(2u, Property(item, PIMPR_RECURRING_INTERVAL).val.ulVal);
    EXPECT_EQ(8u, Property(item, PIMPR_RECURRING_DAYOFWEEKMASK).val.ulVal);
    EXPECT_EQ(1u, Property(item, PIMPR_RECURRING_INSTANCE).val.ulVal);
    EXPECT_EQ(60u, Property(item, PIMPR_RECURRING_DURATION).val.ulVal);
    EXPECT_EQ("2026-03-04 10:00:00", TimeProperty(item, PIMPR_START));
    EXPECT_TRUE(HasProperty(item, PIMPR_TIMEZONE));
}

TEST_F(Pattern, EveryFieldComesBackAfterSaveInEveryType) {
    for (const LONG type :
         {olRecursDaily, olRecursWeekly, olRecursMonthly, olRecursMonthNth, olRecursYearly, olRecursYearNth}) {
        for (const int end : {0, 1, 2}) {
            SCOPED_TRACE(::testing::Message() << "type " << type << " end " << end);
            const auto item = Series(type);
            const auto pattern = PatternOf(item);
            EXPECT_HR(S_OK, pattern->put_Interval(2));
            EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(127));
            EXPECT_HR(S_OK, pattern->put_DayOfMonth(4));
            EXPECT_HR(S_OK, pattern->put_Instance(4));
            if (end == 1) {
                EXPECT_HR(S_OK, pattern->put_Occurrences(7));
            }
            if (end == 2) {
                EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2029, 12, 31)));
            }
            EXPECT_HR(S_OK, item->Save());
            const auto again = PatternOf(Again(item));
            for (const FieldRow& row : kFields) {
                EXPECT_EQ(Get(pattern, row.get), Get(again, row.get)) << row.name;
            }
            EXPECT_EQ(type, Get(again, &IRecurrencePattern::get_RecurrenceType));
            EXPECT_EQ(Get(pattern, &IRecurrencePattern::get_NoEndDate), Get(again, &IRecurrencePattern::get_NoEndDate));
            for (const auto getter :
                 {&IRecurrencePattern::get_PatternStartDate, &IRecurrencePattern::get_PatternEndDate,
                  &IRecurrencePattern::get_StartTime, &IRecurrencePattern::get_EndTime}) {
                EXPECT_EQ(Get(pattern, getter), Get(again, getter));
            }
        }
    }
}

TEST_F(Pattern, ARecordWhoseFieldsAreOutOfRangeCannotBeSavedAgain) {
    const auto item = Series(olRecursWeekly);
    EXPECT_HR(S_OK, item->Save());
    // Written past the object model, straight into the record.
    CEGUID volume;
    WCHAR path[] = u"\\pim.vol";
    WCHAR name[] = u"Appointments Database";
    ASSERT_TRUE(CeMountDBVolEx(&volume, path, nullptr, OPEN_EXISTING));
    CEOID oid = 0;
    const HANDLE database = CeOpenDatabaseInSession(nullptr, &volume, &oid, name, nullptr, 0, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, database);
    CEPROPVAL mask{PIMPR_RECURRING_DAYOFWEEKMASK, 0, 0, {}};
    EXPECT_NE(0u, CeWriteRecordProps(database, static_cast<CEOID>(Get(item, &IAppointment::get_Oid)), 1, &mask));
    EXPECT_TRUE(CloseHandle(database));
    EXPECT_TRUE(CeUnmountDBVol(&volume));

    const auto again = Again(item);
    EXPECT_HR(S_OK, again->put_Subject(Bstr(u"x")));
    EXPECT_HR(E_INVALIDARG, again->Save());
    EXPECT_HR(E_INVALIDARG, OccurrenceResult(again, m_wednesday));
}

// The order in which a receiver of records drives a pattern, with its two ways out when Save refuses.
TEST_F(Pattern, AReceivedSeriesIsSavedWithoutItsEndWhereTheEndIsRefused) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Start(m_wednesday));
    EXPECT_HR(S_OK, item->put_Duration(45));
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, item->put_ReminderSet(0));
    EXPECT_HR(S_OK, item->put_ReminderOptions(0));
    EXPECT_HR(S_OK, item->put_ReminderMinutesBeforeStart(0));
    EXPECT_HR(S_OK, pattern->put_StartTime(m_wednesday));
    EXPECT_HR(S_OK, pattern->put_PatternStartDate(m_wednesday));
    EXPECT_HR(S_OK, pattern->put_Duration(45));
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(S_OK, pattern->put_Interval(1));
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(0));
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_FALSE));
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 1)));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_TRUE));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_TRUE(Recurs(Again(item)));
    // The reminder that was put aside is written back with a last Save, which may be refused.
    EXPECT_HR(S_OK, item->put_ReminderSet(VARIANT_TRUE));
    EXPECT_HR(S_OK, item->put_ReminderOptions(12));
    EXPECT_HR(S_OK, item->put_ReminderMinutesBeforeStart(60000));
    EXPECT_HR(E_INVALIDREMINDERTIME, item->Save());
    EXPECT_EQ(VARIANT_FALSE, Get(Again(item), &IAppointment::get_ReminderSet));
}

TEST_F(Pattern, AReceivedSeriesIsSavedSingleWhereItsPatternIsRefused) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Start(m_wednesday));
    EXPECT_HR(S_OK, item->put_Duration(2000));
    const auto pattern = PatternOf(item);
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_TRUE));
    EXPECT_HR(E_INVALIDDATES, item->Save());
    EXPECT_HR(S_OK, item->ClearRecurrencePattern());
    EXPECT_HR(S_OK, item->Save());
    EXPECT_FALSE(Recurs(Again(item)));
    EXPECT_NE(0, Get(item, &IAppointment::get_Oid));
}

}  // namespace
}  // namespace kez::tests
