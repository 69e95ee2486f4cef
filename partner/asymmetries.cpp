#include "partner/asymmetries.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>

#include "partner/record_fields.h"

namespace kez::partner {
namespace {

using sync::Fields;

std::string Get(const Fields& fields, const char* name) {
    auto found = fields.find(name);
    return found == fields.end() ? "" : found->second;
}

void Replace(Fields& fields, const char* name, const char* from, const char* to) {
    if (Get(fields, name) == from) fields[name] = to;
}

// --- Contacts ---

void DropDefaultFileAs(Fields& fields) {
    if (Get(fields, "FileAs") == DefaultFileAs(fields)) fields.erase("FileAs");
}

void FillFileAs(Fields& fields) {
    std::string text = DefaultFileAs(fields);
    if (Get(fields, "FileAs").empty() && !text.empty()) fields["FileAs"] = text;
}

// --- Every type ---

void NormaliseCategories(Fields& fields) {
    if (auto found = fields.find("Categories"); found != fields.end()) found->second = CategoriesText(found->second);
}

void LoseHyphens(Fields& fields) {
    for (const char* name : {"Categories", "Body", "Recipients"})
        if (Get(fields, name) == "-") fields.erase(name);
}

// --- Appointments ---

void AllDayToDevice(Fields& fields) { Replace(fields, "AllDayEvent", "0", "2"); }

void WholeDays(Fields& fields) {
    if (Get(fields, "AllDayEvent") != "1") return;
    std::string duration = Get(fields, "Duration");
    if (duration.empty() || duration.size() > 9 || duration.find_first_not_of("0123456789") != std::string::npos)
        return;
    std::int64_t days = std::max<std::int64_t>(1, (std::stoll(duration) + 1439) / 1440);
    fields["Duration"] = std::to_string(days * 1440);
    std::int64_t start;
    if (ParseMoment(Get(fields, "Start"), &start)) fields["Start"] = DayText(start) + " 00:00:00";
}

void ReminderToDevice(Fields& fields) { Replace(fields, "ReminderSet", "1", "-1"); }

void DropUnsetReminder(Fields& fields) {
    if (Get(fields, "ReminderSet") != "1") fields.erase("ReminderMinutesBeforeStart");
}

void AlwaysBusy(Fields& fields) { fields["BusyStatus"] = "2"; }

void PublicOrPrivate(Fields& fields) {
    if (Get(fields, "Sensitivity") != "2") fields["Sensitivity"] = "0";
}

// "name;address;name" as pairs; a name alone is its own address.
void PairRecipients(Fields& fields) {
    auto found = fields.find("Recipients");
    if (found == fields.end()) return;
    std::string pairs;
    std::size_t count = 0;
    std::string last, text = found->second + ";";
    for (std::size_t at = 0, end; (end = text.find(';', at)) != std::string::npos; at = end + 1) {
        std::string token = text.substr(at, end - at);
        if (token.empty()) continue;
        pairs += (count++ ? ";" : "") + token;
        last = token;
    }
    if (count % 2) pairs += ";" + last;
    found->second = pairs;
}

void DropModifiedOccurrences(Fields& fields) {
    fields.erase("ModifiedOccurrences");
    fields.erase("ModifiedOccurrenceDates");
}

// The device writes these texts in 8-bit characters and widens them with their sign.
void NarrowOccurrences(Fields& fields) {
    auto found = fields.find("ModifiedOccurrences");
    if (found == fields.end()) return;
    // In UTF-8, U+FF80 to U+FFBF are EF BE xx and U+FFC0 to U+FFFF are EF BF xx: meant are U+0080 to U+00BF (C2 xx)
    // and U+00C0 to U+00FF (C3 xx).
    std::string out;
    const std::string& text = found->second;
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\xEF' && i + 2 < text.size() && (text[i + 1] == '\xBE' || text[i + 1] == '\xBF')) {
            out += text[i + 1] == '\xBE' ? '\xC2' : '\xC3';
            out += text[i + 2];
            i += 2;
        } else {
            out += text[i];
        }
    }
    found->second = out;
}

// --- Appointments and tasks ---

void SortExceptionDates(Fields& fields) {
    auto found = fields.find("ExceptionDates");
    if (found == fields.end()) return;
    std::set<std::string> dates;
    std::string text = found->second + "\t";
    for (std::size_t at = 0, end; (end = text.find('\t', at)) != std::string::npos; at = end + 1)
        if (end > at) dates.insert(text.substr(at, end - at));
    found->second.clear();
    for (const auto& date : dates) found->second += (found->second.empty() ? "" : "\t") + date;
}

void EndExceptionDates(Fields& fields) {
    if (!Get(fields, "ExceptionDates").empty()) fields["ExceptionDates"] += "\t";
}

void SayWhetherItEnds(Fields& fields) {
    if (Get(fields, "IsRecurring") == "1" && Get(fields, "NoEndDate").empty())
        fields["NoEndDate"] = Get(fields, "PatternEndDate").empty() ? "1" : "0";
}

void WholeEndDay(Fields& fields) {
    std::int64_t end;
    if (ParseMoment(Get(fields, "PatternEndDate"), &end)) fields["PatternEndDate"] = DayText(end) + " 00:00:00";
}

// --- Tasks ---

void CompleteToDevice(Fields& fields) { Replace(fields, "Complete", "1", "-1"); }

void NormalImportance(Fields& fields) {
    std::string importance = Get(fields, "Importance");
    if (importance != "0" && importance != "2") fields["Importance"] = "1";
}

void DropDateCompleted(Fields& fields) { fields.erase("DateCompleted"); }
void DropReminderTime(Fields& fields) { fields.erase("ReminderTime"); }
void ReminderTimeSetsReminder(Fields& fields) {
    if (Get(fields, "ReminderSet") != "1") fields.erase("ReminderTime");
}

void StartNoLaterThanDue(Fields& fields) {
    std::string start = Get(fields, "StartDate"), due = Get(fields, "DueDate");
    if (start.empty() && !due.empty()) fields["StartDate"] = due;
    if (!due.empty() && due < start) fields["DueDate"] = start;
}

constexpr Asymmetry kAsymmetries[] = {
    {"c", "FileAs: a device makes it up from the names where it has none", DropDefaultFileAs, FillFileAs,
     DropDefaultFileAs},
    {"cta", "Categories: one separator", NormaliseCategories, NormaliseCategories, NormaliseCategories},
    {"cta", "Categories, Body, Recipients: a text of one hyphen is never sent by a device", nullptr, nullptr,
     LoseHyphens},
    {"a", "AllDayEvent: sent as 1 or 0, understood as 2 for no and anything else for yes", nullptr, AllDayToDevice,
     nullptr},
    {"a", "Start, Duration: whole days in an all-day event", WholeDays, nullptr, WholeDays},
    {"a", "ReminderMinutesBeforeStart: says nothing where no reminder is set", DropUnsetReminder, DropUnsetReminder,
     DropUnsetReminder},
    {"a", "ReminderSet: understood as an automation flag, -1 for yes", nullptr, ReminderToDevice, nullptr},
    {"a", "BusyStatus: always ends as busy", nullptr, nullptr, AlwaysBusy},
    {"at", "Sensitivity: understood as 2 or 0", nullptr, nullptr, PublicOrPrivate},
    {"a", "Recipients: a name without an address is its own address", PairRecipients, PairRecipients, PairRecipients},
    {"a", "ModifiedOccurrences: sent only, and as 8-bit texts", NarrowOccurrences, DropModifiedOccurrences,
     DropModifiedOccurrences},
    {"at", "NoEndDate: a pattern without an end must say so", SayWhetherItEnds, SayWhetherItEnds, SayWhetherItEnds},
    {"at", "PatternEndDate: a day", WholeEndDay, WholeEndDay, WholeEndDay},
    {"at", "ExceptionDates: each ends in a tab, in the order of the device's collection", SortExceptionDates,
     EndExceptionDates, SortExceptionDates},
    {"t", "Complete: understood as an automation flag, -1 for yes", nullptr, CompleteToDevice, nullptr},
    {"t", "Importance: anything but 0, 1 and 2 ends as 1", nullptr, nullptr, NormalImportance},
    {"t", "DateCompleted: sent only; the device sets it to the day", nullptr, DropDateCompleted, DropDateCompleted},
    {"t", "ReminderTime: received only, and it sets the reminder", nullptr, ReminderTimeSetsReminder, DropReminderTime},
    {"t", "StartDate, DueDate: without a start the device drops the due date, before the start it moves it", nullptr,
     StartNoLaterThanDue, StartNoLaterThanDue},
};

}  // namespace

std::span<const Asymmetry> Asymmetries() { return kAsymmetries; }

bool HoldsFor(const Asymmetry& row, sync::ItemType type) {
    char letter = type == sync::ItemType::Contact ? 'c' : type == sync::ItemType::Task ? 't' : 'a';
    return row.types.find(letter) != std::string_view::npos;
}

}  // namespace kez::partner
