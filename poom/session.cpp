// The life of a session: construction, the shared application, logging on, letting go of the current item.
#include "poom/ce_poom.h"
#include "poom/platform_support.h"
#include "trace/trace_log.h"

IPOutlookApp2* CCEPoom::m_polApp = nullptr;
LONG CCEPoom::m_cInstances = 0;

CCEPoom::CCEPoom()
    : m_pAppt(nullptr),
      m_pTask(nullptr),
      m_pContact(nullptr),
      m_pRec(nullptr),
      m_pRecipients(nullptr),
      m_pRecipient(nullptr),
      m_pExcList(nullptr),
      m_recurrence(),
      m_bstrExcList(nullptr),
      m_bstrExcModList(nullptr),
      m_bstrApp(nullptr),
      m_dwDBType(0),
      m_iIndex(1),
      m_bInInitializeType(FALSE),
      m_pFolder(nullptr),
      m_pCollection(nullptr) {
    dbglog(50, "CCEPoom::CCEPoom+");
    if (m_polApp != nullptr) m_polApp->AddRef();
    InterlockedIncrement(&m_cInstances);
    CCEPoom::ReleaseItems();
    dbglog(50, "CCEPoom::CCEPoom-");
}

CCEPoom::~CCEPoom() {
    dbglog(50, "CCEPoom::~CCEPoom+");
    CCEPoom::ReleaseItems();
    if (m_cInstances > 0) InterlockedDecrement(&m_cInstances);
    if (m_polApp != nullptr) {
        if (m_bstrApp != nullptr) {
            dbglog(50, "CCEPoom::~CCEPoom::m_polApp->SysFreeString()");
            m_polApp->SysFreeString(m_bstrApp);
        }
        // On purpose also while other sessions hold the application: they go on with it as it is.
        dbglog(50, "CCEPoom::~CCEPoom::m_polApp->Logoff()");
        m_polApp->Logoff();
        dbglog(50, "CCEPoom::~CCEPoom::m_polApp->Release()");
        if (m_polApp->Release() == 0) m_polApp = nullptr;
    }
    dbglog(50, "CCEPoom::~CCEPoom-");
}

IPOutlookApp2* CCEPoom::GetApplication() { return m_polApp; }

BOOL CCEPoom::HasItem() { return m_pTask != nullptr || m_pAppt != nullptr || m_pContact != nullptr; }

BOOL CCEPoom::ReleaseItems() {
    dbglog(50, "CCEPoom::ReleaseItems +");
    ReleaseAndForget(m_pTask);
    ReleaseAndForget(m_pAppt);
    ReleaseAndForget(m_pContact);
    ReleaseAndForget(m_pRec);
    ReleaseAndForget(m_pRecipient);
    ReleaseAndForget(m_pRecipients);

    m_pExcList = nullptr;
    m_recurrence = RecurrenceState();
    m_recurrence.bNoEndDate = TRUE;

    SysFreeString(m_bstrExcList);
    SysFreeString(m_bstrExcModList);
    m_bstrExcList = nullptr;
    m_bstrExcModList = nullptr;

    // The collection goes too: an enumeration has to end before an item is loaded.
    ReleaseAndForget(m_pFolder);
    ReleaseAndForget(m_pCollection);
    dbglog(50, "CCEPoom::ReleaseItems -");
    return TRUE;
}

BOOL CCEPoom::Logon() {
    // Set also after a failed logon, on purpose: there is one attempt, and what follows works or fails by itself.
    if (m_polApp != nullptr) return TRUE;

    dbglog(0, "CCEPoom::Logon::Create +");
    dbglog(0, "CCEPoom::Logon::CoInitializeEx()");
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    dbglog(0, "CCEPoom::Logon::CoCreateInstance()");
    HRESULT hr = CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2,
                                  reinterpret_cast<void**>(&m_polApp));
    dbglog(0, "CCEPoom::Logon::CoCreateInstance::hr=%d", hr);
    if (FAILED(hr) || m_polApp == nullptr) {
        m_polApp = nullptr;
        dbglog(0, "CCEPoom::Logon::CoCreateInstance Failed -");
        return FALSE;
    }
    dbglog(0, "CCEPoom::Logon::Create -");

    dbglog(0, "CCEPoom::Logon::m_polApp->Logon(NULL) +");
    hr = m_polApp->Logon(0);
    if (FAILED(hr)) {
        dbglog(0, "CCEPoom::Logon::m_polApp->Logon(NULL) Failed -");
        return FALSE;
    }
    dbglog(0, "CCEPoom::Logon::m_polApp->Logon(NULL) -");
    return TRUE;
}

BOOL CCEPoom::Logoff() {
    dbglog(50, "CCEPoom::Logoff +");
    ReleaseItems();
    dbglog(50, "CCEPoom::Logoff -");
    return TRUE;
}
