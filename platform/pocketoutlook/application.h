// The application object, the only one that programs make themselves: logging on, default folders, items by type or by
// oid, named properties. Cities, infrared and time zone tables are not there (E_NOTIMPL).
#pragma once

#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/session.h"

namespace kez::pocketoutlook {

class Application final : public ComObject<IPOutlookApp2, IID_IDispatch, IID_IPOutlookApp, IID_IPOutlookApp2> {
 public:
    explicit Application(std::shared_ptr<Session> session);

    // False where the last reference is gone already.
    bool AddRefUnlessGone() { return Count().UpUnlessGone(); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;

    HRESULT STDMETHODCALLTYPE Logon(LONG window) override;
    HRESULT STDMETHODCALLTYPE Logoff() override;
    HRESULT STDMETHODCALLTYPE get_Version(BSTR* version) override;
    HRESULT STDMETHODCALLTYPE GetDefaultFolder(INT folder, IFolder** out) override;
    HRESULT STDMETHODCALLTYPE CreateItem(INT itemType, IDispatch** out) override;
    HRESULT STDMETHODCALLTYPE GetItemFromOid(LONG oid, IDispatch** out) override;
    HRESULT STDMETHODCALLTYPE get_HomeCity(ICity** out) override;
    HRESULT STDMETHODCALLTYPE put_HomeCity(ICity* city) override;
    HRESULT STDMETHODCALLTYPE get_VisitingCity(ICity** out) override;
    HRESULT STDMETHODCALLTYPE put_VisitingCity(ICity* city) override;
    HRESULT STDMETHODCALLTYPE get_CurrentCityIndex(LONG* index) override;
    HRESULT STDMETHODCALLTYPE put_CurrentCityIndex(LONG index) override;
    HRESULT STDMETHODCALLTYPE ReceiveFromInfrared() override;
    HRESULT STDMETHODCALLTYPE get_OutlookCompatible(VARIANT_BOOL* compatible) override;
    HRESULT STDMETHODCALLTYPE GetTimeZoneFromIndex(INT index, ITimeZone** out) override;
    HRESULT STDMETHODCALLTYPE GetTimeZoneInformationFromIndex(INT index, TIME_ZONE_INFORMATION* out) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;
    HRESULT STDMETHODCALLTYPE SysFreeString(BSTR text) override;
    HRESULT STDMETHODCALLTYPE VariantTimeToSystemTime(DATE in, SYSTEMTIME* out) override;
    HRESULT STDMETHODCALLTYPE SystemTimeToVariantTime(SYSTEMTIME* in, DATE* out) override;
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, LPCWSTR const* names, ULONG flags, CEPROPID* ids) override;
    HRESULT STDMETHODCALLTYPE GetItemFromOidEx(ULONG oid, ULONG flags, IItem** out) override;

 private:
    ~Application() override;

    std::shared_ptr<Session> m_session;
};

}  // namespace kez::pocketoutlook
