// Reads and evaluates restrictions.
#include "platform/pocketoutlook/restriction.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace kez::pocketoutlook {
namespace {

constexpr std::size_t kLongest = 4096;

char16_t Lower(char16_t character) {
    return character >= u'A' && character <= u'Z' ? static_cast<char16_t>(character + (u'a' - u'A')) : character;
}

bool IsBlank(char16_t character) {
    return character == u' ' || character == u'\t' || character == u'\r' || character == u'\n';
}

std::u16string_view Trimmed(std::u16string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::u16string Folded(std::u16string_view text) {
    std::u16string folded(text);
    std::ranges::transform(folded, folded.begin(), Lower);
    return folded;
}

std::string Narrow(std::u16string_view text) {
    std::string narrow;
    for (const char16_t character : text) narrow += character < 0x80 ? static_cast<char>(character) : '?';
    return narrow;
}

// What an absent value compares as.
Value Substitute(const PropertyRow& row) {
    switch (TypeFromPropID(row.id)) {
        case CEVT_LPWSTR:
            return Value(std::u16string());
        case CEVT_FILETIME:
            return Value(kNoDate);
        case CEVT_R8:
            return Value(0.0);
        case CEVT_BLOB:
            return Value(propertydb::Bytes());
        default:
            return Value(std::int64_t{0});
    }
}

std::optional<WallTicks> ParseDate(const std::string& text) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, used = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%n", &year, &month, &day, &used) != 3) {
        if (std::sscanf(text.c_str(), "%2d/%2d/%4d%n", &month, &day, &year, &used) != 3) return std::nullopt;
    }
    const char* rest = text.c_str() + used;
    int more = 0;
    char half[2] = {};  // and the end that the call writes behind it
    if (*rest && std::sscanf(rest, "%*[T ]%2d:%2d%n", &hour, &minute, &more) == 2) {
        rest += more;
        more = 0;
        if (std::sscanf(rest, ":%2d%n", &second, &more) == 1) rest += more;
        more = 0;
        if (std::sscanf(rest, " %1[AaPp]%*1[Mm]%n", half, &more) == 1 && more) {
            if (hour < 1 || hour > 12) return std::nullopt;
            hour = hour % 12 + (half[0] == 'P' || half[0] == 'p' ? 12 : 0);
            rest += more;
        }
    }
    if (*rest || month < 1 || month > 12 || day < 1) return std::nullopt;
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(year);
    time.wMonth = static_cast<WORD>(month);
    time.wDay = static_cast<WORD>(day);
    time.wHour = static_cast<WORD>(hour);
    time.wMinute = static_cast<WORD>(minute);
    time.wSecond = static_cast<WORD>(second);
    FILETIME ticks{};
    if (!SystemTimeToFileTime(&time, &ticks)) return std::nullopt;
    return TicksFromFileTime(ticks);
}

enum class Operator { Equal, Unequal, Less, LessOrEqual, Greater, GreaterOrEqual };

class Comparison final : public Restriction {
 public:
    Comparison(const PropertyRow& row, Operator op, Value value)
        : m_row(row), m_operator(op), m_value(std::move(value)) {}

    bool Matches(const ValueSource& values) const override {
        const int order = CompareValues(m_row, values(m_row), m_value);
        switch (m_operator) {
            case Operator::Equal:
                return order == 0;
            case Operator::Unequal:
                return order != 0;
            case Operator::Less:
                return order < 0;
            case Operator::LessOrEqual:
                return order <= 0;
            case Operator::Greater:
                return order > 0;
            case Operator::GreaterOrEqual:
                return order >= 0;
        }
        return false;
    }

 private:
    const PropertyRow& m_row;
    Operator m_operator;
    Value m_value;
};

class Group final : public Restriction {
 public:
    Group(bool all, std::vector<std::shared_ptr<const Restriction>> parts) : m_all(all), m_parts(std::move(parts)) {}

    bool Matches(const ValueSource& values) const override {
        const auto matches = [&](const auto& part) { return part->Matches(values); };
        return m_all ? std::ranges::all_of(m_parts, matches) : std::ranges::any_of(m_parts, matches);
    }

 private:
    bool m_all;
    std::vector<std::shared_ptr<const Restriction>> m_parts;
};

using Part = std::shared_ptr<const Restriction>;

class Parser {
 public:
    Parser(std::u16string_view text, OlItemType type) : m_rest(text), m_type(type) {}

    Part Whole() {
        Part part = Any();
        SkipBlanks();
        return m_rest.empty() ? part : nullptr;
    }

 private:
    Part Any() {
        return Chain(u"or", false, [&] { return All(); });
    }
    Part All() {
        return Chain(u"and", true, [&] { return Factor(); });
    }
    template <class Next>
    Part Chain(std::u16string_view word, bool all, Next next) {
        std::vector<Part> parts;
        do {
            Part part = next();
            if (!part) return nullptr;
            parts.push_back(std::move(part));
        } while (TakeWord(word));
        return parts.size() == 1 ? parts[0] : std::make_shared<Group>(all, std::move(parts));
    }

    Part Factor() {
        if (Take(u"(")) {
            Part inner = Any();
            return inner && Take(u")") ? inner : nullptr;
        }
        if (!Take(u"[")) return nullptr;
        const std::size_t end = m_rest.find(u']');
        if (end == m_rest.npos) return nullptr;
        const PropertyRow* row = ParsePropertyName(m_rest.substr(0, end), m_type);
        m_rest.remove_prefix(end + 1);
        const auto op = TakeOperator();
        if (!row || !op) return nullptr;
        auto value = TakeValue(*row);
        return value ? std::make_shared<Comparison>(*row, *op, std::move(*value)) : nullptr;
    }

    std::optional<Operator> TakeOperator() {
        // The longer ones first.
        static constexpr std::pair<std::u16string_view, Operator> kOperators[] = {
            {u"<>", Operator::Unequal}, {u"<=", Operator::LessOrEqual}, {u">=", Operator::GreaterOrEqual},
            {u"<", Operator::Less},     {u">", Operator::Greater},      {u"=", Operator::Equal},
        };
        for (const auto& [text, op] : kOperators) {
            if (Take(text)) return op;
        }
        return std::nullopt;
    }

    std::optional<Value> TakeValue(const PropertyRow& row) {
        const WORD type = TypeFromPropID(row.id);
        if (Take(u"\"")) {
            const std::size_t end = m_rest.find(u'"');
            if (end == m_rest.npos) return std::nullopt;
            const auto text = m_rest.substr(0, end);
            m_rest.remove_prefix(end + 1);
            if (type == CEVT_LPWSTR) return Value(std::u16string(text));
            if (type != CEVT_FILETIME) return std::nullopt;
            const auto date = ParseDate(Narrow(Trimmed(text)));
            return date ? std::optional(Value(*date)) : std::nullopt;
        }
        if (type == CEVT_LPWSTR || type == CEVT_BLOB) return std::nullopt;
        if (type == CEVT_BOOL) {
            if (TakeWord(u"true")) return Value(std::int64_t{1});
            if (TakeWord(u"false")) return Value(std::int64_t{0});
        }
        const auto number = TakeNumber();
        if (!number) return std::nullopt;
        switch (type) {
            case CEVT_FILETIME:
                return Value(*number == DATE_NONE ? kNoDate : TicksFromDate(*number));
            case CEVT_R8:
                return Value(*number);
            case CEVT_BOOL:
                return Value(std::int64_t{*number != 0});
            default:
                return Value(static_cast<std::int64_t>(*number));
        }
    }

    std::optional<double> TakeNumber() {
        SkipBlanks();
        const std::size_t length = std::min(m_rest.find_first_not_of(u"+-0123456789.eE"), m_rest.size());
        const std::string text = Narrow(m_rest.substr(0, length));
        double number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        constexpr double kLargest = 4294967295.0;
        if (error != std::errc() || end != text.data() + text.size() || !(number >= -kLargest && number <= kLargest)) {
            return std::nullopt;
        }
        m_rest.remove_prefix(length);
        return number;
    }

    void SkipBlanks() {
        while (!m_rest.empty() && IsBlank(m_rest.front())) m_rest.remove_prefix(1);
    }
    bool Take(std::u16string_view text) {
        SkipBlanks();
        if (!m_rest.starts_with(text)) return false;
        m_rest.remove_prefix(text.size());
        return true;
    }
    // `word` is in lower case and has to end where another word could not go on.
    bool TakeWord(std::u16string_view word) {
        SkipBlanks();
        if (m_rest.size() < word.size() || Folded(m_rest.substr(0, word.size())) != word) return false;
        if (m_rest.size() > word.size()) {
            const char16_t next = Lower(m_rest[word.size()]);
            if ((next >= u'a' && next <= u'z') || (next >= u'0' && next <= u'9')) return false;
        }
        m_rest.remove_prefix(word.size());
        return true;
    }

    std::u16string_view m_rest;
    OlItemType m_type;
};

}  // namespace

int CompareValues(const PropertyRow& row, const std::optional<Value>& a, const std::optional<Value>& b) {
    const Value left = a ? *a : Substitute(row);
    const Value right = b ? *b : Substitute(row);
    if (const auto* text = std::get_if<std::u16string>(&left)) {
        return Folded(*text).compare(Folded(std::get<std::u16string>(right)));
    }
    if (left == right) return 0;
    return left < right ? -1 : 1;
}

Part Restriction::Parse(std::u16string_view text, OlItemType type) {
    if (text.size() > kLongest) return nullptr;
    return Parser(text, type).Whole();
}

Part Restriction::Both(Part a, Part b) {
    if (!a) return b;
    return std::make_shared<Group>(true, std::vector<Part>{std::move(a), std::move(b)});
}

const PropertyRow* ParsePropertyName(std::u16string_view text, OlItemType type) {
    text = Trimmed(text);
    if (text.starts_with(u'[') && text.ends_with(u']')) text = Trimmed(text.substr(1, text.size() - 2));
    const PropertyRow* row = FindProperty(type, text);
    return row && row->access != Access::Stream ? row : nullptr;
}

}  // namespace kez::pocketoutlook
