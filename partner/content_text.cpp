// Encodings and escapes of values: base64, quoted-printable, character sets, the escapes of each version.
#include <iconv.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <map>

#include "partner/content_lines.h"

namespace kez::partner {
namespace {

constexpr std::string_view kBase64Digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

std::string UnquotePrintable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] == '=' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0) {
            out += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
            i += 2;
        } else if (text[i] == '=' && i + 1 == text.size()) {
            break;  // a soft break that nothing follows
        } else {
            out += text[i];
        }
    }
    return out;
}

std::string UnBase64(std::string_view text) {
    static const auto values = [] {
        std::array<int8_t, 256> table;
        table.fill(-1);
        for (std::size_t i = 0; i < kBase64Digits.size(); i++)
            table[static_cast<uint8_t>(kBase64Digits[i])] = static_cast<int8_t>(i);
        return table;
    }();
    std::string out;
    out.reserve(text.size() / 4 * 3);
    uint32_t bits = 0;
    int count = 0;
    for (char c : text) {
        if (c == '=') break;
        int value = values[static_cast<uint8_t>(c)];
        if (value < 0) continue;
        bits = bits << 6 | static_cast<uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            out += static_cast<char>(bits >> count & 0xFF);
        }
    }
    return out;
}

// One conversion, opened once a character set; null where the system does not know the set.
class Converter {
 public:
    Converter(const std::string& to, const std::string& from) : m_handle(iconv_open(to.c_str(), from.c_str())) {}
    ~Converter() {
        if (Opened()) iconv_close(m_handle);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    bool Opened() const { return m_handle != reinterpret_cast<iconv_t>(-1); }

    bool Convert(std::string_view bytes, std::string* out) {
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        std::string input(bytes);
        char* from = input.data();
        std::size_t left = input.size();
        out->clear();
        while (left > 0) {
            char buffer[512];
            char* to = buffer;
            std::size_t room = sizeof buffer;
            std::size_t result = iconv(m_handle, &from, &left, &to, &room);
            out->append(buffer, static_cast<std::size_t>(to - buffer));
            if (result == static_cast<std::size_t>(-1) && errno != E2BIG) return false;
        }
        return true;
    }

 private:
    iconv_t m_handle;
};

Converter* ConverterFor(const std::string& to, const std::string& from) {
    static thread_local std::map<std::pair<std::string, std::string>, std::unique_ptr<Converter>> converters;
    auto& converter = converters[{to, from}];
    if (!converter) converter = std::make_unique<Converter>(to, from);
    return converter->Opened() ? converter.get() : nullptr;
}

void AppendUtf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else {
        out += static_cast<char>(0xC0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

std::string FromWindows1252(std::string_view bytes) {
    auto* converter = ConverterFor("UTF-8", "WINDOWS-1252");
    std::string out, one;
    for (char c : bytes) {
        if (static_cast<uint8_t>(c) < 0x80)
            out += c;
        else if (converter && converter->Convert({&c, 1}, &one))
            out += one;
        else
            AppendUtf8(out, static_cast<uint8_t>(c));  // the five codes that the set leaves free
    }
    return out;
}

// The label as iconv spells it.
std::string CharsetName(std::string_view label) {
    std::string name = UpperCase(Trimmed(label));
    if (name == "SHIFT-JIS" || name == "SJIS" || name == "SHIFT_JIS") return "CP932";  // what telephones mean by it
    if (name == "ISO-8859-1" || name == "LATIN1") return "WINDOWS-1252";               // likewise
    return name;
}

}  // namespace

std::string UpperCase(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return out;
}

std::string Trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n\v\f";
    auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return "";
    return std::string(text.substr(first, text.find_last_not_of(blanks) - first + 1));
}

bool IsUtf8(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size();) {
        auto lead = static_cast<uint8_t>(bytes[i]);
        if (lead < 0x80) {
            i++;
            continue;
        }
        std::size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        if (lead < 0xC2 || lead > 0xF4 || i + more >= bytes.size()) return false;
        auto second = static_cast<uint8_t>(bytes[i + 1]);
        if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) || (lead == 0xF0 && second < 0x90) ||
            (lead == 0xF4 && second > 0x8F))
            return false;
        for (std::size_t k = 1; k <= more; k++)
            if ((static_cast<uint8_t>(bytes[i + k]) & 0xC0) != 0x80) return false;
        i += more + 1;
    }
    return true;
}

std::string ToUtf8(std::string_view bytes, std::string_view charset) {
    std::string name = CharsetName(charset);
    if (name.empty() || name == "UTF-8" || name == "UTF8" || name == "US-ASCII")
        return IsUtf8(bytes) ? std::string(bytes) : FromWindows1252(bytes);
    std::string out;
    auto* converter = ConverterFor("UTF-8", name);
    if (converter && converter->Convert(bytes, &out)) return out;
    return IsUtf8(bytes) ? std::string(bytes) : FromWindows1252(bytes);
}

std::string FromUtf8(std::string_view text, std::string_view charset) {
    std::string name = CharsetName(charset);
    if (name.empty() || name == "UTF-8" || name == "UTF8") return std::string(text);
    std::string out;
    auto* converter = ConverterFor(name, "UTF-8");
    if (!converter || !converter->Convert(text, &out) || ToUtf8(out, charset) != text) return "";
    return out;
}

std::string Base64(std::string_view bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t bits = 0;
        std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        for (std::size_t k = 0; k < 3; k++) bits = bits << 8 | (k < count ? static_cast<uint8_t>(bytes[i + k]) : 0U);
        for (std::size_t k = 0; k < 4; k++) out += k <= count ? kBase64Digits[bits >> (18 - 6 * k) & 63] : '=';
    }
    return out;
}

std::string Bytes(const ContentLine& line) {
    if (line.IsQuotedPrintable()) return UnquotePrintable(line.value);
    return UnBase64(line.value);
}

std::string Text(const ContentLine& line) {
    std::string bytes = line.IsQuotedPrintable() ? UnquotePrintable(line.value)
                        : line.IsBase64()        ? UnBase64(line.value)
                                                 : line.value;
    std::string text = ToUtf8(bytes, line.Parameter("CHARSET"));
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\r') {
            if (i + 1 < text.size() && text[i + 1] == '\n') i++;
            out += '\n';
        } else if (text[i] != '\0') {  // no text of a device or a file has one
            out += text[i];
        }
    }
    return out;
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> pieces(1);
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            pieces.back() += text[i++];
            pieces.back() += text[i];
        } else if (text[i] == separator) {
            pieces.emplace_back();
        } else {
            pieces.back() += text[i];
        }
    }
    return pieces;
}

std::string Unescape(std::string_view text, Syntax syntax) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        char next = text[++i];
        if (next == '\\' || next == ';' || next == ',' || next == ':') {  // "\:" is no escape, but widely written
            out += next;
        } else if ((next == 'n' || next == 'N') && !IsOld(syntax)) {
            out += '\n';
        } else {
            out += '\\';
            out += next;
        }
    }
    return out;
}

std::string Escape(std::string_view text, Syntax syntax, bool structured) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        bool escaped = c == '\\' || (c == ';' && (structured || !IsOld(syntax))) || (c == ',' && !IsOld(syntax));
        if (c == '\n' && !IsOld(syntax)) {
            out += "\\n";
        } else {
            if (escaped) out += '\\';
            out += c;
        }
    }
    return out;
}

}  // namespace kez::partner
