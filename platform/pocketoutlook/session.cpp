// The session core: logging on, logging off, and the one application object on it.
#include "platform/pocketoutlook/session.h"

#include "platform/pocketoutlook/application.h"
#include "platform/pocketoutlook/options.h"

namespace kez::pocketoutlook {

HRESULT Session::Logon(LONG window) {
    const std::lock_guard lock(m_mutex);
    if (m_loggedOn) return S_FALSE;
    if (!m_store) m_store = ItemStore::Open();
    m_window = window;
    m_ready = true;
    m_loggedOn = true;
    return S_OK;
}

HRESULT Session::Logoff() {
    const std::lock_guard lock(m_mutex);
    if (!m_loggedOn) return S_FALSE;
    m_loggedOn = false;
    return S_OK;
}

HRESULT Session::Check() const {
    if (!m_ready) return E_FAIL;
    return m_loggedOn || !CurrentOptions().failAfterLogoff ? S_OK : E_FAIL;
}

HRESULT Session::GetApplication(IPOutlookApp** out) {
    const std::lock_guard lock(m_mutex);
    if (m_application && m_application->AddRefUnlessGone()) {
        *out = m_application;
    } else {
        m_application = new Application(shared_from_this());
        *out = m_application;
    }
    return S_OK;
}

void Session::ForgetApplication(Application* application) {
    const std::lock_guard lock(m_mutex);
    if (m_application == application) m_application = nullptr;
}

}  // namespace kez::pocketoutlook
