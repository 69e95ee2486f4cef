#include "partner/said_change.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

namespace kez::partner {
namespace {

constexpr std::size_t kLongestValue = 64;

bool BeginsWith(std::string_view line, std::string_view name) {
    return line.size() >= name.size() && std::equal(name.begin(), name.end(), line.begin(), [](char a, char b) {
               return a == (b >= 'a' && b <= 'z' ? b - 'a' + 'A' : b);
           });
}

// The value of a line of that property; nothing for another line.
std::optional<std::string_view> ValueOf(std::string_view line, std::string_view name) {
    if (!BeginsWith(line, name) || line.size() == name.size()) return std::nullopt;
    if (line[name.size()] != ':' && line[name.size()] != ';') return std::nullopt;
    bool quoted = false;
    for (std::size_t i = name.size(); i < line.size(); ++i) {
        if (line[i] == '"') quoted = !quoted;
        if (line[i] == ':' && !quoted) return line.substr(i + 1);
    }
    return std::nullopt;
}

// So many digits, the separators that may stand before each pair of them left out.
bool TakeNumber(std::string_view& text, std::size_t digits, char separator, int& number) {
    if (separator && !text.empty() && text[0] == separator) text.remove_prefix(1);
    if (text.size() < digits) return false;
    number = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        number = number * 10 + (text[i] - '0');
    }
    text.remove_prefix(digits);
    return true;
}

// "20260302T100000Z", "2026-03-02T10:00:00.5+01:00"; without a zone it is UTC.
std::int64_t Moment(std::string_view text) {
    text = text.substr(0, kLongestValue);
    int year, month, day, hour, minute, second;
    if (!TakeNumber(text, 4, 0, year) || !TakeNumber(text, 2, '-', month) || !TakeNumber(text, 2, '-', day)) return 0;
    if (text.empty() || text[0] != 'T') return 0;
    text.remove_prefix(1);
    if (!TakeNumber(text, 2, 0, hour) || !TakeNumber(text, 2, ':', minute) || !TakeNumber(text, 2, ':', second)) {
        return 0;
    }
    if (!text.empty() && text[0] == '.')
        text.remove_prefix(std::min(text.find_first_not_of("0123456789", 1), text.size()));
    int offset = 0;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        const int sign = text[0] == '-' ? -1 : 1;
        int hours = 0;
        int minutes = 0;
        text.remove_prefix(1);
        if (!TakeNumber(text, 2, 0, hours)) return 0;
        TakeNumber(text, 2, ':', minutes);
        offset = sign * (hours * 60 + minutes);
    }
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok() || hour > 23 || minute > 59 || second > 60) return 0;
    const auto days = std::chrono::sys_days(date).time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(days).count() + hour * 3600 + minute * 60 + second -
           offset * 60;
}

}  // namespace

std::int64_t SaidChange(std::string_view bytes) {
    std::int64_t last = 0;
    bool inZone = false;
    while (!bytes.empty()) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        const std::string_view line = bytes.substr(0, end);
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
        // A time zone says when its own rules were changed.
        if (BeginsWith(line, "BEGIN:VTIMEZONE")) inZone = true;
        if (BeginsWith(line, "END:VTIMEZONE")) inZone = false;
        if (inZone) continue;
        for (const char* name : {"REV", "LAST-MODIFIED"}) {
            if (const auto value = ValueOf(line, name)) last = std::max(last, Moment(*value));
        }
    }
    return last;
}

}  // namespace kez::partner
