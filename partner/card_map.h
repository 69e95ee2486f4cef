// How the fields of a contact stand in a card: the mapping as tables, and one card with each field's place in it.
#pragma once

#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "partner/content_lines.h"
#include "sync/item.h"

namespace kez::partner {

enum class CardShape {
    Text,      // the value of one line
    NamePart,  // a component of N
    OrgPart,   // a component of ORG
    Address,   // a component of the ADR of a kind
    Day,       // a date without a time
    Phone,     // one of several lines of a kind
    Mail,
    Chat,
    Names,  // a list of names, one a line
    Categories,
    Photo,
};

struct CardRow {
    std::string_view field;
    CardShape shape;
    int part;                   // of a structured value
    std::string_view kind;      // of an address or telephone number: HOME, WORK, ...; of RELATED: spouse, ...
    std::string_view readings;  // property names that are read, the first that says something counts
    std::string_view head30;    // how a new line begins; types in the form of 3.0
    std::string_view head40;    // "" for that of 3.0 with small types
};

// In the order in which a new card has them.
std::span<const CardRow> CardRows();
const CardRow* FindCardRow(std::string_view field);

// The row's `readings` one by one. The row is one of the table's.
std::span<const std::string_view> Readings(const CardRow& row);

// Where a number of a kind goes when its own fields are taken.
std::vector<std::string_view> OverflowFields(std::string_view kind);

// The parameter that says which of several fields of a kind a line is, where their order would say another.
inline constexpr std::string_view kFieldParameter = "X-KEZSYNC-FIELD";

// The formatted name, which a card must have, where there is nothing that could be one.
inline constexpr std::string_view kNoName = "?";

// A card's fields and the lines that they stand in. Lines belong to the document.
class Card {
 public:
    explicit Card(Component& component);

    // Only the fields that several lines of one name say in their order: numbers and addresses for mail and chat.
    static sync::Fields ListedFields(Component& component);

    // Which lines say a field; several for lists and for one address under two names. A line that says nothing
    // readable has a place without a field.
    using Place = std::vector<ContentLine*>;

    sync::Fields fields;  // as a device would hold them
    std::map<std::string, Place> places;
    std::map<const ContentLine*, std::string> prefixes;  // of a field's text, which its line does not have ("aim:")
    std::vector<std::string> losses;
    ContentLine* fileAs = nullptr;  // the line that says it, even where it says what a device makes up
    bool hasName = false;           // N says something
    std::string uid;
    Syntax syntax;

 private:
    Card(Syntax cardSyntax, Component& component);  // with nothing read
    void ReadName();
    void ReadOrganisation();
    void ReadAddresses();
    void ReadTexts();
    void ReadDay(const CardRow& row);
    void ReadNames(const CardRow& row);
    void ReadSlots(CardShape shape);
    void ReadCategories();
    void ReadPhoto();
    void FindFileAs();
    void ReadFileAs();
    void FitToDevice();
    void NameTheRest();

    void Take(std::string_view field, ContentLine* line, std::string text);
    std::vector<std::string> Parts(const ContentLine& line) const;
    std::string Plain(std::string_view escaped) const { return Unescape(escaped, syntax); }

    Component& m_component;
    std::set<const ContentLine*> m_used;
};

// The components of a structured text, each unescaped; a list inside one is joined with blanks (`lists`).
std::vector<std::string> PlainParts(const ContentLine& line, Syntax syntax, bool lists);

// The elements of a list line (CATEGORIES) as they stand there and as a device sees them.
struct ListElement {
    std::string escaped;
    std::string shown;
};
std::vector<ListElement> ListElements(const ContentLine& line, Syntax syntax);

}  // namespace kez::partner
