// Occurrences of a series and its exceptions: which dates have one, what changing and deleting them leaves behind,
// where they may move, and when a series loses its exceptions.
#include <climits>
#include <functional>
#include <map>
#include <optional>
#include <random>

#include "platform/pocketoutlook/recurrence_arithmetic.h"
#include "tests/platform/pocketoutlook/calendar_fixture.h"

namespace kez::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A series on 2026-03-02 (a Monday) to 2026-03-11, daily at 10:00 for an hour.
class Exceptions : public Calendar {
 protected:
    Exceptions() : m_series(DailySeries(At(2026, 3, 2, 10), 10)) {}
    ~Exceptions() override { m_series = {}; }

    static DATE Day(int day) { return At(2026, 3, day); }
    std::string StartOf(const Ref<IAppointment>& item) { return Show(Get(item, &IAppointment::get_Start)); }
    void Delete(int day) { EXPECT_HR(S_OK, Occurrence(m_series, Day(day))->Delete()) << day; }
    // Moves the occurrence of a day; the result of its Save.
    HRESULT Move(int day, DATE start, LONG minutes = 60) {
        const auto occurrence = Occurrence(m_series, Day(day));
        EXPECT_HR(S_OK, occurrence->put_Start(start));
        EXPECT_HR(S_OK, occurrence->put_Duration(minutes));
        return occurrence->Save();
    }

    Ref<IAppointment> m_series;
};

TEST_F(Exceptions, AnOccurrenceIsKnownByItsDateWhateverTheTime) {
    for (const DATE date : {At(2026, 3, 4), At(2026, 3, 4, 10), At(2026, 3, 4, 23, 59, 59)}) {
        const auto occurrence = Occurrence(m_series, date);
        EXPECT_EQ("2026-03-04 10:00:00", StartOf(occurrence));
        EXPECT_EQ("2026-03-04 11:00:00", Show(Get(occurrence, &IAppointment::get_End)));
        EXPECT_TRUE(Recurs(occurrence));
        EXPECT_EQ(Get(m_series, &IAppointment::get_Oid), Get(occurrence, &IAppointment::get_Oid));
    }
    EXPECT_THAT(ExceptionList(m_series), IsEmpty());
}

TEST_F(Exceptions, DatesWithoutAnOccurrenceGiveNothing) {
    for (const DATE date : {Day(1), Day(12), At(2025, 3, 4), 0.0, -7.0, DATE_NONE, 1e12}) {
        EXPECT_HR(E_INVALIDARG, OccurrenceResult(m_series, date)) << date;
    }
}

TEST_F(Exceptions, SingleAndUnsavedItemsHaveNoOccurrences) {
    const auto single = SavedAppointment(At(2026, 3, 2, 10));
    EXPECT_HR(E_INVALIDARG, OccurrenceResult(single, Day(2)));
    EXPECT_HR(S_OK, PatternOf(single)->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(E_FAIL, OccurrenceResult(single, Day(2)));
    const auto fresh = NewAppointment();
    EXPECT_HR(S_OK, PatternOf(fresh)->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(E_FAIL, OccurrenceResult(fresh, Day(2)));
}

TEST_F(Exceptions, AnOccurrenceHasNoPatternOfItsOwn) {
    const auto occurrence = Occurrence(m_series, Day(3));
    IRecurrencePattern* pattern = reinterpret_cast<IRecurrencePattern*>(1);
    EXPECT_HR(E_FAIL, occurrence->GetRecurrencePattern(&pattern));
    EXPECT_EQ(nullptr, pattern);
    EXPECT_HR(E_FAIL, occurrence->ClearRecurrencePattern());
}

TEST_F(Exceptions, ValuesOfAnOccurrenceAreThoseOfTheSeries) {
    EXPECT_HR(S_OK, m_series->put_Subject(Bstr(u"Stand-up")));
    EXPECT_HR(S_OK, m_series->put_Body(Bstr(u"notes")));
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, GetObject(m_series, &IAppointment::get_Recipients)->Add(Bstr(u"Ann"), recipient.Out()));
    EXPECT_HR(S_OK, m_series->Save());
    const auto occurrence = Occurrence(m_series, Day(3));
    EXPECT_EQ(u"Stand-up", GetText(occurrence, &IAppointment::get_Subject));
    EXPECT_EQ(u"notes", GetText(occurrence, &IAppointment::get_Body));
    EXPECT_EQ(1, Get(GetObject(occurrence, &IAppointment::get_Recipients), &IRecipients::get_Count));
    EXPECT_EQ("2026-03-03 10:00:00", TimeProperty(occurrence, PIMPR_START));
    EXPECT_EQ(1, Property(occurrence, PIMPR_IS_RECURRING).val.boolVal);
}

TEST_F(Exceptions, DeletingAnOccurrenceTakesEffectAtOnce) {
    Delete(3);
    EXPECT_THAT(ExceptionList(Again(m_series)), ElementsAre("2026-03-03 10:00:00 deleted"));
    EXPECT_HR(E_INVALIDARG, OccurrenceResult(m_series, Day(3)));
    EXPECT_HR(S_OK, OccurrenceResult(m_series, Day(4)));
    // The series object does not know of it: saving it changes nothing about the exception.
    EXPECT_HR(S_OK, m_series->put_Subject(Bstr(u"later")));
    EXPECT_HR(S_OK, m_series->Save());
    EXPECT_THAT(ExceptionList(Again(m_series)), ElementsAre("2026-03-03 10:00:00 deleted"));
}

TEST_F(Exceptions, AnOccurrenceIsDeletedOnce) {
    const auto one = Occurrence(m_series, Day(3));
    const auto other = Occurrence(m_series, Day(3));
    EXPECT_HR(S_OK, one->Delete());
    EXPECT_HR(E_FAIL, one->Delete());
    EXPECT_HR(E_FAIL, one->Save());
    EXPECT_HR(E_FAIL, other->Delete());
    EXPECT_HR(S_OK, other->put_Subject(Bstr(u"too late")));
    EXPECT_HR(E_FAIL, other->Save());
    EXPECT_THAT(ExceptionList(m_series), ElementsAre("2026-03-03 10:00:00 deleted"));
}

TEST_F(Exceptions, SavingAChangedOccurrenceMakesAnExceptionOfItAlone) {
    auto occurrence = Occurrence(m_series, Day(4));
    EXPECT_HR(S_OK, occurrence->Save());
    EXPECT_THAT(ExceptionList(m_series), IsEmpty()) << "nothing was changed";
    EXPECT_HR(S_OK, occurrence->put_Subject(Bstr(u"special")));
    EXPECT_HR(S_OK, occurrence->put_Start(At(2026, 3, 3, 15)));
    EXPECT_HR(S_OK, occurrence->put_Start(At(2026, 3, 4, 15)));
    EXPECT_THAT(ExceptionList(m_series), IsEmpty()) << "it counts with Save";
    EXPECT_HR(S_OK, occurrence->Save());
    EXPECT_THAT(ExceptionList(m_series), ElementsAre("2026-03-04 10:00:00 changed"));

    const auto again = Occurrence(Again(m_series), Day(4));
    EXPECT_EQ(u"special", GetText(again, &IAppointment::get_Subject));
    EXPECT_EQ("2026-03-04 15:00:00", StartOf(again));
    EXPECT_EQ("2026-03-04 15:00:00", TimeProperty(again, PIMPR_START));
    EXPECT_EQ("2026-03-02 00:00:00", TimeProperty(again, PIMPR_RECURRING_PATTERNSTARTDATE));
    EXPECT_EQ(u"", GetText(Again(m_series), &IAppointment::get_Subject));
    EXPECT_EQ(u"", GetText(Occurrence(m_series, Day(5)), &IAppointment::get_Subject));
    EXPECT_EQ("2026-03-02 10:00:00", StartOf(Again(m_series)));
}

TEST_F(Exceptions, AFurtherChangeEditsTheSameException) {
    const auto first = Occurrence(m_series, Day(4));
    EXPECT_HR(S_OK, first->put_Subject(Bstr(u"special")));
    EXPECT_HR(S_OK, first->Save());
    const auto second = Occurrence(m_series, Day(4));
    EXPECT_HR(S_OK, second->put_Location(Bstr(u"elsewhere")));
    EXPECT_HR(S_OK, second->Save());
    EXPECT_THAT(ExceptionList(m_series), ElementsAre("2026-03-04 10:00:00 changed"));
    const auto third = Occurrence(m_series, Day(4));
    EXPECT_EQ(u"special", GetText(third, &IAppointment::get_Subject));
    EXPECT_EQ(u"elsewhere", GetText(third, &IAppointment::get_Location));
}

TEST_F(Exceptions, TwoObjectsOnOneOccurrenceOnlyWriteWhatEachChanged) {
    const auto one = Occurrence(m_series, Day(4));
    const auto other = Occurrence(m_series, Day(4));
    EXPECT_HR(S_OK, one->put_Subject(Bstr(u"subject")));
    EXPECT_HR(S_OK, other->put_Location(Bstr(u"place")));
    EXPECT_HR(S_OK, one->Save());
    EXPECT_HR(S_OK, other->Save());
    const auto again = Occurrence(m_series, Day(4));
    EXPECT_EQ(u"subject", GetText(again, &IAppointment::get_Subject));
    EXPECT_EQ(u"place", GetText(again, &IAppointment::get_Location));
}

TEST_F(Exceptions, AnExceptionKeepsOnlyWhatDiffersFromItsSeries) {
    EXPECT_HR(S_OK, m_series->put_Subject(Bstr(u"old")));
    EXPECT_HR(S_OK, m_series->put_Location(Bstr(u"Room 1")));
    EXPECT_HR(S_OK, m_series->Save());
    const auto occurrence = Occurrence(m_series, Day(4));
    EXPECT_HR(S_OK, occurrence->put_Location(nullptr));
    EXPECT_HR(S_OK, occurrence->put_BusyStatus(olFree));
    EXPECT_HR(S_OK, occurrence->Save());
    EXPECT_HR(S_OK, m_series->put_Subject(Bstr(u"new")));
    EXPECT_HR(S_OK, m_series->put_Location(Bstr(u"Room 2")));
    EXPECT_HR(S_OK, m_series->Save());
    const auto again = Occurrence(m_series, Day(4));
    EXPECT_EQ(u"new", GetText(again, &IAppointment::get_Subject));
    EXPECT_EQ(u"", GetText(again, &IAppointment::get_Location)) << "a value taken away stays away";
    EXPECT_EQ(olFree, Get(again, &IAppointment::get_BusyStatus));
}

TEST_F(Exceptions, RecipientsOfAnOccurrenceAreItsOwnOnceChanged) {
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, GetObject(m_series, &IAppointment::get_Recipients)->Add(Bstr(u"Ann"), recipient.Out()));
    EXPECT_HR(S_OK, m_series->Save());
    const auto changed = Occurrence(m_series, Day(4));
    EXPECT_HR(S_OK, GetObject(changed, &IAppointment::get_Recipients)->Add(Bstr(u"B\u00f6b"), recipient.Out()));
    EXPECT_HR(S_OK, recipient->put_Address(Bstr(u"bob@example.org")));
    EXPECT_HR(S_OK, changed->Save());
    const auto emptied = Occurrence(m_series, Day(5));
    EXPECT_HR(S_OK, GetObject(emptied, &IAppointment::get_Recipients)->Remove(1));
    EXPECT_HR(S_OK, emptied->Save());
    EXPECT_HR(S_OK, emptied->put_Subject(Bstr(u"later")));
    EXPECT_HR(S_OK, emptied->Save());

    const auto again = GetObject(Occurrence(m_series, Day(4)), &IAppointment::get_Recipients);
    ASSERT_EQ(2, Get(again, &IRecipients::get_Count));
    EXPECT_HR(S_OK, again->Item(2, recipient.Out()));
    EXPECT_EQ(u"B\u00f6b", GetText(recipient, &IRecipient::get_Name));
    EXPECT_EQ(u"bob@example.org", GetText(recipient, &IRecipient::get_Address));
    const auto none = Occurrence(m_series, Day(5));
    EXPECT_EQ(0, Get(GetObject(none, &IAppointment::get_Recipients), &IRecipients::get_Count));
    EXPECT_EQ(olNonMeeting, Get(none, &IAppointment::get_MeetingStatus));
    EXPECT_EQ(1, Get(GetObject(Again(m_series), &IAppointment::get_Recipients), &IRecipients::get_Count));
}

// --- The list -------------------------------------------------------------------------------------------------

TEST_F(Exceptions, AreListedByTheirOriginalStart) {
    Delete(9);
    EXPECT_HR(S_OK, Move(5, At(2026, 3, 5, 18)));
    Delete(2);
    EXPECT_THAT(ExceptionList(m_series), ElementsAre("2026-03-02 10:00:00 deleted", "2026-03-05 10:00:00 changed",
                                                     "2026-03-09 10:00:00 deleted"));
}

TEST_F(Exceptions, PositionsOutOfRangeGiveNothing) {
    Delete(3);
    const auto list = ExceptionsOf(m_series);
    for (const INT index : {INT_MIN, -1, 0, 2, INT_MAX}) {
        IException* none = reinterpret_cast<IException*>(1);
        EXPECT_HR(E_INVALIDARG, list->Item(index, &none)) << index;
        EXPECT_EQ(nullptr, none);
    }
    Ref<IUnknown> enumerator;
    EXPECT_HR(E_NOTIMPL, list->get__NewEnum(enumerator.Out()));
}

TEST_F(Exceptions, ADeletedOneHasNoAppointment) {
    Delete(3);
    IAppointment* none = reinterpret_cast<IAppointment*>(1);
    EXPECT_HR(E_FAIL, ExceptionAt(m_series, 1)->get_AppointmentItem(&none));
    EXPECT_EQ(nullptr, none);
}

TEST_F(Exceptions, TheListIsLiveAndKeepsItsPlacesWhileOccurrencesAreDeletedThroughIt) {
    Delete(3);
    EXPECT_HR(S_OK, Move(4, At(2026, 3, 4, 12)));
    EXPECT_HR(S_OK, Move(6, At(2026, 3, 6, 12)));
    const auto list = ExceptionsOf(m_series);
    ASSERT_EQ(3, Get(list, &IExceptions::get_Count));
    for (INT i = 1; i <= 3; ++i) {
        Ref<IException> entry;
        EXPECT_HR(S_OK, list->Item(i, entry.Out()));
        if (Get(entry, &IException::get_Deleted) == VARIANT_TRUE) continue;
        const auto occurrence = GetObject(entry, &IException::get_AppointmentItem);
        EXPECT_EQ(12, static_cast<int>(Get(occurrence, &IAppointment::get_Start) * 24) % 24);
        EXPECT_HR(S_OK, occurrence->Delete());
        EXPECT_EQ(VARIANT_TRUE, Get(entry, &IException::get_Deleted)) << "the entry shows it at once";
    }
    EXPECT_THAT(ExceptionList(m_series), ElementsAre("2026-03-03 10:00:00 deleted", "2026-03-04 10:00:00 deleted",
                                                     "2026-03-06 10:00:00 deleted"));
}

TEST_F(Exceptions, ADeletedOneIsTheSameAfterItsChangesWereDropped) {
    EXPECT_HR(S_OK, Move(4, At(2026, 3, 4, 12)));
    EXPECT_HR(S_OK, GetObject(ExceptionAt(m_series, 1), &IException::get_AppointmentItem)->Delete());
    EXPECT_THAT(ExceptionList(Again(m_series)), ElementsAre("2026-03-04 10:00:00 deleted"));
    EXPECT_HR(E_INVALIDARG, OccurrenceResult(m_series, Day(4)));
}

TEST_F(Exceptions, AnEntryWhoseExceptionWentSaysSo) {
    Delete(3);
    const auto entry = ExceptionAt(m_series, 1);
    EXPECT_HR(S_OK, m_series->ClearRecurrencePattern());
    EXPECT_HR(S_OK, m_series->Save());
    VARIANT_BOOL deleted = VARIANT_FALSE;
    EXPECT_HR(E_FAIL, entry->get_Deleted(&deleted));
    Ref<IAppointment> none;
    EXPECT_HR(E_FAIL, entry->get_AppointmentItem(none.Out()));
}

// --- Where an occurrence may go -------------------------------------------------------------------------------

TEST_F(Exceptions, AnOccurrenceMayNotMoveToTheDayOfAnother) {
    EXPECT_HR(E_EXCEPTIONSAMEDAY, Move(4, At(2026, 3, 5, 20)));
    EXPECT_HR(E_EXCEPTIONSAMEDAY, Move(4, At(2026, 3, 3, 0)));
    EXPECT_HR(E_EXCEPTIONSAMEDAY, Move(4, At(2026, 3, 9, 0)));
    EXPECT_THAT(ExceptionList(m_series), IsEmpty());
}

TEST_F(Exceptions, AnOccurrenceMayNotPassANeighbour) {
    const auto weekly = DailySeries(At(2026, 4, 1, 10), 0, 7);
    const auto move = [&](DATE start) {
        const auto occurrence = Occurrence(weekly, At(2026, 4, 15));
        EXPECT_HR(S_OK, occurrence->put_Start(start));
        return occurrence->Save();
    };
    EXPECT_HR(E_CANTCHANGEDATE, move(At(2026, 4, 23, 8)));
    EXPECT_HR(E_CANTCHANGEDATE, move(At(2026, 4, 7, 8)));
    EXPECT_HR(E_EXCEPTIONSAMEDAY, move(At(2026, 4, 22, 8)));
    EXPECT_HR(S_OK, move(At(2026, 4, 21, 8)));
    EXPECT_EQ("2026-04-21 08:00:00", StartOf(Occurrence(weekly, At(2026, 4, 15))));
    EXPECT_HR(E_INVALIDARG, OccurrenceResult(weekly, At(2026, 4, 21))) << "its new date is no occurrence's";
    // Now its neighbour may not come nearer than that.
    const auto next = Occurrence(weekly, At(2026, 4, 22));
    EXPECT_HR(S_OK, next->put_Start(At(2026, 4, 21, 12)));
    EXPECT_HR(E_EXCEPTIONSAMEDAY, next->Save());
    EXPECT_HR(S_OK, next->put_Start(At(2026, 4, 20, 12)));
    EXPECT_HR(E_CANTCHANGEDATE, next->Save());
}

TEST_F(Exceptions, AnOccurrenceMayNotOverlapANeighbour) {
    EXPECT_HR(E_OVERLAPPINGEXCEPTION, Move(4, At(2026, 3, 4, 10), 1441));
    EXPECT_HR(S_OK, Move(4, At(2026, 3, 4, 10), 1440));
    EXPECT_HR(E_OVERLAPPINGEXCEPTION, Move(5, At(2026, 3, 5, 9)));
    EXPECT_HR(S_OK, Move(5, At(2026, 3, 5, 11)));
}

TEST_F(Exceptions, TheFirstAndTheLastOccurrenceHaveRoomOutside) {
    EXPECT_HR(S_OK, Move(2, At(2026, 2, 20, 10)));
    EXPECT_HR(S_OK, Move(11, At(2026, 3, 20, 10)));
}

TEST_F(Exceptions, DeletedNeighboursAreNotInTheWay) {
    Delete(5);
    EXPECT_HR(E_CANTCHANGEDATE, [&] {
        Delete(7);
        return Move(4, At(2026, 3, 7, 9));  // past the 6th
    }());
    EXPECT_HR(S_OK, Move(4, At(2026, 3, 5, 9)));
    EXPECT_HR(S_OK, Move(6, At(2026, 3, 7, 9)));
}

TEST_F(Exceptions, AnAllDayOccurrenceCannotBeAMeeting) {
    const auto occurrence = Occurrence(m_series, Day(4));
    EXPECT_HR(S_OK, occurrence->put_AllDayEvent(VARIANT_TRUE));
    Ref<IRecipient> recipient;
    const auto recipients = GetObject(occurrence, &IAppointment::get_Recipients);
    EXPECT_HR(S_OK, recipients->Add(Bstr(u"Ann"), recipient.Out()));
    EXPECT_HR(E_ALLDAYMEETING, occurrence->Save());
    EXPECT_EQ(60, Get(occurrence, &IAppointment::get_Duration)) << "a failed Save leaves what was put";
    EXPECT_HR(S_OK, recipients->Remove(1));
    EXPECT_HR(E_OVERLAPPINGEXCEPTION, [&] {
        EXPECT_HR(S_OK, occurrence->put_Duration(1441));
        return occurrence->Save();
    }());
    EXPECT_HR(S_OK, occurrence->put_Duration(60));
    EXPECT_HR(S_OK, occurrence->Save());
    EXPECT_EQ(1440, Get(occurrence, &IAppointment::get_Duration));
    EXPECT_EQ("2026-03-04 00:00:00", StartOf(Occurrence(m_series, Day(4))));
}

// --- When a series keeps and when it loses its exceptions ------------------------------------------------------

TEST_F(Exceptions, AreKeptWhenThePatternIsPutAgainAsItIs) {
    Delete(3);
    const auto series = Again(m_series);
    const auto pattern = PatternOf(series);
    const DATE start = Get(series, &IAppointment::get_Start);
    EXPECT_HR(S_OK, series->put_Start(start));
    EXPECT_HR(S_OK, series->put_Duration(60));
    EXPECT_HR(S_OK, pattern->put_StartTime(start));
    EXPECT_HR(S_OK, pattern->put_PatternStartDate(start));
    EXPECT_HR(S_OK, pattern->put_Duration(60));
    EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(S_OK, pattern->put_Interval(1));
    EXPECT_HR(S_OK, pattern->put_DayOfWeekMask(127));  // every day is no mask
    EXPECT_HR(S_OK, pattern->put_NoEndDate(VARIANT_FALSE));
    EXPECT_HR(S_OK, pattern->put_PatternEndDate(At(2026, 3, 11)));
    EXPECT_HR(S_OK, series->Save());
    EXPECT_THAT(ExceptionList(Again(series)), ElementsAre("2026-03-03 10:00:00 deleted"));
}

TEST_F(Exceptions, AreDroppedWhenTypeFieldStartTimeOrDurationChange) {
    const std::pair<const char*, std::function<void(IAppointment*, IRecurrencePattern*)>> rows[] = {
        {"type", [](IAppointment*, IRecurrencePattern* p) { EXPECT_HR(S_OK, p->put_RecurrenceType(olRecursWeekly)); }},
        {"interval", [](IAppointment*, IRecurrencePattern* p) { EXPECT_HR(S_OK, p->put_Interval(2)); }},
        {"mask", [](IAppointment*, IRecurrencePattern* p) { EXPECT_HR(S_OK, p->put_DayOfWeekMask(62)); }},
        {"start", [](IAppointment*, IRecurrencePattern* p) { EXPECT_HR(S_OK, p->put_PatternStartDate(Day(3))); }},
        {"time", [](IAppointment* a, IRecurrencePattern*) { EXPECT_HR(S_OK, a->put_Start(At(2026, 3, 2, 11))); }},
        {"duration", [](IAppointment* a, IRecurrencePattern*) { EXPECT_HR(S_OK, a->put_Duration(61)); }},
    };
    for (const auto& [name, change] : rows) {
        SCOPED_TRACE(name);
        const auto series = DailySeries(At(2026, 3, 2, 10), 10);
        EXPECT_HR(S_OK, Occurrence(series, Day(6))->Delete());
        change(series.Get(), PatternOf(series).Get());
        EXPECT_THAT(ExceptionList(series), ElementsAre("2026-03-06 10:00:00 deleted")) << "until it is saved";
        EXPECT_HR(S_OK, series->Save());
        EXPECT_THAT(ExceptionList(Again(series)), IsEmpty());
    }
}

TEST_F(Exceptions, AreKeptWhenOnlyTheEndMovesUnlessTheyLieBeyondIt) {
    Delete(3);
    Delete(8);
    EXPECT_HR(S_OK, PatternOf(m_series)->put_Occurrences(20));
    EXPECT_HR(S_OK, m_series->Save());
    EXPECT_EQ(2u, ExceptionList(Again(m_series)).size());
    EXPECT_HR(S_OK, PatternOf(m_series)->put_PatternEndDate(Day(7)));
    EXPECT_HR(S_OK, m_series->Save());
    EXPECT_THAT(ExceptionList(Again(m_series)), ElementsAre("2026-03-03 10:00:00 deleted"));
}

TEST_F(Exceptions, OfAnotherObjectsPatternGoWhereThisOneMakesTheItemRecurAnew) {
    const auto single = SavedAppointment(At(2026, 3, 2, 10));
    const auto other = Again(single);
    EXPECT_HR(S_OK, PatternOf(other)->put_RecurrenceType(olRecursDaily));
    EXPECT_HR(S_OK, other->Save());
    EXPECT_HR(S_OK, Occurrence(other, Day(9))->Delete());
    EXPECT_HR(S_OK, PatternOf(single)->put_RecurrenceType(olRecursWeekly));
    EXPECT_HR(S_OK, single->Save());
    EXPECT_THAT(ExceptionList(Again(single)), IsEmpty());
}

TEST_F(Exceptions, AFailedSaveOfTheSeriesDropsNothing) {
    Delete(3);
    EXPECT_HR(S_OK, m_series->put_Duration(1441));
    EXPECT_HR(E_INVALIDDATES, m_series->Save());
    EXPECT_HR(S_OK, m_series->ClearRecurrencePattern());
    control::PlanFault({"IAppointment::Save", 1, 1, static_cast<DWORD>(E_FAIL)});
    EXPECT_HR(E_FAIL, m_series->Save());
    EXPECT_THAT(ExceptionList(Again(m_series)), ElementsAre("2026-03-03 10:00:00 deleted"));
}

TEST_F(Exceptions, GoWithTheirSeries) {
    Delete(3);
    const auto occurrence = Occurrence(m_series, Day(4));
    const auto pattern = PatternOf(m_series);
    EXPECT_HR(S_OK, m_series->Delete());
    EXPECT_HR(S_OK, occurrence->put_Subject(Bstr(u"too late")));
    EXPECT_HR(E_FAIL, occurrence->Save());
    EXPECT_HR(E_FAIL, occurrence->Delete());
    Ref<IAppointment> none;
    EXPECT_HR(E_FAIL, pattern->GetOccurrence(Day(5), none.Out()));
    EXPECT_THAT(ExceptionList(m_series), IsEmpty());
}

TEST_F(Exceptions, ACopyOfASeriesTakesThemAlong) {
    Delete(3);
    EXPECT_HR(S_OK, Move(5, At(2026, 3, 5, 18)));
    const auto copy = GetObject(m_series, &IAppointment::Copy);
    EXPECT_HR(S_OK, copy->Save());
    EXPECT_THAT(ExceptionList(Again(copy)), ElementsAre("2026-03-03 10:00:00 deleted", "2026-03-05 10:00:00 changed"));
    EXPECT_EQ("2026-03-05 18:00:00", StartOf(Occurrence(copy, Day(5))));

    const auto changed = GetObject(m_series, &IAppointment::Copy);
    EXPECT_HR(S_OK, changed->put_Duration(15));
    EXPECT_HR(S_OK, changed->Save());
    EXPECT_THAT(ExceptionList(Again(changed)), IsEmpty());
}

TEST_F(Exceptions, ACopyOfAnOccurrenceIsASingleAppointment) {
    EXPECT_HR(S_OK, Move(5, At(2026, 3, 5, 18)));
    const auto copy = GetObject(Occurrence(m_series, Day(5)), &IAppointment::Copy);
    EXPECT_FALSE(Recurs(copy));
    EXPECT_HR(S_OK, copy->Save());
    EXPECT_EQ("2026-03-05 18:00:00", StartOf(Again(copy)));
    EXPECT_NE(Get(m_series, &IAppointment::get_Oid), Get(copy, &IAppointment::get_Oid));
}

TEST_F(Exceptions, AnOccurrenceFarAwayIsFound) {
    const auto endless = DailySeries(At(2026, 3, 2, 10));
    EXPECT_EQ("2999-12-31 10:00:00", StartOf(Occurrence(endless, At(2999, 12, 31))));
    EXPECT_HR(S_OK, Occurrence(endless, At(2999, 12, 30))->Delete());
    EXPECT_THAT(ExceptionList(endless), ElementsAre("2999-12-30 10:00:00 deleted"));
}

// --- Against a model ------------------------------------------------------------------------------------------

// Random deletions and moves on a series, through two objects that are opened again in between; the model keeps each
// day's state in a map.
TEST_F(Exceptions, RandomChangesLeaveWhatAModelOfTheSeriesSays) {
    struct Entry {
        bool deleted;
        DATE start;
    };
    std::mt19937 random(20260302);
    const auto between = [&](int least, int most) { return std::uniform_int_distribution<int>(least, most)(random); };
    for (int round = 0; round < 6; ++round) {
        const int interval = between(2, 5);
        const int count = between(5, 12);
        auto series = DailySeries(At(2026, 3, 2, 10), count, interval);
        const LONG first = static_cast<LONG>(At(2026, 3, 2));
        std::map<LONG, Entry> model;
        const auto startOf = [&](LONG day) { return model.contains(day) ? model[day].start : day + 10.0 / 24; };
        const auto isDeleted = [&](LONG day) { return model.contains(day) && model[day].deleted; };
        const auto expectedMove = [&](LONG day, DATE start) -> HRESULT {
            std::optional<LONG> before;
            std::optional<LONG> after;
            for (int i = 0; i < count; ++i) {
                const LONG other = first + i * interval;
                if (other == day || isDeleted(other)) continue;
                if (static_cast<LONG>(startOf(other)) == static_cast<LONG>(start)) return E_EXCEPTIONSAMEDAY;
                if (other < day) before = other;
                if (other > day && !after) after = other;
            }
            if (before && startOf(*before) > start) return E_CANTCHANGEDATE;
            if (after && startOf(*after) < start) return E_CANTCHANGEDATE;
            return S_OK;  // an hour at noon reaches no other day
        };
        for (int step = 0; step < 40; ++step) {
            const LONG day = first + between(-1, count * interval);
            const bool member = (day - first) % interval == 0 && day >= first && day < first + count * interval;
            if (between(0, 5) == 0) series = Again(series);
            Ref<IAppointment> occurrence;
            const HRESULT hr = PatternOf(series)->GetOccurrence(day, occurrence.Out());
            ASSERT_HR(member && !isDeleted(day) ? S_OK : E_INVALIDARG, hr);
            if (FAILED(hr)) continue;
            ASSERT_EQ(Show(startOf(day)), StartOf(occurrence));
            if (between(0, 3) == 0) {
                ASSERT_HR(S_OK, occurrence->Delete());
                model[day] = {true, day + 10.0 / 24};
            } else {
                const DATE start = day + between(-2 * interval, 2 * interval) + 0.5;
                ASSERT_HR(S_OK, occurrence->put_Start(start));
                const HRESULT expected = expectedMove(day, start);
                ASSERT_HR(expected, occurrence->Save()) << Show(day) << " to " << Show(start);
                if (SUCCEEDED(expected)) model[day] = {false, start};
            }
        }
        std::vector<std::string> expected;
        for (const auto& [day, entry] : model) {
            expected.push_back(Show(day + 10.0 / 24) + (entry.deleted ? " deleted" : " changed"));
        }
        EXPECT_EQ(expected, ExceptionList(Again(series)));
    }
}

}  // namespace
}  // namespace kez::tests
