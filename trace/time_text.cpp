// Times as text, for traces.
#include "trace/trace_log.h"
#include "trace/trace_state.h"

namespace {

constexpr LPCSTR kDefaultFormat = "%02d/%02d/%02d %02d:%02d:%02d.%03d";

LPCSTR NoTimeText() {
    std::memset(g_trace.timeText, 0, sizeof g_trace.timeText);
    return g_trace.timeText;
}

bool IsPositive(DWORD half) { return static_cast<LONG>(half) > 0; }

}  // namespace

LPCSTR dbglogSystemTimeText(LPCSTR format, const SYSTEMTIME* time) {
    NoTimeText();
    if (time) {
        _snprintf(g_trace.timeText, sizeof g_trace.timeText - 1, format ? format : kDefaultFormat, time->wYear,
                  time->wMonth, time->wDay, time->wHour, time->wMinute, time->wSecond, time->wMilliseconds);
    }
    return g_trace.timeText;
}

LPCSTR dbglogFileTimeText(LPCSTR format, const FILETIME* time) {
    // Every other low half counts as negative and gives no text: on purpose.
    if (!time || !IsPositive(time->dwHighDateTime) || !IsPositive(time->dwLowDateTime)) return NoTimeText();
    SYSTEMTIME parts;
    if (!FileTimeToSystemTime(time, &parts)) return NoTimeText();
    return dbglogSystemTimeText(format, &parts);
}

LPCSTR dbglogVariantTimeText(LPCSTR format, DATE date) {
    SYSTEMTIME parts;
    if (!VariantTimeToSystemTime(date, &parts)) return NoTimeText();
    return dbglogSystemTimeText(format, &parts);
}
