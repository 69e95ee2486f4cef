// A recurring appointment as the store holds it now: its record, its days and its exceptions, and what each single
// occurrence is. Occurrences are known by the day on which they would begin; an exception belongs to such a day and
// keeps what differs from the series.
#pragma once

#include <pimstore.h>

#include <optional>
#include <vector>

#include "platform/pocketoutlook/item_store.h"
#include "platform/pocketoutlook/recipients.h"
#include "platform/pocketoutlook/series_pattern.h"
#include "platform/pocketoutlook/wall_time.h"

namespace kez::pocketoutlook {

// Start and length that a record of an appointment holds.
Span SpanOfValues(const PropertyBag& values);

// What makes the days and times of a series. Exceptions belong to one shape: a series that gets another one loses them.
struct SeriesShape {
    Recurrence recurrence;  // without its end, and without fields that the type does not use
    Span span;              // of the first occurrence
    bool operator==(const SeriesShape&) const = default;
};
// Nothing for a single appointment.
std::optional<SeriesShape> ShapeOf(const PropertyBag& values);

// Exceptions of a series, ascending by the start that the occurrence would have had; the key is that start.
bool IsDeletedException(const PropertyBag& row);
PropertyBag DeletedException();

class Series {
 public:
    // Nothing where there is no such item or where it is single.
    static std::optional<Series> Load(const ItemStore& store, CEOID oid);
    // The same with no other exception than that of one day: for what concerns this day alone, however many there are.
    static std::optional<Series> LoadDay(const ItemStore& store, CEOID oid, Day day);

    const PropertyBag& Values() const { return m_values; }
    const std::vector<DetailRow>& Exceptions() const { return m_exceptions; }
    bool HasDay(Day day) const { return m_days.Contains(day); }
    WallTicks OriginalStart(Day day) const { return MidnightOf(day) + TimeOfDay(m_span.start); }
    const PropertyBag* ExceptionOn(Day day) const;
    bool IsDeleted(Day day) const;
    // When the occurrence of that day takes place: where its exception says, else as the series does.
    Span SpanOn(Day day) const;
    // The day's occurrence without its exception, and with it.
    PropertyBag Plain(Day day) const;
    PropertyBag Occurrence(Day day) const;
    // Recipients of a changed occurrence; nothing where they are those of the series.
    std::optional<std::vector<RecipientData>> RecipientsOn(Day day) const;
    // The exception that makes the day's plain occurrence into this one.
    PropertyBag ExceptionFor(Day day, const PropertyBag& occurrence,
                             const std::optional<std::vector<RecipientData>>& recipients) const;
    // S_OK where the occurrence of that day may take place at `span`: E_EXCEPTIONSAMEDAY on the day of another one,
    // E_CANTCHANGEDATE beyond a neighbour, E_OVERLAPPINGEXCEPTION where they would overlap. Deleted ones don't count.
    HRESULT CheckMove(Day day, const Span& span) const;
    // The day of the first occurrence, not deleted, that begins after `after`.
    std::optional<Day> NextAfter(WallTicks after) const;
    // The day of the occurrence, not deleted, that begins at `start`.
    std::optional<Day> StartingAt(WallTicks start) const;

 private:
    Series(PropertyBag values, std::vector<DetailRow> exceptions);
    std::optional<Day> Neighbour(Day day, bool next) const;

    PropertyBag m_values;
    std::vector<DetailRow> m_exceptions;
    RecurrenceDays m_days;
    Span m_span;
};

}  // namespace kez::pocketoutlook
