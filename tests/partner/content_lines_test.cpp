// Reading: where logical lines begin and end, what they are made of, and that no byte is lost.
#include "partner/content_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "support/real_files.h"

namespace kez::partner {
namespace {

using ::testing::ElementsAre;

// One line a property: "NAME=text", nested components in brackets.
std::string Show(const Component& component) {
    std::string out;
    for (const auto& node : component.nodes) {
        if (node.component)
            out += "[" + node.component->name + " " + Show(*node.component) + (node.component->closed ? "]" : "");
        else if (node.line->kind == ContentLine::Kind::Property)
            out += node.line->name + "=" + Text(*node.line) + "|";
        else if (node.line->kind == ContentLine::Kind::Other)
            out += "#";
    }
    return out;
}

struct ReadingCase {
    const char* what;
    std::string bytes;
    std::string shown;
};

const ReadingCase kReadingCases[] = {
    {"CR LF", "A:1\r\nB:2\r\n", "A=1|B=2|"},
    {"LF", "A:1\nB:2\n", "A=1|B=2|"},
    {"CR", "A:1\rB:2\r", "A=1|B=2|"},
    {"CR CR LF", "A:1\r\r\nB:2\r\r\n", "A=1|B=2|"},
    {"mixed, none at the end", "A:1\nB:2\r\nC:3", "A=1|B=2|C=3|"},
    {"a fold by a blank", "A:one\r\n  two\r\n", "A=one two|"},
    {"a fold by a tab", "A:one\r\n\ttwo\r\n", "A=onetwo|"},
    {"a fold inside a character", "A:\xC3\r\n \xA9\r\n", "A=\xC3\xA9|"},
    {"a fold inside the head", "A;TY\r\n PE=HO\r\n ME:x\r\n", "A=x|"},
    {"a fold of nothing", "A:one\r\n \r\n two\r\n", "A=onetwo|"},
    {"a colon in quotes", "A;X=\"a:b;c\":value\r\n", "A=value|"},
    {"a quote that never ends", "A;X=\"a:b\r\n", "A=b|"},
    {"a group", "item1.TEL:1\r\n", "TEL=1|"},
    {"blank behind the name", "A :1\r\n", "A=1|"},
    {"blank lines and junk", "\r\n# comment\r\nA:1\r\nno property\r\n\r\n", "##A=1|##"},
    {"junk is not continued", "\r\n indented: x\r\nA:1\r\n", "##A=1|"},
    {"a name that is none", "A B:1\r\n\xC3\xA4:2\r\n", "##"},
    {"byte order mark",
     "\xEF\xBB\xBF"
     "A:1\r\n",
     "A=1|"},
    {"quoted-printable", "A;ENCODING=QUOTED-PRINTABLE:a=3Db=C3=A4\r\n", "A=a=b\xC3\xA4|"},
    {"quoted-printable, bare", "A;quoted-printable:a=3D\r\n", "A=a=|"},
    {"soft break, unindented", "A;QUOTED-PRINTABLE:one=\r\ntwo\r\nB:1\r\n", "A=onetwo|B=1|"},
    {"soft break, indented", "A;QUOTED-PRINTABLE:one=\r\n two\r\nB:1\r\n", "A=onetwo|B=1|"},
    {"soft break with a blank behind", "A;QUOTED-PRINTABLE:one= \r\ntwo\r\n", "A=onetwo|"},
    {"soft break inside =0D=0A", "A;QUOTED-PRINTABLE:one=0D=\r\n=0Atwo\r\n", "A=one\ntwo|"},
    {"soft break before an empty line", "A;QUOTED-PRINTABLE:one=\r\n\r\nB:1\r\n", "A=one|B=1|"},
    {"soft break at the end of the file", "A;QUOTED-PRINTABLE:one=", "A=one|"},
    {"soft break that would swallow the END", "BEGIN:X\r\nA;QUOTED-PRINTABLE:one=\r\nEND:X\r\n", "[X A=one|]"},
    {"quoted-printable that is none", "A;QUOTED-PRINTABLE:50=ZZ =4\r\n", "A=50=ZZ =4|"},
    {"base64 in one line", "A;ENCODING=b:aGk=\r\n", "A=hi|"},
    {"base64 folded", "A;ENCODING=b:aG\r\n k=\r\nB:1\r\n", "A=hi|B=1|"},
    {"base64 in indented lines with a closing line", "A;BASE64:\r\n  aG\r\n  k=\r\n\r\nB:1\r\n", "A=hi|B=1|"},
    {"base64 in indented lines without one", "A;ENCODING=BASE64:\r\n  aG\r\n  k=\r\nB:1\r\n", "A=hi|B=1|"},
    {"base64 in unindented lines", "A;ENCODING=BASE64:\r\naG\r\nk=\r\n\r\nB:1\r\n", "A=hi|B=1|"},
    {"base64 before the END", "BEGIN:X\r\nA;BASE64:\r\naGk=\r\nEND:X\r\n", "[X A=hi|]"},
    {"Shift_JIS", "A;CHARSET=SHIFT-JIS;ENCODING=QUOTED-PRINTABLE:=93=FA\r\n", "A=\xE6\x97\xA5|"},
    {"windows-1251", "A;CHARSET=windows-1251:\xCF\r\n", "A=\xD0\x9F|"},
    {"ISO-8859-2", "A;CHARSET=ISO-8859-2:\xB1\r\n", "A=\xC4\x85|"},
    {"no label, not UTF-8",
     "A:Gr\xFC\xDF"
     "e \x80\r\n",
     "A=Gr\xC3\xBC\xC3\x9F"
     "e \xE2\x82\xAC|"},
    {"a label that nobody knows", "A;CHARSET=X-NONE:\xC3\xA4\r\n", "A=\xC3\xA4|"},
    {"a label that is wrong", "A;CHARSET=UTF-8:\xE4\r\n", "A=\xC3\xA4|"},
    {"a code that windows-1252 leaves free", "A:\x81\r\n", "A=\xC2\x81|"},
    {"components", "BEGIN:VCARD\r\nFN:a\r\nEND:VCARD\r\nBEGIN:VCARD\r\nFN:b\r\nEND:VCARD\r\n",
     "[VCARD FN=a|][VCARD FN=b|]"},
    {"nested components", "BEGIN:VCARD\r\nAGENT:\r\nBEGIN:VCARD\r\nFN:b\r\nEND:VCARD\r\nFN:a\r\nEND:VCARD\r\n",
     "[VCARD AGENT=|[VCARD FN=b|]FN=a|]"},
    {"blanks and small letters at BEGIN", "begin: vcard \r\nFN:a\r\nend:VCard\r\n", "[VCARD FN=a|]"},
    {"a component that is not closed", "BEGIN:VCARD\r\nFN:a\r\n", "[VCARD FN=a|"},
    {"an inner one that is not closed", "BEGIN:A\r\nBEGIN:B\r\nX:1\r\nEND:A\r\nY:1\r\n", "[A [B X=1|]Y=1|"},
    {"an END of nothing", "END:VCARD\r\nA:1\r\n", "#A=1|"},
    {"nothing", "", ""},
};

TEST(ContentLines, EveryTrapIsRead) {
    for (const auto& c : kReadingCases) {
        ContentDocument document(c.bytes);
        EXPECT_EQ(Show(document.Root()), c.shown) << c.what;
        EXPECT_EQ(document.Text(), c.bytes) << c.what;
    }
}

TEST(ContentLines, EndlessNestingStaysShallow) {
    std::string bytes;
    for (int i = 0; i < 100000; i++) bytes += "BEGIN:A\n";
    ContentDocument document(bytes);
    EXPECT_EQ(document.Text(), bytes);
}

TEST(ContentLines, ParametersAreTakenApart) {
    ContentDocument document(
        "item1.TEL;HOME;type=\"voice,cell\";TYPE=pref,msg;X-A=\"a;b:c\",d;X-B=^'q^'^n^^:1\r\nPHOTO;BASE64:aGk=\r\n");
    const ContentLine& tel = *document.Root().First("TEL");
    EXPECT_EQ(tel.group, "item1");
    EXPECT_THAT(tel.Parameters("TYPE"), ElementsAre("HOME", "voice", "cell", "pref", "msg"));
    EXPECT_TRUE(tel.HasType("cell"));
    EXPECT_TRUE(tel.HasType("VOICE"));
    EXPECT_FALSE(tel.HasType("WORK"));
    EXPECT_THAT(tel.Parameters("X-A"), ElementsAre("a;b:c", "d"));
    EXPECT_EQ(tel.Parameter("X-B"), "\"q\"\n^");
    EXPECT_EQ(tel.Parameter("X-C"), "");
    EXPECT_TRUE(document.Root().First("PHOTO")->IsBase64());
}

TEST(ContentLines, LinesKnowTheirPlaceInTheFile) {
    ContentDocument document("BEGIN:A\r\nX:one\r\n two\r\nY:1\r\nEND:A\r\n");
    const Component& a = *document.Root().Components("A").front();
    EXPECT_EQ(a.number, 1U);
    EXPECT_EQ(a.First("Y")->number, 4U);
}

TEST(ContentLines, TheVersionDecidesTheSyntax) {
    auto syntax = [](const std::string& version) {
        ContentDocument document("BEGIN:VCARD\r\n" + version + "END:VCARD\r\n");
        return ContentDocument::SyntaxOf(*document.Root().Components().front(), Syntax::Card30);
    };
    EXPECT_EQ(syntax("VERSION:2.1\r\n"), Syntax::Card21);
    EXPECT_EQ(syntax("VERSION: 3.0 \r\n"), Syntax::Card30);
    EXPECT_EQ(syntax("version:4.0\r\n"), Syntax::Card40);
    EXPECT_EQ(syntax("VERSION:9\r\n"), Syntax::Card30);
    EXPECT_EQ(syntax(""), Syntax::Card30);
    ContentDocument calendar("BEGIN:VCALENDAR\nVERSION:1.0\nEND:VCALENDAR\n");
    EXPECT_EQ(ContentDocument::SyntaxOf(*calendar.Root().Components().front(), Syntax::Calendar20), Syntax::Calendar10);
    ContentDocument later("BEGIN:VCALENDAR\nVERSION:2.0\nEND:VCALENDAR\n");
    EXPECT_EQ(ContentDocument::SyntaxOf(*later.Root().Components().front(), Syntax::Card30), Syntax::Calendar20);
}

TEST(ContentLines, RealFilesKeepEveryByte) {
    auto files = tests::RealFiles(".vcf");
    for (const auto& file : tests::RealFiles(".ics")) files.push_back(file);
    ASSERT_GT(files.size(), 25U);
    for (const auto& file : files) {
        std::string bytes = tests::ReadFile(file);
        EXPECT_TRUE(ContentDocument(bytes).Text() == bytes) << file;
    }
}

void Describe(const Component& component, std::string& out) {
    for (const auto& node : component.nodes) {
        if (node.component) {
            Describe(*node.component, out);
            continue;
        }
        const ContentLine& line = *node.line;
        if (line.name.empty()) continue;
        std::string types;
        for (const auto& type : line.Parameters("TYPE")) types += (types.empty() ? "" : ",") + UpperCase(type);
        std::string shown;
        if (line.IsBase64()) {
            std::string bytes = Bytes(line);
            auto sum = std::accumulate(bytes.begin(), bytes.end(), 0L,
                                       [](long total, char c) { return total + static_cast<unsigned char>(c); });
            shown = "bytes " + std::to_string(bytes.size()) + " " + std::to_string(sum);
        } else {
            for (char c : Text(line)) shown += c == '\n' ? "<LF>" : std::string(1, c);
        }
        out += line.group + "|" + line.name + "|" + types + "|" + shown + "\n";
    }
}

TEST(ContentLines, AnIndependentReaderReadsTheSame) {
    auto files = tests::RealFiles(".vcf");
    std::string ours;
    for (const auto& file : files) {
        ours += "FILE " + file + "\n";
        Describe(ContentDocument(tests::ReadFile(file)).Root(), ours);
    }
    std::string theirs = tests::IndependentReading(files);
    // Line by line, so that a difference is seen at once.
    std::vector<std::string> left = Split(ours, '\n'), right = Split(theirs, '\n');
    for (std::size_t i = 0; i < std::min(left.size(), right.size()); i++) ASSERT_EQ(left[i], right[i]) << "line " << i;
    EXPECT_EQ(left.size(), right.size());
    EXPECT_GT(left.size(), 200U);
}

}  // namespace
}  // namespace kez::partner
