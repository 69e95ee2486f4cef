// What the trace log keeps for the whole process, in one place. For the files of this folder and for tests, which
// begin anew with `g_trace = {}`.
#pragma once

#include <windows.h>

// The log file's handle, invalid (all bits set) from the start of the process on.
class LogHandle {
 public:
    constexpr LogHandle() = default;
    LogHandle& operator=(HANDLE handle) {
        m_bits = reinterpret_cast<std::intptr_t>(handle);
        return *this;
    }
    operator HANDLE() const { return reinterpret_cast<HANDLE>(m_bits); }

 private:
    std::intptr_t m_bits = -1;
};

struct TraceState {
    LONG level = 0;  // messages above it are dropped; 0 is off
    LogHandle file;
    bool closed = false;      // once set, nothing more is written
    bool openedOnce = false;  // the banner has been written
    bool lineMode = true;     // prefix, indentation and line end around each message
    LONG indentation = 0;     // blanks after the prefix; -1 for neither prefix nor blanks
    char message[512] = {};   // where the narrow trace formats
    char flagText[512] = {};  // where the dumps join names and convert texts
    char prefix[256] = {};
    char timeText[25] = {};
    const WCHAR* directory = TEXT("");  // put before the names of the log, the last log and the level file
};

// Static objects of other files trace while they are made: the state must stand before any constructor has run.
static_assert((static_cast<void>(TraceState{}), true), "the state is initialised by the compiler");

extern TraceState g_trace;

// Whether a message or a dump of this level has to be written as things stand.
inline bool TraceWanted(LONG level) { return level <= g_trace.level && g_trace.level != 0; }
