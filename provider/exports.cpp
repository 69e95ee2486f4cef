// The six functions that the library exports, and the store object behind them, which lives while it is loaded.
#include <cesync.h>

#include "provider/store.h"

namespace {
CKEZASPContactStore g_store;
}

extern "C" BOOL InitObjType(LPWSTR type, IReplObjHandler** handler, UINT partnerBit) {
    return g_store.InitObjType(type, handler, partnerBit);
}

extern "C" BOOL ObjectNotify(OBJNOTIFY* notify) { return g_store.ObjectNotify(notify); }

extern "C" HRESULT GetObjTypeInfo(OBJTYPEINFO* info) { return g_store.GetObjTypeInfo(info); }

extern "C" BOOL ReportStatus(LPWSTR type, UINT code, UINT parameter) {
    return g_store.ReportStatus(type, code, parameter);
}

extern "C" HRESULT FindObjects(FINDOBJINFO* info) { return g_store.FindObjects(info); }

extern "C" HRESULT SyncData(SDREQUEST* request) { return g_store.SyncData(request); }
