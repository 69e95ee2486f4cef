// Keeps the order of calls of all doubles of a test.
#include "tests/doubles/recorded_calls.h"

#include <sstream>
#include <utility>

namespace kez::tests {

HRESULT RecordedCalls::Made(const std::string& call, const std::string& argument) {
    m_made.push_back(argument.empty() ? call : call + "(" + argument + ")");
    const auto found = m_failures.find(call);
    if (found == m_failures.end()) return S_OK;
    Failure& failure = found->second;
    if (failure.before > 0) {
        --failure.before;
        return S_OK;
    }
    const HRESULT code = failure.code;
    if (--failure.times == 0) m_failures.erase(found);
    return code;
}

void RecordedCalls::Fail(const std::string& call, HRESULT code, int times, int nth) {
    m_failures[call] = {code, nth - 1, times};
}

std::vector<std::string> RecordedCalls::Take(const std::string& prefix) {
    std::vector<std::string> taken;
    for (std::string& call : std::exchange(m_made, {})) {
        if (call.compare(0, prefix.size(), prefix) == 0) taken.push_back(std::move(call));
    }
    return taken;
}

std::string Shown(LONG value) { return std::to_string(value); }

std::string Shown(DATE value) {
    std::ostringstream text;
    text.precision(11);
    text << value;
    return text.str();
}

std::string Shown(const WCHAR* value) {
    if (value == nullptr) return "null";
    std::string text = "\"";
    for (; *value != 0; ++value) text += static_cast<char>(*value & 0xFF);
    return text + "\"";
}

}  // namespace kez::tests
