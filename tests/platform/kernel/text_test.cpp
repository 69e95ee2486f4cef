// The wide-character functions and the conversions between code pages.
#include <gtest/gtest.h>

#include <thread>

#include "platform/control/control.h"
#include "platform/kernel/device_path.h"

namespace {

using kez::kernel::FromUtf8;
using kez::kernel::ToUtf8;

constexpr DWORD kUnchanged = 4711;

// --- Wide text --------------------------------------------------------------------------------------------

TEST(WideText, TokensAreWhatStandsBetweenRunsOfDelimiters) {
    struct Row {
        const WCHAR* text;
        std::vector<std::u16string> tokens;
    };
    for (const Row& row :
         {Row{TEXT("a;b"), {u"a", u"b"}}, Row{TEXT(";;a;; b;"), {u"a", u" b"}}, Row{TEXT("a,b;c"), {u"a", u"b", u"c"}},
          Row{TEXT("abc"), {u"abc"}}, Row{TEXT(""), {}}, Row{TEXT(";,;"), {}}}) {
        std::u16string buffer = row.text;
        std::vector<std::u16string> tokens;
        for (WCHAR* token = wcstok(buffer.data(), TEXT(";,")); token; token = wcstok(nullptr, TEXT(";,"))) {
            tokens.emplace_back(token, wcslen(token));
        }
        EXPECT_EQ(tokens, row.tokens) << ToUtf8(row.text);
        EXPECT_EQ(wcstok(nullptr, TEXT(";,")), nullptr) << "at the end it stays at the end";
    }
}

TEST(WideText, TokensModifyTheText) {
    WCHAR text[] = TEXT("one two");
    wcstok(text, TEXT(" "));
    EXPECT_EQ(text[3], 0);
}

TEST(WideText, TokensOfTwoThreadsDoNotMix) {
    WCHAR text[] = TEXT("a b");
    WCHAR other[] = TEXT("x y");
    EXPECT_EQ(*wcstok(text, TEXT(" ")), u'a');
    std::thread([&] {
        EXPECT_EQ(wcstok(nullptr, TEXT(" ")), nullptr);
        wcstok(other, TEXT(" "));
    }).join();
    EXPECT_EQ(*wcstok(nullptr, TEXT(" ")), u'b');
}

TEST(WideText, ComparesWithoutRegardToAsciiCase) {
    struct Row {
        const WCHAR *a, *b;
        INT result;
    };
    for (const Row& row :
         {Row{TEXT("ABC"), TEXT("abc"), 0}, Row{TEXT("A"), TEXT("_"), 2}, Row{TEXT("\u00C9"), TEXT("\u00E9"), -32},
          Row{TEXT("abc"), TEXT("abcd"), -100}, Row{TEXT("abcd"), TEXT("abc"), 100}, Row{TEXT(""), TEXT(""), 0},
          Row{TEXT("Z"), TEXT("["), 'z' - '['}}) {
        EXPECT_EQ(_wcsicmp(row.a, row.b), row.result) << ToUtf8(row.a) << " and " << ToUtf8(row.b);
    }
    EXPECT_EQ(_wcsnicmp(TEXT("ABCd"), TEXT("abcE"), 3), 0);
    EXPECT_EQ(_wcsnicmp(TEXT("ABCd"), TEXT("abcE"), 4), 'd' - 'e');
    EXPECT_EQ(_wcsnicmp(TEXT("ab"), TEXT("AB"), 99), 0);
    EXPECT_EQ(_wcsnicmp(TEXT("a"), TEXT("b"), 0), 0);
}

TEST(WideText, ComparesByTheUnitsValue) {
    EXPECT_EQ(wcscmp(TEXT("abc"), TEXT("abc")), 0);
    EXPECT_LT(wcscmp(TEXT("A"), TEXT("a")), 0);
    EXPECT_GT(wcscmp(TEXT("\uFFFD"), TEXT("a")), 0) << "units are unsigned";
    EXPECT_LT(wcscmp(TEXT("abc"), TEXT("abcd")), 0);
    EXPECT_EQ(wcsncmp(TEXT("abcX"), TEXT("abcY"), 3), 0);
    EXPECT_LT(wcsncmp(TEXT("abcX"), TEXT("abcY"), 4), 0);
    EXPECT_EQ(wcsncmp(TEXT("ab"), TEXT("ab"), 99), 0);
}

TEST(WideText, FindsPartsAndCharacters) {
    WCHAR text[] = TEXT("one two two");
    EXPECT_EQ(wcsstr(text, TEXT("two")), text + 4);
    EXPECT_EQ(wcsstr(text, TEXT("")), text);
    EXPECT_EQ(wcsstr(text, TEXT("Two")), nullptr);
    EXPECT_EQ(wcsstr(text, TEXT("two two two")), nullptr);
    EXPECT_EQ(wcsstr(TEXT(""), TEXT("x")), nullptr);
    EXPECT_EQ(wcschr(text, u'w'), text + 5);
    EXPECT_EQ(wcschr(text, u'\0'), text + 11);
    EXPECT_EQ(wcschr(text, u'x'), nullptr);
}

TEST(WideText, CopiesAndAppends) {
    WCHAR buffer[16];
    EXPECT_EQ(wcscpy(buffer, TEXT("abc")), buffer);
    EXPECT_EQ(wcscat(buffer, TEXT("def")), buffer);
    EXPECT_EQ(wcscmp(buffer, TEXT("abcdef")), 0);
    EXPECT_EQ(wcslen(buffer), 6u);
    EXPECT_EQ(wcslen(TEXT("")), 0u);
    std::fill(std::begin(buffer), std::end(buffer), u'#');
    wcsncpy(buffer, TEXT("abcdef"), 3);
    EXPECT_EQ(std::u16string(buffer, 5), u"abc##") << "a text that does not fit gets no terminator";
    wcsncpy(buffer, TEXT("x"), 4);
    EXPECT_EQ(std::u16string(buffer, 6), std::u16string(u"x\0\0\0##", 6)) << "the rest is zeroed";
}

TEST(WideText, ReadsNumbersLikeTheNarrowFunction) {
    struct Row {
        const WCHAR* text;
        LONG value;
    };
    for (const Row& row :
         {Row{TEXT("42"), 42}, Row{TEXT("  \t-17x"), -17}, Row{TEXT("+5"), 5}, Row{TEXT(""), 0}, Row{TEXT("abc"), 0},
          Row{TEXT("0x10"), 0}, Row{TEXT("99999999999"), 1215752191},
          Row{TEXT("-2147483648"), static_cast<LONG>(0x80000000)}, Row{TEXT("- 5"), 0}, Row{TEXT("\r\n7"), 7}}) {
        EXPECT_EQ(_wtol(row.text), row.value) << ToUtf8(row.text);
    }
}

// --- Code pages -------------------------------------------------------------------------------------------

std::string Narrow(const std::u16string& text, UINT codePage = CP_ACP) {
    std::string out(text.size() * 3 + 3, '#');
    const INT length = WideCharToMultiByte(codePage, 0, text.data(), static_cast<INT>(text.size()), out.data(),
                                           static_cast<INT>(out.size()), nullptr, nullptr);
    return out.substr(0, static_cast<std::size_t>(length));
}

std::u16string Wide(const std::string& text, UINT codePage = CP_ACP) {
    std::u16string out(text.size() + 1, u'#');
    const INT length = MultiByteToWideChar(codePage, 0, text.data(), static_cast<INT>(text.size()), out.data(),
                                           static_cast<INT>(out.size()));
    return out.substr(0, static_cast<std::size_t>(length));
}

TEST(CodePage, TheTerminatorCountsWhereNoLengthIsGiven) {
    char out[8];
    std::memset(out, '#', sizeof out);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("abc"), -1, out, 8, nullptr, nullptr), 4);
    EXPECT_EQ(std::string(out, 5), std::string("abc\0#", 5));
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("abc"), -1, out, 4, nullptr, nullptr), 4) << "an exact fit";
    WCHAR wide[8];
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abc", -1, wide, 8), 4);
    EXPECT_EQ(wcscmp(wide, TEXT("abc")), 0);
}

TEST(CodePage, ALengthWithoutTheTerminatorWritesNone) {
    char out[8];
    std::memset(out, '#', sizeof out);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("abc"), 2, out, 8, nullptr, nullptr), 2);
    EXPECT_EQ(std::string(out, 4), "ab##");
}

TEST(CodePage, WhatDoesNotFitIsStoredAsFarAsItGoes) {
    char out[8];
    std::memset(out, '#', sizeof out);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("abcdef"), -1, out, 3, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(std::string(out, 5), "abc##");
    WCHAR wide[4] = {u'#', u'#', u'#', u'#'};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "abcdef", -1, wide, 3), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(std::u16string(wide, 4), u"abc#");
}

TEST(CodePage, WithoutRoomTheNeededSizeIsTold) {
    SetLastError(kUnchanged);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("abc"), -1, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, TEXT("\u00E9"), 1, nullptr, 0, nullptr, nullptr), 2);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xC3\xA9", 2, nullptr, 0), 1);
    EXPECT_EQ(GetLastError(), kUnchanged);
}

TEST(CodePage, BadArgumentsAreRefused) {
    char out[4];
    WCHAR wide[4];
    struct Row {
        const char* call;
        std::function<INT()> convert;
    };
    const Row rows[] = {
        {"length 0", [&] { return WideCharToMultiByte(CP_ACP, 0, TEXT("a"), 0, out, 4, nullptr, nullptr); }},
        {"no text", [&] { return WideCharToMultiByte(CP_ACP, 0, nullptr, -1, out, 4, nullptr, nullptr); }},
        {"length -2", [&] { return WideCharToMultiByte(CP_ACP, 0, TEXT("a"), -2, out, 4, nullptr, nullptr); }},
        {"no buffer", [&] { return WideCharToMultiByte(CP_ACP, 0, TEXT("a"), 1, nullptr, 4, nullptr, nullptr); }},
        {"a negative room", [&] { return WideCharToMultiByte(CP_ACP, 0, TEXT("a"), 1, out, -1, nullptr, nullptr); }},
        {"code page 850", [&] { return WideCharToMultiByte(850, 0, TEXT("a"), 1, out, 4, nullptr, nullptr); }},
        {"back, length 0", [&] { return MultiByteToWideChar(CP_ACP, 0, "a", 0, wide, 4); }},
        {"back, no text", [&] { return MultiByteToWideChar(CP_ACP, 0, nullptr, -1, wide, 4); }},
        {"back, no buffer", [&] { return MultiByteToWideChar(CP_ACP, 0, "a", 1, nullptr, 4); }},
        {"back, code page 850", [&] { return MultiByteToWideChar(850, 0, "a", 1, wide, 4); }},
    };
    for (const Row& row : rows) {
        SetLastError(kUnchanged);
        EXPECT_EQ(row.convert(), 0) << row.call;
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << row.call;
    }
}

TEST(CodePage, TheDefaultIs1252) {
    EXPECT_EQ(Narrow(u"\u2019\u00E9\u20AC"), "\x92\xE9\x80");
    EXPECT_EQ(Narrow(u"\u2019\u00E9\u20AC", 1252), "\x92\xE9\x80");
    EXPECT_EQ(Wide("\x92\xE9\x80"), u"\u2019\u00E9\u20AC");
    EXPECT_EQ(Narrow(u"\u65E5\u0100\u0092"), "???") << "what the code page does not have";
    EXPECT_EQ(Narrow(u"\xD83D\xDE00"), "??") << "one for each unit";
}

TEST(CodePage, EveryByteOf1252SurvivesTheRoundTrip) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(Narrow(Wide(text)), text) << byte;
    }
}

TEST(CodePage, TheReplacementCanBeChosenAndIsReported) {
    char out[4] = {};
    BOOL used = 99;
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("a\u65E5"), 2, out, 4, "_", &used), 2);
    EXPECT_EQ(std::string(out), "a_");
    EXPECT_EQ(used, TRUE);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("ab"), 2, out, 4, "_", &used), 2);
    EXPECT_EQ(used, FALSE);
}

TEST(CodePage, Utf8IsReadAndWritten) {
    struct Row {
        std::u16string wide;
        std::string narrow;
    };
    for (const Row& row :
         {Row{u"a", "a"}, Row{u"\u007F\u0080", "\x7F\xC2\x80"}, Row{u"\u07FF\u0800", "\xDF\xBF\xE0\xA0\x80"},
          Row{u"\uFFFF", "\xEF\xBF\xBF"}, Row{u"\U00010000", "\xF0\x90\x80\x80"},
          Row{u"\U0010FFFF", "\xF4\x8F\xBF\xBF"}, Row{u"\U0001F600!", "\xF0\x9F\x98\x80!"}}) {
        EXPECT_EQ(Narrow(row.wide, CP_UTF8), row.narrow);
        EXPECT_EQ(Wide(row.narrow, CP_UTF8), row.wide);
        EXPECT_EQ(ToUtf8(row.wide.c_str()), row.narrow);
        EXPECT_EQ(FromUtf8(row.narrow), row.wide);
    }
}

TEST(CodePage, BrokenTextBecomesTheReplacementCharacter) {
    for (const std::u16string& wide : {std::u16string(u"\xD800"), std::u16string(u"\xDC00"), std::u16string(u"\xD800x"),
                                       std::u16string(u"\xDC00\xD800")}) {
        std::u16string expected = wide;
        for (WCHAR& unit : expected) unit = unit == u'x' ? u'x' : u'\uFFFD';
        EXPECT_EQ(FromUtf8(ToUtf8(wide.c_str())), expected);
    }
    struct Row {
        const char* bytes;
        std::u16string wide;
    };
    for (const Row& row :
         {Row{"\x80z", u"\uFFFDz"}, Row{"\xC3", u"\uFFFD"}, Row{"\xC3z", u"\uFFFDz"},
          Row{"\xC0\xAFz", u"\uFFFD\uFFFDz"}, Row{"\xE0\x80\x80z", u"\uFFFDz"}, Row{"\xED\xA0\x80z", u"\uFFFDz"},
          Row{"\xF4\x90\x80\x80z", u"\uFFFDz"}, Row{"\xF8z", u"\uFFFDz"}, Row{"\xE6\x97z", u"\uFFFDz"}}) {
        EXPECT_EQ(FromUtf8(row.bytes), row.wide);
    }
}

TEST(CodePage, ConversionsCanBeMadeToFail) {
    kez::control::PlanFault({"WideCharToMultiByte", 1, 1, 8});
    kez::control::PlanFault({"MultiByteToWideChar", 1, 1, 14});
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("a"), 1, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 8u);
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "a", 1, nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), 14u);
    kez::control::ClearFaults();
}

}  // namespace
