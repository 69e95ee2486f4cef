// Occurrences and exceptions of a stored series.
#include "platform/pocketoutlook/series.h"

#include <algorithm>

namespace kez::pocketoutlook {
namespace {

// The properties of an exception's row beside the values that it changes.
constexpr CEPROPID kDeleted = 0x7001000B;
constexpr CEPROPID kRemovedProperties = 0x70020041;  // identifiers of values that the occurrence lacks, 4 bytes each
constexpr CEPROPID kRecipients = 0x70030041;         // where they are not those of the series
constexpr CEPROPID kNoRecipients = 0x7004000B;       // set where that is an empty list

bool IsBookkeeping(CEPROPID id) { return (id >> 16) >= 0x7001 && (id >> 16) <= 0x7004; }

propertydb::Bytes PackIds(const std::vector<CEPROPID>& ids) {
    propertydb::Bytes bytes;
    for (const CEPROPID id : ids) {
        for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<BYTE>(id >> shift));
    }
    return bytes;
}

std::vector<CEPROPID> UnpackIds(const propertydb::Bytes& bytes) {
    std::vector<CEPROPID> ids;
    for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
        CEPROPID id = 0;
        for (int i = 3; i >= 0; --i) id = (id << 8) | bytes[at + static_cast<std::size_t>(i)];
        ids.push_back(id);
    }
    return ids;
}

}  // namespace

Span SpanOfValues(const PropertyBag& values) { return {values.Ticks(PIMPR_START), values.Number(PIMPR_DURATION)}; }

std::optional<SeriesShape> ShapeOf(const PropertyBag& values) {
    const Pattern pattern = ReadPattern(values);
    if (!pattern.InUse()) return std::nullopt;
    SeriesShape shape{pattern.recurrence, SpanOfValues(values)};
    Recurrence& recurrence = shape.recurrence;
    recurrence.lastDay.reset();
    recurrence.occurrences.reset();
    const LONG type = recurrence.type;
    if (pattern.IsYearly()) recurrence.interval = 1;
    if (type != olRecursDaily && !pattern.UsesMask()) recurrence.dayOfWeekMask = 0;
    if (type == olRecursDaily && recurrence.dayOfWeekMask == 127) recurrence.dayOfWeekMask = 0;
    if (type != olRecursMonthly && type != olRecursYearly) recurrence.dayOfMonth = 0;
    if (type != olRecursMonthNth && type != olRecursYearNth) recurrence.instance = 0;
    if (!pattern.IsYearly()) recurrence.monthOfYear = 0;
    return shape;
}

bool IsDeletedException(const PropertyBag& row) { return row.Flag(kDeleted); }

PropertyBag DeletedException() {
    PropertyBag row;
    row.SetFlag(kDeleted, true);
    return row;
}

std::optional<Series> Series::Load(const ItemStore& store, CEOID oid) {
    auto values = store.Read(olAppointmentItem, oid);
    if (!values || !values->Flag(PIMPR_IS_RECURRING)) return std::nullopt;
    return Series(std::move(*values), store.Details(Detail::Exceptions, olAppointmentItem, oid));
}

std::optional<Series> Series::LoadDay(const ItemStore& store, CEOID oid, Day day) {
    auto values = store.Read(olAppointmentItem, oid);
    if (!values || !values->Flag(PIMPR_IS_RECURRING)) return std::nullopt;
    Series series(std::move(*values), {});
    const WallTicks key = series.OriginalStart(day);
    if (auto row = store.ReadDetail(Detail::Exceptions, olAppointmentItem, oid, key)) {
        series.m_exceptions.push_back({key, std::move(*row)});
    }
    return series;
}

Series::Series(PropertyBag values, std::vector<DetailRow> exceptions)
    : m_values(std::move(values)),
      m_exceptions(std::move(exceptions)),
      m_days(ReadPattern(m_values).recurrence),
      m_span(SpanOfValues(m_values)) {}

const PropertyBag* Series::ExceptionOn(Day day) const {
    const auto row = std::ranges::lower_bound(m_exceptions, MidnightOf(day), {}, &DetailRow::key);
    return row != m_exceptions.end() && DayOfTicks(row->key) == day ? &row->values : nullptr;
}

bool Series::IsDeleted(Day day) const {
    const PropertyBag* row = ExceptionOn(day);
    return row && IsDeletedException(*row);
}

Span Series::SpanOn(Day day) const {
    Span span{OriginalStart(day), m_span.minutes};
    if (const PropertyBag* row = ExceptionOn(day)) {
        if (row->Has(PIMPR_START)) span.start = row->Ticks(PIMPR_START);
        if (row->Has(PIMPR_DURATION)) span.minutes = row->Number(PIMPR_DURATION);
    }
    return span;
}

PropertyBag Series::Plain(Day day) const {
    PropertyBag values = m_values;
    values.SetTicks(PIMPR_START, OriginalStart(day));
    return values;
}

PropertyBag Series::Occurrence(Day day) const {
    PropertyBag values = Plain(day);
    const PropertyBag* row = ExceptionOn(day);
    if (!row) return values;
    for (const CEPROPID id : UnpackIds(row->Bytes(kRemovedProperties))) values.Remove(id);
    for (const auto& entry : *row) {
        if (!IsBookkeeping(entry.id)) values.Set(entry.id, entry.value);
    }
    return values;
}

std::optional<std::vector<RecipientData>> Series::RecipientsOn(Day day) const {
    const PropertyBag* row = ExceptionOn(day);
    if (!row || !(row->Has(kRecipients) || row->Flag(kNoRecipients))) return std::nullopt;
    return UnpackRecipients(row->Bytes(kRecipients));
}

PropertyBag Series::ExceptionFor(Day day, const PropertyBag& occurrence,
                                 const std::optional<std::vector<RecipientData>>& recipients) const {
    PropertyBag row;
    std::vector<CEPROPID> removed;
    for (const auto& entry : Difference(Plain(day), occurrence)) {
        if (std::holds_alternative<std::monostate>(entry.value)) {
            removed.push_back(entry.id);
        } else {
            row.Set(entry.id, entry.value);
        }
    }
    row.SetBytes(kRemovedProperties, PackIds(removed));
    if (recipients) {
        row.SetBytes(kRecipients, PackRecipients(*recipients));
        if (recipients->empty()) row.SetFlag(kNoRecipients, true);
    }
    return row;
}

std::optional<Day> Series::Neighbour(Day day, bool next) const {
    auto other = next ? m_days.Next(day) : m_days.Previous(day);
    while (other && IsDeleted(*other)) other = next ? m_days.Next(*other) : m_days.Previous(*other);
    return other;
}

HRESULT Series::CheckMove(Day day, const Span& span) const {
    const Day target = DayOfTicks(span.start);
    const auto isOther = [&](Day other) { return other != day && !IsDeleted(other); };
    if (m_days.Contains(target) && isOther(target) && DayOfTicks(SpanOn(target).start) == target) {
        return E_EXCEPTIONSAMEDAY;
    }
    for (const DetailRow& row : m_exceptions) {
        const Day other = DayOfTicks(row.key);
        if (isOther(other) && DayOfTicks(SpanOn(other).start) == target) return E_EXCEPTIONSAMEDAY;
    }
    const auto before = Neighbour(day, false);
    const auto after = Neighbour(day, true);
    if (before && SpanOn(*before).start > span.start) return E_CANTCHANGEDATE;
    if (after && SpanOn(*after).start < span.start) return E_CANTCHANGEDATE;
    if (before && SpanOn(*before).End() > span.start) return E_OVERLAPPINGEXCEPTION;
    if (after && SpanOn(*after).start < span.End()) return E_OVERLAPPINGEXCEPTION;
    return S_OK;
}

std::optional<Day> Series::NextAfter(WallTicks after) const {
    std::optional<Day> found;
    const auto consider = [&](Day day) {
        if (!found || SpanOn(day).start < SpanOn(*found).start) found = day;
    };
    auto day = m_days.AtOrAfter(DayOfTicks(after));
    while (day && (ExceptionOn(*day) || OriginalStart(*day) <= after)) day = m_days.Next(*day);
    if (day) consider(*day);
    for (const DetailRow& row : m_exceptions) {
        const Day other = DayOfTicks(row.key);
        if (m_days.Contains(other) && !IsDeleted(other) && SpanOn(other).start > after) consider(other);
    }
    return found;
}

std::optional<Day> Series::StartingAt(WallTicks start) const {
    const auto begins = [&](Day day) { return m_days.Contains(day) && !IsDeleted(day) && SpanOn(day).start == start; };
    if (begins(DayOfTicks(start))) return DayOfTicks(start);
    for (const DetailRow& row : m_exceptions) {
        if (begins(DayOfTicks(row.key))) return DayOfTicks(row.key);
    }
    return std::nullopt;
}

}  // namespace kez::pocketoutlook
