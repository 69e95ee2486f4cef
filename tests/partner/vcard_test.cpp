// Cards as items: what is read from cards as they are found, what a change writes, what is lost and said to be.
#include "partner/vcard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "partner/content_lines.h"
#include "partner/packet_codec.h"
#include "partner/record_fields.h"
#include "support/real_files.h"

namespace kez::partner {
namespace {

using sync::Fields;
using sync::Item;
using sync::ItemType;
using sync::ProblemCode;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string Card(const std::string& version, const std::string& lines) {
    return "BEGIN:VCARD\r\nVERSION:" + version + "\r\n" + lines + "END:VCARD\r\n";
}

struct ReadingCase {
    const char* what;
    const char* version;
    std::string lines;
    Fields fields;
};

const ReadingCase kReadingCases[] = {
    {"names",
     "3.0",
     "N:Byron;Ada;Augusta,Maria;Lady;Jr.\r\n",
     {{"LastName", "Byron"},
      {"FirstName", "Ada"},
      {"MiddleName", "Augusta Maria"},
      {"Title", "Lady"},
      {"Suffix", "Jr."}}},
    {"a comma in a name of 2.1", "2.1", "N:Byron;Ada,Maria\r\n", {{"LastName", "Byron"}, {"FirstName", "Ada,Maria"}}},
    {"no N", "4.0", "FN:Ada Augusta Byron\r\n", {{"FirstName", "Ada Augusta"}, {"LastName", "Byron"}}},
    {"no N and one word", "4.0", "FN:Ada\r\n", {{"LastName", "Ada"}}},
    {"an empty N", "3.0", "N:;;;;\r\nFN:Ada Byron\r\n", {{"FirstName", "Ada"}, {"LastName", "Byron"}}},
    {"a company's card", "3.0", "N:;;;;\r\nFN:Acme\r\nORG:Acme\r\n", {{"CompanyName", "Acme"}}},
    {"organisation",
     "3.0",
     "N:B\r\nORG:Acme\\, Inc.;Sales;Room 5;Left;Right\r\n",
     {{"LastName", "B"},
      {"CompanyName", "Acme, Inc."},
      {"Department", "Sales, Left, Right"},
      {"OfficeLocation", "Room 5"}}},
    {"office in the address",
     "2.1",
     "N:B\r\nADR;WORK:;Room 5;Main St 1;Town;TX;123;USA\r\n",
     {{"LastName", "B"},
      {"OfficeLocation", "Room 5"},
      {"BusinessAddressStreet", "Main St 1"},
      {"BusinessAddressCity", "Town"},
      {"BusinessAddressState", "TX"},
      {"BusinessAddressPostalCode", "123"},
      {"BusinessAddressCountry", "USA"}}},
    {"box and extended part",
     "3.0",
     "N:B\r\nADR;TYPE=HOME:Box 1;Apt 2;Main St\\nBack;Town\r\nADR:;;S;C\r\n",
     {{"LastName", "B"},
      {"HomeAddressStreet", "Box 1\nApt 2\nMain St\nBack"},
      {"HomeAddressCity", "Town"},
      {"OtherAddressStreet", "S"},
      {"OtherAddressCity", "C"}}},
    {"telephones",
     "3.0",
     "N:B\r\nTEL;TYPE=HOME:1\r\nTEL;TYPE=HOME,PREF:2\r\nTEL;TYPE=WORK,VOICE:3\r\nTEL;TYPE=cell:4\r\n"
     "TEL;TYPE=PAGER:5\r\nTEL;TYPE=CAR:6\r\nTEL;TYPE=X-RADIO:7\r\nTEL;TYPE=WORK;TYPE=FAX:8\r\nTEL;TYPE=FAX,HOME:9\r\n"
     "TEL;TYPE=X-EVOLUTION-COMPANY:10\r\nX-MS-TEL;TYPE=ASSISTANT,VOICE:11\r\n",
     {{"LastName", "B"},
      {"HomeTelephoneNumber", "2"},
      {"Home2TelephoneNumber", "1"},
      {"BusinessTelephoneNumber", "3"},
      {"MobileTelephoneNumber", "4"},
      {"PagerNumber", "5"},
      {"CarTelephoneNumber", "6"},
      {"RadioTelephoneNumber", "7"},
      {"BusinessFaxNumber", "8"},
      {"HomeFaxNumber", "9"},
      {"CompanyTelephoneNumber", "10"},
      {"AssistantTelephoneNumber", "11"}}},
    {"telephones of 2.1 and 4.0",
     "4.0",
     "N:B\r\nTEL;HOME;VOICE:1\r\nTEL;VALUE=uri;PREF=1;TYPE=\"voice,work\":tel:+49-1\r\nTEL;FAX:3\r\n",
     {{"LastName", "B"},
      {"HomeTelephoneNumber", "1"},
      {"BusinessTelephoneNumber", "+49-1"},
      {"BusinessFaxNumber", "3"}}},
    {"a second mobile, and numbers of no kind, in free fields",
     "3.0",
     "N:B\r\nTEL;TYPE=CELL:1\r\nTEL;TYPE=CELL:2\r\nTEL:3\r\nTEL;TYPE=VOICE:4\r\n",
     {{"LastName", "B"},
      {"MobileTelephoneNumber", "1"},
      {"Home2TelephoneNumber", "2"},
      {"HomeTelephoneNumber", "3"},
      {"BusinessTelephoneNumber", "4"}}},
    {"mail by preference",
     "4.0",
     "N:B\r\nEMAIL:a@x\r\nEMAIL;PREF=2:b@x\r\nEMAIL;PREF=1:mailto:c@x\r\n",
     {{"LastName", "B"}, {"Email1Address", "c@x"}, {"Email2Address", "b@x"}, {"Email3Address", "a@x"}}},
    {"chat",
     "3.0",
     "N:B\r\nIMPP;X-SERVICE-TYPE=AIM:aim:ada\r\nX-AIM:ada\r\nX-JABBER:xmpp:a@x\r\nX-IM:bare\r\n",
     {{"LastName", "B"}, {"IM1Address", "aim:ada"}, {"IM2Address", "xmpp:a@x"}, {"IM3Address", "bare"}}},
    {"web page at work first",
     "3.0",
     "N:B\r\nURL:http://home\r\nURL;TYPE=WORK:http\\://work\r\n",
     {{"LastName", "B"}, {"WebPage", "http://work"}}},
    {"title before role", "3.0", "N:B\r\nROLE:r\r\nTITLE:t\r\n", {{"LastName", "B"}, {"JobTitle", "t"}}},
    {"role without a title", "3.0", "N:B\r\nROLE:r\r\nTITLE:\r\n", {{"LastName", "B"}, {"JobTitle", "r"}}},
    {"dates",
     "3.0",
     "N:B\r\nBDAY:1996-10-22T14:00:00Z\r\nX-EVOLUTION-ANNIVERSARY:20000102\r\n",
     {{"LastName", "B"}, {"Birthday", "1996-10-22"}, {"Anniversary", "2000-01-02"}}},
    {"relations",
     "4.0",
     "N:B\r\nRELATED;VALUE=text;TYPE=spouse:W\r\nRELATED;VALUE=text;TYPE=child:C1\r\nRELATED;TYPE=child;VALUE=text:"
     "C2\r\n"
     "RELATED;TYPE=child:urn:uuid:1\r\nX-MS-MANAGER:M\r\nX-EVOLUTION-ASSISTANT:\r\nX-MS-ASSISTANT:As\r\n",
     {{"LastName", "B"}, {"Spouse", "W"}, {"Children", "C1, C2"}, {"Manager", "M"}, {"AssistantName", "As"}}},
    {"children", "3.0", "N:B\r\nX-MS-CHILD:C1\r\nX-MS-CHILD:C2\r\n", {{"LastName", "B"}, {"Children", "C1, C2"}}},
    {"categories",
     "3.0",
     "N:B\r\nCATEGORIES:a, b,a\r\nCATEGORIES:c\r\n",
     {{"LastName", "B"}, {"Categories", "a, b, c"}}},
    {"note in quoted-printable",
     "2.1",
     "N:B\r\nNOTE;ENCODING=QUOTED-PRINTABLE:one=0D=0A=\r\ntwo\r\n",
     {{"LastName", "B"}, {"Body", "one\ntwo"}}},
    {"picture in base64", "3.0", "N:B\r\nPHOTO;ENCODING=b;TYPE=JPEG:aGk=\r\n", {{"LastName", "B"}, {"Picture", "hi"}}},
    {"picture in a data link",
     "4.0",
     "N:B\r\nPHOTO:data:image/jpeg;base64,aGk=\r\n",
     {{"LastName", "B"}, {"Picture", "hi"}}},
    {"picture in a data link whose signs are escaped",
     "4.0",
     "N:B\r\nPHOTO:data:image/png\\;base64\\,aGk=\r\n",
     {{"LastName", "B"}, {"Picture", "hi"}}},
    {"file-as of its own",
     "3.0",
     "N:B;A\r\nX-EVOLUTION-FILE-AS:The B\r\n",
     {{"LastName", "B"}, {"FirstName", "A"}, {"FileAs", "The B"}}},
    {"file-as as a device makes it up",
     "3.0",
     "N:B;A\r\nX-EVOLUTION-FILE-AS:B\\, A\r\n",
     {{"LastName", "B"}, {"FirstName", "A"}}},
    {"lines that say which field they are",
     "3.0",
     "N:B\r\nEMAIL;X-KEZSYNC-FIELD=Email2Address:a@x\r\nTEL;TYPE=HOME;X-KEZSYNC-FIELD=Home2TelephoneNumber:1\r\n",
     {{"LastName", "B"}, {"Email2Address", "a@x"}, {"Home2TelephoneNumber", "1"}}},
    {"ids",
     "3.0",
     "N:B\r\nX-GOVERNMENT-ID:1\r\nX-ACCOUNT:2\r\nX-CUSTOMER-ID:3\r\n",
     {{"LastName", "B"}, {"GovernmentId", "1"}, {"AccountName", "2"}, {"CustomerId", "3"}}},
};

TEST(VCard, CardsAreReadAsTheyAreFound) {
    for (const auto& c : kReadingCases) {
        auto reading = ReadCard(Card(c.version, c.lines), "a.vcf");
        EXPECT_FALSE(reading.problem) << c.what << ": " << reading.problem.text;
        EXPECT_EQ(reading.item.fields, c.fields) << c.what;
    }
}

struct EditCase {
    const char* what;
    const char* version;
    std::string before;
    Fields changes;  // "" takes the field out
    std::string after;
};

const EditCase kEditCases[] = {
    {"one number keeps its parameters",
     "3.0",
     "N:B;A\r\nitem1.TEL;TYPE=HOME;X-U=1:1\r\nTEL;TYPE=HOME:2\r\nX-Y:z\r\n",
     {{"HomeTelephoneNumber", "9"}},
     "N:B;A\r\nitem1.TEL;TYPE=HOME;X-U=1:9\r\nTEL;TYPE=HOME:2\r\nX-Y:z\r\n"},
    {"a telephone link stays one",
     "4.0",
     "N:B\r\nTEL;VALUE=uri;TYPE=home:tel:+1\r\n",
     {{"HomeTelephoneNumber", "+2"}},
     "N:B\r\nTEL;VALUE=uri;TYPE=home:tel:+2\r\n"},
    {"a name, and the name that is shown",
     "3.0",
     "FN:Ada Byron\r\nN:Byron;Ada,A.;;;\r\n",
     {{"LastName", "King"}},
     "FN:Ada King\r\nN:King;Ada,A.;;;\r\n"},
    {"a shown name with something more",
     "3.0",
     "FN:Ada Byron (work)\r\nN:Byron;Ada;;;\r\n",
     {{"LastName", "King"}},
     "FN:Ada King (work)\r\nN:King;Ada;;;\r\n"},
    {"a shown name of the owner's own",
     "3.0",
     "FN:Mum\r\nN:Byron;Ada;;;\r\n",
     {{"LastName", "King"}},
     "FN:Mum\r\nN:King;Ada;;;\r\n"},
    {"a name where there was no N",
     "4.0",
     "FN:Ada Byron\r\nNOTE:x\r\n",
     {{"LastName", "King"}},
     "FN:Ada King\r\nN:King;Ada;;;\r\nNOTE:x\r\n"},
    {"file-as follows the names",
     "3.0",
     "N:B;A;;;\r\nX-EVOLUTION-FILE-AS:B\\, A\r\n",
     {{"LastName", "C"}},
     "N:C;A;;;\r\nX-EVOLUTION-FILE-AS:C\\, A\r\n"},
    {"file-as of its own stays",
     "3.0",
     "N:B;A;;;\r\nX-FILE-AS:Me\r\n",
     {{"LastName", "C"}},
     "N:C;A;;;\r\nX-FILE-AS:Me\r\n"},
    {"a new file-as", "3.0", "N:B;A;;;\r\n", {{"FileAs", "Me"}}, "N:B;A;;;\r\nX-EVOLUTION-FILE-AS:Me\r\n"},
    {"a company in an organisation",
     "3.0",
     "N:B\r\nORG:Old;Sales\r\n",
     {{"CompanyName", "New; Co"}},
     "N:B\r\nORG:New\\; Co;Sales\r\n"},
    {"an organisation goes", "3.0", "N:B\r\nORG:Old\r\nNOTE:x\r\n", {{"CompanyName", ""}}, "N:B\r\nNOTE:x\r\n"},
    {"an office without a department", "3.0", "N:B\r\n", {{"OfficeLocation", "5"}}, "N:B\r\nORG:;;5\r\n"},
    {"an office in the address",
     "2.1",
     "N:B\r\nADR;WORK:;5;S;C\r\n",
     {{"OfficeLocation", "6"}},
     "N:B\r\nADR;WORK:;6;S;C;;;\r\n"},
    {"a street below its box",
     "3.0",
     "N:B\r\nADR;TYPE=HOME:Box;Ext;S;C;;1;\r\n",
     {{"HomeAddressStreet", "Box\nExt\nT"}},
     "N:B\r\nADR;TYPE=HOME:Box;Ext;T;C;;1;\r\n"},
    {"a street instead of its box",
     "3.0",
     "N:B\r\nADR;TYPE=HOME:Box;Ext;S;C;;1;\r\n",
     {{"HomeAddressStreet", "T"}},
     "N:B\r\nADR;TYPE=HOME:;;T;C;;1;\r\n"},
    {"an address goes",
     "3.0",
     "N:B\r\nADR;TYPE=HOME:;;S;;;;\r\nNOTE:x\r\n",
     {{"HomeAddressStreet", ""}},
     "N:B\r\nNOTE:x\r\n"},
    {"a new address",
     "4.0",
     "N:B\r\n",
     {{"BusinessAddressCity", "C"}, {"BusinessAddressStreet", "S\nT"}},
     "N:B\r\nADR;TYPE=work:;;S\\nT;C;;;\r\n"},
    {"new numbers of 2.1",
     "2.1",
     "N:B\r\n",
     {{"HomeTelephoneNumber", "1"}, {"BusinessFaxNumber", "2"}},
     "N:B\r\nTEL;HOME;VOICE:1\r\nTEL;WORK;FAX:2\r\n"},
    {"new numbers of 3.0",
     "3.0",
     "N:B\r\n",
     {{"CarTelephoneNumber", "1"}, {"RadioTelephoneNumber", "2"}},
     "N:B\r\nTEL;TYPE=CAR:1\r\nTEL;TYPE=X-EVOLUTION-RADIO:2\r\n"},
    {"new numbers of 4.0",
     "4.0",
     "N:B\r\n",
     {{"CarTelephoneNumber", "1"}, {"HomeTelephoneNumber", "2"}},
     "N:B\r\nTEL;TYPE=home,voice:2\r\nTEL;TYPE=x-car:1\r\n"},
    {"mail",
     "3.0",
     "N:B\r\nEMAIL:a@x\r\n",
     {{"Email1Address", "b@x"}, {"Email2Address", "c@x"}},
     "N:B\r\nEMAIL:b@x\r\nEMAIL;TYPE=INTERNET:c@x\r\n"},
    {"the first of two addresses goes",
     "3.0",
     "N:B\r\nEMAIL:a@x\r\nEMAIL:b@x\r\n",
     {{"Email1Address", ""}},
     "N:B\r\nEMAIL;X-KEZSYNC-FIELD=Email2Address:b@x\r\n"},
    {"a second number without a first",
     "3.0",
     "N:B\r\n",
     {{"Home2TelephoneNumber", "1"}},
     "N:B\r\nTEL;TYPE=HOME,VOICE;X-KEZSYNC-FIELD=Home2TelephoneNumber:1\r\n"},
    {"chat under its service's name",
     "3.0",
     "N:B\r\nX-AIM:ada\r\n",
     {{"IM1Address", "aim:eve"}},
     "N:B\r\nX-AIM:eve\r\n"},
    {"chat under two names",
     "3.0",
     "N:B\r\nIMPP:aim:ada\r\nX-AIM:ada\r\n",
     {{"IM1Address", "aim:eve"}},
     "N:B\r\nIMPP:aim:eve\r\nX-AIM:eve\r\n"},
    {"chat of another service",
     "3.0",
     "N:B\r\nX-AIM:ada\r\n",
     {{"IM1Address", "xmpp:e@x"}},
     "N:B\r\nIMPP:xmpp:e@x\r\n"},
    {"chat of no service", "3.0", "N:B\r\n", {{"IM1Address", "eve"}}, "N:B\r\nX-IM:eve\r\n"},
    {"a birthday in the file's form",
     "3.0",
     "N:B\r\nBDAY:19800321\r\n",
     {{"Birthday", "1980-03-22"}},
     "N:B\r\nBDAY:19800322\r\n"},
    {"a birthday that could not be read",
     "3.0",
     "N:B\r\nBDAY;VALUE=text:spring\r\n",
     {{"Birthday", "1980-03-22"}},
     "N:B\r\nBDAY:1980-03-22\r\n"},
    {"new dates",
     "4.0",
     "N:B\r\n",
     {{"Birthday", "1980-03-22"}, {"Anniversary", "2000-01-02"}},
     "N:B\r\nBDAY:19800322\r\nANNIVERSARY:20000102\r\n"},
    {"an empty line is filled",
     "3.0",
     "N:B\r\nX-EVOLUTION-SPOUSE:\r\n",
     {{"Spouse", "W"}},
     "N:B\r\nX-EVOLUTION-SPOUSE:W\r\n"},
    {"one child of two",
     "3.0",
     "N:B\r\nX-MS-CHILD:C1\r\nX-MS-CHILD:C2\r\n",
     {{"Children", "C2, C3"}},
     "N:B\r\nX-MS-CHILD:C2\r\nX-MS-CHILD:C3\r\n"},
    {"new children of 4.0",
     "4.0",
     "N:B\r\n",
     {{"Children", "C1, C2"}},
     "N:B\r\nRELATED;VALUE=text;TYPE=child:C1\r\nRELATED;VALUE=text;TYPE=child:C2\r\n"},
    {"categories keep their lines",
     "3.0",
     "N:B\r\nCATEGORIES:a,b\r\nCATEGORIES:c\r\n",
     {{"Categories", "b, c, d"}},
     "N:B\r\nCATEGORIES:b\r\nCATEGORIES:c,d\r\n"},
    {"categories go", "3.0", "N:B\r\nCATEGORIES:a\r\n", {{"Categories", ""}}, "N:B\r\n"},
    {"a note of 2.1",
     "2.1",
     "N:B\r\n",
     {{"Body", "one\nt\xC3\xA4o"}},
     "N:B\r\nNOTE;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:one=0D=0At=C3=A4o\r\n"},
    {"a note", "3.0", "N:B\r\nNOTE:old\r\n", {{"Body", "one, two\nthree"}}, "N:B\r\nNOTE:one\\, two\\nthree\r\n"},
    {"a picture of another kind",
     "3.0",
     "N:B\r\nPHOTO;ENCODING=b;TYPE=JPEG:aGk=\r\n",
     {{"Picture", "\x89PNGx"}},
     "N:B\r\nPHOTO;ENCODING=b;TYPE=PNG:iVBOR3g=\r\n"},
    {"a picture of 4.0", "4.0", "N:B\r\n", {{"Picture", "GIF8x"}}, "N:B\r\nPHOTO:data:image/gif;base64,R0lGOHg=\r\n"},
    {"a picture of 2.1",
     "2.1",
     "N:B\r\n",
     {{"Picture", "BMx"}},
     "N:B\r\nPHOTO;TYPE=BMP;ENCODING=BASE64:\r\n Qk14\r\n\r\n"},
    {"a picture goes", "3.0", "N:B\r\nPHOTO;ENCODING=b;TYPE=JPEG:aGk=\r\n", {{"Picture", ""}}, "N:B\r\n"},
    {"nothing", "3.0", "N:B\r\nX:  y \r\n junk\r\n", {}, "N:B\r\nX:  y \r\n junk\r\n"},
};

TEST(VCard, AChangeOfAFieldIsAChangeOfItsLine) {
    for (const auto& c : kEditCases) {
        Item wanted = ReadCard(Card(c.version, c.before), "a.vcf").item;
        for (const auto& [name, value] : c.changes) {
            wanted.fields[name] = value;
            if (value.empty()) wanted.fields.erase(name);
        }
        std::string after = EditCard(Card(c.version, c.before), wanted);
        EXPECT_EQ(after, Card(c.version, c.after)) << c.what;
        EXPECT_EQ(ReadCard(after, "a.vcf").item.fields, wanted.fields) << c.what;
    }
}

TEST(VCard, WhatADeviceHasNoRoomForIsSaid) {
    auto losses = [](const std::string& lines) { return ReadCard(Card("3.0", "N:B\r\n" + lines), "a.vcf").losses; };
    EXPECT_THAT(losses("EMAIL:1@x\r\nEMAIL:2@x\r\nEMAIL:3@x\r\nEMAIL:4@x\r\n"),
                ElementsAre("e-mail address 4@x: a device has no field left for it"));
    EXPECT_THAT(losses("TEL;TYPE=HOME:1\r\nTEL;TYPE=HOME:2\r\nTEL;TYPE=HOME:3\r\n"),
                ElementsAre("telephone number 3: a device has no field left for it"));
    EXPECT_THAT(losses("X-IM:1\r\nX-IM:2\r\nX-IM:3\r\nX-IM:4\r\n"), ElementsAre(HasSubstr("chat address 4")));
    EXPECT_THAT(losses("ADR;TYPE=HOME:;;S;C\r\nADR;TYPE=HOME:;;T;D\r\n"),
                ElementsAre(HasSubstr("another home address (T, D)")));
    EXPECT_THAT(losses("NOTE:a\r\nNOTE:b\r\n"), ElementsAre("another NOTE: a device holds one"));
    EXPECT_THAT(losses("BDAY:--0415\r\n"), ElementsAre("BDAY \"--0415\" has no year"));
    EXPECT_THAT(losses("BDAY;X-APPLE-OMIT-YEAR=1604:1604-04-15\r\n"), ElementsAre(HasSubstr("has no year")));
    EXPECT_THAT(losses("BDAY:1850-04-15\r\n"), ElementsAre(HasSubstr("outside the years")));
    EXPECT_THAT(losses("BDAY:circa 1980\r\n"), ElementsAre(HasSubstr("is no date")));
    EXPECT_THAT(losses("PHOTO;VALUE=uri:http://x/y.jpg\r\n"), ElementsAre(HasSubstr("a link (http://x/y.jpg)")));
    EXPECT_THAT(losses("PHOTO;ENCODING=b:" + Base64(std::string(3 << 20, 'x')) + "\r\n"), ElementsAre());
    EXPECT_THAT(losses("CATEGORIES:a\\,b\r\n"), ElementsAre(HasSubstr("category \"a,b\"")));
    EXPECT_THAT(losses("NOTE:" + std::string(40000, 'x') + "\r\n"),
                ElementsAre(HasSubstr("Body has 40000 characters")));
    EXPECT_THAT(losses("GEO:1;2\r\nNICKNAME:n\r\nX-A:1\r\nX-B:\r\nREV:1\r\n"),
                ElementsAre("a device has no field for GEO, NICKNAME, X-A"));
    EXPECT_THAT(losses("AGENT:\r\nBEGIN:VCARD\r\nFN:x\r\nEND:VCARD\r\n"),
                ElementsAre(HasSubstr("a card inside the card")));
    EXPECT_THAT(losses("TEL;TYPE=HOME:1\r\n"), IsEmpty());
}

TEST(VCard, ATextThatWasCutIsNotWrittenBack) {
    std::string bytes = Card("3.0", "N:B\r\nNOTE:" + std::string(40000, 'x') + "\r\n");
    Item item = ReadCard(bytes, "a.vcf").item;
    EXPECT_EQ(item.fields["Body"].size(), 32766U);
    item.fields["JobTitle"] = "t";
    EXPECT_THAT(EditCard(bytes, item), HasSubstr("NOTE:" + std::string(40000, 'x') + "\r\n"));
}

TEST(VCard, BrokenCardsSayWhy) {
    struct {
        std::string bytes;
        ProblemCode code;
        const char* why;
    } rows[] = {
        {"", ProblemCode::Unreadable, "the file is empty"},
        {"garbage", ProblemCode::Unreadable, "no BEGIN:VCARD line"},
        {"BEGIN:VCALENDAR\r\nEND:VCALENDAR\r\n", ProblemCode::Unreadable, "no BEGIN:VCARD line"},
        {"\r\nBEGIN:VCARD\r\nFN:a\r\n", ProblemCode::Unreadable, "begins in line 2 has no END:VCARD"},
        {Card("3.0", "N:a\r\n") + Card("3.0", "N:b\r\n"), ProblemCode::Unreadable,
         "holds 2 cards (the second from line 5)"},
        {std::string("\xFF\xFE"
                     "B\0",
                     4),
         ProblemCode::Unreadable, "UTF-16"},
        {Card("3.0", "UID:1\r\nX-A:b\r\n"), ProblemCode::NotRepresentable, "nothing in the card"},
    };
    for (const auto& row : rows) {
        auto reading = ReadCard(row.bytes, "b.vcf");
        EXPECT_EQ(reading.problem.code, row.code) << row.why;
        EXPECT_THAT(reading.problem.text, HasSubstr(row.why));
        EXPECT_EQ(reading.problem.where, "b.vcf");
    }
}

TEST(VCard, SeveralCardsOfAFileAreTakenApart) {
    std::string a = Card("3.0", "N:a\r\nAGENT:\r\nBEGIN:VCARD\r\nN:x\r\nEND:VCARD\r\n"), b = Card("2.1", "N:b\r\n");
    EXPECT_THAT(SplitCards("\r\n" + a + "junk\r\n" + b), ElementsAre(a, b));
    EXPECT_THAT(SplitCards("junk"), IsEmpty());
}

TEST(VCard, ANewCardIsWhole) {
    Item item{ItemType::Contact,
              {{"FirstName", "Ada"}, {"LastName", "Byron"}, {"Email1Address", "a@x"}, {"Body", "n\nm"}}};
    EXPECT_EQ(NewCard(item, "uid;1", "2026-03-02T10:00:00Z"),
              "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:uid\\;1\r\nFN:Ada Byron\r\nN:Byron;Ada;;;\r\n"
              "EMAIL;TYPE=INTERNET,PREF:a@x\r\nNOTE:n\\nm\r\nREV:2026-03-02T10:00:00Z\r\nEND:VCARD\r\n");
    EXPECT_EQ(ReadCard(NewCard(item, "uid;1", ""), "").uid, "uid;1");
}

TEST(VCard, ACardWithoutANameIsNamedByWhatThereIs) {
    for (const char* field : {"CompanyName", "Email1Address", "HomeTelephoneNumber", "FileAs", "Body"}) {
        Item item{ItemType::Contact, {{field, "x@1"}}};
        EXPECT_EQ(ReadCard(NewCard(item, "u", "r"), "").item.fields, item.fields) << field;
    }
}

// --- Random items ------------------------------------------------------------------------------------------------

std::string AnyValue(const RecordField& field) {
    if (field.kind == ValueKind::Bytes) return *rc::gen::element<std::string>("\xFF\xD8x", "\x89PNG", "any", "BM");
    if (field.kind == ValueKind::Day) return DayText(*rc::gen::inRange<std::int64_t>(-2208988800, 4102444800));
    std::string text;
    for (const auto& piece : *rc::gen::container<std::vector<std::string>>(rc::gen::elementOf(
             std::vector<std::string>{"a", "B", "9", ";", ",", "\\", ":", "=", "\"", "\xC3\xA4", "\xF0\x9F\x98\x80",
                                      "END:VCARD", "two words", "a rather long text that has to be folded"})))
        text += piece;
    text = CutToDevice(text, 200);  // twice that and a line break fit everywhere
    bool isLong = field.name == "Body" || field.name.ends_with("Street");
    if (isLong && *rc::gen::arbitrary<bool>()) text = text + "\n" + text + "z";
    if (field.name == "Categories" || field.name == "Children") std::erase(text, ',');
    // Blanks at the ends, and service names that a chat address seems to have, are not what is tested here.
    return Trimmed(text).empty() ? "x" : "t" + text + "t";
}

// The fields that differ: one that is wanted, and what is there.
std::string Difference(const Fields& wanted, const Fields& there) {
    std::string all;
    for (const auto& field : FieldsOf(ItemType::Contact)) {
        auto a = wanted.find(std::string(field.name)), b = there.find(std::string(field.name));
        std::string left = a == wanted.end() ? "" : a->second, right = b == there.end() ? "" : b->second;
        if (left != right) all += std::string(field.name) + ": " + left + " | " + right + "\n";
    }
    return all;
}

Fields AnyFields() {
    Fields fields;
    for (const auto& field : FieldsOf(ItemType::Contact))
        if (*rc::gen::inRange(0, 6) == 0) fields[std::string(field.name)] = AnyValue(field);
    if (fields["FileAs"] == DefaultFileAs(fields)) fields.erase("FileAs");
    std::erase_if(fields, [](const auto& field) { return field.second.empty(); });
    // A person's name keeps the formatted name from being one.
    fields.try_emplace("LastName", "Name");
    return fields;
}

TEST(VCard, AnyItemWrittenReadsBack) {
    EXPECT_TRUE(rc::check([] {
        Item item{ItemType::Contact, AnyFields()};
        auto reading = ReadCard(NewCard(item, "u", "2026-03-02T10:00:00Z"), "");
        RC_ASSERT(Difference(item.fields, reading.item.fields) == "");
        RC_ASSERT(reading.losses.empty());
    }));
}

// Equal values hide which line says which field until one of them says it.
TEST(VCard, EveryFieldOfEqualAddressesComesBackWhereItWas) {
    const struct {
        std::vector<std::string> names;
        std::string values[2];
        int stride;  // each of how many turns is taken
    } groups[] = {
        {{"Email1Address", "Email2Address", "Email3Address"}, {"a@x", "b@x"}, 2},
        {{"HomeTelephoneNumber", "Home2TelephoneNumber", "MobileTelephoneNumber"}, {"1", "2"}, 8},
        {{"Home2TelephoneNumber", "Business2TelephoneNumber", "RadioTelephoneNumber"}, {"1", "2"}, 8},
        {{"IM1Address", "IM2Address", "IM3Address"}, {"a@x", "xmpp:a@x"}, 8},
    };
    for (const auto& group : groups) {
        auto contact = [&](int which) {
            Item item{ItemType::Contact, {{"LastName", "Name"}}};
            for (const std::string& name : group.names) {
                if (which % 3) item.fields[name] = group.values[which % 3 - 1];
                which /= 3;
            }
            return item;
        };
        for (const char* version : {"2.1", "3.0", "4.0"}) {
            for (int turn = 0; turn < 27 * 27; turn += group.stride) {
                std::string bytes = Card(version, "FN:Name\r\nN:Name;;;;\r\n");
                for (int which : {turn / 27, turn % 27}) {
                    bytes = EditCard(bytes, contact(which));
                    ASSERT_EQ(ReadCard(bytes, "").item.fields, contact(which).fields) << bytes;
                }
            }
        }
    }
}

TEST(VCard, AnyChangeReadsBackAndKeepsOtherLines) {
    EXPECT_TRUE(rc::check([] {
        auto version = *rc::gen::element<std::string>("2.1", "3.0", "4.0");
        std::string keep = "X-KEEP;A=\"b\":  v;\r\nitem1.X-ABLabel:_$!<Other>!$_\r\nnot a property\r\n";
        std::string bytes = Card(version, "FN:Some One\r\nN:One;Some;;;\r\n" + keep);
        for (int i = 0; i < 2; i++) {
            Item wanted{ItemType::Contact, AnyFields()};
            bytes = EditCard(bytes, wanted);
            auto reading = ReadCard(bytes, "");
            RC_ASSERT(Difference(wanted.fields, reading.item.fields) == "");
            RC_ASSERT(bytes.find(keep) != std::string::npos);
            RC_ASSERT(EditCard(bytes, wanted) == bytes);
        }
    }));
}

// --- Real files --------------------------------------------------------------------------------------------------

std::vector<std::pair<std::string, std::string>> RealCards() {
    std::vector<std::pair<std::string, std::string>> cards;
    for (const auto& file : tests::RealFiles(".vcf"))
        for (const auto& card : SplitCards(tests::ReadFile(file))) cards.emplace_back(file, card);
    return cards;
}

TEST(VCard, RealCardsGoInAndUnchangedOnesStayAsTheyAre) {
    auto cards = RealCards();
    ASSERT_GE(cards.size(), 18U);
    std::size_t read = 0;
    RecordCodec codec([] { return 0; });
    for (const auto& [file, bytes] : cards) {
        auto reading = ReadCard(bytes, file);
        if (reading.problem) {
            EXPECT_FALSE(reading.problem.text.empty());
            continue;
        }
        read++;
        EXPECT_EQ(codec.WhyNotHeld(reading.item), "") << file;
        EXPECT_EQ(EditCard(bytes, reading.item), bytes) << file;
        // What a device gives back changes nothing in the file.
        Item back = codec.Decode(ItemType::Contact, codec.Encode(reading.item, nullptr));
        EXPECT_EQ(EditCard(bytes, back), bytes) << file;
        EXPECT_EQ(back.fields, reading.item.fields) << file;
    }
    EXPECT_GT(read * 100, cards.size() * 90) << read << " of " << cards.size();
}

TEST(VCard, EveryFieldOfARealCardCanBeChangedAlone) {
    for (const auto& [file, bytes] : RealCards()) {
        auto reading = ReadCard(bytes, file);
        if (reading.problem) continue;
        int turn = 0;
        for (const auto& field : FieldsOf(ItemType::Contact)) {
            if (bytes.size() > 1000 && turn++ % 19) continue;  // long ones take their time
            Item wanted = reading.item;
            std::string& value = wanted.fields[std::string(field.name)];
            value = field.kind == ValueKind::Day ? "1999-09-09" : value.substr(0, 500) + "new";
            if (field.name == "Categories" || field.name == "Children") value = "new one";
            std::string edited = EditCard(bytes, wanted);
            auto again = ReadCard(edited, file);
            ASSERT_EQ(Difference(wanted.fields, again.item.fields), "") << file << " " << field.name;
        }
    }
}

}  // namespace
}  // namespace kez::partner
