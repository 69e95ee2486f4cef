// Reads the compiled time zone files (TZif): a header and data with 32-bit times, the same again with 64-bit times,
// and a line with the rules for all later times. Only the second data and the line are used.
#include "platform/control/time_zone.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/control/calendar.h"

namespace kez::control {

namespace {

constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr std::size_t kHeaderSize = 44;

bool IsLeapYear(std::int64_t year) { return DaysInMonth(year, 2) == 29; }

// Seconds since 1970 of the rule's moment in `year`, as a local clock shows it.
std::int64_t MomentOf(const TimeZone::Rule& rule, std::int64_t year) {
    std::int64_t day = 0;
    if (rule.month == 0) {
        day = DayNumber(year, 1, 1) + rule.dayOfYear;
        constexpr int kLastOfFebruary = 58;
        if (!rule.countsLeapDay && IsLeapYear(year) && rule.dayOfYear > kLastOfFebruary) ++day;
    } else {
        const std::int64_t first = DayNumber(year, rule.month, 1);
        int dayOfMonth = (rule.weekDay - WeekDayOf(first) + 7) % 7 + (rule.week - 1) * 7;
        if (dayOfMonth >= DaysInMonth(year, rule.month)) dayOfMonth -= 7;
        day = first + dayOfMonth;
    }
    return day * kSecondsPerDay + rule.seconds;
}

// Takes the rules' text apart, from left to right.
class RulesReader {
 public:
    explicit RulesReader(const std::string& text) : m_text(text) {}

    TimeZone::Rules Read() {
        TimeZone::Rules rules;
        rules.standardName = Name();
        rules.standardOffset = -Time();
        if (AtEnd()) return rules;
        rules.hasDaylight = true;
        rules.daylightName = Name();
        rules.daylightOffset = Peek() == ',' ? rules.standardOffset + 3600 : -Time();
        rules.daylightStart = ReadRule();
        rules.daylightEnd = ReadRule();
        if (!AtEnd()) Fail();
        return rules;
    }

 private:
    [[noreturn]] void Fail() const { throw TimeZoneError("time zone rules that cannot be read: \"" + m_text + "\""); }
    bool AtEnd() const { return m_place == m_text.size(); }
    char Peek() const { return AtEnd() ? '\0' : m_text[m_place]; }

    void Expect(char character) {
        if (Peek() != character) Fail();
        ++m_place;
    }

    std::string Name() {
        std::string name;
        if (Peek() == '<') {
            const std::size_t end = m_text.find('>', m_place);
            if (end == std::string::npos) Fail();
            name = m_text.substr(m_place + 1, end - m_place - 1);
            m_place = end + 1;
        } else {
            const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
            while (isLetter(Peek())) name += m_text[m_place++];
        }
        if (name.empty()) Fail();
        return name;
    }

    int Number(int low, int high) {
        int value = 0;
        const char* begin = m_text.data() + m_place;
        const auto [end, error] = std::from_chars(begin, m_text.data() + m_text.size(), value);
        if (error != std::errc() || value < low || value > high) Fail();
        m_place += static_cast<std::size_t>(end - begin);
        return value;
    }

    // [+-]hours[:minutes[:seconds]]
    std::int64_t Time() {
        const bool negative = Peek() == '-';
        if (negative || Peek() == '+') ++m_place;
        std::int64_t seconds = std::int64_t{Number(0, 167)} * 3600;
        for (int unit : {60, 1}) {
            if (Peek() != ':') break;
            ++m_place;
            seconds += std::int64_t{Number(0, 59)} * unit;
        }
        return negative ? -seconds : seconds;
    }

    // ,Mmonth.week.day or ,Jday or ,day, and [/time]
    TimeZone::Rule ReadRule() {
        TimeZone::Rule rule;
        Expect(',');
        if (Peek() == 'M') {
            ++m_place;
            rule.month = Number(1, 12);
            Expect('.');
            rule.week = Number(1, 5);
            Expect('.');
            rule.weekDay = Number(0, 6);
        } else if (Peek() == 'J') {
            ++m_place;
            rule.dayOfYear = Number(1, 365) - 1;
            rule.countsLeapDay = false;
        } else {
            rule.dayOfYear = Number(0, 365);
        }
        if (Peek() == '/') {
            ++m_place;
            rule.seconds = Time();
        }
        return rule;
    }

    const std::string& m_text;
    std::size_t m_place = 0;
};

std::int64_t BigEndian(const std::string& bytes, std::size_t at, int width) {
    std::uint64_t value = static_cast<unsigned char>(bytes[at]) & 0x80 ? ~std::uint64_t{0} : 0;
    for (int i = 0; i < width; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return static_cast<std::int64_t>(value);
}

struct Header {
    std::size_t utcMarks, standardMarks, leapSeconds, transitions, types, nameBytes;

    std::size_t DataSize(std::size_t timeWidth) const {
        return transitions * (timeWidth + 1) + types * 6 + nameBytes + leapSeconds * (timeWidth + 4) + standardMarks +
               utcMarks;
    }
};

Header ReadHeader(const std::string& bytes, std::size_t at, const std::string& name) {
    if (bytes.size() < at + kHeaderSize || bytes.compare(at, 4, "TZif") != 0 || bytes[at + 4] < '2') {
        throw TimeZoneError("the file of time zone \"" + name + "\" is not a compiled time zone of version 2 or later");
    }
    std::size_t counts[6];
    for (std::size_t i = 0; i < 6; ++i) {
        const std::int64_t count = BigEndian(bytes, at + 20 + i * 4, 4);
        constexpr std::int64_t kAbsurd = 1'000'000;
        if (count < 0 || count > kAbsurd) throw TimeZoneError("the file of time zone \"" + name + "\" is damaged");
        counts[i] = static_cast<std::size_t>(count);
    }
    return {counts[0], counts[1], counts[2], counts[3], counts[4], counts[5]};
}

bool IsZoneName(const std::string& name) {
    const auto allowed = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
               c == '+' || c == '/';
    };
    return !name.empty() && name.front() != '/' && std::all_of(name.begin(), name.end(), allowed);
}

}  // namespace

TimeZone::TimeZone() { m_rules.standardName = "UTC"; }

TimeZone TimeZone::Load(const std::string& name) {
    TimeZone zone;
    if (name.empty() || name == "UTC") return zone;
    const char* directory = std::getenv("TZDIR");
    const std::filesystem::path path = std::filesystem::path(directory ? directory : "/usr/share/zoneinfo") / name;
    std::error_code error;
    if (!IsZoneName(name) || !std::filesystem::is_regular_file(path, error)) {
        throw TimeZoneError("no time zone is named \"" + name +
                            "\"; give a name of the tz database, for instance Europe/Berlin");
    }
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    zone.Read(bytes, name);
    return zone;
}

TimeZone::Rules TimeZone::ParseRules(const std::string& text) { return RulesReader(text).Read(); }

void TimeZone::Read(const std::string& bytes, const std::string& name) {
    const Header first = ReadHeader(bytes, 0, name);
    const std::size_t start = kHeaderSize + first.DataSize(4);
    const Header header = ReadHeader(bytes, start, name);
    const std::size_t times = start + kHeaderSize;
    const std::size_t footer = times + header.DataSize(8);
    if (bytes.size() < footer + 2 || bytes[footer] != '\n') {
        throw TimeZoneError("the file of time zone \"" + name + "\" is cut off");
    }
    const std::size_t indices = times + header.transitions * 8;
    const std::size_t types = indices + header.transitions;
    for (std::size_t i = 0; i < header.types; ++i) {
        m_locals.push_back({BigEndian(bytes, types + i * 6, 4), bytes[types + i * 6 + 4] != 0});
    }
    for (std::size_t i = 0; i < header.transitions; ++i) {
        const auto local = static_cast<unsigned char>(bytes[indices + i]);
        if (local >= m_locals.size()) throw TimeZoneError("the file of time zone \"" + name + "\" is damaged");
        m_transitions.push_back({BigEndian(bytes, times + i * 8, 8), local});
    }
    const std::string rules = bytes.substr(footer + 1, bytes.find('\n', footer + 1) - footer - 1);
    m_rules = ParseRules(rules);
}

TimeZone::Local TimeZone::LocalByRules(std::int64_t utcSeconds) const {
    if (!m_rules.hasDaylight) return {m_rules.standardOffset, false};
    const std::int64_t day = (utcSeconds + m_rules.standardOffset) / kSecondsPerDay -
                             ((utcSeconds + m_rules.standardOffset) % kSecondsPerDay < 0 ? 1 : 0);
    const std::int64_t year = DateOf(day).year;
    const std::int64_t start = MomentOf(m_rules.daylightStart, year) - m_rules.standardOffset;
    const std::int64_t end = MomentOf(m_rules.daylightEnd, year) - m_rules.daylightOffset;
    const bool daylight =
        start < end ? utcSeconds >= start && utcSeconds < end : utcSeconds >= start || utcSeconds < end;
    return {daylight ? m_rules.daylightOffset : m_rules.standardOffset, daylight};
}

TimeZone::Local TimeZone::LocalAt(std::int64_t utcSeconds) const {
    if (m_transitions.empty() || utcSeconds >= m_transitions.back().at) return LocalByRules(utcSeconds);
    const auto later =
        std::upper_bound(m_transitions.begin(), m_transitions.end(), utcSeconds,
                         [](std::int64_t moment, const Transition& transition) { return moment < transition.at; });
    return m_locals[later == m_transitions.begin() ? 0 : std::prev(later)->local];
}

std::int64_t TimeZone::OffsetAt(std::int64_t utcSeconds) const { return LocalAt(utcSeconds).offset; }

bool TimeZone::IsDaylightAt(std::int64_t utcSeconds) const { return LocalAt(utcSeconds).daylight; }

}  // namespace kez::control
