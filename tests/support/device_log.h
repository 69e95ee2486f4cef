// The trace log that this test program itself writes on its device.
#pragma once

#include <string>
#include <vector>

#include "tests/support/log_text.h"
#include "tests/support/test_device.h"
#include "trace/trace_log.h"
#include "trace/trace_state.h"

namespace kez::tests {

// Begins a new log of this program's own trace at `level`; call it with the device open.
inline void StartLog(LONG level) {
    if (g_trace.file != INVALID_HANDLE_VALUE) CloseHandle(g_trace.file);
    g_trace = {};
    g_trace.level = level;
}

// Ends it: nothing of it stays open.
inline void StopLog() {
    if (g_trace.file != INVALID_HANDLE_VALUE) CloseHandle(g_trace.file);
    g_trace = {};
}

inline std::vector<std::string> LogLines(const TestDevice& device) { return LogLinesOf(device.ReadText("DevLog.txt")); }

// Without the indentation.
inline std::vector<std::string> TrimmedLog(const TestDevice& device) {
    std::vector<std::string> lines = LogLines(device);
    for (std::string& line : lines) line = Trimmed(line);
    return lines;
}

}  // namespace kez::tests
