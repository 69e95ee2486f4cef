// Contacts: their accessors, limits, dates and the filing text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/pocketoutlook/outlook_session.h"

namespace kez::tests {
namespace {

struct TextAccessor {
    const char* name;
    HRESULT (IContact::*get)(BSTR*);
    HRESULT (IContact::*put)(BSTR);
    CEPROPID id;
};
#define KEZ_TEXT(name, id) \
    { #name, &IContact::get_##name, &IContact::put_##name, id }
constexpr TextAccessor kTexts[] = {
    KEZ_TEXT(BusinessFaxNumber, 0x009B001F),
    KEZ_TEXT(CompanyName, 0x008A001F),
    KEZ_TEXT(Department, 0x008B001F),
    KEZ_TEXT(Email1Address, 0x0090001F),
    KEZ_TEXT(MobileTelephoneNumber, 0x0096001F),
    KEZ_TEXT(OfficeLocation, 0x008E001F),
    KEZ_TEXT(PagerNumber, 0x009D001F),
    KEZ_TEXT(BusinessTelephoneNumber, 0x0097001F),
    KEZ_TEXT(JobTitle, 0x008C001F),
    KEZ_TEXT(HomeTelephoneNumber, 0x0099001F),
    KEZ_TEXT(Email2Address, 0x0091001F),
    KEZ_TEXT(Spouse, 0x00A5001F),
    KEZ_TEXT(Email3Address, 0x0092001F),
    KEZ_TEXT(Home2TelephoneNumber, 0x009A001F),
    KEZ_TEXT(HomeFaxNumber, 0x009C001F),
    KEZ_TEXT(CarTelephoneNumber, 0x009E001F),
    KEZ_TEXT(AssistantName, 0x008F001F),
    KEZ_TEXT(AssistantTelephoneNumber, 0x00A1001F),
    KEZ_TEXT(Children, 0x00A6001F),
    KEZ_TEXT(Categories, 0x101D001F),
    KEZ_TEXT(WebPage, 0x00A7001F),
    KEZ_TEXT(Business2TelephoneNumber, 0x0098001F),
    KEZ_TEXT(Title, 0x0081001F),
    KEZ_TEXT(FirstName, 0x0082001F),
    KEZ_TEXT(MiddleName, 0x0083001F),
    KEZ_TEXT(LastName, 0x0084001F),
    KEZ_TEXT(Suffix, 0x0085001F),
    KEZ_TEXT(HomeAddressStreet, 0x00D1001F),
    KEZ_TEXT(HomeAddressCity, 0x00D2001F),
    KEZ_TEXT(HomeAddressState, 0x00D3001F),
    KEZ_TEXT(HomeAddressPostalCode, 0x00D4001F),
    KEZ_TEXT(HomeAddressCountry, 0x00D5001F),
    KEZ_TEXT(OtherAddressStreet, 0x00E1001F),
    KEZ_TEXT(OtherAddressCity, 0x00E2001F),
    KEZ_TEXT(OtherAddressState, 0x00E3001F),
    KEZ_TEXT(OtherAddressPostalCode, 0x00E4001F),
    KEZ_TEXT(OtherAddressCountry, 0x00E5001F),
    KEZ_TEXT(BusinessAddressStreet, 0x00C1001F),
    KEZ_TEXT(BusinessAddressCity, 0x00C2001F),
    KEZ_TEXT(BusinessAddressState, 0x00C3001F),
    KEZ_TEXT(BusinessAddressPostalCode, 0x00C4001F),
    KEZ_TEXT(BusinessAddressCountry, 0x00C5001F),
    KEZ_TEXT(RadioTelephoneNumber, 0x009F001F),
    KEZ_TEXT(FileAs, 0x0080001F),
    KEZ_TEXT(Body, 0x101F001F),
    KEZ_TEXT(YomiCompanyName, 0x0089001F),
    KEZ_TEXT(YomiFirstName, 0x0087001F),
    KEZ_TEXT(YomiLastName, 0x0088001F),
};
#undef KEZ_TEXT

struct DateAccessor {
    const char* name;
    HRESULT (IContact::*get)(DATE*);
    HRESULT (IContact::*put)(DATE);
    CEPROPID id;
};
constexpr DateAccessor kDates[] = {
    {"Birthday", &IContact::get_Birthday, &IContact::put_Birthday, 0x00F00040},
    {"Anniversary", &IContact::get_Anniversary, &IContact::put_Anniversary, 0x00F10040},
};

TEST(OutlookContact, ANewOneIsEmptyAndHasNoOid) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    for (const auto& row : kTexts) EXPECT_EQ(TextOf(contact, row.get), "") << row.name;
    for (const auto& row : kDates) {
        DATE date = 0;
        EXPECT_EQ((contact.Get()->*row.get)(&date), S_OK);
        EXPECT_EQ(date, DATE_NONE) << row.name;
    }
    LONG oid = -1;
    EXPECT_EQ(contact->get_Oid(&oid), S_OK);
    EXPECT_EQ(oid, 0);
}

TEST(OutlookContact, EveryTextKeepsItsValueUnderItsIdentifier) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    for (const auto& row : kTexts) {
        std::u16string text = u"Value of ";
        for (const char* c = row.name; *c; c++) text += static_cast<char16_t>(*c);
        EXPECT_EQ(PutText(contact, row.put, text), S_OK) << row.name;
    }
    ASSERT_EQ(contact->Save(), S_OK);
    const auto read = outlook.Contact(OidOf(contact));
    std::vector<CEPROPID> ids;
    for (const auto& row : kTexts) ids.push_back(row.id);
    Block block;
    ASSERT_EQ(block.Get(AsItem(read), ids), S_OK);
    for (std::size_t i = 0; i < ids.size(); i++) {
        const std::string expected = std::string("Value of ") + kTexts[i].name;
        EXPECT_EQ(TextOf(read, kTexts[i].get), expected);
        EXPECT_EQ(block.Text(i), expected);
    }
}

TEST(OutlookContact, TextsHaveLimitsThatTheSetterChecks) {
    Outlook outlook;
    for (const auto& row : kTexts) {
        const std::string name = row.name;
        const std::size_t limit = name == "Body" ? 32734 : name == "Categories" ? 1023 : 1022;
        const auto contact = outlook.NewContact();
        EXPECT_EQ(PutText(contact, row.put, std::u16string(limit, u'x')), S_OK) << name;
        EXPECT_EQ(PutText(contact, row.put, std::u16string(limit + 1, u'y')), E_FIELDTOOLARGE) << name;
        EXPECT_EQ(TextOf(contact, row.get), std::string(limit, 'x')) << name << ": the value before stays";
        EXPECT_EQ(contact->Save(), S_OK) << name;
        EXPECT_EQ(TextOf(outlook.Contact(OidOf(contact)), row.get).size(), limit) << name;
    }
}

TEST(OutlookContact, AnEmptyTextRemovesTheProperty) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_Spouse, u"Ann");
    contact->Save();
    EXPECT_EQ(contact->put_Spouse(nullptr), S_OK);
    contact->Save();
    Block block;
    ASSERT_EQ(block.Get(AsItem(outlook.Contact(OidOf(contact))), {PIMPR_SPOUSE}), S_OK);
    EXPECT_FALSE(block.Found(0));
    EXPECT_EQ(TextOf(contact, &IContact::get_Spouse), "") << "the accessor gives an empty string, not null";
}

// Callers hand over wide strings of packets as they are, without the length that an automation string carries.
TEST(OutlookContact, SettersReadTextUpToItsTerminator) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    const struct {
        WCHAR before[2] = {0xFFFF, 0xFFFF};
        WCHAR text[6] = u"Smith";
    } plain;
    EXPECT_EQ(contact->put_LastName(const_cast<WCHAR*>(plain.text)), S_OK);
    EXPECT_EQ(TextOf(contact, &IContact::get_LastName), "Smith");
}

TEST(OutlookContact, DatesAreWallClockAndBounded) {
    struct {
        DATE date;
        HRESULT result;
    } const rows[] = {
        {DateOf(1980, 5, 17), S_OK},
        {DateOf(1980, 5, 17, 6, 30), S_OK},
        {2.0, S_OK},
        {401768.0, S_OK},
        {401768.999, S_OK},
        {1.999, E_INVALIDARG},
        {0.0, E_INVALIDARG},
        {-1.0, E_INVALIDARG},
        {401769.0, E_INVALIDARG},
        {949997.0, E_INVALIDARG},
        {DATE_NONE, S_OK},
        {1e300, E_INVALIDARG},
    };
    Outlook outlook;
    for (const auto& accessor : kDates) {
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(accessor.name) + " " + std::to_string(row.date));
            const auto contact = outlook.NewContact();
            EXPECT_EQ((contact.Get()->*accessor.put)(row.date), row.result);
            contact->Save();
            DATE read = 0;
            EXPECT_EQ((outlook.Contact(OidOf(contact)).Get()->*accessor.get)(&read), S_OK);
            if (row.result == S_OK) {
                EXPECT_NEAR(read, row.date, 1e-8);
            } else {
                EXPECT_EQ(read, DATE_NONE);
            }
        }
    }
}

TEST(OutlookContact, ADateComesBackAsTheVeryNumberThatWasSet) {
    Outlook outlook;
    for (WORD hour = 0; hour < 24; hour++) {
        for (WORD minute = 0; minute < 60; minute++) {
            const auto contact = outlook.NewContact();
            const DATE date = DateOf(1971, 11, 30, hour, minute);
            contact->put_Birthday(date);
            DATE read = 0;
            contact->get_Birthday(&read);
            EXPECT_EQ(read, date) << hour << ":" << minute;
        }
    }
}

TEST(OutlookContact, DatesAreFileTimesOfTheWallClockThroughIItem) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    contact->put_Birthday(DateOf(1980, 5, 17));
    contact->Save();
    const auto item = AsItem(contact);
    Block block;
    ASSERT_EQ(block.Get(item, {PIMPR_BIRTHDAY, PIMPR_ANNIVERSARY}), S_OK);
    SYSTEMTIME time{};
    ASSERT_TRUE(FileTimeToSystemTime(&block[0].val.filetime, &time));
    EXPECT_EQ(time.wYear, 1980);
    EXPECT_EQ(time.wMonth, 5);
    EXPECT_EQ(time.wDay, 17);
    EXPECT_EQ(time.wHour, 0);
    EXPECT_FALSE(block.Found(1)) << "no date";

    CEPROPVAL none{};
    none.propid = PIMPR_BIRTHDAY;
    none.val.filetime = {0xA3DD4000, 0x0CB34557};  // 4501-01-01
    EXPECT_EQ(item->SetProps(0, 1, &none), S_OK);
    DATE date = 0;
    contact->get_Birthday(&date);
    EXPECT_EQ(date, DATE_NONE);
    none.val.filetime = {0, 0};  // 1601
    EXPECT_EQ(item->SetProps(0, 1, &none), S_FALSE) << "outside the calendar";
}

// --- Filing text ----------------------------------------------------------------------------------------------

TEST(OutlookContact, FileAsFollowsTheNames) {
    struct {
        const char16_t *last, *first, *company, *email;
        const char* fileAs;
    } const rows[] = {
        {u"Meyer", u"Ann", u"Acme", u"a@x", "Meyer, Ann"},
        {u"Meyer", u"", u"Acme", u"a@x", "Meyer"},
        {u"", u"Ann", u"Acme", u"a@x", "Ann"},
        {u"", u"", u"Acme", u"a@x", "Acme"},
        {u"", u"", u"", u"a@x", "a@x"},
        {u"", u"", u"", u"", ""},
    };
    Outlook outlook;
    for (const auto& row : rows) {
        const auto contact = outlook.NewContact();
        PutText(contact, &IContact::put_Email1Address, row.email);
        PutText(contact, &IContact::put_CompanyName, row.company);
        PutText(contact, &IContact::put_FirstName, row.first);
        PutText(contact, &IContact::put_LastName, row.last);
        EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), row.fileAs);
    }
}

TEST(OutlookContact, AnExplicitFileAsStandsUntilTheSave) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_FileAs, u"The Boss");
    PutText(contact, &IContact::put_LastName, u"Meyer");
    EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), "The Boss");
    contact->Save();

    const auto later = outlook.Contact(OidOf(contact));
    EXPECT_EQ(TextOf(later, &IContact::get_FileAs), "The Boss");
    PutText(later, &IContact::put_LastName, u"Meyer");
    EXPECT_EQ(TextOf(later, &IContact::get_FileAs), "The Boss") << "no change of the name";
    PutText(later, &IContact::put_MiddleName, u"B.");
    EXPECT_EQ(TextOf(later, &IContact::get_FileAs), "The Boss") << "the middle name has no part in it";
    PutText(later, &IContact::put_CompanyName, u"Acme");
    EXPECT_EQ(TextOf(later, &IContact::get_FileAs), "The Boss") << "the company counts only without names";
    PutText(later, &IContact::put_LastName, u"Miller");
    EXPECT_EQ(TextOf(later, &IContact::get_FileAs), "Miller");

    PutText(contact, &IContact::put_FirstName, u"Ann");
    EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), "Meyer, Ann") << "renewed on the same object after its Save";
}

TEST(OutlookContact, NamesBeforeFileAsGiveTheExplicitTextToo) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_FirstName, u"Ann");
    PutText(contact, &IContact::put_LastName, u"Meyer");
    PutText(contact, &IContact::put_FileAs, u"The Boss");
    contact->Save();
    EXPECT_EQ(TextOf(outlook.Contact(OidOf(contact)), &IContact::get_FileAs), "The Boss");
}

TEST(OutlookContact, AnEmptiedFileAsGoesBackToTheNames) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_LastName, u"Meyer");
    PutText(contact, &IContact::put_FileAs, u"The Boss");
    PutText(contact, &IContact::put_FileAs, u"");
    EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), "Meyer");
}

TEST(OutlookContact, AFileAsMadeOfLongNamesIsCutToItsLimit) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_LastName, std::u16string(1022, u'l'));
    EXPECT_EQ(PutText(contact, &IContact::put_FirstName, std::u16string(1022, u'f')), S_OK);
    EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), std::string(1022, 'l'));
    EXPECT_EQ(contact->Save(), S_OK);
}

// --- Calculated values ----------------------------------------------------------------------------------------

TEST(OutlookContact, ComposedAddressesAndNamesAreCalculated) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_FirstName, u"Ann");
    PutText(contact, &IContact::put_LastName, u"Meyer");
    PutText(contact, &IContact::put_MobileTelephoneNumber, u"+49 170 1");
    PutText(contact, &IContact::put_HomeAddressStreet, u"Elm Street 1");
    PutText(contact, &IContact::put_HomeAddressCity, u"Springfield");
    PutText(contact, &IContact::put_HomeAddressState, u"OR");
    PutText(contact, &IContact::put_HomeAddressPostalCode, u"97477");
    PutText(contact, &IContact::put_HomeAddressCountry, u"USA");
    PutText(contact, &IContact::put_OtherAddressCity, u"Paris");
    contact->Save();
    Block block;
    ASSERT_EQ(block.Get(AsItem(contact), {PIMPR_HOME_ADDRESS, PIMPR_OTHER_ADDRESS, PIMPR_BUSINESS_ADDRESS, PIMPR_SMS,
                                          PIMPR_MMS, PIMPR_DISPLAY_NAME}),
              S_OK);
    EXPECT_EQ(block.Text(0), "Elm Street 1\r\nSpringfield, OR 97477\r\nUSA");
    EXPECT_EQ(block.Text(1), "Paris");
    EXPECT_FALSE(block.Found(2));
    EXPECT_EQ(block.Text(3), "+49 170 1");
    EXPECT_EQ(block.Text(4), "+49 170 1");
    EXPECT_EQ(block.Text(5), "Ann Meyer");
    EXPECT_EQ(SetText(AsItem(contact), PIMPR_HOME_ADDRESS, u"elsewhere"), S_FALSE);
}

TEST(OutlookContact, InkAndDialogsAreNotThere) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    CEBLOB ink{};
    EXPECT_EQ(contact->get_BodyInk(&ink), E_NOTIMPL);
    EXPECT_EQ(contact->put_BodyInk(&ink), E_NOTIMPL);
    EXPECT_EQ(contact->Display(), E_NOTIMPL);
    EXPECT_EQ(AsItem(contact)->Display(nullptr), E_NOTIMPL);
    EXPECT_EQ(AsItem(contact)->Edit(nullptr), E_NOTIMPL);
}

}  // namespace
}  // namespace kez::tests
