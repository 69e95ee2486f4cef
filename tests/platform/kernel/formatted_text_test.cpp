// Formatted text: each directive in the narrow and in the wide function, limits, and the digits of numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "platform/kernel/device_path.h"

namespace {

using kez::kernel::FromUtf8;

constexpr std::size_t kRoom = 2'000;

template <class... Arguments>
std::string Narrow(const char* format, Arguments... arguments) {
    char buffer[kRoom];
    const INT length = _snprintf(buffer, kRoom, format, arguments...);
    return length < 0 ? "failed" : std::string(buffer, static_cast<std::size_t>(length));
}

template <class... Arguments>
std::string Wide(const char* format, Arguments... arguments) {
    WCHAR buffer[kRoom];
    const INT length = _snwprintf(buffer, kRoom, FromUtf8(format).c_str(), arguments...);
    if (length < 0) return "failed";
    std::string text;
    for (INT i = 0; i < length; ++i) text += static_cast<char>(buffer[i]);
    return text;
}

// Both functions have to give the same.
template <class... Arguments>
std::string Both(const char* format, Arguments... arguments) {
    const std::string narrow = Narrow(format, arguments...);
    const std::string wide = Wide(format, arguments...);
    return narrow == wide ? narrow : "narrow \"" + narrow + "\", wide \"" + wide + "\"";
}

// --- Limits -----------------------------------------------------------------------------------------------

template <class Char>
void ExpectLimits(const std::function<INT(Char*, std::size_t, const char*)>& print) {
    struct Row {
        const char* text;
        std::size_t limit;
        INT result;
        const char* stored;  // six characters; '#' was not touched, '0' is a terminator
    };
    for (const Row& row : {Row{"abc", 6, 3, "abc0##"}, Row{"abc", 4, 3, "abc0##"}, Row{"abc", 3, 3, "abc###"},
                           Row{"abc", 2, -1, "ab####"}, Row{"abc", 1, -1, "a#####"}, Row{"abc", 0, -1, "######"},
                           Row{"", 1, 0, "0#####"}, Row{"", 0, 0, "######"}, Row{"abcdefgh", 6, -1, "abcdef"}}) {
        Char buffer[7];
        std::fill(std::begin(buffer), std::end(buffer), Char('#'));
        EXPECT_EQ(print(buffer, row.limit, row.text), row.result) << row.text << " against " << row.limit;
        std::string stored;
        for (int i = 0; i < 6; ++i) stored += buffer[i] ? static_cast<char>(buffer[i]) : '0';
        EXPECT_EQ(stored, row.stored) << row.text << " against " << row.limit;
        EXPECT_EQ(buffer[6], Char('#'));
    }
}

TEST(FormattedText, StoresUpToTheLimitAndTerminatesBelowIt) {
    ExpectLimits<char>(
        [](char* buffer, std::size_t limit, const char* text) { return _snprintf(buffer, limit, "%s", text); });
    ExpectLimits<char>(
        [](char* buffer, std::size_t limit, const char* text) { return _snprintf(buffer, limit, text); });
    ExpectLimits<WCHAR>(
        [](WCHAR* buffer, std::size_t limit, const char* text) { return _snwprintf(buffer, limit, TEXT("%S"), text); });
}

TEST(FormattedText, AWidthBeyondEveryLimitEndsAtTheLimit) {
    char buffer[8];
    EXPECT_EQ(_snprintf(buffer, 8, "%2000000000d", 1), -1);
    EXPECT_EQ(_snprintf(buffer, 8, "%99999999999999999999d", 1), -1);
    EXPECT_EQ(_snprintf(buffer, 8, "%.2000000000d", 1), -1);
    EXPECT_EQ(_snprintf(buffer, 8, "%*d", std::numeric_limits<int>::min(), 1), -1);
    EXPECT_EQ(_snprintf(buffer, 8, "%.2000000000f", 1.0), -1);
    EXPECT_EQ(std::string(buffer, 8), "1.000000");
}

// --- Text -------------------------------------------------------------------------------------------------

TEST(FormattedText, TextIsOfTheWidthThatItsDirectiveSays) {
    const char* narrow = "narrow";
    const WCHAR* wide = TEXT("wide");
    EXPECT_EQ(Narrow("%s", narrow), "narrow");
    EXPECT_EQ(Narrow("%S", wide), "wide");
    EXPECT_EQ(Narrow("%hs %hS", narrow, narrow), "narrow narrow");
    EXPECT_EQ(Narrow("%ls %ws %lS", wide, wide, wide), "wide wide wide");
    EXPECT_EQ(Narrow("%c%C", 'n', u'w'), "nw");
    EXPECT_EQ(Narrow("%hc%lc%hC%lC", 'a', u'b', 'c', u'd'), "abcd");
    EXPECT_EQ(Wide("%s", wide), "wide");
    EXPECT_EQ(Wide("%S", narrow), "narrow");
    EXPECT_EQ(Wide("%hs %hS", narrow, narrow), "narrow narrow");
    EXPECT_EQ(Wide("%ls %ws %lS", wide, wide, wide), "wide wide wide");
    EXPECT_EQ(Wide("%c%C", u'w', 'n'), "wn");
}

TEST(FormattedText, NoTextIsPrintedAsNull) {
    const char* narrow = nullptr;
    const WCHAR* wide = nullptr;
    EXPECT_EQ(Narrow("%s %S %hs %ls", narrow, wide, narrow, wide), "(null) (null) (null) (null)");
    EXPECT_EQ(Wide("%s %S %hs %ls", wide, narrow, narrow, wide), "(null) (null) (null) (null)");
    EXPECT_EQ(Narrow("%.3s|%8s", narrow, narrow), "(nu|  (null)");
}

TEST(FormattedText, AUnitBeyondAByteEndsTheNarrowCall) {
    char buffer[16];
    EXPECT_EQ(_snprintf(buffer, 16, "a%Sz", TEXT("b\u0100c")), -1);
    EXPECT_STREQ(buffer, "ab") << "the text so far";
    EXPECT_EQ(_snprintf(buffer, 16, "x%C", 0x20AC), -1);
    EXPECT_STREQ(buffer, "x");
    EXPECT_EQ(Narrow("%S", TEXT("\u0080\u00E9\u00FF")), "\x80\xE9\xFF") << "others become their byte";
    EXPECT_EQ(Narrow("%.1S", TEXT("b\u0100")), "b") << "what the precision cuts off does no harm";
}

TEST(FormattedText, NarrowTextInTheWideFunctionIsTakenByteByByte) {
    WCHAR buffer[8];
    EXPECT_EQ(_snwprintf(buffer, 8, TEXT("%S"), "\x80\xE9\xFF"), 3);
    EXPECT_EQ(std::u16string(buffer), u"\u0080\u00E9\u00FF");
    EXPECT_EQ(_snwprintf(buffer, 8, TEXT("%s"), TEXT("\u65E5\u20AC")), 2);
    EXPECT_EQ(std::u16string(buffer), u"\u65E5\u20AC");
}

TEST(FormattedText, WideTextGivenToNarrowTextPrintsItsFirstCharacter) {
    EXPECT_EQ(Narrow("%s|", reinterpret_cast<const char*>(TEXT("wide"))), "w|");
}

TEST(FormattedText, TextHasWidthAndPrecision) {
    EXPECT_EQ(Narrow("[%6s][%-6s][%.2s][%6.2s][%.0s]", "abc", "abc", "abc", "abc", "abc"),
              "[   abc][abc   ][ab][    ab][]");
    EXPECT_EQ(Narrow("[%*s][%-*s][%*s][%.*s][%.*s]", 5, "a", 3, "b", -3, "c", 1, "de", -1, "fg"),
              "[    a][b  ][c  ][d][fg]");
    EXPECT_EQ(Narrow("[%3c][%-3c]", 'x', 'y'), "[  x][y  ]");
    EXPECT_EQ(Narrow("%c", 0), std::string(1, '\0'));
    const char unterminated[2] = {'a', 'b'};
    EXPECT_EQ(Narrow("%.2s", unterminated), "ab");
}

// --- Integers ---------------------------------------------------------------------------------------------

TEST(FormattedText, IntegersHaveTheWidthThatTheirDirectiveSays) {
    EXPECT_EQ(Both("%d %i %u %x %X %o", -5, 7, 4000000000u, 0xABCDEFu, 0xABCDEFu, 8u),
              "-5 7 4000000000 abcdef ABCDEF 10");
    EXPECT_EQ(Both("%ld %lu %lx %lX", -5, 4000000000u, 0xFFFFFFFEu, 0xFFu), "-5 4000000000 fffffffe FF");
    EXPECT_EQ(Both("%I64d %I64u %I64x", std::int64_t{-5'000'000'000}, ~std::uint64_t{0}, std::uint64_t{0x123456789A}),
              "-5000000000 18446744073709551615 123456789a");
    EXPECT_EQ(
        Both("%lld %llu %llX", std::int64_t{-5'000'000'000}, std::uint64_t{5'000'000'000}, std::uint64_t{0xABCDEF0123}),
        "-5000000000 5000000000 ABCDEF0123");
    EXPECT_EQ(Both("%I32d %I32u", -1, 0xFFFFFFFFu), "-1 4294967295");
    EXPECT_EQ(Both("%Iu %Id", std::size_t{5}, std::intptr_t{-6}), "5 -6");
    EXPECT_EQ(Both("%hd %hu %hx", 0x1FFFF, 0x1FFFF, 0x12345), "-1 65535 2345");
    EXPECT_EQ(Both("%d %d", std::numeric_limits<int>::min(), std::numeric_limits<int>::max()),
              "-2147483648 2147483647");
    EXPECT_EQ(Both("%I64d", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
}

TEST(FormattedText, AWideValueAfterA32BitOneIsStillFound) {
    // What follows a long shows whether 32 bits were taken for it.
    EXPECT_EQ(Both("%lu %ld %I64d %s|", 1u, -2, std::int64_t{3}, nullptr), "1 -2 3 (null)|");
}

TEST(FormattedText, SmallNegativeValuesAreSignExtended) {
    EXPECT_EQ(Both("%x %x", static_cast<short>(-2), static_cast<signed char>(0xAB)), "fffffffe ffffffab");
    char buffer[3] = "##";
    EXPECT_EQ(_snprintf(buffer, 2, "%02x", static_cast<signed char>(0xAB)), -1);
    EXPECT_EQ(std::string(buffer, 2), "ff") << "a dump of bytes has to use unsigned ones";
    EXPECT_EQ(Both("%02x", static_cast<unsigned char>(0xAB)), "ab");
}

TEST(FormattedText, IntegersHaveFlagsWidthAndPrecision) {
    EXPECT_EQ(Both("[%5d][%-5d][%05d][%+d][% d][%+d]", 42, 42, 42, 42, 42, -42),
              "[   42][42   ][00042][+42][ 42][-42]");
    EXPECT_EQ(Both("[%05d][%-05d][%+05d]", -42, -42, 42), "[-0042][-42  ][+0042]");
    EXPECT_EQ(Both("[%.4d][%6.4d][%-6.4d][%06.4d][%.0d][%.0d]", 42, 42, -42, 42, 0, 1),
              "[0042][  0042][-0042 ][  0042][][1]");
    EXPECT_EQ(Both("[%#x][%#X][%#x][%#06x][%#o]", 255u, 255u, 0u, 255u, 8u), "[0xff][0XFF][0][0x00ff][010]");
    EXPECT_EQ(Both("[%08lX][%02d:%02d]", 0xABCu, 7, 30), "[00000ABC][07:30]");
    EXPECT_EQ(Both("[%0x][%-x]", 0xABu, 0xCDu), "[ab][cd]") << "flags without a width";
}

TEST(FormattedText, PointersAreUpperCaseAndAsWideAsTheDevices) {
    EXPECT_EQ(Both("%p", reinterpret_cast<void*>(std::uintptr_t{0x12ABCD})), "0012ABCD");
    EXPECT_EQ(Both("%p", static_cast<void*>(nullptr)), "00000000");
    EXPECT_EQ(Both("%p", reinterpret_cast<void*>(std::uintptr_t{0xFFFFFFFF})), "FFFFFFFF");
    if constexpr (sizeof(void*) == 8) {
        const std::uint64_t address = 0x7FFFABCD1234;
        EXPECT_EQ(Both("%p", reinterpret_cast<void*>(static_cast<std::uintptr_t>(address))), "00007FFFABCD1234");
    }
}

TEST(FormattedText, WhatIsNoDirectiveIsText) {
    EXPECT_EQ(Both("100%%"), "100%");
    EXPECT_EQ(Both("%ds", 5), "5s");
    EXPECT_EQ(Both("%y%q|"), "yq|");
    EXPECT_EQ(Both("end%"), "end");
    EXPECT_EQ(Both("end%5"), "end");
    EXPECT_EQ(Both("end%-08.3l"), "end");
    EXPECT_EQ(Both(""), "");
    WCHAR buffer[8];
    EXPECT_EQ(_snwprintf(buffer, 8, TEXT("%\u0164\u0573")), 2)
        << "not the letters 'd' and 's' that their low bytes are";
    EXPECT_EQ(std::u16string(buffer), u"\u0164\u0573");
}

// --- Floating point ---------------------------------------------------------------------------------------

TEST(FormattedText, ExactTiesRoundAwayFromZero) {
    EXPECT_EQ(Both("%f", 0.0078125), "0.007813");
    EXPECT_EQ(Both("%f", -0.0078125), "-0.007813");
    EXPECT_EQ(Both("%f", 38854.0078125), "38854.007813");
    EXPECT_EQ(Both("%.0f %.0f %.0f %.0f", 0.5, 1.5, 2.5, -0.5), "1 2 3 -1");
    EXPECT_EQ(Both("%.1f %.2f", 0.25, 0.125), "0.3 0.13");
    EXPECT_EQ(Both("%.0f", 0.49999999999999994), "0") << "just below a tie is none";
    EXPECT_EQ(Both("%.2f", 2.675), "2.67") << "neither is what only looks like one";
    EXPECT_EQ(Both("%.1e %.3g", 2.25, 2.125), "2.3e+000 2.13");
}

TEST(FormattedText, DatesThatAreOddMultiplesOfElevenAndAQuarterMinutesAreTies) {
    for (int i = 1; i < 128; i += 2) {
        const double date = 38854 + i / 128.0;
        const long millionths = static_cast<long>(std::floor(i * 1'000'000.0 / 128.0 + 0.5));
        char expected[32];
        std::snprintf(expected, sizeof expected, "38854.%06ld", millionths);
        EXPECT_EQ(Both("%f", date), expected);
    }
}

TEST(FormattedText, FixedNumbersHaveAllTheirDigits) {
    EXPECT_EQ(Both("%f", 0.0), "0.000000");
    EXPECT_EQ(Both("%f", -0.0), "-0.000000");
    EXPECT_EQ(Both("%f", 1234.5), "1234.500000");
    EXPECT_EQ(Both("%.3f", 0.9996), "1.000");
    EXPECT_EQ(Both("%.0f", 9.5), "10");
    EXPECT_EQ(Both("%.2f", 0.001), "0.00");
    EXPECT_EQ(Both("%.2f", 0.006), "0.01");
    EXPECT_EQ(Both("%.1f", 1e-300), "0.0");
    EXPECT_EQ(Both("%.0f", 1e22), "10000000000000000000000");
    EXPECT_EQ(Both("%.0f", 1e23), "99999999999999991611392");
    EXPECT_EQ(Both("%.25f", 0.1), "0.1000000000000000055511151");
    EXPECT_EQ(Both("[%10.2f][%-10.2f][%010.2f][%+.1f][% .1f][%#.0f]", 3.14159, 3.14159, -3.14159, 1.0, 1.0, 2.0),
              "[      3.14][3.14      ][-000003.14][+1.0][ 1.0][2.]");
    EXPECT_EQ(Both("%lf", 1.5), "1.500000");
    const std::string largest = Both("%.0f", std::numeric_limits<double>::max());
    EXPECT_EQ(largest.size(), 309u);
    EXPECT_EQ(largest.substr(0, 20), "17976931348623157081");
    EXPECT_EQ(largest.substr(300), "124858368");
    const std::string smallest = Both("%.1074f", std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(smallest.size(), 1076u);
    EXPECT_EQ(smallest.substr(322, 8), "00049406");
    EXPECT_EQ(smallest.substr(1066), "3447265625");
}

TEST(FormattedText, ExponentsHaveThreeDigits) {
    EXPECT_EQ(Both("%e", 1e10), "1.000000e+010");
    EXPECT_EQ(Both("%E", 1.5e-7), "1.500000E-007");
    EXPECT_EQ(Both("%.0e %.1e", 95.0, 1.5e100), "1e+002 1.5e+100");
    EXPECT_EQ(Both("%#.0e", 1.0), "1.e+000");
    EXPECT_EQ(Both("%.2e", 1e-310), "1.00e-310");
    EXPECT_EQ(Both("%e", 0.0), "0.000000e+000");
    EXPECT_EQ(Both("%g", 1e10), "1e+010");
    EXPECT_EQ(Both("%G", 1e-10), "1E-010");
}

TEST(FormattedText, GeneralNumbersChooseTheShorterForm) {
    EXPECT_EQ(Both("%g %g %g", 100000.0, 1000000.0, 123456789.0), "100000 1e+006 1.23457e+008");
    EXPECT_EQ(Both("%g %g", 0.0001, 0.00001), "0.0001 1e-005");
    EXPECT_EQ(Both("%g %g %g", 0.0, 1.5, 2.0), "0 1.5 2");
    EXPECT_EQ(Both("%#g", 1.5), "1.50000");
    EXPECT_EQ(Both("%.0g %.1g", 15.0, 0.96), "2e+001 1");
    EXPECT_EQ(Both("%g", 999999.5), "1e+006") << "rounding can change the form";
}

TEST(FormattedText, WhatIsNoNumberLooksLikeOneWithOddDigits) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Both("%f %f", infinity, -infinity), "1.#INF00 -1.#INF00");
    EXPECT_EQ(Both("%f %f", nan, -nan), "-1.#IND00 -1.#IND00");
    EXPECT_EQ(Both("%.2f %.8f", infinity, infinity), "1.#INF 1.#INF0000");
    EXPECT_EQ(Both("%e %g", infinity, -infinity), "1.#INF00e+000 -1.#INF");
    EXPECT_EQ(Both("[%10.4f]", infinity), "[    1.#INF]");
}

}  // namespace
