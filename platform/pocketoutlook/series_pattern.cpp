// Rules of pattern fields, and the pattern in a record.
#include "platform/pocketoutlook/series_pattern.h"

#include <algorithm>

namespace kez::pocketoutlook {
namespace {

constexpr LONG kMaximumOccurrences = 999;
constexpr LONG kMaximumInterval = 999;
constexpr LONG kEveryWeekday = 127;
constexpr int kLeapYear = 2000;

bool Within(LONG value, LONG least, LONG most) { return value >= least && value <= most; }

// The properties of a record that hold one number of a pattern each.
struct NumberRow {
    CEPROPID id;
    LONG Recurrence::*field;
};
constexpr NumberRow kNumbers[] = {
    {PIMPR_RECURRING_TYPE, &Recurrence::type},
    {PIMPR_RECURRING_INTERVAL, &Recurrence::interval},
    {PIMPR_RECURRING_DAYOFWEEKMASK, &Recurrence::dayOfWeekMask},
    {PIMPR_RECURRING_DAYOFMONTH, &Recurrence::dayOfMonth},
    {PIMPR_RECURRING_INSTANCE, &Recurrence::instance},
    {PIMPR_RECURRING_MONTHOFYEAR, &Recurrence::monthOfYear},
};

bool FitsMonth(LONG day, LONG month) { return !Within(month, 1, 12) || day <= DaysInMonth(kLeapYear, month); }

}  // namespace

bool IsRecurrenceType(LONG type) {
    return Within(type, olRecursDaily, olRecursMonthNth) || Within(type, olRecursYearly, olRecursYearNth);
}

bool Pattern::UsesMask() const {
    return recurrence.type == olRecursWeekly || recurrence.type == olRecursMonthNth ||
           recurrence.type == olRecursYearNth;
}

std::optional<Day> Pattern::LastDay() const {
    if (noEnd || !recurrence.occurrences) return recurrence.lastDay;
    return RecurrenceDays(recurrence).Last();
}

LONG Pattern::Occurrences() const {
    if (noEnd || !recurrence.lastDay) return recurrence.occurrences.value_or(0);
    return static_cast<LONG>(RecurrenceDays(recurrence).Count());
}

HRESULT Pattern::PutInterval(LONG interval) {
    if (!Within(interval, 1, kMaximumInterval)) return E_INVALIDARG;
    // The yearly types happen every year: the value is accepted and has no effect.
    if (!IsYearly()) recurrence.interval = interval;
    return S_OK;
}

HRESULT Pattern::PutDayOfWeekMask(LONG mask) {
    if (!Within(mask, UsesMask() ? 1 : 0, kEveryWeekday)) return E_INVALIDARG;
    recurrence.dayOfWeekMask = mask;
    return S_OK;
}

HRESULT Pattern::PutDayOfMonth(LONG day) {
    if (!Within(day, 1, 31)) return E_INVALIDARG;
    if (recurrence.type == olRecursYearly && !FitsMonth(day, recurrence.monthOfYear)) return E_INVALIDARG;
    recurrence.dayOfMonth = day;
    return S_OK;
}

HRESULT Pattern::PutInstance(LONG instance) {
    if (!Within(instance, 1, 5)) return E_INVALIDARG;
    recurrence.instance = instance;
    return S_OK;
}

HRESULT Pattern::PutMonthOfYear(LONG month) {
    if (!Within(month, 1, 12)) return E_INVALIDARG;
    if (recurrence.type == olRecursYearly && !FitsMonth(recurrence.dayOfMonth, month)) return E_INVALIDARG;
    recurrence.monthOfYear = month;
    return S_OK;
}

HRESULT Pattern::PutLastDay(std::optional<Day> day) {
    recurrence.lastDay = day;
    if (day) {
        recurrence.occurrences.reset();
        noEnd = false;
    }
    return S_OK;
}

HRESULT Pattern::PutOccurrences(LONG occurrences) {
    if (!Within(occurrences, 1, kMaximumOccurrences)) return E_INVALIDARG;
    recurrence.occurrences = occurrences;
    recurrence.lastDay.reset();
    noEnd = false;
    return S_OK;
}

void Pattern::PutNoEnd(bool endless) {
    noEnd = endless;
    if (!endless) return;
    recurrence.lastDay.reset();
    recurrence.occurrences.reset();
}

Pattern InitialPattern(LONG type, Day start) {
    const CivilDate date = CivilOf(start);
    Pattern pattern;
    Recurrence& recurrence = pattern.recurrence;
    recurrence.type = type;
    recurrence.start = start;
    if (pattern.UsesMask()) recurrence.dayOfWeekMask = DayOfWeekBit(start);
    if (type == olRecursMonthly || type == olRecursYearly) recurrence.dayOfMonth = date.day;
    if (type == olRecursMonthNth || type == olRecursYearNth) recurrence.instance = (date.day - 1) / 7 + 1;
    if (pattern.IsYearly()) recurrence.monthOfYear = date.month;
    return pattern;
}

Pattern ReadPattern(const PropertyBag& values) {
    Pattern pattern;
    if (!values.Flag(PIMPR_IS_RECURRING)) return pattern;
    Recurrence& recurrence = pattern.recurrence;
    for (const NumberRow& row : kNumbers) recurrence.*row.field = values.Number(row.id);
    recurrence.start = DayOfTicks(values.Ticks(PIMPR_RECURRING_PATTERNSTARTDATE));
    pattern.noEnd = values.Flag(PIMPR_RECURRING_NOEND);
    if (values.Has(PIMPR_RECURRING_PATTERNENDDATE)) {
        recurrence.lastDay = DayOfTicks(values.Ticks(PIMPR_RECURRING_PATTERNENDDATE));
    }
    if (values.Has(PIMPR_RECURRING_OCCURRENCES)) recurrence.occurrences = values.Number(PIMPR_RECURRING_OCCURRENCES);
    return pattern;
}

void WritePattern(PropertyBag& values, const Pattern& pattern) {
    const Recurrence& recurrence = pattern.recurrence;
    values.SetFlag(PIMPR_IS_RECURRING, pattern.InUse());
    for (const CEPROPID end : {PIMPR_RECURRING_PATTERNENDDATE, PIMPR_RECURRING_OCCURRENCES}) values.Remove(end);
    if (!pattern.InUse()) {
        for (const NumberRow& row : kNumbers) values.Remove(row.id);
        for (const CEPROPID id : {PIMPR_RECURRING_PATTERNSTARTDATE, PIMPR_RECURRING_NOEND}) values.Remove(id);
        return;
    }
    for (const NumberRow& row : kNumbers) values.SetNumber(row.id, recurrence.*row.field);
    values.SetTicks(PIMPR_RECURRING_PATTERNSTARTDATE, MidnightOf(recurrence.start));
    values.SetFlag(PIMPR_RECURRING_NOEND, pattern.noEnd);
    if (recurrence.lastDay) values.SetTicks(PIMPR_RECURRING_PATTERNENDDATE, MidnightOf(*recurrence.lastDay));
    if (recurrence.occurrences) values.SetNumber(PIMPR_RECURRING_OCCURRENCES, *recurrence.occurrences);
}

HRESULT CheckPattern(const Pattern& pattern) {
    if (!HasUsableFields(pattern.recurrence)) return E_INVALIDARG;
    if (!pattern.noEnd && !pattern.recurrence.lastDay && !pattern.recurrence.occurrences) return E_INVALIDDATES;
    return RecurrenceDays(pattern.recurrence).Count() == 0 ? E_INVALIDDATES : S_OK;
}

Span PatternTimes::Apply(Span span) const {
    const auto wrap = [](WallTicks time) { return (time % kTicksPerDay + kTicksPerDay) % kTicksPerDay; };
    const WallTicks midnight = span.start - TimeOfDay(span.start);
    if (minutes) span.minutes = *minutes;
    if (start && end) span.minutes = static_cast<LONG>(wrap(*end - *start) / kTicksPerMinute);
    if (start) {
        span.start = midnight + *start;
    } else if (end) {
        span.start = midnight + wrap(*end - span.minutes * kTicksPerMinute);
    }
    return span;
}

}  // namespace kez::pocketoutlook
