// The trace log's file and its lines.
//
// A line is "MMDD hh:mm:ss.mmm ", as many blanks as the calls are deep, the text, and "\r\n". It is put together
// first and written with one call, so that a line is never torn.
#include "trace/trace_log.h"

#include <cstdlib>

#include "trace/trace_state.h"

TraceState g_trace;

namespace {

constexpr LPCWSTR kLogName = TEXT("\\DevLog.txt");
constexpr LPCWSTR kLastLogName = TEXT("\\DevLog-.txt");
constexpr LPCWSTR kLevelName = TEXT("\\dbglev.ini");

constexpr DWORD kLevelBytes = 8;
constexpr LONG kStep = 2;
constexpr LONG kDeepest = 512;
constexpr std::size_t kMessageLimit = sizeof g_trace.message - 1;
constexpr std::size_t kWideLimit = 256;
constexpr std::size_t kConvertedLimit = 1023;

void FullPath(WCHAR (&path)[MAX_PATH], LPCWSTR name) {
    wcsncpy(path, g_trace.directory, MAX_PATH - 1);
    path[MAX_PATH - 1] = 0;
    wcsncpy(path + wcslen(path), name, MAX_PATH - 1 - wcslen(path));
    path[MAX_PATH - 1] = 0;
}

void Write(const char* bytes, std::size_t length) {
    DWORD written = 0;
    WriteFile(g_trace.file, bytes, static_cast<DWORD>(length), &written, nullptr);
}

// Appends the prefix of a line to `line` and moves the indentation by the text's last character. Returns the
// number of characters appended.
std::size_t AppendPrefix(char* line, const char* text, std::size_t length) {
    if (g_trace.indentation < 0 || length == 0) return 0;
    const char last = text[length - 1];
    if (last == '-' && g_trace.indentation > 1) g_trace.indentation -= kStep;

    SYSTEMTIME now;
    GetSystemTime(&now);
    _snprintf(g_trace.prefix, sizeof g_trace.prefix, "%02d%02d %02d:%02d:%02d.%03d ", now.wMonth, now.wDay, now.wHour,
              now.wMinute, now.wSecond, now.wMilliseconds);
    const std::size_t prefix = std::strlen(g_trace.prefix);
    std::memcpy(line, g_trace.prefix, prefix);
    const std::size_t blanks = static_cast<std::size_t>(g_trace.indentation);
    std::memset(line + prefix, ' ', blanks);

    if (last == '+' && g_trace.indentation < kDeepest) g_trace.indentation += kStep;
    return prefix + blanks;
}

void WriteMessage(const char* text) {
    const std::size_t length = std::strlen(text);
    if (!g_trace.lineMode) {
        Write(text, length);
        return;
    }
    char line[sizeof g_trace.prefix + kDeepest + kConvertedLimit + 2];
    std::size_t at = AppendPrefix(line, text, length);
    std::memcpy(line + at, text, length);
    at += length;
    std::memcpy(line + at, "\r\n", 2);
    Write(line, at + 2);
}

// The level file holds the level as decimal text; it is made where it is missing, so that there is one to edit.
void ReadLevelFile() {
    WCHAR path[MAX_PATH];
    FullPath(path, kLevelName);
    // For reading too: a handle for writing alone reads nothing.
    HANDLE file = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    char text[kLevelBytes + 1] = {};
    DWORD bytes = 0;
    ReadFile(file, text, kLevelBytes, &bytes, nullptr);
    CloseHandle(file);
    if (bytes == 0) return;
    text[bytes] = 0;
    const LONG level = static_cast<LONG>(std::atol(text));
    if (level > 0) g_trace.level = level;
}

bool StartNewFile() {
    WCHAR log[MAX_PATH];
    WCHAR lastLog[MAX_PATH];
    FullPath(log, kLogName);
    FullPath(lastLog, kLastLogName);
    CopyFileW(log, lastLog, FALSE);
    DeleteFileW(log);
    g_trace.file = CreateFileW(log, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
    if (g_trace.file == INVALID_HANDLE_VALUE) return false;
    SetFilePointer(g_trace.file, 0, nullptr, FILE_END);
    return true;
}

void WriteBanner() {
    g_trace.openedOnce = true;
    g_trace.indentation = -1;
    Write("\r\n", 2);
    SYSTEMTIME now;
    GetSystemTime(&now);
    dbglog(0, "************************ %02d/%02d/%02d %02d:%02d:%02d.%03d *******************\r\n", now.wYear,
           now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    g_trace.indentation = 0;
}

bool ReadyToWrite(LONG level) { return TraceWanted(level) && !g_trace.closed && dbglogOpen(); }

}  // namespace

INT dbglog(LONG level, LPCSTR format, ...) {
    if (!ReadyToWrite(level)) return 0;
    // Filled with zeroes first: a format that breaks off leaves its text without an end.
    std::memset(g_trace.message, 0, sizeof g_trace.message);
    va_list arguments;
    va_start(arguments, format);
    _vsnprintf(g_trace.message, kMessageLimit, format, arguments);
    va_end(arguments);
    WriteMessage(g_trace.message);
    return 0;
}

INT dbglogW(LONG level, LPCWSTR format, ...) {
    if (!ReadyToWrite(level)) return 0;
    WCHAR wide[kWideLimit + 1] = {};
    va_list arguments;
    va_start(arguments, format);
    _vsnwprintf(wide, kWideLimit, format, arguments);
    va_end(arguments);
    char text[kConvertedLimit + 1] = {};
    WideCharToMultiByte(CP_ACP, 0, wide, -1, text, kConvertedLimit, nullptr, nullptr);
    WriteMessage(text);
    return 0;
}

void dbglogSetLevel(LONG level) {
    g_trace.level = level;
    dbglog(level, "dbglogSetLevel::Set DbgLevel to %d.", level);
}

void dbglogClose() {
    if (g_trace.file != INVALID_HANDLE_VALUE) {
        CloseHandle(g_trace.file);
        g_trace.file = INVALID_HANDLE_VALUE;
    }
    g_trace.closed = true;
}

BOOL dbglogOpen() {
    if (g_trace.closed) return g_trace.file != INVALID_HANDLE_VALUE;
    if (g_trace.file != INVALID_HANDLE_VALUE) return TRUE;
    ReadLevelFile();
    if (!StartNewFile()) return FALSE;
    if (!g_trace.openedOnce) WriteBanner();
    return TRUE;
}
