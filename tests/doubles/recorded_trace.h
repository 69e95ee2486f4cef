// A double of the trace log that remembers what is traced, with its level. A program that links recorded_trace.cpp
// has no log file.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace kez::tests {

struct TraceLine {
    LONG level;
    std::string text;
    bool operator==(const TraceLine& other) const { return level == other.level && text == other.text; }
};

// Shown by a failing test.
void PrintTo(const TraceLine& line, std::ostream* out);

// Called with every line that is traced from here on; null for nobody.
using TraceCheck = void (*)(const TraceLine& line);
void CheckEachTrace(TraceCheck check);

// What was traced since the last call.
std::vector<TraceLine> TakeTraces();
// The texts alone, and only those that begin with `prefix`.
std::vector<std::string> TakeTraceTexts(const std::string& prefix = "");

}  // namespace kez::tests
