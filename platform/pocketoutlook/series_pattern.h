// The recurrence pattern of an item: how its record keeps it, what a pattern starts with, and which values its fields
// take. A record holds one of the two ends only, the one that was set; the other is computed whenever it is asked for.
#pragma once

#include <pimstore.h>

#include <optional>

#include "platform/pocketoutlook/property_bag.h"
#include "platform/pocketoutlook/recurrence_arithmetic.h"
#include "platform/pocketoutlook/wall_time.h"

namespace kez::pocketoutlook {

struct Pattern {
    Recurrence recurrence;  // type olRecursOnce: a pattern that is not in use
    bool noEnd = true;      // where it is false without an end or a count, the pattern cannot be saved

    bool InUse() const { return recurrence.type != olRecursOnce; }
    bool IsYearly() const { return recurrence.type == olRecursYearly || recurrence.type == olRecursYearNth; }
    bool UsesMask() const;

    // The two ends, whichever of them was set; none and 0 for an endless pattern.
    std::optional<Day> LastDay() const;
    LONG Occurrences() const;

    // Setters: E_INVALIDARG for a value out of range, which leaves the pattern as it was. A field that the type does
    // not use is kept and has no effect.
    HRESULT PutInterval(LONG interval);
    HRESULT PutDayOfWeekMask(LONG mask);
    HRESULT PutDayOfMonth(LONG day);
    HRESULT PutInstance(LONG instance);
    HRESULT PutMonthOfYear(LONG month);
    // An end of either kind ends the pattern and takes the place of the other; an endless pattern has none.
    HRESULT PutLastDay(std::optional<Day> day);
    HRESULT PutOccurrences(LONG occurrences);
    void PutNoEnd(bool endless);
};

bool IsRecurrenceType(LONG type);

// What a pattern of that type starts with on an item that starts on `start`.
Pattern InitialPattern(LONG type, Day start);

// The pattern that a record keeps; one that is not in use where the item is single.
Pattern ReadPattern(const PropertyBag& values);
// Keeps the pattern in `values`; one that is not in use makes the item single.
void WritePattern(PropertyBag& values, const Pattern& pattern);

// S_OK where a pattern in use can be saved: E_INVALIDARG for a field that its type needs, E_INVALIDDATES for a missing
// end and for a pattern without any day.
HRESULT CheckPattern(const Pattern& pattern);

// The times of day that a program has put into a pattern since the item was saved, and the length. Start and end
// together give the length; one of them takes the other from the length; without a length, the item's own counts.
struct PatternTimes {
    std::optional<WallTicks> start;
    std::optional<WallTicks> end;
    std::optional<LONG> minutes;

    Span Apply(Span span) const;
};

}  // namespace kez::pocketoutlook
