// Arithmetic on wall clock times as items keep them (100 ns since 1601-01-01, always whole seconds) and day numbers.
#pragma once

#include <pimstore.h>

#include <optional>

#include "platform/pocketoutlook/property_bag.h"
#include "platform/pocketoutlook/recurrence_arithmetic.h"

namespace kez::pocketoutlook {

inline constexpr WallTicks kTicksPerSecond = 10'000'000;
inline constexpr WallTicks kTicksPerMinute = 60 * kTicksPerSecond;
inline constexpr LONG kMinutesPerDay = 1440;
inline constexpr WallTicks kTicksPerDay = kMinutesPerDay * kTicksPerMinute;
inline constexpr Day kDayOfTick0 = -109'205;  // 1601-01-01

inline Day DayOfTicks(WallTicks ticks) { return static_cast<Day>(ticks / kTicksPerDay) + kDayOfTick0; }
inline WallTicks MidnightOf(Day day) { return WallTicks{day - kDayOfTick0} * kTicksPerDay; }
inline WallTicks TimeOfDay(WallTicks ticks) { return ticks % kTicksPerDay; }

// To the nearest second; nothing for a time outside 1900-01-01 to 2999-12-31, DATE_NONE included.
inline std::optional<WallTicks> WholeSeconds(WallTicks ticks) {
    const WallTicks rounded = (ticks + kTicksPerSecond / 2) / kTicksPerSecond * kTicksPerSecond;
    if (rounded < MidnightOf(kFirstDay) || rounded >= MidnightOf(kLastDay + 1)) return std::nullopt;
    return rounded;
}
inline std::optional<WallTicks> WholeSeconds(DATE date) {
    if (!(date >= kFirstDay && date < kLastDay + 1)) return std::nullopt;
    return WholeSeconds(TicksFromDate(date));
}

// When something takes place: its start and its length.
struct Span {
    WallTicks start = 0;
    LONG minutes = 0;
    WallTicks End() const { return start + minutes * kTicksPerMinute; }
    bool operator==(const Span&) const = default;
};

// The device's local time now.
inline WallTicks LocalNow() {
    SYSTEMTIME local;
    FILETIME ticks;
    GetLocalTime(&local);
    SystemTimeToFileTime(&local, &ticks);
    return TicksFromFileTime(ticks);
}

}  // namespace kez::pocketoutlook
