// Trace logs as lines that can be compared: without time stamps, with what differs from run to run (addresses, handles,
// identifiers of volumes) masked where a test asks for it.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace kez::tests {

// The lines of a log file without time stamps, indentation kept; the blank line and the banner left out.
inline std::vector<std::string> LogLinesOf(const std::string& text) {
    static const std::regex prefix(R"(^\d{4} \d{2}:\d{2}:\d{2}\.\d{3} (.*)$)");
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::smatch match;
        if (std::regex_match(line, match, prefix)) lines.push_back(match[1]);
    }
    return lines;
}

inline std::string Trimmed(const std::string& line) {
    const auto first = line.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : line.substr(first);
}

// Numbers that differ from run to run, by what stands before them.
inline std::string Masked(std::string line) {
    static const struct {
        std::regex what;
        const char* with;
    } rules[] = {
        {std::regex(R"((hDatabase=|guid: |Opened Delta table: |m_pCollection = |GetAppointment\(\):  )[-0-9a-fx.]+)"),
         "$1*"},
        {std::regex(R"((retrieved existing guid).*)"), "$1"},
        {std::regex(R"((mod values: )[-0-9]+, [-0-9]+)"), "$1*"},
        {std::regex(R"((RecordProps::\()[0-9]+<)"), "$1*<"},
        {std::regex(
             R"((m_vProps = 0x|size = [0-9]+, bytes = 0x|pNotify=|lpvUser=|lpbVolumeID=|blob\.lpb = 0x|AddrOfPbuf=|pbyte==)[-0-9a-f]+)"),
         "$1*"},
    };
    for (const auto& rule : rules) line = std::regex_replace(line, rule.what, rule.with);
    return line;
}

// Compares lines with the text file `expected` (one line a line). With KEZ_WRITE_EXPECTED set in the environment the
// file is written instead, for a change that is meant. Returns what differs, or nothing.
inline std::string DifferenceFrom(const std::string& expectedFile, const std::vector<std::string>& lines) {
    if (std::getenv("KEZ_WRITE_EXPECTED") != nullptr) {
        std::ofstream out(expectedFile, std::ios::binary);
        for (const std::string& line : lines) out << Masked(line) << "\n";
    }
    std::ifstream in(expectedFile, std::ios::binary);
    if (!in) return "no file " + expectedFile;
    std::vector<std::string> expected;
    for (std::string line; std::getline(in, line);) expected.push_back(line);
    for (std::size_t i = 0; i < std::max(expected.size(), lines.size()); ++i) {
        const std::string want = i < expected.size() ? expected[i] : "(end)";
        const std::string got = i < lines.size() ? Masked(lines[i]) : "(end)";
        if (want != got) {
            return expectedFile + ":" + std::to_string(i + 1) + "\n  expected: " + want + "\n  logged:   " + got;
        }
    }
    return {};
}

}  // namespace kez::tests
