// The pattern of an item, as the item's values hold it and as the pattern object changes it.
#include "platform/pocketoutlook/recurring_item.h"

#include "platform/pocketoutlook/recurrence_pattern.h"

namespace kez::pocketoutlook {
namespace {

constexpr LONG kMaximumMinutes = 31 * kMinutesPerDay;

Value NumberValue(std::int64_t number) { return Value(number); }

}  // namespace

HRESULT RecurringItem::GetPattern(IRecurrencePattern** out) {
    *out = new RecurrencePattern(Ref<RecurringItem>::Share(this));
    return S_OK;
}

HRESULT RecurringItem::ClearPattern() {
    if (!IsRecurring()) return S_OK;
    WritePattern(Values(), Pattern());
    m_unused = Pattern();
    m_unusedStart.reset();
    m_cleared = true;
    return S_OK;
}

Pattern RecurringItem::CurrentPattern() const {
    if (IsRecurring()) return ReadPattern(Values());
    Pattern pattern = m_unused;
    pattern.recurrence.start = m_unusedStart.value_or(FirstDay());
    return pattern;
}

void RecurringItem::KeepPattern(const Pattern& pattern) {
    if (pattern.InUse()) {
        WritePattern(Values(), pattern);
    } else {
        m_unused = pattern;
    }
}

HRESULT RecurringItem::PutRecurrenceType(LONG type) {
    if (!IsRecurrenceType(type)) return E_INVALIDARG;
    const Pattern before = CurrentPattern();
    if (before.recurrence.type == type) return S_OK;
    Pattern pattern = InitialPattern(type, FirstDay());
    pattern.recurrence.start = before.recurrence.start;
    pattern.recurrence.lastDay = before.recurrence.lastDay;
    pattern.recurrence.occurrences = before.recurrence.occurrences;
    pattern.noEnd = before.noEnd;
    KeepPattern(pattern);
    if (const auto span = SpanOf(Values())) PutSpan(m_times.Apply(*span));
    return S_OK;
}

HRESULT RecurringItem::PutPatternStart(DATE date) {
    const auto start = WholeSeconds(date);
    if (!start) return E_INVALIDARG;
    const Day day = DayOfTicks(*start);
    if (IsRecurring()) {
        MovePatternStart(day);
    } else {
        m_unusedStart = day;
    }
    return S_OK;
}

void RecurringItem::MovePatternStart(Day day) {
    if (IsRecurring()) Values().SetTicks(PIMPR_RECURRING_PATTERNSTARTDATE, MidnightOf(day));
}

std::optional<Span> RecurringItem::PatternSpan() const {
    const auto span = SpanOf(Values());
    return span ? std::optional(m_times.Apply(*span)) : std::nullopt;
}

void RecurringItem::PutPatternTime(std::optional<WallTicks> PatternTimes::*time, DATE date) {
    const auto span = SpanOf(Values());
    if (!span) return;
    const WallTicks ticks = TicksFromDate(date) + kTicksPerSecond / 2;
    m_times.*time = TimeOfDay(ticks) / kTicksPerSecond * kTicksPerSecond;
    if (IsRecurring()) PutSpan(m_times.Apply(*span));
}

HRESULT RecurringItem::PutPatternMinutes(LONG minutes) {
    if (minutes < 0 || minutes > kMaximumMinutes) return E_INVALIDARG;
    const auto span = SpanOf(Values());
    if (!span) return S_OK;
    m_times.minutes = minutes;
    if (IsRecurring()) PutSpan(m_times.Apply(*span));
    return S_OK;
}

const std::vector<ExceptionEntry>& RecurringItem::Exceptions() {
    static const std::vector<ExceptionEntry> none;
    return none;
}

HRESULT RecurringItem::OpenException(WallTicks, IAppointment**) { return E_FAIL; }

HRESULT RecurringItem::GetOccurrence(DATE, IAppointment**) { return E_FAIL; }

std::optional<Value> RecurringItem::Calculated(CEPROPID id, const PropertyBag& values) const {
    if (id == PIMPR_IS_RECURRING) return NumberValue(values.Flag(id));
    const Pattern pattern = ReadPattern(values);
    if (!pattern.InUse()) {
        if (id == PIMPR_RECURRING_TYPE) return NumberValue(static_cast<DWORD>(olRecursOnce));
        return ItemBase::Calculated(id, values);
    }
    const auto span = SpanOf(values);
    const WallTicks timeBase = MidnightOf(0);  // a time of day without a date
    switch (id) {
        case PIMPR_RECURRING_PATTERNENDDATE: {
            const auto last = pattern.LastDay();
            return last ? std::optional(NumberValue(MidnightOf(*last))) : std::nullopt;
        }
        case PIMPR_RECURRING_OCCURRENCES:
            return NumberValue(pattern.Occurrences());
        case PIMPR_RECURRING_STARTTIME:
            return span ? std::optional(NumberValue(timeBase + TimeOfDay(span->start))) : std::nullopt;
        case PIMPR_RECURRING_ENDTIME:
            return span ? std::optional(NumberValue(timeBase + TimeOfDay(span->End()))) : std::nullopt;
        case PIMPR_RECURRING_DURATION:
            return span ? std::optional(NumberValue(span->minutes)) : std::nullopt;
        default:
            return ItemBase::Calculated(id, values);
    }
}

void RecurringItem::AfterSave() {
    ForgetPatternTimes();
    m_cleared = false;
}

}  // namespace kez::pocketoutlook
