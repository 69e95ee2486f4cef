// Day numbers of the Gregorian calendar, for the time conversions and the time zones.
#pragma once

#include <cstdint>

namespace kez::control {

// Days since 1970-01-01. `month` is 1 to 12; `day` may lie outside the month.
constexpr std::int64_t DayNumber(std::int64_t year, int month, int day) {
    const std::int64_t shifted = month <= 2 ? year - 1 : year;  // years that start in March end with the leap day
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 399) / 400;
    const std::int64_t yearOfEra = shifted - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146'097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719'468;
}

struct Date {
    std::int64_t year;
    int month;
    int day;
};

constexpr Date DateOf(std::int64_t dayNumber) {
    const std::int64_t shifted = dayNumber + 719'468;
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146'096) / 146'097;
    const std::int64_t dayOfEra = shifted - era * 146'097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int shiftedMonth = static_cast<int>((5 * dayOfYear + 2) / 153);
    const int month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month,
            static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1)};
}

constexpr int WeekDayOf(std::int64_t dayNumber) {  // 0 is Sunday
    return static_cast<int>(((dayNumber + 4) % 7 + 7) % 7);
}

constexpr int DaysInMonth(std::int64_t year, int month) {
    return static_cast<int>((month == 12 ? DayNumber(year + 1, 1, 1) : DayNumber(year, month + 1, 1)) -
                            DayNumber(year, month, 1));
}

}  // namespace kez::control
