// Reading a card: which line says which field, what a device has no room for, and what is broken.
#include <algorithm>
#include <optional>

#include "partner/card_map.h"
#include "partner/record_fields.h"
#include "partner/vcard.h"

namespace kez::partner {
namespace {

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    return UpperCase(text.substr(0, prefix.size())) == UpperCase(prefix);
}

// 1 to 100 for a preferred line, 101 for any other.
int Preference(const ContentLine& line) {
    std::string number = line.Parameter("PREF");
    if (!number.empty() && number.size() <= 3 && number.find_first_not_of("0123456789") == std::string::npos)
        return std::clamp(std::stoi(number), 1, 100);
    return line.HasType("PREF") ? 1 : 101;
}

template <typename... Types>
bool HasAnyType(const ContentLine& line, Types... types) {
    return (line.HasType(types) || ...);
}

// The kind of a telephone number; "ANY" where nothing says one, "" for one that is no voice or fax number.
std::string PhoneKind(const ContentLine& line) {
    if (HasAnyType(line, "PAGER")) return "PAGER";
    if (HasAnyType(line, "FAX")) return line.HasType("HOME") && !line.HasType("WORK") ? "HOMEFAX" : "WORKFAX";
    if (HasAnyType(line, "CELL", "X-MOBILE", "MOBILE", "IPHONE")) return "CELL";
    if (HasAnyType(line, "CAR", "X-CAR")) return "CAR";
    if (HasAnyType(line, "X-EVOLUTION-RADIO", "X-RADIO", "RADIO")) return "RADIO";
    if (HasAnyType(line, "X-EVOLUTION-COMPANY", "X-COMPANY", "COMPANY")) return "COMPANY";
    if (HasAnyType(line, "X-EVOLUTION-ASSISTANT", "X-ASSISTANT", "ASSISTANT")) return "ASSISTANT";
    if (line.HasType("HOME")) return "HOME";
    if (line.HasType("WORK")) return "WORK";
    if (HasAnyType(line, "MODEM", "BBS", "ISDN", "VIDEO", "X-EVOLUTION-TELEX", "X-EVOLUTION-TTYTDD", "TEXTPHONE"))
        return "";
    return "ANY";
}

// Properties that name a chat service, and the scheme that stands for it in the field.
constexpr std::pair<std::string_view, std::string_view> kChatNames[] = {
    {"X-AIM", "aim:"},
    {"X-ICQ", "icq:"},
    {"X-MSN", "msnim:"},
    {"X-YAHOO", "ymsgr:"},
    {"X-JABBER", "xmpp:"},
    {"X-GTALK", "gtalk:"},
    {"X-GOOGLE-TALK", "gtalk:"},
    {"X-SKYPE", "skype:"},
    {"X-GADUGADU", "gg:"},
    {"X-GROUPWISE", "x-groupwise:"},
    {"X-QQ", "x-qq:"},
    {"X-SIP", "sip:"},
    {"X-SKYPE-USERNAME", "skype:"},
    {"X-MS-IMADDRESS", ""},
    {"X-IM", ""},
    {"IMPP", ""},
};

// Lines that carry nothing a person would miss on a device.
constexpr std::string_view kQuietNames[] = {"VERSION",
                                            "PRODID",
                                            "REV",
                                            "UID",
                                            "FN",
                                            "N",
                                            "SOURCE",
                                            "NAME",
                                            "PROFILE",
                                            "CLASS",
                                            "LABEL",
                                            "X-ABLABEL",
                                            "X-ABADR",
                                            "X-ABSHOWAS",
                                            "X-ABUID",
                                            "XML",
                                            "CLIENTPIDMAP",
                                            "X-MOZILLA-HTML",
                                            "X-EVOLUTION-FILE-AS",
                                            "X-FILE-AS",
                                            "SORT-STRING",
                                            "BEGIN",
                                            "END",
                                            "KIND",
                                            "CREATED",
                                            "DCREATED",
                                            "LAST-MODIFIED"};

// The day in a date value; `why` says why there is none.
std::optional<std::int64_t> DayOf(const ContentLine& line, std::string* why) {
    std::string text = Trimmed(Text(line));
    std::string digits;
    for (std::size_t i = 0; i < text.size() && text[i] != 'T' && text[i] != ' '; i++)
        if (text[i] != '-' || digits.empty()) digits += text[i];
    std::int64_t day;
    if (digits.size() != 8 || digits[0] == '-' ||
        !ParseMoment(digits.substr(0, 4) + "-" + digits.substr(4, 2) + "-" + digits.substr(6, 2), &day)) {
        *why = text.starts_with("--") ? "has no year" : "is no date";
        return std::nullopt;
    }
    if (line.Parameter("X-APPLE-OMIT-YEAR") == digits.substr(0, 4)) {
        *why = "has no year";
        return std::nullopt;
    }
    if (IsNoMoment(day) || digits >= "30000101") {
        *why = "is outside the years 1900 to 2999";
        return std::nullopt;
    }
    return day;
}

}  // namespace

Card::Card(Syntax cardSyntax, Component& component) : syntax(cardSyntax), m_component(component) {}

Card::Card(Component& component) : Card(ContentDocument::SyntaxOf(component, Syntax::Card30), component) {
    if (const ContentLine* line = component.First("UID")) uid = Trimmed(Plain(Text(*line)));
    ReadOrganisation();
    ReadAddresses();
    ReadTexts();
    ReadSlots(CardShape::Mail);
    ReadSlots(CardShape::Phone);
    ReadSlots(CardShape::Chat);
    ReadCategories();
    ReadPhoto();
    FindFileAs();
    ReadName();
    ReadFileAs();
    FitToDevice();
    NameTheRest();
}

sync::Fields Card::ListedFields(Component& component) {
    Card card(ContentDocument::SyntaxOf(component, Syntax::Card30), component);
    for (const CardShape shape : {CardShape::Mail, CardShape::Phone, CardShape::Chat}) card.ReadSlots(shape);
    card.FitToDevice();
    return std::move(card.fields);
}

void Card::Take(std::string_view field, ContentLine* line, std::string text) {
    std::string name(field);
    places[name].push_back(line);
    m_used.insert(line);
    if (!Trimmed(text).empty()) fields[name] = std::move(text);
}

void Card::ReadName() {
    ContentLine* n = m_component.First("N");
    auto parts = n ? PlainParts(*n, syntax, true) : std::vector<std::string>{};
    hasName = std::any_of(parts.begin(), parts.end(), [](const std::string& part) { return !part.empty(); });
    if (hasName) {
        for (const auto& row : CardRows())
            if (row.shape == CardShape::NamePart && static_cast<std::size_t>(row.part) < parts.size())
                Take(row.field, n, parts[static_cast<std::size_t>(row.part)]);
        return;
    }
    ContentLine* fn = m_component.First("FN");
    if (!fn) return;
    std::string full = Trimmed(Plain(Text(*fn)));
    // The formatted name of a card without a person's name repeats what else there is: a company, a number.
    bool repeats = std::any_of(fields.begin(), fields.end(), [&](const auto& field) { return field.second == full; }) ||
                   (fileAs && Trimmed(Plain(Text(*fileAs))) == full);
    if (full.empty() || full == kNoName || repeats) return;
    std::size_t blank = full.find_last_of(' ');
    if (blank != std::string::npos) fields["FirstName"] = Trimmed(full.substr(0, blank));
    fields["LastName"] = blank == std::string::npos ? full : full.substr(blank + 1);
}

void Card::ReadOrganisation() {
    auto lines = m_component.Lines("ORG");
    if (lines.empty()) return;
    auto parts = PlainParts(*lines[0], syntax, false);
    parts.resize(std::max<std::size_t>(parts.size(), 3));
    for (std::size_t i = 3; i < parts.size(); i++)
        if (!parts[i].empty()) parts[1] += (parts[1].empty() ? "" : ", ") + parts[i];
    Take("CompanyName", lines[0], parts[0]);
    Take("Department", lines[0], parts[1]);
    if (!parts[2].empty()) Take("OfficeLocation", lines[0], parts[2]);
}

void Card::ReadAddresses() {
    std::set<std::string_view> seen;
    for (ContentLine* line : m_component.Lines("ADR")) {
        auto parts = PlainParts(*line, syntax, false);
        if (std::all_of(parts.begin(), parts.end(), [](const auto& part) { return part.empty(); })) {
            m_used.insert(line);
            continue;
        }
        parts.resize(std::max<std::size_t>(parts.size(), 7));
        std::string_view kind = line->HasType("HOME") ? "HOME" : line->HasType("WORK") ? "WORK" : "";
        if (!seen.insert(kind).second) {
            m_used.insert(line);
            losses.push_back("another " +
                             std::string(kind == "HOME"   ? "home"
                                         : kind == "WORK" ? "business"
                                                          : "other") +
                             " address (" + parts[2] + ", " + parts[3] + "): a device holds one of a kind");
            continue;
        }
        bool office = kind == "WORK" && !parts[1].empty() && !fields.count("OfficeLocation");
        if (office) Take("OfficeLocation", line, parts[1]);
        std::string street;
        for (const auto& part : {parts[0], office ? std::string() : parts[1], parts[2]})
            if (!part.empty()) street += (street.empty() ? "" : "\n") + part;
        parts[2] = street;
        for (const auto& row : CardRows())
            if (row.shape == CardShape::Address && row.kind == kind)
                Take(row.field, line, parts[static_cast<std::size_t>(row.part)]);
    }
}

void Card::ReadTexts() {
    for (const auto& row : CardRows()) {
        if (row.field == "FileAs") continue;
        if (row.shape == CardShape::Day) ReadDay(row);
        if (row.shape == CardShape::Names) ReadNames(row);
        if (row.shape != CardShape::Text) continue;
        std::vector<ContentLine*> candidates;
        for (const auto name : Readings(row))
            for (ContentLine* line : m_component.Lines(name))
                if (name != "RELATED" || (line->HasType(row.kind) && UpperCase(line->Parameter("VALUE")) == "TEXT"))
                    candidates.push_back(line);
        if (row.field == "WebPage")
            std::stable_sort(candidates.begin(), candidates.end(), [](const ContentLine* a, const ContentLine* b) {
                return a->HasType("WORK") && !b->HasType("WORK");
            });
        ContentLine* chosen = nullptr;
        for (ContentLine* line : candidates) {
            bool saysSomething = !Trimmed(Text(*line)).empty();
            if (!saysSomething) {
                m_used.insert(line);
            } else if (!chosen) {
                chosen = line;
            } else if (line->name == chosen->name) {
                m_used.insert(line);
                losses.push_back("another " + line->name + ": a device holds one");
            }
        }
        // An empty line is the place for a value to come, except where its name means something else too.
        for (ContentLine* line : candidates)
            if (!chosen && line->name != "ROLE") chosen = line;
        if (chosen) Take(row.field, chosen, Plain(Text(*chosen)));
    }
}

void Card::ReadDay(const CardRow& row) {
    for (const auto name : Readings(row)) {
        for (ContentLine* line : m_component.Lines(name)) {
            std::string field(row.field), why;
            m_used.insert(line);
            if (fields.count(field)) continue;
            auto day = DayOf(*line, &why);
            if (places.count(field) && !day) continue;
            places[field] = {line};
            if (day)
                fields[field] = DayText(*day);
            else if (!Trimmed(Text(*line)).empty())
                losses.push_back(std::string(name) + " \"" + Trimmed(Text(*line)) + "\" " + why);
        }
    }
}

void Card::ReadNames(const CardRow& row) {
    std::string all;
    for (const auto name : Readings(row)) {
        for (ContentLine* line : m_component.Lines(name)) {
            if (name == "RELATED" && (!line->HasType(row.kind) || UpperCase(line->Parameter("VALUE")) != "TEXT"))
                continue;
            if (places.count(std::string(row.field)) && places[std::string(row.field)][0]->name != name) continue;
            std::string one = Trimmed(Plain(Text(*line)));
            if (!one.empty()) all += (all.empty() ? "" : ", ") + one;
            Take(row.field, line, all);
        }
    }
}

void Card::ReadSlots(CardShape shape) {
    struct Line {
        ContentLine* line;
        std::string kind;
        std::string text;
        std::string prefix;
    };
    std::vector<Line> lines;
    auto collect = [&](std::string_view name, std::string_view prefix) {
        for (ContentLine* line : m_component.Lines(name)) {
            m_used.insert(line);
            std::string text = Trimmed(Plain(Text(*line)));
            std::string stripped = shape == CardShape::Phone && StartsWithNoCase(text, "tel:")     ? text.substr(0, 4)
                                   : shape == CardShape::Mail && StartsWithNoCase(text, "mailto:") ? text.substr(0, 7)
                                                                                                   : "";
            text.erase(0, stripped.size());
            if (text.empty()) continue;
            std::string kind = shape == CardShape::Phone ? PhoneKind(*line) : "";
            bool hasScheme = !prefix.empty() && StartsWithNoCase(text, prefix);
            lines.push_back(
                {line, kind, hasScheme ? text : std::string(prefix) + text, hasScheme ? "" : std::string(prefix)});
        }
    };
    if (shape == CardShape::Chat) {
        for (const auto& [name, scheme] : kChatNames) collect(name, scheme);
        auto all = m_component.Lines();
        auto position = [&](const Line& line) { return std::find(all.begin(), all.end(), line.line) - all.begin(); };
        std::sort(lines.begin(), lines.end(), [&](const Line& x, const Line& y) { return position(x) < position(y); });
    } else if (shape == CardShape::Mail) {
        collect("EMAIL", "");
    } else {
        collect("TEL", "");
        collect("X-MS-TEL", "");
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const Line& a, const Line& b) { return Preference(*a.line) < Preference(*b.line); });

    auto place = [&](Line& line, std::string_view field) {
        if (places.count(std::string(field))) return false;
        Take(field, line.line, line.text);
        prefixes[line.line] = line.prefix;
        line.line = nullptr;
        return true;
    };
    for (auto& line : lines) {
        std::string named = line.line->Parameter(kFieldParameter);
        const CardRow* row = FindCardRow(named);
        if (row && row->shape == shape) place(line, row->field);
    }
    for (auto& line : lines) {
        // The same address under two property names is one.
        for (auto& [field, other] : places) {
            if (!line.line || shape != CardShape::Chat || FindCardRow(field)->shape != shape) continue;
            if (fields[field] != line.text || other[0]->name == line.line->name) continue;
            other.push_back(line.line);
            prefixes[line.line] = line.prefix;
            line.line = nullptr;
        }
        for (const auto& row : CardRows())
            if (line.line && row.shape == shape && row.kind == line.kind) place(line, row.field);
    }
    for (auto& line : lines)
        for (auto field : OverflowFields(line.kind))
            if (line.line) place(line, field);
    for (const auto& line : lines)
        if (line.line)
            losses.push_back(std::string(shape == CardShape::Phone  ? "telephone number "
                                         : shape == CardShape::Mail ? "e-mail address "
                                                                    : "chat address ") +
                             line.text + ": a device has no field left for it");
}

void Card::ReadCategories() {
    std::string all;
    std::set<std::string> seen;
    for (ContentLine* line : m_component.Lines("CATEGORIES")) {
        for (const auto& element : ListElements(*line, syntax)) {
            if (element.shown.empty() || !seen.insert(element.shown).second) continue;
            if (Plain(element.escaped).find(',') != std::string::npos)
                losses.push_back("category \"" + Plain(element.escaped) +
                                 "\": a device takes a comma for the end of a name");
            all += (all.empty() ? "" : ", ") + element.shown;
        }
        Take("Categories", line, all);
    }
}

void Card::ReadPhoto() {
    const std::size_t limit = FindField(sync::ItemType::Contact, "Picture")->limit;
    for (ContentLine* line : m_component.Lines("PHOTO")) {
        m_used.insert(line);
        if (line->value.empty() || places.count("Picture")) continue;
        std::string bytes;
        // Some programs escape the signs of a link as if it were a text.
        std::string link = line->IsBase64() ? "" : line->value;
        std::erase(link, '\\');
        if (line->IsBase64()) {
            bytes = Bytes(*line);
        } else if (StartsWithNoCase(link, "data:") && link.find(";base64,") != std::string::npos) {
            ContentLine data;
            data.value = link.substr(link.find(";base64,") + 8);
            bytes = Bytes(data);
        } else {
            losses.push_back("the picture is a link (" + Trimmed(Text(*line)).substr(0, 60) +
                             "), which is not followed");
            continue;
        }
        if (bytes.size() > limit) {
            losses.push_back("the picture has " + std::to_string(bytes.size()) + " bytes, a device is given at most " +
                             std::to_string(limit));
            continue;
        }
        Take("Picture", line, bytes);
    }
}

void Card::FindFileAs() {
    for (const auto name : Readings(*FindCardRow("FileAs")))
        for (ContentLine* line : m_component.Lines(name))
            if (!fileAs && !Trimmed(Text(*line)).empty()) fileAs = line;
}

void Card::ReadFileAs() {
    if (!fileAs) return;
    std::string text = Trimmed(Plain(Text(*fileAs)));
    places["FileAs"] = {fileAs};
    if (text != DefaultFileAs(fields)) fields["FileAs"] = text;
}

void Card::FitToDevice() {
    for (auto& [name, value] : fields) {
        const RecordField* field = FindField(sync::ItemType::Contact, name);
        if (field->kind != ValueKind::Text || DeviceLength(value) <= field->limit) continue;
        losses.push_back(name + " has " + std::to_string(DeviceLength(value)) +
                         " characters, a device holds the first " + std::to_string(field->limit));
        value = CutToDevice(value, field->limit);
    }
}

void Card::NameTheRest() {
    std::set<std::string> names;
    for (const ContentLine* line : m_component.Lines())
        if (!m_used.count(line) && !Trimmed(line->value).empty() &&
            std::find(std::begin(kQuietNames), std::end(kQuietNames), line->name) == std::end(kQuietNames))
            names.insert(line->name);
    if (!m_component.Components().empty()) names.insert("a card inside the card");
    if (names.empty()) return;
    std::string list;
    for (const auto& name : names) list += (list.empty() ? "" : ", ") + name;
    losses.push_back("a device has no field for " + list);
}

CardReading ReadCard(std::string_view bytes, const std::string& fileName) {
    CardReading reading;
    auto broken = [&](sync::ProblemCode code, std::string text) {
        reading.problem = {code, std::move(text), fileName};
        return reading;
    };
    using enum sync::ProblemCode;
    if (bytes.empty()) return broken(Unreadable, "the file is empty");
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        return broken(Unreadable, "the file is in UTF-16, vCards are in UTF-8; convert it (iconv -f utf-16 -t utf-8)");
    ContentDocument document(bytes);
    auto cards = document.Root().Components("VCARD");
    if (cards.empty()) return broken(Unreadable, "there is no BEGIN:VCARD line in the file");
    if (cards.size() > 1)
        return broken(Unreadable, "the file holds " + std::to_string(cards.size()) + " cards (the second from line " +
                                      std::to_string(cards[1]->number) +
                                      "), a folder has one card a file; \"kezsync import\" takes such a file");
    if (!cards[0]->closed)
        return broken(Unreadable,
                      "the card that begins in line " + std::to_string(cards[0]->number) + " has no END:VCARD line");
    Card card(*cards[0]);
    if (card.fields.empty()) return broken(NotRepresentable, "there is nothing in the card that a device could hold");
    reading.item = {sync::ItemType::Contact, std::move(card.fields)};
    reading.uid = card.uid;
    reading.losses = std::move(card.losses);
    return reading;
}

std::vector<std::string> SplitCards(std::string_view bytes) {
    ContentDocument document(bytes);
    std::vector<std::string> cards;
    for (const auto& node : document.Root().nodes) {
        if (!node.component || node.component->name != "VCARD") continue;
        std::string text;
        auto append = [&](auto&& self, const Component& component) -> void {
            for (const auto& inner : component.nodes) {
                if (inner.line)
                    text += inner.line->raw;
                else
                    self(self, *inner.component);
            }
        };
        append(append, *node.component);
        cards.push_back(text);
    }
    return cards;
}

}  // namespace kez::partner
