// Doubles of the Pocket Outlook interfaces that refuse every call: a test derives from one and answers what it
// expects; anything else fails the test. Reference counts are kept, so that a test sees what was not given back.
#pragma once

#include <gtest/gtest.h>
#include <pimstore.h>

#include <atomic>

namespace kez::tests {

inline HRESULT Refuse(const char* call) {
    ADD_FAILURE() << call << " must not be called here";
    return E_UNEXPECTED;
}

// The doubles alive in this process.
inline std::atomic<int> g_livingDoubles{0};

// IUnknown of a double. It is made with one reference, deletes itself when the last is given back, and knows itself by
// the one interface it was made for; `OtherInterface` may answer for more.
template <typename Interface, const IID& Id>
class CountedDouble : public Interface {
 public:
    CountedDouble() { ++g_livingDoubles; }
    CountedDouble(const CountedDouble&) = delete;
    CountedDouble& operator=(const CountedDouble&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
        *out = nullptr;
        if (riid == IID_IUnknown || riid == Id) {
            *out = static_cast<Interface*>(this);
            AddRef();
            return S_OK;
        }
        *out = OtherInterface(riid);
        return *out != nullptr ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

 protected:
    virtual ~CountedDouble() { --g_livingDoubles; }
    // With a reference for the caller; null for none.
    virtual void* OtherInterface(REFIID) { return nullptr; }

 private:
    std::atomic<ULONG> m_references{1};
};

// The same for interfaces that derive from IDispatch.
template <typename Interface, const IID& Id>
class DispatchDouble : public CountedDouble<Interface, Id> {
 public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return Refuse("IDispatch::GetTypeInfoCount"); }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, DWORD, ITypeInfo**) override {
        return Refuse("IDispatch::GetTypeInfo");
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPWSTR*, UINT, DWORD, LONG*) override {
        return Refuse("IDispatch::GetIDsOfNames");
    }
    HRESULT STDMETHODCALLTYPE Invoke(LONG, REFIID, DWORD, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return Refuse("IDispatch::Invoke");
    }
};

class RefusingApplication : public DispatchDouble<IPOutlookApp2, IID_IPOutlookApp2> {
 public:
    HRESULT STDMETHODCALLTYPE Logon(LONG) override { return Refuse("IPOutlookApp::Logon"); }
    HRESULT STDMETHODCALLTYPE Logoff() override { return Refuse("IPOutlookApp::Logoff"); }
    HRESULT STDMETHODCALLTYPE get_Version(BSTR*) override { return Refuse("IPOutlookApp::get_Version"); }
    HRESULT STDMETHODCALLTYPE GetDefaultFolder(INT, IFolder**) override {
        return Refuse("IPOutlookApp::GetDefaultFolder");
    }
    HRESULT STDMETHODCALLTYPE CreateItem(INT, IDispatch**) override { return Refuse("IPOutlookApp::CreateItem"); }
    HRESULT STDMETHODCALLTYPE GetItemFromOid(LONG, IDispatch**) override {
        return Refuse("IPOutlookApp::GetItemFromOid");
    }
    HRESULT STDMETHODCALLTYPE get_HomeCity(ICity**) override { return Refuse("IPOutlookApp::get_HomeCity"); }
    HRESULT STDMETHODCALLTYPE put_HomeCity(ICity*) override { return Refuse("IPOutlookApp::put_HomeCity"); }
    HRESULT STDMETHODCALLTYPE get_VisitingCity(ICity**) override { return Refuse("IPOutlookApp::get_VisitingCity"); }
    HRESULT STDMETHODCALLTYPE put_VisitingCity(ICity*) override { return Refuse("IPOutlookApp::put_VisitingCity"); }
    HRESULT STDMETHODCALLTYPE get_CurrentCityIndex(LONG*) override {
        return Refuse("IPOutlookApp::get_CurrentCityIndex");
    }
    HRESULT STDMETHODCALLTYPE put_CurrentCityIndex(LONG) override {
        return Refuse("IPOutlookApp::put_CurrentCityIndex");
    }
    HRESULT STDMETHODCALLTYPE ReceiveFromInfrared() override { return Refuse("IPOutlookApp::ReceiveFromInfrared"); }
    HRESULT STDMETHODCALLTYPE get_OutlookCompatible(VARIANT_BOOL*) override {
        return Refuse("IPOutlookApp::get_OutlookCompatible");
    }
    HRESULT STDMETHODCALLTYPE GetTimeZoneFromIndex(INT, ITimeZone**) override {
        return Refuse("IPOutlookApp::GetTimeZoneFromIndex");
    }
    HRESULT STDMETHODCALLTYPE GetTimeZoneInformationFromIndex(INT, TIME_ZONE_INFORMATION*) override {
        return Refuse("IPOutlookApp::GetTimeZoneInformationFromIndex");
    }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override {
        return Refuse("IPOutlookApp::get_Application");
    }
    HRESULT STDMETHODCALLTYPE SysFreeString(BSTR) override { return Refuse("IPOutlookApp::SysFreeString"); }
    HRESULT STDMETHODCALLTYPE VariantTimeToSystemTime(DATE, SYSTEMTIME*) override {
        return Refuse("IPOutlookApp::VariantTimeToSystemTime");
    }
    HRESULT STDMETHODCALLTYPE SystemTimeToVariantTime(SYSTEMTIME*, DATE*) override {
        return Refuse("IPOutlookApp::SystemTimeToVariantTime");
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG, LPCWSTR const*, ULONG, CEPROPID*) override {
        return Refuse("IPOutlookApp2::GetIDsFromNames");
    }
    HRESULT STDMETHODCALLTYPE GetItemFromOidEx(ULONG, ULONG, IItem**) override {
        return Refuse("IPOutlookApp2::GetItemFromOidEx");
    }
};

class RefusingFolder : public DispatchDouble<IFolder, IID_IFolder> {
 public:
    HRESULT STDMETHODCALLTYPE get_Items(IPOutlookItemCollection**) override { return Refuse("IFolder::get_Items"); }
    HRESULT STDMETHODCALLTYPE get_DefaultItemType(INT*) override { return Refuse("IFolder::get_DefaultItemType"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override { return Refuse("IFolder::get_Application"); }
    HRESULT STDMETHODCALLTYPE AddItemToInfraredFolder(INT, IDispatch*) override {
        return Refuse("IFolder::AddItemToInfraredFolder");
    }
    HRESULT STDMETHODCALLTYPE SendToInfrared() override { return Refuse("IFolder::SendToInfrared"); }
    HRESULT STDMETHODCALLTYPE ReceiveFromInfrared(IPOutlookItemCollection**) override {
        return Refuse("IFolder::ReceiveFromInfrared");
    }
};

class RefusingCollection : public DispatchDouble<IPOutlookItemCollection, IID_IPOutlookItemCollection> {
 public:
    HRESULT STDMETHODCALLTYPE Add(IDispatch**) override { return Refuse("IPOutlookItemCollection::Add"); }
    HRESULT STDMETHODCALLTYPE get_Count(INT*) override { return Refuse("IPOutlookItemCollection::get_Count"); }
    HRESULT STDMETHODCALLTYPE Find(BSTR, IDispatch**) override { return Refuse("IPOutlookItemCollection::Find"); }
    HRESULT STDMETHODCALLTYPE FindNext(IDispatch**) override { return Refuse("IPOutlookItemCollection::FindNext"); }
    HRESULT STDMETHODCALLTYPE Item(INT, IDispatch**) override { return Refuse("IPOutlookItemCollection::Item"); }
    HRESULT STDMETHODCALLTYPE Remove(INT) override { return Refuse("IPOutlookItemCollection::Remove"); }
    HRESULT STDMETHODCALLTYPE Restrict(BSTR, IPOutlookItemCollection**) override {
        return Refuse("IPOutlookItemCollection::Restrict");
    }
    HRESULT STDMETHODCALLTYPE Sort(BSTR, VARIANT_BOOL) override { return Refuse("IPOutlookItemCollection::Sort"); }
    HRESULT STDMETHODCALLTYPE get_IncludeRecurrences(VARIANT_BOOL*) override {
        return Refuse("IPOutlookItemCollection::get_IncludeRecurrences");
    }
    HRESULT STDMETHODCALLTYPE put_IncludeRecurrences(VARIANT_BOOL) override {
        return Refuse("IPOutlookItemCollection::put_IncludeRecurrences");
    }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown**) override {
        return Refuse("IPOutlookItemCollection::get__NewEnum");
    }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override {
        return Refuse("IPOutlookItemCollection::get_Application");
    }
};

class RefusingItem : public CountedDouble<IItem, IID_IItem> {
 public:
    HRESULT STDMETHODCALLTYPE GetProps(const CEPROPID*, ULONG, WORD, CEPROPVAL**, ULONG*, HANDLE) override {
        return Refuse("IItem::GetProps");
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG, WORD, CEPROPVAL*) override { return Refuse("IItem::SetProps"); }
    HRESULT STDMETHODCALLTYPE Save() override { return Refuse("IItem::Save"); }
    HRESULT STDMETHODCALLTYPE Delete() override { return Refuse("IItem::Delete"); }
    HRESULT STDMETHODCALLTYPE Display(HWND) override { return Refuse("IItem::Display"); }
    HRESULT STDMETHODCALLTYPE Edit(HWND) override { return Refuse("IItem::Edit"); }
    HRESULT STDMETHODCALLTYPE Copy(IItem**) override { return Refuse("IItem::Copy"); }
    HRESULT STDMETHODCALLTYPE get_Oid(LONG*) override { return Refuse("IItem::get_Oid"); }
    HRESULT STDMETHODCALLTYPE OpenProperty(CEPROPID, DWORD, IStream**) override {
        return Refuse("IItem::OpenProperty");
    }
    HRESULT STDMETHODCALLTYPE get_DefaultItemType(INT*) override { return Refuse("IItem::get_DefaultItemType"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override { return Refuse("IItem::get_Application"); }
    HRESULT STDMETHODCALLTYPE get_Parent(IFolder**) override { return Refuse("IItem::get_Parent"); }
    HRESULT STDMETHODCALLTYPE AddCategory(LPCWSTR) override { return Refuse("IItem::AddCategory"); }
    HRESULT STDMETHODCALLTYPE RemoveCategory(LPCWSTR) override { return Refuse("IItem::RemoveCategory"); }
};

class RefusingContact : public DispatchDouble<IContact, IID_IContact> {
 public:
    HRESULT STDMETHODCALLTYPE get_Birthday(DATE*) override { return Refuse("IContact::get_Birthday"); }
    HRESULT STDMETHODCALLTYPE get_Anniversary(DATE*) override { return Refuse("IContact::get_Anniversary"); }
    HRESULT STDMETHODCALLTYPE get_BusinessFaxNumber(BSTR*) override {
        return Refuse("IContact::get_BusinessFaxNumber");
    }
    HRESULT STDMETHODCALLTYPE get_CompanyName(BSTR*) override { return Refuse("IContact::get_CompanyName"); }
    HRESULT STDMETHODCALLTYPE get_Department(BSTR*) override { return Refuse("IContact::get_Department"); }
    HRESULT STDMETHODCALLTYPE get_Email1Address(BSTR*) override { return Refuse("IContact::get_Email1Address"); }
    HRESULT STDMETHODCALLTYPE get_MobileTelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_MobileTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_OfficeLocation(BSTR*) override { return Refuse("IContact::get_OfficeLocation"); }
    HRESULT STDMETHODCALLTYPE get_PagerNumber(BSTR*) override { return Refuse("IContact::get_PagerNumber"); }
    HRESULT STDMETHODCALLTYPE get_BusinessTelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_BusinessTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_JobTitle(BSTR*) override { return Refuse("IContact::get_JobTitle"); }
    HRESULT STDMETHODCALLTYPE get_HomeTelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_HomeTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_Email2Address(BSTR*) override { return Refuse("IContact::get_Email2Address"); }
    HRESULT STDMETHODCALLTYPE get_Spouse(BSTR*) override { return Refuse("IContact::get_Spouse"); }
    HRESULT STDMETHODCALLTYPE get_Email3Address(BSTR*) override { return Refuse("IContact::get_Email3Address"); }
    HRESULT STDMETHODCALLTYPE get_Home2TelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_Home2TelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_HomeFaxNumber(BSTR*) override { return Refuse("IContact::get_HomeFaxNumber"); }
    HRESULT STDMETHODCALLTYPE get_CarTelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_CarTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_AssistantName(BSTR*) override { return Refuse("IContact::get_AssistantName"); }
    HRESULT STDMETHODCALLTYPE get_AssistantTelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_AssistantTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_Children(BSTR*) override { return Refuse("IContact::get_Children"); }
    HRESULT STDMETHODCALLTYPE get_Categories(BSTR*) override { return Refuse("IContact::get_Categories"); }
    HRESULT STDMETHODCALLTYPE get_WebPage(BSTR*) override { return Refuse("IContact::get_WebPage"); }
    HRESULT STDMETHODCALLTYPE get_Business2TelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_Business2TelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_Title(BSTR*) override { return Refuse("IContact::get_Title"); }
    HRESULT STDMETHODCALLTYPE get_FirstName(BSTR*) override { return Refuse("IContact::get_FirstName"); }
    HRESULT STDMETHODCALLTYPE get_MiddleName(BSTR*) override { return Refuse("IContact::get_MiddleName"); }
    HRESULT STDMETHODCALLTYPE get_LastName(BSTR*) override { return Refuse("IContact::get_LastName"); }
    HRESULT STDMETHODCALLTYPE get_Suffix(BSTR*) override { return Refuse("IContact::get_Suffix"); }
    HRESULT STDMETHODCALLTYPE get_HomeAddressStreet(BSTR*) override {
        return Refuse("IContact::get_HomeAddressStreet");
    }
    HRESULT STDMETHODCALLTYPE get_HomeAddressCity(BSTR*) override { return Refuse("IContact::get_HomeAddressCity"); }
    HRESULT STDMETHODCALLTYPE get_HomeAddressState(BSTR*) override { return Refuse("IContact::get_HomeAddressState"); }
    HRESULT STDMETHODCALLTYPE get_HomeAddressPostalCode(BSTR*) override {
        return Refuse("IContact::get_HomeAddressPostalCode");
    }
    HRESULT STDMETHODCALLTYPE get_HomeAddressCountry(BSTR*) override {
        return Refuse("IContact::get_HomeAddressCountry");
    }
    HRESULT STDMETHODCALLTYPE get_OtherAddressStreet(BSTR*) override {
        return Refuse("IContact::get_OtherAddressStreet");
    }
    HRESULT STDMETHODCALLTYPE get_OtherAddressCity(BSTR*) override { return Refuse("IContact::get_OtherAddressCity"); }
    HRESULT STDMETHODCALLTYPE get_OtherAddressState(BSTR*) override {
        return Refuse("IContact::get_OtherAddressState");
    }
    HRESULT STDMETHODCALLTYPE get_OtherAddressPostalCode(BSTR*) override {
        return Refuse("IContact::get_OtherAddressPostalCode");
    }
    HRESULT STDMETHODCALLTYPE get_OtherAddressCountry(BSTR*) override {
        return Refuse("IContact::get_OtherAddressCountry");
    }
    HRESULT STDMETHODCALLTYPE get_BusinessAddressStreet(BSTR*) override {
        return Refuse("IContact::get_BusinessAddressStreet");
    }
    HRESULT STDMETHODCALLTYPE get_BusinessAddressCity(BSTR*) override {
        return Refuse("IContact::get_BusinessAddressCity");
    }
    HRESULT STDMETHODCALLTYPE get_BusinessAddressState(BSTR*) override {
        return Refuse("IContact::get_BusinessAddressState");
    }
    HRESULT STDMETHODCALLTYPE get_BusinessAddressPostalCode(BSTR*) override {
        return Refuse("IContact::get_BusinessAddressPostalCode");
    }
    HRESULT STDMETHODCALLTYPE get_BusinessAddressCountry(BSTR*) override {
        return Refuse("IContact::get_BusinessAddressCountry");
    }
    HRESULT STDMETHODCALLTYPE get_RadioTelephoneNumber(BSTR*) override {
        return Refuse("IContact::get_RadioTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE get_FileAs(BSTR*) override { return Refuse("IContact::get_FileAs"); }
    HRESULT STDMETHODCALLTYPE get_Body(BSTR*) override { return Refuse("IContact::get_Body"); }
    HRESULT STDMETHODCALLTYPE get_YomiCompanyName(BSTR*) override { return Refuse("IContact::get_YomiCompanyName"); }
    HRESULT STDMETHODCALLTYPE get_YomiFirstName(BSTR*) override { return Refuse("IContact::get_YomiFirstName"); }
    HRESULT STDMETHODCALLTYPE get_YomiLastName(BSTR*) override { return Refuse("IContact::get_YomiLastName"); }
    HRESULT STDMETHODCALLTYPE put_Birthday(DATE) override { return Refuse("IContact::put_Birthday"); }
    HRESULT STDMETHODCALLTYPE put_Anniversary(DATE) override { return Refuse("IContact::put_Anniversary"); }
    HRESULT STDMETHODCALLTYPE put_BusinessFaxNumber(BSTR) override { return Refuse("IContact::put_BusinessFaxNumber"); }
    HRESULT STDMETHODCALLTYPE put_CompanyName(BSTR) override { return Refuse("IContact::put_CompanyName"); }
    HRESULT STDMETHODCALLTYPE put_Department(BSTR) override { return Refuse("IContact::put_Department"); }
    HRESULT STDMETHODCALLTYPE put_Email1Address(BSTR) override { return Refuse("IContact::put_Email1Address"); }
    HRESULT STDMETHODCALLTYPE put_MobileTelephoneNumber(BSTR) override {
        return Refuse("IContact::put_MobileTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_OfficeLocation(BSTR) override { return Refuse("IContact::put_OfficeLocation"); }
    HRESULT STDMETHODCALLTYPE put_PagerNumber(BSTR) override { return Refuse("IContact::put_PagerNumber"); }
    HRESULT STDMETHODCALLTYPE put_BusinessTelephoneNumber(BSTR) override {
        return Refuse("IContact::put_BusinessTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_JobTitle(BSTR) override { return Refuse("IContact::put_JobTitle"); }
    HRESULT STDMETHODCALLTYPE put_HomeTelephoneNumber(BSTR) override {
        return Refuse("IContact::put_HomeTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_Email2Address(BSTR) override { return Refuse("IContact::put_Email2Address"); }
    HRESULT STDMETHODCALLTYPE put_Spouse(BSTR) override { return Refuse("IContact::put_Spouse"); }
    HRESULT STDMETHODCALLTYPE put_Email3Address(BSTR) override { return Refuse("IContact::put_Email3Address"); }
    HRESULT STDMETHODCALLTYPE put_Home2TelephoneNumber(BSTR) override {
        return Refuse("IContact::put_Home2TelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_HomeFaxNumber(BSTR) override { return Refuse("IContact::put_HomeFaxNumber"); }
    HRESULT STDMETHODCALLTYPE put_CarTelephoneNumber(BSTR) override {
        return Refuse("IContact::put_CarTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_AssistantName(BSTR) override { return Refuse("IContact::put_AssistantName"); }
    HRESULT STDMETHODCALLTYPE put_AssistantTelephoneNumber(BSTR) override {
        return Refuse("IContact::put_AssistantTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_Children(BSTR) override { return Refuse("IContact::put_Children"); }
    HRESULT STDMETHODCALLTYPE put_Categories(BSTR) override { return Refuse("IContact::put_Categories"); }
    HRESULT STDMETHODCALLTYPE put_WebPage(BSTR) override { return Refuse("IContact::put_WebPage"); }
    HRESULT STDMETHODCALLTYPE put_Business2TelephoneNumber(BSTR) override {
        return Refuse("IContact::put_Business2TelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_Title(BSTR) override { return Refuse("IContact::put_Title"); }
    HRESULT STDMETHODCALLTYPE put_FirstName(BSTR) override { return Refuse("IContact::put_FirstName"); }
    HRESULT STDMETHODCALLTYPE put_MiddleName(BSTR) override { return Refuse("IContact::put_MiddleName"); }
    HRESULT STDMETHODCALLTYPE put_LastName(BSTR) override { return Refuse("IContact::put_LastName"); }
    HRESULT STDMETHODCALLTYPE put_Suffix(BSTR) override { return Refuse("IContact::put_Suffix"); }
    HRESULT STDMETHODCALLTYPE put_HomeAddressStreet(BSTR) override { return Refuse("IContact::put_HomeAddressStreet"); }
    HRESULT STDMETHODCALLTYPE put_HomeAddressCity(BSTR) override { return Refuse("IContact::put_HomeAddressCity"); }
    HRESULT STDMETHODCALLTYPE put_HomeAddressState(BSTR) override { return Refuse("IContact::put_HomeAddressState"); }
    HRESULT STDMETHODCALLTYPE put_HomeAddressPostalCode(BSTR) override {
        return Refuse("IContact::put_HomeAddressPostalCode");
    }
    HRESULT STDMETHODCALLTYPE put_HomeAddressCountry(BSTR) override {
        return Refuse("IContact::put_HomeAddressCountry");
    }
    HRESULT STDMETHODCALLTYPE put_OtherAddressStreet(BSTR) override {
        return Refuse("IContact::put_OtherAddressStreet");
    }
    HRESULT STDMETHODCALLTYPE put_OtherAddressCity(BSTR) override { return Refuse("IContact::put_OtherAddressCity"); }
    HRESULT STDMETHODCALLTYPE put_OtherAddressState(BSTR) override { return Refuse("IContact::put_OtherAddressState"); }
    HRESULT STDMETHODCALLTYPE put_OtherAddressPostalCode(BSTR) override {
        return Refuse("IContact::put_OtherAddressPostalCode");
    }
    HRESULT STDMETHODCALLTYPE put_OtherAddressCountry(BSTR) override {
        return Refuse("IContact::put_OtherAddressCountry");
    }
    HRESULT STDMETHODCALLTYPE put_BusinessAddressStreet(BSTR) override {
        return Refuse("IContact::put_BusinessAddressStreet");
    }
    HRESULT STDMETHODCALLTYPE put_BusinessAddressCity(BSTR) override {
        return Refuse("IContact::put_BusinessAddressCity");
    }
    HRESULT STDMETHODCALLTYPE put_BusinessAddressState(BSTR) override {
        return Refuse("IContact::put_BusinessAddressState");
    }
    HRESULT STDMETHODCALLTYPE put_BusinessAddressPostalCode(BSTR) override {
        return Refuse("IContact::put_BusinessAddressPostalCode");
    }
    HRESULT STDMETHODCALLTYPE put_BusinessAddressCountry(BSTR) override {
        return Refuse("IContact::put_BusinessAddressCountry");
    }
    HRESULT STDMETHODCALLTYPE put_RadioTelephoneNumber(BSTR) override {
        return Refuse("IContact::put_RadioTelephoneNumber");
    }
    HRESULT STDMETHODCALLTYPE put_FileAs(BSTR) override { return Refuse("IContact::put_FileAs"); }
    HRESULT STDMETHODCALLTYPE put_Body(BSTR) override { return Refuse("IContact::put_Body"); }
    HRESULT STDMETHODCALLTYPE put_YomiCompanyName(BSTR) override { return Refuse("IContact::put_YomiCompanyName"); }
    HRESULT STDMETHODCALLTYPE put_YomiFirstName(BSTR) override { return Refuse("IContact::put_YomiFirstName"); }
    HRESULT STDMETHODCALLTYPE put_YomiLastName(BSTR) override { return Refuse("IContact::put_YomiLastName"); }
    HRESULT STDMETHODCALLTYPE Save() override { return Refuse("IContact::Save"); }
    HRESULT STDMETHODCALLTYPE Delete() override { return Refuse("IContact::Delete"); }
    HRESULT STDMETHODCALLTYPE Copy(IContact**) override { return Refuse("IContact::Copy"); }
    HRESULT STDMETHODCALLTYPE Display() override { return Refuse("IContact::Display"); }
    HRESULT STDMETHODCALLTYPE get_Oid(LONG*) override { return Refuse("IContact::get_Oid"); }
    HRESULT STDMETHODCALLTYPE put_BodyInk(CEBLOB*) override { return Refuse("IContact::put_BodyInk"); }
    HRESULT STDMETHODCALLTYPE get_BodyInk(CEBLOB*) override { return Refuse("IContact::get_BodyInk"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override { return Refuse("IContact::get_Application"); }
};

class RefusingTask : public DispatchDouble<ITask, IID_ITask> {
 public:
    HRESULT STDMETHODCALLTYPE ClearRecurrencePattern() override { return Refuse("ITask::ClearRecurrencePattern"); }
    HRESULT STDMETHODCALLTYPE GetRecurrencePattern(IRecurrencePattern**) override {
        return Refuse("ITask::GetRecurrencePattern");
    }
    HRESULT STDMETHODCALLTYPE get_IsRecurring(VARIANT_BOOL*) override { return Refuse("ITask::get_IsRecurring"); }
    HRESULT STDMETHODCALLTYPE get_Subject(BSTR*) override { return Refuse("ITask::get_Subject"); }
    HRESULT STDMETHODCALLTYPE get_Categories(BSTR*) override { return Refuse("ITask::get_Categories"); }
    HRESULT STDMETHODCALLTYPE get_StartDate(DATE*) override { return Refuse("ITask::get_StartDate"); }
    HRESULT STDMETHODCALLTYPE get_DueDate(DATE*) override { return Refuse("ITask::get_DueDate"); }
    HRESULT STDMETHODCALLTYPE get_DateCompleted(DATE*) override { return Refuse("ITask::get_DateCompleted"); }
    HRESULT STDMETHODCALLTYPE get_Importance(LONG*) override { return Refuse("ITask::get_Importance"); }
    HRESULT STDMETHODCALLTYPE get_Complete(VARIANT_BOOL*) override { return Refuse("ITask::get_Complete"); }
    HRESULT STDMETHODCALLTYPE get_Sensitivity(LONG*) override { return Refuse("ITask::get_Sensitivity"); }
    HRESULT STDMETHODCALLTYPE get_TeamTask(VARIANT_BOOL*) override { return Refuse("ITask::get_TeamTask"); }
    HRESULT STDMETHODCALLTYPE get_Body(BSTR*) override { return Refuse("ITask::get_Body"); }
    HRESULT STDMETHODCALLTYPE get_ReminderSet(VARIANT_BOOL*) override { return Refuse("ITask::get_ReminderSet"); }
    HRESULT STDMETHODCALLTYPE get_ReminderSoundFile(BSTR*) override { return Refuse("ITask::get_ReminderSoundFile"); }
    HRESULT STDMETHODCALLTYPE get_ReminderTime(DATE*) override { return Refuse("ITask::get_ReminderTime"); }
    HRESULT STDMETHODCALLTYPE get_ReminderOptions(LONG*) override { return Refuse("ITask::get_ReminderOptions"); }
    HRESULT STDMETHODCALLTYPE put_Subject(BSTR) override { return Refuse("ITask::put_Subject"); }
    HRESULT STDMETHODCALLTYPE put_Categories(BSTR) override { return Refuse("ITask::put_Categories"); }
    HRESULT STDMETHODCALLTYPE put_StartDate(DATE) override { return Refuse("ITask::put_StartDate"); }
    HRESULT STDMETHODCALLTYPE put_DueDate(DATE) override { return Refuse("ITask::put_DueDate"); }
    HRESULT STDMETHODCALLTYPE put_Importance(LONG) override { return Refuse("ITask::put_Importance"); }
    HRESULT STDMETHODCALLTYPE put_Complete(VARIANT_BOOL) override { return Refuse("ITask::put_Complete"); }
    HRESULT STDMETHODCALLTYPE put_Sensitivity(LONG) override { return Refuse("ITask::put_Sensitivity"); }
    HRESULT STDMETHODCALLTYPE put_TeamTask(VARIANT_BOOL) override { return Refuse("ITask::put_TeamTask"); }
    HRESULT STDMETHODCALLTYPE put_Body(BSTR) override { return Refuse("ITask::put_Body"); }
    HRESULT STDMETHODCALLTYPE put_ReminderSet(VARIANT_BOOL) override { return Refuse("ITask::put_ReminderSet"); }
    HRESULT STDMETHODCALLTYPE put_ReminderSoundFile(BSTR) override { return Refuse("ITask::put_ReminderSoundFile"); }
    HRESULT STDMETHODCALLTYPE put_ReminderTime(DATE) override { return Refuse("ITask::put_ReminderTime"); }
    HRESULT STDMETHODCALLTYPE put_ReminderOptions(LONG) override { return Refuse("ITask::put_ReminderOptions"); }
    HRESULT STDMETHODCALLTYPE Save() override { return Refuse("ITask::Save"); }
    HRESULT STDMETHODCALLTYPE Delete() override { return Refuse("ITask::Delete"); }
    HRESULT STDMETHODCALLTYPE SkipRecurrence() override { return Refuse("ITask::SkipRecurrence"); }
    HRESULT STDMETHODCALLTYPE Copy(ITask**) override { return Refuse("ITask::Copy"); }
    HRESULT STDMETHODCALLTYPE Display() override { return Refuse("ITask::Display"); }
    HRESULT STDMETHODCALLTYPE get_Oid(LONG*) override { return Refuse("ITask::get_Oid"); }
    HRESULT STDMETHODCALLTYPE put_BodyInk(CEBLOB*) override { return Refuse("ITask::put_BodyInk"); }
    HRESULT STDMETHODCALLTYPE get_BodyInk(CEBLOB*) override { return Refuse("ITask::get_BodyInk"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override { return Refuse("ITask::get_Application"); }
};

class RefusingAppointment : public DispatchDouble<IAppointment, IID_IAppointment> {
 public:
    HRESULT STDMETHODCALLTYPE ClearRecurrencePattern() override {
        return Refuse("IAppointment::ClearRecurrencePattern");
    }
    HRESULT STDMETHODCALLTYPE GetRecurrencePattern(IRecurrencePattern**) override {
        return Refuse("IAppointment::GetRecurrencePattern");
    }
    HRESULT STDMETHODCALLTYPE get_IsRecurring(VARIANT_BOOL*) override {
        return Refuse("IAppointment::get_IsRecurring");
    }
    HRESULT STDMETHODCALLTYPE get_Subject(BSTR*) override { return Refuse("IAppointment::get_Subject"); }
    HRESULT STDMETHODCALLTYPE get_Location(BSTR*) override { return Refuse("IAppointment::get_Location"); }
    HRESULT STDMETHODCALLTYPE get_Categories(BSTR*) override { return Refuse("IAppointment::get_Categories"); }
    HRESULT STDMETHODCALLTYPE get_Start(DATE*) override { return Refuse("IAppointment::get_Start"); }
    HRESULT STDMETHODCALLTYPE get_Duration(LONG*) override { return Refuse("IAppointment::get_Duration"); }
    HRESULT STDMETHODCALLTYPE get_End(DATE*) override { return Refuse("IAppointment::get_End"); }
    HRESULT STDMETHODCALLTYPE get_AllDayEvent(VARIANT_BOOL*) override {
        return Refuse("IAppointment::get_AllDayEvent");
    }
    HRESULT STDMETHODCALLTYPE get_BusyStatus(LONG*) override { return Refuse("IAppointment::get_BusyStatus"); }
    HRESULT STDMETHODCALLTYPE get_Sensitivity(LONG*) override { return Refuse("IAppointment::get_Sensitivity"); }
    HRESULT STDMETHODCALLTYPE get_Body(BSTR*) override { return Refuse("IAppointment::get_Body"); }
    HRESULT STDMETHODCALLTYPE get_Recipients(IRecipients**) override { return Refuse("IAppointment::get_Recipients"); }
    HRESULT STDMETHODCALLTYPE get_MeetingStatus(LONG*) override { return Refuse("IAppointment::get_MeetingStatus"); }
    HRESULT STDMETHODCALLTYPE get_ReminderSet(VARIANT_BOOL*) override {
        return Refuse("IAppointment::get_ReminderSet");
    }
    HRESULT STDMETHODCALLTYPE get_ReminderSoundFile(BSTR*) override {
        return Refuse("IAppointment::get_ReminderSoundFile");
    }
    HRESULT STDMETHODCALLTYPE get_ReminderMinutesBeforeStart(LONG*) override {
        return Refuse("IAppointment::get_ReminderMinutesBeforeStart");
    }
    HRESULT STDMETHODCALLTYPE get_ReminderOptions(LONG*) override {
        return Refuse("IAppointment::get_ReminderOptions");
    }
    HRESULT STDMETHODCALLTYPE put_Subject(BSTR) override { return Refuse("IAppointment::put_Subject"); }
    HRESULT STDMETHODCALLTYPE put_Location(BSTR) override { return Refuse("IAppointment::put_Location"); }
    HRESULT STDMETHODCALLTYPE put_Categories(BSTR) override { return Refuse("IAppointment::put_Categories"); }
    HRESULT STDMETHODCALLTYPE put_Start(DATE) override { return Refuse("IAppointment::put_Start"); }
    HRESULT STDMETHODCALLTYPE put_Duration(LONG) override { return Refuse("IAppointment::put_Duration"); }
    HRESULT STDMETHODCALLTYPE put_End(DATE) override { return Refuse("IAppointment::put_End"); }
    HRESULT STDMETHODCALLTYPE put_AllDayEvent(VARIANT_BOOL) override { return Refuse("IAppointment::put_AllDayEvent"); }
    HRESULT STDMETHODCALLTYPE put_BusyStatus(LONG) override { return Refuse("IAppointment::put_BusyStatus"); }
    HRESULT STDMETHODCALLTYPE put_Sensitivity(LONG) override { return Refuse("IAppointment::put_Sensitivity"); }
    HRESULT STDMETHODCALLTYPE put_Body(BSTR) override { return Refuse("IAppointment::put_Body"); }
    HRESULT STDMETHODCALLTYPE put_ReminderSet(VARIANT_BOOL) override { return Refuse("IAppointment::put_ReminderSet"); }
    HRESULT STDMETHODCALLTYPE put_ReminderSoundFile(BSTR) override {
        return Refuse("IAppointment::put_ReminderSoundFile");
    }
    HRESULT STDMETHODCALLTYPE put_ReminderMinutesBeforeStart(LONG) override {
        return Refuse("IAppointment::put_ReminderMinutesBeforeStart");
    }
    HRESULT STDMETHODCALLTYPE put_ReminderOptions(LONG) override { return Refuse("IAppointment::put_ReminderOptions"); }
    HRESULT STDMETHODCALLTYPE Save() override { return Refuse("IAppointment::Save"); }
    HRESULT STDMETHODCALLTYPE Send() override { return Refuse("IAppointment::Send"); }
    HRESULT STDMETHODCALLTYPE Delete() override { return Refuse("IAppointment::Delete"); }
    HRESULT STDMETHODCALLTYPE Cancel() override { return Refuse("IAppointment::Cancel"); }
    HRESULT STDMETHODCALLTYPE Copy(IAppointment**) override { return Refuse("IAppointment::Copy"); }
    HRESULT STDMETHODCALLTYPE Display() override { return Refuse("IAppointment::Display"); }
    HRESULT STDMETHODCALLTYPE get_Oid(LONG*) override { return Refuse("IAppointment::get_Oid"); }
    HRESULT STDMETHODCALLTYPE put_BodyInk(CEBLOB*) override { return Refuse("IAppointment::put_BodyInk"); }
    HRESULT STDMETHODCALLTYPE get_BodyInk(CEBLOB*) override { return Refuse("IAppointment::get_BodyInk"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override {
        return Refuse("IAppointment::get_Application");
    }
};

class RefusingPattern : public DispatchDouble<IRecurrencePattern, IID_IRecurrencePattern> {
 public:
    HRESULT STDMETHODCALLTYPE get_RecurrenceType(LONG*) override {
        return Refuse("IRecurrencePattern::get_RecurrenceType");
    }
    HRESULT STDMETHODCALLTYPE get_PatternStartDate(DATE*) override {
        return Refuse("IRecurrencePattern::get_PatternStartDate");
    }
    HRESULT STDMETHODCALLTYPE get_StartTime(DATE*) override { return Refuse("IRecurrencePattern::get_StartTime"); }
    HRESULT STDMETHODCALLTYPE get_EndTime(DATE*) override { return Refuse("IRecurrencePattern::get_EndTime"); }
    HRESULT STDMETHODCALLTYPE get_PatternEndDate(DATE*) override {
        return Refuse("IRecurrencePattern::get_PatternEndDate");
    }
    HRESULT STDMETHODCALLTYPE get_NoEndDate(VARIANT_BOOL*) override {
        return Refuse("IRecurrencePattern::get_NoEndDate");
    }
    HRESULT STDMETHODCALLTYPE get_Occurrences(LONG*) override { return Refuse("IRecurrencePattern::get_Occurrences"); }
    HRESULT STDMETHODCALLTYPE get_Interval(LONG*) override { return Refuse("IRecurrencePattern::get_Interval"); }
    HRESULT STDMETHODCALLTYPE get_DayOfWeekMask(LONG*) override {
        return Refuse("IRecurrencePattern::get_DayOfWeekMask");
    }
    HRESULT STDMETHODCALLTYPE get_DayOfMonth(LONG*) override { return Refuse("IRecurrencePattern::get_DayOfMonth"); }
    HRESULT STDMETHODCALLTYPE get_Instance(LONG*) override { return Refuse("IRecurrencePattern::get_Instance"); }
    HRESULT STDMETHODCALLTYPE get_Duration(LONG*) override { return Refuse("IRecurrencePattern::get_Duration"); }
    HRESULT STDMETHODCALLTYPE get_MonthOfYear(LONG*) override { return Refuse("IRecurrencePattern::get_MonthOfYear"); }
    HRESULT STDMETHODCALLTYPE put_RecurrenceType(LONG) override {
        return Refuse("IRecurrencePattern::put_RecurrenceType");
    }
    HRESULT STDMETHODCALLTYPE put_PatternStartDate(DATE) override {
        return Refuse("IRecurrencePattern::put_PatternStartDate");
    }
    HRESULT STDMETHODCALLTYPE put_StartTime(DATE) override { return Refuse("IRecurrencePattern::put_StartTime"); }
    HRESULT STDMETHODCALLTYPE put_EndTime(DATE) override { return Refuse("IRecurrencePattern::put_EndTime"); }
    HRESULT STDMETHODCALLTYPE put_PatternEndDate(DATE) override {
        return Refuse("IRecurrencePattern::put_PatternEndDate");
    }
    HRESULT STDMETHODCALLTYPE put_NoEndDate(VARIANT_BOOL) override {
        return Refuse("IRecurrencePattern::put_NoEndDate");
    }
    HRESULT STDMETHODCALLTYPE put_Occurrences(LONG) override { return Refuse("IRecurrencePattern::put_Occurrences"); }
    HRESULT STDMETHODCALLTYPE put_Interval(LONG) override { return Refuse("IRecurrencePattern::put_Interval"); }
    HRESULT STDMETHODCALLTYPE put_DayOfWeekMask(LONG) override {
        return Refuse("IRecurrencePattern::put_DayOfWeekMask");
    }
    HRESULT STDMETHODCALLTYPE put_DayOfMonth(LONG) override { return Refuse("IRecurrencePattern::put_DayOfMonth"); }
    HRESULT STDMETHODCALLTYPE put_Instance(LONG) override { return Refuse("IRecurrencePattern::put_Instance"); }
    HRESULT STDMETHODCALLTYPE put_Duration(LONG) override { return Refuse("IRecurrencePattern::put_Duration"); }
    HRESULT STDMETHODCALLTYPE put_MonthOfYear(LONG) override { return Refuse("IRecurrencePattern::put_MonthOfYear"); }
    HRESULT STDMETHODCALLTYPE get_Exceptions(IExceptions**) override {
        return Refuse("IRecurrencePattern::get_Exceptions");
    }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override {
        return Refuse("IRecurrencePattern::get_Application");
    }
    HRESULT STDMETHODCALLTYPE GetOccurrence(DATE, IAppointment**) override {
        return Refuse("IRecurrencePattern::GetOccurrence");
    }
};

class RefusingExceptions : public DispatchDouble<IExceptions, IID_IExceptions> {
 public:
    HRESULT STDMETHODCALLTYPE Item(INT, IException**) override { return Refuse("IExceptions::Item"); }
    HRESULT STDMETHODCALLTYPE get_Count(INT*) override { return Refuse("IExceptions::get_Count"); }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown**) override { return Refuse("IExceptions::get__NewEnum"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override {
        return Refuse("IExceptions::get_Application");
    }
};

class RefusingException : public DispatchDouble<IException, IID_IException> {
 public:
    HRESULT STDMETHODCALLTYPE get_AppointmentItem(IAppointment**) override {
        return Refuse("IException::get_AppointmentItem");
    }
    HRESULT STDMETHODCALLTYPE get_OriginalDate(DATE*) override { return Refuse("IException::get_OriginalDate"); }
    HRESULT STDMETHODCALLTYPE get_Deleted(VARIANT_BOOL*) override { return Refuse("IException::get_Deleted"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override { return Refuse("IException::get_Application"); }
};

class RefusingRecipients : public DispatchDouble<IRecipients, IID_IRecipients> {
 public:
    HRESULT STDMETHODCALLTYPE Add(BSTR, IRecipient**) override { return Refuse("IRecipients::Add"); }
    HRESULT STDMETHODCALLTYPE Item(INT, IRecipient**) override { return Refuse("IRecipients::Item"); }
    HRESULT STDMETHODCALLTYPE Remove(INT) override { return Refuse("IRecipients::Remove"); }
    HRESULT STDMETHODCALLTYPE get_Count(INT*) override { return Refuse("IRecipients::get_Count"); }
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown**) override { return Refuse("IRecipients::get__NewEnum"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override {
        return Refuse("IRecipients::get_Application");
    }
};

class RefusingRecipient : public DispatchDouble<IRecipient, IID_IRecipient> {
 public:
    HRESULT STDMETHODCALLTYPE put_Address(BSTR) override { return Refuse("IRecipient::put_Address"); }
    HRESULT STDMETHODCALLTYPE get_Address(BSTR*) override { return Refuse("IRecipient::get_Address"); }
    HRESULT STDMETHODCALLTYPE get_Name(BSTR*) override { return Refuse("IRecipient::get_Name"); }
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp**) override { return Refuse("IRecipient::get_Application"); }
};

class RefusingStream : public CountedDouble<IStream, IID_IStream> {
 public:
    HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return Refuse("ISequentialStream::Read"); }
    HRESULT STDMETHODCALLTYPE Write(const void*, ULONG, ULONG*) override { return Refuse("ISequentialStream::Write"); }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return Refuse("IStream::Seek"); }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return Refuse("IStream::SetSize"); }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
        return Refuse("IStream::CopyTo");
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return Refuse("IStream::Commit"); }
    HRESULT STDMETHODCALLTYPE Revert() override { return Refuse("IStream::Revert"); }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return Refuse("IStream::LockRegion");
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return Refuse("IStream::UnlockRegion");
    }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return Refuse("IStream::Stat"); }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return Refuse("IStream::Clone"); }
};

}  // namespace kez::tests
