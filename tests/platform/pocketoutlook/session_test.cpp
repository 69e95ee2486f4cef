// Sessions: logging on and off, the life of the application object and of what comes from it, folders, and items by
// type and by oid.
#include "tests/platform/pocketoutlook/outlook_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windbase.h>

#include <thread>

#include "platform/pocketoutlook/options.h"

namespace kez::tests {
namespace {

using testing::ElementsAre;

TEST(OutlookSession, LogonAndLogoffAreAState) {
    Outlook outlook(false);
    auto& app = outlook.App();
    EXPECT_EQ(app->Logoff(), S_FALSE);
    EXPECT_EQ(app->Logon(0), S_OK);
    EXPECT_EQ(app->Logon(0), S_FALSE);
    EXPECT_EQ(app->Logoff(), S_OK);
    EXPECT_EQ(app->Logoff(), S_FALSE) << "two Logons and one Logoff leave it logged off";
    EXPECT_EQ(app->Logon(0), S_OK);
}

TEST(OutlookSession, NothingWorksBeforeTheFirstLogon) {
    Outlook outlook(false);
    auto& app = outlook.App();
    IFolder* folder = reinterpret_cast<IFolder*>(1);
    EXPECT_EQ(app->GetDefaultFolder(olFolderContacts, &folder), E_FAIL);
    EXPECT_EQ(folder, nullptr);
    IDispatch* item = reinterpret_cast<IDispatch*>(1);
    EXPECT_EQ(app->CreateItem(olContactItem, &item), E_FAIL);
    EXPECT_EQ(item, nullptr);
    item = reinterpret_cast<IDispatch*>(1);
    EXPECT_EQ(app->GetItemFromOid(1, &item), E_FAIL);
    EXPECT_EQ(item, nullptr);
}

TEST(OutlookSession, GoesOnWorkingAfterLogoff) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    outlook.App()->Logoff();
    EXPECT_NE(outlook.AddContact(u"Ann"), 0u);
    EXPECT_EQ(CountOf(items), 1);
}

TEST(OutlookSession, FailsAfterLogoffWhereStrictnessIsAskedFor) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    const auto contact = outlook.NewContact();
    pocketoutlook::SetOptions({.failAfterLogoff = true});
    outlook.App()->Logoff();
    INT count = 7;
    EXPECT_EQ(items->get_Count(&count), E_FAIL);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(contact->Save(), E_FAIL);
    EXPECT_EQ(outlook.App()->Logon(0), S_OK);
    EXPECT_EQ(contact->Save(), S_OK);
    pocketoutlook::SetOptions({});
}

TEST(OutlookSession, ThingsObtainedFromTheApplicationOutliveIt) {
    Outlook outlook;
    const auto folder = outlook.Folder(olFolderContacts);
    const auto items = outlook.Items(olFolderContacts);
    const auto contact = outlook.NewContact();
    EXPECT_EQ(outlook.App().Detach()->Release(), 0u);

    EXPECT_EQ(contact->Save(), S_OK);
    EXPECT_EQ(CountOf(items), 1);
    Ref<IPOutlookApp> again;
    ASSERT_EQ(contact->get_Application(again.Out()), S_OK);
    Ref<IPOutlookApp> andAgain;
    ASSERT_EQ(folder->get_Application(andAgain.Out()), S_OK);
    EXPECT_EQ(again.Get(), andAgain.Get());
    EXPECT_EQ(again->Logon(0), S_FALSE) << "the session is the same one";
}

TEST(OutlookSession, EveryObjectKnowsItsApplication) {
    Outlook outlook;
    const auto items = outlook.Items(olFolderContacts);
    const auto contact = outlook.NewContact();
    Ref<IPOutlookApp> applications[4];
    EXPECT_EQ(outlook.App()->get_Application(applications[0].Out()), S_OK);
    EXPECT_EQ(items->get_Application(applications[1].Out()), S_OK);
    EXPECT_EQ(contact->get_Application(applications[2].Out()), S_OK);
    EXPECT_EQ(AsItem(contact)->get_Application(applications[3].Out()), S_OK);
    for (const auto& application : applications) EXPECT_EQ(application.Get(), outlook.App().Get());
}

TEST(OutlookSession, ReadsWhatAnotherSessionSaved) {
    Outlook outlook;
    const auto other = Outlook::NewApplication();
    ASSERT_EQ(other->Logon(0), S_OK);
    Ref<IFolder> folder;
    other->GetDefaultFolder(olFolderContacts, folder.Out());
    Ref<IPOutlookItemCollection> items;
    folder->get_Items(items.Out());
    EXPECT_EQ(CountOf(items), 0);
    const CEOID oid = outlook.AddContact(u"Ann");
    EXPECT_THAT(OidsOf(items), ElementsAre(oid));
}

TEST(OutlookSession, MakesTheDatabasesOfTheDevice) {
    Outlook outlook;
    struct {
        const WCHAR* name;
        DWORD type;
    } const rows[] = {{u"Contacts Database", 24},
                      {u"Appointments Database", 25},
                      {u"Tasks Database", 26},
                      {u"\\Categories Database", 'G'}};
    CEGUID volume;
    WCHAR path[] = u"\\pim.vol";
    ASSERT_TRUE(CeMountDBVolEx(&volume, path, nullptr, OPEN_EXISTING));
    for (const auto& row : rows) {
        SCOPED_TRACE(kernel::ToUtf8(row.name));
        CEOID oid = 0;
        HANDLE database =
            CeOpenDatabaseInSession(nullptr, &volume, &oid, const_cast<LPWSTR>(row.name), nullptr, 0, nullptr);
        ASSERT_NE(database, INVALID_HANDLE_VALUE);
        CEOIDINFOEX info{};
        info.wVersion = 2;
        EXPECT_TRUE(CeOidGetInfoEx2(&volume, oid, &info));
        EXPECT_EQ(info.infDatabase.dwDbaseType, row.type);
        EXPECT_GE(info.infDatabase.wNumSortOrder, 1);
        CloseHandle(database);
        database =
            CeOpenDatabaseInSession(nullptr, &volume, &oid, nullptr, &info.infDatabase.rgSortSpecs[0], 0, nullptr);
        EXPECT_NE(database, INVALID_HANDLE_VALUE) << "the first sort order has to open it";
        CloseHandle(database);
    }
    CeUnmountDBVol(&volume);
}

TEST(OutlookSession, FindsItsItemsAgainAfterTheDeviceWasClosed) {
    Outlook outlook;
    const CEOID oid = outlook.AddContact(u"Ann");
    outlook.App() = {};
    outlook.Device().Reopen();
    outlook.App() = Outlook::NewApplication();
    ASSERT_EQ(outlook.App()->Logon(0), S_OK);
    EXPECT_THAT(OidsOf(outlook.Items(olFolderContacts)), ElementsAre(oid));
}

TEST(OutlookSession, LogonFailsWhereTheVolumeIsNone) {
    Outlook outlook(false);
    outlook.Device().WriteText("pim.vol", std::string(8192, 'x'));
    EXPECT_EQ(outlook.App()->Logon(0), HRESULT_FROM_WIN32(ERROR_BAD_FORMAT));
    IFolder* folder = nullptr;
    EXPECT_EQ(outlook.App()->GetDefaultFolder(olFolderContacts, &folder), E_FAIL);
}

TEST(OutlookSession, VersionIsThreeNumbers) {
    Outlook outlook;
    BSTR version = nullptr;
    ASSERT_EQ(outlook.App()->get_Version(&version), S_OK);
    EXPECT_THAT(Taken(version), testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
}

TEST(OutlookSession, DateHelpersAreTheAutomationOnesButRefuseWhatIsNoDate) {
    Outlook outlook(false);
    SYSTEMTIME time{2026, 3, 1, 2, 10, 30, 0, 0};
    DATE date = 0;
    EXPECT_EQ(outlook.App()->SystemTimeToVariantTime(&time, &date), S_OK);
    EXPECT_DOUBLE_EQ(date, 46083.4375);
    SYSTEMTIME back{};
    EXPECT_EQ(outlook.App()->VariantTimeToSystemTime(date, &back), S_OK);
    EXPECT_EQ(back.wHour, 10);
    time.wDay = 0;
    EXPECT_EQ(outlook.App()->SystemTimeToVariantTime(&time, &date), E_INVALIDARG);
    EXPECT_EQ(outlook.App()->VariantTimeToSystemTime(1e9, &back), E_INVALIDARG);
    EXPECT_EQ(outlook.App()->SysFreeString(SysAllocString(u"text")), S_OK);
    EXPECT_EQ(outlook.App()->SysFreeString(nullptr), S_OK);
}

TEST(OutlookSession, WhatADeviceWithoutCitiesAndInfraredCannotDo) {
    Outlook outlook;
    auto& app = outlook.App();
    ICity* city = nullptr;
    LONG index = 0;
    ITimeZone* zone = nullptr;
    TIME_ZONE_INFORMATION information{};
    VARIANT_BOOL compatible = VARIANT_FALSE;
    IFolder* folder = nullptr;
    IDispatch* item = nullptr;
    EXPECT_EQ(app->get_HomeCity(&city), E_NOTIMPL);
    EXPECT_EQ(app->put_HomeCity(nullptr), E_NOTIMPL);
    EXPECT_EQ(app->get_VisitingCity(&city), E_NOTIMPL);
    EXPECT_EQ(app->put_VisitingCity(nullptr), E_NOTIMPL);
    EXPECT_EQ(app->get_CurrentCityIndex(&index), E_NOTIMPL);
    EXPECT_EQ(app->put_CurrentCityIndex(0), E_NOTIMPL);
    EXPECT_EQ(app->ReceiveFromInfrared(), E_NOTIMPL);
    EXPECT_EQ(app->GetTimeZoneFromIndex(0, &zone), E_NOTIMPL);
    EXPECT_EQ(app->GetTimeZoneInformationFromIndex(0, &information), E_NOTIMPL);
    EXPECT_EQ(app->GetDefaultFolder(olFolderCities, &folder), E_NOTIMPL);
    EXPECT_EQ(app->GetDefaultFolder(olFolderInfrared, &folder), E_NOTIMPL);
    EXPECT_EQ(app->CreateItem(olCityItem, &item), E_NOTIMPL);
    EXPECT_EQ(app->get_OutlookCompatible(&compatible), S_OK);
    EXPECT_EQ(compatible, VARIANT_TRUE);
}

TEST(OutlookSession, ObjectsHaveNoTypeInformation) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    UINT count = 9;
    EXPECT_EQ(contact->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 0u);
    ITypeInfo* information = reinterpret_cast<ITypeInfo*>(1);
    EXPECT_EQ(contact->GetTypeInfo(0, 0, &information), E_NOTIMPL);
    EXPECT_EQ(information, nullptr);
    EXPECT_EQ(contact->GetIDsOfNames(IID_IUnknown, nullptr, 0, 0, nullptr), E_NOTIMPL);
    EXPECT_EQ(contact->Invoke(0, IID_IUnknown, 0, 0, nullptr, nullptr, nullptr, nullptr), E_NOTIMPL);
}

TEST(OutlookSession, SessionsOnSeveralThreadsShareTheVolume) {
    Outlook outlook;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([] {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            {
                const auto app = Outlook::NewApplication();
                app->Logon(0);
                for (int i = 0; i < 25; i++) {
                    IDispatch* item = nullptr;
                    app->CreateItem(olContactItem, &item);
                    const auto contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
                    PutText(contact, &IContact::put_LastName, u"Name");
                    EXPECT_EQ(contact->Save(), S_OK);
                    Ref<IPOutlookApp> owner;
                    EXPECT_EQ(contact->get_Application(owner.Out()), S_OK);
                }
            }
            CoUninitialize();
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(CountOf(outlook.Items(olFolderContacts)), 100);
}

// --- QueryInterface -------------------------------------------------------------------------------------------

// Each identifier the object has to answer gives a pointer whose IUnknown is the object's.
template <class Object>
void ExpectAnswers(const Ref<Object>& object, const std::vector<IID>& ids) {
    const auto identity = Query<IUnknown>(object, IID_IUnknown);
    for (const IID& id : ids) {
        const auto face = Query<IUnknown>(object, id);
        ASSERT_TRUE(face) << std::hex << id.Data1;
        EXPECT_EQ(Query<IUnknown>(face, IID_IUnknown).Get(), identity.Get()) << std::hex << id.Data1;
    }
    void* out = reinterpret_cast<void*>(1);
    EXPECT_EQ(object->QueryInterface(IID_ICity, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(object->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(OutlookSession, QueryInterfaceIsHonest) {
    Outlook outlook;
    ExpectAnswers(outlook.App(), {IID_IUnknown, IID_IDispatch, IID_IPOutlookApp, IID_IPOutlookApp2});
    ExpectAnswers(outlook.Folder(olFolderTasks), {IID_IUnknown, IID_IDispatch, IID_IFolder, IID_IItem});
    ExpectAnswers(outlook.Items(olFolderContacts),
                  {IID_IUnknown, IID_IDispatch, IID_IPOutlookItemCollection, IID_IPOlItems, IID_IPOlItems2});
    ExpectAnswers(outlook.NewContact(), {IID_IUnknown, IID_IDispatch, IID_IContact, IID_IItem});
    EXPECT_FALSE(Query<ITask>(outlook.NewContact(), IID_ITask));
    EXPECT_FALSE(Query<IUnknown>(outlook.Items(olFolderContacts), IID_IPOlItems3));
}

TEST(OutlookSession, BothFacesOfAnItemShareCountAndState) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    EXPECT_EQ(contact->AddRef(), 2u);
    auto item = AsItem(contact);
    EXPECT_EQ(item->AddRef(), 4u);
    item->Release();
    contact->Release();
    EXPECT_EQ(SetText(item, PIMPR_LAST_NAME, u"Meyer"), S_OK);
    EXPECT_EQ(TextOf(contact, &IContact::get_LastName), "Meyer");
    EXPECT_EQ(contact->Save(), S_OK);
    EXPECT_EQ(OidOf(item), OidOf(contact));
}

// --- Folders and items by number ------------------------------------------------------------------------------

TEST(OutlookSession, DefaultFoldersAndTheirItemTypes) {
    Outlook outlook;
    struct {
        INT folder, type;
    } const rows[] = {{9, 1}, {10, 2}, {13, 3}};
    for (const auto& row : rows) {
        const auto folder = outlook.Folder(row.folder);
        ASSERT_TRUE(folder) << row.folder;
        INT type = 0;
        EXPECT_EQ(folder->get_DefaultItemType(&type), S_OK);
        EXPECT_EQ(type, row.type);
    }
    for (const INT number : {0, 8, 11, 12, 14, -1, 1000}) {
        IFolder* folder = reinterpret_cast<IFolder*>(1);
        EXPECT_EQ(outlook.App()->GetDefaultFolder(number, &folder), E_INVALIDARG) << number;
        EXPECT_EQ(folder, nullptr) << number;
    }
    EXPECT_EQ(outlook.App()->GetDefaultFolder(10, nullptr), E_POINTER);
}

TEST(OutlookSession, AFolderIsAnItemWithTwoProperties) {
    Outlook outlook;
    const auto contact = outlook.NewContact();
    PutText(contact, &IContact::put_Categories, u"Work, Friends");
    contact->Save();
    const auto second = outlook.NewContact();
    PutText(second, &IContact::put_Categories, u"Friends,Club");
    second->Save();

    const auto item = AsItem(outlook.Folder(olFolderContacts));
    Block block;
    ASSERT_EQ(block.Get(item, {PIMPR_FOLDER_CATEGORIES, PIMPR_FOLDERNOTIFICATIONS, PIMPR_OID, PIMPR_FILEAS}), S_OK);
    EXPECT_EQ(block.Text(0), "Club,Friends,Work");
    EXPECT_EQ(block[1].val.ulVal, 0u);
    EXPECT_EQ(block[2].val.ulVal, OidOf(item));
    EXPECT_FALSE(block.Found(3));

    Ref<IItem> byOid;
    ASSERT_EQ(outlook.App()->GetItemFromOidEx(OidOf(item), 0, byOid.Out()), S_OK);
    INT type = 0;
    EXPECT_EQ(byOid->get_DefaultItemType(&type), S_OK);
    EXPECT_EQ(type, olContactItem);
}

TEST(OutlookSession, FolderNotificationsNeedAWindow) {
    Outlook outlook(false);
    outlook.App()->Logon(0);
    CEPROPVAL value{};
    value.propid = PIMPR_FOLDERNOTIFICATIONS;
    value.val.ulVal = PIMFOLDERNOTIFICATION_ALL;
    EXPECT_EQ(AsItem(outlook.Folder(olFolderContacts))->SetProps(0, 1, &value), E_ACCESSDENIED);

    outlook.App()->Logoff();
    outlook.App()->Logon(0x1234);
    const auto item = AsItem(outlook.Folder(olFolderContacts));
    EXPECT_EQ(item->SetProps(0, 1, &value), S_OK);
    EXPECT_EQ(item->SetProps(0, 1, &value), S_FALSE) << "the same value again";
    Block block;
    ASSERT_EQ(block.Get(item, {PIMPR_FOLDERNOTIFICATIONS}), S_OK);
    EXPECT_EQ(block[0].val.ulVal, PIMFOLDERNOTIFICATION_ALL);
    CEPROPVAL other = TextValue(PIMPR_FOLDER_CATEGORIES, u"x");
    EXPECT_EQ(item->SetProps(0, 1, &other), S_FALSE);
    EXPECT_EQ(item->Save(), S_OK);
    EXPECT_EQ(item->Delete(), E_FAIL);
}

TEST(OutlookSession, InfraredAndDialogsOfFoldersAreNotThere) {
    Outlook outlook;
    const auto folder = outlook.Folder(olFolderContacts);
    IPOutlookItemCollection* received = nullptr;
    EXPECT_EQ(folder->AddItemToInfraredFolder(olContactItem, nullptr), E_NOTIMPL);
    EXPECT_EQ(folder->SendToInfrared(), E_NOTIMPL);
    EXPECT_EQ(folder->ReceiveFromInfrared(&received), E_NOTIMPL);
    const auto item = AsItem(folder);
    IItem* copy = nullptr;
    IStream* stream = nullptr;
    IFolder* parent = nullptr;
    Ref<IPOutlookApp> app;
    EXPECT_EQ(item->Display(nullptr), E_NOTIMPL);
    EXPECT_EQ(item->Edit(nullptr), E_NOTIMPL);
    EXPECT_EQ(item->Copy(&copy), E_NOTIMPL);
    EXPECT_EQ(item->OpenProperty(PIMPR_PICTURE, GENERIC_READ, &stream), E_INVALIDARG);
    EXPECT_EQ(item->get_Parent(&parent), E_NOTIMPL);
    EXPECT_EQ(item->AddCategory(u"x"), E_NOTIMPL);
    EXPECT_EQ(item->RemoveCategory(u"x"), E_NOTIMPL);
    EXPECT_EQ(item->get_Application(app.Out()), S_OK);
}

TEST(OutlookSession, UnknownItemTypesAndOidsAreRefused) {
    Outlook outlook;
    for (const INT type : {0, 4, 101, -1}) {
        IDispatch* item = reinterpret_cast<IDispatch*>(1);
        EXPECT_EQ(outlook.App()->CreateItem(type, &item), E_INVALIDARG) << type;
        EXPECT_EQ(item, nullptr);
    }
    const CEOID folder = OidOf(AsItem(outlook.Folder(olFolderContacts)));
    for (const CEOID oid : {CEOID{0}, CEOID{1}, CEOID{0xFFFFFFFF}, folder}) {
        IDispatch* item = reinterpret_cast<IDispatch*>(1);
        EXPECT_EQ(outlook.App()->GetItemFromOid(static_cast<LONG>(oid), &item), E_INVALIDARG) << oid;
        EXPECT_EQ(item, nullptr);
    }
    IItem* item = reinterpret_cast<IItem*>(1);
    EXPECT_EQ(outlook.App()->GetItemFromOidEx(1, 0, &item), E_INVALIDARG);
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(outlook.App()->GetItemFromOidEx(outlook.AddContact(u"Ann"), 1, &item), E_INVALIDARG) << "flags";
}

TEST(OutlookSession, ADeletedItemsOidNamesNothingAndIsNotUsedAgain) {
    Outlook outlook;
    const CEOID oid = outlook.AddContact(u"Ann");
    EXPECT_GT(oid, 0x01000000u);
    EXPECT_EQ(outlook.Contact(oid)->Delete(), S_OK);
    EXPECT_FALSE(outlook.Contact(oid));
    EXPECT_GT(outlook.AddContact(u"Bob"), oid);
}

// --- Named properties -----------------------------------------------------------------------------------------

TEST(OutlookSession, NamedPropertiesAreMadeOnceAndKeepTheirIdentifiers) {
    Outlook outlook;
    const LPCWSTR names[] = {u"Shoe size", u"Favourite dish"};
    CEPROPID ids[2] = {};
    EXPECT_EQ(outlook.App()->GetIDsFromNames(2, names, 0, ids), S_OK);
    EXPECT_THAT(ids, ElementsAre(PIMPR_INVALID_ID, PIMPR_INVALID_ID));

    EXPECT_EQ(outlook.App()->GetIDsFromNames(1, names, PIM_CREATE | CEVT_UI4, ids), S_OK);
    EXPECT_EQ(outlook.App()->GetIDsFromNames(1, names + 1, PIM_CREATE | PIM_DONTREPLICATE | CEVT_LPWSTR, ids + 1),
              S_OK);
    EXPECT_EQ(TypeFromPropID(ids[0]), CEVT_UI4);
    EXPECT_EQ(TypeFromPropID(ids[1]), CEVT_LPWSTR);
    EXPECT_NE(ids[0] >> 16, ids[1] >> 16);
    CEPROPID again[2] = {};
    EXPECT_EQ(outlook.App()->GetIDsFromNames(2, names, PIM_CREATE | CEVT_UI4, again), S_OK);
    EXPECT_THAT(again, ElementsAre(ids[0], ids[1]));

    const auto contact = outlook.NewContact();
    CEPROPVAL values[] = {{ids[0], 0, 0, {}}, TextValue(ids[1], u"Soup")};
    values[0].val.ulVal = 43;
    EXPECT_EQ(AsItem(contact)->SetProps(0, 2, values), S_OK);
    EXPECT_EQ(contact->Save(), S_OK);
    Block block;
    ASSERT_EQ(block.Get(AsItem(outlook.Contact(OidOf(contact))), {ids[0], ids[1]}), S_OK);
    EXPECT_EQ(block[0].val.ulVal, 43u);
    EXPECT_EQ(block.Text(1), "Soup");

    Ref<IContact> copy;
    ASSERT_EQ(contact->Copy(copy.Out()), S_OK);
    ASSERT_EQ(copy->Save(), S_OK);
    Block copied;
    ASSERT_EQ(copied.Get(AsItem(copy), {ids[0], ids[1]}), S_OK);
    EXPECT_EQ(copied[0].val.ulVal, 43u);
    EXPECT_FALSE(copied.Found(1)) << "made with PIM_DONTREPLICATE";
}

TEST(OutlookSession, NamesNeedATypeThatRecordsHold) {
    Outlook outlook;
    const LPCWSTR names[] = {u"Name"};
    const LPCWSTR empty[] = {u""};
    CEPROPID id = 0;
    EXPECT_EQ(outlook.App()->GetIDsFromNames(1, names, PIM_CREATE | 0x64, &id), E_INVALIDARG);
    EXPECT_EQ(outlook.App()->GetIDsFromNames(1, empty, PIM_CREATE | CEVT_UI4, &id), E_INVALIDARG);
    EXPECT_EQ(outlook.App()->GetIDsFromNames(0, names, 0, &id), E_INVALIDARG);
    EXPECT_EQ(outlook.App()->GetIDsFromNames(1, nullptr, 0, &id), E_INVALIDARG);
    EXPECT_EQ(outlook.App()->GetIDsFromNames(1, names, 0, nullptr), E_INVALIDARG);
}

}  // namespace
}  // namespace kez::tests
