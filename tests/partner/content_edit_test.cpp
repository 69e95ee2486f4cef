// Editing: one logical line changes, in the file's own manner, and every other byte stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "partner/content_lines.h"
#include "support/real_files.h"

namespace kez::partner {
namespace {

struct EditCase {
    const char* what;
    std::string before;
    std::string text;  // as given to SetText for the line X
    std::string after;
    Syntax syntax;
};

const EditCase kEditCases[] = {
    {"parameters stay", "A:1\nitem1.x;TYPE=home;X-U=v:old\nB:2\n", "new", "A:1\nitem1.x;TYPE=home;X-U=v:new\nB:2\n",
     Syntax::Card30},
    {"the line's own end", "A:1\r\nX:old\nB:2\r\n", "new", "A:1\r\nX:new\nB:2\r\n", Syntax::Card30},
    {"CR CR LF", "A:1\r\r\nX:old\r\r\n", "new", "A:1\r\r\nX:new\r\r\n", Syntax::Card30},
    {"folds at 75 octets", "X:old\r\n", std::string(80, 'a'),
     "X:" + std::string(73, 'a') + "\r\n " + std::string(7, 'a') + "\r\n", Syntax::Card40},
    {"folds at the file's own width", "A:" + std::string(28, 'a') + "\n\tb\nX:old\n", std::string(40, 'a'),
     "A:" + std::string(28, 'a') + "\n\tb\nX:" + std::string(28, 'a') + "\n\t" + std::string(12, 'a') + "\n",
     Syntax::Card30},
    {"a file that does not fold", "A:" + std::string(100, 'a') + "\nX:old\n", std::string(90, 'b'),
     "A:" + std::string(100, 'a') + "\nX:" + std::string(90, 'b') + "\n", Syntax::Card30},
    {"a fold never inside a character", "X:old\n", std::string(72, 'a') + "\xC3\xA4\xC3\xA4",
     "X:" + std::string(72, 'a') + "\n \xC3\xA4\xC3\xA4\n", Syntax::Card30},
    {"a folded line loses its folds", "X:o\n ld\nB:1\n", "new", "X:new\nB:1\n", Syntax::Card30},
    {"2.1: quoted-printable for more than ASCII", "X;HOME:old\n", "\xC3\xA4 = b\n",
     "X;HOME;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:=C3=A4 =3D b=0D=0A\n", Syntax::Card21},
    {"2.1: not for ASCII", "X;HOME:old\n", "new", "X;HOME:new\n", Syntax::Card21},
    {"2.1: stays quoted-printable", "X;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:old\n", "new",
     "X;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:new\n", Syntax::Card21},
    {"2.1: soft breaks", "X;QUOTED-PRINTABLE:old\n", std::string(80, 'a'),
     "X;QUOTED-PRINTABLE:" + std::string(55, 'a') + "=\n" + std::string(25, 'a') + "\n", Syntax::Card21},
    {"2.1: no continuation looks like an END", "X;QUOTED-PRINTABLE:old\n", std::string(55, 'a') + "END:VCARD",
     "X;QUOTED-PRINTABLE:" + std::string(55, 'a') + "=\n=45ND:VCARD\n", Syntax::Card21},
    {"2.1: its own character set", "X;CHARSET=ISO-8859-2;ENCODING=QUOTED-PRINTABLE:=B1\n", "\xC4\x85\xC4\x85",
     "X;CHARSET=ISO-8859-2;ENCODING=QUOTED-PRINTABLE:=B1=B1\n", Syntax::Card21},
    {"another where that is too small", "X;CHARSET=ISO-8859-2;ENCODING=QUOTED-PRINTABLE:=B1\n", "\xE6\x97\xA5",
     "X;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:=E6=97=A5\n", Syntax::Card21},
    {"a file in windows-1252 stays so", "A:\xE4\nX:old\n", "\xC3\xBC", "A:\xE4\nX:\xFC\n", Syntax::Card30},
    {"UTF-8 where that has no such character", "A:\xE4\nX:old\n", "\xE6\x97\xA5",
     "A:\xE4\nX;CHARSET=UTF-8:\xE6\x97\xA5\n", Syntax::Card30},
    {"byte order mark", "\xEF\xBB\xBFX:old\n", "new", "\xEF\xBB\xBFX:new\n", Syntax::Card30},
    {"a text in base64 is one no more", "X;ENCODING=b;TYPE=a:aGk=\n", "new", "X;TYPE=a:new\n", Syntax::Card30},
    {"no control characters", "X:old\n", "a\nb\rc", "X:a\\nbc\n", Syntax::Card30},
};

TEST(ContentEdit, OneLineChangesInTheFilesOwnManner) {
    for (const auto& c : kEditCases) {
        ContentDocument document(c.before);
        ContentLine& line = *document.Root().First("X");
        document.SetText(line, c.text, c.syntax);
        EXPECT_EQ(document.Text(), c.after) << c.what;
    }
}

TEST(ContentEdit, LinesGoInAndOut) {
    ContentDocument document("BEGIN:VCARD\r\nFN:a\r\nTEL:1\r\nEND:VCARD");
    Component& card = *document.Root().Components().front();
    document.Insert(card, card.First("FN"), "item2.NOTE;X=y", "after the name", Syntax::Card30);
    document.Insert(card, nullptr, "TEL;TYPE=HOME", "2", Syntax::Card30);
    document.Remove(card, *card.First("TEL"));
    EXPECT_EQ(document.Text(), "BEGIN:VCARD\r\nFN:a\r\nitem2.NOTE;X=y:after the name\r\nTEL;TYPE=HOME:2\r\nEND:VCARD");
}

TEST(ContentEdit, ALastLineWithoutAnEndGetsOneBeforeAnother) {
    ContentDocument document("A:1\nB:2");
    document.Insert(document.Root(), nullptr, "C", "3", Syntax::Card30);
    EXPECT_EQ(document.Text(), "A:1\nB:2\nC:3\n");
}

TEST(ContentEdit, ComponentsGoInAndOut) {
    ContentDocument document("BEGIN:VEVENT\nUID:1\nEND:VEVENT\n");
    Component& event = *document.Root().Components().front();
    Component& alarm = document.InsertComponent(event, "BEGIN:VALARM\r\nACTION:DISPLAY\r\nEND:VALARM\r\n");
    EXPECT_EQ(document.Text(), "BEGIN:VEVENT\nUID:1\nBEGIN:VALARM\nACTION:DISPLAY\nEND:VALARM\nEND:VEVENT\n");
    document.SetText(*alarm.First("ACTION"), "AUDIO", Syntax::Calendar20);
    EXPECT_EQ(Text(*event.Components("VALARM").front()->First("ACTION")), "AUDIO");
    document.Remove(event, alarm);
    EXPECT_EQ(document.Text(), "BEGIN:VEVENT\nUID:1\nEND:VEVENT\n");
}

TEST(ContentEdit, BytesAreWrittenAsEachVersionWants) {
    std::string bytes(60, 'x');
    ContentDocument old("PHOTO;TYPE=JPEG:\n");
    old.SetBytes(*old.Root().First("PHOTO"), bytes, Syntax::Card21);
    EXPECT_EQ(old.Text(), "PHOTO;TYPE=JPEG;ENCODING=BASE64:\n " + Base64(bytes).substr(0, 72) + "\n " +
                              Base64(bytes).substr(72) + "\n\n");
    ContentDocument newer("PHOTO;TYPE=JPEG:\n");
    newer.SetBytes(*newer.Root().First("PHOTO"), bytes, Syntax::Card30);
    EXPECT_EQ(newer.Text().substr(0, 30), "PHOTO;TYPE=JPEG;ENCODING=b:eHh");
    EXPECT_EQ(Bytes(*ContentDocument(newer.Text()).Root().First("PHOTO")), bytes);
    EXPECT_EQ(Bytes(*ContentDocument(old.Text()).Root().First("PHOTO")), bytes);
}

TEST(ContentEdit, ParametersAreSetAndRemoved) {
    ContentDocument document("A;TYPE=x;X-S=1:value\n");
    ContentLine& line = *document.Root().First("A");
    document.SetParameter(line, "X-S", "two:\"2\"", Syntax::Card30);
    EXPECT_EQ(document.Text(), "A;TYPE=x;X-S=\"two:'2'\":value\n");
    document.SetParameter(line, "X-S", "", Syntax::Card30);
    EXPECT_EQ(document.Text(), "A;TYPE=x:value\n");
    for (const char* head : {"A;ENCODING=BASE64:aGk=\n", "A;QUOTED-PRINTABLE:=C3=A4=\n=20x\n", "A:plain\n"}) {
        ContentDocument one(head);
        std::string text = Text(*one.Root().First("A"));
        one.SetParameter(*one.Root().First("A"), "X-S", "1", Syntax::Card21);
        ContentDocument again(one.Text());
        EXPECT_EQ(Text(*again.Root().First("A")), text);
        EXPECT_EQ(again.Root().First("A")->Parameter("X-S"), "1");
    }
}

// Text of anything that may stand in a file: letters, separators, line breaks, characters of two to four bytes.
rc::Gen<std::string> AnyText() {
    return rc::gen::map(rc::gen::container<std::vector<std::string>>(rc::gen::elementOf(std::vector<std::string>{
                            "a", "B", "Z", "=", " ", "\t", ",", ";", ":", "\\", "\n", "\"", "END:", "E", "\xC3\xA4",
                            "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "0123456789", "the quick brown fox"})),
                        [](const std::vector<std::string>& pieces) {
                            std::string all;
                            for (const auto& piece : pieces) all += piece;
                            return all;
                        });
}

TEST(ContentEdit, AnyTextSetReadsBackAndLeavesEveryOtherByte) {
    EXPECT_TRUE(rc::check([] {
        auto syntax = *rc::gen::element(Syntax::Card21, Syntax::Card30, Syntax::Card40, Syntax::Calendar20);
        auto text = *AnyText();
        auto end = *rc::gen::element<std::string>("\r\n", "\n", "\r", "\r\r\n");
        auto head = *rc::gen::element<std::string>("X", "item1.X;TYPE=home", "X;ENCODING=QUOTED-PRINTABLE",
                                                   "X;CHARSET=windows-1252", "X;CHARSET=UTF-8;QUOTED-PRINTABLE");
        std::string before = "BEGIN:VCARD" + end + "A:1" + end + " folded" + end + "junk" + end;
        std::string after = "B;ENCODING=QUOTED-PRINTABLE:=" + end + "x" + end + end + "END:VCARD" + end;
        ContentDocument document(before + head + ":old" + end + after);
        ContentLine& line = *document.Root().Components().front()->First("X");
        document.SetText(line, Escape(text, syntax), syntax);
        std::string written = document.Text();
        RC_ASSERT(written.starts_with(before));
        RC_ASSERT(written.ends_with(after));
        ContentDocument again(written);
        const ContentLine* found = again.Root().Components().front()->First("X");
        RC_ASSERT(found != nullptr);
        RC_ASSERT(Unescape(Text(*found), syntax) == text);
        RC_ASSERT(again.Text() == written);
    }));
}

TEST(ContentEdit, AnyBytesAreReadWithoutLossAndAnyEditStaysInItsLine) {
    EXPECT_TRUE(rc::check([] {
        auto pieces = *rc::gen::container<std::vector<std::string>>(rc::gen::elementOf(std::vector<std::string>{
            "BEGIN:A", "END:A", "X:1", "\r\n", "\n", "\r", " ", "\t", "=",
            "Y;QUOTED-PRINTABLE:a=", ";BASE64:", "aGk=", "\xFF", "\xC3", "\"", ":", "g.X;T=1:v"}));
        std::string bytes;
        for (const auto& piece : pieces) bytes += piece;
        ContentDocument document(bytes);
        RC_ASSERT(document.Text() == bytes);
        if (ContentLine* line = document.Root().First("X")) {
            std::string before = bytes.substr(0, bytes.find(line->raw));
            std::string raw = line->raw;
            document.SetText(*line, "new", Syntax::Card30);
            std::string written = document.Text();
            std::size_t start = written.find(line->raw);
            RC_ASSERT(start != std::string::npos);
            std::string restored = written;
            // Putting the old bytes back in the line's place gives the old file.
            std::size_t place = 0;
            for (const auto& node : document.Root().nodes) {
                if (node.line.get() == line) break;
                place += node.line ? node.line->raw.size() : written.size();
            }
            if (place <= written.size()) {
                restored.replace(place, line->raw.size(), raw);
                RC_ASSERT(restored == bytes);
            }
        }
    }));
}

TEST(ContentEdit, EditsOfRealFilesChangeOnlyTheirLines) {
    auto files = tests::RealFiles(".vcf");
    for (const auto& file : tests::RealFiles(".ics")) files.push_back(file);
    for (const auto& file : files) {
        std::string bytes = tests::ReadFile(file);
        ContentDocument document(bytes);
        std::vector<Component*> open{&document.Root()};
        std::vector<ContentLine*> lines;
        while (!open.empty()) {
            Component* component = open.back();
            open.pop_back();
            for (auto* line : component->Lines()) lines.push_back(line);
            for (auto* inner : component->Components()) open.push_back(inner);
        }
        std::size_t step = std::max<std::size_t>(1, lines.size() / 10);
        for (std::size_t i = 0; i < lines.size(); i += step) {
            std::string raw = lines[i]->raw;
            std::string value = lines[i]->value;
            auto segments = lines[i]->segments;
            document.SetText(*lines[i], "changed", Syntax::Card30);
            std::string edited = document.Text();
            ASSERT_EQ(edited.size() + raw.size(), bytes.size() + lines[i]->raw.size()) << file;
            std::size_t same = 0;
            while (same < edited.size() && same < bytes.size() && edited[same] == bytes[same]) same++;
            std::size_t tail = 0;
            while (tail < edited.size() - same && tail < bytes.size() - same &&
                   edited[edited.size() - 1 - tail] == bytes[bytes.size() - 1 - tail])
                tail++;
            ASSERT_LE(bytes.size() - same - tail, raw.size()) << file;
            lines[i]->raw = raw;
            lines[i]->value = value;
            lines[i]->segments = segments;
        }
    }
}

}  // namespace
}  // namespace kez::partner
