// One zone of the tz database: its rules from the compiled file that the system installs.
#pragma once

#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace kez::control {

// The zone is unknown, or its file is not one: the text names it.
class TimeZoneError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

class TimeZone {
 public:
    // When daylight saving time starts or ends in a year: the `week`-th `weekDay` of `month` (5 is the last), or
    // where `month` is 0 the day of the year `dayOfYear` (from 0; `countsLeapDay` tells if 29 February counts).
    struct Rule {
        int month = 0;
        int week = 0;
        int weekDay = 0;  // 0 is Sunday
        int dayOfYear = 0;
        bool countsLeapDay = true;
        std::int64_t seconds = 7200;  // local time of day; may lie outside the day
    };

    // What holds after the last transition that the file lists.
    struct Rules {
        std::string standardName;
        std::int64_t standardOffset = 0;  // seconds east of UTC
        bool hasDaylight = false;
        std::string daylightName;
        std::int64_t daylightOffset = 0;
        Rule daylightStart;  // in standard time
        Rule daylightEnd;    // in daylight time
    };

    // UTC.
    TimeZone();

    // `name` as in the tz database ("Europe/Berlin"); empty is UTC. Throws TimeZoneError.
    static TimeZone Load(const std::string& name);

    // Reads the rules as they stand at the end of a compiled file ("CET-1CEST,M3.5.0,M10.5.0/3"). Throws
    // TimeZoneError.
    static Rules ParseRules(const std::string& text);

    // Seconds east of UTC at a moment given in seconds since 1970-01-01 UTC.
    std::int64_t OffsetAt(std::int64_t utcSeconds) const;
    bool IsDaylightAt(std::int64_t utcSeconds) const;

    const Rules& CurrentRules() const { return m_rules; }

 private:
    struct Local {
        std::int64_t offset = 0;
        bool daylight = false;
    };
    struct Transition {
        std::int64_t at = 0;
        std::size_t local = 0;
    };

    void Read(const std::string& bytes, const std::string& name);
    Local LocalAt(std::int64_t utcSeconds) const;
    Local LocalByRules(std::int64_t utcSeconds) const;

    std::vector<Transition> m_transitions;
    std::vector<Local> m_locals;
    Rules m_rules;
};

// The zone of the open device as it stands now; where a current bias was set, a zone of that bias without daylight
// saving time.
struct CurrentZone {
    TimeZone::Rules rules;
    bool daylightNow = false;
};
CurrentZone DescribeCurrentZone();

}  // namespace kez::control
