// Random recurrence patterns, the iCalendar rule that says the same as a pattern, and the days that libical's evaluator
// finds for a rule: an independent judge of recurrence.
#pragma once

#include <libical/ical.h>

#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "platform/pocketoutlook/recurrence_arithmetic.h"

namespace kez::tests {

using pocketoutlook::CivilDate;
using pocketoutlook::CivilOf;
using pocketoutlook::Day;
using pocketoutlook::DayOf;
using pocketoutlook::DaysInMonth;
using pocketoutlook::Recurrence;
using pocketoutlook::RecurrenceDays;

inline Day D(int year, int month, int day) { return DayOf({year, month, day}); }

inline std::string Text(Day day) {
    const CivilDate date = CivilOf(day);
    char text[24];
    snprintf(text, sizeof text, "%04d-%02d-%02d", date.year, date.month, date.day);
    return text;
}

inline std::vector<std::string> Texts(const Recurrence& recurrence, int most = 12) {
    const RecurrenceDays days(recurrence);
    std::vector<std::string> texts;
    for (auto day = days.First(); day && most-- > 0; day = days.Next(*day)) texts.push_back(Text(*day));
    return texts;
}

inline std::string Describe(const Recurrence& r) {
    std::ostringstream out;
    out << "type " << r.type << " start " << Text(r.start) << " interval " << r.interval << " mask " << r.dayOfWeekMask
        << " day " << r.dayOfMonth << " instance " << r.instance << " month " << r.monthOfYear;
    if (r.lastDay) out << " until " << Text(*r.lastDay);
    if (r.occurrences) out << " count " << *r.occurrences;
    return out.str();
}

class Patterns {
 public:
    explicit Patterns(std::uint32_t start) : m_random(start) {}

    int Between(int least, int most) { return std::uniform_int_distribution<int>(least, most)(m_random); }

    Recurrence Any() {
        static constexpr LONG kTypes[] = {olRecursDaily,    olRecursWeekly, olRecursMonthly,
                                          olRecursMonthNth, olRecursYearly, olRecursYearNth};
        Recurrence r;
        r.type = kTypes[Between(0, 5)];
        r.start = D(Between(1996, 2012), Between(1, 12), 1) + Between(0, 30);
        r.interval = Between(0, 3) == 0 ? 1 : Between(1, r.type == olRecursDaily ? 20 : 7);
        const bool needsMask = r.type == olRecursWeekly || r.type == olRecursMonthNth || r.type == olRecursYearNth;
        const int maskKind = Between(0, 3);
        if (maskKind == 0) r.dayOfWeekMask = 1 << Between(0, 6);
        if (maskKind == 1) r.dayOfWeekMask = Between(1, 127);
        if (maskKind == 2) r.dayOfWeekMask = Between(0, 1) ? 62 : 127;
        if (maskKind == 3) r.dayOfWeekMask = needsMask ? 65 : 0;
        r.instance = Between(1, 5);
        r.monthOfYear = Between(1, 12);
        r.dayOfMonth = r.type == olRecursYearly ? Between(1, r.monthOfYear == 2 ? 29 : DaysInMonth(2001, r.monthOfYear))
                                                : Between(1, 31);
        const int end = Between(0, 2);
        if (end == 1) r.occurrences = Between(1, 40);
        if (end == 2) r.lastDay = r.start + Between(0, 2500);
        return r;
    }

 private:
    std::mt19937 m_random;
};

inline std::string ByDay(LONG mask, const std::string& prefix = "") {
    static constexpr const char* kNames[7] = {"SU", "MO", "TU", "WE", "TH", "FR", "SA"};
    std::string text;
    for (int weekday = 0; weekday < 7; ++weekday) {
        if (mask & (1 << weekday)) text += (text.empty() ? "" : ",") + prefix + kNames[weekday];
    }
    return "BYDAY=" + text;
}

inline std::string NthPart(const Recurrence& r) {
    const std::string n = r.instance == 5 ? "-1" : std::to_string(r.instance);
    const bool oneBit = (r.dayOfWeekMask & (r.dayOfWeekMask - 1)) == 0;
    return oneBit ? ByDay(r.dayOfWeekMask, n) : ByDay(r.dayOfWeekMask) + ";BYSETPOS=" + n;
}

inline std::string RuleText(const Recurrence& r) {
    const std::string interval = ";INTERVAL=" + std::to_string(r.interval);
    std::string text;
    switch (r.type) {
        case olRecursDaily:
            text = "FREQ=DAILY" + interval;
            if (r.dayOfWeekMask != 0 && r.dayOfWeekMask != 127) text += ";" + ByDay(r.dayOfWeekMask);
            break;
        case olRecursWeekly:
            text = "FREQ=WEEKLY" + interval + ";WKST=SU;" + ByDay(r.dayOfWeekMask);
            break;
        case olRecursMonthly:
            text = "FREQ=MONTHLY" + interval + ";BYMONTHDAY=";
            if (r.dayOfMonth == 31) {
                text += "-1";
            } else if (r.dayOfMonth > 28) {
                text += r.dayOfMonth == 29 ? "28,29;BYSETPOS=-1" : "28,29,30;BYSETPOS=-1";
            } else {
                text += std::to_string(r.dayOfMonth);
            }
            break;
        case olRecursMonthNth:
            text = "FREQ=MONTHLY" + interval + ";" + NthPart(r);
            break;
        case olRecursYearly:
            text = "FREQ=YEARLY;BYMONTH=" + std::to_string(r.monthOfYear) +
                   ";BYMONTHDAY=" + (r.monthOfYear == 2 && r.dayOfMonth == 29 ? "-1" : std::to_string(r.dayOfMonth));
            break;
        default:
            text = "FREQ=YEARLY;BYMONTH=" + std::to_string(r.monthOfYear) + ";" + NthPart(r);
            break;
    }
    if (r.occurrences) text += ";COUNT=" + std::to_string(*r.occurrences);
    if (r.lastDay) {
        const CivilDate date = CivilOf(*r.lastDay);
        char until[32];
        snprintf(until, sizeof until, ";UNTIL=%04d%02d%02dT100000", date.year, date.month, date.day);
        text += until;
    }
    return text;
}

inline std::vector<std::string> Expand(const std::string& rule, Day start, std::size_t most) {
    const CivilDate date = CivilOf(start);
    // A time of day, because the evaluator repeats a day now and then where the start is a bare date.
    icaltimetype begin = icaltime_null_time();
    begin.is_date = 0;
    begin.hour = 10;
    begin.year = date.year;
    begin.month = date.month;
    begin.day = date.day;
    icalrecurrencetype parsed = icalrecurrencetype_from_string(rule.c_str());
    icalrecur_iterator* iterator = icalrecur_iterator_new(parsed, begin);
    std::vector<std::string> texts;
    if (iterator == nullptr) return {"not understood: " + rule};
    while (texts.size() < most) {
        const icaltimetype next = icalrecur_iterator_next(iterator);
        if (icaltime_is_null_time(next)) break;
        texts.push_back(Text(D(next.year, next.month, next.day)));
    }
    icalrecur_iterator_free(iterator);
    return texts;
}

}  // namespace kez::tests
