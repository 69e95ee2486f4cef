// When a recurring item happens: pure functions over day numbers.
//
// A day number is the whole part of a DATE: days since 1899-12-30, in local wall clock. A pattern says on which
// days an item happens; the time of day is no matter of this file. No function walks from the pattern's start:
// each type is a sequence of periods (steps of days, weeks, months or years) with a known number of days in each,
// so the k-th day and the place of a day in the sequence are found by arithmetic.
//
// Points that the field definitions leave open, and the rule kept here:
//  - a day beyond the month's end (29, 30, 31) is the month's last day, 29 February is the 28th in common years;
//  - instance 5 is the last matching day of the month, also in months with four;
//  - weeks start on Sunday; this matters only where a weekly pattern skips weeks;
//  - a start that is no day of the pattern is not counted, but the phase of weeks and months counts from it;
//  - a daily pattern's mask filters the every-n-days series; 0 and 127 mean no mask;
//  - the yearly types happen every year, whatever their interval says;
//  - an endless pattern stops on 2999-12-31, the last day that the object model knows.
#pragma once

#include <pimstore.h>

#include <cstdint>
#include <optional>

namespace kez::pocketoutlook {

using Day = std::int32_t;

inline constexpr Day kFirstDay = 2;      // 1900-01-01, the first day that a date property may hold
inline constexpr Day kLastDay = 401768;  // 2999-12-31, the last one

struct CivilDate {
    int year = 0;
    int month = 0;  // 1 to 12
    int day = 0;    // 1 to 31
    bool operator==(const CivilDate&) const = default;
};

CivilDate CivilOf(Day day);
Day DayOf(const CivilDate& date);  // the date must be one of the calendar's
int DaysInMonth(int year, int month);
LONG DayOfWeekBit(Day day);  // olSunday to olSaturday

// The n-th day of the month whose weekday is in the mask (n = 5: the last one); nothing where there is none.
std::optional<Day> NthWeekday(int year, int month, LONG instance, LONG mask);

// A recurrence pattern. Fields that the type does not use are ignored; a type that uses a field whose value is out
// of range has no days at all.
struct Recurrence {
    LONG type = olRecursOnce;
    Day start = 0;           // pattern start: the phase, and the day before which nothing happens
    LONG interval = 1;       // days, weeks or months; 1 to 999
    LONG dayOfWeekMask = 0;  // OlDaysOfWeek
    LONG dayOfMonth = 0;     // 1 to 31
    LONG instance = 0;       // 1 to 5
    LONG monthOfYear = 0;    // 1 to 12

    // At most one of the two ends a pattern; with neither it is endless.
    std::optional<Day> lastDay = std::nullopt;       // the last day on which an occurrence may begin
    std::optional<LONG> occurrences = std::nullopt;  // the first n days, deleted and changed ones counted
    bool operator==(const Recurrence&) const = default;
};

// Whether the start and every field that the type uses hold a value that they may have; false for a type outside the
// six.
bool HasUsableFields(const Recurrence& recurrence);

// The days of one pattern, in ascending order. Ordinals count from 1. All answers respect the pattern's end.
class RecurrenceDays {
 public:
    explicit RecurrenceDays(const Recurrence& recurrence);

    bool Contains(Day day) const;
    std::optional<Day> First() const;
    std::optional<Day> Last() const;
    std::optional<Day> Nth(std::int64_t ordinal) const;
    std::optional<Day> AtOrAfter(Day day) const;
    std::optional<Day> Next(Day day) const;      // the first day after `day`
    std::optional<Day> Previous(Day day) const;  // the last day before `day`
    std::int64_t Count() const;
    std::int64_t CountUpTo(Day day) const;  // days at or before `day`
    std::int64_t OrdinalOf(Day day) const;  // 0 where `day` is none of the pattern's

 private:
    // The unbounded sequence: index 0 is the first day of the period that holds the pattern's start, so the first
    // few indices may lie before the start. DayAt grows with the index.
    bool IsEmpty() const { return m_daysPerPeriod == 0; }
    std::int64_t DayAt(std::int64_t index) const;
    std::int64_t IndexAtOrAfter(std::int64_t day) const;  // the smallest index whose day is not before `day`
    std::int64_t PeriodOf(std::int64_t day) const;        // the period that `day` falls into; negative before 0
    std::int64_t DayInPeriod(std::int64_t period, int place) const;
    std::int64_t DayInMonth(std::int64_t monthNumber) const;  // month types: months since year 0

    Recurrence m_recurrence;
    std::int64_t m_origin = 0;        // day types: first day of period 0; month types: month number of period 0
    std::int64_t m_periodLength = 0;  // in days, or months
    int m_daysPerPeriod = 0;
    std::int64_t m_offsets[7] = {};  // day types: the period's days, counted from its first
    std::int64_t m_first = 0;        // index of the first day
    std::int64_t m_end = 0;          // index behind the last day; not above m_first where there is none
};

// The shortest distance in days between two days of the pattern; 0 for a pattern without days. No occurrence may
// last longer, and no reminder may come earlier, than this.
LONG MinimumPeriod(const Recurrence& recurrence);

}  // namespace kez::pocketoutlook
