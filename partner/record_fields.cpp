#include "partner/record_fields.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace kez::partner {
namespace {

constexpr auto T = ValueKind::Text;
constexpr auto N = ValueKind::Number;
constexpr auto F = ValueKind::Flag;

constexpr std::size_t kContactText = 1022;
constexpr std::size_t kCategoriesText = 1023;
// A text travels with its length in 16 bits, counted in bytes with the terminator.
constexpr std::size_t kLongText = 32766;
// What a device's stream property holds.
constexpr std::size_t kPicture = 32 * 1024 * 1024;

constexpr RecordField kContactFields[] = {
    {0x3A05001F, "Suffix", T, kContactText, ""},
    {0x3A06001F, "FirstName", T, kContactText, ""},
    {0x3A08001F, "BusinessTelephoneNumber", T, kContactText, ""},
    {0x3A09001F, "HomeTelephoneNumber", T, kContactText, ""},
    {0x3A11001F, "LastName", T, kContactText, ""},
    {0x3A16001F, "CompanyName", T, kContactText, ""},
    {0x3A17001F, "JobTitle", T, kContactText, ""},
    {0x3A18001F, "Department", T, kContactText, ""},
    {0x3A19001F, "OfficeLocation", T, kContactText, ""},
    {0x3A1C001F, "MobileTelephoneNumber", T, kContactText, ""},
    {0x3A1D001F, "RadioTelephoneNumber", T, kContactText, ""},
    {0x3A1E001F, "CarTelephoneNumber", T, kContactText, ""},
    {0x3A24001F, "BusinessFaxNumber", T, kContactText, ""},
    {0x3A25001F, "HomeFaxNumber", T, kContactText, ""},
    {0x3A2F001F, "Home2TelephoneNumber", T, kContactText, ""},
    {0x40010040, "Birthday", ValueKind::Day, 0, ""},
    {0x4002001F, "AssistantName", T, kContactText, ""},
    {0x40030040, "Anniversary", ValueKind::Day, 0, ""},
    {0x4004001F, "AssistantTelephoneNumber", T, kContactText, ""},
    {0x4006001F, "Children", T, kContactText, ""},
    {0x4007001F, "Business2TelephoneNumber", T, kContactText, ""},
    {0x4008001F, "WebPage", T, kContactText, ""},
    {0x4009001F, "PagerNumber", T, kContactText, ""},
    {0x400A001F, "Spouse", T, kContactText, ""},
    {0x4013001F, "FileAs", T, kContactText, ""},
    {0x4023001F, "Title", T, kContactText, ""},
    {0x4024001F, "MiddleName", T, kContactText, ""},
    {0x4040001F, "HomeAddressStreet", T, kContactText, ""},
    {0x4041001F, "HomeAddressCity", T, kContactText, ""},
    {0x4042001F, "HomeAddressState", T, kContactText, ""},
    {0x4043001F, "HomeAddressPostalCode", T, kContactText, ""},
    {0x4044001F, "HomeAddressCountry", T, kContactText, ""},
    {0x4045001F, "BusinessAddressStreet", T, kContactText, ""},
    {0x4046001F, "BusinessAddressCity", T, kContactText, ""},
    {0x4047001F, "BusinessAddressState", T, kContactText, ""},
    {0x4048001F, "BusinessAddressPostalCode", T, kContactText, ""},
    {0x4049001F, "BusinessAddressCountry", T, kContactText, ""},
    {0x404A001F, "OtherAddressStreet", T, kContactText, ""},
    {0x404B001F, "OtherAddressCity", T, kContactText, ""},
    {0x404C001F, "OtherAddressState", T, kContactText, ""},
    {0x404D001F, "OtherAddressPostalCode", T, kContactText, ""},
    {0x404E001F, "OtherAddressCountry", T, kContactText, ""},
    {0x4083001F, "Email1Address", T, kContactText, ""},
    {0x4093001F, "Email2Address", T, kContactText, ""},
    {0x40A3001F, "Email3Address", T, kContactText, ""},
    {0xAFE1001F, "IM1Address", T, kContactText, ""},
    {0xAFE2001F, "IM2Address", T, kContactText, ""},
    {0xAFE3001F, "IM3Address", T, kContactText, ""},
    {0xAFE4001F, "CompanyTelephoneNumber", T, kContactText, ""},
    {0xAFE5001F, "Manager", T, kContactText, ""},
    {0xAFE6001F, "GovernmentId", T, kContactText, ""},
    {0xAFE7001F, "AccountName", T, kContactText, ""},
    {0xAFE8001F, "CustomerId", T, kContactText, ""},
    {0xAFE90041, "Picture", ValueKind::Bytes, kPicture, ""},
    {0xAFF0001F, "Categories", T, kCategoriesText, ""},
    {0xAFFA001F, "Body", T, kLongText, ""},
};

constexpr RecordField kAppointmentFields[] = {
    {0x00040002, "Sensitivity", N, 0, "0"},
    {0x000F0002, "BusyStatus", N, 0, "2"},
    {0x0037001F, "Subject", T, 4095, ""},
    {0x4208001F, "Location", T, 1023, ""},
    {0x420D0040, "Start", ValueKind::Start, 0, ""},
    {0x42130003, "Duration", N, 0, ""},
    {0x42150003, "AllDayEvent", F, 0, "0"},
    {0x45010003, "ReminderMinutesBeforeStart", N, 0, ""},
    {0x45030002, "ReminderSet", F, 0, "0"},
    {0xAFE0001F, "ModifiedOccurrences", T, kLongText, ""},
    {0xAFF0001F, "Categories", T, kCategoriesText, ""},
    {0xAFF1000B, "IsRecurring", F, 0, "0"},
    {0xAFF10012, "RecurrenceType", N, 0, ""},
    {0xAFF20012, "DayOfWeekMask", N, 0, ""},
    {0xAFF30012, "DayOfMonth", N, 0, ""},
    {0xAFF40012, "MonthOfYear", N, 0, ""},
    {0xAFF50012, "Interval", N, 0, ""},
    {0xAFF60003, "Instance", N, 0, ""},
    {0xAFF80005, "PatternEndDate", ValueKind::Date, 0, ""},
    {0xAFF9000B, "NoEndDate", F, 0, ""},
    {0xAFFA001F, "Body", T, kLongText, ""},
    {0xAFFC001F, "Recipients", T, kLongText, ""},
    {0xAFFF001F, "ExceptionDates", T, kLongText, ""},
};

constexpr RecordField kTaskFields[] = {
    {0x00040002, "Sensitivity", N, 0, "0"},
    {0x00260003, "Importance", N, 0, "1"},
    {0x0037001F, "Subject", T, 4095, ""},
    {0x41040040, "StartDate", ValueKind::WallTime, 0, ""},
    {0x41050040, "DueDate", ValueKind::WallTime, 0, ""},
    {0x410F0002, "Complete", F, 0, "0"},
    {0x410F0040, "DateCompleted", ValueKind::WallTime, 0, ""},
    {0x45030002, "ReminderSet", F, 0, "0"},
    {0xAFF0001F, "Categories", T, kCategoriesText, ""},
    {0xAFF1000B, "IsRecurring", F, 0, "0"},
    {0xAFF10012, "RecurrenceType", N, 0, ""},
    {0xAFF20012, "DayOfWeekMask", N, 0, ""},
    {0xAFF30012, "DayOfMonth", N, 0, ""},
    {0xAFF40012, "MonthOfYear", N, 0, ""},
    {0xAFF50012, "Interval", N, 0, ""},
    {0xAFF60003, "Instance", N, 0, ""},
    {0xAFF80005, "PatternEndDate", ValueKind::Date, 0, ""},
    {0xAFF9000B, "NoEndDate", F, 0, ""},
    {0xAFFA001F, "Body", T, kLongText, ""},
    {0xAFFB0005, "ReminderTime", ValueKind::Date, 0, ""},
    {0xAFFF001F, "ExceptionDates", T, kLongText, ""},
};

// Which pattern fields each recurrence type uses.
struct PatternUse {
    std::string_view type;
    bool interval, mask, dayOfMonth, monthOfYear, instance;
};
constexpr PatternUse kPatternUses[] = {
    {"0", true, true, false, false, false},  // daily
    {"1", true, true, false, false, false},  // weekly
    {"2", true, false, true, false, false},  // monthly
    {"3", true, true, false, false, true},   // monthly, nth weekday
    {"5", false, false, true, true, false},  // yearly
    {"6", false, true, false, true, true},   // yearly, nth weekday
};

std::string Get(const sync::Fields& fields, const char* name) {
    auto found = fields.find(name);
    return found == fields.end() ? "" : found->second;
}

bool ParseNumber(std::string_view text, int* value) {
    *value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        *value = *value * 10 + (c - '0');
    }
    return !text.empty();
}

constexpr std::int64_t kSecondsOfDay = 86400;
constexpr std::int64_t kFileTimeOfEpoch = 11644473600;  // seconds from 1601 to 1970
constexpr std::int64_t kDateOfEpoch = 25569;            // days from 1899-12-30 to 1970

}  // namespace

std::span<const RecordField> FieldsOf(sync::ItemType type) {
    switch (type) {
        case sync::ItemType::Contact:
            return kContactFields;
        case sync::ItemType::Task:
            return kTaskFields;
        case sync::ItemType::Appointment:
            break;
    }
    return kAppointmentFields;
}

const RecordField* FindField(sync::ItemType type, std::string_view name) {
    for (const auto& field : FieldsOf(type))
        if (field.name == name) return &field;
    return nullptr;
}

void AddDefaults(sync::Item& item) {
    for (const auto& field : FieldsOf(item.type))
        if (!field.zero.empty()) item.fields.try_emplace(std::string(field.name), field.zero);
}

void DropUnusedRecurrence(sync::Item& item) {
    auto& fields = item.fields;
    bool recurs = Get(fields, "IsRecurring") == "1";
    PatternUse use{};
    for (const auto& row : kPatternUses)
        if (recurs && row.type == Get(fields, "RecurrenceType")) use = row;
    if (!recurs)
        for (const char* name : {"RecurrenceType", "NoEndDate", "PatternEndDate", "ExceptionDates",
                                 "ModifiedOccurrences", "ModifiedOccurrenceDates"})
            fields.erase(name);
    if (!use.interval) fields.erase("Interval");
    if (!use.mask) fields.erase("DayOfWeekMask");
    if (!use.dayOfMonth) fields.erase("DayOfMonth");
    if (!use.monthOfYear) fields.erase("MonthOfYear");
    if (!use.instance) fields.erase("Instance");
    // For a daily pattern, no day and every day both mean that there is no filter.
    std::string mask = Get(fields, "DayOfWeekMask");
    if (Get(fields, "RecurrenceType") == "0" && (mask == "0" || mask == "127")) fields.erase("DayOfWeekMask");
    if (Get(fields, "NoEndDate") == "1") fields.erase("PatternEndDate");
}

std::size_t DeviceLength(std::string_view text) {
    std::size_t length = 0;
    for (char c : text) {
        auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) length += byte >= 0xF0 || byte == '\n' ? 2 : 1;
    }
    return length;
}

std::string CutToDevice(std::string_view text, std::size_t limit) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < text.size(); i++) {
        auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) == 0x80) continue;
        length += byte >= 0xF0 || byte == '\n' ? 2 : 1;
        if (length > limit) return std::string(text.substr(0, i));
    }
    return std::string(text);
}

std::string DefaultFileAs(const sync::Fields& contact) {
    std::string first = Get(contact, "FirstName"), last = Get(contact, "LastName");
    std::string text = last + (first.empty() || last.empty() ? "" : ", ") + first;
    if (text.empty()) text = Get(contact, "CompanyName");
    if (text.empty()) text = Get(contact, "Email1Address");
    return CutToDevice(text, kContactText);
}

std::string CategoriesText(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        std::size_t comma = text.find(',');
        std::string_view one = text.substr(0, comma);
        while (!one.empty() && one.front() == ' ') one.remove_prefix(1);
        while (!one.empty() && one.back() == ' ') one.remove_suffix(1);
        if (!one.empty()) out += (out.empty() ? "" : ", ") + std::string(one);
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return out;
}

bool ParseMoment(std::string_view text, std::int64_t* seconds) {
    int year, month, day, hour = 0, minute = 0, second = 0;
    if (text.size() != 10 && text.size() != 19) return false;
    if (text[4] != '-' || text[7] != '-' || !ParseNumber(text.substr(0, 4), &year) ||
        !ParseNumber(text.substr(5, 2), &month) || !ParseNumber(text.substr(8, 2), &day))
        return false;
    if (text.size() == 19 &&
        (text[10] != ' ' || text[13] != ':' || text[16] != ':' || !ParseNumber(text.substr(11, 2), &hour) ||
         !ParseNumber(text.substr(14, 2), &minute) || !ParseNumber(text.substr(17, 2), &second)))
        return false;
    std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                     std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok() || year < 1601 || hour > 23 || minute > 59 || second > 59) return false;
    *seconds =
        std::chrono::sys_days(date).time_since_epoch().count() * kSecondsOfDay + hour * 3600 + minute * 60 + second;
    return true;
}

std::string DayText(std::int64_t seconds) { return MomentText(seconds).substr(0, 10); }

std::string MomentText(std::int64_t seconds) {
    std::int64_t days = seconds >= 0 ? seconds / kSecondsOfDay : -((-seconds + kSecondsOfDay - 1) / kSecondsOfDay);
    std::int64_t rest = seconds - days * kSecondsOfDay;
    std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), static_cast<int>(rest / 3600),
                  static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60));
    return text;
}

std::uint64_t FileTimeOf(std::int64_t seconds) {
    return static_cast<std::uint64_t>(seconds + kFileTimeOfEpoch) * 10'000'000U;
}

std::int64_t SecondsOfFileTime(std::uint64_t fileTime) {
    return static_cast<std::int64_t>(fileTime / 10'000'000U) - kFileTimeOfEpoch;
}

double DateOf(std::int64_t seconds) {
    return static_cast<double>(seconds) / static_cast<double>(kSecondsOfDay) + static_cast<double>(kDateOfEpoch);
}

std::int64_t SecondsOfDate(double date) {
    // Nothing outside the years 1601 to 9999 is a date; NaN neither.
    if (!(date > -109000.0 && date < 2958466.0)) return kNoMoment;
    return std::llround((date - static_cast<double>(kDateOfEpoch)) * static_cast<double>(kSecondsOfDay));
}

bool IsNoMoment(std::int64_t seconds) {
    constexpr std::int64_t k1900 = -2208988800;
    return seconds < k1900 || seconds >= kNoMoment;
}

}  // namespace kez::partner
