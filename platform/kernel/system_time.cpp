// The device clock's time and the file time conversions. A file time conversion refuses fields that lie beyond their
// day, month or year; the automation dates roll them over.
#include "platform/control/calendar.h"
#include "platform/control/control.h"
#include "platform/control/time_zone.h"
#include "platform/kernel/device_path.h"

namespace {

using kez::control::DayNumber;
using kez::control::DaysInMonth;
using kez::control::PlannedFault;
using kez::control::Ticks;
using kez::control::TimeZone;

constexpr Ticks kTicksPerMillisecond = 10'000;
constexpr Ticks kTicksPerMinute = 60'000 * kTicksPerMillisecond;
constexpr Ticks kMillisecondsPerDay = 86'400'000;
constexpr std::int64_t kDayZero = DayNumber(1601, 1, 1);
constexpr Ticks kLastTick = 0x7FFFFFFFFFFFFFFF;

Ticks ToTicks(const FILETIME& time) { return Ticks{time.dwHighDateTime} << 32 | time.dwLowDateTime; }

FILETIME ToFileTime(Ticks ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }

SYSTEMTIME ToSystemTime(Ticks ticks) {
    const Ticks milliseconds = ticks / kTicksPerMillisecond;
    const std::int64_t day = static_cast<std::int64_t>(milliseconds / kMillisecondsPerDay) + kDayZero;
    const auto time = static_cast<std::uint32_t>(milliseconds % kMillisecondsPerDay);
    const kez::control::Date date = kez::control::DateOf(day);
    SYSTEMTIME result = {};
    result.wYear = static_cast<WORD>(date.year);
    result.wMonth = static_cast<WORD>(date.month);
    result.wDayOfWeek = static_cast<WORD>(kez::control::WeekDayOf(day));
    result.wDay = static_cast<WORD>(date.day);
    result.wHour = static_cast<WORD>(time / 3'600'000);
    result.wMinute = static_cast<WORD>(time / 60'000 % 60);
    result.wSecond = static_cast<WORD>(time / 1'000 % 60);
    result.wMilliseconds = static_cast<WORD>(time % 1'000);
    return result;
}

Ticks BiasTicks() { return static_cast<Ticks>(std::int64_t{kez::control::CurrentBias()}) * kTicksPerMinute; }

BOOL Refuse(DWORD error) {
    SetLastError(error);
    return FALSE;
}

void CopyName(WCHAR (&to)[32], const std::string& name) {
    const std::u16string wide = kez::kernel::FromUtf8(name);
    const std::size_t length = wide.copy(to, 31);
    to[length] = 0;
}

// The form that a rule has in the platform's structure: year 0, the month, the day of the week, which of them in the
// month, and the time. A time beyond the rule's day moves the day of the week with it.
SYSTEMTIME ToTransitionDate(const TimeZone::Rule& rule) {
    SYSTEMTIME date = {};
    if (rule.month == 0) return date;
    constexpr std::int64_t kDay = 86'400;
    const std::int64_t days = rule.seconds >= 0 ? rule.seconds / kDay : (rule.seconds - kDay + 1) / kDay;
    const std::int64_t time = rule.seconds - days * kDay;
    date.wMonth = static_cast<WORD>(rule.month);
    date.wDayOfWeek = static_cast<WORD>(((rule.weekDay + days) % 7 + 7) % 7);
    date.wDay = static_cast<WORD>(rule.week);
    date.wHour = static_cast<WORD>(time / 3600);
    date.wMinute = static_cast<WORD>(time / 60 % 60);
    date.wSecond = static_cast<WORD>(time % 60);
    return date;
}

}  // namespace

void GetSystemTime(SYSTEMTIME* utc) { *utc = ToSystemTime(kez::control::Now()); }

void GetLocalTime(SYSTEMTIME* local) { *local = ToSystemTime(kez::control::Now() - BiasTicks()); }

DWORD GetTickCount() { return static_cast<DWORD>(kez::control::Now() / kTicksPerMillisecond); }

BOOL SystemTimeToFileTime(const SYSTEMTIME* from, FILETIME* to) {
    if (auto fault = PlannedFault("SystemTimeToFileTime")) return Refuse(*fault);
    if (!from || !to || from->wYear < 1601 || from->wYear > 30828 || from->wMonth < 1 || from->wMonth > 12 ||
        from->wDay < 1 || from->wDay > DaysInMonth(from->wYear, from->wMonth) || from->wHour > 23 ||
        from->wMinute > 59 || from->wSecond > 59 || from->wMilliseconds > 999) {
        return Refuse(ERROR_INVALID_PARAMETER);
    }
    const auto days = static_cast<Ticks>(DayNumber(from->wYear, from->wMonth, from->wDay) - kDayZero);
    const Ticks time = ((Ticks{from->wHour} * 60 + from->wMinute) * 60 + from->wSecond) * 1'000 + from->wMilliseconds;
    const Ticks ticks = (days * kMillisecondsPerDay + time) * kTicksPerMillisecond;
    if (ticks > kLastTick) return Refuse(ERROR_INVALID_PARAMETER);
    *to = ToFileTime(ticks);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* from, SYSTEMTIME* to) {
    if (auto fault = PlannedFault("FileTimeToSystemTime")) return Refuse(*fault);
    if (!from || !to || ToTicks(*from) > kLastTick) return Refuse(ERROR_INVALID_PARAMETER);
    *to = ToSystemTime(ToTicks(*from));
    return TRUE;
}

BOOL LocalFileTimeToFileTime(const FILETIME* local, FILETIME* utc) {
    if (auto fault = PlannedFault("LocalFileTimeToFileTime")) return Refuse(*fault);
    if (!local || !utc) return Refuse(ERROR_INVALID_PARAMETER);
    *utc = ToFileTime(ToTicks(*local) + BiasTicks());
    return TRUE;
}

BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local) {
    if (auto fault = PlannedFault("FileTimeToLocalFileTime")) return Refuse(*fault);
    if (!utc || !local) return Refuse(ERROR_INVALID_PARAMETER);
    *local = ToFileTime(ToTicks(*utc) - BiasTicks());
    return TRUE;
}

LONG CompareFileTime(const FILETIME* a, const FILETIME* b) {
    const Ticks first = ToTicks(*a);
    const Ticks second = ToTicks(*b);
    return first < second ? -1 : (first > second ? 1 : 0);
}

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
    if (auto fault = PlannedFault("GetTimeZoneInformation")) {
        SetLastError(*fault);
        return TIME_ZONE_ID_INVALID;
    }
    const kez::control::CurrentZone current = kez::control::DescribeCurrentZone();
    const TimeZone::Rules& rules = current.rules;
    *zone = {};
    zone->Bias = static_cast<LONG>(-rules.standardOffset / 60);
    CopyName(zone->StandardName, rules.standardName);
    if (!rules.hasDaylight) {
        CopyName(zone->DaylightName, rules.standardName);
        return TIME_ZONE_ID_UNKNOWN;
    }
    CopyName(zone->DaylightName, rules.daylightName);
    zone->StandardDate = ToTransitionDate(rules.daylightEnd);
    zone->DaylightDate = ToTransitionDate(rules.daylightStart);
    zone->DaylightBias = static_cast<LONG>((rules.standardOffset - rules.daylightOffset) / 60);
    return current.daylightNow ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
}

void Sleep(DWORD milliseconds) { kez::control::SleepByPolicy(milliseconds); }
