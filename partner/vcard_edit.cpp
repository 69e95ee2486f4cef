// Writing: the fields that differ become changes of single lines.
#include <algorithm>

#include "partner/card_map.h"
#include "partner/record_fields.h"
#include "partner/vcard.h"

namespace kez::partner {
namespace {

using sync::Fields;

const std::string& Get(const Fields& fields, std::string_view name) {
    static const std::string none;
    auto found = fields.find(name);
    return found == fields.end() ? none : found->second;
}

std::string Joined(const Fields& fields, std::initializer_list<const char*> names, const char* separator = " ") {
    std::string all;
    for (const char* name : names)
        if (const std::string& part = Get(fields, name); !part.empty()) all += (all.empty() ? "" : separator) + part;
    return all;
}

// The forms of a formatted name that are kept up when the names change.
constexpr std::string (*kNameForms[])(const Fields&) = {
    DisplayName,
    [](const Fields& f) {
        return Joined(f, {"Title", "FirstName", "MiddleName", "LastName", "Suffix"});
    },
    [](const Fields& f) {
        return Joined(f, {"FirstName", "LastName"});
    },
    [](const Fields& f) {
        return Joined(f, {"Title", "FirstName", "LastName"});
    },
    [](const Fields& f) {
        return Joined(f, {"LastName", "FirstName"});
    },
    [](const Fields& f) {
        return Joined(f, {"LastName", "FirstName"}, ", ");
    },
    [](const Fields& f) { return Get(f, "CompanyName"); },
};

constexpr const char* kNameFields[] = {"LastName", "FirstName", "MiddleName", "Title", "Suffix"};

std::string JoinParts(const std::vector<std::string>& parts) {
    std::string all;
    for (std::size_t i = 0; i < parts.size(); i++) all += (i ? ";" : "") + parts[i];
    return all;
}

// A head of the table, in the manner of a version.
std::string HeadFor(const CardRow& row, Syntax syntax) {
    std::string head(syntax == Syntax::Card40 && !row.head40.empty() ? row.head40 : row.head30);
    std::size_t types = head.find(";TYPE=");
    if (types == std::string::npos) return head;
    if (syntax == Syntax::Card40 && row.head40.empty()) {
        for (std::size_t i = types + 6; i < head.size(); i++)
            if (head[i] >= 'A' && head[i] <= 'Z') head[i] = static_cast<char>(head[i] - 'A' + 'a');
    } else if (IsOld(syntax)) {
        head.erase(types + 1, 5);
        std::replace(head.begin(), head.end(), ',', ';');
    }
    return head;
}

struct PictureType {
    std::string_view begins;
    std::string_view name;  // as TYPE has it
    std::string_view mime;
};
constexpr PictureType kPictureTypes[] = {
    {"\xFF\xD8", "JPEG", "image/jpeg"}, {"\x89PNG", "PNG", "image/png"}, {"GIF8", "GIF", "image/gif"},
    {"BM", "BMP", "image/bmp"},         {"", "JPEG", "image/jpeg"},
};

const PictureType& TypeOf(std::string_view picture) {
    return *std::find_if(std::begin(kPictureTypes), std::end(kPictureTypes),
                         [&](const PictureType& type) { return picture.starts_with(type.begins); });
}

bool HasScheme(std::string_view text) {
    std::size_t colon = text.find(':');
    return colon != std::string_view::npos && colon > 1 &&
           std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
                      c == '-' || c == '.';
           });
}

std::vector<std::string> ListOf(const std::string& text) {
    std::vector<std::string> names;
    std::size_t at = 0;
    while (!text.empty()) {
        std::size_t comma = text.find(", ", at);
        std::string name = text.substr(at, comma == std::string::npos ? comma : comma - at);
        if (!name.empty()) names.push_back(name);
        if (comma == std::string::npos) break;
        at = comma + 2;
    }
    return names;
}

class Editor {
 public:
    Editor(ContentDocument& document, Component& component, const Fields& wanted)
        : m_document(document), m_component(component), m_card(component), m_wanted(wanted) {}

    void Apply() {
        // The two names that are made of others follow them, unless they are set themselves.
        m_hadFileAs = m_card.fields.count("FileAs") != 0;
        for (const auto& row : CardRows()) {
            const std::string& value = Get(m_wanted, row.field);
            if (Get(m_card.fields, row.field) != value) Change(row, std::string(row.field), value);
        }
        KeepUpFileAs();
        KeepUpFormattedName();
        MarkFields();
    }

 private:
    void Change(const CardRow& row, const std::string& field, const std::string& value) {
        switch (row.shape) {
            case CardShape::NamePart:
                return ChangeName(row, value);
            case CardShape::OrgPart:
                return ChangeOrganisation(row, field, value);
            case CardShape::Address:
                return ChangeAddress(row, field, value);
            case CardShape::Day:
                return ChangeDay(row, field, value);
            case CardShape::Names:
                return ChangeNames(row, field, value);
            case CardShape::Categories:
                return ChangeCategories(row, value);
            case CardShape::Photo:
                return ChangePhoto(row, value);
            case CardShape::Text:
            case CardShape::Phone:
            case CardShape::Mail:
            case CardShape::Chat:
                return ChangeText(row, field, value);
        }
    }

    // The lines that say the field; those that were taken out meanwhile are not among them.
    std::vector<ContentLine*> LinesOf(const std::string& field) {
        auto found = m_card.places.find(field);
        return found == m_card.places.end() ? std::vector<ContentLine*>{} : found->second;
    }

    void Remove(ContentLine* line) {
        for (auto& [field, place] : m_card.places) std::erase(place, line);
        if (m_card.fileAs == line) m_card.fileAs = nullptr;
        m_document.Remove(m_component, *line);
    }

    void Set(ContentLine& line, std::string_view text) {
        m_document.SetText(line, Escape(text, m_card.syntax), m_card.syntax);
    }

    // The last line of the property, so that what belongs together stands together; null for the card's end.
    ContentLine* Neighbour(std::string_view head) {
        std::string name = UpperCase(head.substr(0, head.find(';')));
        auto lines = m_component.Lines(name);
        return lines.empty() ? nullptr : lines.back();
    }

    ContentLine& Add(const std::string& field, const std::string& head, const std::string& escaped) {
        ContentLine& line = m_document.Insert(m_component, Neighbour(head), head, escaped, m_card.syntax);
        if (!field.empty()) m_card.places[field].push_back(&line);
        return line;
    }

    void SetParts(ContentLine& line, std::vector<std::string> parts, std::size_t least) {
        while (parts.size() > least && parts.back().empty()) parts.pop_back();
        m_document.SetText(line, JoinParts(parts), m_card.syntax);
    }

    std::string PartText(std::string_view value) const { return Escape(value, m_card.syntax, true); }

    void ChangeName(const CardRow& row, const std::string& value) {
        ContentLine* n = m_component.First("N");
        if (n && m_card.hasName) {
            auto parts = Split(Text(*n), ';');
            parts.resize(std::max<std::size_t>(parts.size(), 5));
            parts[static_cast<std::size_t>(row.part)] = PartText(value);
            SetParts(*n, parts, 5);
            return;
        }
        std::vector<std::string> parts;
        for (const char* name : kNameFields) parts.push_back(PartText(Get(m_wanted, name)));
        if (n)
            SetParts(*n, parts, 5);
        else
            n = &m_document.Insert(m_component, m_component.First("FN"), "N", JoinParts(parts), m_card.syntax);
        m_card.hasName = true;
    }

    void ChangeOrganisation(const CardRow& row, const std::string& field, const std::string& value) {
        auto lines = LinesOf(field);
        // The office may stand in the business address.
        if (row.part == 2 && !lines.empty() && lines[0]->name == "ADR") {
            SetAddressParts(*lines[0], {{1, value}});
            return;
        }
        ContentLine* org = m_component.First("ORG");
        if (!org) {
            if (value.empty()) return;
            std::vector<std::string> parts(3);
            parts[static_cast<std::size_t>(row.part)] = PartText(value);
            while (parts.back().empty()) parts.pop_back();
            Add(field, "ORG", JoinParts(parts));
            return;
        }
        auto parts = Split(Text(*org), ';');
        parts.resize(std::max<std::size_t>(parts.size(), 3));
        parts[static_cast<std::size_t>(row.part)] = PartText(value);
        if (row.part == 1) parts.resize(3);  // the further units were part of the text
        if (std::all_of(parts.begin(), parts.end(), [](const std::string& part) { return part.empty(); }))
            Remove(org);
        else
            SetParts(*org, parts, 1);
    }

    void SetAddressParts(ContentLine& line, const std::vector<std::pair<int, std::string>>& changes) {
        auto parts = Split(Text(line), ';');
        parts.resize(std::max<std::size_t>(parts.size(), 7));
        for (const auto& [part, value] : changes) parts[static_cast<std::size_t>(part)] = PartText(value);
        if (std::all_of(parts.begin(), parts.end(), [](const std::string& part) { return Trimmed(part).empty(); }))
            Remove(&line);
        else
            SetParts(line, parts, 7);
    }

    void ChangeAddress(const CardRow& row, const std::string& field, const std::string& value) {
        auto lines = LinesOf(field);
        if (lines.empty()) {
            if (value.empty()) return;
            // A new line says all of the address; each of its other fields is changed with this one.
            std::vector<std::string> parts(7);
            const auto isOfLine = [&](const CardRow& other) {
                return other.shape == CardShape::Address && other.kind == row.kind;
            };
            for (const auto& other : CardRows())
                if (isOfLine(other)) parts[static_cast<std::size_t>(other.part)] = PartText(Get(m_wanted, other.field));
            ContentLine& line = Add("", HeadFor(row, m_card.syntax), JoinParts(parts));
            for (const auto& other : CardRows()) {
                if (!isOfLine(other)) continue;
                m_card.places[std::string(other.field)] = {&line};
                m_card.fields[std::string(other.field)] = Get(m_wanted, other.field);
            }
            return;
        }
        if (row.part != 2) return SetAddressParts(*lines[0], {{row.part, value}});
        // The lines above the street proper are the post-office box and the extended part, as long as they stay.
        auto parts = PlainParts(*lines[0], m_card.syntax, false);
        parts.resize(std::max<std::size_t>(parts.size(), 7));
        auto office = LinesOf("OfficeLocation");
        bool extendedIsOffice = !office.empty() && office[0] == lines[0];
        std::string street = value;
        std::vector<std::pair<int, std::string>> changes;
        for (int part : {0, 1}) {
            std::string text = parts[static_cast<std::size_t>(part)];
            if (text.empty() || (part == 1 && extendedIsOffice)) continue;
            if (street == text || street.starts_with(text + "\n"))
                street.erase(0, std::min(street.size(), text.size() + 1));
            else
                changes.emplace_back(part, "");
        }
        changes.emplace_back(2, street);
        SetAddressParts(*lines[0], changes);
    }

    void ChangeDay(const CardRow& row, const std::string& field, const std::string& value) {
        auto lines = LinesOf(field);
        if (value.empty()) {
            if (!lines.empty()) Remove(lines[0]);
            return;
        }
        std::string day = value.substr(0, 10);
        bool dashes = m_card.syntax == Syntax::Card30;
        if (!lines.empty() && m_card.fields.count(field))
            dashes = Trimmed(Text(*lines[0])).substr(0, 10).find('-') != std::string::npos;
        if (!dashes) std::erase(day, '-');
        if (lines.empty()) {
            Add(field, HeadFor(row, m_card.syntax), day);
            return;
        }
        for (const char* parameter : {"VALUE", "X-APPLE-OMIT-YEAR"}) {
            bool hides = std::string_view(parameter) != "VALUE" || UpperCase(lines[0]->Parameter("VALUE")) != "DATE";
            if (hides && !lines[0]->Parameter(parameter).empty())
                m_document.SetParameter(*lines[0], parameter, "", m_card.syntax);
        }
        Set(*lines[0], day);
    }

    // Lists of names keep the lines of the names that stay.
    void ChangeNames(const CardRow& row, const std::string& field, const std::string& value) {
        auto lines = LinesOf(field);
        bool oneLine = lines.empty() ? m_card.syntax != Syntax::Card40 : lines[0]->name == "X-CHILDREN";
        if (oneLine) return ChangeText(row, field, value);
        auto names = ListOf(value);
        std::string head = HeadFor(row, m_card.syntax);
        for (ContentLine* line : lines) {
            if (line->name != "RELATED") head = line->name;
            auto found = std::find(names.begin(), names.end(), Trimmed(Unescape(Text(*line), m_card.syntax)));
            if (found != names.end())
                names.erase(found);
            else
                Remove(line);
        }
        for (const auto& name : names) Add(field, head, Escape(name, m_card.syntax));
    }

    void ChangeCategories(const CardRow& row, const std::string& value) {
        auto names = ListOf(value);
        auto lines = LinesOf("Categories");
        std::vector<std::pair<ContentLine*, std::vector<std::string>>> kept;
        for (ContentLine* line : lines) {
            kept.push_back({line, {}});
            for (const auto& element : ListElements(*line, m_card.syntax)) {
                auto found = std::find(names.begin(), names.end(), element.shown);
                if (found == names.end()) continue;
                names.erase(found);
                kept.back().second.push_back(element.escaped);
            }
        }
        std::vector<std::string> added;
        for (const auto& name : names) added.push_back(Escape(name, m_card.syntax, true));
        if (kept.empty() && !added.empty()) Add("Categories", HeadFor(row, m_card.syntax), List(added));
        for (auto& [line, elements] : kept) {
            if (line == lines.back()) elements.insert(elements.end(), added.begin(), added.end());
            if (elements.empty())
                Remove(line);
            else
                Relist(*line, elements);
        }
    }

    // Leaves a line alone that says so already.
    void Relist(ContentLine& line, const std::vector<std::string>& elements) {
        std::vector<std::string> now;
        for (const auto& element : ListElements(line, m_card.syntax)) now.push_back(element.escaped);
        if (now != elements) m_document.SetText(line, List(elements), m_card.syntax);
    }

    static std::string List(const std::vector<std::string>& elements) {
        std::string all;
        for (const auto& element : elements) all += (all.empty() ? "" : ",") + Trimmed(element);
        return all;
    }

    void ChangePhoto(const CardRow& row, const std::string& value) {
        auto lines = LinesOf("Picture");
        if (value.empty()) {
            if (!lines.empty()) Remove(lines[0]);
            return;
        }
        const PictureType& type = TypeOf(value);
        bool isData = lines.empty() ? m_card.syntax == Syntax::Card40 : !lines[0]->IsBase64();
        std::string data = "data:" + std::string(type.mime) + ";base64," + (isData ? Base64(value) : "");
        if (lines.empty() && isData) {
            Add("Picture", "PHOTO", data);
        } else if (lines.empty()) {
            std::string head = std::string(row.head30) + (IsOld(m_card.syntax) ? ";TYPE=" : ";ENCODING=b;TYPE=");
            m_card.places["Picture"] = {&m_document.InsertBytes(m_component, Neighbour("PHOTO"),
                                                                head + std::string(type.name), value, m_card.syntax)};
        } else if (isData) {
            m_document.SetText(*lines[0], data, m_card.syntax);
        } else {
            if (!lines[0]->Parameter("TYPE").empty() && UpperCase(lines[0]->Parameter("TYPE")) != type.name)
                m_document.SetParameter(*lines[0], "TYPE", type.name, m_card.syntax);
            m_document.SetBytes(*lines[0], value, m_card.syntax);
        }
    }

    void ChangeText(const CardRow& row, const std::string& field, const std::string& value) {
        auto lines = LinesOf(field);
        bool fits = std::all_of(lines.begin(), lines.end(), [&](const ContentLine* line) {
            return value.starts_with(m_card.prefixes[line]) &&
                   (row.shape != CardShape::Chat || line->name != "IMPP" || HasScheme(value));
        });
        if (!value.empty() && fits && !lines.empty()) {
            for (ContentLine* line : lines) Set(*line, Scheme(row, *line) + value.substr(m_card.prefixes[line].size()));
            return;
        }
        for (ContentLine* line : lines) Remove(line);
        if (value.empty()) return;
        std::string head = HeadFor(row, m_card.syntax);
        if (row.shape == CardShape::Chat && !HasScheme(value)) head = "X-IM";
        Add(field, head, Escape(value, m_card.syntax));
    }

    // What stands before a number or an address in its line.
    static std::string Scheme(const CardRow& row, const ContentLine& line) {
        std::string text = UpperCase(Trimmed(line.value).substr(0, 7));
        if (row.shape == CardShape::Phone && text.starts_with("TEL:")) return "tel:";
        if (row.shape == CardShape::Mail && text == "MAILTO:") return "mailto:";
        return "";
    }

    void KeepUpFileAs() {
        std::string before = DefaultFileAs(m_card.fields), now = DefaultFileAs(m_wanted);
        if (!m_hadFileAs && m_card.fileAs && Get(m_wanted, "FileAs").empty() && before != now && !now.empty())
            Set(*m_card.fileAs, now);
    }

    void KeepUpFormattedName() {
        ContentLine* fn = m_component.First("FN");
        if (!fn) return;
        std::string text = Trimmed(Unescape(Text(*fn), m_card.syntax)), now = text;
        if (text.empty()) {
            now = DisplayName(m_wanted);
        } else {
            auto form = std::find_if(std::begin(kNameForms), std::end(kNameForms),
                                     [&](auto* f) { return f(m_card.fields) == text; });
            if (form != std::end(kNameForms)) {
                now = (*form)(m_wanted);
            } else {
                for (const char* name : kNameFields) {
                    std::string old = Get(m_card.fields, name), value = Get(m_wanted, name);
                    std::size_t at = old.empty() || old == value ? std::string::npos : now.find(old);
                    if (at != std::string::npos) now.replace(at, old.size(), value);
                }
            }
        }
        if (Trimmed(now).empty()) now = DisplayName(m_wanted);
        if (now != text && !now.empty()) Set(*fn, Trimmed(now));
    }

    // Where the order of lines would give a value to another field, its line says which it is. A line that does makes
    // room for those without, so it is looked again until none moves.
    void MarkFields() {
        while (MarkMoved()) {
        }
    }

    bool MarkMoved() {
        const Fields now = Card::ListedFields(m_component);
        bool anyMarked = false;
        for (const auto& row : CardRows()) {
            if (row.shape != CardShape::Phone && row.shape != CardShape::Mail && row.shape != CardShape::Chat) continue;
            std::string field(row.field), value = Get(m_wanted, field);
            if (value.empty() || Get(now, field) == value) continue;
            for (ContentLine* line : LinesOf(field)) {
                if (line->Parameter(kFieldParameter) == field) continue;
                m_document.SetParameter(*line, kFieldParameter, field, m_card.syntax);
                anyMarked = true;
            }
        }
        return anyMarked;
    }

    ContentDocument& m_document;
    Component& m_component;
    Card m_card;
    const Fields& m_wanted;
    bool m_hadFileAs = false;
};

void Edit(ContentDocument& document, Component& card, const sync::Item& wanted) {
    Fields fields;
    for (const auto& [name, value] : wanted.fields)
        if (!value.empty()) fields.emplace_hint(fields.end(), name, value);
    if (Get(fields, "FileAs") == DefaultFileAs(fields)) fields.erase("FileAs");
    if (fields.count("Categories")) fields["Categories"] = CategoriesText(fields["Categories"]);
    Editor(document, card, fields).Apply();
}

}  // namespace

std::string DisplayName(const Fields& contact) {
    std::string name = Joined(contact, {"FirstName", "MiddleName", "LastName", "Suffix"});
    for (const char* field : {"FileAs", "CompanyName", "Email1Address"})
        if (name.empty()) name = Get(contact, field);
    return name;
}

std::string EditCard(std::string_view bytes, const sync::Item& wanted) {
    ContentDocument document(bytes);
    auto cards = document.Root().Components("VCARD");
    if (cards.empty()) return std::string(bytes);
    Edit(document, *cards[0], wanted);
    return document.Text();
}

std::string NewCard(const sync::Item& item, std::string_view uid, std::string_view revision) {
    std::string name = DisplayName(item.fields);
    for (const auto& row : CardRows())
        if (name.empty() && row.shape == CardShape::Phone) name = Get(item.fields, row.field);
    if (name.empty()) name = kNoName;
    std::vector<std::string> names;
    for (const char* field : kNameFields) names.push_back(Escape(Get(item.fields, field), Syntax::Card30, true));
    ContentDocument document("BEGIN:VCARD\r\nVERSION:3.0\r\nEND:VCARD\r\n");
    Component& card = *document.Root().Components("VCARD")[0];
    auto add = [&](const char* head, std::string_view text) {
        document.Insert(card, nullptr, head, text, Syntax::Card30);
    };
    add("UID", Escape(uid, Syntax::Card30));
    add("FN", Escape(name, Syntax::Card30));
    add("N", JoinParts(names));
    Edit(document, card, item);
    add("REV", revision);
    return document.Text();
}

}  // namespace kez::partner
