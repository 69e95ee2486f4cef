// The trace log: a text file on the device that follows what the provider does.
//
// Every message carries a level and is written when the level is not above the current one; level 0 means that the
// log is off. Levels in use: 0 failures and what is always wanted, 25 details, 50 the calls, 100 everything.
//
// A message that ends in "+" indents those after it by two blanks, one that ends in "-" goes back before it is
// written: entry traces end in "+" and exit traces in "-", so the log shows who called whom.
//
// Formats are the platform's (see _vsnprintf in <windows.h>): %ld and %lu take 32 bits, %s takes text of the
// function's own width and %S of the other. A wide text handed to a narrow %s shows its first character only.
//
// Nothing here reports a failure of the log, and nothing takes a lock: the provider is called from one thread.
#pragma once

#include <windows.h>

// Writes one line, cut to 511 characters. Always returns 0.
INT dbglog(LONG level, LPCSTR format, ...);

// The same for a wide format of at most 256 characters, written in the system's default code page.
INT dbglogW(LONG level, LPCWSTR format, ...);

// Sets the current level and traces it at that very level.
void dbglogSetLevel(LONG level);

// Closes the log file and keeps the log silent for as long as the process (or the library) lives.
void dbglogClose();

// Opens "\DevLog.txt" where it is not open yet: reads the level file "\dbglev.ini", moves the last log to
// "\DevLog-.txt", begins a new one with a banner. TRUE when the file is open. The traces call it themselves.
BOOL dbglogOpen();

// Texts of a time, as year, month, day, hour, minute, second and milliseconds. A null format stands for
// "%02d/%02d/%02d %02d:%02d:%02d.%03d". The result is one shared buffer of 24 characters at most, good until the
// next call of any of the three; it is empty for a null time and for one that cannot be converted.
LPCSTR dbglogSystemTimeText(LPCSTR format, const SYSTEMTIME* time);
// Empty also for a time whose high or low half is zero or, taken as signed, negative.
LPCSTR dbglogFileTimeText(LPCSTR format, const FILETIME* time);
LPCSTR dbglogVariantTimeText(LPCSTR format, DATE date);
