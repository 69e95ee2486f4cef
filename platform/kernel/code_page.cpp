// Conversions between 16-bit text and the two narrow encodings: code page 1252, the device's default, and UTF-8.
#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "platform/control/control.h"
#include "platform/kernel/device_path.h"

namespace kez::kernel {

namespace {

constexpr UINT kCodePage1252 = 1252;
constexpr char32_t kReplacement = 0xFFFD;

// What bytes 0x80 to 0x9F stand for; the others stand for the character of the same number.
constexpr std::array<WCHAR, 32> k1252 = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

WCHAR From1252(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= 0x80 && value < 0xA0 ? k1252[value - 0x80u] : WCHAR{value};
}

// The byte of `character`; false where code page 1252 has none.
bool To1252(WCHAR character, char* byte) {
    if (character < 0x80 || (character >= 0xA0 && character <= 0xFF)) {
        *byte = static_cast<char>(character);
        return true;
    }
    const auto found = std::find(k1252.begin(), k1252.end(), character);
    if (found == k1252.end()) return false;
    *byte = static_cast<char>(0x80 + (found - k1252.begin()));
    return true;
}

bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void AppendUtf8(std::string& out, char32_t code) {
    const auto tail = [&](int shift) { out += static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | code >> 6);
        tail(0);
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | code >> 12);
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | code >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

std::string EncodeUtf8(const WCHAR* text, std::size_t length) {
    std::string out;
    out.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        char32_t code = text[i];
        if (IsHighSurrogate(code) && i + 1 < length && IsLowSurrogate(text[i + 1])) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00);
        } else if (IsHighSurrogate(code) || IsLowSurrogate(code)) {
            code = kReplacement;
        }
        AppendUtf8(out, code);
    }
    return out;
}

// Takes one character from the front of `rest`; a broken sequence gives the replacement and takes its first byte and
// those of its followers that still fit.
char32_t TakeUtf8(std::string_view& rest) {
    const auto first = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    if (first < 0x80) return first;
    struct Form {
        unsigned char low, high;  // first byte
        int followers;
        char32_t smallest;
    };
    constexpr Form kForms[] = {{0xC2, 0xDF, 1, 0x80}, {0xE0, 0xEF, 2, 0x800}, {0xF0, 0xF4, 3, 0x10000}};
    for (const Form& form : kForms) {
        if (first < form.low || first > form.high) continue;
        char32_t code = first & (0x3F >> form.followers);
        for (int i = 0; i < form.followers; ++i) {
            if (rest.empty() || (static_cast<unsigned char>(rest.front()) & 0xC0) != 0x80) return kReplacement;
            code = code << 6 | (static_cast<unsigned char>(rest.front()) & 0x3F);
            rest.remove_prefix(1);
        }
        const bool surrogate = IsHighSurrogate(code) || IsLowSurrogate(code);
        return code < form.smallest || code > 0x10FFFF || surrogate ? kReplacement : code;
    }
    return kReplacement;
}

std::u16string DecodeUtf8(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const char32_t code = TakeUtf8(text);
        if (code < 0x10000) {
            out += static_cast<WCHAR>(code);
        } else {
            out += static_cast<WCHAR>(0xD800 + ((code - 0x10000) >> 10));
            out += static_cast<WCHAR>(0xDC00 + ((code - 0x10000) & 0x3FF));
        }
    }
    return out;
}

INT Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

bool IsKnownCodePage(UINT codePage) { return codePage == CP_ACP || codePage == kCodePage1252 || codePage == CP_UTF8; }

// Hands a converted text over: its length, and where there is room for it the text. Where there is not, what fits is
// stored all the same, without a terminator.
template <class Text>
INT HandOver(const Text& text, typename Text::value_type* out, INT room) {
    if (room == 0) return static_cast<INT>(text.size());
    text.copy(out, std::min(text.size(), static_cast<std::size_t>(room)));
    return text.size() > static_cast<std::size_t>(room) ? Fail(ERROR_INSUFFICIENT_BUFFER)
                                                        : static_cast<INT>(text.size());
}

}  // namespace

std::string ToUtf8(LPCWSTR text) { return EncodeUtf8(text, wcslen(text)); }

std::u16string FromUtf8(const std::string& text) { return DecodeUtf8(text); }

}  // namespace kez::kernel

INT WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR text, INT length, LPSTR out, INT bytes, LPCSTR defaultChar,
                        BOOL* usedDefault) {
    using namespace kez::kernel;
    if (auto fault = kez::control::PlannedFault("WideCharToMultiByte")) return Fail(*fault);
    if (!text || length == 0 || length < -1 || bytes < 0 || (bytes > 0 && !out) || !IsKnownCodePage(codePage)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::size_t units = length == -1 ? wcslen(text) + 1 : static_cast<std::size_t>(length);
    if (usedDefault) *usedDefault = FALSE;
    if (codePage == CP_UTF8) return HandOver(EncodeUtf8(text, units), out, bytes);
    std::string narrow(units, defaultChar ? *defaultChar : '?');
    for (std::size_t i = 0; i < units; ++i) {
        if (!To1252(text[i], &narrow[i]) && usedDefault) *usedDefault = TRUE;
    }
    return HandOver(narrow, out, bytes);
}

INT MultiByteToWideChar(UINT codePage, DWORD, LPCSTR text, INT length, LPWSTR out, INT characters) {
    using namespace kez::kernel;
    if (auto fault = kez::control::PlannedFault("MultiByteToWideChar")) return Fail(*fault);
    if (!text || length == 0 || length < -1 || characters < 0 || (characters > 0 && !out) ||
        !IsKnownCodePage(codePage)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::string_view narrow(text, length == -1 ? std::strlen(text) + 1 : static_cast<std::size_t>(length));
    if (codePage == CP_UTF8) return HandOver(DecodeUtf8(narrow), out, characters);
    std::u16string wide(narrow.size(), 0);
    std::transform(narrow.begin(), narrow.end(), wide.begin(), From1252);
    return HandOver(wide, out, characters);
}
