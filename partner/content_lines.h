// The text layer under vCard and iCalendar: a file as the content lines that it consists of, each with its bytes.
//
// Reading keeps every byte: Text() of a document that nobody changed is what was parsed, whatever the file's line
// ends, folding, junk lines or broken encodings. A change rewrites the one logical line that it is made to, in the
// file's own line ends, folding width and version. Values are handed out in UTF-8; the escapes of structured values
// (\; \, \n) stay in what Text(line) gives and are undone by Split and Unescape, because only who knows the property
// knows its structure.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kez::partner {

// Which escapes and encodings hold, from the VERSION of the innermost component that states one.
enum class Syntax { Card21, Card30, Card40, Calendar10, Calendar20 };

// The older two have quoted-printable and base64 encodings, bare types, and no escape for a line break.
inline bool IsOld(Syntax syntax) { return syntax == Syntax::Card21 || syntax == Syntax::Calendar10; }

// One logical line: what stands between two line ends that are neither folds nor soft breaks.
class ContentLine {
 public:
    enum class Kind {
        Property,
        Begin,  // BEGIN:NAME that opens a component
        End,    // the END:NAME that closes it
        Other,  // blank lines, comments, junk: kept, never looked into
    };

    Kind kind = Kind::Other;
    std::string raw;         // every byte of it, line ends included
    std::size_t number = 0;  // of its first physical line in the file, from 1; 0 for a line made here

    std::string group;                  // "item1" of item1.TEL, as written
    std::string name;                   // upper case
    std::vector<std::string> segments;  // the parameters as written, one a semicolon
    std::string value;                  // unfolded, soft breaks joined; still encoded and escaped

    // The values of all parameters of that name (upper case), lists taken apart, quotes and ^-escapes undone. A bare
    // word of 2.1 is an ENCODING where it names one, else a TYPE.
    std::vector<std::string> Parameters(std::string_view parameter) const;
    // The first of them, or "".
    std::string Parameter(std::string_view parameter) const;
    // Whether the line has this type, in any case of letters.
    bool HasType(std::string_view type) const;

    bool IsQuotedPrintable() const;
    bool IsBase64() const;
};

// What stands between BEGIN and END; or, without a name, the whole file.
class Component {
 public:
    struct Node {  // one of the two
        std::unique_ptr<ContentLine> line;
        std::unique_ptr<Component> component;
    };

    std::string name;         // upper case: VCARD, VEVENT; "" for the file
    std::size_t number = 0;   // of the BEGIN line
    bool closed = false;      // its END line was found
    std::vector<Node> nodes;  // in file order, BEGIN and END lines included

    // The property lines that stand in this component itself, those of one name (upper case) or all.
    std::vector<ContentLine*> Lines(std::string_view property = "") const;
    ContentLine* First(std::string_view property) const;  // or null
    // The components that stand in this one, those of one name or all.
    std::vector<Component*> Components(std::string_view component = "") const;
};

class ContentDocument {
 public:
    // Takes any bytes. Components nested deeper than 32 are junk lines.
    explicit ContentDocument(std::string_view bytes);
    ContentDocument(ContentDocument&&) = default;
    ContentDocument& operator=(ContentDocument&&) = default;

    std::string Text() const;
    Component& Root() { return m_root; }
    const Component& Root() const { return m_root; }

    // The syntax by the VERSION line in `component`; without one, `otherwise`.
    static Syntax SyntaxOf(const Component& component, Syntax otherwise);

    // --- Changing one line. Texts are UTF-8, escaped by the caller (Escape); bytes become base64. -----------------

    // Gives the line another value; its group, name and parameters stay, except those that say how it is encoded.
    void SetText(ContentLine& line, std::string_view text, Syntax syntax) const;
    void SetBytes(ContentLine& line, std::string_view bytes, Syntax syntax) const;
    // Sets or, with an empty value, removes a parameter; the value stays.
    void SetParameter(ContentLine& line, std::string_view parameter, std::string_view value, Syntax syntax) const;

    // A new line of `head` ("TEL;TYPE=HOME") after `after`, or before the END line where that is null.
    ContentLine& Insert(Component& component, const ContentLine* after, std::string_view head, std::string_view text,
                        Syntax syntax);
    ContentLine& InsertBytes(Component& component, const ContentLine* after, std::string_view head,
                             std::string_view bytes, Syntax syntax);
    // Copies of whole lines ("BEGIN:VALARM\r\n...") may be put in as a component: parsed, in this file's line ends.
    Component& InsertComponent(Component& parent, std::string_view text);
    void Remove(Component& component, const ContentLine& line);
    void Remove(Component& parent, const Component& component);

    const std::string& LineEnd() const { return m_lineEnd; }

 private:
    void Parse(std::string_view bytes);
    void Write(ContentLine& line, std::string_view encodedValue) const;
    ContentLine& Place(Component& component, const ContentLine* after, std::string_view head);

    Component m_root;
    std::string m_lineEnd = "\r\n";
    std::size_t m_foldWidth = 75;  // octets of a physical line without its end; 0 where the file does not fold
    char m_foldBlank = ' ';
    bool m_isUtf8 = true;
};

// --- Values --------------------------------------------------------------------------------------------------

// The line's value as UTF-8: quoted-printable undone, its CHARSET converted (unlabelled bytes that are not UTF-8 are
// windows-1252). Line breaks inside are "\n"; escapes are still there.
std::string Text(const ContentLine& line);

// The bytes of a base64 or quoted-printable value; characters that do not belong there are passed over.
std::string Bytes(const ContentLine& line);

// The pieces of an escaped value between separators that are not escaped; each still escaped.
std::vector<std::string> Split(std::string_view text, char separator);

std::string Unescape(std::string_view text, Syntax syntax);
// Escapes for a value, or for one component of a structured one (`structured`: in 2.1 the semicolon is escaped only
// there, and a line break stays one, for quoted-printable).
std::string Escape(std::string_view text, Syntax syntax, bool structured = false);

bool IsUtf8(std::string_view bytes);
// From a character set by its label (any iconv name, "SHIFT-JIS", "windows-1252"); what cannot be converted is read as
// windows-1252.
std::string ToUtf8(std::string_view bytes, std::string_view charset);
// Into a character set; "" where the set lacks a character or would not give the same text back.
std::string FromUtf8(std::string_view text, std::string_view charset);
std::string Base64(std::string_view bytes);
std::string UpperCase(std::string_view text);  // ASCII letters only
std::string Trimmed(std::string_view text);

}  // namespace kez::partner
