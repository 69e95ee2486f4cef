// The days of a recurrence pattern: against a day-by-day reading of the definition, and against an independent
// evaluator of recurrence rules, on random patterns; and the points that the definition had to decide, by name.
#include "platform/pocketoutlook/recurrence_arithmetic.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/platform/pocketoutlook/rule_oracle.h"

namespace kez::tests {
namespace {

using pocketoutlook::DayOfWeekBit;
using pocketoutlook::kFirstDay;
using pocketoutlook::kLastDay;
using pocketoutlook::MinimumPeriod;
using pocketoutlook::NthWeekday;
using ::testing::ElementsAre;

int WeekdayOf(Day day) { return (day + 6) % 7; }

// The definition, read literally for one day, without the pattern's end.
bool IsMember(const Recurrence& r, Day x) {
    if (x < r.start) return false;
    const CivilDate date = CivilOf(x);
    const CivilDate start = CivilOf(r.start);
    const bool inMask = (r.dayOfWeekMask & (1 << WeekdayOf(x))) != 0;
    const int months = 12 * date.year + date.month - (12 * start.year + start.month);
    const auto isNth = [&] {
        std::vector<int> days;
        for (int day = 1; day <= DaysInMonth(date.year, date.month); ++day) {
            if (r.dayOfWeekMask & (1 << WeekdayOf(D(date.year, date.month, day)))) days.push_back(day);
        }
        return date.day == (r.instance == 5 ? days.back() : days.at(static_cast<std::size_t>(r.instance - 1)));
    };
    const int cutDay = std::min<int>(r.dayOfMonth, DaysInMonth(date.year, date.month));
    switch (r.type) {
        case olRecursDaily:
            return (x - r.start) % r.interval == 0 && (r.dayOfWeekMask == 0 || r.dayOfWeekMask == 127 || inMask);
        case olRecursWeekly:
            return inMask && ((x - WeekdayOf(x)) - (r.start - WeekdayOf(r.start))) / 7 % r.interval == 0;
        case olRecursMonthly:
            return months % r.interval == 0 && date.day == cutDay;
        case olRecursMonthNth:
            return months % r.interval == 0 && isNth();
        case olRecursYearly:
            return date.month == r.monthOfYear && date.day == cutDay;
        case olRecursYearNth:
            return date.month == r.monthOfYear && isNth();
        default:
            return false;
    }
}

TEST(RecurrenceArithmetic, DayNumbersAreThoseOfADate) {
    EXPECT_EQ(0, D(1899, 12, 30));
    EXPECT_EQ(kFirstDay, D(1900, 1, 1));
    EXPECT_EQ(25569, D(1970, 1, 1));
    EXPECT_EQ(kLastDay, D(2999, 12, 31));
    EXPECT_EQ((CivilDate{2008, 2, 29}), CivilOf(D(2008, 2, 29)));
    EXPECT_EQ(olSaturday, DayOfWeekBit(0));
    EXPECT_EQ(olMonday, DayOfWeekBit(D(2026, 3, 2)));
    EXPECT_EQ(olSunday, DayOfWeekBit(D(2026, 3, 1)));
}

TEST(RecurrenceArithmetic, WeeklyFromTheMiddleOfAWeekStartsThere) {
    Recurrence r{.type = olRecursWeekly, .start = D(2026, 3, 4), .dayOfWeekMask = olMonday | olWednesday};
    r.occurrences = 3;
    EXPECT_THAT(Texts(r), ElementsAre("2026-03-04", "2026-03-09", "2026-03-11"));
}

TEST(RecurrenceArithmetic, EveryOtherWeekCountsWeeksFromSunday) {
    // 2026-03-07 is a Saturday; the Sunday behind it belongs to the next week, which is skipped.
    const Recurrence r{
        .type = olRecursWeekly, .start = D(2026, 3, 7), .interval = 2, .dayOfWeekMask = olSunday | olSaturday};
    EXPECT_THAT(Texts(r, 4), ElementsAre("2026-03-07", "2026-03-15", "2026-03-21", "2026-03-29"));
}

TEST(RecurrenceArithmetic, MonthlyOnDay31TakesTheLastDayOfShortMonths) {
    Recurrence r{.type = olRecursMonthly, .start = D(2026, 1, 31), .dayOfMonth = 31};
    r.occurrences = 4;
    EXPECT_THAT(Texts(r), ElementsAre("2026-01-31", "2026-02-28", "2026-03-31", "2026-04-30"));
    r.start = D(2028, 1, 31);
    EXPECT_THAT(Texts(r), ElementsAre("2028-01-31", "2028-02-29", "2028-03-31", "2028-04-30"));
}

TEST(RecurrenceArithmetic, YearlyOn29FebruaryFallsOnThe28thInCommonYears) {
    const Recurrence r{.type = olRecursYearly, .start = D(2027, 1, 1), .dayOfMonth = 29, .monthOfYear = 2};
    EXPECT_THAT(Texts(r, 3), ElementsAre("2027-02-28", "2028-02-29", "2029-02-28"));
}

TEST(RecurrenceArithmetic, InstanceFiveIsTheLastInEveryMonth) {
    const Recurrence r{.type = olRecursMonthNth, .start = D(2026, 1, 1), .dayOfWeekMask = olFriday, .instance = 5};
    EXPECT_THAT(Texts(r, 4), ElementsAre("2026-01-30", "2026-02-27", "2026-03-27", "2026-04-24"));
}

TEST(RecurrenceArithmetic, MasksOfSeveralDaysNameTheNthDayWeekdayAndWeekendDay) {
    Recurrence r{.type = olRecursMonthNth, .start = D(2026, 2, 1), .dayOfWeekMask = 127, .instance = 2};
    EXPECT_THAT(Texts(r, 2), ElementsAre("2026-02-02", "2026-03-02"));
    r.instance = 5;
    EXPECT_THAT(Texts(r, 2), ElementsAre("2026-02-28", "2026-03-31"));
    r.dayOfWeekMask = 62;
    EXPECT_THAT(Texts(r, 2), ElementsAre("2026-02-27", "2026-03-31"));
    r.dayOfWeekMask = 65;
    r.instance = 3;
    EXPECT_THAT(Texts(r, 2), ElementsAre("2026-02-08", "2026-03-08"));
}

TEST(RecurrenceArithmetic, AStartThatIsNoDayIsNotCounted) {
    Recurrence r{.type = olRecursMonthly, .start = D(2026, 1, 20), .interval = 3, .dayOfMonth = 10};
    r.occurrences = 2;
    EXPECT_THAT(Texts(r), ElementsAre("2026-04-10", "2026-07-10"));
}

TEST(RecurrenceArithmetic, ADailyMaskFiltersTheSeries) {
    Recurrence r{.type = olRecursDaily, .start = D(2026, 3, 2), .interval = 2, .dayOfWeekMask = olMonday | olFriday};
    EXPECT_THAT(Texts(r, 4), ElementsAre("2026-03-02", "2026-03-06", "2026-03-16", "2026-03-20"));
    r.dayOfWeekMask = 127;
    EXPECT_THAT(Texts(r, 2), ElementsAre("2026-03-02", "2026-03-04"));
}

TEST(RecurrenceArithmetic, AMaskThatTheSeriesNeverMeetsHasNoDays) {
    const Recurrence r{.type = olRecursDaily, .start = D(2026, 3, 2), .interval = 7, .dayOfWeekMask = olTuesday};
    const RecurrenceDays days(r);
    EXPECT_EQ(std::nullopt, days.First());
    EXPECT_EQ(std::nullopt, days.Last());
    EXPECT_EQ(std::nullopt, days.AtOrAfter(D(2030, 1, 1)));
    EXPECT_EQ(0, days.Count());
    EXPECT_FALSE(days.Contains(D(2026, 3, 3)));
    EXPECT_EQ(0, MinimumPeriod(r));
}

TEST(RecurrenceArithmetic, YearlyTypesHaveNoInterval) {
    const Recurrence r{
        .type = olRecursYearly, .start = D(2026, 3, 2), .interval = 4, .dayOfMonth = 2, .monthOfYear = 3};
    EXPECT_THAT(Texts(r, 2), ElementsAre("2026-03-02", "2027-03-02"));
}

TEST(RecurrenceArithmetic, TypesOutsideTheSixHaveNoDays) {
    for (const LONG type : {-1, 4, 7, 100}) {
        const Recurrence r{.type = type,
                           .start = D(2026, 3, 2),
                           .dayOfWeekMask = 127,
                           .dayOfMonth = 2,
                           .instance = 1,
                           .monthOfYear = 3};
        EXPECT_EQ(0, RecurrenceDays(r).Count()) << type;
        EXPECT_EQ(0, MinimumPeriod(r)) << type;
    }
}

TEST(RecurrenceArithmetic, AFieldOutOfRangeLeavesNoDays) {
    const Recurrence good{.type = olRecursMonthNth, .start = D(2026, 3, 2), .dayOfWeekMask = 2, .instance = 1};
    ASSERT_NE(0, RecurrenceDays(good).Count());
    auto without = [&](auto change) {
        Recurrence r = good;
        change(r);
        return RecurrenceDays(r).Count() + MinimumPeriod(r);
    };
    EXPECT_EQ(0, without([](Recurrence& r) { r.dayOfWeekMask = 0; }));
    EXPECT_EQ(0, without([](Recurrence& r) { r.instance = 0; }));
    EXPECT_EQ(0, without([](Recurrence& r) { r.instance = 6; }));
    EXPECT_EQ(0, without([](Recurrence& r) { r.interval = 0; }));
    EXPECT_EQ(0, without([](Recurrence& r) { r.interval = 1000; }));
    EXPECT_EQ(0, without([](Recurrence& r) { r.type = olRecursMonthly; }));
    EXPECT_EQ(0, without([](Recurrence& r) { r.type = olRecursYearNth; }));
    EXPECT_EQ(0, without([](Recurrence& r) { (r.type = olRecursYearNth, r.monthOfYear = 13); }));
    EXPECT_EQ(std::nullopt, NthWeekday(2026, 3, 6, 2));
    EXPECT_EQ(std::nullopt, NthWeekday(2026, 3, 1, 0));
}

TEST(RecurrenceArithmetic, TheLastDayIsInclusive) {
    Recurrence r{.type = olRecursDaily, .start = D(2026, 3, 2), .interval = 3};
    r.lastDay = D(2026, 3, 8);
    EXPECT_THAT(Texts(r), ElementsAre("2026-03-02", "2026-03-05", "2026-03-08"));
    r.lastDay = D(2026, 3, 1);
    EXPECT_EQ(0, RecurrenceDays(r).Count());
}

TEST(RecurrenceArithmetic, AnEndlessPatternStopsIn2999) {
    const Recurrence r{.type = olRecursYearly, .start = D(1900, 1, 1), .dayOfMonth = 31, .monthOfYear = 12};
    const RecurrenceDays days(r);
    EXPECT_EQ(kLastDay, days.Last());
    EXPECT_EQ(1100, days.Count());
    EXPECT_EQ(std::nullopt, days.Next(kLastDay));
}

TEST(RecurrenceArithmetic, ADayCenturiesAwayIsFoundWithoutWalking) {
    // A walk over these would take minutes, not the blink that this test takes.
    const Recurrence r{.type = olRecursDaily, .start = D(1900, 1, 1)};
    const RecurrenceDays days(r);
    std::int64_t found = 0;
    for (Day day = kLastDay; day > kLastDay - 20'000; --day) found += days.OrdinalOf(day) == day - D(1900, 1, 1) + 1;
    EXPECT_EQ(20'000, found);
}

// One pattern, day by day over fifteen years: every operation must agree with the plain list.
void CheckAgainstDefinition(const Recurrence& r) {
    SCOPED_TRACE(Describe(r));
    const RecurrenceDays days(r);
    const Day end = r.start + 15 * 366;
    std::vector<Day> list;
    for (Day day = r.start - 40; day < end; ++day) {
        if (!IsMember(r, day) || (r.lastDay && day > *r.lastDay)) continue;
        if (r.occurrences && static_cast<LONG>(list.size()) == *r.occurrences) break;
        list.push_back(day);
    }
    ASSERT_EQ(list.empty() ? std::nullopt : std::optional<Day>(list.front()), days.First());
    std::size_t passed = 0;
    for (Day day = r.start - 40; day < end - 400; ++day) {
        const bool member = passed < list.size() && list[passed] == day;
        ASSERT_EQ(member, days.Contains(day)) << Text(day);
        ASSERT_EQ(passed < list.size() ? std::optional<Day>(list[passed]) : std::nullopt,
                  passed < list.size() ? days.AtOrAfter(day) : std::nullopt)
            << Text(day);
        ASSERT_EQ(passed > 0 ? std::optional<Day>(list[passed - 1]) : std::nullopt, days.Previous(day)) << Text(day);
        if (member) {
            ++passed;
            ASSERT_EQ(static_cast<std::int64_t>(passed), days.OrdinalOf(day)) << Text(day);
            ASSERT_EQ(day, days.Nth(static_cast<std::int64_t>(passed)));
        } else {
            ASSERT_EQ(0, days.OrdinalOf(day)) << Text(day);
        }
        ASSERT_EQ(static_cast<std::int64_t>(passed), days.CountUpTo(day)) << Text(day);
    }
    if (r.lastDay || (r.occurrences && static_cast<LONG>(list.size()) == *r.occurrences)) {
        ASSERT_EQ(static_cast<std::int64_t>(list.size()), days.Count());
        ASSERT_EQ(list.empty() ? std::nullopt : std::optional<Day>(list.back()), days.Last());
        ASSERT_EQ(std::nullopt, days.Nth(days.Count() + 1));
        ASSERT_EQ(std::nullopt, days.Nth(0));
    }
}

TEST(RecurrenceArithmetic, RandomPatternsAgreeWithTheDefinitionDayByDay) {
    Patterns patterns(20260302);
    for (int i = 0; i < 150 && !::testing::Test::HasFatalFailure(); ++i) CheckAgainstDefinition(patterns.Any());
}

TEST(RecurrenceArithmetic, NoTwoDaysAreCloserThanTheMinimumPeriod) {
    Patterns patterns(7);
    for (int i = 0; i < 1500; ++i) {
        Recurrence r = patterns.Any();
        r.lastDay.reset();
        r.occurrences.reset();
        const RecurrenceDays days(r);
        const LONG period = MinimumPeriod(r);
        auto before = days.First();
        for (int k = 0; before && k < 120; ++k) {
            const auto day = days.Next(*before);
            if (!day) break;
            ASSERT_GE(*day - *before, period) << Describe(r) << " at " << Text(*before);
            before = day;
        }
    }
}

struct PeriodRow {
    Recurrence recurrence;
    LONG days;
};

TEST(RecurrenceArithmetic, MinimumPeriodsAreTheShortestDistances) {
    const Day monday = D(2026, 3, 2);
    const PeriodRow rows[] = {
        {{.type = olRecursDaily, .start = monday, .interval = 1}, 1},
        {{.type = olRecursDaily, .start = monday, .interval = 9}, 9},
        {{.type = olRecursDaily, .start = monday, .interval = 1, .dayOfWeekMask = olMonday | olTuesday}, 1},
        {{.type = olRecursDaily, .start = monday, .interval = 1, .dayOfWeekMask = olMonday | olThursday}, 3},
        {{.type = olRecursDaily, .start = monday, .interval = 2, .dayOfWeekMask = olMonday | olFriday}, 4},
        {{.type = olRecursDaily, .start = monday, .interval = 7, .dayOfWeekMask = olMonday}, 7},
        {{.type = olRecursWeekly, .start = monday, .interval = 1, .dayOfWeekMask = olMonday}, 7},
        {{.type = olRecursWeekly, .start = monday, .interval = 3, .dayOfWeekMask = olMonday}, 21},
        {{.type = olRecursWeekly, .start = monday, .interval = 1, .dayOfWeekMask = olSunday | olSaturday}, 1},
        {{.type = olRecursWeekly, .start = monday, .interval = 2, .dayOfWeekMask = olSunday | olSaturday}, 6},
        {{.type = olRecursWeekly, .start = monday, .interval = 1, .dayOfWeekMask = olMonday | olThursday}, 3},
        {{.type = olRecursMonthly, .start = monday, .interval = 1, .dayOfMonth = 2}, 28},
        {{.type = olRecursMonthly, .start = monday, .interval = 2, .dayOfMonth = 2}, 59},
        {{.type = olRecursMonthly, .start = monday, .interval = 3, .dayOfMonth = 2}, 89},
        {{.type = olRecursMonthly, .start = monday, .interval = 6, .dayOfMonth = 2}, 181},
        {{.type = olRecursMonthly, .start = monday, .interval = 12, .dayOfMonth = 2}, 365},
        {{.type = olRecursMonthly, .start = monday, .interval = 13, .dayOfMonth = 2}, 393},
        {{.type = olRecursMonthNth, .start = monday, .interval = 1, .dayOfWeekMask = 2, .instance = 1}, 28},
        {{.type = olRecursMonthNth, .start = monday, .interval = 2, .dayOfWeekMask = 2, .instance = 1}, 56},
        {{.type = olRecursMonthNth, .start = monday, .interval = 12, .dayOfWeekMask = 2, .instance = 1}, 364},
        {{.type = olRecursYearly, .start = monday, .dayOfMonth = 2, .monthOfYear = 3}, 365},
        {{.type = olRecursYearNth, .start = monday, .dayOfWeekMask = 2, .instance = 1, .monthOfYear = 3}, 364},
    };
    for (const PeriodRow& row : rows) EXPECT_EQ(row.days, MinimumPeriod(row.recurrence)) << Describe(row.recurrence);
}

// --- Against an independent evaluator of recurrence rules ---------------------------------------------------

TEST(RecurrenceArithmetic, RandomPatternsAgreeWithTheRuleThatSaysTheSame) {
    icalerror_set_errors_are_fatal(0);
    Patterns patterns(311);
    int compared = 0;
    for (int i = 0; i < 2500; ++i) {
        const Recurrence r = patterns.Any();
        const auto first = RecurrenceDays(r).First();
        if (!first) continue;
        // A rule counts from its first occurrence; a week or month phase that started earlier is the same there,
        // because only whole intervals lie between.
        ++compared;
        ASSERT_EQ(Expand(RuleText(r), *first, 50), Texts(r, 50)) << Describe(r) << " as " << RuleText(r);
    }
    EXPECT_GT(compared, 2200);
}

}  // namespace
}  // namespace kez::tests
