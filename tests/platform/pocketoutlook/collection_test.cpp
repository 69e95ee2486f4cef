// Item collections: order, liveness, restrictions, finding and sorting.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windbase.h>

#include "tests/platform/pocketoutlook/outlook_session.h"

namespace kez::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(OutlookCollection, IndicesCountFromOneAndOthersAreRefused) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    const CEOID oid = outlook.AddContact(u"Ann");
    EXPECT_EQ(OidOf(ContactAt(items, 1)), oid);
    for (const INT index : {0, 2, -1, 0x7FFFFFFF}) {
        IDispatch* item = reinterpret_cast<IDispatch*>(1);
        EXPECT_EQ(items->Item(index, &item), E_INVALIDARG) << index;
        EXPECT_EQ(item, nullptr) << index;
        EXPECT_EQ(items->Remove(index), E_INVALIDARG) << index;
    }
    EXPECT_EQ(items->Item(1, nullptr), E_POINTER);
    EXPECT_EQ(CountOf(items), 1);
}

TEST(OutlookCollection, ContactsComeInFilingOrderThenByOid) {
    Outlook outlook;
    const CEOID berta = outlook.AddContact(u"Berta");
    const CEOID anna2 = outlook.AddContact(u"anna");
    const CEOID anna = outlook.AddContact(u"Anna");
    const CEOID caesar = outlook.AddContact(u"CAESAR");
    EXPECT_THAT(OidsOf(outlook.Items(olFolderContacts)), ElementsAre(anna2, anna, berta, caesar));
}

TEST(OutlookCollection, TheOrderIsThatOfTheDatabase) {
    Outlook outlook;
    for (const auto* name : {u"Berta", u"Anna", u"Zoe", u"Caesar"}) outlook.AddContact(name);
    CEGUID volume;
    WCHAR path[] = u"\\pim.vol";
    ASSERT_TRUE(CeMountDBVolEx(&volume, path, nullptr, OPEN_EXISTING));
    CEOID oid = OidOf(AsItem(outlook.Folder(olFolderContacts)));
    CEOIDINFOEX info{};
    info.wVersion = 2;
    ASSERT_TRUE(CeOidGetInfoEx2(&volume, oid, &info));
    EXPECT_EQ(info.infDatabase.dwNumRecords, 4u);
    const HANDLE database = CeOpenDatabaseInSession(nullptr, &volume, &oid, nullptr, &info.infDatabase.rgSortSpecs[0],
                                                    CEDB_AUTOINCREMENT, nullptr);
    ASSERT_NE(database, INVALID_HANDLE_VALUE);
    std::vector<CEOID> records;
    for (CEOID record = CeSeekDatabaseEx(database, CEDB_SEEK_BEGINNING, 0, 0, nullptr); record != 0;
         record = CeSeekDatabaseEx(database, CEDB_SEEK_CURRENT, 1, 0, nullptr)) {
        records.push_back(record);
    }
    EXPECT_EQ(records, OidsOf(outlook.Items(olFolderContacts)));
    CloseHandle(database);
    CeUnmountDBVol(&volume);
}

TEST(OutlookCollection, DeletingTheFirstTwelveTimesEmptiesAFolderOfTwelve) {
    Outlook outlook;
    for (int i = 0; i < 12; i++) outlook.AddContact(u"Contact " + std::u16string(1, static_cast<char16_t>(u'a' + i)));
    const auto items = outlook.Items(olFolderContacts);
    EXPECT_EQ(CountOf(items), 12);
    for (int i = 0; i < 12; i++) EXPECT_EQ(AsItem(ContactAt(items, 1))->Delete(), S_OK);
    EXPECT_EQ(CountOf(items), 0);
}

TEST(OutlookCollection, RemovingFromTheEndEmptiesItToo) {
    Outlook outlook;
    for (int i = 0; i < 5; i++) outlook.AddContact(u"Contact");
    const auto items = outlook.Items(olFolderContacts);
    for (INT i = CountOf(items); i > 0; i--) EXPECT_EQ(items->Remove(i), S_OK);
    EXPECT_EQ(CountOf(items), 0);
}

TEST(OutlookCollection, AForwardLoopThatDeletesSkipsEveryOtherItem) {
    Outlook outlook;
    for (int i = 0; i < 6; i++) outlook.AddContact(u"Contact");
    const auto items = outlook.Items(olFolderContacts);
    for (INT i = 1; ContactAt(items, i); i++) items->Remove(i);
    EXPECT_EQ(CountOf(items), 3);
}

TEST(OutlookCollection, IsLive) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    const auto again = outlook.Items(olFolderContacts);
    EXPECT_THAT(OidsOf(items), IsEmpty());
    const CEOID zoe = outlook.AddContact(u"Zoe");
    const CEOID ann = outlook.AddContact(u"Ann");
    EXPECT_THAT(OidsOf(items), ElementsAre(ann, zoe));
    const auto contact = outlook.Contact(ann);
    PutText(contact, &IContact::put_FileAs, u"Zz Top");
    contact->Save();
    EXPECT_THAT(OidsOf(items), ElementsAre(zoe, ann)) << "a changed item moves to its place";
    EXPECT_THAT(OidsOf(again), ElementsAre(zoe, ann));
    again->Remove(1);
    EXPECT_THAT(OidsOf(items), ElementsAre(ann));
}

TEST(OutlookCollection, SeesRecordsThatDatabaseCallsRemove) {
    Outlook outlook;
    const CEOID ann = outlook.AddContact(u"Ann");
    const CEOID bob = outlook.AddContact(u"Bob");
    const auto items = outlook.Items(olFolderContacts);
    EXPECT_EQ(CountOf(items), 2);
    CEGUID volume;
    WCHAR path[] = u"\\pim.vol";
    ASSERT_TRUE(CeMountDBVolEx(&volume, path, nullptr, OPEN_EXISTING));
    CEOID oid = OidOf(AsItem(outlook.Folder(olFolderContacts)));
    const HANDLE database = CeOpenDatabaseInSession(nullptr, &volume, &oid, nullptr, nullptr, 0, nullptr);
    EXPECT_TRUE(CeDeleteRecord(database, ann));
    CloseHandle(database);
    CeUnmountDBVol(&volume);
    EXPECT_THAT(OidsOf(items), ElementsAre(bob));
}

TEST(OutlookCollection, ItemsSurviveTheirCollection) {
    Outlook outlook;
    outlook.AddContact(u"Ann");
    const auto contact = ContactAt(outlook.Items(olFolderContacts), 1);
    EXPECT_EQ(TextOf(contact, &IContact::get_FileAs), "Ann");
    EXPECT_EQ(contact->Delete(), S_OK);
}

TEST(OutlookCollection, AddMakesAnUnsavedItemOfTheFoldersType) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    IDispatch* item = nullptr;
    ASSERT_EQ(items->Add(&item), S_OK);
    const auto contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
    EXPECT_EQ(OidOf(contact), 0u);
    EXPECT_EQ(CountOf(items), 0);
    contact->Save();
    EXPECT_EQ(CountOf(items), 1);
}

TEST(OutlookCollection, GetPropsReadsTheItemAtAPosition) {
    Outlook outlook;
    outlook.AddContact(u"Ann");
    const CEOID bob = outlook.AddContact(u"Bob");
    const auto items = Query<IPOlItems2>(outlook.Items(olFolderContacts), IID_IPOlItems2);
    const CEPROPID ids[] = {PIMPR_OID, PIMPR_FILEAS};
    Block block;
    ASSERT_EQ(items->GetProps(2, ids, CEDB_ALLOWREALLOC, 2, block.Out(), block.Bytes(), GetProcessHeap()), S_OK);
    EXPECT_EQ(block[0].val.ulVal, bob);
    EXPECT_EQ(block.Text(1), "Bob");
    EXPECT_EQ(items->GetProps(3, ids, CEDB_ALLOWREALLOC, 2, block.Out(), block.Bytes(), GetProcessHeap()),
              E_INVALIDARG);
}

TEST(OutlookCollection, GetPropsOfTheIdentifierAloneIsLiveAndChecksItsArguments) {
    Outlook outlook;
    const CEOID bob = outlook.AddContact(u"Bob");
    const auto items = Query<IPOlItems2>(outlook.Items(olFolderContacts), IID_IPOlItems2);
    const CEPROPID id = PIMPR_OID;
    Block block;
    const auto at = [&](INT index) {
        return items->GetProps(index, &id, CEDB_ALLOWREALLOC, 1, block.Out(), block.Bytes(), GetProcessHeap());
    };
    ASSERT_EQ(at(1), S_OK);
    EXPECT_EQ(block[0].propid, id);
    EXPECT_EQ(block[0].wFlags, 0);
    EXPECT_EQ(block[0].val.ulVal, bob);
    const CEOID ann = outlook.AddContact(u"Ann");
    ASSERT_EQ(at(1), S_OK);
    EXPECT_EQ(block[0].val.ulVal, ann);
    EXPECT_EQ(at(0), E_INVALIDARG);
    EXPECT_EQ(at(3), E_INVALIDARG);
    EXPECT_EQ(items->GetProps(1, &id, 0, 1, block.Out(), block.Bytes(), GetProcessHeap()), E_INVALIDARG);
    CEPROPVAL own = {};
    CEPROPVAL* place = &own;
    ULONG bytes = sizeof own - 1;
    EXPECT_EQ(items->GetProps(2, &id, 0, 1, &place, &bytes, nullptr), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(items->GetProps(2, &id, 0, 1, &place, &bytes, nullptr), S_OK);
    EXPECT_EQ(own.val.ulVal, bob);
}

TEST(OutlookCollection, ColumnsAreCheckedAndOtherwiseIgnored) {
    Outlook outlook;
    const auto items = Query<IPOlItems>(outlook.Items(olFolderContacts), IID_IPOlItems);
    EXPECT_EQ(items->SetColumns(Bstr(u"FileAs, [Spouse] ,oid")), S_OK);
    EXPECT_EQ(items->SetColumns(Bstr(u"FileAs, Nonsense")), E_INVALIDARG);
    EXPECT_EQ(items->SetColumns(Bstr(u"Picture")), E_INVALIDARG);
    EXPECT_EQ(items->SetColumns(nullptr), E_INVALIDARG);
}

TEST(OutlookCollection, EnumeratorsAreNotThere) {
    Outlook outlook;
    IUnknown* enumerator = reinterpret_cast<IUnknown*>(1);
    EXPECT_EQ(outlook.Items(olFolderContacts)->get__NewEnum(&enumerator), E_NOTIMPL);
    EXPECT_EQ(enumerator, nullptr);
}

TEST(OutlookCollection, IncludeRecurrencesIsOffUntilItIsSet) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    VARIANT_BOOL on = VARIANT_TRUE;
    EXPECT_EQ(items->get_IncludeRecurrences(&on), S_OK);
    EXPECT_EQ(on, VARIANT_FALSE);
    EXPECT_EQ(items->put_IncludeRecurrences(1), S_OK);
    EXPECT_EQ(items->get_IncludeRecurrences(&on), S_OK);
    EXPECT_EQ(on, VARIANT_TRUE);
    const CEOID oid = outlook.AddContact(u"Ann");
    EXPECT_THAT(OidsOf(items), ElementsAre(oid)) << "contacts don't recur";
}

// --- Sorting --------------------------------------------------------------------------------------------------

class SortedContacts : public testing::Test {
 protected:
    CEOID Add(const char16_t* fileAs, const char16_t* city, DATE birthday) {
        const auto contact = m_outlook.NewContact();
        PutText(contact, &IContact::put_FileAs, fileAs);
        PutText(contact, &IContact::put_HomeAddressCity, city);
        contact->put_Birthday(birthday);
        contact->Save();
        return OidOf(contact);
    }
    Outlook m_outlook;
    CEOID m_ann = Add(u"Ann", u"Rome", DateOf(1980, 1, 1));
    CEOID m_bob = Add(u"Bob", u"berlin", DateOf(1970, 1, 1));
    CEOID m_cleo = Add(u"Cleo", u"Rome", DATE_NONE);
    CEOID m_dan = Add(u"Dan", u"", DateOf(1990, 6, 15));
    Ref<IPOutlookItemCollection> m_items = m_outlook.Items(olFolderContacts);
};

TEST_F(SortedContacts, SortByAnyProperty) {
    EXPECT_EQ(m_items->Sort(Bstr(u"[HomeAddressCity]"), VARIANT_FALSE), S_OK);
    EXPECT_THAT(OidsOf(m_items), ElementsAre(m_dan, m_bob, m_ann, m_cleo));
    EXPECT_EQ(m_items->Sort(Bstr(u"[homeaddresscity]"), VARIANT_TRUE), S_OK);
    EXPECT_THAT(OidsOf(m_items), ElementsAre(m_ann, m_cleo, m_bob, m_dan))
        << "equal ones stay in the order of their oids";
    EXPECT_EQ(m_items->Sort(Bstr(u"[Birthday]"), VARIANT_FALSE), S_OK);
    EXPECT_THAT(OidsOf(m_items), ElementsAre(m_bob, m_ann, m_dan, m_cleo)) << "no date comes last";
    EXPECT_EQ(m_items->Sort(Bstr(u"[Oid]"), VARIANT_TRUE), S_OK);
    EXPECT_THAT(OidsOf(m_items), ElementsAre(m_dan, m_cleo, m_bob, m_ann));
}

TEST_F(SortedContacts, SortRefusesWhatCannotBeCompared) {
    EXPECT_EQ(m_items->Sort(Bstr(u"[Shoe size]"), VARIANT_FALSE), E_INVALIDARG);
    EXPECT_EQ(m_items->Sort(Bstr(u"[Picture]"), VARIANT_FALSE), E_INVALIDARG);
    EXPECT_EQ(m_items->Sort(nullptr, VARIANT_FALSE), E_INVALIDARG);
    EXPECT_THAT(OidsOf(m_items), ElementsAre(m_ann, m_bob, m_cleo, m_dan)) << "the order before stays";
}

TEST_F(SortedContacts, RestrictGivesANewCollectionAndLeavesTheOld) {
    Ref<IPOutlookItemCollection> romans;
    ASSERT_EQ(m_items->Restrict(Bstr(u"[HomeAddressCity] = \"rome\""), romans.Out()), S_OK);
    EXPECT_THAT(OidsOf(romans), ElementsAre(m_ann, m_cleo));
    EXPECT_EQ(CountOf(m_items), 4);
    Ref<IPOutlookItemCollection> dated;
    ASSERT_EQ(romans->Restrict(Bstr(u"[Birthday] < 949998"), dated.Out()), S_OK);
    EXPECT_THAT(OidsOf(dated), ElementsAre(m_ann)) << "a restricted collection is restricted further";
    const CEOID eve = Add(u"Eve", u"Rome", DATE_NONE);
    EXPECT_THAT(OidsOf(romans), ElementsAre(m_ann, m_cleo, eve)) << "it is live as well";
    EXPECT_EQ(romans->Remove(1), S_OK);
    EXPECT_THAT(OidsOf(romans), ElementsAre(m_cleo, eve));
}

TEST_F(SortedContacts, RestrictionsSelectByValue) {
    const auto select = [&](const std::u16string& text) {
        Ref<IPOutlookItemCollection> selected;
        std::string names;
        if (m_items->Restrict(Bstr(text), selected.Out()) != S_OK) return std::string("refused");
        for (INT i = 1; i <= CountOf(selected); i++) names += TextOf(ContactAt(selected, i), &IContact::get_FileAs)[0];
        return names;
    };
    struct {
        std::u16string text;
        const char* selected;
    } const rows[] = {
        {u"[FileAs] = \"Bob\"", "B"},
        {u"[fileas]=\"BOB\"", "B"},
        {u"[FileAs] <> \"Bob\"", "ACD"},
        {u"[FileAs] < \"Bob\"", "A"},
        {u"[FileAs] <= \"Bob\"", "AB"},
        {u"[FileAs] > \"Bob\"", "CD"},
        {u"[FileAs] >= \"Bob\"", "BCD"},
        {u"[HomeAddressCity] = \"\"", "D"},
        {u"[HomeAddressCity] <> \"\"", "ABC"},
        {u"[FileAs] = \"Ann\" OR [FileAs] = \"Dan\"", "AD"},
        {u"[HomeAddressCity] = \"Rome\" and [FileAs] > \"B\"", "C"},
        {u"[FileAs] = \"Dan\" or [HomeAddressCity] = \"Rome\" And [FileAs] > \"B\"", "CD"},
        {u"( [FileAs] = \"Dan\" or [HomeAddressCity] = \"Rome\" ) And [FileAs] > \"B\"", "CD"},
        {u"([FileAs] = \"Ann\" or [FileAs] = \"Bob\") and ([HomeAddressCity] = \"Rome\")", "A"},
        {u"[Birthday] = \"1980-01-01\"", "A"},
        {u"[Birthday] >= \"1/1/1980\"", "ACD"},
        {u"[Birthday] < \"6/15/1990 12:01 AM\" and [Birthday] > \"1990-06-14 23:59:59\"", "D"},
        {u"[Birthday] < \"1990-06-15 0:01\"", "ABD"},
        {u"[Birthday] < 29221", "B"},
        {u"[Birthday] = 949998", "C"},
        {u"[Oid] = " +
             [](CEOID oid) {
                 const std::string digits = std::to_string(oid);
                 return std::u16string(digits.begin(), digits.end());
             }(m_cleo),
         "C"},
        {u"[Recent] = FALSE", "ABCD"},
        {u"[Recent] = true", ""},
        {u"[Recent] = 0", "ABCD"},
        {u"[HomeAddress] = \"berlin\"", "B"},
        // What is no restriction
        {u"", "refused"},
        {u"[FileAs]", "refused"},
        {u"[FileAs] =", "refused"},
        {u"[FileAs] = Bob", "refused"},
        {u"[FileAs] = \"Bob", "refused"},
        {u"[FileAs = \"Bob\"", "refused"},
        {u"FileAs = \"Bob\"", "refused"},
        {u"[Shoe size] = 1", "refused"},
        {u"[FileAs] = 1", "refused"},
        {u"[Recent] = \"yes\"", "refused"},
        {u"[Birthday] = \"yesterday\"", "refused"},
        {u"[Birthday] = \"2026-02-30\"", "refused"},
        {u"[Birthday] = \"1/1/1980 13:00 PM\"", "refused"},
        {u"[Birthday] = \"1/1/1980 1:00 XM\"", "refused"},
        {u"[Birthday] = 1e99", "refused"},
        {u"[FileAs] = \"Ann\" [FileAs] = \"Bob\"", "refused"},
        {u"[FileAs] = \"Ann\" OR", "refused"},
        {u"([FileAs] = \"Ann\"", "refused"},
        {u"[FileAs] = \"Ann\" ORB", "refused"},
        {u"[FileAs] ! \"Ann\"", "refused"},
        {std::u16string(2049, u'(') + u"[FileAs] = \"Ann\"" + std::u16string(2049, u')'), "refused"},
    };
    for (const auto& row : rows) EXPECT_EQ(select(row.text), row.selected) << kernel::ToUtf8(row.text.c_str());
}

TEST_F(SortedContacts, FindGoesFromHitToHit) {
    const auto next = [&](HRESULT hr, IDispatch* item) {
        EXPECT_EQ(hr, S_OK);
        const auto contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
        return contact ? OidOf(contact) : 0;
    };
    IDispatch* item = nullptr;
    EXPECT_EQ(m_items->FindNext(&item), E_FAIL) << "nothing to go on with";
    HRESULT hr = m_items->Find(Bstr(u"[HomeAddressCity] = \"Rome\""), &item);
    EXPECT_EQ(next(hr, item), m_ann);
    m_outlook.AddContact(u"Aaron");  // moves every position
    hr = m_items->FindNext(&item);
    EXPECT_EQ(next(hr, item), m_cleo);
    hr = m_items->FindNext(&item);
    EXPECT_EQ(next(hr, item), 0u) << "no hit leaves the result null";
    hr = m_items->Find(Bstr(u"[HomeAddressCity] = \"Oslo\""), &item);
    EXPECT_EQ(next(hr, item), 0u);
    EXPECT_EQ(m_items->Find(Bstr(u"nonsense"), &item), E_INVALIDARG);
    EXPECT_EQ(m_items->Find(nullptr, &item), E_INVALIDARG);
}

TEST_F(SortedContacts, FindNextGoesOnAfterItsHitWasDeleted) {
    IDispatch* item = nullptr;
    ASSERT_EQ(m_items->Find(Bstr(u"[HomeAddressCity] = \"Rome\""), &item), S_OK);
    auto contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
    EXPECT_EQ(contact->Delete(), S_OK);
    ASSERT_EQ(m_items->FindNext(&item), S_OK);
    contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
    ASSERT_TRUE(contact);
    EXPECT_EQ(OidOf(contact), m_cleo);
}

}  // namespace
}  // namespace kez::tests
