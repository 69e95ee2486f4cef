// Reading a file into logical lines and components, and rewriting single lines.
//
// Where a logical line ends, in this order:
//   1. a physical line that begins with a blank or a tab continues the one before (folding), except after junk;
//   2. a quoted-printable value that ends with "=" goes on in the next physical line, indented or not, unless that
//      one is an END line;
//   3. an old base64 value goes on in lines of nothing but base64 digits; one blank line that closes it belongs to it.
#include "partner/content_lines.h"

#include <algorithm>
#include <map>
#include <optional>

namespace kez::partner {
namespace {

constexpr std::size_t kMaxDepth = 32;
constexpr std::size_t kOldLineWidth = 72;

struct PhysicalLine {
    std::string_view text;
    std::string_view end;  // CR LF, LF, CR, CR CR LF, or nothing at the end of the file
};

std::vector<PhysicalLine> PhysicalLines(std::string_view bytes) {
    std::vector<PhysicalLine> lines;
    while (!bytes.empty()) {
        std::size_t length = bytes.find_first_of("\r\n");
        if (length == std::string_view::npos) length = bytes.size();
        std::string_view rest = bytes.substr(length);
        std::size_t end = rest.starts_with("\r\r\n") ? 3 : rest.starts_with("\r\n") ? 2 : rest.empty() ? 0 : 1;
        lines.push_back({bytes.substr(0, length), rest.substr(0, end)});
        bytes.remove_prefix(length + end);
    }
    return lines;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

bool IsNameCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

bool IsName(std::string_view text) { return !text.empty() && std::all_of(text.begin(), text.end(), IsNameCharacter); }

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The place of the colon that ends the head, the semicolons before it noted; npos where the text is no property.
// `quotes`: whether a double quote hides separators.
std::size_t FindColon(std::string_view text, bool quotes, std::vector<std::size_t>* semicolons) {
    bool quoted = false;
    semicolons->clear();
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] == '"' && quotes)
            quoted = !quoted;
        else if (text[i] == ':' && !quoted)
            return i;
        else if (text[i] == ';' && !quoted)
            semicolons->push_back(i);
    }
    return std::string_view::npos;
}

// Takes an unfolded line apart; false where it is no property.
bool Dissect(std::string_view text, ContentLine* line) {
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    std::vector<std::size_t> semicolons;
    std::size_t colon = FindColon(text, true, &semicolons);
    if (colon == std::string_view::npos) colon = FindColon(text, false, &semicolons);
    if (colon == std::string_view::npos) return false;
    std::string_view name = text.substr(0, semicolons.empty() ? colon : semicolons[0]);
    std::string_view group;
    if (auto dot = name.rfind('.'); dot != std::string_view::npos) {
        group = name.substr(0, dot);
        name.remove_prefix(dot + 1);
        if (!IsName(group)) return false;
    }
    while (!name.empty() && IsBlank(name.back())) name.remove_suffix(1);
    if (!IsName(name)) return false;
    line->kind = ContentLine::Kind::Property;
    line->group = group;
    line->name = UpperCase(name);
    line->segments.clear();
    for (std::size_t i = 0; i < semicolons.size(); i++) {
        std::size_t next = i + 1 < semicolons.size() ? semicolons[i + 1] : colon;
        line->segments.emplace_back(text.substr(semicolons[i] + 1, next - semicolons[i] - 1));
    }
    line->value = text.substr(colon + 1);
    return true;
}

constexpr std::string_view kEncodings[] = {"QUOTED-PRINTABLE", "BASE64", "B", "8BIT", "7BIT"};

bool IsEncoding(std::string_view upper) {
    return std::find(std::begin(kEncodings), std::end(kEncodings), upper) != std::end(kEncodings);
}

std::string SegmentName(std::string_view segment) {
    std::size_t equals = segment.find('=');
    if (equals != std::string_view::npos) return UpperCase(Trimmed(segment.substr(0, equals)));
    return IsEncoding(UpperCase(Trimmed(segment))) ? "ENCODING" : "TYPE";
}

std::string UndoCarets(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); i++) {
        char next = text[i] == '^' && i + 1 < text.size() ? text[i + 1] : '\0';
        if (next == 'n' || next == '^' || next == '\'') {
            out += next == 'n' ? '\n' : next == '^' ? '^' : '"';
            i++;
        } else {
            out += text[i];
        }
    }
    return out;
}

// The values of one parameter: a list at its commas, except those in quotes (a list of types may be quoted whole).
std::vector<std::string> SegmentValues(std::string_view segment, bool splitQuoted) {
    std::size_t equals = segment.find('=');
    std::string_view text = equals == std::string_view::npos ? segment : segment.substr(equals + 1);
    std::vector<std::string> values(1);
    bool quoted = false;
    for (char c : text) {
        if (c == '"')
            quoted = !quoted;
        else if (c == ',' && (!quoted || splitQuoted))
            values.emplace_back();
        else
            values.back() += c;
    }
    for (auto& value : values) value = UndoCarets(Trimmed(value));
    return values;
}

bool EndsInSoftBreak(std::string_view text) {
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text.ends_with('=');
}

bool IsEndLine(std::string_view text) { return UpperCase(text.substr(0, 4)) == "END:"; }

bool IsBase64Text(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (IsNameCharacter(c) && c != '-' && c != '_') || c == '+' || c == '/' || c == '=' || IsBlank(c);
    });
}

}  // namespace

std::vector<std::string> ContentLine::Parameters(std::string_view parameter) const {
    std::vector<std::string> all;
    for (const auto& segment : segments) {
        if (SegmentName(segment) != parameter) continue;
        for (auto& one : SegmentValues(segment, parameter == "TYPE")) all.push_back(std::move(one));
    }
    return all;
}

std::string ContentLine::Parameter(std::string_view parameter) const {
    auto all = Parameters(parameter);
    return all.empty() ? "" : all.front();
}

bool ContentLine::HasType(std::string_view type) const {
    for (const auto& one : Parameters("TYPE"))
        if (UpperCase(one) == UpperCase(type)) return true;
    return false;
}

bool ContentLine::IsQuotedPrintable() const {
    return !segments.empty() && UpperCase(Parameter("ENCODING")) == "QUOTED-PRINTABLE";
}

bool ContentLine::IsBase64() const {
    if (segments.empty()) return false;
    std::string encoding = UpperCase(Parameter("ENCODING"));
    return encoding == "BASE64" || encoding == "B";
}

std::vector<ContentLine*> Component::Lines(std::string_view property) const {
    std::vector<ContentLine*> found;
    for (const auto& node : nodes)
        if (node.line && node.line->kind == ContentLine::Kind::Property &&
            (property.empty() || node.line->name == property))
            found.push_back(node.line.get());
    return found;
}

ContentLine* Component::First(std::string_view property) const {
    for (const auto& node : nodes)
        if (node.line && node.line->kind == ContentLine::Kind::Property && node.line->name == property)
            return node.line.get();
    return nullptr;
}

std::vector<Component*> Component::Components(std::string_view component) const {
    std::vector<Component*> found;
    for (const auto& node : nodes)
        if (node.component && (component.empty() || node.component->name == component))
            found.push_back(node.component.get());
    return found;
}

ContentDocument::ContentDocument(std::string_view bytes) { Parse(bytes); }

void ContentDocument::Parse(std::string_view bytes) {
    m_isUtf8 = IsUtf8(bytes);
    std::vector<PhysicalLine> physical = PhysicalLines(bytes);
    std::map<std::string_view, std::size_t> ends;
    std::size_t foldedWidth = 0;
    bool hasLongLine = false;
    std::vector<Component*> open{&m_root};

    for (std::size_t i = 0; i < physical.size();) {
        auto line = std::make_unique<ContentLine>();
        line->number = i + 1;
        std::size_t first = i++;
        ends[physical[first].end]++;
        std::string text(physical[first].text);

        // The head may be folded too, so the folds come before anything is known about the property.
        bool mayFold = !Trimmed(text).empty();
        bool hasColon = text.find(':') != std::string::npos;
        std::optional<bool> quoted;
        while (mayFold && i < physical.size() && !physical[i].text.empty() && IsBlank(physical[i].text[0])) {
            foldedWidth = std::max(foldedWidth, physical[i - 1].text.size());
            m_foldBlank = physical[i].text[0];
            // A soft break before a fold is one line break, marked twice.
            if (!quoted && hasColon) quoted = Dissect(text, line.get()) && line->IsQuotedPrintable();
            if (quoted.value_or(false) && EndsInSoftBreak(text)) text.resize(text.find_last_of('='));
            hasColon = hasColon || physical[i].text.find(':') != std::string_view::npos;
            text.append(physical[i++].text.substr(1));
        }
        if (Dissect(text, line.get()) && line->IsQuotedPrintable()) {
            while (EndsInSoftBreak(text) && i < physical.size() && !IsEndLine(physical[i].text)) {
                text.resize(text.find_last_of('='));
                std::string_view next = physical[i++].text;
                if (!next.empty() && IsBlank(next[0])) next.remove_prefix(1);
                text += next;
            }
            Dissect(text, line.get());
        } else if (line->kind == ContentLine::Kind::Property && line->IsBase64()) {
            while (i < physical.size() && IsBase64Text(physical[i].text) && !Trimmed(physical[i].text).empty())
                text += physical[i++].text;
            // A photo that stands in lines of its own is closed by a blank line.
            if (i < physical.size() && i > first + 1 && Trimmed(physical[i].text).empty()) i++;
            Dissect(text, line.get());
        } else if (i == first + 1 && text.size() > 75) {
            hasLongLine = true;
        }
        const char* begin = physical[first].text.data();
        const char* end = physical[i - 1].text.data() + physical[i - 1].text.size() + physical[i - 1].end.size();
        line->raw.assign(begin, end);

        std::string component =
            line->kind == ContentLine::Kind::Property && (line->name == "BEGIN" || line->name == "END")
                ? UpperCase(Trimmed(line->value))
                : "";
        if (!component.empty() && line->name == "BEGIN" && open.size() <= kMaxDepth) {
            auto inner = std::make_unique<Component>();
            inner->name = component;
            inner->number = line->number;
            line->kind = ContentLine::Kind::Begin;
            Component* pointer = inner.get();
            inner->nodes.push_back({std::move(line), nullptr});
            open.back()->nodes.push_back({nullptr, std::move(inner)});
            open.push_back(pointer);
        } else if (!component.empty() && line->name == "END") {
            std::size_t depth = open.size() - 1;
            while (depth > 0 && open[depth]->name != component) depth--;
            if (depth == 0) {  // closes nothing
                line->kind = ContentLine::Kind::Other;
                open.back()->nodes.push_back({std::move(line), nullptr});
                continue;
            }
            line->kind = ContentLine::Kind::End;
            open.resize(depth + 1);
            open.back()->closed = true;
            open.back()->nodes.push_back({std::move(line), nullptr});
            open.pop_back();
        } else {
            if (!component.empty()) line->kind = ContentLine::Kind::Other;
            open.back()->nodes.push_back({std::move(line), nullptr});
        }
    }
    std::size_t most = 0;
    for (const auto& [end, count] : ends) {
        if (end.empty() || count <= most) continue;
        most = count;
        m_lineEnd = end;
    }
    if (foldedWidth > 0)
        m_foldWidth = std::clamp<std::size_t>(foldedWidth, 20, 998);
    else if (hasLongLine)
        m_foldWidth = 0;
}

namespace {

void AppendText(const Component& component, std::string& out) {
    for (const auto& node : component.nodes) {
        if (node.line)
            out += node.line->raw;
        else
            AppendText(*node.component, out);
    }
}

}  // namespace

std::string ContentDocument::Text() const {
    std::string out;
    AppendText(m_root, out);
    return out;
}

Syntax ContentDocument::SyntaxOf(const Component& component, Syntax otherwise) {
    const ContentLine* version = component.First("VERSION");
    if (!version) return otherwise;
    std::string number = Trimmed(version->value);
    bool calendar = component.name == "VCALENDAR";
    if (number == "1.0") return Syntax::Calendar10;
    if (number == "2.0") return Syntax::Calendar20;
    if (number == "2.1") return Syntax::Card21;
    if (number == "3.0") return Syntax::Card30;
    if (number == "4.0") return Syntax::Card40;
    return calendar ? Syntax::Calendar20 : otherwise;
}

// --- Writing -------------------------------------------------------------------------------------------------

namespace {

std::string Head(const ContentLine& line, std::string_view nameAsWritten) {
    std::string head;
    if (!line.group.empty()) head = line.group + ".";
    head += nameAsWritten;
    for (const auto& segment : line.segments) head += ";" + segment;
    return head;
}

// The property's name in the letters that its line has.
std::string NameAsWritten(const ContentLine& line) {
    std::string_view raw = line.raw;
    if (raw.starts_with(kByteOrderMark)) raw.remove_prefix(kByteOrderMark.size());
    if (!line.group.empty() && raw.size() > line.group.size()) raw.remove_prefix(line.group.size() + 1);
    std::string written(raw.substr(0, line.name.size()));
    return UpperCase(written) == line.name ? written : line.name;
}

// The end of the line's last physical line that is not its closing blank line.
std::string LineEndOf(const ContentLine& line, const std::string& otherwise) {
    for (std::string_view end : {"\r\r\n", "\r\n", "\n", "\r"})
        if (line.raw.ends_with(end)) return std::string(end);
    return otherwise;
}

void RemoveSegments(ContentLine& line, std::string_view parameter) {
    std::erase_if(line.segments, [&](const std::string& segment) { return SegmentName(segment) == parameter; });
}

std::size_t CharacterStart(std::string_view text, std::size_t at) {
    while (at > 0 && at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) at--;
    return at;
}

std::string Folded(std::string_view text, std::size_t width, char blank, const std::string& lineEnd) {
    std::string out;
    std::size_t room = width;
    while (width > 0 && text.size() > room) {
        std::size_t length = CharacterStart(text, room);
        if (length == 0) length = room;
        out.append(text.substr(0, length));
        out += lineEnd;
        out += blank;
        text.remove_prefix(length);
        room = width - 1;
    }
    out.append(text);
    return out + lineEnd;
}

// Quoted-printable with soft breaks; `used` is the length of the head in the first physical line.
std::string QuotedPrintable(std::string_view text, std::size_t used, const std::string& lineEnd) {
    constexpr char hex[] = "0123456789ABCDEF";
    std::string out;
    std::size_t column = used;
    for (std::size_t i = 0; i < text.size(); i++) {
        auto c = static_cast<unsigned char>(text[i]);
        std::string piece;
        if (c == '\n')
            piece = "=0D=0A";
        else if (c < 0x20 || c >= 0x7F || c == '=' || (c == ' ' && i + 1 == text.size()))
            piece = {'=', hex[c >> 4], hex[c & 15]};
        else
            piece = static_cast<char>(c);
        if (column + piece.size() > kOldLineWidth + 2) {
            out += "=" + lineEnd;
            column = 0;
            // No continuation looks like a fold or like an END line.
            if (piece == " " || piece == "E" || piece == "e") piece = {'=', hex[c >> 4], hex[c & 15]};
        }
        out += piece;
        column += piece.size();
    }
    return out + lineEnd;
}

bool NeedsQuoting(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7F;
    });
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

void ContentDocument::Write(ContentLine& line, std::string_view encodedValue) const {
    std::string end = LineEndOf(line, m_lineEnd);
    std::string head = Head(line, NameAsWritten(line)) + ":";
    bool quoted = line.IsQuotedPrintable();
    line.value = encodedValue;
    std::string mark = line.raw.starts_with(kByteOrderMark) ? std::string(kByteOrderMark) : "";
    if (quoted) {  // the encoded value stands in physical lines already, the last one's end missing
        line.raw = mark + head + std::string(encodedValue) + end;
        line.value.clear();
        for (const auto& piece : PhysicalLines(encodedValue))
            line.value += EndsInSoftBreak(piece.text) && !piece.end.empty()
                              ? piece.text.substr(0, piece.text.size() - 1)
                              : piece.text;
        return;
    }
    line.raw = mark + Folded(head + std::string(encodedValue), m_foldWidth, m_foldBlank, end);
}

void ContentDocument::SetText(ContentLine& line, std::string_view text, Syntax syntax) const {
    std::string clean;
    for (char c : text)
        if (c == '\n' && !IsOld(syntax))
            clean += "\\n";
        else if (c != '\r' && c != '\0')
            clean += c;
    bool quoted = line.IsQuotedPrintable();
    if (line.IsBase64()) RemoveSegments(line, "ENCODING");
    if (IsOld(syntax) && NeedsQuoting(clean) && !quoted) {
        RemoveSegments(line, "ENCODING");
        line.segments.push_back("ENCODING=QUOTED-PRINTABLE");
        quoted = true;
    }
    std::string bytes = clean;
    if (!IsAscii(clean)) {
        std::string label = line.Parameter("CHARSET");
        std::string converted = FromUtf8(clean, !label.empty() ? label : m_isUtf8 ? "UTF-8" : "WINDOWS-1252");
        // Unlabelled bytes that happen to be UTF-8 would be read as that.
        bool readsBack = !converted.empty() && (!label.empty() || ToUtf8(converted, "") == clean);
        if (readsBack) bytes = converted;
        if (!readsBack || (label.empty() && IsOld(syntax) && IsUtf8(bytes))) {
            RemoveSegments(line, "CHARSET");
            line.segments.push_back("CHARSET=UTF-8");
        }
    }
    if (quoted) {
        std::string end = LineEndOf(line, m_lineEnd);
        std::string encoded = QuotedPrintable(bytes, Head(line, line.name).size() + 1, end);
        encoded.resize(encoded.size() - end.size());
        Write(line, encoded);
    } else if (IsOld(syntax)) {
        // 2.1 folds only at blanks, and readers differ about whether the blank stays: so not at all.
        line.value = bytes;
        line.raw = (line.raw.starts_with(kByteOrderMark) ? std::string(kByteOrderMark) : "") +
                   Head(line, NameAsWritten(line)) + ":" + bytes + LineEndOf(line, m_lineEnd);
    } else {
        Write(line, bytes);
    }
}

void ContentDocument::SetBytes(ContentLine& line, std::string_view bytes, Syntax syntax) const {
    std::string encoded = Base64(bytes);
    if (!IsOld(syntax)) {
        if (syntax != Syntax::Card40 && !line.IsBase64()) {
            RemoveSegments(line, "ENCODING");
            line.segments.push_back("ENCODING=b");
        }
        Write(line, encoded);
        return;
    }
    if (!line.IsBase64()) {
        RemoveSegments(line, "ENCODING");
        line.segments.push_back("ENCODING=BASE64");
    }
    std::string end = LineEndOf(line, m_lineEnd);
    std::string raw = (line.raw.starts_with(kByteOrderMark) ? std::string(kByteOrderMark) : "") +
                      Head(line, NameAsWritten(line)) + ":" + end;
    for (std::size_t i = 0; i < encoded.size(); i += kOldLineWidth) raw += " " + encoded.substr(i, kOldLineWidth) + end;
    line.value = encoded;
    line.raw = raw + end;
}

void ContentDocument::SetParameter(ContentLine& line, std::string_view parameter, std::string_view value,
                                   Syntax syntax) const {
    RemoveSegments(line, parameter);
    if (!value.empty()) {
        bool quotes = value.find_first_of(":;,") != std::string_view::npos;
        std::string text;
        for (char c : value) text += c == '"' ? '\'' : c == '\n' || c == '\r' ? ' ' : c;
        line.segments.push_back(std::string(parameter) + "=" + (quotes ? "\"" + text + "\"" : text));
    }
    if (line.IsBase64() && IsOld(syntax)) {
        SetBytes(line, Bytes(line), syntax);
    } else if (line.IsQuotedPrintable() || IsOld(syntax)) {
        SetText(line, partner::Text(line), syntax);
    } else {
        Write(line, std::string(line.value));
    }
}

ContentLine& ContentDocument::Place(Component& component, const ContentLine* after, std::string_view head) {
    auto line = std::make_unique<ContentLine>();
    Dissect(std::string(head) + ":", line.get());
    line->raw = m_lineEnd;
    auto at = component.nodes.end();
    if (after) {
        at = std::find_if(component.nodes.begin(), component.nodes.end(),
                          [&](const Component::Node& node) { return node.line.get() == after; });
        if (at != component.nodes.end()) ++at;
    } else if (!component.nodes.empty() && component.nodes.back().line &&
               component.nodes.back().line->kind == ContentLine::Kind::End) {
        at = std::prev(component.nodes.end());
    }
    // A last line without an end gets one before something follows it.
    if (at != component.nodes.begin() && std::prev(at)->line) {
        std::string& raw = std::prev(at)->line->raw;
        if (!raw.empty() && raw.back() != '\n' && raw.back() != '\r') raw += m_lineEnd;
    }
    return *component.nodes.insert(at, Component::Node{std::move(line), nullptr})->line;
}

ContentLine& ContentDocument::Insert(Component& component, const ContentLine* after, std::string_view head,
                                     std::string_view text, Syntax syntax) {
    ContentLine& line = Place(component, after, head);
    SetText(line, text, syntax);
    return line;
}

ContentLine& ContentDocument::InsertBytes(Component& component, const ContentLine* after, std::string_view head,
                                          std::string_view bytes, Syntax syntax) {
    ContentLine& line = Place(component, after, head);
    SetBytes(line, bytes, syntax);
    return line;
}

Component& ContentDocument::InsertComponent(Component& parent, std::string_view text) {
    std::string own;
    for (const auto& line : PhysicalLines(text)) own += std::string(line.text) + m_lineEnd;
    ContentDocument parsed(own);
    auto at = parent.nodes.end();
    if (!parent.nodes.empty() && parent.nodes.back().line && parent.nodes.back().line->kind == ContentLine::Kind::End)
        at = std::prev(at);
    for (auto& node : parsed.m_root.nodes)
        if (node.component) return *parent.nodes.insert(at, std::move(node))->component;
    auto empty = std::make_unique<Component>();
    return *parent.nodes.insert(at, Component::Node{nullptr, std::move(empty)})->component;
}

void ContentDocument::Remove(Component& component, const ContentLine& line) {
    std::erase_if(component.nodes, [&](const Component::Node& node) { return node.line.get() == &line; });
}

void ContentDocument::Remove(Component& parent, const Component& component) {
    std::erase_if(parent.nodes, [&](const Component::Node& node) { return node.component.get() == &component; });
}

}  // namespace kez::partner
