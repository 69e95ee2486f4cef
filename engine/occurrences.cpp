#include "engine/occurrences.h"

#include <pimstore.h>

#include "engine/com_ptr.h"
#include "engine/item_text.h"

namespace kez::engine {
namespace {

// Thrown and caught in this file: an occurrence that cannot be read completely must not be kept as if it were.
struct Unreadable {};

void Demand(HRESULT result) {
    if (FAILED(result)) throw Unreadable{};
}

template <typename Interface>
void Demand(HRESULT result, const ComPtr<Interface>& answered) {
    Demand(result);
    if (!answered) throw Unreadable{};
}

std::string DateText(DATE date) {
    SYSTEMTIME parts{};
    if (!VariantTimeToSystemTime(date, &parts)) throw Unreadable{};
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", parts.wYear, parts.wMonth, parts.wDay,
                  parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

std::string Serialised(IAppointment& appointment) {
    std::string text;
    auto add = [&text](const std::string& field) { text += field + kFieldSeparator; };
    auto textOf = [&](HRESULT (IAppointment::*get)(BSTR*)) {
        AutomationString value;
        Demand((appointment.*get)(value.Out()));
        const std::optional<std::string> utf8 = Utf8(value.Get());
        if (!utf8) throw Unreadable{};
        return *utf8;
    };
    auto numberOf = [&](HRESULT (IAppointment::*get)(LONG*)) {
        LONG value = 0;
        Demand((appointment.*get)(&value));
        return std::to_string(value);
    };
    auto flagOf = [&](HRESULT (IAppointment::*get)(VARIANT_BOOL*)) {
        VARIANT_BOOL value = VARIANT_FALSE;
        Demand((appointment.*get)(&value));
        return std::string(value != VARIANT_FALSE ? "1" : "0");
    };
    DATE start = 0;
    Demand(appointment.get_Start(&start));
    const std::optional<std::string> recipients = RecipientsText(appointment);
    if (!recipients) throw Unreadable{};
    add(textOf(&IAppointment::get_Subject));
    add(textOf(&IAppointment::get_Location));
    add(DateText(start));
    add(numberOf(&IAppointment::get_Duration));
    add(flagOf(&IAppointment::get_AllDayEvent));
    add(numberOf(&IAppointment::get_Sensitivity));
    add(flagOf(&IAppointment::get_ReminderSet));
    add(numberOf(&IAppointment::get_ReminderOptions));
    add(textOf(&IAppointment::get_Body));
    add(textOf(&IAppointment::get_Categories));
    add(recipients.value());
    add(numberOf(&IAppointment::get_BusyStatus));
    return text;
}

std::map<std::string, std::string> Read(CEOID oid) {
    std::map<std::string, std::string> found;
    ComPtr<IPOutlookApp2> application;
    Demand(CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2, application.OutVoid()),
           application);
    Demand(application->Logon(0));
    ComPtr<IDispatch> item;
    ComPtr<IAppointment> series;
    VARIANT_BOOL recurring = VARIANT_FALSE;
    Demand(application->GetItemFromOid(static_cast<LONG>(oid), item.Out()), item);
    Demand(item->QueryInterface(IID_IAppointment, series.OutVoid()), series);
    Demand(series->get_IsRecurring(&recurring));
    if (recurring == VARIANT_FALSE) return found;

    ComPtr<IRecurrencePattern> pattern;
    ComPtr<IExceptions> exceptions;
    INT count = 0;
    Demand(series->GetRecurrencePattern(pattern.Out()), pattern);
    Demand(pattern->get_Exceptions(exceptions.Out()), exceptions);
    Demand(exceptions->get_Count(&count));
    for (INT i = 1; i <= count; ++i) {
        ComPtr<IException> exception;
        ComPtr<IAppointment> occurrence;
        VARIANT_BOOL deleted = VARIANT_TRUE;
        DATE original = 0;
        Demand(exceptions->Item(i, exception.Out()), exception);
        Demand(exception->get_Deleted(&deleted));
        if (deleted != VARIANT_FALSE) continue;
        Demand(exception->get_OriginalDate(&original));
        if (original == 0.0) continue;
        Demand(exception->get_AppointmentItem(occurrence.Out()), occurrence);
        found[DateText(original)] = Serialised(*occurrence.Get());
    }
    return found;
}

}  // namespace

std::optional<std::map<std::string, std::string>> ModifiedOccurrences(CEOID oid) {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return std::nullopt;
    std::optional<std::map<std::string, std::string>> found;
    try {
        found = Read(oid);
    } catch (const Unreadable&) {
        found.reset();
    }
    CoUninitialize();
    return found;
}

}  // namespace kez::engine
