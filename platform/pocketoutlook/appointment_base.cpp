// Accessors of appointments and the coupling of their values.
#include "platform/pocketoutlook/appointment_base.h"

#include <algorithm>

#include "platform/pocketoutlook/series.h"

namespace kez::pocketoutlook {
namespace {

constexpr LONG kMaximumMinutes = 31 * kMinutesPerDay;

}  // namespace

AppointmentBase::AppointmentBase(std::shared_ptr<Session> session)
    : RecurringItem(std::move(session), olAppointmentItem) {}

// --- Recurrence -----------------------------------------------------------------------------------------------

HRESULT AppointmentBase::ClearRecurrencePattern() {
    return Run("IAppointment::ClearRecurrencePattern", [&] { return ClearPattern(); });
}

HRESULT AppointmentBase::GetRecurrencePattern(IRecurrencePattern** out) {
    return Read("IAppointment::GetRecurrencePattern", out, [&] { return GetPattern(out); });
}

HRESULT AppointmentBase::get_IsRecurring(VARIANT_BOOL* out) {
    return Read("IAppointment::get_IsRecurring", out, [&] { return GetFlag(PIMPR_IS_RECURRING, out); });
}

Day AppointmentBase::FirstDay() const { return DayOfTicks(Values().Ticks(PIMPR_START)); }

std::optional<Span> AppointmentBase::SpanOf(const PropertyBag& values) const { return SpanOfValues(values); }

void AppointmentBase::PutSpan(const Span& span) {
    Values().SetTicks(PIMPR_START, span.start);
    Values().SetNumber(PIMPR_DURATION, span.minutes);
}

// --- Values ---------------------------------------------------------------------------------------------------

HRESULT AppointmentBase::get_Subject(BSTR* out) {
    return Read("IAppointment::get_Subject", out, [&] { return GetText(PIMPR_SUBJECT, out); });
}

HRESULT AppointmentBase::get_Location(BSTR* out) {
    return Read("IAppointment::get_Location", out, [&] { return GetText(PIMPR_LOCATION, out); });
}

HRESULT AppointmentBase::get_Start(DATE* out) {
    return Read("IAppointment::get_Start", out, [&] { return GetDate(PIMPR_START, out); });
}

HRESULT AppointmentBase::get_Duration(LONG* minutes) {
    return Read("IAppointment::get_Duration", minutes, [&] { return GetNumber(PIMPR_DURATION, minutes); });
}

HRESULT AppointmentBase::get_End(DATE* out) {
    return Read("IAppointment::get_End", out, [&] {
        *out = DateFromTicks(SpanOfValues(Values()).End());
        return S_OK;
    });
}

HRESULT AppointmentBase::get_AllDayEvent(VARIANT_BOOL* out) {
    return Read("IAppointment::get_AllDayEvent", out, [&] { return GetFlag(PIMPR_ALL_DAY_EVENT, out); });
}

HRESULT AppointmentBase::get_BusyStatus(LONG* out) {
    return Read("IAppointment::get_BusyStatus", out, [&] { return GetNumber(PIMPR_BUSY_STATUS, out); });
}

HRESULT AppointmentBase::get_Sensitivity(LONG* out) {
    return Read("IAppointment::get_Sensitivity", out, [&] { return GetNumber(PIMPR_SENSITIVITY, out); });
}

HRESULT AppointmentBase::get_ReminderSet(VARIANT_BOOL* out) {
    return Read("IAppointment::get_ReminderSet", out, [&] { return GetFlag(PIMPR_REMINDER_SET, out); });
}

HRESULT AppointmentBase::get_ReminderSoundFile(BSTR* out) {
    return Read("IAppointment::get_ReminderSoundFile", out, [&] { return GetText(PIMPR_REMINDER_SOUND_FILE, out); });
}

HRESULT AppointmentBase::get_ReminderMinutesBeforeStart(LONG* out) {
    return Read("IAppointment::get_ReminderMinutesBeforeStart", out,
                [&] { return GetNumber(PIMPR_REMINDER_MINUTES_BEFORE_START, out); });
}

HRESULT AppointmentBase::get_ReminderOptions(LONG* out) {
    return Read("IAppointment::get_ReminderOptions", out, [&] { return GetNumber(PIMPR_REMINDER_OPTIONS, out); });
}

HRESULT AppointmentBase::put_Subject(BSTR in) {
    return Run("IAppointment::put_Subject", [&] { return PutText(PIMPR_SUBJECT, in); });
}

HRESULT AppointmentBase::put_Location(BSTR in) {
    return Run("IAppointment::put_Location", [&] { return PutText(PIMPR_LOCATION, in); });
}

HRESULT AppointmentBase::put_Start(DATE in) {
    return Run("IAppointment::put_Start", [&] { return PutDate(PIMPR_START, in); });
}

HRESULT AppointmentBase::put_Duration(LONG minutes) {
    return Run("IAppointment::put_Duration", [&] { return PutNumber(PIMPR_DURATION, minutes); });
}

HRESULT AppointmentBase::put_End(DATE in) {
    return Run("IAppointment::put_End", [&] { return PutDate(PIMPR_END, in); });
}

HRESULT AppointmentBase::put_AllDayEvent(VARIANT_BOOL in) {
    return Run("IAppointment::put_AllDayEvent", [&] { return PutFlag(PIMPR_ALL_DAY_EVENT, in); });
}

HRESULT AppointmentBase::put_BusyStatus(LONG in) {
    return Run("IAppointment::put_BusyStatus", [&] { return PutNumber(PIMPR_BUSY_STATUS, in); });
}

HRESULT AppointmentBase::put_Sensitivity(LONG in) {
    return Run("IAppointment::put_Sensitivity", [&] { return PutNumber(PIMPR_SENSITIVITY, in); });
}

HRESULT AppointmentBase::put_ReminderSet(VARIANT_BOOL in) {
    return Run("IAppointment::put_ReminderSet", [&] { return PutFlag(PIMPR_REMINDER_SET, in); });
}

HRESULT AppointmentBase::put_ReminderSoundFile(BSTR in) {
    return Run("IAppointment::put_ReminderSoundFile", [&] { return PutText(PIMPR_REMINDER_SOUND_FILE, in); });
}

HRESULT AppointmentBase::put_ReminderMinutesBeforeStart(LONG in) {
    return Run("IAppointment::put_ReminderMinutesBeforeStart",
               [&] { return PutNumber(PIMPR_REMINDER_MINUTES_BEFORE_START, in); });
}

HRESULT AppointmentBase::put_ReminderOptions(LONG in) {
    return Run("IAppointment::put_ReminderOptions", [&] { return PutNumber(PIMPR_REMINDER_OPTIONS, in); });
}

// Mail operations.
HRESULT AppointmentBase::Send() {
    return Run("IAppointment::Send", [] { return E_NOTIMPL; });
}

HRESULT AppointmentBase::Cancel() {
    return Run("IAppointment::Cancel", [] { return E_NOTIMPL; });
}

// --- Coupling -------------------------------------------------------------------------------------------------

std::optional<Value> AppointmentBase::Calculated(CEPROPID id, const PropertyBag& values) const {
    if (id == PIMPR_END && values.Has(PIMPR_START)) return Value(SpanOfValues(values).End());
    return RecurringItem::Calculated(id, values);
}

HRESULT AppointmentBase::PutValue(const PropertyRow& row, const Value* value) {
    const std::int64_t* number = value ? std::get_if<std::int64_t>(value) : nullptr;
    switch (row.id) {
        case PIMPR_START:
        case PIMPR_END:
        case PIMPR_DURATION:
            if (!number) return S_FALSE;
            if (row.id == PIMPR_START) return PutStart(*number);
            if (row.id == PIMPR_END) return PutEnd(*number);
            ForgetPatternTimes();
            break;
        case PIMPR_REMINDER_MINUTES_BEFORE_START:
            if (number && *number < 0) return E_INVALIDARG;
            break;
        default:
            break;
    }
    return RecurringItem::PutValue(row, value);
}

HRESULT AppointmentBase::PutStart(WallTicks start) {
    const auto seconds = WholeSeconds(start);
    if (!seconds) return E_INVALIDARG;
    if (DayOfTicks(*seconds) != FirstDay()) MovePatternStart(DayOfTicks(*seconds));
    ForgetPatternTimes();
    Values().SetTicks(PIMPR_START, *seconds);
    return S_OK;
}

HRESULT AppointmentBase::PutEnd(WallTicks end) {
    const auto seconds = WholeSeconds(end);
    if (!seconds) return E_INVALIDARG;
    const Span span = SpanOfValues(Values());
    if (*seconds < span.start) return PutStart(*seconds - span.minutes * kTicksPerMinute);
    const WallTicks minutes = (*seconds - span.start) / kTicksPerMinute;
    if (minutes > kMaximumMinutes) return E_INVALIDARG;
    ForgetPatternTimes();
    Values().SetNumber(PIMPR_DURATION, static_cast<LONG>(minutes));
    return S_OK;
}

void AppointmentBase::NormaliseAllDay() {
    if (!Values().Flag(PIMPR_ALL_DAY_EVENT)) return;
    const Span span = SpanOfValues(Values());
    const LONG days = std::max<LONG>(1, (span.minutes + kMinutesPerDay - 1) / kMinutesPerDay);
    PutSpan({MidnightOf(DayOfTicks(span.start)), days * kMinutesPerDay});
}

// --- Recipients -----------------------------------------------------------------------------------------------

HRESULT AppointmentBase::get_Recipients(IRecipients** out) {
    return Read("IAppointment::get_Recipients", out, [&] {
        *out = new RecipientCollection(Ref<AppointmentBase>::Share(this));
        return S_OK;
    });
}

HRESULT AppointmentBase::get_MeetingStatus(LONG* out) {
    return Read("IAppointment::get_MeetingStatus", out, [&] {
        *out = Recipients().empty() ? olNonMeeting : olMeeting;
        return S_OK;
    });
}

std::vector<std::shared_ptr<RecipientData>>& AppointmentBase::Recipients() {
    if (!m_recipientsLoaded) {
        m_savedRecipients = StoredRecipients();
        for (const RecipientData& data : m_savedRecipients) {
            m_recipients.push_back(std::make_shared<RecipientData>(data));
        }
        m_recipientsLoaded = true;
    }
    return m_recipients;
}

bool AppointmentBase::RecipientsChanged() const {
    return m_recipientsLoaded && !std::ranges::equal(m_recipients, m_savedRecipients,
                                                     [](const auto& now, const auto& saved) { return *now == saved; });
}

std::vector<RecipientData> AppointmentBase::RecipientValues() {
    std::vector<RecipientData> values;
    for (const auto& data : Recipients()) values.push_back(*data);
    return values;
}

void AppointmentBase::RecipientsSaved() {
    if (m_recipientsLoaded) m_savedRecipients = RecipientValues();
}

void AppointmentBase::CopyRecipientsFrom(AppointmentBase& from) {
    m_recipientsLoaded = true;
    for (const RecipientData& data : from.RecipientValues()) {
        m_recipients.push_back(std::make_shared<RecipientData>(data));
    }
}

void AppointmentBase::UpdateMeetingStatus() {
    if (m_recipientsLoaded) {
        Values().SetNumber(PIMPR_MEETING_STATUS, m_recipients.empty() ? olNonMeeting : olMeeting);
    }
}

}  // namespace kez::pocketoutlook
