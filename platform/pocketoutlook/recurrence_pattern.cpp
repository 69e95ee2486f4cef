// IRecurrencePattern on the pattern of an item.
#include "platform/pocketoutlook/recurrence_pattern.h"

#include "platform/pocketoutlook/exceptions.h"

namespace kez::pocketoutlook {

template <class Out, class Take>
HRESULT RecurrencePattern::Read(const char* method, Out* out, Take&& take) {
    return Guard(method, &m_item->GetSession(), out, [&] {
        *out = static_cast<Out>(take(m_item->CurrentPattern()));
        return S_OK;
    });
}

HRESULT RecurrencePattern::Change(const char* method, HRESULT (Pattern::*setter)(LONG), LONG in) {
    return Guard(method, &m_item->GetSession(),
                 [&] { return m_item->ChangePattern([&](Pattern& pattern) { return (pattern.*setter)(in); }); });
}

HRESULT RecurrencePattern::ChangeTime(const char* method, std::optional<WallTicks> PatternTimes::*time, DATE in) {
    return Guard(method, &m_item->GetSession(), [&]() -> HRESULT {
        // A bare time of day is a date of the day 0, which lies before the first day that a date may have.
        if (!(in >= 0 && in < kLastDay + 1)) return E_INVALIDARG;
        m_item->PutPatternTime(time, in);
        return S_OK;
    });
}

namespace {

DATE TimeAsDate(WallTicks ticks) { return DateFromTicks(MidnightOf(0) + TimeOfDay(ticks)); }

}  // namespace

HRESULT RecurrencePattern::get_RecurrenceType(LONG* out) {
    return Read("IRecurrencePattern::get_RecurrenceType", out, [](const Pattern& p) { return p.recurrence.type; });
}

HRESULT RecurrencePattern::get_PatternStartDate(DATE* out) {
    return Read("IRecurrencePattern::get_PatternStartDate", out, [](const Pattern& p) { return p.recurrence.start; });
}

HRESULT RecurrencePattern::get_StartTime(DATE* out) {
    return Read("IRecurrencePattern::get_StartTime", out, [&](const Pattern&) {
        const auto span = m_item->PatternSpan();
        return span ? TimeAsDate(span->start) : 0.0;
    });
}

HRESULT RecurrencePattern::get_EndTime(DATE* out) {
    return Read("IRecurrencePattern::get_EndTime", out, [&](const Pattern&) {
        const auto span = m_item->PatternSpan();
        return span ? TimeAsDate(span->End()) : 0.0;
    });
}

HRESULT RecurrencePattern::get_PatternEndDate(DATE* out) {
    return Read("IRecurrencePattern::get_PatternEndDate", out, [](const Pattern& p) -> DATE {
        const auto last = p.LastDay();
        return last ? *last : DATE_NONE;
    });
}

HRESULT RecurrencePattern::get_NoEndDate(VARIANT_BOOL* out) {
    return Read("IRecurrencePattern::get_NoEndDate", out,
                [](const Pattern& p) { return p.noEnd ? VARIANT_TRUE : VARIANT_FALSE; });
}

HRESULT RecurrencePattern::get_Occurrences(LONG* out) {
    return Read("IRecurrencePattern::get_Occurrences", out, [](const Pattern& p) { return p.Occurrences(); });
}

HRESULT RecurrencePattern::get_Interval(LONG* out) {
    return Read("IRecurrencePattern::get_Interval", out, [](const Pattern& p) { return p.recurrence.interval; });
}

HRESULT RecurrencePattern::get_DayOfWeekMask(LONG* out) {
    return Read("IRecurrencePattern::get_DayOfWeekMask", out,
                [](const Pattern& p) { return p.recurrence.dayOfWeekMask; });
}

HRESULT RecurrencePattern::get_DayOfMonth(LONG* out) {
    return Read("IRecurrencePattern::get_DayOfMonth", out, [](const Pattern& p) { return p.recurrence.dayOfMonth; });
}

HRESULT RecurrencePattern::get_Instance(LONG* out) {
    return Read("IRecurrencePattern::get_Instance", out, [](const Pattern& p) { return p.recurrence.instance; });
}

HRESULT RecurrencePattern::get_Duration(LONG* out) {
    return Read("IRecurrencePattern::get_Duration", out, [&](const Pattern&) {
        const auto span = m_item->PatternSpan();
        return span ? span->minutes : 0;
    });
}

HRESULT RecurrencePattern::get_MonthOfYear(LONG* out) {
    return Read("IRecurrencePattern::get_MonthOfYear", out, [](const Pattern& p) { return p.recurrence.monthOfYear; });
}

HRESULT RecurrencePattern::put_RecurrenceType(LONG in) {
    return Guard("IRecurrencePattern::put_RecurrenceType", &m_item->GetSession(),
                 [&] { return m_item->PutRecurrenceType(in); });
}

HRESULT RecurrencePattern::put_PatternStartDate(DATE in) {
    return Guard("IRecurrencePattern::put_PatternStartDate", &m_item->GetSession(),
                 [&] { return m_item->PutPatternStart(in); });
}

HRESULT RecurrencePattern::put_StartTime(DATE in) {
    return ChangeTime("IRecurrencePattern::put_StartTime", &PatternTimes::start, in);
}

HRESULT RecurrencePattern::put_EndTime(DATE in) {
    return ChangeTime("IRecurrencePattern::put_EndTime", &PatternTimes::end, in);
}

HRESULT RecurrencePattern::put_PatternEndDate(DATE in) {
    return Guard("IRecurrencePattern::put_PatternEndDate", &m_item->GetSession(), [&]() -> HRESULT {
        std::optional<Day> day;
        if (in != DATE_NONE) {
            const auto end = WholeSeconds(in);
            if (!end) return E_INVALIDARG;
            day = DayOfTicks(*end);
        }
        return m_item->ChangePattern([&](Pattern& pattern) { return pattern.PutLastDay(day); });
    });
}

HRESULT RecurrencePattern::put_NoEndDate(VARIANT_BOOL in) {
    return Guard("IRecurrencePattern::put_NoEndDate", &m_item->GetSession(), [&] {
        return m_item->ChangePattern([&](Pattern& pattern) {
            pattern.PutNoEnd(in != VARIANT_FALSE);
            return S_OK;
        });
    });
}

HRESULT RecurrencePattern::put_Occurrences(LONG in) {
    return Change("IRecurrencePattern::put_Occurrences", &Pattern::PutOccurrences, in);
}

HRESULT RecurrencePattern::put_Interval(LONG in) {
    return Change("IRecurrencePattern::put_Interval", &Pattern::PutInterval, in);
}

HRESULT RecurrencePattern::put_DayOfWeekMask(LONG in) {
    return Change("IRecurrencePattern::put_DayOfWeekMask", &Pattern::PutDayOfWeekMask, in);
}

HRESULT RecurrencePattern::put_DayOfMonth(LONG in) {
    return Change("IRecurrencePattern::put_DayOfMonth", &Pattern::PutDayOfMonth, in);
}

HRESULT RecurrencePattern::put_Instance(LONG in) {
    return Change("IRecurrencePattern::put_Instance", &Pattern::PutInstance, in);
}

HRESULT RecurrencePattern::put_Duration(LONG in) {
    return Guard("IRecurrencePattern::put_Duration", &m_item->GetSession(),
                 [&] { return m_item->PutPatternMinutes(in); });
}

HRESULT RecurrencePattern::put_MonthOfYear(LONG in) {
    return Change("IRecurrencePattern::put_MonthOfYear", &Pattern::PutMonthOfYear, in);
}

HRESULT RecurrencePattern::get_Exceptions(IExceptions** out) {
    return Guard("IRecurrencePattern::get_Exceptions", &m_item->GetSession(), out, [&] {
        *out = new ExceptionList(m_item);
        return S_OK;
    });
}

HRESULT RecurrencePattern::get_Application(IPOutlookApp** out) {
    return Guard("IRecurrencePattern::get_Application", &m_item->GetSession(), out,
                 [&] { return m_item->GetSession().GetApplication(out); });
}

HRESULT RecurrencePattern::GetOccurrence(DATE date, IAppointment** out) {
    return Guard("IRecurrencePattern::GetOccurrence", &m_item->GetSession(), out,
                 [&] { return m_item->GetOccurrence(date, out); });
}

}  // namespace kez::pocketoutlook
