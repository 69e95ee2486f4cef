// The core of one session with the object model: whether it is logged on, the volume, and the application object. The
// application object and everything obtained from it share the core, so that items, folders and collections go on
// working when the application object is gone.
#pragma once

#include <pimstore.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <type_traits>

#include "platform/control/control.h"
#include "platform/pocketoutlook/item_store.h"

namespace kez::pocketoutlook {

class Application;

class Session : public std::enable_shared_from_this<Session> {
 public:
    // S_FALSE where the session is logged on already (logged off, for Logoff): it is a state, not a count.
    HRESULT Logon(LONG window);
    HRESULT Logoff();
    // S_OK where calls may be made: after the first Logon, and in strict mode only until Logoff; else E_FAIL.
    HRESULT Check() const;
    bool HasWindow() const { return m_window != 0; }

    // Only after Check() succeeded.
    ItemStore& Store() const { return *m_store; }

    // The application object with a reference: the one that is there, or a new one on this same core where the caller
    // has released it.
    HRESULT GetApplication(IPOutlookApp** out);
    void ForgetApplication(Application* application);

 private:
    std::atomic<bool> m_ready{false};  // has been logged on at least once
    std::atomic<bool> m_loggedOn{false};
    std::atomic<LONG> m_window{0};
    std::shared_ptr<ItemStore> m_store;  // set by the first Logon that succeeds, kept from then on
    std::mutex m_mutex;                  // guards Logon, Logoff and m_application
    Application* m_application = nullptr;
};

// Runs a method's body at the edge of the object model: a planned fault of that name, then the session's state, then
// the body, whose exceptions become HRESULTs (VolumeError: its error; out of memory: E_OUTOFMEMORY). `session` may be
// null for methods that need none.
template <class Body>
HRESULT Guard(const char* method, const Session* session, Body&& body) noexcept {
    if (auto fault = control::PlannedFault(method)) return static_cast<HRESULT>(*fault);
    if (session) {
        if (HRESULT hr = session->Check(); FAILED(hr)) return hr;
    }
    try {
        return body();
    } catch (const propertydb::VolumeError& error) {
        return HRESULT_FROM_WIN32(error.Code());
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

// The same for a method with a result: E_POINTER for a null `out`; an interface or string result is null until the body
// sets it, other results stay as they are on failure.
template <class Out, class Body>
HRESULT Guard(const char* method, const Session* session, Out* out, Body&& body) noexcept {
    if (!out) return E_POINTER;
    if constexpr (std::is_pointer_v<Out>) *out = nullptr;
    return Guard(method, session, std::forward<Body>(body));
}

}  // namespace kez::pocketoutlook
