// Dates as the exception list and the modified occurrences write them: YYYY-MM-DD hh:mm:ss.
#pragma once

#include <windows.h>

// A date text with its terminator; room also for a year of five digits.
struct DateText {
    WCHAR text[24];
};

// A date that cannot be taken apart gives a text of zeros.
DateText FormatDate(DATE date);

// Reads a date text into `parts`; its day of week and milliseconds are left alone. FALSE, with `parts` untouched,
// where the separators are not in their places. Numbers are not checked. The text is written to while it is read,
// and left as it was.
BOOL ParseDate(WCHAR* text, SYSTEMTIME* parts);
