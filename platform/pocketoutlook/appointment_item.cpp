// Appointments: defaults, the checks of Save, and the way from a series to its occurrences.
#include "platform/pocketoutlook/appointment_item.h"

#include <algorithm>

#include "platform/pocketoutlook/item_classes.h"
#include "platform/pocketoutlook/occurrence_item.h"
#include "platform/pocketoutlook/options.h"

namespace kez::pocketoutlook {
namespace {

constexpr LONG kDefaultMinutes = 60;

const bool g_registered = RegisterItemClass({olAppointmentItem, [](std::shared_ptr<Session> session) -> ItemBase* {
                                                 return new AppointmentItem(std::move(session));
                                             }});

propertydb::Bytes CurrentZone() {
    TIME_ZONE_INFORMATION zone;
    GetTimeZoneInformation(&zone);
    const BYTE* bytes = reinterpret_cast<const BYTE*>(&zone);
    return {bytes, bytes + sizeof zone};
}

}  // namespace

void AppointmentItem::SetDefaults(PropertyBag& values) {
    constexpr WallTicks kTicksPerHour = 60 * kTicksPerMinute;
    const Options options = CurrentOptions();
    values.SetTicks(PIMPR_START, (LocalNow() / kTicksPerHour + 1) * kTicksPerHour);
    values.SetNumber(PIMPR_DURATION, kDefaultMinutes);
    values.SetFlag(PIMPR_ALL_DAY_EVENT, false);
    values.SetNumber(PIMPR_BUSY_STATUS, olBusy);
    values.SetNumber(PIMPR_SENSITIVITY, olNormal);
    values.SetNumber(PIMPR_MEETING_STATUS, olNonMeeting);
    values.SetFlag(PIMPR_REMINDER_SET, options.appointmentReminderSet);
    values.SetNumber(PIMPR_REMINDER_MINUTES_BEFORE_START, options.appointmentReminderMinutes);
    values.SetNumber(PIMPR_REMINDER_OPTIONS, options.reminderOptions);
    values.SetFlag(PIMPR_IS_RECURRING, false);
}

// --- Save -----------------------------------------------------------------------------------------------------

HRESULT AppointmentItem::Prepare() {
    if (!Values().Has(PIMPR_START)) return E_INVALIDDATES;
    NormaliseAllDay();
    UpdateMeetingStatus();
    return IsRecurring() ? PrepareSeries() : S_OK;
}

// A series begins with its first occurrence: a start that is none moves there, which leaves its days as they were.
HRESULT AppointmentItem::PrepareSeries() {
    Pattern pattern = CurrentPattern();
    if (HRESULT hr = CheckPattern(pattern); FAILED(hr)) return hr;
    const Span span = SpanOfValues(Values());
    const std::int64_t periodMinutes = std::int64_t{kMinutesPerDay} * MinimumPeriod(pattern.recurrence);
    if (span.minutes > periodMinutes) return E_INVALIDDATES;
    const auto leadMinutes = static_cast<DWORD>(Values().Number(PIMPR_REMINDER_MINUTES_BEFORE_START));
    if (Values().Flag(PIMPR_REMINDER_SET) && leadMinutes > periodMinutes) return E_INVALIDREMINDERTIME;

    pattern.recurrence.start = *RecurrenceDays(pattern.recurrence).First();
    PutSpan({MidnightOf(pattern.recurrence.start) + TimeOfDay(span.start), span.minutes});
    WritePattern(Values(), pattern);
    if (!Values().Has(PIMPR_TIMEZONE)) Values().SetBytes(PIMPR_TIMEZONE, CurrentZone());
    return S_OK;
}

bool AppointmentItem::DetailsChanged() const { return RecipientsChanged() || PatternWasCleared(); }

void AppointmentItem::WriteDetails(ItemStore::Transaction& transaction, CEOID oid) {
    if (RecipientsChanged()) {
        transaction.RemoveDetails(Detail::Recipients, olAppointmentItem, oid);
        std::int64_t position = 0;
        for (const RecipientData& recipient : RecipientValues()) {
            transaction.PutDetail(Detail::Recipients, olAppointmentItem, oid, ++position, RecipientRow(recipient));
        }
    }
    WriteExceptions(transaction, oid);
}

// Exceptions stay as long as the series keeps its shape; those beyond a nearer end go.
void AppointmentItem::WriteExceptions(ItemStore::Transaction& transaction, CEOID oid) const {
    const auto shape = ShapeOf(Values());
    if (Oid() == 0) {
        if (PatternWasCleared() || shape != m_copiedShape) return;
        for (const DetailRow& row : m_copiedExceptions) {
            transaction.PutDetail(Detail::Exceptions, olAppointmentItem, oid, row.key, row.values);
        }
        return;
    }
    const auto storedShape = ShapeOf(Stored());
    if (!shape && !storedShape) return;
    if (PatternWasCleared() || shape != storedShape) {
        transaction.RemoveDetails(Detail::Exceptions, olAppointmentItem, oid);
        return;
    }
    const Recurrence recurrence = ReadPattern(Values()).recurrence;
    if (recurrence == ReadPattern(Stored()).recurrence) return;
    const RecurrenceDays days(recurrence);
    for (const DetailRow& row : Store().Details(Detail::Exceptions, olAppointmentItem, oid)) {
        if (!days.Contains(DayOfTicks(row.key))) {
            transaction.RemoveDetail(Detail::Exceptions, olAppointmentItem, oid, row.key);
        }
    }
}

void AppointmentItem::AfterSave() {
    RecipientsSaved();
    m_copiedExceptions.clear();
    m_copiedShape.reset();
    AppointmentBase::AfterSave();
}

void AppointmentItem::CopyDetailsFrom(ItemBase& from) {
    CopyRecipientsFrom(static_cast<AppointmentBase&>(from));
    auto* series = dynamic_cast<AppointmentItem*>(&from);
    if (!series) {
        // A copy of one occurrence is a single appointment.
        WritePattern(Values(), Pattern());
        Values().Remove(PIMPR_TIMEZONE);
        return;
    }
    if (const auto stored = series->StoredSeries()) {
        m_copiedExceptions = stored->Exceptions();
        m_copiedShape = ShapeOf(stored->Values());
    }
}

std::vector<RecipientData> AppointmentItem::StoredRecipients() {
    std::vector<RecipientData> recipients;
    if (Oid() == 0) return recipients;
    for (const DetailRow& row : Store().Details(Detail::Recipients, olAppointmentItem, Oid())) {
        recipients.push_back(RecipientFrom(row.values));
    }
    return recipients;
}

// --- Occurrences and exceptions -------------------------------------------------------------------------------

std::optional<Series> AppointmentItem::StoredSeries() const {
    if (Oid() == 0 || IsDeleted()) return std::nullopt;
    return Series::Load(Store(), Oid());
}

const std::vector<ExceptionEntry>& AppointmentItem::Exceptions() {
    if (Oid() == 0 || IsDeleted() || !IsRecurring() || PatternWasCleared()) return AppointmentBase::Exceptions();
    const std::uint64_t counter = Store().ChangeCounter(olAppointmentItem);
    if (counter != m_exceptionsAt) {
        m_exceptions.clear();
        for (const DetailRow& row : Store().Details(Detail::Exceptions, olAppointmentItem, Oid())) {
            m_exceptions.push_back({row.key, IsDeletedException(row.values)});
        }
        m_exceptionsAt = counter;
    }
    return m_exceptions;
}

HRESULT AppointmentItem::OpenDay(Day day, IAppointment** out) {
    auto occurrence = Ref<OccurrenceItem>::Attach(new OccurrenceItem(SharedSession(), day));
    if (!occurrence->StartFrom(Oid())) return E_INVALIDARG;
    *out = occurrence.Detach();
    return S_OK;
}

HRESULT AppointmentItem::OpenException(WallTicks original, IAppointment** out) {
    const auto& entries = Exceptions();
    const auto entry = std::ranges::lower_bound(entries, original, {}, &ExceptionEntry::original);
    if (entry == entries.end() || entry->original != original || entry->deleted) return E_FAIL;
    return OpenDay(DayOfTicks(original), out);
}

HRESULT AppointmentItem::GetOccurrence(DATE date, IAppointment** out) {
    if (!IsRecurring()) return E_INVALIDARG;
    if (Oid() == 0 || IsDeleted() || !Stored().Flag(PIMPR_IS_RECURRING)) return E_FAIL;
    if (!(date >= 0 && date < kLastDay + 1)) return E_INVALIDARG;
    return OpenDay(static_cast<Day>(date), out);
}

std::optional<DATE> AppointmentItem::NextOccurrence(DATE after) const {
    const auto series = StoredSeries();
    if (!series) return std::nullopt;
    const auto day = series->NextAfter(TicksFromDate(after));
    return day ? std::optional(DateFromTicks(series->SpanOn(*day).start)) : std::nullopt;
}

HRESULT AppointmentItem::OpenOccurrence(DATE start, IDispatch** out) {
    const auto series = StoredSeries();
    const auto day = series ? series->StartingAt(TicksFromDate(start)) : std::nullopt;
    if (!day) return E_INVALIDARG;
    IAppointment* occurrence = nullptr;
    const HRESULT hr = OpenDay(*day, &occurrence);
    *out = occurrence;
    return hr;
}

}  // namespace kez::pocketoutlook
