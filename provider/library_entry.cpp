// The library's entry point. On the device the loader calls it; here the run-time's own unload hook does, which runs
// before the static objects are destroyed when the library is unloaded, as the device's entry point does.
#include <windows.h>

#include "trace/trace_log.h"

extern "C" BOOL APIENTRY DllMain(HANDLE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_DETACH) dbglogClose();
    return TRUE;
}

namespace {

__attribute__((destructor)) void OnUnload() { DllMain(nullptr, DLL_PROCESS_DETACH, nullptr); }

}  // namespace
