// Stands in for the trace log: formats as the log does, by the platform's rules, and keeps the lines.
#include "tests/doubles/recorded_trace.h"

#include <cstdarg>
#include <ostream>
#include <utility>

#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

std::vector<kez::tests::TraceLine> g_lines;
kez::tests::TraceCheck g_check = nullptr;

void Record(LONG level, const char* text) {
    g_lines.push_back({level, text});
    if (g_check != nullptr) g_check(g_lines.back());
}

}  // namespace

INT dbglog(LONG level, LPCSTR format, ...) {
    char text[512] = {};
    va_list arguments;
    va_start(arguments, format);
    _vsnprintf(text, sizeof(text) - 1, format, arguments);
    va_end(arguments);
    Record(level, text);
    return 0;
}

INT dbglogW(LONG level, LPCWSTR format, ...) {
    WCHAR wide[257] = {};
    va_list arguments;
    va_start(arguments, format);
    _vsnwprintf(wide, 256, format, arguments);
    va_end(arguments);
    char text[1024] = {};
    WideCharToMultiByte(CP_ACP, 0, wide, -1, text, sizeof(text), nullptr, nullptr);
    Record(level, text);
    return 0;
}

LPCSTR dbglogVariantTimeText(LPCSTR, DATE date) {
    static std::string text;
    char digits[32] = {};
    _snprintf(digits, sizeof(digits) - 1, "%f", date);
    text = digits;
    return text.c_str();
}

INT dbglogCEPROPVAL(LONG level, LPCSTR label, const CEPROPVAL* value) {
    char text[64] = {};
    _snprintf(text, sizeof(text) - 1, "%s dump of 0x%08x", label, value->propid);
    Record(level, text);
    return 0;
}

namespace kez::tests {

void PrintTo(const TraceLine& line, std::ostream* out) { *out << line.level << " \"" << line.text << "\""; }

void CheckEachTrace(TraceCheck check) { g_check = check; }

std::vector<TraceLine> TakeTraces() { return std::exchange(g_lines, {}); }

std::vector<std::string> TakeTraceTexts(const std::string& prefix) {
    std::vector<std::string> texts;
    for (TraceLine& line : TakeTraces()) {
        if (line.text.compare(0, prefix.size(), prefix) == 0) texts.push_back(std::move(line.text));
    }
    return texts;
}

}  // namespace kez::tests
