#include "cli/owner_fields.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <functional>
#include <optional>
#include <stdexcept>
#include <vector>

#include "cli/owner.h"
#include "engine/com_ptr.h"
#include "engine/item_text.h"
#include "engine/occurrences.h"

namespace kez::cli {
namespace {

using engine::AutomationString;
using engine::ComPtr;
using engine::DateText;
using sync::Fields;
using sync::ItemType;

// --- Values as text ---------------------------------------------------------------------------------------

// "YYYY-MM-DD" or "YYYY-MM-DD hh:mm[:ss]"; an empty text is no date.
DATE DateOf(const std::string& name, const std::string& text) {
    if (text.empty()) return DATE_NONE;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    const int read = std::sscanf(text.c_str(), "%d-%d-%d%*[ T]%d:%d:%d", &year, &month, &day, &hour, &minute, &second);
    SYSTEMTIME t{};
    t.wYear = static_cast<WORD>(year);
    t.wMonth = static_cast<WORD>(month);
    t.wDay = static_cast<WORD>(day);
    t.wHour = static_cast<WORD>(hour);
    t.wMinute = static_cast<WORD>(minute);
    t.wSecond = static_cast<WORD>(second);
    DATE date = 0;
    if (read < 3 || month < 1 || month > 12 || day < 1 || day > 31 || !SystemTimeToVariantTime(&t, &date)) {
        throw OwnerError(name + ": \"" + text + "\" is no date (wanted YYYY-MM-DD or YYYY-MM-DD hh:mm:ss)");
    }
    return date;
}

LONG NumberOf(const std::string& name, const std::string& text) {
    LONG number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        throw OwnerError(name + ": \"" + text + "\" is no number");
    }
    return number;
}

bool FlagOf(const std::string& name, const std::string& text) {
    if (text == "1" || text == "true" || text == "yes") return true;
    if (text.empty() || text == "0" || text == "false" || text == "no") return false;
    throw OwnerError(name + ": \"" + text + "\" is neither 1 nor 0");
}

std::string Hex(HRESULT result) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(result));
    return text;
}

void Check(HRESULT result, const std::string& name, const std::string& value) {
    if (SUCCEEDED(result)) return;
    std::string why = "is refused by Pocket Outlook (" + Hex(result) + ")";
    if (result == E_FIELDTOOLARGE) why = "is too long for the device";
    if (result == E_INVALIDARG) why = "is out of the range that the device takes";
    throw OwnerError(name + ": \"" + (value.size() > 60 ? value.substr(0, 60) + "..." : value) + "\" " + why);
}

// --- Contacts: through the item's own property interface ------------------------------------------------------

enum class Kind { Text, Day };
struct ContactField {
    const char* name;
    CEPROPID id;
    Kind kind = Kind::Text;
};

// FileAs stands last, because setting a name renews it.
constexpr ContactField kContactFields[] = {
    {"Title", PIMPR_TITLE},
    {"FirstName", PIMPR_FIRST_NAME},
    {"MiddleName", PIMPR_MIDDLE_NAME},
    {"LastName", PIMPR_LAST_NAME},
    {"Suffix", PIMPR_SUFFIX},
    {"CompanyName", PIMPR_COMPANY_NAME},
    {"Department", PIMPR_DEPARTMENT},
    {"OfficeLocation", PIMPR_OFFICE_LOCATION},
    {"JobTitle", PIMPR_JOB_TITLE},
    {"Manager", PIMPR_MANAGER},
    {"Email1Address", PIMPR_EMAIL1_ADDRESS},
    {"Email2Address", PIMPR_EMAIL2_ADDRESS},
    {"Email3Address", PIMPR_EMAIL3_ADDRESS},
    {"IM1Address", PIMPR_IM1_ADDRESS},
    {"IM2Address", PIMPR_IM2_ADDRESS},
    {"IM3Address", PIMPR_IM3_ADDRESS},
    {"MobileTelephoneNumber", PIMPR_MOBILE_TELEPHONE_NUMBER},
    {"HomeTelephoneNumber", PIMPR_HOME_TELEPHONE_NUMBER},
    {"Home2TelephoneNumber", PIMPR_HOME2_TELEPHONE_NUMBER},
    {"HomeFaxNumber", PIMPR_HOME_FAX_NUMBER},
    {"BusinessTelephoneNumber", PIMPR_BUSINESS_TELEPHONE_NUMBER},
    {"Business2TelephoneNumber", PIMPR_BUSINESS2_TELEPHONE_NUMBER},
    {"BusinessFaxNumber", PIMPR_BUSINESS_FAX_NUMBER},
    {"CompanyTelephoneNumber", PIMPR_COMPANY_TELEPHONE_NUMBER},
    {"PagerNumber", PIMPR_PAGER_NUMBER},
    {"CarTelephoneNumber", PIMPR_CAR_TELEPHONE_NUMBER},
    {"RadioTelephoneNumber", PIMPR_RADIO_TELEPHONE_NUMBER},
    {"AssistantTelephoneNumber", PIMPR_ASSISTANT_TELEPHONE_NUMBER},
    {"HomeAddressStreet", PIMPR_HOME_ADDRESS_STREET},
    {"HomeAddressCity", PIMPR_HOME_ADDRESS_CITY},
    {"HomeAddressState", PIMPR_HOME_ADDRESS_STATE},
    {"HomeAddressPostalCode", PIMPR_HOME_ADDRESS_POSTAL_CODE},
    {"HomeAddressCountry", PIMPR_HOME_ADDRESS_COUNTRY},
    {"BusinessAddressStreet", PIMPR_BUSINESS_ADDRESS_STREET},
    {"BusinessAddressCity", PIMPR_BUSINESS_ADDRESS_CITY},
    {"BusinessAddressState", PIMPR_BUSINESS_ADDRESS_STATE},
    {"BusinessAddressPostalCode", PIMPR_BUSINESS_ADDRESS_POSTAL_CODE},
    {"BusinessAddressCountry", PIMPR_BUSINESS_ADDRESS_COUNTRY},
    {"OtherAddressStreet", PIMPR_OTHER_ADDRESS_STREET},
    {"OtherAddressCity", PIMPR_OTHER_ADDRESS_CITY},
    {"OtherAddressState", PIMPR_OTHER_ADDRESS_STATE},
    {"OtherAddressPostalCode", PIMPR_OTHER_ADDRESS_POSTAL_CODE},
    {"OtherAddressCountry", PIMPR_OTHER_ADDRESS_COUNTRY},
    {"WebPage", PIMPR_WEB_PAGE},
    {"Birthday", PIMPR_BIRTHDAY, Kind::Day},
    {"Anniversary", PIMPR_ANNIVERSARY, Kind::Day},
    {"Spouse", PIMPR_SPOUSE},
    {"Children", PIMPR_CHILDREN},
    {"AssistantName", PIMPR_ASSISTANT_NAME},
    {"GovernmentId", PIMPR_GOVERNMENTID},
    {"AccountName", PIMPR_ACCOUNT_NAME},
    {"CustomerId", PIMPR_CUSTOMERID},
    {"Categories", PIMPR_CATEGORIES},
    {"Body", PIMPR_BODY_TEXT},
    {"FileAs", PIMPR_FILEAS},
};
constexpr char kPicture[] = "Picture";

ComPtr<IItem> ItemOf(IDispatch& item) {
    ComPtr<IItem> face;
    Check(item.QueryInterface(IID_IItem, face.OutVoid()), "the item", "");
    return face;
}

std::string ReadPicture(IItem& item) {
    ComPtr<IStream> stream;
    std::string bytes;
    if (FAILED(item.OpenProperty(PIMPR_PICTURE, GENERIC_READ, stream.Out())) || !stream) return bytes;
    std::vector<char> piece(65536);
    ULONG read = 0;
    while (SUCCEEDED(stream->Read(piece.data(), static_cast<ULONG>(piece.size()), &read)) && read != 0) {
        bytes.append(piece.data(), read);
    }
    return bytes;
}

void WritePicture(IItem& item, const std::string& bytes) {
    ComPtr<IStream> stream;
    Check(item.OpenProperty(PIMPR_PICTURE, GENERIC_READ | GENERIC_WRITE, stream.Out()), kPicture, "");
    ULONG written = 0;
    Check(stream->SetSize(ULARGE_INTEGER{}), kPicture, "");
    Check(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written), kPicture, "");
    Check(stream->Commit(STGC_DEFAULT), kPicture, "");
}

Fields ReadContact(IDispatch& contact, bool withPicture) {
    Fields fields;
    const ComPtr<IItem> item = ItemOf(contact);
    std::vector<CEPROPID> ids;
    for (const ContactField& field : kContactFields) ids.push_back(field.id);
    CEPROPVAL* values = nullptr;
    ULONG bytes = 0;
    if (FAILED(item->GetProps(ids.data(), CEDB_ALLOWREALLOC, static_cast<WORD>(ids.size()), &values, &bytes,
                              GetProcessHeap())) ||
        !values) {
        return fields;
    }
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (values[i].wFlags & CEDB_PROPNOTFOUND) continue;
        std::string text;
        if (kContactFields[i].kind == Kind::Text) {
            text = Utf8(values[i].val.lpwstr);
        } else {
            SYSTEMTIME day{};
            DATE date = DATE_NONE;
            FileTimeToSystemTime(&values[i].val.filetime, &day);
            SystemTimeToVariantTime(&day, &date);
            text = DateText(date).substr(0, 10);
        }
        if (!text.empty()) fields[kContactFields[i].name] = text;
    }
    HeapFree(GetProcessHeap(), 0, values);
    if (withPicture) {
        if (std::string picture = ReadPicture(*item.Get()); !picture.empty()) fields[kPicture] = std::move(picture);
    }
    return fields;
}

void WriteContact(IDispatch& contact, const Fields& fields) {
    const ComPtr<IItem> item = ItemOf(contact);
    for (const ContactField& field : kContactFields) {
        const auto found = fields.find(field.name);
        if (found == fields.end()) continue;
        const std::string& value = found->second;
        CEPROPVAL property{};
        property.propid = field.id;
        std::u16string text = DeviceText(value);
        if (value.empty()) {
            property.wFlags = CEDB_PROPDELETE;
        } else if (field.kind == Kind::Text) {
            property.val.lpwstr = text.data();
        } else {
            SYSTEMTIME day{};
            VariantTimeToSystemTime(DateOf(field.name, value), &day);
            if (!SystemTimeToFileTime(&day, &property.val.filetime)) Check(E_INVALIDARG, field.name, value);
        }
        const HRESULT result = item->SetProps(0, 1, &property);
        // S_FALSE: the value was the same before, or it could not be set; which of the two is told by reading back.
        Check(result, field.name, value);
    }
    if (const auto picture = fields.find(kPicture); picture != fields.end()) WritePicture(*item.Get(), picture->second);
}

// --- Appointments and tasks: through their named accessors -----------------------------------------------------

template <class Item>
struct TypedField {
    const char* name;
    std::function<std::string(Item&)> get;
    std::function<HRESULT(Item&, const std::string&)> put;  // empty: an owner cannot set it
};

template <class Item>
TypedField<Item> TextField(const char* name, HRESULT (Item::*get)(BSTR*), HRESULT (Item::*put)(BSTR)) {
    return {name,
            [get](Item& item) {
                AutomationString text;
                (item.*get)(text.Out());
                return Utf8(text.Get());
            },
            [put](Item& item, const std::string& value) {
                const BSTR text = SysAllocString(DeviceText(value).c_str());
                const HRESULT result = (item.*put)(text);
                SysFreeString(text);
                return result;
            }};
}

template <class Item>
TypedField<Item> NumberField(const char* name, HRESULT (Item::*get)(LONG*), HRESULT (Item::*put)(LONG)) {
    return {name,
            [get](Item& item) {
                LONG value = 0;
                (item.*get)(&value);
                return std::to_string(value);
            },
            [put, name](Item& item, const std::string& value) { return (item.*put)(NumberOf(name, value)); }};
}

template <class Item>
TypedField<Item> FlagField(const char* name, HRESULT (Item::*get)(VARIANT_BOOL*), HRESULT (Item::*put)(VARIANT_BOOL)) {
    return {name,
            [get](Item& item) {
                VARIANT_BOOL value = VARIANT_FALSE;
                (item.*get)(&value);
                return std::string(value != VARIANT_FALSE ? "1" : "0");
            },
            [put, name](Item& item, const std::string& value) {
                return (item.*put)(FlagOf(name, value) ? VARIANT_TRUE : VARIANT_FALSE);
            }};
}

template <class Item>
TypedField<Item> DateField(const char* name, HRESULT (Item::*get)(DATE*), HRESULT (Item::*put)(DATE)) {
    TypedField<Item> field{name,
                           [get](Item& item) {
                               DATE value = DATE_NONE;
                               (item.*get)(&value);
                               return DateText(value);
                           },
                           nullptr};
    if (put) field.put = [put, name](Item& item, const std::string& value) { return (item.*put)(DateOf(name, value)); };
    return field;
}

std::string RecipientsOf(IAppointment& appointment) {
    std::string text = engine::RecipientsText(appointment).value_or("");
    if (text.ends_with(';')) text.pop_back();
    return text;
}

HRESULT PutRecipients(IAppointment& appointment, const std::string& text) {
    ComPtr<IRecipients> recipients;
    INT count = 0;
    HRESULT result = appointment.get_Recipients(recipients.Out());
    if (FAILED(result)) return result;
    recipients->get_Count(&count);
    for (INT i = count; i >= 1; --i) recipients->Remove(i);
    std::vector<std::string> parts;
    for (std::size_t at = 0; at <= text.size() && !text.empty();) {
        const std::size_t end = std::min(text.find(';', at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    for (std::size_t i = 0; i < parts.size() && SUCCEEDED(result); i += 2) {
        ComPtr<IRecipient> recipient;
        const BSTR name = SysAllocString(DeviceText(parts[i]).c_str());
        const std::string& addressText = i + 1 < parts.size() && !parts[i + 1].empty() ? parts[i + 1] : parts[i];
        const BSTR address = SysAllocString(DeviceText(addressText).c_str());
        result = recipients->Add(name, recipient.Out());
        if (SUCCEEDED(result)) result = recipient->put_Address(address);
        SysFreeString(name);
        SysFreeString(address);
    }
    return result;
}

const std::vector<TypedField<IAppointment>>& AppointmentFields() {
    using A = IAppointment;
    static const std::vector<TypedField<A>> fields{
        TextField<A>("Subject", &A::get_Subject, &A::put_Subject),
        TextField<A>("Location", &A::get_Location, &A::put_Location),
        DateField<A>("Start", &A::get_Start, &A::put_Start),
        NumberField<A>("Duration", &A::get_Duration, &A::put_Duration),
        FlagField<A>("AllDayEvent", &A::get_AllDayEvent, &A::put_AllDayEvent),
        NumberField<A>("Sensitivity", &A::get_Sensitivity, &A::put_Sensitivity),
        NumberField<A>("BusyStatus", &A::get_BusyStatus, &A::put_BusyStatus),
        NumberField<A>("ReminderMinutesBeforeStart", &A::get_ReminderMinutesBeforeStart,
                       &A::put_ReminderMinutesBeforeStart),
        FlagField<A>("ReminderSet", &A::get_ReminderSet, &A::put_ReminderSet),
        TextField<A>("Categories", &A::get_Categories, &A::put_Categories),
        TextField<A>("Body", &A::get_Body, &A::put_Body),
        {"Recipients", RecipientsOf, PutRecipients},
    };
    return fields;
}

const std::vector<TypedField<ITask>>& TaskFields() {
    using T = ITask;
    static const std::vector<TypedField<T>> fields{
        TextField<T>("Subject", &T::get_Subject, &T::put_Subject),
        DateField<T>("StartDate", &T::get_StartDate, &T::put_StartDate),
        DateField<T>("DueDate", &T::get_DueDate, &T::put_DueDate),
        NumberField<T>("Importance", &T::get_Importance, &T::put_Importance),
        NumberField<T>("Sensitivity", &T::get_Sensitivity, &T::put_Sensitivity),
        FlagField<T>("Complete", &T::get_Complete, &T::put_Complete),
        DateField<T>("DateCompleted", &T::get_DateCompleted, nullptr),
        FlagField<T>("ReminderSet", &T::get_ReminderSet, &T::put_ReminderSet),
        DateField<T>("ReminderTime", &T::get_ReminderTime, &T::put_ReminderTime),
        TextField<T>("Categories", &T::get_Categories, &T::put_Categories),
        TextField<T>("Body", &T::get_Body, &T::put_Body),
    };
    return fields;
}

// The pattern's fields in the order in which they have to be set: the day of a yearly pattern must never be invalid
// for its month.
struct PatternField {
    const char* name;
    HRESULT (IRecurrencePattern::*get)(LONG*);
    HRESULT (IRecurrencePattern::*put)(LONG);
    std::vector<LONG> types;  // the recurrence types that use it
};

const std::vector<PatternField>& PatternFields() {
    using R = IRecurrencePattern;
    static const std::vector<PatternField> fields{
        {"Interval", &R::get_Interval, &R::put_Interval, {0, 1, 2, 3}},
        {"DayOfWeekMask", &R::get_DayOfWeekMask, &R::put_DayOfWeekMask, {0, 1, 3, 6}},
        {"Instance", &R::get_Instance, &R::put_Instance, {3, 6}},
        {"MonthOfYear", &R::get_MonthOfYear, &R::put_MonthOfYear, {5, 6}},
        {"DayOfMonth", &R::get_DayOfMonth, &R::put_DayOfMonth, {2, 5}},
    };
    return fields;
}

bool UsedBy(const PatternField& field, LONG type) {
    return std::find(field.types.begin(), field.types.end(), type) != field.types.end();
}

template <class Item>
void ReadPattern(Item& item, Fields& fields) {
    VARIANT_BOOL recurring = VARIANT_FALSE;
    item.get_IsRecurring(&recurring);
    fields["IsRecurring"] = recurring != VARIANT_FALSE ? "1" : "0";
    ComPtr<IRecurrencePattern> pattern;
    if (recurring == VARIANT_FALSE || FAILED(item.GetRecurrencePattern(pattern.Out()))) return;
    LONG type = olRecursOnce;
    pattern->get_RecurrenceType(&type);
    fields["RecurrenceType"] = std::to_string(type);
    for (const PatternField& field : PatternFields()) {
        LONG value = 0;
        if (UsedBy(field, type) && SUCCEEDED((pattern.Get()->*field.get)(&value)))
            fields[field.name] = std::to_string(value);
    }
    VARIANT_BOOL noEnd = VARIANT_TRUE;
    pattern->get_NoEndDate(&noEnd);
    fields["NoEndDate"] = noEnd != VARIANT_FALSE ? "1" : "0";
    if (noEnd == VARIANT_FALSE) {
        DATE end = DATE_NONE;
        pattern->get_PatternEndDate(&end);
        fields["PatternEndDate"] = DateText(end);
    }
    ComPtr<IExceptions> exceptions;
    INT count = 0;
    if (FAILED(pattern->get_Exceptions(exceptions.Out()))) return;
    exceptions->get_Count(&count);
    std::string dates;
    for (INT i = 1; i <= count; ++i) {
        ComPtr<IException> exception;
        DATE original = 0;
        if (SUCCEEDED(exceptions->Item(i, exception.Out())) && SUCCEEDED(exception->get_OriginalDate(&original))) {
            dates += (dates.empty() ? "" : "\t") + DateText(original);
        }
    }
    if (!dates.empty()) fields["ExceptionDates"] = dates;
}

template <class Item>
void WritePattern(Item& item, const Fields& fields) {
    const auto recurring = fields.find("IsRecurring");
    if (recurring != fields.end() && !FlagOf("IsRecurring", recurring->second)) {
        Check(item.ClearRecurrencePattern(), "IsRecurring", recurring->second);
        return;
    }
    const auto typeText = fields.find("RecurrenceType");
    const bool typed = typeText != fields.end();
    const auto end = fields.find("PatternEndDate");
    const auto& known = PatternFields();
    const auto named =
        std::find_if(known.begin(), known.end(), [&](const PatternField& field) { return fields.count(field.name); });
    if (!typed && end == fields.end() && named == known.end()) return;
    VARIANT_BOOL isSeries = VARIANT_FALSE;
    item.get_IsRecurring(&isSeries);
    if (!typed && isSeries == VARIANT_FALSE) {
        throw OwnerError(std::string(named == known.end() ? "PatternEndDate" : named->name) +
                         ": the item does not recur; give it a RecurrenceType as well");
    }
    ComPtr<IRecurrencePattern> pattern;
    Check(item.GetRecurrencePattern(pattern.Out()), "RecurrenceType", typed ? typeText->second : "");
    LONG type = olRecursOnce;
    if (typed) {
        type = NumberOf("RecurrenceType", typeText->second);
        Check(pattern->put_RecurrenceType(type), "RecurrenceType", typeText->second);
        if (type == olRecursYearly) pattern->put_DayOfMonth(1);
    } else {
        pattern->get_RecurrenceType(&type);
    }
    for (const PatternField& field : PatternFields()) {
        const auto value = fields.find(field.name);
        if (value == fields.end() || !UsedBy(field, type)) continue;
        Check((pattern.Get()->*field.put)(NumberOf(field.name, value->second)), field.name, value->second);
    }
    if (!typed && end == fields.end()) return;
    if (end == fields.end() || end->second.empty()) {
        Check(pattern->put_NoEndDate(VARIANT_TRUE), "NoEndDate", "1");
    } else {
        Check(pattern->put_NoEndDate(VARIANT_FALSE), "NoEndDate", "0");
        Check(pattern->put_PatternEndDate(DateOf("PatternEndDate", end->second)), "PatternEndDate", end->second);
    }
}

template <class Item>
Fields ReadTyped(Item& item, const std::vector<TypedField<Item>>& typed) {
    Fields fields;
    for (const TypedField<Item>& field : typed) {
        if (std::string value = field.get(item); !value.empty()) fields[field.name] = std::move(value);
    }
    ReadPattern(item, fields);
    return fields;
}

template <class Item>
void WriteTyped(Item& item, const std::vector<TypedField<Item>>& typed, const Fields& fields) {
    for (const TypedField<Item>& field : typed) {
        const auto value = fields.find(field.name);
        if (value != fields.end() && field.put) Check(field.put(item, value->second), field.name, value->second);
    }
    WritePattern(item, fields);
}

// The pieces of a text between separators; one at its very end ends the last piece.
std::vector<std::string> SplitAt(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + separator.size();
    }
    return parts;
}

}  // namespace

std::string Utf8(LPCWSTR text) {
    std::optional<std::string> utf8 = engine::Utf8(text);
    if (!utf8) throw std::runtime_error("a text of the device cannot be converted");
    std::erase(*utf8, '\r');
    return *std::move(utf8);
}

std::u16string DeviceText(const std::string& text) {
    std::string lines;
    for (const char c : text) {
        if (c == '\n') lines += '\r';
        lines += c;
    }
    std::u16string wide(lines.size() + 1, u'\0');
    const INT size = MultiByteToWideChar(CP_UTF8, 0, lines.c_str(), -1, wide.data(), static_cast<INT>(wide.size()));
    wide.resize(size > 0 ? static_cast<std::size_t>(size) - 1 : 0);
    return wide;
}

Fields ReadFields(ItemType type, IDispatch& item, bool withPicture) {
    if (type == ItemType::Contact) return ReadContact(item, withPicture);
    if (type == ItemType::Task) return ReadTyped(static_cast<ITask&>(item), TaskFields());
    return ReadTyped(static_cast<IAppointment&>(item), AppointmentFields());
}

void WriteFields(ItemType type, IDispatch& item, const Fields& fields) {
    if (type == ItemType::Contact) {
        WriteContact(item, fields);
    } else if (type == ItemType::Task) {
        WriteTyped(static_cast<ITask&>(item), TaskFields(), fields);
    } else {
        WriteTyped(static_cast<IAppointment&>(item), AppointmentFields(), fields);
    }
}

void WriteExceptions(IDispatch& item, const Fields& fields) {
    const auto dates = fields.find("ExceptionDates");
    if (dates == fields.end()) return;
    ComPtr<IRecurrencePattern> pattern;
    if (FAILED(static_cast<IAppointment&>(item).GetRecurrencePattern(pattern.Out()))) return;
    std::vector<std::string> modifiedDates;
    std::vector<std::string> modifiedFields;
    if (const auto found = fields.find("ModifiedOccurrenceDates"); found != fields.end()) {
        modifiedDates = SplitAt(found->second, "\t");
        modifiedFields = SplitAt(fields.count("ModifiedOccurrences") ? fields.at("ModifiedOccurrences") : std::string(),
                                 engine::kFieldSeparator);
    }
    for (const std::string& date : SplitAt(dates->second, "\t")) {
        ComPtr<IAppointment> occurrence;
        if (FAILED(pattern->GetOccurrence(DateOf("ExceptionDates", date), occurrence.Out())) || !occurrence) continue;
        const auto modified = std::find(modifiedDates.begin(), modifiedDates.end(), date);
        const std::size_t first =
            static_cast<std::size_t>(modified - modifiedDates.begin()) * engine::kOccurrenceFields;
        if (modified == modifiedDates.end() || first + engine::kOccurrenceFields > modifiedFields.size()) {
            occurrence->Delete();
            continue;
        }
        const std::string* field = &modifiedFields[first];
        WriteTyped(*occurrence.Get(), AppointmentFields(),
                   {{"Subject", field[0]},
                    {"Location", field[1]},
                    {"Start", field[2]},
                    {"Duration", field[3]},
                    {"AllDayEvent", field[4]},
                    {"Sensitivity", field[5]},
                    {"ReminderSet", field[6]},
                    {"Body", field[8]},
                    {"Categories", field[9]},
                    {"Recipients", field[10]},
                    {"BusyStatus", field[11]}});
        Check(occurrence->Save(), "the occurrence of " + date, "");
    }
}

HRESULT SaveItem(ItemType type, IDispatch& item) {
    switch (type) {
        case ItemType::Contact:
            return static_cast<IContact&>(item).Save();
        case ItemType::Task:
            return static_cast<ITask&>(item).Save();
        case ItemType::Appointment:
            return static_cast<IAppointment&>(item).Save();
    }
    return E_UNEXPECTED;
}

std::vector<std::string> FieldNames(ItemType type) {
    std::vector<std::string> names;
    if (type == ItemType::Contact) {
        for (const ContactField& field : kContactFields) names.push_back(field.name);
        names.push_back(kPicture);
        return names;
    }
    auto add = [&names](const auto& typed) {
        for (const auto& field : typed) {
            if (field.put) names.push_back(field.name);
        }
    };
    if (type == ItemType::Task) {
        add(TaskFields());
    } else {
        add(AppointmentFields());
    }
    for (const char* name : {"IsRecurring", "RecurrenceType", "PatternEndDate"}) names.push_back(name);
    for (const PatternField& field : PatternFields()) names.push_back(field.name);
    return names;
}

}  // namespace kez::cli
