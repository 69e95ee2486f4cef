// Planned faults: every method fails as planned, once, and leaves nothing behind; and what happens when memory for a
// result is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/platform/pocketoutlook/outlook_session.h"

namespace kez::tests {
namespace {

constexpr HRESULT kPlanned = static_cast<HRESULT>(0x80041234);

// Objects to call, and places for results.
struct Objects {
    Outlook outlook;
    Ref<IPOutlookApp2> app = outlook.App();
    CEOID oid = outlook.AddContact(u"Ann");
    Ref<IFolder> folder = outlook.Folder(olFolderContacts);
    Ref<IPOlItems2> items = Query<IPOlItems2>(outlook.Items(olFolderContacts), IID_IPOlItems2);
    Ref<IContact> contact = outlook.Contact(oid);
    Ref<IItem> item = AsItem(contact);
    Ref<IItem> folderItem = AsItem(folder);
    Ref<IStream> stream;

    // Pointers that a failing method has to null; anything else than null at the start.
    template <class T>
    static T* Dirty() {
        return reinterpret_cast<T*>(8);
    }

    Objects() {
        item->OpenProperty(PIMPR_PICTURE, GENERIC_READ | GENERIC_WRITE, stream.Out());
        stream->Write("picture", 7, nullptr);
    }
};

struct Row {
    const char* method;
    std::function<HRESULT(Objects&)> call;
};

// A call with one result that has to be null afterwards.
template <class Result, class Call>
HRESULT NullsBy(Call call) {
    Result* out = Objects::Dirty<Result>();
    const HRESULT hr = call(&out);
    EXPECT_EQ(out, nullptr);
    return hr;
}

template <class Object, class Result>
HRESULT Nulls(Object* object, HRESULT (Object::*method)(Result**)) {
    return NullsBy<Result>([&](Result** out) { return (object->*method)(out); });
}

// A call with one result that has to stay as it was.
template <class Object, class Result>
HRESULT Keeps(Object* object, HRESULT (Object::*method)(Result*)) {
    Result out{};
    std::memset(&out, 0x5A, sizeof(out));
    const Result before = out;
    const HRESULT hr = (object->*method)(&out);
    EXPECT_EQ(std::memcmp(&out, &before, sizeof(out)), 0);
    return hr;
}

template <class Object>
HRESULT NullsText(Object* object, HRESULT (Object::*method)(BSTR*)) {
    BSTR out = Objects::Dirty<OLECHAR>();
    const HRESULT hr = (object->*method)(&out);
    EXPECT_EQ(out, nullptr);
    return hr;
}

HRESULT QueryNulls(IUnknown* object) {
    void* out = Objects::Dirty<void>();
    const HRESULT hr = object->QueryInterface(IID_IUnknown, &out);
    EXPECT_EQ(out, nullptr);
    return hr;
}

HRESULT GetProps(IItem* item) {
    const CEPROPID id = PIMPR_OID;
    CEPROPVAL* values = nullptr;
    ULONG bytes = 0;
    const HRESULT hr = item->GetProps(&id, CEDB_ALLOWREALLOC, 1, &values, &bytes, GetProcessHeap());
    EXPECT_EQ(values, nullptr);
    return hr;
}

HRESULT SetSpouse(IItem* item) {
    CEPROPVAL value = TextValue(PIMPR_SPOUSE, u"Bob");
    return item->SetProps(0, 1, &value);
}

const Row kRows[] = {
    {"IPOutlookApp::QueryInterface", [](Objects& o) { return QueryNulls(o.app.Get()); }},
    {"IPOutlookApp::Logon", [](Objects& o) { return o.app->Logon(0); }},
    {"IPOutlookApp::Logoff", [](Objects& o) { return o.app->Logoff(); }},
    {"IPOutlookApp::get_Version", [](Objects& o) { return NullsText<IPOutlookApp>(o.app.Get(), &IPOutlookApp::get_Version); }},
    {"IPOutlookApp::GetDefaultFolder",
     [](Objects& o) { return NullsBy<IFolder>([&](IFolder** out) { return o.app->GetDefaultFolder(10, out); }); }},
    {"IPOutlookApp::CreateItem",
     [](Objects& o) { return NullsBy<IDispatch>([&](IDispatch** out) { return o.app->CreateItem(2, out); }); }},
    {"IPOutlookApp::GetItemFromOid",
     [](Objects& o) {
         return NullsBy<IDispatch>([&](IDispatch** out) { return o.app->GetItemFromOid(static_cast<LONG>(o.oid), out); });
     }},
    {"IPOutlookApp::get_HomeCity", [](Objects& o) { return Nulls<IPOutlookApp>(o.app.Get(), &IPOutlookApp::get_HomeCity); }},
    {"IPOutlookApp::put_HomeCity", [](Objects& o) { return o.app->put_HomeCity(nullptr); }},
    {"IPOutlookApp::get_VisitingCity",
     [](Objects& o) { return Nulls<IPOutlookApp>(o.app.Get(), &IPOutlookApp::get_VisitingCity); }},
    {"IPOutlookApp::put_VisitingCity", [](Objects& o) { return o.app->put_VisitingCity(nullptr); }},
    {"IPOutlookApp::get_CurrentCityIndex",
     [](Objects& o) { return Keeps<IPOutlookApp>(o.app.Get(), &IPOutlookApp::get_CurrentCityIndex); }},
    {"IPOutlookApp::put_CurrentCityIndex", [](Objects& o) { return o.app->put_CurrentCityIndex(0); }},
    {"IPOutlookApp::ReceiveFromInfrared", [](Objects& o) { return o.app->ReceiveFromInfrared(); }},
    {"IPOutlookApp::get_OutlookCompatible",
     [](Objects& o) { return Keeps<IPOutlookApp>(o.app.Get(), &IPOutlookApp::get_OutlookCompatible); }},
    {"IPOutlookApp::GetTimeZoneFromIndex",
     [](Objects& o) { return NullsBy<ITimeZone>([&](ITimeZone** out) { return o.app->GetTimeZoneFromIndex(0, out); }); }},
    {"IPOutlookApp::GetTimeZoneInformationFromIndex",
     [](Objects& o) {
         TIME_ZONE_INFORMATION zone{};
         return o.app->GetTimeZoneInformationFromIndex(0, &zone);
     }},
    {"IPOutlookApp::get_Application",
     [](Objects& o) { return Nulls<IPOutlookApp>(o.app.Get(), &IPOutlookApp::get_Application); }},
    {"IPOutlookApp::SysFreeString", [](Objects& o) { return o.app->SysFreeString(nullptr); }},
    {"IPOutlookApp::VariantTimeToSystemTime",
     [](Objects& o) {
         SYSTEMTIME time{};
         return o.app->VariantTimeToSystemTime(2.0, &time);
     }},
    {"IPOutlookApp::SystemTimeToVariantTime",
     [](Objects& o) {
         SYSTEMTIME time{2026, 1, 0, 1, 0, 0, 0, 0};
         DATE date = 0;
         return o.app->SystemTimeToVariantTime(&time, &date);
     }},
    {"IPOutlookApp2::GetIDsFromNames",
     [](Objects& o) {
         const LPCWSTR names[] = {u"Name"};
         CEPROPID id = 0;
         return o.app->GetIDsFromNames(1, names, PIM_CREATE | CEVT_UI4, &id);
     }},
    {"IPOutlookApp2::GetItemFromOidEx",
     [](Objects& o) {
         return NullsBy<IItem>([&](IItem** out) { return o.app->GetItemFromOidEx(o.oid, 0, out); });
     }},

    {"IFolder::QueryInterface", [](Objects& o) { return QueryNulls(o.folder.Get()); }},
    {"IFolder::get_Items", [](Objects& o) { return Nulls<IFolder>(o.folder.Get(), &IFolder::get_Items); }},
    {"IFolder::get_DefaultItemType", [](Objects& o) { return Keeps<IFolder>(o.folder.Get(), &IFolder::get_DefaultItemType); }},
    {"IFolder::get_Application", [](Objects& o) { return Nulls<IFolder>(o.folder.Get(), &IFolder::get_Application); }},
    {"IFolder::AddItemToInfraredFolder", [](Objects& o) { return o.folder->AddItemToInfraredFolder(2, nullptr); }},
    {"IFolder::SendToInfrared", [](Objects& o) { return o.folder->SendToInfrared(); }},
    {"IFolder::ReceiveFromInfrared", [](Objects& o) { return Nulls<IFolder>(o.folder.Get(), &IFolder::ReceiveFromInfrared); }},

    {"IPOutlookItemCollection::QueryInterface", [](Objects& o) { return QueryNulls(o.items.Get()); }},
    {"IPOutlookItemCollection::Add",
     [](Objects& o) { return Nulls<IPOutlookItemCollection>(o.items.Get(), &IPOutlookItemCollection::Add); }},
    {"IPOutlookItemCollection::get_Count",
     [](Objects& o) { return Keeps<IPOutlookItemCollection>(o.items.Get(), &IPOutlookItemCollection::get_Count); }},
    {"IPOutlookItemCollection::Find",
     [](Objects& o) {
         return NullsBy<IDispatch>([&](IDispatch** out) { return o.items->Find(nullptr, out); });
     }},
    {"IPOutlookItemCollection::FindNext",
     [](Objects& o) { return Nulls<IPOutlookItemCollection>(o.items.Get(), &IPOutlookItemCollection::FindNext); }},
    {"IPOutlookItemCollection::Item",
     [](Objects& o) {
         return NullsBy<IDispatch>([&](IDispatch** out) { return o.items->Item(1, out); });
     }},
    {"IPOutlookItemCollection::Remove", [](Objects& o) { return o.items->Remove(1); }},
    {"IPOutlookItemCollection::Restrict",
     [](Objects& o) {
         return NullsBy<IPOutlookItemCollection>([&](IPOutlookItemCollection** out) { return o.items->Restrict(nullptr, out); });
     }},
    {"IPOutlookItemCollection::Sort", [](Objects& o) { return o.items->Sort(nullptr, VARIANT_FALSE); }},
    {"IPOutlookItemCollection::get_IncludeRecurrences",
     [](Objects& o) {
         return Keeps<IPOutlookItemCollection>(o.items.Get(), &IPOutlookItemCollection::get_IncludeRecurrences);
     }},
    {"IPOutlookItemCollection::put_IncludeRecurrences", [](Objects& o) { return o.items->put_IncludeRecurrences(0); }},
    {"IPOutlookItemCollection::get__NewEnum",
     [](Objects& o) { return Nulls<IPOutlookItemCollection>(o.items.Get(), &IPOutlookItemCollection::get__NewEnum); }},
    {"IPOutlookItemCollection::get_Application",
     [](Objects& o) { return Nulls<IPOutlookItemCollection>(o.items.Get(), &IPOutlookItemCollection::get_Application); }},
    {"IPOlItems::SetColumns", [](Objects& o) { return o.items->SetColumns(nullptr); }},
    {"IPOlItems2::GetProps",
     [](Objects& o) {
         const CEPROPID id = PIMPR_OID;
         CEPROPVAL* values = nullptr;
         ULONG bytes = 0;
         return o.items->GetProps(1, &id, CEDB_ALLOWREALLOC, 1, &values, &bytes, GetProcessHeap());
     }},

    {"IItem::QueryInterface", [](Objects& o) { return QueryNulls(o.item.Get()); }},
    {"IItem::GetProps", [](Objects& o) { return GetProps(o.item.Get()); }},
    {"IItem::SetProps", [](Objects& o) { return SetSpouse(o.item.Get()); }},
    {"IItem::Save", [](Objects& o) { return o.item->Save(); }},
    {"IItem::Delete", [](Objects& o) { return o.item->Delete(); }},
    {"IItem::Display", [](Objects& o) { return o.item->Display(nullptr); }},
    {"IItem::Edit", [](Objects& o) { return o.item->Edit(nullptr); }},
    {"IItem::Copy", [](Objects& o) { return Nulls<IItem>(o.item.Get(), &IItem::Copy); }},
    {"IItem::get_Oid", [](Objects& o) { return Keeps<IItem>(o.item.Get(), &IItem::get_Oid); }},
    {"IItem::OpenProperty",
     [](Objects& o) {
         return NullsBy<IStream>([&](IStream** out) { return o.item->OpenProperty(PIMPR_BODY_BINARY, GENERIC_WRITE, out); });
     }},
    {"IItem::get_DefaultItemType", [](Objects& o) { return Keeps<IItem>(o.item.Get(), &IItem::get_DefaultItemType); }},
    {"IItem::get_Application", [](Objects& o) { return Nulls<IItem>(o.item.Get(), &IItem::get_Application); }},
    {"IItem::get_Parent", [](Objects& o) { return Nulls<IItem>(o.item.Get(), &IItem::get_Parent); }},
    {"IItem::AddCategory", [](Objects& o) { return o.item->AddCategory(u"Work"); }},
    {"IItem::RemoveCategory", [](Objects& o) { return o.item->RemoveCategory(u"Work"); }},

    // A folder's IItem answers under the same names.
    {"IItem::GetProps", [](Objects& o) { return GetProps(o.folderItem.Get()); }},
    {"IItem::SetProps", [](Objects& o) { return SetSpouse(o.folderItem.Get()); }},
    {"IItem::Save", [](Objects& o) { return o.folderItem->Save(); }},
    {"IItem::Delete", [](Objects& o) { return o.folderItem->Delete(); }},
    {"IItem::Display", [](Objects& o) { return o.folderItem->Display(nullptr); }},
    {"IItem::Edit", [](Objects& o) { return o.folderItem->Edit(nullptr); }},
    {"IItem::Copy", [](Objects& o) { return Nulls<IItem>(o.folderItem.Get(), &IItem::Copy); }},
    {"IItem::get_Oid", [](Objects& o) { return Keeps<IItem>(o.folderItem.Get(), &IItem::get_Oid); }},
    {"IItem::OpenProperty",
     [](Objects& o) {
         return NullsBy<IStream>([&](IStream** out) { return o.folderItem->OpenProperty(PIMPR_PICTURE, GENERIC_READ, out); });
     }},
    {"IItem::get_DefaultItemType", [](Objects& o) { return Keeps<IItem>(o.folderItem.Get(), &IItem::get_DefaultItemType); }},
    {"IItem::get_Application", [](Objects& o) { return Nulls<IItem>(o.folderItem.Get(), &IItem::get_Application); }},
    {"IItem::get_Parent", [](Objects& o) { return Nulls<IItem>(o.folderItem.Get(), &IItem::get_Parent); }},
    {"IItem::AddCategory", [](Objects& o) { return o.folderItem->AddCategory(u"Work"); }},
    {"IItem::RemoveCategory", [](Objects& o) { return o.folderItem->RemoveCategory(u"Work"); }},

#define KEZ_TEXT(name)                                                                                                \
    {"IContact::get_" #name, [](Objects& o) { return NullsText<IContact>(o.contact.Get(), &IContact::get_##name); }}, \
        {"IContact::put_" #name, [](Objects& o) { return PutText(o.contact, &IContact::put_##name, u"x"); }},
#define KEZ_DATE(name)                                                                                            \
    {"IContact::get_" #name, [](Objects& o) { return Keeps<IContact>(o.contact.Get(), &IContact::get_##name); }}, \
        {"IContact::put_" #name, [](Objects& o) { return o.contact->put_##name(2.0); }},
    KEZ_DATE(Birthday) KEZ_DATE(Anniversary) KEZ_TEXT(BusinessFaxNumber) KEZ_TEXT(CompanyName) KEZ_TEXT(Department)
    KEZ_TEXT(Email1Address) KEZ_TEXT(MobileTelephoneNumber) KEZ_TEXT(OfficeLocation) KEZ_TEXT(PagerNumber)
    KEZ_TEXT(BusinessTelephoneNumber) KEZ_TEXT(JobTitle) KEZ_TEXT(HomeTelephoneNumber) KEZ_TEXT(Email2Address)
    KEZ_TEXT(Spouse) KEZ_TEXT(Email3Address) KEZ_TEXT(Home2TelephoneNumber) KEZ_TEXT(HomeFaxNumber)
    KEZ_TEXT(CarTelephoneNumber) KEZ_TEXT(AssistantName) KEZ_TEXT(AssistantTelephoneNumber) KEZ_TEXT(Children)
    KEZ_TEXT(Categories) KEZ_TEXT(WebPage) KEZ_TEXT(Business2TelephoneNumber) KEZ_TEXT(Title) KEZ_TEXT(FirstName)
    KEZ_TEXT(MiddleName) KEZ_TEXT(LastName) KEZ_TEXT(Suffix) KEZ_TEXT(HomeAddressStreet) KEZ_TEXT(HomeAddressCity)
    KEZ_TEXT(HomeAddressState) KEZ_TEXT(HomeAddressPostalCode) KEZ_TEXT(HomeAddressCountry)
    KEZ_TEXT(OtherAddressStreet) KEZ_TEXT(OtherAddressCity) KEZ_TEXT(OtherAddressState)
    KEZ_TEXT(OtherAddressPostalCode) KEZ_TEXT(OtherAddressCountry) KEZ_TEXT(BusinessAddressStreet)
    KEZ_TEXT(BusinessAddressCity) KEZ_TEXT(BusinessAddressState) KEZ_TEXT(BusinessAddressPostalCode)
    KEZ_TEXT(BusinessAddressCountry) KEZ_TEXT(RadioTelephoneNumber) KEZ_TEXT(FileAs) KEZ_TEXT(Body)
    KEZ_TEXT(YomiCompanyName) KEZ_TEXT(YomiFirstName) KEZ_TEXT(YomiLastName)
#undef KEZ_TEXT
#undef KEZ_DATE
    {"IContact::QueryInterface", [](Objects& o) { return QueryNulls(o.contact.Get()); }},
    {"IContact::Save", [](Objects& o) { return o.contact->Save(); }},
    {"IContact::Delete", [](Objects& o) { return o.contact->Delete(); }},
    {"IContact::Copy", [](Objects& o) { return Nulls<IContact>(o.contact.Get(), &IContact::Copy); }},
    {"IContact::Display", [](Objects& o) { return o.contact->Display(); }},
    {"IContact::get_Oid", [](Objects& o) { return Keeps<IContact>(o.contact.Get(), &IContact::get_Oid); }},
    {"IContact::get_BodyInk", [](Objects& o) { return Keeps<IContact>(o.contact.Get(), &IContact::get_BodyInk); }},
    {"IContact::put_BodyInk", [](Objects& o) { return o.contact->put_BodyInk(nullptr); }},
    {"IContact::get_Application", [](Objects& o) { return Nulls<IContact>(o.contact.Get(), &IContact::get_Application); }},

    {"IStream::QueryInterface", [](Objects& o) { return QueryNulls(o.stream.Get()); }},
    {"IStream::Read",
     [](Objects& o) {
         BYTE byte = 0;
         return o.stream->Read(&byte, 1, nullptr);
     }},
    {"IStream::Write", [](Objects& o) { return o.stream->Write("x", 1, nullptr); }},
    {"IStream::Seek", [](Objects& o) { return o.stream->Seek({}, STREAM_SEEK_SET, nullptr); }},
    {"IStream::SetSize", [](Objects& o) { return o.stream->SetSize({}); }},
    {"IStream::CopyTo", [](Objects& o) { return o.stream->CopyTo(nullptr, {}, nullptr, nullptr); }},
    {"IStream::Commit", [](Objects& o) { return o.stream->Commit(0); }},
    {"IStream::Revert", [](Objects& o) { return o.stream->Revert(); }},
    {"IStream::LockRegion", [](Objects& o) { return o.stream->LockRegion({}, {}, 0); }},
    {"IStream::UnlockRegion", [](Objects& o) { return o.stream->UnlockRegion({}, {}, 0); }},
    {"IStream::Stat", [](Objects& o) { return o.stream->Stat(nullptr, 0); }},
    {"IStream::Clone", [](Objects& o) { return Nulls<IStream>(o.stream.Get(), &IStream::Clone); }},
};

// What the world looks like: counts of live things, the contact's values in the record and in the object.
std::string StateOf(Objects& o) {
    std::string state =
        control::Describe(control::Live()) + "\n" + std::to_string(CountOf(o.outlook.Items(olFolderContacts)));
    for (const auto& contact : {o.contact, o.outlook.Contact(o.oid)}) {
        state += "\n" + TextOf(contact, &IContact::get_FileAs) + "|" + TextOf(contact, &IContact::get_Spouse) + "|" +
                 TextOf(contact, &IContact::get_Categories);
    }
    const LPCWSTR names[] = {u"Name"};
    CEPROPID id = 0;
    o.app->GetIDsFromNames(1, names, 0, &id);
    return state + "\n" + std::to_string(id);
}

TEST(OutlookFaults, EveryMethodFailsAsPlannedAndLeavesNothingBehind) {
    Objects o;
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.method);
        const std::string before = StateOf(o);
        control::PlanFault({.call = row.method, .code = static_cast<std::uint32_t>(kPlanned)});
        EXPECT_EQ(row.call(o), kPlanned);
        control::ClearFaults();
        EXPECT_EQ(StateOf(o), before);
    }
}

TEST(OutlookFaults, OnlyTheNthCallFails) {
    Objects o;
    control::PlanFault({.call = "IContact::get_Oid", .nth = 2, .code = static_cast<std::uint32_t>(kPlanned)});
    LONG oid = 0;
    EXPECT_EQ(o.contact->get_Oid(&oid), S_OK);
    EXPECT_EQ(o.contact->get_Oid(&oid), kPlanned);
    EXPECT_EQ(o.contact->get_Oid(&oid), S_OK);
    EXPECT_EQ(o.item->get_Oid(&oid), S_OK) << "the other face has a name of its own";
}

TEST(OutlookFaults, ResultsThatGetNoMemory) {
    Objects o;
    control::PlanFault({.call = "SysAllocStringLen", .code = ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(NullsText<IContact>(o.contact.Get(), &IContact::get_FileAs), E_OUTOFMEMORY);
    control::PlanFault({.call = "SysAllocString", .code = ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(NullsText<IPOutlookApp>(o.app.Get(), &IPOutlookApp::get_Version), E_OUTOFMEMORY);
    control::PlanFault({.call = "HeapAlloc", .code = ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(GetProps(o.item.Get()), E_OUTOFMEMORY);
}

TEST(OutlookFaults, TheApplicationCanFailToBeMade) {
    Outlook outlook(false);
    control::PlanFault({.call = "CoCreateInstance", .code = static_cast<std::uint32_t>(kPlanned)});
    EXPECT_FALSE(Outlook::NewApplication());
    EXPECT_TRUE(Outlook::NewApplication());
    void* out = Objects::Dirty<void>();
    EXPECT_EQ(CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IContact, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(CoCreateInstance(CLSID_ContactItem, nullptr, CLSCTX_INPROC_SERVER, IID_IContact, &out),
              REGDB_E_CLASSNOTREG)
        << "only the application is made this way";
}

}  // namespace
}  // namespace kez::tests
