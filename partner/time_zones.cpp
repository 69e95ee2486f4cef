#include "partner/time_zones.h"

#include <libical/ical.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <set>
#include <vector>

#include "partner/record_fields.h"

namespace kez::partner {
namespace {

constexpr std::int64_t kDay = 86400;

// The names that a widespread desktop family writes for the zones of these places.
constexpr struct {
    std::string_view name, zone;
} kOtherNames[] = {
    {"UTC", "UTC"},
    {"GMT Standard Time", "Europe/London"},
    {"Greenwich Standard Time", "Atlantic/Reykjavik"},
    {"W. Europe Standard Time", "Europe/Berlin"},
    {"Central Europe Standard Time", "Europe/Budapest"},
    {"Central European Standard Time", "Europe/Warsaw"},
    {"Romance Standard Time", "Europe/Paris"},
    {"E. Europe Standard Time", "Europe/Chisinau"},
    {"FLE Standard Time", "Europe/Kiev"},
    {"GTB Standard Time", "Europe/Bucharest"},
    {"Russian Standard Time", "Europe/Moscow"},
    {"Turkey Standard Time", "Europe/Istanbul"},
    {"Israel Standard Time", "Asia/Jerusalem"},
    {"India Standard Time", "Asia/Kolkata"},
    {"China Standard Time", "Asia/Shanghai"},
    {"Tokyo Standard Time", "Asia/Tokyo"},
    {"AUS Eastern Standard Time", "Australia/Sydney"},
    {"New Zealand Standard Time", "Pacific/Auckland"},
    {"E. South America Standard Time", "America/Sao_Paulo"},
    {"Atlantic Standard Time", "America/Halifax"},
    {"Eastern Standard Time", "America/New_York"},
    {"Central Standard Time", "America/Chicago"},
    {"Mountain Standard Time", "America/Denver"},
    {"Pacific Standard Time", "America/Los_Angeles"},
};

void RawText(const Component& component, std::string& out) {
    for (const auto& node : component.nodes) {
        if (node.line)
            out += node.line->raw;
        else
            RawText(*node.component, out);
    }
}

// The library ends the process at a broken value unless it is told not to.
void Prepare() {
    static const bool once = [] {
        icalerror_set_errors_are_fatal(0);
        icaltimezone_set_tzid_prefix("");
        return true;
    }();
    static_cast<void>(once);
}

// The library knows zones until 2037. A later year has the offsets of an earlier one with the same calendar.
int KnownYear(int year) {
    if (year <= 2037) return year;
    using namespace std::chrono;
    auto weekday = [](int y) { return std::chrono::weekday(sys_days(std::chrono::year(y) / January / 1)); };
    for (int other = 2037; other > 2009; other--)
        if (std::chrono::year(other).is_leap() == std::chrono::year(year).is_leap() && weekday(other) == weekday(year))
            return other;
    return 2037;
}

icaltimetype IcalTime(std::int64_t wall) {
    std::int64_t days = wall >= 0 ? wall / kDay : -((-wall + kDay - 1) / kDay);
    int rest = static_cast<int>(wall - days * kDay);
    std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
    icaltimetype time = icaltime_null_time();
    time.year = KnownYear(static_cast<int>(date.year()));
    time.month = static_cast<int>(static_cast<unsigned>(date.month()));
    time.day = static_cast<int>(static_cast<unsigned>(date.day()));
    time.hour = rest / 3600;
    time.minute = rest / 60 % 60;
    time.second = rest % 60;
    return time;
}

std::int64_t OffsetOfWall(icaltimezone* zone, std::int64_t wall) {
    icaltimetype time = IcalTime(wall);
    int isDaylight = 0;
    return icaltimezone_get_utc_offset(zone, &time, &isDaylight);
}

std::int64_t OffsetOfUtc(icaltimezone* zone, std::int64_t utc) {
    icaltimetype time = IcalTime(utc);
    int isDaylight = 0;
    return icaltimezone_get_utc_offset_of_utc_time(zone, &time, &isDaylight);
}

icaltimezone* Builtin(const std::string& name) {
    // The library prints its complaint where there is no such file; a name with blanks is never one.
    if (name.empty() || name.find(' ') != std::string::npos) return nullptr;
    return icaltimezone_get_builtin_timezone(name.c_str());
}

bool Digits(std::string_view text, int* value) {
    *value = 0;
    if (text.empty() || text.size() > 8) return false;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        *value = *value * 10 + (c - '0');
    }
    return true;
}

}  // namespace

std::optional<CalendarTime> ParseCalendarTime(std::string_view text) {
    std::string plain;
    for (char c : text)
        if (c != '-' && c != ':' && c != ' ') plain += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    bool isUtc = !plain.empty() && plain.back() == 'Z';
    if (isUtc) plain.pop_back();
    std::size_t t = plain.find('T');
    std::string date = plain.substr(0, t), clock = t == std::string::npos ? "" : plain.substr(t + 1);
    if (date.size() != 8 || (t != std::string::npos && clock.size() != 6 && clock.size() != 4)) return std::nullopt;
    if (clock.size() == 4) clock += "00";
    if (clock.size() == 6 && clock.substr(4) == "60") clock.replace(4, 2, "59");
    std::string moment = date.substr(0, 4) + "-" + date.substr(4, 2) + "-" + date.substr(6, 2);
    if (!clock.empty()) moment += " " + clock.substr(0, 2) + ":" + clock.substr(2, 2) + ":" + clock.substr(4, 2);
    CalendarTime time;
    if (!ParseMoment(moment, &time.wall)) return std::nullopt;
    time.form.kind = clock.empty() ? TimeKind::Date : isUtc ? TimeKind::Utc : TimeKind::Floating;
    return time;
}

std::string CalendarTimeText(const CalendarTime& time) {
    std::string text;
    for (char c : MomentText(time.wall)) {
        if (c == ' ') {
            if (time.form.kind == TimeKind::Date) return text;
            text += 'T';
        } else if (c >= '0' && c <= '9') {
            text += c;
        }
    }
    return time.form.kind == TimeKind::Utc ? text + "Z" : text;
}

std::optional<std::int64_t> ParseDuration(std::string_view text) {
    std::int64_t sign = 1, total = 0;
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        sign = text[0] == '-' ? -1 : 1;
        text.remove_prefix(1);
    }
    if (text.empty() || (text[0] != 'P' && text[0] != 'p')) return std::nullopt;
    text.remove_prefix(1);
    if (text.empty()) return std::nullopt;
    std::string_view digits;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); i++) {
        char c = text[i];
        if (c >= '0' && c <= '9') continue;
        digits = text.substr(begin, i - begin);
        begin = i + 1;
        if (c == 'T' || c == 't') {
            if (!digits.empty()) return std::nullopt;
            continue;
        }
        int number;
        if (!Digits(digits, &number)) return std::nullopt;
        std::int64_t unit = c == 'W' ? 7 * kDay : c == 'D' ? kDay : c == 'H' ? 3600 : c == 'M' ? 60 : c == 'S' ? 1 : 0;
        if (unit == 0) return std::nullopt;
        total += number * unit;
    }
    if (begin != text.size()) return std::nullopt;
    return sign * total;
}

std::string DurationText(std::int64_t seconds) {
    std::string text = seconds < 0 ? "-P" : "P";
    if (seconds < 0) seconds = -seconds;
    std::int64_t days = seconds / kDay, rest = seconds % kDay;
    if (days) text += std::to_string(days) + "D";
    if (rest || !days) text += "T";
    if (rest / 3600) text += std::to_string(rest / 3600) + "H";
    if (rest / 60 % 60) text += std::to_string(rest / 60 % 60) + "M";
    if (rest % 60) text += std::to_string(rest % 60) + "S";
    if (!days && !rest) text += "0M";
    return text;
}

TimeZones::TimeZones(const Component* calendar, const std::string& deviceZone) : m_deviceZone(deviceZone) {
    Prepare();
    if (!calendar) return;
    for (const Component* zone : calendar->Components("VTIMEZONE"))
        if (const ContentLine* id = zone->First("TZID")) RawText(*zone, m_texts[Trimmed(Text(*id))]);
}

TimeZones::~TimeZones() {
    for (const auto& [name, zone] : m_own) icaltimezone_free(zone, 1);
}

icaltimezone* TimeZones::Find(const std::string& name) const {
    if (auto found = m_zones.find(name); found != m_zones.end()) return found->second;
    icaltimezone* zone = Builtin(name);
    if (!zone) {
        // "/mozilla.org/20050126_1/Europe/Berlin"
        for (std::size_t slash = name.find('/'); !zone && !name.empty() && name[0] == '/' && slash != std::string::npos;
             slash = name.find('/', slash + 1))
            if (name.find('/', slash + 1) != std::string::npos) zone = Builtin(name.substr(slash + 1));
    }
    if (auto text = m_texts.find(name); !zone && text != m_texts.end()) {
        if (icalcomponent* component = icalparser_parse_string(text->second.c_str())) {
            icaltimezone* made = icaltimezone_new();
            bool isZone = icalcomponent_isa(component) == ICAL_VTIMEZONE_COMPONENT &&
                          (icalcomponent_get_first_component(component, ICAL_XSTANDARD_COMPONENT) ||
                           icalcomponent_get_first_component(component, ICAL_XDAYLIGHT_COMPONENT)) &&
                          icaltimezone_set_component(made, component);
            if (isZone) {
                zone = m_own[name] = made;
            } else {
                icaltimezone_free(made, 1);
                icalcomponent_free(component);
            }
        }
    }
    for (const auto& other : kOtherNames)
        if (!zone && other.name == name) zone = Builtin(std::string(other.zone));
    return m_zones[name] = zone;
}

std::optional<CalendarTime> TimeZones::Parse(const ContentLine& line, std::string_view value) const {
    std::optional<CalendarTime> time = ParseCalendarTime(Trimmed(value));
    if (!time) return time;
    if (std::string zone = line.Parameter("TZID"); time->form.kind == TimeKind::Floating && !zone.empty())
        time->form = {TimeKind::Zoned, zone};
    return time;
}

std::int64_t TimeZones::ToUtc(const CalendarTime& time) const {
    if (time.form.kind == TimeKind::Utc) return time.wall;
    icaltimezone* zone = time.form.kind == TimeKind::Zoned ? Find(time.form.zone) : nullptr;
    if (!zone) zone = Find(m_deviceZone);
    return zone ? time.wall - OffsetOfWall(zone, time.wall) : time.wall;
}

std::int64_t TimeZones::ToDevice(const CalendarTime& time) const {
    if (time.form.kind == TimeKind::Date || time.form.kind == TimeKind::Floating) return time.wall;
    if (time.form.kind == TimeKind::Zoned && (time.form.zone == m_deviceZone || !Knows(time.form.zone)))
        return time.wall;
    std::int64_t utc = ToUtc(time);
    icaltimezone* device = Find(m_deviceZone);
    return device ? utc + OffsetOfUtc(device, utc) : utc;
}

CalendarTime TimeZones::FromDevice(std::int64_t wall, const TimeForm& form) const {
    CalendarTime time{wall, form};
    if (form.kind == TimeKind::Date) time.wall -= ((wall % kDay) + kDay) % kDay;
    if (form.kind == TimeKind::Date || form.kind == TimeKind::Floating) return time;
    if (form.kind == TimeKind::Zoned && (form.zone == m_deviceZone || !Knows(form.zone))) return time;
    std::int64_t utc = ToUtc({wall, {TimeKind::Floating, ""}});
    time.wall = form.kind == TimeKind::Utc ? utc : utc + OffsetOfUtc(Find(form.zone), utc);
    return time;
}

TimeForm TimeZones::DeviceForm() const {
    bool isUtc = m_deviceZone == "UTC" || m_deviceZone == "Etc/UTC" || !Find(m_deviceZone);
    return isUtc ? TimeForm{TimeKind::Utc, ""} : TimeForm{TimeKind::Zoned, m_deviceZone};
}

// Only the rules without an end, where they hold already: what was before them is no concern of a new file.
std::string TimeZones::DeviceZoneText(std::int64_t from) const {
    icaltimezone* zone = Find(m_deviceZone);
    icalcomponent* whole = zone ? icaltimezone_get_component(zone) : nullptr;
    if (!whole) return "";
    std::set<std::int64_t> offsets;
    for (std::int64_t month = 0; month < 25; month++) offsets.insert(OffsetOfUtc(zone, from + month * 30 * kDay));
    std::vector<icalcomponent*> parts;
    for (icalcomponent* part = icalcomponent_get_first_component(whole, ICAL_ANY_COMPONENT); part;
         part = icalcomponent_get_next_component(whole, ICAL_ANY_COMPONENT))
        parts.push_back(part);
    std::string rules;
    int count = 0;
    for (icalcomponent* part : parts) {
        icalproperty* rule = icalcomponent_get_first_property(part, ICAL_RRULE_PROPERTY);
        icalproperty* start = icalcomponent_get_first_property(part, ICAL_DTSTART_PROPERTY);
        if (!rule || !start) continue;
        // The library gives rules that still hold an end in the last years that it knows.
        icalrecurrencetype recurrence = icalproperty_get_rrule(rule);
        if (!icaltime_is_null_time(recurrence.until) && recurrence.until.year < 2036) continue;
        std::int64_t begins = static_cast<std::int64_t>(icaltime_as_timet(icalproperty_get_dtstart(start)));
        if (begins + 366 * kDay > from) continue;
        recurrence.until = icaltime_null_time();
        icalcomponent* endless = icalcomponent_new_clone(part);
        icalproperty_set_rrule(icalcomponent_get_first_property(endless, ICAL_RRULE_PROPERTY), recurrence);
        rules += icalcomponent_as_ical_string(endless);
        icalcomponent_free(endless);
        count++;
    }
    std::string text = "BEGIN:VTIMEZONE\r\nTZID:" + m_deviceZone + "\r\n";
    if (count == 2 && offsets.size() == 2) return text + rules + "END:VTIMEZONE\r\n";
    if (offsets.size() == 1) {
        std::int64_t offset = *offsets.begin(), minutes = std::abs(offset) / 60;
        char number[16];
        std::snprintf(number, sizeof number, "%c%02d%02d", offset < 0 ? '-' : '+', static_cast<int>(minutes / 60),
                      static_cast<int>(minutes % 60));
        return text + "BEGIN:STANDARD\r\nDTSTART:19700101T000000\r\nTZOFFSETFROM:" + number +
               "\r\nTZOFFSETTO:" + number + "\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";
    }
    for (icalcomponent* part : parts) text += icalcomponent_as_ical_string(part);
    return text + "END:VTIMEZONE\r\n";
}

}  // namespace kez::partner
