// Random series, put together through the interfaces, saved and opened again: their fields come back, and their
// occurrences are those that an independent evaluator of recurrence rules finds.
#include <algorithm>
#include <set>

#include "tests/platform/pocketoutlook/calendar_fixture.h"
#include "tests/platform/pocketoutlook/rule_oracle.h"

namespace kez::tests {
namespace {

class RandomCalendar : public Calendar {
 protected:
    RandomCalendar() { icalerror_set_errors_are_fatal(0); }

    // A new appointment on the pattern's start with that pattern, not saved yet.
    Ref<IAppointment> Make(const Recurrence& r) {
        auto item = NewAppointment();
        EXPECT_HR(S_OK, item->put_Start(r.start + 10.0 / 24));
        EXPECT_HR(S_OK, item->put_ReminderSet(VARIANT_FALSE));
        const auto pattern = PatternOf(item);
        EXPECT_HR(S_OK, pattern->put_RecurrenceType(r.type));
        EXPECT_HR(S_OK, pattern->put_Interval(r.interval));
        if (r.dayOfWeekMask != 0 || r.type == olRecursDaily) {
            EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(r.dayOfWeekMask));
        }
        EXPECT_HR(S_OK, pattern->put_Instance(r.instance));
        // The day is set to 1 first, so that it fits whatever month comes.
        EXPECT_HR(S_OK, pattern->put_DayOfMonth(1));
        EXPECT_HR(S_OK, pattern->put_MonthOfYear(r.monthOfYear));
        EXPECT_HR(S_OK, pattern->put_DayOfMonth(r.dayOfMonth));
        if (r.occurrences) {
            EXPECT_HR(S_OK, pattern->put_Occurrences(*r.occurrences));
        }
        if (r.lastDay) {
            EXPECT_HR(S_OK, pattern->put_PatternEndDate(*r.lastDay));
        }
        return item;
    }

    void ExpectSamePattern(const Ref<IAppointment>& one, const Ref<IAppointment>& other) {
        const auto a = PatternOf(one);
        const auto b = PatternOf(other);
        for (const auto getter : {&IRecurrencePattern::get_RecurrenceType, &IRecurrencePattern::get_Occurrences,
                                  &IRecurrencePattern::get_Interval, &IRecurrencePattern::get_DayOfWeekMask,
                                  &IRecurrencePattern::get_DayOfMonth, &IRecurrencePattern::get_Instance,
                                  &IRecurrencePattern::get_Duration, &IRecurrencePattern::get_MonthOfYear}) {
            EXPECT_EQ(Get(a, getter), Get(b, getter));
        }
        for (const auto getter : {&IRecurrencePattern::get_PatternStartDate, &IRecurrencePattern::get_PatternEndDate,
                                  &IRecurrencePattern::get_StartTime, &IRecurrencePattern::get_EndTime}) {
            EXPECT_EQ(Get(a, getter), Get(b, getter));
        }
        EXPECT_EQ(Get(a, &IRecurrencePattern::get_NoEndDate), Get(b, &IRecurrencePattern::get_NoEndDate));
    }
};

TEST_F(RandomCalendar, SeriesComeBackAndOccurWhenTheRuleThatSaysTheSameDoes) {
    Patterns patterns(20260302);
    int saved = 0;
    for (int i = 0; i < 120 && !HasFailure(); ++i) {
        Recurrence r = patterns.Any();
        SCOPED_TRACE(Describe(r));
        const auto item = Make(r);
        const auto first = RecurrenceDays(r).First();
        if (!first) {
            EXPECT_HR(E_INVALIDDATES, item->Save());
            continue;
        }
        ASSERT_HR(S_OK, item->Save());
        ++saved;
        const auto again = Again(item);
        ExpectSamePattern(item, again);
        EXPECT_EQ(Show(*first + 10.0 / 24), Show(Get(again, &IAppointment::get_Start)));

        if (r.type == olRecursYearly || r.type == olRecursYearNth) r.interval = 1;
        const auto expected = Expand(RuleText(r), *first, 12);
        const std::set<std::string> all(expected.begin(), expected.end());
        const auto pattern = PatternOf(again);
        for (Day day = *first - 3; Text(day) <= expected.back(); ++day) {
            // Every day around an occurrence, and now and then one in between.
            const bool near = all.contains(Text(day)) || all.contains(Text(day + 1)) || all.contains(Text(day - 1));
            if (!near && day % 17 != 0) continue;
            Ref<IAppointment> occurrence;
            const HRESULT hr = pattern->GetOccurrence(day, occurrence.Out());
            ASSERT_HR(all.contains(Text(day)) ? S_OK : E_INVALIDARG, hr) << Text(day);
            if (occurrence) {
                ASSERT_EQ(Text(day) + " 10:00:00", Show(Get(occurrence, &IAppointment::get_Start)));
            }
        }
        // Saved again as it is, nothing of it changes.
        EXPECT_HR(S_OK, again->put_Subject(Bstr(u"again")));
        EXPECT_HR(S_OK, again->Save());
        ExpectSamePattern(item, Again(item));
    }
    EXPECT_GT(saved, 80);
}

// A calendar with single appointments and series that have lost and moved occurrences, listed occurrence by occurrence.
TEST_F(RandomCalendar, ACollectionWithRecurrencesListsWhatIsLeftOfEverySeries) {
    Patterns random(4);
    std::vector<std::string> expected;
    for (int i = 0; i < 5; ++i) {
        const DATE start = At(2026, 3, random.Between(2, 28), random.Between(0, 23));
        SavedAppointment(start);
        expected.push_back(Show(start));
    }
    for (int i = 0; i < 3; ++i) {
        const int interval = random.Between(2, 4);
        const DATE start = At(2026, 3, random.Between(2, 9), random.Between(0, 23));
        const auto series = DailySeries(start, 8, interval);
        for (int k = 0; k < 8; ++k) {
            const DATE original = Get(Occurrence(series, start + k * interval), &IAppointment::get_Start);
            const auto occurrence = Occurrence(series, original);
            const int fate = random.Between(0, 3);
            if (fate == 0) {
                EXPECT_HR(S_OK, occurrence->Delete());
            } else if (fate == 1) {
                EXPECT_HR(S_OK, occurrence->put_Start(original + 0.5));
                EXPECT_HR(S_OK, occurrence->Save());
                expected.push_back(Show(original + 0.5));
            } else {
                expected.push_back(Show(original));
            }
        }
    }
    std::ranges::sort(expected);

    Ref<IFolder> folder;
    ASSERT_HR(S_OK, m_application->GetDefaultFolder(olFolderCalendar, folder.Out()));
    const auto items = GetObject(folder, &IFolder::get_Items);
    EXPECT_HR(S_OK, items->put_IncludeRecurrences(VARIANT_TRUE));
    std::vector<std::string> listed;
    for (INT i = 1;; ++i) {
        Ref<IDispatch> entry;
        if (FAILED(items->Item(i, entry.Out()))) break;
        Ref<IAppointment> item;
        ASSERT_HR(S_OK, entry->QueryInterface(IID_IAppointment, reinterpret_cast<void**>(item.Out())));
        listed.push_back(Show(Get(item, &IAppointment::get_Start)));
    }
    EXPECT_EQ(expected, listed);
}

}  // namespace
}  // namespace kez::tests
