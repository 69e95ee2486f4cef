// Cuts a text into its parts, in place.
#pragma once

#include <windows.h>

// Finds the next part that is not empty at or behind `place`, ends it with a terminator, and moves `place` behind it.
// Null where there is none. `cut` (may be null) gets the place of the terminator that replaced a separator, or null
// where the part ended with the text; who wants the text back puts the separator there.
inline WCHAR* NextToken(WCHAR*& place, WCHAR separator, WCHAR** cut = nullptr) {
    while (*place == separator) ++place;
    if (*place == 0) return nullptr;
    WCHAR* token = place;
    while (*place != 0 && *place != separator) ++place;
    const bool separated = *place == separator;
    if (cut != nullptr) *cut = separated ? place : nullptr;
    if (separated) *place++ = 0;
    return token;
}
