// Items through IItem: reading and setting properties, saving, deleting, copying, categories.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windbase.h>

#include "tests/platform/pocketoutlook/outlook_session.h"

namespace kez::tests {
namespace {

using testing::ElementsAre;

// --- GetProps -------------------------------------------------------------------------------------------------

TEST(OutlookItem, GetPropsAnswersEachIdentifierInOrderAndFlagsWhatIsAbsent) {
    const std::vector<CEPROPID> ids = {
        0x0080001F, 0x0081001F, 0x0082001F, 0x0083001F, 0x0084001F, 0x0085001F, 0x00F00040, 0x008F001F, 0x00F10040,
        0x00A1001F, 0x00A6001F, 0x00A7001F, 0x00A5001F, 0x0090001F, 0x0091001F, 0x0092001F, 0x009C001F, 0x0099001F,
        0x009A001F, 0x0096001F, 0x009D001F, 0x009F001F, 0x009B001F, 0x0097001F, 0x0098001F, 0x009E001F, 0x008A001F,
        0x008B001F, 0x008E001F, 0x008C001F, 0x00D1001F, 0x00D2001F, 0x00D3001F, 0x00D4001F, 0x00D5001F, 0x00C1001F,
        0x00C2001F, 0x00C3001F, 0x00C4001F, 0x00C5001F, 0x00E1001F, 0x00E2001F, 0x00E3001F, 0x00E4001F, 0x00E5001F,
        0x0093001F, 0x0094001F, 0x0095001F, 0x00A0001F, 0x008D001F, 0x00AA001F, 0x00AB001F, 0x00A9001F, 0x00FF0064,
    };
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_FileAs, u"Ann");
    PutText(contact, &IContact::put_JobTitle, u"Pilot");
    ASSERT_EQ(contact->Save(), S_OK);
    Block block;
    ASSERT_EQ(block.Get(AsItem(contact), ids), S_OK);
    int flagged = 0;
    for (std::size_t i = 0; i < ids.size(); i++) {
        EXPECT_EQ(block[i].propid, ids[i]);
        if (!block.Found(i)) {
            flagged++;
            EXPECT_EQ(block[i].val.blob.dwCount, 0u) << "what is not there is zero";
            EXPECT_EQ(block[i].val.lpwstr, nullptr);
        }
    }
    EXPECT_EQ(flagged, 52) << "the picture among them";
    EXPECT_EQ(block.Text(0), "Ann");
    EXPECT_EQ(block.Text(29), "Pilot");
}

TEST(OutlookItem, GetPropsGivesOneBlockThatHoldsEverything) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_FileAs, u"Ann");
    PutText(contact, &IContact::put_Body, u"A note");
    contact->Save();
    Block block;
    ASSERT_EQ(block.Get(AsItem(contact), {PIMPR_FILEAS, PIMPR_BODY_TEXT}), S_OK);
    EXPECT_EQ(HeapSize(GetProcessHeap(), 0, *block.Out()), *block.Bytes());
    const auto* start = reinterpret_cast<const BYTE*>(*block.Out());
    for (std::size_t i = 0; i < 2; i++) {
        const auto* text = reinterpret_cast<const BYTE*>(block[i].val.lpwstr);
        EXPECT_GT(text, start);
        EXPECT_LT(text, start + *block.Bytes());
    }
}

TEST(OutlookItem, GetPropsReplacesAnEarlierBlock) {
    Outlook outlook;
    const auto contact = outlook.Contact(outlook.AddContact(std::u16string(900, u'a')));
    Block block;
    ASSERT_EQ(block.Get(AsItem(contact), {PIMPR_SPOUSE}), S_OK);
    ASSERT_EQ(block.Get(AsItem(contact), {PIMPR_FILEAS}), S_OK) << "the live counts tell whether the first was freed";
    EXPECT_EQ(block.Text(0).size(), 900u);
}

TEST(OutlookItem, GetPropsFillsACallersBlockOrSaysHowMuchItNeeds) {
    Outlook outlook;
    const auto item = AsItem(outlook.Contact(outlook.AddContact(u"Ann")));
    const CEPROPID id = PIMPR_FILEAS;
    alignas(CEPROPVAL) BYTE buffer[256] = {};
    auto* values = reinterpret_cast<CEPROPVAL*>(buffer);
    ULONG bytes = sizeof(CEPROPVAL);
    EXPECT_EQ(item->GetProps(&id, 0, 1, &values, &bytes, nullptr), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(bytes, sizeof(CEPROPVAL) + 4 * sizeof(WCHAR));
    EXPECT_EQ(item->GetProps(&id, 0, 1, &values, &bytes, nullptr), S_OK);
    EXPECT_EQ(kernel::ToUtf8(values[0].val.lpwstr), "Ann");
    EXPECT_EQ(item->GetProps(&id, 0, 1, &values, &bytes, GetProcessHeap()), E_INVALIDARG) << "a heap goes with flag 1";
}

TEST(OutlookItem, GetPropsRefusesArgumentsThatMakeNoSense) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    const CEPROPID id = PIMPR_FILEAS;
    CEPROPVAL* values = nullptr;
    ULONG bytes = 0;
    EXPECT_EQ(item->GetProps(nullptr, 1, 1, &values, &bytes, GetProcessHeap()), E_INVALIDARG);
    EXPECT_EQ(item->GetProps(&id, 1, 0, &values, &bytes, GetProcessHeap()), E_INVALIDARG);
    EXPECT_EQ(item->GetProps(&id, 1, 1, nullptr, &bytes, GetProcessHeap()), E_INVALIDARG);
    EXPECT_EQ(item->GetProps(&id, 1, 1, &values, nullptr, GetProcessHeap()), E_INVALIDARG);
    EXPECT_EQ(item->GetProps(&id, 2, 1, &values, &bytes, GetProcessHeap()), E_INVALIDARG);
    EXPECT_EQ(values, nullptr);
}

TEST(OutlookItem, GetPropsOfANeverSavedItemSeesNothingAndSaysSo) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_FileAs, u"Ann");
    Block block;
    EXPECT_EQ(block.Get(AsItem(contact), {PIMPR_FILEAS, PIMPR_OID}), MAPI_W_ERRORS_RETURNED);
    EXPECT_FALSE(block.Found(0)) << "values that wait for Save are seen by the accessors alone";
    EXPECT_FALSE(block.Found(1));
    EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), "Ann");
}

TEST(OutlookItem, GetPropsReadsTheRecordNotTheUnsavedState) {
    Outlook outlook;
    const auto contact = outlook.Contact(outlook.AddContact(u"Ann"));
    PutText(contact, &IContact::put_FileAs, u"Bob");
    Block block;
    ASSERT_EQ(block.Get(AsItem(contact), {PIMPR_FILEAS}), S_OK);
    EXPECT_EQ(block.Text(0), "Ann");
    contact->Save();
    ASSERT_EQ(block.Get(AsItem(contact), {PIMPR_FILEAS}), S_OK);
    EXPECT_EQ(block.Text(0), "Bob");
}

TEST(OutlookItem, GetPropsSeesWhatAnotherObjectSaved) {
    Outlook outlook;
    const CEOID oid = outlook.AddContact(u"Ann");
    const auto reading = outlook.Contact(oid);
    const auto writing = outlook.Contact(oid);
    PutText(writing, &IContact::put_Spouse, u"Bob");
    writing->Save();
    Block block;
    ASSERT_EQ(block.Get(AsItem(reading), {PIMPR_SPOUSE}), S_OK);
    EXPECT_EQ(block.Text(0), "Bob");
    writing->Delete();
    EXPECT_EQ(block.Get(AsItem(reading), {PIMPR_SPOUSE}), E_INVALIDARG) << "the record has gone";
}

TEST(OutlookItem, GetPropsFlagsUnknownAndForeignIdentifiers) {
    Outlook outlook;
    const auto item = AsItem(outlook.Contact(outlook.AddContact(u"Ann")));
    Block block;
    ASSERT_EQ(block.Get(item, {0x12340013, PIMPR_SUBJECT, PIMPR_PICTURE, 0x9000001F, PIMPR_FILEAS & 0xFFFF0013}), S_OK);
    for (std::size_t i = 0; i < 5; i++) EXPECT_FALSE(block.Found(i)) << i;
}

TEST(OutlookItem, TheOidIsAPropertyOfEverySavedItem) {
    Outlook outlook;
    const CEOID oid = outlook.AddContact(u"Ann");
    Block block;
    ASSERT_EQ(block.Get(AsItem(outlook.Contact(oid)), {PIMPR_OID}), S_OK);
    EXPECT_EQ(block[0].val.ulVal, oid);
}

// --- SetProps -------------------------------------------------------------------------------------------------

TEST(OutlookItem, SetPropsWithTheSameValueAgainIsSFalse) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    EXPECT_EQ(SetText(item, PIMPR_IM1_ADDRESS, u"ann@im"), S_OK);
    EXPECT_EQ(SetText(item, PIMPR_IM1_ADDRESS, u"ann@im"), S_FALSE);
    EXPECT_EQ(SetText(item, PIMPR_IM1_ADDRESS, u"bob@im"), S_OK);
    item->Save();
    EXPECT_EQ(SetText(item, PIMPR_IM1_ADDRESS, u"bob@im"), S_FALSE);
}

TEST(OutlookItem, SetPropsThatEndsWhereItBeganIsSFalse) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    EXPECT_EQ(SetText(item, PIMPR_LAST_NAME, u"Meyer"), S_OK) << "it sets the filing text, too";
    EXPECT_EQ(SetText(item, PIMPR_FILEAS, u""), S_FALSE) << "the filing text is made of the name again";
    EXPECT_EQ(SetText(item, PIMPR_FILEAS, u"Boss"), S_OK);
    EXPECT_EQ(SetText(item, PIMPR_FILEAS, u""), S_OK);
    EXPECT_EQ(SetText(item, PIMPR_FILEAS, u"Meyer"), S_FALSE);
}

TEST(OutlookItem, SetPropsStoresWithSave) {
    Outlook outlook;
    const CEOID oid = outlook.AddContact(u"Ann");
    const auto item = AsItem(outlook.Contact(oid));
    const std::vector<CEPROPID> ids = {PIMPR_IM1_ADDRESS,  PIMPR_IM2_ADDRESS,  PIMPR_IM3_ADDRESS,
                                       PIMPR_MANAGER,      PIMPR_GOVERNMENTID, PIMPR_COMPANY_TELEPHONE_NUMBER,
                                       PIMPR_ACCOUNT_NAME, PIMPR_CUSTOMERID};
    for (const CEPROPID id : ids) EXPECT_EQ(SetText(item, id, u"text"), S_OK) << std::hex << id;
    Block before;
    ASSERT_EQ(before.Get(AsItem(outlook.Contact(oid)), ids), S_OK);
    for (std::size_t i = 0; i < ids.size(); i++) EXPECT_FALSE(before.Found(i));
    ASSERT_EQ(item->Save(), S_OK);
    Block after;
    ASSERT_EQ(after.Get(AsItem(outlook.Contact(oid)), ids), S_OK);
    for (std::size_t i = 0; i < ids.size(); i++) EXPECT_EQ(after.Text(i), "text") << std::hex << ids[i];
}

TEST(OutlookItem, SetPropsGoesOnAfterAnElementThatIsNotTaken) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    const std::u16string tooLong(1023, u'x');
    CEPROPVAL values[] = {TextValue(PIMPR_IM1_ADDRESS, tooLong.c_str()), TextValue(PIMPR_PICTURE, u"picture"),
                          TextValue(PIMPR_SUBJECT, u"another type's"), TextValue(0x12340099, u"no type"),
                          TextValue(PIMPR_SPOUSE, u"Bob")};
    EXPECT_EQ(AsItem(contact)->SetProps(0, 5, values), S_FALSE);
    EXPECT_EQ(TextOf(contact, &IContact::get_Spouse), "Bob");
}

TEST(OutlookItem, SetPropsRemovesWithTheDeleteFlagAndWithNull) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_Spouse, u"Bob");
    PutText(contact, &IContact::put_Children, u"Cleo");
    CEPROPVAL values[] = {TextValue(PIMPR_SPOUSE, u"ignored"), TextValue(PIMPR_CHILDREN, nullptr)};
    values[0].wFlags = CEDB_PROPDELETE;
    EXPECT_EQ(AsItem(contact)->SetProps(0, 2, values), S_OK);
    EXPECT_EQ(TextOf(contact, &IContact::get_Spouse), "");
    EXPECT_EQ(TextOf(contact, &IContact::get_Children), "");
    EXPECT_EQ(AsItem(contact)->SetProps(0, 1, values), S_FALSE) << "it was not there any more";
}

TEST(OutlookItem, SetPropsRefusesArgumentsThatMakeNoSense) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    CEPROPVAL value = TextValue(PIMPR_SPOUSE, u"Bob");
    EXPECT_EQ(item->SetProps(1, 1, &value), E_INVALIDARG);
    EXPECT_EQ(item->SetProps(0, 0, &value), E_INVALIDARG);
    EXPECT_EQ(item->SetProps(0, 1, nullptr), E_INVALIDARG);
}

TEST(OutlookItem, SetPropsNormalisesAFlag) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    CEPROPVAL value{};
    value.propid = PIMPR_RECENT;
    value.val.boolVal = 0xFFFF;
    EXPECT_EQ(item->SetProps(0, 1, &value), S_OK);
    item->Save();
    Block block;
    ASSERT_EQ(block.Get(item, {PIMPR_RECENT}), S_OK);
    EXPECT_EQ(block[0].val.boolVal, 1);
}

TEST(OutlookItem, WhetherAnItemIsSynchronisedIsSetOnlyWhileItIsNew) {
    Outlook outlook;
    const auto item = AsItem(outlook.NewContact());
    CEPROPVAL value{};
    value.propid = PIMPR_DO_NOT_SYNC;
    value.val.ulVal = 1;
    EXPECT_EQ(item->SetProps(0, 1, &value), S_OK);
    item->Save();
    value.val.ulVal = 0;
    EXPECT_EQ(item->SetProps(0, 1, &value), S_FALSE);
    Block block;
    ASSERT_EQ(block.Get(item, {PIMPR_DO_NOT_SYNC}), S_OK);
    EXPECT_EQ(block[0].val.ulVal, 1u);
}

// --- Save, Delete, Copy ---------------------------------------------------------------------------------------

TEST(OutlookItem, SaveGivesANewItemItsOidAndKeepsAnOldOnes) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    const auto contact = outlook.NewContact();
    EXPECT_EQ(OidOf(contact), 0u);
    EXPECT_EQ(contact->Save(), S_OK);
    const CEOID oid = OidOf(contact);
    EXPECT_NE(oid, 0u);
    EXPECT_EQ(CountOf(items), 1);
    PutText(contact, &IContact::put_Spouse, u"Bob");
    for (int i = 0; i < 6; i++) EXPECT_EQ(contact->Save(), S_OK);
    EXPECT_EQ(OidOf(contact), oid);
    EXPECT_EQ(CountOf(items), 1);
}

TEST(OutlookItem, SaveOfOneObjectLeavesWhatAnotherChanged) {
    Outlook outlook;
    const CEOID oid = outlook.AddContact(u"Ann");
    const auto first = outlook.Contact(oid);
    const auto second = outlook.Contact(oid);
    PutText(first, &IContact::put_Spouse, u"Bob");
    PutText(second, &IContact::put_Children, u"Cleo");
    EXPECT_EQ(first->Save(), S_OK);
    EXPECT_EQ(second->Save(), S_OK);
    const auto read = outlook.Contact(oid);
    EXPECT_EQ(TextOf(read, &IContact::get_Spouse), "Bob");
    EXPECT_EQ(TextOf(read, &IContact::get_Children), "Cleo");
}

TEST(OutlookItem, SaveWithoutChangesTouchesNothing) {
    Outlook outlook;
    const auto contact = outlook.Contact(outlook.AddContact(u"Ann"));
    control::AdvanceClock(60'000);
    CEGUID volume;
    WCHAR path[] = u"\\pim.vol";
    ASSERT_TRUE(CeMountDBVolEx(&volume, path, nullptr, OPEN_EXISTING));
    const CEOID folder = OidOf(AsItem(outlook.Folder(olFolderContacts)));
    CEOIDINFOEX before{}, after{};
    before.wVersion = after.wVersion = 2;
    ASSERT_TRUE(CeOidGetInfoEx2(&volume, folder, &before));
    EXPECT_EQ(contact->Save(), S_OK);
    ASSERT_TRUE(CeOidGetInfoEx2(&volume, folder, &after));
    EXPECT_EQ(CompareFileTime(&before.infDatabase.ftLastModified, &after.infDatabase.ftLastModified), 0);
    CeUnmountDBVol(&volume);
}

TEST(OutlookItem, DeleteRemovesTheRecordAndEndsTheItem) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    const auto contact = outlook.Contact(outlook.AddContact(u"Ann"));
    const auto other = outlook.Contact(OidOf(contact));
    EXPECT_EQ(contact->Delete(), S_OK);
    EXPECT_EQ(CountOf(items), 0);
    EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), "Ann") << "the object stays until it is released";
    PutText(contact, &IContact::put_Spouse, u"Bob");
    EXPECT_EQ(contact->Save(), E_FAIL);
    EXPECT_EQ(contact->Delete(), E_FAIL);
    EXPECT_EQ(other->Delete(), E_INVALIDARG) << "another object finds the record gone";
    PutText(other, &IContact::put_Spouse, u"Bob");
    EXPECT_EQ(other->Save(), E_INVALIDARG);
    EXPECT_EQ(TextOf(other, &IContact::get_Spouse), "Bob") << "the unsaved state stays";
    EXPECT_EQ(outlook.NewContact()->Delete(), E_FAIL) << "never saved";
    EXPECT_EQ(CountOf(items), 0);
}

TEST(OutlookItem, CopyIsANewItemWithTheSameValues) {
    Outlook outlook;
    const auto contact = outlook.Contact(outlook.AddContact(u"Ann"));
    PutText(contact, &IContact::put_Spouse, u"Bob");
    Ref<IContact> copy;
    ASSERT_EQ(contact->Copy(copy.Out()), S_OK);
    EXPECT_EQ(OidOf(copy), 0u);
    EXPECT_EQ(TextOf(copy, &IContact::get_FileAs), "Ann");
    EXPECT_EQ(TextOf(copy, &IContact::get_Spouse), "Bob") << "unsaved values too";
    Ref<IItem> second;
    ASSERT_EQ(AsItem(contact)->Copy(second.Out()), S_OK);
    EXPECT_EQ(copy->Save(), S_OK);
    EXPECT_EQ(second->Save(), S_OK);
    EXPECT_EQ(CountOf(outlook.Items(olFolderContacts)), 3);
}

TEST(OutlookItem, TypedAndPlainSaveAreOne) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_Spouse, u"Bob");
    EXPECT_EQ(AsItem(contact)->Save(), S_OK);
    EXPECT_EQ(TextOf(outlook.Contact(OidOf(contact)), &IContact::get_Spouse), "Bob");
    EXPECT_EQ(AsItem(contact)->Delete(), S_OK);
    EXPECT_EQ(contact->Save(), E_FAIL);
}

TEST(OutlookItem, ParentIsTheFolderOfItsType) {
    Outlook outlook;
    Ref<IFolder> parent;
    const auto item = AsItem(outlook.NewContact());
    ASSERT_EQ(item->get_Parent(parent.Out()), S_OK);
    INT type = 0;
    EXPECT_EQ(parent->get_DefaultItemType(&type), S_OK);
    EXPECT_EQ(type, olContactItem);
    type = 0;
    EXPECT_EQ(item->get_DefaultItemType(&type), S_OK);
    EXPECT_EQ(type, olContactItem);
}

// --- Categories -----------------------------------------------------------------------------------------------

TEST(OutlookItem, CategoriesTextIsKeptAsGiven) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_Categories, u" Work ,, Friends,");
    contact->Save();
    EXPECT_EQ(TextOf(outlook.Contact(OidOf(contact)), &IContact::get_Categories), " Work ,, Friends,");
}

TEST(OutlookItem, SingleCategoriesAreAddedAndRemoved) {
    struct {
        const WCHAR *before, *category;
        bool add;
        HRESULT result;
        const char* after;
    } const rows[] = {
        {u"", u"Work", true, S_OK, "Work"},
        {u"Work", u"Friends", true, S_OK, "Work,Friends"},
        {u"Work, Friends", u"Friends", true, S_FALSE, "Work, Friends"},
        {u"Work, Friends", u"Work", false, S_OK, "Friends"},
        {u"Work", u"Work", false, S_OK, ""},
        {u"Work", u"Friends", false, S_FALSE, "Work"},
        {u"Work", u"", true, E_INVALIDARG, "Work"},
        {u"Work", nullptr, false, E_INVALIDARG, "Work"},
        {u"Work", u"A,B", true, E_INVALIDARG, "Work"},
    };
    Outlook outlook;
    for (const auto& row : rows) {
        const auto contact = outlook.NewContact();
        PutText(contact, &IContact::put_Categories, row.before);
        const auto item = AsItem(contact);
        EXPECT_EQ(row.add ? item->AddCategory(row.category) : item->RemoveCategory(row.category), row.result);
        EXPECT_EQ(TextOf(contact, &IContact::get_Categories), row.after);
    }
}

}  // namespace
}  // namespace kez::tests
