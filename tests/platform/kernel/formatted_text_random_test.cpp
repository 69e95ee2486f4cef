// Random directives against the C library's function, where the rules of both agree.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <windows.h>

#include <cmath>
#include <cstdlib>

namespace {

template <class... Arguments>
std::string Ours(const std::string& format, Arguments... arguments) {
    char buffer[4'000];
    const INT length = _snprintf(buffer, sizeof buffer, format.c_str(), arguments...);
    RC_ASSERT(length >= 0);
    return std::string(buffer, static_cast<std::size_t>(length));
}

template <class... Arguments>
std::string OursWide(const std::string& format, Arguments... arguments) {
    WCHAR buffer[4'000];
    const std::u16string wideFormat(format.begin(), format.end());
    const INT length = _snwprintf(buffer, 4'000, wideFormat.c_str(), arguments...);
    RC_ASSERT(length >= 0);
    return std::string(buffer, buffer + length);
}

template <class... Arguments>
std::string Theirs(const std::string& format, Arguments... arguments) {
    char buffer[4'000];
    const int length = std::snprintf(buffer, sizeof buffer, format.c_str(), arguments...);
    return std::string(buffer, static_cast<std::size_t>(length));
}

// Flags, width and precision of a directive, with its percent sign.
rc::Gen<std::string> Front(int mostPrecision) {
    return rc::gen::apply(
        [](const std::string& flags, int width, int precision) {
            std::string text = "%" + flags;
            if (width > 0) text += std::to_string(width);
            if (precision >= 0) text += "." + std::to_string(precision);
            return text;
        },
        rc::gen::resize(3, rc::gen::container<std::string>(rc::gen::elementOf(std::string("-+ #0")))),
        rc::gen::inRange(0, 30), rc::gen::inRange(-3, mostPrecision));
}

rc::Gen<double> AnyDouble() {
    const auto bits = rc::gen::map(rc::gen::arbitrary<std::uint64_t>(), [](std::uint64_t value) {
        double number;
        std::memcpy(&number, &value, sizeof number);
        return number;
    });
    const auto dates = rc::gen::map(rc::gen::inRange<std::int64_t>(-657'434LL * 86'400, 2'958'465LL * 86'400),
                                    [](std::int64_t seconds) { return static_cast<double>(seconds) / 86'400; });
    const auto odd = rc::gen::map(rc::gen::arbitrary<int>(), [](int value) { return value / 10'000.0; });
    return rc::gen::suchThat(rc::gen::oneOf(bits, dates, odd), [](double value) { return std::isfinite(value); });
}

// Whether the digits that `places` behind the point cut off are exactly a half: there the rules differ.
bool IsTie(double value, int places) {
    const std::string exact = Theirs("%.1100f", std::fabs(value));
    const std::string rest = exact.substr(exact.find('.') + 1 + static_cast<std::size_t>(places));
    return rest[0] == '5' && rest.find_first_not_of('0', 1) == std::string::npos;
}

TEST(FormattedTextRandom, IntegersAgree) {
    RC_ASSERT(rc::check("integers of 32 bits", [] {
        const std::string front = *Front(25);
        const int value = *rc::gen::oneOf(rc::gen::arbitrary<int>(), rc::gen::inRange(-20, 20));
        for (const char letter : {'d', 'i', 'u', 'x', 'X'}) {
            // The C library leaves flags without meaning for a letter undefined.
            if (front.find('#') != std::string::npos && letter != 'x' && letter != 'X') continue;
            const std::string format = front + letter;
            RC_ASSERT(Ours(format, value) == Theirs(format, value));
            RC_ASSERT(OursWide(format, value) == Theirs(format, value));
            RC_ASSERT(Ours(front + "l" + letter, value) == Theirs(format, value));
        }
    }));
}

TEST(FormattedTextRandom, IntegersOf64BitsAgree) {
    RC_ASSERT(rc::check("integers of 64 bits", [] {
        const std::string front = *Front(25);
        const auto value = *rc::gen::arbitrary<long long>();
        const std::string sharp = front.find('#') == std::string::npos ? "dux" : "x";
        for (const char letter : sharp) {
            const std::string expected = Theirs(front + "ll" + letter, value);
            RC_ASSERT(Ours(front + "ll" + letter, value) == expected);
            RC_ASSERT(OursWide(front + "I64" + letter, value) == expected);
        }
    }));
}

TEST(FormattedTextRandom, TextAgrees) {
    RC_ASSERT(rc::check("text", [] {
        std::string front = *Front(25);
        front.erase(
            std::remove_if(front.begin() + 1, front.end(), [](char c) { return c == '#' || c == '+' || c == ' '; }),
            front.end());
        RC_PRE(front[1] != '0' && front.find("-0") == std::string::npos);
        const auto letters = *rc::gen::container<std::string>(rc::gen::inRange(' ', '~'));
        RC_ASSERT(Ours(front + "s", letters.c_str()) == Theirs(front + "s", letters.c_str()));
        RC_ASSERT(OursWide(front + "S", letters.c_str()) == Theirs(front + "s", letters.c_str()));
    }));
}

TEST(FormattedTextRandom, FixedNumbersAgreeButForTies) {
    RC_ASSERT(rc::check("%f", [] {
        const std::string front = *Front(40);
        const double value = *AnyDouble();
        const std::size_t point = front.find('.');
        const int places = point == std::string::npos ? 6 : std::atoi(front.c_str() + point + 1);
        RC_PRE(!IsTie(value, places));
        RC_ASSERT(Ours(front + "f", value) == Theirs(front + "f", value));
        RC_ASSERT(OursWide(front + "f", value) == Theirs(front + "f", value));
    }));
}

TEST(FormattedTextRandom, TiesGoAwayFromZero) {
    RC_ASSERT(rc::check("a tie and its neighbours", [] {
        const int places = *rc::gen::inRange(0, 12);
        // An odd multiple of a half unit of the last place is exact where it is an odd multiple of a power of two.
        const double tie = (2.0 * *rc::gen::inRange(0, 1'000'000) + 1) / std::ldexp(1.0, places + 1);
        RC_PRE(IsTie(tie, places));
        const std::string format = "%." + std::to_string(places) + "f";
        RC_ASSERT(Ours(format, tie) == Theirs(format, std::nextafter(tie, 1e300)));
        RC_ASSERT(Ours(format, -tie) == "-" + Ours(format, tie));
    }));
}

TEST(FormattedTextRandom, SeventeenDigitsAreEnoughToReadANumberBack) {
    RC_ASSERT(rc::check("%.16e and %.17g", [] {
        const double value = *AnyDouble();
        RC_ASSERT(std::strtod(Ours("%.16e", value).c_str(), nullptr) == value);
        RC_ASSERT(std::strtod(Ours("%.17g", value).c_str(), nullptr) == value);
    }));
}

TEST(FormattedTextRandom, NoFormatWritesBeyondTheLimit) {
    RC_ASSERT(rc::check("any format that takes numbers", [] {
        const auto format =
            *rc::gen::container<std::string>(rc::gen::elementOf(std::string("%%%dux08.-+ #lhI64pfegc*ab")));
        RC_PRE(std::count(format.begin(), format.end(), '*') < 3);
        const auto limit = *rc::gen::inRange<std::size_t>(0, 64);
        std::string buffer(limit + 8, '#');
        const INT length = _snprintf(buffer.data(), limit, format.c_str(), 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,
                                     14, 15, 16, 17, 18, 19, 20, 1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 21, 22, 23, 24,
                                     25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40);
        RC_ASSERT(length <= static_cast<INT>(limit));
        RC_ASSERT(buffer.substr(limit) == "########");
    }));
}

}  // namespace
