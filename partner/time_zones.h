// Moments of a calendar file and of the device: which zone a file's time is in, and what the device's clock shows then.
//
// A moment is a wall clock (seconds since 1970-01-01 of that clock) and the form in which the file has it. Zones are
// those of the file's VTIMEZONE components and of the system's zone data; names of that data win over what the file
// says of them, because files carry the rules of the year in which they were written.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "partner/content_lines.h"

typedef struct _icaltimezone icaltimezone;

namespace kez::partner {

enum class TimeKind { Date, Floating, Utc, Zoned };

struct TimeForm {
    TimeKind kind = TimeKind::Floating;
    std::string zone;  // the TZID as the file has it, where the kind is Zoned
    bool operator==(const TimeForm&) const = default;
};

struct CalendarTime {
    std::int64_t wall = 0;  // of its form's clock
    TimeForm form;
};

// "20260302", "20260302T100000", "20260302T100000Z"; also with hyphens and colons, and without seconds.
std::optional<CalendarTime> ParseCalendarTime(std::string_view text);
std::string CalendarTimeText(const CalendarTime& time);

// "-PT15M", "P1DT2H", "P2W" in seconds.
std::optional<std::int64_t> ParseDuration(std::string_view text);
std::string DurationText(std::int64_t seconds);

class TimeZones {
 public:
    // `calendar` may be null: no file. Keeps no reference to it.
    TimeZones(const Component* calendar, const std::string& deviceZone);
    ~TimeZones();
    TimeZones(const TimeZones&) = delete;
    TimeZones& operator=(const TimeZones&) = delete;

    // One value of a line, in the form that its TZID gives it.
    std::optional<CalendarTime> Parse(const ContentLine& line, std::string_view value) const;

    // A date is the start of that day, a floating time what the clock shows; an unknown zone is taken for the device's.
    std::int64_t ToDevice(const CalendarTime& time) const;
    CalendarTime FromDevice(std::int64_t wall, const TimeForm& form) const;
    std::int64_t ToUtc(const CalendarTime& time) const;

    bool Knows(const std::string& zone) const { return Find(zone) != nullptr; }
    // The form in which a new time of the device's clock is written.
    TimeForm DeviceForm() const;
    // A VTIMEZONE of the device's zone that is right from this moment of its clock on.
    std::string DeviceZoneText(std::int64_t from) const;

 private:
    icaltimezone* Find(const std::string& zone) const;

    std::string m_deviceZone;
    std::map<std::string, std::string> m_texts;  // of the file's VTIMEZONEs by TZID
    mutable std::map<std::string, icaltimezone*> m_zones;
    mutable std::map<std::string, icaltimezone*> m_own;  // made from the texts, freed at the end
};

}  // namespace kez::partner
