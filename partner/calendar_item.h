// What reading and changing a calendar file have in common: where in the file the item stands, and what it says.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "partner/content_lines.h"
#include "partner/recurrence_rule.h"
#include "partner/time_zones.h"
#include "sync/item.h"
#include "sync/store.h"

namespace kez::partner {

// The components of the one item of a file.
struct CalendarParts {
    sync::Problem problem;
    sync::ItemType type = sync::ItemType::Appointment;
    std::string uid;
    Component* calendar = nullptr;
    Component* master = nullptr;      // the item itself
    std::vector<Component*> changed;  // its occurrences with a RECURRENCE-ID
    Syntax syntax = Syntax::Calendar20;
};
CalendarParts PartsOf(ContentDocument& document, const std::string& fileName);

struct CalendarReading {
    sync::Problem problem;
    sync::Item item;
    std::vector<std::string> losses;
    std::optional<CalendarTime> start;           // DTSTART, or what a task counts from
    std::optional<RuleReading> rule;             // of an item that recurs
    std::map<std::int64_t, Component*> changed;  // by the day of the occurrence on the device's clock
};
CalendarReading ReadParts(const CalendarParts& parts, const TimeZones& zones);

// The fields of one VEVENT on its own: no recurrence, no defaults.
sync::Fields EventFields(const Component& event, Syntax syntax, const TimeZones& zones,
                         std::vector<std::string>& losses);

// A changed occurrence in the twelve fields that the device writes, but for how it rings, and its fields back.
std::string SerialisedOccurrence(const sync::Fields& occurrence);
std::vector<sync::Fields> OccurrencesOf(const std::string& text);

// The alarms that a device's reminder stands for: those that show or sound.
std::vector<Component*> RemindersOf(const Component& component);

// The names of a component's categories, each as the device shows it, to its escaped form in the file.
struct CategoryName {
    std::string shown, escaped;
};
std::vector<CategoryName> CategoriesOf(const Component& component, Syntax syntax);

// "name" and "address" of an attendee.
std::pair<std::string, std::string> RecipientOf(const ContentLine& attendee);

std::string FieldOf(const sync::Fields& fields, const char* name);
std::vector<std::string> TabbedDates(const std::string& text);
std::int64_t DayOfMoment(std::int64_t wall);  // whole days since 1970-01-01

// The moments of a list of dates (EXDATE).
struct ListedDate {
    ContentLine* line;
    std::string value;  // as written
    CalendarTime time;
};
std::vector<ListedDate> DatesOf(const Component& component, const char* property, const TimeZones& zones,
                                Syntax syntax);

}  // namespace kez::partner
