#include "partner/recurrence_rule.h"

#include <libical/ical.h>

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <set>

#include "partner/record_fields.h"

namespace kez::partner {
namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kLastYear = 2999;
constexpr int kAllDays = 127;
constexpr int kLast = 5;
constexpr int kMaxInterval = 999;
constexpr const char* kDayNames[] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};

struct Date {
    std::int64_t year;
    int month, day;
};

Date DateOfDay(std::int64_t day) {
    std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(day))};
    return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day()))};
}

std::int64_t DayOf(std::int64_t year, int month, int day) {
    return std::chrono::sys_days(std::chrono::year(static_cast<int>(year)) / month / day).time_since_epoch().count();
}

int LengthOf(std::int64_t year, int month) {
    std::chrono::year_month_day_last last{std::chrono::year(static_cast<int>(year)) /
                                          std::chrono::month(static_cast<unsigned>(month)) / std::chrono::last};
    return static_cast<int>(static_cast<unsigned>(last.day()));
}

int WeekdayOf(std::int64_t day) { return static_cast<int>(((day + 4) % 7 + 7) % 7); }
std::int64_t WeekStartOf(std::int64_t day) { return day - WeekdayOf(day); }
std::int64_t DayOfWall(std::int64_t wall) { return wall >= 0 ? wall / kDay : -((-wall + kDay - 1) / kDay); }

// The nth day of the month with a weekday of the mask; 0 where there is none (a month has no day 0).
int NthDay(std::int64_t year, int month, int mask, int instance) {
    int found = 0, count = 0;
    std::int64_t first = DayOf(year, month, 1);
    for (int day = 1; day <= LengthOf(year, month); day++) {
        if (!(mask >> WeekdayOf(first + day - 1) & 1)) continue;
        found = day;
        if (++count == instance && instance < kLast) return day;
    }
    return instance >= kLast ? found : 0;
}

// The day of a month on which the pattern falls, whatever the phase.
int DayInMonth(const Pattern& pattern, std::int64_t year, int month) {
    if (pattern.type == 3 || pattern.type == 6) return NthDay(year, month, pattern.mask, pattern.instance);
    return std::min(pattern.dayOfMonth, LengthOf(year, month));
}

std::string NamesOf(int mask) {
    std::string names;
    for (int i = 0; i < 7; i++)
        if (mask >> i & 1) names += (names.empty() ? "" : ",") + std::string(kDayNames[i]);
    return names;
}

int Shifted(int mask, std::int64_t days) {
    int turn = static_cast<int>((days % 7 + 7) % 7);
    return ((mask << turn) | (mask >> (7 - turn))) & kAllDays;
}

std::vector<int> ListOf(const short* values, std::size_t size) {
    std::vector<int> list;
    for (std::size_t i = 0; i < size && values[i] != ICAL_RECURRENCE_ARRAY_MAX; i++) list.push_back(values[i]);
    return list;
}

struct Weekdays {
    int mask = 0;      // those without a position
    int nthMask = 0;   // those with one
    int position = 0;  // of the only one with a position
    int count = 0;     // of those with a position
};

Weekdays WeekdaysOf(const icalrecurrencetype& rule) {
    Weekdays days;
    for (int value : ListOf(rule.by_day, ICAL_BY_DAY_SIZE)) {
        auto weekday = icalrecurrencetype_day_day_of_week(static_cast<short>(value));
        if (weekday < ICAL_SUNDAY_WEEKDAY || weekday > ICAL_SATURDAY_WEEKDAY) continue;
        int position = icalrecurrencetype_day_position(static_cast<short>(value));
        int bit = 1 << (weekday - ICAL_SUNDAY_WEEKDAY);
        if (position == 0) {
            days.mask |= bit;
        } else {
            days.nthMask |= bit;
            days.position = position;
            days.count++;
        }
    }
    return days;
}

// What a rule's parts within a month are: a day of the month or the nth of some weekdays. Its type is 2 or 3.
std::optional<Pattern> WithinMonth(const icalrecurrencetype& rule, const Date& start) {
    const std::vector<int> monthDays = ListOf(rule.by_month_day, ICAL_BY_MONTHDAY_SIZE);
    const std::vector<int> positions = ListOf(rule.by_set_pos, ICAL_BY_SETPOS_SIZE);
    const Weekdays weekdays = WeekdaysOf(rule);
    const bool hasWeekdays = weekdays.mask || weekdays.nthMask;
    Pattern pattern;
    pattern.type = 2;
    if (monthDays.empty() && !hasWeekdays) {
        pattern.dayOfMonth = start.day;
        return positions.empty() ? std::optional(pattern) : std::nullopt;
    }
    if (!hasWeekdays) {
        if (monthDays.size() == 1 && (positions.empty() || (positions.size() == 1 && std::abs(positions[0]) == 1))) {
            pattern.dayOfMonth = monthDays[0] == -1 ? 31 : monthDays[0];
            return pattern.dayOfMonth >= 1 ? std::optional(pattern) : std::nullopt;
        }
        // The last that a month has of 28, 29, 30 and so on.
        std::vector<int> days = monthDays;
        std::sort(days.begin(), days.end());
        bool isRun = positions == std::vector<int>{-1} && days.front() <= 28 && days.front() > 0;
        for (std::size_t i = 1; i < days.size(); i++) isRun = isRun && days[i] == days[i - 1] + 1;
        pattern.dayOfMonth = days.back();
        return isRun ? std::optional(pattern) : std::nullopt;
    }
    pattern.type = 3;
    if (!monthDays.empty()) {
        // "A Monday between the 8th and the 14th" is the second one.
        std::vector<int> days = monthDays;
        std::sort(days.begin(), days.end());
        bool isWeek = days.size() == 7 && days.front() > 0 && days.front() <= 22 && days.front() % 7 == 1 &&
                      days.back() == days.front() + 6 && positions.empty() && !weekdays.nthMask &&
                      std::popcount(static_cast<unsigned>(weekdays.mask)) == 1;
        pattern.mask = weekdays.mask;
        pattern.instance = days.front() / 7 + 1;
        return isWeek ? std::optional(pattern) : std::nullopt;
    }
    int position = 0;
    if (weekdays.count == 1 && !weekdays.mask && positions.empty()) {
        pattern.mask = weekdays.nthMask;
        position = weekdays.position;
    } else if (weekdays.count == 0 && positions.size() == 1) {
        pattern.mask = weekdays.mask;
        position = positions[0];
    }
    if (position == -1) position = kLast;
    pattern.instance = position;
    return position >= 1 && position <= kLast ? std::optional(pattern) : std::nullopt;
}

bool EvenlySpaced(std::vector<int> months) {
    std::sort(months.begin(), months.end());
    int step = 12 / static_cast<int>(months.size());
    for (std::size_t i = 1; i < months.size(); i++)
        if (months[i] - months[i - 1] != step) return false;
    return 12 % months.size() == 0;
}

// The pattern that a rule may be; whether it is shows in the occurrences. `start` is of the rule's own clock.
std::optional<Pattern> Candidate(const icalrecurrencetype& rule, std::int64_t startWall, bool isDate) {
    const Date start = DateOfDay(DayOfWall(startWall));
    const std::int64_t clock = startWall - DayOfWall(startWall) * kDay;
    auto saysNothing = [&](const short* values, std::size_t size, std::int64_t of) {
        const std::vector<int> list = ListOf(values, size);
        return list.empty() || isDate || (list.size() == 1 && list[0] == of);
    };
    if (!saysNothing(rule.by_second, ICAL_BY_SECOND_SIZE, clock % 60) ||
        !saysNothing(rule.by_minute, ICAL_BY_MINUTE_SIZE, clock / 60 % 60) ||
        !saysNothing(rule.by_hour, ICAL_BY_HOUR_SIZE, clock / 3600) ||
        !ListOf(rule.by_year_day, ICAL_BY_YEARDAY_SIZE).empty() ||
        !ListOf(rule.by_week_no, ICAL_BY_WEEKNO_SIZE).empty())
        return std::nullopt;
    std::vector<int> months = ListOf(rule.by_month, ICAL_BY_MONTH_SIZE);
    const bool hasMonthDays = !ListOf(rule.by_month_day, ICAL_BY_MONTHDAY_SIZE).empty();
    const bool hasPositions = !ListOf(rule.by_set_pos, ICAL_BY_SETPOS_SIZE).empty();
    const Weekdays weekdays = WeekdaysOf(rule);
    const int ownBit = 1 << WeekdayOf(DayOfWall(startWall));

    Pattern pattern;
    pattern.interval = rule.interval;
    switch (rule.freq) {
        case ICAL_DAILY_RECURRENCE:
            if (!months.empty() || hasMonthDays || hasPositions || weekdays.nthMask) return std::nullopt;
            pattern.mask = weekdays.mask == kAllDays ? 0 : weekdays.mask;
            if (pattern.mask && rule.interval == 1) pattern.type = 1;
            return pattern;
        case ICAL_WEEKLY_RECURRENCE:
            if (!months.empty() || hasMonthDays || hasPositions || weekdays.nthMask) return std::nullopt;
            pattern.type = 1;
            pattern.mask = weekdays.mask ? weekdays.mask : ownBit;
            return pattern;
        case ICAL_MONTHLY_RECURRENCE:
        case ICAL_YEARLY_RECURRENCE:
            break;
        default:
            return std::nullopt;
    }
    const bool isYearly = rule.freq == ICAL_YEARLY_RECURRENCE;
    // Every Monday of each month is every Monday.
    if (rule.interval == 1 && months.empty() && !hasMonthDays && !hasPositions && weekdays.mask && !weekdays.nthMask) {
        pattern.type = 1;
        pattern.mask = weekdays.mask;
        return pattern;
    }
    std::optional<Pattern> inner = WithinMonth(rule, start);
    if (!inner) return std::nullopt;
    inner->interval = rule.interval;
    if (!isYearly) return months.empty() ? inner : std::nullopt;
    if (months.empty()) {
        if (weekdays.nthMask || weekdays.mask) return std::nullopt;  // the nth of the year
        if (hasMonthDays) return std::nullopt;  // that day in each month, or in one: readers differ
        months.push_back(start.month);
    }
    if (months.size() == 1 && rule.interval == 1) {
        inner->type = inner->type == 2 ? 5 : 6;
        inner->monthOfYear = months[0];
        if (inner->type == 5 && months[0] >= 1 && months[0] <= 12)
            inner->dayOfMonth = std::min(inner->dayOfMonth, LengthOf(2000, months[0]));
        return inner;
    }
    if (months.size() == 1) {
        inner->interval = 12 * rule.interval;
        return inner;
    }
    if (rule.interval != 1 || !EvenlySpaced(months)) return std::nullopt;
    inner->interval = 12 / static_cast<int>(months.size());
    return inner;
}

int Number(const sync::Fields& fields, const char* name, int otherwise) {
    auto found = fields.find(name);
    if (found == fields.end() || found->second.empty() || found->second.size() > 6 ||
        found->second.find_first_not_of("0123456789") != std::string::npos)
        return otherwise;
    return std::stoi(found->second);
}

struct IteratorDeleter {
    void operator()(icalrecur_iterator* iterator) const { icalrecur_iterator_free(iterator); }
};

// The rule's occurrences, in its own clock.
class Occurrences {
 public:
    Occurrences(icalrecurrencetype rule, const CalendarTime& start) {
        rule.count = 0;
        rule.until = icaltime_null_time();
        m_time = icaltime_from_string(
            CalendarTimeText(
                {start.wall, {start.form.kind == TimeKind::Date ? TimeKind::Date : TimeKind::Floating, ""}})
                .c_str());
        m_iterator.reset(icalrecur_iterator_new(rule, m_time));
    }
    std::optional<std::int64_t> Next() {
        if (!m_iterator) return std::nullopt;
        icaltimetype next = icalrecur_iterator_next(m_iterator.get());
        if (icaltime_is_null_time(next) || next.year > kLastYear) return std::nullopt;
        return DayOf(next.year, next.month, next.day) * kDay + next.hour * 3600 + next.minute * 60 + next.second;
    }

 private:
    icaltimetype m_time;
    std::unique_ptr<icalrecur_iterator, IteratorDeleter> m_iterator;
};

constexpr int kComparedWithoutEnd = 150;     // more than twelve years of months, than four leap days of years
constexpr std::int64_t kComparedDays = 400;  // all that a year does to the clocks
constexpr int kComparedWithEnd = 3000;
constexpr std::size_t kMaxSurplus = 300;
constexpr std::size_t kMaxListed = 1000;

std::string Interval(const Pattern& pattern) {
    return pattern.interval > 1 ? ";INTERVAL=" + std::to_string(pattern.interval) : "";
}

std::string NthText(const Pattern& pattern) {
    std::string position = pattern.instance >= kLast ? "-1" : std::to_string(pattern.instance);
    if (std::popcount(static_cast<unsigned>(pattern.mask)) == 1) return ";BYDAY=" + position + NamesOf(pattern.mask);
    return ";BYDAY=" + NamesOf(pattern.mask) + ";BYSETPOS=" + position;
}

}  // namespace

bool Pattern::Has(std::int64_t day) const {
    if (day < start || (ends && day > lastDay) || interval < 1) return false;
    switch (type) {
        case 0:
            return (day - start) % interval == 0 && (mask == 0 || mask >> WeekdayOf(day) & 1);
        case 1:
            return (mask >> WeekdayOf(day) & 1) && (WeekStartOf(day) - WeekStartOf(start)) / 7 % interval == 0;
        case 2:
        case 3:
        case 5:
        case 6: {
            const Date date = DateOfDay(day), first = DateOfDay(start);
            if (type >= 5 ? date.month != monthOfYear
                          : (12 * (date.year - first.year) + date.month - first.month) % interval != 0)
                return false;
            return date.day == DayInMonth(*this, date.year, date.month);
        }
        default:
            return false;
    }
}

std::optional<std::int64_t> Pattern::Next(std::int64_t day) const {
    day = std::max(day, start);
    auto within = [&](std::int64_t found) {
        return (ends && found > lastDay) || DateOfDay(found).year > kLastYear ? std::nullopt : std::optional(found);
    };
    if (interval < 1) return std::nullopt;
    if (type == 0) {
        std::int64_t at = start + (day - start + interval - 1) / interval * interval;
        for (int i = 0; i < 7; i++, at += interval)
            if (mask == 0 || mask >> WeekdayOf(at) & 1) return within(at);
        return std::nullopt;
    }
    if (type == 1) {
        if ((mask & kAllDays) == 0) return std::nullopt;
        std::int64_t week =
            WeekStartOf(start) + (WeekStartOf(day) - WeekStartOf(start)) / (7 * interval) * 7 * interval;
        for (;; week += std::int64_t{7} * interval)
            for (int i = 0; i < 7; i++)
                if ((mask >> i & 1) && week + i >= day) return within(week + i);
    }
    if (type != 2 && type != 3 && type != 5 && type != 6) return std::nullopt;
    const Date from = DateOfDay(day), first = DateOfDay(start);
    const std::int64_t step = type >= 5 ? 12 : interval;
    std::int64_t phase = type >= 5 ? 12 * first.year + monthOfYear : 12 * first.year + first.month;
    std::int64_t month = 12 * from.year + from.month;  // from 1 within its year
    std::int64_t at = phase + (month > phase ? (month - phase + step - 1) / step * step : 0);
    for (; (at - 1) / 12 <= kLastYear; at += step) {
        const std::int64_t year = (at - 1) / 12;
        const int inYear = static_cast<int>((at - 1) % 12) + 1, of = DayInMonth(*this, year, inYear);
        if (of == 0) continue;
        if (std::int64_t found = DayOf(year, inYear, of); found >= day) return within(found);
    }
    return std::nullopt;
}

std::int64_t Pattern::ShortestGap() const {
    if (type == 0 || type == 1) {
        // Eight dates in a row go through every gap between the weekdays.
        Pattern endless = *this;
        endless.ends = false;
        std::int64_t shortest = std::int64_t{7} * interval;
        std::optional<std::int64_t> day = endless.Next(start);
        for (int i = 0; day && i < 8; i++) {
            const std::optional<std::int64_t> next = endless.Next(*day + 1);
            if (next) shortest = std::min(shortest, *next - *day);
            day = next;
        }
        return shortest;
    }
    if (type == 5) return 365;
    if (type == 6) return 364;
    std::int64_t shortest = std::int64_t{31} * interval;
    for (int first = 0; first < 12; first++) {
        std::int64_t days = 0;
        for (int month = first; month < first + interval; month++) days += LengthOf(2001, month % 12 + 1);
        shortest = std::min(shortest, days);
    }
    return type == 2 ? shortest : shortest / 7 * 7;
}

std::optional<Pattern> PatternOf(const sync::Fields& fields, std::int64_t startDay) {
    Pattern pattern;
    pattern.type = Number(fields, "RecurrenceType", -1);
    pattern.interval = Number(fields, "Interval", 1);
    pattern.mask = Number(fields, "DayOfWeekMask", 0);
    pattern.dayOfMonth = Number(fields, "DayOfMonth", 0);
    pattern.monthOfYear = Number(fields, "MonthOfYear", 0);
    pattern.instance = Number(fields, "Instance", 0);
    pattern.start = startDay;
    auto in = [](int value, int low, int high) { return value >= low && value <= high; };
    const bool isNth = pattern.type == 3 || pattern.type == 6;
    const bool isYearly = pattern.type == 5 || pattern.type == 6;
    if (!in(pattern.type, 0, 6) || pattern.type == 4 || !in(pattern.interval, 1, 999) ||
        !in(pattern.mask, isNth || pattern.type == 1 ? 1 : 0, kAllDays) || (isNth && !in(pattern.instance, 1, kLast)) ||
        (isYearly && !in(pattern.monthOfYear, 1, 12)) ||
        ((pattern.type == 2 || pattern.type == 5) && !in(pattern.dayOfMonth, 1, 31)))
        return std::nullopt;
    if (pattern.type == 0 && pattern.mask == kAllDays) pattern.mask = 0;
    std::int64_t end;
    auto endDate = fields.find("PatternEndDate");
    auto noEnd = fields.find("NoEndDate");
    if (endDate != fields.end() && (noEnd == fields.end() || noEnd->second != "1") &&
        ParseMoment(endDate->second, &end)) {
        pattern.ends = true;
        pattern.lastDay = DayOfWall(end);
    }
    return pattern;
}

void SetPattern(sync::Fields& fields, const Pattern& pattern) {
    fields["IsRecurring"] = "1";
    fields["RecurrenceType"] = std::to_string(pattern.type);
    fields["Interval"] = std::to_string(pattern.interval);
    fields["DayOfWeekMask"] = std::to_string(pattern.mask);
    fields["DayOfMonth"] = std::to_string(pattern.dayOfMonth);
    fields["MonthOfYear"] = std::to_string(pattern.monthOfYear);
    fields["Instance"] = std::to_string(pattern.instance);
    fields["NoEndDate"] = pattern.ends ? "0" : "1";
    if (pattern.ends) fields["PatternEndDate"] = MomentText(pattern.lastDay * kDay);
}

std::string RuleText(const Pattern& pattern) {
    const std::string month = ";BYMONTH=" + std::to_string(pattern.monthOfYear);
    switch (pattern.type) {
        case 0:
            return "FREQ=DAILY" + Interval(pattern) + (pattern.mask ? ";BYDAY=" + NamesOf(pattern.mask) : "");
        case 1:
            return "FREQ=WEEKLY" + Interval(pattern) + (pattern.interval > 1 ? ";WKST=SU" : "") +
                   ";BYDAY=" + NamesOf(pattern.mask);
        case 2: {
            // Where a month is too short, a device takes its last day.
            std::string days = std::to_string(pattern.dayOfMonth);
            if (pattern.dayOfMonth == 31) days = "-1";
            if (pattern.dayOfMonth == 29) days = "28,29;BYSETPOS=-1";
            if (pattern.dayOfMonth == 30) days = "28,29,30;BYSETPOS=-1";
            return "FREQ=MONTHLY" + Interval(pattern) + ";BYMONTHDAY=" + days;
        }
        case 3:
            return "FREQ=MONTHLY" + Interval(pattern) + NthText(pattern);
        case 5: {
            int length = LengthOf(2000, pattern.monthOfYear);
            bool isLeapDay = pattern.monthOfYear == 2 && pattern.dayOfMonth >= length;
            return "FREQ=YEARLY" + month +
                   ";BYMONTHDAY=" + (isLeapDay ? "-1" : std::to_string(std::min(pattern.dayOfMonth, length)));
        }
        default:
            return "FREQ=YEARLY" + month + NthText(pattern);
    }
}

namespace {

// The last moment of a rule with an UNTIL, on the device's clock.
std::optional<std::int64_t> UntilOf(const icalrecurrencetype& rule, const CalendarTime& start, const TimeZones& zones) {
    if (icaltime_is_null_time(rule.until)) return std::nullopt;
    std::optional<CalendarTime> time = ParseCalendarTime(icaltime_as_ical_string(rule.until));
    if (!time) return std::nullopt;
    if (time->form.kind == TimeKind::Floating) time->form = start.form;
    // A day means all of it, also where the series has times.
    const bool isDay = time->form.kind == TimeKind::Date;
    std::int64_t until = isDay ? time->wall + kDay - 1 : zones.ToDevice(*time);
    return start.form.kind == TimeKind::Date ? DayOfWall(until) * kDay + kDay - 1 : until;
}

// The rule as the library has it; of the frequency "none" where it is broken. Some writers escape its semicolons.
class ParsedRule {
 public:
    explicit ParsedRule(std::string rule) {
        std::erase(rule, '\\');
        m_rule = icalrecurrencetype_from_string(rule.c_str());
    }
    ~ParsedRule() { std::free(m_rule.rscale); }  // the library hands it over
    ParsedRule(const ParsedRule&) = delete;
    ParsedRule& operator=(const ParsedRule&) = delete;
    const icalrecurrencetype& Get() const { return m_rule; }

 private:
    icalrecurrencetype m_rule;
};

// Whether pattern and rule say the same in other words, so that no occurrences need to be compared: nothing drifts, no
// month is too short, and weeks begin on the same day or need not.
bool IsTheSame(const icalrecurrencetype& rule, const Pattern& pattern, const CalendarTime& start,
               const TimeZones& zones) {
    const TimeForm& form = start.form;
    const bool isOwnClock = form.kind == TimeKind::Date || form.kind == TimeKind::Floating ||
                            (form.kind == TimeKind::Zoned && form == zones.DeviceForm());
    const bool hasTimes = !ListOf(rule.by_second, ICAL_BY_SECOND_SIZE).empty() ||
                          !ListOf(rule.by_minute, ICAL_BY_MINUTE_SIZE).empty() ||
                          !ListOf(rule.by_hour, ICAL_BY_HOUR_SIZE).empty();
    const bool endsTwice = rule.count > 0 && pattern.ends;
    if (!isOwnClock || hasTimes || endsTwice || rule.rscale || pattern.Next(pattern.start) != pattern.start)
        return false;
    const bool isOneDay = pattern.dayOfMonth >= 1 && pattern.dayOfMonth <= 28;
    const bool isNth = pattern.instance >= 1 && pattern.instance < kLast;
    switch (pattern.type) {
        case 0:
            return pattern.mask == 0;
        case 1:
            return pattern.interval == 1 || rule.week_start == ICAL_SUNDAY_WEEKDAY ||
                   std::popcount(static_cast<unsigned>(pattern.mask)) == 1;
        case 2:
            return rule.freq == ICAL_MONTHLY_RECURRENCE && isOneDay;
        case 3:
            return rule.freq == ICAL_MONTHLY_RECURRENCE && isNth;
        case 5:
            return isOneDay;
        default:
            return isNth;
    }
}

// The patterns that may have all these days, which are two or more.
std::vector<Pattern> PatternsThrough(const std::vector<std::int64_t>& days) {
    auto monthOf = [](std::int64_t day) { return 12 * DateOfDay(day).year + DateOfDay(day).month; };
    std::int64_t step = 0, months = 0;
    int mask = 0;
    bool isOneDay = true, isOneNth = true;
    const Date first = DateOfDay(days.front());
    for (std::int64_t day : days) {
        const Date date = DateOfDay(day);
        step = std::gcd(step, day - days.front());
        months = std::gcd(months, monthOf(day) - monthOf(days.front()));
        mask |= 1 << WeekdayOf(day);
        isOneDay = isOneDay && date.day == first.day;
        isOneNth = isOneNth && (date.day - 1) / 7 == (first.day - 1) / 7;
    }
    Pattern pattern;
    pattern.start = days.front();
    pattern.ends = true;
    pattern.lastDay = days.back();
    std::vector<Pattern> patterns;
    auto add = [&](int type, std::int64_t interval) {
        if (interval < 1 || interval > kMaxInterval) return;
        patterns.push_back(pattern);
        patterns.back().type = type;
        patterns.back().interval = static_cast<int>(interval);
    };
    if (isOneDay) {
        pattern.dayOfMonth = first.day;
        add(2, months);
        pattern.dayOfMonth = 0;
    }
    pattern.mask = mask;
    pattern.instance = (first.day - 1) / 7 + 1;
    if (isOneNth && pattern.instance < kLast && std::popcount(static_cast<unsigned>(mask)) == 1) add(3, months);
    pattern.instance = 0;
    add(1, 1);
    pattern.mask = 0;
    add(0, step);
    return patterns;
}

Pattern OnlyDay(std::int64_t day) {
    Pattern pattern;
    pattern.start = pattern.lastDay = day;
    pattern.ends = true;
    return pattern;
}

}  // namespace

RuleReading ReadRule(std::string_view text, const CalendarTime& start, const TimeZones& zones) {
    RuleReading reading;
    const std::string rule(text);
    auto refuse = [&](const std::string& why) {
        reading.whyNot = "a device cannot hold its rule " + rule + ": " + why;
        return reading;
    };
    // The library keeps the number in 16 bits.
    const std::string upper = UpperCase(rule);
    if (std::size_t at = upper.find("INTERVAL="); at != std::string::npos) {
        std::string digits = upper.substr(at + 9, upper.find(';', at) - at - 9);
        if (digits.size() > 4) return refuse("it recurs too seldom");
    }
    const ParsedRule parsedRule(rule);
    const icalrecurrencetype& parsed = parsedRule.Get();
    if (parsed.freq == ICAL_NO_RECURRENCE) return refuse("it is broken");
    if (parsed.freq == ICAL_SECONDLY_RECURRENCE || parsed.freq == ICAL_MINUTELY_RECURRENCE ||
        parsed.freq == ICAL_HOURLY_RECURRENCE)
        return refuse("it recurs more than once a day");
    std::optional<Pattern> candidate = Candidate(parsed, start.wall, start.form.kind == TimeKind::Date);
    if (!candidate) return refuse("it has no pattern for that");
    Pattern& pattern = reading.pattern;
    pattern = *candidate;
    if (pattern.interval < 1 || pattern.interval > kMaxInterval) return refuse("it recurs too seldom");

    const std::int64_t deviceStart = zones.ToDevice(start);
    pattern.start = DayOfWall(deviceStart);
    const std::int64_t clock = deviceStart - pattern.start * kDay;
    // The same moment may be on another day of the device's clock.
    if (std::int64_t days = pattern.start - DayOfWall(start.wall); days != 0) {
        pattern.mask = Shifted(pattern.mask, days);
        if (pattern.dayOfMonth) {
            pattern.dayOfMonth = DateOfDay(pattern.start).day;
            if (pattern.monthOfYear) pattern.monthOfYear = DateOfDay(pattern.start).month;
        }
    }

    const std::optional<std::int64_t> until = UntilOf(parsed, start, zones);
    if (until) {
        pattern.ends = true;
        pattern.lastDay = DayOfWall(*until) - (*until - DayOfWall(*until) * kDay < clock ? 1 : 0);
    }

    if (IsTheSame(parsed, pattern, start, zones)) {
        if (parsed.count > 0) {
            pattern.ends = true;
            pattern.lastDay = pattern.start;
            Pattern endless = pattern;
            endless.ends = false;
            for (int i = 1; i < parsed.count; i++) {
                const std::optional<std::int64_t> next = endless.Next(pattern.lastDay + 1);
                if (!next) break;
                pattern.lastDay = *next;
            }
        }
        return reading;
    }

    // The occurrences of both, until they differ.
    const bool ends = until || parsed.count > 0;
    const bool mayDrift = start.form.kind == TimeKind::Utc ||
                          (start.form.kind == TimeKind::Zoned && start.form.zone != zones.DeviceForm().zone);
    const int limit = ends ? kComparedWithEnd : kComparedWithoutEnd;
    Occurrences occurrences(parsed, start);
    std::optional<std::int64_t> ours = pattern.Next(pattern.start);
    std::int64_t last = pattern.start;
    int count = 0;
    bool wasWhole = false;
    for (; count < limit || (!ends && mayDrift && last < pattern.start + kComparedDays); count++) {
        std::optional<std::int64_t> wall =
            parsed.count > 0 && count >= parsed.count ? std::nullopt : occurrences.Next();
        std::optional<std::int64_t> device = wall ? std::optional(zones.ToDevice({*wall, start.form})) : std::nullopt;
        if (device && until && *device > *until) device.reset();
        if (!device) {
            wasWhole = ends;  // without an end, it is the iterator that goes no further
            break;
        }
        const std::int64_t day = DayOfWall(*device);
        if (count == 0 && day != pattern.start) return refuse("its start is no date of it");
        if (*device - day * kDay != clock) reading.drifts = true;
        for (; ours && *ours < day; ours = pattern.Next(*ours + 1)) {
            reading.surplus.push_back(*ours);
            if (!ends) return refuse("the closest pattern also falls on " + DayText(*ours * kDay));
            if (reading.surplus.size() > kMaxSurplus) return refuse("the closest pattern has too many other dates");
        }
        if (!ours || *ours != day) return refuse("the closest pattern has no occurrence on " + DayText(day * kDay));
        ours = pattern.Next(day + 1);
        last = day;
    }
    if (count == 0) return refuse("it has no occurrence");
    if (!wasWhole && !reading.surplus.empty())
        return refuse("the closest pattern also falls on " + DayText(reading.surplus.front() * kDay));
    if (!wasWhole && parsed.count > 0) {
        for (; count < parsed.count && ours; count++) {
            last = *ours;
            ours = pattern.Next(last + 1);
        }
    }
    if (parsed.count > 0) {
        pattern.ends = true;
        pattern.lastDay = last;
    } else if (wasWhole) {
        for (; ours && *ours <= pattern.lastDay; ours = pattern.Next(*ours + 1)) {
            reading.surplus.push_back(*ours);
            if (reading.surplus.size() > kMaxSurplus) return refuse("the closest pattern has too many other dates");
        }
    }
    return reading;
}

RuleReading ReadRecurrenceSet(const RecurrenceSet& set, const CalendarTime& start, const TimeZones& zones) {
    RuleReading reading;
    auto refuse = [&](const std::string& why) {
        reading.whyNot = why;
        return reading;
    };
    // At the time of day that the others have, on the clock that the item keeps.
    auto isOfItsTime = [&](std::int64_t moment) {
        return (zones.FromDevice(moment, start.form).wall - start.wall) % kDay == 0;
    };
    const bool isOneRule = set.rules.size() == 1 && set.exceptionRules.empty();
    if (isOneRule) {
        reading = ReadRule(set.rules.front(), start, zones);
        // Dates that the rule has say nothing.
        const bool hasAll = std::all_of(set.dates.begin(), set.dates.end(), [&](const CalendarTime& date) {
            const std::int64_t moment = zones.ToDevice(date), day = DayOfWall(moment);
            return reading.pattern.Has(day) && isOfItsTime(moment) &&
                   std::find(reading.surplus.begin(), reading.surplus.end(), day) == reading.surplus.end();
        });
        if (reading.whyNot.empty() && hasAll) return reading;
    }
    const std::string whyNotAsRule = reading.whyNot;
    reading = {};
    reading.isList = true;

    // Every date on the device's clock.
    const std::int64_t deviceStart = zones.ToDevice(start);
    const std::int64_t clock = deviceStart - DayOfWall(deviceStart) * kDay;
    std::string whyNot;
    auto momentsOf = [&](const std::string& rule) {
        std::set<std::int64_t> moments;
        const ParsedRule parsedRule(rule);
        const icalrecurrencetype& parsed = parsedRule.Get();
        const std::optional<std::int64_t> until = UntilOf(parsed, start, zones);
        if (parsed.freq == ICAL_NO_RECURRENCE)
            whyNot = "a device cannot hold its rule " + rule + ": it is broken";
        else if (!until && parsed.count < 1)
            whyNot = set.rules.size() > 1 ? "it has several rules without an end, a device holds one"
                     : set.exceptionRules.empty()
                         ? "it has no end and further dates (RDATE), which a device cannot hold"
                         : "it has no end and a rule of exceptions (EXRULE), which a device "
                           "cannot hold";
        Occurrences occurrences(parsed, start);
        while (whyNot.empty() && (parsed.count < 1 || static_cast<int>(moments.size()) < parsed.count)) {
            const std::optional<std::int64_t> wall = occurrences.Next();
            const std::int64_t moment = wall ? zones.ToDevice({*wall, start.form}) : 0;
            if (!wall || (until && moment > *until)) break;
            moments.insert(moment);
            if (moments.size() > kMaxListed) whyNot = "it has too many dates for a device to hold them one by one";
        }
        return moments;
    };
    std::set<std::int64_t> moments;
    for (const std::string& rule : set.rules) moments.merge(momentsOf(rule));
    const bool startIsNone = !set.rules.empty() && !moments.count(deviceStart);
    if (startIsNone && whyNot.empty())
        whyNot = "its start is no date of its rule, and programs differ in what that means";
    for (const CalendarTime& date : set.dates) moments.insert(zones.ToDevice(date));
    moments.insert(deviceStart);
    for (const std::string& rule : set.exceptionRules)
        for (std::int64_t moment : momentsOf(rule)) moments.erase(moment);
    if (!whyNot.empty()) return refuse(isOneRule && !whyNotAsRule.empty() ? whyNotAsRule : whyNot);
    if (moments.empty()) return refuse("it has no occurrence");

    std::vector<std::int64_t> days;
    for (std::int64_t moment : moments) {
        const std::int64_t day = DayOfWall(moment);
        if (!days.empty() && days.back() == day) return refuse("it has two occurrences on " + DayText(day * kDay));
        days.push_back(day);
        if (!isOfItsTime(moment))
            return refuse("its occurrence on " + DayText(day * kDay) + " is at another time than the others");
        reading.drifts = reading.drifts || moment - day * kDay != clock;
    }
    if (days.front() != DayOfWall(deviceStart)) return refuse("its start is not its first date");

    reading.whyNot = "a device has no pattern for its dates";
    for (const Pattern& pattern :
         days.size() > 1 ? PatternsThrough(days) : std::vector<Pattern>{OnlyDay(days.front())}) {
        std::vector<std::int64_t> surplus;
        auto next = days.begin();
        bool hasAll = true;
        for (auto day = pattern.Next(pattern.start); day && surplus.size() <= kMaxSurplus;
             day = pattern.Next(*day + 1)) {
            if (next != days.end() && *next < *day) hasAll = false;
            if (next != days.end() && *next == *day)
                ++next;
            else
                surplus.push_back(*day);
        }
        hasAll = hasAll && next == days.end();
        if (!hasAll || surplus.size() > kMaxSurplus) continue;
        if (!reading.whyNot.empty() || surplus.size() < reading.surplus.size()) {
            reading.pattern = pattern;
            reading.surplus = std::move(surplus);
        }
        reading.whyNot.clear();
    }
    if (!reading.whyNot.empty() && isOneRule && !whyNotAsRule.empty()) reading.whyNot = whyNotAsRule;
    return reading;
}

std::string RuleOfOldText(std::string_view text) {
    std::vector<std::string> words;
    for (const std::string& word : Split(UpperCase(Trimmed(text)), ' '))
        if (!word.empty()) words.push_back(word);
    if (words.empty()) return "";
    const std::string& head = words[0];
    std::size_t digit = head.find_first_of("0123456789");
    if (digit == std::string::npos) return "";
    const std::string kind = head.substr(0, digit), interval = ";INTERVAL=" + head.substr(digit);
    std::string end = ";COUNT=2", days, position, numbers;  // two is what a rule without an end means
    for (std::size_t i = 1; i < words.size(); i++) {
        const std::string& word = words[i];
        if (word == "LD") {
            numbers += (numbers.empty() ? "" : ",") + std::string("-1");
        } else if (word[0] == '#') {
            end = word == "#0" ? "" : ";COUNT=" + word.substr(1);
        } else if (word.size() >= 8 && word.find_first_not_of("0123456789TZ") == std::string::npos) {
            end = ";UNTIL=" + word;
        } else if (word.size() == 2 && word[0] >= 'A') {
            days += (days.empty() ? "" : ",") + position + word;
        } else if (word.back() == '+' || word.back() == '-') {
            position = (word.back() == '-' ? "-" : "") + word.substr(0, word.size() - 1);
        } else if (word.find_first_not_of("0123456789") == std::string::npos) {
            numbers += (numbers.empty() ? "" : ",") + word;
        } else {
            return "";
        }
    }
    if (kind == "MD" || kind == "MP") {
        if (kind == "MD" && !days.empty()) return "";
        return "FREQ=MONTHLY" + interval + (days.empty() ? "" : ";BYDAY=" + days) +
               (numbers.empty() ? "" : ";BYMONTHDAY=" + numbers) + end;
    }
    if (kind == "D") return "FREQ=DAILY" + interval + end;
    if (kind == "W") return "FREQ=WEEKLY" + interval + (days.empty() ? "" : ";BYDAY=" + days) + end;
    if (kind == "YM") return "FREQ=YEARLY" + interval + (numbers.empty() ? "" : ";BYMONTH=" + numbers) + end;
    if (kind == "YD") return "FREQ=YEARLY" + interval + (numbers.empty() ? "" : ";BYYEARDAY=" + numbers) + end;
    return "";
}

std::string OldRuleText(const Pattern& pattern) {
    const std::string interval = std::to_string(pattern.interval);
    std::string days;
    for (const std::string& name : Split(NamesOf(pattern.mask), ',')) days += " " + name;
    const bool isOneDay = pattern.dayOfMonth >= 1 && pattern.dayOfMonth <= 28;
    switch (pattern.type) {
        case 0:
            if (pattern.mask == 0) return "D" + interval;
            return pattern.interval == 1 ? "W1" + days : "";
        case 1:
            return "W" + interval + days;
        case 2:
            if (pattern.dayOfMonth == 31) return "MD" + interval + " LD";
            return isOneDay ? "MD" + interval + " " + std::to_string(pattern.dayOfMonth) : "";
        case 3: {
            if (std::popcount(static_cast<unsigned>(pattern.mask)) != 1) return "";
            const std::string position = pattern.instance >= kLast ? "1-" : std::to_string(pattern.instance) + "+";
            return "MP" + interval + " " + position + days;
        }
        case 5:
            // It has no words for the day: that is the day of the start.
            return isOneDay ? "YM1 " + std::to_string(pattern.monthOfYear) : "";
        default:
            return "";
    }
}

}  // namespace kez::partner
