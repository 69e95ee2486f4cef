// Recurrence: the pattern of a device and the rule of a calendar file, each made from the other where that is exact.
//
// A pattern is arithmetic over days: a day of the calendar is a number, days since 1970-01-01 of the device's clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "partner/time_zones.h"
#include "sync/item.h"

namespace kez::partner {

struct Pattern {
    int type = 0;  // 0 daily, 1 weekly, 2 monthly, 3 nth weekday of a month, 5 yearly, 6 nth weekday of a month yearly
    int interval = 1;
    int mask = 0;  // of weekdays, Sunday is 1
    int dayOfMonth = 0;
    int monthOfYear = 0;
    int instance = 0;  // 1 to 5, 5 is the last
    std::int64_t start = 0;
    bool ends = false;
    std::int64_t lastDay = 0;  // no occurrence begins after it

    bool Has(std::int64_t day) const;
    // The first occurrence on this day or after it.
    std::optional<std::int64_t> Next(std::int64_t day) const;
    // No two occurrences are closer than this many days. A device takes no occurrence that lasts longer.
    std::int64_t ShortestGap() const;
};

// Of an item that recurs; the start is the day of its field of that name. Nothing where the fields are no pattern.
std::optional<Pattern> PatternOf(const sync::Fields& fields, std::int64_t startDay);
void SetPattern(sync::Fields& fields, const Pattern& pattern);

// The rule without its end: "FREQ=DAILY;INTERVAL=2".
std::string RuleText(const Pattern& pattern);

struct RuleReading {
    std::string whyNot;  // why a device cannot hold it; "" where it can
    Pattern pattern;
    std::vector<std::int64_t> surplus;  // days of the pattern that the rule does not have
    bool drifts = false;                // the device's clock shows some of the occurrences at another time of day
    bool isList = false;                // the pattern is no rule's: it was found for the dates that there are
};

// The value of an RRULE, with the DTSTART that it goes with. Of both sides the occurrences are compared.
RuleReading ReadRule(std::string_view rule, const CalendarTime& start, const TimeZones& zones);

// All that says when an item recurs. Without an end it has to be one rule, else any dates will do that a pattern with
// deleted occurrences can name one by one.
struct RecurrenceSet {
    std::vector<std::string> rules, exceptionRules;
    std::vector<CalendarTime> dates;  // further ones (RDATE)
};
RuleReading ReadRecurrenceSet(const RecurrenceSet& set, const CalendarTime& start, const TimeZones& zones);

// The rule of a vCalendar 1.0 ("W1 MO WE #10", "MP1 1+ MO 20261231T000000") in the form of 2.0; "" for none.
std::string RuleOfOldText(std::string_view rule);
// And back, without its end ("MP1 1+ MO"); "" for a pattern that the older version cannot say.
std::string OldRuleText(const Pattern& pattern);

}  // namespace kez::partner
