// Functions on zero-terminated text of 16-bit units. Comparing is by the unit's value.
#include <windows.h>

namespace {

constexpr WCHAR LowerCase(WCHAR character) {
    return character >= u'A' && character <= u'Z' ? static_cast<WCHAR>(character + (u'a' - u'A')) : character;
}

constexpr WCHAR Same(WCHAR character) { return character; }

// The difference of the first pair that differs once both are mapped.
template <class Map>
INT Compare(const WCHAR* a, const WCHAR* b, std::size_t count, Map map) {
    for (std::size_t i = 0; i < count; ++i) {
        const WCHAR first = map(a[i]);
        const WCHAR second = map(b[i]);
        if (first != second) return INT{first} - INT{second};
        if (first == 0) break;
    }
    return 0;
}

constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);

INT Sign(INT difference) { return difference < 0 ? -1 : (difference > 0 ? 1 : 0); }

}  // namespace

std::size_t wcslen(const WCHAR* text) {
    std::size_t length = 0;
    while (text[length] != 0) ++length;
    return length;
}

INT wcscmp(const WCHAR* a, const WCHAR* b) { return Sign(Compare(a, b, kNoLimit, Same)); }

INT wcsncmp(const WCHAR* a, const WCHAR* b, std::size_t count) { return Sign(Compare(a, b, count, Same)); }

INT _wcsicmp(const WCHAR* a, const WCHAR* b) { return Compare(a, b, kNoLimit, LowerCase); }

INT _wcsnicmp(const WCHAR* a, const WCHAR* b, std::size_t count) { return Compare(a, b, count, LowerCase); }

WCHAR* wcscpy(WCHAR* to, const WCHAR* from) {
    std::memcpy(to, from, (wcslen(from) + 1) * sizeof(WCHAR));
    return to;
}

WCHAR* wcsncpy(WCHAR* to, const WCHAR* from, std::size_t count) {
    std::size_t i = 0;
    for (; i < count && from[i] != 0; ++i) to[i] = from[i];
    for (; i < count; ++i) to[i] = 0;
    return to;
}

WCHAR* wcscat(WCHAR* to, const WCHAR* from) {
    wcscpy(to + wcslen(to), from);
    return to;
}

const WCHAR* wcsstr(const WCHAR* text, const WCHAR* part) {
    const std::size_t length = wcslen(part);
    if (length == 0) return text;
    for (; *text != 0; ++text) {
        if (wcsncmp(text, part, length) == 0) return text;
    }
    return nullptr;
}

WCHAR* wcsstr(WCHAR* text, const WCHAR* part) {
    return const_cast<WCHAR*>(wcsstr(static_cast<const WCHAR*>(text), part));
}

const WCHAR* wcschr(const WCHAR* text, WCHAR character) {
    for (;; ++text) {
        if (*text == character) return text;
        if (*text == 0) return nullptr;
    }
}

WCHAR* wcschr(WCHAR* text, WCHAR character) {
    return const_cast<WCHAR*>(wcschr(static_cast<const WCHAR*>(text), character));
}

WCHAR* wcstok(WCHAR* text, const WCHAR* delimiters) {
    thread_local WCHAR* t_rest = nullptr;
    if (text) t_rest = text;
    if (!t_rest) return nullptr;
    const auto isDelimiter = [delimiters](WCHAR character) { return wcschr(delimiters, character) != nullptr; };
    while (*t_rest != 0 && isDelimiter(*t_rest)) ++t_rest;
    if (*t_rest == 0) return nullptr;
    WCHAR* token = t_rest;
    while (!isDelimiter(*t_rest)) ++t_rest;  // the terminator counts as one
    if (*t_rest != 0) *t_rest++ = 0;
    return token;
}

LONG _wtol(const WCHAR* text) {
    while (*text == u' ' || (*text >= u'\t' && *text <= u'\r')) ++text;
    const bool negative = *text == u'-';
    if (negative || *text == u'+') ++text;
    std::uint32_t value = 0;  // too large a number wraps
    for (; *text >= u'0' && *text <= u'9'; ++text) value = value * 10 + (*text - u'0');
    return static_cast<LONG>(negative ? 0 - value : value);
}
