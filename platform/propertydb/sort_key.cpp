// Order-preserving encodings.
#include "platform/propertydb/sort_key.h"

#include <cstring>

#include "platform/propertydb/volume.h"

namespace kez::propertydb {

namespace {

constexpr char kMissingFirst = 1;
constexpr char kPresent = 2;
constexpr char kMissingLast = 3;

void AppendHighFirst(std::uint64_t value, int bytes, std::string& key) {
    char digits[8];
    for (int i = 7; i >= 0; --i, value >>= 8) digits[i] = static_cast<char>(value);
    key.append(digits + 8 - bytes, static_cast<std::size_t>(bytes));
}

template <class T>
T NumberIn(const PropertyView& value) {
    T number;
    std::memcpy(&number, value.Data(), sizeof number);
    return number;
}

std::uint64_t OrderOf(double number) {
    if (number == 0) number = 0;  // both zeros are one value
    std::uint64_t bits;
    std::memcpy(&bits, &number, sizeof bits);
    constexpr std::uint64_t kSign = 1ull << 63;
    return bits & kSign ? ~bits : bits | kSign;
}

struct Range {
    char16_t first;
    char16_t last;
    char16_t step;  // 1: every character of the range is upper case; 2: every other one
    std::int32_t toLower;
};
constexpr Range kUpperCase[] = {
    {u'A', u'Z', 1, 32},     {0x00C0, 0x00D6, 1, 32}, {0x00D8, 0x00DE, 1, 32}, {0x0100, 0x012E, 2, 1},
    {0x0132, 0x0136, 2, 1},  {0x0139, 0x0147, 2, 1},  {0x014A, 0x0176, 2, 1},  {0x0178, 0x0178, 1, -121},
    {0x0179, 0x017D, 2, 1},  {0x0386, 0x0386, 1, 38}, {0x0388, 0x038A, 1, 37}, {0x038C, 0x038C, 1, 64},
    {0x038E, 0x038F, 1, 63}, {0x0391, 0x03A1, 1, 32}, {0x03A3, 0x03AB, 1, 32}, {0x0400, 0x040F, 1, 80},
    {0x0410, 0x042F, 1, 32}, {0x0460, 0x0480, 2, 1},  {0x048A, 0x04BE, 2, 1},  {0x04D0, 0x052E, 2, 1},
    {0x0531, 0x0556, 1, 48}, {0x1E00, 0x1E94, 2, 1},  {0x1EA0, 0x1EFE, 2, 1},  {0xFF21, 0xFF3A, 1, 32},
};

char16_t ToLower(char16_t c) {
    for (const Range& range : kUpperCase) {
        if (c < range.first) return c;
        if (c > range.last) continue;
        return (c - range.first) % range.step == 0 ? static_cast<char16_t>(c + range.toLower) : c;
    }
    return c;
}

// Latin letters with a mark, U+00C0 to U+00FF, without it.
constexpr char16_t kUnmarked[] =
    u"AAAAAA\u00C6CEEEEIIII\u00D0NOOOOO\u00D7\u00D8UUUUY\u00DE\u00DFaaaaaa\u00E6ceeeeiiii\u00F0nooooo\u00F7\u00F8uuuuy"
    u"\u00FEy";

bool IsSymbol(char16_t c) {
    return (c > 0x20 && c < 0x30) || (c > 0x39 && c < 0x41) || (c > 0x5A && c < 0x61) || (c > 0x7A && c < 0x7F) ||
           (c >= 0x2010 && c <= 0x2027);
}

void AppendText(const PropertyView& value, DWORD flags, std::string& key) {
    constexpr DWORD kFolding = CEDB_SORT_CASEINSENSITIVE | CEDB_SORT_IGNORENONSPACE | CEDB_SORT_IGNORESYMBOLS |
                               CEDB_SORT_IGNOREKANATYPE | CEDB_SORT_IGNOREWIDTH;
    thread_local std::u16string units;
    units.assign(value.size / 2, u'\0');
    if (value.size) std::memcpy(units.data(), value.bytes, units.size() * 2);
    if (flags & kFolding) {
        thread_local std::u16string folded;
        folded.clear();
        AppendFolded(units.data(), units.size(), flags, folded);
        units.swap(folded);
    }
    for (const char16_t unit : units) AppendHighFirst(unit, 2, key);
}

void AppendBytes(const PropertyView& value, std::string& key) {
    for (std::uint32_t i = 0; i < value.size; ++i) {
        key.push_back(static_cast<char>(value.bytes[i]));
        if (value.bytes[i] == 0) key.push_back('\xFF');
    }
}

void AppendValue(const PropertyView& value, DWORD flags, bool ended, std::string& key) {
    switch (value.Type()) {
        case CEVT_I2:
            return AppendHighFirst(static_cast<USHORT>(NumberIn<SHORT>(value)) ^ 0x8000u, 2, key);
        case CEVT_UI2:
            return AppendHighFirst(NumberIn<USHORT>(value), 2, key);
        case CEVT_I4:
        case CEVT_AUTO_I4:
            return AppendHighFirst(NumberIn<ULONG>(value) ^ 0x80000000u, 4, key);
        case CEVT_UI4:
        case CEVT_RECID:
        case CEVT_BOOL:
            return AppendHighFirst(NumberIn<ULONG>(value), 4, key);
        case CEVT_R8:
            return AppendHighFirst(OrderOf(NumberIn<double>(value)), 8, key);
        case CEVT_AUTO_I8:
            return AppendHighFirst(NumberIn<std::uint64_t>(value) ^ (1ull << 63), 8, key);
        case CEVT_LPWSTR:
            AppendText(value, flags, key);
            if (ended) AppendHighFirst(0, 2, key);
            return;
        case CEVT_BLOB:
            AppendBytes(value, key);
            if (ended) AppendHighFirst(0, 2, key);
            return;
        default:
            return AppendHighFirst(NumberIn<std::uint64_t>(value), 8, key);
    }
}

void AppendPart(const PropertyView& value, DWORD flags, bool ended, std::string& key) {
    key.push_back(kPresent);
    const std::size_t start = key.size();
    AppendValue(value, flags, ended, key);
    if (!(flags & CEDB_SORT_DESCENDING)) return;
    for (std::size_t i = start; i < key.size(); ++i) key[i] = static_cast<char>(~key[i]);
}

}  // namespace

void AppendFolded(const char16_t* text, std::size_t length, DWORD flags, std::u16string& folded) {
    for (std::size_t i = 0; i < length; ++i) {
        char16_t c = text[i];
        if ((flags & CEDB_SORT_IGNOREWIDTH) && c >= 0xFF01 && c <= 0xFF5E) c = static_cast<char16_t>(c - 0xFEE0);
        if ((flags & CEDB_SORT_IGNOREKANATYPE) && c >= 0x30A1 && c <= 0x30F6) c = static_cast<char16_t>(c - 0x60);
        if (flags & CEDB_SORT_IGNORENONSPACE) {
            if (c >= 0x0300 && c <= 0x036F) continue;
            if (c >= 0x00C0 && c <= 0x00FF) c = kUnmarked[c - 0x00C0];
        }
        if ((flags & CEDB_SORT_IGNORESYMBOLS) && IsSymbol(c)) continue;
        if (flags & CEDB_SORT_CASEINSENSITIVE) c = ToLower(c);
        folded.push_back(c);
    }
}

void AppendKeyPart(const PropertyView& value, DWORD flags, std::string& key) { AppendPart(value, flags, true, key); }

void MakeSortKey(const SORTORDERSPECEX& order, const PropertyViews& properties, CEOID oid, std::string& key) {
    key.clear();
    bool complete = true;
    for (WORD i = 0; i < order.wNumProps; ++i) {
        const PropertyView* value = FindView(properties, order.rgPropID[i]);
        if (value) {
            AppendKeyPart(*value, order.rgdwFlags[i], key);
        } else {
            complete = false;
            key.push_back(order.rgdwFlags[i] & CEDB_SORT_UNKNOWNFIRST ? kMissingFirst : kMissingLast);
        }
    }
    if (!complete || !(order.wKeyFlags & CEDB_SORT_UNIQUE)) AppendHighFirst(oid, 4, key);
}

std::string KeyPrefix(const SORTORDERSPECEX& order, std::span<const PropertyView> values, bool asPrefix) {
    if (values.empty() || values.size() > order.wNumProps) {
        throw VolumeError(ERROR_INVALID_PARAMETER, "a seek needs the leading properties of the sort order");
    }
    std::string prefix;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const PropertyView& value = values[i];
        if (value.id != order.rgPropID[i] || value.removed) {
            throw VolumeError(ERROR_INVALID_PARAMETER, "a seek needs the leading properties of the sort order");
        }
        const bool open = asPrefix && i + 1 == values.size();
        if (open && value.Type() != CEVT_LPWSTR) {
            throw VolumeError(ERROR_INVALID_PARAMETER, "only text can be sought by its beginning");
        }
        AppendPart(value, order.rgdwFlags[i], !open, prefix);
    }
    return prefix;
}

std::string AfterPrefix(std::string prefix) {
    while (!prefix.empty() && prefix.back() == '\xFF') prefix.pop_back();
    if (!prefix.empty()) prefix.back() = static_cast<char>(static_cast<unsigned char>(prefix.back()) + 1);
    return prefix;
}

}  // namespace kez::propertydb
