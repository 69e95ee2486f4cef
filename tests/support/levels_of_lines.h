// From which level on each line of a log is written, for tests that pin the levels and not only the texts.
#pragma once

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/device_log.h"

namespace kez::tests {

// Runs `scenario` once at each of several levels and returns its lines, each once, as "25 the text". The number is
// the lowest of those levels that showed the line: the levels in use, and one below each, so that a level that is a
// little off shows as well. Lines that begin with one of `others` are another room's and left out.
template <class Scenario>
std::vector<std::string> LevelsOfLines(const TestDevice& device, const std::vector<std::string>& others,
                                       Scenario scenario) {
    std::map<std::string, LONG> lowest;
    std::vector<std::string> lines;
    for (LONG level : {1, 24, 25, 49, 50, 74, 75, 100}) {
        std::filesystem::remove(device.Folder() / "DevLog.txt");
        StartLog(level);
        scenario();
        StopLog();
        lines = TrimmedLog(device);
        for (std::string& line : lines) {
            line = Masked(line);
            lowest.emplace(line, level == 1 ? 0 : level);
        }
    }
    std::vector<std::string> levels;
    for (const std::string& line : lines) {
        const bool isOther = std::any_of(others.begin(), others.end(),
                                         [&](const std::string& other) { return line.rfind(other, 0) == 0; });
        const std::string level = std::to_string(lowest[line]) + " " + line;
        if (!isOther && std::find(levels.begin(), levels.end(), level) == levels.end()) levels.push_back(level);
    }
    return levels;
}

}  // namespace kez::tests
