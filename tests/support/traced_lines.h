// The lines of the device's trace log, for tests that compare traces as text.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/test_device.h"
#include "trace/trace_log.h"
#include "trace/trace_state.h"

namespace kez::tests {

// A trace log that has not been used yet, for the length of a test. Make it after the TestDevice.
class FreshTraceLog {
 public:
    explicit FreshTraceLog(const TestDevice& device) : m_device(device) { g_trace = {}; }
    ~FreshTraceLog() {
        dbglogClose();
        g_trace = {};
    }
    FreshTraceLog(const FreshTraceLog&) = delete;
    FreshTraceLog& operator=(const FreshTraceLog&) = delete;

    // The messages written so far with their indentation, without banner, time stamps and the line of SetLevel.
    std::vector<std::string> Lines() const {
        constexpr std::size_t kStamp = 18;  // "0302 10:00:00.000 "
        std::vector<std::string> lines;
        std::istringstream text(m_device.ReadText("DevLog.txt"));
        for (std::string line; std::getline(text, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty() || line[0] == '*') continue;
            if (line.size() >= kStamp) line.erase(0, kStamp);
            if (line.rfind("dbglogSetLevel::", 0) != 0) lines.push_back(line);
        }
        return lines;
    }

 private:
    const TestDevice& m_device;
};

}  // namespace kez::tests
