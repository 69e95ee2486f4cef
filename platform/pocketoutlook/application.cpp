// The application object.
#include "platform/pocketoutlook/application.h"

#include "platform/automation/class_table.h"
#include "platform/pocketoutlook/folder.h"
#include "platform/pocketoutlook/item_classes.h"

namespace kez::pocketoutlook {
namespace {

HRESULT MakeApplication(REFIID riid, void** out) {
    return Guard("CreateApplication", nullptr, out, [&] {
        Ref<IPOutlookApp> application;
        if (HRESULT hr = std::make_shared<Session>()->GetApplication(application.Out()); FAILED(hr)) return hr;
        return application->QueryInterface(riid, out);
    });
}

const bool g_registered = (automation::RegisterClass(CLSID_Application, MakeApplication), true);

bool IsStorable(WORD type) {
    switch (type) {
        case CEVT_I2:
        case CEVT_I4:
        case CEVT_R8:
        case CEVT_BOOL:
        case CEVT_UI2:
        case CEVT_UI4:
        case CEVT_LPWSTR:
        case CEVT_FILETIME:
        case CEVT_BLOB:
            return true;
        default:
            return false;
    }
}

}  // namespace

Application::Application(std::shared_ptr<Session> session) : m_session(std::move(session)) {}

Application::~Application() { m_session->ForgetApplication(this); }

HRESULT Application::QueryInterface(REFIID riid, void** out) {
    return Guard("IPOutlookApp::QueryInterface", nullptr, out, [&] { return ComObject::QueryInterface(riid, out); });
}

HRESULT Application::Logon(LONG window) {
    return Guard("IPOutlookApp::Logon", nullptr, [&] { return m_session->Logon(window); });
}

HRESULT Application::Logoff() {
    return Guard("IPOutlookApp::Logoff", nullptr, [&] { return m_session->Logoff(); });
}

HRESULT Application::get_Version(BSTR* version) {
    return Guard("IPOutlookApp::get_Version", m_session.get(), version, [&] {
        *version = SysAllocString(u"5.2.0");
        return *version ? S_OK : E_OUTOFMEMORY;
    });
}

HRESULT Application::GetDefaultFolder(INT folder, IFolder** out) {
    return Guard("IPOutlookApp::GetDefaultFolder", m_session.get(), out, [&] {
        if (folder == olFolderCities || folder == olFolderInfrared) return E_NOTIMPL;
        const FolderRow* row = FindFolder(folder);
        if (!row) return E_INVALIDARG;
        *out = new Folder(m_session, *row);
        return S_OK;
    });
}

HRESULT Application::CreateItem(INT itemType, IDispatch** out) {
    return Guard("IPOutlookApp::CreateItem", m_session.get(), out, [&] {
        if (itemType == olCityItem) return E_NOTIMPL;
        auto item = MakeNewItem(m_session, itemType);
        if (!item) return E_INVALIDARG;
        *out = item.Detach()->Typed();
        return S_OK;
    });
}

HRESULT Application::GetItemFromOid(LONG oid, IDispatch** out) {
    return Guard("IPOutlookApp::GetItemFromOid", m_session.get(), out, [&] {
        auto item = OpenItem(m_session, static_cast<CEOID>(oid));
        if (!item) return E_INVALIDARG;
        *out = item.Detach()->Typed();
        return S_OK;
    });
}

HRESULT Application::get_HomeCity(ICity** out) {
    return Guard("IPOutlookApp::get_HomeCity", m_session.get(), out, [] { return E_NOTIMPL; });
}

HRESULT Application::put_HomeCity(ICity*) {
    return Guard("IPOutlookApp::put_HomeCity", m_session.get(), [] { return E_NOTIMPL; });
}

HRESULT Application::get_VisitingCity(ICity** out) {
    return Guard("IPOutlookApp::get_VisitingCity", m_session.get(), out, [] { return E_NOTIMPL; });
}

HRESULT Application::put_VisitingCity(ICity*) {
    return Guard("IPOutlookApp::put_VisitingCity", m_session.get(), [] { return E_NOTIMPL; });
}

HRESULT Application::get_CurrentCityIndex(LONG* index) {
    return Guard("IPOutlookApp::get_CurrentCityIndex", m_session.get(), index, [] { return E_NOTIMPL; });
}

HRESULT Application::put_CurrentCityIndex(LONG) {
    return Guard("IPOutlookApp::put_CurrentCityIndex", m_session.get(), [] { return E_NOTIMPL; });
}

HRESULT Application::ReceiveFromInfrared() {
    return Guard("IPOutlookApp::ReceiveFromInfrared", m_session.get(), [] { return E_NOTIMPL; });
}

// Recurring tasks count from their start date, as with a partner that is Outlook.
HRESULT Application::get_OutlookCompatible(VARIANT_BOOL* compatible) {
    return Guard("IPOutlookApp::get_OutlookCompatible", m_session.get(), compatible, [&] {
        *compatible = VARIANT_TRUE;
        return S_OK;
    });
}

HRESULT Application::GetTimeZoneFromIndex(INT, ITimeZone** out) {
    return Guard("IPOutlookApp::GetTimeZoneFromIndex", m_session.get(), out, [] { return E_NOTIMPL; });
}

HRESULT Application::GetTimeZoneInformationFromIndex(INT, TIME_ZONE_INFORMATION* out) {
    return Guard("IPOutlookApp::GetTimeZoneInformationFromIndex", m_session.get(), out, [] { return E_NOTIMPL; });
}

HRESULT Application::get_Application(IPOutlookApp** out) {
    return Guard("IPOutlookApp::get_Application", m_session.get(), out, [&] {
        AddRef();
        *out = this;
        return S_OK;
    });
}

HRESULT Application::SysFreeString(BSTR text) {
    return Guard("IPOutlookApp::SysFreeString", nullptr, [&] {
        ::SysFreeString(text);
        return S_OK;
    });
}

HRESULT Application::VariantTimeToSystemTime(DATE in, SYSTEMTIME* out) {
    return Guard("IPOutlookApp::VariantTimeToSystemTime", nullptr, out,
                 [&] { return ::VariantTimeToSystemTime(in, out) ? S_OK : E_INVALIDARG; });
}

HRESULT Application::SystemTimeToVariantTime(SYSTEMTIME* in, DATE* out) {
    return Guard("IPOutlookApp::SystemTimeToVariantTime", nullptr, out, [&] {
        // The automation call takes day 0 for the last day of the month before; here it is no date.
        if (!in || in->wDay == 0 || in->wMonth == 0) return E_INVALIDARG;
        return ::SystemTimeToVariantTime(in, out) ? S_OK : E_INVALIDARG;
    });
}

HRESULT Application::GetIDsFromNames(ULONG count, LPCWSTR const* names, ULONG flags, CEPROPID* ids) {
    return Guard("IPOutlookApp2::GetIDsFromNames", m_session.get(), [&] {
        if (count == 0 || !names || !ids) return E_INVALIDARG;
        const bool create = flags & PIM_CREATE;
        if (create && !IsStorable(LOWORD(flags))) return E_INVALIDARG;
        for (ULONG i = 0; i < count; i++) {
            if (!names[i] || !*names[i]) return E_INVALIDARG;
        }
        for (ULONG i = 0; i < count; i++) {
            ids[i] = create ? m_session->Store().MakeName(names[i], LOWORD(flags), !(flags & PIM_DONTREPLICATE))
                            : m_session->Store().FindName(names[i]);
        }
        return S_OK;
    });
}

HRESULT Application::GetItemFromOidEx(ULONG oid, ULONG flags, IItem** out) {
    return Guard("IPOutlookApp2::GetItemFromOidEx", m_session.get(), out, [&] {
        if (flags != 0) return E_INVALIDARG;
        if (const FolderRow* row = m_session->Store().FolderOf(oid)) {
            const auto folder = Ref<Folder>::Attach(new Folder(m_session, *row));
            return static_cast<IFolder*>(folder.Get())->QueryInterface(IID_IItem, reinterpret_cast<void**>(out));
        }
        auto item = OpenItem(m_session, oid);
        if (!item) return E_INVALIDARG;
        *out = item.Detach();
        return S_OK;
    });
}

}  // namespace kez::pocketoutlook
