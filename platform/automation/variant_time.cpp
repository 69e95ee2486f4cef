// Automation dates: whole days since 1899-12-30, and the time of day as a fraction that counts forward also before
// that day. Unlike the file time conversions these roll fields over that lie beyond their day, month or year.
#include <cmath>

#include "platform/control/calendar.h"
#include "platform/control/control.h"

namespace {

using kez::control::DateOf;
using kez::control::DayNumber;

constexpr std::int64_t kDayZero = DayNumber(1899, 12, 30);
constexpr std::int64_t kFirstDay = DayNumber(100, 1, 1) - kDayZero;
constexpr std::int64_t kLastDay = DayNumber(9999, 12, 31) - kDayZero;
static_assert(kFirstDay == -657'434 && kLastDay == 2'958'465);

// Years of two digits are those around 2000.
int FullYear(int year) {
    if (year < 50) return year + 2000;
    if (year < 100) return year + 1900;
    return year;
}

}  // namespace

INT SystemTimeToVariantTime(SYSTEMTIME* from, DATE* to) {
    if (kez::control::PlannedFault("SystemTimeToVariantTime")) return 0;
    if (!from || !to || from->wMonth > 12 || from->wDay > 31 || from->wYear > 9999) return 0;
    int seconds = from->wHour * 3600 + from->wMinute * 60 + from->wSecond;
    int year = FullYear(from->wYear);
    int month = from->wMonth;
    if (month == 0) {
        month = 12;
        --year;
    }
    const std::int64_t day = DayNumber(year, month, from->wDay) + seconds / 86'400 - kDayZero;
    if (day < kFirstDay || day > kLastDay) return 0;
    seconds %= 86'400;
    const int hour = seconds / 3600;
    const int minute = seconds / 60 % 60;
    const int second = seconds % 60;

    // The three parts are added one after another: their sum in one step differs in the last bit.
    const double direction = day < 0 ? -1.0 : 1.0;
    double date = static_cast<double>(day);
    date += direction * (hour / 24.0);
    date += direction * (minute / 1440.0);
    date += direction * (second / 86'400.0);
    *to = date;
    return 1;
}

INT VariantTimeToSystemTime(DATE from, SYSTEMTIME* to) {
    if (kez::control::PlannedFault("VariantTimeToSystemTime")) return 0;
    if (!to) return 0;
    if (std::isnan(from)) from = 0;
    if (from <= kFirstDay - 1 || from >= kLastDay + 1) return 0;
    const double whole = std::trunc(from);
    std::int64_t day = static_cast<std::int64_t>(whole) + kDayZero;
    const int weekDay = kez::control::WeekDayOf(day);

    // The time is taken to hundredths of a second first and to seconds then, so that 0.495 s already counts as half.
    const double hundredths = std::round(std::fabs(from - whole) * 8'640'000.0);
    int seconds = static_cast<int>((hundredths + 50) / 100);
    if (seconds == 86'400) {
        seconds = 0;
        ++day;  // the day of the week stays that of the day before, on purpose
    }
    const kez::control::Date date = DateOf(day);
    to->wYear = static_cast<WORD>(date.year);
    to->wMonth = static_cast<WORD>(date.month);
    to->wDayOfWeek = static_cast<WORD>(weekDay);
    to->wDay = static_cast<WORD>(date.day);
    to->wHour = static_cast<WORD>(seconds / 3600);
    to->wMinute = static_cast<WORD>(seconds / 60 % 60);
    to->wSecond = static_cast<WORD>(seconds % 60);
    to->wMilliseconds = 0;
    return 1;
}
