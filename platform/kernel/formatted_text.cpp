// Formatted text by the platform's rules, for narrow and for wide text.
//
//   directive     takes, in the narrow function    in the wide function
//   %s, %c        narrow text, character           wide
//   %S, %C        wide                             narrow
//   %hs %hc %hS   narrow                           narrow
//   %ls %ws ...   wide                             wide
//
// Integers have 32 bits with and without "l", 16 with "h", 64 with "I64" or "ll"; "I" alone is as wide as a pointer.
// Text of the other width is converted unit by unit; a unit above 0xFF that has to become a byte ends the call. A
// directive that does not exist is printed without its percent sign; a percent sign at the end is dropped.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include "platform/control/control.h"

namespace {

enum class Size { Default, Short, Long, Wide64, Pointer };

struct Directive {
    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternate = false;
    bool zero = false;
    int width = 0;
    int precision = -1;  // not given
    Size size = Size::Default;
    char type = 0;
};

// The caller's buffer. What does not fit is not stored, and ends the call.
template <class Char>
class Output {
 public:
    Output(Char* buffer, std::size_t limit) : m_buffer(buffer), m_limit(limit) {}

    void Put(Char character) {
        if (m_length < m_limit) {
            m_buffer[m_length++] = character;
        } else {
            m_failed = true;
        }
    }

    void Fill(Char character, std::int64_t count) {
        for (; count > 0 && !m_failed; --count) Put(character);
    }

    void Fail() { m_failed = true; }
    bool Failed() const { return m_failed; }

    INT Finish() {
        if (m_length < m_limit) m_buffer[m_length] = 0;
        return m_failed ? -1 : static_cast<INT>(m_length);
    }

 private:
    Char* m_buffer;
    std::size_t m_limit;
    std::size_t m_length = 0;
    bool m_failed = false;
};

// --- Floating point ---------------------------------------------------------------------------------------

// The decimal digits of a number: digits[0] . digits[1] digits[2] ... times ten to the power of `exponent`.
struct Decimal {
    std::string digits;
    int exponent = 0;
};

// Every double has an end: this many digits behind the first hold it exactly.
constexpr int kAllDigits = 766;
constexpr int kMostPlaces = 1100;  // a larger precision adds nothing but zeros and is cut

Decimal ExactDigits(double magnitude) {
    char text[kAllDigits + 16];
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific, kAllDigits);
    const char* exponent = std::find(text, static_cast<char*>(end), 'e');
    Decimal decimal;
    decimal.digits.assign(1, text[0]);
    decimal.digits.append(static_cast<const char*>(text) + 2, exponent);
    ++exponent;
    if (*exponent == '+') ++exponent;
    std::from_chars(exponent, end, decimal.exponent);
    return decimal;
}

// Keeps `count` digits; a half goes away from zero. A negative count leaves nothing.
void Round(Decimal& decimal, int count) {
    if (count < 0) {
        decimal.digits.clear();
        return;
    }
    if (static_cast<std::size_t>(count) >= decimal.digits.size()) return;
    const bool up = decimal.digits[static_cast<std::size_t>(count)] >= '5';
    decimal.digits.resize(static_cast<std::size_t>(count));
    if (!up) return;
    for (auto digit = decimal.digits.rbegin(); digit != decimal.digits.rend(); ++digit) {
        if (*digit != '9') {
            ++*digit;
            return;
        }
        *digit = '0';
    }
    decimal.digits.insert(0, "1");
    ++decimal.exponent;
}

char DigitAt(const Decimal& decimal, int place) {  // counted from the first digit
    return place >= 0 && static_cast<std::size_t>(place) < decimal.digits.size()
               ? decimal.digits[static_cast<std::size_t>(place)]
               : '0';
}

std::string FixedText(Decimal decimal, int places, bool point) {
    Round(decimal, decimal.exponent + 1 + places);
    std::string text;
    for (int power = std::max(decimal.exponent, 0); power >= -places; --power) {
        if (power == -1) text += '.';
        text += DigitAt(decimal, decimal.exponent - power);
    }
    if (point && places == 0) text += '.';
    return text;
}

std::string ExponentText(Decimal decimal, int places, bool point) {
    Round(decimal, places + 1);
    std::string text(1, decimal.digits[0]);
    if (places > 0 || point) text += '.';
    for (int place = 1; place <= places; ++place) text += DigitAt(decimal, place);
    text += decimal.exponent < 0 ? "e-" : "e+";
    const std::string exponent = std::to_string(std::abs(decimal.exponent));
    return text + std::string(3 - exponent.size(), '0') + exponent;
}

void DropTrailingZeros(std::string& text) {
    const std::size_t mantissaEnd = std::min(text.find('e'), text.size());
    if (text.find('.') == std::string::npos) return;
    std::size_t end = mantissaEnd;
    while (text[end - 1] == '0') --end;
    if (text[end - 1] == '.') --end;
    text.erase(end, mantissaEnd - end);
}

std::string GeneralText(const Decimal& decimal, int precision, bool keepZeros) {
    const int digits = std::max(precision, 1);
    Decimal rounded = decimal;
    Round(rounded, digits);
    std::string text = rounded.exponent < -4 || rounded.exponent >= digits
                           ? ExponentText(decimal, digits - 1, keepZeros)
                           : FixedText(decimal, digits - 1 - rounded.exponent, keepZeros);
    if (!keepZeros) DropTrailingZeros(text);
    return text;
}

// Infinity and not-a-number look like a number with odd digits behind the point.
std::string SpecialText(double value, char type, int precision) {
    std::string text = std::isnan(value) ? "1.#IND" : "1.#INF";
    if (type == 'g') return text;
    constexpr int kOddDigits = 4;
    text.append(static_cast<std::size_t>(std::max(precision - kOddDigits, 0)), '0');
    return type == 'e' ? text + "e+000" : text;
}

// Without the sign. `type` is f, e or g.
std::string FloatText(double magnitude, char type, const Directive& directive) {
    constexpr int kDefaultPrecision = 6;
    const int precision = directive.precision < 0 ? kDefaultPrecision : std::min(directive.precision, kMostPlaces);
    if (!std::isfinite(magnitude)) return SpecialText(magnitude, type, precision);
    const Decimal decimal = ExactDigits(magnitude);
    switch (type) {
        case 'f':
            return FixedText(decimal, precision, directive.alternate);
        case 'e':
            return ExponentText(decimal, precision, directive.alternate);
        default:
            return GeneralText(decimal, precision, directive.alternate);
    }
}

// --- Integers ---------------------------------------------------------------------------------------------

std::string Digits(std::uint64_t value, unsigned base, bool upperCase) {
    const char* digits = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string text;
    for (; value != 0; value /= base) text.insert(text.begin(), digits[value % base]);
    return text;
}

// --- The call ---------------------------------------------------------------------------------------------

template <class Char>
class Formatter {
 public:
    Formatter(Char* buffer, std::size_t limit, va_list arguments) : m_output(buffer, limit) {
        va_copy(m_arguments, arguments);
    }
    ~Formatter() { va_end(m_arguments); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    INT Run(const Char* format) {
        while (*format != 0 && !m_output.Failed()) {
            if (*format != '%') {
                m_output.Put(*format++);
                continue;
            }
            ++format;
            const Directive directive = Parse(format);
            if (*format == 0) break;
            const Char letter = *format++;
            if (!Print(directive, letter)) m_output.Put(letter);
        }
        return m_output.Finish();
    }

 private:
    static bool IsDigit(Char character) { return character >= '0' && character <= '9'; }

    // Leaves `format` at the directive's letter.
    Directive Parse(const Char*& format) {
        Directive directive;
        for (;; ++format) {
            if (*format == '-') {
                directive.left = true;
            } else if (*format == '+') {
                directive.plus = true;
            } else if (*format == ' ') {
                directive.space = true;
            } else if (*format == '#') {
                directive.alternate = true;
            } else if (*format == '0') {
                directive.zero = true;
            } else {
                break;
            }
        }
        directive.width = Number(format);
        if (directive.width < 0) {
            directive.left = true;
            directive.width =
                directive.width == std::numeric_limits<int>::min() ? std::numeric_limits<int>::max() : -directive.width;
        }
        if (*format == '.') {
            ++format;
            directive.precision = std::max(Number(format), -1);
        }
        directive.size = ParseSize(format);
        return directive;
    }

    // Digits, or an asterisk for an argument.
    int Number(const Char*& format) {
        if (*format == '*') {
            ++format;
            return va_arg(m_arguments, int);
        }
        constexpr int kLargest = 1'000'000'000;
        int value = 0;
        for (; IsDigit(*format); ++format) value = value < kLargest / 10 ? value * 10 + (*format - '0') : kLargest;
        return value;
    }

    static Size ParseSize(const Char*& format) {
        Size size = Size::Default;
        for (;;) {
            if (*format == 'h') {
                size = Size::Short;
            } else if (*format == 'l' && format[1] == 'l') {
                size = Size::Wide64;
                ++format;
            } else if (*format == 'l' || *format == 'w') {
                size = Size::Long;
            } else if (*format == 'I' && format[1] == '6' && format[2] == '4') {
                size = Size::Wide64;
                format += 2;
            } else if (*format == 'I' && format[1] == '3' && format[2] == '2') {
                size = Size::Default;
                format += 2;
            } else if (*format == 'I') {
                size = Size::Pointer;
            } else {
                return size;
            }
            ++format;
        }
    }

    // False for a letter that is no directive.
    bool Print(Directive directive, Char letter) {
        if (letter > 0x7F || letter < 0) return false;
        directive.type = static_cast<char>(letter);
        switch (directive.type) {
            case 'd':
            case 'i':
                PrintSigned(directive);
                return true;
            case 'u':
            case 'o':
            case 'x':
            case 'X':
                PrintUnsigned(directive);
                return true;
            case 'p':
                PrintPointer(directive);
                return true;
            case 'f':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
                PrintFloat(directive);
                return true;
            case 's':
            case 'S':
                PrintText(directive);
                return true;
            case 'c':
            case 'C':
                PrintCharacter(directive);
                return true;
            default:
                return false;
        }
    }

    void PrintSigned(const Directive& directive) {
        std::int64_t value = 0;
        switch (directive.size) {
            case Size::Wide64:
                value = va_arg(m_arguments, std::int64_t);
                break;
            case Size::Pointer:
                value = va_arg(m_arguments, std::intptr_t);
                break;
            case Size::Short:
                value = static_cast<std::int16_t>(va_arg(m_arguments, int));
                break;
            default:
                value = va_arg(m_arguments, std::int32_t);
        }
        const auto magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
        PrintNumber(directive, Sign(directive, value < 0), Digits(magnitude, 10, false));
    }

    void PrintUnsigned(const Directive& directive) {
        std::uint64_t value = 0;
        switch (directive.size) {
            case Size::Wide64:
                value = va_arg(m_arguments, std::uint64_t);
                break;
            case Size::Pointer:
                value = va_arg(m_arguments, std::uintptr_t);
                break;
            case Size::Short:
                value = static_cast<std::uint16_t>(va_arg(m_arguments, unsigned));
                break;
            default:
                value = va_arg(m_arguments, std::uint32_t);
        }
        const bool hexadecimal = directive.type == 'x' || directive.type == 'X';
        const unsigned base = hexadecimal ? 16 : (directive.type == 'o' ? 8 : 10);
        std::string prefix;
        if (directive.alternate && hexadecimal && value != 0) prefix = directive.type == 'x' ? "0x" : "0X";
        if (directive.alternate && base == 8) prefix = "0";
        PrintNumber(directive, prefix, Digits(value, base, directive.type == 'X'));
    }

    // As wide as the device's pointers where the value is.
    void PrintPointer(Directive directive) {
        const std::uint64_t value = reinterpret_cast<std::uintptr_t>(va_arg(m_arguments, void*));
        directive.precision = value <= std::numeric_limits<std::uint32_t>::max() ? 8 : 16;
        PrintNumber(directive, "", Digits(value, 16, true));
    }

    void PrintNumber(const Directive& directive, const std::string& prefix, std::string digits) {
        const std::size_t least = directive.precision < 0 ? 1 : static_cast<std::size_t>(directive.precision);
        const std::int64_t zeros = least > digits.size() ? static_cast<std::int64_t>(least - digits.size()) : 0;
        const bool zeroPadded = directive.zero && directive.precision < 0;
        PrintField(directive, prefix, zeros, digits, zeroPadded);
    }

    void PrintFloat(const Directive& directive) {
        const double value = va_arg(m_arguments, double);
        const bool upperCase = directive.type == 'E' || directive.type == 'G';
        const char type = upperCase ? static_cast<char>(directive.type + ('a' - 'A')) : directive.type;
        std::string text = FloatText(std::fabs(value), type, directive);
        if (upperCase) std::replace(text.begin(), text.end(), 'e', 'E');
        // Whatever its sign, not-a-number is printed as a negative one.
        PrintField(directive, Sign(directive, std::signbit(value) || std::isnan(value)), 0, text, directive.zero);
    }

    static std::string Sign(const Directive& directive, bool negative) {
        if (negative) return "-";
        if (directive.plus) return "+";
        return directive.space ? " " : "";
    }

    // Prefix, zeros and text in the directive's width; the padding stands before, behind, or as zeros after the
    // prefix.
    void PrintField(const Directive& directive, const std::string& prefix, std::int64_t zeros, const std::string& text,
                    bool zeroPadded) {
        const std::int64_t padding = directive.width - static_cast<std::int64_t>(prefix.size() + text.size()) - zeros;
        const bool before = !directive.left && !zeroPadded;
        if (before) m_output.Fill(' ', padding);
        PutAscii(prefix);
        if (!directive.left && zeroPadded) m_output.Fill('0', padding);
        m_output.Fill('0', zeros);
        PutAscii(text);
        if (directive.left) m_output.Fill(' ', padding);
    }

    void PutAscii(const std::string& text) {
        for (const char character : text) m_output.Put(static_cast<Char>(character));
    }

    // Whether the text or character of the directive is wide.
    static bool TakesWide(const Directive& directive) {
        if (directive.size == Size::Short) return false;
        if (directive.size == Size::Long || directive.size == Size::Wide64) return true;
        constexpr bool kOwnIsWide = std::is_same_v<Char, WCHAR>;
        const bool other = directive.type == 'S' || directive.type == 'C';
        return other ? !kOwnIsWide : kOwnIsWide;
    }

    void PrintText(const Directive& directive) {
        if (TakesWide(directive)) {
            const WCHAR* text = va_arg(m_arguments, const WCHAR*);
            PutText(directive, text ? text : u"(null)");
        } else {
            const char* text = va_arg(m_arguments, const char*);
            PutText(directive, text ? text : "(null)");
        }
    }

    template <class Source>
    void PutText(const Directive& directive, const Source* text) {
        const auto most = directive.precision < 0 ? std::numeric_limits<std::size_t>::max()
                                                  : static_cast<std::size_t>(directive.precision);
        std::size_t length = 0;
        while (length < most && text[length] != 0) ++length;
        PutUnits(directive, text, length);
    }

    void PrintCharacter(const Directive& directive) {
        const int argument = va_arg(m_arguments, int);
        if (TakesWide(directive)) {
            const auto unit = static_cast<WCHAR>(argument);
            PutUnits(directive, &unit, 1);
        } else {
            const auto byte = static_cast<char>(argument);
            PutUnits(directive, &byte, 1);
        }
    }

    template <class Source>
    void PutUnits(const Directive& directive, const Source* units, std::size_t count) {
        const std::int64_t padding = std::int64_t{directive.width} - static_cast<std::int64_t>(count);
        if (!directive.left) m_output.Fill(directive.zero ? '0' : ' ', padding);
        for (std::size_t i = 0; i < count && !m_output.Failed(); ++i) PutUnit(units[i]);
        if (directive.left) m_output.Fill(' ', padding);
    }

    void PutUnit(WCHAR unit) {
        if constexpr (std::is_same_v<Char, char>) {
            if (unit > 0xFF) {
                m_output.Fail();
                return;
            }
        }
        m_output.Put(static_cast<Char>(unit));
    }

    void PutUnit(char byte) { m_output.Put(static_cast<Char>(static_cast<unsigned char>(byte))); }

    Output<Char> m_output;
    va_list m_arguments;
};

}  // namespace

INT _vsnprintf(char* buffer, std::size_t limit, const char* format, va_list arguments) {
    return Formatter<char>(buffer, limit, arguments).Run(format);
}

INT _snprintf(char* buffer, std::size_t limit, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const INT result = _vsnprintf(buffer, limit, format, arguments);
    va_end(arguments);
    return result;
}

INT _vsnwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format, va_list arguments) {
    return Formatter<WCHAR>(buffer, limit, arguments).Run(format);
}

INT _snwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const INT result = _vsnwprintf(buffer, limit, format, arguments);
    va_end(arguments);
    return result;
}
