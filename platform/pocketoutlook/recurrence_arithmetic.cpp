// Days of a recurrence pattern by closed forms; see the header for the rules.
#include "platform/pocketoutlook/recurrence_arithmetic.h"

#include <algorithm>
#include <bit>
#include <chrono>

namespace kez::pocketoutlook {
namespace {

constexpr Day kUnixEpoch = 25569;  // 1970-01-01
constexpr LONG kEveryWeekday = 127;
constexpr LONG kMaximumInterval = 999;
constexpr LONG kLastInstance = 5;

std::int64_t FloorDivide(std::int64_t value, std::int64_t by) {
    const std::int64_t quotient = value / by;
    return value % by < 0 ? quotient - 1 : quotient;
}

int WeekdayOf(std::int64_t day) {  // 0 is Sunday; day 0 was a Saturday
    return static_cast<int>(((day + 6) % 7 + 7) % 7);
}

LONG BitOf(std::int64_t day) { return LONG{1} << WeekdayOf(day); }

bool HasInterval(const Recurrence& recurrence) {
    return recurrence.interval >= 1 && recurrence.interval <= kMaximumInterval;
}
bool HasMask(const Recurrence& recurrence) { return (recurrence.dayOfWeekMask & kEveryWeekday) != 0; }
bool HasDayOfMonth(const Recurrence& recurrence) { return recurrence.dayOfMonth >= 1 && recurrence.dayOfMonth <= 31; }
bool HasInstance(const Recurrence& recurrence) {
    return recurrence.instance >= 1 && recurrence.instance <= kLastInstance;
}
bool HasMonthOfYear(const Recurrence& recurrence) {
    return recurrence.monthOfYear >= 1 && recurrence.monthOfYear <= 12;
}

bool IsDayType(LONG type) { return type == olRecursDaily || type == olRecursWeekly; }

LONG LeastCyclicGap(const std::int64_t* offsets, int count, std::int64_t periodLength) {
    std::int64_t least = offsets[0] + periodLength - offsets[count - 1];
    for (int i = 1; i < count; ++i) least = std::min(least, offsets[i] - offsets[i - 1]);
    return static_cast<LONG>(least);
}

// The days of one period of a day type, counted from the period's first day; returns how many there are.
int PeriodOffsets(const Recurrence& recurrence, std::int64_t* offsets) {
    int count = 0;
    if (recurrence.type == olRecursWeekly) {
        for (int weekday = 0; weekday < 7; ++weekday) {
            if (recurrence.dayOfWeekMask & (LONG{1} << weekday)) offsets[count++] = weekday;
        }
        return count;
    }
    // Seven steps of n days meet every weekday that they can meet, then the weekdays repeat.
    const LONG mask = HasMask(recurrence) ? recurrence.dayOfWeekMask : kEveryWeekday;
    for (std::int64_t step = 0; step < 7; ++step) {
        const std::int64_t offset = step * recurrence.interval;
        if (mask & BitOf(recurrence.start + offset)) offsets[count++] = offset;
    }
    return count;
}

LONG ShortestMonthSum(LONG months) {
    // Twelve months are 365 days; the rest is the shortest run that has February in common years within it.
    static constexpr LONG kShortestRun[12] = {0, 28, 59, 89, 120, 150, 181, 212, 242, 273, 303, 334};
    const LONG years = months / 12;
    return years * 365 + kShortestRun[months % 12];
}

}  // namespace

CivilDate CivilOf(Day day) {
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{day - kUnixEpoch}}};
    return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day()))};
}

Day DayOf(const CivilDate& date) {
    const std::chrono::sys_days days{std::chrono::year{date.year} / date.month / date.day};
    return static_cast<Day>(days.time_since_epoch().count()) + kUnixEpoch;
}

int DaysInMonth(int year, int month) {
    const auto last = std::chrono::year{year} / std::chrono::month{static_cast<unsigned>(month)} / std::chrono::last;
    return static_cast<int>(static_cast<unsigned>(last.day()));
}

LONG DayOfWeekBit(Day day) { return BitOf(day); }

std::optional<Day> NthWeekday(int year, int month, LONG instance, LONG mask) {
    if (instance < 1 || instance > kLastInstance || (mask & kEveryWeekday) == 0) return std::nullopt;
    const Day first = DayOf({year, month, 1});
    const Day last = first + DaysInMonth(year, month) - 1;
    if (instance == kLastInstance) {
        Day day = last;
        while (!(mask & BitOf(day))) --day;
        return day;
    }
    // Every seven days hold each weekday once, so whole weeks can be skipped.
    const int perWeek = std::popcount(static_cast<std::uint32_t>(mask & kEveryWeekday));
    Day day = first + 7 * ((instance - 1) / perWeek);
    for (LONG left = (instance - 1) % perWeek;; ++day) {
        if ((mask & BitOf(day)) && left-- == 0) return day;
    }
}

bool HasUsableFields(const Recurrence& recurrence) {
    if (recurrence.start < kFirstDay || recurrence.start > kLastDay) return false;
    switch (recurrence.type) {
        case olRecursDaily:
            return HasInterval(recurrence);
        case olRecursWeekly:
            return HasInterval(recurrence) && HasMask(recurrence);
        case olRecursMonthly:
            return HasInterval(recurrence) && HasDayOfMonth(recurrence);
        case olRecursMonthNth:
            return HasInterval(recurrence) && HasMask(recurrence) && HasInstance(recurrence);
        case olRecursYearly:
            return HasDayOfMonth(recurrence) && HasMonthOfYear(recurrence);
        case olRecursYearNth:
            return HasMask(recurrence) && HasInstance(recurrence) && HasMonthOfYear(recurrence);
        default:
            return false;
    }
}

RecurrenceDays::RecurrenceDays(const Recurrence& recurrence) : m_recurrence(recurrence) {
    if (!HasUsableFields(recurrence)) return;
    const CivilDate start = CivilOf(recurrence.start);
    switch (recurrence.type) {
        case olRecursDaily:
            m_origin = recurrence.start;
            m_periodLength = std::int64_t{7} * recurrence.interval;
            m_daysPerPeriod = PeriodOffsets(recurrence, m_offsets);
            break;
        case olRecursWeekly:
            m_origin = std::int64_t{recurrence.start} - WeekdayOf(recurrence.start);
            m_periodLength = std::int64_t{7} * recurrence.interval;
            m_daysPerPeriod = PeriodOffsets(recurrence, m_offsets);
            break;
        case olRecursMonthly:
        case olRecursMonthNth:
            m_origin = std::int64_t{12} * start.year + start.month - 1;
            m_periodLength = recurrence.interval;
            m_daysPerPeriod = 1;
            break;
        default:  // the two yearly types
            m_origin = std::int64_t{12} * start.year + recurrence.monthOfYear - 1;
            m_periodLength = 12;
            m_daysPerPeriod = 1;
            break;
    }
    if (IsEmpty()) return;
    m_first = IndexAtOrAfter(recurrence.start);
    m_end = IndexAtOrAfter(std::int64_t{std::min(recurrence.lastDay.value_or(kLastDay), kLastDay)} + 1);
    if (recurrence.occurrences) m_end = std::min(m_end, m_first + *recurrence.occurrences);
}

std::int64_t RecurrenceDays::DayInMonth(std::int64_t monthNumber) const {
    const int year = static_cast<int>(monthNumber / 12);
    const int month = static_cast<int>(monthNumber % 12) + 1;
    if (m_recurrence.type == olRecursMonthNth || m_recurrence.type == olRecursYearNth) {
        return *NthWeekday(year, month, m_recurrence.instance, m_recurrence.dayOfWeekMask);
    }
    return DayOf({year, month, std::min<int>(m_recurrence.dayOfMonth, DaysInMonth(year, month))});
}

std::int64_t RecurrenceDays::DayInPeriod(std::int64_t period, int place) const {
    const std::int64_t begin = m_origin + period * m_periodLength;
    return IsDayType(m_recurrence.type) ? begin + m_offsets[place] : DayInMonth(begin);
}

std::int64_t RecurrenceDays::DayAt(std::int64_t index) const {
    const std::int64_t period = FloorDivide(index, m_daysPerPeriod);
    return DayInPeriod(period, static_cast<int>(index - period * m_daysPerPeriod));
}

std::int64_t RecurrenceDays::PeriodOf(std::int64_t day) const {
    if (IsDayType(m_recurrence.type)) return FloorDivide(day - m_origin, m_periodLength);
    const CivilDate date = CivilOf(static_cast<Day>(day));
    return FloorDivide(std::int64_t{12} * date.year + date.month - 1 - m_origin, m_periodLength);
}

std::int64_t RecurrenceDays::IndexAtOrAfter(std::int64_t day) const {
    if (day < m_recurrence.start) day = m_recurrence.start;
    const std::int64_t period = PeriodOf(day);
    for (int place = 0; place < m_daysPerPeriod; ++place) {
        if (DayInPeriod(period, place) >= day) return period * m_daysPerPeriod + place;
    }
    return (period + 1) * m_daysPerPeriod;
}

bool RecurrenceDays::Contains(Day day) const { return OrdinalOf(day) != 0; }

std::optional<Day> RecurrenceDays::First() const { return Nth(1); }

std::optional<Day> RecurrenceDays::Last() const { return Nth(Count()); }

std::optional<Day> RecurrenceDays::Nth(std::int64_t ordinal) const {
    if (ordinal < 1 || ordinal > Count()) return std::nullopt;
    return static_cast<Day>(DayAt(m_first + ordinal - 1));
}

std::optional<Day> RecurrenceDays::AtOrAfter(Day day) const {
    if (IsEmpty()) return std::nullopt;
    return Nth(IndexAtOrAfter(day) - m_first + 1);
}

std::optional<Day> RecurrenceDays::Next(Day day) const { return AtOrAfter(day + 1); }

std::optional<Day> RecurrenceDays::Previous(Day day) const { return Nth(CountUpTo(day - 1)); }

std::int64_t RecurrenceDays::Count() const { return std::max<std::int64_t>(0, m_end - m_first); }

std::int64_t RecurrenceDays::CountUpTo(Day day) const {
    if (IsEmpty() || day < m_recurrence.start) return 0;
    return std::min(Count(), IndexAtOrAfter(std::int64_t{day} + 1) - m_first);
}

std::int64_t RecurrenceDays::OrdinalOf(Day day) const {
    if (IsEmpty() || day < m_recurrence.start) return 0;
    const std::int64_t index = IndexAtOrAfter(day);
    return index < m_end && DayAt(index) == day ? index - m_first + 1 : 0;
}

LONG MinimumPeriod(const Recurrence& recurrence) {
    if (!HasUsableFields(recurrence)) return 0;
    switch (recurrence.type) {
        case olRecursDaily:
        case olRecursWeekly: {
            std::int64_t offsets[7] = {};
            const int count = PeriodOffsets(recurrence, offsets);
            return count == 0 ? 0 : LeastCyclicGap(offsets, count, std::int64_t{7} * recurrence.interval);
        }
        case olRecursMonthly:
            return ShortestMonthSum(recurrence.interval);
        case olRecursMonthNth:
            // Never closer than the whole weeks that fit into that many months, whatever the weekdays asked for.
            return ShortestMonthSum(recurrence.interval) / 7 * 7;
        case olRecursYearly:
            return 365;
        default:  // the n-th weekday of a month of each year
            return 364;
    }
}

}  // namespace kez::pocketoutlook
