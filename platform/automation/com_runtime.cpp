// The COM runtime as far as in-process objects need it: each thread chooses its model, and classes are looked up in
// the class table. Models make no difference to the objects, but a thread that did not choose one gets none.
#include "platform/automation/class_table.h"
#include "platform/control/control.h"

namespace {

constexpr DWORD kOtherModelBits = 0x4 | 0x8;  // disable DDE, prefer speed over memory: accepted, without effect

struct ThreadState {
    ULONG count = 0;  // successful CoInitializeEx calls not yet balanced
    DWORD model = 0;
};

thread_local ThreadState t_com;

}  // namespace

HRESULT CoInitializeEx(LPVOID reserved, DWORD model) {
    if (auto fault = kez::control::PlannedFault("CoInitializeEx")) return static_cast<HRESULT>(*fault);
    if (reserved || (model & ~(COINIT_APARTMENTTHREADED | kOtherModelBits))) return E_INVALIDARG;
    const DWORD wanted = model & COINIT_APARTMENTTHREADED;
    if (t_com.count > 0 && t_com.model != wanted) return RPC_E_CHANGED_MODE;
    t_com.model = wanted;
    return t_com.count++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize() {
    if (t_com.count > 0) --t_com.count;
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID riid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (auto fault = kez::control::PlannedFault("CoCreateInstance")) return static_cast<HRESULT>(*fault);
    if (t_com.count == 0) return CO_E_NOTINITIALIZED;
    const auto create = context & CLSCTX_INPROC_SERVER ? kez::automation::FindClass(clsid) : nullptr;
    if (!create) return REGDB_E_CLASSNOTREG;
    if (outer) return CLASS_E_NOAGGREGATION;
    const HRESULT result = create(riid, out);
    if (FAILED(result)) *out = nullptr;
    return result;
}
