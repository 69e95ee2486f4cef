// Formats and parses the dates of the exception list.
#include "poom/date_text.h"

namespace {

struct Separator {
    UINT place;
    WCHAR character;
};
constexpr Separator kSeparators[] = {{4, TEXT('-')}, {7, TEXT('-')}, {10, TEXT(' ')}, {13, TEXT(':')}, {16, TEXT(':')}};

// The number that begins at `begin` and ends before `end`, cut out for as long as it is read.
WORD NumberAt(WCHAR* text, UINT begin, UINT end) {
    const WCHAR separator = text[end];
    text[end] = 0;
    const WORD number = static_cast<WORD>(_wtol(text + begin));
    text[end] = separator;
    return number;
}

}  // namespace

DateText FormatDate(DATE date) {
    SYSTEMTIME parts = {};
    VariantTimeToSystemTime(date, &parts);
    DateText result = {};
    _snwprintf(result.text, sizeof(result.text) / sizeof(WCHAR) - 1, TEXT("%04d-%02d-%02d %02d:%02d:%02d"), parts.wYear,
               parts.wMonth, parts.wDay, parts.wHour, parts.wMinute, parts.wSecond);
    return result;
}

BOOL ParseDate(WCHAR* text, SYSTEMTIME* parts) {
    const std::size_t length = wcslen(text);
    for (const Separator& separator : kSeparators) {
        if (separator.place >= length || text[separator.place] != separator.character) return FALSE;
    }
    parts->wYear = NumberAt(text, 0, 4);
    parts->wMonth = NumberAt(text, 5, 7);
    parts->wDay = NumberAt(text, 8, 10);
    parts->wHour = NumberAt(text, 11, 13);
    parts->wMinute = NumberAt(text, 14, 16);
    parts->wSecond = static_cast<WORD>(_wtol(text + 17));
    return TRUE;
}
